// Variant values: kinds and codes, arrays, lenient conversions, text forms and comparison.
#include <gtest/gtest.h>

#include <clocale>

#include "uVxDateUtils.h"
#include "uVxVariants.h"
#include "vx_test_locale.h"

#include <cmath>
#include <limits>

using namespace vx;

TEST(Variants, TypeCodesAndMainKinds) {
  struct {
    TVxVariant Value;
    TVxVarType Code;
    int Kind;
  } cases[] = {
      {TVxVariant(), varEmpty, 0},          {TVxVariant::Null(), varNull, 0},
      {TVxVariant(int8_t(1)), varShortInt, 1}, {TVxVariant(int16_t(1)), varSmallint, 1},
      {TVxVariant(1), varInteger, 1},       {TVxVariant(int64_t(1)), varInt64, 1},
      {TVxVariant(uint8_t(1)), varByte, 1}, {TVxVariant(uint16_t(1)), varWord, 1},
      {TVxVariant(1u), varLongWord, 1},     {TVxVariant(uint64_t(1)), varUInt64, 1},
      {TVxVariant(1.5f), varSingle, 2},     {TVxVariant(1.5), varDouble, 2},
      {TVxVariant(1.5L), varExtended, 2},   {TVxVariant::FromCurrency(1.23456), varCurrency, 2},
      {TVxVariant(u"x"), varUString, 3},    {TVxVariant("x"), varString, 3},
      {TVxVariant(true), varBoolean, 4},    {TVxVariant::FromDateTime(25569.5), varDate, 5},
      {TVxVariant::Array({TVxVariant(1)}), varArray | varVariant, 6},
  };
  for (auto& c : cases) {
    EXPECT_EQ(c.Value.VarType(), c.Code) << VxUTF16ToUTF8(VxVarTypeName(c.Code));
    EXPECT_EQ(TVxTypes::VarMainTypeKind(c.Value), c.Kind) << VxUTF16ToUTF8(VxVarTypeName(c.Code));
  }
  EXPECT_TRUE(VxVarIsEmpty(TVxVariant()));
  EXPECT_TRUE(VxVarIsEmpty(TVxVariant::Null()));
  EXPECT_FALSE(VxVarIsEmpty(TVxVariant(u"")));
  EXPECT_EQ(VxVarTypeToXMLSchemaType(varByte), u"unsignedByte");
  EXPECT_EQ(VxVarTypeToXMLSchemaType(varDate), u"dateTime");
  EXPECT_EQ(VxVarTypeName(varUString), u"UnicodeString");
}

TEST(Variants, ArraysHaveBoundsAndValueSemantics) {
  TVxVariant a = TVxVariant::Array({TVxVariant(1), TVxVariant(u"a"), TVxVariant(true)}, 1);
  EXPECT_EQ(a.ArrayLowBound(), 1);
  EXPECT_EQ(a.ArrayHighBound(), 3);
  EXPECT_EQ(VxVarToStr(a.ArrayItem(2)), u"a");
  TVxVariant copy = a;
  copy.SetArrayItem(1, TVxVariant(2));
  EXPECT_EQ(VxVarToInt(a.ArrayItem(1)), 1);  // the original is unchanged
  EXPECT_EQ(VxVarToInt(copy.ArrayItem(1)), 2);
  EXPECT_FALSE(a == copy);
  EXPECT_THROW(a.ArrayItem(0), EVariantError);
  EXPECT_THROW(TVxVariant(1).ArrayLowBound(), EVariantError);
  // A high bound beyond INT_MAX is refused rather than computed with overflow.
  EXPECT_THROW(TVxVariant::Array({TVxVariant(1), TVxVariant(2)}, INT32_MAX), EVariantError);
  TVxVariant last = TVxVariant::Array({TVxVariant(1)}, INT32_MAX);
  EXPECT_EQ(last.ArrayHighBound(), INT32_MAX);
  EXPECT_EQ(VxVarToInt(last.ArrayItem(INT32_MAX)), 1);
  EXPECT_THROW(last.ArrayItem(INT32_MIN), EVariantError);
}

