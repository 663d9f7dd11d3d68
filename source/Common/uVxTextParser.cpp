// uVxTextParser: window management over memory and stream sources, code-page decoding, skip
// loops specialised per character width, marks, selections and lazy line/column counting.
#include "uVxTextParser.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vx {

// ---------------------------------------------------------------------------------------------
// Construction and sources
// ---------------------------------------------------------------------------------------------

namespace {
std::atomic<size_t> gDefaultWindowSize{64 * 1024};
}

size_t TVxTextParser::DefaultWindowSize() noexcept { return gDefaultWindowSize.load(std::memory_order_relaxed); }

void TVxTextParser::SetDefaultWindowSize(size_t ABytes) noexcept {
  gDefaultWindowSize.store(std::clamp<size_t>(ABytes, cMinWindowSize, size_t(1) << 30), std::memory_order_relaxed);
}

TVxTextParser::TVxTextParser(TVxStream* AStream, bool AOwnsStream, uint16_t ACodePage)
    : FStream(AStream), FOwnsStream(AOwnsStream) {
  try {
    FRawStart = FStream->Position();
    FContentStart = FRawStart;
    if (auto* mem = dynamic_cast<TVxMemoryStream*>(FStream); mem && mem->Memory()) {
      // Memory is read in place; nothing reads the stream itself any more.
      FMemory = mem->Memory();
      FMemorySize = mem->Size();
      FDirect = true;
    } else {
      FStoreCap = FChunk;
      FStore = std::make_unique_for_overwrite<uint8_t[]>(FStoreCap);
    }
    ResetWindow(FRawStart);
    Init(ACodePage);
  } catch (...) {
    if (FOwnsStream) delete FStream;
    FStream = nullptr;
    throw;
  }
}

TVxTextParser::TVxTextParser(const void* ABuffer, int64_t ASize, uint16_t ACodePage)
    : FMemory(static_cast<const uint8_t*>(ABuffer)), FMemorySize(ABuffer ? std::max<int64_t>(ASize, 0) : 0) {
  FDirect = true;
  ResetWindow(0);
  Init(ACodePage);
}

TVxTextParser::~TVxTextParser() {
  if (FOwnsStream) delete FStream;
}

void TVxTextParser::Init(uint16_t ACodePage) {
  FCodePageFixed = ACodePage != 0 ? 1 : 0;
  SetContentCodePage(ACodePage);
  First();
}

void TVxTextParser::ResetWindow(int64_t APosition) {
  // Line counting restarts with the window (First sets line and column again).
  FLcPos = APosition;
  if (FDirect) {
    FBuf = FMemory;
    FBufPos = 0;
    FSourceDone = true;
    AlignEnd();
    FCur = FBuf + std::min<int64_t>(APosition, FEnd - FBuf);
    return;
  }
  FBuf = FStore.get();
  FBufPos = APosition;
  FStoreLen = 0;
  FSourceDone = false;
  FCur = FEnd = FBuf;
}

void TVxTextParser::AlignEnd() noexcept {
  int64_t endPos = FDirect ? FMemorySize : FBufPos + static_cast<int64_t>(FStoreLen);
  // UTF-16 units are counted from the start of the content; a lone trailing byte is no unit.
  if (FCharSetType == cstUTF16) endPos -= (endPos - FContentStart) & 1;
  if (endPos < FBufPos) endPos = FBufPos;
  FEnd = FBuf + (endPos - FBufPos);
  if (FCur > FEnd) FCur = FEnd;
}

void TVxTextParser::FillAhead() {
  while (!FSourceDone && FEnd - FCur < cLookAhead) Refill();
}

