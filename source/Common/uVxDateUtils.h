// uVxDateUtils: TDateTime encoding and decoding, ISO 8601 / XML Schema date and time texts,
// local time and UTC, and XML Schema durations.
#pragma once

#include <cstdint>

#include "uVxSysUtils.h"
#include "uVxVariants.h"

namespace vx {

/// 1 January 1970 as a TDateTime.
inline constexpr TDateTime cVxUnixEpoch = 25569.0;

/// Builds a date; raises EConvertError for a date outside 0001-01-01 .. 9999-12-31.
TDateTime VxEncodeDate(int AYear, int AMonth, int ADay);
/// Builds a time of day; raises EConvertError outside 00:00:00.000 .. 23:59:59.999.
TDateTime VxEncodeTime(int AHour, int AMinute, int ASecond, int AMilliSecond);
/// Date plus time (the time is added in the direction of the date, as TDateTime does for days
/// before 30 December 1899).
TDateTime VxEncodeDateTime(int AYear, int AMonth, int ADay, int AHour, int AMinute, int ASecond, int AMilliSecond);
/// The continuous day count of a date-time: days since 30 December 1899 with the time of day
/// counted forward. Before that date TDateTime counts its fraction backwards from the day
/// (-1.25 is 29 December 06:00), the day count does not (-0.75): shifts and rounding are done
/// on the count, so they work the same on both sides of day 0.
double VxDateTimeToDayCount(TDateTime AValue);
/// The date-time of a continuous day count (inverse of VxDateTimeToDayCount).
TDateTime VxDayCountToDateTime(double ADays);
/// Moves a date-time by a number of minutes (fractions allowed) on the continuous count.
TDateTime VxIncMinutes(TDateTime AValue, double AMinutes);
/// Splits the date part.
void VxDecodeDate(TDateTime AValue, int& AYear, int& AMonth, int& ADay);
/// Splits the time part (rounded to milliseconds).
void VxDecodeTime(TDateTime AValue, int& AHour, int& AMinute, int& ASecond, int& AMilliSecond);

/// What a date or time text held.
struct TVxDateTimeParts {
  bool HasDate = false;
  bool HasTime = false;
  bool HasZone = false;
  int Year = 0, Month = 0, Day = 0;
  int Hour = 0, Minute = 0, Second = 0;
  double Fraction = 0;      ///< fraction of a second, 0 <= Fraction < 1
  int ZoneOffset = 0;       ///< minutes east of UTC ("Z" is 0)
  /// The date and time as a TDateTime, as written (the zone is not applied).
  TDateTime ToDateTime() const;
};

/// How a zone suffix is written and what reading expects.
enum TVxTimeZoneFormat : uint8_t {
  tzfNone = 0,    ///< written as local time without suffix; read: a zone, when present, is applied
  tzfUTC = 1,     ///< written as UTC with "Z"; read: a zone is required
  tzfOffset = 2,  ///< written as local time with its offset ("+01:00"); read: a zone is required
};

/// Reads an XML Schema date ("2024-02-29", optional zone), time ("13:45:00.5", optional zone)
/// or dateTime ("2024-02-29T13:45:00.5+01:00") into parts. Years 0001 to 9999; "24:00:00" is
/// midnight at the end of the day. Raises EConvertError "'%s' is not a valid ISO 8601 date and
/// time value" for anything else.
TVxDateTimeParts VxDecodeISODateTime(std::u16string_view AText);
/// Writes parts in the XML Schema lexical form; the fraction is written to milliseconds
/// without trailing zeros, the zone as "Z" (offset 0) or "+hh:mm".
VxString VxEncodeISODateTime(const TVxDateTimeParts& AParts);
/// A TDateTime as "YYYY-MM-DDThh:mm:ss" (".zzz" when there are milliseconds), no zone.
VxString VxDateTimeToISO(TDateTime AValue);

/// Minutes east of UTC of the local zone at a local date-time (the C library's zone rules; TZ is
/// read again on every call).
int VxCalcTimeZoneOffset(TDateTime ALocal);
/// Local date-time to UTC.
TDateTime VxLocalToUTC(TDateTime ALocal);
/// UTC date-time to local.
TDateTime VxUTCToLocal(TDateTime AUTC);

/// An XML Schema duration: sign, years, months, days, hours, minutes, fractional seconds.
struct TVxDuration {
  bool Negative = false;
  int64_t Years = 0, Months = 0, Days = 0, Hours = 0, Minutes = 0;
  double Seconds = 0;
  bool operator==(const TVxDuration&) const = default;
};

/// Writes "P1Y2M3DT4H5M6.5S" ("-P..." when negative); only the non-zero fields; "PT0S" for
/// a zero duration.
VxString VxEncodeDuration(const TVxDuration& ADuration);
/// Reads an XML Schema duration; raises EConvertError "'%s' is not a valid duration" for an
/// empty text, a missing "P", a "T" without time fields, fields out of order or repeated, or
/// a fraction anywhere but in the seconds.
TVxDuration VxDecodeDuration(std::u16string_view AText);

}  // namespace vx
