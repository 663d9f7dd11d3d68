// Dates, times, ISO 8601 texts, zones and durations.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "uVxDateUtils.h"
#include "vx_test_zone.h"

using namespace vx;

TEST(Dates, EncodeDecodeRoundTrip) {
  EXPECT_EQ(VxEncodeDate(1970, 1, 1), 25569.0);
  EXPECT_EQ(VxEncodeDate(1899, 12, 30), 0.0);
  EXPECT_EQ(VxEncodeDate(1899, 12, 29), -1.0);
  for (int y : {1, 1600, 1899, 1900, 2000, 2024, 9999})
    for (int m : {1, 2, 12}) {
      int d = m == 2 ? 28 : 31;
      TDateTime t = VxEncodeDateTime(y, m, d, 23, 59, 59, 999);
      int yy, mm, dd, h, n, s, ms;
      VxDecodeDate(t, yy, mm, dd);
      VxDecodeTime(t, h, n, s, ms);
      EXPECT_EQ(std::vector<int>({yy, mm, dd, h, n, s, ms}), std::vector<int>({y, m, d, 23, 59, 59, 999})) << y;
    }
  EXPECT_THROW(VxEncodeDate(2023, 2, 29), EConvertError);
  EXPECT_THROW(VxEncodeDate(0, 1, 1), EConvertError);
  EXPECT_THROW(VxEncodeTime(24, 0, 0, 0), EConvertError);
}

TEST(Dates, ISOFormsAreReadAndWritten) {
  struct {
    const char16_t* Text;
    const char16_t* Written;
  } cases[] = {
      {u"2024-02-29", u"2024-02-29"},
      {u"2024-02-29Z", u"2024-02-29Z"},
      {u"13:45:00", u"13:45:00"},
      {u"13:45:00.500+01:00", u"13:45:00.5+01:00"},
      {u"2024-02-29T13:45:07.123-05:30", u"2024-02-29T13:45:07.123-05:30"},
      {u"2024-12-31T24:00:00", u"2025-01-01T00:00:00"},
      {u"0001-01-01T00:00:00Z", u"0001-01-01T00:00:00Z"},
  };
  for (auto& c : cases) EXPECT_EQ(VxEncodeISODateTime(VxDecodeISODateTime(c.Text)), c.Written);
  TVxDateTimeParts p = VxDecodeISODateTime(u"2024-02-29T13:45:07.5+01:00");
  EXPECT_TRUE(p.HasDate && p.HasTime && p.HasZone);
  EXPECT_EQ(p.ZoneOffset, 60);
  EXPECT_DOUBLE_EQ(p.ToDateTime(), VxEncodeDateTime(2024, 2, 29, 13, 45, 7, 500));
}

TEST(Dates, MalformedTextsShowTheText) {
  for (const char16_t* bad : {u"", u"2024-02-30", u"2024-2-1", u"2024-01-01T25:00:00", u"12:60:00",
                              u"2024-01-01T10:00:00+15:00", u"2024-01-01 10:00:00", u"-0001-01-01",
                              u"2024-01-01T10:00:00.", u"2024-01-01junk"}) {
    try {
      VxDecodeISODateTime(bad);
      ADD_FAILURE() << VxUTF16ToUTF8(bad);
    } catch (const EConvertError& e) {
      EXPECT_EQ(e.Message(), VxString(u"'") + bad + u"' is not a valid ISO 8601 date and time value");
    }
  }
}

TEST(Dates, LocalAndUTCFollowTheZoneRules) {
  test::TZoneGuard zone("Europe/Berlin");
  TDateTime winter = VxEncodeDateTime(2024, 1, 15, 12, 0, 0, 0);
  TDateTime summer = VxEncodeDateTime(2024, 7, 15, 12, 0, 0, 0);
  EXPECT_EQ(VxCalcTimeZoneOffset(winter), 60);
  EXPECT_EQ(VxCalcTimeZoneOffset(summer), 120);
  EXPECT_NEAR(VxLocalToUTC(summer), VxEncodeDateTime(2024, 7, 15, 10, 0, 0, 0), 1e-9);
  EXPECT_NEAR(VxUTCToLocal(VxEncodeDateTime(2024, 1, 15, 11, 0, 0, 0)), winter, 1e-9);
}

TEST(Durations, RoundTripAndRejects) {
  struct {
    const char16_t* Text;
    const char16_t* Written;
  } cases[] = {
      {u"P1Y2M3DT4H5M6.5S", u"P1Y2M3DT4H5M6.5S"}, {u"-P10D", u"-P10D"}, {u"PT0S", u"PT0S"},
      {u"P0Y", u"PT0S"},                          {u"PT36H", u"PT36H"}, {u"P1M", u"P1M"},
      {u"PT1M", u"PT1M"},
  };
  for (auto& c : cases) EXPECT_EQ(VxEncodeDuration(VxDecodeDuration(c.Text)), c.Written);
  TVxDuration d = VxDecodeDuration(u"P1Y2M3DT4H5M6.5S");
  EXPECT_EQ(d, (TVxDuration{false, 1, 2, 3, 4, 5, 6.5}));
  for (const char16_t* bad : {u"", u"P", u"1Y", u"PT", u"P1D2Y", u"P1.5Y", u"PT1H1H", u"P-1D", u"PT.5S", u"P1DT"}) {
    try {
      VxDecodeDuration(bad);
      ADD_FAILURE() << VxUTF16ToUTF8(bad);
    } catch (const EConvertError& e) {
      EXPECT_EQ(e.Message(), VxString(u"'") + bad + u"' is not a valid duration");
    }
  }
}

