// The XML DOM: the two-object lifecycle and reference counting, node lists, names and
// namespaces, values and typing, the writer's text forms, loading and saving in every encoding,
// round trips of real documents, the JSON form, and deep documents.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "uVxXMLDOM.h"
#include "vx_test_streams.h"
#include "vx_test_zone.h"

#if defined(VX_HAVE_NLOHMANN_JSON)
#include <nlohmann/json.hpp>
#endif

using namespace vx;

namespace {

std::string U8(std::u16string_view S) { return VxUTF16ToUTF8(S); }

// A document loaded from text, with the document object at hand.
struct TDoc {
  TVxIntf<IVxDOMDocument> Intf = VxCreateDOM();
  TVxDOMDocument* D = Intf->DOMDocument();
  TDoc() = default;
  explicit TDoc(const VxXMLString& AXML) { D->LoadXML(AXML); }
  TVxDOMElement* Root() const { return D->DocumentElement(); }
};

template <class F>
VxString MessageOf(F AAction) {
  try {
    AAction();
  } catch (const Exception& e) {
    return e.Message();
  }
  return u"<no exception>";
}

template <class E, class F>
VxString MessageOfClass(F AAction) {
  try {
    AAction();
  } catch (const E& e) {
    return e.Message();
  } catch (const Exception& e) {
    return u"<" + e.ClassName() + u": " + e.Message() + u">";
  }
  return u"<no exception>";
}

std::string Bytes(TVxMemoryStream& S) { return std::string(reinterpret_cast<const char*>(S.Memory()), static_cast<size_t>(S.Size())); }

std::string SaveBytes(TVxDOMDocument* ADoc, uint16_t ACodePage, bool ABOM, bool AFormat) {
  TVxMemoryStream out;
  ADoc->SaveToStream(out, ACodePage, ABOM, AFormat);
  return Bytes(out);
}

// A textual picture of a tree, for comparing trees.
std::string Dump(TVxDOMNode* ANode) {
  std::string s;
  for (TVxDOMNode* n = ANode->FirstChild(); n;) {
    int depth = 0;
    for (TVxDOMNode* p = n->ParentNode(); p && p != ANode; p = p->ParentNode()) ++depth;
    s += std::string(static_cast<size_t>(depth) * 2, ' ') + U8(VxDOMNodeTypes[n->NodeType()]) + " " +
         U8(n->GetQualifiedName()) + " [" + U8(n->GetNodeValue()) + "]\n";
    if (n->FirstChild()) {
      n = n->FirstChild();
      continue;
    }
    while (n && n != ANode && !n->NextSibling()) n = n->ParentNode();
    if (!n || n == ANode) break;
    n = n->NextSibling();
  }
  return s;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Lifecycle and reference counting
// ---------------------------------------------------------------------------------------------

TEST(DOMLifecycle, TheCompanionIsMadeOnTheFirstInterfaceRequest) {
  TDoc doc(u"<r><a/></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  EXPECT_EQ(a->DOMImpl(), nullptr);
  {
    TVxIntf<IVxDOMElement> ai = a->Intf<IVxDOMElement>();
    ASSERT_TRUE(ai);
    EXPECT_NE(a->DOMImpl(), nullptr);
    EXPECT_EQ(ai->DOMElement(), a);
    EXPECT_EQ(ai->GetNodeName(), u"a");
    EXPECT_TRUE(VxSupports<IVxDOMNode>(ai));
    EXPECT_FALSE(VxSupports<IVxDOMText>(ai));
    // Holding a node holds its ancestors: their companions exist and count the reference.
    EXPECT_NE(doc.Root()->DOMImpl(), nullptr);
  }
  // The last reference gone: the companion goes, the node stays in its tree.
  EXPECT_EQ(a->DOMImpl(), nullptr);
  EXPECT_EQ(doc.Root()->FirstElement(), a);
}

TEST(DOMLifecycle, ReleaseWithoutACompanionIsRefused) {
  TDoc doc(u"<r/>");
  EXPECT_EQ(MessageOf([&] { doc.Root()->_Release(); }),
            u"DOM Objects do not support interfaces. All interface requests should be handled by the DOMIMpl object.");
}

TEST(DOMLifecycle, ARemovedNodeLivesUntilItsLastReferenceGoes) {
  TDoc doc(u"<r><a x=\"1\"><b/></a><c/></r>");
  TVxIntf<IVxDOMElement> a = doc.Root()->FirstElement()->Intf<IVxDOMElement>();
  doc.Root()->RemoveChild(a->DOMElement());
  EXPECT_EQ(doc.Root()->ElementCount(), 1);
  EXPECT_EQ(a->GetParentNode(), nullptr);
  EXPECT_EQ(a->DOMNode()->DOMDocument(), nullptr);  // detached: no document
  EXPECT_EQ(a->GetXML(), u"<a x=\"1\"><b /></a>");
  // It can go into another tree.
  TDoc other(u"<o/>");
  other.Root()->AppendChild(a->DOMNode());
  EXPECT_EQ(other.Root()->GetXML(), u"<o><a x=\"1\"><b /></a></o>");
  EXPECT_EQ(a->DOMNode()->DOMDocument(), other.D);
  // Releasing the last reference to a node in a tree does not free it.
  a = nullptr;
  EXPECT_EQ(other.Root()->ElementCount(), 1);
}

TEST(DOMLifecycle, HeldNodesKeepTheirDocumentAlive) {
  TVxIntf<IVxDOMElement> b;
  {
    TDoc doc(u"<r><a><b>text</b></a></r>");
    b = doc.Root()->FirstElement()->FirstElement()->Intf<IVxDOMElement>();
  }  // the document's own reference is gone; b holds its ancestors, the document included
  EXPECT_EQ(b->GetText(), u"text");
  TVxIntf<IVxDOMDocument> owner = b->GetOwnerDocument();
  ASSERT_TRUE(owner);
  EXPECT_EQ(owner->GetDocumentElement()->GetNodeName(), u"r");
  EXPECT_EQ(b->NodePath(false, VxXMLString()), u"/r/a/b");
}

TEST(DOMLifecycle, ADetachedNodeOutlivesItsDocument) {
  TVxIntf<IVxDOMNode> kept;
  {
    TDoc doc(u"<r xmlns:p=\"urn:p\"><p:a>x</p:a></r>");
    kept = doc.Root()->FirstElement()->Intf<IVxDOMNode>();
    doc.Root()->RemoveChild(kept->DOMNode());
  }  // the document is freed: nothing holds it
  EXPECT_EQ(kept->GetText(), u"x");
  EXPECT_EQ(kept->GetNodeName(), u"p:a");
  EXPECT_EQ(kept->GetNamespaceURI(), u"urn:p");  // kept as its own (pending) namespace
  EXPECT_EQ(kept->GetOwnerDocument(), nullptr);
}

TEST(DOMLifecycle, NodesKeepTheirValuesAndNamesAfterTheirDocumentIsGone) {
  // Nodes, values and names live in the memory of the document that made them; that memory
  // stays while any of them lives, wherever the node went since.
  TVxIntf<IVxDOMNode> kept;
  TDoc other(u"<o/>");
  TVxDOMElement* moved = nullptr;
  {
    TDoc doc(u"<r><a k=\"a long attribute value\">some text that is not short</a><m>moving on</m></r>");
    TVxDOMElement* a = doc.Root()->FirstElement();
    kept = a->Intf<IVxDOMNode>();
    doc.Root()->RemoveChild(a);
    moved = doc.Root()->FirstElement();
    other.Root()->AppendChild(moved);
  }
  auto* a = static_cast<TVxDOMElement*>(kept->DOMNode());
  EXPECT_EQ(a->GetXML(), u"<a k=\"a long attribute value\">some text that is not short</a>");
  a->SetQualifiedName(u"p:b:c");  // renamed: names come from the node's own memory
  EXPECT_EQ(a->GetLocalName(), u"b:c");
  a->SetQualifiedName(u"b:c");
  EXPECT_EQ(a->GetPrefix(), u"b");
  EXPECT_EQ(a->GetLocalName(), u"c");
  a->AddElement(u"child")->AddText(u"added after the document went");
  a->SetAttribute(u"k", u"changed");
  EXPECT_EQ(a->GetXML(), u"<b:c k=\"changed\">some text that is not short<child>added after the document went</child></b:c>");
  EXPECT_EQ(other.D->GetXML(), u"<o><m>moving on</m></o>");
  moved->FirstChild()->SetNodeValue(u"moved and changed");
  EXPECT_EQ(other.D->GetXML(), u"<o><m>moved and changed</m></o>");
}

TEST(DOMLifecycle, ReloadingReusesTheDocument) {
  TDoc doc;
  for (int round = 0; round < 5; ++round) {
    std::string text = "<r n=\"" + std::to_string(round) + "\">";
    for (int k = 0; k < 2000 * (round % 3 + 1); ++k) text += "<i a=\"" + std::to_string(k) + "\">text " + std::to_string(k) + "</i>";
    text += "</r>";
    doc.D->LoadXML(text);
    EXPECT_EQ(doc.Root()->GetAttribute(u"n"), VxIntToStr(round));
    EXPECT_EQ(doc.Root()->ElementCount(), 2000 * (round % 3 + 1));
    EXPECT_EQ(doc.Root()->LastElement()->GetText(), u"text " + VxIntToStr(2000 * (round % 3 + 1) - 1));
    EXPECT_EQ(SaveBytes(doc.D, cVxCodePageUTF8, false, false), text);
  }
  doc.D->Clear();
  EXPECT_EQ(doc.D->NodeCount(), 0);
  doc.D->LoadXML(u"<small/>");
  EXPECT_EQ(doc.D->GetXML(), u"<small />");
}

TEST(DOMLifecycle, ClearFreesChildrenAndDetachesHeldOnes) {
  TDoc doc(u"<r><a/><b/><c/></r>");
  TVxIntf<IVxDOMNode> b = doc.Root()->Elements()->GetItem(1)->Intf<IVxDOMNode>();
  doc.Root()->Clear();
  EXPECT_EQ(doc.Root()->NodeCount(), 0);
  EXPECT_EQ(b->GetParentNode(), nullptr);
  EXPECT_EQ(b->GetNodeName(), u"b");
}

TEST(DOMLifecycle, FreeingAHeldNodeIsRefused) {
  TDoc doc(u"<r><a/></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  TVxIntf<IVxDOMNode> held = a->Intf<IVxDOMNode>();
  EXPECT_EQ(MessageOf([&] { a->Free(); }), u"An instance of TVxDOMElement is destroyed while it's refcount is not 0!");
  EXPECT_EQ(a->ParentNode(), nullptr);  // it was taken out of its tree first
}

TEST(DOMLifecycle, CanAutoDestroyFollowsParentAndReferences) {
  TDoc doc(u"<r><a/></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  EXPECT_FALSE(a->CanAutoDestroy());  // in a tree
  TVxIntf<IVxDOMNode> held = a->Intf<IVxDOMNode>();
  doc.Root()->RemoveChild(a);
  EXPECT_FALSE(a->CanAutoDestroy());  // a companion exists
  EXPECT_EQ(a->ParentNode(), nullptr);
}

TEST(DOMLifecycle, DocumentsInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &failures] {
      for (int k = 0; k < 50; ++k) {
        TDoc doc(u"<r n=\"" + VxIntToStr(t) + u"\"><a>1</a><b>2</b></r>");
        doc.Root()->AddElement(u"c")->SetAsInteger(k);
        TDoc again(doc.D->GetXML());
        if (again.Root()->FindElement(u"c")->GetAsInteger() != k) ++failures;
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(failures, 0);
}

// ---------------------------------------------------------------------------------------------
// Node lists
// ---------------------------------------------------------------------------------------------

TEST(DOMLists, FirstAndLastOfAnEmptyListSayFirst) {
  TDoc doc(u"<r/>");
  const VxString message = u"Failed to get the first node!\r\nThe list contains no nodes.";
  EXPECT_EQ(MessageOfClass<EVxDomNotFound>([&] { doc.Root()->ChildNodes()->First(); }), message);
  EXPECT_EQ(MessageOfClass<EVxDomNotFound>([&] { doc.Root()->ChildNodes()->Last(); }), message);
}

TEST(DOMLists, NextAndPreviousAreAsymmetric) {
  TDoc doc(u"<r><a/><b/><c/></r>");
  TDoc other(u"<x/>");
  TVxDOMNodeList* list = doc.Root()->ChildNodes();
  TVxDOMNode *a = list->GetItem(0), *b = list->GetItem(1), *c = list->GetItem(2);
  EXPECT_EQ(list->Next(a), b);
  EXPECT_EQ(list->Next(c), nullptr);
  EXPECT_EQ(list->Next(other.Root()), a);  // not a member: the first item
  EXPECT_EQ(list->Previous(b), a);
  EXPECT_EQ(list->Previous(a), nullptr);
  EXPECT_EQ(MessageOfClass<EListError>([&] { list->Previous(other.Root()); }),
            u"The specified referencenode is not part of this list!");
}

TEST(DOMLists, FindScansFromTheLastItem) {
  TDoc doc(u"<r><item n=\"1\"/><other/><item n=\"2\"/></r>");
  auto* hit = static_cast<TVxDOMElement*>(doc.Root()->Elements()->Find(u"item"));
  EXPECT_EQ(hit->GetAttribute(u"n"), u"2");
  EXPECT_EQ(doc.Root()->Elements()->Find(u"ITEM"), hit);  // the document's collation ignores case
  EXPECT_EQ(doc.Root()->Elements()->Find(u"ITEM", TVxDOMSelectOptions{soCaseSensitive}), nullptr);
  EXPECT_EQ(MessageOf([&] { doc.Root()->Elements()->Find(u"x", TVxDOMSelectOptions{soCaseSensitive, soCaseInsensitive}); }),
            u"It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  EXPECT_EQ(MessageOf([&] { doc.Root()->Elements()->Find(u"x", TVxDOMSelectOptions{soCreate}); }), u"It is not possible to specify soCreate!");
  EXPECT_EQ(MessageOfClass<EVxDomNotFound>([&] { doc.Root()->Elements()->Find(u"none", TVxDOMSelectOptions{soRaise}); }),
            u"There is no node for the given name \"none\".");
  EXPECT_EQ(doc.Root()->Elements()->Find(u"none", TVxDOMSelectOptions{}), nullptr);
}

TEST(DOMLists, FreeStandingListsFollowTheListRule) {
  TDoc doc(u"<r><a/><b/><c/><d/></r>");
  TVxDOMElement *a = doc.Root()->Elements()->GetItem(0), *b = doc.Root()->Elements()->GetItem(1),
                *c = doc.Root()->Elements()->GetItem(2), *d = doc.Root()->Elements()->GetItem(3);
  TVxIntf<TVxDOMNodeList> list = doc.Root()->CreateElementList();
  list->Clear();
  list->Add(b);                  // [b]
  list->Add(a, rdpFirst);        // [a b]
  list->Add(d, b, rdpAfter);     // [a b d]
  list->Add(c, d, rdpBefore);    // [a b c d]
  auto names = [&] {
    std::string s;
    for (int k = 0; k < list->Count(); ++k) s += U8(list->GetItem(k)->GetLocalName());
    return s;
  };
  EXPECT_EQ(names(), "abcd");
  TDoc other(u"<x/>");
  list->Add(other.Root(), doc.Root(), rdpBefore);  // reference not found: first
  EXPECT_EQ(names(), "xabcd");
  EXPECT_EQ(list->Delete(other.Root()), other.Root());
  EXPECT_EQ(list->Delete(other.Root()), nullptr);
  EXPECT_THROW(list->Add(a, rdpBefore, nullptr), EAssertionFailed);
  // A node's own lists change with the tree only.
  EXPECT_THROW(doc.Root()->ChildNodes()->Add(a), EVxDomNoModificationAllowed);
}

TEST(DOMLists, TypedListsCountTheirKinds) {
  TDoc doc(u"<r/>");
  TVxDOMElement* r = doc.Root();
  r->AddText(u"t");
  r->AddComment(u"c");
  r->AddElement(u"e");
  EXPECT_EQ(r->ElementCount(), 1);
  EXPECT_EQ(r->CharNodes()->Count(), 2);
  EXPECT_EQ(r->NodeCount(), 3);
  r->AddAttribute(u"a", u"1");
  EXPECT_EQ(r->NodeCount(), 4);
  EXPECT_EQ(r->AttributeCount(), 1);
  EXPECT_EQ(r->Attributes()->GetItem(0)->GetQualifiedName(), u"a");
  EXPECT_EQ(r->ChildNodes()->GetItem(3)->NodeType(), ntAttribute);  // added last, so last
  EXPECT_EQ(r->GetXML(), u"<r a=\"1\">t<!--c--><e /></r>");
}

TEST(DOMLists, TypedListsKeepTheListRuleOrder) {
  // A text inserted before an element gets index 0 among the character nodes, wherever it
  // stands among all children.
  TDoc doc(u"<r>one<e/>two</r>");
  TVxDOMElement* r = doc.Root();
  r->InsertText(u"zero", r->FirstElement(), rdpBefore);
  EXPECT_EQ(r->GetXML(), u"<r>onezero<e />two</r>");
  TVxDOMNodeList* chars = r->CharNodes();
  ASSERT_EQ(chars->Count(), 3);
  EXPECT_EQ(chars->GetItem(0)->GetNodeValue(), u"zero");
  EXPECT_EQ(chars->GetItem(1)->GetNodeValue(), u"one");
  EXPECT_EQ(chars->GetItem(2)->GetNodeValue(), u"two");
  r->RemoveChild(chars->GetItem(1));
  EXPECT_EQ(chars->Count(), 2);
  EXPECT_EQ(chars->GetItem(1)->GetNodeValue(), u"two");
}

TEST(DOMLists, ReadingAListInOrderIsLinear) {
  TDoc doc;
  TVxDOMElement* r = doc.D->CreateRootNode(u"r");
  for (int k = 0; k < 100000; ++k) r->AddElement(u"e");
  TVxDOMElementList* list = r->Elements();
  int seen = 0;
  for (int k = 0; k < list->Count(); ++k) seen += list->GetItem(k) != nullptr;
  for (int k = list->Count() - 1; k >= 0; --k) seen += list->GetItem(k) != nullptr;
  EXPECT_EQ(seen, 200000);
}

// ---------------------------------------------------------------------------------------------
// Names and namespaces
// ---------------------------------------------------------------------------------------------

TEST(DOMNames, QualifiedNamesSplitAtTheFirstColon) {
  TDoc doc(u"<r/>");
  TVxDOMElement* e = doc.Root()->AddElement(u"a:b:c");
  EXPECT_EQ(e->GetPrefix(), u"a");
  EXPECT_EQ(e->GetLocalName(), u"b:c");
  EXPECT_EQ(e->GetQualifiedName(), u"a:b:c");
  e->SetQualifiedName(u"plain");
  EXPECT_EQ(e->GetPrefix(), u"");
  EXPECT_EQ(e->GetQualifiedName(), u"plain");
  e->SetPrefix(u"p");
  EXPECT_EQ(e->GetQualifiedName(), u"p:plain");
}

TEST(DOMNames, NodePaths) {
  TDoc doc(u"<root><item code=\"x\" id=\"7\"><name>n</name></item></root>");
  TVxDOMElement* item = doc.Root()->FirstElement();
  EXPECT_EQ(doc.D->NodePath(), u"");
  EXPECT_EQ(doc.Root()->NodePath(), u"/root");
  EXPECT_EQ(item->FindAttribute(u"code")->NodePath(), u"/root/item/@code");
  EXPECT_EQ(item->NodePath(false, u"ID"), u"/root/item[@ID=\"7\"]");
  EXPECT_EQ(item->FirstElement()->FirstChild()->NodePath(), u"/root/item/name/#text");
  TVxIntf<IVxDOMNode> held = item->Intf<IVxDOMNode>();
  doc.Root()->RemoveChild(item);
  EXPECT_EQ(item->FirstElement()->NodePath(), u"item/name");  // no parent: no leading "/"
}

TEST(DOMNamespaces, ResolvedFromTheDeclarationsInScope) {
  TDoc doc(u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a P:x=\"1\"><b/><q:c xmlns:Q=\"urn:q\"/></p:a></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  EXPECT_EQ(doc.Root()->GetNamespaceURI(), u"urn:d");
  EXPECT_EQ(a->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(a->FindAttribute(u"P:x")->GetNamespaceURI(), u"urn:p");  // prefixes match ignoring case
  EXPECT_EQ(a->FindElement(u"b")->GetNamespaceURI(), u"urn:d");
  EXPECT_EQ(a->FindElement(u"q:c")->GetNamespaceURI(), u"urn:q");
  EXPECT_EQ(a->FindNamespace(u"urn:p")->GetQualifiedName(), u"xmlns:p");
  EXPECT_EQ(a->FindElement(u"q:c")->Namespaces()->Count(), 3);
  TVxDOMAttribute* xmlLang = a->AddAttribute(u"xml:lang", u"en");
  EXPECT_EQ(xmlLang->GetNamespaceURI(), cVxXMLNamespace);
  EXPECT_TRUE(doc.Root()->FindAttribute(u"xmlns")->IsNamespace());
  EXPECT_EQ(doc.Root()->FindAttribute(u"xmlns")->NamespacePrefix(), u"");
  EXPECT_EQ(doc.Root()->FindAttribute(u"xmlns:p")->NamespacePrefix(), u"p");
  EXPECT_THROW(xmlLang->NamespacePrefix(), EAssertionFailed);
  // An attribute named XMLNS in capitals declares too.
  TVxDOMAttribute* caps = doc.Root()->AddAttribute(u"XMLNS", u"urn:caps");
  EXPECT_TRUE(caps->IsNamespace());
}

TEST(DOMNamespaces, APendingNamespaceIsDeclaredWhenTheElementIsAttached) {
  TDoc doc(u"<r xmlns:p=\"urn:p\"/>");
  auto* e = doc.D->CreateNode<TVxDOMElement>();
  e->SetQualifiedName(u"p:x");
  e->SetNamespaceURI(u"urn:p");  // detached: stored, pending
  EXPECT_EQ(e->GetNamespaceURI(), u"urn:p");
  doc.Root()->AppendChild(e);
  EXPECT_EQ(e->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(e->AttributeCount(), 0);  // the root's declaration fits
  auto* f = doc.D->CreateNode<TVxDOMElement>();
  f->SetQualifiedName(u"y");
  f->SetNamespaceURI(u"urn:y");
  doc.Root()->AppendChild(f);
  EXPECT_EQ(f->GetAttribute(u"xmlns"), u"urn:y");  // a default declaration was needed
  EXPECT_EQ(doc.Root()->GetXML(), u"<r xmlns:p=\"urn:p\"><p:x /><y xmlns=\"urn:y\" /></r>");
}

TEST(DOMNamespaces, AMoveBetweenTreesKeepsTheNamespace) {
  TDoc from(u"<r xmlns:p=\"urn:p\"><p:a><p:b/></p:a></r>");
  TDoc to(u"<t/>");
  TVxDOMElement* a = from.Root()->FirstElement();
  to.Root()->AppendChild(a);  // moved
  EXPECT_EQ(from.Root()->ElementCount(), 0);
  EXPECT_EQ(a->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(a->FirstElement()->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(to.Root()->GetXML(), u"<t><p:a xmlns:p=\"urn:p\"><p:b /></p:a></t>");
  TVxDOMElement* ns = to.Root()->AddElement(u"n", u"urn:n");
  EXPECT_EQ(ns->GetNamespaceURI(), u"urn:n");
}

// ---------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------

TEST(DOMValues, TextIsStoredEscapedCommentsAndCDATARaw) {
  TDoc doc(u"<r/>");
  TVxDOMText* t = doc.Root()->AddText(u"a<b");
  EXPECT_EQ(t->Value(), u"a&lt;b");
  EXPECT_EQ(t->GetNodeValue(), u"a<b");
  t->SetNodeValue(u"'q' \"d\" &");
  EXPECT_EQ(t->Value(), u"&apos;q&apos; &quot;d&quot; &amp;");
  TVxDOMComment* c = doc.Root()->AddComment(u"a<b");
  TVxDOMCDATA* d = doc.Root()->AddCDATA(u"a<b");
  EXPECT_EQ(doc.Root()->GetXML(), u"<r>&apos;q&apos; &quot;d&quot; &amp;<!--a<b--><![CDATA[a<b]]></r>");
  EXPECT_EQ(c->GetNodeValue(), u"a<b");
  EXPECT_EQ(d->GetNodeValue(), u"a<b");
  TVxDOMAttribute* a = doc.Root()->AddAttribute(u"v", u"'q' \"d\" <");
  EXPECT_EQ(a->Value(), u"'q' &quot;d&quot; &lt;");
  EXPECT_EQ(a->GetNodeValue(), u"'q' \"d\" <");
}

TEST(DOMValues, CharacterDataEditsOnePlacesOfTheUnescapedValue) {
  TDoc doc(u"<r>a&amp;c</r>");
  auto* t = static_cast<TVxDOMText*>(doc.Root()->FirstChild());
  EXPECT_EQ(t->Length(), 3);
  t->InsertStr(2, u"<");
  EXPECT_EQ(t->GetNodeValue(), u"a<&c");
  t->DeleteStr(2, 1);
  t->ReplaceStr(3, 1, u"xyz");
  EXPECT_EQ(t->GetNodeValue(), u"a&xyz");
  t->AppendStr(u"!");
  EXPECT_EQ(t->Substring(2, 3), u"&xy");
  EXPECT_EQ(t->Value(), u"a&amp;xyz!");
  TVxDOMText* rest = t->SplitText(2);
  EXPECT_EQ(t->GetNodeValue(), u"a&");
  EXPECT_EQ(rest->GetNodeValue(), u"xyz!");
  EXPECT_EQ(t->NextSibling(), rest);
  TVxDOMText* all = t->SplitText(0);
  EXPECT_EQ(t->GetNodeValue(), u"");
  EXPECT_EQ(all->GetNodeValue(), u"a&");
  doc.Root()->NormalizeTextNodes();
  EXPECT_EQ(doc.Root()->NodeCount(), 1);
  EXPECT_EQ(doc.Root()->GetText(), u"a&xyz!");
}

TEST(DOMValues, PlainNodesRefuseValuesAndInnerXML) {
  TDoc doc(u"<r/>");
  auto* plain = static_cast<TVxDOMNode*>(doc.Root()->AddChild(TVxDOMNodeClass::Of<TVxDOMNode>()));
  EXPECT_EQ(plain->GetNodeValue(), u"");
  EXPECT_EQ(MessageOfClass<EVxDomNotSupported>([&] { plain->SetNodeValue(u"x"); }),
            u"The SetNodeValue is not supported by the TVxDomNode");
  EXPECT_EQ(MessageOfClass<EVxDomNotSupported>([&] { plain->SetInnerXML(u"<x/>"); }),
            u"The SetInnerXML is not supported by the TVxDomNode");
}

TEST(DOMValues, InnerXMLIsReadAndReplaced) {
  TDoc doc(u"<r a=\"1\"><x>old</x></r>");
  doc.Root()->SetInnerXML(u"<b>t</b>text<!--c-->");
  EXPECT_EQ(doc.Root()->GetXML(), u"<r a=\"1\"><b>t</b>text<!--c--></r>");
  EXPECT_EQ(doc.Root()->GetInnerXML(), u"<b>t</b>text<!--c-->");
}

TEST(DOMValues, TypedValues) {
  test::TZoneGuard zone("UTC0");
  TDoc doc(u"<r/>");
  TVxDOMElement* e = doc.Root()->AddElement(u"v");
  e->SetAsInteger(-42);
  EXPECT_EQ(e->GetAsInteger(), -42);
  e->SetAsInt64(1LL << 40);
  EXPECT_EQ(e->GetAsInt64(), 1LL << 40);
  e->SetAsDouble(100000.5);
  EXPECT_EQ(e->GetText(), u"100000.5");
  e->SetAsBoolean(true);
  EXPECT_TRUE(e->GetAsBoolean());
  e->SetAsDateTime(VxEncodeDateTime(2024, 2, 29, 13, 45, 0, 0));
  EXPECT_EQ(e->GetText(), u"2024-02-29T13:45:00");
  EXPECT_EQ(e->GetAsDateTime(), VxEncodeDateTime(2024, 2, 29, 13, 45, 0, 0));
  e->SetAsString(u"a<b");
  EXPECT_EQ(e->GetXML(), u"<v>a&lt;b</v>");
  EXPECT_EQ(e->GetAsAnsiString(), "a<b");
}

TEST(DOMValues, VariantsWithSchemaInstanceTyping) {
  TDoc doc(u"<r/>");
  doc.D->SetUseSchemaInstance(true);
  EXPECT_EQ(doc.Root()->GetAttribute(u"xmlns:xsi"), cVxXSINamespace);
  TVxDOMElement* e = doc.Root()->AddElement(u"n");
  e->SetAsVariant(TVxVariant(int32_t(7)));
  EXPECT_EQ(e->GetXML(), u"<n xsi:type=\"xsd:int\">7</n>");
  TVxVariant v = e->GetAsVariant();
  EXPECT_EQ(v.VarType(), varInteger);
  EXPECT_EQ(VxVarToInt(v), 7);
  e->SetAsVariant(TVxVariant::Null());
  EXPECT_EQ(e->GetAttribute(u"xsi:nil"), u"true");
  EXPECT_TRUE(e->GetAsVariant().IsNull());
  e->SetAsVariant(TVxVariant(2.5));
  EXPECT_FALSE(e->HasAttribute(u"xsi:nil"));
  EXPECT_EQ(e->GetAttribute(u"xsi:type"), u"xsd:double");
  EXPECT_EQ(VxVarToDouble(e->GetAsVariant()), 2.5);
  e->SetAttribute(u"xsi:type", u"xsd:nonsense");
  EXPECT_EQ(MessageOfClass<EVxDomException>([&] { e->GetAsVariant(); }), u"The type attribute does not contain valid typeinfo.");
  // Without schema-instance typing only the text is stored.
  TDoc plain(u"<r/>");
  TVxDOMElement* p = plain.Root()->AddElement(u"n");
  p->SetAsVariant(TVxVariant(int32_t(7)));
  EXPECT_EQ(p->GetXML(), u"<n>7</n>");
  EXPECT_EQ(VxVarToStr(p->GetAsVariant()), u"7");
}

TEST(DOMValues, CDATAByIndex) {
  TDoc doc(u"<r/>");
  TVxDOMCDATA* first = doc.Root()->GetCDATA(0);  // created
  EXPECT_EQ(doc.Root()->GetCDATACount(), 1);
  EXPECT_EQ(doc.Root()->GetCDATA(0), first);
  EXPECT_EQ(MessageOfClass<EListError>([&] { doc.Root()->GetCDATA(2); }), u"There is no CDATA element with index 2!");
}

TEST(DOMValues, PreserveSpace) {
  TDoc doc(u"<r><a xml:space=\"preserve\"><b>  </b></a><c/></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  EXPECT_TRUE(a->GetPreserveSpace());
  EXPECT_TRUE(a->FirstElement()->GetPreserveSpace());
  EXPECT_EQ(a->FirstElement()->GetText(), u"  ");  // blank text kept where space is preserved
  EXPECT_FALSE(doc.Root()->FindElement(u"c")->GetPreserveSpace());
  a->SetPreseveSpace(false);
  EXPECT_EQ(a->GetAttribute(u"xml:space"), u"default");
  EXPECT_FALSE(a->FirstElement()->GetPreserveSpace());
  doc.Root()->SetPreseveSpace(true);
  EXPECT_TRUE(doc.Root()->FindElement(u"c")->GetPreserveSpace());
  EXPECT_FALSE(a->GetPreserveSpace());  // its own xml:space holds
  // Blank text elsewhere is not kept.
  TDoc blank(u"<r> <a> </a> </r>");
  EXPECT_EQ(blank.Root()->NodeCount(), 1);
  EXPECT_EQ(blank.Root()->FirstElement()->NodeCount(), 0);
}

// ---------------------------------------------------------------------------------------------
// Lookups by name
// ---------------------------------------------------------------------------------------------

TEST(DOMLookups, ByNameWithOptions) {
  TDoc doc(u"<r a=\"1\"><Item/><p:item xmlns:p=\"urn:p\"/></r>");
  TVxDOMElement* r = doc.Root();
  EXPECT_EQ(r->ElementByName(u"item")->GetQualifiedName(), u"Item");
  EXPECT_EQ(r->ElementByName(u"item", {soLocalName})->GetQualifiedName(), u"p:item");  // the last match
  EXPECT_EQ(r->ElementByName(u"item", {soCaseSensitive}), nullptr);
  EXPECT_EQ(MessageOfClass<EVxDomNotFound>([&] { r->ElementByName(u"none", {soRaise}); }),
            u"There is no child with the name \"none\"!");
  EXPECT_EQ(MessageOfClass<EVxDomNotFound>([&] { r->ElementByName(u"none", u"urn:x", {soRaise}); }),
            u"There is no child with the localname \"none\" and namespace \"urn:x\"!");
  EXPECT_EQ(r->ElementByName(u"item", u"urn:p", {})->GetPrefix(), u"p");
  TVxDOMElement* made = r->ElementByName(u"made", {soCreate});
  EXPECT_EQ(r->LastElement(), made);
  EXPECT_EQ(MessageOf([&] { r->NodeByName(u"x", {soCreate}); }), u"A NodeClass is required when soCreate is specified!");
  // soCreate wins over soRaise here: the node is made.
  EXPECT_NE(r->AttributeByName(u"b", {soCreate, soRaise}), nullptr);
  EXPECT_EQ(r->AttributeByName(u"A")->GetNodeValue(), u"1");
}

TEST(DOMLookups, ElementListByIndexNameAndDot) {
  TDoc doc(u"<r><a/><b><c/></b></r>");
  TVxDOMElementList* list = doc.Root()->Elements();
  EXPECT_EQ(list->GetItemEx(TVxVariant(int32_t(1)), coRaise)->GetLocalName(), u"b");
  EXPECT_EQ(list->GetItemEx(TVxVariant(u"A"), coRaise)->GetLocalName(), u"a");
  EXPECT_EQ(list->GetItemEx(TVxVariant(u"."), coRaise), doc.Root());
  EXPECT_EQ(list->GetItemEx(TVxVariant(u"none"), coReturnNil), nullptr);
  EXPECT_EQ(MessageOfClass<EListError>([&] { list->GetItemEx(TVxVariant(u"none"), coRaise); }),
            u"There is no childelement with the name none!");
  EXPECT_EQ(MessageOfClass<EListError>([&] { list->GetItemEx(TVxVariant(1.5), coRaise); }), u"Invalid idx value");
  EXPECT_EQ(list->GetItemEx(TVxVariant(u"b/c"), coRaise)->GetLocalName(), u"c");
  EXPECT_EQ(list->GetItemEx(TVxVariant(u"new"), coCreate)->GetLocalName(), u"new");
  EXPECT_EQ(doc.Root()->ElementCount(), 3);
}

// ---------------------------------------------------------------------------------------------
// The document
// ---------------------------------------------------------------------------------------------

TEST(DOMDocument, OneRootElement) {
  TDoc doc;
  TVxDOMElement* root = doc.D->CreateRootNode(u"r");
  EXPECT_EQ(MessageOfClass<EVxDomException>([&] { doc.D->CreateRootNode(u"second"); }),
            u"This DOM document already contains a rootnode!");
  EXPECT_EQ(doc.D->DocumentElement(), root);
  EXPECT_EQ(MessageOfClass<EVxDomNotSupported>([&] { doc.D->CloneNode(true); }),
            u"It is not possible to clone a TVxDOMDocument using the CloneNode method!");
}

TEST(DOMDocument, TheCompanionRefusesThePlainStreamCalls) {
  TDoc doc(u"<r/>");
  TVxMemoryStream s;
  EXPECT_EQ(MessageOfClass<EVxDomNotSupported>([&] { doc.Intf->LoadFromStream(s); }),
            u"The LoadFromStream is not supported by the DOM Document. Use the LoadFromStreamEx instead.");
  EXPECT_EQ(MessageOfClass<EVxDomNotSupported>([&] { doc.Intf->SaveToStream(s); }),
            u"The SaveToStream is not supported by the DOM Document. Use the SaveToStreamEx instead.");
  doc.Intf->SaveToStreamEx(s, false, false);
  EXPECT_EQ(Bytes(s), "<r />");
  s.SetPosition(0);
  TDoc again;
  again.Intf->LoadFromStreamEx(s);
  EXPECT_EQ(again.Root()->GetLocalName(), u"r");
}

TEST(DOMDocument, EncodingAndTheDeclaration) {
  TDoc doc(u"<r/>");
  doc.D->SetEncoding(std::string("ISO-8859-1"));
  EXPECT_EQ(doc.D->FirstChild()->GetXML(), u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>");
  EXPECT_EQ(doc.D->CodePage(), 28591);
  TDoc noEnc(u"<?xml version=\"1.0\"?><r/>");
  noEnc.D->SetEncoding(std::string("windows-1252"));
  EXPECT_EQ(noEnc.D->GetProcessingInstruction(u"xml"), u"version=\"1.0\" encoding=\"windows-1252\"");
  noEnc.D->SetEncoding(std::string("UTF-16"));
  EXPECT_EQ(noEnc.D->GetProcessingInstruction(u"xml"), u"version=\"1.0\" encoding=\"UTF-16\"");
  EXPECT_EQ(MessageOfClass<EVxDomNotSupported>([&] { noEnc.D->SetEncoding(std::string("klingon")); }),
            u"The specified encoding (klingon) is not supported!");
  noEnc.D->SetProcessingInstruction(u"xml", u"version=\"1.0\" encoding='koi8-r'");
  EXPECT_EQ(noEnc.D->GetEncoding(), "koi8-r");
  EXPECT_EQ(noEnc.D->CodePage(), 20866);
  EXPECT_EQ(MessageOfClass<EVxDomNotFound>([&] { noEnc.D->GetProcessingInstruction(u"none"); }),
            u"There is no processinginstruction \"none\"!");
  doc.D->SetProcessingInstruction(u"xml-stylesheet", u"href=\"s.xsl\"");
  EXPECT_EQ(doc.D->LastChild()->GetXML(), u"<?xml-stylesheet href=\"s.xsl\"?>");
}

TEST(DOMDocument, TheWritersTextForms) {
  TDoc doc(u"<?xml version=\"1.0\"?><!--top--><r a=\"1\"><b>text</b><c><d/></c><e>mixed<f/>tail</e>"
           u"<g xml:space=\"preserve\"><h/><!--kept--></g><?pi data?><?empty?></r>");
  EXPECT_EQ(doc.D->GetFormattedXML(),
            u"<?xml version=\"1.0\"?>\r\n<!--top-->\r\n<r a=\"1\">\r\n  <b>text</b>\r\n  <c>\r\n    <d />\r\n  </c>\r\n"
            u"  <e>mixed\r\n    <f />tail\r\n  </e><g xml:space=\"preserve\"><h /><!--kept--></g>\r\n  <?pi data?>\r\n"
            u"  <?empty?>\r\n</r>");
  EXPECT_EQ(doc.D->GetXML(),
            u"<?xml version=\"1.0\"?><!--top--><r a=\"1\"><b>text</b><c><d /></c><e>mixed<f />tail</e>"
            u"<g xml:space=\"preserve\"><h /><!--kept--></g><?pi data?><?empty?></r>");
}

TEST(DOMDocument, ByteOrderMarksAndTheFirstLineBreak) {
  TDoc doc(u"<r><a/></r>");
  const std::string utf16 = SaveBytes(doc.D, cVxCodePageUTF16, true, true);
  ASSERT_GE(utf16.size(), 4u);
  EXPECT_EQ(utf16.substr(0, 4), std::string("\xFF\xFE<\0", 4));  // no line break after the mark
  const std::string utf8 = SaveBytes(doc.D, cVxCodePageUTF8, true, true);
  EXPECT_EQ(utf8.substr(0, 6), "\xEF\xBB\xBF\r\n<");  // the element rule knows only UTF-16's mark
  EXPECT_EQ(SaveBytes(doc.D, cVxCodePageUTF8, false, true), "<r>\r\n  <a />\r\n</r>");
  EXPECT_EQ(SaveBytes(doc.D, 28591, true, false), "<r><a /></r>");  // no mark for other code pages
}

TEST(DOMDocument, SavedInEveryCodePageAndReadBack) {
  const VxXMLString text = u"<r a=\"\u00E9\">\u65E5\u672C \u00FC \u20AC</r>";
  for (uint16_t cp : {uint16_t(65001), uint16_t(1200), uint16_t(1201), uint16_t(932), uint16_t(28591), uint16_t(1252),
                      uint16_t(20866), uint16_t(54936)}) {
    SCOPED_TRACE(cp);
    TDoc doc(text);
    doc.D->SetCodePage(cp);
    TVxMemoryStream out;
    doc.D->SaveToStream(out, true, false);
    out.SetPosition(0);
    TDoc back;
    back.D->LoadFromStream(out);
    EXPECT_EQ(back.D->GetEncoding(), U8(VxCodePageName(cp)));
    const TVxEncoding& enc = TVxEncoding::GetEncoding(cp);
    // What the code page can hold comes back; the rest is "?".
    VxXMLString expected = enc.ConvertA(enc.ConvertW(doc.Root()->GetText()));
    EXPECT_EQ(back.Root()->GetText(), expected);
  }
}

TEST(DOMDocument, UTF16WithoutAMarkReadsBackByItsZeroBytes) {
  // Saved without a mark (or in UTF-16BE, which never gets one) and without a declaration, a
  // document reads back and keeps its code page.
  for (uint16_t cp : {cVxCodePageUTF16, cVxCodePageUTF16BE}) {
    SCOPED_TRACE(cp);
    TDoc doc(u"<r a=\"\u00E9\">\u65E5\u672C<b/></r>");
    for (bool mark : {false, true}) {
      const std::string saved = SaveBytes(doc.D, cp, mark, false);
      TDoc back;
      back.D->LoadXML(saved);
      EXPECT_EQ(back.D->CodePage(), cp);
      EXPECT_EQ(back.Root()->GetAttribute(u"a"), u"\u00E9");
      EXPECT_EQ(SaveBytes(back.D, cp, mark, false), saved);
      TVxMemoryStream again;
      back.D->SaveToStream(again, true, false);  // its own code page; a mark for UTF-16LE only
      EXPECT_EQ(Bytes(again), SaveBytes(doc.D, cp, true, false));
    }
  }
  // Blanks may come first; a UTF-8 document is never taken for UTF-16.
  TDoc blanks;
  blanks.D->LoadXML(std::string("\0\r\0\n\0 \0<\0r\0/\0>", 14));
  EXPECT_EQ(blanks.D->CodePage(), cVxCodePageUTF16BE);
  EXPECT_EQ(blanks.Root()->GetLocalName(), u"r");
  for (const char* utf8 : {"<r/>", " <r/>", "<?xml version=\"1.0\"?><r/>", "\n<r>\xC3\xA9</r>"}) {
    TDoc plain;
    plain.D->LoadXML(std::string_view(utf8));
    EXPECT_EQ(plain.D->CodePage(), cVxCodePageUTF8) << utf8;
    EXPECT_EQ(plain.Root()->GetLocalName(), u"r");
  }
}

TEST(DOMDocument, LoadsFromFilesStreamsAndPipes) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / std::string("vx_dom_caf\xE9.xml");
  {
    std::ofstream f(path, std::ios::binary);
    f << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r>caf\xE9</r>";
  }
  TDoc doc;
  doc.D->LoadFromFile(path);
  EXPECT_EQ(doc.Root()->GetText(), u"caf\u00E9");
  EXPECT_EQ(doc.D->GetEncoding(), "ISO-8859-1");
  doc.D->SaveToFile(path, false, false);
  TDoc again;
  again.D->LoadFromFile(path);
  EXPECT_EQ(again.Root()->GetText(), u"caf\u00E9");
  std::filesystem::remove(path);
  // A trickling stream with a tiny window.
  test::TWindowGuard window(16);
  test::TTrickleStream trickle("<r><a x=\"1\">" + std::string(5000, 'y') + "</a></r>", 3);
  TDoc streamed;
  streamed.D->LoadFromStream(trickle);
  EXPECT_EQ(streamed.Root()->FirstElement()->GetText().size(), 5000u);
}

TEST(DOMDocument, AFailedLoadReportsAndKeepsWhatWasRead) {
  TDoc doc;
  int fatal = 0;
  int64_t line = 0, col = 0;
  int code = 0;
  VxXMLString message;
  doc.D->SetOnParseFatalError([&](TVxDOMNode*, IVxSAXLocator* L, const VxXMLString& M, int C) {
    ++fatal;
    line = L->GetLineNr();
    col = L->GetColNr();
    message = M;
    code = C;
  });
  try {
    doc.D->LoadXML(u"<r>\n  <a/>\n  <b c></b></r>");
    FAIL();
  } catch (const EVxXMLParseError& e) {
    EXPECT_EQ(e.ErrorCode(), 7);
    EXPECT_EQ(e.LineNr(), 3);
  }
  EXPECT_EQ(fatal, 1);
  EXPECT_EQ(code, 7);
  EXPECT_EQ(line, 3);
  EXPECT_GT(col, 1);
  EXPECT_EQ(message, u"The document is not wellformed!\r\nMissing attribute value.");
  EXPECT_EQ(doc.D->LoadState(), lsInteractive);
  ASSERT_TRUE(doc.Root());
  EXPECT_EQ(doc.Root()->FirstElement()->GetLocalName(), u"a");
  // The document is usable: it loads again.
  doc.D->LoadXML(u"<ok/>");
  EXPECT_EQ(doc.D->LoadState(), lsComplete);
  EXPECT_EQ(doc.Root()->GetLocalName(), u"ok");
  // An encoding the document cannot handle is named.
  TDoc klingon;
  EXPECT_EQ(MessageOf([&] { klingon.D->LoadXML(std::string_view("<?xml version=\"1.0\" encoding=\"klingon\"?><r/>")); }),
            u"The specified encoding (klingon) is not supported!");
}

TEST(DOMDocument, UTF8OutputKeepsPairsWholeAcrossWritesAndFlushes) {
  // Text with pairs and lone halves at every offset around the writer's 32 KB flush, written
  // one piece at a time (names, attribute values, texts), must come out as one conversion of
  // the whole would give it.
  for (size_t pad = 32760; pad < 32780; ++pad) {
    TDoc doc(u"<r/>");
    VxXMLString text(pad - 5, u'x');  // "<r a=" ... the pair lands around the flush point
    text += u"\U0001F600\U0001F601";
    doc.Root()->SetAttribute(u"a", text);
    doc.Root()->AddText(VxXMLString(1, char16_t(0xD83D)));                // a high half alone ...
    doc.Root()->AddText(VxXMLString(1, char16_t(0xDE00)) + u"\u00e9");  // ... whose low half follows in the next write
    doc.Root()->AddText(VxXMLString(1, char16_t(0xDC00)));               // a low half alone
    doc.Root()->AddText(VxXMLString(1, char16_t(0xD800)));               // a high half at the very end
    const std::string bytes = SaveBytes(doc.D, cVxCodePageUTF8, false, false);
    EXPECT_EQ(bytes, VxUTF16ToUTF8(doc.D->GetXML())) << pad;
    EXPECT_EQ(bytes.substr(bytes.size() - 16), "\xF0\x9F\x98\x80\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD</r>") << pad;
  }
}

TEST(DOMDocument, ValuesTheLenientReaderLetsThroughAreSavedSafely) {
  // A '"' read between apostrophes, a bare "&" and a "<" in an attribute: the saved text is
  // well-formed and reads back to the same values.
  TDoc doc(u"<r a='say \"hi\"' b=\"1<2\">fish & chips &amp; &lt; &#65;</r>");
  EXPECT_EQ(doc.Root()->GetAttribute(u"a"), u"say \"hi\"");
  EXPECT_EQ(doc.Root()->GetAttribute(u"b"), u"1<2");
  EXPECT_EQ(doc.Root()->GetText(), u"fish & chips & < A");
  const VxXMLString saved = doc.D->GetXML();
  EXPECT_EQ(saved, u"<r a=\"say &quot;hi&quot;\" b=\"1&lt;2\">fish &amp; chips &amp; &lt; &#65;</r>");
  TDoc back(saved);
  EXPECT_EQ(back.Root()->GetAttribute(u"a"), u"say \"hi\"");
  EXPECT_EQ(back.Root()->GetText(), u"fish & chips & < A");
}

TEST(DOMDocument, AStrayEndTagAloneLoadsWithoutRootAndSavesWhatTheReaderRefuses) {
  // The reader takes an end tag without start for the end of nothing, so the document has no
  // root element; it saves to the empty text, which the reader refuses (a "<" must follow the
  // prolog). The same holds for a document that was never given a root.
  for (const VxXMLString& text : {VxXMLString(u"</a>"), VxXMLString(u"<!--c--></a>")}) {
    TDoc doc(text);
    EXPECT_EQ(doc.Root(), nullptr);
    TDoc again;
    EXPECT_EQ(U8(MessageOfClass<EVxXMLParseError>([&] { again.D->LoadXML(doc.D->GetXML()); })),
              "The document is not wellformed!\r\n\"<\" expected, but \"\" found!");
  }
}

TEST(DOMDocument, JSONTextLoadsAsXMLEvents) {
  TDoc doc;
  doc.D->LoadFromJSON(VxJSONString(u"{\"a\": [1, \"x\", null], \"b\": {\"c\": true}}"));
  EXPECT_EQ(doc.Root()->GetLocalName(), u"object");
  EXPECT_EQ(doc.Root()->FindElement(u"aArray")->ElementCount(), 3);
  EXPECT_EQ(doc.Root()->FindElement(u"b")->FindElement(u"c")->GetText(), u"true");
}

// ---------------------------------------------------------------------------------------------
// Copies
// ---------------------------------------------------------------------------------------------

TEST(DOMCopies, CloneNodeShallowAndDeep) {
  TDoc doc(u"<r xmlns:p=\"urn:p\"><p:a x=\"1\"><b>t</b><!--c--></p:a></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  TVxIntf<IVxDOMNode> shallow = a->CloneNode(false)->Intf<IVxDOMNode>();
  EXPECT_EQ(shallow->GetXML(), u"<p:a x=\"1\" />");
  EXPECT_EQ(shallow->GetNamespaceURI(), u"urn:p");
  TVxIntf<IVxDOMNode> deep = a->CloneNode(true)->Intf<IVxDOMNode>();
  EXPECT_EQ(deep->GetXML(), u"<p:a x=\"1\"><b>t</b><!--c--></p:a>");
  TDoc other(u"<o/>");
  other.Root()->AppendChild(deep->DOMNode());
  // The namespace came along as pending and is declared where the copy lands.
  EXPECT_EQ(other.Root()->GetXML(), u"<o><p:a x=\"1\" xmlns:p=\"urn:p\"><b>t</b><!--c--></p:a></o>");
}

// ---------------------------------------------------------------------------------------------
// Round trips of real documents
// ---------------------------------------------------------------------------------------------

namespace {
std::vector<std::string> RealDocuments() {
  std::vector<std::string> files;
  for (const char* name : {"catalog.xml", "greeting.UTF-8.xml", "greeting.UTF-16.xml", "greeting.ISO-8859-1.xml"})
    files.push_back(std::string(VX_SAMPLES_DIR) + "/" + name);
  for (const char* path : {"/usr/share/mime/packages/freedesktop.org.xml", "/usr/share/xml/iso-codes/iso_639-3.xml",
                           "/usr/share/xml/iso-codes/iso_3166-1.xml"})
    if (std::filesystem::exists(path)) files.push_back(path);
  return files;
}
}  // namespace

TEST(DOMRoundTrips, LoadSaveLoadGivesTheSameTreeInEveryEncoding) {
  for (const std::string& file : RealDocuments()) {
    SCOPED_TRACE(file);
    TDoc doc;
    doc.D->LoadFromFile(std::filesystem::path(file));
    const std::string tree = Dump(doc.D);
    ASSERT_FALSE(tree.empty());
    for (uint16_t cp : {uint16_t(65001), uint16_t(1200), uint16_t(28591)}) {
      for (bool format : {false, true}) {
        SCOPED_TRACE(std::to_string(cp) + (format ? " formatted" : ""));
        doc.D->SetCodePage(cp);
        const std::string first = SaveBytes(doc.D, cp, true, format);
        const std::string second = SaveBytes(doc.D, cp, true, format);
        EXPECT_EQ(first, second);  // saving twice gives the same bytes
        TDoc back;
        back.D->LoadXML(first.data(), static_cast<int64_t>(first.size()));
        if (cp == 28591) continue;  // characters outside Latin-1 became "?"
        // Formatting adds blank text only where space is not preserved, which loading drops.
        EXPECT_EQ(Dump(back.D), Dump(doc.D));
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------
// The JSON form
// ---------------------------------------------------------------------------------------------

TEST(DOMJSON, MembersForAttributesElementsRunsAndText) {
  TDoc doc(u"<cat:catalog xmlns:cat=\"urn:c\" lang=\"en\"><book id=\"b1\"><t>A &amp; B</t></book>"
           u"<book id=\"b2\"/><note>mixed<b/>text</note><empty/></cat:catalog>");
  EXPECT_EQ(doc.D->GetAsJSON(),
            u"{\"cat.catalog\":{\"_xmlns.cat\":\"urn:c\",\"_lang\":\"en\",\"book\":[{\"_id\":\"b1\",\"t\":\"A & B\"},"
            u"{\"_id\":\"b2\"}],\"note\":{\"b\":{},\"#text\":\"mixedtext\"},\"empty\":{}}}");
  EXPECT_EQ(TDoc(u"<r/>").D->GetAsFormattedJSON(), u"{\r\n  \"r\": {}\r\n}");
  EXPECT_EQ(TDoc(u"<r><a>1</a><b>2</b></r>").D->GetAsFormattedJSON(),
            u"{\r\n  \"r\": {\r\n    \"a\": \"1\",\r\n    \"b\": \"2\"\r\n  }\r\n}");
}

TEST(DOMJSON, ValuesAreTypedThroughTheTypingAttributes) {
  TDoc doc(u"<r xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
           u"<i xsi:type=\"xsd:int\">42</i><d xsi:type=\"xsd:double\">1.50</d><b xsi:type=\"xsd:boolean\">true</b>"
           u"<n xsi:nil=\"true\"/><s>7</s></r>");
  EXPECT_EQ(doc.D->GetAsJSON(), u"{\"r\":{\"i\":42,\"d\":1.50,\"b\":true,\"n\":null,\"s\":\"7\"}}");
}

#if defined(VX_HAVE_NLOHMANN_JSON)
TEST(DOMJSON, JSONReadIntoADocumentWritesBackToAnEqualValue) {
  const char* texts[] = {
      R"({"id": 1042, "customer": {"name": "Zoë", "vip": true}, "items": [{"sku": "A-1", "qty": 2}, "gift wrap", null], "note": "line\nbreak \u00e9"})",
      R"([1, 2.5, "x", true, false, null, [1, [2, 3]], {"a": {}}, []])",
      R"({"empty": [], "nested": {"list": [[], [[]]], "s": "\"quoted\" \\ / \t"}, "big": 12345678901234567890})",
      R"({"unicode": "\u65e5\u672c\ud83c\udf0d", "ctl": "\u0001\u001f"})",
  };
  for (const char* text : texts) {
    SCOPED_TRACE(text);
    TDoc doc;
    doc.D->LoadFromJSON(VxUTF8ToUTF16(text));
    for (bool formatted : {false, true}) {
      const std::string written = U8(formatted ? doc.D->GetAsFormattedJSON() : doc.D->GetAsJSON());
      nlohmann::json parsed;
      ASSERT_NO_THROW(parsed = nlohmann::json::parse(written)) << written;
      EXPECT_EQ(parsed, nlohmann::json::parse(text)) << written;
    }
  }
}

TEST(DOMJSON, EveryDocumentWritesValidJSON) {
  for (const std::string& file : RealDocuments()) {
    SCOPED_TRACE(file);
    TDoc doc;
    doc.D->LoadFromFile(std::filesystem::path(file));
    for (bool formatted : {false, true}) {
      const std::string written = U8(formatted ? doc.D->GetAsFormattedJSON() : doc.D->GetAsJSON());
      nlohmann::json parsed;
      EXPECT_NO_THROW(parsed = nlohmann::json::parse(written));
    }
  }
}
#endif

// ---------------------------------------------------------------------------------------------
// Deep documents and hostile structure
// ---------------------------------------------------------------------------------------------

TEST(DOMDeep, AMillionNestedElementsLoadSaveCloneAndFree) {
  const int depth = 1000000;
  std::string text;
  text.reserve(depth * 8);
  for (int k = 0; k < depth; ++k) text += "<a>";
  text += "x";
  for (int k = 0; k < depth; ++k) text += "</a>";
  TDoc doc;
  doc.D->LoadXML(text);
  TVxDOMNode* deepest = doc.Root();
  while (deepest->FirstChild() && deepest->FirstChild()->NodeType() == ntElement) deepest = deepest->FirstChild();
  EXPECT_EQ(deepest->GetText(), u"x");
  EXPECT_EQ(deepest->GetNamespaceURI(), u"");
  {
    TVxIntf<IVxDOMNode> held = deepest->Intf<IVxDOMNode>();  // a million companions, released in a loop
    EXPECT_EQ(held->GetText(), u"x");
  }
  const std::string saved = SaveBytes(doc.D, cVxCodePageUTF8, false, false);
  EXPECT_EQ(saved.size(), depth * 3 + 1 + depth * 4);
  TVxIntf<IVxDOMNode> clone = doc.Root()->CloneNode(true)->Intf<IVxDOMNode>();
  EXPECT_EQ(clone->GetXML().size(), static_cast<size_t>(depth) * 7 + 1);
  clone = nullptr;
  doc.D->Clear();
  EXPECT_EQ(doc.D->NodeCount(), 0);
}

TEST(DOMDeep, ANodeCannotBeAddedBelowItself) {
  TDoc doc(u"<r><a><b/></a></r>");
  TVxDOMElement* a = doc.Root()->FirstElement();
  EXPECT_THROW(a->FirstElement()->AppendChild(a), EVxDomHierarchyRequest);
  EXPECT_THROW(a->AppendChild(a), EVxDomHierarchyRequest);
  EXPECT_EQ(doc.D->GetXML(), u"<r><a><b /></a></r>");
}

// A pipe cannot go back: the encoding is still detected from its start (byte-order mark or
// declaration), and the whole document is read.
TEST(DOMDocument, LoadsFromStreamsThatCannotSeek) {
  const std::string latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r a=\"\xe9\">" + std::string(9000, 'x') + "</r>";
  const std::string utf16 = std::string("\xff\xfe<\0r\0/\0>\0", 10);
  for (int64_t step : {1, 3, 4096}) {
    TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
    test::TTrickleStream pipe(latin1, step, false);
    doc->DOMDocument()->LoadFromStream(pipe);
    EXPECT_EQ(doc->DOMDocument()->DocumentElement()->GetAttribute(u"a"), u"\u00e9") << step;
    EXPECT_EQ(doc->DOMDocument()->DocumentElement()->GetText().size(), 9000u);
    test::TTrickleStream pipe16(utf16, step, false);
    doc->DOMDocument()->LoadFromStream(pipe16);
    EXPECT_EQ(doc->DOMDocument()->DocumentElement()->GetQualifiedName(), u"r");
    test::TTrickleStream empty("", step, false);
    EXPECT_THROW(doc->DOMDocument()->LoadFromStream(empty), EVxXMLParseError);
  }
}

// Names whose parts join to another qualified name (":", ":b") are kept whole and freed with
// the document (found by fuzzing: they leaked).
TEST(DOMDocument, NamesWithAnEmptyPrefixAreKept) {
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM(u"<a :=\"1\" :b=\"2\"><c :=\"3\"/></a>");
  TVxDOMElement* a = doc->DOMDocument()->DocumentElement();
  EXPECT_EQ(a->GetAttribute(u":b"), u"2");
  EXPECT_EQ(a->FirstElement()->GetXML(), u"<c :=\"3\" />");
}
