// The SAX readers and the parser component: event sequences, locator positions, encodings,
// failures with their messages and codes, and robustness against truncated and deep input.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <fstream>
#include <sstream>

#include "uVxSAX.h"

using namespace vx;

namespace {

std::string U8(const char8_t* AText) { return std::string(reinterpret_cast<const char*>(AText)); }
std::string N(const VxXMLString& AText) { return VxUTF16ToUTF8(AText); }

// Records every event as one line of text.
class TRecorder : public TVxImplements<TVxObject, IVxSAXContentHandler, IVxSAXLexicalHandler, IVxSAXErrorHandler> {
 public:
  std::vector<std::string> Events;
  int FatalCount = 0;
  int64_t FatalLine = -2, FatalCol = -2;
  bool ShowURIs = true;
  bool ShowAttributeLocalNames = false;
  bool ShowPositions = false;  // each event followed by the locator's line and column

  void SetDocumentLocator(IVxSAXLocator* L) override { Locator = L; }
  void Characters(const VxXMLString& T) override { Push("chars:" + N(T)); }
  void EndDocument() override { Push("end-doc"); }
  void EndElement(const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q) override {
    Push("end:" + Name(U, L, Q));
  }
  void EndPrefixMapping(const VxXMLString& P) override { Push("end-map:" + N(P)); }
  void IgnorableWhitespace(const VxXMLString& T) override { Push("ws:" + N(T)); }
  void ProcessingInstruction(const VxXMLString& T, const VxXMLString& D) override {
    Push("pi:" + N(T) + "|" + N(D));
  }
  void SkippedEntity(const VxXMLString&) override {}
  void StartDocument() override { Push("start-doc"); }
  void StartElement(const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q, IVxSAXAttributes* A) override {
    std::string s = "start:" + Name(U, L, Q);
    for (int k = 0; k < A->Count(); ++k) {
      s += " " + N(A->GetQName(k)) + "=" + N(A->GetValue(k));
      if (ShowAttributeLocalNames) s += "(" + N(A->GetLocalName(k)) + ")";
      if (ShowURIs && !A->GetURI(k).empty()) s += "{" + N(A->GetURI(k)) + "}";
    }
    Push(s);
  }
  void StartPrefixMapping(const VxXMLString& P, const VxXMLString& U) override {
    Push("map:" + N(P) + "=" + N(U));
  }
  void Comment(const VxXMLString& T) override { Push("comment:" + N(T)); }
  void StartCDATA() override { Push("cdata{"); }
  void StartDTD() override { Push("dtd{"); }
  void StartEntity(const VxXMLString&) override {}
  void EndCDATA() override { Push("}cdata"); }
  void EndDTD() override { Push("}dtd"); }
  void EndEntity(const VxXMLString&) override {}
  void Warning(IVxSAXLocator*, const VxXMLString&) override { Push("warning"); }
  void Error(IVxSAXLocator*, const VxXMLString&) override { Push("error"); }
  void Push(std::string AEvent) {
    if (ShowPositions && Locator)
      AEvent += " @" + std::to_string(Locator->GetLineNr()) + ":" + std::to_string(Locator->GetColNr());
    Events.push_back(std::move(AEvent));
  }
  void FatalError(IVxSAXLocator* L, const VxXMLString& M) override {
    ++FatalCount;
    FatalLine = L->GetLineNr();
    FatalCol = L->GetColNr();
    Push("fatal:" + N(M));
  }

 private:
  IVxSAXLocator* Locator = nullptr;
  std::string Name(const VxXMLString& U, const VxXMLString& L, const VxXMLString& Q) {
    std::string s = N(Q);
    if (L != Q) s += "(" + N(L) + ")";
    if (!U.empty() && ShowURIs) s += "{" + N(U) + "}";
    return s;
  }
};

class SAXTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Rec = TVxIntf<TRecorder>(new TRecorder);
    Attach(XML);
    Attach(JSON);
  }
  void Attach(TVxSAXReader& R) {
    R.SetContentHandler(TVxIntf<IVxSAXContentHandler>(Rec.Get()));
    R.SetLexicalHandler(TVxIntf<IVxSAXLexicalHandler>(Rec.Get()));
    R.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(Rec.Get()));
  }
  std::vector<std::string> ParseXML(std::u16string_view AText) {
    Rec->Events.clear();
    XML.Parse(AText, u"test");
    return Rec->Events;
  }
  std::vector<std::string> ParseXMLUTF8(std::string_view AText) {
    Rec->Events.clear();
    XML.Parse(AText, cVxCodePageUTF8, u"test");
    return Rec->Events;
  }
  std::vector<std::string> ParseJSON(std::string_view AText) {
    Rec->Events.clear();
    JSON.Parse(AText, cVxCodePageUTF8, u"test");
    return Rec->Events;
  }
  // Parses and expects a failure; answers it.
  template <class TReader>
  EVxXMLParseError Fails(TReader& AReader, std::string_view AText) {
    Rec->Events.clear();
    Rec->FatalCount = 0;
    try {
      AReader.Parse(AText, cVxCodePageUTF8, u"test");
    } catch (const EVxXMLParseError& e) {
      EXPECT_EQ(Rec->FatalCount, 1);
      EXPECT_EQ(Rec->Events.back(), "fatal:" + N(e.Message()));
      return e;
    }
    ADD_FAILURE() << "no failure for " << AText;
    return EVxXMLParseError(u"", 0);
  }
  TVxIntf<TRecorder> Rec;
  TVxSAXXMLReader XML;
  TVxSAXJSONReader JSON;
};

