// uVxUnicode: Unicode normalisation (NFC, NFD, NFKC, NFKD), simplification for loose
// comparison, and splitting at white space.
#pragma once

#include <vector>

#include "uVxSysUtils.h"

namespace vx {

/// Normalisation forms.
enum TVxNormalizationForm : uint8_t { nfC, nfD, nfKC, nfKD };

/// Message for an unknown form name.
inline constexpr char16_t cVxUnknownNormalizationForm[] = u"Unknown normalization form \"%s\"!";

/// Normalises UTF-16 text to a form, exactly as the Unicode algorithm defines it (canonical or
/// compatibility decomposition, canonical ordering, canonical composition for the C forms).
/// Unpaired surrogates pass through unchanged.
VxString VxNormalizeString(std::u16string_view AText, TVxNormalizationForm AForm);
/// The same, with the form named "NFC", "NFD", "NFKC" or "NFKD" (case ignored); raises
/// EConvertError with cVxUnknownNormalizationForm for another name.
VxString VxNormalizeString(std::u16string_view AText, std::u16string_view AForm);

/// Text reduced for loose comparison: compatibility decomposition (NFKD), combining marks
/// removed, every run of white space (XML white space and what NFKD makes a space) folded to one
/// space, leading and trailing space removed. "  Ｃafé\t\tau  lait " gives "Cafe au lait".
VxString VxSimplifyString(std::u16string_view AText);

/// The parts of text between runs of XML white space (space, tab, CR, LF); no empty parts.
std::vector<VxString> VxTokenize(std::u16string_view AText);

/// Canonical combining class of a code point (0 for starters).
uint8_t VxCombiningClass(char32_t ACodePoint) noexcept;

}  // namespace vx
