// uVxSAX: attribute and namespace lists, the reader base, the XML reader, the JSON-to-SAX reader
// and the parser component.
#include "uVxSAX.h"
#include "uVxJSONWalk.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vx {

namespace {

const VxXMLString cEmpty;

// Blanks and controls: codes 0 to 32.
constexpr TVxAnsiCharSet cBlanks = TVxAnsiCharSet::Range(0, 32);

VxString CharText(char16_t AChar, bool AAtEnd) { return AAtEnd ? VxString() : VxString(1, AChar); }

void TrimInPlace(VxXMLString& AText) {
  if (AText.empty() || (AText.front() > 32 && AText.back() > 32)) return;
  size_t b = 0, e = AText.size();
  while (b < e && AText[b] <= 32) ++b;
  while (e > b && AText[e - 1] <= 32) --e;
  // Erase in place: the string keeps its storage for the next name.
  AText.erase(e);
  AText.erase(0, b);
}

bool IsXMLNS(const VxXMLString& AText) {
  return AText.size() == 5 && (AText[0] | 0x20) == u'x' && VxSameText(AText, u"xmlns");
}

// A reader fills one attribute list per tag and reuses it. A handler that kept a reference to
// it gets to keep it: the reader lets go of that list and fills a new one next time. Checked
// before every reuse, so a list kept by a handler that then ended the parse by throwing is not
// overwritten by the next parse either.
void RenewIfKept(TVxSAXXMAttributes*& AList) {
  if (AList->RefCount() <= 1) return;
  AList->_Release();
  AList = new TVxSAXXMAttributes;
  AList->_AddRef();
}

// UTF-8 bytes to UTF-16, replacing AOut's content and reusing its storage. ASCII is widened
// eight bytes at a time (the last block overlaps the one before, so nothing outside the range
// is read or written); anything else goes through the full decoder.
[[gnu::always_inline]] inline void AssignUTF8(const uint8_t* AStart, const uint8_t* AStop, VxXMLString& AOut) {
  const auto n = static_cast<size_t>(AStop - AStart);
  // Names and values repeat in length from tag to tag: then the storage is simply overwritten.
  if (n < AOut.size())
    AOut.erase(n);  // inline, where resize is a call
  else if (n > AOut.size())
    AOut.resize(n);
  char16_t* out = AOut.data();
  size_t k = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  if (n >= 8) {
    for (;;) {
      if (k + 8 > n) k = n - 8;
      const __m128i block = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(AStart + k));
      if (_mm_movemask_epi8(block) & 0xFF) break;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + k), _mm_unpacklo_epi8(block, zero));
      k += 8;
      if (k >= n) return;
    }
  } else if (n >= 4) {
    // Four to seven bytes: the first four and the last four, overlapping.
    uint32_t head, tail;
    std::memcpy(&head, AStart, 4);
    std::memcpy(&tail, AStop - 4, 4);
    if (((head | tail) & 0x80808080u) == 0) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(out),
                       _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(head)), zero));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(out + n - 4),
                       _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(tail)), zero));
      return;
    }
  }
#endif
  for (; k < n && AStart[k] < 0x80; ++k) out[k] = AStart[k];
  if (k < n) {
    AOut.resize(k);
    VxUTF8Append(reinterpret_cast<const char*>(AStart + k), n - k, AOut);
  }
}

// Bytes up to 32 off both ends, as trimming the decoded text would remove them.
void TrimBytes(const uint8_t*& AStart, const uint8_t*& AStop) {
  while (AStart < AStop && *AStart <= 32) ++AStart;
  while (AStop > AStart && AStop[-1] <= 32) --AStop;
}


// Stop characters of the tag scans.
constexpr TVxAnsiCharSet cElementNameEnd = cBlanks + TVxAnsiCharSet{':', '<', '>', '/'};
constexpr TVxAnsiCharSet cElementLocalEnd = cBlanks + TVxAnsiCharSet{'>', '/'};
constexpr TVxAnsiCharSet cAttrNameEnd{'=', ':', '>', '<'};
constexpr TVxAnsiCharSet cAttrLocalEnd{'=', '>', '<'};
constexpr TVxAnsiCharSet cAttrValueStart{'\'', '"', '>', '<'};
constexpr TVxAnsiCharSet cAttrAfterValue = cBlanks + TVxAnsiCharSet{'\'', '"'};

// First byte at or after AFrom that is in the set, or AEnd.
inline const uint8_t* ScanUntil(const uint8_t* AFrom, const uint8_t* AEnd, const TVxAnsiCharSet& ASet) {
  while (AFrom < AEnd && !ASet.ContainsByte(*AFrom)) ++AFrom;
  return AFrom;
}

// First byte at or after AFrom that is not in the set, or AEnd.
inline const uint8_t* ScanUntilNot(const uint8_t* AFrom, const uint8_t* AEnd, const TVxAnsiCharSet& ASet) {
  while (AFrom < AEnd && ASet.ContainsByte(*AFrom)) ++AFrom;
  return AFrom;
}

#if defined(__SSE2__)
// Sixteen bytes at a time: the first byte whose bit in AHit's mask is set; nullptr when none
// is, with AFrom moved to the last partial block, which the caller finishes byte by byte.
template <class THit>
inline const uint8_t* FindInBlocks(const uint8_t*& AFrom, const uint8_t* AEnd, THit AHit) {
  for (; AEnd - AFrom >= 16; AFrom += 16)
    if (const int bits = AHit(_mm_loadu_si128(reinterpret_cast<const __m128i*>(AFrom))) & 0xFFFF)
      return AFrom + __builtin_ctz(static_cast<unsigned>(bits));
  return nullptr;
}

// Lanes holding a blank or control (0 to 32).
inline __m128i BlankLanes(__m128i AValue) {
  return _mm_cmpeq_epi8(_mm_subs_epu8(AValue, _mm_set1_epi8(32)), _mm_setzero_si128());
}
inline __m128i Lanes(__m128i AValue, char AChar) { return _mm_cmpeq_epi8(AValue, _mm_set1_epi8(AChar)); }
// Lanes holding "=", ":", ">" or "<": the end of an attribute name.
inline __m128i AttrNameEndLanes(__m128i AValue) {
  return _mm_or_si128(_mm_or_si128(Lanes(AValue, '='), Lanes(AValue, ':')),
                      _mm_or_si128(Lanes(AValue, '>'), Lanes(AValue, '<')));
}
#endif

// First blank (up to 32), ":", "<", ">" or "/" at or after AFrom, or AEnd: the end of an
// element name.
inline const uint8_t* ScanElementName(const uint8_t* AFrom, const uint8_t* AEnd) {
#if defined(__SSE2__)
  if (const uint8_t* hit = FindInBlocks(AFrom, AEnd, [](__m128i v) {
        return _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(BlankLanes(v), Lanes(v, ':')),
                                              _mm_or_si128(_mm_or_si128(Lanes(v, '<'), Lanes(v, '>')), Lanes(v, '/'))));
      }))
    return hit;
#endif
  return ScanUntil(AFrom, AEnd, cElementNameEnd);
}

// First "=", ":", ">" or "<" at or after AFrom, or AEnd: the end of an attribute name.
inline const uint8_t* ScanAttrName(const uint8_t* AFrom, const uint8_t* AEnd) {
#if defined(__SSE2__)
  if (const uint8_t* hit = FindInBlocks(AFrom, AEnd, [](__m128i v) { return _mm_movemask_epi8(AttrNameEndLanes(v)); }))
    return hit;
#endif
  return ScanUntil(AFrom, AEnd, cAttrNameEnd);
}

// First byte above 32 at or after AFrom, or AEnd.
inline const uint8_t* SkipBlanks(const uint8_t* AFrom, const uint8_t* AEnd) {
#if defined(__SSE2__)
  if (const uint8_t* hit = FindInBlocks(AFrom, AEnd, [](__m128i v) { return ~_mm_movemask_epi8(BlankLanes(v)); }))
    return hit;
#endif
  return ScanUntilNot(AFrom, AEnd, cBlanks);
}

