// uVxTextParser: the character cursor on which the XML and JSON readers stand. It reads a byte
// source in a code page and lets a parser look at the current character, advance, skip runs of
// characters, set marks and cut out the text between two positions.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

#include "uVxClasses.h"
#include "uVxEncoding.h"
#include "uVxStreams.h"

namespace vx {

/// Width of a character unit as the cursor reads it.
enum TVxCharacterSetType : uint8_t {
  cstCodePage = 0,  ///< 8-bit characters in a code page
  cstUTF16 = 1,     ///< UTF-16 units
  cstUTF8 = 2,      ///< UTF-8 bytes
};

/// Positions that marks and selections refer to.
enum TVxTextParserPosType : uint8_t {
  ptCurrent = 1,   ///< the current position
  ptPrevious = 2,  ///< the position of the character before the current one
  ptMark1 = 3,     ///< first mark
  ptMark2 = 4,     ///< second mark
};

/// Skip operations of SkipWhile, compared against one reference character or a set.
enum TVxTextParserSkipOp : uint8_t {
  skWhileEqual = 0,      ///< advance while the current character equals the reference
  skWhileBelow = 1,      ///< advance while it is below the reference
  skWhileAbove = 2,      ///< advance while it is above the reference
  skUntilEqual = 3,      ///< advance until it equals the reference (stop on it)
  skWhileAtOrBelow = 4,  ///< advance while it is at or below the reference
  skWhileAtOrAbove = 5,  ///< advance while it is at or above the reference
  skWhileInSet = 6,      ///< advance while it is in the set
  skUntilInSet = 7,      ///< advance until it is in the set
};

/// A set of 8-bit characters for the set-based skip operations, held as a 256-entry table so a
/// skip loop tests a byte with one load.
class TVxAnsiCharSet {
 public:
  constexpr TVxAnsiCharSet() noexcept = default;
  constexpr TVxAnsiCharSet(std::initializer_list<unsigned char> AChars) noexcept {
    for (unsigned char c : AChars) Include(c);
  }
  /// The set of all characters from AFirst to ALast.
  static constexpr TVxAnsiCharSet Range(unsigned char AFirst, unsigned char ALast) noexcept {
    TVxAnsiCharSet s;
    for (unsigned c = AFirst; c <= ALast; ++c) s.Include(static_cast<unsigned char>(c));
    return s;
  }
  constexpr TVxAnsiCharSet& Include(unsigned char AChar) noexcept {
    FMember[AChar] = true;
    FHasHigh = FHasHigh || AChar >= 0x80;
    return *this;
  }
  constexpr bool Contains(uint32_t AChar) const noexcept { return AChar < 256 && FMember[AChar]; }
  /// Membership of a byte (no range check needed).
  constexpr bool ContainsByte(uint8_t AByte) const noexcept { return FMember[AByte]; }
  /// True when every member is below 0x80.
  constexpr bool IsASCII() const noexcept { return !FHasHigh; }
  friend constexpr TVxAnsiCharSet operator+(TVxAnsiCharSet A, const TVxAnsiCharSet& B) noexcept {
    for (int c = 0; c < 256; ++c) A.FMember[c] = A.FMember[c] || B.FMember[c];
    A.FHasHigh = A.FHasHigh || B.FHasHigh;
    return A;
  }

