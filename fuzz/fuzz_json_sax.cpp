// libFuzzer target: the JSON-to-SAX reader (JSON reported as XML events), from a buffer and
// through a trickling stream with a tiny read window: the same events or the same failure.
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const uint16_t cp = (in.Flags & 2) ? cVxCodePageUTF16 : cVxCodePageUTF8;
  Same("JSON-to-SAX events from a buffer and from a trickling stream", SAXEvents<TVxSAXJSONReader>(in, cp, false),
       SAXEvents<TVxSAXJSONReader>(in, cp, true));
  return 0;
}
