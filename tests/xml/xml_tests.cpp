// Loading the XML library registers its DOM vendor and installs the document hooks.
#include <gtest/gtest.h>

#include "uVxXML.h"

using namespace vx;

TEST(XMLLibrary, AnswersItsVersion) { EXPECT_EQ(VxXMLLibraryVersion(), u"7.0.0"); }

TEST(XMLLibrary, LoadingRegistersTheVendorAndTheHooks) {
  EXPECT_EQ(VxGetDOMVendor(u"vx xml"), VxXMLVendor());
  TVxDocumentHooks hooks = VxDocumentHooks();
  ASSERT_TRUE(hooks.XMLFromText && hooks.XMLValue && hooks.JSONFromText && hooks.JSONValue);
  try {
    hooks.JSONFromText(u"{}");
    FAIL();
  } catch (const EVxException& e) {
    EXPECT_EQ(e.Message(), u"The JSON document model is not available in this library build!");
  }
}
