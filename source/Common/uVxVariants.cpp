// uVxVariants: variant arrays, names, classification, lenient conversions and comparison.
#include "uVxVariants.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "uVxDateUtils.h"

namespace vx {

namespace {

constexpr char16_t cCastError[] = u"Could not convert variant of type (%s) into type (%s)";
constexpr char16_t cArrayIndexError[] = u"Variant array index out of bounds";
constexpr char16_t cNotAnArray[] = u"Variant is not an array";
constexpr char16_t cArrayBoundsError[] = u"Variant array bounds out of range";

[[noreturn]] void RaiseCast(const TVxVariant& AValue, TVxVarType ATarget) {
  throw EVariantTypeCastError(VxFormat(cCastError, VxVarTypeName(AValue.VarType()), VxVarTypeName(ATarget)));
}

bool IsIntegerType(TVxVarType T) {
  switch (T) {
    case varSmallint: case varInteger: case varShortInt: case varByte: case varWord: case varLongWord:
    case varInt64: case varUInt64:
      return true;
    default:
      return false;
  }
}

// The value as a long double when it is a number, a boolean or a date (or numeric text when
// AFromText); false otherwise.
bool NumericValue(const TVxVariant& AValue, bool AFromText, long double& AOut) {
  const auto& d = AValue.Data();
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
    case 4:
      AOut = AValue.VarType() == varUInt64 ? static_cast<long double>(std::get<uint64_t>(d))
                                           : static_cast<long double>(std::get<int64_t>(d));
      return true;
    case 2:
    case 5:
      AOut = AValue.VarType() == varExtended ? std::get<long double>(d) : static_cast<long double>(std::get<double>(d));
      return true;
    case 3: {
      if (!AFromText) return false;
      VxString text = AValue.VarType() == varUString ? std::get<VxString>(d) : VxUTF8ToUTF16(std::get<std::string>(d));
      double v;
      if (!VxTryStrToFloat(text, v)) return false;
      AOut = static_cast<long double>(v);
      return true;
    }
    default:
      return false;
  }
}

VxString TextOf(const TVxVariant& AValue) {
  return AValue.VarType() == varUString ? std::get<VxString>(AValue.Data())
                                        : VxUTF8ToUTF16(std::get<std::string>(AValue.Data()));
}

// Integer conversion shared by the 32- and 64-bit forms.
bool ToInt64(const TVxVariant& AValue, int64_t& AOut) {
  const auto& d = AValue.Data();
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
    case 4:
      if (AValue.VarType() == varUInt64) {
        uint64_t u = std::get<uint64_t>(d);
        if (u > static_cast<uint64_t>(INT64_MAX)) return false;
        AOut = static_cast<int64_t>(u);
      } else {
        AOut = std::get<int64_t>(d);
      }
      return true;
    case 3: {
      VxString text = TextOf(AValue);
      if (VxTryStrToInt64(text, AOut)) return true;
      double f;
      if (!VxTryStrToFloat(text, f)) return false;
      f = std::nearbyint(f);
      if (!(f >= -9223372036854775808.0 && f < 9223372036854775808.0)) return false;
      AOut = static_cast<int64_t>(f);
      return true;
    }
    case 2:
    case 5: {
      long double f;
      NumericValue(AValue, false, f);
      if (AValue.VarType() == varDate) f = std::trunc(f);
      f = std::nearbyint(f);
      if (!(f >= -9223372036854775808.0L && f < 9223372036854775808.0L)) return false;
      AOut = static_cast<int64_t>(f);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVxVariant
// ---------------------------------------------------------------------------------------------

TVxVariant TVxVariant::FromCurrency(double AValue) { return Make(varCurrency, std::round(AValue * 10000.0) / 10000.0); }

TVxVariant TVxVariant::Array(std::vector<TVxVariant> AItems, int ALowBound, TVxVarType AElementType) {
  // The high bound must be an int as well: a low bound near INT_MAX leaves room for few items.
  if (static_cast<int64_t>(ALowBound) + static_cast<int64_t>(AItems.size()) - 1 > INT32_MAX)
    throw EVariantError(cArrayBoundsError);
  auto data = std::make_shared<TVxVariantArray>();
  data->LowBound = ALowBound;
  data->Items = std::move(AItems);
  return Make(static_cast<TVxVarType>(varArray | (AElementType & varTypeMask)), std::move(data));
}

const TVxVariantArray& TVxVariant::ArrayData() const {
  if (!IsArray()) throw EVariantError(cNotAnArray);
  return *std::get<std::shared_ptr<TVxVariantArray>>(FData);
}

int TVxVariant::ArrayLowBound() const { return ArrayData().LowBound; }

int TVxVariant::ArrayHighBound() const {
  const auto& a = ArrayData();
  return static_cast<int>(static_cast<int64_t>(a.LowBound) + static_cast<int64_t>(a.Items.size()) - 1);
}

const TVxVariant& TVxVariant::ArrayItem(int AIndex) const {
  const auto& a = ArrayData();
  int64_t k = static_cast<int64_t>(AIndex) - a.LowBound;
  if (k < 0 || k >= static_cast<int64_t>(a.Items.size())) throw EVariantError(cArrayIndexError);
  return a.Items[static_cast<size_t>(k)];
}

void TVxVariant::SetArrayItem(int AIndex, TVxVariant AValue) {
  ArrayItem(AIndex);  // bounds check
  auto& shared = std::get<std::shared_ptr<TVxVariantArray>>(FData);
  if (shared.use_count() > 1) shared = std::make_shared<TVxVariantArray>(*shared);
  shared->Items[static_cast<size_t>(AIndex - shared->LowBound)] = std::move(AValue);
}

bool TVxVariant::operator==(const TVxVariant& AOther) const {
  if (FType != AOther.FType) return false;
  if (IsArray()) {
    const auto& a = ArrayData();
    const auto& b = AOther.ArrayData();
    return a.LowBound == b.LowBound && a.Items == b.Items;
  }
  return FData == AOther.FData;
}

// ---------------------------------------------------------------------------------------------
// Names and classification
// ---------------------------------------------------------------------------------------------

VxString VxVarTypeName(TVxVarType AType) {
  if (AType & varArray) return u"Array " + VxVarTypeName(AType & varTypeMask);
  switch (AType) {
    case varEmpty: return u"Empty";
    case varNull: return u"Null";
    case varSmallint: return u"SmallInt";
    case varInteger: return u"Integer";
    case varSingle: return u"Single";
    case varDouble: return u"Double";
    case varCurrency: return u"Currency";
    case varDate: return u"Date";
    case varBoolean: return u"Boolean";
    case varVariant: return u"Variant";
    case varShortInt: return u"ShortInt";
    case varByte: return u"Byte";
    case varWord: return u"Word";
    case varLongWord: return u"Cardinal";
    case varInt64: return u"Int64";
    case varUInt64: return u"UInt64";
    case varExtended: return u"Extended";
    case varString: return u"String";
    case varUString: return u"UnicodeString";
    default: return VxFormat(u"Unknown type %d", AType);
  }
}

VxString VxVarTypeToXMLSchemaType(TVxVarType AType) {
  switch (AType) {
    case varSmallint: return u"short";
    case varInteger: return u"int";
    case varSingle: return u"float";
    case varDouble: return u"double";
    case varExtended: return u"double";
    case varCurrency: return u"decimal";
    case varDate: return u"dateTime";
    case varBoolean: return u"boolean";
    case varShortInt: return u"byte";
    case varByte: return u"unsignedByte";
    case varWord: return u"unsignedShort";
    case varLongWord: return u"unsignedInt";
    case varInt64: return u"long";
    case varUInt64: return u"unsignedLong";
    case varString:
    case varUString: return u"string";
    default: return {};
  }
}

int TVxTypes::VarMainTypeKind(TVxVarType AType) noexcept {
  if (AType & varArray) return 6;
  if (IsIntegerType(AType)) return 1;
  switch (AType) {
    case varSingle: case varDouble: case varExtended: case varCurrency: return 2;
    case varString: case varUString: return 3;
    case varBoolean: return 4;
    case varDate: return 5;
    default: return 0;
  }
}

int TVxTypes::VarMainTypeKind(const TVxVariant& AValue) noexcept { return VarMainTypeKind(AValue.VarType()); }

bool VxVarIsEmpty(const TVxVariant& AValue) noexcept { return AValue.IsEmpty() || AValue.IsNull(); }

// ---------------------------------------------------------------------------------------------
// Numbers from and to text
// ---------------------------------------------------------------------------------------------

namespace {

// The general float format with the shortest digits that read back to the same value: fixed
// notation for magnitudes from 1E-5 up to below 1E15 ("100000", "0.0001"), scientific outside
// that range with an "E" exponent without "+" or leading zeros ("1E15", "2.5E-7").
template <class F>
VxString FloatToStr(F AValue) {
  if (std::isnan(AValue)) return u"NAN";
  if (std::isinf(AValue)) return AValue < 0 ? u"-INF" : u"INF";
  char buf[128];
  auto res = std::to_chars(buf, buf + sizeof buf, AValue, std::chars_format::scientific);
  std::string_view s(buf, static_cast<size_t>(res.ptr - buf));
  const size_t e = s.find('e');
  int exp = 0;
  const char* ep = buf + e + 1;
  if (*ep == '+') ++ep;
  std::from_chars(ep, res.ptr, exp);
  // Sign and significant digits without the decimal point.
  std::string_view mantissa = s.substr(0, e);
  const bool negative = !mantissa.empty() && mantissa[0] == '-';
  if (negative) mantissa.remove_prefix(1);
  std::string digits;
  for (char c : mantissa)
    if (c != '.') digits += c;
  if (AValue == 0) exp = 0;
  std::string out = negative ? "-" : "";
  if (exp >= 15 || exp < -5) {
    out += digits[0];
    if (digits.size() > 1) out.append(1, '.').append(digits, 1, std::string::npos);
    out += 'E' + std::to_string(exp);
  } else if (exp < 0) {
    out.append("0.").append(static_cast<size_t>(-exp - 1), '0').append(digits);
  } else {
    const auto intLen = static_cast<size_t>(exp) + 1;
    if (digits.size() <= intLen)
      out.append(digits).append(intLen - digits.size(), '0');
    else
      out.append(digits, 0, intLen).append(1, '.').append(digits, intLen, std::string::npos);
  }
  return VxASCIIToUTF16(out);
}

}  // namespace

VxString VxFloatToStr(double AValue) { return FloatToStr(AValue); }
VxString VxFloatToStr(float AValue) { return FloatToStr(AValue); }
VxString VxFloatToStr(long double AValue) { return FloatToStr(AValue); }

namespace {

// Trimmed ASCII copy of a number text of at most AMaxLength characters; false when the text is
// empty, longer, or holds anything else.
bool NarrowNumber(std::u16string_view AText, size_t AMaxLength, std::string& AOut) {
  VxString t = VxTrim(AText);
  if (t.empty() || t.size() > AMaxLength) return false;
  AOut.clear();
  for (char16_t c : t) {
    if (c >= 0x80) return false;
    AOut.push_back(static_cast<char>(c));
  }
  return true;
}

// Sign of the magnitude of a number text that from_chars found out of range: above 0 when the
// leading significant digit stands at 10^0 or higher ("1.5e400"), else at most 0 ("2.5e-400",
// "0.0001e-400"). Only the sign is used.
int64_t DecimalExponent(std::string_view AText) {
  const size_t mantEnd = std::min(AText.find_first_of("eE"), AText.size());
  const size_t dot = std::min(AText.find('.'), mantEnd);
  size_t first = (!AText.empty() && (AText[0] == '-' || AText[0] == '+')) ? 1 : 0;
  while (first < dot && AText[first] == '0') ++first;
  int64_t exp;
  if (first < dot) {
    exp = static_cast<int64_t>(dot - first) - 1;  // digits before the point
  } else {
    size_t z = dot + 1;
    while (z < mantEnd && AText[z] == '0') ++z;
    exp = -static_cast<int64_t>(z - dot);  // zeros after the point
  }
  if (mantEnd < AText.size()) {
    std::string_view digits = AText.substr(mantEnd + 1);
    const bool minus = !digits.empty() && digits[0] == '-';
    if (!digits.empty() && (digits[0] == '-' || digits[0] == '+')) digits.remove_prefix(1);
    int64_t e = 0;
    for (char c : digits)
      if (e < 1000000000) e = e * 10 + (c - '0');
    exp += minus ? -e : e;
  }
  return exp + 1;
}

template <class F>
bool TryStrToFloat(std::u16string_view AText, F& AValue) {
  std::string s;
  if (!NarrowNumber(AText, std::u16string_view::npos, s)) return false;  // any length: from_chars reads it in one pass
  const char* b = s.data();
  const char* e = b + s.size();
  if (*b == '+' && e - b > 1 && b[1] != '-') ++b;
  auto res = std::from_chars(b, e, AValue);
  if (res.ec == std::errc::result_out_of_range && res.ptr == e) {
    // Overflow gives the infinity, underflow zero, with the text's sign. Decided from the text
    // alone (never through the C library, whose reading follows the locale).
    const bool negative = *b == '-';
    const F magnitude = DecimalExponent(std::string_view(b, static_cast<size_t>(e - b))) > 0
                            ? std::numeric_limits<F>::infinity()
                            : F(0);
    AValue = negative ? -magnitude : magnitude;
    return true;
  }
  return res.ec == std::errc() && res.ptr == e;
}

// Sign and magnitude of an integer text: decimal, or hexadecimal after "$" or "0x".
bool TryStrToMagnitude(std::u16string_view AText, bool& ANegative, uint64_t& AMagnitude) {
  std::string s;
  if (!NarrowNumber(AText, 64, s)) return false;
  ANegative = false;
  size_t k = 0;
  if (s[k] == '+' || s[k] == '-') ANegative = s[k++] == '-';
  int base = 10;
  if (k < s.size() && s[k] == '$') {
    base = 16;
    ++k;
  } else if (k + 1 < s.size() && s[k] == '0' && (s[k + 1] == 'x' || s[k + 1] == 'X')) {
    base = 16;
    k += 2;
  }
  if (k >= s.size()) return false;
  auto res = std::from_chars(s.data() + k, s.data() + s.size(), AMagnitude, base);
  return res.ec == std::errc() && res.ptr == s.data() + s.size();
}

}  // namespace

bool VxTryStrToFloat(std::u16string_view AText, double& AValue) { return TryStrToFloat(AText, AValue); }
bool VxTryStrToFloat(std::u16string_view AText, float& AValue) { return TryStrToFloat(AText, AValue); }
bool VxTryStrToFloat(std::u16string_view AText, long double& AValue) { return TryStrToFloat(AText, AValue); }

bool VxTryStrToInt64(std::u16string_view AText, int64_t& AValue) {
  bool negative;
  uint64_t magnitude;
  if (!TryStrToMagnitude(AText, negative, magnitude)) return false;
  if (negative) {
    if (magnitude > static_cast<uint64_t>(INT64_MAX) + 1) return false;
    AValue = static_cast<int64_t>(0 - magnitude);
  } else {
    if (magnitude > static_cast<uint64_t>(INT64_MAX)) return false;
    AValue = static_cast<int64_t>(magnitude);
  }
  return true;
}

bool VxTryStrToUInt64(std::u16string_view AText, uint64_t& AValue) {
  bool negative;
  if (!TryStrToMagnitude(AText, negative, AValue)) return false;
  return !negative || AValue == 0;
}

int64_t VxStrToInt64(std::u16string_view AText) {
  int64_t v;
  if (!VxTryStrToInt64(AText, v)) throw EConvertError(VxFormat(u"'%s' is not a valid integer value", AText));
  return v;
}

double VxStrToFloat(std::u16string_view AText) {
  double v;
  if (!VxTryStrToFloat(AText, v)) throw EConvertError(VxFormat(u"'%s' is not a valid floating point value", AText));
  return v;
}

// ---------------------------------------------------------------------------------------------
// Lenient conversions
// ---------------------------------------------------------------------------------------------

VxString VxVarToStr(const TVxVariant& AValue, const VxString& ADefault, bool ARaise) {
  const auto& d = AValue.Data();
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
      return AValue.VarType() == varUInt64 ? VxFormat(u"%u", std::get<uint64_t>(d)) : VxIntToStr(std::get<int64_t>(d));
    case 2:
      return VxFloatToStr(AValue.VarType() == varExtended ? static_cast<double>(std::get<long double>(d))
                                                          : std::get<double>(d));
    case 3:
      return TextOf(AValue);
    case 4:
      return std::get<int64_t>(d) ? u"true" : u"false";
    case 5:
      return VxDateTimeToISO(std::get<double>(d));
    default:
      if (ARaise) RaiseCast(AValue, varUString);
      return ADefault;
  }
}

int64_t VxVarToInt64(const TVxVariant& AValue, int64_t ADefault, bool ARaise) {
  int64_t v;
  if (ToInt64(AValue, v)) return v;
  if (ARaise) RaiseCast(AValue, varInt64);
  return ADefault;
}

int32_t VxVarToInt(const TVxVariant& AValue, int32_t ADefault, bool ARaise) {
  int64_t v;
  if (ToInt64(AValue, v) && v >= INT32_MIN && v <= INT32_MAX) return static_cast<int32_t>(v);
  if (ARaise) RaiseCast(AValue, varInteger);
  return ADefault;
}

long double VxVarToExtended(const TVxVariant& AValue, long double ADefault, bool ARaise) {
  long double v;
  if (NumericValue(AValue, true, v)) return v;
  if (ARaise) RaiseCast(AValue, varExtended);
  return ADefault;
}

double VxVarToDouble(const TVxVariant& AValue, double ADefault, bool ARaise) {
  long double v;
  if (NumericValue(AValue, true, v)) return static_cast<double>(v);
  if (ARaise) RaiseCast(AValue, varDouble);
  return ADefault;
}

bool VxVarToBool(const TVxVariant& AValue, bool ADefault, bool ARaise) {
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
    case 2:
    case 4: {
      long double v;
      NumericValue(AValue, false, v);
      return v != 0;
    }
    case 3: {
      VxString t = VxTrim(TextOf(AValue));
      if (VxSameText(t, u"true") || t == u"1") return true;
      if (VxSameText(t, u"false") || t == u"0") return false;
      break;
    }
    default:
      break;
  }
  if (ARaise) RaiseCast(AValue, varBoolean);
  return ADefault;
}

// ---------------------------------------------------------------------------------------------
// Comparison
// ---------------------------------------------------------------------------------------------

int VxVarCompare(const TVxVariant& A, const TVxVariant& B) {
  const int ka = TVxTypes::VarMainTypeKind(A), kb = TVxTypes::VarMainTypeKind(B);
  if (ka == 6) RaiseCast(A, varDouble);
  if (kb == 6) RaiseCast(B, varDouble);
  const bool ea = ka == 0, eb = kb == 0;
  if (ea || eb) return ea == eb ? 0 : (ea ? -1 : 1);
  if (ka == 3 && kb == 3) return VxCompareStr(TextOf(A), TextOf(B));
  long double x, y;
  if (!NumericValue(A, true, x)) RaiseCast(A, varDouble);
  if (!NumericValue(B, true, y)) RaiseCast(B, varDouble);
  return x < y ? -1 : (x > y ? 1 : 0);
}

}  // namespace vx
