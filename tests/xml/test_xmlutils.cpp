// Escaping, entities and value conversions of XML text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>

#include "uVxXMLUtils.h"
#include "vx_test_locale.h"
#include "vx_test_zone.h"

using namespace vx;

namespace {

std::string U8(std::u16string_view s) { return VxUTF16ToUTF8(s); }

// Runs AAction and answers the message of the EConvertError it raises ("" when none).
VxString ConvertErrorOf(const std::function<void()>& AAction) {
  try {
    AAction();
  } catch (const EConvertError& e) {
    return e.Message();
  }
  return u"<no exception>";
}

using test::TZoneGuard;

constexpr char cBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";

}  // namespace

// ---------------------------------------------------------------------------------------------
// Escaping
// ---------------------------------------------------------------------------------------------

TEST(Escaping, ReplacesMarkupControlsAndOptionalQuotes) {
  struct {
    const char16_t* Text;
    bool Apos, Quote;
    const char16_t* Escaped;
  } cases[] = {
      {u"a<b & 'c'", false, true, u"a&lt;b &amp; 'c'"},
      {u"a<b & 'c'", true, false, u"a&lt;b &amp; &apos;c&apos;"},
      {u"say \"hi\" > 'x'", true, true, u"say &quot;hi&quot; &gt; &apos;x&apos;"},
      {u"say \"hi\"", false, false, u"say \"hi\""},
      {u"tab\there\r\nend", false, true, u"tab&#9;here&#13;&#10;end"},
      {u"\x01\x1F", false, true, u"&#1;&#31;"},
      {u"", false, true, u""},
      {u"plain text, no markup: 100%", false, true, u"plain text, no markup: 100%"},
      {u"\u00E4\u20AC\U0001F600 <", false, true, u"\u00E4\u20AC\U0001F600 &lt;"},
  };
  for (auto& c : cases) EXPECT_EQ(VxStrToXML(c.Text, c.Apos, c.Quote), c.Escaped) << U8(c.Text);
  EXPECT_EQ(VxStrToXML(VxString(u"a\0b", 3)), u"ab");  // NUL disappears
  // Defaults: quotes escaped, apostrophes not.
  EXPECT_EQ(VxStrToXML(u"'\""), u"'&quot;");
}

TEST(Escaping, EightBitTextKeepsItsHighBytes) {
  EXPECT_EQ(VxStrToXML(std::string_view("K\xC3\xA4se & <Brot>\t")), "K\xC3\xA4se &amp; &lt;Brot&gt;&#9;");
  EXPECT_EQ(VxStrToXML(std::string_view("\x80\xFF'\""), true, true), "\x80\xFF&apos;&quot;");
  EXPECT_EQ(VxStrToXML(std::string("a\0b", 3)), "ab");
}

TEST(Escaping, AppendsToAStringStreamAcrossSlices) {
  TVxStringStream stream;
  stream.WriteString(u"<r>");
  VxString text;
  for (int i = 0; i < 20000; ++i) text += u"x&y<";  // 80,000 units: several slices
  VxStrToXML(text.data(), text.size(), stream);
  VxString expected = u"<r>";
  for (int i = 0; i < 20000; ++i) expected += u"x&amp;y&lt;";
  EXPECT_EQ(stream.DataString(), expected);
  VxStrToXML(u"'\"", 2, stream, true, false);
  EXPECT_EQ(stream.DataString(), expected + u"&apos;\"");
}

// ---------------------------------------------------------------------------------------------
// Unescaping
// ---------------------------------------------------------------------------------------------

TEST(Unescaping, EveryHTMLAndXMLEntityGivesItsCodePoint) {
  std::ifstream file(VX_TEST_DATA_DIR "/entities.txt");
  ASSERT_TRUE(file) << "entities.txt missing";
  std::string line;
  int count = 0;
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream row(line);
    std::string name;
    unsigned cp = 0;
    row >> name >> std::hex >> cp;
    VxString ref = u"[&" + VxASCIIToUTF16(name) + u";]";
    EXPECT_EQ(VxXMLToStr(ref), VxString(u"[") + static_cast<char16_t>(cp) + u"]") << name;
    ++count;
  }
  EXPECT_EQ(count, 253);  // 252 HTML 4 names and "apos"
  EXPECT_EQ(VxXMLToStr(u"&Auml;&Alpha;&Dagger;&zeta;"), u"\u00C4\u0391\u2021\u03B6");
  EXPECT_EQ(VxXMLToStr(u"&lt;&gt;&amp;&quot;&apos;"), u"<>&\"'");
}

TEST(Unescaping, NamesFoldIntoKeysSoCollidingNamesReadAsTheEntity) {
  // "Aum66" folds to the key of "Auml": '6' + '6' is 'l' in the fourth byte.
  EXPECT_EQ(VxXMLToStr(u"&Aum66;"), u"\u00C4");
  // Eight characters fold in pairs (first and last, ...): this name folds onto "lt".
  EXPECT_EQ(VxXMLToStr(u"&6:\u0080\u0080\u0080\u0080:6;"), u"<");
  EXPECT_EQ(VxXMLToStr(u"&6:\u0080\u0080\u0080\u0080:7;"), u"&6:\u0080\u0080\u0080\u0080:7;");
}

TEST(Unescaping, LeavesWhatIsNoReferenceAsWritten) {
  struct {
    const char16_t* Text;
    const char16_t* Result;
  } cases[] = {
      {u"&unknown;", u"&unknown;"},
      {u"&toolongname;", u"&toolongname;"},
      {u"&amp", u"&amp"},
      {u"a & b", u"a & b"},
      {u"&amp x;", u"&amp x;"},
      {u"&;", u"&;"},
      {u"&", u"&"},
      {u"&a&amp;", u"&a&amp;"},  // the reference runs to the first ";": "a&amp" is no entity
      {u"x &lt y &gt;", u"x &lt y >"},
      {u"no references", u"no references"},
      {u"&amp;amp;", u"&amp;"},
      {u"1 &lt; 2 &amp;&amp; 3 &gt; 2", u"1 < 2 && 3 > 2"},
  };
  for (auto& c : cases) EXPECT_EQ(VxXMLToStr(c.Text), c.Result) << U8(c.Text);
}

