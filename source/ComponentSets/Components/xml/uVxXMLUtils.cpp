// uVxXMLUtils: escaping, the entity table and scalar conversions of XML text.
#include "uVxXMLUtils.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vx {

namespace {

// ---------------------------------------------------------------------------------------------
// Escaping
// ---------------------------------------------------------------------------------------------

// Bit c is set for every code unit below 0x40 that escaping replaces or drops: the controls,
// "&", "<" and ">"; the apostrophe and the quote are added when asked for.
constexpr uint64_t cEscapeAlways = 0xFFFFFFFFull | (1ull << '&') | (1ull << '<') | (1ull << '>');

constexpr uint64_t EscapeMask(bool AApos, bool AQuote) {
  return cEscapeAlways | (AApos ? 1ull << '\'' : 0) | (AQuote ? 1ull << '"' : 0);
}

template <class C>
inline bool NeedsEscape(C c, uint64_t AMask) {
  const auto u = static_cast<uint32_t>(static_cast<std::make_unsigned_t<C>>(c));
  return u < 64 && ((AMask >> u) & 1) != 0;
}

// Position of the first unit at or after AFrom that escaping changes, or ALength.
template <class C>
size_t FindEscape(const C* AText, size_t AFrom, size_t ALength, uint64_t AMask) {
  size_t i = AFrom;
#if defined(__SSE2__)
  if constexpr (sizeof(C) == 2) {
    // Eight units per round: controls (unsigned <= 0x1F) and the markup characters in the mask.
    const __m128i ctrlTop = _mm_set1_epi16(0x1F), zero = _mm_setzero_si128();
    const __m128i amp = _mm_set1_epi16('&'), lt = _mm_set1_epi16('<'), gt = _mm_set1_epi16('>');
    const __m128i apos = _mm_set1_epi16((AMask >> '\'') & 1 ? '\'' : '&');
    const __m128i quot = _mm_set1_epi16((AMask >> '"') & 1 ? '"' : '&');
    for (; i + 8 <= ALength; i += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(AText + i));
      __m128i hit = _mm_cmpeq_epi16(_mm_subs_epu16(v, ctrlTop), zero);
      hit = _mm_or_si128(hit, _mm_or_si128(_mm_cmpeq_epi16(v, amp), _mm_cmpeq_epi16(v, lt)));
      hit = _mm_or_si128(hit, _mm_or_si128(_mm_cmpeq_epi16(v, gt), _mm_cmpeq_epi16(v, apos)));
      hit = _mm_or_si128(hit, _mm_cmpeq_epi16(v, quot));
      if (const int bits = _mm_movemask_epi8(hit)) return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(bits))) / 2;
    }
  }
#endif
  // Four units per round keep the loop's branch cheap on long ordinary runs.
  for (; i + 4 <= ALength; i += 4) {
    // Bitwise on purpose: one branch for the four tests.
    if (unsigned{NeedsEscape(AText[i], AMask)} | unsigned{NeedsEscape(AText[i + 1], AMask)} |
        unsigned{NeedsEscape(AText[i + 2], AMask)} | unsigned{NeedsEscape(AText[i + 3], AMask)})
      break;
  }
  for (; i < ALength; ++i)
    if (NeedsEscape(AText[i], AMask)) return i;
  return ALength;
}

// Replacements of the units below 0x40 that escaping changes: NUL is dropped, the controls
// become decimal references ("&#9;", "&#13;"), the markup characters their entities.
template <class C>
const std::basic_string<C>* Replacements() {
  static const auto table = [] {
    std::array<std::basic_string<C>, 64> t;
    auto widen = [](const std::string& s) { return std::basic_string<C>(s.begin(), s.end()); };
    for (size_t c = 1; c < 0x20; ++c) t[c] = widen("&#" + std::to_string(c) + ";");
    t['&'] = widen("&amp;");
    t['<'] = widen("&lt;");
    t['>'] = widen("&gt;");
    t['\''] = widen("&apos;");
    t['"'] = widen("&quot;");
    return t;
  }();
  return table.data();
}

template <class S>
void EscapeAppend(const typename S::value_type* AText, size_t ALength, bool AApos, bool AQuote, S& AOut) {
  const uint64_t mask = EscapeMask(AApos, AQuote);
  size_t i = 0;
  while (i < ALength) {
    size_t j = FindEscape(AText, i, ALength, mask);
    AOut.append(AText + i, j - i);
    if (j == ALength) break;
    AOut += Replacements<typename S::value_type>()[static_cast<std::make_unsigned_t<typename S::value_type>>(AText[j])];
    i = j + 1;
  }
}

