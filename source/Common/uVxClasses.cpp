// uVxClasses: reference counting, interface lookup and component ownership.
#include "uVxClasses.h"

#include <algorithm>

namespace vx {

VxString VxGUIDToString(const TVxGUID& AGUID) {
  static constexpr char hex[] = "0123456789ABCDEF";
  VxString s = u"{";
  for (int k = 0; k < 32; ++k) {
    uint64_t word = k < 16 ? AGUID.Hi : AGUID.Lo;
    int shift = (15 - (k % 16)) * 4;
    s += static_cast<char16_t>(hex[(word >> shift) & 0xF]);
    if (k == 7 || k == 11 || k == 15 || k == 19) s += u'-';
  }
  s += u'}';
  return s;
}

TVxObject::~TVxObject() = default;

VxString TVxObject::ClassName() const { return VxClassNameOf(typeid(*this)); }

bool TVxObject::QueryInterface(const TVxGUID& AIID, void** AObj) { return GetInterface(AIID, AObj); }

bool TVxObject::GetInterface(const TVxGUID& AIID, void** AObj) {
  if (AIID == IVxInterface::IID) {
    *AObj = static_cast<IVxInterface*>(this);
    ObjAddRef();
    return true;
  }
  *AObj = nullptr;
  return false;
}

int32_t TVxObject::ObjAddRef() { return FRefCount.fetch_add(1, std::memory_order_relaxed) + 1; }

int32_t TVxObject::ObjRelease() {
  int32_t count = FRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (count == 0 && FAutoDestroy) delete this;
  return count;
}

int32_t TVxObjectEx::ObjAddRef() {
  return FController ? FController->_AddRef() : TVxObject::ObjAddRef();
}

int32_t TVxObjectEx::ObjRelease() {
  return FController ? FController->_Release() : TVxObject::ObjRelease();
}

TVxComponent::TVxComponent(TVxComponent* AOwner) {
  SetAutoDestroy(false);
  if (AOwner) AOwner->InsertComponent(this);
}

TVxComponent::~TVxComponent() {
  while (!FComponents.empty()) {
    TVxComponent* last = FComponents.back();
    FComponents.pop_back();
    last->FOwner = nullptr;
    delete last;
  }
  if (FOwner) FOwner->RemoveComponent(this);
}

TVxComponent* TVxComponent::Components(int AIndex) const {
  if (AIndex < 0 || AIndex >= ComponentCount()) throw EListError(VxFormat(cVxListIndexError, AIndex));
  return FComponents[static_cast<size_t>(AIndex)];
}

TVxComponent* TVxComponent::FindComponent(std::u16string_view AName) const {
  if (AName.empty()) return nullptr;
  for (TVxComponent* c : FComponents)
    if (VxSameText(c->FName, AName)) return c;
  return nullptr;
}

void TVxComponent::InsertComponent(TVxComponent* AComponent) {
  if (!AComponent || AComponent->FOwner == this) return;
  if (AComponent->FOwner) AComponent->FOwner->RemoveComponent(AComponent);
  FComponents.push_back(AComponent);
  AComponent->FOwner = this;
}

void TVxComponent::RemoveComponent(TVxComponent* AComponent) {
  auto it = std::find(FComponents.begin(), FComponents.end(), AComponent);
  if (it == FComponents.end()) return;
  FComponents.erase(it);
  AComponent->FOwner = nullptr;
}

}  // namespace vx
