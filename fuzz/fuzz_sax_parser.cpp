// libFuzzer target: the SAX parser component (XML or JSON by the first character), from a
// buffer and through a trickling stream with a tiny read window: the same events or the same
// failure, and only the library's exceptions.
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const uint16_t cp = (in.Flags & 2) ? cVxCodePageUTF16 : 0;
  auto run = [&](bool AStream) {
    std::string log;
    TVxSAXParser parser;
    parser.OnStartElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString&, const VxXMLString& Q,
                                IVxSAXAttributes* A) {
      log += "<" + VxUTF16ToUTF8(Q);
      for (int k = 0; k < A->Count(); ++k) log += " " + VxUTF16ToUTF8(A->GetQName(k)) + "=" + VxUTF16ToUTF8(A->GetValue(k));
      log += ">";
    };
    parser.OnEndElement = [&](TVxSAXParser*, const VxXMLString&, const VxXMLString&, const VxXMLString& Q) {
      log += "</" + VxUTF16ToUTF8(Q) + ">";
    };
    parser.OnCharacters = [&](TVxSAXParser*, const VxXMLString& T) { log += "[" + VxUTF16ToUTF8(T) + "]"; };
    const std::string outcome =
        Outcome([&] { WithSource(in, AStream, [&](TVxStream& AIn) { parser.ParseStream(AIn, cp, u"fuzz"); }); });
    return log + "\n" + outcome;
  };
  Same("parser component events from a buffer and from a trickling stream", run(false), run(true));
  return 0;
}
