// The text cursor over memory and over streams that deliver a few bytes per read, so that
// every operation also runs across window refills.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "uVxTextParser.h"
#include "vx_test_streams.h"

#include <istream>

using namespace vx;

namespace {

// A stream over bytes that hands out at most FStep bytes per Read.
class TTrickleStream : public TVxMemoryStream {
 public:
  TTrickleStream(std::string AData, int64_t AStep)
      : TVxMemoryStream(nullptr, 0), FData(std::move(AData)), FStep(AStep) {
    FInner = std::make_unique<TVxMemoryStream>(FData.data(), static_cast<int64_t>(FData.size()));
  }
  int64_t Read(void* ABuffer, int64_t ACount) override { return FInner->Read(ABuffer, std::min(ACount, FStep)); }
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override { return FInner->Seek(AOffset, AOrigin); }

 private:
  std::string FData;
  int64_t FStep;
  std::unique_ptr<TVxMemoryStream> FInner;
};

std::string U8(const char8_t* AText) { return std::string(reinterpret_cast<const char*>(AText)); }

std::string UTF16LEBytes(std::u16string_view AText) {
  std::string s;
  for (char16_t c : AText) {
    s += static_cast<char>(c & 0xFF);
    s += static_cast<char>(c >> 8);
  }
  return s;
}

// How a test's bytes reach the cursor.
enum TSource { srcMemory, srcStream1, srcStream3, srcStream4096 };

class TextParserSources : public ::testing::TestWithParam<TSource> {
 protected:
  // Builds a cursor over the bytes; the bytes must outlive it (kept in FBytes).
  std::unique_ptr<TVxTextParser> Make(std::string ABytes, uint16_t ACodePage) {
    FBytes = std::move(ABytes);
    switch (GetParam()) {
      case srcMemory:
        return std::make_unique<TVxTextParser>(FBytes.data(), static_cast<int64_t>(FBytes.size()), ACodePage);
      case srcStream1: return std::make_unique<TVxTextParser>(new TTrickleStream(FBytes, 1), true, ACodePage);
      case srcStream3: return std::make_unique<TVxTextParser>(new TTrickleStream(FBytes, 3), true, ACodePage);
      default: return std::make_unique<TVxTextParser>(new TTrickleStream(FBytes, 4096), true, ACodePage);
    }
  }
  std::string FBytes;
};

VxString ReadAllW(TVxTextParser& P) {
  VxString s;
  while (!P.Eof()) s += P.ReadCharW();
  return s;
}

}  // namespace

TEST_P(TextParserSources, ReadsEveryEncodingCharacterByCharacter) {
  const VxString text = u"a<é>\nЖ語!";
  struct {
    std::string Bytes;
    uint16_t CodePage;
  } cases[] = {
      {U8(u8"a<é>\nЖ語!"), cVxCodePageUTF8},
      {UTF16LEBytes(text), cVxCodePageUTF16},
      {std::string("\xEF\xBB\xBF") + U8(u8"a<é>\nЖ語!"), cVxCodePageUTF8},  // mark skipped
      {"\xFF\xFE" + UTF16LEBytes(text), cVxCodePageUTF16},
      {TVxEncoding::GetEncoding(932).ConvertW(u"a<>\n語!"), 932},
  };
  for (auto& c : cases) {
    auto p = Make(c.Bytes, c.CodePage);
    VxString expected = c.CodePage == 932 ? VxString(u"a<>\n語!") : text;
    EXPECT_EQ(ReadAllW(*p), expected) << c.CodePage;
    EXPECT_TRUE(p->Eof());
    EXPECT_EQ(p->CurrCharW(), 0);
    EXPECT_EQ(p->CurrCharA(), 0);
    p->NextChar();  // nothing happens at end of input
    EXPECT_TRUE(p->Eof());
  }
}

