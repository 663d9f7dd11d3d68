// uVxStreams: byte streams over files, memory, strings and standard C++ streams, and a stream
// adapter that writes UTF-16 text as UTF-8.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <streambuf>
#include <string>

#include "uVxClasses.h"
#include "uVxEncoding.h"

namespace vx {

/// Origin of a seek.
enum TVxSeekOrigin : uint8_t { soBeginning, soCurrent, soEnd };

/// File open modes, numbered as the host platform's file streams number them.
inline constexpr uint16_t fmCreate = 0xFF00;         ///< create or truncate, then read and write
inline constexpr uint16_t fmOpenRead = 0x0000;       ///< open an existing file for reading
inline constexpr uint16_t fmOpenWrite = 0x0001;      ///< open an existing file for writing
inline constexpr uint16_t fmOpenReadWrite = 0x0002;  ///< open an existing file for both
inline constexpr uint16_t fmExclusive = 0x0004;      ///< with fmCreate: fail if the file exists
inline constexpr uint16_t fmShareCompat = 0x0000;    ///< sharing modes: accepted, not enforced
inline constexpr uint16_t fmShareExclusive = 0x0010;
inline constexpr uint16_t fmShareDenyWrite = 0x0020;
inline constexpr uint16_t fmShareDenyRead = 0x0030;
inline constexpr uint16_t fmShareDenyNone = 0x0040;

/// A byte stream: read, write, seek, position and size.
class TVxStream : public TVxObject {
 public:
  using Inherited = TVxObject;
  ~TVxStream() override;

  /// Reads up to ACount bytes; answers how many were read (0 at the end).
  virtual int64_t Read(void* ABuffer, int64_t ACount) = 0;
  /// Writes up to ACount bytes; answers how many were written.
  virtual int64_t Write(const void* ABuffer, int64_t ACount) = 0;
  /// Moves the position; answers the new position. Raises EStreamError when it cannot seek.
  virtual int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) = 0;
  /// The current position.
  int64_t Position() { return Seek(0, soCurrent); }
  /// Moves to an absolute position.
  void SetPosition(int64_t APosition) { Seek(APosition, soBeginning); }
  /// The size in bytes.
  virtual int64_t Size();
  /// Changes the size; streams that cannot raise EStreamError.
  virtual void SetSize(int64_t ASize);

  /// Reads exactly ACount bytes or raises EReadError ("Stream read error").
  void ReadBuffer(void* ABuffer, int64_t ACount);
  /// Writes exactly ACount bytes or raises EWriteError ("Stream write error").
  void WriteBuffer(const void* ABuffer, int64_t ACount);
  /// Copies ACount bytes from ASource (all of it from its start when ACount is 0).
  int64_t CopyFrom(TVxStream& ASource, int64_t ACount);
};

/// A stream over a file, opened with an fm... mode.
class TVxFileStream : public TVxStream {
 public:
  using Inherited = TVxStream;
  /// Opens AFileName; raises EFOpenError or EFCreateError with a message naming the file.
  TVxFileStream(const VxString& AFileName, uint16_t AMode);
  /// Opens a file named by bytes as the system takes them (UTF-8 by convention; the message of
  /// a failure shows the name as UTF-8).
  TVxFileStream(const std::string& AFileName, uint16_t AMode);
  /// Opens a file named by a file system path.
  template <VxFileSystemPath P>
  TVxFileStream(const P& AFileName, uint16_t AMode) : TVxFileStream(AFileName.native(), AMode) {}
  ~TVxFileStream() override;

  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override;
  void SetSize(int64_t ASize) override;
  /// The file's name as given.
  const VxString& FileName() const noexcept { return FFileName; }

 private:
  VxString FFileName;
  int FHandle = -1;
};

/// A stream over memory: either read in place from a caller's buffer (never copied, never
/// written) or an owned buffer that grows as it is written.
class TVxMemoryStream : public TVxStream {
 public:
  using Inherited = TVxStream;
  /// An empty, owning, growable stream.
  TVxMemoryStream();
  /// A read-only stream over the caller's buffer, which must outlive the stream.
  TVxMemoryStream(const void* ABuffer, int64_t ASize);
  ~TVxMemoryStream() override;

  int64_t Read(void* ABuffer, int64_t ACount) override;
  /// Writes at the position, growing an owned buffer; a caller's buffer takes no writes
  /// (string streams copy it first).
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override;
  int64_t Size() override { return FSize; }
  void SetSize(int64_t ASize) override;

  /// The bytes of the stream.
  const uint8_t* Memory() const noexcept { return FData; }
  /// True when the stream reads a caller's buffer in place.
  bool IsReadOnly() const noexcept { return FOwned == nullptr && FData != nullptr; }
  /// Empties an owned stream (or detaches from a caller's buffer).
  void Clear();
  /// Replaces the content with the whole of AStream.
  void LoadFromStream(TVxStream& AStream);
  /// Writes the whole content to AStream.
  void SaveToStream(TVxStream& AStream);
  /// Replaces the content with a file's bytes.
  void LoadFromFile(const VxString& AFileName);
  template <VxFileSystemPath P>
  void LoadFromFile(const P& AFileName) {
    TVxFileStream f(AFileName, fmOpenRead | fmShareDenyWrite);
    LoadFromStream(f);
  }
  /// Writes the content to a file.
  void SaveToFile(const VxString& AFileName);
  template <VxFileSystemPath P>
  void SaveToFile(const P& AFileName) {
    TVxFileStream f(AFileName, fmCreate);
    SaveToStream(f);
  }

 protected:
  /// Makes the buffer owned and at least ACapacity bytes large (copying a caller's buffer).
  void Reserve(int64_t ACapacity);

