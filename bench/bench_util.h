// Helpers shared by the benchmarks: a generated stream, the process's peak resident memory and
// the heap a loaded tree keeps.
#pragma once

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "uVxStreams.h"

namespace vx {

/// A stream generated on the fly, holding nothing: AHead, then ARecord repeated, then ATail,
/// about ASize bytes in all (whole records).
class TGeneratedStream : public TVxStream {
 public:
  explicit TGeneratedStream(int64_t ASize, std::string ARecord = "<r a=\"1\">generated text, \u00fc and \u8a9e</r>\n",
                            std::string AHead = "", std::string ATail = "")
      : FRecord(std::move(ARecord)), FHead(std::move(AHead)), FTail(std::move(ATail)) {
    auto body = std::max<int64_t>(0, ASize - static_cast<int64_t>(FHead.size() + FTail.size()));
    FRecords = body / static_cast<int64_t>(FRecord.size());
    FSize = static_cast<int64_t>(FHead.size() + FTail.size()) + FRecords * static_cast<int64_t>(FRecord.size());
  }
  int64_t Read(void* ABuffer, int64_t ACount) override {
    auto* out = static_cast<char*>(ABuffer);
    int64_t n = std::min(ACount, FSize - FPos);
    const auto head = static_cast<int64_t>(FHead.size());
    const auto rec = static_cast<int64_t>(FRecord.size());
    const int64_t tailStart = head + FRecords * rec;
    for (int64_t k = 0; k < n;) {
      int64_t at = FPos + k;
      const std::string* part;
      int64_t off;
      if (at < head) {
        part = &FHead;
        off = at;
      } else if (at < tailStart) {
        part = &FRecord;
        off = (at - head) % rec;
      } else {
        part = &FTail;
        off = at - tailStart;
      }
      int64_t take = std::min<int64_t>(n - k, static_cast<int64_t>(part->size()) - off);
      std::memcpy(out + k, part->data() + off, static_cast<size_t>(take));
      k += take;
    }
    FPos += n;
    return n;
  }
  int64_t Write(const void*, int64_t) override { return 0; }
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override {
    FPos = AOrigin == soBeginning ? AOffset : (AOrigin == soCurrent ? FPos + AOffset : FSize + AOffset);
    return FPos;
  }

 private:
  std::string FRecord, FHead, FTail;
  int64_t FRecords = 0;
  int64_t FSize = 0;
  int64_t FPos = 0;
};

/// Peak resident memory of the process so far, in MB.
inline double PeakResidentMB() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/// Heap bytes in use (small blocks and mapped ones).
inline size_t HeapInUse() {
  struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

/// Heap bytes a tree keeps per input byte: measured around ALoad (then AFree), with nothing
/// else alive, so only the tree counts.
template <class L, class F>
double HeapPerInputByte(L ALoad, F AFree, size_t AInputSize) {
  const size_t before = HeapInUse();
  ALoad();
  const size_t after = HeapInUse();
  AFree();
  return after > before ? static_cast<double>(after - before) / static_cast<double>(AInputSize) : 0;
}

}  // namespace vx