TEST_P(TextParserSources, LineAndColumnCountCharactersAndLineFeedsOnly) {
  auto p = Make(U8(u8"ab\nçd\r\ne\rf"), cVxCodePageUTF8);
  EXPECT_EQ(p->GetLineNr(), 1);
  EXPECT_EQ(p->GetColNr(), 1);
  p->SkipChars(2);  // on the line feed
  EXPECT_EQ(p->GetColNr(), 3);
  p->NextChar();  // after a line feed: next line, column 1
  EXPECT_EQ(p->GetLineNr(), 2);
  EXPECT_EQ(p->GetColNr(), 1);
  p->NextChar();  // past the two-byte "ç": one column
  EXPECT_EQ(p->GetColNr(), 2);
  p->SkipWhile(skUntilEqual, u'e');
  EXPECT_EQ(p->GetLineNr(), 3);
  EXPECT_EQ(p->GetColNr(), 1);
  p->SkipWhile(skUntilEqual, u'f');  // a lone carriage return is not a line break
  EXPECT_EQ(p->GetLineNr(), 3);
  EXPECT_EQ(p->GetColNr(), 3);
}

TEST_P(TextParserSources, SkipOperations) {
  auto p = Make("   \t\x01<<<ab=cd>", 28591);
  p->SkipWhile(skWhileAtOrBelow, u' ');  // 4: blanks and controls
  EXPECT_EQ(p->CurrCharW(), u'<');
  EXPECT_EQ(p->GetPosition(), 5);
  p->SkipWhile(skWhileEqual, u'<');  // 0
  EXPECT_EQ(p->CurrCharW(), u'a');
  p->SkipWhile(skUntilEqual, u'=');  // 3: stops on it
  EXPECT_EQ(p->CurrCharW(), u'=');
  p->NextChar();
  static constexpr TVxAnsiCharSet letters = TVxAnsiCharSet::Range('a', 'z');
  p->SkipWhile(skWhileInSet, letters);  // 6
  EXPECT_EQ(p->CurrCharW(), u'>');
  p->First();
  p->SkipWhile(skUntilInSet, TVxAnsiCharSet{'=', '>'});  // 7
  EXPECT_EQ(p->CurrCharW(), u'=');
  p->First();
  p->SkipWhile(skWhileBelow, u'<');  // 1
  EXPECT_EQ(p->CurrCharW(), u'<');
  p->SkipWhile(skWhileEqual, u'<');
  p->SkipWhile(skWhileAtOrAbove, u'a');  // 5: "ab"
  EXPECT_EQ(p->CurrCharW(), u'=');
  p->SkipWhile(skWhileAbove, u'<');  // 2: "=cd>" are all above "<"
  EXPECT_TRUE(p->Eof());
}

TEST_P(TextParserSources, SkipWithoutStopEndsAtEndOfInput) {
  for (uint16_t cp : {cVxCodePageUTF8, cVxCodePageUTF16, uint16_t(1252), uint16_t(932)}) {
    std::string bytes = TVxEncoding::GetEncoding(cp).ConvertW(u"no stop here at all");
    auto p = Make(bytes, cp);
    p->SetMark(ptMark1);
    p->SkipWhile(skUntilEqual, u'>');
    EXPECT_TRUE(p->Eof());
    EXPECT_EQ(p->CurrCharW(), 0);
    EXPECT_THROW(p->CheckEOF(), EVxTextParserEOF);
    // A selection from a mark to the current position at end of input holds all the text.
    EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, false), u"no stop here at all") << cp;
    EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, true), u"no stop here at all") << cp;
  }
}

TEST_P(TextParserSources, MarksAndSelections) {
  auto p = Make(U8(u8"<name attr=\"välue\"/>"), cVxCodePageUTF8);
  p->NextChar();
  p->SetMark(ptMark1);
  EXPECT_TRUE(p->IsMarkSet(ptMark1));
  EXPECT_FALSE(p->IsMarkSet(ptMark2));
  EXPECT_EQ(p->GetPos(ptMark2), -1);
  p->SkipWhile(skUntilEqual, u' ');
  EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, false), u"name");
  EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, true), u"name ");
  EXPECT_EQ(p->SelectedW(ptMark1, ptPrevious, true), u"name");
  EXPECT_EQ(p->Selected(ptMark1, ptCurrent, false), "name");
  p->SkipWhile(skUntilEqual, u'"');
  p->NextChar();
  p->SetMark(ptMark2);
  p->SkipWhile(skUntilEqual, u'"');
  EXPECT_EQ(p->SelectedW(ptMark2, ptCurrent, false), u"välue");
  EXPECT_EQ(p->Selected(ptMark2, ptCurrent, false), U8(u8"välue"));  // UTF-8 bytes as read
  EXPECT_EQ(p->SelectedW(ptMark1, ptMark2, false), u"name attr=\"");
  EXPECT_EQ(p->SelectedW(ptCurrent, ptMark1, false), u"");  // end before start
  EXPECT_EQ(p->GetPos(ptMark1), 1);
  p->ClearMark(ptMark1);
  EXPECT_EQ(p->GetPos(ptMark1), -1);
  EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, false), u"");  // a cleared mark is the current position
}