TEST(Unescaping, NumericReferences) {
  EXPECT_EQ(VxXMLToStr(u"&#x41;&#65;&#X42;&#x00e4;"), u"AAB\u00E4");
  // One code unit per reference: a value above U+FFFF keeps its low sixteen bits.
  EXPECT_EQ(VxXMLToStr(u"&#x1F600;"), u"\xF600");
  EXPECT_EQ(VxXMLToStr(u"&#128512;x"), u"\xF600x");
  EXPECT_EQ(VxXMLToStr(std::string_view("&#x1F600;")), "\xEF\x98\x80");
  EXPECT_EQ(VxXMLToStr(u"&#9;"), u"\t");
  for (const char16_t* bad : {u"&#;", u"&#x;", u"&#12a;", u"&#xZZ;", u"&#x-41;", u"&#99999999999;"}) {
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToStr(bad); }), VxString(u"'") + bad + u"' is not a valid integer value")
        << U8(bad);
  }
}

TEST(Unescaping, EightBitTextIsUTF8) {
  EXPECT_EQ(VxXMLToStr(std::string_view("K&auml;se &amp; Brot &#x20AC;")), "K\xC3\xA4se & Brot \xE2\x82\xAC");
  EXPECT_EQ(VxXMLToStr(std::string_view("\xC3\xA4 &nope; &amp")), "\xC3\xA4 &nope; &amp");
}

TEST(Unescaping, VariantsByKind) {
  EXPECT_EQ(VxXMLToStr(TVxVariant::Null(), u"dflt"), u"dflt");
  EXPECT_EQ(VxXMLToStr(TVxVariant(u"a &lt; b"), u""), u"a < b");
  EXPECT_EQ(VxXMLToStr(TVxVariant("a &amp; b"), u""), u"a & b");
  EXPECT_EQ(VxXMLToStr(TVxVariant(int32_t(42)), u""), u"42");
  EXPECT_EQ(VxXMLToStr(TVxVariant(true), u""), u"true");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToStr(TVxVariant(1.5), u""); }), cVxInvalidString);
}

TEST(Unescaping, EscapedTextReadsBack) {
  std::mt19937 rng(7);
  const char16_t alphabet[] = u"ab &<>'\"\t\r\n;#x\u00E4\u20AC";
  for (int round = 0; round < 500; ++round) {
    VxString text;
    for (auto i = rng() % 40; i > 0; --i) text += alphabet[rng() % (std::size(alphabet) - 1)];
    EXPECT_EQ(VxXMLToStr(VxStrToXML(text, true, true)), text) << U8(text);
  }
}

TEST(Unescaping, ArbitraryInputEitherConvertsOrRaisesTheConversionError) {
  // Bounds are checked by the sanitizers; any other exception fails the test.
  std::mt19937 rng(11);
  const char16_t alphabet[] = u"&#;xX0129aF lt";
  for (int round = 0; round < 5000; ++round) {
    VxString text;
    for (auto i = rng() % 16; i > 0; --i) text += alphabet[rng() % (std::size(alphabet) - 1)];
    try {
      VxXMLToStr(text);
      VxXMLToStr(std::string_view(VxUTF16ToUTF8(text)));
    } catch (const EConvertError&) {
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Numbers and booleans
// ---------------------------------------------------------------------------------------------

TEST(NumberTexts, IntegersNarrowWithoutRangeCheck) {
  EXPECT_EQ(VxXMLToShortInt(u"300"), 44);
  EXPECT_EQ(VxXMLToShortInt(u"-128"), -128);
  EXPECT_EQ(VxXMLToSmallInt(u"70000"), 4464);
  EXPECT_EQ(VxXMLToInt(u""), 0);
  EXPECT_EQ(VxXMLToInt(u" 42 "), 42);
  EXPECT_EQ(VxXMLToInt(u"$1F"), 31);
  // The narrower readers go through the 32-bit conversion: outside its range they raise.
  EXPECT_EQ(VxXMLToInt(u"-2147483648"), std::numeric_limits<int32_t>::min());
  for (const char16_t* wide : {u"4294967296", u"2147483648", u"-2147483649"})
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToInt(wide); }), VxString(u"'") + wide + u"' is not a valid integer value");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToShortInt(u"4294967297"); }), u"'4294967297' is not a valid integer value");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToLongWord(u"4294967295"); }), u"'4294967295' is not a valid integer value");
  EXPECT_EQ(VxXMLToLongWord(u"-1"), 4294967295u);
  EXPECT_EQ(VxXMLToInt64(u"4294967296"), 4294967296);
  EXPECT_EQ(VxXMLToInt64(u"-9223372036854775808"), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(VxXMLToByte(u"-1"), 255);
  EXPECT_EQ(VxXMLToWord(u"65537"), 1);
  EXPECT_EQ(VxXMLToUInt64(u"18446744073709551615"), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(VxXMLToUInt64(u"-1"), std::numeric_limits<uint64_t>::max());
  for (const char16_t* bad : {u"abc", u"1.5", u"12x", u"--1", u"18446744073709551616"})
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToUInt64(bad); }), VxString(u"'") + bad + u"' is not a valid integer value");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToInt(u"abc"); }), u"'abc' is not a valid integer value");
  EXPECT_EQ(VxXMLToIntDef(u"abc", -7), -7);
  EXPECT_EQ(VxXMLToIntDef(u"", -7), 0);
  EXPECT_EQ(VxXMLToByteDef(u"x", 9), 9);
  EXPECT_EQ(VxXMLToUInt64Def(u"x", 9), 9u);
}