template <class S>
S Escape(std::basic_string_view<typename S::value_type> AText, bool AApos, bool AQuote) {
  const uint64_t mask = EscapeMask(AApos, AQuote);
  size_t first = FindEscape(AText.data(), 0, AText.size(), mask);
  if (first == AText.size()) return S(AText);  // the common case: one copy
  S out;
  out.reserve(AText.size() + AText.size() / 8 + 16);
  out.append(AText.data(), first);
  EscapeAppend(AText.data() + first, AText.size() - first, AApos, AQuote, out);
  return out;
}

// ---------------------------------------------------------------------------------------------
// Unescaping
// ---------------------------------------------------------------------------------------------

struct TVxEntityRow {
  uint32_t Key;
  uint16_t CodePoint;
};

#include "uVxXMLEntities.inc"

// Folds a name of up to 8 units into the table's key.
template <class C>
uint32_t FoldEntityName(const C* AName, size_t ALength) {
  uint32_t c[8] = {};
  for (size_t k = 0; k < ALength; ++k) c[k] = static_cast<uint32_t>(static_cast<std::make_unsigned_t<C>>(AName[k]));
  return (((c[0] + c[7]) & 255u) << 24) | (((c[1] + c[6]) & 255u) << 16) | (((c[2] + c[5]) & 255u) << 8) |
         ((c[3] + c[4]) & 255u);
}

int FindEntity(uint32_t AKey) {
  const TVxEntityRow* end = cVxEntityRows + std::size(cVxEntityRows);
  const TVxEntityRow* row =
      std::lower_bound(cVxEntityRows, end, AKey, [](const TVxEntityRow& r, uint32_t k) { return r.Key < k; });
  return row != end && row->Key == AKey ? row->CodePoint : -1;
}

// Value of a numeric reference body ("#65", "#x41"), read as the platform's 32-bit integer
// conversion reads it; anything else raises EConvertError naming the reference.
template <class C>
int32_t NumericReference(const C* ABody, size_t ALength) {
  VxString digits;
  size_t from = 1;
  if (ALength > 1 && (ABody[1] == 'x' || ABody[1] == 'X')) {
    digits = u"$";
    from = 2;
  }
  for (size_t k = from; k < ALength; ++k)
    digits.push_back(static_cast<char16_t>(static_cast<std::make_unsigned_t<C>>(ABody[k])));
  int64_t v = 0;
  if (digits.size() > (from == 2 ? 1u : 0u) && digits.find(u'$', 1) == VxString::npos &&
      !(from == 2 && (digits[1] == u'-' || digits[1] == u'+')) && VxTryStrToInt64(digits, v) &&
      v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max())
    return static_cast<int32_t>(v);
  VxString ref = u"&";
  for (size_t k = 0; k < ALength; ++k) ref.push_back(static_cast<char16_t>(static_cast<std::make_unsigned_t<C>>(ABody[k])));
  ref += u';';
  throw EConvertError(VxFormat(u"'%s' is not a valid integer value", ref));
}

// Appends a decoded character as one UTF-16 code unit: a value above U+FFFF keeps its low
// sixteen bits, as the unescaper writes every reference as a single unit.
void AppendChar(VxString& AOut, int32_t AValue) { AOut.push_back(static_cast<char16_t>(AValue)); }
void AppendChar(std::string& AOut, int32_t AValue) {
  const auto unit = static_cast<char16_t>(AValue);
  VxUTF16Append(&unit, 1, AOut);
}

// Position of the first "&" at or after AFrom, or npos.
template <class C>
size_t FindAmpersand(std::basic_string_view<C> AText, size_t AFrom) {
#if defined(__SSE2__)
  if constexpr (sizeof(C) == 2) {
    const __m128i amp = _mm_set1_epi16('&');
    size_t i = AFrom;
    for (; i + 8 <= AText.size(); i += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(AText.data() + i));
      if (const int bits = _mm_movemask_epi8(_mm_cmpeq_epi16(v, amp)))
        return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(bits))) / 2;
    }
    AFrom = i;
  }
#endif
  return AText.find(C('&'), AFrom);
}

template <class S>
S Unescape(std::basic_string_view<typename S::value_type> AText) {
  using C = typename S::value_type;
  size_t amp = FindAmpersand(AText, 0);
  if (amp == AText.npos) return S(AText);
  S out;
  out.reserve(AText.size());
  out.append(AText.data(), amp);
  size_t i = amp;
  const size_t n = AText.size();
  while (i < n) {
    // AText[i] is "&": find the ";" that closes the reference, stopping at a space.
    size_t stop = i + 1;
    while (stop < n && AText[stop] != C(';') && AText[stop] != C(' ')) ++stop;
    if (stop == n || AText[stop] != C(';')) {
      out.append(AText.data() + i, stop - i);
      i = stop;
    } else {
      const C* body = AText.data() + i + 1;
      const size_t len = stop - i - 1;
      if (len > 0 && body[0] == C('#')) {
        AppendChar(out, NumericReference(body, len));
      } else if (int cp = len <= 8 ? FindEntity(FoldEntityName(body, len)) : -1; cp >= 0) {
        AppendChar(out, cp);
      } else {
        out.append(AText.data() + i, stop + 1 - i);  // unknown or over-long name: as written
      }
      i = stop + 1;
    }
    size_t next = FindAmpersand(AText, i);
    if (next == AText.npos) next = n;
    out.append(AText.data() + i, next - i);
    i = next;
  }
  return out;
}

