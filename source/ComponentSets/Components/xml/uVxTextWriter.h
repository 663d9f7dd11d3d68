// uVxTextWriter: UTF-16 text written to a stream in a code page, in large pieces (the writer
// of the DOM and of the JSON model). Internal to the library.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "uVxEncoding.h"
#include "uVxStreams.h"

namespace vx {

/// Collects UTF-16 text and writes it to a stream in a code page (1200 as it is, 65001 and
/// 63801 as UTF-8, any other through the code page's converter), in large pieces. UTF-8 is
/// converted as the text comes; the other code pages collect UTF-16 first.
class TVxTextWriter {
 public:
  TVxTextWriter(TVxStream& AStream, uint16_t ACodePage);
  ~TVxTextWriter();
  TVxTextWriter(const TVxTextWriter&) = delete;
  TVxTextWriter& operator=(const TVxTextWriter&) = delete;
  void Write(std::u16string_view AText) {
    FUnits += static_cast<int64_t>(AText.size());
    if (FBytes < 5) CountBytes(AText);
    if (AText.size() <= 16 && !FPendingHigh) {
      // Most pieces are short: copied in a loop, no library call.
      if (FUTF8) {
        if (FLength + 16 <= cBufferSize) {
          char* out = FBytesOut.get() + FLength;
          char16_t any = 0;
          for (char16_t c : AText) any |= c;
          if (any < 0x80) {
            for (char16_t c : AText) *out++ = static_cast<char>(c);
            FLength += AText.size();
            if (FLength >= cFlushAt) FlushCollected(false);
            return;
          }
        }
      } else if (FLength + 16 <= cBufferSize) {
        char16_t* out = FBuffer.get() + FLength;
        for (char16_t c : AText) *out++ = c;
        FLength += AText.size();
        if (FLength >= cFlushAt) FlushCollected(false);
        return;
      }
    }
    WriteLong(AText);
  }
  void Write(char16_t AChar) { Write(std::u16string_view(&AChar, 1)); }
  /// A line break (CR LF).
  void LineBreak() { Write(u"\r\n"); }
  /// Level + 1 copies of two spaces; nothing below level 0.
  void Indent(int ALevel);
  /// Writes everything collected (a high surrogate left without its other half included).
  void Flush() { FlushCollected(true); }
  /// True while nothing was written and the stream was at position 0, or at position 2 behind
  /// a UTF-16LE byte-order mark (the writer's line-break rule).
  bool AtStart() const noexcept { return FUnits == 0 && FStartsClean; }
  /// Bytes in the stream: its start position plus what was written (exact up to 5).
  int64_t BytesInStream() const noexcept { return FStartPos + FBytes; }

 private:
  static constexpr size_t cFlushAt = 32768;
  static constexpr size_t cBufferSize = cFlushAt + 1024;  // units, or bytes for UTF-8
  void CountBytes(std::u16string_view AText);
  void WriteLong(std::u16string_view AText);
  /// Writes the collected units or bytes; unless AFinal, a trailing high surrogate waits for
  /// its other half.
  void FlushCollected(bool AFinal);
  TVxStream& FStream;
  uint16_t FCodePage;
  bool FUTF8 = false;
  const TVxEncoding* FEncoding = nullptr;
  std::unique_ptr<char16_t[]> FBuffer;  // UTF-16 collected for the next flush (not UTF-8)
  std::unique_ptr<char[]> FBytesOut;    // UTF-8: the bytes collected; others: a flush's bytes
  size_t FLength = 0;                   // units (or UTF-8 bytes) collected
  char16_t FPendingHigh = 0;            // UTF-8: a high surrogate waiting for its low half
  int64_t FStartPos = 0;
  int64_t FBytes = 0;
  int64_t FUnits = 0;  // units taken so far
  bool FStartsClean = false;
};

}  // namespace vx
