// libFuzzer target: the JSON reader and the tree builder. The reader gives the same events (or
// failure) from a buffer and through a trickling stream with a tiny read window; a tree loaded
// both ways writes the same text; and a tree that loaded writes text that reloads to the same
// tree, compact and formatted (names compared after one unescaping: they are kept as read and
// escaped when written). A node held past its document stays whole.
#include "fuzz_util.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const bool trailing = (in.Flags & 2) != 0;
  auto events = [&](bool AStream) {
    auto rec = VxMake<TJSONRecorder>();
    auto reader = VxMake<TVxJSONReader>();
    reader->SetContentHandler(TVxIntf<IVxJSONContentHandler>(rec.Get()));
    reader->SetErrorHandler(TVxIntf<IVxJSONErrorHandler>(rec.Get()));
    reader->SetAllowTrailingWhiteSpace(trailing);
    const std::string outcome =
        Outcome([&] { WithSource(in, AStream, [&](TVxStream& AIn) { reader->ParseStream(AIn, 0, u"fuzz"); }); });
    return rec->Log + outcome;
  };
  Same("JSON events from a buffer and from a trickling stream", events(false), events(true));

  auto load = [&](bool AStream, std::string& AText) {
    auto doc = VxMake<TVxJSONDocument>();
    doc->SetAllowTrailingWhiteSpace(trailing);
    std::string outcome =
        Outcome([&] { WithSource(in, AStream, [&](TVxStream& AIn) { doc->TVxJSONBase::LoadFromStream(AIn); }); });
    if (outcome.empty()) outcome = Outcome([&] { AText = VxUTF16ToUTF8(doc->GetAsJSON()); });
    return outcome;
  };
  std::string fromBuffer, fromStream;
  Same("JSON trees from a buffer and from a trickling stream", load(false, fromBuffer) + fromBuffer,
       load(true, fromStream) + fromStream);
  if (fromBuffer.empty()) return 0;

  auto first = VxMake<TVxJSONDocument>(VxUTF8ToUTF16(fromBuffer));
  const std::string tree = Canon(first.Get(), false);
  for (const VxJSONString& text : {first->GetAsJSON(), first->GetFormattedJSON()}) {
    std::string again;
    const std::string outcome = Outcome([&] { again = Canon(VxMake<TVxJSONDocument>(text).Get(), true); });
    Same("a written tree reloads to the same tree", tree, outcome + again);
  }

  // A node held past its document stays whole, detached, until its last reference goes.
  if (TVxJSONBase* root = first->GetRootValue()) {
    TVxJSONBase* node = root->ChildCount() > 0 ? root->Child(root->ChildCount() - 1) : root;
    TVxIntf<IVxJSONBase> held = node->As<IVxJSONBase>();
    const std::string before = VxUTF16ToUTF8(held->GetAsJSON());
    first = nullptr;
    Same("a node held past its document", before, VxUTF16ToUTF8(held->GetAsJSON()));
    Same("a node held past its document is detached", "", held->JSONBase()->Parent() ? "parent" : "");
  }
  return 0;
}