using Events = std::vector<std::string>;

}  // namespace

TEST_F(SAXTest, EveryConstructInOrder) {
  EXPECT_EQ(ParseXML(u"<?xml version=\"1.0\"?>\n<!DOCTYPE r [<!ENTITY e \"x\">]>\n<!-- c -->\n"
                     u"<r a=\"1\" b='2'>t&amp;<![CDATA[<x>]]><e/><?pi data?>  </r>"),
            (Events{"start-doc", "pi:xml|version=\"1.0\"", "dtd{", "}dtd", "comment: c ", "start:r a=1 b=2",
                    "chars:t&amp;", "cdata{", "chars:<x>", "}cdata", "start:e", "end:e", "pi:pi|data", "ws:  ",
                    "end:r", "end-doc"}));
}

TEST_F(SAXTest, TextAndWhitespace) {
  // Blank-only text goes to IgnorableWhitespace; other text is sent whole, blanks included.
  EXPECT_EQ(ParseXML(u"<a>  </a>"), (Events{"start-doc", "start:a", "ws:  ", "end:a", "end-doc"}));
  EXPECT_EQ(ParseXML(u"<a> x </a>"), (Events{"start-doc", "start:a", "chars: x ", "end:a", "end-doc"}));
  EXPECT_EQ(ParseXML(u"<a>&lt;</a>"), (Events{"start-doc", "start:a", "chars:&lt;", "end:a", "end-doc"}));
  EXPECT_EQ(ParseXML(u"junk<a/>"), (Events{"start-doc", "start:a", "end:a", "end-doc"}));
}

TEST_F(SAXTest, LenientStructure) {
  // End tags are not matched; an unclosed element simply ends with the document.
  EXPECT_EQ(ParseXML(u"<a><b></a>"), (Events{"start-doc", "start:a", "start:b", "end:a", "end-doc"}));
  // A comment's inner "--" is not an error; comments after the root are read.
  EXPECT_EQ(ParseXML(u"<a/><!-- x -- y -->"), (Events{"start-doc", "start:a", "end:a", "comment: x -- y ", "end-doc"}));
}

TEST_F(SAXTest, NamespacesAreReportedAndResolvedCaseInsensitively) {
  EXPECT_EQ(ParseXML(u"<a xmlns=\"u\" p:b=\"1\" xmlns:p=\"v\"><p:c/></a>"),
            (Events{"start-doc", "map:=u", "map:p=v", "start:a{u} xmlns=u p:b=1 xmlns:p=v", "start:p:c(c){v}",
                    "end:p:c(c){v}", "end:a{u}", "end-map:p", "end-map:", "end-doc"}));
  EXPECT_EQ(ParseXML(u"<a:b xmlns:A=\"u\"/>"),
            (Events{"start-doc", "map:A=u", "start:a:b(b){u} xmlns:A=u", "end:a:b(b){u}", "end-map:A", "end-doc"}));
  // An upper-case XMLNS declares too; an undeclared prefix resolves to nothing.
  EXPECT_EQ(ParseXML(u"<x:a XMLNS:y=\"w\"/>")[1], "map:y=w");
  EXPECT_EQ(ParseXML(u"<x:a/>")[1], "start:x:a(a)");
}

TEST_F(SAXTest, DeclarationsOnANewLineAreRecognised) {
  EXPECT_EQ(ParseXML(u"<r\n  xmlns:p=\"u\"\n  p:a=\"1\"/>")[1], "map:p=u");
}

