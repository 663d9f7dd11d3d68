// libFuzzer target: the form-url-encoded reader into the JSON tree, from a buffer and through a
// trickling stream with a tiny read window (the same tree or the same failure); the tree it
// builds writes JSON that reloads to the same tree.
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  auto load = [&](bool AStream, std::string& AText) {
    auto doc = VxMake<TVxJSONDocument>();
    std::string outcome = Outcome([&] {
      WithSource(in, AStream, [&](TVxStream& AIn) { doc->TVxJSONBase::LoadFromStream(AIn, cVxCodePageUTF8, true); });
      if (doc->GetRootValue()) AText = VxUTF16ToUTF8(doc->GetAsJSON());
    });
    return outcome;
  };
  std::string fromBuffer, fromStream;
  Same("form trees from a buffer and from a trickling stream", load(false, fromBuffer) + fromBuffer,
       load(true, fromStream) + fromStream);
  if (fromBuffer.empty()) return 0;
  auto first = VxMake<TVxJSONDocument>(VxUTF8ToUTF16(fromBuffer));
  std::string again;
  const std::string outcome = Outcome([&] { again = Canon(VxMake<TVxJSONDocument>(first->GetAsJSON()).Get(), true); });
  Same("a form tree's JSON reloads to the same tree", Canon(first.Get(), false), outcome + again);
  return 0;
}
