// JSON trees side by side: this library's JSON model, RapidJSON (its UTF-8 DOM and its UTF-16
// DOM), nlohmann-json and jsoncpp.
//  - load: UTF-8 bytes in memory to a tree (the previous tree freed in the same loop);
//  - write: the tree to compact UTF-8 text in memory;
//  - memory: heap bytes in use by one loaded tree, per input byte.
// Documents: generated ~10 MB of numbers, of records with mixed members, and of long strings
// with escapes and non-ASCII text, and iso-codes' iso_639-3.json. Every benchmark times its
// repetitions after a warm-up run. A last benchmark passes the event reader over a 1 GB
// generated JSON stream and reports the peak resident memory. JSON paths over the records
// document run beside nlohmann-json (a JSON Pointer, or a hand-written loop).
//
//   build/release/bench/bench_json
#include <benchmark/benchmark.h>
#include <json/json.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "bench_util.h"
#include "uVxJSON.h"

using namespace vx;

namespace {

std::string Numbers() {
  std::string s = "[";
  for (int k = 0; s.size() < (10u << 20); ++k) {
    s += k ? ",\n [" : "\n [";
    for (int j = 0; j < 10; ++j) s += (j ? ", " : "") + std::to_string(k * 37 + j * 1009) + (j % 3 ? ".25" : "");
    s += "]";
  }
  return s + "\n]";
}

std::string Records() {
  std::string s = "[";
  for (int k = 0; s.size() < (10u << 20); ++k) {
    s += k ? ",\n" : "\n";
    s += "  {\"id\": " + std::to_string(k) + ", \"name\": \"Record " + std::to_string(k) +
         "\", \"price\": " + std::to_string(k % 1000) + ".99, \"active\": " + (k % 2 ? "true" : "false") +
         ", \"note\": null, \"tags\": [\"alpha\", \"beta\", \"gamma\"], \"owner\": {\"first\": \"Zoë\", \"last\": \"Ångström\"}}";
  }
  return s + "\n]";
}

std::string Strings() {
  std::string s = "[";
  for (int k = 0; s.size() < (10u << 20); ++k) {
    s += k ? ",\n" : "\n";
    s += "  \"Line " + std::to_string(k) +
         " with \\\"quotes\\\", a tab\\t, a newline\\n, escaped \\u00e9 and plain é, 日本語 text, and more words to make it long\"";
  }
  return s + "\n]";
}

struct TDocument {
  std::string Name;
  std::string Bytes;
};

const std::vector<TDocument>& Documents() {
  static const std::vector<TDocument> docs = [] {
    std::vector<TDocument> d{{"numbers-10MB", Numbers()}, {"records-10MB", Records()}, {"strings-10MB", Strings()}};
    const char* iso = "/usr/share/iso-codes/json/iso_639-3.json";
    if (std::filesystem::exists(iso)) {
      std::ifstream f(iso, std::ios::binary);
      std::stringstream ss;
      ss << f.rdbuf();
      d.push_back({"iso_639-3.json", ss.str()});
    }
    return d;
  }();
  return docs;
}


struct TLibrary {
  std::function<void(const std::string&)> Load;
  std::function<size_t()> Write;
  std::function<void()> Free;
};

TLibrary VxLibrary() {
  auto doc = std::make_shared<TVxIntf<TVxJSONDocument>>();
  auto out = std::make_shared<TVxMemoryStream>();
  return {[doc](const std::string& ABytes) {
            if (!*doc) {
              *doc = VxMake<TVxJSONDocument>();
              (*doc)->SetAllowTrailingWhiteSpace(true);
            }
            TVxMemoryStream in(ABytes.data(), static_cast<int64_t>(ABytes.size()));
            (*doc)->TVxJSONBase::LoadFromStream(in, cVxCodePageUTF8, false);
          },
          [doc, out] {
            out->SetSize(0);
            (*doc)->SaveToStream(*out, false, cVxCodePageUTF8, false);
            return static_cast<size_t>(out->Size());
          },
          [doc] { *doc = nullptr; }};
}

TLibrary RapidUTF8Library() {
  auto doc = std::make_shared<std::unique_ptr<rapidjson::Document>>();
  auto out = std::make_shared<rapidjson::StringBuffer>();
  return {[doc](const std::string& ABytes) {
            if (!*doc) *doc = std::make_unique<rapidjson::Document>();
            (*doc)->Parse(ABytes.data(), ABytes.size());
            if ((*doc)->HasParseError()) throw std::runtime_error("RapidJSON failed");
          },
          [doc, out] {
            out->Clear();
            rapidjson::Writer<rapidjson::StringBuffer> w(*out);
            (*doc)->Accept(w);
            return out->GetSize();
          },
          [doc] { doc->reset(); }};
}

using TUTF16Document = rapidjson::GenericDocument<rapidjson::UTF16<>>;

TLibrary RapidUTF16Library() {
  auto doc = std::make_shared<std::unique_ptr<TUTF16Document>>();
  auto out = std::make_shared<rapidjson::StringBuffer>();
  return {[doc](const std::string& ABytes) {
            if (!*doc) *doc = std::make_unique<TUTF16Document>();
            rapidjson::MemoryStream ms(ABytes.data(), ABytes.size());
            rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> in(ms);
            (*doc)->ParseStream<rapidjson::kParseDefaultFlags, rapidjson::UTF8<>>(in);
            if ((*doc)->HasParseError()) throw std::runtime_error("RapidJSON (UTF-16) failed");
          },
          [doc, out] {
            out->Clear();
            rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF16<>, rapidjson::UTF8<>> w(*out);
            (*doc)->Accept(w);
            return out->GetSize();
          },
          [doc] { doc->reset(); }};
}

TLibrary NlohmannLibrary() {
  auto doc = std::make_shared<nlohmann::json>();
  auto out = std::make_shared<std::string>();
  return {[doc](const std::string& ABytes) { *doc = nlohmann::json::parse(ABytes); },
          [doc, out] {
            *out = doc->dump();
            return out->size();
          },
          [doc] { *doc = nlohmann::json(); }};
}

TLibrary JsoncppLibrary() {
  auto doc = std::make_shared<Json::Value>();
  auto out = std::make_shared<std::string>();
  return {[doc](const std::string& ABytes) {
            Json::CharReaderBuilder builder;
            std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
            std::string errors;
            if (!reader->parse(ABytes.data(), ABytes.data() + ABytes.size(), doc.get(), &errors))
              throw std::runtime_error("jsoncpp failed");
          },
          [doc, out] {
            Json::StreamWriterBuilder builder;
            builder["indentation"] = "";
            *out = Json::writeString(builder, *doc);
            return out->size();
          },
          [doc] { *doc = Json::Value(); }};
}

const std::vector<std::pair<std::string, std::function<TLibrary()>>>& Libraries() {
  static const std::vector<std::pair<std::string, std::function<TLibrary()>>> libs{
      {"Vx", VxLibrary}, {"RapidJSON", RapidUTF8Library}, {"RapidJSON16", RapidUTF16Library},
      {"nlohmann", NlohmannLibrary}, {"jsoncpp", JsoncppLibrary}};
  return libs;
}

std::function<TLibrary()> LibraryOf(const std::string& AName) {
  for (const auto& [name, make] : Libraries())
    if (name == AName) return make;
  return {};
}

struct TResult {
  double LoadMBs = 0, WriteMBs = 0, HeapPerByte = 0;
};
std::map<std::string, std::map<std::string, TResult>>& Results() {
  static std::map<std::string, std::map<std::string, TResult>> results;
  return results;
}

void BM_Load(benchmark::State& AState, const TDocument* ADoc, std::string ALib) {
  TLibrary lib = LibraryOf(ALib)();
  lib.Load(ADoc->Bytes);  // warm-up
  for (auto _ : AState) lib.Load(ADoc->Bytes);
  lib.Free();
  double& perByte = Results()[ADoc->Name][ALib].HeapPerByte;
  if (perByte == 0) {
    perByte = HeapPerInputByte([&] { lib.Load(ADoc->Bytes); }, [&] { lib.Free(); }, ADoc->Bytes.size());
  }
  AState.counters["heap_per_input_byte"] = perByte;
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(ADoc->Bytes.size()));
}

