// uVxDateUtils: civil-date arithmetic, ISO 8601 texts, zone conversion and durations.
#include "uVxDateUtils.h"

#include <mutex>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <ctime>

namespace vx {

namespace {


// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void CivilFromDays(int64_t z, int& y, int& m, int& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<int>(static_cast<int64_t>(yoe) + era * 400 + (m <= 2));
}

bool IsLeap(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }
int DaysInMonth(int y, int m) {
  static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : days[m - 1];
}

[[noreturn]] void BadISO(std::u16string_view AText) {
  throw EConvertError(VxFormat(u"'%s' is not a valid ISO 8601 date and time value", AText));
}

// Reads exactly ACount digits.
bool Digits(std::u16string_view S, size_t& AAt, size_t ACount, int& AValue) {
  if (AAt + ACount > S.size()) return false;
  AValue = 0;
  for (size_t k = 0; k < ACount; ++k) {
    char16_t c = S[AAt + k];
    if (c < u'0' || c > u'9') return false;
    AValue = AValue * 10 + (c - u'0');
  }
  AAt += ACount;
  return true;
}

bool Expect(std::u16string_view S, size_t& AAt, char16_t AChar) {
  if (AAt < S.size() && S[AAt] == AChar) {
    ++AAt;
    return true;
  }
  return false;
}

// Whole seconds since the epoch of a date-time read as UTC, rounded down: a zone's rules change
// at whole seconds, so 01:59:59.999 still belongs to the second before 02:00:00.
time_t UTCSeconds(TDateTime AValue) {
  return static_cast<time_t>(std::floor((VxDateTimeToDayCount(AValue) - cVxUnixEpoch) * 86400.0));
}

// Milliseconds since 30 December 1899 on the continuous count, rounded to the nearest.
int64_t TotalMilliseconds(TDateTime AValue) {
  return static_cast<int64_t>(std::llround(VxDateTimeToDayCount(AValue) * 86400000.0));
}

int64_t FloorDiv(int64_t A, int64_t B) { return A / B - ((A % B != 0) && ((A < 0) != (B < 0))); }

}  // namespace

// ---------------------------------------------------------------------------------------------
// Encoding and decoding
// ---------------------------------------------------------------------------------------------

TDateTime VxEncodeDate(int AYear, int AMonth, int ADay) {
  if (AYear < 1 || AYear > 9999 || AMonth < 1 || AMonth > 12 || ADay < 1 || ADay > DaysInMonth(AYear, AMonth))
    throw EConvertError(VxFormat(u"Invalid date: %d-%d-%d", AYear, AMonth, ADay));
  return static_cast<double>(DaysFromCivil(AYear, static_cast<unsigned>(AMonth), static_cast<unsigned>(ADay)) + 25569);
}

TDateTime VxEncodeTime(int AHour, int AMinute, int ASecond, int AMilliSecond) {
  if (AHour < 0 || AHour > 23 || AMinute < 0 || AMinute > 59 || ASecond < 0 || ASecond > 59 || AMilliSecond < 0 ||
      AMilliSecond > 999)
    throw EConvertError(VxFormat(u"Invalid time: %d:%d:%d.%d", AHour, AMinute, ASecond, AMilliSecond));
  return (AHour * 3600000.0 + AMinute * 60000.0 + ASecond * 1000.0 + AMilliSecond) / 86400000.0;
}

TDateTime VxEncodeDateTime(int AYear, int AMonth, int ADay, int AHour, int AMinute, int ASecond, int AMilliSecond) {
  TDateTime date = VxEncodeDate(AYear, AMonth, ADay);
  TDateTime time = VxEncodeTime(AHour, AMinute, ASecond, AMilliSecond);
  return date < 0 ? date - time : date + time;
}

double VxDateTimeToDayCount(TDateTime AValue) {
  if (AValue >= 0) return AValue;
  const double day = std::trunc(AValue);
  return day + std::fabs(AValue - day);
}

TDateTime VxDayCountToDateTime(double ADays) {
  const double day = std::floor(ADays);
  const double time = ADays - day;
  return day >= 0 ? day + time : day - time;
}

TDateTime VxIncMinutes(TDateTime AValue, double AMinutes) {
  return VxDayCountToDateTime(VxDateTimeToDayCount(AValue) + AMinutes / 1440.0);
}

void VxDecodeDate(TDateTime AValue, int& AYear, int& AMonth, int& ADay) {
  // On the continuous count, rounded to milliseconds: 23:59:59.9996 belongs to the next day,
  // before 1899 as after.
  CivilFromDays(FloorDiv(TotalMilliseconds(AValue), 86400000) - 25569, AYear, AMonth, ADay);
}

void VxDecodeTime(TDateTime AValue, int& AHour, int& AMinute, int& ASecond, int& AMilliSecond) {
  const int64_t total = TotalMilliseconds(AValue);
  const int64_t ms = total - FloorDiv(total, 86400000) * 86400000;
  AHour = static_cast<int>(ms / 3600000);
  AMinute = static_cast<int>(ms / 60000 % 60);
  ASecond = static_cast<int>(ms / 1000 % 60);
  AMilliSecond = static_cast<int>(ms % 1000);
}

