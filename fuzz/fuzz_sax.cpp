// libFuzzer target: the XML reader through the SAX interfaces, in each code page the readers
// choose between. From a buffer and through a stream that trickles the bytes into a tiny read
// window, every input must give the same events (or the same failure), and a failure must be
// one of the library's exceptions.
//
//   cmake --preset fuzz && cmake --build --preset fuzz && build/fuzz/fuzz/fuzz_sax -max_total_time=60
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  static const uint16_t pages[] = {0, cVxCodePageUTF8, cVxCodePageUTF16, 932, 50220};
  const uint16_t cp = pages[in.Flags % 5];
  Same("XML events from a buffer and from a trickling stream", SAXEvents<TVxSAXXMLReader>(in, cp, false),
       SAXEvents<TVxSAXXMLReader>(in, cp, true));
  return 0;
}
