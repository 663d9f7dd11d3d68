// The SAX readers over streams and in unusual situations: documents larger than the read
// window through streams that deliver a few bytes per read, pipes, handlers that throw or
// start another parse, file names that are no UTF-8, and the default handler.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "uVxSAX.h"
#include "vx_test_streams.h"

using namespace vx;
using test::TTrickleStream;
using test::TWindowGuard;

namespace {

std::string N(const VxXMLString& AText) { return VxUTF16ToUTF8(AText); }

// Records every event, with the locator's position, as one line; derives from the default
// handler so it overrides only what it records.
class TEvents : public TVxSAXDefaultHandler {
 public:
  std::vector<std::string> Lines;
  IVxSAXLocator* Locator = nullptr;

  void SetDocumentLocator(IVxSAXLocator* L) override { Locator = L; }
  void StartDocument() override { Push("start-doc"); }
  void EndDocument() override { Push("end-doc"); }
  void StartElement(const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q, IVxSAXAttributes* A) override {
    std::string s = "start:" + N(Q) + "(" + N(L) + "){" + N(U) + "}";
    for (int k = 0; k < A->Count(); ++k) s += " " + N(A->GetQName(k)) + "=" + N(A->GetValue(k)) + "{" + N(A->GetURI(k)) + "}";
    Push(s);
  }
  void EndElement(const VxXMLString& U, const VxXMLString&, const VxXMLString& Q) override { Push("end:" + N(Q) + "{" + N(U) + "}"); }
  void Characters(const VxXMLString& T) override { Push("chars:" + N(T)); }
  void IgnorableWhitespace(const VxXMLString& T) override { Push("ws:" + std::to_string(T.size())); }
  void ProcessingInstruction(const VxXMLString& T, const VxXMLString& D) override { Push("pi:" + N(T) + "|" + N(D)); }
  void StartPrefixMapping(const VxXMLString& P, const VxXMLString& U) override { Push("map:" + N(P) + "=" + N(U)); }
  void EndPrefixMapping(const VxXMLString& P) override { Push("end-map:" + N(P)); }
  void Comment(const VxXMLString& T) override { Push("comment:" + N(T)); }
  void StartCDATA() override { Push("cdata{"); }
  void EndCDATA() override { Push("}cdata"); }
  void FatalError(IVxSAXLocator* L, const VxXMLString& M) override {
    Push("fatal:" + N(M) + "@" + std::to_string(L->GetLineNr()) + ":" + std::to_string(L->GetColNr()));
  }

