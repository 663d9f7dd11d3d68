// Loading the XML library registers its DOM vendor and installs the document hooks.
#include <gtest/gtest.h>

#include "uVxJSON.h"
#include "uVxXML.h"
#include "uVxXMLDOM.h"

using namespace vx;

TEST(XMLLibrary, AnswersItsVersion) { EXPECT_EQ(VxXMLLibraryVersion(), u"7.0.0"); }

TEST(XMLLibrary, LoadingRegistersTheVendorAndTheHooks) {
  EXPECT_EQ(VxGetDOMVendor(u"vx xml"), VxXMLVendor());
  TVxDocumentHooks hooks = VxDocumentHooks();
  ASSERT_TRUE(hooks.XMLFromText && hooks.XMLValue && hooks.JSONFromText && hooks.JSONValue);
  // XML: a document from text, and the text a path selects in it.
  TVxIntf<IVxInterface> doc = hooks.XMLFromText(u"<r><a>one</a><b k=\"v\">two</b></r>");
  ASSERT_TRUE(VxSupports<IVxDOMDocument>(doc));
  EXPECT_EQ(VxVarToStr(hooks.XMLValue(doc.Get(), u"r/b")), u"two");
  EXPECT_EQ(VxVarToStr(hooks.XMLValue(doc.Get(), u"r/b/@k")), u"v");
  EXPECT_TRUE(hooks.XMLValue(doc.Get(), u"r/c").IsNull());
  EXPECT_THROW(hooks.XMLFromText(u"<a/><b/>"), EVxXMLParseError);
  // JSON: a document from text.
  TVxIntf<IVxInterface> json = hooks.JSONFromText(u"{\"a\":[1,2]}");
  TVxIntf<IVxJSONDocument> jsonDoc = VxSupports<IVxJSONDocument>(json);
  ASSERT_TRUE(jsonDoc);
  EXPECT_EQ(jsonDoc->GetRootValueIntf()->GetAsJSON(), u"{\"a\": [1, 2]}");
  EXPECT_THROW(hooks.JSONFromText(u"{\"a\":"), EVxJSONParseError);
  // JSON: the value the first node a JSON path selects.
  EXPECT_EQ(VxVarToStr(hooks.JSONValue(json.Get(), u"$.a[1]")), u"2");
  EXPECT_EQ(VxVarToStr(hooks.JSONValue(json.Get(), u"$.a")), u"[1, 2]");
  EXPECT_EQ(VxVarToStr(hooks.JSONValue(json.Get(), u"$.a[*]")), u"1");
  EXPECT_TRUE(hooks.JSONValue(json.Get(), u"$.b").IsNull());
  EXPECT_THROW(hooks.JSONValue(json.Get(), u"$.a["), EVxJSONPathError);
  EXPECT_THROW(hooks.JSONValue(doc.Get(), u"$.a"), EVxException);   // an XML document is no JSON one
}
