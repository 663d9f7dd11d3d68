#!/usr/bin/env python3
"""Builds and runs every C++ snippet of README.md, so the README cannot drift from the code.

Each ```cpp block must follow a marker comment:
  <!-- readme-test: program [ARGS...] -->   a whole program: compiled alone and run with ARGS
                                            (paths relative to the source tree); must exit 0
  <!-- readme-test: fragment -->            statements: compiled into a function of one
                                            program (prelude.h gives the includes and the
                                            illustration classes) and run
  <!-- readme-test: skip -->                not compiled (say why next to it)
A statement in a fragment that declares a variable and ends with a comment holding a literal,
    VxXMLString t = VxStrToXML(u"a<b");   // u"a&lt;b"
is also checked: the variable must equal that literal when the fragment runs.
"""
import argparse
import os
import re
import subprocess
import sys

MARKER = re.compile(r"<!--\s*readme-test:\s*(\w+)([^>]*)-->")
# "Type name = ...;  // literal" with a string, number or boolean literal after the comment.
CHECKED = re.compile(
    r'^(?P<indent>\s*)(?P<stmt>[\w:<>,\s\*&]+?\b(?P<var>\w+)\s*=\s*.*;)\s*//\s*'
    r'(?P<lit>u"(?:[^"\\]|\\.)*"|-?\d+(?:\.\d+)?|true|false)(?:\s.*)?$')


def snippets(readme):
    lines = open(readme, encoding="utf-8").read().split("\n")
    marker = None
    k = 0
    while k < len(lines):
        m = MARKER.search(lines[k])
        if m:
            marker = (m.group(1), m.group(2).split(), k + 1)
        elif lines[k].strip().startswith("```cpp"):
            start = k + 1
            end = start
            while not lines[end].strip().startswith("```"):
                end += 1
            if marker is None:
                sys.exit(f"README.md:{k + 1}: a cpp block without a readme-test marker")
            yield marker[0], marker[1], start + 1, lines[start:end]
            marker = None
            k = end
        elif lines[k].strip() and marker and not lines[k].startswith("<!--"):
            sys.exit(f"README.md:{marker[2]}: the readme-test marker is not followed by a cpp block")
        k += 1


def with_checks(body, first_line):
    out = []
    for n, line in enumerate(body):
        m = CHECKED.match(line)
        out.append(f"#line {first_line + n} \"README.md\"")
        out.append(line)
        if m:
            lit = m.group("lit")
            out.append(f'{m.group("indent")}vx_readme_check({m.group("var")} == {lit}, {first_line + n}, '
                       f'{m.group("var")}, R"__({lit})__");')
    return out


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--readme", required=True)
    ap.add_argument("--source", required=True)
    ap.add_argument("--work", required=True)
    ap.add_argument("--cxx", required=True)
    ap.add_argument("--include", action="append", default=[])
    ap.add_argument("--libdir", action="append", default=[])
    ap.add_argument("--flag", action="append", default=[], help="extra compiler and linker flag")
    args = ap.parse_args()
    os.makedirs(args.work, exist_ok=True)
    here = os.path.dirname(os.path.abspath(__file__))
    flags = ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-Wno-unused-variable", "-Wno-unused-parameter",
             "-Wno-unused-but-set-variable", f"-I{here}"] + [f"-I{i}" for i in args.include] + args.flag
    libs = []
    for d in args.libdir:
        libs += [f"-L{d}", f"-Wl,-rpath,{d}"]
    libs += ["-lrVxXML70", "-lrVxCommon70"]

    programs, fragments = [], []
    for kind, params, line, body in snippets(args.readme):
        if kind == "program":
            programs.append((params, line, body))
        elif kind == "fragment":
            fragments.append((line, body))
        elif kind != "skip":
            sys.exit(f"README.md:{line}: unknown readme-test kind '{kind}'")

    failed = 0

    def build_and_run(name, source, run_args):
        nonlocal failed
        path = os.path.join(args.work, name + ".cpp")
        exe = os.path.join(args.work, name)
        with open(path, "w", encoding="utf-8") as f:
            f.write(source)
        r = subprocess.run([args.cxx] + flags + [path, "-o", exe] + libs, capture_output=True, text=True)
        if r.returncode != 0:
            print(f"{name}: does not compile\n{r.stderr}")
            failed += 1
            return
        r = subprocess.run([exe] + run_args, cwd=args.source, capture_output=True, text=True)
        if r.returncode != 0:
            print(f"{name}: exit code {r.returncode}\n{r.stdout}{r.stderr}")
            failed += 1
            return
        print(f"{name}: ok")

    for n, (params, line, body) in enumerate(programs):
        src = "\n".join([f"#line {line} \"README.md\""] + body) + "\n"
        build_and_run(f"readme_program_{n + 1}_line{line}", src, params)

    parts = ['#include "prelude.h"', ""]
    for n, (line, body) in enumerate(fragments):
        parts.append(f"static void Fragment{n + 1}() {{")
        parts += with_checks(body, line)
        parts.append("}")
    parts.append("int main() {")
    parts.append("  int failures = 0;")
    for n, (line, _) in enumerate(fragments):
        parts.append(f"  failures += vx_readme_run(Fragment{n + 1}, {line});")
    parts.append("  return failures == 0 ? 0 : 1;")
    parts.append("}")
    build_and_run("readme_fragments", "\n".join(parts) + "\n", [])
    print(f"{len(programs)} programs, {len(fragments)} fragments")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
