// uVxXML: library identity and the load-time registration: the DOM vendor and the four
// document hooks go into the common library when the library is loaded and come out when it
// is unloaded. Nothing else runs at load.
#include "uVxXML.h"

#include "uVxJSON.h"
#include "uVxXMLDOM.h"

namespace vx {

VxString VxXMLLibraryVersion() { return u"7.0.0"; }

namespace {

class TVxXMLVendor : public TVxDOMVendor {
 public:
  VxString Description() const override { return cVxXMLVendorName; }
};

// The text of the first node a path selects in an XML document (or any of its nodes); null
// when the path selects nothing.
TVxVariant XMLValue(IVxInterface* ADocument, const VxString& APath) {
  TVxIntf<IVxDOMNode> node = VxSupports<IVxDOMNode>(ADocument);
  if (!node) throw EVxException(VxFormat(cVxXMLNotADocument, u"XML"));
  TVxIntf<IVxDOMNode> found = node->SelectSingleNode(APath, {});
  if (!found) return TVxVariant::Null();
  return TVxVariant(found->GetText());
}

// The value of the first node a JSON path selects in a JSON document (or any of its nodes): a
// simple value as its variant, an object or array as its JSON text; null when the path selects
// nothing.
TVxVariant JSONValue(IVxInterface* ADocument, const VxString& APath) {
  TVxIntf<IVxJSONBase> node = VxSupports<IVxJSONBase>(ADocument);
  if (!node) throw EVxException(VxFormat(cVxXMLNotADocument, u"JSON"));
  const std::vector<TVxJSONBase*> found = TVxJSONPath(APath).Evaluate(node->JSONBase());
  if (found.empty()) return TVxVariant::Null();
  TVxJSONBase* first = found.front();
  const TVxJSONDataType type = first->GetJSONType();
  if (type == jdtObject || type == jdtArray) return TVxVariant(first->GetAsJSON());
  return first->GetAsVariant();
}

struct TLoadRegistration {
  TVxXMLVendor Vendor;
  TLoadRegistration() {
    if (!VxFindDOMVendor(cVxXMLVendorName)) VxRegisterDOMVendor(&Vendor);
    VxSetDocumentHooks({[](const VxString& AText) -> TVxIntf<IVxInterface> { return VxCreateDOM(AText); },
                        [](IVxInterface* ADocument, const VxString& APath) -> TVxVariant { return XMLValue(ADocument, APath); },
                        [](const VxString& AText) -> TVxIntf<IVxInterface> {
                          return VxMake<TVxJSONDocument>(VxJSONString(AText))->As<IVxJSONDocument>();
                        },
                        [](IVxInterface* ADocument, const VxString& APath) -> TVxVariant { return JSONValue(ADocument, APath); }});
  }
  ~TLoadRegistration() {
    VxUnRegisterDOMVendor(&Vendor);
    VxClearDocumentHooks();
  }
};

TLoadRegistration gRegistration;

}  // namespace

TVxDOMVendor* VxXMLVendor() { return &gRegistration.Vendor; }

}  // namespace vx