TEST_P(TextParserSources, PeekDoesNotMoveAndPrevCharLooksBack) {
  auto p = Make(U8(u8"ab€d"), cVxCodePageUTF8);
  EXPECT_EQ(p->PrevCharW(), 0);
  EXPECT_EQ(p->PeekStringW(3), u"ab€");
  EXPECT_EQ(p->PeekString(3), U8(u8"ab€"));
  EXPECT_EQ(p->CurrCharW(), u'a');
  p->SkipChars(3);
  EXPECT_EQ(p->PrevCharW(), u'€');
  EXPECT_EQ(p->PeekStringW(10), u"d");  // fewer at end of input
  EXPECT_EQ(p->GetColNr(), 4);
}

TEST_P(TextParserSources, FirstGoesBackAfterTheByteOrderMark) {
  auto p = Make("\xEF\xBB\xBFx\ny", cVxCodePageUTF8);
  EXPECT_EQ(p->GetPosition(), 3);
  p->SkipChars(2);
  p->SetMark(ptMark1);
  EXPECT_EQ(p->GetLineNr(), 2);
  p->First();
  EXPECT_EQ(p->GetPosition(), 3);
  EXPECT_EQ(p->CurrCharW(), u'x');
  EXPECT_EQ(p->GetLineNr(), 1);
  EXPECT_EQ(p->GetColNr(), 1);
  EXPECT_FALSE(p->IsMarkSet(ptMark1));
}

TEST_P(TextParserSources, CodePageCanBeSetAfterSniffing) {
  // The way a reader finds a declaration's encoding: read as 8-bit, then switch and start over.
  std::string doc = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>caf\xE9</a>";
  auto p = Make(doc, 0);
  EXPECT_EQ(p->CharacterSetType(), cstCodePage);
  p->SkipWhile(skUntilEqual, u'<');
  p->SetMark(ptMark1);
  p->SkipWhile(skUntilEqual, u'>');
  EXPECT_EQ(p->Selected(ptMark1, ptCurrent, true), doc.substr(0, doc.find('>') + 1));
  p->SetContentCodePage(VxCodePage(std::string_view("ISO-8859-1")));
  p->First();
  p->SkipWhile(skUntilEqual, u'>');
  p->NextChar();
  p->SkipWhile(skUntilEqual, u'>');
  p->NextChar();
  p->SetMark(ptMark1);
  p->SkipWhile(skUntilEqual, u'<');
  EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, false), u"café");

  auto q = Make(UTF16LEBytes(u"<a>ü</a>"), 0);
  q->SetContentCodePage(cVxCodePageUTF16);
  EXPECT_EQ(q->CharacterSetType(), cstUTF16);
  q->First();
  EXPECT_EQ(ReadAllW(*q), u"<a>ü</a>");
}

TEST_P(TextParserSources, DecodedCodePagesReadAsUTF16) {
  const VxString text = u"<doc a='日本'>漢字 и ё\n€</doc>";
  for (uint16_t cp : {uint16_t(932), uint16_t(50220), uint16_t(54936), cVxCodePageUTF16BE}) {
    const TVxEncoding& enc = TVxEncoding::GetEncoding(cp);
    VxString expected = enc.ConvertA(enc.ConvertW(text));
    auto p = Make(enc.ConvertW(text), cp);
    EXPECT_EQ(p->CharacterSetType(), cstUTF16) << cp;
    p->SkipWhile(skUntilEqual, u'\'');
    p->NextChar();
    p->SetMark(ptMark1);
    p->SkipWhile(skUntilEqual, u'\'');
    EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, false), u"日本") << cp;
    // 8-bit selections come back in the code page; UTF-16 code pages give UTF-8.
    std::string narrow = cp == cVxCodePageUTF16BE ? U8(u8"日本") : enc.ConvertW(u"日本");
    EXPECT_EQ(p->Selected(ptMark1, ptCurrent, false), narrow) << cp;
    p->SkipWhile(skUntilEqual, u'\n');
    p->NextChar();
    EXPECT_EQ(p->GetLineNr(), 2);
    p->First();
    EXPECT_EQ(ReadAllW(*p), expected) << cp;
  }
}

