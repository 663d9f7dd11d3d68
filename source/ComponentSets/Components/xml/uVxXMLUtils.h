// uVxXMLUtils: escaping and unescaping of character data, and scalar values to and from the
// text that XML documents carry (XML Schema lexical forms). Every function is stateless and may
// be called from any thread. Failures to convert are raised as EConvertError.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "uVxDateUtils.h"
#include "uVxStreams.h"
#include "uVxSysUtils.h"
#include "uVxTypeInfo.h"
#include "uVxVariants.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Exceptions
// ---------------------------------------------------------------------------------------------

/// Base of the SAX feature and property failures.
class EVxSAXException : public EVxException {
 public:
  using EVxException::EVxException;
};
/// A feature or property name the reader does not know.
class EVxSAXNotRecognizedException : public EVxSAXException {
 public:
  using EVxSAXException::EVxSAXException;
};
/// A feature or property the reader knows but cannot provide or change.
class EVxSAXNotSupportedException : public EVxSAXException {
 public:
  using EVxSAXException::EVxSAXException;
};

// Messages of this unit (kept character for character, capitalisation included).
inline constexpr char16_t cVxInvalidShortInt[] = u"The given value is not a valid shortint value!";
inline constexpr char16_t cVxInvalidSmallInt[] = u"The given value is not a valid smallint value!";
inline constexpr char16_t cVxInvalidInteger[] = u"The given value is not a valid integer value!";
inline constexpr char16_t cVxInvalidByte[] = u"The given value is not a valid Byte value!";
inline constexpr char16_t cVxInvalidWord[] = u"The given value is not a valid Word value!";
inline constexpr char16_t cVxInvalidLongWord[] = u"The given value is not a valid LongWord value!";
inline constexpr char16_t cVxInvalidSingle[] = u"The given value is not a valid Single value!";
inline constexpr char16_t cVxInvalidDouble[] = u"The given value is not a valid Double value!";
inline constexpr char16_t cVxInvalidExtended[] = u"The given value is not a valid Extended value!";
inline constexpr char16_t cVxInvalidDate[] = u"The given value is not a valid Date value!";
inline constexpr char16_t cVxInvalidTime[] = u"The given value is not a valid Time value!";
inline constexpr char16_t cVxInvalidDateTime[] = u"The given value is not a valid DateTime value!";
inline constexpr char16_t cVxInvalidString[] = u"The given value is not a valid String value!";
inline constexpr char16_t cVxInvalidBoolean[] = u"The given value is not a valid Boolean value!";
inline constexpr char16_t cVxMissingTimeZone[] = u"The XMLDateTime value did not contain timezone information!";
inline constexpr char16_t cVxDurationEmpty[] = u"VxXMLToDuration; An empty string cannot be converted to a xs:duration!";
inline constexpr char16_t cVxDurationNoP[] = u"VxXMLToDuration; A duration must start with a \"P\"!";
inline constexpr char16_t cVxDurationInvalid[] = u"VxXMLToDuration; The provided argument (%s) is not a valid duration!";
inline constexpr char16_t cVxVariantToXMLInvalidType[] = u"VxVariantToXml; invalid variant type %d!";
inline constexpr char16_t cVxXMLToVariantUnsupported[] = u"VxXMLToVariant(%s); Unsupported VarType";
inline constexpr char16_t cVxXMLToVariantFailed[] = u"Failed to convert the value \"%s\" to a variant value of type %s!";

// ---------------------------------------------------------------------------------------------
// Escaping and unescaping
// ---------------------------------------------------------------------------------------------

/// Escapes character data: "&", "<" and ">" become "&amp;", "&lt;" and "&gt;"; the control
/// characters U+0001 to U+001F (tab and line breaks included) become "&#n;"; U+0000 is dropped;
/// "'" becomes "&apos;" only with AEscapeApostrophe, '"' becomes "&quot;" only with
/// AEscapeQuote. Everything else passes unchanged.
VxXMLString VxStrToXML(std::u16string_view AText, bool AEscapeApostrophe = false, bool AEscapeQuote = true);
/// VxStrToXML over 8-bit text: bytes from 0x80 up pass unchanged, so the result keeps the
/// text's code page (UTF-8 or any ASCII-based one).
std::string VxStrToXML(std::string_view AText, bool AEscapeApostrophe = false, bool AEscapeQuote = true);
/// Escapes ALength UTF-16 units at AText and appends the result to a UTF-16 string stream at its
/// position.
void VxStrToXML(const char16_t* AText, size_t ALength, TVxStringStream& AStream, bool AEscapeApostrophe = false,
                bool AEscapeQuote = true);

