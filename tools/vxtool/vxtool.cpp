// vxtool: the library's work from a shell. Commands:
//   vxtool demo [DIR]            read every sample in DIR through the text cursor
//   vxtool read FILE [ENCODING]  print a file as UTF-8 (byte-order mark, else ENCODING, else UTF-8)
//   vxtool encodings             list the encodings the library knows
//   vxtool events FILE           print the SAX event stream of an XML or JSON file
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "uVxEncoding.h"
#include "uVxSAX.h"
#include "uVxStreams.h"
#include "uVxTextParser.h"
#include "uVxXML.h"

using namespace vx;

namespace {

struct TReadResult {
  uint16_t CodePage = 0;
  std::string Text;  // UTF-8
  int64_t Lines = 0;
  int64_t Words = 0;
};

// Reads a whole file through the cursor: the byte-order mark decides, then the caller's code page.
TReadResult ReadThroughCursor(const std::string& AFileName, uint16_t ACodePage) {
  auto* stream = new TVxFileStream(AFileName, fmOpenRead | fmShareDenyWrite);
  uint16_t bom = VxGetCodePage(*stream);
  TVxTextParser cursor(stream, true, bom ? bom : (ACodePage ? ACodePage : cVxCodePageUTF8));
  TReadResult r;
  r.CodePage = cursor.ContentCodePage();
  // Count words with the skip operations: blanks (op 4 against space), then a word (op 7 against
  // the blank set) until the end.
  static constexpr TVxAnsiCharSet blanks = TVxAnsiCharSet::Range(0, ' ');
  cursor.SetMark(ptMark1);
  while (!cursor.Eof()) {
    cursor.SkipWhile(skWhileAtOrBelow, u' ');
    if (cursor.Eof()) break;
    ++r.Words;
    cursor.SkipWhile(skUntilInSet, blanks);
  }
  r.Lines = cursor.GetLineNr() - (cursor.PrevCharW() == u'\n' ? 1 : 0);
  r.Text = VxUTF16ToUTF8(cursor.SelectedW(ptMark1, ptCurrent, false));
  return r;
}

// The encoding name in a sample's file name: "greeting.KOI8-R.txt" -> "KOI8-R".
std::string EncodingOfName(const std::string& AFileName) {
  std::string stem = std::filesystem::path(AFileName).stem().string();
  auto dot = stem.find('.');
  return dot == std::string::npos ? std::string() : stem.substr(dot + 1);
}

int CmdEncodings() {
  for (const auto& info : VxCodePages()) {
    std::printf("%5u  %-14s", static_cast<unsigned>(info.CodePage), info.Name);
    for (size_t k = 0; k < info.Aliases.size(); ++k) std::printf("%s%s", k ? ", " : " ", info.Aliases[k]);
    std::printf("\n");
  }
  return 0;
}

int CmdRead(const std::string& AFileName, const std::string& AEncoding) {
  uint16_t cp = AEncoding.empty() ? 0 : VxCodePage(std::string_view(AEncoding));
  TReadResult r = ReadThroughCursor(AFileName, cp);
  std::fwrite(r.Text.data(), 1, r.Text.size(), stdout);
  return 0;
}

int CmdDemo(const std::string& ADir) {
  std::printf("Vx XML library %s: reading samples through the text cursor\n\n",
              VxUTF16ToUTF8(VxXMLLibraryVersion()).c_str());
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(ADir))
    if (entry.is_regular_file() && entry.path().filename().string().rfind("greeting.", 0) == 0)
      files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    std::string enc = EncodingOfName(file);
    uint16_t cp = VxFindCodePage(enc);
    TReadResult r = ReadThroughCursor(file, cp);
    std::printf("== %s: %s (code page %u), %lld lines, %lld words\n",
                std::filesystem::path(file).filename().string().c_str(),
                VxUTF16ToUTF8(VxCodePageName(r.CodePage)).c_str(), static_cast<unsigned>(r.CodePage),
                static_cast<long long>(r.Lines), static_cast<long long>(r.Words));
    std::fwrite(r.Text.data(), 1, r.Text.size(), stdout);
    std::printf("\n");
  }
  std::printf("== encodings the library knows (code page, name, aliases)\n");
  return CmdEncodings();
}