TEST_P(TextParserSources, TruncatedInputEndsCleanly) {
  // UTF-8 cut inside a three-byte sequence: the partial character reads as U+FFFD, then the end.
  auto p = Make("ab\xE2\x82", cVxCodePageUTF8);
  EXPECT_EQ(ReadAllW(*p), u"ab\xFFFD");
  EXPECT_EQ(p->GetPosition(), 4);
  EXPECT_EQ(p->GetColNr(), 4);
  // UTF-16 with an odd trailing byte: the byte is not a unit.
  auto q = Make(UTF16LEBytes(u"xy") + "z", cVxCodePageUTF16);
  EXPECT_EQ(ReadAllW(*q), u"xy");
  EXPECT_EQ(q->GetPosition(), 4);
  EXPECT_EQ(q->GetColNr(), 3);
  // Malformed UTF-8 in the middle: one replacement per maximal bad subpart, text kept.
  auto r = Make("a\xC3(b\xF0\x9F\x98z", cVxCodePageUTF8);
  EXPECT_EQ(ReadAllW(*r), u"a\xFFFD(b\xFFFDz");
}

TEST_P(TextParserSources, SupplementaryCharacters) {
  // UTF-8: one step per character, the high surrogate is reported, selections are whole.
  auto p = Make(U8(u8"x🌍y"), cVxCodePageUTF8);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), 0xD83C);
  p->SetMark(ptMark1);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'y');
  EXPECT_EQ(p->SelectedW(ptMark1, ptCurrent, false), u"🌍");
  EXPECT_EQ(p->GetColNr(), 3);
  // UTF-16: one step per unit, a pair counts as one column.
  auto q = Make(UTF16LEBytes(u"x🌍y"), cVxCodePageUTF16);
  EXPECT_EQ(ReadAllW(*q), u"x🌍y");
  EXPECT_EQ(q->GetColNr(), 4);
}

std::string SourceName(const ::testing::TestParamInfo<TSource>& AInfo) {
  static const char* const sourceNames[] = {"Memory", "Stream1", "Stream3", "Stream4096"};
  return sourceNames[AInfo.param];
}

INSTANTIATE_TEST_SUITE_P(Sources, TextParserSources,
                         ::testing::Values(srcMemory, srcStream1, srcStream3, srcStream4096), SourceName);

// A long generated document walked with the same operations from memory and from a trickling
// stream must give the same positions, lines, columns and selections, also when a mark holds
// on to text across many refills.
TEST(TextParser, StreamWindowAgreesWithMemoryOnALongDocument) {
  std::mt19937 rng(7);
  std::string doc;
  const char8_t* words[] = {u8"alpha", u8"βeta", u8"日本", u8"x", u8"\n", u8"  ", u8"<tag>", u8"🌍"};
  while (doc.size() < 400000) doc += U8(words[rng() % 8]);
  TVxTextParser mem(doc.data(), static_cast<int64_t>(doc.size()), cVxCodePageUTF8);
  TVxTextParser str(new TTrickleStream(doc, 777), true, cVxCodePageUTF8);
  int64_t held = 0;
  while (!mem.Eof()) {
    for (TVxTextParser* p : {&mem, &str}) {
      if (held == 0) p->SetMark(ptMark2);
      p->SkipWhile(skUntilEqual, u'<');
      p->SetMark(ptMark1);
      p->SkipWhile(skUntilEqual, u'>');
      p->NextChar();
    }
    ASSERT_EQ(mem.GetPosition(), str.GetPosition());
    ASSERT_EQ(mem.GetLineNr(), str.GetLineNr());
    ASSERT_EQ(mem.GetColNr(), str.GetColNr());
    ASSERT_EQ(mem.SelectedW(ptMark1, ptPrevious, true), str.SelectedW(ptMark1, ptPrevious, true));
    ASSERT_EQ(mem.PrevCharW(), str.PrevCharW());
    if (++held == 500) {  // mark 2 has held about 100 KB through many refills
      ASSERT_EQ(mem.SelectedW(ptMark2, ptCurrent, false), str.SelectedW(ptMark2, ptCurrent, false));
      held = 0;
    }
  }
  EXPECT_TRUE(str.Eof());
}