void BM_Write(benchmark::State& AState, const TDocument* ADoc, std::string ALib) {
  TLibrary lib = LibraryOf(ALib)();
  lib.Load(ADoc->Bytes);
  size_t size = lib.Write();  // warm-up
  for (auto _ : AState) size = lib.Write();
  lib.Free();
  AState.counters["output_MB"] = static_cast<double>(size) / 1e6;
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(ADoc->Bytes.size()));
}

// Counts the events.
class TCounter : public TVxImplements<TVxObject, IVxJSONContentHandler, IVxJSONErrorHandler> {
 public:
  size_t Sum = 0;
  void SetDocumentLocator(IVxJSONLocator*) override {}
  void StartDocument() override {}
  void StartObject() override { ++Sum; }
  void StartMember(const VxJSONString& N) override { Sum += N.size(); }
  void StartArray() override { ++Sum; }
  void Value(TVxJSONDataType, const VxJSONString& V) override { Sum += V.size(); }
  void EndArray() override {}
  void EndMember() override {}
  void EndObject() override {}
  void EndDocument() override {}
  void Warning(IVxJSONLocator*, const VxString&) override {}
  void Error(IVxJSONLocator*, const VxString&) override {}
  void FatalError(IVxJSONLocator*, const VxString&) override {}
};

