// Code pages by name and number, and conversion to and from UTF-16.
#include <gtest/gtest.h>

#include <vector>

#include "uVxEncoding.h"
#include "uVxStreams.h"
#include "uVxTextParser.h"

using namespace vx;

TEST(CodePageNames, KnownNamesAndAliasesIgnoringCase) {
  struct {
    const char* Name;
    uint16_t CodePage;
  } cases[] = {
      {"UTF-8", 65001},       {"utf8", 65001},        {"UTF-16", 1200},       {"utf-16le", 1200},
      {"UTF-16BE", 1201},     {"US-ASCII", 20127},    {"iso-8859-1", 28591},  {"Latin1", 28591},
      {"ISO_8859-2", 28592},  {"ISO-8859-15", 28605}, {"latin-9", 28605},     {"ISO-8859-16", 28606},
      {"Windows-1250", 1250}, {"windows-1252", 1252}, {"CP1258", 1258},       {"KOI8-R", 20866},
      {"koi8-u", 21866},      {"IBM437", 437},        {"cp850", 850},         {"IBM866", 866},
      {"macintosh", 10000},   {"Shift_JIS", 932},     {"SJIS", 932},          {"EUC-JP", 20932},
      {"ISO-2022-JP", 50220}, {"GBK", 936},           {"GB2312", 936},        {"GB18030", 54936},
      {"Big5", 950},          {"EUC-KR", 949},        {" utf-8 ", 65001},
  };
  for (auto& c : cases) {
    EXPECT_EQ(VxCodePage(std::string_view(c.Name)), c.CodePage) << c.Name;
    EXPECT_TRUE(TVxEncoding::IsSupported(c.CodePage)) << c.Name;
  }
  EXPECT_EQ(VxCodePage(std::u16string_view(u"iso-8859-1")), 28591);
  EXPECT_EQ(VxCodePageName(932), u"Shift_JIS");
}

TEST(CodePageNames, UnknownNameRaisesTheDocumentedMessage) {
  for (std::u16string_view name : {u"klingon", u"", u"utf-8x", u"ISO-8859-1ü"}) {
    try {
      VxCodePage(name);
      ADD_FAILURE() << VxUTF16ToUTF8(name);
    } catch (const EVxEncodingNotSupported& e) {
      EXPECT_EQ(e.Message(), u"The specified encoding is not supported!");
    }
  }
  EXPECT_EQ(VxFindCodePage("klingon"), 0);
  EXPECT_THROW(TVxEncoding::GetEncoding(4242), EVxEncodingNotSupported);
}

TEST(SingleByteCodePages, KnownCharactersAndRoundTripOfEveryDefinedByte) {
  struct {
    uint16_t CodePage;
    uint8_t Byte;
    char16_t Char;
  } points[] = {
      {28591, 0xE9, u'é'}, {1252, 0x80, u'€'}, {28605, 0xA4, u'€'}, {20866, 0xC1, u'а'},
      {437, 0xDB, u'█'},   {10000, 0xA5, u'•'}, {1251, 0xC0, u'А'}, {20127, 0x80, 0xFFFD},
      {866, 0x80, u'А'},   {28597, 0xE1, u'α'}, {1252, 0x81, 0xFFFD},
  };
  for (auto& p : points)
    EXPECT_EQ(TVxEncoding::GetEncoding(p.CodePage).ConvertA(std::string(1, char(p.Byte)))[0], p.Char)
        << p.CodePage;
  for (const auto& info : VxCodePages()) {
    const TVxEncoding& enc = TVxEncoding::GetEncoding(info.CodePage);
    if (!enc.IsSingleByte()) continue;
    for (int b = 0; b < 256; ++b) {
      std::string byte(1, static_cast<char>(b));
      VxString w = enc.ConvertA(byte);
      if (w[0] == 0xFFFD) continue;
      ASSERT_EQ(enc.ConvertW(w), byte) << info.Name << " byte " << b;
    }
  }
}

TEST(SingleByteCodePages, UnmappableCharacterBecomesOneQuestionMark) {
  const TVxEncoding& latin1 = TVxEncoding::GetEncoding(28591);
  EXPECT_EQ(latin1.ConvertW(u"a€b"), "a?b");
  EXPECT_EQ(latin1.ConvertW(u"x🌍y"), "x?y");  // one character, one mark
  EXPECT_EQ(latin1.ConvertW(VxString(u"n\0l", 3)), std::string("n\0l", 3));
  EXPECT_EQ(TVxEncoding::GetEncoding(20127).ConvertW(u"é"), "?");
}

TEST(MultiByteCodePages, RoundTripTheirOwnScripts) {
  struct {
    uint16_t CodePage;
    VxString Text;
  } cases[] = {
      {932, u"日本語のテキスト、ｶﾀｶﾅ"}, {20932, u"日本語のテキスト"}, {50220, u"abc日本語def"},
      {936, u"中文文本"},                {54936, u"中文 🌍 ü"},       {950, u"繁體中文"},
      {949, u"한국어 텍스트"},           {1201, u"UTF-16 big 🌍"},     {1200, u"UTF-16 little 🌍"},
      {65001, u"UTF-8 🌍"},
  };
  for (auto& c : cases) {
    const TVxEncoding& enc = TVxEncoding::GetEncoding(c.CodePage);
    std::string bytes = enc.ConvertW(c.Text);
    EXPECT_EQ(enc.ConvertA(bytes), c.Text) << c.CodePage;
  }
  EXPECT_EQ(TVxEncoding::GetEncoding(1201).ConvertW(u"A"), std::string("\0A", 2));
}