 private:
  bool FMember[256] = {};
  bool FHasHigh = false;
};

// Punctuation the parsers compare the current character against, in both widths.
inline constexpr VxAnsiChar cVxAmpersandA = '&';
inline constexpr char16_t cVxAmpersandW = u'&';
inline constexpr VxAnsiChar cVxApostropheA = '\'';
inline constexpr char16_t cVxApostropheW = u'\'';
inline constexpr VxAnsiChar cVxEqualA = '=';
inline constexpr char16_t cVxEqualW = u'=';
inline constexpr VxAnsiChar cVxGreaterA = '>';
inline constexpr char16_t cVxGreaterW = u'>';
inline constexpr VxAnsiChar cVxLessA = '<';
inline constexpr char16_t cVxLessW = u'<';
inline constexpr VxAnsiChar cVxQuestionA = '?';
inline constexpr char16_t cVxQuestionW = u'?';
inline constexpr VxAnsiChar cVxQuoteA = '"';
inline constexpr char16_t cVxQuoteW = u'"';
inline constexpr VxAnsiChar cVxSlashA = '/';
inline constexpr char16_t cVxSlashW = u'/';
inline constexpr VxAnsiChar cVxSpaceA = ' ';
inline constexpr char16_t cVxSpaceW = u' ';
inline constexpr VxAnsiChar cVxExclamationA = '!';
inline constexpr char16_t cVxExclamationW = u'!';
inline constexpr VxAnsiChar cVxLineA = '-';
inline constexpr char16_t cVxLineW = u'-';
inline constexpr VxAnsiChar cVxColonA = ':';
inline constexpr char16_t cVxColonW = u':';
inline constexpr VxAnsiChar cVxSemicolonA = ';';
inline constexpr char16_t cVxSemicolonW = u';';
inline constexpr VxAnsiChar cVxOpenBracketA = '[';
inline constexpr char16_t cVxOpenBracketW = u'[';
inline constexpr VxAnsiChar cVxCloseBracketA = ']';
inline constexpr char16_t cVxCloseBracketW = u']';
inline constexpr VxAnsiChar cVxEOFCharA = 0;
inline constexpr char16_t cVxEOFCharW = 0;

/// The character cursor.
///
/// Sources: a memory block is read in place; a stream is read in chunks, and only what the
/// current position, the set marks and the previous character still need is kept, so a pass
/// over a stream far larger than memory works. Code pages: UTF-8 (65001) and UTF-16 (1200) are
/// read directly; single-byte code pages through a table; multi-byte code pages, UTF-16BE and
/// stateful code pages are decoded to UTF-16 in chunks and then read as UTF-16.
///
/// Positions are byte offsets: in the stream (from its start), in the memory block, or, for a
/// decoded code page, in the decoded UTF-16 text. Line and column count from 1; only a line feed
/// ends a line; a column counts characters (a surrogate pair or a UTF-8 sequence is one).
class TVxTextParser : public TVxObject {
 public:
  using Inherited = TVxObject;

  /// A cursor over a stream from its current position. With AOwnsStream the cursor frees the
  /// stream. ACodePage 0 means not yet known (bytes read as ISO-8859-1 until it is set). A
  /// memory or string stream is read in place, positions still counting from its start.
  TVxTextParser(TVxStream* AStream, bool AOwnsStream, uint16_t ACodePage);
  /// The smallest read window a cursor can be given.
  static constexpr size_t cMinWindowSize = 16;
  /// How many bytes a cursor over a stream reads at a time (64 KB unless changed). Cursors
  /// created afterwards use the new size; tests and fuzz targets shrink it (to 16..64 bytes) so
  /// that every construct of a small document meets the window's edge somewhere.
  static size_t DefaultWindowSize() noexcept;
  /// Sets the read window of cursors created from now on; held to 16 bytes .. 1 GB. Safe to call
  /// from any thread; the size of a cursor never changes once made.
  static void SetDefaultWindowSize(size_t ABytes) noexcept;

  /// A cursor over a memory block, read in place; the block must outlive the cursor.
  TVxTextParser(const void* ABuffer, int64_t ASize, uint16_t ACodePage);
  ~TVxTextParser() override;

  /// Selects the width of a character unit. Subclasses override it to switch their own
  /// per-width operations and call the inherited one first.
  virtual void SetCharacterSetType(TVxCharacterSetType AType);
  /// The width of a character unit.
  TVxCharacterSetType CharacterSetType() const noexcept { return FCharSetType; }

  /// Goes back to the start of the content (after a byte-order mark of the content code page),
  /// line 1, column 1; marks are cleared.
  void First();
  /// Sets the code page of the content. 65001 selects UTF-8 units, 1200 UTF-16 units, any
  /// other 8-bit units; a code page that must be decoded (multi-byte, UTF-16BE) selects UTF-16
  /// units and restarts reading at the start of the content. Raises EVxEncodingNotSupported
  /// for an unknown code page.
  void SetContentCodePage(uint16_t ACodePage);
  /// The content code page (0 while not known).
  uint16_t ContentCodePage() const noexcept { return FCodePage; }

