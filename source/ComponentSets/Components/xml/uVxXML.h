// uVxXML: the XML/JSON library's entry module. The reading, tree, query and conversion modules
// are added beside it; for now it answers the library's identity.
#pragma once

#include "uVxSysUtils.h"

namespace vx {

/// The library's version, "7.0.0".
VxString VxXMLLibraryVersion();

}  // namespace vx