TEST(MultiByteCodePages, UnmappableAndMalformedKeepTheTextAround) {
  // ISO-2022-JP: the replacement stands in plain ASCII, after the shift back.
  const TVxEncoding& jis = TVxEncoding::GetEncoding(50220);
  std::string bytes = jis.ConvertW(u"日€本");
  EXPECT_EQ(jis.ConvertA(bytes), u"日?本");
  const TVxEncoding& sjis = TVxEncoding::GetEncoding(932);
  EXPECT_EQ(sjis.ConvertW(u"a\xD800" u"b"), "a?b");  // unpaired surrogate
  EXPECT_EQ(sjis.ConvertA("a\x82z"), u"a\xFFFDz");  // a lead byte with an invalid trail
  EXPECT_EQ(sjis.ConvertA("ab\x82"), u"ab\xFFFD");   // cut inside a character
}

TEST(MultiByteCodePages, IncrementalDecodingMatchesWholeDecoding) {
  const VxString text = u"abc日本語def ｶﾀｶﾅ 中";
  for (uint16_t cp : {uint16_t(932), uint16_t(50220), uint16_t(54936)}) {
    const TVxEncoding& enc = TVxEncoding::GetEncoding(cp);
    std::string bytes = enc.ConvertW(text);
    for (size_t split = 0; split <= bytes.size(); ++split) {
      TVxMultiByteDecoder decoder(cp);
      char16_t out[64];
      char16_t* o = out;
      auto in = reinterpret_cast<const uint8_t*>(bytes.data());
      const uint8_t* mid = in + split;
      decoder.Decode(in, mid, o, out + 64, false);
      // What the first part left undecoded goes in again with the rest.
      std::string rest(reinterpret_cast<const char*>(in), static_cast<size_t>(bytes.data() + bytes.size() - reinterpret_cast<const char*>(in)));
      auto r = reinterpret_cast<const uint8_t*>(rest.data());
      decoder.Decode(r, r + rest.size(), o, out + 64, true);
      // ISO-2022-JP has no half-width katakana: compare with the whole text's own round trip.
      ASSERT_EQ(VxString(out, o), enc.ConvertA(bytes)) << cp << " split at " << split;
    }
  }
}

TEST(ByteOrderMarks, DetectedAndConsumed) {
  struct {
    std::string Bytes;
    uint16_t CodePage;
    int64_t After;
  } cases[] = {
      {"\xEF\xBB\xBF<a/>", 65001, 3}, {"\xFF\xFE<\0", 1200, 2}, {"\xFE\xFF\0<", 1201, 2},
      {"<a/>", 0, 0},                 {"\xEF\xBB", 0, 0},       {"", 0, 0},
  };
  for (auto& c : cases) {
    TVxMemoryStream s(c.Bytes.data(), static_cast<int64_t>(c.Bytes.size()));
    EXPECT_EQ(VxGetCodePage(s), c.CodePage);
    EXPECT_EQ(s.Position(), c.After);
  }
}

// Decoding streamed text: an invalid UTF-16BE unit is skipped whole, so the text after it stays
// aligned; an incomplete multi-byte character at the very end is one U+FFFD.
TEST(MultiByteCodePages, InvalidUnitsAndCutCharactersAreOneReplacementEach) {
  auto decode = [](uint16_t ACodePage, const std::string& ABytes) {
    TVxMultiByteDecoder decoder(ACodePage);
    std::vector<char16_t> out(ABytes.size() + 4);
    char16_t* o = out.data();
    auto in = reinterpret_cast<const uint8_t*>(ABytes.data());
    decoder.Decode(in, in + ABytes.size(), o, out.data() + out.size(), true);
    return VxString(out.data(), o);
  };
  // "a", a lone low surrogate, "b", "c" in UTF-16BE.
  EXPECT_EQ(decode(cVxCodePageUTF16BE, std::string("\0a\xDC\x00\0b\0c", 8)), u"a\xFFFD" u"bc");
  EXPECT_EQ(decode(54936, std::string("A\x81\x30\x81")), u"A\xFFFD");
  EXPECT_EQ(decode(932, std::string("ab\x82")), u"ab\xFFFD");
  // The cursor reads the same through a trickling stream.
  const std::string be("\0<\xDC\x00\0x\0>", 8);
  TVxMemoryStream mem(be.data(), static_cast<int64_t>(be.size()));
  TVxTextParser p(&mem, false, cVxCodePageUTF16BE);
  VxString read;
  while (!p.Eof()) read += p.ReadCharW();
  EXPECT_EQ(read, u"<\xFFFDx>");
}
