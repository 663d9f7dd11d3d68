// Node paths and the predicate engine: step forms, soCreate and soRaise, the element and
// document helpers, the predicate grammar with its folding and quirks, value comparison and
// collations, every function family, the registries, and nesting limits.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <string>

#include "uVxLogger.h"
#include "uVxXPath.h"
#include "vx_test_zone.h"

using namespace vx;

namespace {

struct TXDoc {
  TVxIntf<IVxDOMDocument> Intf = VxCreateDOM();
  TVxDOMDocument* D = Intf->DOMDocument();
  TXDoc() = default;
  explicit TXDoc(const VxXMLString& AXML) { D->LoadXML(AXML); }
  TVxDOMElement* Root() const { return D->DocumentElement(); }
};

// What a selection found: each node's "n" attribute, else its name, joined by ",".
std::string Picked(TVxDOMNode* AFrom, const VxXMLString& APath, TVxDOMSelectOptions AOptions = {}) {
  TVxIntf<TVxDOMNodeList> list = AFrom->CreateNodeList(APath, AOptions);
  std::string out;
  for (int k = 0; k < list->Count(); ++k) {
    TVxDOMNode* n = list->GetItem(k);
    VxString label = n->GetQualifiedName();
    if (n->NodeType() == ntElement && static_cast<TVxDOMElement*>(n)->HasAttribute(u"n"))
      label = static_cast<TVxDOMElement*>(n)->GetAttribute(u"n");
    out += (k ? "," : "") + VxUTF16ToUTF8(label);
  }
  return out;
}

// "Class: message" of what an action raises.
template <class F>
std::string Raised(F AAction) {
  try {
    AAction();
  } catch (const EVxXPathException& e) {
    return "EVxXPathException " + e.ErrorCode() + ": " + VxUTF16ToUTF8(e.Message());
  } catch (const Exception& e) {
    return VxUTF16ToUTF8(e.ClassName() + u": " + e.Message());
  }
  return "nothing";
}

// The value of one operand (or comparison) for a context node.
TVxVariant Eval(const VxXMLString& AExpression, TVxDOMNode* AContext,
                TVxXPathCollationClass ACollation = TVxXPathCollationASCIICI::ClassRef()) {
  std::unique_ptr<TVxXPathEquation> root = TVxXPathEquation::Parse(u"[" + AExpression + u"]", false, ACollation);
  TVxDOMObjectList list{AContext};
  return root->Value()->Value(list, 0);
}
std::string EvalText(const VxXMLString& AExpression, TVxDOMNode* AContext) {
  const TVxVariant v = Eval(AExpression, AContext);
  if (v.IsNull()) return "null";
  if (VxVarIsEmpty(v)) return "empty";
  return VxUTF16ToUTF8(VxVarToStr(v));
}

const VxXMLString cItems =
    u"<r><i n=\"1\" id=\"7\">abc</i><i n=\"2\" id=\"8\">ABC<b/></i><i n=\"3\"><b/><c/>xaby</i>"
    u"<j n=\"4\" gift=\"yes\">7.0</j></r>";

}  // namespace

// ---------------------------------------------------------------------------------------------
// Steps
// ---------------------------------------------------------------------------------------------