// First byte at or after AFrom that is neither a blank (up to 32) nor a quote, or AEnd: the
// start of the next attribute name.
inline const uint8_t* SkipAfterValue(const uint8_t* AFrom, const uint8_t* AEnd) {
#if defined(__SSE2__)
  if (const uint8_t* hit = FindInBlocks(AFrom, AEnd, [](__m128i v) {
        return ~_mm_movemask_epi8(_mm_or_si128(BlankLanes(v), _mm_or_si128(Lanes(v, '"'), Lanes(v, '\''))));
      }))
    return hit;
#endif
  return ScanUntilNot(AFrom, AEnd, cAttrAfterValue);
}

// First AQuote at or after AFrom, or AEnd: the end of an attribute value.
inline const uint8_t* ScanQuote(const uint8_t* AFrom, const uint8_t* AEnd, uint8_t AQuote) {
#if defined(__SSE2__)
  const auto quote = static_cast<char>(AQuote);
  if (const uint8_t* hit = FindInBlocks(AFrom, AEnd, [quote](__m128i v) { return _mm_movemask_epi8(Lanes(v, quote)); }))
    return hit;
#endif
  while (AFrom < AEnd && *AFrom != AQuote) ++AFrom;
  return AFrom;
}


}  // namespace

// ---------------------------------------------------------------------------------------------
// TVxSAXXMAttributes
// ---------------------------------------------------------------------------------------------

TVxSAXXMAttributes::TVxSAXXMAttributes() = default;
TVxSAXXMAttributes::~TVxSAXXMAttributes() = default;

void TVxSAXXMAttributes::Grow() { FEntries.push_back(std::make_unique<TVxSAXAttribute>()); }

void TVxSAXXMAttributes::RaiseIndexError(int AIndex) {
  throw EVxXMLParseError(VxFormat(cVxSAXListIndexError, AIndex), cVxXMLErrListIndex);
}

TVxSAXAttribute& TVxSAXXMAttributes::Add(const VxXMLString& ALocalName, const VxXMLString& AQName,
                                         const VxXMLString& AURI, const VxXMLString& AValue,
                                         TVxSAXAttributeType AType) {
  TVxSAXAttribute& a = AddEmpty();
  a.LocalName = ALocalName;
  a.QName = AQName;
  a.URI = AURI;
  a.Value = AValue;
  a.AttrType = AType;
  return a;
}

void TVxSAXXMAttributes::Clear() noexcept { FCount = 0; }

int TVxSAXXMAttributes::GetIndex(const VxXMLString& AQName) {
  for (int k = 0; k < FCount; ++k)
    if (VxSameText(FEntries[static_cast<size_t>(k)]->QName, AQName)) return k;
  return -1;
}

int TVxSAXXMAttributes::GetIndex(const VxXMLString& AURI, const VxXMLString& ALocalName) {
  const bool anyURI = AURI == u"*";
  for (int k = 0; k < FCount; ++k) {
    const TVxSAXAttribute& a = *FEntries[static_cast<size_t>(k)];
    if ((anyURI || VxSameText(a.URI, AURI)) && VxSameText(a.LocalName, ALocalName)) return k;
  }
  return -1;
}

TVxSAXAttribute& TVxSAXXMAttributes::ByQName(const VxXMLString& AQName) {
  int k = GetIndex(AQName);
  if (k < 0) throw EVxXMLParseError(VxFormat(cVxSAXListNameError, AQName), cVxXMLErrListIndex);
  return *FEntries[static_cast<size_t>(k)];
}

TVxSAXAttribute& TVxSAXXMAttributes::ByURI(const VxXMLString& AURI, const VxXMLString& ALocalName) {
  int k = GetIndex(AURI, ALocalName);
  if (k < 0) throw EVxXMLParseError(VxFormat(cVxSAXListURIError, AURI, ALocalName), cVxXMLErrListIndex);
  return *FEntries[static_cast<size_t>(k)];
}

// ---------------------------------------------------------------------------------------------
// TVxSAXNamespaceList
// ---------------------------------------------------------------------------------------------

std::size_t TVxSAXNamespaceList::TPrefixHash::operator()(std::u16string_view APrefix) const noexcept {
  std::size_t h = 14695981039346656037u;
  for (char16_t c : APrefix) h = (h ^ (c >= u'A' && c <= u'Z' ? c + 32u : c)) * 1099511628211u;
  return h;
}

bool TVxSAXNamespaceList::TPrefixEqual::operator()(std::u16string_view A, std::u16string_view B) const noexcept {
  return A.size() == B.size() && (A.empty() || VxSameText(A, B));
}

void TVxSAXNamespaceList::AddURI(int ALevel, const VxXMLString& APrefix, const VxXMLString& AURI) {
  const int index = static_cast<int>(FItems.size());
  auto [it, added] = FNewest.try_emplace(APrefix, index);
  FItems.push_back({ALevel, APrefix, AURI, added ? -1 : it->second});
  it->second = index;
  if (FHandler) FHandler->StartPrefixMapping(APrefix, AURI);
}

const TVxSAXNamespace* TVxSAXNamespaceList::GetNamespace(const VxXMLString& APrefix) const {
  if (FItems.size() <= 8) {  // the usual case: a scan beats hashing
    for (auto it = FItems.rbegin(); it != FItems.rend(); ++it)
      if (TPrefixEqual()(it->Prefix, APrefix)) return &*it;
    return nullptr;
  }
  auto found = FNewest.find(std::u16string_view(APrefix));
  return found == FNewest.end() ? nullptr : &FItems[static_cast<size_t>(found->second)];
}

const VxXMLString& TVxSAXNamespaceList::GetURI(const VxXMLString& APrefix) const {
  const TVxSAXNamespace* ns = GetNamespace(APrefix);
  return ns ? ns->URI : cEmpty;
}

void TVxSAXNamespaceList::RemoveFrom(int ALevel) {
  while (!FItems.empty() && FItems.back().Level >= ALevel) {
    TVxSAXNamespace& last = FItems.back();
    if (FHandler) FHandler->EndPrefixMapping(last.Prefix);
    auto it = FNewest.find(std::u16string_view(last.Prefix));
    if (last.Previous < 0)
      FNewest.erase(it);
    else
      it->second = last.Previous;
    FItems.pop_back();
  }
}

// ---------------------------------------------------------------------------------------------
// TVxSAXReader
// ---------------------------------------------------------------------------------------------

TVxSAXReader::TVxSAXReader() : FEmptyAttributes(new TVxSAXXMAttributes) {
  SetAutoDestroy(false);
  FEmptyAttributes->_AddRef();
}

TVxSAXReader::~TVxSAXReader() {
  delete FParser;
  FEmptyAttributes->_Release();
}

int64_t TVxSAXReader::GetLineNr() {
  if (FEOFError) return FLineNr;
  return FParser ? FParser->GetLineNr() : -1;
}

int64_t TVxSAXReader::GetColNr() {
  if (FEOFError) return FColNr;
  return FParser ? FParser->GetColNr() : -1;
}

int64_t TVxSAXReader::GetPosition() { return FParser ? FParser->GetPosition() : -1; }

void TVxSAXReader::RunParse(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage) {
  // A handler that starts a parse on the reader that called it would free the cursor the
  // outer parse is still reading: refused, and the refusal ends the outer parse too.
  if (FParser) {
    if (AOwnsStream) delete AStream;
    throw EVxXMLParseError(cVxSAXReentrantParse, cVxXMLErrReentrantParse);
  }
  FEOFError = false;
  FLineNr = FColNr = -1;
  FParser = CreateParser(AStream, AOwnsStream, ADetectCodePage, ACodePage);
  try {
    InternalParse();
  } catch (...) {
    delete FParser;
    FParser = nullptr;
    throw;
  }
  delete FParser;
  FParser = nullptr;
}

