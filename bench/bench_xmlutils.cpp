// Escaping and unescaping throughput in MB/s of UTF-16 input, next to a plain copy of the same
// text (the limit: every function here returns a new string).
//
//   build/release/bench/bench_xmlutils
#include <benchmark/benchmark.h>

#include <string>

#include "uVxXMLUtils.h"

using namespace vx;

namespace {

// About 8 MB of UTF-16 prose (2 bytes a unit); with AMarkup every sentence carries markup
// characters, a tab and entity references.
VxString MakeText(bool AMarkup) {
  const VxString plain =
      u"Some text with \u00FCmlauts, \u65E5\u672C\u8A9E and plenty of words, numbers like 12,345.67 and "
      u"punctuation; as real element content has it. ";
  const VxString markup = u"Some <b>text</b> with \u00FCmlauts & \"quotes\", a\ttab, 1 < 2 > 0 and 'apostrophes'. ";
  VxString s;
  while (s.size() < (4u << 20)) s += AMarkup ? markup : plain;
  return s;
}

const VxString& Text(bool AMarkup) {
  static const VxString plain = MakeText(false), markup = MakeText(true);
  return AMarkup ? markup : plain;
}

const VxString& Escaped(bool AMarkup) {
  static const VxString plain = VxStrToXML(Text(false), true, true), markup = VxStrToXML(Text(true), true, true);
  return AMarkup ? markup : plain;
}

void Report(benchmark::State& AState, const VxString& AInput) {
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * static_cast<int64_t>(AInput.size() * 2));
}

void BM_CopyLimit(benchmark::State& AState) {
  const VxString& in = Text(false);
  for (auto _ : AState) {
    VxString copy(in);
    benchmark::DoNotOptimize(copy.data());
  }
  Report(AState, in);
}

void BM_StrToXML(benchmark::State& AState) {
  const VxString& in = Text(AState.range(0) != 0);
  for (auto _ : AState) {
    VxString out = VxStrToXML(in, true, true);
    benchmark::DoNotOptimize(out.data());
  }
  Report(AState, in);
}

void BM_XMLToStr(benchmark::State& AState) {
  const VxString& in = Escaped(AState.range(0) != 0);
  for (auto _ : AState) {
    VxString out = VxXMLToStr(in);
    benchmark::DoNotOptimize(out.data());
  }
  Report(AState, in);
}

// Short values, as attribute values and element texts come one by one.
void BM_StrToXMLShortValues(benchmark::State& AState) {
  const VxString values[] = {u"12345", u"sample", u"Some text with \u00FCmlauts", u"a & b", u"2024-02-29T13:45:00"};
  size_t bytes = 0;
  for (const auto& v : values) bytes += v.size() * 2;
  for (auto _ : AState)
    for (const auto& v : values) {
      VxString out = VxStrToXML(v, false, true);
      benchmark::DoNotOptimize(out.data());
    }
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * static_cast<int64_t>(bytes));
}

}  // namespace

BENCHMARK(BM_CopyLimit);
BENCHMARK(BM_StrToXML)->Arg(0)->Arg(1)->ArgNames({"markup"});
BENCHMARK(BM_XMLToStr)->Arg(0)->Arg(1)->ArgNames({"markup"});
BENCHMARK(BM_StrToXMLShortValues);

BENCHMARK_MAIN();