TEST(XPathSteps, NamesAnyAttributesParentSelfNodeAndText) {
  TXDoc doc(u"<r a=\"1\"><x n=\"x1\"><y n=\"y1\">t</y></x><x n=\"x2\" q=\"2\"><y n=\"y2\"/><!--c--><![CDATA[d]]></x></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"x"), "x1,x2");
  EXPECT_EQ(Picked(r, u"x/y"), "y1,y2");
  EXPECT_EQ(Picked(r, u"*"), "x1,x2");
  EXPECT_EQ(Picked(r, u"*/*"), "y1,y2");
  EXPECT_EQ(Picked(r, u"x/@q"), "q");
  EXPECT_EQ(Picked(r, u"x/@*"), "n,n,q");
  EXPECT_EQ(Picked(r, u"x/y/.."), "x1,x2");  // each parent once
  EXPECT_EQ(Picked(r, u"x/y/../.."), "r");
  EXPECT_EQ(Picked(r, u"x/."), "x1,x2");
  EXPECT_EQ(Picked(r, u"x/node()"), "y1,y2,#comment,#cdata-section");
  EXPECT_EQ(Picked(r, u"x/text()"), "#cdata-section");
  EXPECT_EQ(Picked(r, u"x/y/text()"), "#text");
  EXPECT_EQ(Picked(r, u"X/Y"), "y1,y2");  // names compare ignoring ASCII case by default
  EXPECT_EQ(Picked(r, u"X/Y", {soCaseSensitive}), "");
  EXPECT_EQ(Picked(r, u"z"), "");
  EXPECT_EQ(Picked(doc.D, u"r/x"), "x1,x2");  // relative to the node it is called on
}

TEST(XPathSteps, DescendantSearch) {
  TXDoc doc(u"<r id=\"0\"><a n=\"a1\" id=\"1\"><a n=\"a2\"><b n=\"b1\" id=\"2\"/></a></a><b n=\"b2\"/></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"//a"), "a1,a2");
  EXPECT_EQ(Picked(r, u"//b"), "b1,b2");
  EXPECT_EQ(Picked(r, u"a//b"), "b1");
  EXPECT_EQ(Picked(r, u"//a//b"), "b1");                    // found from a1 and a2: once
  EXPECT_EQ(Picked(r, u"//@id"), "id,id,id");               // the root's own attribute too
  EXPECT_EQ(Picked(r, u"//@id=\"2\""), "b1");               // the elements carrying it
  EXPECT_EQ(Picked(r, u"//b[0]"), "b1");                    // positions count in the whole search
  EXPECT_EQ(Picked(doc.D, u"//@id=\"0\""), "r");
  EXPECT_EQ(doc.D->getElementById(u"2")->GetAttribute(u"n"), u"b1");
  EXPECT_EQ(doc.D->getElementById(u"0"), doc.Root());       // the root is searched too
  EXPECT_EQ(doc.D->getElementById(u"nope"), nullptr);
  EXPECT_EQ(doc.D->getElementById(u"a\"b"), nullptr);       // no path can name it
}

TEST(XPathSteps, PredicatesFilterEachContextsCandidates) {
  TXDoc doc(u"<r><g><i n=\"1\"/><i n=\"2\"/></g><g><i n=\"3\"/><i n=\"4\"/><i n=\"5\"/></g></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"g/i[0]"), "1,3");
  EXPECT_EQ(Picked(r, u"g/i[1]"), "2,4");
  EXPECT_EQ(Picked(r, u"g/i[last()]"), "2,5");
  EXPECT_EQ(Picked(r, u"g/i[position() = 2]"), "2,4");
  EXPECT_EQ(Picked(r, u"g[i[@n = \"4\"]]/i[0]"), "3");    // nested predicates
  EXPECT_EQ(Picked(r, u"g/i[@n > 1][0]"), "2,3");         // predicates in turn, each on what is left
  EXPECT_EQ(Picked(r, u"g[1]/i[first()]"), "3");
}

TEST(XPathSteps, LocalAndQualifiedNames) {
  TXDoc doc(u"<r xmlns:p=\"urn:p\"><p:a n=\"1\" p:k=\"v\"/><a n=\"2\"/></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"p:a"), "1");
  EXPECT_EQ(Picked(r, u"a"), "2");
  EXPECT_EQ(Picked(r, u"a", {soLocalName}), "1,2");
  EXPECT_EQ(Picked(r, u"*[@k = \"v\"]", {soLocalName}), "1");
  EXPECT_EQ(Picked(r, u"*[@p:k = \"v\"]"), "1");
  DefaultSelectMatchOption = soLocalName;
  EXPECT_EQ(Picked(r, u"a"), "1,2");
  DefaultSelectMatchOption = soQualifiedName;
}

TEST(XPathSteps, MalformedPathsRaiseTheirMessages) {
  TXDoc doc(cItems);
  TVxDOMElement* r = doc.Root();
  auto sel = [&](const VxXMLString& APath) { return Raised([&] { r->CreateNodeList(APath); }); };
  EXPECT_EQ(sel(u"/i"), "EVxDomSyntax: The specified nodePath started with an unexpected token (/)!");
  EXPECT_EQ(sel(u"i/..x"), "EVxDomSyntax: The XPath expression contains an error at \"..x\"!\r\na \"/\" or \"[\" was expected after the \"..\".");
  EXPECT_EQ(sel(u"i//.."), "EVxDomSyntax: The XPath expression contains an error at \"..\"!\r\nThe \"//\" cannot be used in combination with \"..\".");
  EXPECT_EQ(sel(u"*x"), "EVxDomSyntax: The XPath expression contains an error at \"*x\"!\r\na \"/\" or \"[\" was expected after the \"*\".");
  EXPECT_EQ(sel(u"i/"), "EVxDomSyntax: The XPath expression is not valid!");
  EXPECT_EQ(sel(u"i[0]x"), "EVxDomSyntax: The XPath expression is not valid!");
  EXPECT_EQ(sel(u"i[0"), "Exception: \"[0\" is an invalid filter expression!");
  EXPECT_EQ(sel(u"f(x)"), "EVxDomSyntax: The XPath expression is not valid!");
  EXPECT_EQ(sel(u""), "EVxDomNotFound: The specified nodePath is empty!");
  // Malformed anywhere means malformed, even behind a step that finds nothing.
  EXPECT_EQ(sel(u"none/*x"), "EVxDomSyntax: The XPath expression contains an error at \"*x\"!\r\na \"/\" or \"[\" was expected after the \"*\".");
  EXPECT_EQ(Raised([&] { r->SelectSingleNode(u"/i"); }),
            "EVxDomSyntax: The specified nodePath started with an unexpected token (/)!");
}

TEST(XPathSteps, OptionsAndRaise) {
  TXDoc doc(cItems);
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Raised([&] { r->CreateNodeList(u"/bad", {soRaise, soCreate}); }),
            "Exception: It is not possible to specify both soRaise and soCreate!");  // before the path is read
  EXPECT_EQ(Raised([&] { r->CreateNodeList(u"i", {soCaseSensitive, soCaseInsensitive}); }),
            "Exception: It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  EXPECT_EQ(Raised([&] { r->CreateNodeList(u"none", {soRaise}); }),
            "EVxDomNotFound: There are no nodes for the given path \"none!.");
  EXPECT_EQ(Raised([&] { r->SelectSingleNode(u"none", {soRaise}); }),
            "EVxDomNotFound: There is no node for the given path \"none\"!");
  EXPECT_EQ(r->SelectSingleNode(u"none"), nullptr);
  EXPECT_EQ(r->SelectSingleNode(u"i[2]")->GetText(), u"xaby");
}

TEST(XPathSteps, CreateMakesMissingElementsOfSimplePaths) {
  TXDoc doc(u"<r><a><b n=\"1\"/></a><a/></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"a/b", {soCreate}), "1,b");  // found under the first a, made under the second
  EXPECT_EQ(doc.D->GetXML(), u"<r><a><b n=\"1\" /></a><a><b /></a></r>");
  TVxDOMNode* made = r->SelectSingleNode(u"x/y/z", {soCreate});
  EXPECT_EQ(made->NodePath(), u"/r/x/y/z");
  EXPECT_EQ(r->SelectSingleNode(u"x/y/z", {soCreate}), made);  // found now
  const VxXMLString before = doc.D->GetXML();
  EXPECT_EQ(Raised([&] { r->SelectSingleNode(u"q/w[@k = \"1\"]", {soCreate}); }),
            "EVxDomNotSupported: The given path \"q/w[@k = \"1\"]\" was too complex to use the soCreate option!");
  EXPECT_EQ(Raised([&] { r->SelectSingleNode(u"q/*", {soCreate}); }),
            "EVxDomNotSupported: The given path \"q/*\" was too complex to use the soCreate option!");
  EXPECT_EQ(Raised([&] { r->SelectSingleNode(u"q//w", {soCreate}); }),
            "EVxDomNotSupported: The soCreate option cannot be used in combination with the \"//\" search option!");
  EXPECT_EQ(Raised([&] { r->SelectSingleNode(u"q/..x", {soCreate}); }),
            "EVxDomSyntax: The XPath expression contains an error at \"..x\"!\r\na \"/\" or \"[\" was expected after the \"..\".");
  EXPECT_EQ(doc.D->GetXML(), before);  // a failed soCreate made nothing
  // The element lookups: a node class is needed, and the path form of GetItemEx creates.
  EXPECT_EQ(Raised([&] { r->NodeByName(u"nothing", {soCreate}, TVxDOMNodeClass()); }),
            "Exception: A NodeClass is required when soCreate is specified!");
  TVxDOMElement* deep = r->Elements()->GetItemEx(TVxVariant(u"m/n"), coCreate);
  EXPECT_EQ(deep->NodePath(), u"/r/m/n");
}

TEST(XPathSteps, ElementAndDocumentHelpers) {
  TXDoc doc(cItems);
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(r->SelectSingleElement(u"i[1]")->GetAttribute(u"n"), u"2");
  EXPECT_EQ(r->SelectSingleElement(u"i/@id"), nullptr);  // attributes are no elements
  EXPECT_EQ(Raised([&] { r->SelectSingleElement(u"i/@id", {soRaise}); }),
            "EVxDomNotFound: There is no node for the given path \"i/@id\"!");
  TVxIntf<TVxDOMNodeList> list = r->CreateElementList(u"*[@id]");
  EXPECT_EQ(list->Count(), 2);
  EXPECT_EQ(r->CreateElementList()->Count(), 4);
  EXPECT_EQ(r->CreateElementList(u"I", u"", {})->Count(), 3);
  EXPECT_EQ(Raised([&] { r->CreateElementList(u"i", {soRaise}); }),
            "Exception: It is not possible to specify either soRaise or soCreate!");
  EXPECT_EQ(Raised([&] { r->CreateElementList({soCreate}); }),
            "Exception: It is not possible to specify either soRaise or soCreate!");
  // The document's helpers work from the root element.
  EXPECT_EQ(doc.D->SelectSingleElement(u"j")->GetAttribute(u"n"), u"4");
  EXPECT_EQ(doc.D->CreateElementList(u"i[b]")->Count(), 2);
  EXPECT_EQ(Raised([&] { doc.D->SelectSingleElement(u"", {}); }), "EVxDomNotFound: The specified nodePath is empty!");
  EXPECT_EQ(Raised([&] { doc.D->SelectSingleElement(u"zz", {soRaise}); }),
            "EVxDomNotFound: There is no node for the given path \"zz\".");
  TXDoc empty;
  EXPECT_EQ(Raised([&] { empty.D->SelectSingleElement(u"a", {}); }),
            "EVxDomNotFound: It is not possible to use XPath statements on documents without rootnode!");
  // List lookups by path and by name.
  EXPECT_EQ(r->Elements()->GetItemEx(TVxVariant(u"i[2]/c"), coReturnNil)->NodePath(), u"/r/i/c");
  EXPECT_EQ(Raised([&] { r->Elements()->GetItemEx(TVxVariant(u"i/zz"), coRaise); }),
            "EListError: There is no childelement with the name i/zz!");
}

// ---------------------------------------------------------------------------------------------
// The predicate grammar
// ---------------------------------------------------------------------------------------------

TEST(XPathPredicates, PositionsExistenceAndComparisons) {
  TXDoc doc(cItems);
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"*[0]"), "1");
  EXPECT_EQ(Picked(r, u"*[2]"), "3");
  EXPECT_EQ(Picked(r, u"*[first()]"), "1");
  EXPECT_EQ(Picked(r, u"*[last()]"), "4");
  EXPECT_EQ(Picked(r, u"*[position() = 2]"), "2");
  EXPECT_EQ(Picked(r, u"*[node()]"), "1,2,3,4");
  EXPECT_EQ(Picked(r, u"*[@id]"), "1,2");
  EXPECT_EQ(Picked(r, u"*[not(@id)]"), "3,4");
  EXPECT_EQ(Picked(r, u"*[not @id]"), "3,4");  // a single operand
  EXPECT_EQ(Picked(r, u"*[@id = \"7\"]"), "1");
  EXPECT_EQ(Picked(r, u"*[@id = 7]"), "1");     // numbers
  EXPECT_EQ(Picked(r, u"*[@id = 7.0]"), "1");   // an integer widened against a float
  EXPECT_EQ(Picked(r, u"j[. = 7]"), "4");       // "7.0" as text is a float
  // A text that is no number against a number: the variant conversion fails.
  EXPECT_EQ(Raised([&] { r->CreateNodeList(u"*[. = 7]"); }),
            "EVariantTypeCastError: Could not convert variant of type (UnicodeString) into type (Double)");
  EXPECT_EQ(Picked(r, u"*[. = \"abc\"]"), "1,2");  // strings compare ignoring ASCII case
  EXPECT_EQ(Picked(r, u"*[. = \"abc\"]", {soCaseSensitive}), "1");
  EXPECT_EQ(Picked(r, u"*[@n >= 2 and @n <> 4]"), "2,3");
  EXPECT_EQ(Picked(r, u"*[@n != 1][@n<3]"), "2");
  EXPECT_EQ(Picked(r, u"*[b]"), "2,3");
  EXPECT_EQ(Picked(r, u"*[b = \"\"]"), "2,3");  // a single b, or any of several
  EXPECT_EQ(Picked(r, u"*[.5 < 1]"), "1,2,3,4");
}

TEST(XPathPredicates, UndefinedComparisonsStayFalse) {
  TXDoc doc(cItems);
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"*[@id != \"8\"]"), "1");        // 3 and 4 have no id: undefined, false
  EXPECT_EQ(Picked(r, u"*[not(@id = \"8\")]"), "1");    // and stays false under not
  EXPECT_EQ(Picked(r, u"*[not(@id)]"), "3,4");
  EXPECT_EQ(Picked(r, u"*[@gift or @id]"), "1,2,4");    // existence tests are never undefined
  EXPECT_EQ(Picked(r, u"*[@gift = \"yes\" or @id]"), "4");  // an undefined first operand ends it
}

