// uVxSysUtils: exceptions, VxFormat, UTF-8/UTF-16 conversion and ASCII string helpers.
#include "uVxSysUtils.h"

#include <algorithm>

#include <cxxabi.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace vx {

// ---------------------------------------------------------------------------------------------
// Exceptions
// ---------------------------------------------------------------------------------------------

Exception::Exception(VxString AMessage)
    : FMessage(std::move(AMessage)), FMessageUTF8(VxUTF16ToUTF8(FMessage)) {}

Exception::Exception(std::string_view AMessageUTF8)
    : FMessage(VxUTF8ToUTF16(AMessageUTF8)), FMessageUTF8(VxUTF16ToUTF8(FMessage)) {}

Exception::~Exception() = default;

void Exception::SetMessage(VxString AMessage) {
  FMessage = std::move(AMessage);
  FMessageUTF8 = VxUTF16ToUTF8(FMessage);
}

VxString Exception::ClassName() const { return VxClassNameOf(typeid(*this)); }

EVxTextParserEOF::EVxTextParserEOF() : EVxException(cVxTextParserEOFMessage, 1) {}

VxString VxClassNameOf(const std::type_info& AType) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(AType.name(), nullptr, nullptr, &status), std::free);
  std::string_view name = (status == 0 && demangled) ? demangled.get() : AType.name();
  // Drop template arguments, then every namespace qualifier.
  if (auto lt = name.find('<'); lt != std::string_view::npos) name = name.substr(0, lt);
  if (auto colon = name.rfind("::"); colon != std::string_view::npos) name = name.substr(colon + 2);
  return VxUTF8ToUTF16(name);
}

// ---------------------------------------------------------------------------------------------
// VxFormat
// ---------------------------------------------------------------------------------------------

TVxFormatArg& TVxFormatArg::operator=(const TVxFormatArg& AOther) {
  if (this == &AOther) return *this;
  FKind = AOther.FKind;
  FText16 = AOther.FText16;
  FText8 = AOther.FText8;
  FUnsigned = AOther.FUnsigned;  // copies the whole union
  // A single character points at its own storage; point at ours.
  if (AOther.FText16.data() == &AOther.FChar) FText16 = {&FChar, 1};
  if (AOther.FText8.data() == &AOther.FCharA) FText8 = {&FCharA, 1};
  return *this;
}