/// Replaces character references: "&#n;" and "&#xh;" by the character, written as one UTF-16
/// code unit (a value above U+FFFF keeps its low 16 bits; an invalid number raises
/// EConvertError), "&name;" by the named HTML 4 or XML entity. References without ";" before
/// the next space or the end, names longer than 8 characters and unknown names stay as written.
/// Names are matched by a folded 32-bit key, so a few unknown names that fold onto an entity's
/// key are read as that entity.
VxXMLString VxXMLToStr(std::u16string_view AText);
/// VxXMLToStr over UTF-8 text; replaced references are written as UTF-8.
std::string VxXMLToStr(std::string_view AText);
/// The unescaped text of a variant: null gives ADefault, integers and booleans their text,
/// strings are unescaped; other kinds raise EConvertError "...not a valid String value!".
VxXMLString VxXMLToStr(const TVxVariant& AValue, const VxXMLString& ADefault);

// ---------------------------------------------------------------------------------------------
// Values to text
// ---------------------------------------------------------------------------------------------

/// Decimal text of integers of each width.
VxXMLString VxShortIntToXML(int8_t AValue);
VxXMLString VxSmallIntToXML(int16_t AValue);
VxXMLString VxLongIntToXML(int32_t AValue);
VxXMLString VxIntToXML(int32_t AValue);
VxXMLString VxInt64ToXML(int64_t AValue);
VxXMLString VxByteToXML(uint8_t AValue);
VxXMLString VxWordToXML(uint16_t AValue);
VxXMLString VxLongWordToXML(uint32_t AValue);
VxXMLString VxCardinalToXML(uint32_t AValue);
VxXMLString VxUInt64ToXML(uint64_t AValue);
/// The general float format with the shortest digits that read back to the same double, "." as
/// separator: fixed from 1E-5 up to below 1E15 ("0.1", "100000", "0.0001"), scientific with an
/// "E" exponent outside ("1E15", "-2.5E-7"); "NaN", "INF" and "-INF".
VxXMLString VxDoubleToXML(double AValue);
/// VxDoubleToXML for long double (shortest text that reads back to the same long double).
VxXMLString VxExtToXML(long double AValue);
/// "true" or "false".
VxXMLString VxBoolToXML(bool AValue);

/// How the date and time functions write and expect zones and fractions.
struct TVxXMLDateTimeFormat {
  /// tzfNone: local time, no suffix; tzfUTC: UTC with "Z"; tzfOffset: with a "+hh:mm" suffix.
  TVxTimeZoneFormat TimeZoneFormat = tzfNone;
  /// With tzfOffset: write at ZoneOffset rather than at the local zone's offset.
  bool UseZoneOffset = false;
  /// Minutes east of UTC used when UseZoneOffset is set.
  int ZoneOffset = 0;
  /// Write milliseconds when they are not zero (without trailing zeros); else whole seconds.
  bool Milliseconds = true;
};

/// The format of a plain zone format.
TVxXMLDateTimeFormat VxXMLDateTimeFormat(TVxTimeZoneFormat ATimeZoneFormat);
/// The format that writes values the way the given parts were written: no zone, "Z", or the
/// parts' own offset.
TVxXMLDateTimeFormat VxXMLDateTimeFormat(const TVxDateTimeParts& AParts);