// ---------------------------------------------------------------------------------------------
// Numbers
// ---------------------------------------------------------------------------------------------

// A float as XML Schema writes it: the shortest round-trip text, with "NaN" spelt its way.
template <class F>
VxString FloatText(F AValue) {
  return std::isnan(AValue) ? VxString(u"NaN") : VxFloatToStr(AValue);
}

[[noreturn]] void BadFloat(std::u16string_view AText) {
  throw EConvertError(VxFormat(u"'%s' is not a valid floating point value", AText));
}

template <class F>
F TextToFloat(std::u16string_view AText) {
  if (AText.empty()) return 0;
  F v{};
  if (!VxTryStrToFloat(AText, v)) BadFloat(AText);
  return v;
}

int64_t TextToInt64(std::u16string_view AText) { return AText.empty() ? 0 : VxStrToInt64(AText); }

// The 32-bit string-to-integer conversion behind the readers narrower than 64 bits: a text
// outside -2147483648 .. 2147483647 raises; the caller narrows the result.
int32_t TextToInt32(std::u16string_view AText) {
  if (AText.empty()) return 0;
  int64_t v;
  if (!VxTryStrToInt64(AText, v) || v < INT32_MIN || v > INT32_MAX)
    throw EConvertError(VxFormat(u"'%s' is not a valid integer value", AText));
  return static_cast<int32_t>(v);
}

uint64_t TextToUInt64(std::u16string_view AText) {
  if (AText.empty()) return 0;
  int64_t v;
  if (VxTryStrToInt64(AText, v)) return static_cast<uint64_t>(v);  // negative values wrap
  uint64_t u;
  if (VxTryStrToUInt64(AText, u)) return u;
  throw EConvertError(VxFormat(u"'%s' is not a valid integer value", AText));
}

// Text of a string variant of either width.
VxString VariantText(const TVxVariant& AValue) {
  const auto& d = AValue.Data();
  if (auto* w = std::get_if<VxString>(&d)) return *w;
  if (auto* a = std::get_if<std::string>(&d)) return VxUTF8ToUTF16(*a);
  return {};
}

// Integer payload of an ordinal variant (unsigned 64-bit values wrap into the signed range).
int64_t VariantInt(const TVxVariant& AValue) {
  const auto& d = AValue.Data();
  if (auto* u = std::get_if<uint64_t>(&d)) return static_cast<int64_t>(*u);
  return std::get<int64_t>(d);
}

// The value of an ordinal variant as a float, unsigned 64-bit values without wrapping.
long double OrdinalFloat(const TVxVariant& AValue) {
  const auto& d = AValue.Data();
  if (auto* u = std::get_if<uint64_t>(&d)) return static_cast<long double>(*u);
  return static_cast<long double>(std::get<int64_t>(d));
}

enum TVarKind { vkOther = 0, vkOrdinal = 1, vkFloat = 2, vkString = 3, vkBoolean = 4, vkDateTime = 5 };

// The variant overloads of the integer conversions: null gives the default, ordinals their
// value, strings the text conversion, booleans 1 or 0.
template <class T>
T VariantToInteger(const TVxVariant& AValue, T ADefault, T (*AFromText)(std::u16string_view),
                   const char16_t* AMessage) {
  if (AValue.IsNull()) return ADefault;
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case vkOrdinal: return static_cast<T>(VariantInt(AValue));
    case vkString: return AFromText(VariantText(AValue));
    case vkBoolean: return static_cast<T>(VxVarToBool(AValue) ? 1 : 0);
    default: throw EConvertError(VxString(AMessage));
  }
}

// The variant overloads of the float conversions: as for integers, so a float or date-time
// variant raises the type's message like any other kind.
template <class T>
T VariantToFloat(const TVxVariant& AValue, T ADefault, T (*AFromText)(std::u16string_view),
                 const char16_t* AMessage) {
  if (AValue.IsNull()) return ADefault;
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case vkOrdinal: return static_cast<T>(OrdinalFloat(AValue));
    case vkString: return AFromText(VariantText(AValue));
    case vkBoolean: return static_cast<T>(VxVarToBool(AValue) ? 1 : 0);
    default: throw EConvertError(VxString(AMessage));
  }
}

template <class T, class F>
T OrDefault(F AConvert, T ADefault) {
  try {
    return AConvert();
  } catch (const EConvertError&) {
    return ADefault;
  }
}

