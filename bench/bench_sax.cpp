// (iso_3166-2.xml of the same package holds a bare "&" and is refused by the others: not used.)
// SAX throughput side by side: this library's XML reader, expat, libxml2's SAX2 and Xerces-C's
// SAX2, each with handlers that touch every name, attribute value and text, over a generated
// ~20 MB document and real XML files from Debian packages. Prints MB/s and the ratio of this
// library to the fastest of the others per document.
//
//   build/release/bench/bench_sax
#include <benchmark/benchmark.h>
#include <expat.h>
#include <libxml/parser.h>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench_documents.h"
#include "bench_util.h"
#include "uVxSAX.h"

using namespace vx;

namespace {

using bench::DocumentNames;
using bench::LoadDocument;
using bench::TDocument;

// ---- this library ----
class TVxTouch : public TVxImplements<TVxObject, IVxSAXContentHandler, IVxSAXErrorHandler> {
 public:
  size_t Sum = 0;
  void SetDocumentLocator(IVxSAXLocator*) override {}
  void Characters(const VxXMLString& T) override { Sum += T.size(); }
  void EndDocument() override {}
  void EndElement(const VxXMLString& U, const VxXMLString& L, const VxXMLString&) override { Sum += U.size() + L.size(); }
  void EndPrefixMapping(const VxXMLString&) override {}
  void IgnorableWhitespace(const VxXMLString& T) override { Sum += T.size(); }
  void ProcessingInstruction(const VxXMLString&, const VxXMLString&) override {}
  void SkippedEntity(const VxXMLString&) override {}
  void StartDocument() override {}
  void StartElement(const VxXMLString& U, const VxXMLString& L, const VxXMLString&, IVxSAXAttributes* A) override {
    Sum += U.size() + L.size();
    for (int k = 0, n = A->Count(); k < n; ++k) Sum += A->GetLocalName(k).size() + A->GetValue(k).size();
  }
  void StartPrefixMapping(const VxXMLString&, const VxXMLString&) override {}
  void Warning(IVxSAXLocator*, const VxXMLString&) override {}
  void Error(IVxSAXLocator*, const VxXMLString&) override {}
  void FatalError(IVxSAXLocator*, const VxXMLString&) override {}
};

void BM_Vx(benchmark::State& AState, const std::string* AName) {
  const TDocument* ADoc = LoadDocument(*AName);
  TVxIntf<TVxTouch> touch(new TVxTouch);
  TVxSAXXMLReader reader;
  reader.SetContentHandler(TVxIntf<IVxSAXContentHandler>(touch.Get()));
  reader.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(touch.Get()));
  for (auto _ : AState) reader.ParseBuffer(ADoc->Bytes.data(), static_cast<int64_t>(ADoc->Bytes.size()), 0, u"");
  benchmark::DoNotOptimize(touch->Sum);
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(ADoc->Bytes.size()));
}

// ---- expat ----
void BM_Expat(benchmark::State& AState, const std::string* AName) {
  const TDocument* ADoc = LoadDocument(*AName);
  size_t sum = 0;
  for (auto _ : AState) {
    XML_Parser p = XML_ParserCreateNS(nullptr, '|');
    XML_SetUserData(p, &sum);
    XML_SetElementHandler(
        p,
        [](void* U, const XML_Char* N, const XML_Char** A) {
          size_t& s = *static_cast<size_t*>(U);
          s += std::strlen(N);
          for (; *A; A += 2) s += std::strlen(A[0]) + std::strlen(A[1]);
        },
        [](void* U, const XML_Char* N) { *static_cast<size_t*>(U) += std::strlen(N); });
    XML_SetCharacterDataHandler(p, [](void* U, const XML_Char*, int L) { *static_cast<size_t*>(U) += static_cast<size_t>(L); });
    if (XML_Parse(p, ADoc->Bytes.data(), static_cast<int>(ADoc->Bytes.size()), 1) != XML_STATUS_OK)
      AState.SkipWithError("expat failed");
    XML_ParserFree(p);
  }
  benchmark::DoNotOptimize(sum);
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(ADoc->Bytes.size()));
}

// ---- libxml2 SAX2 ----
void BM_LibXml2(benchmark::State& AState, const std::string* AName) {
  const TDocument* ADoc = LoadDocument(*AName);
  xmlSAXHandler h;
  std::memset(&h, 0, sizeof h);
  h.initialized = XML_SAX2_MAGIC;
  h.startElementNs = [](void* U, const xmlChar* L, const xmlChar*, const xmlChar* URI, int, const xmlChar**, int NA, int,
                        const xmlChar** A) {
    size_t& s = *static_cast<size_t*>(U);
    s += std::strlen(reinterpret_cast<const char*>(L)) + (URI ? std::strlen(reinterpret_cast<const char*>(URI)) : 0);
    for (int k = 0; k < NA; ++k) s += std::strlen(reinterpret_cast<const char*>(A[k * 5])) + static_cast<size_t>(A[k * 5 + 4] - A[k * 5 + 3]);
  };
  h.endElementNs = [](void* U, const xmlChar* L, const xmlChar*, const xmlChar* URI) {
    *static_cast<size_t*>(U) += std::strlen(reinterpret_cast<const char*>(L)) + (URI ? std::strlen(reinterpret_cast<const char*>(URI)) : 0);
  };
  h.characters = [](void* U, const xmlChar*, int L) { *static_cast<size_t*>(U) += static_cast<size_t>(L); };
  size_t sum = 0;
  for (auto _ : AState)
    if (xmlSAXUserParseMemory(&h, &sum, ADoc->Bytes.data(), static_cast<int>(ADoc->Bytes.size())) != 0)
      AState.SkipWithError("libxml2 failed");
  benchmark::DoNotOptimize(sum);
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(ADoc->Bytes.size()));
}

