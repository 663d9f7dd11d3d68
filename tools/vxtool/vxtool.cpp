// vxtool: the library's work from a shell. Run "vxtool --help" for the commands.
//
// Conventions: FILE may be "-" for standard input; output goes to standard output, diagnostics
// to standard error; exit code 0 on success, 1 when the input fails (a malformed document, a
// missing file), 2 when the command line is wrong.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "uVxEncoding.h"
#include "uVxJSON.h"
#include "uVxSAX.h"
#include "uVxStreams.h"
#include "uVxTextParser.h"
#include "uVxXML.h"
#include "uVxXMLDOM.h"

using namespace vx;

namespace {

constexpr char cUsage[] =
    "usage: vxtool COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  demo [DIR]              read the samples in DIR (default: samples) through the text cursor,\n"
    "                          print the SAX events of an XML and a JSON sample, list the encodings\n"
    "  read FILE [ENCODING]    print a file as UTF-8: its byte-order mark, else ENCODING, else UTF-8\n"
    "  encodings               list the encodings the library knows (code page, name, aliases)\n"
    "  events FILE             print the SAX events of an XML or JSON document, one per line\n"
    "  format FILE [ENCODING]  load an XML (or JSON) document and write it indented, in the\n"
    "                          document's encoding or ENCODING (UTF-16 gets a byte-order mark)\n"
    "  tojson FILE             load an XML (or JSON) document and write its JSON form, indented\n"
    "  json [--compact] [--form] FILE\n"
    "                          load a JSON document (form-url-encoded with --form) into the JSON\n"
    "                          model and write it formatted, or compact with --compact\n"
    "  select FILE PATH        print the path and text of each node PATH selects from the\n"
    "                          document node (\"catalog/book[@id = \\\"b1\\\"]\", \"//title\")\n"
    "  jsonpath FILE PATH      print each value a JSON path selects, as compact JSON, one per\n"
    "                          line (\"$.items[0].sku\", \"$..qty\", \"$.items[?(@.qty > 1)]\")\n"
    "\n"
    "FILE may be - for standard input. Options: -h, --help (this text), --version.\n"
    "Exit codes: 0 success, 1 the input failed (malformed document, missing file), 2 usage error.\n";

/// A wrong command line: reported with the usage, exit code 2.
struct TUsageError {
  std::string Message;
};

/// A failure with the input, already worded for the user: exit code 1.
struct TInputError {
  std::string Message;
};

// Text for one line of output: control characters (U+0000 included), quotes and backslashes
// escaped, so every character of a message or value shows.
std::string Escaped(const VxXMLString& AText, bool AQuoted) {
  static constexpr char16_t hex[] = u"0123456789ABCDEF";
  VxXMLString out;
  for (char16_t c : AText) {
    switch (c) {
      case u'\n': out.append(AQuoted ? u"\\n" : u"\n"); break;
      case u'\r': out.append(AQuoted ? u"\\r" : u"\r"); break;
      case u'\t': out.append(u"\\t"); break;
      case u'"': out.append(AQuoted ? u"\\\"" : u"\""); break;
      case u'\\': out.append(AQuoted ? u"\\\\" : u"\\"); break;
      default:
        if (c < 0x20 || c == 0x7F) {
          out.append(u"\\x").append(1, hex[(c >> 4) & 15]).append(1, hex[c & 15]);
        } else {
          out.append(1, c);
        }
    }
  }
  return AQuoted ? "\"" + VxUTF16ToUTF8(out) + "\"" : VxUTF16ToUTF8(out);
}
std::string Show(const VxXMLString& AText) { return Escaped(AText, true); }

// ---------------------------------------------------------------------------------------------
// Input
// ---------------------------------------------------------------------------------------------

// An opened input: a file or standard input (read through a stream that cannot seek).
class TInput {
 public:
  explicit TInput(const std::string& AName) : FName(AName) {
    if (AName == "-") {
      FStdin = std::make_unique<TVxStdStream>(std::cin);
      FStream = FStdin.get();
    } else {
      FFile = std::make_unique<TVxFileStream>(std::filesystem::path(AName), fmOpenRead | fmShareDenyWrite);
      FStream = FFile.get();
    }
  }
  TVxStream& Stream() { return *FStream; }
  /// The name for messages.
  std::string Name() const { return FName == "-" ? "standard input" : FName; }
  /// True when the input holds no byte at all; the stream is left where it was.
  bool Empty() {
    uint8_t b;
    if (FStream->Read(&b, 1) != 1) return true;
    FStream->Seek(-1, soCurrent);
    return false;
  }

