// libFuzzer target: DOM load, save and reload. A document loads alike from a buffer and through
// a trickling stream with a tiny read window (the same saved text, or the same failure); once
// saved, a document reloads and saves to the same text.
#include <regex>

#include "fuzz_util.h"
#include "uVxXMLDOM.h"

using namespace vx;
using namespace vx::fuzz;

namespace {
std::string Save(TVxDOMDocument* ADoc, bool AFormat) {
  TVxMemoryStream out;
  ADoc->SaveToStream(out, true, AFormat);  // in its code page, with a mark for UTF-8 and UTF-16LE
  return std::string(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.Size()));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  // Indenting adds blanks to mixed content, so only the compact form must read back the same.
  const bool format = false;
  // The saved text is in the document's code page. Only UTF-8 and UTF-16LE get a byte-order
  // mark, so a document read from a UTF-16BE mark saves without one and is read back with its
  // code page given (a document given its code page keeps UTF-8); every other saved text names
  // its code page by mark or declaration.
  uint16_t codePage = 0;
  auto load = [&](bool AStream, std::string& ASaved) {
    TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
    std::string outcome =
        Outcome([&] { WithSource(in, AStream, [&](TVxStream& AIn) { doc->DOMDocument()->LoadFromStream(AIn); }); });
    if (outcome.empty()) outcome = Outcome([&] { ASaved = Save(doc->DOMDocument(), format); });
    if (!AStream && doc->DOMDocument()->CodePage() == cVxCodePageUTF16BE) codePage = cVxCodePageUTF16BE;
    return outcome;
  };
  std::string fromBuffer, fromStream;
  Same("DOM from a buffer and from a trickling stream", load(false, fromBuffer) + fromBuffer,
       load(true, fromStream) + fromStream);
  if (fromBuffer.empty()) return 0;
  // The reader is lenient (text beside the root, stray end tags, odd processing instructions),
  // so the first save may normalise what it read; from then on saving and reloading must not
  // change the text.
  bool rooted = false;
  auto cycle = [&](const std::string& AText, uint16_t ACodePage, std::string& ASaved) {
    TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
    return Outcome([&] {
      doc->DOMDocument()->LoadXML(AText.data(), static_cast<int64_t>(AText.size()), ACodePage);
      ASaved = Save(doc->DOMDocument(), format);
      rooted = doc->DOMDocument()->DocumentElement() != nullptr;
      if (in.Flags & 2) Save(doc->DOMDocument(), true);
    });
  };
  std::string second, third;
  if (!cycle(fromBuffer, codePage, second).empty()) return 0;  // a lenient first save need not read back
  // A stray end tag alone reads as a document without root element, which saves to text the
  // reader refuses (it wants a "<" after the prolog).
  if (!rooted) return 0;
  // Processing instructions are read leniently (any target, a colon in it splits like a
  // prefix): their text is checked only for reading back without crashing, above.
  // The XML declaration is one of them: only a plain one is taken.
  static const std::regex plainDeclaration(
      R"(^(\xef\xbb\xbf)?(<\?xml( (version|encoding|standalone)="[-A-Za-z0-9._:]*")*\?>)?)");
  std::smatch declaration;
  std::regex_search(second, declaration, plainDeclaration);
  const size_t body = static_cast<size_t>(declaration.length(0));
  if (second.find("<?", body) != std::string::npos) return 0;
  // Nor text with NUL characters, which the reader takes for the end of the input.
  if (second.compare(0, 3, "\xef\xbb\xbf") == 0 && second.find('\0') != std::string::npos) return 0;
  const std::string outcome = cycle(second, 0, third);
  Same("a saved document reloads and saves the same", second, outcome + third);
  return 0;
}
