// uVxLogger: logger registry and the shared sink.
#include "uVxLogger.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <mutex>

#include "uVxDateUtils.h"

namespace vx {

namespace {

struct TLogState {
  std::mutex Lock;
  TVxLogSink Sink;
  std::deque<TVxLogger> Loggers;  // stable addresses
};

// Never destroyed: loggers promise to live until the program ends, so a static destructor
// (of the host or of another library) may still log after this library's statics are gone.
TLogState& State() {
  static TLogState* s = new TLogState;
  return *s;
}

const char16_t* LevelName(TVxLogLevel ALevel) {
  static const char16_t* const names[] = {u"TRACE", u"DEBUG", u"INFO", u"WARNING", u"ERROR", u"OFF"};
  return names[ALevel <= llOff ? ALevel : llOff];
}

}  // namespace

TVxLogLevel TVxLogger::Level() const noexcept { return static_cast<TVxLogLevel>(FLevel.load(std::memory_order_relaxed)); }

void TVxLogger::SetLevel(TVxLogLevel ALevel) noexcept { FLevel.store(ALevel, std::memory_order_relaxed); }

void TVxLogger::Log(TVxLogLevel ALevel, const VxString& AMessage) {
  if (!Enabled(ALevel)) return;
  using namespace std::chrono;
  auto ms = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  TDateTime now = cVxUnixEpoch + static_cast<double>(ms) / 86400000.0;
  VxString line = VxDateTimeToISO(now);
  if (ms % 1000 == 0) line += u".000";
  line += u"Z [" + FName + u"] " + LevelName(ALevel) + u": " + AMessage;
  TLogState& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  if (s.Sink) {
    s.Sink(line);
  } else {
    std::string utf8 = VxUTF16ToUTF8(line);
    std::fprintf(stderr, "%s\n", utf8.c_str());
  }
}

TVxLogger& VxLogger(std::u16string_view AName) {
  TLogState& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  for (auto& logger : s.Loggers)
    if (logger.Name() == AName) return logger;
  return s.Loggers.emplace_back(AName);
}

void VxSetLogSink(TVxLogSink ASink) {
  TLogState& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  s.Sink = std::move(ASink);
}

}  // namespace vx