void TVxSAXReader::ReportFatal(const std::exception& AError) {
  FEOFError = dynamic_cast<const EVxTextParserEOF*>(&AError) != nullptr;
  if (FEOFError && FParser) FParser->GetLineMarkPos(FLineNr, FColNr);
  VxXMLString message;
  if (auto* e = dynamic_cast<const Exception*>(&AError))
    message = e->Message();
  else
    message = VxUTF8ToUTF16(AError.what());
  FErrorHandler->FatalError(this, message);
}

void TVxSAXReader::ParseFile(const VxString& AFileName, uint16_t AMode, const VxXMLString& APublicID) {
  ParseFileNamed(VxUTF16ToUTF8(AFileName), AMode, APublicID);
}

void TVxSAXReader::ParseFileNamed(const std::string& ANativeName, uint16_t AMode, const VxXMLString& APublicID) {
  if (FParser) throw EVxXMLParseError(cVxSAXReentrantParse, cVxXMLErrReentrantParse);
  TVxFileStream file(ANativeName, AMode);
  FPublicID = APublicID;
  RunParse(&file, false, true, 0);
}

void TVxSAXReader::ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxXMLString& APublicID) {
  if (FParser) throw EVxXMLParseError(cVxSAXReentrantParse, cVxXMLErrReentrantParse);
  FPublicID = APublicID;
  RunParse(&AStream, false, false, ACodePage);
}

void TVxSAXReader::ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxXMLString& APublicID) {
  TVxMemoryStream stream(ABuffer, ASize);
  ParseStream(stream, ACodePage, APublicID);
}

void TVxSAXReader::Parse(std::u16string_view AText, const VxXMLString& APublicID) {
  TVxStringStream stream(AText);
  ParseStream(stream, cVxCodePageUTF16, APublicID);
}

void TVxSAXReader::Parse(std::string_view AText, uint16_t ACodePage, const VxXMLString& APublicID) {
  TVxStringStream stream(AText, ACodePage);
  ParseStream(stream, ACodePage, APublicID);
}

// ---------------------------------------------------------------------------------------------
// TVxXMLParser
// ---------------------------------------------------------------------------------------------

namespace {
uint16_t InitialCodePage(TVxStream* AStream, bool ADetect, uint16_t ACodePage) {
  uint16_t cp = ADetect ? VxGetCodePage(*AStream) : 0;
  return cp ? cp : ACodePage;
}
}  // namespace

TVxXMLParser::TVxXMLParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage)
    : TVxTextParser(AStream, AOwnsStream, InitialCodePage(AStream, ADetectCodePage, ACodePage)) {
  SetCharacterSetType(CharacterSetType());
  uint16_t cp = ContentCodePage();
  if (!FCodePageFixed) DetectDeclaredCodePage(cp);
  SetContentCodePage(cp);
  First();
}

void TVxXMLParser::DetectDeclaredCodePage(uint16_t& ACodePage) {
  std::string name;
  SkipWhile(skUntilEqual, u'<');
  if (PeekString(6) == "<?xml ") {
    SetMark(ptMark1);
    SkipWhile(skUntilEqual, u'>');
    std::string decl = VxLowerCaseA(Selected(ptMark1, ptCurrent, false));
    ClearMark(ptMark1);
    if (auto at = decl.find("encoding"); at != std::string::npos) {
      std::string rest = decl.substr(at + 8);
      if (auto eq = rest.find('='); eq != std::string::npos) {
        rest = VxTrimA(std::string_view(rest).substr(eq + 1));
        if (rest.size() > 1) {
          char quote = rest[0];
          auto close = rest.find(quote, 1);
          name = rest.substr(1, close == std::string::npos ? std::string::npos : close - 1);
        }
      }
    }
  }
  if (!name.empty() && !VxSameTextA(name, "UTF-8")) {
    ACodePage = VxCodePage(std::string_view(name));
  } else {
    SetCharacterSetType(cstUTF8);
    ACodePage = cVxCodePageUTF8;
  }
}

void TVxXMLParser::SetCharacterSetType(TVxCharacterSetType AType) {
  // The recognizer compares units against ASCII punctuation in every width (CurrUnit), and the
  // inherited skip loops are already specialised per width; nothing else to switch.
  TVxTextParser::SetCharacterSetType(AType);
}

bool TVxXMLParser::CheckCurrChar(char16_t AChar, bool ARaiseIfNot) {
  if (!Eof() && CurrUnit() == AChar) return true;
  if (ARaiseIfNot)
    throw EVxXMLParseError(VxFormat(cVxXMLNotWellFormed, VxString(1, AChar), CharText(CurrCharW(), Eof())),
                           cVxXMLErrCharExpected);
  return false;
}

bool VxIsXMLNameStartChar(char16_t C) noexcept {
  return (C >= u'A' && C <= u'Z') || C == u'_' || (C >= u'a' && C <= u'z') || (C >= 0xC0 && C <= 0xD6) ||
         (C >= 0xD8 && C <= 0xF6) || (C >= 0xF8 && C <= 0x2FF) || (C >= 0x370 && C <= 0x37D) ||
         (C >= 0x37F && C <= 0x1FFF) || (C >= 0x200C && C <= 0x200D) || (C >= 0x2070 && C <= 0x218F) ||
         (C >= 0x2C00 && C <= 0x2FEF) || (C >= 0x3001 && C <= 0xD7FF) || (C >= 0xF900 && C <= 0xFDCF) ||
         (C >= 0xFDF0 && C <= 0xFFFD);
}

bool VxIsXMLNameChar(char16_t C) noexcept {
  return VxIsXMLNameStartChar(C) || C == u'-' || C == u'.' || (C >= u'0' && C <= u'9') || C == 0xB7 ||
         (C >= 0x300 && C <= 0x36F) || (C >= 0x203F && C <= 0x2040);
}

void TVxXMLParser::CheckValidNameStartChar() {
  char16_t c = CurrCharW();
  if (!Eof() && VxIsXMLNameStartChar(c)) return;
  if (c == u':') throw EVxXMLParseError(VxFormat(cVxXMLColonNameStart, u":"), cVxXMLErrCharExpected);
  throw EVxXMLParseError(VxFormat(cVxXMLInvalidNameStart, CharText(c, Eof())), cVxXMLErrCharExpected);
}

// ---------------------------------------------------------------------------------------------
// TVxSAXXMLReader
// ---------------------------------------------------------------------------------------------

TVxSAXXMLReader::TVxSAXXMLReader() : FAttributes(new TVxSAXXMAttributes) { FAttributes->_AddRef(); }

TVxSAXXMLReader::~TVxSAXXMLReader() { FAttributes->_Release(); }

TVxTextParser* TVxSAXXMLReader::CreateParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage,
                                             uint16_t ACodePage) {
  return new TVxXMLParser(AStream, AOwnsStream, ADetectCodePage, ACodePage);
}

void TVxSAXXMLReader::SendCharacters(TVxTextParserPosType AFrom, TVxTextParserPosType ATo) {
  Select(AFrom, ATo, FText);
  FContentHandler->Characters(FText);
}

void TVxSAXXMLReader::SendWhitespace(TVxTextParserPosType AFrom, TVxTextParserPosType ATo) {
  Select(AFrom, ATo, FText);
  FContentHandler->IgnorableWhitespace(FText);
}

void TVxSAXXMLReader::InternalParse() {
  if (!FContentHandler) throw EVxXMLParseError(cVxSAXNoContentHandler, cVxXMLErrNoContentHandler);
  if (!FErrorHandler) throw EVxXMLParseError(cVxSAXNoErrorHandler, cVxXMLErrNoErrorHandler);
  FNamespaces.Clear();
  FNamespaces.SetHandler(FContentHandler.Get());
  TVxXMLParser* p = Cursor();
  GuardParse([&] {
    int depth = 0;
    p->SkipWhile(skUntilEqual, u'<');
    FContentHandler->SetDocumentLocator(this);
    FContentHandler->StartDocument();
    // Prolog: declaration, comments, DOCTYPE, blanks.
    while (!p->Eof()) {
      uint32_t next = p->NextUnit();
      if (next == u'?') {
        ParseProcessingInstruction();
      } else if (next == u'!') {
        ParseMarkupDeclaration(true);
      } else if (next >= 1 && next <= 32) {
        p->NextChar();
      } else {
        break;
      }
      p->SkipWhile(skUntilEqual, u'<');
    }
    p->SkipWhile(skWhileAtOrBelow, u' ');
    p->CheckCurrChar(u'<', true);
    // Body. The character after a "<" picks the construct; text (which follows a CDATA
    // section, a comment or an instruction directly) is read as text whatever its second
    // character is, so "]]>x?y" or "-->O! what" stay text.
    while (!p->Eof()) {
      if (ParseContentUTF8(depth)) continue;
      if (p->CurrUnit() != u'<') {
        ParseCharacters();
        continue;
      }
      uint32_t next = p->NextUnit();
      if (next == u'!') {
        ParseMarkupDeclaration(false);
      } else if (next == u'?') {
        ParseProcessingInstruction();
      } else {
        ParseElement(depth);
      }
    }
    FContentHandler->EndDocument();
  });
}

