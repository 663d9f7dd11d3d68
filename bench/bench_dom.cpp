// Document trees side by side: this library's DOM, pugixml, libxml2 and Xerces-C's DOM.
//  - load: UTF-8 bytes in memory to a tree, reusing the document (or parser) object, so the
//    previous tree is freed in the same loop;
//  - save: the tree to UTF-8 bytes in memory, unformatted;
//  - memory: heap bytes in use by one loaded tree (malloc's count before and after the load),
//    per input byte.
// Documents: a generated ~20 MB file, real XML files from Debian packages, one document with
// deep nesting (chains 1,000 deep: the depth libxml2 accepts) and one with 40 attributes per
// element. Every benchmark times its repetitions after a warm-up run, so each library works on
// a warm heap. Prints MB/s, bytes per input byte and the ratios to the aims.
//
//   build/release/bench/bench_dom [--benchmark_filter=iso_639]
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "bench_documents.h"
#include "bench_util.h"
#include "uVxXMLDOM.h"

using namespace vx;

namespace {

using bench::DocumentNames;
using bench::LoadDocument;
using bench::TDocument;

// Every library provides the same four steps on one loaded tree.
struct TLibrary {
  std::function<void(const std::string&)> Load;  // frees the previous tree, loads a new one
  std::function<size_t()> Save;                   // writes the tree, returns the byte count
  std::function<void()> Free;                     // frees the tree
};

// ---- this library ----
TLibrary VxLibrary() {
  auto doc = std::make_shared<TVxIntf<IVxDOMDocument>>();
  auto out = std::make_shared<TVxMemoryStream>();
  return {[doc](const std::string& ABytes) {
            if (!*doc) *doc = VxCreateDOM();
            (*doc)->DOMDocument()->LoadXML(ABytes.data(), static_cast<int64_t>(ABytes.size()));
          },
          [doc, out] {
            out->SetSize(0);
            (*doc)->DOMDocument()->SaveToStream(*out, cVxCodePageUTF8, false, false);
            return static_cast<size_t>(out->Size());
          },
          [doc] { *doc = nullptr; }};
}

// ---- pugixml ----
struct TStringWriter : pugi::xml_writer {
  std::string Text;
  void write(const void* AData, size_t ASize) override { Text.append(static_cast<const char*>(AData), ASize); }
};

TLibrary PugiLibrary() {
  auto doc = std::make_shared<std::unique_ptr<pugi::xml_document>>();
  auto out = std::make_shared<TStringWriter>();
  return {[doc](const std::string& ABytes) {
            if (!*doc) *doc = std::make_unique<pugi::xml_document>();
            if (!(*doc)->load_buffer(ABytes.data(), ABytes.size(), pugi::parse_default | pugi::parse_comments))
              throw std::runtime_error("pugixml failed");
          },
          [doc, out] {
            out->Text.clear();
            (*doc)->save(*out, "", pugi::format_raw, pugi::encoding_utf8);
            return out->Text.size();
          },
          [doc] { doc->reset(); }};
}

// ---- libxml2 ----
TLibrary LibXml2Library() {
  auto doc = std::make_shared<xmlDocPtr>(nullptr);
  return {[doc](const std::string& ABytes) {
            if (*doc) xmlFreeDoc(*doc);
            *doc = xmlReadMemory(ABytes.data(), static_cast<int>(ABytes.size()), "bench.xml", nullptr,
                                 XML_PARSE_HUGE | XML_PARSE_NONET);
            if (!*doc) throw std::runtime_error("libxml2 failed");
          },
          [doc] {
            xmlChar* mem = nullptr;
            int size = 0;
            xmlDocDumpMemoryEnc(*doc, &mem, &size, "UTF-8");
            xmlFree(mem);
            return static_cast<size_t>(size);
          },
          [doc] {
            if (*doc) xmlFreeDoc(*doc);
            *doc = nullptr;
          }};
}

// ---- Xerces-C ----
TLibrary XercesLibrary() {
  auto parser = std::make_shared<std::unique_ptr<xercesc::XercesDOMParser>>();
  auto make = [parser] {
    *parser = std::make_unique<xercesc::XercesDOMParser>();
    (*parser)->setValidationScheme(xercesc::XercesDOMParser::Val_Never);
    (*parser)->setDoNamespaces(true);
    (*parser)->setLoadExternalDTD(false);
  };
  return {[parser, make](const std::string& ABytes) {
            if (!*parser) make();
            xercesc::MemBufInputSource src(reinterpret_cast<const XMLByte*>(ABytes.data()), ABytes.size(), "bench");
            (*parser)->parse(src);
            if ((*parser)->getErrorCount() != 0) throw std::runtime_error("Xerces-C failed");
          },
          [parser] {
            static const XMLCh ls[] = {'L', 'S', 0};
            xercesc::DOMImplementation* impl = xercesc::DOMImplementationRegistry::getDOMImplementation(ls);
            xercesc::DOMLSSerializer* serializer = impl->createLSSerializer();
            xercesc::DOMLSOutput* output = impl->createLSOutput();
            xercesc::MemBufFormatTarget target;
            output->setByteStream(&target);
            serializer->write((*parser)->getDocument(), output);
            const size_t size = target.getLen();
            output->release();
            serializer->release();
            return size;
          },
          [parser] { parser->reset(); }};
}

const std::map<std::string, std::function<TLibrary()>>& Libraries() {
  static const std::map<std::string, std::function<TLibrary()>> libs{
      {"Vx", VxLibrary}, {"pugixml", PugiLibrary}, {"libxml2", LibXml2Library}, {"Xerces", XercesLibrary}};
  return libs;
}

// Results per document and library, for the summary.
struct TResult {
  double LoadMBs = 0, SaveMBs = 0, BytesPerInputByte = 0;
};
std::map<std::string, std::map<std::string, TResult>>& Results() {
  static std::map<std::string, std::map<std::string, TResult>> results;
  return results;
}

void BM_Load(benchmark::State& AState, const std::string* AName, std::string ALib) {
  const TDocument* doc = LoadDocument(*AName);
  TLibrary lib = Libraries().at(ALib)();
  lib.Load(doc->Bytes);  // warm-up: the heap pages are touched once before timing
  for (auto _ : AState) lib.Load(doc->Bytes);
  lib.Free();
  // The tree's own heap use, measured once on a fresh load with nothing else alive.
  double& perByte = Results()[doc->Name][ALib].BytesPerInputByte;
  if (perByte == 0) {
    perByte = HeapPerInputByte([&] { lib.Load(doc->Bytes); }, [&] { lib.Free(); }, doc->Bytes.size());
  }
  AState.counters["heap_per_input_byte"] = perByte;
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(doc->Bytes.size()));
}

