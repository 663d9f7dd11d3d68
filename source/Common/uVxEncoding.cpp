// uVxEncoding: the code-page table, single-byte conversion through generated tables and
// multi-byte conversion through the C library's iconv.
#include "uVxEncoding.h"

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <map>

#include "uVxStreams.h"

namespace vx {

namespace {

struct TSingleByteTable {
  uint16_t CodePage;
  const char16_t* Table;
};

#include "uVxCodePageTables.inc"

const char16_t* FindTable(uint16_t ACodePage) {
  for (const auto& t : cSingleByteTables)
    if (t.CodePage == ACodePage) return t.Table;
  return nullptr;
}

// Names and aliases. The first name is the preferred one; all compare without regard to case.
const std::vector<TVxCodePageInfo>& CodePageList() {
  static const std::vector<TVxCodePageInfo> list = {
      {65001, "UTF-8", {"utf8", "unicode-1-1-utf-8", "unicode-2-0-utf-8", "x-unicode20utf8"}},
      {1200, "UTF-16", {"utf-16le", "utf16", "utf16le", "unicode", "ucs-2", "iso-10646-ucs-2", "csunicode"}},
      {1201, "UTF-16BE", {"utf16be", "unicodefffe"}},
      {20127, "US-ASCII", {"ascii", "us", "ansi_x3.4-1968", "ansi_x3.4-1986", "iso-ir-6", "iso646-us", "iso_646.irv:1991", "cp367", "ibm367", "csascii"}},
      {28591, "ISO-8859-1", {"iso8859-1", "iso_8859-1", "iso_8859-1:1987", "iso-ir-100", "latin1", "l1", "ibm819", "cp819", "csisolatin1"}},
      {28592, "ISO-8859-2", {"iso8859-2", "iso_8859-2", "iso_8859-2:1987", "iso-ir-101", "latin2", "l2", "csisolatin2"}},
      {28593, "ISO-8859-3", {"iso8859-3", "iso_8859-3", "iso_8859-3:1988", "iso-ir-109", "latin3", "l3", "csisolatin3"}},
      {28594, "ISO-8859-4", {"iso8859-4", "iso_8859-4", "iso_8859-4:1988", "iso-ir-110", "latin4", "l4", "csisolatin4"}},
      {28595, "ISO-8859-5", {"iso8859-5", "iso_8859-5", "iso_8859-5:1988", "iso-ir-144", "cyrillic", "csisolatincyrillic"}},
      {28596, "ISO-8859-6", {"iso8859-6", "iso_8859-6", "iso_8859-6:1987", "iso-ir-127", "arabic", "ecma-114", "asmo-708", "csisolatinarabic"}},
      {28597, "ISO-8859-7", {"iso8859-7", "iso_8859-7", "iso_8859-7:1987", "iso-ir-126", "greek", "greek8", "elot_928", "ecma-118", "csisolatingreek"}},
      {28598, "ISO-8859-8", {"iso8859-8", "iso_8859-8", "iso_8859-8:1988", "iso-ir-138", "hebrew", "csisolatinhebrew", "iso-8859-8-i"}},
      {28599, "ISO-8859-9", {"iso8859-9", "iso_8859-9", "iso_8859-9:1989", "iso-ir-148", "latin5", "l5", "csisolatin5"}},
      {28600, "ISO-8859-10", {"iso8859-10", "iso_8859-10", "iso_8859-10:1992", "iso-ir-157", "latin6", "l6", "csisolatin6"}},
      {28601, "ISO-8859-11", {"iso8859-11", "iso_8859-11", "tis-620"}},
      {28603, "ISO-8859-13", {"iso8859-13", "iso_8859-13", "latin7", "l7"}},
      {28604, "ISO-8859-14", {"iso8859-14", "iso_8859-14", "iso_8859-14:1998", "iso-ir-199", "latin8", "l8", "iso-celtic"}},
      {28605, "ISO-8859-15", {"iso8859-15", "iso_8859-15", "latin9", "latin-9", "l9", "csisolatin9"}},
      {28606, "ISO-8859-16", {"iso8859-16", "iso_8859-16", "iso_8859-16:2001", "iso-ir-226", "latin10", "l10"}},
      {874, "windows-874", {"cp874", "x-cp874", "dos-874"}},
      {1250, "windows-1250", {"cp1250", "x-cp1250"}},
      {1251, "windows-1251", {"cp1251", "x-cp1251"}},
      {1252, "windows-1252", {"cp1252", "x-cp1252"}},
      {1253, "windows-1253", {"cp1253", "x-cp1253"}},
      {1254, "windows-1254", {"cp1254", "x-cp1254"}},
      {1255, "windows-1255", {"cp1255", "x-cp1255"}},
      {1256, "windows-1256", {"cp1256", "x-cp1256"}},
      {1257, "windows-1257", {"cp1257", "x-cp1257"}},
      {1258, "windows-1258", {"cp1258", "x-cp1258"}},
      {20866, "KOI8-R", {"koi8r", "koi", "koi8", "cskoi8r"}},
      {21866, "KOI8-U", {"koi8u", "koi8-ru"}},
      {437, "IBM437", {"cp437", "437", "cspc8codepage437"}},
      {850, "IBM850", {"cp850", "850", "cspc850multilingual"}},
      {866, "IBM866", {"cp866", "866", "csibm866"}},
      {10000, "macintosh", {"mac", "macroman", "x-mac-roman", "csmacintosh"}},
      {932, "Shift_JIS", {"shift-jis", "sjis", "ms_kanji", "x-sjis", "csshiftjis", "windows-31j", "cp932", "ms932"}},
      {20932, "EUC-JP", {"eucjp", "x-euc-jp", "cseucpkdfmtjapanese"}},
      {50220, "ISO-2022-JP", {"csiso2022jp"}},
      {936, "GBK", {"gb2312", "csgb2312", "gb_2312-80", "iso-ir-58", "chinese", "csiso58gb231280", "euc-cn", "x-gbk", "cp936", "ms936", "windows-936"}},
      {54936, "GB18030", {"gb-18030"}},
      {950, "Big5", {"big-5", "cn-big5", "csbig5", "x-x-big5", "cp950", "ms950"}},
      {949, "EUC-KR", {"euckr", "cseuckr", "ks_c_5601-1987", "ks_c_5601-1989", "ksc5601", "ksc_5601", "iso-ir-149", "korean", "cp949", "uhc", "windows-949"}},
  };
  return list;
}

struct TMultiByteName {
  uint16_t CodePage;
  const char* IconvName;
  bool ASCIITransparent;
};
// Multi-byte code pages go through iconv. Lead and trail bytes of these never take the value
// of "<", ">", quotes or "=" except in ISO-2022-JP, whose shifted bytes are plain ASCII bytes.
constexpr TMultiByteName cMultiByte[] = {
    {932, "CP932", true},     {20932, "EUC-JP", true}, {50220, "ISO-2022-JP", false},
    {936, "CP936", true},     {54936, "GB18030", true}, {950, "CP950", true},
    {949, "CP949", true},
};

constexpr const char* cNativeUTF16 =
    std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

std::unique_ptr<TVxEncoding> MakeEncoding(uint16_t ACodePage) {
  const TVxCodePageInfo* info = nullptr;
  for (const auto& i : CodePageList())
    if (i.CodePage == ACodePage) info = &i;
  if (!info) return nullptr;
  switch (ACodePage) {
    case cVxCodePageUTF8:
      return std::make_unique<TVxEncoding>(ACodePage, info->Name, TVxEncoding::ekUTF8, nullptr, nullptr, true);
    case cVxCodePageUTF16:
      return std::make_unique<TVxEncoding>(ACodePage, info->Name, TVxEncoding::ekUTF16LE, nullptr, nullptr, false);
    case cVxCodePageUTF16BE:
      return std::make_unique<TVxEncoding>(ACodePage, info->Name, TVxEncoding::ekUTF16BE, nullptr, nullptr, false);
    default:
      break;
  }
  if (const char16_t* table = FindTable(ACodePage))
    return std::make_unique<TVxEncoding>(ACodePage, info->Name, TVxEncoding::ekSingleByte, table, nullptr, true);
  for (const auto& m : cMultiByte)
    if (m.CodePage == ACodePage)
      return std::make_unique<TVxEncoding>(ACodePage, info->Name, TVxEncoding::ekMultiByte, nullptr,
                                           m.IconvName, m.ASCIITransparent);
  return nullptr;
}

const std::map<uint16_t, std::unique_ptr<TVxEncoding>>& Encodings() {
  static const auto all = [] {
    std::map<uint16_t, std::unique_ptr<TVxEncoding>> m;
    for (const auto& i : CodePageList())
      if (auto e = MakeEncoding(i.CodePage)) m.emplace(i.CodePage, std::move(e));
    return m;
  }();
  return all;
}

iconv_t OpenIconv(const char* ATo, const char* AFrom, uint16_t ACodePage) {
  iconv_t h = iconv_open(ATo, AFrom);
  if (h == reinterpret_cast<iconv_t>(-1))
    throw EVxEncodingNotSupported(VxFormat(cVxCodePageNotSupported, ACodePage));
  return h;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVxEncoding
// ---------------------------------------------------------------------------------------------

TVxEncoding::TVxEncoding(uint16_t ACodePage, const char* AName, TKind AKind, const char16_t* ATable,
                         const char* AIconvName, bool AASCIITransparent)
    : FCodePage(ACodePage),
      FName(AName),
      FKind(AKind),
      FTable(ATable),
      FIconvName(AIconvName),
      FASCIITransparent(AASCIITransparent) {}

TVxEncoding::~TVxEncoding() = default;

const TVxEncoding& TVxEncoding::GetEncoding(uint16_t ACodePage) {
  const auto& all = Encodings();
  auto it = all.find(ACodePage);
  if (it == all.end()) throw EVxEncodingNotSupported(VxFormat(cVxCodePageNotSupported, ACodePage));
  return *it->second;
}

bool TVxEncoding::IsSupported(uint16_t ACodePage) { return Encodings().count(ACodePage) != 0; }

VxString TVxEncoding::ConvertA(std::string_view AText) const {
  VxString out;
  ConvertA(AText.data(), AText.size(), out);
  return out;
}

void TVxEncoding::ConvertA(const char* AText, size_t ALength, VxString& AOut) const {
  const auto* p = reinterpret_cast<const uint8_t*>(AText);
  switch (FKind) {
    case ekUTF8:
      VxUTF8Append(AText, ALength, AOut);
      return;
    case ekUTF16LE:
    case ekUTF16BE: {
      size_t units = ALength / 2;
      size_t base = AOut.size();
      AOut.resize(base + units + (ALength & 1));
      for (size_t k = 0; k < units; ++k) {
        uint8_t b0 = p[2 * k], b1 = p[2 * k + 1];
        AOut[base + k] = FKind == ekUTF16LE ? char16_t(b0 | (b1 << 8)) : char16_t((b0 << 8) | b1);
      }
      if (ALength & 1) AOut[base + units] = 0xFFFD;  // a lone trailing byte
      return;
    }
    case ekSingleByte: {
      size_t base = AOut.size();
      AOut.resize(base + ALength);
      char16_t* out = AOut.data() + base;
      for (size_t k = 0; k < ALength; ++k) out[k] = FTable[p[k]];
      return;
    }
    case ekMultiByte: {
      TVxMultiByteDecoder decoder(FCodePage);
      size_t base = AOut.size();
      AOut.resize(base + ALength + 2);
      const uint8_t* in = p;
      char16_t* out = AOut.data() + base;
      decoder.Decode(in, p + ALength, out, AOut.data() + AOut.size(), true);
      AOut.resize(static_cast<size_t>(out - AOut.data()));
      return;
    }
  }
}

const uint8_t* TVxEncoding::ReverseTable() const {
  std::call_once(FReverseOnce, [this] {
    FReverse = std::make_unique<uint8_t[]>(0x10000);  // zero: not in the code page
    // Walk backwards so that a character with two byte values maps to the lower one.
    for (int b = 255; b >= 1; --b)
      if (FTable[b] != 0xFFFD) FReverse[FTable[b]] = static_cast<uint8_t>(b);
  });
  return FReverse.get();
}

std::string TVxEncoding::ConvertW(std::u16string_view AText) const {
  std::string out;
  switch (FKind) {
    case ekUTF8:
      return VxUTF16ToUTF8(AText);
    case ekUTF16LE:
    case ekUTF16BE:
      out.resize(AText.size() * 2);
      for (size_t k = 0; k < AText.size(); ++k) {
        auto hi = static_cast<char>(AText[k] >> 8), lo = static_cast<char>(AText[k] & 0xFF);
        out[2 * k] = FKind == ekUTF16LE ? lo : hi;
        out[2 * k + 1] = FKind == ekUTF16LE ? hi : lo;
      }
      return out;
    case ekSingleByte: {
      const uint8_t* rev = ReverseTable();
      out.resize(AText.size());
      size_t n = 0;
      for (size_t k = 0; k < AText.size(); ++k) {
        char16_t c = AText[k];
        if (c == 0) {
          out[n++] = 0;
        } else if (uint8_t b = rev[c]) {
          out[n++] = static_cast<char>(b);
        } else {
          out[n++] = cVxUnmappableChar;
          // A surrogate pair is one character: one replacement for both units.
          if (c >= 0xD800 && c <= 0xDBFF && k + 1 < AText.size() && AText[k + 1] >= 0xDC00 &&
              AText[k + 1] <= 0xDFFF)
            ++k;
        }
      }
      out.resize(n);
      return out;
    }
    case ekMultiByte: {
      iconv_t h = OpenIconv(FIconvName, cNativeUTF16, FCodePage);
      out.resize(AText.size() * 4 + 16);
      char* in = reinterpret_cast<char*>(const_cast<char16_t*>(AText.data()));
      size_t inLeft = AText.size() * 2;
      char* op = out.data();
      size_t outLeft = out.size();
      auto grow = [&] {
        size_t used = static_cast<size_t>(op - out.data());
        out.resize(out.size() * 2);
        op = out.data() + used;
        outLeft = out.size() - used;
      };
      auto flush = [&] {
        while (iconv(h, nullptr, nullptr, &op, &outLeft) == static_cast<size_t>(-1) && errno == E2BIG)
          grow();
      };
      while (inLeft > 0) {
        if (iconv(h, &in, &inLeft, &op, &outLeft) != static_cast<size_t>(-1)) continue;
        if (errno == E2BIG) {
          grow();
          continue;
        }
        // EILSEQ or EINVAL: the character cannot be written (or is an unpaired surrogate).
        // Leave any shift state first so the replacement stands in plain ASCII.
        flush();
        if (outLeft < 1) grow();
        *op++ = cVxUnmappableChar;
        --outLeft;
        char16_t c;
        std::memcpy(&c, in, 2);
        size_t skip = 2;
        if (c >= 0xD800 && c <= 0xDBFF && inLeft >= 4) {
          char16_t d;
          std::memcpy(&d, in + 2, 2);
          if (d >= 0xDC00 && d <= 0xDFFF) skip = 4;
        }
        in += skip;
        inLeft -= skip;
      }
      flush();  // return to the initial shift state
      iconv_close(h);
      out.resize(static_cast<size_t>(op - out.data()));
      return out;
    }
  }
  return out;
}

// ---------------------------------------------------------------------------------------------
// TVxMultiByteDecoder
// ---------------------------------------------------------------------------------------------

TVxMultiByteDecoder::TVxMultiByteDecoder(uint16_t ACodePage) {
  const TVxEncoding& enc = TVxEncoding::GetEncoding(ACodePage);
  const char* from = enc.Kind() == TVxEncoding::ekUTF16BE ? "UTF-16BE" : enc.IconvName();
  if (!from) throw EVxEncodingNotSupported(VxFormat(cVxCodePageNotSupported, ACodePage));
  FHandle = OpenIconv(cNativeUTF16, from, ACodePage);
  FUnitSize = enc.Kind() == TVxEncoding::ekUTF16BE ? 2 : 1;
}

TVxMultiByteDecoder::~TVxMultiByteDecoder() { iconv_close(static_cast<iconv_t>(FHandle)); }

void TVxMultiByteDecoder::Reset() { iconv(static_cast<iconv_t>(FHandle), nullptr, nullptr, nullptr, nullptr); }

void TVxMultiByteDecoder::Decode(const uint8_t*& AIn, const uint8_t* AInEnd, char16_t*& AOut,
                                 char16_t* AOutEnd, bool AFinal) {
  auto h = static_cast<iconv_t>(FHandle);
  while (AIn < AInEnd && AOut < AOutEnd) {
    char* ip = reinterpret_cast<char*>(const_cast<uint8_t*>(AIn));
    size_t inLeft = static_cast<size_t>(AInEnd - AIn);
    char* op = reinterpret_cast<char*>(AOut);
    size_t outLeft = static_cast<size_t>(AOutEnd - AOut) * 2;
    size_t r = iconv(h, &ip, &inLeft, &op, &outLeft);
    int err = errno;
    AIn = reinterpret_cast<const uint8_t*>(ip);
    AOut = reinterpret_cast<char16_t*>(op);
    if (r != static_cast<size_t>(-1) || err == E2BIG) return;
    if (err == EINVAL && !AFinal) return;  // incomplete sequence: wait for more input
    if (AOut >= AOutEnd) return;
    *AOut++ = 0xFFFD;
    if (err == EINVAL) {
      // An incomplete sequence at the very end of the text is one character: one U+FFFD.
      AIn = AInEnd;
    } else {
      // An invalid byte, or an invalid unit of a two-byte encoding: skipped whole, so what
      // follows stays aligned.
      AIn += std::min<ptrdiff_t>(FUnitSize, AInEnd - AIn);
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Names
// ---------------------------------------------------------------------------------------------

const std::vector<TVxCodePageInfo>& VxCodePages() { return CodePageList(); }

uint16_t VxFindCodePage(std::string_view AName) {
  std::string name = VxTrimA(AName);
  for (const auto& i : CodePageList()) {
    if (VxSameTextA(name, i.Name)) return i.CodePage;
    for (const char* a : i.Aliases)
      if (VxSameTextA(name, a)) return i.CodePage;
  }
  return 0;
}

uint16_t VxCodePage(std::string_view AName) {
  uint16_t cp = VxFindCodePage(AName);
  if (cp == 0) throw EVxEncodingNotSupported(cVxEncodingNotSupported);
  return cp;
}

uint16_t VxCodePage(std::u16string_view AName) {
  for (char16_t c : AName)
    if (c >= 0x80) throw EVxEncodingNotSupported(cVxEncodingNotSupported);
  std::string narrow(AName.begin(), AName.end());
  return VxCodePage(std::string_view(narrow));
}

VxString VxCodePageName(uint16_t ACodePage) {
  for (const auto& i : CodePageList())
    if (i.CodePage == ACodePage) return VxASCIIToUTF16(i.Name);
  return {};
}

uint16_t VxGetCodePage(TVxStream& AStream) {
  int64_t start = AStream.Position();
  uint8_t bom[3] = {0, 0, 0};
  int64_t got = 0;  // a stream may hand out fewer bytes than asked for before its end
  while (got < 3) {
    const int64_t n = AStream.Read(bom + got, 3 - got);
    if (n <= 0) break;
    got += n;
  }
  uint16_t cp = 0;
  int64_t length = 0;
  if (got >= 3 && bom[0] == 0xEF && bom[1] == 0xBB && bom[2] == 0xBF) {
    cp = cVxCodePageUTF8;
    length = 3;
  } else if (got >= 2 && bom[0] == 0xFF && bom[1] == 0xFE) {
    cp = cVxCodePageUTF16;
    length = 2;
  } else if (got >= 2 && bom[0] == 0xFE && bom[1] == 0xFF) {
    cp = cVxCodePageUTF16BE;
    length = 2;
  }
  AStream.Seek(start + length, soBeginning);
  return cp;
}

TVxStream& VxGetCodePage(TVxStream& AStream, uint16_t& ACodePage, std::unique_ptr<TVxReplayStream>& AReplay) {
  VxPeekStream(AStream, 3, AReplay);
  TVxStream& source = AReplay ? static_cast<TVxStream&>(*AReplay) : AStream;
  ACodePage = VxGetCodePage(source);
  return source;
}

}  // namespace vx
