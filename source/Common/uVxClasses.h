// uVxClasses: reference-counted objects and interfaces, interface references, components with
// owners, sets of enumeration values and class references.
#pragma once

#include <atomic>
#include <bit>
#include <cassert>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

#include "uVxSysUtils.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Interface identifiers
// ---------------------------------------------------------------------------------------------

/// A 128-bit interface identifier.
struct TVxGUID {
  uint64_t Hi = 0;
  uint64_t Lo = 0;
  constexpr bool operator==(const TVxGUID&) const = default;
};

namespace detail {
constexpr uint64_t HexDigit(char c) {
  return (c >= '0' && c <= '9')   ? uint64_t(c - '0')
         : (c >= 'a' && c <= 'f') ? uint64_t(c - 'a' + 10)
         : (c >= 'A' && c <= 'F') ? uint64_t(c - 'A' + 10)
                                  : throw "invalid hexadecimal digit in GUID";
}
}  // namespace detail

/// Parses "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" (braces optional) at compile time.
consteval TVxGUID VxGUID(const char* AText) {
  TVxGUID g;
  int digits = 0;
  for (const char* p = AText; *p; ++p) {
    if (*p == '-' || *p == '{' || *p == '}') continue;
    uint64_t d = detail::HexDigit(*p);
    if (digits < 16)
      g.Hi = (g.Hi << 4) | d;
    else
      g.Lo = (g.Lo << 4) | d;
    ++digits;
  }
  if (digits != 32) throw "a GUID has 32 hexadecimal digits";
  return g;
}

/// The registry form of an identifier: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
VxString VxGUIDToString(const TVxGUID& AGUID);

// ---------------------------------------------------------------------------------------------
// Interfaces
// ---------------------------------------------------------------------------------------------

/// Root of all interfaces: query, add a reference, release a reference. Every interface
/// declares `static constexpr TVxGUID IID` and `using Inherited = <its parent interface>`.
class IVxInterface {
 public:
  using Inherited = void;
  static constexpr TVxGUID IID = VxGUID("00000000-0000-0000-C000-000000000046");

  /// Stores in AObj a referenced pointer to the interface AIID and answers true, or answers
  /// false and stores nullptr.
  virtual bool QueryInterface(const TVxGUID& AIID, void** AObj) = 0;
  /// Adds a reference; answers the new count.
  virtual int32_t _AddRef() = 0;
  /// Releases a reference; answers the new count (the object may be gone at 0).
  virtual int32_t _Release() = 0;

 protected:
  ~IVxInterface() = default;
};

/// True when AIID names the interface I or one of the interfaces I derives from.
template <class I>
constexpr bool VxInterfaceMatches(const TVxGUID& AIID) {
  if (AIID == I::IID) return true;
  if constexpr (!std::is_void_v<typename I::Inherited>)
    return VxInterfaceMatches<typename I::Inherited>(AIID);
  return false;
}

/// Smart interface reference: copying adds a reference, destruction releases it.
template <class I>
class TVxIntf {
 public:
  TVxIntf() noexcept = default;
  TVxIntf(std::nullptr_t) noexcept {}
  /// Takes a new reference to AIntf. Explicit, so a raw pointer (say, the address of an object
  /// on the stack) never slips into a counted slot unnoticed; create objects with VxMake.
  explicit TVxIntf(I* AIntf) noexcept : FPtr(AIntf) {
    if (FPtr) FPtr->_AddRef();
  }
  TVxIntf(const TVxIntf& AOther) noexcept : TVxIntf(AOther.FPtr) {}
  TVxIntf(TVxIntf&& AOther) noexcept : FPtr(std::exchange(AOther.FPtr, nullptr)) {}
  /// Converts from a reference to a derived interface.
  template <class J, std::enable_if_t<std::is_convertible_v<J*, I*>, int> = 0>
  TVxIntf(const TVxIntf<J>& AOther) noexcept : TVxIntf(static_cast<I*>(AOther.Get())) {}
  ~TVxIntf() { Reset(); }

  TVxIntf& operator=(const TVxIntf& AOther) noexcept {
    TVxIntf(AOther).Swap(*this);
    return *this;
  }
  TVxIntf& operator=(TVxIntf&& AOther) noexcept {
    TVxIntf(std::move(AOther)).Swap(*this);
    return *this;
  }
  TVxIntf& operator=(std::nullptr_t) noexcept {
    Reset();
    return *this;
  }