// ---------------------------------------------------------------------------------------------
// Dates and times
// ---------------------------------------------------------------------------------------------

// Zone offset in minutes of the local zone today: times of day have no date of their own.
int TodaysOffset() {
  const double now = cVxUnixEpoch + static_cast<double>(std::time(nullptr)) / 86400.0;
  return VxCalcTimeZoneOffset(std::floor(now) + 0.5);
}

// The date (midnight) and the time of day of a date-time, on the continuous day count: a time
// rounding up to midnight belongs to the next day, before 1899 as after.
double RoundedDays(TDateTime AValue) {
  return std::round(VxDateTimeToDayCount(AValue) * 86400000.0) / 86400000.0;
}
TDateTime DatePart(TDateTime AValue) { return VxDayCountToDateTime(std::floor(RoundedDays(AValue))); }
TDateTime TimePart(TDateTime AValue) {
  const double days = RoundedDays(AValue);
  return days - std::floor(days);
}

// Keeps a time of day within [0, 1) after a zone shift.
TDateTime WrapTime(TDateTime AValue) {
  AValue = std::fmod(AValue, 1.0);
  if (AValue < 0) AValue += 1.0;
  return AValue;
}

TVxDateTimeParts PartsOf(TDateTime AValue, bool ADate, bool ATime, bool AMilliseconds) {
  TVxDateTimeParts p;
  p.HasDate = ADate;
  p.HasTime = ATime;
  int ms = 0;
  if (ADate) VxDecodeDate(AValue, p.Year, p.Month, p.Day);
  if (ATime) VxDecodeTime(AValue, p.Hour, p.Minute, p.Second, ms);
  p.Fraction = AMilliseconds ? ms / 1000.0 : 0.0;
  return p;
}

// Writes a local date-time, or the time of day of one, in the zone form of the format. A value
// with a date moves between zones by the offset in force at its own date and time; a time of
// day alone (day 0) by today's offset.
VxXMLString WriteDateTime(TDateTime AValue, const TVxXMLDateTimeFormat& AFormat, bool AWriteDate) {
  const bool hasDate = AWriteDate || std::trunc(AValue) != 0;
  TDateTime local = hasDate ? AValue : std::fabs(AValue - std::trunc(AValue));
  int offset = 0;  // of the written value, minutes east of UTC
  const int localOffset = AFormat.TimeZoneFormat == tzfNone ? 0
                          : hasDate                         ? VxCalcTimeZoneOffset(local)
                                                            : TodaysOffset();
  if (AFormat.TimeZoneFormat == tzfOffset) offset = AFormat.UseZoneOffset ? AFormat.ZoneOffset : localOffset;
  if (AFormat.TimeZoneFormat != tzfNone && offset != localOffset) {
    if (hasDate)
      local = VxIncMinutes(VxLocalToUTC(local), offset);
    else
      local = WrapTime(local + (offset - localOffset) / 1440.0);
  }
  TVxDateTimeParts p = PartsOf(local, AWriteDate, true, AFormat.Milliseconds);
  p.HasZone = AFormat.TimeZoneFormat != tzfNone;
  p.ZoneOffset = offset;
  return VxEncodeISODateTime(p);
}

enum TReadAs { raDate, raTime, raDateTime };

// Reads a date, time or dateTime text as local time.
TDateTime ReadDateTime(std::u16string_view AText, TVxTimeZoneFormat AZoneFormat, TReadAs AAs) {
  TVxDateTimeParts p = VxDecodeISODateTime(AText);
  TDateTime value = p.ToDateTime();
  if (p.HasTime) {
    if (!p.HasZone && AZoneFormat != tzfNone) throw EConvertError(VxString(cVxMissingTimeZone));
    if (p.HasZone) {
      if (p.HasDate) {
        value = VxUTCToLocal(VxIncMinutes(value, -p.ZoneOffset));
      } else {
        value = WrapTime(value + (TodaysOffset() - p.ZoneOffset) / 1440.0);
      }
    }
  }
  switch (AAs) {
    case raDate: return DatePart(value);
    case raTime: return TimePart(value);
    default: return value;
  }
}

// The variant overloads of the date readers: an ordinal is a day number, a string a date text,
// a boolean 1 or 0; a float or date-time variant raises the type's message like any other kind.
TDateTime VariantToDate(const TVxVariant& AValue, TDateTime ADefault, TVxTimeZoneFormat AZoneFormat, TReadAs AAs,
                        const char16_t* AMessage) {
  if (AValue.IsNull()) return ADefault;
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case vkOrdinal: return static_cast<TDateTime>(OrdinalFloat(AValue));
    case vkString: return ReadDateTime(VariantText(AValue), AZoneFormat, AAs);
    case vkBoolean: return VxVarToBool(AValue) ? 1.0 : 0.0;
    default: throw EConvertError(VxString(AMessage));
  }
}

