// libFuzzer target: node paths with predicates and functions, the fuzzed text being the path
// over a fixed document, with the select options the first byte picks. Only the library's
// exceptions may come out; a creating path leaves a document that still saves.
#include "fuzz_util.h"
#include "uVxXMLDOM.h"

using namespace vx;
using namespace vx::fuzz;

namespace {
const char* const cDocument =
    "<?xml version=\"1.0\"?><cat:catalog xmlns:cat=\"urn:c\" xmlns=\"urn:d\" lang=\"en\">"
    "<cat:book id=\"b1\" cat:year=\"2024\"><title>G\xc3\xb6" "del &amp; more</title><price>12.50</price>"
    "<note><![CDATA[<raw>]]></note></cat:book><cat:book id=\"b2\"><title>Emma</title><price>9</price>"
    "<date>2024-02-29T10:00:00Z</date><dur>P1Y2M</dur></cat:book><empty/><?pi data?><!-- c --></cat:catalog>";
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const VxXMLString path = VxUTF8ToUTF16(in.Bytes);
  TVxDOMSelectOptions options;
  if (in.Flags & 1) options.Include(soRaise);
  if (in.Flags & 2) options.Include(soCreate);
  if (in.Flags & 4) options.Include(soCaseSensitive);
  if (in.Flags & 8) options.Include(soLocalName);
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM(VxUTF8ToUTF16(cDocument));
  TVxDOMDocument* d = doc->DOMDocument();
  Outcome([&] { d->CreateNodeList(path, options); });
  Outcome([&] { d->SelectSingleNode(path, options); });
  Outcome([&] { d->DocumentElement()->SelectSingleNode(path, options); });
  Outcome([&] { d->DocumentElement()->CreateElementList(path, options); });
  // Whatever a creating path made saves (names made by soCreate are not checked, so the text
  // need not read back).
  Outcome([&] { d->GetXML(); });
  return 0;
}
