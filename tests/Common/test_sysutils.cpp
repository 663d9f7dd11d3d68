// Message formatting, UTF-8/UTF-16 conversion, exceptions and the ASCII string helpers.
#include <gtest/gtest.h>

#include <random>

#include "uVxSysUtils.h"

using namespace vx;

namespace {
std::string U8(const char8_t* AText) { return std::string(reinterpret_cast<const char*>(AText)); }
}  // namespace

TEST(VxFormat, Directives) {
  EXPECT_EQ(VxFormat(u"Line %d, column %d: %s", 3, 14, u"bad"), u"Line 3, column 14: bad");
  EXPECT_EQ(VxFormat(u"%s and %s", std::string("utf-8 ü"), u"utf-16 ü"), u"utf-8 ü and utf-16 ü");
  EXPECT_EQ(VxFormat(u"[%5d|%-5d|%.3d]", -42, 7, 5), u"[  -42|7    |005]");
  EXPECT_EQ(VxFormat(u"%u %x %x", 4000000000u, 255, -1), u"4000000000 FF FFFFFFFF");
  EXPECT_EQ(VxFormat(u"%f %.3f %.0f", 1.5, 2.0 / 3, 2.5), u"1.50 0.667 2");
  EXPECT_EQ(VxFormat(u"%n", 1234567.891), u"1,234,567.89");
  EXPECT_EQ(VxFormat(u"%g|%g|%g|%g|%g", 0.1, 1e20, 1.5e-10, 100.0, -0.000125),
            u"0.1|1E20|1.5E-10|100|-0.000125");
  EXPECT_EQ(VxFormat(u"%g", 123456789012345678.0), u"1.23456789012346E17");
  EXPECT_EQ(VxFormat(u"%e", 1234.5), u"1.23450000000000E+003");
  EXPECT_EQ(VxFormat(u"100%% %s", u"sure"), u"100% sure");
  EXPECT_EQ(VxFormat(u"%1:s-%0:s-%s", u"a", u"b"), u"b-a-b");
  EXPECT_EQ(VxFormat(u"[%*d] [%.*s]", 4, 7, 2, u"abcdef"), u"[   7] [ab]");
  EXPECT_EQ(VxFormat(u"%s%s", u'x', 'y'), u"xy");
  EXPECT_EQ(VxFormat(u"%d %d", int64_t(-9223372036854775807 - 1), uint8_t(200)), u"-9223372036854775808 200");
}

// Widths and precisions taken from the arguments are held to a sane range before any arithmetic.
TEST(VxFormat, ExtremeStarWidthsAreClamped) {
  EXPECT_EQ(VxFormat(u"[%*d]", INT32_MIN, 7).size(), 100002u);  // left-aligned to 100000
  EXPECT_EQ(VxFormat(u"[%*d]", INT64_MAX, 7).size(), 100002u);
  EXPECT_EQ(VxFormat(u"[%.*s]", INT64_MIN, u"abc"), u"[abc]");
}

TEST(VxFormat, MismatchedArgumentsRaiseConvertError) {
  for (auto fmt : {u"%d", u"%s %s", u"%f", u"%z", u"%"}) {
    try {
      if (std::u16string_view(fmt) == u"%f")
        VxFormat(fmt, 3);
      else if (std::u16string_view(fmt) == u"%d")
        VxFormat(fmt, u"text");
      else
        VxFormat(fmt, u"one");
      ADD_FAILURE() << VxUTF16ToUTF8(fmt);
    } catch (const EConvertError& e) {
      EXPECT_EQ(e.Message(), VxString(u"Format '") + fmt + u"' invalid or incompatible with argument");
    }
  }
}

struct TUTF8Case {
  const char* Name;
  std::string Bytes;
  VxString Expected;
};

class UTF8Decoding : public ::testing::TestWithParam<TUTF8Case> {};

TEST_P(UTF8Decoding, MatchesExpected) {
  EXPECT_EQ(VxUTF8ToUTF16(GetParam().Bytes), GetParam().Expected);
}