TEST(Variants, ToText) {
  EXPECT_EQ(VxVarToStr(TVxVariant(-42)), u"-42");
  EXPECT_EQ(VxVarToStr(TVxVariant(uint64_t(18446744073709551615ull))), u"18446744073709551615");
  EXPECT_EQ(VxVarToStr(TVxVariant(0.1)), u"0.1");
  EXPECT_EQ(VxVarToStr(TVxVariant(1e20)), u"1E20");
  EXPECT_EQ(VxVarToStr(TVxVariant(2.5e-7)), u"2.5E-7");
  EXPECT_EQ(VxVarToStr(TVxVariant(1e5)), u"100000");
  EXPECT_EQ(VxVarToStr(TVxVariant(0.0001)), u"0.0001");
  EXPECT_EQ(VxVarToStr(TVxVariant(true)), u"true");
  EXPECT_EQ(VxVarToStr(TVxVariant("bytes")), u"bytes");
  EXPECT_EQ(VxVarToStr(TVxVariant::FromDateTime(VxEncodeDateTime(2024, 2, 29, 13, 45, 0, 250))),
            u"2024-02-29T13:45:00.250");
  EXPECT_EQ(VxVarToStr(TVxVariant::Null(), u"dflt"), u"dflt");
  EXPECT_THROW(VxVarToStr(TVxVariant::Null(), u"", true), EVariantTypeCastError);
}

// Whatever the C locale's decimal separator, "." is read and written: every number reader and
// writer runs here under a German locale (compiled on the spot when none is installed).
TEST(Variants, NumbersIgnoreTheLocale) {
  test::TCommaLocale german;
  if (!german.Ok()) GTEST_SKIP() << "no locale with a decimal comma: " << german.Reason();
  EXPECT_EQ(VxVarToStr(TVxVariant(1.5)), u"1.5");
  EXPECT_EQ(VxVarToStr(TVxVariant(100000.25)), u"100000.25");
  EXPECT_EQ(VxVarToDouble(TVxVariant(u"2.25")), 2.25);
  EXPECT_EQ(VxFormat(u"%g %f %e", 0.5, 1.25, 1.5), u"0.5 1.25 1.50000000000000E+000");
  double d = 0;
  long double x = 0;
  float f = 0;
  EXPECT_FALSE(VxTryStrToFloat(u"1,5", d));
  // Out of range: the infinity or zero with the text's sign, never a number cut at the ".".
  ASSERT_TRUE(VxTryStrToFloat(u"1.5e400", d));
  EXPECT_EQ(d, std::numeric_limits<double>::infinity());
  ASSERT_TRUE(VxTryStrToFloat(u"-1.5e400", d));
  EXPECT_EQ(d, -std::numeric_limits<double>::infinity());
  ASSERT_TRUE(VxTryStrToFloat(u"2.5e-400", d));
  EXPECT_EQ(d, 0.0);
  ASSERT_TRUE(VxTryStrToFloat(u"-2.5e-400", d));
  EXPECT_TRUE(d == 0.0 && std::signbit(d));
  ASSERT_TRUE(VxTryStrToFloat(u"0.00000000000000000000000000000000000000000000001e-300", d));
  EXPECT_EQ(d, 0.0);
  ASSERT_TRUE(VxTryStrToFloat(u"1.5e40", f));
  EXPECT_EQ(f, std::numeric_limits<float>::infinity());
  ASSERT_TRUE(VxTryStrToFloat(u"1.5e5000", x));
  EXPECT_EQ(x, std::numeric_limits<long double>::infinity());
  ASSERT_TRUE(VxTryStrToFloat(u"1.5e-5000", x));
  EXPECT_EQ(x, 0.0L);
}

