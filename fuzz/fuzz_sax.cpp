// libFuzzer target: any bytes, in every code page the readers choose between, must give events
// or a library exception; never a crash, a hang or a leak.
//
//   cmake -S . -B build/fuzz -DCMAKE_CXX_COMPILER=clang++ -DVX_BUILD_FUZZ=ON -DVX_BUILD_TESTS=OFF
//   cmake --build build/fuzz --target fuzz_sax && build/fuzz/fuzz/fuzz_sax -max_total_time=60
#include <cstddef>
#include <cstdint>

#include "uVxSAX.h"

namespace {
class TSink : public vx::TVxImplements<vx::TVxObject, vx::IVxSAXContentHandler, vx::IVxSAXErrorHandler,
                                       vx::IVxSAXLexicalHandler> {
 public:
  size_t Sum = 0;
  void SetDocumentLocator(vx::IVxSAXLocator*) override {}
  void Characters(const vx::VxXMLString& T) override { Sum += T.size(); }
  void EndDocument() override {}
  void EndElement(const vx::VxXMLString&, const vx::VxXMLString& L, const vx::VxXMLString&) override { Sum += L.size(); }
  void EndPrefixMapping(const vx::VxXMLString&) override {}
  void IgnorableWhitespace(const vx::VxXMLString&) override {}
  void ProcessingInstruction(const vx::VxXMLString&, const vx::VxXMLString&) override {}
  void SkippedEntity(const vx::VxXMLString&) override {}
  void StartDocument() override {}
  void StartElement(const vx::VxXMLString&, const vx::VxXMLString& L, const vx::VxXMLString&,
                    vx::IVxSAXAttributes* A) override {
    Sum += L.size();
    for (int k = 0; k < A->Count(); ++k) Sum += A->GetValue(k).size();
  }
  void StartPrefixMapping(const vx::VxXMLString&, const vx::VxXMLString&) override {}
  void Warning(vx::IVxSAXLocator*, const vx::VxXMLString&) override {}
  void Error(vx::IVxSAXLocator*, const vx::VxXMLString&) override {}
  void FatalError(vx::IVxSAXLocator* L, const vx::VxXMLString&) override { Sum += static_cast<size_t>(L->GetLineNr()); }
  void Comment(const vx::VxXMLString&) override {}
  void StartCDATA() override {}
  void StartDTD() override {}
  void StartEntity(const vx::VxXMLString&) override {}
  void EndCDATA() override {}
  void EndDTD() override {}
  void EndEntity(const vx::VxXMLString&) override {}
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  static vx::TVxIntf<TSink> sink(new TSink);
  for (uint16_t cp : {uint16_t(0), vx::cVxCodePageUTF8, vx::cVxCodePageUTF16, uint16_t(932), uint16_t(50220)}) {
    vx::TVxSAXParser parser;
    parser.OnCharacters = [](vx::TVxSAXParser*, const vx::VxXMLString& T) { (void)T.size(); };
    try {
      parser.ParseBuffer(AData, static_cast<int64_t>(ASize), cp, u"fuzz");
    } catch (const vx::Exception&) {
    }
    vx::TVxSAXXMLReader reader;
    reader.SetContentHandler(vx::TVxIntf<vx::IVxSAXContentHandler>(sink.Get()));
    reader.SetErrorHandler(vx::TVxIntf<vx::IVxSAXErrorHandler>(sink.Get()));
    reader.SetLexicalHandler(vx::TVxIntf<vx::IVxSAXLexicalHandler>(sink.Get()));
    try {
      reader.ParseBuffer(AData, static_cast<int64_t>(ASize), cp, u"fuzz");
    } catch (const vx::Exception&) {
    }
  }
  return 0;
}