// ---- Xerces-C SAX2 ----
class TXercesTouch : public xercesc::DefaultHandler {
 public:
  size_t Sum = 0;
  void startElement(const XMLCh* const U, const XMLCh* const L, const XMLCh* const, const xercesc::Attributes& A) override {
    Sum += xercesc::XMLString::stringLen(U) + xercesc::XMLString::stringLen(L);
    for (XMLSize_t k = 0, n = A.getLength(); k < n; ++k)
      Sum += xercesc::XMLString::stringLen(A.getLocalName(k)) + xercesc::XMLString::stringLen(A.getValue(k));
  }
  void endElement(const XMLCh* const U, const XMLCh* const L, const XMLCh* const) override {
    Sum += xercesc::XMLString::stringLen(U) + xercesc::XMLString::stringLen(L);
  }
  void characters(const XMLCh* const, const XMLSize_t L) override { Sum += L; }
};

void BM_Xerces(benchmark::State& AState, const std::string* AName) {
  const TDocument* ADoc = LoadDocument(*AName);
  std::unique_ptr<xercesc::SAX2XMLReader> reader(xercesc::XMLReaderFactory::createXMLReader());
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreNameSpaces, true);
  reader->setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
  TXercesTouch touch;
  reader->setContentHandler(&touch);
  reader->setErrorHandler(&touch);
  for (auto _ : AState) {
    xercesc::MemBufInputSource src(reinterpret_cast<const XMLByte*>(ADoc->Bytes.data()), ADoc->Bytes.size(), "bench");
    reader->parse(src);
  }
  benchmark::DoNotOptimize(touch.Sum);
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(ADoc->Bytes.size()));
}

// A SAX pass over a 1 GB document generated while it is read: peak resident memory stays small.
void BM_Vx1GBStream(benchmark::State& AState) {
  const int64_t size = int64_t(1) << 30;
  TVxIntf<TVxTouch> touch(new TVxTouch);
  TVxSAXXMLReader reader;
  reader.SetContentHandler(TVxIntf<IVxSAXContentHandler>(touch.Get()));
  reader.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(touch.Get()));
  for (auto _ : AState) {
    TGeneratedStream stream(size, "  <r id=\"7\" p:k=\"v\">text \u00fc \u8a9e &amp; more</r>\n",
                            "<?xml version=\"1.0\"?>\n<root xmlns:p=\"urn:p\">\n", "</root>\n");
    reader.ParseStream(stream, 0, u"");
  }
  benchmark::DoNotOptimize(touch->Sum);
  AState.counters["peak_rss_MB"] = PeakResidentMB();
  AState.SetBytesProcessed(AState.iterations() * size);
}

// Collects MB/s per run and prints this library's ratio to the fastest other reader.
class TRatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    ConsoleReporter::ReportRuns(AReports);
    for (const auto& r : AReports) {
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end()) continue;
      std::string name = r.benchmark_name();
      auto slash = name.find('/');
      std::string reader = name.substr(0, slash);
      if (reader != "BM_Vx" && reader != "BM_Expat" && reader != "BM_LibXml2" && reader != "BM_Xerces") continue;
      FRates[name.substr(slash + 1)][reader] = it->second.value / 1e6;
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-28s %9s %9s %9s %9s  %s\n", "document", "Vx", "expat", "libxml2", "Xerces", "Vx / fastest other");
    for (auto& [doc, rates] : FRates) {
      double best = std::max({rates["BM_Expat"], rates["BM_LibXml2"], rates["BM_Xerces"]});
      std::printf("%-28s %9.0f %9.0f %9.0f %9.0f  %.2f\n", doc.c_str(), rates["BM_Vx"], rates["BM_Expat"],
                  rates["BM_LibXml2"], rates["BM_Xerces"], best > 0 ? rates["BM_Vx"] / best : 0.0);
    }
    std::printf("(MB/s)\n");
  }

 private:
  std::map<std::string, std::map<std::string, double>> FRates;
};

}  // namespace

int main(int argc, char** argv) {
  xercesc::XMLPlatformUtils::Initialize();
  xmlInitParser();
  // First, so the peak resident memory is the stream pass's own.
  benchmark::RegisterBenchmark("BM_Vx1GBStream", BM_Vx1GBStream)->Iterations(1)->Unit(benchmark::kMillisecond);
  // The benchmarks keep pointers to the names: the list lives as long as the program.
  static const std::vector<std::string> names = DocumentNames(false);
  for (const auto& name : names) {
    std::string shown = std::filesystem::path(name).filename().string();
    benchmark::RegisterBenchmark(("BM_Vx/" + shown).c_str(), BM_Vx, &name)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("BM_Expat/" + shown).c_str(), BM_Expat, &name)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("BM_LibXml2/" + shown).c_str(), BM_LibXml2, &name)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("BM_Xerces/" + shown).c_str(), BM_Xerces, &name)->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  TRatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  xmlCleanupParser();
  xercesc::XMLPlatformUtils::Terminate();
  return 0;
}