void TVxSAXXMLReader::ParseMarkupDeclaration(bool AInProlog) {
  // On "<" before "!": a comment when "-" follows, else a DOCTYPE (prolog) or CDATA section.
  TVxXMLParser* p = Cursor();
  p->NextChar();
  if (p->NextUnit() == u'-')
    ParseComment();
  else if (AInProlog)
    ParseDTD();
  else
    ParseCDATA();
}

void TVxSAXXMLReader::ParseElement(int& ADepth) {
  static constexpr const TVxAnsiCharSet& nameEnd = cElementNameEnd;
  static constexpr const TVxAnsiCharSet& localEnd = cElementLocalEnd;
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  p->CheckCurrChar(u'<', true);
  p->NextChar();
  const bool endTag = p->CurrUnit() == u'/';
  if (endTag) p->NextChar();
  p->CheckValidNameStartChar();
  p->SetMark(ptMark1);
  p->SetMark(ptMark2);
  p->SkipWhile(skUntilInSet, nameEnd);
  if (p->CurrUnit() == u'<' && !p->Eof()) {
    int64_t line, col;
    p->GetLineMarkPos(line, col);
    throw EVxXMLParseError(VxFormat(cVxXMLElementNotClosed, line, col), cVxXMLErrElementNotClosed);
  }
  if (p->CurrUnit() == u':' && !p->Eof()) {
    Select(ptMark1, ptCurrent, FPrefix);
    p->NextChar();
    p->CheckValidNameStartChar();
    p->SetMark(ptMark1);
    p->SkipWhile(skUntilInSet, localEnd);
  } else {
    FPrefix.clear();
  }
  Select(ptMark1, ptCurrent, FLocalName);
  Select(ptMark2, ptCurrent, FQName);
  p->SkipWhile(skWhileEqual, u' ');

  bool emptyElement = false;
  if (endTag) {
    p->CheckCurrChar(u'>', true);
    ReportEndTag(ADepth);
  } else {
    ++ADepth;
    TVxSAXXMAttributes* list = FEmptyAttributes;
    if (!p->Eof() && p->CurrUnit() != u'/' && p->CurrUnit() != u'>') {
      RenewIfKept(FAttributes);
      list = FAttributes;
      list->Clear();
      ParseAtrributes(*list, ADepth);
    }
    if (!p->Eof() && (p->CurrUnit() == u'/' || p->CurrUnit() == u'>')) {
      emptyElement = p->CurrUnit() == u'/';
      ReportStartTag(list, emptyElement, ADepth);
    } else if (list == FAttributes) {
      RenewIfKept(FAttributes);
    }
  }
  p->SkipWhile(skUntilEqual, u'>');
  if (ADepth == 0) {
    AfterRootElement(emptyElement);
    return;
  }
  p->NextChar();
  if (!p->Eof() && p->CurrUnit() != u'<') ParseCharacters();
}

void TVxSAXXMLReader::ReportEndTag(int& ADepth) {
  FContentHandler->EndElement(FNamespaces.GetURI(FPrefix), FLocalName, FQName);
  FNamespaces.RemoveLevel(ADepth);
  --ADepth;
}

void TVxSAXXMLReader::ReportStartTag(TVxSAXXMAttributes* AList, bool AEmpty, int& ADepth) {
  const VxXMLString& uri = FNamespaces.GetURI(FPrefix);
  FContentHandler->StartElement(uri, FLocalName, FQName, AList);
  if (AEmpty) {
    FContentHandler->EndElement(uri, FLocalName, FQName);
    FNamespaces.RemoveLevel(ADepth);
    --ADepth;
  }
  if (AList == FAttributes) RenewIfKept(FAttributes);
}

void TVxSAXXMLReader::AfterRootElement(bool AEmptyRoot) {
  TVxXMLParser* p = Cursor();
  p->NextChar();
  for (;;) {
    p->SkipWhile(skWhileAtOrBelow, u' ');
    if (p->Eof()) return;
    if (p->CurrUnit() != u'<') {
      if (FSingleRoot) {
        // After an empty-element root, text that runs to the end of input fails the text's own
        // end-of-input check, as it always has; text followed by more markup is text at root.
        if (AEmptyRoot) {
          StoreLineCol();
          p->SkipWhile(skUntilEqual, u'<');
          p->CheckEOF();
        }
        throw EVxXMLParseError(cVxXMLTextAtRoot, cVxXMLErrTextAtRoot);
      }
      ParseCharacters();
      continue;
    }
    uint32_t next = p->NextUnit();
    if (next == u'?') {
      ParseProcessingInstruction();
    } else if (next == u'!') {
      ParseMarkupDeclaration(false);
    } else if (FSingleRoot) {
      throw EVxXMLParseError(cVxXMLMultipleRoots, cVxXMLErrMultipleRoots);
    } else {
      int depth = 0;
      ParseElement(depth);
    }
  }
}


namespace {
// Bytes a tag's attributes leave before the window's end: then moving the cursor onto any of
// them does not read ahead, and the scanned positions stay valid while they are reported.
constexpr ptrdiff_t cRoomAfterTag = 4;

// An ASCII character that may start an element name; other starts go the general way.
inline bool IsASCIINameStart(uint8_t AByte) { return ((AByte | 0x20) >= 'a' && (AByte | 0x20) <= 'z') || AByte == '_'; }

// The first "<" at or after AFrom, or nullptr: short texts inline, long ones by memchr.
inline const uint8_t* FindLess(const uint8_t* AFrom, const uint8_t* AEnd) {
#if defined(__SSE2__)
  for (int k = 0; k < 4 && AEnd - AFrom >= 16; ++k, AFrom += 16)
    if (const int bits = _mm_movemask_epi8(Lanes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(AFrom)), '<')))
      return AFrom + __builtin_ctz(static_cast<unsigned>(bits));
#endif
  return static_cast<const uint8_t*>(std::memchr(AFrom, '<', static_cast<size_t>(AEnd - AFrom)));
}
}  // namespace