// ---------------------------------------------------------------------------------------------
// Variants
// ---------------------------------------------------------------------------------------------

// How VxXMLToVariant reads a text for a type code; raDateTime etc. pick the date reader.
TVxVariant TextToVariant(std::u16string_view AText, TVxVarType AType, TReadAs ADateAs, std::u16string_view AName) {
  try {
    switch (AType) {
      case varEmpty: return TVxVariant();
      case varNull: return TVxVariant::Null();
      case varShortInt: return TVxVariant(VxXMLToShortInt(AText));
      case varSmallint: return TVxVariant(VxXMLToSmallInt(AText));
      case varInteger: return TVxVariant(VxXMLToInt(AText));
      case varInt64: return TVxVariant(VxXMLToInt64(AText));
      case varByte: return TVxVariant(VxXMLToByte(AText));
      case varWord: return TVxVariant(VxXMLToWord(AText));
      // LongWord values above 2147483647 are read through the 64-bit conversion, so every
      // LongWord variant written by VxVariantToXML reads back.
      case varLongWord: return TVxVariant(static_cast<uint32_t>(VxXMLToInt64(AText)));
      case varUInt64: return TVxVariant(VxXMLToUInt64(AText));
      case varSingle: return TVxVariant(VxXMLToSingle(AText));
      case varDouble: return TVxVariant(VxXMLToDouble(AText));
      case varExtended: return TVxVariant(VxXMLToExtended(AText));
      case varCurrency: return TVxVariant::FromCurrency(VxXMLToDouble(AText));
      case varDate: return TVxVariant::FromDateTime(ReadDateTime(AText, tzfNone, ADateAs));
      case varBoolean: return TVxVariant(VxXMLToBool(AText));
      case varString: return TVxVariant(VxUTF16ToUTF8(AText));
      case varUString:
      case varVariant: return TVxVariant(AText);
      default: break;
    }
  } catch (const EConvertError&) {
    throw EConvertError(VxFormat(cVxXMLToVariantFailed, AText, VxVarTypeName(AType)));
  }
  throw EConvertError(VxFormat(cVxXMLToVariantUnsupported, AName));
}

// Type names of variant types that the type registry does not describe by a schema type of
// their own.
struct TNamedType {
  const char16_t* Name;
  TVxVarType Type;
};
constexpr TNamedType cNamedTypes[] = {
    {u"Extended", varExtended}, {u"Currency", varCurrency}, {u"Variant", varUString}};

// No variant type: VxXMLToVariant raises "Unsupported VarType".
constexpr TVxVarType cNoVarType = 0xFFFF;

TVxVarType TypeOfSchema(TVxSchemaDataType AType, TReadAs& ADateAs) {
  ADateAs = raDateTime;
  switch (AType) {
    case sdtByte: return varShortInt;
    case sdtShort: return varSmallint;
    case sdtInt: return varInteger;
    case sdtInteger:
    case sdtLong: return varInt64;
    case sdtUnsignedByte: return varByte;
    case sdtUnsignedShort: return varWord;
    case sdtUnsignedInt: return varLongWord;
    case sdtUnsignedLong: return varUInt64;
    case sdtFloat: return varSingle;
    case sdtDouble:
    case sdtDecimal: return varDouble;
    case sdtBoolean: return varBoolean;
    case sdtDate: ADateAs = raDate; return varDate;
    case sdtTime: ADateAs = raTime; return varDate;
    case sdtDateTime: return varDate;
    case sdtString:
    case sdtNormalizedString:
    case sdtToken:
    case sdtDuration:
    case sdtBase64Binary:
    case sdtHexBinary:
    case sdtAnyURI:
    case sdtQName: return varUString;
    default: return cNoVarType;
  }
}

TVxVarType TypeOfKind(TVxTypeKind AKind) {
  switch (AKind) {
    case tkInteger: return varInteger;
    case tkInt64: return varInt64;
    case tkFloat: return varDouble;
    case tkEnumeration: return varBoolean;
    case tkChar:
    case tkWChar:
    case tkString:
    case tkLString:
    case tkWString:
    case tkUString:
    case tkVariant: return varUString;
    default: return cNoVarType;
  }
}