  /// The current character as an 8-bit value: the byte for 8-bit and UTF-8 input (the lead
  /// byte of a sequence); for UTF-16 the unit when below 0x100, else 0xFF. 0 at end of input.
  VxAnsiChar CurrCharA() const noexcept {
    if (FCur >= FEnd) return 0;
    if (FCharSetType != cstUTF16) return *FCur;
    char16_t u = Load16(FCur);
    return u < 0x100 ? static_cast<VxAnsiChar>(u) : 0xFF;
  }
  /// The current character as a UTF-16 unit (the high surrogate for a UTF-8 sequence beyond
  /// U+FFFF, U+FFFD for a malformed one). 0 at end of input.
  char16_t CurrCharW() const noexcept {
    if (FCur >= FEnd) return 0;
    switch (FCharSetType) {
      case cstUTF16: return Load16(FCur);
      case cstUTF8: return *FCur < 0x80 ? char16_t(*FCur) : DecodeUTF8At(FCur);
      default: return FTable ? FTable[*FCur] : char16_t(*FCur);
    }
  }
  /// The current unit as a number: the byte for 8-bit and UTF-8 input, the unit for UTF-16.
  /// Compared against ASCII punctuation this is what decides in every width. 0 at end of input.
  uint32_t CurrUnit() const noexcept {
    if (FCur >= FEnd) return 0;
    return FCharSetType == cstUTF16 ? Load16(FCur) : *FCur;
  }
  /// The unit of the character after the current one (0 at end of input), without moving.
  uint32_t NextUnit();
  /// Returns the current character (8-bit) and advances.
  VxAnsiChar ReadCharA() {
    VxAnsiChar c = CurrCharA();
    NextChar();
    return c;
  }
  /// Returns the current character (UTF-16) and advances.
  char16_t ReadCharW() {
    char16_t c = CurrCharW();
    NextChar();
    return c;
  }
  /// The character before the current one (0 at the start of the content).
  char16_t PrevCharW() const noexcept;
  /// Advances by one character; nothing happens at end of input.
  void NextChar() {
    if (FCur >= FEnd) return;
    if (FCharSetType == cstUTF8)
      FCur += *FCur < 0x80 ? 1 : CharLength(FCur);
    else
      FCur += FCharSetType == cstUTF16 ? 2 : 1;
    if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
  }
  /// The next ACount characters from the current one on as 8-bit text (bytes for 8-bit and
  /// UTF-8 input), without moving; fewer at end of input.
  std::string PeekString(int64_t ACount);
  /// The next ACount characters as UTF-16 text, without moving; fewer at end of input.
  VxString PeekStringW(int64_t ACount);
  /// Advances ACount characters (stops at end of input).
  void SkipChars(int64_t ACount);

  /// Advances by a skip operation against a reference character, in the content's width. Stops
  /// at end of input without error.
  void SkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  /// Advances by a set-based operation (6 or 7) against a set of 8-bit characters; a UTF-16
  /// unit is in the set when it is below 0x100 and its value is.
  void SkipWhile(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet);
  /// Skip for 8-bit input: compares bytes.
  void SrcASkipWhileA(TVxTextParserSkipOp AOp, VxAnsiChar AChar);
  void SrcASkipWhileA(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet);
  /// Skip for UTF-8 input: compares lead bytes, advancing by whole sequences.
  void SrcUSkipWhileA(TVxTextParserSkipOp AOp, VxAnsiChar AChar);
  void SrcUSkipWhileA(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet);
  /// Skip for UTF-16 input: compares units.
  void SrcWSkipWhileW(TVxTextParserSkipOp AOp, char16_t AChar);
  void SrcWSkipWhileW(TVxTextParserSkipOp AOp, const TVxAnsiCharSet& ASet);

