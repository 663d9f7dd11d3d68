// uVxVariants: the dynamically typed value in which properties, typed accessors, predicate
// results and conversions travel; its lenient conversions, classification and comparison.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "uVxSysUtils.h"

namespace vx {

/// Type codes of TVxVariant values, numbered as the host platform numbers them.
using TVxVarType = uint16_t;
inline constexpr TVxVarType varEmpty = 0x0000;
inline constexpr TVxVarType varNull = 0x0001;
inline constexpr TVxVarType varSmallint = 0x0002;
inline constexpr TVxVarType varInteger = 0x0003;
inline constexpr TVxVarType varSingle = 0x0004;
inline constexpr TVxVarType varDouble = 0x0005;
inline constexpr TVxVarType varCurrency = 0x0006;  ///< fixed point, 4 decimals
inline constexpr TVxVarType varDate = 0x0007;
inline constexpr TVxVarType varBoolean = 0x000B;
inline constexpr TVxVarType varVariant = 0x000C;   ///< element type of a mixed array
inline constexpr TVxVarType varShortInt = 0x0010;
inline constexpr TVxVarType varByte = 0x0011;
inline constexpr TVxVarType varWord = 0x0012;
inline constexpr TVxVarType varLongWord = 0x0013;
inline constexpr TVxVarType varInt64 = 0x0014;
inline constexpr TVxVarType varUInt64 = 0x0015;
inline constexpr TVxVarType varExtended = 0x0019;  ///< long double (the platform has no code: this one is free)
inline constexpr TVxVarType varString = 0x0100;    ///< 8-bit text
inline constexpr TVxVarType varUString = 0x0102;   ///< UTF-16 text
inline constexpr TVxVarType varTypeMask = 0x0FFF;
inline constexpr TVxVarType varArray = 0x2000;     ///< flag: one-dimensional array of the base type

/// Date and time: days since 30 December 1899, the fraction is the time of day.
using TDateTime = double;

class TVxVariant;

/// The elements of a variant array and its low bound.
struct TVxVariantArray {
  int LowBound = 0;
  std::vector<TVxVariant> Items;
};

/// A dynamically typed value: empty, null, boolean, integers of each width, floats, currency,
/// date-time, UTF-16 or 8-bit text, or a one-dimensional array. Copies are values (arrays are
/// shared until changed).
class TVxVariant {
 public:
  /// An empty value (varEmpty).
  TVxVariant() = default;
  /// The null value (varNull).
  static TVxVariant Null() { return Make(varNull, std::monostate{}); }
  TVxVariant(bool AValue) : FType(varBoolean), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int8_t AValue) : FType(varShortInt), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int16_t AValue) : FType(varSmallint), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int32_t AValue) : FType(varInteger), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int64_t AValue) : FType(varInt64), FData(AValue) {}
  TVxVariant(long long AValue) : TVxVariant(static_cast<int64_t>(AValue)) {}
  TVxVariant(uint8_t AValue) : FType(varByte), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(uint16_t AValue) : FType(varWord), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(uint32_t AValue) : FType(varLongWord), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(uint64_t AValue) : FType(varUInt64), FData(AValue) {}
  TVxVariant(unsigned long long AValue) : TVxVariant(static_cast<uint64_t>(AValue)) {}
  TVxVariant(float AValue) : FType(varSingle), FData(static_cast<double>(AValue)) {}
  TVxVariant(double AValue) : FType(varDouble), FData(AValue) {}
  TVxVariant(long double AValue) : FType(varExtended), FData(AValue) {}
  TVxVariant(VxString AValue) : FType(varUString), FData(std::move(AValue)) {}
  TVxVariant(std::u16string_view AValue) : TVxVariant(VxString(AValue)) {}
  TVxVariant(const char16_t* AValue) : TVxVariant(VxString(AValue)) {}
  TVxVariant(std::string AValue) : FType(varString), FData(std::move(AValue)) {}
  TVxVariant(const char* AValue) : TVxVariant(std::string(AValue)) {}
  /// A date-time value (varDate).
  static TVxVariant FromDateTime(TDateTime AValue) { return Make(varDate, AValue); }
  /// A currency value (varCurrency), held to four decimals.
  static TVxVariant FromCurrency(double AValue);
  /// A one-dimensional array; AElementType is varVariant for mixed elements.
  static TVxVariant Array(std::vector<TVxVariant> AItems, int ALowBound = 0, TVxVarType AElementType = varVariant);

  /// The type code (with varArray for arrays).
  TVxVarType VarType() const noexcept { return FType; }
  bool IsEmpty() const noexcept { return FType == varEmpty; }
  bool IsNull() const noexcept { return FType == varNull; }
  bool IsArray() const noexcept { return (FType & varArray) != 0; }

  /// Array bounds and elements; raise EVariantError when the value is no array or the index is
  /// outside the bounds.
  int ArrayLowBound() const;
  int ArrayHighBound() const;
  const TVxVariant& ArrayItem(int AIndex) const;
  /// Replaces an element (the array is copied first when it is shared).
  void SetArrayItem(int AIndex, TVxVariant AValue);

  /// The payload: integers and booleans as int64_t (uint64_t for varUInt64), floats, dates and
  /// currency as double, extended as long double, text, or the array.
  using TData = std::variant<std::monostate, int64_t, uint64_t, double, long double, VxString, std::string,
                             std::shared_ptr<TVxVariantArray>>;
  const TData& Data() const noexcept { return FData; }

  /// Same type and same payload (arrays element by element).
  bool operator==(const TVxVariant& AOther) const;

 private:
  template <class T>
  static TVxVariant Make(TVxVarType AType, T AData) {
    TVxVariant v;
    v.FType = AType;
    v.FData = std::move(AData);
    return v;
  }
  const TVxVariantArray& ArrayData() const;

  TVxVarType FType = varEmpty;
  TData FData;
};

