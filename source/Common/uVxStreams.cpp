// uVxStreams: file, memory, string and standard-stream adapters.
#include "uVxStreams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <istream>
#include <ostream>

namespace vx {

// ---------------------------------------------------------------------------------------------
// TVxStream
// ---------------------------------------------------------------------------------------------

TVxStream::~TVxStream() = default;

int64_t TVxStream::Size() {
  int64_t pos = Seek(0, soCurrent);
  int64_t size = Seek(0, soEnd);
  Seek(pos, soBeginning);
  return size;
}

void TVxStream::SetSize(int64_t) { throw EStreamError(cVxSetSizeError); }

void TVxStream::ReadBuffer(void* ABuffer, int64_t ACount) {
  auto* p = static_cast<uint8_t*>(ABuffer);
  while (ACount > 0) {
    int64_t n = Read(p, ACount);
    if (n <= 0) throw EReadError(cVxReadError);
    p += n;
    ACount -= n;
  }
}

void TVxStream::WriteBuffer(const void* ABuffer, int64_t ACount) {
  const auto* p = static_cast<const uint8_t*>(ABuffer);
  while (ACount > 0) {
    int64_t n = Write(p, ACount);
    if (n <= 0) throw EWriteError(cVxWriteError);
    p += n;
    ACount -= n;
  }
}

int64_t TVxStream::CopyFrom(TVxStream& ASource, int64_t ACount) {
  if (ACount == 0) {
    ASource.SetPosition(0);
    ACount = ASource.Size();
  }
  uint8_t buf[65536];
  int64_t done = 0;
  while (done < ACount) {
    int64_t n = std::min<int64_t>(ACount - done, sizeof buf);
    ASource.ReadBuffer(buf, n);
    WriteBuffer(buf, n);
    done += n;
  }
  return done;
}

// ---------------------------------------------------------------------------------------------
// TVxFileStream
// ---------------------------------------------------------------------------------------------

TVxFileStream::TVxFileStream(const std::string& AFileName, uint16_t AMode)
    : FFileName(VxUTF8ToUTF16(AFileName)) {
  if ((AMode & fmCreate) == fmCreate) {
    int flags = O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC;
    if (AMode & fmExclusive) flags = (flags & ~O_TRUNC) | O_EXCL;
    FHandle = ::open(AFileName.c_str(), flags, 0666);
    if (FHandle < 0)
      throw EFCreateError(VxFormat(cVxFCreateError, FFileName, std::strerror(errno)));
    return;
  }
  int flags = O_CLOEXEC;
  switch (AMode & 3) {
    case fmOpenWrite: flags |= O_WRONLY; break;
    case fmOpenReadWrite: flags |= O_RDWR; break;
    default: flags |= O_RDONLY; break;
  }
  FHandle = ::open(AFileName.c_str(), flags);
  if (FHandle < 0) throw EFOpenError(VxFormat(cVxFOpenError, FFileName, std::strerror(errno)));
  struct stat st;
  if (::fstat(FHandle, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(FHandle);
    FHandle = -1;
    throw EFOpenError(VxFormat(cVxFOpenError, FFileName, std::strerror(EISDIR)));
  }
}

TVxFileStream::TVxFileStream(const VxString& AFileName, uint16_t AMode)
    : TVxFileStream(VxUTF16ToUTF8(AFileName), AMode) {}

TVxFileStream::~TVxFileStream() {
  if (FHandle >= 0) ::close(FHandle);
}

int64_t TVxFileStream::Read(void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  ssize_t n;
  do n = ::read(FHandle, ABuffer, static_cast<size_t>(ACount));
  while (n < 0 && errno == EINTR);
  return n < 0 ? 0 : n;
}

int64_t TVxFileStream::Write(const void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  ssize_t n;
  do n = ::write(FHandle, ABuffer, static_cast<size_t>(ACount));
  while (n < 0 && errno == EINTR);
  return n < 0 ? 0 : n;
}

int64_t TVxFileStream::Seek(int64_t AOffset, TVxSeekOrigin AOrigin) {
  int whence = AOrigin == soBeginning ? SEEK_SET : (AOrigin == soCurrent ? SEEK_CUR : SEEK_END);
  off_t r = ::lseek(FHandle, AOffset, whence);
  if (r < 0) throw EStreamError(cVxSeekError);
  return r;
}

void TVxFileStream::SetSize(int64_t ASize) {
  if (::ftruncate(FHandle, ASize) != 0) throw EStreamError(cVxSetSizeError);
  if (Position() > ASize) Seek(ASize, soBeginning);
}

// ---------------------------------------------------------------------------------------------
// TVxMemoryStream
// ---------------------------------------------------------------------------------------------

TVxMemoryStream::TVxMemoryStream() = default;

TVxMemoryStream::TVxMemoryStream(const void* ABuffer, int64_t ASize)
    : FData(static_cast<const uint8_t*>(ABuffer)), FSize(ABuffer ? std::max<int64_t>(ASize, 0) : 0) {}

TVxMemoryStream::~TVxMemoryStream() = default;

int64_t TVxMemoryStream::Read(void* ABuffer, int64_t ACount) {
  int64_t n = std::min(ACount, FSize - FPosition);
  if (n <= 0) return 0;
  std::memcpy(ABuffer, FData + FPosition, static_cast<size_t>(n));
  FPosition += n;
  return n;
}

void TVxMemoryStream::Reserve(int64_t ACapacity) {
  if (FOwned && ACapacity <= FCapacity) return;
  int64_t cap = std::max<int64_t>({ACapacity, FCapacity + FCapacity / 2, 256});
  auto fresh = std::make_unique_for_overwrite<uint8_t[]>(static_cast<size_t>(cap));
  if (FSize > 0) std::memcpy(fresh.get(), FData, static_cast<size_t>(FSize));
  FOwned = std::move(fresh);
  FData = FOwned.get();
  FCapacity = cap;
}

int64_t TVxMemoryStream::Write(const void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  if (IsReadOnly()) {
    if (!FCopyOnWrite) return 0;
    Reserve(FSize);
  }
  int64_t end = FPosition + ACount;
  if (end > FCapacity || !FOwned) Reserve(end);
  if (FPosition > FSize) std::memset(FOwned.get() + FSize, 0, static_cast<size_t>(FPosition - FSize));
  std::memcpy(FOwned.get() + FPosition, ABuffer, static_cast<size_t>(ACount));
  FPosition = end;
  FSize = std::max(FSize, end);
  return ACount;
}

int64_t TVxMemoryStream::Seek(int64_t AOffset, TVxSeekOrigin AOrigin) {
  int64_t base = AOrigin == soBeginning ? 0 : (AOrigin == soCurrent ? FPosition : FSize);
  int64_t pos;
  if (__builtin_add_overflow(base, AOffset, &pos) || pos < 0) throw EStreamError(cVxSeekError);
  FPosition = pos;
  return pos;
}

void TVxMemoryStream::SetSize(int64_t ASize) {
  if (ASize < 0) throw EStreamError(cVxSetSizeError);
  if (IsReadOnly() && ASize <= FSize) {
    FSize = ASize;  // a caller's buffer can be cut short without copying
  } else {
    Reserve(ASize);
    if (ASize > FSize) std::memset(FOwned.get() + FSize, 0, static_cast<size_t>(ASize - FSize));
    FSize = ASize;
  }
  if (FPosition > FSize) FPosition = FSize;
}

void TVxMemoryStream::Clear() {
  FOwned.reset();
  FData = nullptr;
  FCapacity = FSize = FPosition = 0;
}

void TVxMemoryStream::LoadFromStream(TVxStream& AStream) {
  AStream.SetPosition(0);
  int64_t size = AStream.Size();
  Clear();
  Reserve(size);
  AStream.ReadBuffer(FOwned.get(), size);
  FSize = size;
}

void TVxMemoryStream::SaveToStream(TVxStream& AStream) {
  if (FSize > 0) AStream.WriteBuffer(FData, FSize);
}

void TVxMemoryStream::LoadFromFile(const VxString& AFileName) {
  TVxFileStream f(AFileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(f);
}

void TVxMemoryStream::SaveToFile(const VxString& AFileName) {
  TVxFileStream f(AFileName, fmCreate);
  SaveToStream(f);
}

// ---------------------------------------------------------------------------------------------
// TVxStringStream
// ---------------------------------------------------------------------------------------------

TVxStringStream::TVxStringStream(uint16_t ACodePage) : FCodePage(ACodePage) { FCopyOnWrite = true; }

TVxStringStream::TVxStringStream(std::u16string_view AText)
    : TVxMemoryStream(AText.data(), static_cast<int64_t>(AText.size() * 2)), FCodePage(cVxCodePageUTF16) {
  FCopyOnWrite = true;
}

TVxStringStream::TVxStringStream(std::string_view AText, uint16_t ACodePage)
    : TVxMemoryStream(AText.data(), static_cast<int64_t>(AText.size())), FCodePage(ACodePage) {
  FCopyOnWrite = true;
}

VxString TVxStringStream::DataString() const {
  if (FSize == 0) return {};
  return TVxEncoding::GetEncoding(FCodePage).ConvertA(std::string_view(reinterpret_cast<const char*>(FData), static_cast<size_t>(FSize)));
}

std::string TVxStringStream::StringData() const {
  return std::string(reinterpret_cast<const char*>(FData), static_cast<size_t>(FSize));
}

void TVxStringStream::WriteString(std::u16string_view AText) {
  std::string bytes = TVxEncoding::GetEncoding(FCodePage).ConvertW(AText);
  WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
}

// ---------------------------------------------------------------------------------------------
// TVxUTF8StreamAdapter
// ---------------------------------------------------------------------------------------------

TVxUTF8StreamAdapter::TVxUTF8StreamAdapter(TVxStream* ATarget, bool AOwnsTarget, bool AWriteBOM)
    : FTarget(ATarget), FOwnsTarget(AOwnsTarget), FBOMPending(AWriteBOM) {}

TVxUTF8StreamAdapter::~TVxUTF8StreamAdapter() {
  try {
    Flush();
  } catch (...) {
    // A destructor must not throw; what could not be written is lost.
  }
  if (FOwnsTarget) delete FTarget;
}

int64_t TVxUTF8StreamAdapter::Read(void*, int64_t) { return 0; }

int64_t TVxUTF8StreamAdapter::Seek(int64_t AOffset, TVxSeekOrigin AOrigin) {
  if (AOffset == 0 && AOrigin == soCurrent) return FTaken;
  throw EStreamError(cVxSeekError);
}

int64_t TVxUTF8StreamAdapter::Write(const void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  const auto* p = static_cast<const uint8_t*>(ABuffer);
  const uint8_t* end = p + ACount;
  VxString units;
  units.reserve(static_cast<size_t>(ACount / 2 + 1));
  if (FPendingByte >= 0) {
    units += static_cast<char16_t>(FPendingByte | (*p++ << 8));
    FPendingByte = -1;
  }
  for (; end - p >= 2; p += 2) units += static_cast<char16_t>(p[0] | (p[1] << 8));
  if (p < end) FPendingByte = *p;
  WriteText(units);
  FTaken += ACount;
  return ACount;
}

void TVxUTF8StreamAdapter::WriteText(std::u16string_view AText) {
  FBuffer.clear();
  if (FBOMPending) {
    FBuffer = "\xEF\xBB\xBF";
    FBOMPending = false;
  }
  if (FPendingHigh && !AText.empty()) {
    char16_t pair[2] = {FPendingHigh, AText[0]};
    FPendingHigh = 0;
    if (pair[1] >= 0xDC00 && pair[1] <= 0xDFFF) {
      VxUTF16Append(pair, 2, FBuffer);
      AText.remove_prefix(1);
    } else {
      VxUTF16Append(pair, 1, FBuffer);  // lone high surrogate: U+FFFD
    }
  }
  if (!AText.empty() && AText.back() >= 0xD800 && AText.back() <= 0xDBFF) {
    FPendingHigh = AText.back();
    AText.remove_suffix(1);
  }
  VxUTF16Append(AText.data(), AText.size(), FBuffer);
  if (!FBuffer.empty()) FTarget->WriteBuffer(FBuffer.data(), static_cast<int64_t>(FBuffer.size()));
}

void TVxUTF8StreamAdapter::Flush() {
  // Half a unit or half a pair can no longer be completed: each becomes U+FFFD.
  bool halfUnit = FPendingByte >= 0;
  bool halfPair = FPendingHigh != 0;
  FPendingByte = -1;
  FPendingHigh = 0;
  if (halfPair) WriteText(u"\xFFFD");
  if (halfUnit) WriteText(u"\xFFFD");
  if (FBOMPending) WriteText(u"");
}

// ---------------------------------------------------------------------------------------------
// TVxStdStream and TVxStreamBuf
// ---------------------------------------------------------------------------------------------

TVxStdStream::TVxStdStream(std::istream& AInput) : FIn(&AInput) { Probe(); }
TVxStdStream::TVxStdStream(std::ostream& AOutput) : FOut(&AOutput) { Probe(); }
TVxStdStream::TVxStdStream(std::iostream& AStream) : FIn(&AStream), FOut(&AStream) { Probe(); }

void TVxStdStream::Probe() {
  // A pipe, a socket or a terminal cannot tell its position: such a stream is read and written
  // straight on, its position counted here.
  std::streampos pos(-1);
  if (FIn) {
    pos = FIn->tellg();
    FIn->clear(FIn->rdstate() & ~std::ios::failbit);
  } else if (FOut) {
    pos = FOut->tellp();
    FOut->clear(FOut->rdstate() & ~std::ios::failbit);
  }
  FSeekable = pos != std::streampos(-1);
  FPos = FSeekable ? static_cast<int64_t>(pos) : 0;
}

int64_t TVxStdStream::Read(void* ABuffer, int64_t ACount) {
  if (!FIn || ACount <= 0) return 0;
  auto* out = static_cast<char*>(ABuffer);
  int64_t done = 0;
  if (!FSeekable && FReplay > 0) {
    // Bytes read before and sought back over are served again from the history.
    const auto n = static_cast<size_t>(std::min<int64_t>(ACount, static_cast<int64_t>(FReplay)));
    std::memcpy(out, FHistory.data() + (FHistory.size() - FReplay), n);
    FReplay -= n;
    done = static_cast<int64_t>(n);
    FPos += done;
    if (done == ACount) return done;
  }
  FIn->read(out + done, ACount - done);
  const int64_t n = FIn->gcount();
  if (FIn->eof()) FIn->clear(FIn->rdstate() & ~(std::ios::eofbit | std::ios::failbit));
  if (n > 0) {
    if (!FSeekable) Remember(out + done, static_cast<size_t>(n));
    FPos += n;
    // One position for reading and writing, as every TVxStream has.
    if (FSeekable && FOut) FOut->seekp(FIn->tellg());
  }
  return done + n;
}

void TVxStdStream::Remember(const char* AData, size_t ACount) {
  FHistory.append(AData, ACount);
  if (FHistory.size() > 2 * cHistory) FHistory.erase(0, FHistory.size() - cHistory);
}

int64_t TVxStdStream::Write(const void* ABuffer, int64_t ACount) {
  if (!FOut || ACount <= 0) return 0;
  FOut->write(static_cast<const char*>(ABuffer), ACount);
  if (!FOut->good()) return 0;
  FPos += ACount;
  // One position for reading and writing, as every TVxStream has.
  if (FSeekable && FIn) FIn->seekg(FOut->tellp());
  return ACount;
}

int64_t TVxStdStream::Seek(int64_t AOffset, TVxSeekOrigin AOrigin) {
  if (!FSeekable) {
    // Only the position is known: answer it, or move within the bytes remembered.
    if (AOrigin == soEnd) throw EStreamError(cVxSeekError);
    int64_t target;
    if (__builtin_add_overflow(AOrigin == soBeginning ? 0 : FPos, AOffset, &target)) throw EStreamError(cVxSeekError);
    if (target == FPos) return FPos;
    const int64_t historyEnd = FPos + static_cast<int64_t>(FReplay);
    const int64_t historyStart = historyEnd - static_cast<int64_t>(FHistory.size());
    if (!FIn || FOut || target < historyStart) throw EStreamError(cVxSeekError);
    if (target > historyEnd) {
      // Forward past what was read: read and drop.
      FReplay = 0;
      FPos = historyEnd;
      char scratch[4096];
      while (FPos < target) {
        const int64_t n = Read(scratch, std::min<int64_t>(target - FPos, sizeof scratch));
        if (n <= 0) throw EStreamError(cVxSeekError);
      }
      return FPos;
    }
    FReplay = static_cast<size_t>(historyEnd - target);
    FPos = target;
    return FPos;
  }
  auto dir = AOrigin == soBeginning ? std::ios::beg : (AOrigin == soCurrent ? std::ios::cur : std::ios::end);
  std::streampos pos(-1);
  if (FIn) {
    if (!(AOffset == 0 && AOrigin == soCurrent)) FIn->seekg(AOffset, dir);
    pos = FIn->tellg();
    if (FOut && pos != std::streampos(-1)) FOut->seekp(pos);
  } else if (FOut) {
    if (!(AOffset == 0 && AOrigin == soCurrent)) FOut->seekp(AOffset, dir);
    pos = FOut->tellp();
  }
  if (pos == std::streampos(-1)) {
    if (FIn) FIn->clear(FIn->rdstate() & ~std::ios::failbit);
    if (FOut) FOut->clear(FOut->rdstate() & ~std::ios::failbit);
    throw EStreamError(cVxSeekError);
  }
  FPos = static_cast<int64_t>(pos);
  return FPos;
}

TVxStreamBuf::TVxStreamBuf(TVxStream& AStream) : FStream(AStream) {
  setg(FIn, FIn, FIn);
  setp(FOut, FOut + sizeof FOut);
}

TVxStreamBuf::~TVxStreamBuf() {
  try {
    sync();
  } catch (...) {
    // Nothing can be reported from a destructor.
  }
}

TVxStreamBuf::int_type TVxStreamBuf::underflow() {
  if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
  int64_t n = FStream.Read(FIn, sizeof FIn);
  if (n <= 0) return traits_type::eof();
  setg(FIn, FIn, FIn + n);
  return traits_type::to_int_type(*gptr());
}

int TVxStreamBuf::sync() {
  auto n = pptr() - pbase();
  if (n > 0) FStream.WriteBuffer(pbase(), n);
  setp(FOut, FOut + sizeof FOut);
  return 0;
}

TVxStreamBuf::int_type TVxStreamBuf::overflow(int_type ACh) {
  sync();
  if (!traits_type::eq_int_type(ACh, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(ACh);
    pbump(1);
  }
  return traits_type::not_eof(ACh);
}

std::streamsize TVxStreamBuf::xsputn(const char* AData, std::streamsize ACount) {
  sync();
  FStream.WriteBuffer(AData, ACount);
  return ACount;
}

TVxStreamBuf::pos_type TVxStreamBuf::seekoff(off_type AOffset, std::ios_base::seekdir ADir,
                                             std::ios_base::openmode) {
  sync();
  // Bytes buffered for reading are ahead of the stream's position.
  off_type unread = egptr() - gptr();
  TVxSeekOrigin origin = ADir == std::ios_base::beg ? soBeginning : (ADir == std::ios_base::cur ? soCurrent : soEnd);
  if (origin == soCurrent) AOffset -= unread;
  setg(FIn, FIn, FIn);
  try {
    return pos_type(FStream.Seek(AOffset, origin));
  } catch (const EStreamError&) {
    return pos_type(off_type(-1));
  }
}

TVxStreamBuf::pos_type TVxStreamBuf::seekpos(pos_type APos, std::ios_base::openmode AWhich) {
  return seekoff(off_type(APos), std::ios_base::beg, AWhich);
}

// ---------------------------------------------------------------------------------------------
// TVxReplayStream

int64_t TVxReplayStream::Read(void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  int64_t n = 0;
  const auto head = static_cast<int64_t>(FHead.size());
  if (FPos < head) {
    n = std::min(ACount, head - FPos);
    std::memcpy(ABuffer, FHead.data() + FPos, static_cast<size_t>(n));
  }
  if (n < ACount) n += FSource.Read(static_cast<uint8_t*>(ABuffer) + n, ACount - n);
  FPos += n;
  return n;
}

int64_t TVxReplayStream::Write(const void*, int64_t) { throw EWriteError(cVxWriteError); }

int64_t TVxReplayStream::Seek(int64_t AOffset, TVxSeekOrigin AOrigin) {
  const int64_t target = AOrigin == soBeginning ? AOffset : AOrigin == soCurrent ? FPos + AOffset : -1;
  if (target == FPos) return FPos;
  if (target < 0 || FPos > static_cast<int64_t>(FHead.size()) || target > static_cast<int64_t>(FHead.size()))
    throw EStreamError(cVxSeekError);
  FPos = target;
  return FPos;
}

std::string VxPeekStream(TVxStream& AStream, size_t ACount, std::unique_ptr<TVxReplayStream>& AReplay) {
  int64_t start = 0;
  bool known = true;
  try {
    start = AStream.Position();
  } catch (const EStreamError&) {
    known = false;
  }
  std::string head(ACount, '\0');
  size_t got = 0;
  while (got < ACount) {
    const int64_t n = AStream.Read(head.data() + got, static_cast<int64_t>(ACount - got));
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  head.resize(got);
  if (known) {
    try {
      AStream.Seek(start, soBeginning);
      return head;
    } catch (const EStreamError&) {
    }
  }
  AReplay = std::make_unique<TVxReplayStream>(AStream, head);
  return head;
}

}  // namespace vx