TEST_F(SAXTest, MalformedDocumentsRaiseTheirMessagesAndCodes) {
  struct {
    const char* Text;
    int Code;
    const char16_t* Message;
  } cases[] = {
      {"<a></a><b/>", 9, u"The document is not wellformed!\r\nA XML document may not contain multiple root elements."},
      {"<a/><b/>", 9, u"The document is not wellformed!\r\nA XML document may not contain multiple root elements."},
      {"<a/>\n<!--c-->\n<b></b>", 9,
       u"The document is not wellformed!\r\nA XML document may not contain multiple root elements."},
      {"<a/> text <b/>", 12,
       u"The document is not wellformed!\r\nAn invalid token was detected at the root level of the document."},
      {"<a></a>text", 12, u"The document is not wellformed!\r\nAn invalid token was detected at the root level of the document."},
      {"<a b></a>", 7, u"The document is not wellformed!\r\nMissing attribute value."},
      {"<a x=\"1\" b></a>", 7, u"The document is not wellformed!\r\nMissing attribute value."},
      {"<a<b/>", 8, u"The document is not wellformed!\r\nAn element was not closed correctly (Row: 1, Col: 1)."},
      {"<:a/>", 2, u"The current character \":\" is only a valid NameStartChar when NameSpaces are not supported!"},
      {"<1a/>", 2, u"The current character \"1\" is not a valid NameStartChar!"},
      {"<a></a\n>", 2, u"The document is not wellformed!\r\n\">\" expected, but \"\n\" found!"},
      {"<!DOCTYPX r>", 5, u"\"DOCTYPE\" expected, but \"DOCTYPX\" found"},
      {"<a><![CDAT[x]]></a>", 6, u"![CDATA[ expected, but \"![CDAT[x\" found"},
      {"", 2, u"The document is not wellformed!\r\n\"<\" expected, but \"\" found!"},
  };
  for (auto& c : cases) {
    EVxXMLParseError e = Fails(XML, c.Text);
    EXPECT_EQ(e.ErrorCode(), c.Code) << c.Text;
    EXPECT_EQ(e.Message(), c.Message) << c.Text;
  }
}

// An empty-element root ends the body like an end tag does: white space to the end, comments
// and processing instructions after it are read (a real file ends "<fontconfig/>" and a newline).
TEST_F(SAXTest, AnEmptyRootElementMayBeFollowedByBlanksCommentsAndInstructions) {
  EXPECT_EQ(ParseXMLUTF8("<?xml version=\"1.0\"?>\n<fontconfig/>\n"),
            (Events{"start-doc", "pi:xml|version=\"1.0\"", "start:fontconfig", "end:fontconfig", "end-doc"}));
  EXPECT_EQ(ParseXMLUTF8("<a/>\r\n\t <!--after--> <?pi x?>\n"),
            (Events{"start-doc", "start:a", "end:a", "comment:after", "pi:pi|x", "end-doc"}));
  EXPECT_EQ(ParseXML(u"<a/>\n"), (Events{"start-doc", "start:a", "end:a", "end-doc"}));
  // Through the component too.
  TVxSAXParser parser;
  int elements = 0;
  parser.OnStartElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString&, const VxXMLString&,
                              IVxSAXAttributes*) { ++elements; };
  parser.Parse(std::string_view("<fontconfig/>\n"), cVxCodePageUTF8, u"");
  EXPECT_EQ(elements, 1);
}

TEST_F(SAXTest, EndOfInputFailuresReportTheConstructsStart) {
  // Text after an empty root element runs to the end: the text check raises the cursor's error.
  Rec->FatalCount = 0;
  EXPECT_THROW(XML.Parse(std::string_view("<a/>text"), cVxCodePageUTF8, u""), EVxTextParserEOF);
  EXPECT_EQ(Rec->FatalCount, 1);
  Rec->FatalCount = 0;
  Rec->Events.clear();
  try {
    XML.Parse(std::string_view("<r>\n  <a>\n  unfinished"), cVxCodePageUTF8, u"");
    FAIL();
  } catch (const EVxTextParserEOF&) {
    EXPECT_EQ(Rec->FatalCount, 1);
    EXPECT_EQ(Rec->FatalLine, 2);  // where the text began
    EXPECT_EQ(Rec->FatalCol, 6);
    EXPECT_EQ(XML.GetLineNr(), 2);
  }
  // A position-carrying failure keeps line and column for the caller.
  EVxXMLParseError e = Fails(XML, "<a>\n <b></b><1/></a>");
  EXPECT_EQ(e.LineNr(), 2);
  EXPECT_EQ(e.ColNr(), 10);
}

