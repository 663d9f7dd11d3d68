// Selection by path side by side: this library's node paths, and the equivalent XPath 1.0
// queries in pugixml and libxml2, over the largest documents of the DOM benchmark. Every query
// is read anew in each repetition in every library (no compiled query is kept). The trees are
// loaded once before timing.
//
// The translations: this library's positions count from 0 ("[100]" is XPath's "[101]"), its
// names and string comparisons ignore ASCII case by default (XPath's do not), and its paths are
// relative to the node they are called on (the document here), so "a/b" is XPath's "/a/b".
// libxml2 needs a prefix for a default namespace: "m:" stands for the shared-mime-info one.
//
//   build/release/bench/bench_select
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <cstdio>
#include <functional>
#include <map>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "bench_documents.h"
#include "uVxXMLDOM.h"

using namespace vx;

namespace {

struct TQuery {
  const char* Label;
  const char16_t* Vx;     // this library's path
  const char* XPath;      // the XPath 1.0 query (libxml2, with the namespace prefix)
  const char* Pugi;       // pugixml's query when it differs (pugixml has no namespaces)
  const char* PugiXPath() const { return Pugi ? Pugi : XPath; }
};

struct TSuite {
  std::string Document;  // a name of bench::DocumentNames
  const char* NsPrefix;  // the prefix libxml2 is given, and its namespace
  const char* NsURI;
  std::vector<TQuery> Queries;
  const char16_t* CreatePath;   // a missing path soCreate makes (under the root element)
  const char* CreateParent;     // the XPath of that root element (libxml2)
  const char* PugiParent;       // and pugixml's
};

const std::vector<TSuite>& Suites() {
  static const std::vector<TSuite> suites = {
      {"generated-20MB",
       "db",
       "urn:bench:db",
       {{"child path", u"db:records/db:record/name", "/db:records/db:record/name", nullptr},
        {"// search", u"//raw", "//raw", nullptr},
        {"attribute equality", u"db:records/db:record[@id = \"50000\"]", "/db:records/db:record[@id='50000']", nullptr},
        {"function call", u"db:records/db:record[contains(name, \"99999\")]",
         "/db:records/db:record[contains(name,'99999')]", nullptr},
        {"position", u"db:records/db:record[100]", "/db:records/db:record[101]", nullptr}},
       u"db:records/missing/deeper",
       "/db:records",
       "/db:records"},
      {bench::cFreedesktop,
       "m",
       "http://www.freedesktop.org/standards/shared-mime-info",
       {{"child path", u"mime-info/mime-type/comment", "/m:mime-info/m:mime-type/m:comment",
         "/mime-info/mime-type/comment"},
        {"// search", u"//glob", "//m:glob", "//glob"},
        {"attribute equality", u"mime-info/mime-type[@type = \"text/html\"]", "/m:mime-info/m:mime-type[@type='text/html']",
         "/mime-info/mime-type[@type='text/html']"},
        {"function call", u"mime-info/mime-type[starts-with(@type, \"video/\")]",
         "/m:mime-info/m:mime-type[starts-with(@type,'video/')]", "/mime-info/mime-type[starts-with(@type,'video/')]"},
        {"position", u"mime-info/mime-type[100]", "/m:mime-info/m:mime-type[101]", "/mime-info/mime-type[101]"}},
       u"mime-info/missing/deeper",
       "/m:mime-info",
       "/mime-info"},
  };
  return suites;
}

// The loaded trees, one per document and library.
struct TTrees {
  TVxIntf<IVxDOMDocument> Vx;
  pugi::xml_document Pugi;
  xmlDocPtr LibXml2 = nullptr;
};

TTrees& Trees(const TSuite& ASuite) {
  static std::map<std::string, TTrees> trees;
  auto it = trees.find(ASuite.Document);
  if (it != trees.end()) return it->second;
  TTrees& t = trees[ASuite.Document];
  const bench::TDocument* doc = bench::LoadDocument(ASuite.Document);
  t.Vx = VxCreateDOM();
  t.Vx->DOMDocument()->LoadXML(doc->Bytes.data(), static_cast<int64_t>(doc->Bytes.size()));
  t.Pugi.load_buffer(doc->Bytes.data(), doc->Bytes.size());
  t.LibXml2 = xmlReadMemory(doc->Bytes.data(), static_cast<int>(doc->Bytes.size()), "bench.xml", nullptr,
                            XML_PARSE_HUGE | XML_PARSE_NONET);
  return t;
}

size_t SelectVx(TTrees& ATrees, const char16_t* APath) {
  return static_cast<size_t>(ATrees.Vx->DOMDocument()->CreateNodeList(APath)->Count());
}

size_t SelectPugi(TTrees& ATrees, const char* AXPath) { return ATrees.Pugi.select_nodes(AXPath).size(); }

size_t SelectLibXml2(TTrees& ATrees, const TSuite& ASuite, const char* AXPath) {
  xmlXPathContextPtr ctx = xmlXPathNewContext(ATrees.LibXml2);
  xmlXPathRegisterNs(ctx, BAD_CAST ASuite.NsPrefix, BAD_CAST ASuite.NsURI);
  xmlXPathObjectPtr result = xmlXPathEvalExpression(BAD_CAST AXPath, ctx);
  const size_t n = result && result->nodesetval ? static_cast<size_t>(result->nodesetval->nodeNr) : 0;
  xmlXPathFreeObject(result);
  xmlXPathFreeContext(ctx);
  return n;
}

std::map<std::string, std::map<std::string, double>>& Results() {
  static std::map<std::string, std::map<std::string, double>> results;
  return results;
}

void BM_Query(benchmark::State& AState, const TSuite* ASuite, const TQuery* AQuery, std::string ALib) {
  TTrees& trees = Trees(*ASuite);
  auto run = [&]() -> size_t {
    if (ALib == "Vx") return SelectVx(trees, AQuery->Vx);
    if (ALib == "pugixml") return SelectPugi(trees, AQuery->PugiXPath());
    return SelectLibXml2(trees, *ASuite, AQuery->XPath);
  };
  size_t n = run();  // warm-up; the libraries must agree on the count
  if (n != SelectPugi(trees, AQuery->PugiXPath())) AState.SkipWithError("the count differs from pugixml's");
  for (auto _ : AState) n = run();
  AState.counters["nodes"] = static_cast<double>(n);
}

// soCreate of a missing two-step path, and taking it away again; in XPath the lookup finds
// nothing and the two elements are made by hand.
void BM_Create(benchmark::State& AState, const TSuite* ASuite, std::string ALib) {
  TTrees& trees = Trees(*ASuite);
  for (auto _ : AState) {
    if (ALib == "Vx") {
      TVxDOMDocument* d = trees.Vx->DOMDocument();
      TVxDOMNode* made = d->SelectSingleNode(ASuite->CreatePath, {soCreate});
      d->DocumentElement()->RemoveChild(made->ParentNode());
    } else if (ALib == "pugixml") {
      const std::string missing = std::string(ASuite->PugiParent) + "/missing/deeper";
      if (!trees.Pugi.select_node(missing.c_str())) {
        pugi::xml_node parent = trees.Pugi.select_node(ASuite->PugiParent).node();
        parent.append_child("missing").append_child("deeper");
        parent.remove_child(parent.last_child());
      }
    } else {
      xmlXPathContextPtr ctx = xmlXPathNewContext(trees.LibXml2);
      xmlXPathRegisterNs(ctx, BAD_CAST ASuite->NsPrefix, BAD_CAST ASuite->NsURI);
      const std::string missing = std::string(ASuite->CreateParent) + "/missing/deeper";
      xmlXPathObjectPtr found = xmlXPathEvalExpression(BAD_CAST missing.c_str(), ctx);
      if (!found->nodesetval || found->nodesetval->nodeNr == 0) {
        xmlXPathObjectPtr parent = xmlXPathEvalExpression(BAD_CAST ASuite->CreateParent, ctx);
        xmlNodePtr p = parent->nodesetval->nodeTab[0];
        xmlNodePtr m = xmlNewChild(p, nullptr, BAD_CAST "missing", nullptr);
        xmlNewChild(m, nullptr, BAD_CAST "deeper", nullptr);
        xmlUnlinkNode(m);
        xmlFreeNode(m);
        xmlXPathFreeObject(parent);
      }
      xmlXPathFreeObject(found);
      xmlXPathFreeContext(ctx);
    }
  }
}

class TRatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    ConsoleReporter::ReportRuns(AReports);
    for (const auto& r : AReports) {
      // BM_<kind>/<document>/<query>/<lib>
      const std::string name = r.benchmark_name();
      const size_t cut = name.rfind('/');
      Results()[name.substr(name.find('/') + 1, cut - name.find('/') - 1)][name.substr(cut + 1)] =
          r.GetAdjustedRealTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-44s %10s %10s %10s  %s\n", "query", "Vx", "pugixml", "libxml2", "libxml2 / Vx, pugixml / Vx");
    for (auto& [query, times] : Results())
      std::printf("%-44s %10.3f %10.3f %10.3f  %.2f, %.2f\n", query.c_str(), times["Vx"], times["pugixml"],
                  times["libxml2"], times["Vx"] > 0 ? times["libxml2"] / times["Vx"] : 0.0,
                  times["Vx"] > 0 ? times["pugixml"] / times["Vx"] : 0.0);
    std::printf("(ms per query; a ratio above 1 means this library is faster; aim: libxml2 / Vx >= 1)\n");
  }
};

}  // namespace

int main(int argc, char** argv) {
  xmlInitParser();
  for (const TSuite& suite : Suites()) {
    if (suite.Document.front() == '/' && !std::filesystem::exists(suite.Document)) continue;
    const std::string doc = std::filesystem::path(suite.Document).filename().string();
    for (const char* lib : {"Vx", "pugixml", "libxml2"}) {
      for (const TQuery& q : suite.Queries)
        benchmark::RegisterBenchmark(("BM_Query/" + doc + " " + q.Label + "/" + lib).c_str(), BM_Query, &suite, &q,
                                     std::string(lib))
            ->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("BM_Create/" + doc + " soCreate/" + lib).c_str(), BM_Create, &suite, std::string(lib))
          ->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  TRatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  xmlCleanupParser();
  return 0;
}
