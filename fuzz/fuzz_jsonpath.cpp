// libFuzzer target: JSON paths, the fuzzed text being the path over a fixed document, with
// the options the first byte picks. Only the library's exceptions may come out; a path with
// jsoCreate leaves a tree that writes and reloads the same.
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

namespace {
const char16_t* const cDocument =
    uR"({"store": {"book": [{"category": "reference", "author": "Nigel Rees", "price": 8.95},
    {"category": "fiction", "title": "Moby Dick", "isbn": "0-553-21311-3", "price": 8.99, "tags": ["a", "b"]}],
    "bicycle": {"color": "red", "price": 19.95, "gears": null, "new": true}}, "list": [[1, 2], [], {}, "s", -1e3],
    "a\u0041": 1, "": 2})";
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const VxJSONString path = VxUTF8ToUTF16(in.Bytes);
  TVxJDOCSelectOptions options;
  if (in.Flags & 1) options.Include(jsoRaise);
  if (in.Flags & 2) options.Include(jsoCreate);
  if (in.Flags & 4) options.Include(jsoCaseInsensitive);
  auto doc = VxMake<TVxJSONDocument>(VxJSONString(cDocument));
  TVxJSONBase* start = (in.Flags & 8) ? doc->SelectSingleNode(u"$.store") : doc.Get();
  Outcome([&] { TVxJSONPath(path).Evaluate(start, (in.Flags & 4) != 0); });
  Outcome([&] { doc->CreateNodeList(path, options); });
  Outcome([&] { start->SelectSingleNode(path, options); });
  Outcome([&] { doc->GetRootValue()->GetMember(path, options); });
  std::string again;
  const std::string outcome = Outcome([&] { again = Canon(VxMake<TVxJSONDocument>(doc->GetAsJSON()).Get(), true); });
  Same("a tree changed by paths reloads the same", Canon(doc.Get(), false), outcome + again);
  return 0;
}