void TVxTextParser::Refill() {
  if (FDirect || FSourceDone) return;
  const int64_t cur = GetCurPos();
  // Keep the previous character, the set marks and a pinned position; drop what lies before.
  int64_t keep = cur - cLookAhead;
  if (FMark1) keep = std::min(keep, FMark1 - 1);
  if (FMark2) keep = std::min(keep, FMark2 - 1);
  // A pinned position (a peek) keeps its previous character too: PrevCharW and selections from
  // ptPrevious answer the same after a peek as before it.
  if (FPin >= 0) keep = std::min(keep, FPin - cLookAhead);
  if (FLineMark >= 0) keep = std::min(keep, FLineMark);
  if (FCharSetType == cstUTF16) keep -= (keep - FContentStart) & 1;
  keep = std::max(keep, FBufPos);
  if (FCharSetType == cstUTF8 && keep > FBufPos && keep < cur) {
    // Keep whole characters: lines and columns are counted up to here, character by character.
    const uint8_t* k = FBuf + (keep - FBufPos);
    const uint8_t* q = k;
    while (q > FBuf && q > k - 3 && (*q & 0xC0) == 0x80) --q;
    char32_t c;
    if (q < k && *q >= 0xC0 && q + VxUTF8SequenceLength(q, FEnd, c) > k) keep = FBufPos + (q - FBuf);
  }
  if (FLcPos < keep) AdvanceLineCol(keep);
  auto drop = static_cast<size_t>(keep - FBufPos);
  if (drop > 0) {
    std::memmove(FStore.get(), FStore.get() + drop, FStoreLen - drop);
    FStoreLen -= drop;
    FBufPos = keep;
  }
  if (FStoreCap - FStoreLen < FChunk / 2) {
    size_t cap = std::max(FStoreCap * 2, FStoreLen + FChunk);
    auto fresh = std::make_unique_for_overwrite<uint8_t[]>(cap);
    std::memcpy(fresh.get(), FStore.get(), FStoreLen);
    FStore = std::move(fresh);
    FStoreCap = cap;
  }
  uint8_t* dest = FStore.get() + FStoreLen;
  size_t room = std::min(FStoreCap - FStoreLen, FChunk);
  if (FDecoder) room &= ~size_t(1);  // whole UTF-16 units
  size_t n = FDecoder ? ReadDecoded(dest, room) : ReadRaw(dest, room);
  if (n == 0) FSourceDone = true;
  FStoreLen += n;
  FBuf = FStore.get();
  FCur = FBuf + (cur - FBufPos);
  AlignEnd();
}

size_t TVxTextParser::ReadRaw(uint8_t* ADest, size_t ACapacity) { return ReadSource(ADest, ACapacity); }

size_t TVxTextParser::ReadSource(uint8_t* ADest, size_t ACapacity) {
  if (FSourceAt < FSourceRead) {
    // Going over the start again: from the kept bytes.
    const auto n = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(ACapacity), FSourceRead - FSourceAt));
    std::memcpy(ADest, FHead.data() + FSourceAt, n);
    FSourceAt += static_cast<int64_t>(n);
    return n;
  }
  const int64_t got = FStream->Read(ADest, static_cast<int64_t>(ACapacity));
  const size_t n = got > 0 ? static_cast<size_t>(got) : 0;
  if (FHeadValid) {
    if (FHead.size() + n <= std::max<size_t>(2 * FChunk, 65536))
      FHead.append(reinterpret_cast<const char*>(ADest), n);
    else
      FHeadValid = false, FHead = std::string();
  }
  FSourceRead += static_cast<int64_t>(n);
  FSourceAt = FSourceRead;
  return n;
}

void TVxTextParser::SeekSource(int64_t APosition) {
  const int64_t at = APosition - FRawStart;
  if (at == FSourceAt) return;
  if (FHeadValid && at >= 0 && at <= FSourceRead) {
    FSourceAt = at;  // within the kept bytes: no seek
    return;
  }
  FStream->Seek(APosition, soBeginning);
  FHeadValid = false;
  FHead = std::string();
  FSourceRead = FSourceAt = at;
}

size_t TVxTextParser::ReadDecoded(uint8_t* ADest, size_t ACapacity) {
  // The store is allocated aligned and holds whole units in this mode, so ADest is aligned.
  auto* start = reinterpret_cast<char16_t*>(ADest);
  char16_t* out = start;
  char16_t* outEnd = start + ACapacity / 2;
  for (;;) {
    if (FRawPos < FRawLen || FRawDone) {
      const uint8_t* in = FRaw.get() + FRawPos;
      FDecoder->Decode(in, FRaw.get() + FRawLen, out, outEnd, FRawDone);
      FRawPos = static_cast<size_t>(in - FRaw.get());
      if (out != start || FRawDone) return static_cast<size_t>(out - start) * 2;
    }
    // Move an incomplete sequence to the front and append more undecoded bytes.
    size_t left = FRawLen - FRawPos;
    std::memmove(FRaw.get(), FRaw.get() + FRawPos, left);
    FRawPos = 0;
    FRawLen = left;
    size_t room = FChunk - left;
    size_t n;
    if (FMemory) {
      n = static_cast<size_t>(std::max<int64_t>(0, std::min<int64_t>(static_cast<int64_t>(room), FMemorySize - FMemoryRead)));
      if (n) std::memcpy(FRaw.get() + left, FMemory + FMemoryRead, n);
      FMemoryRead += static_cast<int64_t>(n);
    } else {
      n = ReadSource(FRaw.get() + left, room);
    }
    if (n == 0) FRawDone = true;
    FRawLen += n;
  }
}