const char16_t* TypeKindName(TVxTypeKind AKind) {
  static constexpr const char16_t* names[] = {
      u"tkUnknown",   u"tkInteger", u"tkChar",    u"tkEnumeration", u"tkFloat",   u"tkString", u"tkSet",
      u"tkClass",     u"tkMethod",  u"tkWChar",   u"tkLString",     u"tkWString", u"tkVariant", u"tkArray",
      u"tkRecord",    u"tkInterface", u"tkInt64", u"tkDynArray",    u"tkUString", u"tkClassRef", u"tkPointer",
      u"tkProcedure", u"tkMRecord"};
  return AKind < std::size(names) ? names[AKind] : u"tkUnknown";
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Escaping and unescaping
// ---------------------------------------------------------------------------------------------

VxXMLString VxStrToXML(std::u16string_view AText, bool AEscapeApostrophe, bool AEscapeQuote) {
  return Escape<VxXMLString>(AText, AEscapeApostrophe, AEscapeQuote);
}

std::string VxStrToXML(std::string_view AText, bool AEscapeApostrophe, bool AEscapeQuote) {
  return Escape<std::string>(AText, AEscapeApostrophe, AEscapeQuote);
}

void VxStrToXML(const char16_t* AText, size_t ALength, TVxStringStream& AStream, bool AEscapeApostrophe,
                bool AEscapeQuote) {
  // In slices, so a long text never needs its escaped copy in memory at once.
  constexpr size_t cSlice = 32768;
  VxXMLString buffer;
  for (size_t at = 0; at < ALength; at += cSlice) {
    buffer.clear();
    EscapeAppend(AText + at, std::min(cSlice, ALength - at), AEscapeApostrophe, AEscapeQuote, buffer);
    AStream.WriteString(buffer);
  }
}

VxXMLString VxXMLToStr(std::u16string_view AText) { return Unescape<VxXMLString>(AText); }

std::string VxXMLToStr(std::string_view AText) { return Unescape<std::string>(AText); }

VxXMLString VxXMLToStr(const TVxVariant& AValue, const VxXMLString& ADefault) {
  if (AValue.IsNull()) return ADefault;
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case vkOrdinal: return VxVarToStr(AValue);
    case vkString: return VxXMLToStr(VariantText(AValue));
    case vkBoolean: return VxBoolToXML(VxVarToBool(AValue));
    default: throw EConvertError(VxString(cVxInvalidString));
  }
}

// ---------------------------------------------------------------------------------------------
// Values to text
// ---------------------------------------------------------------------------------------------

