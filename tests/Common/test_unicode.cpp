// Normalisation against every generated vector, simplification and tokenising.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "uVxUnicode.h"

using namespace vx;

namespace {
VxString FromHex(const std::string& AField) {
  std::u32string cps;
  std::istringstream in(AField);
  std::string hex;
  while (in >> hex) cps += static_cast<char32_t>(std::stoul(hex, nullptr, 16));
  return VxUTF32ToUTF16(cps);
}
}  // namespace

// Each line: source;NFC;NFD;NFKC;NFKD, produced by the generator from Python's unicodedata.
TEST(Normalization, MatchesEveryReferenceVector) {
  std::ifstream file(VX_TEST_DATA_DIR "/normalization_vectors.txt");
  ASSERT_TRUE(file) << "missing test vectors";
  std::string line;
  size_t count = 0, failures = 0;
  const TVxNormalizationForm forms[] = {nfC, nfD, nfKC, nfKD};
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string f; std::getline(in, f, ';');) fields.push_back(f);
    ASSERT_EQ(fields.size(), 5u) << line;
    VxString source = FromHex(fields[0]);
    for (int k = 0; k < 4; ++k)
      if (VxNormalizeString(source, forms[k]) != FromHex(fields[static_cast<size_t>(k) + 1]) && ++failures <= 10)
        ADD_FAILURE() << "form " << k << " of " << fields[0];
    ++count;
  }
  EXPECT_EQ(failures, 0u);
  EXPECT_GT(count, 10000u);
}

TEST(Normalization, ByNameAndEdgeCases) {
  EXPECT_EQ(VxNormalizeString(u"e\u0301", u"nfc"), u"\u00E9");
  EXPECT_EQ(VxNormalizeString(u"\u00E9", u"NFD"), u"e\u0301");
  EXPECT_EQ(VxNormalizeString(u"\uFB01", u"NFKC"), u"fi");
  EXPECT_EQ(VxNormalizeString(u"\uAC01", u"NFD"), u"\u1100\u1161\u11A8");
  EXPECT_EQ(VxNormalizeString(u"", u"NFC"), u"");
  EXPECT_EQ(VxNormalizeString(u"a\xD800" u"b\u0301", u"NFC"), u"a\xD800" u"b\u0301");  // lone surrogate kept
  try {
    VxNormalizeString(u"x", u"NFX");
    FAIL();
  } catch (const EConvertError& e) {
    EXPECT_EQ(e.Message(), u"Unknown normalization form \"NFX\"!");
  }
}

TEST(Simplify, FoldsCompatibilityMarksAndSpace) {
  EXPECT_EQ(VxSimplifyString(u"  \uFF23af\u00E9\t\tau \u00A0 lait "), u"Cafe au lait");
  EXPECT_EQ(VxSimplifyString(u"\u212B"), u"A");  // Angstrom sign: A with ring, ring removed
  EXPECT_EQ(VxSimplifyString(u" \n "), u"");
}

TEST(Tokenize, SplitsAtXMLWhiteSpace) {
  EXPECT_EQ(VxTokenize(u"  a\tbb\r\nc  "), (std::vector<VxString>{u"a", u"bb", u"c"}));
  EXPECT_TRUE(VxTokenize(u" \n").empty());
  EXPECT_EQ(VxTokenize(u"a\u00A0b"), (std::vector<VxString>{u"a\u00A0b"}));  // NBSP is no XML space
}