// Text for one line of output, quoted, with control characters, quotes and backslashes escaped.
std::string Show(const VxXMLString& AText) {
  static constexpr char16_t hex[] = u"0123456789ABCDEF";
  VxXMLString escaped;
  for (char16_t c : AText) {
    switch (c) {
      case u'\n': escaped.append(u"\\n"); break;
      case u'\r': escaped.append(u"\\r"); break;
      case u'\t': escaped.append(u"\\t"); break;
      case u'"': escaped.append(u"\\\""); break;
      case u'\\': escaped.append(u"\\\\"); break;
      default:
        if (c < 0x20) {
          escaped.append(u"\\x").append(1, hex[c >> 4]).append(1, hex[c & 15]);
        } else {
          escaped.append(1, c);
        }
    }
  }
  std::string out(1, '"');
  out.append(VxUTF16ToUTF8(escaped)).append(1, '"');
  return out;
}

int CmdEvents(const std::string& AFileName) {
  TVxSAXParser parser;
  auto line = [](const std::string& AText) { std::printf("%s\n", AText.c_str()); };
  parser.OnStartDocument = [&](TVxSAXParser*) { line("StartDocument"); };
  parser.OnEndDocument = [&](TVxSAXParser*) { line("EndDocument"); };
  parser.OnStartDTD = [&](TVxSAXParser*) { line("StartDTD"); };
  parser.OnEndDTD = [&](TVxSAXParser*) { line("EndDTD"); };
  parser.OnStartCDATA = [&](TVxSAXParser*) { line("StartCDATA"); };
  parser.OnEndCDATA = [&](TVxSAXParser*) { line("EndCDATA"); };
  parser.OnComment = [&](TVxSAXParser*, const VxXMLString& C) { line("Comment " + Show(C)); };
  parser.OnProcessingInstruction = [&](TVxSAXParser*, const VxXMLString& T, const VxXMLString& D) {
    line("ProcessingInstruction " + Show(T) + " " + Show(D));
  };
  parser.OnStartPrefixMapping = [&](TVxSAXParser*, const VxXMLString& P, const VxXMLString& U) {
    line("StartPrefixMapping " + Show(P) + " " + Show(U));
  };
  parser.OnEndPrefixMapping = [&](TVxSAXParser*, const VxXMLString& P) { line("EndPrefixMapping " + Show(P)); };
  parser.OnStartElement = [&](TVxSAXParser*, const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q,
                              IVxSAXAttributes* A) {
    std::string text = "StartElement " + Show(U) + " " + Show(L) + " " + Show(Q);
    for (int k = 0; k < A->Count(); ++k)
      text += " " + VxUTF16ToUTF8(A->GetQName(k)) + "=" + Show(A->GetValue(k)) +
              (A->GetURI(k).empty() ? "" : "{" + VxUTF16ToUTF8(A->GetURI(k)) + "}");
    line(text);
  };
  parser.OnEndElement = [&](TVxSAXParser*, const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q) {
    line("EndElement " + Show(U) + " " + Show(L) + " " + Show(Q));
  };
  parser.OnCharacters = [&](TVxSAXParser*, const VxXMLString& T) { line("Characters " + Show(T)); };
  parser.OnIgnorableWhitespace = [&](TVxSAXParser*, const VxXMLString& T) { line("IgnorableWhitespace " + Show(T)); };
  parser.OnFatalError = [&](IVxSAXLocator* L, const VxXMLString& M) {
    line("FatalError " + VxUTF16ToUTF8(VxFormat(cVxParseErrorAt, L->GetLineNr(), L->GetColNr(), M)));
  };
  try {
    parser.ParseFile(VxUTF8ToUTF16(AFileName), fmOpenRead, VxUTF8ToUTF16(AFileName));
  } catch (const EVxXMLParseError& e) {
    std::fprintf(stderr, "vxtool: %s\n", VxUTF16ToUTF8(VxFormat(cVxParseErrorAt, e.LineNr(), e.ColNr(), e.Message())).c_str());
    return 1;
  }
  return 0;
}

int Usage() {
  std::fprintf(stderr,
               "usage: vxtool demo [DIR]\n"
               "       vxtool read FILE [ENCODING]\n"
               "       vxtool encodings\n"
               "       vxtool events FILE\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (args.empty()) return Usage();
    if (args[0] == "demo") return CmdDemo(args.size() > 1 ? args[1] : "samples");
    if (args[0] == "encodings") return CmdEncodings();
    if (args[0] == "events" && args.size() >= 2) return CmdEvents(args[1]);
    if (args[0] == "read" && args.size() >= 2) return CmdRead(args[1], args.size() > 2 ? args[2] : "");
    return Usage();
  } catch (const Exception& e) {
    std::fprintf(stderr, "vxtool: %s: %s\n", VxUTF16ToUTF8(e.ClassName()).c_str(), e.what());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "vxtool: %s\n", e.what());
    return 1;
  }
}
