// uVxVariants: the dynamically typed value in which properties, typed accessors and conversions
// travel. VarType codes are numbered as the host platform numbers them.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "uVxSysUtils.h"

namespace vx {

/// Type codes of TVxVariant values.
using TVxVarType = uint16_t;
inline constexpr TVxVarType varEmpty = 0x0000;
inline constexpr TVxVarType varNull = 0x0001;
inline constexpr TVxVarType varSmallint = 0x0002;
inline constexpr TVxVarType varInteger = 0x0003;
inline constexpr TVxVarType varSingle = 0x0004;
inline constexpr TVxVarType varDouble = 0x0005;
inline constexpr TVxVarType varCurrency = 0x0006;
inline constexpr TVxVarType varDate = 0x0007;
inline constexpr TVxVarType varBoolean = 0x000B;
inline constexpr TVxVarType varShortInt = 0x0010;
inline constexpr TVxVarType varByte = 0x0011;
inline constexpr TVxVarType varWord = 0x0012;
inline constexpr TVxVarType varLongWord = 0x0013;
inline constexpr TVxVarType varInt64 = 0x0014;
inline constexpr TVxVarType varUInt64 = 0x0015;
inline constexpr TVxVarType varString = 0x0100;   ///< 8-bit text
inline constexpr TVxVarType varUString = 0x0102;  ///< UTF-16 text
inline constexpr TVxVarType varArray = 0x2000;    ///< flag: one-dimensional array of the base type

/// Date and time: days since 30 December 1899, the fraction is the time of day.
using TDateTime = double;

/// A dynamically typed value: empty, null, boolean, integers of each width, floats, date-time,
/// UTF-16 or 8-bit text. Copy and move are value semantics.
class TVxVariant {
 public:
  /// An empty value (varEmpty).
  TVxVariant() = default;
  /// The null value (varNull).
  static TVxVariant Null() {
    TVxVariant v;
    v.FType = varNull;
    return v;
  }
  TVxVariant(bool AValue) : FType(varBoolean), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int8_t AValue) : FType(varShortInt), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int16_t AValue) : FType(varSmallint), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int32_t AValue) : FType(varInteger), FData(static_cast<int64_t>(AValue)) {}
  TVxVariant(int64_t AValue) : FType(varInt64), FData(AValue) {}
  TVxVariant(uint8_t AValue) : FType(varByte), FData(static_cast<uint64_t>(AValue)) {}
  TVxVariant(uint16_t AValue) : FType(varWord), FData(static_cast<uint64_t>(AValue)) {}
  TVxVariant(uint32_t AValue) : FType(varLongWord), FData(static_cast<uint64_t>(AValue)) {}
  TVxVariant(uint64_t AValue) : FType(varUInt64), FData(AValue) {}
  TVxVariant(float AValue) : FType(varSingle), FData(static_cast<double>(AValue)) {}
  TVxVariant(double AValue) : FType(varDouble), FData(AValue) {}
  TVxVariant(VxString AValue) : FType(varUString), FData(std::move(AValue)) {}
  TVxVariant(const char16_t* AValue) : FType(varUString), FData(VxString(AValue)) {}
  TVxVariant(std::string AValue) : FType(varString), FData(std::move(AValue)) {}
  /// A date-time value (varDate).
  static TVxVariant FromDateTime(TDateTime AValue) {
    TVxVariant v(AValue);
    v.FType = varDate;
    return v;
  }

  /// The type code.
  TVxVarType VarType() const noexcept { return FType; }
  bool IsEmpty() const noexcept { return FType == varEmpty; }
  bool IsNull() const noexcept { return FType == varNull; }

  /// The stored payload: integers as int64_t or uint64_t, floats and dates as double, text.
  using TData = std::variant<std::monostate, int64_t, uint64_t, double, VxString, std::string>;
  const TData& Data() const noexcept { return FData; }

  bool operator==(const TVxVariant& AOther) const = default;

 private:
  TVxVarType FType = varEmpty;
  TData FData;
};

}  // namespace vx
