// uVxUnicode: normalisation through generated tables; Hangul syllables by their algorithm.
#include "uVxUnicode.h"

#include <algorithm>

namespace vx {

namespace {

struct TCombiningClass {
  uint32_t CodePoint;
  uint8_t Class;
};
struct TDecomposition {
  uint32_t CodePoint;
  bool Compatibility;
  uint16_t Offset;
  uint8_t Length;
};
struct TComposition {
  uint32_t First, Second, Composite;
};

#include "uVxUnicodeTables.inc"

constexpr char32_t SBase = 0xAC00, LBase = 0x1100, VBase = 0x1161, TBase = 0x11A7;
constexpr char32_t LCount = 19, VCount = 21, TCount = 28, NCount = VCount * TCount, SCount = LCount * NCount;

const TDecomposition* FindDecomposition(char32_t C) {
  auto it = std::lower_bound(std::begin(cDecompositions), std::end(cDecompositions), C,
                             [](const TDecomposition& D, char32_t V) { return D.CodePoint < V; });
  return (it != std::end(cDecompositions) && it->CodePoint == C) ? it : nullptr;
}

char32_t Compose(char32_t A, char32_t B) {
  // Hangul: L + V, then LV + T.
  if (A >= LBase && A < LBase + LCount && B >= VBase && B < VBase + VCount)
    return SBase + ((A - LBase) * VCount + (B - VBase)) * TCount;
  if (A >= SBase && A < SBase + SCount && (A - SBase) % TCount == 0 && B > TBase && B < TBase + TCount)
    return A + (B - TBase);
  auto it = std::lower_bound(std::begin(cCompositions), std::end(cCompositions), std::pair(A, B),
                             [](const TComposition& C, std::pair<char32_t, char32_t> V) {
                               return C.First < V.first || (C.First == V.first && C.Second < V.second);
                             });
  return (it != std::end(cCompositions) && it->First == A && it->Second == B) ? it->Composite : 0;
}

void Decompose(char32_t C, bool ACompat, std::u32string& AOut) {
  if (C >= SBase && C < SBase + SCount) {
    char32_t s = C - SBase;
    AOut += LBase + s / NCount;
    AOut += VBase + (s % NCount) / TCount;
    if (s % TCount) AOut += TBase + s % TCount;
    return;
  }
  const TDecomposition* d = FindDecomposition(C);
  if (!d || (d->Compatibility && !ACompat)) {
    AOut += C;
    return;
  }
  for (int k = 0; k < d->Length; ++k) Decompose(cDecompositionPool[d->Offset + k], ACompat, AOut);
}

}  // namespace

uint8_t VxCombiningClass(char32_t ACodePoint) noexcept {
  auto it = std::lower_bound(std::begin(cCombiningClasses), std::end(cCombiningClasses), ACodePoint,
                             [](const TCombiningClass& E, char32_t V) { return E.CodePoint < V; });
  return (it != std::end(cCombiningClasses) && it->CodePoint == ACodePoint) ? it->Class : 0;
}

VxString VxNormalizeString(std::u16string_view AText, TVxNormalizationForm AForm) {
  // Text below U+00A0 (below U+0300 for NFC) is already in every form.
  const char16_t limit = AForm == nfC ? 0x300 : 0xA0;
  if (std::all_of(AText.begin(), AText.end(), [limit](char16_t c) { return c < limit; })) return VxString(AText);

  const bool compat = AForm == nfKC || AForm == nfKD;
  std::u32string d;
  d.reserve(AText.size() + AText.size() / 2);
  for (char32_t c : VxUTF16ToUTF32(AText)) Decompose(c, compat, d);

  // Canonical ordering: a stable sort of every run of non-starters by combining class.
  for (size_t k = 0; k < d.size();) {
    if (VxCombiningClass(d[k]) == 0) {
      ++k;
      continue;
    }
    size_t end = k;
    while (end < d.size() && VxCombiningClass(d[end]) != 0) ++end;
    std::stable_sort(d.begin() + static_cast<std::ptrdiff_t>(k), d.begin() + static_cast<std::ptrdiff_t>(end),
                     [](char32_t a, char32_t b) { return VxCombiningClass(a) < VxCombiningClass(b); });
    k = end;
  }
  if (AForm == nfD || AForm == nfKD) return VxUTF32ToUTF16(d);

  // Canonical composition: each character joins the last starter unless a character between
  // them has a combining class of 0 or at least its own.
  if (d.empty()) return {};
  size_t starterPos = 0;
  char32_t starter = d[0];
  int lastClass = VxCombiningClass(starter) == 0 ? 0 : 256;
  size_t out = 1;
  for (size_t k = 1; k < d.size(); ++k) {
    char32_t c = d[k];
    int cc = VxCombiningClass(c);
    char32_t composite = Compose(starter, c);
    if (composite != 0 && (lastClass < cc || lastClass == 0)) {
      d[starterPos] = composite;
      starter = composite;
      continue;
    }
    if (cc == 0) {
      starterPos = out;
      starter = c;
    }
    lastClass = cc;
    d[out++] = c;
  }
  d.resize(out);
  return VxUTF32ToUTF16(d);
}

VxString VxNormalizeString(std::u16string_view AText, std::u16string_view AForm) {
  if (VxSameText(AForm, u"NFC")) return VxNormalizeString(AText, nfC);
  if (VxSameText(AForm, u"NFD")) return VxNormalizeString(AText, nfD);
  if (VxSameText(AForm, u"NFKC")) return VxNormalizeString(AText, nfKC);
  if (VxSameText(AForm, u"NFKD")) return VxNormalizeString(AText, nfKD);
  throw EConvertError(VxFormat(cVxUnknownNormalizationForm, AForm));
}

namespace {
bool IsXMLSpace(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
}  // namespace

VxString VxSimplifyString(std::u16string_view AText) {
  VxString d = VxNormalizeString(AText, nfKD);
  VxString out;
  out.reserve(d.size());
  bool pendingSpace = false;
  for (size_t k = 0; k < d.size(); ++k) {
    char16_t c = d[k];
    char32_t cp = c;
    bool pair = c >= 0xD800 && c <= 0xDBFF && k + 1 < d.size() && d[k + 1] >= 0xDC00 && d[k + 1] <= 0xDFFF;
    if (pair) cp = 0x10000 + ((c - 0xD800u) << 10) + (d[k + 1] - 0xDC00u);
    if (VxCombiningClass(cp) != 0) {
      if (pair) ++k;
      continue;
    }
    if (IsXMLSpace(c)) {
      pendingSpace = !out.empty();
      continue;
    }
    if (pendingSpace) out += u' ';
    pendingSpace = false;
    out += c;
    if (pair) out += d[++k];
  }
  return out;
}

std::vector<VxString> VxTokenize(std::u16string_view AText) {
  std::vector<VxString> parts;
  size_t k = 0;
  while (k < AText.size()) {
    while (k < AText.size() && IsXMLSpace(AText[k])) ++k;
    size_t start = k;
    while (k < AText.size() && !IsXMLSpace(AText[k])) ++k;
    if (k > start) parts.emplace_back(AText.substr(start, k - start));
  }
  return parts;
}

}  // namespace vx