TDateTime TVxDateTimeParts::ToDateTime() const {
  double time = (Hour * 3600.0 + Minute * 60.0 + Second + Fraction) / 86400.0;
  if (!HasDate) return time;
  double date = static_cast<double>(DaysFromCivil(Year, static_cast<unsigned>(Month), static_cast<unsigned>(Day)) + 25569);
  return VxDayCountToDateTime(date + time);
}

// ---------------------------------------------------------------------------------------------
// ISO 8601 / XML Schema
// ---------------------------------------------------------------------------------------------

TVxDateTimeParts VxDecodeISODateTime(std::u16string_view AText) {
  TVxDateTimeParts p;
  std::u16string_view s = AText;
  size_t at = 0;
  // A time starts "hh:"; anything else starts with a date.
  bool timeOnly = s.size() >= 3 && s[2] == u':';
  if (!timeOnly) {
    if (!Digits(s, at, 4, p.Year) || !Expect(s, at, u'-') || !Digits(s, at, 2, p.Month) || !Expect(s, at, u'-') ||
        !Digits(s, at, 2, p.Day))
      BadISO(AText);
    if (p.Year < 1 || p.Month < 1 || p.Month > 12 || p.Day < 1 || p.Day > DaysInMonth(p.Year, p.Month)) BadISO(AText);
    p.HasDate = true;
  }
  if (timeOnly || Expect(s, at, u'T')) {
    if (!Digits(s, at, 2, p.Hour) || !Expect(s, at, u':') || !Digits(s, at, 2, p.Minute) || !Expect(s, at, u':') ||
        !Digits(s, at, 2, p.Second))
      BadISO(AText);
    if (at < s.size() && s[at] == u'.') {
      ++at;
      size_t start = at;
      double scale = 0.1;
      while (at < s.size() && s[at] >= u'0' && s[at] <= u'9') {
        p.Fraction += (s[at] - u'0') * scale;
        scale /= 10;
        ++at;
      }
      if (at == start) BadISO(AText);
    }
    if (p.Minute > 59 || p.Second > 59) BadISO(AText);
    if (p.Hour == 24) {
      // "24:00:00" is the end of the day: midnight of the next one.
      if (p.Minute || p.Second || p.Fraction > 0) BadISO(AText);
      p.Hour = 0;
      if (p.HasDate) {
        int64_t days = DaysFromCivil(p.Year, static_cast<unsigned>(p.Month), static_cast<unsigned>(p.Day)) + 1;
        CivilFromDays(days, p.Year, p.Month, p.Day);
        if (p.Year > 9999) BadISO(AText);
      }
    } else if (p.Hour > 23) {
      BadISO(AText);
    }
    p.HasTime = true;
  }
  if (at < s.size()) {
    if (s[at] == u'Z') {
      ++at;
      p.HasZone = true;
    } else if (s[at] == u'+' || s[at] == u'-') {
      int sign = s[at++] == u'-' ? -1 : 1;
      int zh, zm;
      if (!Digits(s, at, 2, zh) || !Expect(s, at, u':') || !Digits(s, at, 2, zm) || zh > 14 || zm > 59 ||
          (zh == 14 && zm > 0))
        BadISO(AText);
      p.ZoneOffset = sign * (zh * 60 + zm);
      p.HasZone = true;
    }
  }
  if (at != s.size()) BadISO(AText);
  return p;
}

VxString VxEncodeISODateTime(const TVxDateTimeParts& AParts) {
  VxString s;
  if (AParts.HasDate) s += VxFormat(u"%.4d-%.2d-%.2d", AParts.Year, AParts.Month, AParts.Day);
  if (AParts.HasTime) {
    if (AParts.HasDate) s += u'T';
    s += VxFormat(u"%.2d:%.2d:%.2d", AParts.Hour, AParts.Minute, AParts.Second);
    auto ms = static_cast<int>(std::lround(AParts.Fraction * 1000));
    if (ms > 999) ms = 999;
    if (ms > 0) {
      VxString frac = VxFormat(u".%.3d", ms);
      while (frac.back() == u'0') frac.pop_back();
      s += frac;
    }
  }
  if (AParts.HasZone) {
    if (AParts.ZoneOffset == 0) {
      s += u'Z';
    } else {
      int off = AParts.ZoneOffset < 0 ? -AParts.ZoneOffset : AParts.ZoneOffset;
      s += VxFormat(u"%s%.2d:%.2d", AParts.ZoneOffset < 0 ? u"-" : u"+", off / 60, off % 60);
    }
  }
  return s;
}

VxString VxDateTimeToISO(TDateTime AValue) {
  int y, mo, d, h, mi, sec, ms;
  VxDecodeDate(AValue, y, mo, d);
  VxDecodeTime(AValue, h, mi, sec, ms);
  VxString s = VxFormat(u"%.4d-%.2d-%.2dT%.2d:%.2d:%.2d", y, mo, d, h, mi, sec);
  if (ms) s += VxFormat(u".%.3d", ms);
  return s;
}

