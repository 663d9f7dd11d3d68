// libFuzzer target: DOM load, save and reload. A document loads alike from a buffer and through
// a trickling stream with a tiny read window (the same saved text, or the same failure); a
// document that loaded saves text that reloads and saves to the same text.
#include "fuzz_util.h"
#include "uVxXMLDOM.h"

using namespace vx;
using namespace vx::fuzz;

namespace {
std::string Save(TVxDOMDocument* ADoc, bool AFormat) {
  TVxMemoryStream out;
  ADoc->SaveToStream(out, false, AFormat);
  return std::string(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.Size()));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const bool format = (in.Flags & 2) != 0;
  auto load = [&](bool AStream, std::string& ASaved) {
    TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
    std::string outcome = Outcome([&] {
      if (AStream) {
        test::TWindowGuard window(in.Window);
        test::TTrickleStream stream(in.Bytes, in.Step, (in.Flags & 1) != 0);
        doc->DOMDocument()->LoadFromStream(stream);
      } else {
        doc->DOMDocument()->LoadXML(in.Bytes.data(), static_cast<int64_t>(in.Bytes.size()));
      }
    });
    if (outcome.empty()) outcome = Outcome([&] { ASaved = Save(doc->DOMDocument(), format); });
    return outcome;
  };
  std::string fromBuffer, fromStream;
  Same("DOM from a buffer and from a trickling stream", load(false, fromBuffer) + fromBuffer,
       load(true, fromStream) + fromStream);
  if (fromBuffer.empty()) return 0;
  TVxIntf<IVxDOMDocument> again = VxCreateDOM();
  std::string saved;
  const std::string outcome = Outcome([&] {
    again->DOMDocument()->LoadXML(fromBuffer.data(), static_cast<int64_t>(fromBuffer.size()));
    saved = Save(again->DOMDocument(), format);
  });
  Same("a saved document reloads and saves the same", fromBuffer, outcome + saved);
  return 0;
}