TEST_F(SAXTest, MissingHandlersAreRefusedBeforeAnyEvent) {
  TVxSAXXMLReader bare;
  try {
    bare.Parse(u"<a/>", u"");
    FAIL();
  } catch (const EVxXMLParseError& e) {
    EXPECT_EQ(e.ErrorCode(), 10);
    EXPECT_EQ(e.Message(), u"No contenthandler has been assigned!");
  }
  bare.SetContentHandler(TVxIntf<IVxSAXContentHandler>(Rec.Get()));
  Rec->Events.clear();
  try {
    bare.Parse(u"<a/>", u"");
    FAIL();
  } catch (const EVxXMLParseError& e) {
    EXPECT_EQ(e.ErrorCode(), 11);
    EXPECT_EQ(e.Message(), u"No errorhandler has been assigned!");
  }
  EXPECT_TRUE(Rec->Events.empty());
  TVxSAXJSONReader json;
  try {
    json.Parse(u"{}", u"");
    FAIL();
  } catch (const EVxXMLParseError& e) {
    EXPECT_EQ(e.ErrorCode(), 3);
  }
  // Without a lexical handler, comments, CDATA and DOCTYPE are dropped quietly.
  TVxSAXXMLReader quiet;
  quiet.SetContentHandler(TVxIntf<IVxSAXContentHandler>(Rec.Get()));
  quiet.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(Rec.Get()));
  Rec->Events.clear();
  quiet.Parse(u"<!DOCTYPE a><a><!--c--><![CDATA[d]]></a>", u"");
  EXPECT_EQ(Rec->Events, (Events{"start-doc", "start:a", "chars:d", "end:a", "end-doc"}));
}

TEST_F(SAXTest, ReaderIsReadyForTheNextParseAfterAFailure) {
  Fails(XML, "<a></a><b/>");
  EXPECT_EQ(XML.GetLineNr(), -1);  // no cursor outside a parse
  EXPECT_EQ(ParseXML(u"<ok/>"), (Events{"start-doc", "start:ok", "end:ok", "end-doc"}));
  EXPECT_EQ(XML.GetPublicID(), u"test");
  EXPECT_FALSE(XML.GetFeature(u"any"));
  EXPECT_TRUE(XML.GetProperty(u"any").IsNull());
}

TEST_F(SAXTest, LocatorBeforeAnyParse) {
  TVxSAXXMLReader fresh;
  EXPECT_EQ(fresh.GetLineNr(), -1);
  EXPECT_EQ(fresh.GetColNr(), -1);
  EXPECT_EQ(fresh.GetPosition(), -1);
}

TEST_F(SAXTest, Encodings) {
  const Events expected{"start-doc", "pi:xml|version=\"1.0\" encoding=\"ISO-8859-1\"", "start:a", "chars:café",
                        "end:a", "end-doc"};
  // ISO-8859-1 named by the declaration, no byte-order mark, code page 0.
  std::string latin = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>caf\xE9</a>";
  Rec->Events.clear();
  XML.ParseBuffer(latin.data(), static_cast<int64_t>(latin.size()), 0, u"");
  EXPECT_EQ(Rec->Events, expected);
  // The caller's code page wins over the declaration.
  std::string cp1252 = "<a>\x80</a>";
  Rec->Events.clear();
  XML.ParseBuffer(cp1252.data(), static_cast<int64_t>(cp1252.size()), 1252, u"");
  EXPECT_EQ(Rec->Events[2], "chars:€");
  // UTF-8 by default.
  Rec->Events.clear();
  XML.Parse(std::string_view(U8(u8"<a>日本</a>")), 0, u"");
  EXPECT_EQ(Rec->Events[2], "chars:日本");
  // A file in UTF-16LE with a byte-order mark: the mark decides.
  auto path = (std::filesystem::temp_directory_path() / "vx_sax_utf16.xml").string();
  {
    std::ofstream f(path, std::ios::binary);
    VxString text = u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>café</a>";
    f.write("\xFF\xFE", 2);
    f.write(reinterpret_cast<const char*>(text.data()), static_cast<std::streamsize>(text.size() * 2));
  }
  Rec->Events.clear();
  XML.ParseFile(VxUTF8ToUTF16(path), fmOpenRead, u"");
  EXPECT_EQ(Rec->Events, expected);
  std::filesystem::remove(path);
  // Unknown declared encoding.
  try {
    XML.Parse(std::string_view("<?xml version=\"1.0\" encoding=\"klingon\"?><a/>"), 0, u"");
    FAIL();
  } catch (const EVxEncodingNotSupported& e) {
    EXPECT_EQ(e.Message(), u"The specified encoding is not supported!");
  }
}

