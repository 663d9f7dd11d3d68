// libFuzzer target: the JSON-to-SAX reader (JSON reported as XML events), from a buffer and
// through a trickling stream with a tiny read window: the same events or the same failure.
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const uint16_t cp = (in.Flags & 2) ? cVxCodePageUTF16 : cVxCodePageUTF8;
  auto run = [&](bool AStream) {
    auto rec = VxMake<TSAXRecorder>();
    TVxSAXJSONReader readerObject;  // its owner frees it
    TVxSAXJSONReader* reader = &readerObject;
    reader->SetContentHandler(TVxIntf<IVxSAXContentHandler>(rec.Get()));
    reader->SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(rec.Get()));
    const std::string outcome = Outcome([&] {
      if (AStream) {
        test::TWindowGuard window(in.Window);
        test::TTrickleStream stream(in.Bytes, in.Step, (in.Flags & 1) != 0);
        reader->ParseStream(stream, cp, u"fuzz");
      } else {
        reader->ParseBuffer(in.Bytes.data(), static_cast<int64_t>(in.Bytes.size()), cp, u"fuzz");
      }
    });
    return rec->Log + outcome;
  };
  Same("JSON-to-SAX events from a buffer and from a trickling stream", run(false), run(true));
  return 0;
}