bool TVxSAXXMLReader::ParseContentUTF8(int& ADepth) {
  // Each construct is first scanned without side effects; only a whole, ordinary one is then
  // reported, with the cursor where the character operations would have it for the handler.
  TVxXMLParser* p = Cursor();
  if (p->CharacterSetType() != cstUTF8) return false;
  bool any = false;
  for (;;) {
    const uint8_t* const s = p->WindowCur();
    const uint8_t* const e = p->WindowEnd();
    if (s == e) return any;
    if (*s != '<') {
      // Text: when its "<" lies beyond the window, the character operations read it on (they
      // refill the window), so the body loop always resumes on a "<".
      ParseCharacters();
      any = true;
      continue;
    }
    // After an end tag at the root level the depth is negative, where a start tag can bring
    // it back to the root's level: the character operations apply those rules.
    if (ADepth < 0) return any;
    // The name: prefix and local part, or a plain name.
    const uint8_t* q = s + 1;
    if (q == e) return any;
    const bool endTag = *q == '/';
    if (endTag) ++q;
    if (q == e || !IsASCIINameStart(*q)) return any;
    const uint8_t* const nameB = q;
    q = ScanElementName(q, e);
    if (q == e || *q == '<') return any;
    const uint8_t* prefixE = nullptr;
    if (*q == ':') {
      prefixE = q++;
      if (q == e || !IsASCIINameStart(*q)) return any;
      q = ScanUntil(q, e, cElementLocalEnd);
      if (q == e) return any;
    }
    const uint8_t* const nameE = q;
    while (q < e && *q == ' ') ++q;
    if (q == e) return any;
    // The rest of the tag, up to its ">".
    const uint8_t* close = q;
    const uint8_t* gt = q;
    bool hasAttributes = false;
    if (endTag) {
      if (*q != '>' || ADepth <= 1) return any;
    } else {
      if (*q != '/' && *q != '>') {
        close = ScanAttributesUTF8(q, e);
        if (!close || e - close < cRoomAfterTag) return any;
        hasAttributes = true;
      }
      gt = close;
      if (*close == '/') {
        // An empty-element root ends the document's body: the root-level rules follow.
        if (ADepth == 0) return any;
        gt = static_cast<const uint8_t*>(std::memchr(close, '>', static_cast<size_t>(e - close)));
        if (!gt) return any;
      }
    }
    // Report it.
    StoreLineCol();
    p->ClearMark(ptMark1);
    p->ClearMark(ptMark2);
    const auto skip = static_cast<size_t>(gt - close) + 1;
    if (prefixE) {
      AssignUTF8(nameB, prefixE, FPrefix);
      AssignUTF8(prefixE + 1, nameE, FLocalName);
    } else {
      FPrefix.clear();
      AssignUTF8(nameB, nameE, FLocalName);
    }
    AssignUTF8(nameB, nameE, FQName);
    if (endTag) {
      p->SetWindowCur(close);
      ReportEndTag(ADepth);
    } else {
      ++ADepth;
      TVxSAXXMAttributes* list = FEmptyAttributes;
      if (hasAttributes) {
        RenewIfKept(FAttributes);
        list = FAttributes;
        list->Clear();
        CommitAttributesUTF8(*list, ADepth);
      }
      p->SetWindowCur(close);
      ReportStartTag(list, close != gt, ADepth);
    }
    // The window may have moved while the handlers ran: step on from the cursor.
    p->SetWindowCur(p->WindowCur() + skip);
    any = true;
  }
}

const uint8_t* TVxSAXXMLReader::ScanAttributesUTF8(const uint8_t* AFrom, const uint8_t* AEnd) {
  // The same steps as the character operations of ParseAtrributes, over bytes (every stop
  // character is ASCII, so no UTF-8 sequence hides one).
  const uint8_t* s = AFrom;
  const uint8_t* const e = AEnd;
  FSliceCount = 0;
  for (;;) {
    if (s == e) return nullptr;
    if (*s == '>' || *s == '/') return s;
    if (ScanPlainAttribute(s, e)) continue;
    TAttrSlice a{};
    const uint8_t* nameStart = s;
    s = ScanAttrName(s, e);
    if (s == e || *s == '<' || *s == '>') return nullptr;
    if (*s == ':') {
      a.PrefixB = nameStart;
      a.PrefixE = s;
      TrimBytes(a.PrefixB, a.PrefixE);
      while (s < e && *s == ':') ++s;
      a.LocalB = s;
      s = ScanUntil(s, e, cAttrLocalEnd);
      if (s == e || *s == '<' || *s == '>') return nullptr;
    } else {
      a.LocalB = nameStart;
    }
    a.LocalE = s;
    TrimBytes(a.LocalB, a.LocalE);
    a.QNameB = nameStart;
    a.QNameE = s;
    TrimBytes(a.QNameB, a.QNameE);
    s = ScanUntil(s, e, cAttrValueStart);
    if (s == e || *s == '<' || *s == '>') return nullptr;
    const uint8_t quote = *s++;
    a.ValueB = s;
    s = ScanQuote(s, e, quote);
    if (s == e) return nullptr;
    a.ValueE = s;
    s = SkipAfterValue(s, e);
    NewSlice() = a;
  }
}

bool TVxSAXXMLReader::ScanPlainAttribute(const uint8_t*& AFrom, const uint8_t* AEnd) {
#if defined(__SSE2__)
  // The usual case, name="value" (or with apostrophes) followed by blanks and the start of
  // what comes next, all inside 32 bytes: one set of masks over the 32 bytes answers every
  // step of the general scan below.
  const uint8_t* s = AFrom;
  if (AEnd - s < 32) return false;
  auto masks = [](const uint8_t* AAt, uint32_t& AName, uint32_t& ADQuote, uint32_t& ASQuote, uint32_t& ABlank) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(AAt));
    AName = static_cast<uint32_t>(_mm_movemask_epi8(AttrNameEndLanes(v)));
    ADQuote = static_cast<uint32_t>(_mm_movemask_epi8(Lanes(v, '"')));
    ASQuote = static_cast<uint32_t>(_mm_movemask_epi8(Lanes(v, '\'')));
    ABlank = static_cast<uint32_t>(_mm_movemask_epi8(BlankLanes(v)));
  };
  uint32_t name0, dq0, sq0, blank0, name1, dq1, sq1, blank1;
  masks(s, name0, dq0, sq0, blank0);
  masks(s + 16, name1, dq1, sq1, blank1);
  uint32_t name = name0 | name1 << 16;
  if (!name) return false;
  unsigned eq = static_cast<unsigned>(__builtin_ctz(name));
  // One prefix, as in xml:lang="en".
  unsigned colon = 0;
  const bool prefixed = s[eq] == ':' && eq + 1 < 32 && s[eq + 1] != ':';
  if (prefixed) {
    colon = eq;
    name &= name - 1;
    if (!name) return false;
    eq = static_cast<unsigned>(__builtin_ctz(name));
  }
  if (s[eq] != '=' || eq + 2 >= 32 || (s[eq + 1] != '"' && s[eq + 1] != '\'')) return false;
  const uint32_t dq = dq0 | dq1 << 16, sq = sq0 | sq1 << 16;
  const uint32_t closing = (s[eq + 1] == '"' ? dq : sq) >> (eq + 2);
  if (!closing) return false;
  const unsigned close = eq + 2 + static_cast<unsigned>(__builtin_ctz(closing));
  const uint32_t next = ~(blank0 | blank1 << 16 | dq | sq) >> close;
  if (!next) return false;
  TAttrSlice& a = NewSlice();
  a.QNameB = s;
  a.QNameE = s + eq;
  TrimBytes(a.QNameB, a.QNameE);
  if (prefixed) {
    a.PrefixB = s;
    a.PrefixE = s + colon;
    TrimBytes(a.PrefixB, a.PrefixE);
    a.LocalB = s + colon + 1;
    a.LocalE = s + eq;
    TrimBytes(a.LocalB, a.LocalE);
  } else {
    a.PrefixB = a.PrefixE = nullptr;
    a.LocalB = a.QNameB;
    a.LocalE = a.QNameE;
  }
  a.ValueB = s + eq + 2;
  a.ValueE = s + close;
  AFrom = s + close + __builtin_ctz(next);
  return true;
#else
  (void)AFrom;
  (void)AEnd;
  return false;
#endif
}

void TVxSAXXMLReader::ResolveAttribute(TVxSAXAttribute& AAttribute, int ALevel) {
  if (IsXMLNS(AAttribute.QName)) {
    AAttribute.URI.clear();
    FNamespaces.AddURI(ALevel, cEmpty, AAttribute.Value);
  } else if (IsXMLNS(FAttrPrefix)) {
    AAttribute.URI.clear();
    FNamespaces.AddURI(ALevel, AAttribute.LocalName, AAttribute.Value);
  } else if (FNamespaces.Count() == 0) {
    AAttribute.URI.clear();
  } else {
    AAttribute.URI = FNamespaces.GetURI(FAttrPrefix);
  }
}

void TVxSAXXMLReader::GrowSlices() { FAttrSlices.resize(FAttrSlices.size() * 2 + 8); }

