// File, memory, string and adapter streams.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <vector>

#include "uVxStreams.h"

using namespace vx;

namespace {
std::string TempFile(const char* AName) {
  return (std::filesystem::temp_directory_path() / (std::string("vx_") + AName)).string();
}
}  // namespace

TEST(FileStream, WriteSeekReadAndSize) {
  std::string name = TempFile("file_stream.bin");
  {
    TVxFileStream f(name, fmCreate);
    f.WriteBuffer("hello world", 11);
    EXPECT_EQ(f.Size(), 11);
    f.SetSize(5);
  }
  TVxFileStream f(name, fmOpenRead);
  char buf[16] = {};
  EXPECT_EQ(f.Read(buf, 16), 5);
  EXPECT_STREQ(buf, "hello");
  EXPECT_EQ(f.Seek(-2, soEnd), 3);
  EXPECT_EQ(f.Read(buf, 2), 2);
  EXPECT_THROW(f.ReadBuffer(buf, 1), EReadError);
  EXPECT_EQ(f.FileName(), VxUTF8ToUTF16(name));
  std::remove(name.c_str());
}

// A file system path names any file the system can hold, also one whose name is no UTF-8.
TEST(FileStream, OpensByFileSystemPath) {
  const std::filesystem::path name = std::filesystem::temp_directory_path() / std::string("vx_caf\xE9.bin");
  {
    TVxFileStream out(name, fmCreate);
    out.WriteBuffer("abc", 3);
  }
  TVxFileStream in(name, fmOpenRead);
  char buf[4] = {};
  EXPECT_EQ(in.Read(buf, 3), 3);
  EXPECT_STREQ(buf, "abc");
  std::filesystem::remove(name);
}

TEST(FileStream, MissingFileNamesTheFile) {
  try {
    TVxFileStream f(VxString(u"/nonexistent/dïr/file.xml"), fmOpenRead);
    FAIL();
  } catch (const EFOpenError& e) {
    EXPECT_EQ(e.Message(), u"Cannot open file \"/nonexistent/dïr/file.xml\". No such file or directory");
  }
  EXPECT_THROW(TVxFileStream(std::string("/nonexistent/x"), fmCreate), EFCreateError);
  EXPECT_THROW(TVxFileStream(std::filesystem::temp_directory_path().string(), fmOpenRead), EFOpenError);
}

TEST(MemoryStream, ReadsTheCallersBufferInPlace) {
  static const char data[] = "abcdef";
  TVxMemoryStream s(data, 6);
  EXPECT_EQ(static_cast<const void*>(s.Memory()), static_cast<const void*>(data));
  EXPECT_TRUE(s.IsReadOnly());
  char buf[4];
  s.ReadBuffer(buf, 4);
  EXPECT_EQ(std::string(buf, 4), "abcd");
  EXPECT_EQ(s.Write("x", 1), 0);
  try {
    s.WriteBuffer("x", 1);
    FAIL();
  } catch (const EWriteError& e) {
    EXPECT_EQ(e.Message(), u"Stream write error");
  }
  try {
    s.ReadBuffer(buf, 3);
    FAIL();
  } catch (const EReadError& e) {
    EXPECT_EQ(e.Message(), u"Stream read error");
  }
}

TEST(MemoryStream, OwnedBufferGrowsAndFillsGaps) {
  TVxMemoryStream s;
  for (int k = 0; k < 1000; ++k) s.WriteBuffer("0123456789", 10);
  EXPECT_EQ(s.Size(), 10000);
  s.Seek(10005, soBeginning);
  s.WriteBuffer("z", 1);
  EXPECT_EQ(s.Size(), 10006);
  EXPECT_EQ(s.Memory()[10002], 0);
  EXPECT_EQ(s.Memory()[10005], 'z');
  EXPECT_THROW(s.Seek(-1, soBeginning), EStreamError);
  TVxMemoryStream copy;
  copy.LoadFromStream(s);
  EXPECT_EQ(copy.Size(), 10006);
  EXPECT_EQ(std::memcmp(copy.Memory(), s.Memory(), 10006), 0);
}

TEST(StringStream, TextInPlaceAndCopyOnWrite) {
  VxString text = u"héllo";
  TVxStringStream s(text);
  EXPECT_EQ(s.CodePage(), 1200);
  EXPECT_EQ(static_cast<const void*>(s.Memory()), static_cast<const void*>(text.data()));
  EXPECT_EQ(s.Size(), 10);
  EXPECT_EQ(s.DataString(), u"héllo");
  s.Seek(0, soEnd);
  s.WriteString(u" wörld");  // copies first; the caller's text is untouched
  EXPECT_EQ(s.DataString(), u"héllo wörld");
  EXPECT_EQ(text, u"héllo");

  std::string latin = "caf\xE9";
  TVxStringStream l(latin, 28591);
  EXPECT_EQ(l.DataString(), u"café");
  EXPECT_EQ(l.StringData(), latin);
  TVxStringStream out(65001);
  out.WriteString(u"€");
  EXPECT_EQ(out.StringData(), "\xE2\x82\xAC");
}