 private:
  void Push(std::string AEvent) {
    if (Locator) AEvent += " @" + std::to_string(Locator->GetLineNr()) + ":" + std::to_string(Locator->GetColNr());
    Lines.push_back(std::move(AEvent));
  }
};

// The first difference between two event lists, or "" when they agree.
std::string FirstDifference(const std::vector<std::string>& A, const std::vector<std::string>& B) {
  for (size_t k = 0; k < std::min(A.size(), B.size()); ++k)
    if (A[k] != B[k]) return "event " + std::to_string(k) + ":\n  buffer " + A[k] + "\n  stream " + B[k];
  if (A.size() != B.size()) return "lengths " + std::to_string(A.size()) + " and " + std::to_string(B.size());
  return {};
}

// About 70 KB of XML whose text lines hold "!" and "?" right after tags, CDATA, comments,
// namespaces, non-ASCII text and attributes, so that every construct meets the window's edge.
std::string GeneratedXML(size_t ASize, unsigned ASeed) {
  std::mt19937 rng(ASeed);
  const char* texts[] = {"O! what a noble mind", "x?y", "!", "?", "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC", "a &amp; b",
                         "  padded  ", "\xF0\x9F\x8C\x8D"};
  std::string doc = "<?xml version=\"1.0\"?>\n<!-- head -->\n<r xmlns=\"urn:r\" xmlns:p=\"urn:p\">\n";
  int n = 0;
  while (doc.size() < ASize) {
    switch (rng() % 6) {
      case 0: doc += "<line n=\"" + std::to_string(n++) + "\">" + texts[rng() % 8] + "</line>\n"; break;
      case 1: doc += "<p:item p:k='v" + std::to_string(n++) + "' q=\"" + texts[rng() % 8] + "\"/>\n"; break;
      case 2: doc += "<t>" + std::string(texts[rng() % 8]) + "<![CDATA[<raw>]]>" + texts[rng() % 8] + "</t>\n"; break;
      case 3: doc += "<!-- " + std::string(texts[rng() % 8]) + " -->\n"; break;
      case 4: doc += "<?pi " + std::to_string(n++) + "?>"; break;
      default: doc += "<e xmlns:q=\"urn:q\"><q:f>" + std::string(texts[rng() % 8]) + "</q:f></e>  \n"; break;
    }
  }
  return doc + "</r>\n";
}

std::string GeneratedJSON(size_t ASize, unsigned ASeed) {
  std::mt19937 rng(ASeed);
  std::string doc = "{\"items\": [";
  int n = 0;
  while (doc.size() < ASize) {
    if (n) doc += ",\n";
    doc += "{\"id\": " + std::to_string(n++) + ", \"name\": \"n\\u00e9\\\"" + std::to_string(rng() % 1000) +
           "\", \"ok\": " + (rng() % 2 ? "true" : "false") + ", \"none\": null, \"list\": [1.5, -2e3, \"x\"]}";
  }
  return doc + "], \"end\": \"\xE6\x97\xA5\"}";
}

template <class TReader>
std::vector<std::string> Events(const std::function<void(TReader&)>& AParse) {
  TReader reader;
  auto events = VxMake<TEvents>();
  reader.SetHandlers(events);
  try {
    AParse(reader);
  } catch (const std::exception& e) {
    events->Lines.push_back(std::string("raised:") + e.what());
  }
  return events->Lines;
}

std::string TempPath(const std::string& AName) { return (std::filesystem::temp_directory_path() / AName).string(); }

}  // namespace

// A document read from a buffer, from a file and through streams that deliver 1, 3, 7 or 4093
// bytes per read (with the default 64 KB window and with windows of 16 and 64 bytes) gives the
// same events at the same positions.
TEST(SAXStreams, DocumentsLargerThanTheWindowReadAlikeFromEverySource) {
  const std::string xml = GeneratedXML(70000, 1);
  const std::string json = GeneratedJSON(70000, 2);
  const std::string xmlFile = TempPath("vx_sax_stream.xml");
  std::ofstream(xmlFile, std::ios::binary) << xml;
  for (bool isXML : {true, false}) {
    const std::string& doc = isXML ? xml : json;
    auto parse = [&](const std::function<void(TVxSAXReader&)>& AParse) {
      return isXML ? Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { AParse(r); })
                   : Events<TVxSAXJSONReader>([&](TVxSAXJSONReader& r) { AParse(r); });
    };
    const auto reference = parse([&](TVxSAXReader& r) { r.ParseBuffer(doc.data(), static_cast<int64_t>(doc.size()), 0, u"x"); });
    ASSERT_GT(reference.size(), 1000u);
    ASSERT_EQ(reference.back().rfind("end-doc", 0), 0u) << reference.back();
    if (isXML) {
      EXPECT_EQ(FirstDifference(reference, parse([&](TVxSAXReader& r) { r.ParseFile(VxUTF8ToUTF16(xmlFile), fmOpenRead, u"x"); })), "");
    }
    for (size_t window : {size_t(0), size_t(16), size_t(64)}) {
      std::unique_ptr<TWindowGuard> guard;
      if (window) guard = std::make_unique<TWindowGuard>(window);
      for (int64_t step : {1, 3, 7, 4093}) {
        if (window == 0 && step < 3) continue;  // a byte per read through 70 KB: covered by the small windows
        SCOPED_TRACE((isXML ? "XML" : "JSON") + std::string(" window ") + std::to_string(window) + " step " + std::to_string(step));
        TTrickleStream stream(doc, step);
        EXPECT_EQ(FirstDifference(reference, parse([&](TVxSAXReader& r) { r.ParseStream(stream, 0, u"x"); })), "");
      }
    }
  }
  std::filesystem::remove(xmlFile);
}

