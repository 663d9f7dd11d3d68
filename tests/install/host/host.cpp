// A host program: reads an ISO-8859-1 file through the text cursor and prints it as UTF-8.
#include <uVxTextParser.h>
#include <uVxXML.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  try {
    auto* file = new vx::TVxFileStream(std::string(argv[1]), vx::fmOpenRead);
    vx::TVxTextParser cursor(file, true, vx::VxCodePage(std::string_view("ISO-8859-1")));
    cursor.SetMark(vx::ptMark1);
    cursor.SkipWhile(vx::skUntilEqual, vx::cVxEOFCharW);
    std::string text = vx::VxUTF16ToUTF8(cursor.SelectedW(vx::ptMark1, vx::ptCurrent, false));
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
  } catch (const vx::Exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