// ---------------------------------------------------------------------------------------------
// Local time and UTC
// ---------------------------------------------------------------------------------------------

namespace {
// tzset frees and replaces the C library's zone state while mktime and localtime_r read it;
// the C library locks inside, but out of the sight of race checkers, so the library's own
// calls take this lock too.
std::mutex gZoneLock;
}  // namespace

int VxCalcTimeZoneOffset(TDateTime ALocal) {
  // Read the local wall-clock fields as if they were UTC, let mktime find the real instant.
  std::lock_guard<std::mutex> lock(gZoneLock);
  tzset();  // a changed TZ takes effect at once
  time_t asUTC = UTCSeconds(ALocal);
  struct tm fields {};
  gmtime_r(&asUTC, &fields);
  fields.tm_isdst = -1;
  errno = 0;
  time_t instant = mktime(&fields);
  // -1 is also the instant one second before the epoch; only errno tells a failure.
  if (instant == static_cast<time_t>(-1) && errno != 0) return 0;
  struct tm local {};
  localtime_r(&instant, &local);
  return static_cast<int>(local.tm_gmtoff / 60);
}

TDateTime VxLocalToUTC(TDateTime ALocal) { return VxIncMinutes(ALocal, -VxCalcTimeZoneOffset(ALocal)); }

TDateTime VxUTCToLocal(TDateTime AUTC) {
  std::lock_guard<std::mutex> lock(gZoneLock);
  tzset();  // localtime_r need not read TZ again by itself
  time_t seconds = UTCSeconds(AUTC);
  struct tm local {};
  if (!localtime_r(&seconds, &local)) return AUTC;
  return VxIncMinutes(AUTC, static_cast<double>(local.tm_gmtoff) / 60.0);
}

// ---------------------------------------------------------------------------------------------
// Durations
// ---------------------------------------------------------------------------------------------

VxString VxEncodeDuration(const TVxDuration& ADuration) {
  VxString s = ADuration.Negative ? u"-P" : u"P";
  if (ADuration.Years) s += VxFormat(u"%dY", ADuration.Years);
  if (ADuration.Months) s += VxFormat(u"%dM", ADuration.Months);
  if (ADuration.Days) s += VxFormat(u"%dD", ADuration.Days);
  if (ADuration.Hours || ADuration.Minutes || ADuration.Seconds != 0) {
    s += u'T';
    if (ADuration.Hours) s += VxFormat(u"%dH", ADuration.Hours);
    if (ADuration.Minutes) s += VxFormat(u"%dM", ADuration.Minutes);
    if (ADuration.Seconds != 0) {
      // Fixed notation, shortest digits: XML Schema has no exponents in durations.
      char buf[512];
      auto res = std::to_chars(buf, buf + sizeof buf, ADuration.Seconds, std::chars_format::fixed);
      s += VxASCIIToUTF16(std::string_view(buf, static_cast<size_t>(res.ptr - buf))) + u"S";
    }
  }
  if (s.size() <= 2) s += u"T0S";
  return s;
}

TVxDuration VxDecodeDuration(std::u16string_view AText) {
  auto bad = [&]() -> TVxDuration { throw EConvertError(VxFormat(u"'%s' is not a valid duration", AText)); };
  TVxDuration d;
  size_t at = 0;
  if (at < AText.size() && AText[at] == u'-') {
    d.Negative = true;
    ++at;
  }
  if (at >= AText.size() || AText[at] != u'P') return bad();
  ++at;
  bool inTime = false, any = false, timeAny = false;
  // Order of designators: Y M D in the date part, H M S in the time part.
  int order = 0;
  while (at < AText.size()) {
    if (AText[at] == u'T') {
      if (inTime) return bad();
      inTime = true;
      order = 3;
      ++at;
      continue;
    }
    size_t start = at;
    while (at < AText.size() && ((AText[at] >= u'0' && AText[at] <= u'9') || AText[at] == u'.')) ++at;
    if (at == start || at >= AText.size()) return bad();
    std::u16string_view number = AText.substr(start, at - start);
    char16_t designator = AText[at++];
    int rank;
    if (!inTime)
      rank = designator == u'Y' ? 0 : designator == u'M' ? 1 : designator == u'D' ? 2 : -1;
    else
      rank = designator == u'H' ? 3 : designator == u'M' ? 4 : designator == u'S' ? 5 : -1;
    if (rank < order) return bad();
    order = rank + 1;
    bool fractional = number.find(u'.') != std::u16string_view::npos;
    if (fractional && rank != 5) return bad();
    if (rank == 5) {
      double v;
      if (!VxTryStrToFloat(number, v) || number.front() == u'.' || number.back() == u'.') return bad();
      d.Seconds = v;
    } else {
      int64_t v;
      if (!VxTryStrToInt64(number, v)) return bad();
      int64_t* fields[] = {&d.Years, &d.Months, &d.Days, &d.Hours, &d.Minutes};
      *fields[rank] = v;
    }
    any = true;
    if (inTime) timeAny = true;
  }
  if (!any || (inTime && !timeAny)) return bad();
  return d;
}

}  // namespace vx