// Malformed documents fail alike from a buffer and through a trickling stream with a small
// window: same message, same position.
TEST(SAXStreams, FailuresReadAlikeFromEverySource) {
  TWindowGuard guard(16);
  const char* docs[] = {"<r>\n<a b></a></r>", "<r>text</r>\n<x/>", "<r><a\n<b/></r>", "<r>\n\n  unfinished text",
                        "<r><![CDAT[x]]></r>", "<r a='1' b=\"2\" c></r>", "<r>" "\xE2\x82" "</r></r>"};
  for (const char* text : docs) {
    std::string doc(text);
    auto reference = Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.Parse(std::string_view(doc), 0, u""); });
    for (int64_t step : {1, 2, 5}) {
      TTrickleStream stream(doc, step);
      auto streamed = Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseStream(stream, 0, u""); });
      EXPECT_EQ(FirstDifference(reference, streamed), "") << text << " step " << step;
    }
  }
}

// A stream that cannot seek (a pipe) is read straight on, by the readers and the component.
TEST(SAXStreams, PipesAreReadStraightOn) {
  struct TPipeBuf : std::streambuf {
    explicit TPipeBuf(std::string AData) : FData(std::move(AData)) { setg(FData.data(), FData.data(), FData.data() + FData.size()); }
    std::string FData;
  };
  const std::string xml = GeneratedXML(200000, 3);
  const auto reference = Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.Parse(std::string_view(xml), 0, u""); });
  {
    TPipeBuf buf(xml);
    std::istream in(&buf);
    TVxStdStream pipe(in);
    EXPECT_EQ(FirstDifference(reference, Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseStream(pipe, 0, u""); })), "");
  }
  for (const std::string& doc : {"  \n" + xml, std::string("\n [1, 2, {\"a\": true}]")}) {
    TPipeBuf buf(doc);
    std::istream in(&buf);
    TVxStdStream pipe(in);
    TVxSAXParser parser;
    int elements = 0;
    bool finished = false;
    parser.OnStartElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString&, const VxXMLString&,
                                IVxSAXAttributes*) { ++elements; };
    parser.OnFinished = [&](TVxSAXParser*) { finished = true; };
    parser.ParseStream(pipe, 0, u"");
    EXPECT_TRUE(finished);
    EXPECT_GT(elements, 3);
  }
}

// A code page found in the declaration, or one read in decoded units, sends the cursor back to
// the start of the content: a stream that cannot seek is read over again from the bytes the
// cursor kept, at every window size.
TEST(SAXStreams, PipesInDeclaredAndDecodedCodePagesReadLikeBuffers) {
  const std::string latin1 = "   <?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r a=\"\xe9\">" + std::string(300, 'x') + "</r>";
  const std::string sjis = "<?xml version=\"1.0\" encoding=\"Shift_JIS\"?><r>\x93\xfa\x96\x7b" + std::string(300, 'y') + "</r>";
  std::string utf16be = "\xfe\xff";
  for (char c : std::string("<r>") + std::string(300, 'z') + "</r>") utf16be += std::string(1, '\0') + c;
  for (const std::string& doc : {latin1, sjis, utf16be}) {
    const auto reference = Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseBuffer(doc.data(), static_cast<int64_t>(doc.size()), 0, u""); });
    for (size_t window : {size_t(16), size_t(37), size_t(64)}) {
      test::TWindowGuard guard(window);
      for (int64_t step : {1, 5}) {
        test::TTrickleStream pipe(doc, step, false);
        EXPECT_EQ(FirstDifference(reference, Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseStream(pipe, 0, u""); })), "")
            << window << " " << step;
      }
    }
  }
}