/// The platform's name of a type code ("Integer", "UnicodeString", "Array Variant", ...).
VxString VxVarTypeName(TVxVarType AType);
/// The XML Schema type name (without prefix) of a type code ("int", "unsignedByte", "dateTime",
/// "string", ...); empty for empty, null and arrays.
VxString VxVarTypeToXMLSchemaType(TVxVarType AType);

/// Classification of variant values.
struct TVxTypes {
  /// 1 integer, 2 float (single, double, extended, currency), 3 string, 4 boolean, 5 date-time,
  /// 6 array, 0 anything else (empty, null).
  static int VarMainTypeKind(const TVxVariant& AValue) noexcept;
  static int VarMainTypeKind(TVxVarType AType) noexcept;
};

/// True for empty and null values.
bool VxVarIsEmpty(const TVxVariant& AValue) noexcept;

// Lenient conversions. A value that cannot be converted gives ADefault, or with ARaise raises
// EVariantTypeCastError ("Could not convert variant of type (%s) into type (%s)"). Empty and null
// values give ADefault (and raise with ARaise too).
//   numbers from text: the text is trimmed and read with "." as decimal separator;
//   floats to integers: rounded to nearest, halves to even; out of range: not convertible;
//   booleans as numbers: 1 and 0; dates as numbers: their day number;
//   to boolean: integers and floats are true when non-zero; text "true"/"false" (any case), "1"
//   and "0"; anything else is not convertible;
//   to text: integers in decimal, floats shortest round-trip ("0.1", "1E20"), booleans
//   "true"/"false", dates ISO 8601 ("2024-02-29T13:45:00", ".zzz" when milliseconds).

VxString VxVarToStr(const TVxVariant& AValue, const VxString& ADefault = {}, bool ARaise = false);
int32_t VxVarToInt(const TVxVariant& AValue, int32_t ADefault = 0, bool ARaise = false);
int64_t VxVarToInt64(const TVxVariant& AValue, int64_t ADefault = 0, bool ARaise = false);
double VxVarToDouble(const TVxVariant& AValue, double ADefault = 0, bool ARaise = false);
long double VxVarToExtended(const TVxVariant& AValue, long double ADefault = 0, bool ARaise = false);
bool VxVarToBool(const TVxVariant& AValue, bool ADefault = false, bool ARaise = false);

/// Generic comparison: -1, 0 or 1. Numbers, booleans and dates compare as numbers; a number
/// against a numeric string compares as numbers, against a non-numeric string raises
/// EVariantTypeCastError; strings compare by code unit; empty and null are equal to each other
/// and below everything else; arrays raise EVariantTypeCastError.
int VxVarCompare(const TVxVariant& A, const TVxVariant& B);

/// The general float format with the shortest digits that read back to the same value, "." as
/// separator: fixed notation from 1E-5 up to below 1E15 ("100000", "0.0001"), scientific
/// outside ("1E15", "2.5E-7"); "NAN", "INF", "-INF".
VxString VxFloatToStr(double AValue);
/// VxFloatToStr of the shortest text that reads back to the same float ("0.1" for 0.1f).
VxString VxFloatToStr(float AValue);
/// VxFloatToStr of the shortest text that reads back to the same long double.
VxString VxFloatToStr(long double AValue);
/// Reads a decimal number (optional sign, digits, ".", exponent) from trimmed text; false when
/// the whole text is not a number.
bool VxTryStrToFloat(std::u16string_view AText, double& AValue);
/// VxTryStrToFloat read directly at single precision (no double rounding).
bool VxTryStrToFloat(std::u16string_view AText, float& AValue);
/// VxTryStrToFloat read at extended precision.
bool VxTryStrToFloat(std::u16string_view AText, long double& AValue);
/// Reads a decimal integer (optional sign; "$" or "0x" for hexadecimal) from trimmed text.
bool VxTryStrToInt64(std::u16string_view AText, int64_t& AValue);
/// Reads an unsigned integer up to 2^64 - 1 (optional "+"; "$" or "0x" for hexadecimal) from
/// trimmed text.
bool VxTryStrToUInt64(std::u16string_view AText, uint64_t& AValue);
/// VxTryStrToInt64, raising EConvertError "'%s' is not a valid integer value" on failure.
int64_t VxStrToInt64(std::u16string_view AText);
/// VxTryStrToFloat, raising EConvertError "'%s' is not a valid floating point value" on failure.
double VxStrToFloat(std::u16string_view AText);

}  // namespace vx
