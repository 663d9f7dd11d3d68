// uVxTextWriter: UTF-16 text written to a stream in a code page.
#include "uVxTextWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include "uVxSysUtils.h"

namespace vx {

TVxTextWriter::TVxTextWriter(TVxStream& AStream, uint16_t ACodePage) : FStream(AStream), FCodePage(ACodePage) {
  if (FCodePage == 63801) FCodePage = cVxCodePageUTF8;
  FUTF8 = FCodePage == cVxCodePageUTF8;
  if (FCodePage != cVxCodePageUTF16 && !FUTF8) FEncoding = &TVxEncoding::GetEncoding(FCodePage);
  try {
    FStartPos = AStream.Position();
  } catch (const EStreamError&) {
    FStartPos = 0;
  }
  FStartsClean = FStartPos == 0;
  if (FStartPos == 2) {
    // Behind nothing but a UTF-16LE byte-order mark? The stream is read back to see.
    try {
      uint8_t head[2] = {0, 0};
      AStream.Seek(0, soBeginning);
      const int64_t got = AStream.Read(head, 2);
      AStream.Seek(2, soBeginning);
      FStartsClean = got == 2 && head[0] == 0xFF && head[1] == 0xFE;
    } catch (const EStreamError&) {
      FStartsClean = false;
    }
  }
  if (FUTF8)
    FBytesOut = std::make_unique_for_overwrite<char[]>(cBufferSize);
  else
    FBuffer = std::make_unique_for_overwrite<char16_t[]>(cBufferSize);
}

TVxTextWriter::~TVxTextWriter() {
  try {
    Flush();
  } catch (...) {
    // A destructor cannot report; SaveToStream flushes before returning.
  }
}

void TVxTextWriter::Indent(int ALevel) {
  if (ALevel < 0) return;
  static constexpr char16_t spaces[] = u"                                                                ";
  size_t n = 2 * static_cast<size_t>(ALevel + 1);
  while (n > 0) {
    const size_t piece = std::min<size_t>(n, 16);
    Write(std::u16string_view(spaces, piece));
    n -= piece;
  }
}

void TVxTextWriter::CountBytes(std::u16string_view AText) {
  // Only the first bytes are counted exactly (the rule that needs the count looks for 5).
  if (FCodePage == cVxCodePageUTF16) {
    FBytes += static_cast<int64_t>(AText.size()) * 2;
  } else if (FUTF8) {
    std::string s;
    VxUTF16Append(AText.data(), AText.size(), s);
    FBytes += static_cast<int64_t>(s.size());
  } else {
    FBytes += static_cast<int64_t>(FEncoding->ConvertW(AText).size());
  }
}

namespace {
bool IsHighSurrogate(char16_t C) { return C >= 0xD800 && C <= 0xDBFF; }
bool IsLowSurrogate(char16_t C) { return C >= 0xDC00 && C <= 0xDFFF; }
}  // namespace

void TVxTextWriter::WriteLong(std::u16string_view AText) {
  if (!FUTF8) {
    // In pieces that fill the buffer, each flushed.
    while (!AText.empty()) {
      const size_t piece = std::min(AText.size(), cBufferSize - FLength);
      std::memcpy(FBuffer.get() + FLength, AText.data(), piece * sizeof(char16_t));
      FLength += piece;
      AText.remove_prefix(piece);
      if (FLength >= cFlushAt) FlushCollected(false);
    }
    return;
  }
  // UTF-8: a pair split between two writes is joined; the text is converted in pieces that
  // fit the buffer (three bytes per unit at most), never splitting a pair.
  if (FPendingHigh) {
    char16_t pair[2] = {std::exchange(FPendingHigh, char16_t(0)), 0};
    size_t n = 1;
    if (!AText.empty() && IsLowSurrogate(AText.front())) {
      pair[1] = AText.front();
      AText.remove_prefix(1);
      n = 2;
    }
    if (cBufferSize - FLength < 4) FlushCollected(false);
    FLength += VxUTF16ToUTF8(pair, n, FBytesOut.get() + FLength);
  }
  if (!AText.empty() && IsHighSurrogate(AText.back())) {
    FPendingHigh = AText.back();
    AText.remove_suffix(1);
  }
  while (!AText.empty()) {
    size_t piece = std::min(AText.size(), (cBufferSize - FLength) / 3);
    if (piece < AText.size() && piece > 1 && IsHighSurrogate(AText[piece - 1])) --piece;
    if (piece == 0 || (piece == 1 && AText.size() > 1 && IsHighSurrogate(AText[0]))) {
      FlushCollected(false);
      continue;
    }
    FLength += VxUTF16ToUTF8(AText.data(), piece, FBytesOut.get() + FLength);
    AText.remove_prefix(piece);
    if (FLength >= cFlushAt) FlushCollected(false);
  }
}

void TVxTextWriter::FlushCollected(bool AFinal) {
  if (FUTF8) {
    if (AFinal && FPendingHigh) {
      FPendingHigh = 0;
      if (cBufferSize - FLength < 3) FlushCollected(false);
      FLength += VxUTF16ToUTF8(u"\uFFFD", 1, FBytesOut.get() + FLength);
    }
    if (FLength) FStream.WriteBuffer(FBytesOut.get(), static_cast<int64_t>(FLength));
    FLength = 0;
    return;
  }
  if (FLength == 0) return;
  // A high surrogate at the end waits for its other half.
  size_t n = FLength;
  if (!AFinal && n > 1 && IsHighSurrogate(FBuffer[n - 1])) --n;
  std::u16string_view text(FBuffer.get(), n);
  if (FCodePage == cVxCodePageUTF16 && std::endian::native == std::endian::little) {
    FStream.WriteBuffer(text.data(), static_cast<int64_t>(text.size() * 2));
  } else if (FCodePage == cVxCodePageUTF16) {
    std::string bytes;
    bytes.reserve(text.size() * 2);
    for (char16_t c : text) bytes.append({static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)});
    FStream.WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
  } else {
    const std::string bytes = FEncoding->ConvertW(text);
    FStream.WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
  }
  if (n < FLength) FBuffer[0] = FBuffer[n];
  FLength -= n;
}

}  // namespace vx