TEST(NumberTexts, Floats) {
  EXPECT_EQ(VxXMLToDouble(u"1.5"), 1.5);
  EXPECT_EQ(VxXMLToDouble(u" -2.5E-7 "), -2.5e-7);
  EXPECT_EQ(VxXMLToDouble(u"1e3"), 1000.0);
  EXPECT_EQ(VxXMLToDouble(u"+4"), 4.0);
  EXPECT_EQ(VxXMLToDouble(u""), 0.0);
  EXPECT_EQ(VxXMLToDouble(u"INF"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(VxXMLToDouble(u"-INF"), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(VxXMLToDouble(u"NaN")));
  EXPECT_EQ(VxXMLToDouble(u"1e999"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(VxXMLToSingle(u"0.1"), 0.1f);
  EXPECT_EQ(VxXMLToExtended(u"0.1"), 0.1L);
  for (const char16_t* bad : {u"1,5", u"abc", u"1.5.2", u"+-1", u"0x10"})
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToDouble(bad); }),
              VxString(u"'") + bad + u"' is not a valid floating point value");
  EXPECT_EQ(VxXMLToDoubleDef(u"1,5", 2.5), 2.5);
  EXPECT_EQ(VxXMLToSingleDef(u"x", 1.5f), 1.5f);
  EXPECT_EQ(VxXMLToExtendedDef(u"x", 1.5L), 1.5L);
}

TEST(NumberTexts, WritersGiveShortestDecimalText) {
  EXPECT_EQ(VxDoubleToXML(0.1), u"0.1");
  EXPECT_EQ(VxDoubleToXML(1e20), u"1E20");
  // Fixed notation from 1E-5 up to below 1E15, scientific outside, as the general format has it.
  EXPECT_EQ(VxDoubleToXML(100000), u"100000");
  EXPECT_EQ(VxDoubleToXML(1e14), u"100000000000000");
  EXPECT_EQ(VxDoubleToXML(123456789012345.6), u"123456789012345.6");
  EXPECT_EQ(VxDoubleToXML(1e15), u"1E15");
  EXPECT_EQ(VxDoubleToXML(0.0001), u"0.0001");
  EXPECT_EQ(VxDoubleToXML(0.00001), u"0.00001");
  EXPECT_EQ(VxDoubleToXML(0.000001), u"1E-6");
  EXPECT_EQ(VxDoubleToXML(-1.5e-5), u"-0.000015");
  EXPECT_EQ(VxDoubleToXML(0), u"0");
  EXPECT_EQ(VxExtToXML(1e5L), u"100000");
  EXPECT_EQ(VxExtToXML(1e-300L), u"1E-300");
  EXPECT_EQ(VxDoubleToXML(-2.5e-7), u"-2.5E-7");
  EXPECT_EQ(VxDoubleToXML(100), u"100");
  EXPECT_EQ(VxDoubleToXML(std::nan("")), u"NaN");
  EXPECT_EQ(VxDoubleToXML(-std::numeric_limits<double>::infinity()), u"-INF");
  EXPECT_EQ(VxExtToXML(0.1L), u"0.1");
  EXPECT_EQ(VxShortIntToXML(-128), u"-128");
  EXPECT_EQ(VxSmallIntToXML(-32768), u"-32768");
  EXPECT_EQ(VxLongIntToXML(-1), u"-1");
  EXPECT_EQ(VxIntToXML(2147483647), u"2147483647");
  EXPECT_EQ(VxInt64ToXML(std::numeric_limits<int64_t>::min()), u"-9223372036854775808");
  EXPECT_EQ(VxByteToXML(255), u"255");
  EXPECT_EQ(VxWordToXML(65535), u"65535");
  EXPECT_EQ(VxLongWordToXML(4294967295u), u"4294967295");
  EXPECT_EQ(VxCardinalToXML(7), u"7");
  EXPECT_EQ(VxUInt64ToXML(std::numeric_limits<uint64_t>::max()), u"18446744073709551615");
  EXPECT_EQ(VxBoolToXML(true), u"true");
  EXPECT_EQ(VxBoolToXML(false), u"false");
}

TEST(NumberTexts, EveryTypeRoundTrips) {
  for (int v : {-128, -1, 0, 1, 127}) EXPECT_EQ(VxXMLToShortInt(VxShortIntToXML(int8_t(v))), v);
  for (int v : {-32768, 0, 32767}) EXPECT_EQ(VxXMLToSmallInt(VxSmallIntToXML(int16_t(v))), v);
  for (int32_t v : {std::numeric_limits<int32_t>::min(), 0, std::numeric_limits<int32_t>::max()})
    EXPECT_EQ(VxXMLToInt(VxIntToXML(v)), v);
  for (int64_t v : {std::numeric_limits<int64_t>::min(), int64_t(0), std::numeric_limits<int64_t>::max()})
    EXPECT_EQ(VxXMLToInt64(VxInt64ToXML(v)), v);
  for (int v : {0, 255}) EXPECT_EQ(VxXMLToByte(VxByteToXML(uint8_t(v))), v);
  for (int v : {0, 65535}) EXPECT_EQ(VxXMLToWord(VxWordToXML(uint16_t(v))), v);
  for (uint32_t v : {0u, 2147483647u}) EXPECT_EQ(VxXMLToLongWord(VxLongWordToXML(v)), v);
  for (uint64_t v : {uint64_t(0), std::numeric_limits<uint64_t>::max()}) EXPECT_EQ(VxXMLToUInt64(VxUInt64ToXML(v)), v);
  std::mt19937_64 rng(3);
  for (int i = 0; i < 2000; ++i) {
    uint64_t bits = rng();
    double d;
    std::memcpy(&d, &bits, sizeof d);
    if (std::isnan(d)) continue;
    EXPECT_EQ(VxXMLToDouble(VxDoubleToXML(d)), d) << U8(VxDoubleToXML(d));
    float f = static_cast<float>(d);
    if (std::isfinite(f)) {
      EXPECT_EQ(VxXMLToSingle(VxDoubleToXML(static_cast<double>(f))), f);
    }
  }
  for (long double x : {0.1L, 1.0L / 3.0L, 1e-4000L, std::numeric_limits<long double>::max(), -2.5L})
    EXPECT_EQ(VxXMLToExtended(VxExtToXML(x)), x) << U8(VxExtToXML(x));
  EXPECT_TRUE(VxXMLToBool(VxBoolToXML(true)));
  EXPECT_FALSE(VxXMLToBool(VxBoolToXML(false)));
}

TEST(NumberTexts, Booleans) {
  EXPECT_TRUE(VxXMLToBool(u"1"));
  EXPECT_TRUE(VxXMLToBool(u"TRUE"));
  EXPECT_FALSE(VxXMLToBool(u"yes"));
  EXPECT_FALSE(VxXMLToBool(u""));
  EXPECT_TRUE(VxXMLToBool(TVxVariant(u"TRUE"), false));
  EXPECT_FALSE(VxXMLToBool(TVxVariant(u"yes"), true));
  EXPECT_TRUE(VxXMLToBool(TVxVariant(int32_t(2)), false));
  EXPECT_FALSE(VxXMLToBool(TVxVariant(uint8_t(0)), true));
  EXPECT_TRUE(VxXMLToBool(TVxVariant(true), false));
  EXPECT_TRUE(VxXMLToBool(TVxVariant::Null(), true));
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToBool(TVxVariant(1.0), false); }), cVxInvalidBoolean);
}

