// Reference counting, interface queries, components, sets and class references.
#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

#include "uVxClasses.h"

using namespace vx;

namespace {

class IShape : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("{6A2C1E40-0001-4F00-9000-00000000A001}");
  virtual int Area() = 0;
};

class ISquare : public IShape {
 public:
  using Inherited = IShape;
  static constexpr TVxGUID IID = VxGUID("6A2C1E40-0001-4F00-9000-00000000A002");
  virtual int Side() = 0;
};

class INamed : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("6A2C1E40-0001-4F00-9000-00000000A003");
  virtual VxString GetName() = 0;
};

class IUnused : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("6A2C1E40-0001-4F00-9000-00000000A004");
};

int gDestroyed = 0;

class TSquare : public TVxImplements<TVxObject, ISquare, INamed> {
 public:
  using Inherited = TVxObject;
  explicit TSquare(int ASide = 3) : FSide(ASide) {}
  ~TSquare() override { ++gDestroyed; }
  int Area() override { return FSide * FSide; }
  int Side() override { return FSide; }
  VxString GetName() override { return ClassName(); }

 private:
  int FSide;
};

class TBigSquare : public TSquare {
 public:
  using Inherited = TSquare;
  TBigSquare() : TSquare(10) {}
};

}  // namespace

// A raw pointer never turns into a counted reference by itself: an object on the stack cannot be
// handed to a counted slot by accident. VxMake creates and answers the first reference.
static_assert(!std::is_convertible_v<IShape*, TVxIntf<IShape>>);
static_assert(std::is_constructible_v<TVxIntf<IShape>, IShape*>);
static_assert(std::is_convertible_v<TVxIntf<TSquare>, TVxIntf<IShape>>);

TEST(Interfaces, VxMakeAnswersTheOnlyReference) {
  gDestroyed = 0;
  {
    TVxIntf<TSquare> made = VxMake<TSquare>(4);
    EXPECT_EQ(made->RefCount(), 1);
    TVxIntf<IShape> shape = made;  // derived class to interface: another reference
    EXPECT_EQ(shape->Area(), 16);
    EXPECT_EQ(made->RefCount(), 2);
  }
  EXPECT_EQ(gDestroyed, 1);
}

TEST(Interfaces, LastReleaseDestroysTheObject) {
  gDestroyed = 0;
  {
    TVxIntf<ISquare> sq(new TSquare);
    EXPECT_EQ(sq->Area(), 9);
    TVxIntf<IShape> shape = sq;  // derived to base: another reference
    TVxIntf<INamed> named = VxSupports<INamed>(shape);
    ASSERT_TRUE(named);
    EXPECT_EQ(named->GetName(), u"TSquare");
    EXPECT_FALSE(VxSupports<IUnused>(sq));
    EXPECT_EQ(gDestroyed, 0);
  }
  EXPECT_EQ(gDestroyed, 1);
}

TEST(Interfaces, QueryAnswersTheWholeInterfaceChain) {
  auto* obj = new TSquare(4);
  TVxIntf<INamed> named(obj);
  TVxIntf<IShape> shape = VxSupports<IShape>(named);  // IShape is a parent of ISquare
  ASSERT_TRUE(shape);
  EXPECT_EQ(shape->Area(), 16);
  // Every route to IVxInterface gives the same pointer: the object's identity.
  auto a = VxSupports<IVxInterface>(shape);
  auto b = VxSupports<IVxInterface>(named);
  EXPECT_TRUE(a == b);
  EXPECT_EQ(obj->RefCount(), 4);
  void* none = reinterpret_cast<void*>(1);
  EXPECT_FALSE(obj->QueryInterface(IUnused::IID, &none));
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(VxGUIDToString(IShape::IID), u"{6A2C1E40-0001-4F00-9000-00000000A001}");
}

TEST(Interfaces, AutoDestroyOffLeavesTheOwnerInCharge) {
  gDestroyed = 0;
  auto* obj = new TSquare;
  obj->SetAutoDestroy(false);
  { TVxIntf<IShape> ref(obj); }
  EXPECT_EQ(gDestroyed, 0);
  EXPECT_EQ(obj->RefCount(), 0);
  delete obj;
  EXPECT_EQ(gDestroyed, 1);
}

