// Test helper: sets the TZ environment variable for the life of an object.
#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

namespace vx::test {

/// Sets TZ (a zone name or a POSIX rule such as "CET-1CEST,M3.5.0,M10.5.0/3") and restores the
/// previous value when destroyed.
class TZoneGuard {
 public:
  explicit TZoneGuard(const char* AZone) {
    const char* saved = std::getenv("TZ");
    FHad = saved != nullptr;
    if (FHad) FSaved = saved;
    setenv("TZ", AZone, 1);
    tzset();
  }
  ~TZoneGuard() {
    if (FHad)
      setenv("TZ", FSaved.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }
  TZoneGuard(const TZoneGuard&) = delete;
  TZoneGuard& operator=(const TZoneGuard&) = delete;

 private:
  bool FHad = false;
  std::string FSaved;
};

}  // namespace vx::test
