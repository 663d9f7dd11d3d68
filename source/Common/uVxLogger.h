// uVxLogger: named loggers that write timestamped lines to a sink the host can replace.
#pragma once

#include <atomic>
#include <functional>

#include "uVxSysUtils.h"

namespace vx {

/// Severity of a log line.
enum TVxLogLevel : uint8_t { llTrace, llDebug, llInfo, llWarning, llError, llOff };

/// Receives every line written (without a line break). The default writes to stderr.
using TVxLogSink = std::function<void(const VxString& ALine)>;

/// A named logger. Lines below its level are dropped. Safe to use from several threads.
class TVxLogger {
 public:
  explicit TVxLogger(std::u16string_view AName) : FName(AName) {}
  const VxString& Name() const noexcept { return FName; }
  TVxLogLevel Level() const noexcept;
  void SetLevel(TVxLogLevel ALevel) noexcept;
  /// True when a line of ALevel would be written.
  bool Enabled(TVxLogLevel ALevel) const noexcept { return ALevel >= Level() && ALevel != llOff; }
  /// Writes "2026-11-23T02:08:50.123Z [Name] LEVEL: message" to the sink.
  void Log(TVxLogLevel ALevel, const VxString& AMessage);
  void Trace(const VxString& AMessage) { Log(llTrace, AMessage); }
  void Debug(const VxString& AMessage) { Log(llDebug, AMessage); }
  void Info(const VxString& AMessage) { Log(llInfo, AMessage); }
  void Warning(const VxString& AMessage) { Log(llWarning, AMessage); }
  void Error(const VxString& AMessage) { Log(llError, AMessage); }

 private:
  VxString FName;
  std::atomic<uint8_t> FLevel{llInfo};
};

/// The logger of that name ("XPath", ...), created on first use with level llInfo; it lives
/// until the program ends.
TVxLogger& VxLogger(std::u16string_view AName);
/// Replaces the sink of all loggers; an empty function restores stderr.
void VxSetLogSink(TVxLogSink ASink);

}  // namespace vx