TEST_F(SAXTest, AttributeLookups) {
  TVxSAXXMAttributes list;
  TVxIntf<IVxSAXAttributes> hold(&list);
  list.SetAutoDestroy(false);
  list.Add(u"b", u"p:b", u"urn:p", u"1");
  list.Add(u"c", u"c", u"", u"2", ID);
  EXPECT_EQ(list.GetIndex(u"P:B"), 0);
  EXPECT_EQ(list.GetIndex(u"urn:p", u"B"), 0);
  EXPECT_EQ(list.GetIndex(u"none"), -1);
  EXPECT_EQ(list.GetValue(u"*", u"b"), u"1");  // any namespace
  EXPECT_EQ(list.GetValue(u"C"), u"2");
  EXPECT_EQ(list.GetType(1), ID);
  TVxSAXAttribute* first = list.FirstAttribute();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(first->Next, nullptr);
  EXPECT_EQ(first->Next->QName, u"c");
  auto expectError = [](auto AFn, const char16_t* AMessage) {
    try {
      AFn();
      ADD_FAILURE();
    } catch (const EVxXMLParseError& e) {
      EXPECT_EQ(e.ErrorCode(), 4);
      EXPECT_EQ(e.Message(), AMessage);
    }
  };
  expectError([&] { list.GetValue(2); }, u"List index (2) out of bounds!");
  expectError([&] { list.GetValue(u"none"); }, u"List index (none) out of bounds!");
  expectError([&] { list.GetType(u"urn:x", u"b"); }, u"List index (urn:x-b) out of bounds!");
  hold.Detach();
}

TEST_F(SAXTest, NamespaceListSearchesNewestFirst) {
  TVxSAXNamespaceList ns;
  ns.AddURI(1, u"p", u"one");
  ns.AddURI(2, u"P", u"two");
  ns.AddURI(2, u"q", u"three");
  EXPECT_EQ(ns.GetURI(u"p"), u"two");
  EXPECT_EQ(ns.GetURI(u"xml"), u"");  // nothing is predeclared
  ns.RemoveLevel(2);
  EXPECT_EQ(ns.GetURI(u"p"), u"one");
  EXPECT_EQ(ns.Count(), 1);
  // Past a handful of declarations lookups go through an index: the same answers.
  for (int k = 0; k < 20; ++k) ns.AddURI(2, u"n" + VxIntToStr(k), u"u" + VxIntToStr(k));
  ns.AddURI(3, u"N7", u"inner");
  ns.AddURI(3, u"P", u"inner-p");
  ns.AddURI(3, u"", u"default");
  EXPECT_EQ(ns.GetURI(u"n7"), u"inner");
  EXPECT_EQ(ns.GetURI(u"n19"), u"u19");
  EXPECT_EQ(ns.GetURI(u"p"), u"inner-p");
  EXPECT_EQ(ns.GetURI(u""), u"default");
  EXPECT_EQ(ns.GetURI(u"n20"), u"");
  ns.RemoveLevel(3);
  EXPECT_EQ(ns.GetURI(u"N7"), u"u7");
  EXPECT_EQ(ns.GetURI(u"p"), u"one");
  EXPECT_EQ(ns.GetURI(u""), u"");
  ns.RemoveLevel(2);
  EXPECT_EQ(ns.GetURI(u"n0"), u"");
  EXPECT_EQ(ns.Count(), 1);
  for (int k = 0; k < 20; ++k) ns.AddURI(2, u"n" + VxIntToStr(k), u"again");
  ns.Clear();
  EXPECT_EQ(ns.GetURI(u"n3"), u"");
  ns.AddURI(1, u"n3", u"after clear");
  EXPECT_EQ(ns.GetURI(u"N3"), u"after clear");
}

TEST_F(SAXTest, JSONAsXMLEvents) {
  Rec->ShowURIs = false;
  EXPECT_EQ(ParseJSON(R"({"a": [1, "s", null]})"),
            (Events{"start-doc", "start:object xmlns:xsi=http://www.w3.org/2001/XMLSchema-instance "
                                 "xmlns:xsd=http://www.w3.org/2001/XMLSchema",
                    "start:aArray(aArr)", "start:a xsd:type=decimal", "chars:1", "end:a", "start:a xsd:type=string",
                    "chars:s", "end:a", "start:a xsi:nil=true", "end:a", "end:aArray", "end:object", "end-doc"}));
  EXPECT_EQ(ParseJSON("[]"), (Events{"start-doc", "start:array xmlns:xsi=http://www.w3.org/2001/XMLSchema-instance "
                                                  "xmlns:xsd=http://www.w3.org/2001/XMLSchema",
                                     "end:array", "end-doc"}));
  auto ev = ParseJSON(R"({"": true, "1st": {"a b": false}, "x": [[2]], "\u00e9\u2028": "q\"\n"})");
  EXPECT_EQ(ev[2], "start:_ xsd:type=boolean");
  EXPECT_EQ(ev[5], "start:_1st");
  EXPECT_EQ(ev[6], "start:a_b xsd:type=boolean");
  EXPECT_EQ(ev[10], "start:xArray(xArr)");
  EXPECT_EQ(ev[11], "start:xArray");  // a nested array is wrapped in the member name plus "Array"
  EXPECT_EQ(ev[12], "start:x xsd:type=decimal");
  EXPECT_EQ(ev[17], "start:é\u205F xsd:type=string");  // only the low byte becomes "_"
  EXPECT_EQ(ev[18], "chars:q\"\n");
}

