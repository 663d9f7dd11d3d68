// uVxEncoding: code pages by number and by name, and conversion of 8-bit text in a code page to
// and from UTF-16.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "uVxSysUtils.h"

namespace vx {

class TVxStream;
class TVxReplayStream;

/// Code page numbers (as Windows numbers them) that the library treats specially.
inline constexpr uint16_t cVxCodePageUTF16 = 1200;    ///< UTF-16 little-endian
inline constexpr uint16_t cVxCodePageUTF16BE = 1201;  ///< UTF-16 big-endian
inline constexpr uint16_t cVxCodePageUTF8 = 65001;    ///< UTF-8
inline constexpr uint16_t cVxCodePageLatin1 = 28591;  ///< ISO-8859-1
inline constexpr uint16_t cVxCodePageASCII = 20127;   ///< US-ASCII

/// The replacement for a character that the target code page cannot hold.
inline constexpr char cVxUnmappableChar = '?';

/// A code page the library knows: its number, preferred name and the other names it answers to.
struct TVxCodePageInfo {
  uint16_t CodePage;
  const char* Name;
  std::vector<const char*> Aliases;
};

/// Converter between one code page and UTF-16. Instances are shared and immutable: obtain
/// them with GetEncoding; they may be used from several threads.
class TVxEncoding {
 public:
  /// How the code page is converted.
  enum TKind : uint8_t { ekUTF8, ekUTF16LE, ekUTF16BE, ekSingleByte, ekMultiByte };

  /// The converter of a code page; raises EVxEncodingNotSupported for an unknown number.
  static const TVxEncoding& GetEncoding(uint16_t ACodePage);
  /// True when GetEncoding(ACodePage) succeeds.
  static bool IsSupported(uint16_t ACodePage);

  uint16_t CodePage() const noexcept { return FCodePage; }
  /// The preferred name ("ISO-8859-1").
  const char* Name() const noexcept { return FName; }
  TKind Kind() const noexcept { return FKind; }
  /// True for code pages with one byte per character (a table converts them).
  bool IsSingleByte() const noexcept { return FKind == ekSingleByte; }
  /// Byte -> UTF-16 table of a single-byte code page (U+FFFD for undefined bytes), else nullptr.
  const char16_t* Table() const noexcept { return FTable; }
  /// True when every byte below 0x80 means its ASCII character wherever it stands, so markup
  /// can be found byte by byte (not so for UTF-16 and stateful code pages such as ISO-2022-JP).
  bool IsASCIITransparent() const noexcept { return FASCIITransparent; }

  /// Converts 8-bit text in this code page to UTF-16. Undefined bytes and malformed sequences
  /// become U+FFFD; the text around them is kept.
  VxString ConvertA(std::string_view AText) const;
  /// Appends the UTF-16 form of 8-bit text in this code page to AOut.
  void ConvertA(const char* AText, size_t ALength, VxString& AOut) const;
  /// Converts UTF-16 text to this code page. A character the code page cannot hold becomes one
  /// "?" (a surrogate pair counts as one character); the text around it is kept.
  std::string ConvertW(std::u16string_view AText) const;

  TVxEncoding(uint16_t ACodePage, const char* AName, TKind AKind, const char16_t* ATable,
              const char* AIconvName, bool AASCIITransparent);
  ~TVxEncoding();
  TVxEncoding(const TVxEncoding&) = delete;
  TVxEncoding& operator=(const TVxEncoding&) = delete;

  /// Name under which the C library's iconv knows a multi-byte code page.
  const char* IconvName() const noexcept { return FIconvName; }

 private:
  const uint8_t* ReverseTable() const;

  uint16_t FCodePage;
  const char* FName;
  TKind FKind;
  const char16_t* FTable;
  const char* FIconvName;
  bool FASCIITransparent;
  mutable std::unique_ptr<uint8_t[]> FReverse;  // UTF-16 unit -> byte, built on first use
  mutable std::once_flag FReverseOnce;
};

/// Incremental decoder of a multi-byte code page to UTF-16 for streamed input: it keeps the
/// shift state and an incomplete trailing sequence between calls.
class TVxMultiByteDecoder {
 public:
  /// Opens a decoder for the code page; raises EVxEncodingNotSupported when there is none.
  explicit TVxMultiByteDecoder(uint16_t ACodePage);
  ~TVxMultiByteDecoder();
  TVxMultiByteDecoder(const TVxMultiByteDecoder&) = delete;
  TVxMultiByteDecoder& operator=(const TVxMultiByteDecoder&) = delete;

  /// Decodes from AIn towards AInEnd into AOut towards AOutEnd, advancing both. Invalid bytes
  /// become U+FFFD. Without AFinal an incomplete sequence at the end of the input is left
  /// unconsumed; with AFinal it becomes U+FFFD.
  void Decode(const uint8_t*& AIn, const uint8_t* AInEnd, char16_t*& AOut, char16_t* AOutEnd,
              bool AFinal);
  /// Forgets the shift state (decoding starts again from the beginning of a text).
  void Reset();

 private:
  void* FHandle;
  int FUnitSize = 1;  // bytes skipped over an invalid unit (2 for UTF-16BE)
};

/// The code page number of an encoding name as written in an XML declaration ("ISO-8859-1" ->
/// 28591); names compare without regard to case. Raises EVxEncodingNotSupported with "The
/// specified encoding is not supported!" for an unknown name.
uint16_t VxCodePage(std::u16string_view AName);
/// 8-bit form of VxCodePage.
uint16_t VxCodePage(std::string_view AName);
/// The code page number of a name, or 0 when the name is unknown.
uint16_t VxFindCodePage(std::string_view AName);
/// The preferred name of a code page ("UTF-8"), or an empty string when it is unknown.
VxString VxCodePageName(uint16_t ACodePage);
/// Every code page the library knows, in a stable order.
const std::vector<TVxCodePageInfo>& VxCodePages();

/// Reads a byte-order mark at the stream's current position: 65001 for UTF-8's, 1200 for
/// UTF-16 little-endian's, 1201 for UTF-16 big-endian's; the stream is left after the mark.
/// Without a mark it answers 0 and leaves the stream where it was.
uint16_t VxGetCodePage(TVxStream& AStream);

/// VxGetCodePage for streams that may not seek back (a pipe): such a stream is read through
/// AReplay from then on. Returns the stream to read on: AStream, or *AReplay.
TVxStream& VxGetCodePage(TVxStream& AStream, uint16_t& ACodePage, std::unique_ptr<TVxReplayStream>& AReplay);

}  // namespace vx