 private:
  std::string FName;
  std::unique_ptr<TVxStdStream> FStdin;
  std::unique_ptr<TVxFileStream> FFile;
  TVxStream* FStream;
};

uint16_t CodePageOfName(const std::string& AEncoding) {
  uint16_t cp = VxFindCodePage(AEncoding);
  if (cp == 0) throw TUsageError{"unknown encoding '" + AEncoding + "' (vxtool encodings lists them)"};
  return cp;
}

// ---------------------------------------------------------------------------------------------
// Commands
// ---------------------------------------------------------------------------------------------

struct TReadResult {
  uint16_t CodePage = 0;
  std::string Text;  // UTF-8
  int64_t Lines = 0;
  int64_t Words = 0;
};

// Reads a whole input through the cursor: the byte-order mark decides, then the caller's code page.
TReadResult ReadThroughCursor(TInput& AInput, uint16_t ACodePage) {
  uint16_t bom = VxGetCodePage(AInput.Stream());
  TVxTextParser cursor(&AInput.Stream(), false, bom ? bom : (ACodePage ? ACodePage : cVxCodePageUTF8));
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
  uint16_t cp = AEncoding.empty() ? 0 : CodePageOfName(AEncoding);
  TInput input(AFileName);
  TReadResult r = ReadThroughCursor(input, cp);
  std::fwrite(r.Text.data(), 1, r.Text.size(), stdout);
  return 0;
}

int CmdEvents(const std::string& AFileName);

int CmdDemo(const std::string& ADir) {
  std::printf("Vx XML library %s: reading samples through the text cursor\n\n",
              VxUTF16ToUTF8(VxXMLLibraryVersion()).c_str());
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(ADir))
    if (entry.is_regular_file() && entry.path().filename().string().rfind("greeting.", 0) == 0)
      files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    TInput input(file);
    TReadResult r = ReadThroughCursor(input, VxFindCodePage(EncodingOfName(file)));
    std::printf("== %s: %s (code page %u), %lld lines, %lld words\n",
                std::filesystem::path(file).filename().string().c_str(),
                VxUTF16ToUTF8(VxCodePageName(r.CodePage)).c_str(), static_cast<unsigned>(r.CodePage),
                static_cast<long long>(r.Lines), static_cast<long long>(r.Words));
    std::fwrite(r.Text.data(), 1, r.Text.size(), stdout);
    std::printf("\n");
  }
  for (const char* sample : {"catalog.xml", "order.json"}) {
    const std::string path = (std::filesystem::path(ADir) / sample).string();
    if (!std::filesystem::exists(path)) continue;
    std::printf("== SAX events of %s\n", sample);
    std::fflush(stdout);
    if (int rc = CmdEvents(path)) return rc;
    std::printf("\n");
  }
  std::printf("== encodings the library knows (code page, name, aliases)\n");
  return CmdEncodings();
}

int CmdEvents(const std::string& AFileName) {
  TInput input(AFileName);
  if (input.Empty()) throw TInputError{input.Name() + " is empty: no XML or JSON document to read"};
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
      text += " " + Escaped(A->GetQName(k), false) + "=" + Show(A->GetValue(k)) +
              (A->GetURI(k).empty() ? "" : "{" + Escaped(A->GetURI(k), false) + "}");
    line(text);
  };
  parser.OnEndElement = [&](TVxSAXParser*, const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q) {
    line("EndElement " + Show(U) + " " + Show(L) + " " + Show(Q));
  };
  parser.OnCharacters = [&](TVxSAXParser*, const VxXMLString& T) { line("Characters " + Show(T)); };
  parser.OnIgnorableWhitespace = [&](TVxSAXParser*, const VxXMLString& T) { line("IgnorableWhitespace " + Show(T)); };
  parser.OnFatalError = [&](IVxSAXLocator* L, const VxXMLString& M) {
    line("FatalError " + Escaped(VxFormat(cVxParseErrorAt, L->GetLineNr(), L->GetColNr(), M), false));
  };
  try {
    const uint16_t cp = VxGetCodePage(input.Stream());
    parser.ParseStream(input.Stream(), cp, VxUTF8ToUTF16(AFileName));
  } catch (const EVxXMLParseError& e) {
    throw TInputError{Escaped(VxFormat(cVxParseErrorAt, e.LineNr(), e.ColNr(), e.Message()), false)};
  }
  return 0;
}

// The whole input in memory (standard input cannot seek back), and whether it is JSON: its
// first character after a byte-order mark and blanks opens an object or an array.
struct TLoadedInput {
  TVxMemoryStream Bytes;
  bool IsJSON = false;
};