  /// Wraps a pointer that already carries a reference (as QueryInterface hands out).
  static TVxIntf Adopt(I* AIntf) noexcept {
    TVxIntf r;
    r.FPtr = AIntf;
    return r;
  }
  /// Releases the reference held.
  void Reset() noexcept {
    if (I* p = std::exchange(FPtr, nullptr)) p->_Release();
  }
  /// Gives up the reference without releasing it.
  I* Detach() noexcept { return std::exchange(FPtr, nullptr); }
  void Swap(TVxIntf& AOther) noexcept { std::swap(FPtr, AOther.FPtr); }

  I* Get() const noexcept { return FPtr; }
  I* operator->() const noexcept { return FPtr; }
  I& operator*() const noexcept { return *FPtr; }
  explicit operator bool() const noexcept { return FPtr != nullptr; }
  template <class J>
  bool operator==(const TVxIntf<J>& AOther) const noexcept {
    return FPtr == AOther.Get();
  }
  bool operator==(std::nullptr_t) const noexcept { return FPtr == nullptr; }

 private:
  I* FPtr = nullptr;
};

/// Classes whose owner frees them (readers, components) declare
/// `static constexpr bool cVxOwnerFreed = true;`: VxMake refuses them at compile time, since the
/// last reference would not free them.
template <class T>
concept VxOwnerFreed = requires { requires T::cVxOwnerFreed; };

/// Creates a reference-counted object of class T on the heap and answers the first reference
/// to it, in the manner of std::make_shared: the object lives until the last reference goes.
/// T must delete itself at count 0 (TVxObject's default); objects whose owner frees them
/// (readers, components, tree nodes) are not made this way and do not compile here.
template <class T, class... TArgs>
  requires(!VxOwnerFreed<T>)
TVxIntf<T> VxMake(TArgs&&... AArgs) {
  return TVxIntf<T>(new T(std::forward<TArgs>(AArgs)...));
}

/// Queries AIntf for the interface J; an empty reference when it is not supported.
template <class J, class I>
TVxIntf<J> VxSupports(I* AIntf) {
  void* obj = nullptr;
  if (AIntf && AIntf->QueryInterface(J::IID, &obj)) return TVxIntf<J>::Adopt(static_cast<J*>(obj));
  return {};
}
/// Queries an interface reference for the interface J.
template <class J, class I>
TVxIntf<J> VxSupports(const TVxIntf<I>& AIntf) {
  return VxSupports<J>(AIntf.Get());
}

// ---------------------------------------------------------------------------------------------
// Objects
// ---------------------------------------------------------------------------------------------

/// Reference-counted object base. The count starts at 0; when the last interface reference is
/// released and the auto-destroy switch is on (the default), the object deletes itself. Objects
/// owned by a parent or an owner switch it off and are deleted by their owner.
class TVxObject : public IVxInterface {
 public:
  using Inherited = void;

  TVxObject() = default;
  TVxObject(const TVxObject&) = delete;
  TVxObject& operator=(const TVxObject&) = delete;
  virtual ~TVxObject();

  /// The class's own name, for messages ("TVxObject").
  virtual VxString ClassName() const;

  bool QueryInterface(const TVxGUID& AIID, void** AObj) override;
  int32_t _AddRef() override { return ObjAddRef(); }
  int32_t _Release() override { return ObjRelease(); }

  /// Number of interface references held.
  int32_t RefCount() const noexcept { return FRefCount.load(std::memory_order_relaxed); }
  /// Whether the object deletes itself when its last reference goes.
  bool AutoDestroy() const noexcept { return FAutoDestroy; }
  /// Switches self-deletion on or off.
  void SetAutoDestroy(bool AValue) noexcept { FAutoDestroy = AValue; }

  /// Queries this object for the interface J.
  template <class J>
  TVxIntf<J> As() {
    void* obj = nullptr;
    if (GetInterface(J::IID, &obj)) return TVxIntf<J>::Adopt(static_cast<J*>(obj));
    return {};
  }

 protected:
  /// Looks up an interface the object implements; derived classes extend the search.
  virtual bool GetInterface(const TVxGUID& AIID, void** AObj);
  /// Reference counting behind _AddRef and _Release.
  virtual int32_t ObjAddRef();
  virtual int32_t ObjRelease();

  template <class B, class... I>
  friend class TVxImplements;

 private:
  std::atomic<int32_t> FRefCount{0};
  bool FAutoDestroy = true;
};

/// An object whose reference counting can be delegated to a controlling object: while a
/// controller is set, _AddRef and _Release go to the controller, so a reference to the part
/// keeps the whole alive (companion objects use this).
class TVxObjectEx : public TVxObject {
 public:
  using Inherited = TVxObject;
  explicit TVxObjectEx(IVxInterface* AController = nullptr) : FController(AController) {}
  /// The controlling object, or nullptr.
  IVxInterface* Controller() const noexcept { return FController; }
  /// Sets or clears the controlling object.
  void SetController(IVxInterface* AController) noexcept { FController = AController; }

