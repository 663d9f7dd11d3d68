// Text cursor throughput next to the limits (memchr, a plain unit loop), and a pass over a
// generated 2 GB stream that reports the process's peak resident memory.
//
//   build/release/bench/bench_textparser
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench_util.h"
#include "uVxTextParser.h"

using namespace vx;

namespace {

// About 32 MB of markup-like text: records with attributes, text and non-ASCII letters.
const std::string& Document() {
  static const std::string doc = [] {
    std::string record =
        "<record id=\"12345\" kind=\"sample\">Some text with ümlauts, 日本語 and plenty of "
        "words to skip over before the next tag begins, as real documents have.</record>\n";
    std::string s;
    while (s.size() < (32u << 20)) s += record;
    return s;
  }();
  return doc;
}

const VxString& DocumentW() {
  static const VxString doc = VxUTF8ToUTF16(Document());
  return doc;
}

void BM_Stream2GBResidentMemory(benchmark::State& AState) {
  const int64_t size = int64_t(2) << 30;
  for (auto _ : AState) {
    TVxTextParser p(new TGeneratedStream(size), true, cVxCodePageUTF8);
    size_t records = 0;
    VxString text;
    while (!p.Eof()) {
      p.SkipWhile(skUntilEqual, u'>');
      p.NextChar();
      p.SetMark(ptMark1);
      p.SkipWhile(skUntilEqual, u'<');
      text.clear();
      p.AppendSelectedW(ptMark1, ptCurrent, false, text);
      p.SkipWhile(skUntilEqual, u'\n');
      ++records;
    }
    benchmark::DoNotOptimize(records);
    AState.counters["lines"] = static_cast<double>(p.GetLineNr());
  }
  AState.counters["peak_rss_MB"] = PeakResidentMB();
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * size);
}
// Defined first so it runs first: the peak resident memory is the stream pass's own, not that
// of the in-memory documents the other benchmarks build.
BENCHMARK(BM_Stream2GBResidentMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_Memchr(benchmark::State& AState) {
  const std::string& doc = Document();
  for (auto _ : AState) {
    const char* p = doc.data();
    const char* e = p + doc.size();
    size_t tags = 0;
    while ((p = static_cast<const char*>(std::memchr(p, '<', static_cast<size_t>(e - p))))) {
      ++tags;
      ++p;
    }
    benchmark::DoNotOptimize(tags);
  }
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(doc.size()));
}
BENCHMARK(BM_Memchr);

// Skips from tag to tag over a memory block in a code page, counting the tags.
void SkipTagToTag(benchmark::State& AState, const void* AData, int64_t ASize, uint16_t ACodePage) {
  for (auto _ : AState) {
    TVxTextParser p(AData, ASize, ACodePage);
    size_t tags = 0;
    while (!p.Eof()) {
      p.SkipWhile(skUntilEqual, u'<');
      p.NextChar();
      ++tags;
    }
    benchmark::DoNotOptimize(tags);
  }
  AState.SetBytesProcessed(AState.iterations() * ASize);
}

void BM_CursorSkipUntilUTF8(benchmark::State& AState) {
  const std::string& doc = Document();
  SkipTagToTag(AState, doc.data(), static_cast<int64_t>(doc.size()), cVxCodePageUTF8);
}
BENCHMARK(BM_CursorSkipUntilUTF8);

void BM_PlainUnitLoop(benchmark::State& AState) {
  const VxString& doc = DocumentW();
  for (auto _ : AState) {
    size_t tags = 0;
    for (char16_t c : doc) tags += c == u'<';
    benchmark::DoNotOptimize(tags);
  }
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(doc.size() * 2));
}
BENCHMARK(BM_PlainUnitLoop);

void BM_CursorSkipUntilUTF16(benchmark::State& AState) {
  const VxString& doc = DocumentW();
  SkipTagToTag(AState, doc.data(), static_cast<int64_t>(doc.size() * 2), cVxCodePageUTF16);
}
BENCHMARK(BM_CursorSkipUntilUTF16);

// Tag by tag with marks and a UTF-16 selection of every name, as a reader works.
void BM_CursorTagsAndSelections(benchmark::State& AState) {
  const std::string& doc = Document();
  VxString name;
  for (auto _ : AState) {
    TVxTextParser p(doc.data(), static_cast<int64_t>(doc.size()), cVxCodePageUTF8);
    while (!p.Eof()) {
      p.SkipWhile(skUntilEqual, u'<');
      p.NextChar();
      p.SetMark(ptMark1);
      p.SkipWhile(skUntilInSet, TVxAnsiCharSet{' ', '>'});
      name.clear();
      p.AppendSelectedW(ptMark1, ptCurrent, false, name);
      benchmark::DoNotOptimize(name.data());
    }
    benchmark::DoNotOptimize(p.GetLineNr());
  }
  AState.SetBytesProcessed(AState.iterations() * static_cast<int64_t>(doc.size()));
}
BENCHMARK(BM_CursorTagsAndSelections);

}  // namespace

BENCHMARK_MAIN();