void LoadInput(const std::string& AFileName, TLoadedInput& AOut) {
  TInput input(AFileName);
  if (input.Empty()) throw TInputError{input.Name() + " is empty: no XML or JSON document to read"};
  char buffer[65536];
  for (int64_t n; (n = input.Stream().Read(buffer, sizeof buffer)) > 0;) AOut.Bytes.WriteBuffer(buffer, n);
  AOut.Bytes.Seek(0, soBeginning);
  const uint16_t cp = VxGetCodePage(AOut.Bytes);
  TVxTextParser cursor(&AOut.Bytes, false, cp ? cp : cVxCodePageUTF8);
  cursor.SkipWhile(skWhileAtOrBelow, u' ');
  AOut.IsJSON = !cursor.Eof() && (cursor.CurrCharW() == u'{' || cursor.CurrCharW() == u'[');
  AOut.Bytes.Seek(0, soBeginning);
}

// Loads a document from a file; a parse error becomes "Line L, column C: message".
TVxIntf<IVxDOMDocument> LoadDocument(const std::string& AFileName) {
  TLoadedInput in;
  LoadInput(AFileName, in);
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
  TVxDOMDocument* d = doc->DOMDocument();
  d->SetDocumentURI(VxUTF8ToUTF16(AFileName));
  try {
    if (in.IsJSON)
      d->LoadFromJSON(in.Bytes);
    else
      d->LoadFromStream(in.Bytes);
  } catch (const EVxXMLParseError& e) {
    throw TInputError{Escaped(VxFormat(cVxParseErrorAt, e.LineNr(), e.ColNr(), e.Message()), false)};
  }
  return doc;
}

void WriteOut(TVxMemoryStream& AOut) {
  std::fwrite(AOut.Memory(), 1, static_cast<size_t>(AOut.Size()), stdout);
}

int CmdFormat(const std::string& AFileName, const std::string& AEncoding) {
  const uint16_t cp = AEncoding.empty() ? 0 : CodePageOfName(AEncoding);
  TVxIntf<IVxDOMDocument> doc = LoadDocument(AFileName);
  TVxDOMDocument* d = doc->DOMDocument();
  if (cp) d->SetEncoding(AEncoding);
  TVxMemoryStream out;
  d->SaveToStream(out, d->CodePage() == cVxCodePageUTF16, true);
  out.WriteBuffer("\n", d->CodePage() == cVxCodePageUTF16 ? 0 : 1);
  WriteOut(out);
  return 0;
}

int CmdToJSON(const std::string& AFileName) {
  TVxIntf<IVxDOMDocument> doc = LoadDocument(AFileName);
  TVxMemoryStream out;
  doc->DOMDocument()->SaveToJSONStream(out, true);
  out.WriteBuffer("\n", 1);
  WriteOut(out);
  return 0;
}

// A JSON document (form-url-encoded with AForm) from a file or standard input.
TVxIntf<TVxJSONDocument> LoadJSON(const std::string& AFileName, bool AForm) {
  TLoadedInput in;
  LoadInput(AFileName, in);
  auto doc = VxMake<TVxJSONDocument>();
  doc->SetAllowTrailingWhiteSpace(true);  // files end with a line break
  try {
    doc->TVxJSONBase::LoadFromStream(in.Bytes, AForm ? cVxCodePageUTF8 : VxGetCodePage(in.Bytes), AForm);
  } catch (const EVxJSONParseError& e) {
    throw TInputError{Escaped(e.Message(), false)};
  }
  return doc;
}

int CmdJSON(const std::string& AFileName, bool ACompact, bool AForm) {
  TVxIntf<TVxJSONDocument> doc = LoadJSON(AFileName, AForm);
  TVxMemoryStream out;
  doc->SaveToStream(out, !ACompact, cVxCodePageUTF8, false);
  out.WriteBuffer("\n", 1);
  WriteOut(out);
  return 0;
}

int CmdJSONPath(const std::string& AFileName, const std::string& APath) {
  TVxIntf<TVxJSONDocument> doc = LoadJSON(AFileName, false);
  std::vector<TVxJSONBase*> nodes;
  try {
    nodes = TVxJSONPath(VxUTF8ToUTF16(APath)).Evaluate(doc.Get());
  } catch (const EVxJSONException& e) {
    throw TInputError{"bad path: " + Escaped(e.Message(), false)};
  }
  for (TVxJSONBase* n : nodes) std::printf("%s\n", VxUTF16ToUTF8(n->GetAsJSON()).c_str());
  return 0;
}