TEST(Interfaces, CountingIsSafeAcrossThreads) {
  gDestroyed = 0;
  TVxIntf<IShape> shared(new TSquare);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int k = 0; k < 20000; ++k) TVxIntf<IShape> copy = shared;
    });
  for (auto& t : threads) t.join();
  shared = nullptr;
  EXPECT_EQ(gDestroyed, 1);
}

TEST(Interfaces, ObjectExForwardsCountingToItsController) {
  gDestroyed = 0;
  TVxIntf<IShape> whole(new TSquare);
  auto* part = new TVxObjectEx(whole.Get());
  {
    TVxIntf<IVxInterface> ref(part);
    EXPECT_EQ(VxSupports<IVxInterface>(whole).Get()->_AddRef(), 4);  // 1 + ref + query + this
    whole->_Release();
  }
  part->SetController(nullptr);
  delete part;
  whole = nullptr;
  EXPECT_EQ(gDestroyed, 1);
}

TEST(Components, OwnerDeletesWhatItOwns) {
  auto* root = new TVxComponent(nullptr);
  auto* a = new TVxComponent(root);
  auto* b = new TVxComponent(root);
  auto* grandChild = new TVxComponent(a);
  a->SetName(u"Alpha");
  EXPECT_EQ(root->ComponentCount(), 2);
  EXPECT_EQ(root->FindComponent(u"ALPHA"), a);
  EXPECT_EQ(root->FindComponent(u"none"), nullptr);
  EXPECT_EQ(grandChild->Owner(), a);
  delete b;  // leaves its owner
  EXPECT_EQ(root->ComponentCount(), 1);
  EXPECT_THROW(root->Components(1), EListError);
  b = new TVxComponent(nullptr);
  root->InsertComponent(b);
  root->InsertComponent(grandChild);  // moves from a to root
  EXPECT_EQ(a->ComponentCount(), 0);
  EXPECT_EQ(root->Components(2), grandChild);
  delete root;  // ASan reports anything left behind or freed twice
}

namespace {
enum TColour : uint8_t { clRed, clGreen, clBlue, clLast = 63 };
}

TEST(Sets, BitValuesAndOperators) {
  TVxSet<TColour> s{clRed, clBlue};
  EXPECT_EQ(s.Bits(), 0b101u);
  EXPECT_TRUE(s.Contains(clBlue));
  EXPECT_FALSE(s.Contains(clGreen));
  EXPECT_EQ((s + clGreen).Bits(), 0b111u);
  EXPECT_EQ((s - clRed).Bits(), 0b100u);
  EXPECT_EQ((s * TVxSet<TColour>{clBlue, clGreen}), TVxSet<TColour>{clBlue});
  EXPECT_TRUE(TVxSet<TColour>{clRed} <= s);
  EXPECT_EQ(TVxSet<TColour>{clLast}.Bits(), uint64_t(1) << 63);
  EXPECT_EQ(s.Count(), 2);
  EXPECT_TRUE(TVxSet<TColour>().Empty());
  static_assert(TVxSet<TColour>{clGreen}.Bits() == 2);
}

TEST(ClassReferences, CreateByReferenceAndWalkTheParents) {
  using TSquareClass = TVxClassRef<TSquare>;
  TSquareClass ref = TSquareClass::Of<TBigSquare>();
  EXPECT_EQ(ref.ClassName(), u"TBigSquare");
  EXPECT_EQ(ref.MetaClass()->ClassParent()->ClassName(), u"TSquare");
  EXPECT_EQ(ref.MetaClass()->ClassParent()->ClassParent()->ClassName(), u"TVxObject");
  EXPECT_TRUE(ref.InheritsFrom<TSquare>());
  EXPECT_TRUE(ref.InheritsFrom<TVxObject>());
  EXPECT_FALSE(TSquareClass::Of<TSquare>().InheritsFrom<TBigSquare>());
  TVxIntf<IShape> made(ref.Create());
  EXPECT_EQ(made->Area(), 100);
  EXPECT_TRUE(TSquareClass::Of<TBigSquare>() == ref);
}

// Objects whose owner frees them cannot be handed to a counted slot by VxMake: the last
// reference would not free them.
template <class T>
concept VxMakeable = requires { vx::VxMake<T>(); };
static_assert(!VxMakeable<vx::TVxComponent>);