TEST(XPathPredicates, FoldingWithoutPrecedence) {
  // a and b or c computes (a and (b or c)) or c.
  TXDoc doc(u"<r><e n=\"abc\" a=\"1\" b=\"1\" c=\"1\"/><e n=\"ab\" a=\"1\" b=\"1\" c=\"0\"/>"
            u"<e n=\"ac\" a=\"1\" b=\"0\" c=\"1\"/><e n=\"a\" a=\"1\" b=\"0\" c=\"0\"/>"
            u"<e n=\"bc\" a=\"0\" b=\"1\" c=\"1\"/><e n=\"c\" a=\"0\" b=\"0\" c=\"1\"/><e n=\"b\" a=\"0\" b=\"1\" c=\"0\"/></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"e[@a = 1 and @b = 1 or @c = 1]"), "abc,ab,ac,bc,c");
  EXPECT_EQ(Picked(r, u"e[@a = 1 or @b = 1 and @c = 1]"), "abc,ac,bc");  // (a or (b and c)) and c
  // A parenthesised right operand after a plain left one is never evaluated ...
  EXPECT_EQ(Picked(r, u"e[@a = 1 and (@b = 1 or @c = 1)]"), Picked(r, u"e[@a = 1]"));
  EXPECT_EQ(Picked(r, u"e[@a = 1 or (@b = 1)]"), Picked(r, u"e[@a = 1]"));
  // ... but after a parenthesised one it is.
  EXPECT_EQ(Picked(r, u"e[(@a = 1) and (@b = 1 or @c = 1)]"), "abc,ab,ac");
  EXPECT_EQ(Picked(r, u"e[((@a = 1))]"), "abc,ab,ac,a");
  // A long chain is no problem.
  VxXMLString chain = u"e[@n = \"none\"";
  for (int k = 0; k < 5000; ++k) chain += u" or @n = \"none\"";
  EXPECT_EQ(Picked(r, chain + u" or @n = \"c\"]"), "c");
}

TEST(XPathPredicates, ChainsAgreeWithTheFoldingRule) {
  // Random chains of "and" and "or" over values true, false and undefined (a missing
  // attribute), against the rule written out directly:
  //   F(i) = v(i) op(i) F(i+1) op(i+1) F(i+2) ..., each op short-circuiting; an undefined v(i)
  //   makes F(i) false.
  std::mt19937 random(7);
  constexpr size_t cLinks = 8, cElements = 40;
  std::vector<std::array<int, cLinks>> values(cElements);  // 0, 1, or 2 for missing
  VxXMLString xml = u"<r>";
  for (size_t k = 0; k < cElements; ++k) {
    xml += u"<e n=\"" + VxIntToStr(static_cast<int64_t>(k)) + u"\"";
    for (size_t j = 0; j < cLinks; ++j) {
      values[k][j] = static_cast<int>(random() % 3);
      if (values[k][j] < 2) xml += u" k" + VxIntToStr(static_cast<int64_t>(j)) + u"=\"" + VxIntToStr(values[k][j]) + u"\"";
    }
    xml += u"/>";
  }
  TXDoc doc(xml + u"</r>");
  for (int round = 0; round < 300; ++round) {
    const size_t n = 1 + random() % cLinks;
    std::vector<bool> isAnd(n);
    VxXMLString path = u"e[@k0 = 1";
    for (size_t j = 0; j + 1 < n; ++j) {
      isAnd[j] = random() % 2;
      path += (isAnd[j] ? u" and @k" : u" or @k") + VxIntToStr(static_cast<int64_t>(j + 1)) + u" = 1";
    }
    path += u"]";
    std::string expected;
    for (size_t k = 0; k < cElements; ++k) {
      std::function<bool(size_t)> F = [&](size_t I) {
        if (values[k][I] == 2) return false;
        bool result = values[k][I] == 1;
        for (size_t j = I; j + 1 < n; ++j)
          if (isAnd[j] ? result : !result) result = F(j + 1);
        return result;
      };
      if (F(0)) expected += (expected.empty() ? "" : ",") + std::to_string(k);
    }
    ASSERT_EQ(Picked(doc.Root(), path), expected) << VxUTF16ToUTF8(path);
  }
}

TEST(XPathPredicates, GrammarQuirksAreKept) {
  TXDoc doc(u"<r><i n=\"1\"><e>1</e><note>2</note><tag>a</tag></i><i n=\"2\"><tag>a, b</tag></i></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(Picked(r, u"i[note = 2]"), "");         // "not" is read away: the path is "e"
  EXPECT_EQ(Picked(r, u"i[note = 1]"), "1");
  EXPECT_EQ(Picked(r, u"i[tag = (\"a\", \"b\")]"), "2");  // one string "a, b"
  EXPECT_EQ(Picked(r, u"i[tag = [\"a\", \"b\"]]"), "2");
  EXPECT_EQ(Picked(r, u"i[tag = ()]"), "");
  EXPECT_EQ(Picked(r, u"i[tag = \"a]b\" or @n = 2]"), "2");  // a "]" inside quotes
  EXPECT_EQ(Picked(r, u"i[fn:true()]"), "1,2");
  auto sel = [&](const VxXMLString& APath) { return Raised([&] { r->CreateNodeList(APath); }); };
  EXPECT_EQ(sel(u"i[@x =< 3]"), "EVxDomSyntax: The filter \"[@x =< 3]\" contains an invalid compare operator (=<)!");
  EXPECT_EQ(sel(u"i[@x == 3]"), "EVxDomSyntax: The filter \"[@x == 3]\" contains an invalid compare operator (==)!");
  EXPECT_EQ(sel(u"i[@x &lt; 3]"), "Exception: \"[@x &lt; 3]\" is an invalid filter expression!");
  EXPECT_EQ(sel(u"i[@a andb]"), "Exception: \"[@a andb]\" is an invalid filter expression!");
  EXPECT_EQ(sel(u"i[xs:true()]"), "Exception: \"[xs:true()]\" is an invalid filter expression!");
  EXPECT_EQ(sel(u"i[= 1]"), "EVxDomSyntax: The specified XPath statement is not valid!");
  EXPECT_EQ(sel(u"i[@x = 1.2.3]"), "EVxDomSyntax: Either a number or a string was expected!");
  EXPECT_EQ(Picked(r, u"i[(@n = 1]"), "1");  // an unclosed "(" ends with the predicate
  EXPECT_EQ(sel(u"i[@x = 1)]"), "Exception: \"[@x = 1)]\" is an invalid filter expression!");
  EXPECT_EQ(sel(u"i[nosuch(1)]"), "EVxDomSyntax: The filter contains an unsupported function (nosuch)!");
  EXPECT_EQ(sel(u"i[Contains(., \"a\")]"), "EVxDomSyntax: The filter contains an unsupported function (Contains)!");
  EXPECT_EQ(Raised([] { TVxXPathEquation::Parse(u"@a = 1]", false, DefaultXPathCollation); }),
            "Exception: \"@a = 1]\" is an invalid filter expression!");
  EXPECT_EQ(Raised([] {
              TVxXPathEquation e(soQualifiedName, DefaultXPathCollation);
              TVxXPathParser p(u"x");
              TVxXPathConstantTerm t(&e, p);
            }),
            "EVxDomSyntax: Either a number of a string was expected!");
}

TEST(XPathPredicates, EquationStructureAndEvaluationErrors) {
  auto root = TVxXPathEquation::Parse(u"[(@a) and (@b or @c)]", false, DefaultXPathCollation);
  ASSERT_NE(dynamic_cast<TVxXPathChildTerm*>(root->Value()), nullptr);
  EXPECT_EQ(root->BoolOperator(), opAnd);
  ASSERT_NE(root->Sibling(), nullptr);
  EXPECT_EQ(root->Children().size(), 1u);
  EXPECT_EQ(root->Sibling()->Children().front()->BoolOperator(), opOr);
  EXPECT_TRUE(root->GetSelectOptions().Contains(soCaseInsensitive));
  EXPECT_TRUE(root->GetSelectOptions().Contains(soQualifiedName));
  // Equations built by hand can break the rules the parser keeps.
  TXDoc doc(u"<r/>");
  TVxDOMObjectList list{doc.Root()};
  TVxXPathEquation e(soLocalName, TVxXPathCollationCodepoint::ClassRef());
  e.SetValue(std::make_unique<TVxXPathChildTerm>(&e));
  EXPECT_EQ(Raised([&] { e.Evaluate(list, 0); }), "Exception: An invalid expression was detected!\r\nCheck the parenthesis.");
  e.SetValue(std::make_unique<TVxXPathNot>(&e));
  EXPECT_EQ(Raised([&] { e.Evaluate(list, 0); }),
            "Exception: An invalid expression was detected!\r\nA \"not\" operator must have a child value.");
  e.SetValue(std::make_unique<TVxXPathConstantTerm>(&e, TVxVariant(true)));
  e.AddSibling(opAnd)->SetValue(std::make_unique<TVxXPathConstantTerm>(&e, TVxVariant(true)));
  EXPECT_TRUE(e.Evaluate(list, 0));
  e.AddFirstChild();  // sets the operator back to opNA
  EXPECT_EQ(Raised([&] { e.Evaluate(list, 0); }), "Exception: An invalid operation has been detected!");
  EXPECT_TRUE(e.GetSelectOptions().Contains(soCaseSensitive));
  EXPECT_TRUE(e.GetSelectOptions().Contains(soLocalName));
}

TEST(XPathPredicates, DeepNestingIsRefusedNotOverflowed) {
  TXDoc doc(u"<r><i/></r>");
  TVxDOMElement* r = doc.Root();
  const std::string tooDeep = "EVxDomSyntax: The expression nests deeper than 256 levels!";
  const int n = 100000;
  for (auto [open, close] : {std::pair{u"(", u")"}, std::pair{u"[", u"]"}, std::pair{u"not(", u")"},
                             std::pair{u"concat(", u")"}, std::pair{u"(", u""}}) {
    VxXMLString expression = u"i[";
    for (int k = 0; k < n; ++k) expression += open;
    expression += u"1";
    for (int k = 0; k < n; ++k) expression += close;
    EXPECT_EQ(Raised([&] { r->CreateNodeList(expression + u"]"); }), tooDeep) << VxUTF16ToUTF8(open);
  }
  // Paths inside predicates inside paths: read as the candidates call for them.
  VxXMLString path = u"i";
  for (int k = 0; k < n; ++k) path += u"[i";
  for (int k = 0; k < n; ++k) path += u"]";
  EXPECT_EQ(Picked(r, path), "");  // the i has no i child: nothing deeper is read
  VxXMLString nested;
  for (int k = 0; k < 2000; ++k) nested += u"<i>";
  for (int k = 0; k < 2000; ++k) nested += u"</i>";
  TXDoc deep(u"<r>" + nested + u"</r>");
  EXPECT_EQ(Raised([&] { deep.Root()->CreateNodeList(path); }), tooDeep);
  // Nesting well below the limit works.
  VxXMLString fine = u"i[";
  for (int k = 0; k < 100; ++k) fine += u"(";
  fine += u"node()";
  for (int k = 0; k < 100; ++k) fine += u")";
  EXPECT_EQ(Picked(r, fine + u"]"), "i");
}

// ---------------------------------------------------------------------------------------------
// Comparison and collations
// ---------------------------------------------------------------------------------------------

TEST(XPathComparison, ValuesAreClassifiedBeforeTheyAreCompared) {
  TXDoc doc(u"<r><v>10</v><v>9</v><f>2.5</f><s>abc</s><t>true</t></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(EvalText(u"v[0] > 9", r), "true");          // a number against text that is one
  EXPECT_EQ(EvalText(u"v[0] > v[1]", r), "false");      // two texts: compared as strings
  EXPECT_EQ(EvalText(u"\"10\" > \"9\"", r), "false");   // two strings: the collation
  EXPECT_EQ(EvalText(u"f > 2", r), "true");
  EXPECT_EQ(EvalText(u"f = 2.5", r), "true");
  EXPECT_EQ(EvalText(u"v = 9", r), "true");              // any of the v's
  EXPECT_EQ(EvalText(u"v = (9)", r), "true");
  EXPECT_EQ(EvalText(u"v = v", r), "true");
  EXPECT_EQ(EvalText(u"missing = 1", r), "null");
  EXPECT_EQ(EvalText(u"s < \"ABD\"", r), "true");
  EXPECT_EQ(EvalText(u"true() = 1", r), "true");         // a boolean against a number
  EXPECT_EQ(Raised([&] { Eval(u"s = 1", r); }).substr(0, 22), "EVariantTypeCastError:");
  EXPECT_EQ(EvalText(u"\"abc\" = \"ABC\"", r), "true");
  EXPECT_EQ(VxVarToBool(Eval(u"\"abc\" = \"ABC\"", r, TVxXPathCollationCodepoint::ClassRef())), false);
}

TEST(XPathComparison, CollationsByURIAndAsDefault) {
  TXDoc doc(u"<r><i n=\"1\">ABC</i><i n=\"2\">abc</i></r>");
  EXPECT_EQ(Picked(doc.Root(), u"i[. = \"abc\"]"), "1,2");
  doc.D->SetCollationURI(cVxXPathCollationURICodepoint);
  EXPECT_EQ(Picked(doc.Root(), u"i[. = \"abc\"]"), "2");
  EXPECT_EQ(Picked(doc.Root(), u"I"), "");  // names too
  doc.D->SetCollationURI(cVxXPathCollationURIASCIICI);
  EXPECT_EQ(Picked(doc.Root(), u"I"), "1,2");
  EXPECT_EQ(Raised([&] { doc.D->SetCollationURI(u"urn:nope"); }), "EVxDomSyntax: The collation \"urn:nope\" is not supported!");
  EXPECT_EQ(TVxXPathCollationASCIICI::ClassRef()->Pos(u"AB", u"xaby"), 2);
  EXPECT_EQ(TVxXPathCollationCodepoint::ClassRef()->Pos(u"AB", u"xaby"), 0);
  EXPECT_EQ(TVxXPathCollationASCIICI::ClassRef()->Compare(u"a", u"B"), -1);
  EXPECT_EQ(TVxXPathCollationCodepoint::ClassRef()->Compare(u"a", u"B"), 1);
}

namespace {
// An application's collation: texts are equal when their digits are.
class TDigitsOnly : public TVxXPathCollation {
 public:
  static VxString Digits(std::u16string_view S) {
    VxString d;
    for (char16_t c : S)
      if (c >= u'0' && c <= u'9') d.push_back(c);
    return d;
  }
  int Compare(std::u16string_view A, std::u16string_view B) const override {
    const int c = Digits(A).compare(Digits(B));
    return c < 0 ? -1 : c > 0 ? 1 : 0;
  }
  int Pos(std::u16string_view ASub, std::u16string_view AS) const override {
    const size_t at = Digits(AS).find(Digits(ASub));
    return at == VxString::npos ? 0 : static_cast<int>(at) + 1;
  }
  VxString ClassName() const override { return u"TDigitsOnly"; }
};
}  // namespace

TEST(XPathComparison, ApplicationsRegisterCollations) {
  static const TDigitsOnly digits;
  RegisterXPathCollation(u"urn:example:digits", &digits);
  TXDoc doc(u"<r><i n=\"1\">tel 555-12</i><i n=\"2\">55512</i><i n=\"3\">other</i></r>");
  doc.D->SetCollationURI(u"urn:example:digits");
  EXPECT_EQ(Picked(doc.Root(), u"*[. = \"(555) 12\"]"), "1,2");
  EXPECT_EQ(EvalText(u"compare(\"a1\", \"b1\", \"urn:example:digits\")", doc.Root()), "0");
}

// ---------------------------------------------------------------------------------------------
// Functions
// ---------------------------------------------------------------------------------------------

TEST(XPathFunctions, RegistriesInTheirOrder) {
  const std::vector<VxString> names = VxXPathFunctionNames();
  ASSERT_GE(names.size(), 66u);
  EXPECT_EQ(names[0], u"text");
  EXPECT_EQ(names[3], u"string");
  EXPECT_EQ(names[40], u"not");
  EXPECT_EQ(names[47], u"dateTime");
  EXPECT_EQ(names[65], u"adjust-time-to-timezone");
  EXPECT_EQ(VxXPathCollationByURI(cVxXPathCollationURIASCIICI), TVxXPathCollationASCIICI::ClassRef());
  EXPECT_EQ(VxXPathCollationByURI(cVxXPathCollationURICodepoint), TVxXPathCollationCodepoint::ClassRef());
}

namespace {
// An application's own function: twice its argument's number.
class TDoubleIt : public TVxXPathFunction {
 public:
  using TVxXPathFunction::TVxXPathFunction;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    return TVxVariant(2 * VxVarToInt64(Param(0)->Value(AList, AIndex)));
  }
};
class TTripleIt : public TDoubleIt {
 public:
  using TDoubleIt::TDoubleIt;
};
}  // namespace

TEST(XPathFunctions, ApplicationsRegisterTheirOwn) {
  RegisterXPathFunction(u"double-it", TVxXPathFunctionClass::Of<TDoubleIt>());
  RegisterXPathFunction(u"double-it", TVxXPathFunctionClass::Of<TTripleIt>());  // never reached
  RegisterXPathFunction(u"string", TVxXPathFunctionClass::Of<TDoubleIt>());     // the built-in stays
  TXDoc doc(u"<r><i n=\"1\" q=\"3\"/><i n=\"2\" q=\"4\"/></r>");
  EXPECT_EQ(Picked(doc.Root(), u"i[double-it(@q) = 8]"), "2");
  EXPECT_EQ(EvalText(u"string(\"x\")", doc.Root()), "x");
}

TEST(XPathFunctions, NodesAndArguments) {
  TXDoc doc(u"<r xmlns:p=\"urn:p\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><p:a>t</p:a>"
            u"<b xsi:nil=\"TRUE\"/><c><d>1</d><d>2</d></c><e> </e></r>");
  doc.D->SetDocumentURI(u"file:///doc.xml");
  TVxDOMElement* r = doc.Root();
  TVxDOMElement* a = r->FirstElement();
  EXPECT_EQ(EvalText(u"node-name()", a), "p:a");
  EXPECT_EQ(VxVarToStr(TVxXPathEquation::Parse(u"[node-name()]", true, DefaultXPathCollation)->Value()->Value({a}, 0)), u"a");
  EXPECT_EQ(EvalText(u"node-name(@xmlns:p)", r), "p");
  EXPECT_EQ(EvalText(u"node-name(b)", r), "r");  // not a declaration: still the context's name
  EXPECT_EQ(Raised([&] { Eval(u"node-name(zz)", r); }),
            "EVxXPathException XPDY0002: The node parameter of function \"fn:node-name(node)\" may not be nil!");
  EXPECT_EQ(Raised([&] { Eval(u"node-name(\"x\")", r); }),
            "EVxXPathException XPTY0004: The node parameter of function \"fn:node-name(node)\" must be a node!");
  EXPECT_EQ(Raised([&] { Eval(u"node-name(a, b)", r); }),
            "EVxDomSyntax: The \"fn:node-name(node)\" function may only have 1 parameter!");
  EXPECT_EQ(EvalText(u"nilled(b)", r), "true");
  EXPECT_EQ(EvalText(u"nilled()", r), "false");
  EXPECT_EQ(EvalText(u"nilled(@xmlns:p)", r), "null");
  EXPECT_EQ(EvalText(u"string()", a), "t");
  EXPECT_EQ(EvalText(u"string(c/d[1])", r), "2");
  EXPECT_EQ(Raised([&] { Eval(u"string(c/d)", r); }),
            "EVxXPathException XPTY0004: The node parameter of function \"fn:string(arg)\" must be a single node!");
  EXPECT_EQ(Raised([&] { Eval(u"string(zz)", r); }),
            "EVxXPathException XPDY0002: The node parameter of function \"fn:string(arg)\" may not be nil!");
  EXPECT_EQ(Raised([&] { Eval(u"string((1))", r); }),
            "EVxXPathException XPTY0004: The arg parameter of function \"fn:string(arg)\" may not be a sequence!");
  EXPECT_EQ(Raised([&] { Eval(u"string([1])", r); }),
            "EVxXPathException FOTY0014: The arg parameter of function \"fn:string(arg)\" may not be a map or array!");
  EXPECT_EQ(Raised([&] { Eval(u"string(1, 2)", r); }),
            "EVxDomSyntax: The \"fn:string(arg)\" function may contain 0 or 1 parameter, but not more!");
  EXPECT_EQ(EvalText(u"data(c/d[0])", r), "1");
  EXPECT_EQ(EvalText(u"base-uri()", a), "file:///doc.xml");
  EXPECT_EQ(Raised([&] { Eval(u"base-uri(\"x\")", r); }),
            "EVxXPathException XPTY0004: The arg parameter of function \"fn:base-uri(arg)\" must be a node!");
  EXPECT_EQ(EvalText(u"document-uri(..)", r), "file:///doc.xml");
  EXPECT_EQ(EvalText(u"document-uri()", r), "null");
  EXPECT_EQ(EvalText(u"text()", a), "true");
  EXPECT_EQ(EvalText(u"text()", r), "false");
  EXPECT_EQ(Picked(r, u"*[text()]"), "p:a");  // a white-space-only text is not kept while loading
}

TEST(XPathFunctions, ErrorReachesTheCallerAndTraceLogs) {
  TXDoc doc(u"<r><i/></r>");
  EXPECT_EQ(Raised([&] { doc.Root()->CreateNodeList(u"i[error()]"); }), "EVxXPathException FOER0000: An exception was raised");
  try {
    doc.Root()->CreateNodeList(u"i[error(\"MY0001\", \"it failed\", \"more\")]");
    FAIL();
  } catch (const EVxXPathException& e) {
    EXPECT_EQ(e.ErrorCode(), "MY0001");
    EXPECT_EQ(e.Message(), u"it failed");
    EXPECT_EQ(e.Detail(), "more");
  }
  EXPECT_EQ(Raised([&] { Eval(u"error(1, 2, 3, 4)", doc.Root()); }),
            "EVxDomSyntax: The \"fn:error()\" function has a maximum of 3 parameters!");
  std::vector<VxString> lines;
  VxSetLogSink([&](const VxString& L) { lines.push_back(L); });
  EXPECT_EQ(Picked(doc.Root(), u"i[trace(\"v\", \"label\")]"), "");  // no value: false
  Eval(u"trace(\"alone\", \"\")", doc.Root());
  VxSetLogSink({});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find(u"[XPath]"), VxString::npos);
  EXPECT_NE(lines[0].find(u"label; value=v"), VxString::npos);
  EXPECT_NE(lines[1].find(u": alone"), VxString::npos);
  EXPECT_EQ(Raised([&] { Eval(u"trace(1)", doc.Root()); }),
            "EVxDomSyntax: The \"fn:trace(value, label)\" function must contain 2 parameters!");
}

TEST(XPathFunctions, Numbers) {
  TXDoc doc(u"<r><n>2.6</n></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(EvalText(u"abs(-3)", r), "null");  // "-3" is no constant: a path that selects nothing
  EXPECT_EQ(EvalText(u"abs(number(\"-3\"))", r), "3");
  EXPECT_EQ(EvalText(u"abs(2.5)", r), "2.5");
  EXPECT_EQ(EvalText(u"ceiling(2.1)", r), "3");
  EXPECT_EQ(EvalText(u"floor(2.9)", r), "2");
  EXPECT_EQ(EvalText(u"round(2.5)", r), "2");  // halves to even
  EXPECT_EQ(EvalText(u"round(3.5)", r), "4");
  EXPECT_EQ(EvalText(u"half-to-even(2.5)", r), "2");
  EXPECT_EQ(EvalText(u"round(true())", r), "1");
  EXPECT_EQ(EvalText(u"round(n)", r), "null");  // a string gives null
  EXPECT_EQ(EvalText(u"round(number(n))", r), "3");
  EXPECT_EQ(EvalText(u"number()", r->FirstElement()), "2.6");
  EXPECT_EQ(std::isnan(VxVarToDouble(Eval(u"number(\"abc\")", r))), true);
  EXPECT_EQ(Raised([&] { Eval(u"abs()", r); }), "EVxDomSyntax: The \"fn:abs(num)\" function must contain 1 parameter!");
  EXPECT_EQ(Raised([&] { Eval(u"round(1, 2)", r); }), "EVxDomSyntax: The \"fn:round(num)\" function must contain 1 parameter!");
  EXPECT_EQ(Raised([&] { Eval(u"number(1, 2)", r); }),
            "EVxDomSyntax: The \"fn:number(arg)\" function may contain 0 or 1 parameter, but not more!");
}

TEST(XPathFunctions, Strings) {
  TXDoc doc(u"<r><s>  Hello   World </s><x>xaby</x></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(EvalText(u"codepoints-to-string((72, 105))", r), "Hi");
  EXPECT_EQ(EvalText(u"codepoints-to-string()", r), "");
  EXPECT_EQ(EvalText(u"string-to-codepoints(\"Hi\")", r), "(72,105)");
  EXPECT_EQ(EvalText(u"compare(\"a\", \"B\")", r), "-1");
  EXPECT_EQ(EvalText(u"compare(\"a\", \"B\", \"http://www.w3.org/2005/xpath-functions/collation/codepoint\")", r), "1");
  EXPECT_EQ(EvalText(u"compare(zz, \"B\")", r), "null");
  EXPECT_EQ(EvalText(u"codepoint-equal(\"a\", \"a\")", r), "true");
  EXPECT_EQ(EvalText(u"codepoint-equal(\"a\", 1)", r), "null");
  EXPECT_EQ(EvalText(u"concat()", r), "");
  EXPECT_EQ(EvalText(u"concat(\"a\", 1, \"b\")", r), "a1b");
  EXPECT_EQ(EvalText(u"string-join((\"a\", \"b\", \"c\"), \"-\")", r), "a-b-c");
  EXPECT_EQ(EvalText(u"string-join((\"a\", \"b\"))", r), "ab");
  EXPECT_EQ(EvalText(u"substring(\"abcdef\", 2, 3)", r), "bcd");
  EXPECT_EQ(EvalText(u"substring(\"abcdef\", 4)", r), "def");
  EXPECT_EQ(EvalText(u"substring(\"abcdef\", 0, 2)", r), "ab");
  EXPECT_EQ(EvalText(u"string-length()", r->FindElement(u"x")), "4");
  EXPECT_EQ(EvalText(u"string-length(s)", r), "16");
  EXPECT_EQ(Picked(r, u"*[string-length() > 4]"), "s");
  EXPECT_EQ(EvalText(u"normalize-space(s)", r), "Hello World");
  EXPECT_EQ(EvalText(u"normalize-unicode(\"e\u0301\")", r), "\u00e9");
  EXPECT_EQ(EvalText(u"normalize-unicode(\"\u00e9\", \"nfd\")", r), "e\u0301");
  EXPECT_EQ(EvalText(u"simplify(\"  Caf\u00e9 \")", r), "Cafe");
  EXPECT_EQ(EvalText(u"upper-case(\"ab\u00e9\")", r), "AB\u00e9");  // ASCII letters only
  EXPECT_EQ(EvalText(u"lower-case(\"AB\")", r), "ab");
  EXPECT_EQ(EvalText(u"translate(\"a-b-c\", \"-\", \"+\")", r), "a+b+c");
  EXPECT_EQ(EvalText(u"translate(\"abc\", \"bc\", \"x\")", r), "ax");  // a substring, not characters
  EXPECT_EQ(EvalText(u"contains(x, \"AB\")", r), "true");
  EXPECT_EQ(VxVarToBool(Eval(u"contains(x, \"AB\")", r, TVxXPathCollationCodepoint::ClassRef())), false);
  EXPECT_EQ(EvalText(u"starts-with(x, \"XA\")", r), "true");
  EXPECT_EQ(EvalText(u"ends-with(x, \"BY\")", r), "true");
  EXPECT_EQ(EvalText(u"substring-before(\"a=b\", \"=\")", r), "a");
  EXPECT_EQ(EvalText(u"substring-after(\"a=b\", \"=\")", r), "b");
  EXPECT_EQ(EvalText(u"tokenize(\" a  b\tc \")", r), "(\"a\", \"b\", \"c\")");
  // The messages, exactly.
  auto raised = [&](const VxXMLString& E) { return Raised([&] { Eval(E, r); }); };
  EXPECT_EQ(raised(u"codepoints-to-string(1)"),
            "EVxDomSyntax: The \"fn:codepoints-to-string((int,int,...))\" requires a list of integers!");
  EXPECT_EQ(raised(u"compare(\"a\")"), "EVxDomSyntax: The \"fn:compare(comp1, comp2, collation*)\" function must contain at least parameters!");
  EXPECT_EQ(raised(u"compare(1, 2, 3, 4)"),
            "EVxDomSyntax: The \"fn:compare(comp1, comp2, collation*)\" function has a maximum of 3 paramaters!");
  EXPECT_EQ(raised(u"compare(1, 2, \"urn:x\")"), "EVxDomSyntax: The collation \"urn:x\" is not supported!");
  EXPECT_EQ(raised(u"string-join()"),
            "EVxDomSyntax: The \"fn:string-join((string,string,...),sep*)\" function must contain at least 1 parameter!");
  EXPECT_EQ(raised(u"substring(1, 2, 3, 4)"),
            "EVxDomSyntax: The \"fn:substring(string,start,len)\" function must contain 3 or less parameters!");
  EXPECT_EQ(raised(u"string-length(1, 2)"), "EVxDomSyntax: Too many parameters specified for \"fn:string-length(string)\"!");
  EXPECT_EQ(raised(u"normalize-unicode(\"a\", \"NFX\")"),
            "EVxDomSyntax: An unsupported normalizationForm was specified for \"fn:normalize-unicode(string, normalizationForm)\"!");
  EXPECT_EQ(raised(u"upper-case()"), "EVxDomSyntax: The \"fn:upper-case(string)\" function must have a single parameter!");
  EXPECT_EQ(raised(u"translate(1, 2)"),
            "EVxDomSyntax: The \"fn:translate(string1,string2,string3)\" function must have 3 parameters!");
  EXPECT_EQ(raised(u"substring-after(1)"),
            "EVxDomSyntax: The \"fn:substring-before(string1,string2)\" function must have 2 parameters!");
  EXPECT_EQ(raised(u"matches(x, \"a.*\")"),
            "EVxDomSyntax: The \"fn:matches()\" function requires regular-expression support, which this build does not have!");
  EXPECT_EQ(raised(u"replace(x, \"a\", \"b\")"),
            "EVxDomSyntax: The \"fn:replace()\" function requires regular-expression support, which this build does not have!");
  EXPECT_EQ(raised(u"tokenize(x, \",\")"),
            "EVxDomSyntax: The \"fn:tokenize(string,pattern,flags)\" function requires regular-expression support, which "
            "this build does not have!");
  EXPECT_EQ(raised(u"tokenize()"), "EVxDomSyntax: Invalid parameter for \"fn:tokenize()\"!");
}

TEST(XPathFunctions, Booleans) {
  TXDoc doc(u"<r><a/></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(EvalText(u"true()", r), "true");
  EXPECT_EQ(EvalText(u"false()", r), "false");
  EXPECT_EQ(EvalText(u"boolean(a)", r), "true");
  EXPECT_EQ(EvalText(u"boolean(b)", r), "false");
  EXPECT_EQ(EvalText(u"boolean(())", r), "false");
  EXPECT_EQ(EvalText(u"boolean((1))", r), "true");
  EXPECT_EQ(EvalText(u"boolean(\"\")", r), "false");
  EXPECT_EQ(EvalText(u"boolean(0)", r), "false");
  EXPECT_EQ(EvalText(u"fn:not(a)", r), "false");
  EXPECT_EQ(EvalText(u"fn:not(0)", r), "true");
  EXPECT_EQ(Raised([&] { Eval(u"boolean()", r); }), "EVxDomSyntax: The \"fn:boolean(arg)\" function must have 1 parameter!");
}

TEST(XPathFunctions, DurationsDatesAndTimes) {
  test::TZoneGuard zone("CET-1CEST,M3.5.0,M10.5.0/3");
  TXDoc doc(u"<r/>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(EvalText(u"years-from-duration(\"P3Y5M\")", r), "3");
  EXPECT_EQ(EvalText(u"months-from-duration(\"-P3Y5M\")", r), "-5");
  EXPECT_EQ(EvalText(u"days-from-duration(\"P2DT4H\")", r), "2");
  EXPECT_EQ(EvalText(u"hours-from-duration(\"P2DT4H\")", r), "4");
  EXPECT_EQ(EvalText(u"minutes-from-duration(\"PT90M\")", r), "90");
  EXPECT_EQ(EvalText(u"seconds-from-duration(\"PT1.5S\")", r), "1.5");
  EXPECT_EQ(EvalText(u"years-from-duration(\"\")", r), "null");
  EXPECT_EQ(Raised([&] { Eval(u"years-from-duration(\"3Y\")", r); }),
            "EVxXPathException FORG0006: An invalid parameter was passed to fn:years-from-duration(arg)");
  EXPECT_EQ(Raised([&] { Eval(u"seconds-from-duration()", r); }),
            "EVxDomSyntax: The \"fn:seconds-from-duration(arg)\" function must have 1 parameter!");
  EXPECT_EQ(EvalText(u"dateTime(\"2024-02-29\", \"13:45:00.5\")", r), "2024-02-29T13:45:00.5");
  EXPECT_EQ(EvalText(u"dateTime(\"2024-02-29\", \"13:45:00Z\")", r), "2024-02-29T13:45:00Z");
  EXPECT_EQ(EvalText(u"dateTime(\"2024-02-29+01:00\", \"13:45:00\")", r), "2024-02-29T13:45:00+01:00");
  EXPECT_EQ(Raised([&] { Eval(u"dateTime(\"13:45:00\", \"2024-02-29\")", r); }),
            "EVxXPathException FORG0008: An invalid parameter was passed to fn:dateTime(arg)");
  EXPECT_EQ(Raised([&] { Eval(u"dateTime(\"x\")", r); }), "EVxDomSyntax: The \"fn:dateTime(date, time)\" function must have 2 parameters!");
  const VxXMLString dt = u"\"2024-02-29T13:45:06.25-05:30\"";
  EXPECT_EQ(EvalText(u"year-from-dateTime(" + dt + u")", r), "2024");
  EXPECT_EQ(EvalText(u"month-from-dateTime(" + dt + u")", r), "2");
  EXPECT_EQ(EvalText(u"day-from-dateTime(" + dt + u")", r), "29");
  EXPECT_EQ(EvalText(u"hours-from-dateTime(" + dt + u")", r), "13");
  EXPECT_EQ(EvalText(u"minutes-from-dateTime(" + dt + u")", r), "45");
  EXPECT_EQ(EvalText(u"seconds-from-dateTime(" + dt + u")", r), "6.25");
  EXPECT_EQ(EvalText(u"timezone-from-dateTime(" + dt + u")", r), "-PT5H30M");
  EXPECT_EQ(EvalText(u"timezone-from-dateTime(\"2024-02-29T13:45:06\")", r), "null");
  EXPECT_EQ(EvalText(u"timezone-from-date(\"2024-02-29Z\")", r), "PT0S");
  EXPECT_EQ(EvalText(u"year-from-date(\"2024-02-29\")", r), "2024");
  EXPECT_EQ(EvalText(u"hours-from-time(\"13:45:00\")", r), "13");
  EXPECT_EQ(Raised([&] { Eval(u"year-from-date()", r); }), "EVxDomSyntax: The \"fn:year-from-date(date)\" function must have 1 parameter!");
  EXPECT_EQ(Raised([&] { Eval(u"hours-from-time(1, 2)", r); }),
            "EVxDomSyntax: The \"fn:hours-from-time(time)\" function must have 1 parameter!");
  EXPECT_EQ(EvalText(u"adjust-dateTime-to-timezone(\"2024-03-01T00:30:00+01:00\", \"-PT5H\")", r), "2024-02-29T18:30:00-05:00");
  EXPECT_EQ(EvalText(u"adjust-dateTime-to-timezone(\"2024-03-01T00:30:00\", \"PT2H\")", r), "2024-03-01T00:30:00+02:00");
  EXPECT_EQ(EvalText(u"adjust-time-to-timezone(\"01:00:00Z\", \"-PT2H\")", r), "23:00:00-02:00");
  // Without a zone argument: the machine's zone now (CET or CEST here).
  const std::string local = EvalText(u"adjust-dateTime-to-timezone(\"2024-01-01T00:00:00Z\")", r);
  EXPECT_TRUE(local == "2024-01-01T01:00:00+01:00" || local == "2024-01-01T02:00:00+02:00") << local;
  EXPECT_EQ(Raised([&] { Eval(u"adjust-date-to-timezone(1, 2, 3)", r); }),
            "EVxDomSyntax: The \"fn:adjust-date-to-timezone(dt,timezone)\" function may not have more than 2 parameters!");
}