// Before 30 December 1899 a TDateTime counts its fraction backwards from the day; rounding and
// zone shifts work on the continuous day count, so they agree on both sides of day 0.
TEST(Dates, ValuesBefore1900RoundAndShiftLikeLaterOnes) {
  EXPECT_EQ(VxDateTimeToDayCount(-1.25), -0.75);
  EXPECT_EQ(VxDayCountToDateTime(-0.75), -1.25);
  EXPECT_EQ(VxDayCountToDateTime(VxDateTimeToDayCount(-700000.875)), -700000.875);
  // 23:59:59.9999 rounds up to midnight of the next day, which is 30 December.
  TDateTime late = VxDecodeISODateTime(u"1899-12-29T23:59:59.9999").ToDateTime();
  EXPECT_EQ(VxDateTimeToISO(late), u"1899-12-30T00:00:00");
  EXPECT_EQ(VxDateTimeToISO(VxDecodeISODateTime(u"1850-06-01T23:59:59.9999").ToDateTime()), u"1850-06-02T00:00:00");
  EXPECT_EQ(VxDateTimeToISO(VxDecodeISODateTime(u"1850-06-01T12:30:00.25").ToDateTime()), u"1850-06-01T12:30:00.250");
  // Moving across midnight and across day 0.
  EXPECT_EQ(VxDateTimeToISO(VxIncMinutes(VxEncodeDateTime(1850, 6, 1, 12, 0, 0, 0), -120)), u"1850-06-01T10:00:00");
  EXPECT_EQ(VxDateTimeToISO(VxIncMinutes(VxEncodeDateTime(1850, 6, 1, 23, 0, 0, 0), 120)), u"1850-06-02T01:00:00");
  EXPECT_EQ(VxDateTimeToISO(VxIncMinutes(VxEncodeDateTime(1899, 12, 29, 23, 0, 0, 0), 120)), u"1899-12-30T01:00:00");
  EXPECT_EQ(VxDateTimeToISO(VxIncMinutes(VxEncodeDateTime(1899, 12, 30, 1, 0, 0, 0), -120)), u"1899-12-29T23:00:00");
}

TEST(Dates, ZoneRulesAreReadAgainWhenTZChanges) {
  const TDateTime summerUTC = VxEncodeDateTime(2024, 7, 15, 10, 0, 0, 0);
  {
    test::TZoneGuard zone("Europe/Berlin");
    EXPECT_EQ(VxDateTimeToISO(VxUTCToLocal(summerUTC)), u"2024-07-15T12:00:00");
  }
  {
    test::TZoneGuard zone("America/New_York");
    // No other call in between: VxUTCToLocal itself picks up the new zone.
    EXPECT_EQ(VxDateTimeToISO(VxUTCToLocal(summerUTC)), u"2024-07-15T06:00:00");
    EXPECT_EQ(VxCalcTimeZoneOffset(VxEncodeDateTime(2024, 1, 15, 12, 0, 0, 0)), -300);
  }
}

TEST(Dates, OffsetsAtTheEdgesOfTheRules) {
  {
    // The local instant that is time value -1 (one second before the epoch) has a real offset.
    test::TZoneGuard zone("XST-3");
    EXPECT_EQ(VxCalcTimeZoneOffset(VxEncodeDateTime(1970, 1, 1, 2, 59, 59, 0)), 180);
  }
  test::TZoneGuard zone("Europe/Berlin");
  // The last millisecond before the spring change is still winter time.
  EXPECT_EQ(VxCalcTimeZoneOffset(VxEncodeDateTime(2020, 3, 29, 1, 59, 59, 999)), 60);
  EXPECT_EQ(VxDateTimeToISO(VxLocalToUTC(VxEncodeDateTime(2020, 3, 29, 1, 59, 59, 999))), u"2020-03-29T00:59:59.999");
  EXPECT_EQ(VxCalcTimeZoneOffset(VxEncodeDateTime(2020, 3, 29, 3, 0, 0, 0)), 120);
}

TEST(Durations, SecondsAreWrittenWithoutExponents) {
  TVxDuration d;
  d.Seconds = 1e5;
  EXPECT_EQ(VxEncodeDuration(d), u"PT100000S");
  d.Seconds = 1e-4;
  EXPECT_EQ(VxEncodeDuration(d), u"PT0.0001S");
  d.Seconds = 1e20;
  EXPECT_EQ(VxEncodeDuration(d), u"PT100000000000000000000S");
  d.Seconds = 0.1;
  EXPECT_EQ(VxEncodeDuration(d), u"PT0.1S");
  // What is written reads back.
  for (double s : {1e5, 1e-4, 1e20, 0.1, 123.456}) {
    d.Seconds = s;
    EXPECT_EQ(VxDecodeDuration(VxEncodeDuration(d)).Seconds, s);
  }
}
