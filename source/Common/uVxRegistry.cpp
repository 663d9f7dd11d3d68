// uVxRegistry: vendor list and document hooks, guarded for use from several threads.
#include "uVxRegistry.h"

#include <algorithm>
#include <mutex>

namespace vx {

namespace {
struct TRegistryState {
  std::mutex Lock;
  std::vector<TVxDOMVendor*> Vendors;
  TVxDocumentHooks Hooks;
};
TRegistryState& State() {
  static TRegistryState s;
  return s;
}
}  // namespace

void VxRegisterDOMVendor(TVxDOMVendor* AVendor) {
  if (!AVendor) return;
  auto& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  if (std::find(s.Vendors.begin(), s.Vendors.end(), AVendor) == s.Vendors.end()) s.Vendors.push_back(AVendor);
}

void VxUnRegisterDOMVendor(TVxDOMVendor* AVendor) {
  auto& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  s.Vendors.erase(std::remove(s.Vendors.begin(), s.Vendors.end(), AVendor), s.Vendors.end());
}

TVxDOMVendor* VxFindDOMVendor(std::u16string_view AName) {
  auto& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  for (TVxDOMVendor* v : s.Vendors)
    if (VxSameText(v->Description(), AName)) return v;
  return nullptr;
}

TVxDOMVendor* VxGetDOMVendor(std::u16string_view AName) {
  if (TVxDOMVendor* v = VxFindDOMVendor(AName)) return v;
  throw EVxException(VxFormat(cVxNoMatchingDOMVendor, AName));
}

std::vector<TVxDOMVendor*> VxDOMVendors() {
  auto& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  return s.Vendors;
}

void VxSetDocumentHooks(TVxDocumentHooks AHooks) {
  auto& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  s.Hooks = std::move(AHooks);
}

void VxClearDocumentHooks() { VxSetDocumentHooks({}); }

TVxDocumentHooks VxDocumentHooks() {
  auto& s = State();
  std::lock_guard<std::mutex> guard(s.Lock);
  return s.Hooks;
}

}  // namespace vx