namespace {

[[noreturn]] void RaiseFormatError(std::u16string_view AFormat) {
  throw EConvertError(VxFormat(cVxInvalidFormat, AFormat));
}

void AppendASCII(VxString& AOut, std::string_view AText) {
  AOut.append(AText.begin(), AText.end());
}

std::string DigitsOf(uint64_t AValue, int ABase) {
  char buf[32];
  auto res = std::to_chars(buf, buf + sizeof buf, AValue, ABase);
  std::string s(buf, res.ptr);
  if (ABase == 16)
    for (auto& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// Decimal digits and exponent of a finite, non-negative value rounded to APrecision significant
// digits: ADigits holds the digits without trailing zeros (at least "0").
void SignificantDigits(double AValue, int APrecision, std::string& ADigits, int& AExponent) {
  char buf[64];
  auto res = std::to_chars(buf, buf + sizeof buf, AValue, std::chars_format::scientific,
                           APrecision - 1);
  std::string_view s(buf, static_cast<size_t>(res.ptr - buf));
  auto e = s.find('e');
  ADigits.clear();
  for (char c : s.substr(0, e))
    if (c != '.') ADigits += c;
  std::from_chars(s.data() + e + 1 + (s[e + 1] == '+' ? 1 : 0), s.data() + s.size(), AExponent);
  while (ADigits.size() > 1 && ADigits.back() == '0') ADigits.pop_back();
  if (AValue == 0) AExponent = 0;
}

std::string FormatFixed(double AValue, int APrecision, bool AThousands) {
  char buf[400];
  auto res = std::to_chars(buf, buf + sizeof buf, AValue, std::chars_format::fixed, APrecision);
  std::string s(buf, res.ptr);
  if (AThousands) {
    size_t start = (s[0] == '-') ? 1 : 0;
    size_t dot = s.find('.');
    if (dot == std::string::npos) dot = s.size();
    for (size_t i = dot; i > start + 3; i -= 3) s.insert(i - 3, 1, ',');
  }
  return s;
}

// "d" or "d.ddd" from significant digits.
void AppendMantissa(std::string& AOut, const std::string& ADigits) {
  AOut.append(1, ADigits[0]);
  if (ADigits.size() > 1) AOut.append(1, '.').append(ADigits, 1, std::string::npos);
}

std::string FormatGeneral(double AValue, int APrecision) {
  if (APrecision <= 0 || APrecision > 15) APrecision = 15;
  std::string digits;
  int exponent = 0;
  bool negative = std::signbit(AValue) && AValue != 0;
  SignificantDigits(std::fabs(AValue), APrecision, digits, exponent);
  std::string out = negative ? "-" : "";
  if (exponent >= APrecision || exponent < -5) {
    AppendMantissa(out, digits);
    out.append(1, 'E').append(std::to_string(exponent));
  } else if (exponent < 0) {
    out.append("0.").append(static_cast<size_t>(-exponent - 1), '0').append(digits);
  } else {
    auto intLen = static_cast<size_t>(exponent) + 1;
    if (digits.size() <= intLen) {
      out.append(digits).append(intLen - digits.size(), '0');
    } else {
      out.append(digits, 0, intLen).append(1, '.').append(digits, intLen, std::string::npos);
    }
  }
  return out;
}

std::string FormatScientific(double AValue, int APrecision) {
  if (APrecision <= 0 || APrecision > 18) APrecision = 15;
  std::string digits;
  int exponent = 0;
  bool negative = std::signbit(AValue) && AValue != 0;
  SignificantDigits(std::fabs(AValue), APrecision, digits, exponent);
  digits.resize(static_cast<size_t>(APrecision), '0');
  std::string out = negative ? "-" : "";
  AppendMantissa(out, digits);
  std::string exp = std::to_string(std::abs(exponent));
  out.append(exponent < 0 ? "E-" : "E+").append(exp.size() < 3 ? 3 - exp.size() : 0, '0').append(exp);
  return out;
}

}  // namespace

VxString VxFormatArgs(std::u16string_view AFormat, std::initializer_list<TVxFormatArg> AArgs) {
  VxString out;
  out.reserve(AFormat.size() + 16 * AArgs.size());
  const TVxFormatArg* args = AArgs.begin();
  const size_t argCount = AArgs.size();
  size_t next = 0;
  size_t i = 0;
  const size_t n = AFormat.size();

  auto takeInt = [&](size_t& AIndex) -> int64_t {
    if (AIndex >= argCount) RaiseFormatError(AFormat);
    const TVxFormatArg& a = args[AIndex++];
    if (a.FKind == TVxFormatArg::fakSigned) return a.FSigned;
    if (a.FKind == TVxFormatArg::fakUnsigned) return static_cast<int64_t>(a.FUnsigned);
    RaiseFormatError(AFormat);
  };
  auto readNumber = [&](int& AValue) -> bool {
    if (i < n && AFormat[i] == u'*') {
      ++i;
      // Width and precision from an argument are held to the range digits can give, so a
      // hostile value (INT_MIN, 2^40) neither overflows nor asks for a gigantic padding.
      AValue = static_cast<int>(std::clamp<int64_t>(takeInt(next), -100000, 100000));
      return true;
    }
    bool any = false;
    AValue = 0;
    while (i < n && AFormat[i] >= u'0' && AFormat[i] <= u'9') {
      if (AValue < 100000) AValue = AValue * 10 + (AFormat[i] - u'0');
      ++i;
      any = true;
    }
    return any;
  };

  while (i < n) {
    char16_t c = AFormat[i];
    if (c != u'%') {
      size_t j = AFormat.find(u'%', i);
      if (j == std::u16string_view::npos) j = n;
      out.append(AFormat.substr(i, j - i));
      i = j;
      continue;
    }
    ++i;
    if (i >= n) RaiseFormatError(AFormat);
    if (AFormat[i] == u'%') {
      out += u'%';
      ++i;
      continue;
    }
    // [index ":"] ["-"] [width] ["." precision] type
    size_t save = i;
    size_t index = 0;
    while (i < n && AFormat[i] >= u'0' && AFormat[i] <= u'9') index = index * 10 + static_cast<size_t>(AFormat[i++] - u'0');
    if (i > save && i < n && AFormat[i] == u':') {
      next = index;
      ++i;
    } else {
      i = save;
    }
    bool left = false;
    if (i < n && AFormat[i] == u'-') {
      left = true;
      ++i;
    }
    int width = 0;
    readNumber(width);
    if (width < 0) {
      left = true;
      width = -width;
    }
    int precision = -1;
    if (i < n && AFormat[i] == u'.') {
      ++i;
      readNumber(precision);
    }
    if (i >= n) RaiseFormatError(AFormat);
    char16_t type = VxLowCase(AFormat[i++]);
    if (next >= argCount) RaiseFormatError(AFormat);
    const TVxFormatArg& arg = args[next++];

    VxString piece;
    switch (type) {
      case u'd':
      case u'u':
      case u'x': {
        uint64_t magnitude;
        bool negative = false;
        if (arg.FKind == TVxFormatArg::fakSigned) {
          negative = arg.FSigned < 0 && type == u'd';
          if (type == u'd')
            magnitude = negative ? 0 - static_cast<uint64_t>(arg.FSigned)
                                 : static_cast<uint64_t>(arg.FSigned);
          else  // %u and %x show the 32-bit two's complement of a negative 32-bit value
            magnitude = (arg.FSigned < 0 && arg.FSigned >= INT32_MIN)
                            ? static_cast<uint32_t>(arg.FSigned)
                            : static_cast<uint64_t>(arg.FSigned);
        } else if (arg.FKind == TVxFormatArg::fakUnsigned) {
          magnitude = arg.FUnsigned;
        } else {
          RaiseFormatError(AFormat);
        }
        std::string digits = DigitsOf(magnitude, type == u'x' ? 16 : 10);
        if (precision > 0 && digits.size() < static_cast<size_t>(precision))
          digits.insert(0, static_cast<size_t>(precision) - digits.size(), '0');
        if (negative) piece += u'-';
        AppendASCII(piece, digits);
        break;
      }
      case u'f':
      case u'n':
      case u'g':
      case u'e': {
        double v;
        if (arg.FKind == TVxFormatArg::fakFloat)
          v = arg.FFloat;
        else
          RaiseFormatError(AFormat);
        if (std::isnan(v)) {
          piece = u"NAN";
        } else if (std::isinf(v)) {
          piece = v < 0 ? u"-INF" : u"INF";
        } else if (type == u'g') {
          AppendASCII(piece, FormatGeneral(v, precision));
        } else if (type == u'e') {
          AppendASCII(piece, FormatScientific(v, precision));
        } else {
          int p = precision < 0 ? 2 : (precision > 18 ? 18 : precision);
          AppendASCII(piece, FormatFixed(v, p, type == u'n'));
        }
        break;
      }
      case u's': {
        if (arg.FKind == TVxFormatArg::fakText16)
          piece.assign(arg.FText16);
        else if (arg.FKind == TVxFormatArg::fakText8)
          piece = VxUTF8ToUTF16(arg.FText8);
        else
          RaiseFormatError(AFormat);
        if (precision >= 0 && piece.size() > static_cast<size_t>(precision))
          piece.resize(static_cast<size_t>(precision));
        break;
      }
      default:
        RaiseFormatError(AFormat);
    }
    if (piece.size() < static_cast<size_t>(width)) {
      size_t pad = static_cast<size_t>(width) - piece.size();
      if (left)
        piece.append(pad, u' ');
      else
        piece.insert(0, pad, u' ');
    }
    out += piece;
  }
  return out;
}

// ---------------------------------------------------------------------------------------------
// UTF-8 and UTF-16
// ---------------------------------------------------------------------------------------------

size_t VxUTF8SequenceLength(const unsigned char* AText, const unsigned char* AEnd,
                            char32_t& ACodePoint) {
  const unsigned char b0 = AText[0];
  ACodePoint = 0xFFFD;
  if (b0 < 0x80) {
    ACodePoint = b0;
    return 1;
  }
  size_t need;
  char32_t cp;
  unsigned char lo = 0x80, hi = 0xBF;  // allowed range of the second byte
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    need = 1;
    cp = b0 & 0x1Fu;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    need = 2;
    cp = b0 & 0x0Fu;
    if (b0 == 0xE0) lo = 0xA0;        // no overlong forms
    else if (b0 == 0xED) hi = 0x9F;   // no surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    need = 3;
    cp = b0 & 0x07u;
    if (b0 == 0xF0) lo = 0x90;        // no overlong forms
    else if (b0 == 0xF4) hi = 0x8F;   // nothing above U+10FFFF
  } else {
    return 1;
  }
  size_t len = 1;
  for (size_t k = 0; k < need; ++k) {
    if (AText + len >= AEnd) return len;
    unsigned char b = AText[len];
    if (k == 0 ? (b < lo || b > hi) : (b < 0x80 || b > 0xBF)) return len;
    cp = (cp << 6) | (b & 0x3Fu);
    ++len;
  }
  ACodePoint = cp;
  return len;
}

void VxUTF8Append(const char* AText, size_t ALength, VxString& AOut) {
  const auto* p = reinterpret_cast<const unsigned char*>(AText);
  const auto* end = p + ALength;
  size_t base = AOut.size();
  AOut.resize(base + ALength);  // UTF-16 never needs more units than UTF-8 has bytes
  char16_t* out = AOut.data() + base;
  while (p < end) {
#if defined(__SSE2__)
    // ASCII fast path: sixteen bytes at a time, widened in registers.
    const __m128i zero = _mm_setzero_si128();
    while (end - p >= 16) {
      __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      if (_mm_movemask_epi8(block)) break;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(block, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(block, zero));
      out += 16;
      p += 16;
    }
    // Short names and values: eight bytes at a time.
    if (end - p >= 8) {
      __m128i block = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
      if ((_mm_movemask_epi8(block) & 0xFF) == 0) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(block, zero));
        out += 8;
        p += 8;
        continue;
      }
    }
#endif
    while (p < end && *p < 0x80) *out++ = *p++;
    if (p >= end) break;
    // Well-formed two- and three-byte sequences inline; everything else through the validator.
    const unsigned char b0 = *p;
    if (b0 >= 0xC2 && b0 <= 0xDF && end - p >= 2 && (p[1] & 0xC0) == 0x80) {
      *out++ = static_cast<char16_t>(((b0 & 0x1Fu) << 6) | (p[1] & 0x3Fu));
      p += 2;
      continue;
    }
    if ((b0 & 0xF0) == 0xE0 && end - p >= 3 && (p[1] & 0xC0) == 0x80 && (p[2] & 0xC0) == 0x80) {
      char32_t c3 = ((b0 & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
      if (c3 >= 0x800 && (c3 < 0xD800 || c3 > 0xDFFF)) {
        *out++ = static_cast<char16_t>(c3);
        p += 3;
        continue;
      }
    }
    char32_t cp;
    p += VxUTF8SequenceLength(p, end, cp);
    if (cp >= 0x10000) {
      cp -= 0x10000;
      *out++ = static_cast<char16_t>(0xD800 + (cp >> 10));
      *out++ = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      *out++ = static_cast<char16_t>(cp);
    }
  }
  AOut.resize(static_cast<size_t>(out - AOut.data()));
}

VxString VxUTF8ToUTF16(std::string_view AText) {
  VxString out;
  VxUTF8Append(AText.data(), AText.size(), out);
  return out;
}

size_t VxUTF16ToUTF8(const char16_t* AText, size_t ALength, char* AOut) noexcept {
  char* out = AOut;
  const char16_t* p = AText;
  const char16_t* end = AText + ALength;
  while (p < end) {
    // Runs of ASCII go four units at a time.
    while (end - p >= 4) {
      uint64_t four;
      std::memcpy(&four, p, sizeof four);
      if (four & 0xFF80FF80FF80FF80u) break;
      out[0] = static_cast<char>(p[0]);
      out[1] = static_cast<char>(p[1]);
      out[2] = static_cast<char>(p[2]);
      out[3] = static_cast<char>(p[3]);
      out += 4;
      p += 4;
    }
    if (p == end) break;
    char32_t c = *p++;
    if (c < 0x80) {
      *out++ = static_cast<char>(c);
      continue;
    }
    if (c >= 0xD800 && c <= 0xDBFF && p < end && *p >= 0xDC00 && *p <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (*p++ - 0xDC00u);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    if (c < 0x800) {
      *out++ = static_cast<char>(0xC0 | (c >> 6));
      *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      *out++ = static_cast<char>(0xE0 | (c >> 12));
      *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else {
      *out++ = static_cast<char>(0xF0 | (c >> 18));
      *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return static_cast<size_t>(out - AOut);
}

void VxUTF16Append(const char16_t* AText, size_t ALength, std::string& AOut) {
  const size_t base = AOut.size();
  AOut.resize(base + ALength * 3);  // at most three bytes per unit
  AOut.resize(base + VxUTF16ToUTF8(AText, ALength, AOut.data() + base));
}

std::string VxUTF16ToUTF8(std::u16string_view AText) {
  std::string out;
  VxUTF16Append(AText.data(), AText.size(), out);
  return out;
}

VxString VxUTF32ToUTF16(std::u32string_view ACodePoints) {
  VxString out;
  out.reserve(ACodePoints.size());
  for (char32_t c : ACodePoints) {
    if (c >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
  }
  return out;
}

std::u32string VxUTF16ToUTF32(std::u16string_view AText) {
  std::u32string out;
  out.reserve(AText.size());
  for (size_t k = 0; k < AText.size(); ++k) {
    char32_t c = AText[k];
    if (c >= 0xD800 && c <= 0xDBFF && k + 1 < AText.size() && AText[k + 1] >= 0xDC00 && AText[k + 1] <= 0xDFFF)
      c = 0x10000 + ((c - 0xD800) << 10) + (AText[++k] - 0xDC00u);
    out += c;
  }
  return out;
}

VxString VxASCIIToUTF16(std::string_view AText) { return VxString(AText.begin(), AText.end()); }

bool VxIsASCII(std::string_view AText) {
  for (char c : AText)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

// ---------------------------------------------------------------------------------------------
// Case and trimming
// ---------------------------------------------------------------------------------------------

VxString VxUpperCase(std::u16string_view AText) {
  VxString s(AText);
  for (auto& c : s) c = VxUpCase(c);
  return s;
}

VxString VxLowerCase(std::u16string_view AText) {
  VxString s(AText);
  for (auto& c : s) c = VxLowCase(c);
  return s;
}

std::string VxUpperCaseA(std::string_view AText) {
  std::string s(AText);
  for (auto& c : s)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return s;
}

std::string VxLowerCaseA(std::string_view AText) {
  std::string s(AText);
  for (auto& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return s;
}

namespace {
template <class TChar>
int CompareFolded(std::basic_string_view<TChar> A, std::basic_string_view<TChar> B) {
  size_t n = A.size() < B.size() ? A.size() : B.size();
  for (size_t k = 0; k < n; ++k) {
    auto a = static_cast<uint32_t>(static_cast<std::make_unsigned_t<TChar>>(A[k]));
    auto b = static_cast<uint32_t>(static_cast<std::make_unsigned_t<TChar>>(B[k]));
    if (a >= 'a' && a <= 'z') a -= 32;
    if (b >= 'a' && b <= 'z') b -= 32;
    if (a != b) return a < b ? -1 : 1;
  }
  return A.size() == B.size() ? 0 : (A.size() < B.size() ? -1 : 1);
}

template <class TChar>
std::basic_string_view<TChar> TrimView(std::basic_string_view<TChar> AText, bool ALeft,
                                       bool ARight) {
  auto blank = [](TChar c) {
    return static_cast<uint32_t>(static_cast<std::make_unsigned_t<TChar>>(c)) <= 0x20;
  };
  size_t b = 0, e = AText.size();
  if (ALeft)
    while (b < e && blank(AText[b])) ++b;
  if (ARight)
    while (e > b && blank(AText[e - 1])) --e;
  return AText.substr(b, e - b);
}
}  // namespace

int VxCompareText(std::u16string_view A, std::u16string_view B) { return CompareFolded(A, B); }
int VxCompareTextA(std::string_view A, std::string_view B) { return CompareFolded(A, B); }
int VxCompareStr(std::u16string_view A, std::u16string_view B) {
  int r = A.compare(B);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}
bool VxSameText(std::u16string_view A, std::u16string_view B) {
  return A.size() == B.size() && CompareFolded(A, B) == 0;
}
bool VxSameTextA(std::string_view A, std::string_view B) {
  return A.size() == B.size() && CompareFolded(A, B) == 0;
}
VxString VxTrim(std::u16string_view AText) { return VxString(TrimView(AText, true, true)); }
VxString VxTrimLeft(std::u16string_view AText) { return VxString(TrimView(AText, true, false)); }
VxString VxTrimRight(std::u16string_view AText) { return VxString(TrimView(AText, false, true)); }
std::string VxTrimA(std::string_view AText) { return std::string(TrimView(AText, true, true)); }

VxString VxIntToStr(int64_t AValue) {
  char buf[24];
  auto res = std::to_chars(buf, buf + sizeof buf, AValue);
  return VxString(buf, res.ptr);
}

}  // namespace vx