// ---------------------------------------------------------------------------------------------
// Code page and character-set type
// ---------------------------------------------------------------------------------------------

void TVxTextParser::SetCharacterSetType(TVxCharacterSetType AType) {
  FCharSetType = AType;
  AlignEnd();
  if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
}

void TVxTextParser::SetContentCodePage(uint16_t ACodePage) {
  const TVxEncoding* enc = ACodePage ? &TVxEncoding::GetEncoding(ACodePage) : nullptr;
  const bool decode = enc && (enc->Kind() == TVxEncoding::ekMultiByte || enc->Kind() == TVxEncoding::ekUTF16BE);
  const bool restart = decode || FDecoder != nullptr;
  FCodePage = ACodePage;
  FEncoding = enc;
  FTable = enc ? enc->Table() : nullptr;
  if (restart) {
    // Switching into, out of or between decoded code pages: reading starts over.
    FDecoder.reset();
    FMark1 = FMark2 = 0;
    if (decode) {
      FDecoder = std::make_unique<TVxMultiByteDecoder>(ACodePage);
      if (!FRaw) FRaw = std::make_unique_for_overwrite<uint8_t[]>(FChunk);
      if (!FStore) {
        FStoreCap = FChunk;
        FStore = std::make_unique_for_overwrite<uint8_t[]>(FStoreCap);
      }
      FDirect = false;
      FContentStart = 0;
    } else {
      FDirect = FMemory != nullptr;
      FContentStart = FRawStart;
      if (!FMemory) SeekSource(FRawStart);
    }
    FCharSetType = decode ? cstUTF16 : cstCodePage;
    ResetWindow(FContentStart);
  }
  TVxCharacterSetType type = (ACodePage == cVxCodePageUTF8) ? cstUTF8
                             : (ACodePage == cVxCodePageUTF16 || decode) ? cstUTF16
                                                                          : cstCodePage;
  SetCharacterSetType(type);
  if (restart) First();
}

void TVxTextParser::First() {
  FMark1 = FMark2 = 0;
  FPin = -1;
  FLineMark = -1;
  if (FDirect) {
    ResetWindow(FContentStart);
  } else if (FDecoder) {
    FDecoder->Reset();
    FRawPos = FRawLen = 0;
    FRawDone = false;
    if (FMemory)
      FMemoryRead = FRawStart;
    else
      SeekSource(FRawStart);
    ResetWindow(0);
  } else if (FContentStart >= FBufPos && FContentStart <= FBufPos + static_cast<int64_t>(FStoreLen)) {
    FCur = FBuf + (FContentStart - FBufPos);
    AlignEnd();
  } else {
    SeekSource(FContentStart);
    ResetWindow(FContentStart);
  }
  FillAhead();
  // A byte-order mark of the content code page is not content.
  if (FCharSetType == cstUTF8 && FEnd - FCur >= 3 && FCur[0] == 0xEF && FCur[1] == 0xBB && FCur[2] == 0xBF)
    FCur += 3;
  else if (FCharSetType == cstUTF16 && FEnd - FCur >= 2 && Load16(FCur) == 0xFEFF)
    FCur += 2;
  FStartPos = GetCurPos();
  FLcPos = FStartPos;
  FLineNr = FColNr = 1;
  FillAhead();
}

// ---------------------------------------------------------------------------------------------
// Characters
// ---------------------------------------------------------------------------------------------

char16_t TVxTextParser::DecodeUTF8At(const uint8_t* P) const noexcept {
  char32_t cp;
  VxUTF8SequenceLength(P, FEnd, cp);
  if (cp >= 0x10000) return static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
  return static_cast<char16_t>(cp);
}