// Every variant overload: null gives the default, ordinals, strings and booleans convert, and a
// kind the overload does not take raises its own message.
TEST(NumberTexts, VariantOverloadsTakeTheirKindsAndNameTheTypeOnFailure) {
  const TVxVariant array = TVxVariant::Array({TVxVariant(int32_t(1))});
  const TVxVariant real = TVxVariant(2.5);
  struct {
    const char* Name;
    std::function<double(const TVxVariant&)> Convert;
    const char16_t* Message;
  } cases[] = {
      {"ShortInt", [](const TVxVariant& v) { return VxXMLToShortInt(v, -1); }, cVxInvalidShortInt},
      {"SmallInt", [](const TVxVariant& v) { return VxXMLToSmallInt(v, -1); }, cVxInvalidSmallInt},
      {"Int", [](const TVxVariant& v) { return VxXMLToInt(v, -1); }, cVxInvalidInteger},
      {"Int64", [](const TVxVariant& v) { return double(VxXMLToInt64(v, -1)); }, cVxInvalidInteger},
      {"Byte", [](const TVxVariant& v) { return VxXMLToByte(v, 99); }, cVxInvalidByte},
      {"Word", [](const TVxVariant& v) { return VxXMLToWord(v, 99); }, cVxInvalidWord},
      {"LongWord", [](const TVxVariant& v) { return VxXMLToLongWord(v, 99); }, cVxInvalidLongWord},
      {"UInt64", [](const TVxVariant& v) { return double(VxXMLToUInt64(v, 99)); }, cVxInvalidInteger},
      {"Single", [](const TVxVariant& v) { return VxXMLToSingle(v, -1); }, cVxInvalidSingle},
      {"Double", [](const TVxVariant& v) { return VxXMLToDouble(v, -1); }, cVxInvalidDouble},
      {"Extended", [](const TVxVariant& v) { return double(VxXMLToExtended(v, -1)); }, cVxInvalidExtended},
      {"Date", [](const TVxVariant& v) { return VxXMLToDate(v, -1); }, cVxInvalidDate},
      {"Time", [](const TVxVariant& v) { return VxXMLToTime(v, -1); }, cVxInvalidTime},
      {"DateTime", [](const TVxVariant& v) { return VxXMLToDateTime(v, -1); }, cVxInvalidDateTime},
      {"Date/format", [](const TVxVariant& v) { return VxXMLToDate(v, -1, VxXMLDateTimeFormat(tzfNone)); },
       cVxInvalidDate},
      {"Time/format", [](const TVxVariant& v) { return VxXMLToTime(v, -1, VxXMLDateTimeFormat(tzfNone)); },
       cVxInvalidTime},
      {"DateTime/format", [](const TVxVariant& v) { return VxXMLToDateTime(v, -1, VxXMLDateTimeFormat(tzfNone)); },
       cVxInvalidDateTime},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.Name);
    const double dflt = c.Convert(TVxVariant::Null());
    EXPECT_TRUE(dflt == -1 || dflt == 99);
    EXPECT_EQ(c.Convert(TVxVariant(int32_t(3))), 3);
    EXPECT_EQ(c.Convert(TVxVariant(true)), 1);
    EXPECT_EQ(ConvertErrorOf([&] { c.Convert(array); }), c.Message);
    EXPECT_EQ(ConvertErrorOf([&] { c.Convert(TVxVariant()); }), c.Message);  // empty is not null
    // Only ordinals, strings and booleans convert: floats and date-times raise, also for the
    // float and date targets.
    EXPECT_EQ(ConvertErrorOf([&] { c.Convert(real); }), c.Message);
    EXPECT_EQ(ConvertErrorOf([&] { c.Convert(TVxVariant(2.5f)); }), c.Message);
    EXPECT_EQ(ConvertErrorOf([&] { c.Convert(TVxVariant::FromDateTime(45000.5)); }), c.Message);
  }
  // An unsigned ordinal above 2^63 - 1 converts without wrapping.
  const TVxVariant big(std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(VxXMLToDouble(big, 0), 18446744073709551615.0);
  EXPECT_EQ(VxXMLToSingle(big, 0), 18446744073709551615.0f);
  EXPECT_EQ(VxXMLToExtended(big, 0), 18446744073709551615.0L);
  EXPECT_EQ(VxXMLToDateTime(big, 0), 18446744073709551615.0);
  EXPECT_EQ(VxXMLToInt(TVxVariant(u"300"), 0), 300);
  EXPECT_EQ(VxXMLToShortInt(TVxVariant("300"), 0), 44);
  EXPECT_EQ(VxXMLToDouble(TVxVariant(u"1.25"), 0), 1.25);
  EXPECT_EQ(VxXMLToDate(TVxVariant(u"2024-02-29"), 0), VxEncodeDate(2024, 2, 29));
  EXPECT_EQ(VxXMLToDateTime(TVxVariant(int32_t(45000)), 0), 45000.0);
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToInt(TVxVariant(u"abc"), 0); }), u"'abc' is not a valid integer value");
}