VxXMLString VxShortIntToXML(int8_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxSmallIntToXML(int16_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxLongIntToXML(int32_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxIntToXML(int32_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxInt64ToXML(int64_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxByteToXML(uint8_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxWordToXML(uint16_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxLongWordToXML(uint32_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxCardinalToXML(uint32_t AValue) { return VxIntToStr(AValue); }
VxXMLString VxUInt64ToXML(uint64_t AValue) {
  char buf[24];
  auto res = std::to_chars(buf, buf + sizeof buf, AValue);
  return VxString(buf, res.ptr);
}
VxXMLString VxDoubleToXML(double AValue) { return FloatText(AValue); }
VxXMLString VxExtToXML(long double AValue) { return FloatText(AValue); }
VxXMLString VxBoolToXML(bool AValue) { return AValue ? u"true" : u"false"; }

TVxXMLDateTimeFormat VxXMLDateTimeFormat(TVxTimeZoneFormat ATimeZoneFormat) {
  TVxXMLDateTimeFormat f;
  f.TimeZoneFormat = ATimeZoneFormat;
  return f;
}

TVxXMLDateTimeFormat VxXMLDateTimeFormat(const TVxDateTimeParts& AParts) {
  TVxXMLDateTimeFormat f;
  if (AParts.HasZone) {
    f.TimeZoneFormat = AParts.ZoneOffset == 0 ? tzfUTC : tzfOffset;
    f.UseZoneOffset = AParts.ZoneOffset != 0;
    f.ZoneOffset = AParts.ZoneOffset;
  }
  return f;
}

VxXMLString VxDateToXML(TDateTime AValue, TVxTimeZoneFormat ATimeZoneFormat) {
  return VxDateToXML(AValue, VxXMLDateTimeFormat(ATimeZoneFormat));
}
VxXMLString VxDateToXML(TDateTime AValue, const TVxXMLDateTimeFormat&) {
  return VxEncodeISODateTime(PartsOf(AValue, true, false, false));
}
VxXMLString VxTimeToXML(TDateTime AValue, TVxTimeZoneFormat ATimeZoneFormat) {
  return VxTimeToXML(AValue, VxXMLDateTimeFormat(ATimeZoneFormat));
}
VxXMLString VxTimeToXML(TDateTime AValue, const TVxXMLDateTimeFormat& AFormat) {
  return WriteDateTime(AValue, AFormat, false);
}
VxXMLString VxDateTimeToXML(TDateTime AValue, TVxTimeZoneFormat ATimeZoneFormat) {
  return VxDateTimeToXML(AValue, VxXMLDateTimeFormat(ATimeZoneFormat));
}
VxXMLString VxDateTimeToXML(TDateTime AValue, const TVxXMLDateTimeFormat& AFormat) {
  return WriteDateTime(AValue, AFormat, true);
}
VxXMLString VxDurationToXML(const TVxDuration& AValue) { return VxEncodeDuration(AValue); }

VxXMLString VxVariantToXML(const TVxVariant& AValue) {
  if (AValue.IsArray()) {
    VxXMLString s = VxFormat(u"<array length=\"%d\">", AValue.ArrayHighBound() - AValue.ArrayLowBound() + 1);
    for (int i = AValue.ArrayLowBound(); i <= AValue.ArrayHighBound(); ++i)
      s = VxFormat(u"%s<element nr=\"%d\">%s</element>", s, i, VxVariantToXML(AValue.ArrayItem(i)));
    return s + u"</array>";
  }
  const auto& d = AValue.Data();
  switch (AValue.VarType()) {
    case varEmpty:
    case varNull: return {};
    case varUInt64: return VxUInt64ToXML(std::get<uint64_t>(d));
    case varExtended: return VxExtToXML(std::get<long double>(d));
    case varSingle: return FloatText(static_cast<float>(std::get<double>(d)));  // "0.1", not 0.1f's double
    case varDate: return VxDateTimeToXML(std::get<double>(d));
    case varString:
    case varUString: return VariantText(AValue);
    case varBoolean: return VxBoolToXML(std::get<int64_t>(d) != 0);
    default: break;
  }
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case vkOrdinal: return VxInt64ToXML(std::get<int64_t>(d));
    case vkFloat: return VxDoubleToXML(std::get<double>(d));
    default: throw EConvertError(VxFormat(cVxVariantToXMLInvalidType, AValue.VarType()));
  }
}

// ---------------------------------------------------------------------------------------------
// Text to values
// ---------------------------------------------------------------------------------------------

#define VX_XML_TO_INTEGER(Name, T, Message)                                                          \
  T VxXMLTo##Name(std::u16string_view AText) { return static_cast<T>(TextToInt32(AText)); }          \
  T VxXMLTo##Name(const TVxVariant& AValue, T ADefault) {                                            \
    return VariantToInteger<T>(AValue, ADefault, [](std::u16string_view t) { return VxXMLTo##Name(t); }, \
                               Message);                                                             \
  }                                                                                                  \
  T VxXMLTo##Name##Def(std::u16string_view AText, T ADefault) {                                      \
    return OrDefault([&] { return VxXMLTo##Name(AText); }, ADefault);                                \
  }

VX_XML_TO_INTEGER(ShortInt, int8_t, cVxInvalidShortInt)
VX_XML_TO_INTEGER(SmallInt, int16_t, cVxInvalidSmallInt)
VX_XML_TO_INTEGER(Int, int32_t, cVxInvalidInteger)
VX_XML_TO_INTEGER(Byte, uint8_t, cVxInvalidByte)
VX_XML_TO_INTEGER(Word, uint16_t, cVxInvalidWord)
VX_XML_TO_INTEGER(LongWord, uint32_t, cVxInvalidLongWord)
#undef VX_XML_TO_INTEGER

int64_t VxXMLToInt64(std::u16string_view AText) { return TextToInt64(AText); }
int64_t VxXMLToInt64(const TVxVariant& AValue, int64_t ADefault) {
  return VariantToInteger<int64_t>(AValue, ADefault, TextToInt64, cVxInvalidInteger);
}
int64_t VxXMLToInt64Def(std::u16string_view AText, int64_t ADefault) {
  return OrDefault([&] { return TextToInt64(AText); }, ADefault);
}

uint64_t VxXMLToUInt64(std::u16string_view AText) { return TextToUInt64(AText); }
uint64_t VxXMLToUInt64(const TVxVariant& AValue, uint64_t ADefault) {
  return VariantToInteger<uint64_t>(AValue, ADefault, TextToUInt64, cVxInvalidInteger);
}
uint64_t VxXMLToUInt64Def(std::u16string_view AText, uint64_t ADefault) {
  return OrDefault([&] { return TextToUInt64(AText); }, ADefault);
}

#define VX_XML_TO_FLOAT(Name, T, Message)                                                             \
  T VxXMLTo##Name(std::u16string_view AText) { return TextToFloat<T>(AText); }                        \
  T VxXMLTo##Name(const TVxVariant& AValue, T ADefault) {                                             \
    return VariantToFloat<T>(AValue, ADefault, TextToFloat<T>, Message);                              \
  }                                                                                                   \
  T VxXMLTo##Name##Def(std::u16string_view AText, T ADefault) {                                       \
    return OrDefault([&] { return TextToFloat<T>(AText); }, ADefault);                                \
  }

VX_XML_TO_FLOAT(Single, float, cVxInvalidSingle)
VX_XML_TO_FLOAT(Double, double, cVxInvalidDouble)
VX_XML_TO_FLOAT(Extended, long double, cVxInvalidExtended)
#undef VX_XML_TO_FLOAT

bool VxXMLToBool(std::u16string_view AText) { return AText == u"1" || VxSameText(AText, u"true"); }

bool VxXMLToBool(const TVxVariant& AValue, bool ADefault) {
  if (AValue.IsNull()) return ADefault;
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case vkOrdinal: return VariantInt(AValue) != 0;
    case vkString: return VxXMLToBool(VariantText(AValue));
    case vkBoolean: return VxVarToBool(AValue);
    default: throw EConvertError(VxString(cVxInvalidBoolean));
  }
}

#define VX_XML_TO_DATE(Name, As, Message)                                                             \
  TDateTime VxXMLTo##Name(std::u16string_view AText, TVxTimeZoneFormat ATimeZoneFormat) {             \
    return ReadDateTime(AText, ATimeZoneFormat, As);                                                  \
  }                                                                                                   \
  TDateTime VxXMLTo##Name(std::u16string_view AText, const TVxXMLDateTimeFormat& AFormat) {           \
    return ReadDateTime(AText, AFormat.TimeZoneFormat, As);                                           \
  }                                                                                                   \
  TDateTime VxXMLTo##Name(const TVxVariant& AValue, TDateTime ADefault, TVxTimeZoneFormat ATimeZoneFormat) { \
    return VariantToDate(AValue, ADefault, ATimeZoneFormat, As, Message);                             \
  }                                                                                                   \
  TDateTime VxXMLTo##Name(const TVxVariant& AValue, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat) { \
    return VariantToDate(AValue, ADefault, AFormat.TimeZoneFormat, As, Message);                      \
  }                                                                                                   \
  TDateTime VxXMLTo##Name##Def(std::u16string_view AText, TDateTime ADefault, TVxTimeZoneFormat ATimeZoneFormat) { \
    return OrDefault([&] { return ReadDateTime(AText, ATimeZoneFormat, As); }, ADefault);            \
  }                                                                                                   \
  TDateTime VxXMLTo##Name##Def(std::u16string_view AText, TDateTime ADefault, const TVxXMLDateTimeFormat& AFormat) { \
    return OrDefault([&] { return ReadDateTime(AText, AFormat.TimeZoneFormat, As); }, ADefault);     \
  }