size_t TVxTextParser::CharLength(const uint8_t* P) const noexcept {
  if (P >= FEnd) return 0;
  switch (FCharSetType) {
    case cstUTF16: return 2;
    case cstUTF8: {
      char32_t cp;
      return VxUTF8SequenceLength(P, FEnd, cp);
    }
    default: return 1;
  }
}

int64_t TVxTextParser::ResolvePos(TVxTextParserPosType AKind) const noexcept {
  const int64_t cur = GetCurPos();
  switch (AKind) {
    case ptMark1: return FMark1 ? FMark1 - 1 : cur;
    case ptMark2: return FMark2 ? FMark2 - 1 : cur;
    case ptPrevious: {
      int64_t lowest = std::max(FStartPos, FBufPos);
      if (cur <= lowest) return cur;
      if (FCharSetType == cstUTF16) return cur - 2;
      if (FCharSetType == cstCodePage) return cur - 1;
      // UTF-8: back over continuation bytes to a lead byte whose sequence ends here.
      const uint8_t* p = FCur - 1;
      const uint8_t* low = FBuf + (lowest - FBufPos);
      while (p > low && p > FCur - 4 && (*p & 0xC0) == 0x80) --p;
      char32_t c;
      if (p + VxUTF8SequenceLength(p, FEnd, c) != FCur) p = FCur - 1;
      return FBufPos + (p - FBuf);
    }
    default: return cur;
  }
}

int64_t TVxTextParser::GetPos(TVxTextParserPosType AKind) const noexcept {
  if (AKind == ptMark1 && !FMark1) return -1;
  if (AKind == ptMark2 && !FMark2) return -1;
  return ResolvePos(AKind);
}

char16_t TVxTextParser::PrevCharW() const noexcept {
  int64_t prev = ResolvePos(ptPrevious);
  if (prev >= GetCurPos()) return 0;
  const uint8_t* p = FBuf + (prev - FBufPos);
  switch (FCharSetType) {
    case cstUTF16: return Load16(p);
    case cstUTF8: return *p < 0x80 ? char16_t(*p) : DecodeUTF8At(p);
    default: return FTable ? FTable[*p] : char16_t(*p);
  }
}

uint32_t TVxTextParser::NextUnit() {
  if (FCur >= FEnd) return 0;
  // The look-ahead keeps a whole character beyond a single-unit current character.
  size_t len = FCharSetType == cstUTF16 ? 2 : (FCharSetType == cstUTF8 && *FCur >= 0x80 ? CharLength(FCur) : 1);
  const uint8_t* next = FCur + len;
  if (FEnd - next < (FCharSetType == cstUTF16 ? 2 : 1)) {
    if (FSourceDone) return 0;
    FPin = GetCurPos();
    int64_t target = FPin + static_cast<int64_t>(len);
    while (!FSourceDone && FBufPos + (FEnd - FBuf) < target + 2) Refill();
    FPin = -1;
    next = FBuf + (target - FBufPos);
    if (FEnd - next < (FCharSetType == cstUTF16 ? 2 : 1)) return 0;
  }
  return FCharSetType == cstUTF16 ? Load16(next) : *next;
}

void TVxTextParser::SkipChars(int64_t ACount) {
  if (FCharSetType == cstCodePage) {
    while (ACount > 0 && FCur < FEnd) {
      int64_t step = std::min<int64_t>(ACount, FEnd - FCur);
      FCur += step;
      ACount -= step;
      if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
    }
    return;
  }
  for (; ACount > 0 && FCur < FEnd; --ACount) NextChar();
}

std::string TVxTextParser::PeekString(int64_t ACount) {
  FPin = GetCurPos();
  SkipChars(ACount);
  const uint8_t* start = FBuf + (FPin - FBufPos);
  std::string s = NarrowRange(start, FCur);
  FCur = start;
  FPin = -1;
  return s;
}

VxString TVxTextParser::PeekStringW(int64_t ACount) {
  FPin = GetCurPos();
  SkipChars(ACount);
  const uint8_t* start = FBuf + (FPin - FBufPos);
  VxString s;
  AppendDecoded(start, FCur, s);
  FCur = start;
  FPin = -1;
  return s;
}