// ---------------------------------------------------------------------------------------------
// Dates, times and durations
// ---------------------------------------------------------------------------------------------

TEST(DateTexts, WritersFollowTheZoneFormat) {
  TZoneGuard zone(cBerlin);
  const TDateTime summer = VxEncodeDateTime(2024, 7, 1, 12, 0, 0, 0);
  const TDateTime winter = VxEncodeDateTime(2024, 1, 15, 8, 30, 15, 250);
  EXPECT_EQ(VxDateTimeToXML(summer), u"2024-07-01T12:00:00");
  EXPECT_EQ(VxDateTimeToXML(summer, tzfUTC), u"2024-07-01T10:00:00Z");
  EXPECT_EQ(VxDateTimeToXML(summer, tzfOffset), u"2024-07-01T12:00:00+02:00");
  EXPECT_EQ(VxDateTimeToXML(winter, tzfOffset), u"2024-01-15T08:30:15.25+01:00");
  EXPECT_EQ(VxDateTimeToXML(winter, tzfUTC), u"2024-01-15T07:30:15.25Z");
  EXPECT_EQ(VxDateToXML(summer, tzfUTC), u"2024-07-01");
  EXPECT_EQ(VxDateToXML(VxEncodeDate(1, 1, 1)), u"0001-01-01");
  EXPECT_EQ(VxTimeToXML(winter), u"08:30:15.25");

  TVxXMLDateTimeFormat fixed = VxXMLDateTimeFormat(tzfOffset);
  fixed.UseZoneOffset = true;
  fixed.ZoneOffset = -5 * 60;
  EXPECT_EQ(VxDateTimeToXML(summer, fixed), u"2024-07-01T05:00:00-05:00");
  fixed.Milliseconds = false;
  EXPECT_EQ(VxDateTimeToXML(winter, fixed), u"2024-01-15T02:30:15-05:00");
  EXPECT_EQ(VxDateTimeToXML(summer, VxXMLDateTimeFormat(tzfUTC)), u"2024-07-01T10:00:00Z");
}

TEST(DateTexts, ReadersApplyZonesAndRequireThemWhenAsked) {
  TZoneGuard zone(cBerlin);
  const TDateTime summer = VxEncodeDateTime(2024, 7, 1, 12, 0, 0, 0);
  EXPECT_NEAR(VxXMLToDateTime(u"2024-07-01T10:00:00Z"), summer, 1e-9);
  EXPECT_NEAR(VxXMLToDateTime(u"2024-07-01T12:00:00+02:00", tzfUTC), summer, 1e-9);
  EXPECT_NEAR(VxXMLToDateTime(u"2024-07-01T12:00:00"), summer, 1e-9);
  EXPECT_NEAR(VxXMLToDateTime(u"2024-07-01T06:00:00-04:00", VxXMLDateTimeFormat(tzfOffset)), summer, 1e-9);
  EXPECT_EQ(VxXMLToDateTime(u"2024-07-01"), VxEncodeDate(2024, 7, 1));
  // Late in the evening west of Greenwich is the next day in Berlin.
  EXPECT_EQ(VxXMLToDate(u"2024-02-29T23:30:00-01:00"), VxEncodeDate(2024, 3, 1));
  EXPECT_EQ(VxXMLToDate(u"2024-02-29+14:00", tzfUTC), VxEncodeDate(2024, 2, 29));  // dates keep their day
  EXPECT_NEAR(VxXMLToTime(u"2024-07-01T10:00:00.5Z"), VxEncodeTime(12, 0, 0, 500), 1e-9);
  for (auto format : {tzfUTC, tzfOffset}) {
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToDateTime(u"2024-07-01T12:00:00", format); }), cVxMissingTimeZone);
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToTime(u"12:00:00", format); }), cVxMissingTimeZone);
  }
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToDate(u"2024-02-30"); }),
            u"'2024-02-30' is not a valid ISO 8601 date and time value");
  EXPECT_EQ(VxXMLToDateDef(u"soon", 7), 7);
  EXPECT_EQ(VxXMLToTimeDef(u"12:00:00", 7, tzfUTC), 7);
  EXPECT_EQ(VxXMLToDateTimeDef(u"", 7), 7);
}

TEST(DateTexts, TimesOfDayShiftByTheZoneWithoutADate) {
  TZoneGuard zone("XST-3");  // three hours east of UTC all year
  EXPECT_NEAR(VxXMLToTime(u"10:00:00Z"), VxEncodeTime(13, 0, 0, 0), 1e-9);
  EXPECT_NEAR(VxXMLToTime(u"23:00:00-02:00"), VxEncodeTime(4, 0, 0, 0), 1e-9);  // wraps past midnight
  EXPECT_EQ(VxTimeToXML(VxEncodeTime(13, 0, 0, 0), tzfUTC), u"10:00:00Z");
  EXPECT_EQ(VxTimeToXML(VxEncodeTime(1, 0, 0, 0), tzfUTC), u"22:00:00Z");
  EXPECT_EQ(VxTimeToXML(VxEncodeTime(13, 0, 0, 0), tzfOffset), u"13:00:00+03:00");
}