TEST(UTF8StreamAdapter, WritesUTF8WithOptionalMarkAndJoinsSplitPairs) {
  TVxMemoryStream target;
  {
    TVxUTF8StreamAdapter a(&target, false, true);
    VxString text = u"a🌍é";
    auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    // Write byte by byte: units and the surrogate pair are split across writes.
    for (size_t k = 0; k < text.size() * 2; ++k) a.WriteBuffer(bytes + k, 1);
    EXPECT_EQ(a.Position(), 8);  // UTF-16 bytes taken
  }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(target.Memory()), static_cast<size_t>(target.Size())),
            "\xEF\xBB\xBF" "a\xF0\x9F\x8C\x8D\xC3\xA9");
  TVxMemoryStream lone;
  {
    TVxUTF8StreamAdapter a(&lone, false, false);
    a.WriteText(VxString(1, char16_t(0xD800)));
  }  // a lone high surrogate at the end is written as U+FFFD
  EXPECT_EQ(lone.Size(), 3);
}

TEST(StdStreamAdapters, BothDirections) {
  std::istringstream in("from std");
  TVxStdStream s(in);
  char buf[16] = {};
  EXPECT_EQ(s.Read(buf, 16), 8);
  EXPECT_STREQ(buf, "from std");
  EXPECT_EQ(s.Seek(5, soBeginning), 5);
  EXPECT_EQ(s.Read(buf, 3), 3);

  TVxMemoryStream mem;
  {
    TVxStreamBuf sb(mem);
    std::ostream os(&sb);
    os << "to vx " << 42;
  }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(mem.Memory()), static_cast<size_t>(mem.Size())), "to vx 42");
  mem.SetPosition(0);
  TVxStreamBuf rb(mem);
  std::istream is(&rb);
  std::string word;
  is >> word;
  EXPECT_EQ(word, "to");
}

// Over an iostream reading and writing share one position.
TEST(StdStreamAdapters, AnIOStreamHasOnePosition) {
  std::stringstream both(std::ios::in | std::ios::out);
  TVxStdStream s(both);
  EXPECT_EQ(s.Write("hello world", 11), 11);
  EXPECT_EQ(s.Position(), 11);
  s.Seek(0, soBeginning);
  EXPECT_EQ(s.Write("J", 1), 1);  // overwrites, does not append
  EXPECT_EQ(s.Position(), 1);
  char buf[16] = {};
  EXPECT_EQ(s.Read(buf, 4), 4);
  EXPECT_STREQ(buf, "ello");
  EXPECT_EQ(s.Position(), 5);
  EXPECT_EQ(both.str(), "Jello world");
}

// A stream without positions (a pipe): the position is counted, and short backward seeks are
// served from what was read, so a byte-order mark test can look and go back.
TEST(StdStreamAdapters, APipeCountsItsPositionAndGoesBackOverWhatWasRead) {
  struct TPipeBuf : std::streambuf {
    explicit TPipeBuf(std::string AData) : FData(std::move(AData)) { setg(FData.data(), FData.data(), FData.data() + FData.size()); }
    std::string FData;
  };
  TPipeBuf buf("<doc>" + std::string(300000, 'z') + "</doc>");
  std::istream in(&buf);
  TVxStdStream pipe(in);
  EXPECT_FALSE(pipe.Seekable());
  EXPECT_EQ(pipe.Position(), 0);
  EXPECT_EQ(VxGetCodePage(pipe), 0);  // read three bytes, went back
  EXPECT_EQ(pipe.Position(), 0);
  char head[6] = {};
  EXPECT_EQ(pipe.Read(head, 5), 5);
  EXPECT_STREQ(head, "<doc>");
  std::vector<char> big(70000);
  EXPECT_EQ(pipe.Read(big.data(), 70000), 70000);
  EXPECT_EQ(pipe.Seek(-10, soCurrent), 69995);
  EXPECT_EQ(pipe.Read(head, 5), 5);
  EXPECT_EQ(std::string(head, 5), "zzzzz");
  EXPECT_EQ(pipe.Seek(80000, soBeginning), 80000);  // forward: read and dropped
  EXPECT_EQ(pipe.Read(big.data(), 70000), 70000);
  EXPECT_THROW(pipe.Seek(0, soBeginning), EStreamError);  // more than 64 KB back: long gone
  EXPECT_THROW(pipe.Seek(0, soEnd), EStreamError);
}

// Positions are checked before they are computed: no signed overflow.
TEST(MemoryStream, SeeksBeyondTheRangeOfPositionsAreRefused) {
  TVxMemoryStream s;
  EXPECT_EQ(s.Seek(INT64_MAX, soBeginning), INT64_MAX);
  EXPECT_THROW(s.Seek(1, soCurrent), EStreamError);
  EXPECT_THROW(s.Seek(INT64_MIN, soCurrent), EStreamError);
  s.Seek(0, soBeginning);
  EXPECT_THROW(s.Seek(-1, soCurrent), EStreamError);
}