TEST(Variants, LenientConversionsWithDefaultAndRaise) {
  EXPECT_EQ(VxVarToInt(TVxVariant(u" 42 ")), 42);
  EXPECT_EQ(VxVarToInt(TVxVariant(u"$1F")), 31);
  EXPECT_EQ(VxVarToInt(TVxVariant(u"2.5")), 2);   // halves to even
  EXPECT_EQ(VxVarToInt(TVxVariant(3.5)), 4);
  EXPECT_EQ(VxVarToInt(TVxVariant(true)), 1);
  EXPECT_EQ(VxVarToInt(TVxVariant(u"abc"), -1), -1);
  EXPECT_EQ(VxVarToInt(TVxVariant(int64_t(1) << 40), -1), -1);  // out of range
  EXPECT_EQ(VxVarToInt64(TVxVariant(int64_t(1) << 40)), int64_t(1) << 40);
  EXPECT_EQ(VxVarToInt64(TVxVariant::FromDateTime(25569.75)), 25569);
  EXPECT_DOUBLE_EQ(VxVarToDouble(TVxVariant(u"1e3")), 1000.0);
  EXPECT_EQ(VxVarToExtended(TVxVariant(2)), 2.0L);
  try {
    VxVarToInt(TVxVariant(u"abc"), 0, true);
    FAIL();
  } catch (const EVariantTypeCastError& e) {
    EXPECT_EQ(e.Message(), u"Could not convert variant of type (UnicodeString) into type (Integer)");
  }
  EXPECT_THROW(VxVarToDouble(TVxVariant(), 0, true), EVariantTypeCastError);
}

TEST(Variants, Booleans) {
  EXPECT_TRUE(VxVarToBool(TVxVariant(u"TRUE")));
  EXPECT_TRUE(VxVarToBool(TVxVariant(u"1")));
  EXPECT_FALSE(VxVarToBool(TVxVariant(u"false"), true));
  EXPECT_FALSE(VxVarToBool(TVxVariant(u"0"), true));
  EXPECT_TRUE(VxVarToBool(TVxVariant(u"yes"), true));  // not convertible: the default
  EXPECT_THROW(VxVarToBool(TVxVariant(u"yes"), false, true), EVariantTypeCastError);
  EXPECT_TRUE(VxVarToBool(TVxVariant(-3)));
  EXPECT_FALSE(VxVarToBool(TVxVariant(0.0)));
}

TEST(Variants, GenericComparison) {
  EXPECT_EQ(VxVarCompare(TVxVariant(10), TVxVariant(u"9")), 1);     // number against numeric text
  EXPECT_EQ(VxVarCompare(TVxVariant(u"10"), TVxVariant(u"9")), -1);  // text against text
  EXPECT_EQ(VxVarCompare(TVxVariant(true), TVxVariant(1)), 0);       // boolean as number
  EXPECT_EQ(VxVarCompare(TVxVariant(1.5), TVxVariant(int64_t(2))), -1);
  EXPECT_EQ(VxVarCompare(TVxVariant::Null(), TVxVariant()), 0);
  EXPECT_EQ(VxVarCompare(TVxVariant::Null(), TVxVariant(0)), -1);
  EXPECT_THROW(VxVarCompare(TVxVariant(1), TVxVariant(u"abc")), EVariantTypeCastError);
  EXPECT_THROW(VxVarCompare(TVxVariant::Array({}), TVxVariant(1)), EVariantTypeCastError);
}

TEST(Variants, NumberTextReaders) {
  int64_t i;
  double f;
  EXPECT_TRUE(VxTryStrToInt64(u"-9223372036854775808", i));
  EXPECT_EQ(i, INT64_MIN);
  EXPECT_FALSE(VxTryStrToInt64(u"9223372036854775808", i));
  EXPECT_FALSE(VxTryStrToInt64(u"12a", i));
  EXPECT_TRUE(VxTryStrToFloat(u"+.5", f));
  EXPECT_EQ(f, 0.5);
  EXPECT_FALSE(VxTryStrToFloat(u"1,5", f));
  try {
    VxStrToInt64(u"x1");
    FAIL();
  } catch (const EConvertError& e) {
    EXPECT_EQ(e.Message(), u"'x1' is not a valid integer value");
  }
}

// A float text is read whatever its length (it once stopped at 400 characters, so a valid
// 1,000-digit number read as 0).
TEST(Variants, LongFloatTextsAreRead) {
  const VxString digits = u"1" + VxString(999, u'7');
  double v = 0;
  ASSERT_TRUE(VxTryStrToFloat(u"0." + digits, v));
  EXPECT_DOUBLE_EQ(v, 0.17777777777777778);
  ASSERT_TRUE(VxTryStrToFloat(digits, v));
  EXPECT_TRUE(std::isinf(v));
  ASSERT_TRUE(VxTryStrToFloat(u"-" + digits + u"e-2000", v));
  EXPECT_EQ(v, 0.0);  // underflow: zero with the sign
  EXPECT_TRUE(std::signbit(v));
}