int CmdSelect(const std::string& AFileName, const std::string& APath) {
  TVxIntf<IVxDOMDocument> doc = LoadDocument(AFileName);
  TVxIntf<TVxDOMNodeList> nodes;
  try {
    nodes = doc->DOMDocument()->CreateNodeList(VxUTF8ToUTF16(APath));
  } catch (const Exception& e) {
    throw TInputError{"bad path: " + Escaped(e.Message(), false)};
  }
  for (int k = 0; k < nodes->Count(); ++k) {
    TVxDOMNode* n = nodes->GetItem(k);
    std::printf("%s %s\n", VxUTF16ToUTF8(n->NodePath()).c_str(), Show(n->GetText()).c_str());
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Command line
// ---------------------------------------------------------------------------------------------

struct TCommand {
  const char* Name;
  size_t MinArgs, MaxArgs;
  std::vector<std::string> Flags;  // the options the command takes
  std::function<int(const std::vector<std::string>&, const std::set<std::string>&)> Run;
};

const std::vector<TCommand>& Commands() {
  static const std::vector<TCommand> commands = {
      {"demo", 0, 1, {}, [](const auto& A, const auto&) { return CmdDemo(A.empty() ? "samples" : A[0]); }},
      {"read", 1, 2, {}, [](const auto& A, const auto&) { return CmdRead(A[0], A.size() > 1 ? A[1] : ""); }},
      {"encodings", 0, 0, {}, [](const auto&, const auto&) { return CmdEncodings(); }},
      {"events", 1, 1, {}, [](const auto& A, const auto&) { return CmdEvents(A[0]); }},
      {"format", 1, 2, {}, [](const auto& A, const auto&) { return CmdFormat(A[0], A.size() > 1 ? A[1] : ""); }},
      {"tojson", 1, 1, {}, [](const auto& A, const auto&) { return CmdToJSON(A[0]); }},
      {"json", 1, 1, {"--compact", "--form"},
       [](const auto& A, const auto& F) { return CmdJSON(A[0], F.count("--compact") > 0, F.count("--form") > 0); }},
      {"select", 2, 2, {}, [](const auto& A, const auto&) { return CmdSelect(A[0], A[1]); }},
      {"jsonpath", 2, 2, {}, [](const auto& A, const auto&) { return CmdJSONPath(A[0], A[1]); }},
  };
  return commands;
}

int Run(const std::vector<std::string>& AArgs) {
  if (AArgs.empty()) throw TUsageError{"no command given"};
  std::vector<std::string> rest;
  std::set<std::string> flags;
  bool options = true;
  for (const std::string& a : AArgs) {
    if (options && a == "--") {
      options = false;
    } else if (options && (a == "-h" || a == "--help")) {
      std::fputs(cUsage, stdout);
      return 0;
    } else if (options && a == "--version") {
      std::printf("vxtool %s\n", VxUTF16ToUTF8(VxXMLLibraryVersion()).c_str());
      return 0;
    } else if (options && a.size() > 1 && a[0] == '-') {
      flags.insert(a);
    } else {
      rest.push_back(a);
    }
  }
  if (rest.empty()) {
    if (!flags.empty()) throw TUsageError{"unknown option '" + *flags.begin() + "'"};
    throw TUsageError{"no command given"};
  }
  for (const TCommand& c : Commands()) {
    if (rest[0] != c.Name) continue;
    for (const std::string& f : flags)
      if (std::find(c.Flags.begin(), c.Flags.end(), f) == c.Flags.end())
        throw TUsageError{"unknown option '" + f + "'" + (c.Flags.empty() ? "" : std::string(" for ") + c.Name)};
    std::vector<std::string> args(rest.begin() + 1, rest.end());
    if (args.size() < c.MinArgs) throw TUsageError{std::string(c.Name) + ": missing argument"};
    if (args.size() > c.MaxArgs) throw TUsageError{std::string(c.Name) + ": unexpected argument '" + args[c.MaxArgs] + "'"};
    return c.Run(args, flags);
  }
  throw TUsageError{"unknown command '" + rest[0] + "'"};
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const TUsageError& e) {
    std::fprintf(stderr, "vxtool: %s\n\n%s", e.Message.c_str(), cUsage);
    return 2;
  } catch (const TInputError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "vxtool: %s\n", e.Message.c_str());
    return 1;
  } catch (const Exception& e) {
    std::fflush(stdout);
    // The message in full: what() would stop at a U+0000 in it.
    std::fprintf(stderr, "vxtool: %s: %s\n", VxUTF16ToUTF8(e.ClassName()).c_str(), Escaped(e.Message(), false).c_str());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "vxtool: %s\n", e.what());
    return 1;
  }
}