  /// Sets mark 3 or 4 at the current position.
  void SetMark(TVxTextParserPosType AKind) noexcept {
    if (AKind == ptMark1)
      FMark1 = GetCurPos() + 1;
    else if (AKind == ptMark2)
      FMark2 = GetCurPos() + 1;
  }
  /// Clears mark 3 or 4.
  void ClearMark(TVxTextParserPosType AKind) noexcept {
    if (AKind == ptMark1)
      FMark1 = 0;
    else if (AKind == ptMark2)
      FMark2 = 0;
  }
  /// True when mark 3 or 4 is set.
  bool IsMarkSet(TVxTextParserPosType AKind) const noexcept {
    return (AKind == ptMark1 ? FMark1 : AKind == ptMark2 ? FMark2 : 1) != 0;
  }
  /// The position of a kind; -1 for a cleared mark.
  int64_t GetPos(TVxTextParserPosType AKind) const noexcept;
  /// The current position.
  int64_t GetCurPos() const noexcept { return FBufPos + (FCur - FBuf); }
  /// The text between two positions as 8-bit text (bytes for 8-bit and UTF-8 input; UTF-16
  /// input is converted to the content code page, or to UTF-8 for UTF-16 code pages). With
  /// AInclusive false the character at the end position is left out. A cleared mark stands
  /// for the current position; an end before the start gives empty text.
  std::string Selected(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive);
  /// The text between two positions decoded to UTF-16 by the content code page.
  VxString SelectedW(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive);
  /// Appends the text from mark 3 or 4 to the current position (exclusive) to AOut; nothing
  /// when the mark is cleared or lies ahead. The readers' hot path.
  void AppendFromMarkW(TVxTextParserPosType AMark, VxString& AOut) {
    int64_t mark = (AMark == ptMark1 ? FMark1 : FMark2) - 1;
    if (mark < FBufPos) return;
    const uint8_t* start = FBuf + (mark - FBufPos);
    if (start < FCur) AppendDecoded(start, FCur, AOut);
  }
  /// The unread units of the window, [WindowCur(), WindowEnd()): for a memory source read in
  /// place, the rest of the input; for a stream, what has been read ahead. A reader's fast path
  /// scans them directly and then moves with SetWindowCur; it must fall back to the character
  /// operations when it reaches WindowEnd().
  const uint8_t* WindowCur() const noexcept { return FCur; }
  const uint8_t* WindowEnd() const noexcept { return FEnd; }
  /// Moves the current position to APos, which lies within [WindowCur(), WindowEnd()] and on a
  /// character boundary.
  void SetWindowCur(const uint8_t* APos) {
    FCur = APos;
    if (FEnd - FCur < cLookAhead && !FSourceDone) FillAhead();
  }
  /// Appends the selection to AOut, reusing its storage.
  void AppendSelectedW(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive, VxString& AOut);

  /// Marks the start of a construct for error reports: its line and column are computed only
  /// when asked for (GetLineMarkPos), so marking costs nothing while parsing goes well.
  void SetLineMark() noexcept { FLineMark = GetCurPos(); }
  /// Line and column at the construct mark (the current ones when none is set).
  void GetLineMarkPos(int64_t& ALineNr, int64_t& AColNr);
  /// Line of the current character, from 1.
  int64_t GetLineNr();
  /// Column of the current character, from 1.
  int64_t GetColNr();
  /// The current position (offset in the source).
  int64_t GetPosition() const noexcept { return GetCurPos(); }
  /// True once the current position is past the last character.
  bool _GetEOF() const noexcept { return FCur >= FEnd; }
  /// Same as _GetEOF (the C library reserves the name EOF for a macro).
  bool Eof() const noexcept { return FCur >= FEnd; }
  /// Raises EVxTextParserEOF at end of input; does nothing otherwise.
  void CheckEOF() const {
    if (FCur >= FEnd) throw EVxTextParserEOF();
  }

 protected:
  /// Mark positions plus one; 0 while the mark is cleared, so a set mark reads non-zero.
  int64_t FMark1 = 0;
  int64_t FMark2 = 0;
  /// Non-zero when the code page was known at construction (given by the caller or a
  /// byte-order mark); a reader then neither sniffs a declaration nor switches to UTF-8.
  uint8_t FCodePageFixed = 0;

 private:
  static constexpr int64_t cLookAhead = 4;  // bytes kept ahead: one whole character
  size_t FChunk = DefaultWindowSize();  // bytes read from a stream at a time

