// uVxXML: the XML/JSON library's entry module: its identity, and the registration with the
// common library that happens when the library is loaded.
#pragma once

#include "uVxRegistry.h"
#include "uVxSysUtils.h"

namespace vx {

/// The library's version, "7.0.0".
VxString VxXMLLibraryVersion();

/// The name under which the library registers its DOM vendor.
inline constexpr char16_t cVxXMLVendorName[] = u"Vx XML";

/// Message of the XML value hook when it is not given a document or node.
inline constexpr char16_t cVxXMLNotADocument[] = u"The value hook needs an %s document or one of its nodes!";

/// The library's DOM vendor (registered while the library is loaded).
TVxDOMVendor* VxXMLVendor();

}  // namespace vx