TEST_F(SAXTest, JSONTypingURIsDifferByPlace) {
  auto ev = ParseJSON(R"({"m": 1, "a": [true]})");
  EXPECT_EQ(ev[2], "start:m xsd:type=decimal{xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"}");
  EXPECT_EQ(ev[6], "start:a xsd:type=boolean{http://www.w3.org/2001/XMLSchema}");
}

TEST_F(SAXTest, MalformedJSON) {
  struct {
    const char* Text;
    const char16_t* Message;
  } cases[] = {
      {"[tru]", u"The document is not wellformed!\r\n\"e\" expected, but \"]\" found!"},
      {"[\"a\\q\"]", u"The document is not wellformed!\r\n\"\", \\, /, b, f, n, r, t or u\" expected, but \"q\" found!"},
      {"[x]", u"The document is not wellformed!\r\n\"\", t, f, n, 0..9, ., + or -\" expected, but \"x\" found!"},
      {"{} x", u"The document is not wellformed!\r\n\"\" expected, but \"x\" found!"},
      {"  ", u"The document is not wellformed!\r\n\"{ or [\" expected, but \"\" found!"},
  };
  for (auto& c : cases) {
    EVxXMLParseError e = Fails(JSON, c.Text);
    EXPECT_EQ(e.ErrorCode(), 2) << c.Text;
    EXPECT_EQ(e.Message(), c.Message) << c.Text;
  }
}

TEST(SAXParserComponent, ChoosesTheReaderAndDoublesStartAndFinished) {
  TVxSAXParser parser;
  std::vector<std::string> log;
  parser.OnStart = [&](TVxSAXParser*) { log.push_back("start"); };
  parser.OnFinished = [&](TVxSAXParser*) { log.push_back("finished"); };
  parser.OnStartElement = [&](TVxSAXParser* S, const VxXMLString&, const VxXMLString& L, const VxXMLString&,
                              IVxSAXAttributes*) {
    EXPECT_EQ(S, &parser);
    log.push_back("element:" + N(L));
  };
  parser.Parse(u"  \n<doc/>", u"");
  EXPECT_EQ(log, (Events{"start", "start", "element:doc", "finished", "finished"}));
  log.clear();
  std::string json = " {\"k\": 1}";
  TVxMemoryStream stream(json.data(), static_cast<int64_t>(json.size()));
  parser.ParseStream(stream, 0, u"");
  EXPECT_EQ(log, (Events{"start", "element:object", "element:k", "finished"}));
  // Only blanks: the JSON reader is chosen and finds no "{" or "[".
  log.clear();
  std::string errors;
  parser.OnFatalError = [&](IVxSAXLocator*, const VxXMLString& M) { errors = N(M); };
  EXPECT_THROW(parser.Parse(std::string_view("   "), cVxCodePageUTF8, u""), EVxXMLParseError);
  EXPECT_EQ(log, (Events{"start", "start"}));  // no OnFinished after a failure
  EXPECT_NE(errors.find("{ or ["), std::string::npos);
}

TEST(SAXParserComponent, OwnerFreesTheComponent) {
  TVxComponent owner(nullptr);
  auto* parser = new TVxSAXParser(&owner);
  EXPECT_EQ(owner.ComponentCount(), 1);
  EXPECT_EQ(parser->Owner(), &owner);
}

