// The type registry, the logger, the DOM vendor registry and the document hooks.
#include <gtest/gtest.h>

#include <mutex>
#include <thread>

#include "uVxLogger.h"
#include "uVxRegistry.h"
#include "uVxTypeInfo.h"

using namespace vx;

TEST(TypeRegistry, BuiltInsByTypeAndByName) {
  ASSERT_NE(VxTypeInfo<int32_t>(), nullptr);
  EXPECT_EQ(VxTypeInfo<int32_t>()->Name, u"Integer");
  EXPECT_EQ(VxTypeInfo<uint32_t>()->SchemaDataType, sdtUnsignedInt);
  EXPECT_EQ(VxTypeInfo<uint64_t>()->Kind, tkInt64);
  EXPECT_EQ(VxTypeInfo<bool>()->SchemaName, u"boolean");
  EXPECT_EQ(VxFindTypeInfo(u"longword"), VxTypeInfo<uint32_t>());  // alias, case ignored
  EXPECT_EQ(VxFindTypeInfo(u"TDateTime")->SchemaDataType, sdtDateTime);
  EXPECT_EQ(VxFindTypeInfo(u"VxXMLString")->Kind, tkUString);
  EXPECT_EQ(VxFindTypeInfo(u"Single")->SchemaDataType, sdtFloat);
  EXPECT_EQ(VxFindTypeInfo(u"NoSuchType"), nullptr);
  EXPECT_EQ(VxSchemaDataTypeName(sdtUnsignedShort), u"unsignedShort");
  EXPECT_EQ(VxSchemaDataTypeName(static_cast<TVxSchemaDataType>(200)), u"");
}

namespace {
struct TPoint {
  int X, Y;
};
}  // namespace

TEST(TypeRegistry, ApplicationsRegisterTheirOwnTypes) {
  EXPECT_EQ(VxTypeInfo<TPoint>(), nullptr);
  const TVxTypeInfo* info = VxRegisterTypeInfo(typeid(TPoint), {tkRecord, u"TPoint", u"point", sdtNone}, {u"Point"});
  EXPECT_EQ(VxTypeInfo<TPoint>(), info);
  EXPECT_EQ(VxFindTypeInfo(u"POINT"), info);
}

namespace {
// Made before any logger exists, so it is destroyed after the logger state would be if that
// state were an ordinary static: its destructor then uses a logger, as a host's static
// destructor may. AddressSanitizer reports the use of freed memory if the state is gone.
struct TLogsAtExit {
  ~TLogsAtExit() {
    TVxLogger& log = VxLogger(u"AtExit");
    log.SetLevel(llOff);
    log.Info(u"from a static destructor");
  }
} gLogsAtExit;
}  // namespace

TEST(Logger, LivesUntilTheProgramEnds) {
  // The check runs when this process exits; here the logger is simply in use.
  EXPECT_EQ(&VxLogger(u"AtExit"), &VxLogger(u"AtExit"));
}

TEST(Logger, WritesTimestampedLinesAtOrAboveItsLevel) {
  std::vector<std::string> lines;
  std::mutex lock;
  VxSetLogSink([&](const VxString& L) {
    std::lock_guard<std::mutex> g(lock);
    lines.push_back(VxUTF16ToUTF8(L));
  });
  TVxLogger& log = VxLogger(u"XPath");
  EXPECT_EQ(&log, &VxLogger(u"XPath"));
  log.SetLevel(llInfo);
  log.Debug(u"hidden");
  log.Info(u"fn:trace ü");
  ASSERT_EQ(lines.size(), 1u);
  // "2026-11-23T02:08:50.123Z [XPath] INFO: fn:trace ü"
  EXPECT_EQ(lines[0].size(), 24 + std::string(" [XPath] INFO: fn:trace ü").size());
  EXPECT_EQ(lines[0][10], 'T');
  EXPECT_EQ(lines[0][23], 'Z');
  EXPECT_EQ(lines[0].substr(24), " [XPath] INFO: fn:trace ü");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int k = 0; k < 100; ++k) VxLogger(u"Worker").Warning(u"w");
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(lines.size(), 401u);
  VxSetLogSink({});
}

namespace {
struct TVendor : TVxDOMVendor {
  VxString Description() const override { return u"Test Vendor"; }
};
}  // namespace

TEST(DOMVendors, RegisterFindUnregister) {
  TVendor vendor;
  VxRegisterDOMVendor(&vendor);
  VxRegisterDOMVendor(&vendor);  // once only
  EXPECT_EQ(VxFindDOMVendor(u"TEST VENDOR"), &vendor);
  size_t count = VxDOMVendors().size();
  VxUnRegisterDOMVendor(&vendor);
  EXPECT_EQ(VxDOMVendors().size(), count - 1);
  try {
    VxGetDOMVendor(u"Test Vendor");
    FAIL();
  } catch (const EVxException& e) {
    EXPECT_EQ(e.Message(), u"No matching DOM Vendor: \"Test Vendor\"");
  }
}

TEST(DocumentHooks, InstalledAndCleared) {
  EXPECT_FALSE(VxDocumentHooks().XMLFromText);
  VxSetDocumentHooks({nullptr, [](IVxInterface*, const VxString& A) { return TVxVariant(A); }, nullptr, nullptr});
  EXPECT_EQ(VxVarToStr(VxDocumentHooks().XMLValue(nullptr, u"/a")), u"/a");
  VxClearDocumentHooks();
  EXPECT_FALSE(VxDocumentHooks().XMLValue);
}