// ---------------------------------------------------------------------------------------------
// Marks and selections
// ---------------------------------------------------------------------------------------------

bool TVxTextParser::SelectionBounds(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive,
                                    const uint8_t*& AStart, const uint8_t*& AStop) const noexcept {
  int64_t a = std::max(ResolvePos(AFrom), FBufPos);
  int64_t endPos = FBufPos + (FEnd - FBuf);
  int64_t b = std::min(ResolvePos(ATo), endPos);
  if (AInclusive && b < endPos) b += static_cast<int64_t>(CharLength(FBuf + (b - FBufPos)));
  if (b <= a) return false;
  AStart = FBuf + (a - FBufPos);
  AStop = FBuf + (b - FBufPos);
  return true;
}

std::string TVxTextParser::Selected(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive) {
  const uint8_t *start, *stop;
  if (!SelectionBounds(AFrom, ATo, AInclusive, start, stop)) return {};
  return NarrowRange(start, stop);
}

VxString TVxTextParser::SelectedW(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive) {
  VxString s;
  AppendSelectedW(AFrom, ATo, AInclusive, s);
  return s;
}

void TVxTextParser::AppendSelectedW(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive,
                                    VxString& AOut) {
  const uint8_t *start, *stop;
  if (SelectionBounds(AFrom, ATo, AInclusive, start, stop)) AppendDecoded(start, stop, AOut);
}

std::string TVxTextParser::NarrowRange(const uint8_t* AStart, const uint8_t* AStop) const {
  if (FCharSetType != cstUTF16)
    return std::string(reinterpret_cast<const char*>(AStart), static_cast<size_t>(AStop - AStart));
  VxString w;
  AppendDecoded(AStart, AStop, w);
  if (FEncoding && FEncoding->Kind() == TVxEncoding::ekMultiByte) return FEncoding->ConvertW(w);
  return VxUTF16ToUTF8(w);
}