// A value with a date moves between zones by the offset at its own date and time, also when
// only its time of day is written.
TEST(DateTexts, TheTimeOfADateTimeUsesTheOffsetOfItsDate) {
  TZoneGuard zone(cBerlin);
  EXPECT_EQ(VxTimeToXML(VxEncodeDateTime(2024, 7, 1, 12, 0, 0, 0), tzfUTC), u"10:00:00Z");
  EXPECT_EQ(VxTimeToXML(VxEncodeDateTime(2024, 1, 15, 12, 0, 0, 0), tzfUTC), u"11:00:00Z");
  EXPECT_EQ(VxTimeToXML(VxEncodeDateTime(2024, 7, 1, 12, 0, 0, 0), tzfOffset), u"12:00:00+02:00");
  EXPECT_EQ(VxTimeToXML(VxEncodeDateTime(2024, 1, 15, 12, 0, 0, 0), tzfOffset), u"12:00:00+01:00");
  // Across midnight: 00:30 local in summer is 22:30 UTC of the day before.
  EXPECT_EQ(VxTimeToXML(VxEncodeDateTime(2024, 7, 2, 0, 30, 0, 0), tzfUTC), u"22:30:00Z");
}

// Dates before 30 December 1899: zones shift in the right direction, rounding stays in the day.
TEST(DateTexts, DatesBefore1900) {
  TZoneGuard zone("UTC0");
  EXPECT_EQ(VxDateTimeToXML(VxXMLToDateTime(u"1850-06-01T12:00:00+02:00")), u"1850-06-01T10:00:00");
  EXPECT_EQ(VxDateTimeToXML(VxXMLToDateTime(u"1850-06-01T01:00:00+02:00")), u"1850-05-31T23:00:00");
  EXPECT_EQ(VxDateTimeToXML(VxXMLToDateTime(u"1899-12-29T23:59:59.9999")), u"1899-12-30T00:00:00");
  EXPECT_EQ(VxDateToXML(VxXMLToDateTime(u"1899-12-29T23:59:59.9999")), u"1899-12-30");
  EXPECT_EQ(VxXMLToDate(u"1850-06-01T18:00:00"), VxEncodeDate(1850, 6, 1));
  EXPECT_NEAR(VxXMLToTime(u"1850-06-01T18:00:00"), 0.75, 1e-12);
  TVxXMLDateTimeFormat plus2 = VxXMLDateTimeFormat(tzfOffset);
  plus2.UseZoneOffset = true;
  plus2.ZoneOffset = 120;
  EXPECT_EQ(VxDateTimeToXML(VxEncodeDateTime(1850, 6, 1, 10, 0, 0, 0), plus2), u"1850-06-01T12:00:00+02:00");
  EXPECT_EQ(VxDateTimeToXML(VxEncodeDateTime(1850, 6, 1, 23, 0, 0, 0), tzfUTC), u"1850-06-01T23:00:00Z");
}

// Every reader also takes its zone rule as a format record, in the text, variant and Def forms.
TEST(DateTexts, EveryReaderTakesAFormatRecord) {
  TZoneGuard zone(cBerlin);
  const TVxXMLDateTimeFormat utc = VxXMLDateTimeFormat(tzfUTC);
  const TVxVariant text(u"2024-07-01T10:00:00Z"), bare(u"2024-07-01T10:00:00");
  EXPECT_NEAR(VxXMLToDateTime(text, 0, utc), VxEncodeDateTime(2024, 7, 1, 12, 0, 0, 0), 1e-9);
  EXPECT_EQ(VxXMLToDate(text, 0, utc), VxEncodeDate(2024, 7, 1));
  EXPECT_NEAR(VxXMLToTime(text, 0, utc), VxEncodeTime(12, 0, 0, 0), 1e-9);
  EXPECT_EQ(ConvertErrorOf([&] { VxXMLToDateTime(bare, 0, utc); }), cVxMissingTimeZone);
  EXPECT_EQ(VxXMLToDateTime(TVxVariant::Null(), 7, utc), 7);
  EXPECT_EQ(VxXMLToDateTimeDef(u"2024-07-01T10:00:00", 7, utc), 7);
  EXPECT_EQ(VxXMLToDateDef(u"2024-07-01T10:00:00", 7, utc), 7);
  EXPECT_EQ(VxXMLToTimeDef(u"10:00:00", 7, utc), 7);
  EXPECT_EQ(VxXMLToTimeDef(u"10:00:00Z", 7, utc), VxXMLToTime(u"10:00:00Z", tzfUTC));  // today's offset
  EXPECT_EQ(VxXMLToDateDef(u"2024-07-01Z", 7, utc), VxEncodeDate(2024, 7, 1));
}

// The XML number readers keep "." as separator under a locale with a decimal comma.
TEST(NumberTexts, ReadersAndWritersIgnoreTheLocale) {
  test::TCommaLocale german;
  if (!german.Ok()) GTEST_SKIP() << "no locale with a decimal comma: " << german.Reason();
  EXPECT_EQ(VxXMLToDouble(u"1.5"), 1.5);
  EXPECT_EQ(VxXMLToDouble(u"1.5e400"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(VxXMLToDouble(u"2.5e-400"), 0.0);
  EXPECT_EQ(VxXMLToSingle(u"-1e39"), -std::numeric_limits<float>::infinity());
  EXPECT_EQ(VxXMLToExtended(u"0.25"), 0.25L);
  EXPECT_EQ(VxDoubleToXML(1234.5), u"1234.5");
  EXPECT_EQ(VxExtToXML(0.001L), u"0.001");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToDouble(u"1,5"); }), u"'1,5' is not a valid floating point value");
  EXPECT_EQ(VxDurationToXML(VxXMLToDuration(u"PT1.5S")), u"PT1.5S");
}