// An end tag at the root level leaves the depth below the root's; a start tag that brings it
// back there closes the body in every reading path alike.
TEST(SAXStreams, AStrayEndTagAtTheRootReadsAlikeEverywhere) {
  // Found by fuzzing: the byte scan read the start tag that brings the depth back to the root's
  // level as an ordinary one, where the character operations apply the root-level rules.
  const std::string doc("f%</\xa1&&&&\xa1\xa1\xa1\xa1\xf8>\0\0\0<x\xa1\xa1#\xa1\xa1T\xa1\xf8>\0\x80\0\0\0\x80\xfb:\0<R\xff\xff\xff\xff\xffy", 46);
  const auto reference =
      Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseBuffer(doc.data(), static_cast<int64_t>(doc.size()), cVxCodePageUTF8, u""); });
  test::TWindowGuard guard(16);
  test::TTrickleStream pipe(doc, 1, false);
  EXPECT_EQ(FirstDifference(reference, Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseStream(pipe, cVxCodePageUTF8, u""); })), "");
}

// A short \u escape stands for the letter u and never swallows the closing quote.
TEST(SAXStreams, ShortUnicodeEscapesKeepTheStringsEnd) {
  auto events = Events<TVxSAXJSONReader>([](TVxSAXJSONReader& r) {
    r.Parse(std::string_view(R"({"a": "\u41", "b": "\u", "c": "\u00e9\u004", "d": 1})"), cVxCodePageUTF8, u"");
  });
  std::vector<std::string> chars;
  for (const auto& e : events)
    if (e.rfind("chars:", 0) == 0) chars.push_back(e.substr(0, e.find(" @")));
  EXPECT_EQ(chars, (std::vector<std::string>{"chars:u41", "chars:u", "chars:\xC3\xA9u004", "chars:1"}));
}

// A handler that keeps the attribute list and ends the parse by throwing still owns an intact
// list after the next parse (the usual way to stop early); the same for JSON typing lists.
TEST(SAXStreams, AListKeptByAHandlerThatThrowsIsNotReused) {
  struct TStop : TVxSAXDefaultHandler {
    TVxIntf<IVxSAXAttributes> Kept;
    void StartElement(const VxXMLString&, const VxXMLString& L, const VxXMLString&, IVxSAXAttributes* A) override {
      if (!Kept && A->Count() > 0 && L != u"object" && L != u"array") {
        Kept = TVxIntf<IVxSAXAttributes>(A);
        throw std::runtime_error("stop");
      }
    }
  };
  auto stop = VxMake<TStop>();
  TVxSAXXMLReader xml;
  xml.SetHandlers(stop);
  EXPECT_THROW(xml.Parse(std::string_view("<r a=\"first\"/>"), 0, u""), std::runtime_error);
  xml.Parse(std::string_view("<r a=\"second\" b=\"x\"/>"), 0, u"");
  ASSERT_TRUE(stop->Kept);
  EXPECT_EQ(stop->Kept->Count(), 1);
  EXPECT_EQ(stop->Kept->GetValue(u"a"), u"first");
  stop->Kept = nullptr;
  TVxSAXJSONReader json;
  json.SetHandlers(stop);
  EXPECT_THROW(json.Parse(std::string_view("{\"v\": 1}"), 0, u""), std::runtime_error);
  json.Parse(std::string_view("{\"w\": null}"), 0, u"");
  ASSERT_TRUE(stop->Kept);
  EXPECT_EQ(stop->Kept->GetValue(u"xsd:type"), u"decimal");
}

