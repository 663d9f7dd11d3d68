// What every README fragment may use: the library's headers, the illustration classes the
// README names in comments, and the check behind "// literal" comments (check_readme.py).
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "uVxClasses.h"
#include "uVxDateUtils.h"
#include "uVxEncoding.h"
#include "uVxLogger.h"
#include "uVxSAX.h"
#include "uVxStreams.h"
#include "uVxTextParser.h"
#include "uVxUnicode.h"
#include "uVxVariants.h"
#include "uVxXMLDOM.h"
#include "uVxJSON.h"
#include "uVxXPath.h"
#include "uVxXMLUtils.h"

// The interfaces and class of the README's reference-counting example.
class IMyShape : public vx::IVxInterface {
 public:
  using Inherited = vx::IVxInterface;
  static constexpr vx::TVxGUID IID = vx::VxGUID("5E1D2C30-0001-4000-8000-0000000000A1");
  virtual int Side() = 0;
};
class IMyNamed : public vx::IVxInterface {
 public:
  using Inherited = vx::IVxInterface;
  static constexpr vx::TVxGUID IID = vx::VxGUID("5E1D2C30-0001-4000-8000-0000000000A2");
  virtual vx::VxString Name() = 0;
};
class TMyShape : public vx::TVxImplements<vx::TVxObject, IMyShape> {
 public:
  explicit TMyShape(int ASide) : FSide(ASide) {}
  int Side() override { return FSide; }

 private:
  int FSide;
};

inline int gReadmeFailures = 0;

inline std::string ReadmeShow(const std::u16string& AValue) { return "u\"" + vx::VxUTF16ToUTF8(AValue) + "\""; }
template <class T>
std::string ReadmeShow(const T& AValue) {
  if constexpr (std::is_arithmetic_v<T>)
    return std::to_string(AValue);
  else
    return "(value)";
}

// Reports a README value claim that does not hold.
template <class T>
void vx_readme_check(bool AHolds, int ALine, const T& AActual, const char* AClaimed) {
  if (AHolds) return;
  std::fprintf(stderr, "README.md:%d: the comment says %s, the code gives %s\n", ALine, AClaimed,
               ReadmeShow(AActual).c_str());
  ++gReadmeFailures;
}

// Runs one fragment; an exception or a failed check counts as a failure.
inline int vx_readme_run(void (*AFragment)(), int ALine) {
  const int before = gReadmeFailures;
  try {
    AFragment();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "README.md:%d: the fragment raised: %s\n", ALine, e.what());
    return 1;
  }
  return gReadmeFailures != before ? 1 : 0;
}
