// The XML library loads and links against the common library.
#include <gtest/gtest.h>

#include "uVxXML.h"

TEST(XMLLibrary, AnswersItsVersion) { EXPECT_EQ(vx::VxXMLLibraryVersion(), u"7.0.0"); }
