// libFuzzer target: the number, boolean, date, time and duration readers. Any text gives a
// value or one of the library's exceptions; numbers and durations that read write text that
// reads back to the same value.
#include <cmath>

#include "fuzz_util.h"
#include "uVxXMLUtils.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const VxXMLString text = (in.Flags & 1) ? Units(in.Bytes) : VxUTF8ToUTF16(in.Bytes);
  Outcome([&] { VxXMLToShortInt(text); });
  Outcome([&] { VxXMLToWord(text); });
  Outcome([&] { VxXMLToLongWord(text); });
  Outcome([&] { VxXMLToBool(text); });
  Outcome([&] { VxXMLToSingle(text); });
  Outcome([&] { VxXMLToExtended(text); });
  Outcome([&] {
    const int32_t v = VxXMLToInt(text);
    if (VxXMLToInt(VxIntToXML(v)) != v) Fail("an integer reads back", VxUTF16ToUTF8(text), VxUTF16ToUTF8(VxIntToXML(v)));
  });
  Outcome([&] {
    const double v = VxXMLToDouble(text);
    const double back = VxXMLToDouble(VxDoubleToXML(v));
    if (!(back == v || (std::isnan(v) && std::isnan(back))))
      Fail("a double reads back", VxUTF16ToUTF8(text), VxUTF16ToUTF8(VxDoubleToXML(v)));
  });
  Outcome([&] {
    const TVxDuration v = VxXMLToDuration(text);
    if (!(VxXMLToDuration(VxDurationToXML(v)) == v)) Fail("a duration reads back", VxUTF16ToUTF8(text), VxUTF16ToUTF8(VxDurationToXML(v)));
  });
  for (TVxTimeZoneFormat zone : {tzfNone, tzfUTC, tzfOffset}) {
    Outcome([&] { VxXMLToDateTime(VxDateTimeToXML(VxXMLToDateTime(text, zone), zone), zone); });
    Outcome([&] { VxXMLToDate(text, zone); });
    Outcome([&] { VxXMLToTime(text, zone); });
  }
  return 0;
}