void TVxSAXXMLReader::CommitAttributesUTF8(TVxSAXXMAttributes& AAttributes, int ALevel) {
  // In order, so each attribute sees the declarations made before it.
  for (size_t k = 0; k < FSliceCount; ++k) {
    const TAttrSlice& a = FAttrSlices[k];
    TVxSAXAttribute& attr = AAttributes.AddEmpty();
    AssignUTF8(a.LocalB, a.LocalE, attr.LocalName);
    AssignUTF8(a.QNameB, a.QNameE, attr.QName);
    AssignUTF8(a.ValueB, a.ValueE, attr.Value);
    // Without a prefix or any declaration in scope the URI is empty.
    if (!a.PrefixB && FNamespaces.Count() == 0 && !IsXMLNS(attr.QName)) {
      attr.URI.clear();
      continue;
    }
    if (a.PrefixB)
      AssignUTF8(a.PrefixB, a.PrefixE, FAttrPrefix);
    else
      FAttrPrefix.clear();
    // A declaration is reported with the cursor on the value's closing quote, as the character
    // operations have it (the scan left room after the tag, so the window does not move).
    Cursor()->SetWindowCur(a.ValueE);
    ResolveAttribute(attr, ALevel);
  }
}

bool TVxSAXXMLReader::ParseAttributesUTF8(TVxSAXXMAttributes& AAttributes, int ALevel) {
  TVxXMLParser* p = Cursor();
  if (p->CharacterSetType() != cstUTF8) return false;
  const uint8_t* close = ScanAttributesUTF8(p->WindowCur(), p->WindowEnd());
  if (!close || p->WindowEnd() - close < cRoomAfterTag) return false;
  CommitAttributesUTF8(AAttributes, ALevel);
  p->ClearMark(ptMark1);
  p->ClearMark(ptMark2);
  p->SetWindowCur(close);
  return true;
}

void TVxSAXXMLReader::ParseAtrributes(TVxSAXXMAttributes& AAttributes, int ALevel) {
  static constexpr const TVxAnsiCharSet& nameEnd = cAttrNameEnd;
  static constexpr const TVxAnsiCharSet& localEnd = cAttrLocalEnd;
  static constexpr const TVxAnsiCharSet& valueStart = cAttrValueStart;
  static constexpr const TVxAnsiCharSet& afterValue = cAttrAfterValue;
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  if (ParseAttributesUTF8(AAttributes, ALevel)) return;
  auto missingValue = [p] {
    uint32_t c = p->CurrUnit();
    if (!p->Eof() && (c == u'<' || c == u'>'))
      throw EVxXMLParseError(cVxXMLMissingAttributeValue, cVxXMLErrMissingAttributeValue);
  };
  while (!p->Eof() && p->CurrUnit() != u'>' && p->CurrUnit() != u'/') {
    p->SetMark(ptMark1);
    p->SetMark(ptMark2);
    p->SkipWhile(skUntilInSet, nameEnd);
    missingValue();
    TVxSAXAttribute& attr = AAttributes.AddEmpty();
    if (!p->Eof() && p->CurrUnit() == u':') {
      Select(ptMark1, ptCurrent, FAttrPrefix);
      TrimInPlace(FAttrPrefix);
      p->SkipWhile(skWhileEqual, u':');
      p->SetMark(ptMark1);
      p->SkipWhile(skUntilInSet, localEnd);
      missingValue();
      Select(ptMark1, ptCurrent, attr.LocalName);
      Select(ptMark2, ptCurrent, attr.QName);
      TrimInPlace(attr.LocalName);
      TrimInPlace(attr.QName);
    } else {
      FAttrPrefix.clear();
      Select(ptMark1, ptCurrent, attr.LocalName);
      TrimInPlace(attr.LocalName);
      attr.QName = attr.LocalName;
      p->ClearMark(ptMark2);
    }
    p->SkipWhile(skUntilInSet, valueStart);
    missingValue();
    const char16_t quote = p->CurrCharW();
    p->NextChar();
    p->SetMark(ptMark1);
    p->SkipWhile(skUntilEqual, quote);
    Select(ptMark1, ptCurrent, attr.Value);
    ResolveAttribute(attr, ALevel);
    p->SkipWhile(skWhileInSet, afterValue);
  }
}

bool TVxSAXXMLReader::ParseCharactersUTF8() {
  // Text up to a "<" inside the window: blank-only text is ignorable whitespace, anything else
  // is sent whole. At the window's end the character operations take over.
  TVxXMLParser* p = Cursor();
  if (p->CharacterSetType() != cstUTF8) return false;
  const uint8_t* start = p->WindowCur();
  const uint8_t* const e = p->WindowEnd();
  const uint8_t* text = SkipBlanks(start, e);
  if (text == e) return false;
  const uint8_t* stop = text;
  if (*text != '<') {
    stop = FindLess(text, e);
    if (!stop) return false;
  }
  AssignUTF8(start, stop, FText);
  p->ClearMark(ptMark1);
  p->ClearMark(ptMark2);
  p->SetWindowCur(stop);
  if (text == stop)
    FContentHandler->IgnorableWhitespace(FText);
  else
    FContentHandler->Characters(FText);
  return true;
}

void TVxSAXXMLReader::ParseCharacters() {
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  if (ParseCharactersUTF8()) return;
  p->SetMark(ptMark1);
  p->ClearMark(ptMark2);  // a mark left by a tag name is not the end of this text
  // All blank while only codes up to 32 are read; then on to the next "<".
  p->SkipWhile(skWhileAtOrBelow, u' ');
  const bool allBlank = p->Eof() || p->CurrUnit() == u'<';
  if (!allBlank) p->SkipWhile(skUntilEqual, u'<');
  if (FSingleRoot)
    p->CheckEOF();
  else if (p->Eof())
    p->SetMark(ptMark2);
  if (allBlank) {
    SendWhitespace(ptMark1, ptCurrent);
  } else if (p->Mark2Set()) {
    SendCharacters(ptMark1, ptMark2);
    SendWhitespace(ptMark2, ptCurrent);
  } else if (p->GetPos(ptMark1) < p->GetCurPos()) {
    SendCharacters(ptMark1, ptCurrent);
  }
  p->ClearMark(ptMark1);
  p->ClearMark(ptMark2);
}

void TVxSAXXMLReader::ParseCDATA() {
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  p->SetMark(ptMark1);
  p->SkipChars(8);
  Select(ptMark1, ptCurrent, FText);
  if (FText != u"![CDATA[")
    throw EVxXMLParseError(VxFormat(cVxXMLCDATAExpected, FText), cVxXMLErrCDATAExpected);
  if (FLexicalHandler) FLexicalHandler->StartCDATA();
  p->SetMark(ptMark1);
  for (;;) {
    p->SkipWhile(skUntilEqual, u']');
    if (p->Eof() || p->PeekStringW(3) == u"]]>") break;
    p->NextChar();
  }
  SendCharacters(ptMark1, ptCurrent);
  if (FLexicalHandler) FLexicalHandler->EndCDATA();
  p->SkipWhile(skUntilEqual, u'>');
  p->NextChar();
}

void TVxSAXXMLReader::ParseComment() {
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  if (p->CurrUnit() == u'<') p->NextChar();
  p->CheckCurrChar(u'!', true);
  p->SkipChars(3);
  p->SetMark(ptMark1);
  for (;;) {
    p->SkipWhile(skUntilEqual, u'-');
    if (p->Eof() || p->PeekStringW(3) == u"-->") break;
    p->NextChar();
  }
  if (FLexicalHandler) {
    Select(ptMark1, ptCurrent, FText);
    FLexicalHandler->Comment(FText);
  }
  p->SkipWhile(skUntilEqual, u'>');
  p->NextChar();
}