 protected:
  int32_t ObjAddRef() override;
  int32_t ObjRelease() override;

 private:
  IVxInterface* FController;
};

/// Adds the interfaces I... to the object class TBase: QueryInterface answers them (and the
/// interfaces they derive from), then whatever TBase answers.
template <class TBase, class... TIntfs>
class TVxImplements : public TBase, public TIntfs... {
 public:
  using TBase::TBase;
  bool QueryInterface(const TVxGUID& AIID, void** AObj) override {
    return this->GetInterface(AIID, AObj);
  }
  int32_t _AddRef() override { return this->ObjAddRef(); }
  int32_t _Release() override { return this->ObjRelease(); }

 protected:
  bool GetInterface(const TVxGUID& AIID, void** AObj) override {
    if ((TryInterface<TIntfs>(AIID, AObj) || ...)) return true;
    return TBase::GetInterface(AIID, AObj);
  }

 private:
  template <class I>
  bool TryInterface(const TVxGUID& AIID, void** AObj) {
    if (!VxInterfaceMatches<I>(AIID) || AIID == IVxInterface::IID) return false;
    *AObj = CastTo<I>(static_cast<I*>(this), AIID);
    this->ObjAddRef();
    return true;
  }
  // The pointer of the matched interface in I's chain, so the caller can cast void* back.
  template <class I>
  static void* CastTo(I* AIntf, const TVxGUID& AIID) {
    if (AIID == I::IID) return AIntf;
    if constexpr (!std::is_void_v<typename I::Inherited>)
      return CastTo<typename I::Inherited>(AIntf, AIID);
    return AIntf;
  }
};

// ---------------------------------------------------------------------------------------------
// Components
// ---------------------------------------------------------------------------------------------

/// An object with an owner: an owner deletes the components it owns when it is deleted.
class TVxComponent : public TVxObject {
 public:
  using Inherited = TVxObject;
  static constexpr bool cVxOwnerFreed = true;
  /// Creates the component and hands it to AOwner (which may be nullptr).
  explicit TVxComponent(TVxComponent* AOwner = nullptr);
  /// Deletes the owned components (newest first) and leaves the owner.
  ~TVxComponent() override;

  TVxComponent* Owner() const noexcept { return FOwner; }
  /// Number of owned components.
  int ComponentCount() const noexcept { return static_cast<int>(FComponents.size()); }
  /// The owned component at AIndex; raises EListError outside 0 .. ComponentCount - 1.
  TVxComponent* Components(int AIndex) const;
  /// The component's name.
  const VxString& Name() const noexcept { return FName; }
  void SetName(VxString AName) { FName = std::move(AName); }
  /// The owned component with that name (ASCII case-insensitive), or nullptr.
  TVxComponent* FindComponent(std::u16string_view AName) const;
  /// Takes ownership of AComponent (leaving its previous owner).
  void InsertComponent(TVxComponent* AComponent);
  /// Gives up ownership of AComponent without deleting it.
  void RemoveComponent(TVxComponent* AComponent);

 private:
  TVxComponent* FOwner = nullptr;
  std::vector<TVxComponent*> FComponents;
  VxString FName;
};

// ---------------------------------------------------------------------------------------------
// Sets
// ---------------------------------------------------------------------------------------------

/// A set of values of an unscoped enumeration with ordinals 0 to 63; the bit value of each
/// member is 1 << ordinal, so Bits() matches the stored form of the same set elsewhere.
template <class E>
class TVxSet {
  static_assert(std::is_enum_v<E>, "TVxSet holds enumeration values");

 public:
  constexpr TVxSet() noexcept = default;
  constexpr TVxSet(std::initializer_list<E> AMembers) noexcept {
    for (E e : AMembers) FBits |= Bit(e);
  }
  /// The set with the given bit value.
  static constexpr TVxSet FromBits(uint64_t ABits) noexcept {
    TVxSet s;
    s.FBits = ABits;
    return s;
  }
  /// The bit value of a member.
  static constexpr uint64_t Bit(E AMember) noexcept {
    auto ordinal = static_cast<uint64_t>(AMember);
    assert(ordinal < 64);
    return uint64_t(1) << (ordinal & 63);
  }

  constexpr bool Contains(E AMember) const noexcept { return (FBits & Bit(AMember)) != 0; }
  constexpr bool Empty() const noexcept { return FBits == 0; }
  constexpr uint64_t Bits() const noexcept { return FBits; }
  constexpr int Count() const noexcept { return std::popcount(FBits); }
  constexpr TVxSet& Include(E AMember) noexcept {
    FBits |= Bit(AMember);
    return *this;
  }
  constexpr TVxSet& Exclude(E AMember) noexcept {
    FBits &= ~Bit(AMember);
    return *this;
  }