void BM_VxReader1GBStream(benchmark::State& AState) {
  const int64_t size = int64_t(1) << 30;
  auto counter = VxMake<TCounter>();
  auto reader = VxMake<TVxJSONReader>();
  reader->SetContentHandler(TVxIntf<IVxJSONContentHandler>(counter.Get()));
  reader->SetErrorHandler(TVxIntf<IVxJSONErrorHandler>(counter.Get()));
  for (auto _ : AState) {
    TGeneratedStream stream(size, "{\"n\": 42, \"s\": \"text \\u00e9 \xc3\xa9\", \"a\": [1, 2, true]},\n", "[\n", "null]");
    reader->ParseStream(stream, cVxCodePageUTF8, u"");
  }
  benchmark::DoNotOptimize(counter->Sum);
  AState.counters["peak_rss_MB"] = PeakResidentMB();
  AState.SetBytesProcessed(AState.iterations() * size);
}

// JSON paths over the records document, loaded once: this library's paths (compiled on every
// call, as TVxJSONBase::CreateNodeList does) beside nlohmann-json, through a JSON Pointer where
// one expresses the query and through a hand-written loop where none does.
const std::string& RecordsBytes() {
  for (const TDocument& d : Documents())
    if (d.Name == "records-10MB") return d.Bytes;
  static const std::string none;
  return none;
}

TVxJSONDocument* VxRecords() {
  static TVxIntf<TVxJSONDocument> doc = [] {
    auto d = VxMake<TVxJSONDocument>();
    d->SetAllowTrailingWhiteSpace(true);
    TVxMemoryStream in(RecordsBytes().data(), static_cast<int64_t>(RecordsBytes().size()));
    d->TVxJSONBase::LoadFromStream(in, cVxCodePageUTF8, false);
    return d;
  }();
  return doc.Get();
}

const nlohmann::json& NlohmannRecords() {
  static const nlohmann::json doc = nlohmann::json::parse(RecordsBytes());
  return doc;
}

void BM_PathVx(benchmark::State& AState, const char16_t* APath) {
  TVxJSONDocument* doc = VxRecords();
  size_t found = TVxJSONPath(APath).Evaluate(doc).size();  // warm-up
  for (auto _ : AState) found = TVxJSONPath(APath).Evaluate(doc).size();
  AState.counters["selected"] = static_cast<double>(found);
}

void CollectKey(const nlohmann::json& AValue, const std::string& AKey, std::vector<const nlohmann::json*>& AOut) {
  if (AValue.is_object()) {
    for (auto it = AValue.begin(); it != AValue.end(); ++it) {
      if (it.key() == AKey) AOut.push_back(&it.value());
      CollectKey(it.value(), AKey, AOut);
    }
  } else if (AValue.is_array()) {
    for (const auto& v : AValue) CollectKey(v, AKey, AOut);
  }
}

void BM_PathNlohmannPointer(benchmark::State& AState) {
  const nlohmann::json& doc = NlohmannRecords();
  std::string last;
  for (auto _ : AState) last = doc.at(nlohmann::json::json_pointer("/30000/owner/last")).get<std::string>();
  AState.counters["selected"] = last.empty() ? 0 : 1;
}

void BM_PathNlohmannDescendants(benchmark::State& AState) {
  const nlohmann::json& doc = NlohmannRecords();
  std::vector<const nlohmann::json*> found;
  for (auto _ : AState) {
    found.clear();
    CollectKey(doc, "last", found);
  }
  AState.counters["selected"] = static_cast<double>(found.size());
}

void BM_PathNlohmannFilter(benchmark::State& AState) {
  const nlohmann::json& doc = NlohmannRecords();
  std::vector<const nlohmann::json*> found;
  for (auto _ : AState) {
    found.clear();
    for (const auto& r : doc) {
      auto price = r.find("price");
      if (price != r.end() && price->is_number() && price->get<double>() > 990) found.push_back(&r["id"]);
    }
  }
  AState.counters["selected"] = static_cast<double>(found.size());
}

