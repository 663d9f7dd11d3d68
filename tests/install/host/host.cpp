// The README's host program (kept identical to it): reads an ISO-8859-1 file through the text
// cursor and prints it as UTF-8.
#include <uVxTextParser.h>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  try {
    // The cursor owns the file stream (second argument) and decodes ISO-8859-1.
    auto* file = new vx::TVxFileStream(std::filesystem::path(argv[1]), vx::fmOpenRead);
    vx::TVxTextParser cursor(file, true, vx::VxCodePage(std::string_view("ISO-8859-1")));
    cursor.SetMark(vx::ptMark1);
    cursor.SkipWhile(vx::skUntilEqual, vx::cVxEOFCharW);   // to the end of input
    std::string text = vx::VxUTF16ToUTF8(cursor.SelectedW(vx::ptMark1, vx::ptCurrent, false));
    std::fwrite(text.data(), 1, text.size(), stdout);
  } catch (const vx::Exception& e) {                      // every library failure
    std::fprintf(stderr, "%s\n", e.what());              // what() is UTF-8
    return 1;
  }
}
