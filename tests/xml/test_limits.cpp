// Hostile sizes: a 100 MB text or string, a million attributes or members, 10 MB names,
// documents of only comments or blanks, numbers of a million digits. Every reader and tree
// completes (or raises its documented error) in bounded time and with heap in use bounded by
// a small multiple of the input. Release builds only (too slow under the sanitizers).
#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>
#include <string>

#include "uVxJSON.h"
#include "uVxXMLDOM.h"
#include "uVxXMLUtils.h"

using namespace vx;

namespace {

size_t HeapInUse() {
  struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Counts events and characters without keeping them.
class TCounter : public TVxImplements<TVxObject, IVxSAXContentHandler, IVxSAXErrorHandler> {
 public:
  size_t Elements = 0, Attributes = 0, Chars = 0, NameLength = 0;
  void SetDocumentLocator(IVxSAXLocator*) override {}
  void StartDocument() override {}
  void EndDocument() override {}
  void StartPrefixMapping(const VxXMLString&, const VxXMLString&) override {}
  void EndPrefixMapping(const VxXMLString&) override {}
  void StartElement(const VxXMLString&, const VxXMLString& L, const VxXMLString&, IVxSAXAttributes* A) override {
    ++Elements;
    NameLength = std::max(NameLength, L.size());
    Attributes += static_cast<size_t>(A->Count());
  }
  void EndElement(const VxXMLString&, const VxXMLString&, const VxXMLString&) override {}
  void Characters(const VxXMLString& T) override { Chars += T.size(); }
  void IgnorableWhitespace(const VxXMLString&) override {}
  void ProcessingInstruction(const VxXMLString&, const VxXMLString&) override {}
  void SkippedEntity(const VxXMLString&) override {}
  void Warning(IVxSAXLocator*, const VxXMLString&) override {}
  void Error(IVxSAXLocator*, const VxXMLString&) override {}
  void FatalError(IVxSAXLocator*, const VxXMLString&) override {}
};

TVxIntf<TCounter> ReadXML(const std::string& ADoc) {
  auto counter = VxMake<TCounter>();
  TVxSAXXMLReader reader;
  reader.SetContentHandler(TVxIntf<IVxSAXContentHandler>(counter.Get()));
  reader.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(counter.Get()));
  reader.ParseBuffer(ADoc.data(), static_cast<int64_t>(ADoc.size()), cVxCodePageUTF8, u"");
  return counter;
}

std::string ManyAttributes(size_t ACount) {
  std::string doc = "<r";
  for (size_t k = 0; k < ACount; ++k) doc += " a" + std::to_string(k) + "=\"" + std::to_string(k % 10) + "\"";
  return doc + "/>";
}

}  // namespace

TEST(Limits, AHundredMegabyteTextAndString) {
  const size_t size = 100u << 20;
  const std::string xml = "<r>" + std::string(size, 'x') + "</r>";
  EXPECT_EQ(ReadXML(xml)->Chars, size);
  {
    const size_t before = HeapInUse();
    TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
    doc->DOMDocument()->LoadXML(xml.data(), static_cast<int64_t>(xml.size()));
    EXPECT_EQ(doc->DOMDocument()->DocumentElement()->GetText().size(), size);
    EXPECT_LT(HeapInUse() - before, 4 * xml.size());  // UTF-16: twice the input, plus slack
  }
  const std::string json = "[\"" + std::string(size, 'y') + "\"]";
  auto doc = VxMake<TVxJSONDocument>();
  TVxMemoryStream in(json.data(), static_cast<int64_t>(json.size()));
  doc->TVxJSONBase::LoadFromStream(in, cVxCodePageUTF8, false);
  EXPECT_EQ(doc->GetRootValue()->Item(0)->GetAsString().size(), size);
}

TEST(Limits, AMillionAttributesOrMembers) {
  const size_t count = 1000000;
  const std::string xml = ManyAttributes(count);
  EXPECT_EQ(ReadXML(xml)->Attributes, count);
  {
    const size_t before = HeapInUse();
    TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
    doc->DOMDocument()->LoadXML(xml.data(), static_cast<int64_t>(xml.size()));
    EXPECT_EQ(doc->DOMDocument()->DocumentElement()->GetAttribute(u"a999999"), u"9");
    // About 315 bytes per attribute (node, value, interned name): linear, not a small multiple
    // of such tiny input; the limit catches a regression.
    EXPECT_LT(HeapInUse() - before, 360 * count);
  }
  std::string json = "{";
  for (size_t k = 0; k < count; ++k) json += (k ? ",\"m" : "\"m") + std::to_string(k) + "\":" + std::to_string(k);
  json += "}";
  const size_t before = HeapInUse();
  auto doc = VxMake<TVxJSONDocument>();
  doc->SetAsJSON(VxUTF8ToUTF16(json));
  EXPECT_LT(HeapInUse() - before, 240 * count);  // about 216 bytes per member and value
  EXPECT_EQ(doc->GetRootValue()->Count(), static_cast<int>(count));
  EXPECT_EQ(doc->GetRootValue()->GetMember(u"m999999")->GetAsInteger(), 999999);
}