void TVxSAXXMLReader::ParseProcessingInstruction() {
  static constexpr TVxAnsiCharSet targetEnd{' ', '?'};
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  p->CheckCurrChar(u'<', true);
  p->SkipChars(2);
  p->SetMark(ptMark1);
  p->SkipWhile(skUntilInSet, targetEnd);
  Select(ptMark1, ptCurrent, FText);
  if (!p->Eof() && p->CurrUnit() == u' ') {
    p->SkipWhile(skWhileEqual, u' ');
    p->SetMark(ptMark1);
    p->SkipWhile(skUntilEqual, u'?');
    Select(ptMark1, ptCurrent, FText2);
  } else {
    FText2.clear();
    p->SkipWhile(skWhileInSet, targetEnd);
  }
  FContentHandler->ProcessingInstruction(FText, FText2);
  p->SkipWhile(skUntilEqual, u'>');
  p->NextChar();
}

void TVxSAXXMLReader::ParseDTD() {
  TVxXMLParser* p = Cursor();
  StoreLineCol();
  if (p->CurrUnit() == u'<') p->NextChar();
  p->CheckCurrChar(u'!', true);
  p->NextChar();
  p->SetMark(ptMark1);
  p->SkipWhile(skUntilEqual, u' ');
  Select(ptMark1, ptCurrent, FText);
  if (FText != u"DOCTYPE") throw EVxXMLParseError(VxFormat(cVxXMLDOCTYPEExpected, FText), cVxXMLErrDOCTYPEExpected);
  if (FLexicalHandler) FLexicalHandler->StartDTD();
  int brackets = 1;
  do {
    p->NextChar();
    if (p->Eof()) break;
    uint32_t c = p->CurrUnit();
    if (c == u'<') ++brackets;
    if (c == u'>') --brackets;
  } while (brackets > 0);
  if (FLexicalHandler) FLexicalHandler->EndDTD();
  p->SkipWhile(skUntilEqual, u'>');
  p->NextChar();
}

// ---------------------------------------------------------------------------------------------
// JSON-to-SAX reader
// ---------------------------------------------------------------------------------------------

namespace {
// The expected texts of the JSON-to-SAX reader's messages.
constexpr char16_t cEscapeExpected[] = u"\", \\, /, b, f, n, r, t or u";
constexpr char16_t cValueExpected[] = u"\", t, f, n, 0..9, ., + or -";
constexpr char16_t cRootExpected[] = u"{ or [";
}  // namespace

void TVxJSONTextParserEx::RaiseNotWellFormed(std::u16string_view AExpected) {
  throw EVxXMLParseError(VxFormat(cVxXMLNotWellFormed, AExpected, CurrentForMessage()), cVxXMLErrCharExpected);
}

std::u16string_view TVxJSONTextParserEx::EscapeExpectation() const { return cEscapeExpected; }

VxXMLString VxJSONNameToXMLName(VxXMLString AName) {
  for (char16_t& c : AName)
    if (!VxIsXMLNameChar(c)) c = static_cast<char16_t>((c & 0xFF00) | u'_');
  if (AName.empty()) return u"_";
  if (!VxIsXMLNameStartChar(AName[0])) AName.insert(AName.begin(), u'_');
  return AName;
}

TVxSAXJSONReader::TVxSAXJSONReader() : FTyping(new TVxSAXXMAttributes) { FTyping->_AddRef(); }

TVxSAXJSONReader::~TVxSAXJSONReader() { FTyping->_Release(); }

TVxTextParser* TVxSAXJSONReader::CreateParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage,
                                              uint16_t ACodePage) {
  uint16_t cp = ACodePage;
  if (ADetectCodePage)
    if (uint16_t bom = VxGetCodePage(*AStream)) cp = bom;
  return new TVxJSONTextParserEx(AStream, AOwnsStream, cp, true);
}

void TVxSAXJSONReader::Expect(char16_t AChar) { Cursor()->CheckCurrChar(AChar, true); }

void TVxSAXJSONReader::InternalParse() {
  if (!FContentHandler) throw EVxXMLParseError(cVxSAXNoContentHandler, cVxXMLErrJSONNoContentHandler);
  if (!FErrorHandler) throw EVxXMLParseError(cVxSAXNoErrorHandler, cVxXMLErrJSONNoErrorHandler);
  TVxJSONTextParserEx* p = Cursor();
  GuardParse([&] {
    static constexpr TVxAnsiCharSet starts{'{', '['};
    p->SkipWhile(skUntilInSet, starts);
    FContentHandler->SetDocumentLocator(this);
    FContentHandler->StartDocument();
    VxXMLString root;
    if (!p->Eof() && p->CurrUnit() == u'{')
      root = u"object";
    else if (!p->Eof() && p->CurrUnit() == u'[')
      root = u"array";
    else
      p->NotWellFormed(cRootExpected);
    auto* rootAttributes = new TVxSAXXMAttributes;
    TVxIntf<IVxSAXAttributes> hold(rootAttributes);
    rootAttributes->Add(u"xsi", u"xmlns:xsi", cEmpty, cVxXSINamespace);
    rootAttributes->Add(u"xsd", u"xmlns:xsd", cEmpty, cVxXSDNamespace);
    FContentHandler->StartElement(cEmpty, root, root, rootAttributes);
    ReadContainer(root == u"object", root);
    p->NextChar();
    p->SkipWhile(skWhileAtOrBelow, u' ');
    if (!p->Eof()) p->NotWellFormed(u"");
    FContentHandler->EndElement(cEmpty, root, root);
    FContentHandler->EndDocument();
  });
}

void TVxSAXJSONReader::ReadContainer(bool AObject, const VxXMLString& ARootName) {
  // The shared container walk: members become elements named after them, array elements
  // elements named after the array.
  struct TSink {
    struct TFrame {
      bool IsObject;
      VxXMLString BaseName;  // name of the elements of an array
      VxXMLString EndName;   // element to end when the container closes
    };
    TVxSAXJSONReader& R;
    TVxJSONTextParserEx* p;
    VxXMLString Raw, Name;  // the member being read
    void Step() { R.StoreLineCol(); }
    void MemberName() {
      p->ReadString(Raw);
      Name = VxJSONNameToXMLName(VxJSONUnescape(Raw));
    }
    void EndMember() {}
    TFrame Open(uint32_t AChar, const TFrame& AParent) {
      const VxXMLString& name = AParent.IsObject ? Name : AParent.BaseName;
      if (AChar == u'{') {
        R.FContentHandler->StartElement(cEmpty, name, name, R.FEmptyAttributes);
        return {true, name, name};
      }
      VxXMLString array = name + u"Array";
      R.FContentHandler->StartElement(cEmpty, AParent.IsObject ? name + u"Arr" : array, array, R.FEmptyAttributes);
      return {false, name, array};
    }
    void Scalar(const TFrame& AParent) {
      if (AParent.IsObject)
        R.SendScalar(Name, false);
      else
        R.SendScalar(VxXMLString(AParent.BaseName), true);
    }
    // The root leaves the cursor on its bracket for the caller.
    bool Close(const TFrame& AFrame, bool ARoot) {
      if (ARoot) return false;
      R.FContentHandler->EndElement(cEmpty, AFrame.EndName, AFrame.EndName);
      return true;
    }
  } sink{*this, Cursor(), {}, {}};
  VxWalkJSONContainers(Cursor(), sink, TSink::TFrame{AObject, ARootName, VxXMLString()});
}

TVxSAXJSONReader::TValueKind TVxSAXJSONReader::ParseSimpleValue(VxXMLString& AText) {
  static constexpr TVxAnsiCharSet numberChars = TVxAnsiCharSet::Range('0', '9') + TVxAnsiCharSet{'.', '-', '+', 'e', 'E'};
  TVxJSONTextParserEx* p = Cursor();
  StoreLineCol();
  uint32_t c = p->Eof() ? 0 : p->CurrUnit();
  auto literal = [&](const char16_t* AWord) {
    for (const char16_t* w = AWord; *w; ++w) {
      Expect(*w);
      p->NextChar();
    }
    AText = AWord;
  };
  switch (c) {
    case u'"': {
      VxXMLString raw;
      p->ReadString(raw);
      AText = VxJSONUnescape(raw);
      return vkString;
    }
    case u't': literal(u"true"); return vkBoolean;
    case u'f': literal(u"false"); return vkBoolean;
    case u'n': literal(u"null"); AText.clear(); return vkNull;
    default:
      if ((c >= u'0' && c <= u'9') || c == u'.' || c == u'+' || c == u'-') {
        p->SetMark(ptMark1);
        p->SkipWhile(skWhileInSet, numberChars);
        AText.clear();
        p->AppendSelectedW(ptMark1, ptCurrent, false, AText);
        return vkNumber;
      }
      p->NotWellFormed(cValueExpected);
  }
}

