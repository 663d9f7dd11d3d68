// Test helpers for reading through streams: a stream that delivers a few bytes per read (and
// optionally cannot seek, as a pipe), and a guard that shrinks the text cursor's read window.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "uVxStreams.h"
#include "uVxTextParser.h"

namespace vx::test {

/// A read-only stream over a copy of some bytes that hands out at most AStep bytes per Read.
/// With ASeekable false it behaves like a pipe: it answers its position but refuses to move.
class TTrickleStream : public TVxStream {
 public:
  TTrickleStream(std::string ABytes, int64_t AStep, bool ASeekable = true)
      : FBytes(std::move(ABytes)), FStep(AStep), FSeekable(ASeekable) {}

  int64_t Read(void* ABuffer, int64_t ACount) override {
    const int64_t n = std::min({ACount, FStep, static_cast<int64_t>(FBytes.size()) - FPos});
    if (n <= 0) return 0;
    std::memcpy(ABuffer, FBytes.data() + FPos, static_cast<size_t>(n));
    FPos += n;
    return n;
  }
  int64_t Write(const void*, int64_t) override { return 0; }
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override {
    const int64_t base = AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPos : static_cast<int64_t>(FBytes.size());
    const int64_t target = base + AOffset;
    if (target == FPos) return FPos;
    if (!FSeekable || target < 0) throw EStreamError(cVxSeekError);
    FPos = target;
    return FPos;
  }

 private:
  std::string FBytes;
  int64_t FStep;
  bool FSeekable;
  int64_t FPos = 0;
};

/// Sets the text cursor's read window for the cursors created while the guard lives.
class TWindowGuard {
 public:
  explicit TWindowGuard(size_t ABytes) : FSaved(TVxTextParser::DefaultWindowSize()) {
    TVxTextParser::SetDefaultWindowSize(ABytes);
  }
  ~TWindowGuard() { TVxTextParser::SetDefaultWindowSize(FSaved); }
  TWindowGuard(const TWindowGuard&) = delete;
  TWindowGuard& operator=(const TWindowGuard&) = delete;

 private:
  size_t FSaved;
};

}  // namespace vx::test