// A deep document reads without recursion: one million nested elements.
TEST_F(SAXTest, MillionNestedElements) {
  std::string doc;
  const int depth = 1000000;
  doc.reserve(depth * 8);
  for (int k = 0; k < depth; ++k) doc += "<a>";
  for (int k = 0; k < depth; ++k) doc += "</a>";
  struct TCounter : TVxImplements<TVxObject, IVxSAXContentHandler, IVxSAXErrorHandler> {
    int64_t Starts = 0, Ends = 0;
    void SetDocumentLocator(IVxSAXLocator*) override {}
    void Characters(const VxXMLString&) override {}
    void EndDocument() override {}
    void EndElement(const VxXMLString&, const VxXMLString&, const VxXMLString&) override { ++Ends; }
    void EndPrefixMapping(const VxXMLString&) override {}
    void IgnorableWhitespace(const VxXMLString&) override {}
    void ProcessingInstruction(const VxXMLString&, const VxXMLString&) override {}
    void SkippedEntity(const VxXMLString&) override {}
    void StartDocument() override {}
    void StartElement(const VxXMLString&, const VxXMLString&, const VxXMLString&, IVxSAXAttributes*) override { ++Starts; }
    void StartPrefixMapping(const VxXMLString&, const VxXMLString&) override {}
    void Warning(IVxSAXLocator*, const VxXMLString&) override {}
    void Error(IVxSAXLocator*, const VxXMLString&) override {}
    void FatalError(IVxSAXLocator*, const VxXMLString&) override {}
  };
  TVxIntf<TCounter> counter(new TCounter);
  TVxSAXXMLReader reader;
  reader.SetContentHandler(TVxIntf<IVxSAXContentHandler>(counter.Get()));
  reader.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(counter.Get()));
  reader.ParseBuffer(doc.data(), static_cast<int64_t>(doc.size()), cVxCodePageUTF8, u"");
  EXPECT_EQ(counter->Starts, depth);
  EXPECT_EQ(counter->Ends, depth);
  // The same depth of JSON arrays.
  std::string json(depth, '[');
  json += std::string(depth, ']');
  TVxSAXJSONReader jreader;
  jreader.SetContentHandler(TVxIntf<IVxSAXContentHandler>(counter.Get()));
  jreader.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(counter.Get()));
  counter->Starts = 0;
  jreader.ParseBuffer(json.data(), static_cast<int64_t>(json.size()), cVxCodePageUTF8, u"");
  EXPECT_EQ(counter->Starts, depth);  // the root "array" and depth - 1 nested "arrayArray"
}

// Every prefix of sample documents ends in a clean result or a clean exception.
TEST_F(SAXTest, EveryPrefixEndsCleanly) {
  const std::string samples[] = {
      U8(u8"<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY e \"x\">]><!--c--><r xmlns:p=\"u\" p:a='1'>"
         u8"t<![CDATA[c]]><p:e/><?pi d?>é</r>"),
      R"({"a": [1, "s\"\u00e9", null, true, false, {"b": {}}], "c": -1.5e3})",
      "<root_element_name_longer_than_sixteen attribute_name_longer_than_16=\"a value longer than sixteen "
      "bytes\"\n\t\t second_attribute_name_long='\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4x'>"
      "<child_element_name_also_long/></root_element_name_longer_than_sixteen>",
  };
  for (const auto& doc : samples) {
    for (size_t n = 0; n <= doc.size(); ++n) {
      // Each prefix in a block of exactly its size, so a read past its end is caught.
      std::unique_ptr<char[]> block(new char[n + 1]);
      std::memcpy(block.get() + 1, doc.data(), n);
      TVxSAXParser parser;
      try {
        parser.Parse(std::string_view(block.get() + 1, n), cVxCodePageUTF8, u"");
      } catch (const Exception&) {
        // a clean failure
      }
    }
  }
}

// A handler may keep the attribute list of a tag; later tags must not overwrite it.
TEST(SAXAttributes, AListKeptByAHandlerStaysIntact) {
  TVxSAXParser parser;
  std::vector<TVxIntf<IVxSAXAttributes>> kept;
  parser.OnStartElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString&, const VxXMLString&,
                              IVxSAXAttributes* A) { kept.emplace_back(A); };
  parser.Parse(u"<r a=\"1\"><b a=\"2\"/><c a=\"3\"/></r>", u"");
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(kept[0]->GetValue(u"a"), u"1");
  EXPECT_EQ(kept[1]->GetValue(u"a"), u"2");
  EXPECT_EQ(kept[2]->GetValue(u"a"), u"3");
}

// Compares two event lists and reports the first difference rather than both whole lists.
void ExpectSameEvents(const std::vector<std::string>& AExpected, const std::vector<std::string>& AActual) {
  const size_t n = std::min(AExpected.size(), AActual.size());
  for (size_t k = 0; k < n; ++k)
    if (AExpected[k] != AActual[k]) {
      ADD_FAILURE() << "event " << k << ":\n  expected " << AExpected[k] << "\n  actual   " << AActual[k];
      return;
    }
  EXPECT_EQ(AExpected.size(), AActual.size());
}