  const uint8_t* FData = nullptr;  // the bytes: FOwned.get() or the caller's buffer
  std::unique_ptr<uint8_t[]> FOwned;
  int64_t FCapacity = 0;
  int64_t FSize = 0;
  int64_t FPosition = 0;
  bool FCopyOnWrite = false;  // a write to a caller's buffer copies it first
};

/// A stream over text: UTF-16 text (code page 1200, its bytes are the UTF-16LE units) or 8-bit
/// text in a code page. Constructed over text it reads the caller's text in place; the first
/// write copies it.
class TVxStringStream : public TVxMemoryStream {
 public:
  using Inherited = TVxMemoryStream;
  /// An empty stream whose text is in ACodePage.
  explicit TVxStringStream(uint16_t ACodePage = cVxCodePageUTF16);
  /// Reads the caller's UTF-16 text in place (code page 1200); the text must outlive reading.
  explicit TVxStringStream(std::u16string_view AText);
  /// Reads the caller's 8-bit text in place, in ACodePage.
  TVxStringStream(std::string_view AText, uint16_t ACodePage);

  /// The code page of the stream's bytes.
  uint16_t CodePage() const noexcept { return FCodePage; }
  /// The content decoded to UTF-16 by the stream's code page.
  VxString DataString() const;
  /// The content's raw bytes.
  std::string StringData() const;
  /// Appends UTF-16 text at the position, encoded in the stream's code page.
  void WriteString(std::u16string_view AText);

 private:
  uint16_t FCodePage;
};

/// Write-only adapter: UTF-16 bytes written to it reach the target stream as UTF-8, with an
/// optional byte-order mark first. A surrogate pair split between two writes is joined.
class TVxUTF8StreamAdapter : public TVxStream {
 public:
  using Inherited = TVxStream;
  TVxUTF8StreamAdapter(TVxStream* ATarget, bool AOwnsTarget, bool AWriteBOM);
  /// Writes any pending half character as U+FFFD and frees an owned target.
  ~TVxUTF8StreamAdapter() override;

  /// Reading is not supported: answers 0.
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  /// Only Seek(0, soCurrent) is answered (bytes of UTF-16 taken so far); others raise.
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override;
  /// Writes UTF-16 text.
  void WriteText(std::u16string_view AText);
  /// Writes a pending odd byte or lone high surrogate as U+FFFD.
  void Flush();

 private:
  TVxStream* FTarget;
  bool FOwnsTarget;
  bool FBOMPending;
  int64_t FTaken = 0;
  int FPendingByte = -1;        // odd byte of a unit split between writes
  char16_t FPendingHigh = 0;    // high surrogate waiting for its low half
  std::string FBuffer;
};

/// A TVxStream over a std::istream / std::ostream / std::iostream (not owned). Over an iostream
/// reading and writing share one position, as in every TVxStream. A stream that cannot tell its
/// position (a pipe, a socket, standard input) is read and written straight on: the position is
/// counted here, and a seek backwards within the last 64 KB read is served from a history kept
/// for the purpose (so byte-order-mark detection and the readers' look-back work on a pipe).
class TVxStdStream : public TVxStream {
 public:
  using Inherited = TVxStream;
  explicit TVxStdStream(std::istream& AInput);
  explicit TVxStdStream(std::ostream& AOutput);
  explicit TVxStdStream(std::iostream& AStream);

  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  /// Seeks the underlying stream; raises EStreamError ("Stream seek error") when it cannot.
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override;
  /// True when the underlying stream can tell and set its position.
  bool Seekable() const noexcept { return FSeekable; }

 private:
  static constexpr size_t cHistory = 64 * 1024;
  void Probe();
  void Remember(const char* AData, size_t ACount);
  std::istream* FIn = nullptr;
  std::ostream* FOut = nullptr;
  bool FSeekable = true;
  int64_t FPos = 0;
  std::string FHistory;  // recent bytes of a stream that cannot seek
  size_t FReplay = 0;    // bytes at the end of FHistory to be read again
};

/// A std::streambuf over a TVxStream (not owned), so std::istream and std::ostream can read
/// and write library streams.
class TVxStreamBuf : public std::streambuf {
 public:
  explicit TVxStreamBuf(TVxStream& AStream);
  ~TVxStreamBuf() override;

 protected:
  int_type underflow() override;
  int_type overflow(int_type ACh) override;
  int sync() override;
  std::streamsize xsputn(const char* AData, std::streamsize ACount) override;
  pos_type seekoff(off_type AOffset, std::ios_base::seekdir ADir, std::ios_base::openmode AWhich) override;
  pos_type seekpos(pos_type APos, std::ios_base::openmode AWhich) override;

 private:
  TVxStream& FStream;
  char FIn[8192];
  char FOut[8192];
};

/// A stream read with bytes already taken from a source put back in front: those bytes first,
/// then the rest of the source. It lets a reader look at the start of a stream that cannot
/// seek (a pipe) and still read it whole. While reading within the put-back bytes it can seek
/// anywhere in them; past them only its position can be asked.
class TVxReplayStream : public TVxStream {
 public:
  TVxReplayStream(TVxStream& ASource, std::string AHead) : FSource(ASource), FHead(std::move(AHead)) {}
  int64_t Read(void* ABuffer, int64_t ACount) override;
  /// Refused: the stream only reads.
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TVxSeekOrigin AOrigin) override;

 private:
  TVxStream& FSource;
  std::string FHead;
  int64_t FPos = 0;
};

/// Reads up to ACount bytes from a stream's current position (fewer at its end) and puts them
/// back: a stream that can seek goes back to where it was; for one that cannot, AReplay is set
/// to a TVxReplayStream to read in its place.
std::string VxPeekStream(TVxStream& AStream, size_t ACount, std::unique_ptr<TVxReplayStream>& AReplay);

}  // namespace vx