/// "YYYY-MM-DD" of the date part (dates carry no zone suffix; see docs/architecture.md).
VxXMLString VxDateToXML(TDateTime AValue, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
VxXMLString VxDateToXML(TDateTime AValue, const TVxXMLDateTimeFormat& AFormat);
/// "hh:mm:ss[.fff]" of the time part, with the zone suffix of the format.
VxXMLString VxTimeToXML(TDateTime AValue, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
VxXMLString VxTimeToXML(TDateTime AValue, const TVxXMLDateTimeFormat& AFormat);
/// "YYYY-MM-DDThh:mm:ss[.fff]" with the zone suffix of the format.
VxXMLString VxDateTimeToXML(TDateTime AValue, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
VxXMLString VxDateTimeToXML(TDateTime AValue, const TVxXMLDateTimeFormat& AFormat);
/// XML Schema duration text ("P1Y2M3DT4H5M6.5S", "-P1D", "PT0S").
VxXMLString VxDurationToXML(const TVxDuration& AValue);
/// A variant's text: integers, floats, booleans and dates by the writers above, strings as they
/// are, empty and null as "", arrays as <array length="n"><element nr="i">...</element>...</array>.
VxXMLString VxVariantToXML(const TVxVariant& AValue);

// ---------------------------------------------------------------------------------------------
// Text to values
// ---------------------------------------------------------------------------------------------
// Integer texts: an empty text gives 0; otherwise the text (blanks around it ignored) is read as
// a decimal integer ("$1F"/"0x1F" as hexadecimal) by the 32-bit conversion, so a text outside
// -2147483648 .. 2147483647 raises EConvertError, and the result is narrowed to the width without
// a range check ("300" as ShortInt gives 44). Int64 and UInt64 read 64-bit texts.
// Float texts: decimal with "." and an optional exponent, "INF", "-INF", "NaN"; empty gives 0.
// Variant overloads: null gives ADefault; integer variants convert their value, strings are read
// as text, booleans count 1 or 0; any other kind (floats and date-times included, also for the
// float targets) raises EConvertError "The given value is not a valid ... value!".
// Def overloads give ADefault where the text overload would raise.

int8_t VxXMLToShortInt(std::u16string_view AText);
int8_t VxXMLToShortInt(const TVxVariant& AValue, int8_t ADefault);
int8_t VxXMLToShortIntDef(std::u16string_view AText, int8_t ADefault);
int16_t VxXMLToSmallInt(std::u16string_view AText);
int16_t VxXMLToSmallInt(const TVxVariant& AValue, int16_t ADefault);
int16_t VxXMLToSmallIntDef(std::u16string_view AText, int16_t ADefault);
int32_t VxXMLToInt(std::u16string_view AText);
int32_t VxXMLToInt(const TVxVariant& AValue, int32_t ADefault);
int32_t VxXMLToIntDef(std::u16string_view AText, int32_t ADefault);
int64_t VxXMLToInt64(std::u16string_view AText);
int64_t VxXMLToInt64(const TVxVariant& AValue, int64_t ADefault);
int64_t VxXMLToInt64Def(std::u16string_view AText, int64_t ADefault);
uint8_t VxXMLToByte(std::u16string_view AText);
uint8_t VxXMLToByte(const TVxVariant& AValue, uint8_t ADefault);
uint8_t VxXMLToByteDef(std::u16string_view AText, uint8_t ADefault);
uint16_t VxXMLToWord(std::u16string_view AText);
uint16_t VxXMLToWord(const TVxVariant& AValue, uint16_t ADefault);
uint16_t VxXMLToWordDef(std::u16string_view AText, uint16_t ADefault);
uint32_t VxXMLToLongWord(std::u16string_view AText);
uint32_t VxXMLToLongWord(const TVxVariant& AValue, uint32_t ADefault);
uint32_t VxXMLToLongWordDef(std::u16string_view AText, uint32_t ADefault);
/// Also reads decimal texts up to 18446744073709551615.
uint64_t VxXMLToUInt64(std::u16string_view AText);
uint64_t VxXMLToUInt64(const TVxVariant& AValue, uint64_t ADefault);
uint64_t VxXMLToUInt64Def(std::u16string_view AText, uint64_t ADefault);
float VxXMLToSingle(std::u16string_view AText);
float VxXMLToSingle(const TVxVariant& AValue, float ADefault);
float VxXMLToSingleDef(std::u16string_view AText, float ADefault);
double VxXMLToDouble(std::u16string_view AText);
double VxXMLToDouble(const TVxVariant& AValue, double ADefault);
double VxXMLToDoubleDef(std::u16string_view AText, double ADefault);
long double VxXMLToExtended(std::u16string_view AText);
long double VxXMLToExtended(const TVxVariant& AValue, long double ADefault);
long double VxXMLToExtendedDef(std::u16string_view AText, long double ADefault);
/// True for "1" and for "true" in any case; false for anything else.
bool VxXMLToBool(std::u16string_view AText);
/// Null gives ADefault; integers are true when non-zero; strings as the text overload; booleans
/// as they are; other kinds raise EConvertError "...not a valid Boolean value!".
bool VxXMLToBool(const TVxVariant& AValue, bool ADefault);

// Date and time texts: XML Schema date, time or dateTime. A zone in the text is applied (the
// result is local time); tzfUTC and tzfOffset require a zone on times and dateTimes and raise
// EConvertError "The XMLDateTime value did not contain timezone information!" without one. A
// zone on a date-only text is ignored. Malformed texts raise EConvertError. Each reader takes
// the zone rule either as a TVxTimeZoneFormat or as the TimeZoneFormat of a TVxXMLDateTimeFormat.
// Variant overloads: null gives ADefault, an integer variant is a day number, a string a date
// text, a boolean 1 or 0; any other kind (floats and date-times included) raises EConvertError
// "The given value is not a valid Date (Time, DateTime) value!".

/// The date part (midnight) of a date or dateTime text.
TDateTime VxXMLToDate(std::u16string_view AText, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToDate(std::u16string_view AText, const TVxXMLDateTimeFormat& AFormat);
TDateTime VxXMLToDate(const TVxVariant& AValue, TDateTime ADefault, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToDate(const TVxVariant& AValue, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat);
TDateTime VxXMLToDateDef(std::u16string_view AText, TDateTime ADefault, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToDateDef(std::u16string_view AText, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat);
/// The time of day (day 0) of a time or dateTime text.
TDateTime VxXMLToTime(std::u16string_view AText, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToTime(std::u16string_view AText, const TVxXMLDateTimeFormat& AFormat);
TDateTime VxXMLToTime(const TVxVariant& AValue, TDateTime ADefault, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToTime(const TVxVariant& AValue, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat);
TDateTime VxXMLToTimeDef(std::u16string_view AText, TDateTime ADefault, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToTimeDef(std::u16string_view AText, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat);
/// Date and time of a date, time or dateTime text.
TDateTime VxXMLToDateTime(std::u16string_view AText, TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToDateTime(std::u16string_view AText, const TVxXMLDateTimeFormat& AFormat);
TDateTime VxXMLToDateTime(const TVxVariant& AValue, TDateTime ADefault,
                          TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToDateTime(const TVxVariant& AValue, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat);
TDateTime VxXMLToDateTimeDef(std::u16string_view AText, TDateTime ADefault,
                             TVxTimeZoneFormat ATimeZoneFormat = tzfNone);
TDateTime VxXMLToDateTimeDef(std::u16string_view AText, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat);
/// The parts of a date, time or dateTime text as written (no zone applied).
TVxDateTimeParts VxDecodeXMLDateTime(std::u16string_view AText);

/// Reads an XML Schema duration ("P1Y2M3DT4H5M6.5S", "-P1D").
TVxDuration VxXMLToDuration(std::u16string_view AText);

/// Reads a text into a variant of a type code (varInteger, varDouble, varDate, varUString, ...).
/// An unsupported code raises EConvertError "VxXMLToVariant(%s); Unsupported VarType", a text
/// that does not convert raises EConvertError "Failed to convert the value ...".
TVxVariant VxXMLToVariant(std::u16string_view AText, TVxVarType AVarType);
/// Reads a text into a variant of a type kind (tkInteger: Integer, tkInt64: Int64, tkFloat:
/// Double, tkEnumeration: Boolean, character and string kinds: UnicodeString).
TVxVariant VxXMLToVariant(std::u16string_view AText, TVxTypeKind AKind);
/// Reads a text into a variant of a named type: a registered type name or alias ("Integer",
/// "Cardinal", "TDate", "Boolean", "VxXMLString", ...) or an XML Schema type name ("int",
/// "unsignedShort", "dateTime", "time", ...). Names compare ignoring ASCII case.
TVxVariant VxXMLToVariant(std::u16string_view AText, std::u16string_view ATypeName);

}  // namespace vx
