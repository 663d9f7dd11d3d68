// uVxXML: library identity.
#include "uVxXML.h"

namespace vx {

VxString VxXMLLibraryVersion() { return u"7.0.0"; }

}  // namespace vx