  static char16_t Load16(const uint8_t* P) noexcept {
    return static_cast<char16_t>(P[0] | (P[1] << 8));
  }
  char16_t DecodeUTF8At(const uint8_t* P) const noexcept;
  size_t CharLength(const uint8_t* P) const noexcept;
  void Init(uint16_t ACodePage);
  void FillAhead();
  void Refill();
  size_t ReadRaw(uint8_t* ADest, size_t ACapacity);
  size_t ReadSource(uint8_t* ADest, size_t ACapacity);
  void SeekSource(int64_t APosition);
  size_t ReadDecoded(uint8_t* ADest, size_t ACapacity);
  void ResetWindow(int64_t APosition);
  void AlignEnd() noexcept;
  void AdvanceLineCol(int64_t ATo);
  void CurrentLineCol(int64_t& ALineNr, int64_t& AColNr);
  void CountLineCol(const uint8_t* AFrom, const uint8_t* ATo, int64_t& ALineNr, int64_t& AColNr) const noexcept;
  int64_t ResolvePos(TVxTextParserPosType AKind) const noexcept;
  std::string NarrowRange(const uint8_t* AStart, const uint8_t* AStop) const;
  void AppendDecoded(const uint8_t* AStart, const uint8_t* AStop, VxString& AOut) const;
  bool SelectionBounds(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, bool AInclusive,
                       const uint8_t*& AStart, const uint8_t*& AStop) const noexcept;
  void GenericSkip(TVxTextParserSkipOp AOp, uint32_t AChar, const TVxAnsiCharSet* ASet, bool AWide);
  template <class TPred>
  void ScanBytes(TPred AStop);
  template <class TPred>
  void ScanUnits(TPred AStop);
  void FindByte(VxAnsiChar AChar);
  void FindUnit(char16_t AChar);

  // Source
  TVxStream* FStream = nullptr;
  bool FOwnsStream = false;
  const uint8_t* FMemory = nullptr;  // memory source (a block, or a memory stream read in place)
  int64_t FMemorySize = 0;
  int64_t FMemoryRead = 0;           // bytes of the memory source handed to the decoder
  bool FDirect = false;              // reading FMemory in place
  int64_t FRawStart = 0;             // source offset of the content's first byte
  std::unique_ptr<TVxMultiByteDecoder> FDecoder;
  std::unique_ptr<uint8_t[]> FRaw;   // undecoded bytes waiting for the decoder
  size_t FRawPos = 0, FRawLen = 0;
  bool FRawDone = false;
  // The first bytes read from a stream are kept, so that going back to the start of the
  // content (a code page found in a declaration) works on streams that cannot seek.
  std::string FHead;
  bool FHeadValid = true;   // FHead holds every byte read from the stream so far
  int64_t FSourceRead = 0;  // bytes read from the stream since FRawStart
  int64_t FSourceAt = 0;    // offset from FRawStart of the next byte the cursor reads

  // Window over the source: [FBuf, FEnd) holds whole units; FBuf is at position FBufPos.
  const uint8_t* FBuf = nullptr;
  const uint8_t* FEnd = nullptr;
  const uint8_t* FCur = nullptr;
  int64_t FBufPos = 0;
  bool FSourceDone = true;
  std::unique_ptr<uint8_t[]> FStore;
  size_t FStoreCap = 0;
  size_t FStoreLen = 0;
  int64_t FPin = -1;         // a position that peeking must keep
  int64_t FLineMark = -1;    // construct start whose line and column may still be asked for
  int64_t FContentStart = 0; // where First goes before skipping a byte-order mark
  int64_t FStartPos = 0;     // where the content starts after a byte-order mark

  // Code page
  uint16_t FCodePage = 0;
  TVxCharacterSetType FCharSetType = cstCodePage;
  const char16_t* FTable = nullptr;
  const TVxEncoding* FEncoding = nullptr;

  // Line and column are counted lazily: valid at position FLcPos.
  int64_t FLcPos = 0;
  int64_t FLineNr = 1;
  int64_t FColNr = 1;
};

}  // namespace vx