TEST(DateTexts, RoundTripInEveryFormat) {
  TZoneGuard zone(cBerlin);
  std::mt19937 rng(5);
  for (int i = 0; i < 300; ++i) {
    // Whole milliseconds from 1901 to 2099; Berlin's clock change hours are avoided by the zone
    // formats being compared as instants.
    TDateTime value = VxEncodeDateTime(1901 + int(rng() % 199), 1 + int(rng() % 12), 1 + int(rng() % 28),
                                       int(rng() % 24), int(rng() % 60), int(rng() % 60), int(rng() % 1000));
    for (auto format : {tzfNone, tzfUTC}) {
      VxString text = VxDateTimeToXML(value, format);
      EXPECT_NEAR(VxXMLToDateTime(text, format), value, 1e-9) << U8(text);
    }
    VxString date = VxDateToXML(value);
    EXPECT_EQ(VxXMLToDate(date), std::trunc(value));
    VxString time = VxTimeToXML(value);
    EXPECT_NEAR(VxXMLToTime(time), value - std::trunc(value), 1e-9) << U8(time);
  }
}

TEST(DateTexts, AFormatFromPartsWritesTheLayoutThatWasRead) {
  TZoneGuard zone(cBerlin);
  for (const char16_t* text :
       {u"2024-07-01T12:00:00+05:30", u"2024-07-01T12:00:00Z", u"1999-12-31T23:59:59.5-08:00", u"2024-01-15T08:30:00"}) {
    TVxDateTimeParts parts = VxDecodeXMLDateTime(text);
    TVxXMLDateTimeFormat format = VxXMLDateTimeFormat(parts);
    EXPECT_EQ(VxDateTimeToXML(VxXMLToDateTime(text, format), format), text);
  }
  TVxDateTimeParts parts = VxDecodeXMLDateTime(u"13:45:00.5-02:00");
  EXPECT_TRUE(parts.HasTime && parts.HasZone && !parts.HasDate);
  EXPECT_EQ(parts.ZoneOffset, -120);
  EXPECT_EQ(parts.Hour, 13);
}

TEST(DurationTexts, ReadWriteAndReject) {
  for (const char16_t* text : {u"P1Y2M3DT4H5M6.5S", u"-P10D", u"PT0S", u"PT36H", u"P1M", u"PT1M"})
    EXPECT_EQ(VxDurationToXML(VxXMLToDuration(text)), text);
  EXPECT_EQ(VxXMLToDuration(u"P1Y2M3DT4H5M6.5S"), (TVxDuration{false, 1, 2, 3, 4, 5, 6.5}));
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToDuration(u""); }),
            u"VxXMLToDuration; An empty string cannot be converted to a xs:duration!");
  for (const char16_t* noP : {u"1Y", u"T1H", u"-1D", u"-", u"p1D"})
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToDuration(noP); }), u"VxXMLToDuration; A duration must start with a \"P\"!");
  for (const char16_t* bad : {u"P", u"PT", u"P1D2Y", u"P1.5Y", u"PX"})
    EXPECT_EQ(ConvertErrorOf([&] { VxXMLToDuration(bad); }),
              VxString(u"VxXMLToDuration; The provided argument (") + bad + u") is not a valid duration!");
}

// ---------------------------------------------------------------------------------------------
// Variants
// ---------------------------------------------------------------------------------------------

TEST(VariantTexts, ScalarsAndArrays) {
  EXPECT_EQ(VxVariantToXML(TVxVariant(int8_t(-5))), u"-5");
  EXPECT_EQ(VxVariantToXML(TVxVariant(uint64_t(18446744073709551615ull))), u"18446744073709551615");
  EXPECT_EQ(VxVariantToXML(TVxVariant(0.1)), u"0.1");
  EXPECT_EQ(VxVariantToXML(TVxVariant(0.1f)), u"0.1");
  EXPECT_EQ(VxVariantToXML(TVxVariant(true)), u"true");
  EXPECT_EQ(VxVariantToXML(TVxVariant(u"a<b")), u"a<b");
  EXPECT_EQ(VxVariantToXML(TVxVariant("\xC3\xA4")), u"\u00E4");
  EXPECT_EQ(VxVariantToXML(TVxVariant::FromDateTime(VxEncodeDateTime(2024, 2, 29, 13, 45, 0, 0))),
            u"2024-02-29T13:45:00");
  EXPECT_EQ(VxVariantToXML(TVxVariant()), u"");
  EXPECT_EQ(VxVariantToXML(TVxVariant::Null()), u"");
  TVxVariant array = TVxVariant::Array({TVxVariant(int32_t(1)), TVxVariant(u"a"), TVxVariant(true)}, 1);
  EXPECT_EQ(VxVariantToXML(array),
            u"<array length=\"3\"><element nr=\"1\">1</element><element nr=\"2\">a</element>"
            u"<element nr=\"3\">true</element></array>");
  EXPECT_EQ(VxVariantToXML(TVxVariant::Array({})), u"<array length=\"0\"></array>");
}