// UTF-8 input is read by byte scans over the read-ahead window, other input character by
// character: both must report the same events, also for odd tags and tags that straddle the
// end of a stream's window.
TEST_F(SAXTest, UTF8ScansAndCharacterReadingAgree) {
  const char* docs[] = {
      "<r a=\"1\" b='2'/>",
      "<r\n\ta = \"1\"\n\tb\t=\t'x>y'  c=\"it's\"''\"\"/>",
      "<p:r xmlns:p=\"urn:p\" p:a=\"1\" q:b=\"2\" xmlns=\"urn:d\" p::c=\"3\"><p:s p:x=\"\"/></p:r>",
      "<r a=\"\xC3\xA4\xE6\x97\xA5\" \xC3\xA4\x62=\"v\" \xE6\x97\xA5:c=\"w\"/>",  // \x62: "b"
      "<r a=\"1\"b=\"2\"></r >",
      "<r  x:a=\"1\" xmlns:X=\"u\"/>",
      "<r>text<e a=\"1\">more</e><f/></r>",
      "<r>\n  <a> K\xC3\xA4se &amp; \xE6\x97\xA5 </a>\n\t\r\n  <b>\x01</b></r>\n",
  };
  Rec->ShowAttributeLocalNames = true;
  Rec->ShowPositions = true;
  // The tail keeps enough bytes after every tag for the widest scans.
  const std::string tail = "<!-- a tail long enough for every scan to look ahead in one piece -->";
  for (const char* doc : docs) {
    SCOPED_TRACE(doc);
    ExpectSameEvents(ParseXML(VxUTF8ToUTF16(doc)), ParseXMLUTF8(doc));
    ExpectSameEvents(ParseXML(VxUTF8ToUTF16(doc + tail)), ParseXMLUTF8(doc + tail));
  }
  // Names and values of every length from 0 to 40, ASCII and not, at every offset of a tag.
  std::string lengths = "<r>";
  for (int n = 0; n <= 40; ++n) {
    const std::string v(static_cast<size_t>(n), static_cast<char>('a' + n % 26));
    std::string w;
    for (int k = 0; k < n; ++k) w += k == 0 || k == n - 1 ? "\xC3\xA4" : "w";
    lengths += "<e" + std::to_string(n) + " " + v + "n=\"" + v + "\"" + std::string(static_cast<size_t>(n % 4), ' ') + "\n" +
               "w='" + w + "' x=\"" + w + "\"y='' " + v + ":" + v + "p=\"" + w + "\"/>" + v + "\n";
  }
  lengths += "</r>" + tail;
  ExpectSameEvents(ParseXML(VxUTF8ToUTF16(lengths)), ParseXMLUTF8(lengths));
  for (const char* bad : {"<r a=\"1\" b/>", "<r a=\"1\" <x/>", "<r a=\"1", "<r a", "<r a=\"1\" b=>"}) {
    SCOPED_TRACE(bad);
    std::string utf8, utf16;
    try {
      ParseXMLUTF8(bad);
    } catch (const EVxXMLParseError& e) {
      utf8 = N(e.Message());
    } catch (const EVxTextParserEOF& e) {
      utf8 = N(e.Message());
    }
    try {
      ParseXML(VxUTF8ToUTF16(bad));
    } catch (const EVxXMLParseError& e) {
      utf16 = N(e.Message());
    } catch (const EVxTextParserEOF& e) {
      utf16 = N(e.Message());
    }
    EXPECT_EQ(utf8, utf16);
  }
  // 300 KB through a std::istream: tags cross the 64 KB read-ahead chunks at every offset.
  std::string big = "<root xmlns:p=\"urn:p\">";
  for (int k = 0; big.size() < 300000; ++k)
    big += "<p:e id=\"" + std::to_string(k) + "\" p:name=\"n\xC3\xA4me " + std::to_string(k % 7) + "\">t</p:e>\n";
  big += "</root>";
  const Events expected = ParseXMLUTF8(big);
  std::istringstream in(big);
  TVxStdStream stream(in);
  Rec->Events.clear();
  XML.ParseStream(stream, cVxCodePageUTF8, u"test");
  EXPECT_EQ(Rec->Events, expected);
  EXPECT_EQ(expected, ParseXML(VxUTF8ToUTF16(big)));
}

// A reader is freed by its owner: VxMake does not compile for it.
template <class T>
concept VxMakeable = requires { vx::VxMake<T>(); };
static_assert(!VxMakeable<vx::TVxSAXXMLReader>);
static_assert(!VxMakeable<vx::TVxSAXParser>);
static_assert(VxMakeable<vx::TVxJSONReader>);