void TVxTextParser::AppendDecoded(const uint8_t* AStart, const uint8_t* AStop, VxString& AOut) const {
  const auto len = static_cast<size_t>(AStop - AStart);
  const size_t base = AOut.size();
  switch (FCharSetType) {
    case cstUTF16:
      AOut.resize(base + len / 2);
      if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(AOut.data() + base, AStart, len & ~size_t(1));
      } else {
        for (size_t k = base; k < AOut.size(); ++k) AOut[k] = Load16(AStart + 2 * (k - base));
      }
      break;
    case cstUTF8:
      VxUTF8Append(reinterpret_cast<const char*>(AStart), len, AOut);
      break;
    default: {
      AOut.resize(base + len);
      char16_t* out = AOut.data() + base;
      if (FTable)
        for (size_t k = 0; k < len; ++k) out[k] = FTable[AStart[k]];
      else
        for (size_t k = 0; k < len; ++k) out[k] = AStart[k];
      break;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Line and column
// ---------------------------------------------------------------------------------------------

void TVxTextParser::CountLineCol(const uint8_t* AFrom, const uint8_t* ATo, int64_t& ALineNr,
                                 int64_t& AColNr) const noexcept {
  const uint8_t* p = AFrom;
  const uint8_t* e = ATo;
  if (FCharSetType == cstUTF16) {
    for (; p + 1 < e; p += 2) {
      char16_t u = Load16(p);
      if (u == u'\n') {
        ++ALineNr;
        AColNr = 1;
      } else if (u < 0xDC00 || u > 0xDFFF) {
        ++AColNr;
      }
    }
    return;
  }
  auto newlines = std::count(p, e, static_cast<uint8_t>('\n'));
  if (newlines > 0) {
    ALineNr += newlines;
    p = static_cast<const uint8_t*>(memrchr(p, '\n', static_cast<size_t>(e - p))) + 1;
    AColNr = 1;
  }
  if (FCharSetType != cstUTF8) {
    AColNr += e - p;
    return;
  }
  // A column per character as NextChar steps: a whole sequence is one, and so is every byte the
  // decoder cannot place in one (a stray continuation byte, say, in mislabelled text).
  const auto leads = std::count_if(p, e, [](uint8_t b) { return (b & 0xC0) != 0x80; });
  if (leads == e - p) {  // no continuation bytes: a byte is a character
    AColNr += leads;
    return;
  }
  while (p < e) {
    if (*p < 0x80) {
      ++p;
    } else {
      char32_t cp;
      p += VxUTF8SequenceLength(p, e, cp);
    }
    ++AColNr;
  }
}

void TVxTextParser::AdvanceLineCol(int64_t ATo) {
  if (ATo <= FLcPos) return;
  CountLineCol(FBuf + (FLcPos - FBufPos), FBuf + (ATo - FBufPos), FLineNr, FColNr);
  FLcPos = ATo;
}

void TVxTextParser::GetLineMarkPos(int64_t& ALineNr, int64_t& AColNr) {
  int64_t at = FLineMark >= 0 ? FLineMark : GetCurPos();
  AdvanceLineCol(at);
  ALineNr = FLineNr;
  AColNr = FColNr;
}

// The counted position never passes a construct mark, so the mark's line and column stay
// available; the current ones are counted on from there without moving the count.
int64_t TVxTextParser::GetLineNr() {
  int64_t line, col;
  CurrentLineCol(line, col);
  return line;
}

int64_t TVxTextParser::GetColNr() {
  int64_t line, col;
  CurrentLineCol(line, col);
  return col;
}

void TVxTextParser::CurrentLineCol(int64_t& ALineNr, int64_t& AColNr) {
  const int64_t cur = GetCurPos();
  if (FLineMark < 0 || FLineMark >= cur) {
    AdvanceLineCol(cur);
    ALineNr = FLineNr;
    AColNr = FColNr;
    return;
  }
  AdvanceLineCol(FLineMark);
  ALineNr = FLineNr;
  AColNr = FColNr;
  CountLineCol(FBuf + (FLcPos - FBufPos), FCur, ALineNr, AColNr);
}

// ---------------------------------------------------------------------------------------------
// Skip loops
// ---------------------------------------------------------------------------------------------

namespace {

// Calls AScan with the stop condition of a skip operation against one reference value.
template <class TScan>
void WithStopCondition(TVxTextParserSkipOp AOp, uint32_t ARef, TScan AScan) {
  switch (AOp) {
    case skWhileEqual:
    case skWhileInSet: AScan([ARef](uint32_t c) { return c != ARef; }); break;
    case skWhileBelow: AScan([ARef](uint32_t c) { return c >= ARef; }); break;
    case skWhileAbove: AScan([ARef](uint32_t c) { return c <= ARef; }); break;
    case skWhileAtOrBelow: AScan([ARef](uint32_t c) { return c > ARef; }); break;
    case skWhileAtOrAbove: AScan([ARef](uint32_t c) { return c < ARef; }); break;
    case skUntilEqual:
    case skUntilInSet: AScan([ARef](uint32_t c) { return c == ARef; }); break;
  }
}

// Calls AScan with the stop condition of a set-based operation; relational operations have no
// meaning for a set and do not move.
template <class TScan>
bool WithSetStopCondition(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet, TScan AScan) {
  switch (AOp) {
    case skWhileEqual:
    case skWhileInSet: AScan([&ASet](uint32_t c) { return !ASet.Contains(c); }); return true;
    case skUntilEqual:
    case skUntilInSet: AScan([&ASet](uint32_t c) { return ASet.Contains(c); }); return true;
    default: return false;
  }
}

}  // namespace

template <class TPred>
void TVxTextParser::ScanBytes(TPred AStop) {
  for (;;) {
    const uint8_t* p = FCur;
    const uint8_t* e = FEnd;
    while (p < e && !AStop(*p)) ++p;
    FCur = p;
    if (p < e || FSourceDone) break;
    Refill();
  }
  if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
}

template <class TPred>
void TVxTextParser::ScanUnits(TPred AStop) {
  for (;;) {
    const uint8_t* p = FCur;
    const uint8_t* e = FEnd;
    while (p < e && !AStop(Load16(p))) p += 2;
    FCur = p;
    if (p < e || FSourceDone) break;
    Refill();
  }
  if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
}

void TVxTextParser::FindByte(VxAnsiChar AChar) {
  for (;;) {
    auto* hit = static_cast<const uint8_t*>(std::memchr(FCur, AChar, static_cast<size_t>(FEnd - FCur)));
    if (hit) {
      FCur = hit;
      break;
    }
    FCur = FEnd;
    if (FSourceDone) break;
    Refill();
  }
  if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
}

void TVxTextParser::FindUnit(char16_t AChar) {
  for (;;) {
    const uint8_t* p = FCur;
    const uint8_t* e = FEnd;
#if defined(__SSE2__)
    const __m128i needle = _mm_set1_epi16(static_cast<short>(AChar));
    while (e - p >= 16) {
      __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(block, needle));
      if (mask) {
        p += __builtin_ctz(static_cast<unsigned>(mask));
        break;
      }
      p += 16;
    }
#endif
    while (p < e && Load16(p) != AChar) p += 2;
    FCur = p;
    if (p < e || FSourceDone) break;
    Refill();
  }
  if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
}

void TVxTextParser::GenericSkip(TVxTextParserSkipOp AOp, uint32_t AChar, const TVxAnsiCharSet* ASet, bool AWide) {
  auto step = [&](auto AStop) {
    while (FCur < FEnd) {
      uint32_t c = AWide ? CurrCharW() : CurrCharA();
      if (AStop(c)) break;
      NextChar();
    }
  };
  if (ASet)
    WithSetStopCondition(AOp, *ASet, step);
  else
    WithStopCondition(AOp, AChar, step);
}

void TVxTextParser::SrcASkipWhileA(TVxTextParserSkipOp AOp, VxAnsiChar AChar) {
  if (AOp == skUntilEqual || AOp == skUntilInSet) return FindByte(AChar);
  WithStopCondition(AOp, AChar, [this](auto AStop) { ScanBytes(AStop); });
}

void TVxTextParser::SrcASkipWhileA(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet) {
  switch (AOp) {
    case skWhileEqual:
    case skWhileInSet: return ScanBytes([&ASet](uint8_t c) { return !ASet.ContainsByte(c); });
    case skUntilEqual:
    case skUntilInSet: return ScanBytes([&ASet](uint8_t c) { return ASet.ContainsByte(c); });
    default: return;  // relational operations have no meaning for a set
  }
}

void TVxTextParser::SrcUSkipWhileA(TVxTextParserSkipOp AOp, VxAnsiChar AChar) {
  // Against an ASCII reference every stop falls on a character boundary, so bytes can be
  // scanned directly; otherwise step by whole sequences.
  if (AChar >= 0x80) return GenericSkip(AOp, AChar, nullptr, false);
  SrcASkipWhileA(AOp, AChar);
}

void TVxTextParser::SrcUSkipWhileA(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet) {
  if (!ASet.IsASCII()) return GenericSkip(AOp, 0, &ASet, false);
  SrcASkipWhileA(AOp, ASet);
}

void TVxTextParser::SrcWSkipWhileW(TVxTextParserSkipOp AOp, char16_t AChar) {
  if (AOp == skUntilEqual || AOp == skUntilInSet) return FindUnit(AChar);
  WithStopCondition(AOp, AChar, [this](auto AStop) { ScanUnits(AStop); });
}

void TVxTextParser::SrcWSkipWhileW(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet) {
  WithSetStopCondition(AOp, ASet, [this](auto AStop) { ScanUnits(AStop); });
}

void TVxTextParser::SkipWhile(TVxTextParserSkipOp AOp, char16_t AChar) {
  switch (FCharSetType) {
    case cstUTF16: return SrcWSkipWhileW(AOp, AChar);
    case cstUTF8:
      if (AChar < 0x80) return SrcUSkipWhileA(AOp, static_cast<VxAnsiChar>(AChar));
      return GenericSkip(AOp, AChar, nullptr, true);
    default:
      // Every supported single-byte code page keeps ASCII as it is.
      if (AChar < 0x80) return SrcASkipWhileA(AOp, static_cast<VxAnsiChar>(AChar));
      return GenericSkip(AOp, AChar, nullptr, true);
  }
}

void TVxTextParser::SkipWhile(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet) {
  switch (FCharSetType) {
    case cstUTF16: return SrcWSkipWhileW(AOp, ASet);
    case cstUTF8: return SrcUSkipWhileA(AOp, ASet);
    default: return SrcASkipWhileA(AOp, ASet);
  }
}

}  // namespace vx