void TVxSAXJSONReader::SendScalar(const VxXMLString& AName, bool AArrayItem) {
  TValueKind kind = ParseSimpleValue(FValue);
  // A handler may have kept the list of the previous value and ended that parse by throwing.
  RenewIfKept(FTyping);
  FTyping->Clear();
  if (kind == vkNull) {
    FTyping->Add(u"nil", u"xsi:nil", AArrayItem ? VxXMLString(cVxXSINamespace)
                                                 : VxXMLString(u"xmlns:xsi=\"") + cVxXSINamespace + u"\"",
                 u"true");
  } else {
    const char16_t* type = kind == vkString ? u"string" : kind == vkNumber ? u"decimal" : u"boolean";
    FTyping->Add(u"type", u"xsd:type", AArrayItem ? VxXMLString(cVxXSDNamespace)
                                                  : VxXMLString(u"xmlns:xsd=\"") + cVxXSDNamespace + u"\"",
                 type);
  }
  FContentHandler->StartElement(cEmpty, AName, AName, FTyping);
  if (kind != vkNull) FContentHandler->Characters(FValue);
  FContentHandler->EndElement(cEmpty, AName, AName);
  RenewIfKept(FTyping);
}

// ---------------------------------------------------------------------------------------------
// TVxSAXParser
// ---------------------------------------------------------------------------------------------

TVxSAXParser::TVxSAXParser(TVxComponent* AOwner) : TVxImplements(AOwner) {}

void TVxSAXParser::ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxXMLString& APublicID) {
  Fire(OnStart);
  // UTF-16 in either byte order is read in two-byte units, everything else byte by byte.
  const bool bigEndian = ACodePage == cVxCodePageUTF16BE;
  const int unitSize = ACodePage == cVxCodePageUTF16 || bigEndian ? 2 : 1;
  uint8_t unit[2] = {0, 0};
  uint32_t value = 0;
  bool readAny = false;
  std::string tail;  // the last unit's worth of bytes read: what going back one unit rereads
  for (;;) {
    unit[1] = 0;
    // A stream may hand out fewer bytes than asked for before its end.
    int64_t got = 0;
    while (got < unitSize) {
      const int64_t n = AStream.Read(unit + got, unitSize - got);
      if (n <= 0) break;
      got += n;
    }
    tail.append(reinterpret_cast<const char*>(unit), static_cast<size_t>(got));
    if (tail.size() > static_cast<size_t>(unitSize)) tail.erase(0, tail.size() - static_cast<size_t>(unitSize));
    if (got != unitSize) break;
    readAny = true;
    value = bigEndian ? static_cast<uint32_t>(unit[0] << 8 | unit[1]) : static_cast<uint32_t>(unit[0] | (unit[1] << 8));
    if (value > 0x20) break;
  }
  // The first unit that is no blank goes back to the stream, or, when the stream cannot go
  // back (a pipe), is read again through a replay.
  std::unique_ptr<TVxReplayStream> replay;
  if (readAny) {
    try {
      AStream.Seek(-unitSize, soCurrent);
    } catch (const EStreamError&) {
      replay = std::make_unique<TVxReplayStream>(AStream, tail);
    }
  }
  TVxStream& source = replay ? static_cast<TVxStream&>(*replay) : AStream;
  std::unique_ptr<TVxSAXReader> reader;
  if (readAny && value == 0x3C)
    reader = std::make_unique<TVxSAXXMLReader>();
  else
    reader = std::make_unique<TVxSAXJSONReader>();
  reader->SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(this));
  reader->SetLexicalHandler(TVxIntf<IVxSAXLexicalHandler>(this));
  reader->SetContentHandler(TVxIntf<IVxSAXContentHandler>(this));
  reader->ParseStream(source, ACodePage, APublicID);
  reader.reset();
  Fire(OnFinished);
}

void TVxSAXParser::ParseFile(const VxString& AFileName, uint16_t AMode, const VxXMLString& APublicID) {
  ParseFileNamed(VxUTF16ToUTF8(AFileName), AMode, APublicID);
}

void TVxSAXParser::ParseFileNamed(const std::string& ANativeName, uint16_t AMode, const VxXMLString& APublicID) {
  Fire(OnStart);
  {
    TVxFileStream file(ANativeName, AMode);
    uint16_t cp = VxGetCodePage(file);
    ParseStream(file, cp, APublicID);
  }
  Fire(OnFinished);
}

void TVxSAXParser::ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxXMLString& APublicID) {
  Fire(OnStart);
  {
    TVxMemoryStream stream(ABuffer, ASize);
    ParseStream(stream, ACodePage, APublicID);
  }
  Fire(OnFinished);
}

void TVxSAXParser::Parse(std::u16string_view AText, const VxXMLString& APublicID) {
  Fire(OnStart);
  {
    TVxStringStream stream(AText);
    ParseStream(stream, cVxCodePageUTF16, APublicID);
  }
  Fire(OnFinished);
}

void TVxSAXParser::Parse(std::string_view AText, uint16_t ACodePage, const VxXMLString& APublicID) {
  Fire(OnStart);
  {
    TVxStringStream stream(AText, ACodePage);
    ParseStream(stream, ACodePage, APublicID);
  }
  Fire(OnFinished);
}

void TVxSAXParser::Warning(IVxSAXLocator* ALocator, const VxXMLString& AMessage) {
  if (OnWarning) OnWarning(ALocator, AMessage);
}
void TVxSAXParser::Error(IVxSAXLocator* ALocator, const VxXMLString& AMessage) {
  if (OnError) OnError(ALocator, AMessage);
}
void TVxSAXParser::FatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage) {
  if (OnFatalError) OnFatalError(ALocator, AMessage);
}
void TVxSAXParser::Characters(const VxXMLString& AText) {
  if (OnCharacters) OnCharacters(this, AText);
}
void TVxSAXParser::EndDocument() { Fire(OnEndDocument); }
void TVxSAXParser::EndElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName,
                              const VxXMLString& AQName) {
  if (OnEndElement) OnEndElement(this, ANamespaceURI, ALocalName, AQName);
}
void TVxSAXParser::EndPrefixMapping(const VxXMLString& APrefix) {
  if (OnEndPrefixMapping) OnEndPrefixMapping(this, APrefix);
}
void TVxSAXParser::IgnorableWhitespace(const VxXMLString& AText) {
  if (OnIgnorableWhitespace) OnIgnorableWhitespace(this, AText);
}
void TVxSAXParser::ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) {
  if (OnProcessingInstruction) OnProcessingInstruction(this, ATarget, AData);
}
void TVxSAXParser::StartDocument() { Fire(OnStartDocument); }
void TVxSAXParser::StartElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName,
                                const VxXMLString& AQName, IVxSAXAttributes* AAttributes) {
  if (OnStartElement) OnStartElement(this, ANamespaceURI, ALocalName, AQName, AAttributes);
}
void TVxSAXParser::StartPrefixMapping(const VxXMLString& APrefix, const VxXMLString& AURI) {
  if (OnStartPrefixMapping) OnStartPrefixMapping(this, APrefix, AURI);
}
void TVxSAXParser::Comment(const VxXMLString& AText) {
  if (OnComment) OnComment(this, AText);
}
void TVxSAXParser::StartCDATA() { Fire(OnStartCDATA); }
void TVxSAXParser::StartDTD() { Fire(OnStartDTD); }
void TVxSAXParser::EndCDATA() { Fire(OnEndCDATA); }
void TVxSAXParser::EndDTD() { Fire(OnEndDTD); }

}  // namespace vx