TEST(TextParser, MemoryIsReadInPlaceAndPositionsAreOffsets) {
  const char text[] = "0123456789";
  TVxTextParser p(text, 10, cVxCodePageUTF8);
  p.SkipWhile(skUntilEqual, u'7');
  EXPECT_EQ(p.GetPosition(), 7);
  EXPECT_EQ(p.GetCurPos(), 7);
  EXPECT_EQ(p.GetPos(ptPrevious), 6);
  EXPECT_EQ(p.ReadCharA(), '7');
  EXPECT_EQ(p.ReadCharW(), u'8');
}

TEST(TextParser, StreamStartIsWherePositionsBegin) {
  // A stream read from the middle: positions are stream offsets, First returns there.
  std::string data = "skip|<a/>";
  TVxMemoryStream s(data.data(), static_cast<int64_t>(data.size()));
  s.SetPosition(5);
  TVxTextParser p(&s, false, cVxCodePageUTF8);
  EXPECT_EQ(p.GetPosition(), 5);
  EXPECT_EQ(p.CurrCharW(), u'<');
  p.SkipChars(100);
  p.First();
  EXPECT_EQ(p.GetPosition(), 5);
}

TEST(TextParser, SubclassesOverrideTheCharacterSetType) {
  struct TSub : TVxTextParser {
    using TVxTextParser::TVxTextParser;
    void SetCharacterSetType(TVxCharacterSetType AType) override {
      TVxTextParser::SetCharacterSetType(AType);
      Seen += std::to_string(AType);
    }
    bool Mark2Field() const { return FMark2 != 0; }
    std::string Seen;
  };
  const char text[] = "<a/>";
  TSub p(text, 4, 0);
  p.SetContentCodePage(cVxCodePageUTF8);
  p.SetContentCodePage(cVxCodePageUTF16);
  p.SetContentCodePage(1252);
  EXPECT_EQ(p.Seen, "210");
  EXPECT_FALSE(p.Mark2Field());
  p.SetMark(ptMark2);
  EXPECT_TRUE(p.Mark2Field());  // a set mark is a non-zero field
}

TEST(TextParser, UnknownCodePageRaises) {
  const char text[] = "x";
  EXPECT_THROW(TVxTextParser(text, 1, 4242), EVxEncodingNotSupported);
  // A stream the cursor was to own is freed even when construction fails (checked by ASan).
  EXPECT_THROW(TVxTextParser(new TVxMemoryStream(text, 1), true, 4242), EVxEncodingNotSupported);
}

TEST(TextParser, CheckEOFRaisesTheCursorsException) {
  TVxTextParser p("", 0, cVxCodePageUTF8);
  try {
    p.CheckEOF();
    FAIL();
  } catch (const EVxTextParserEOF& e) {
    EXPECT_EQ(e.ErrorCode(), 1);
    EXPECT_EQ(e.Message(), cVxTextParserEOFMessage);
  }
}

// Every prefix of a document in several encodings, walked with every operation, ends cleanly.
TEST(TextParser, EveryPrefixEndsCleanly) {
  const VxString text = u"<?xml?><a b='ü'>日本<![CDATA[x]]>🌍</a>\n";
  for (uint16_t cp : {cVxCodePageUTF8, cVxCodePageUTF16, uint16_t(28591), uint16_t(50220), uint16_t(54936)}) {
    std::string bytes = TVxEncoding::GetEncoding(cp).ConvertW(text);
    for (size_t n = 0; n <= bytes.size(); ++n) {
      std::string prefix = bytes.substr(0, n);
      TVxTextParser p(new TTrickleStream(prefix, 2), true, cp);
      p.SetMark(ptMark1);
      for (auto op : {skUntilEqual, skWhileEqual, skWhileAtOrBelow, skUntilInSet, skWhileInSet}) {
        p.SkipWhile(op, u'>');
        p.SetMark(ptMark2);
        (void)p.PeekStringW(3);
        p.NextChar();
        (void)p.SelectedW(ptMark2, ptCurrent, true);
      }
      p.SkipWhile(skUntilEqual, u'\x1');
      ASSERT_TRUE(p.Eof());
      (void)p.SelectedW(ptMark1, ptCurrent, true);
      (void)p.GetColNr();
    }
  }
}