void BM_PathCompile(benchmark::State& AState) {
  for (auto _ : AState) {
    TVxJSONPath path(u"$..book[?(@.price < 10 && (@.category == 'fiction' || !@.isbn))]['title','author']");
    benchmark::DoNotOptimize(path.IsSimple());
  }
}

class TRatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    ConsoleReporter::ReportRuns(AReports);
    for (const auto& r : AReports) {
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end()) continue;
      const std::string name = r.benchmark_name();
      const size_t a = name.find('/'), b = name.find('/', a + 1);
      if (b == std::string::npos) continue;
      const std::string kind = name.substr(0, a), lib = name.substr(a + 1, b - a - 1), doc = name.substr(b + 1);
      if (kind != "BM_Load" && kind != "BM_Write") continue;
      TResult& res = Results()[doc][lib];
      (kind == "BM_Load" ? res.LoadMBs : res.WriteMBs) = it->second.value / 1e6;
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-16s %-7s", "document", "");
    for (const auto& [lib, make] : Libraries()) std::printf(" %11s", lib.c_str());
    std::printf("\n");
    auto ratio = [](double A, double B) { return B > 0 ? A / B : 0.0; };
    for (auto& [doc, r] : Results()) {
      std::printf("%-16s\n", doc.c_str());
      for (auto [label, field, format] : {std::tuple{"load", &TResult::LoadMBs, " %11.0f"},
                                          std::tuple{"write", &TResult::WriteMBs, " %11.0f"},
                                          std::tuple{"heap/B", &TResult::HeapPerByte, " %11.2f"}}) {
        std::printf("%-16s %-7s", "", label);
        for (const auto& [lib, make] : Libraries()) std::printf(format, r[lib].*field);
        std::printf("\n");
      }
      std::printf("%-16s ratios: load/RapidJSON %.2f (aim >= 1), load/RapidJSON16 %.2f (>= 2), write/RapidJSON %.2f (>= 1), "
                  "heap/nlohmann %.2f (<= 1)\n",
                  "", ratio(r["Vx"].LoadMBs, r["RapidJSON"].LoadMBs), ratio(r["Vx"].LoadMBs, r["RapidJSON16"].LoadMBs),
                  ratio(r["Vx"].WriteMBs, r["RapidJSON"].WriteMBs), ratio(r["Vx"].HeapPerByte, r["nlohmann"].HeapPerByte));
    }
    std::printf("(load and write in MB/s of input; heap/B: heap bytes of the loaded tree per input byte)\n");
  }
};

}  // namespace

int main(int argc, char** argv) {
  // First, so the peak resident memory is the stream pass's own.
  benchmark::RegisterBenchmark("BM_VxReader1GBStream", BM_VxReader1GBStream)->Iterations(1)->Unit(benchmark::kMillisecond);
  for (const TDocument& doc : Documents())
    for (const auto& [lib, make] : Libraries()) {
      benchmark::RegisterBenchmark(("BM_Load/" + lib + "/" + doc.Name).c_str(), BM_Load, &doc, lib)->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("BM_Write/" + lib + "/" + doc.Name).c_str(), BM_Write, &doc, lib)->Unit(benchmark::kMillisecond);
    }
  auto ms = benchmark::kMillisecond, us = benchmark::kMicrosecond;
  benchmark::RegisterBenchmark("BM_PathSingle/Vx/$[30000].owner.last", BM_PathVx, u"$[30000].owner.last")->Unit(us);
  benchmark::RegisterBenchmark("BM_PathSingle/nlohmann-pointer//30000/owner/last", BM_PathNlohmannPointer)->Unit(us);
  benchmark::RegisterBenchmark("BM_PathDescendants/Vx/$..last", BM_PathVx, u"$..last")->Unit(ms);
  benchmark::RegisterBenchmark("BM_PathDescendants/nlohmann-loop/last", BM_PathNlohmannDescendants)->Unit(ms);
  benchmark::RegisterBenchmark("BM_PathFilter/Vx/$[?(@.price > 990)].id", BM_PathVx, u"$[?(@.price > 990)].id")->Unit(ms);
  benchmark::RegisterBenchmark("BM_PathFilter/nlohmann-loop/price>990", BM_PathNlohmannFilter)->Unit(ms);
  benchmark::RegisterBenchmark("BM_PathCompile/Vx", BM_PathCompile)->Unit(us);
  benchmark::Initialize(&argc, argv);
  TRatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