// One U+FFFD per maximal ill-formed subpart; nothing read past the end.
INSTANTIATE_TEST_SUITE_P(
    Cases, UTF8Decoding,
    ::testing::Values(
        TUTF8Case{"Ascii", "plain ascii text, longer than eight", u"plain ascii text, longer than eight"},
        TUTF8Case{"AllWidths", U8(u8"aé€🌍"), u"aé€🌍"},
        TUTF8Case{"TruncatedTwoByte", "ab\xC3", u"ab\xFFFD"},
        TUTF8Case{"TruncatedFourByte", "\xF0\x9F\x8C", u"\xFFFD"},
        TUTF8Case{"StrayContinuation", "a\x80\x80z", u"a\xFFFD\xFFFDz"},
        TUTF8Case{"Overlong", "\xC0\xAF\xE0\x80\xAF", u"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"},
        TUTF8Case{"EncodedSurrogate", "\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD"},
        TUTF8Case{"AboveUnicode", "\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"},
        TUTF8Case{"InterruptedSequence", "\xE2\x82x", u"\xFFFDx"},
        TUTF8Case{"InvalidLeads", "\xF5\xFF", u"\xFFFD\xFFFD"},
        TUTF8Case{"Empty", "", u""}),
    [](const auto& AInfo) { return std::string(AInfo.param.Name); });

TEST(UTF16ToUTF8, UnpairedSurrogatesBecomeReplacement) {
  EXPECT_EQ(VxUTF16ToUTF8(u"a\xD800z"), U8(u8"a\uFFFDz"));
  EXPECT_EQ(VxUTF16ToUTF8(u"\xDC00"), U8(u8"\uFFFD"));
  EXPECT_EQ(VxUTF16ToUTF8(VxString(1, char16_t(0xD83C))), U8(u8"\uFFFD"));
  EXPECT_EQ(VxUTF16ToUTF8(u"🌍é"), U8(u8"🌍é"));
}

TEST(UTF16ToUTF8, RandomTextRoundTrips) {
  std::mt19937 rng(1);
  for (int round = 0; round < 200; ++round) {
    VxString s;
    for (int k = 0; k < 50; ++k) {
      uint32_t cp = rng() % 4 == 0 ? 0x10000 + rng() % 0x100000 : rng() % 0xD800;
      if (cp >= 0x10000) {
        s += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
        s += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
      } else {
        s += static_cast<char16_t>(cp);
      }
    }
    ASSERT_EQ(VxUTF8ToUTF16(VxUTF16ToUTF8(s)), s);
  }
}

TEST(Exceptions, CarryMessageCodeAndClassName) {
  try {
    throw EVxException(u"Zeile ü", 12);
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), U8(u8"Zeile ü").c_str());
    EXPECT_EQ(e.ClassName(), u"EVxException");
    EXPECT_EQ(dynamic_cast<const EVxException&>(e).ErrorCode(), 12);
  }
  try {
    throw EFOpenError(std::string_view("gone"));
  } catch (const EStreamError& e) {  // families derive as the platform's do
    EXPECT_EQ(e.ClassName(), u"EFOpenError");
    EXPECT_EQ(e.Message(), u"gone");
  }
  EVariantTypeCastError cast(u"x");
  EXPECT_NE(dynamic_cast<EVariantError*>(&cast), nullptr);
  EVxTextParserEOF eof;
  EXPECT_EQ(eof.ErrorCode(), 1);
}

TEST(StringHelpers, CaseAndTrim) {
  EXPECT_EQ(VxUpperCase(u"abcÿz"), u"ABCÿZ");  // ASCII letters only
  EXPECT_EQ(VxLowerCaseA("XmLnS"), "xmlns");
  EXPECT_TRUE(VxSameText(u"XMLNS", u"xmlns"));
  EXPECT_FALSE(VxSameText(u"Ä", u"ä"));
  EXPECT_LT(VxCompareText(u"abc", u"ABD"), 0);
  EXPECT_GT(VxCompareText(u"abcd", u"ABC"), 0);
  EXPECT_EQ(VxCompareStr(u"B", u"a"), -1);
  EXPECT_EQ(VxTrim(u"\t\r\n x y \x01"), u"x y");
  EXPECT_EQ(VxTrimLeft(u"  x "), u"x ");
  EXPECT_EQ(VxTrimRight(u"  x "), u"  x");
  EXPECT_EQ(VxTrimA("  "), "");
  EXPECT_EQ(VxIntToStr(-120), u"-120");
}