TEST(VariantTexts, ReadByTypeCode) {
  struct {
    TVxVarType Type;
    const char16_t* Text;
    TVxVariant Expected;
  } cases[] = {
      {varShortInt, u"-5", TVxVariant(int8_t(-5))},
      {varSmallint, u"300", TVxVariant(int16_t(300))},
      {varInteger, u"70000", TVxVariant(int32_t(70000))},
      {varInt64, u"-9000000000", TVxVariant(int64_t(-9000000000))},
      {varByte, u"200", TVxVariant(uint8_t(200))},
      {varWord, u"60000", TVxVariant(uint16_t(60000))},
      {varLongWord, u"4000000000", TVxVariant(uint32_t(4000000000u))},
      {varUInt64, u"18446744073709551615", TVxVariant(uint64_t(18446744073709551615ull))},
      {varSingle, u"0.5", TVxVariant(0.5f)},
      {varDouble, u"0.1", TVxVariant(0.1)},
      {varExtended, u"0.1", TVxVariant(0.1L)},
      {varBoolean, u"true", TVxVariant(true)},
      {varUString, u"a &lt; b", TVxVariant(u"a &lt; b")},
      {varString, u"\u00E4", TVxVariant("\xC3\xA4")},
      {varDate, u"2024-02-29T12:00:00", TVxVariant::FromDateTime(VxEncodeDateTime(2024, 2, 29, 12, 0, 0, 0))},
      {varEmpty, u"x", TVxVariant()},
      {varNull, u"x", TVxVariant::Null()},
  };
  for (auto& c : cases) {
    TVxVariant v = VxXMLToVariant(c.Text, c.Type);
    EXPECT_TRUE(v == c.Expected) << U8(VxVarTypeName(c.Type)) << " " << U8(VxVarToStr(v));
    if (c.Type != varEmpty && c.Type != varNull) {
      EXPECT_EQ(VxVariantToXML(v), c.Text);  // and back
    }
  }
  EXPECT_TRUE(VxXMLToVariant(u"1.5", varCurrency) == TVxVariant::FromCurrency(1.5));
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"abc", varInteger); }),
            u"Failed to convert the value \"abc\" to a variant value of type Integer!");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"noon", varDate); }),
            u"Failed to convert the value \"noon\" to a variant value of type Date!");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"1", varArray | varInteger); }),
            u"VxXMLToVariant(Array Integer); Unsupported VarType");
}

TEST(VariantTexts, ReadByTypeKindAndTypeName) {
  EXPECT_TRUE(VxXMLToVariant(u"7", tkInteger) == TVxVariant(int32_t(7)));
  EXPECT_TRUE(VxXMLToVariant(u"7", tkInt64) == TVxVariant(int64_t(7)));
  EXPECT_TRUE(VxXMLToVariant(u"7.5", tkFloat) == TVxVariant(7.5));
  EXPECT_TRUE(VxXMLToVariant(u"TRUE", tkEnumeration) == TVxVariant(true));
  EXPECT_TRUE(VxXMLToVariant(u"x", tkUString) == TVxVariant(u"x"));
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"x", tkClass); }), u"VxXMLToVariant(tkClass); Unsupported VarType");

  struct {
    const char16_t* Name;
    const char16_t* Text;
    TVxVariant Expected;
  } cases[] = {
      {u"ShortInt", u"-1", TVxVariant(int8_t(-1))},     {u"Int8", u"-1", TVxVariant(int8_t(-1))},
      {u"SmallInt", u"-1", TVxVariant(int16_t(-1))},    {u"Integer", u"-1", TVxVariant(int32_t(-1))},
      {u"LongInt", u"-1", TVxVariant(int32_t(-1))},     {u"Int64", u"-1", TVxVariant(int64_t(-1))},
      {u"Byte", u"255", TVxVariant(uint8_t(255))},      {u"byte", u"-1", TVxVariant(int8_t(-1))},
      {u"Word", u"1", TVxVariant(uint16_t(1))},         {u"Cardinal", u"1", TVxVariant(uint32_t(1))},
      {u"UInt64", u"1", TVxVariant(uint64_t(1))},       {u"unsignedLong", u"1", TVxVariant(uint64_t(1))},
      {u"int", u"5", TVxVariant(int32_t(5))},           {u"integer", u"5", TVxVariant(int64_t(5))},
      {u"Single", u"0.5", TVxVariant(0.5f)},            {u"float", u"0.5", TVxVariant(0.5f)},
      {u"Double", u"0.5", TVxVariant(0.5)},             {u"decimal", u"0.5", TVxVariant(0.5)},
      {u"Extended", u"0.5", TVxVariant(0.5L)},          {u"boolean", u"1", TVxVariant(true)},
      {u"WordBool", u"0", TVxVariant(false)},           {u"string", u"s", TVxVariant(u"s")},
      {u"VxXMLString", u"s", TVxVariant(u"s")},         {u"UnicodeString", u"s", TVxVariant(u"s")},
      {u"anyURI", u"s", TVxVariant(u"s")},              {u"duration", u"P1D", TVxVariant(u"P1D")},
      {u"TDate", u"2024-02-29T18:00:00", TVxVariant::FromDateTime(VxEncodeDate(2024, 2, 29))},
      {u"date", u"2024-02-29", TVxVariant::FromDateTime(VxEncodeDate(2024, 2, 29))},
      {u"TTime", u"2024-02-29T18:00:00", TVxVariant::FromDateTime(VxEncodeTime(18, 0, 0, 0))},
      {u"time", u"18:00:00", TVxVariant::FromDateTime(VxEncodeTime(18, 0, 0, 0))},
      {u"TDateTime", u"2024-02-29T18:00:00",
       TVxVariant::FromDateTime(VxEncodeDateTime(2024, 2, 29, 18, 0, 0, 0))},
  };
  for (auto& c : cases) EXPECT_TRUE(VxXMLToVariant(c.Text, c.Name) == c.Expected) << U8(c.Name);
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"x", u"IInterface"); }),
            u"VxXMLToVariant(IInterface); Unsupported VarType");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"x", u"NoSuchType"); }),
            u"VxXMLToVariant(NoSuchType); Unsupported VarType");
  EXPECT_EQ(ConvertErrorOf([] { VxXMLToVariant(u"x", u"Cardinal"); }),
            u"Failed to convert the value \"x\" to a variant value of type Cardinal!");
}

TEST(SAXExceptions, FormAFamilyWithCodes) {
  try {
    throw EVxSAXNotSupportedException(u"feature cannot be changed", 5);
  } catch (const EVxSAXException& e) {
    EXPECT_EQ(e.Message(), u"feature cannot be changed");
    EXPECT_EQ(e.ErrorCode(), 5);
    EXPECT_EQ(e.ClassName(), u"EVxSAXNotSupportedException");
  }
  EXPECT_TRUE((std::is_base_of_v<EVxException, EVxSAXNotRecognizedException>));
}
