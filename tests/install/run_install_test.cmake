# Script behind the install test (see CMakeLists.txt beside it).
file(REMOVE_RECURSE ${WORK_DIR})
set(PREFIX ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})

# The text the host must print: the ISO-8859-1 sample, as UTF-8.
set(expected_words "Déjà vu, garçon")

# 1. find_package(VxXML)
run(${CMAKE_COMMAND} -S ${HOST_DIR} -B ${WORK_DIR}/host-build -DCMAKE_PREFIX_PATH=${PREFIX}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/host-build)
run(${WORK_DIR}/host-build/host ${SAMPLE})
string(FIND "${LAST_OUTPUT}" "${expected_words}" found)
if(found EQUAL -1)
  message(FATAL_ERROR "host (CMake package) printed:\n${LAST_OUTPUT}")
endif()

# 2. pkg-config
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} ${PREFIX}/lib/pkgconfig:${PREFIX}/lib64/pkgconfig)
  run(${PKG_CONFIG} --cflags --libs vxxml)
  string(STRIP "${LAST_OUTPUT}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  # Nothing but what pkg-config gives: the language standard and the run path come from it.
  run(${CXX} ${HOST_DIR}/host.cpp -o ${WORK_DIR}/host-pc ${flags})
  unset(ENV{LD_LIBRARY_PATH})
  run(${WORK_DIR}/host-pc ${SAMPLE})
  string(FIND "${LAST_OUTPUT}" "${expected_words}" found)
  if(found EQUAL -1)
    message(FATAL_ERROR "host (pkg-config) printed:\n${LAST_OUTPUT}")
  endif()
endif()
# 3. The installed tool starts without environment tweaks.
unset(ENV{LD_LIBRARY_PATH})
run(${PREFIX}/bin/vxtool read ${SAMPLE} ISO-8859-1)
string(FIND "${LAST_OUTPUT}" "${expected_words}" found)
if(found EQUAL -1)
  message(FATAL_ERROR "installed vxtool printed:\n${LAST_OUTPUT}")
endif()
message(STATUS "host programs built against the installed package, and the installed vxtool, print the sample as UTF-8")