VX_XML_TO_DATE(Date, raDate, cVxInvalidDate)
VX_XML_TO_DATE(Time, raTime, cVxInvalidTime)
VX_XML_TO_DATE(DateTime, raDateTime, cVxInvalidDateTime)
#undef VX_XML_TO_DATE

TVxDateTimeParts VxDecodeXMLDateTime(std::u16string_view AText) { return VxDecodeISODateTime(AText); }

TVxDuration VxXMLToDuration(std::u16string_view AText) {
  if (AText.empty()) throw EConvertError(VxString(cVxDurationEmpty));
  const size_t p = AText[0] == u'-' ? 1 : 0;
  if (p >= AText.size() || AText[p] != u'P') throw EConvertError(VxString(cVxDurationNoP));
  try {
    return VxDecodeDuration(AText);
  } catch (const EConvertError&) {
    throw EConvertError(VxFormat(cVxDurationInvalid, AText));
  }
}

TVxVariant VxXMLToVariant(std::u16string_view AText, TVxVarType AVarType) {
  return TextToVariant(AText, AVarType, raDateTime, VxVarTypeName(AVarType));
}

TVxVariant VxXMLToVariant(std::u16string_view AText, TVxTypeKind AKind) {
  return TextToVariant(AText, TypeOfKind(AKind), raDateTime, TypeKindName(AKind));
}

TVxVariant VxXMLToVariant(std::u16string_view AText, std::u16string_view ATypeName) {
  TReadAs as = raDateTime;
  // XML Schema names first and case-sensitive, as XML Schema spells them: "byte" is signed,
  // while the type name "Byte" found below is unsigned.
  for (int t = sdtAnyType; t <= sdtQName; ++t)
    if (ATypeName == VxSchemaDataTypeName(static_cast<TVxSchemaDataType>(t))) {
      TVxVarType type = TypeOfSchema(static_cast<TVxSchemaDataType>(t), as);
      return TextToVariant(AText, type == cNoVarType ? varUString : type, as, ATypeName);
    }
  for (const TNamedType& t : cNamedTypes)
    if (VxSameText(ATypeName, t.Name)) return TextToVariant(AText, t.Type, as, ATypeName);
  TVxVarType type = cNoVarType;
  if (const TVxTypeInfo* info = VxFindTypeInfo(ATypeName)) {
    type = TypeOfSchema(info->SchemaDataType, as);
    if (type == cNoVarType) type = TypeOfKind(info->Kind);
  }
  return TextToVariant(AText, type, as, ATypeName);
}

}  // namespace vx