void BM_Save(benchmark::State& AState, const std::string* AName, std::string ALib) {
  const TDocument* doc = LoadDocument(*AName);
  TLibrary lib = Libraries().at(ALib)();
  lib.Load(doc->Bytes);
  size_t size = lib.Save();  // warm-up
  for (auto _ : AState) size = lib.Save();
  lib.Free();
  AState.counters["output_MB"] = static_cast<double>(size) / 1e6;
  // Speed is counted on the input's size, so every library is measured on the same work.
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(doc->Bytes.size()));
}

class TRatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    ConsoleReporter::ReportRuns(AReports);
    for (const auto& r : AReports) {
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end()) continue;
      // BM_Load/<lib>/<document>
      std::string name = r.benchmark_name();
      const size_t a = name.find('/'), b = name.find('/', a + 1);
      const std::string kind = name.substr(0, a), lib = name.substr(a + 1, b - a - 1), doc = name.substr(b + 1);
      TResult& res = Results()[doc][lib];
      (kind == "BM_Load" ? res.LoadMBs : res.SaveMBs) = it->second.value / 1e6;
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-22s %-7s %8s %8s %8s %8s\n", "document", "", "Vx", "pugixml", "libxml2", "Xerces");
    auto row = [](const char* ALabel, std::map<std::string, TResult>& R, double TResult::*AField, const char* AFormat) {
      std::printf("%-22s %-7s", "", ALabel);
      for (const char* lib : {"Vx", "pugixml", "libxml2", "Xerces"}) std::printf(AFormat, R[lib].*AField);
      std::printf("\n");
    };
    auto ratio = [](double A, double B) { return B > 0 ? A / B : 0.0; };
    for (auto& [doc, r] : Results()) {
      std::printf("%-22s\n", doc.c_str());
      row("load", r, &TResult::LoadMBs, " %8.0f");
      row("save", r, &TResult::SaveMBs, " %8.0f");
      row("heap/B", r, &TResult::BytesPerInputByte, " %8.2f");
      std::printf("%-22s ratios: load/libxml2 %.2f (aim >= 3), load/Xerces %.2f (>= 3), load/pugixml %.2f (>= 0.5), "
                  "save/pugixml %.2f (>= 1), heap/libxml2 %.2f (<= 0.5)\n",
                  "", ratio(r["Vx"].LoadMBs, r["libxml2"].LoadMBs), ratio(r["Vx"].LoadMBs, r["Xerces"].LoadMBs),
                  ratio(r["Vx"].LoadMBs, r["pugixml"].LoadMBs), ratio(r["Vx"].SaveMBs, r["pugixml"].SaveMBs),
                  ratio(r["Vx"].BytesPerInputByte, r["libxml2"].BytesPerInputByte));
    }
    std::printf("(load and save in MB/s of input; heap/B: heap bytes of the loaded tree per input byte)\n");
  }
};

}  // namespace

int main(int argc, char** argv) {
  xercesc::XMLPlatformUtils::Initialize();
  xmlInitParser();
  // The benchmarks keep pointers to the names: the list lives as long as the program.
  static const std::vector<std::string> names = DocumentNames(true);
  for (const auto& name : names) {
    const std::string shown = std::filesystem::path(name).filename().string();
    for (const auto& [lib, make] : Libraries()) {
      benchmark::RegisterBenchmark(("BM_Load/" + lib + "/" + shown).c_str(), BM_Load, &name, lib)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("BM_Save/" + lib + "/" + shown).c_str(), BM_Save, &name, lib)->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  TRatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  xmlCleanupParser();
  xercesc::XMLPlatformUtils::Terminate();
  return 0;
}