  /// Union.
  friend constexpr TVxSet operator+(TVxSet A, TVxSet B) noexcept { return FromBits(A.FBits | B.FBits); }
  /// Difference.
  friend constexpr TVxSet operator-(TVxSet A, TVxSet B) noexcept { return FromBits(A.FBits & ~B.FBits); }
  /// Intersection.
  friend constexpr TVxSet operator*(TVxSet A, TVxSet B) noexcept { return FromBits(A.FBits & B.FBits); }
  friend constexpr TVxSet operator+(TVxSet A, E B) noexcept { return A + TVxSet{B}; }
  friend constexpr TVxSet operator-(TVxSet A, E B) noexcept { return A - TVxSet{B}; }
  /// True when every member of A is in B.
  friend constexpr bool operator<=(TVxSet A, TVxSet B) noexcept { return (A.FBits & ~B.FBits) == 0; }
  constexpr bool operator==(const TVxSet&) const noexcept = default;

 private:
  uint64_t FBits = 0;
};

// ---------------------------------------------------------------------------------------------
// Class references
// ---------------------------------------------------------------------------------------------

/// Run-time description of a class: its name and the description of its parent class.
class TVxMetaClass {
 public:
  TVxMetaClass(VxString AName, const TVxMetaClass* AParent)
      : FName(std::move(AName)), FParent(AParent) {}
  const VxString& ClassName() const noexcept { return FName; }
  const TVxMetaClass* ClassParent() const noexcept { return FParent; }
  /// True when this class is AClass or derives from it.
  bool InheritsFrom(const TVxMetaClass* AClass) const noexcept {
    for (const TVxMetaClass* c = this; c; c = c->FParent)
      if (c == AClass) return true;
    return false;
  }

 private:
  VxString FName;
  const TVxMetaClass* FParent;
};

/// The description of class T; its parent is T::Inherited (declare it in each class that
/// serves as a class reference).
template <class T>
const TVxMetaClass* VxMetaClassOf() {
  static const TVxMetaClass meta = [] {
    const TVxMetaClass* parent = nullptr;
    if constexpr (requires { typename T::Inherited; }) {
      using P = typename T::Inherited;
      if constexpr (!std::is_void_v<P> && !std::is_same_v<P, T> && std::is_base_of_v<P, T>)
        parent = VxMetaClassOf<P>();
    }
    return TVxMetaClass(VxClassNameOf(typeid(T)), parent);
  }();
  return &meta;
}

/// A class reference ("class of TBase"): names a class derived from TBase and creates
/// instances of it from the constructor arguments TArgs.
/// Creates an instance of T for a class reference: `new T(args)`, or, for a class that places
/// its instances by its first constructor argument (it declares
/// `static constexpr bool VxPlacedByFirstArgument = true`), `new (first) T(first, rest)`.
template <class T, class... TArgs>
T* VxNewInstance(TArgs... AArgs) {
  if constexpr (requires { requires T::VxPlacedByFirstArgument; }) {
    return [](auto AFirst, auto... ARest) { return new (AFirst) T(AFirst, ARest...); }(AArgs...);
  } else {
    return new T(AArgs...);
  }
}

template <class TBase, class... TArgs>
class TVxClassRef {
 public:
  constexpr TVxClassRef() noexcept = default;
  /// The reference to class T.
  template <class T>
  static TVxClassRef Of() {
    static_assert(std::is_base_of_v<TBase, T>, "T must derive from the reference's base class");
    return TVxClassRef(VxMetaClassOf<T>(), [](TArgs... AArgs) -> TBase* { return VxNewInstance<T>(AArgs...); });
  }
  /// Creates an instance of the referenced class.
  TBase* Create(TArgs... AArgs) const { return FCreate(std::forward<TArgs>(AArgs)...); }
  const TVxMetaClass* MetaClass() const noexcept { return FMeta; }
  const VxString& ClassName() const { return FMeta->ClassName(); }
  /// True when the referenced class is AClass or derives from it.
  template <class T>
  bool InheritsFrom() const {
    return FMeta && FMeta->InheritsFrom(VxMetaClassOf<T>());
  }
  explicit operator bool() const noexcept { return FMeta != nullptr; }
  bool operator==(const TVxClassRef& AOther) const noexcept { return FMeta == AOther.FMeta; }

 private:
  TVxClassRef(const TVxMetaClass* AMeta, TBase* (*ACreate)(TArgs...)) : FMeta(AMeta), FCreate(ACreate) {}
  const TVxMetaClass* FMeta = nullptr;
  TBase* (*FCreate)(TArgs...) = nullptr;
};

}  // namespace vx
