// uVxRegistry: the DOM vendor registry and the four document hooks that the XML/JSON library
// fills when it is loaded.
#pragma once

#include <functional>
#include <vector>

#include "uVxClasses.h"
#include "uVxVariants.h"

namespace vx {

/// A DOM implementation that hosts can pick by name.
class TVxDOMVendor {
 public:
  virtual ~TVxDOMVendor() = default;
  /// The vendor's name ("Vx XML").
  virtual VxString Description() const = 0;
};

/// Message of VxGetDOMVendor for an unknown name.
inline constexpr char16_t cVxNoMatchingDOMVendor[] = u"No matching DOM Vendor: \"%s\"";

/// Adds a vendor (not owned); a vendor already registered is not added twice.
void VxRegisterDOMVendor(TVxDOMVendor* AVendor);
/// Removes a vendor.
void VxUnRegisterDOMVendor(TVxDOMVendor* AVendor);
/// The vendor with that name (ASCII case ignored), or nullptr.
TVxDOMVendor* VxFindDOMVendor(std::u16string_view AName);
/// The vendor with that name; raises EVxException with cVxNoMatchingDOMVendor when none.
TVxDOMVendor* VxGetDOMVendor(std::u16string_view AName);
/// The registered vendors, in order of registration.
std::vector<TVxDOMVendor*> VxDOMVendors();

/// An XML or JSON document built from text.
using TVxDocumentFromTextHook = std::function<TVxIntf<IVxInterface>(const VxString& AText)>;
/// A value taken from a document, given a text argument (a path).
using TVxDocumentValueHook = std::function<TVxVariant(IVxInterface* ADocument, const VxString& AArgument)>;

/// The four document hooks.
struct TVxDocumentHooks {
  TVxDocumentFromTextHook XMLFromText;
  TVxDocumentValueHook XMLValue;
  TVxDocumentFromTextHook JSONFromText;
  TVxDocumentValueHook JSONValue;
};

/// Installs the hooks (the XML/JSON library does so when it is loaded).
void VxSetDocumentHooks(TVxDocumentHooks AHooks);
/// Removes the hooks (when the XML/JSON library is unloaded).
void VxClearDocumentHooks();
/// A copy of the installed hooks (empty functions when none are installed).
TVxDocumentHooks VxDocumentHooks();

}  // namespace vx
