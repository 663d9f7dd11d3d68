// Test helper: runs code under a locale whose decimal separator is a comma (German), compiling
// the locale with localedef into a scratch directory when the system has none installed.
#pragma once

#include <clocale>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace vx::test {

/// Switches LC_ALL to de_DE.UTF-8 (or another comma-decimal locale) while it lives and restores
/// the previous locale afterwards. Ok() tells whether a comma locale could be set; Reason() says
/// why not.
class TCommaLocale {
 public:
  TCommaLocale() {
    if (const char* cur = std::setlocale(LC_ALL, nullptr)) FSaved = cur;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"})
      if (TrySet(name)) return;
    // None installed: compile one (glibc reads compiled locales from LOCPATH).
    static const std::string dir = Compile();
    if (dir.empty()) {
      FReason = "localedef could not compile de_DE.UTF-8";
      return;
    }
    setenv("LOCPATH", dir.c_str(), 1);
    if (!TrySet("de_DE.UTF-8")) FReason = "the compiled de_DE.UTF-8 locale could not be selected";
  }
  ~TCommaLocale() { std::setlocale(LC_ALL, FSaved.c_str()); }
  TCommaLocale(const TCommaLocale&) = delete;
  TCommaLocale& operator=(const TCommaLocale&) = delete;

  bool Ok() const { return FOk; }
  const std::string& Reason() const { return FReason; }

 private:
  bool TrySet(const char* AName) {
    if (!std::setlocale(LC_ALL, AName)) return false;
    FOk = std::localeconv()->decimal_point[0] == ',';
    return FOk;
  }
  // Compiles de_DE.UTF-8 into a directory of this process, removed when the process ends.
  static std::string Compile() {
    struct TScratch {
      std::string Dir = "/tmp/vx-test-locales-" + std::to_string(getpid());
      ~TScratch() { (void)std::system(("rm -rf " + Dir).c_str()); }
    };
    static TScratch scratch;
    std::string cmd = "mkdir -p " + scratch.Dir + " && localedef -i de_DE -f UTF-8 " + scratch.Dir +
                      "/de_DE.UTF-8 >/dev/null 2>&1";
    if (std::system(cmd.c_str()) != 0) return {};
    return scratch.Dir;
  }
  std::string FSaved = "C";
  std::string FReason;
  bool FOk = false;
};

}  // namespace vx::test