TEST(Limits, ManyNamespaceDeclarations) {
  // Prefix lookups are indexed: 200,000 declarations on one element, each used by an
  // attribute, and as many nested elements each declaring a prefix read in linear time.
  const size_t count = 200000;
  std::string flat = "<r";
  for (size_t k = 0; k < count; ++k) flat += " xmlns:p" + std::to_string(k) + "=\"urn:" + std::to_string(k) + "\"";
  for (size_t k = 0; k < count; ++k) flat += " p" + std::to_string(k) + ":a=\"1\"";
  flat += "><p0:c/></r>";
  EXPECT_EQ(ReadXML(flat)->Attributes, 2 * count);
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
  doc->DOMDocument()->LoadXML(flat.data(), static_cast<int64_t>(flat.size()));
  EXPECT_EQ(doc->DOMDocument()->DocumentElement()->FirstElement()->GetNamespaceURI(), u"urn:0");
  std::string nested;
  for (size_t k = 0; k < count; ++k) nested += "<e xmlns:q" + std::to_string(k) + "=\"urn:" + std::to_string(k) + "\">";
  nested += "<q0:x/>";
  for (size_t k = 0; k < count; ++k) nested += "</e>";
  EXPECT_EQ(ReadXML(nested)->Elements, count + 1);
  doc->DOMDocument()->LoadXML(nested.data(), static_cast<int64_t>(nested.size()));
}

TEST(Limits, FormsOfManyNames) {
  // 200,000 distinct names, and one array element filled with as many: linear time.
  const size_t count = 200000;
  std::string names, fill;
  for (size_t k = 0; k < count; ++k) {
    names += (k ? "&n" : "n") + std::to_string(k) + "=v";
    fill += (k ? "&a[][x" : "a[][x") + std::to_string(k) + "]=v";
  }
  for (const std::string* text : {&names, &fill}) {
    auto doc = VxMake<TVxJSONDocument>();
    TVxMemoryStream in(text->data(), static_cast<int64_t>(text->size()));
    doc->TVxJSONBase::LoadFromStream(in, cVxCodePageUTF8, true);
    TVxJSONBase* root = doc->GetRootValue();
    EXPECT_EQ(text == &names ? root->Count() : root->GetMember(u"a")->GetValue()->Item(0)->Count(), static_cast<int>(count));
  }
}

TEST(Limits, PathsOfManyOperators) {
  // 200,000 "or" in a node path's predicate and "||" in a JSON path's filter: linear time,
  // no recursion per operator.
  const size_t count = 200000;
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
  doc->DOMDocument()->LoadXML(VxXMLString(u"<r><a b=\"1\"/><a b=\"2\"/></r>"));
  VxXMLString path = u"a[@b = 3";
  for (size_t k = 0; k < count; ++k) path += u" or @b = 3";
  TVxDOMNode* found = doc->DOMDocument()->DocumentElement()->SelectSingleNode(path + u" or @b = 2]");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(static_cast<TVxDOMElement*>(found)->GetAttribute(u"b"), u"2");
  auto json = VxMake<TVxJSONDocument>(VxJSONString(u"[{\"b\": 1}, {\"b\": 2}]"));
  VxJSONString filter = u"$[?(@.b == 3";
  for (size_t k = 0; k < count; ++k) filter += u" || @.b == 3";
  EXPECT_EQ(json->GetRootValue()->CreateNodeList(filter + u" || @.b == 2)]")->GetAsJSON(), u"[{\"b\": 2}]");
}

TEST(Limits, TenMegabyteNames) {
  const std::string name = std::string(10u << 20, 'n');
  EXPECT_EQ(ReadXML("<" + name + " " + name.substr(1) + "=\"v\"></" + name + ">")->NameLength, name.size());
  auto doc = VxMake<TVxJSONDocument>();
  doc->SetAsJSON(VxUTF8ToUTF16("{\"" + name + "\": 1}"));
  EXPECT_EQ(doc->GetRootValue()->Item(0)->GetName().size(), name.size());
}

TEST(Limits, DocumentsOfOnlyCommentsOrBlanks) {
  std::string comments;
  for (int k = 0; k < 1000000; ++k) comments += "<!-- c -->";
  std::string blanks(50u << 20, ' ');
  for (const std::string* doc : {&comments, &blanks}) {
    TVxIntf<IVxDOMDocument> dom = VxCreateDOM();
    EXPECT_THROW(dom->DOMDocument()->LoadXML(doc->data(), static_cast<int64_t>(doc->size())), EVxXMLParseError);
  }
  auto json = VxMake<TVxJSONDocument>();
  json->SetAllowTrailingWhiteSpace(true);
  TVxMemoryStream in(blanks.data(), static_cast<int64_t>(blanks.size()));
  EXPECT_NO_THROW(json->TVxJSONBase::LoadFromStream(in, cVxCodePageUTF8, false));
}

TEST(Limits, NumbersOfAMillionDigits) {
  const std::string digits = "1" + std::string(999999, '7');
  auto doc = VxMake<TVxJSONDocument>();
  doc->SetAsJSON(VxUTF8ToUTF16("[" + digits + ", -0." + digits + "]"));
  EXPECT_EQ(doc->GetRootValue()->Item(0)->GetAsString().size(), digits.size());
  EXPECT_TRUE(std::isinf(doc->GetRootValue()->Item(0)->GetAsDouble()));
  EXPECT_NEAR(doc->GetRootValue()->Item(1)->GetAsDouble(), -0.1777777777777778, 1e-15);
  EXPECT_THROW(VxXMLToInt(VxUTF8ToUTF16(digits)), EConvertError);
  EXPECT_NO_THROW(VxXMLToDouble(VxUTF8ToUTF16("0." + digits)));
}