// A peek that refills the window from a stream keeps the character before the current one, so
// what lies behind the cursor reads the same from a stream as from memory.
TEST(TextParser, PeekKeepsThePreviousCharacterAcrossARefill) {
  for (size_t window : {size_t(16), size_t(17), size_t(64)}) {
    test::TWindowGuard guard(window);
    std::string doc;
    for (int k = 0; k < 200; ++k) doc += U8(u8"ab\u00E9\u65E5c");
    TVxTextParser mem(doc.data(), static_cast<int64_t>(doc.size()), cVxCodePageUTF8);
    TVxTextParser str(new TTrickleStream(doc, 5), true, cVxCodePageUTF8);
    while (!mem.Eof()) {
      for (TVxTextParser* p : {&mem, &str}) {
        p->NextChar();
        (void)p->PeekStringW(3);
      }
      ASSERT_EQ(mem.PrevCharW(), str.PrevCharW()) << "window " << window << " at " << mem.GetPosition();
      ASSERT_EQ(mem.SelectedW(ptPrevious, ptCurrent, false), str.SelectedW(ptPrevious, ptCurrent, false));
      ASSERT_EQ(mem.CurrCharW(), str.CurrCharW());
    }
  }
}

// Every byte the cursor reads as a character counts one column: stray continuation bytes in
// text mislabelled as UTF-8 (Windows-1252 "caf\xE9" is fine, "\x80\x99" are strays) included.
TEST(TextParser, ColumnsCountWhatTheCursorReadsAsCharacters) {
  const std::string text = "a\x80\x99" "b\xE2\x82\xAC" "c\xC3" "d";
  for (bool stream : {false, true}) {
    std::unique_ptr<TVxTextParser> p =
        stream ? std::make_unique<TVxTextParser>(new TTrickleStream(text, 2), true, cVxCodePageUTF8)
               : std::make_unique<TVxTextParser>(text.data(), static_cast<int64_t>(text.size()), cVxCodePageUTF8);
    int64_t steps = 0;
    while (!p->Eof()) {
      EXPECT_EQ(p->GetColNr(), steps + 1) << "stream " << stream << " step " << steps;
      p->NextChar();
      ++steps;
    }
    EXPECT_EQ(steps, 8);  // a, two strays, b, euro sign, c, the cut sequence, d
    EXPECT_EQ(p->GetColNr(), 9);
  }
}

// A cursor over a standard stream that cannot tell its position (a pipe) starts at position 0
// and reads on without seeking.
TEST(TextParser, StandardStreamWithoutPositionsIsReadStraightOn) {
  struct TPipeBuf : std::streambuf {
    explicit TPipeBuf(std::string AData) : FData(std::move(AData)) { setg(FData.data(), FData.data(), FData.data() + FData.size()); }
    std::string FData;  // seekoff/seekpos keep the default: "cannot seek"
  };
  std::string doc = "<?xml version=\"1.0\"?><r>" + std::string(100000, 'x') + "</r>";
  TPipeBuf buf(doc);
  std::istream in(&buf);
  TVxStdStream pipe(in);
  EXPECT_FALSE(pipe.Seekable());
  TVxTextParser p(&pipe, false, cVxCodePageUTF8);
  EXPECT_EQ(p.GetPosition(), 0);
  p.SkipWhile(skUntilEqual, u'<');
  p.NextChar();
  p.SkipWhile(skUntilEqual, u'<');
  EXPECT_EQ(p.GetPosition(), 21);
  p.SetMark(ptMark1);
  p.SkipWhile(skUntilEqual, u'/');
  EXPECT_EQ(p.SelectedW(ptMark1, ptCurrent, false).size(), 100004u);
}