// A handler that starts a parse on its own reader gets a clear refusal, which also ends the
// outer parse through the error route; nothing is freed under the outer parse.
TEST(SAXStreams, AParseFromInsideAHandlerIsRefused) {
  struct TNested : TVxSAXDefaultHandler {
    TVxSAXReader* Reader = nullptr;
    VxXMLString Inner, Fatal;
    void StartElement(const VxXMLString&, const VxXMLString&, const VxXMLString&, IVxSAXAttributes*) override {
      try {
        Reader->Parse(u"<inner/>", u"");
      } catch (const EVxXMLParseError& e) {
        Inner = e.Message();
        EXPECT_EQ(e.ErrorCode(), cVxXMLErrReentrantParse);
        throw;
      }
    }
    void FatalError(IVxSAXLocator*, const VxXMLString& M) override { Fatal = M; }
  };
  for (bool isXML : {true, false}) {
    std::unique_ptr<TVxSAXReader> reader;
    if (isXML)
      reader = std::make_unique<TVxSAXXMLReader>();
    else
      reader = std::make_unique<TVxSAXJSONReader>();
    auto nested = VxMake<TNested>();
    nested->Reader = reader.get();
    reader->SetHandlers(nested);
    EXPECT_THROW(reader->Parse(isXML ? u"<outer><x/></outer>" : u"{\"a\": 1}", u""), EVxXMLParseError);
    EXPECT_EQ(nested->Inner, cVxSAXReentrantParse);
    EXPECT_EQ(nested->Fatal, cVxSAXReentrantParse);
    nested->Reader = nullptr;
    reader->SetHandlers(VxMake<TVxSAXDefaultHandler>());
    reader->Parse(isXML ? u"<again/>" : u"[]", u"");  // the reader works on afterwards
  }
}

// The component reads a UTF-16 big-endian file with a byte-order mark in two-byte units.
TEST(SAXStreams, TheComponentReadsUTF16BigEndianFiles) {
  const std::string path = TempPath("vx_sax_utf16be.xml");
  {
    std::ofstream f(path, std::ios::binary);
    f.write("\xFE\xFF", 2);
    for (char16_t c : VxString(u"  <doc a=\"\u00E9\">\u65E5</doc>")) {
      f.put(static_cast<char>(c >> 8));
      f.put(static_cast<char>(c & 0xFF));
    }
  }
  TVxSAXParser parser;
  std::vector<std::string> log;
  parser.OnStartElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString& L, const VxXMLString&,
                              IVxSAXAttributes* A) { log.push_back(N(L) + " " + N(A->GetValue(0))); };
  parser.OnCharacters = [&](TVxSAXParser*, const VxXMLString& T) { log.push_back(N(T)); };
  parser.ParseFile(std::filesystem::path(path), fmOpenRead, u"");
  EXPECT_EQ(log, (std::vector<std::string>{"doc \xC3\xA9", "\xE6\x97\xA5"}));
  std::filesystem::remove(path);
}

// File names as file system paths, including one that is not valid UTF-8.
TEST(SAXStreams, FilesAreNamedByFileSystemPaths) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / std::string("vx_r\xE9sum\xE9.xml");
  std::ofstream(path, std::ios::binary) << "<r><a/></r>";
  auto events = Events<TVxSAXXMLReader>([&](TVxSAXXMLReader& r) { r.ParseFile(path, fmOpenRead, u"cv"); });
  EXPECT_EQ(events.size(), 6u);
  TVxSAXParser parser;
  int ends = 0;
  parser.OnEndElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString&, const VxXMLString&) { ++ends; };
  parser.ParseFile(path, fmOpenRead, u"cv");
  EXPECT_EQ(ends, 2);
  std::filesystem::remove(path);
  try {
    parser.ParseFile(path, fmOpenRead, u"");
    FAIL();
  } catch (const EFOpenError& e) {
    EXPECT_NE(e.Message().find(u"vx_r"), VxString::npos);
  }
}

// The default handler: a reader needs nothing more to run, and a parse failure still raises
// after FatalError.
TEST(SAXStreams, TheDefaultHandlerDoesNothingButKeepsTheErrorRoute) {
  TVxSAXXMLReader reader;
  reader.SetHandlers(VxMake<TVxSAXDefaultHandler>());
  reader.Parse(u"<a><b c=\"1\"/>text<!--x--></a>", u"");
  EXPECT_THROW(reader.Parse(u"<a></a><b/>", u""), EVxXMLParseError);
}
