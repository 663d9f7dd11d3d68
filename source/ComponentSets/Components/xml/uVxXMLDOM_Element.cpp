// uVxXMLDOM_Element: attributes and elements: typed lists, lookups by name with options,
// namespaces (resolved when asked), preserve space, typed values and the element writer.
#include <algorithm>

#include "uVxXMLDOM_Internal.h"

namespace vx {

namespace {

bool IsXMLNSName(std::u16string_view AName) { return AName.size() == 5 && VxSameText(AName, u"xmlns"); }

// The attributes of an element in their list's order.
template <class TVisit>
void ForEachAttribute(TVxDOMElement* AElement, TVisit AVisit) {
  TVxDOMAttrList* list = AElement->Attributes();
  const int n = list->Count();
  for (int k = 0; k < n; ++k)
    if (!AVisit(list->GetItem(k))) return;
}

// Walks the attributes of an element cheaply: the children up to the last attribute (they are
// usually the first children), or the kept order.
template <class TVisit>
void ForEachAttributeFast(TVxDOMElement* AElement, TVisit AVisit) {
  uint32_t left = static_cast<uint32_t>(AElement->AttributeCount());
  for (TVxDOMNode* c = AElement->FirstChild(); c && left; c = c->NextSibling())
    if (c->NodeType() == ntAttribute) {
      --left;
      AVisit(static_cast<TVxDOMAttribute*>(c));
    }
}

// Declarations in scope while a subtree is walked: a stack of declaration attributes, resolved
// from the newest down under a collation.
class TNamespaceScope {
 public:
  explicit TNamespaceScope(TVxXPathCollationClass ACollation) : FCollation(ACollation) {}
  // The declarations in scope at AElement (outermost first), from outside the walk.
  void AddOutside(TVxDOMNode* AElement) {
    std::vector<TVxDOMElement*> chain;
    for (TVxDOMNode* n = AElement; n && n->NodeType() == ntElement; n = n->ParentNode())
      chain.push_back(static_cast<TVxDOMElement*>(n));
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) Push(*it);
    FOutside = FDecls.size();
  }
  void Push(TVxDOMElement* AElement) {
    FMarks.push_back(FDecls.size());
    if (!AElement->HasAttributes()) return;
    ForEachAttributeFast(AElement, [&](TVxDOMAttribute* A) {
      if (A->IsNamespace()) FDecls.push_back(A);
    });
  }
  void Add(TVxDOMAttribute* ADecl) { FDecls.push_back(ADecl); }
  void Pop() {
    FDecls.resize(FMarks.back());
    FMarks.pop_back();
  }
  // The declaration of the prefix, newest first; AOutside tells whether it was made outside.
  TVxDOMAttribute* Resolve(std::u16string_view APrefix, bool* AOutside = nullptr) const {
    for (size_t k = FDecls.size(); k-- > 0;)
      if (FCollation->SameText(FDecls[k]->NamespacePrefix(), APrefix)) {
        if (AOutside) *AOutside = k < FOutside;
        return FDecls[k];
      }
    return nullptr;
  }

 private:
  TVxXPathCollationClass FCollation;
  std::vector<TVxDOMAttribute*> FDecls;
  std::vector<size_t> FMarks;
  size_t FOutside = 0;
};

// Visits the elements of a subtree in document order with the namespace scope kept current:
// AVisit(element, scope) runs after the element's own declarations are in scope.
template <class TVisit>
void WalkElements(TVxDOMElement* ARoot, TNamespaceScope& AScope, TVisit AVisit) {
  TVxDOMNode* n = ARoot;
  auto firstElement = [](TVxDOMNode* AFrom) {
    while (AFrom && AFrom->NodeType() != ntElement) AFrom = AFrom->NextSibling();
    return AFrom;
  };
  while (n) {
    auto* e = static_cast<TVxDOMElement*>(n);
    AScope.Push(e);
    AVisit(e, AScope);
    if (TVxDOMNode* child = firstElement(e->FirstChild())) {
      n = child;
      continue;
    }
    // Leave the element and its finished ancestors.
    for (;;) {
      AScope.Pop();
      if (n == ARoot) {
        n = nullptr;
        break;
      }
      if (TVxDOMNode* sibling = firstElement(n->NextSibling())) {
        n = sibling;
        break;
      }
      n = n->ParentNode();
    }
  }
}

// The prefixed attributes of an element that are no declarations.
template <class TVisit>
void ForEachPrefixedAttribute(TVxDOMElement* AElement, TVisit AVisit) {
  if (!AElement->HasAttributes()) return;
  ForEachAttributeFast(AElement, [&](TVxDOMAttribute* A) {
    if (!A->GetPrefix().empty() && !A->IsNamespace()) AVisit(A);
  });
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Namespaces, resolved when asked
// ---------------------------------------------------------------------------------------------

TVxDOMAttribute* TVxDOMTree::FindDeclaration(TVxDOMElement* AElement, std::u16string_view APrefix) {
  TVxXPathCollationClass collation = AElement->GetCollation();
  for (TVxDOMNode* n = AElement; n && n->FNodeType == ntElement; n = n->FParent) {
    auto* e = static_cast<TVxDOMElement*>(n);
    if (!e->FHasDeclarations) continue;
    TVxDOMAttribute* found = nullptr;  // the newest declaration of the element wins
    ForEachAttributeFast(e, [&](TVxDOMAttribute* A) {
      if (A->IsNamespace() && collation->SameText(A->NamespacePrefix(), APrefix)) found = A;
    });
    if (found) return found;
  }
  return nullptr;
}

void TVxDOMTree::Detaching(TVxDOMNode* ARoot) {
  // Elements and attributes whose declaration stays behind keep their namespace as pending.
  if (ARoot->FNodeType != ntElement) return;
  auto* root = static_cast<TVxDOMElement*>(ARoot);
  TNamespaceScope scope(root->GetCollation());
  scope.AddOutside(root->FParent);
  WalkElements(root, scope, [](TVxDOMElement* E, TNamespaceScope& S) {
    bool outside = false;
    if (TVxDOMAttribute* d = S.Resolve(E->GetPrefix(), &outside); d && outside) {
      E->Extra().NamespaceURI = d->GetNodeValue();
      E->FNamespacePending = true;
    }
    ForEachPrefixedAttribute(E, [&](TVxDOMAttribute* A) {
      if (TVxDOMAttribute* d = S.Resolve(A->GetPrefix(), &outside); d && outside) {
        A->Extra().NamespaceURI = d->GetNodeValue();
        A->FNamespacePending = true;
      }
    });
  });
}

void TVxDOMTree::KeepOutsideNamespaces(TVxDOMNode* ASource, TVxDOMNode* AClone, bool ADeep) {
  // The clone is a copy of the source's subtree, node for node (or of the source alone): both
  // are walked in step, and a copy whose declaration lay outside the source keeps its namespace
  // as pending.
  if (ASource->FNodeType != ntElement || AClone->FNodeType != ntElement) return;
  auto* root = static_cast<TVxDOMElement*>(ASource);
  TNamespaceScope scope(root->GetCollation());
  scope.AddOutside(root->FParent);
  auto keep = [](TVxDOMElement* E, TVxDOMElement* C, TNamespaceScope& S) {
    bool outside = false;
    if (TVxDOMAttribute* d = S.Resolve(E->GetPrefix(), &outside); d && outside) {
      C->Extra().NamespaceURI = d->GetNodeValue();
      C->FNamespacePending = true;
    }
    if (!E->HasAttributes()) return;
    // Attributes were copied in order: pair them up.
    std::vector<TVxDOMAttribute*> copies;
    ForEachAttributeFast(C, [&](TVxDOMAttribute* A) { copies.push_back(A); });
    size_t k = 0;
    ForEachAttributeFast(E, [&](TVxDOMAttribute* A) {
      TVxDOMAttribute* ac = k < copies.size() ? copies[k] : nullptr;
      ++k;
      if (!ac || A->GetPrefix().empty() || A->IsNamespace()) return;
      if (TVxDOMAttribute* d = S.Resolve(A->GetPrefix(), &outside); d && outside) {
        ac->Extra().NamespaceURI = d->GetNodeValue();
        ac->FNamespacePending = true;
      }
    });
  };
  if (!ADeep) {
    scope.Push(root);
    keep(root, static_cast<TVxDOMElement*>(AClone), scope);
    return;
  }
  TVxDOMNode* copy = AClone;
  WalkElements(root, scope, [&](TVxDOMElement* E, TNamespaceScope& S) {
    keep(E, static_cast<TVxDOMElement*>(copy), S);
    do copy = NextInSubtree(copy, AClone);
    while (copy && copy->FNodeType != ntElement);
  });
}

void TVxDOMTree::Attached(TVxDOMNode* ARoot) {
  if (ARoot->FNodeType != ntElement) {
    // An attribute added to an element: its pending namespace is declared on that element.
    if (ARoot->FNodeType == ntAttribute && ARoot->FNamespacePending && ARoot->FParent &&
        ARoot->FParent->FNodeType == ntElement) {
      auto* a = static_cast<TVxDOMAttribute*>(ARoot);
      auto* owner = static_cast<TVxDOMElement*>(ARoot->FParent);
      a->FNamespacePending = false;
      const VxXMLString uri = std::exchange(a->Extra().NamespaceURI, VxXMLString());
      TVxDOMAttribute* d = FindDeclaration(owner, a->GetPrefix());
      if (!uri.empty() && (!d || d->GetNodeValue() != uri)) owner->SetAttribute(u"xmlns:" + a->GetPrefix(), uri);
    }
    if (ARoot->FNodeType == ntAttribute && static_cast<TVxDOMAttribute*>(ARoot)->IsNamespace() && ARoot->FParent &&
        ARoot->FParent->FNodeType == ntElement)
      static_cast<TVxDOMElement*>(ARoot->FParent)->FHasDeclarations = true;
    if (ARoot->FNodeType == ntAttribute && ARoot->FParent && ARoot->FParent->FNodeType == ntElement &&
        VxSameText(ARoot->GetQualifiedName(), u"xml:space")) {
      auto* owner = static_cast<TVxDOMElement*>(ARoot->FParent);
      owner->SetPreseveSpaceFlagOnly(VxSameText(VxTrim(static_cast<TVxDOMAttribute*>(ARoot)->GetNodeValue()), u"preserve"));
    }
    return;
  }
  auto* root = static_cast<TVxDOMElement*>(ARoot);
  // Preserve space: an own xml:space decides, else the parent element's flag (or the default
  // under any other parent); the subtree follows.
  bool pending = false;
  for (TVxDOMNode* n = root; n; n = NextInSubtree(n, root)) {
    if (n->FNamespacePending) pending = true;
    if (n->FNodeType != ntElement) continue;
    auto* e = static_cast<TVxDOMElement*>(n);
    TVxDOMAttribute* space = e->FAttributeCount ? e->FindAttribute(u"xml:space") : nullptr;
    if (space)
      e->FPreserveSpace = VxSameText(VxTrim(space->GetNodeValue()), u"preserve");
    else
      e->FPreserveSpace = e->FParent && e->FParent->FNodeType == ntElement
                              ? static_cast<TVxDOMElement*>(e->FParent)->FPreserveSpace
                              : DefaultPreserveCase;
  }
  if (!pending || !root->FDocument) return;
  // Pending namespaces: declared where the new tree does not already declare them so.
  TNamespaceScope scope(root->GetCollation());
  scope.AddOutside(root->FParent);
  WalkElements(root, scope, [](TVxDOMElement* E, TNamespaceScope& S) {
    if (E->FNamespacePending) {
      E->FNamespacePending = false;
      const VxXMLString uri = std::exchange(E->Extra().NamespaceURI, VxXMLString());
      TVxDOMAttribute* d = S.Resolve(E->GetPrefix());
      if ((d ? d->GetNodeValue() : VxXMLString()) != uri && !(uri.empty() && !d)) {
        TVxDOMAttribute* decl = E->SetAttribute(E->GetPrefix().empty() ? VxXMLString(u"xmlns") : u"xmlns:" + E->GetPrefix(), uri);
        S.Add(decl);
      }
    }
    ForEachPrefixedAttribute(E, [&](TVxDOMAttribute* A) {
      if (!A->FNamespacePending) return;
      A->FNamespacePending = false;
      const VxXMLString uri = std::exchange(A->Extra().NamespaceURI, VxXMLString());
      TVxDOMAttribute* d = S.Resolve(A->GetPrefix());
      if (!uri.empty() && (!d || d->GetNodeValue() != uri)) S.Add(E->SetAttribute(u"xmlns:" + A->GetPrefix(), uri));
    });
  });
}

// ---------------------------------------------------------------------------------------------
// TVxDOMAttribute
// ---------------------------------------------------------------------------------------------

TVxDOMAttribute::TVxDOMAttribute(TVxDOMDocument* ADocument) : TVxDOMNode(ADocument) { FNodeType = ntAttribute; }

TVxDOMAttribute::~TVxDOMAttribute() = default;

TVxDOMElement* TVxDOMAttribute::OwnerElement() const {
  return FParent && FParent->NodeType() == ntElement ? static_cast<TVxDOMElement*>(FParent) : nullptr;
}

bool TVxDOMAttribute::IsNamespace() const {
  return (GetPrefix().empty() && IsXMLNSName(GetLocalName())) || IsXMLNSName(GetPrefix());
}

VxXMLString TVxDOMAttribute::NamespacePrefix() const {
  if (!IsNamespace()) throw EAssertionFailed(VxString(cVxDomNotANamespace));
  return GetPrefix().empty() ? VxXMLString() : GetLocalName();
}

TVxDOMAttribute* TVxDOMAttribute::NamespaceAttr() {
  TVxDOMElement* owner = OwnerElement();
  if (!owner || GetPrefix().empty() || IsNamespace()) return nullptr;
  return TVxDOMTree::FindDeclaration(owner, GetPrefix());
}

VxXMLString TVxDOMAttribute::GetNamespaceURI() {
  if (TVxDOMAttribute* d = NamespaceAttr()) return d->GetNodeValue();
  if (GetPrefix() == u"xml") return cVxXMLNamespace;
  if (FParent) return {};
  return FExtra ? FExtra->NamespaceURI : VxXMLString();
}

void TVxDOMAttribute::SetNamespaceURI(const VxXMLString& AURI) {
  Extra().NamespaceURI = AURI;
  FNamespacePending = true;
  if (FParent) TVxDOMTree::Attached(this);
}

void TVxDOMAttribute::RefreshNamespaces() {
  if (FParent && FNamespacePending) TVxDOMTree::Attached(this);
}

VxXMLString TVxDOMAttribute::GetNodeValue() { return VxXMLToStr(FValue.View()); }

void TVxDOMAttribute::SetNodeValue(const VxXMLString& AValue) { SetValue(VxStrToXML(AValue, false, true)); }

void TVxDOMAttribute::SetValue(std::u16string_view AValue) {
  FValue.Assign(this, AValue);
  if (TVxDOMElement* owner = OwnerElement(); owner && VxSameText(GetQualifiedName(), u"xml:space"))
    owner->SetPreseveSpaceFlagOnly(VxSameText(VxTrim(GetNodeValue()), u"preserve"));
}

void TVxDOMAttribute::SetQualifiedName(const VxXMLString& AName) {
  TVxDOMNode::SetQualifiedName(AName);
  if (IsNamespace())
    if (TVxDOMElement* owner = OwnerElement()) owner->FHasDeclarations = true;
}

void TVxDOMAttribute::SetPrefix(const VxXMLString& APrefix) {
  TVxDOMNode::SetPrefix(APrefix);
  if (IsNamespace())
    if (TVxDOMElement* owner = OwnerElement()) owner->FHasDeclarations = true;
}

TVxDOMNode* TVxDOMAttribute::CreateClone() {
  auto* a = new (this) TVxDOMAttribute(FDocument);
  a->SetName(GetPrefix(), GetLocalName());
  a->FValue.Assign(a, FValue);
  return a;
}

TVxDOMAttribute* TVxDOMAttribute::NextAttribute() {
  TVxDOMElement* owner = OwnerElement();
  return owner ? static_cast<TVxDOMAttribute*>(owner->Attributes()->Next(this)) : nullptr;
}

TVxDOMAttribute* TVxDOMAttribute::PreviousAttribute() {
  TVxDOMElement* owner = OwnerElement();
  return owner ? static_cast<TVxDOMAttribute*>(owner->Attributes()->Previous(this)) : nullptr;
}

void TVxDOMAttribute::_SaveToStream(TVxDOMWriter& AWriter, bool, int&) {
  AWriter.Write(u' ');
  AWriter.Write(GetQualifiedName());
  AWriter.Write(u"=\"");
  AWriter.Write(FValue);
  AWriter.Write(u'"');
}

// ---------------------------------------------------------------------------------------------
// TVxDOMElement: lists and children
// ---------------------------------------------------------------------------------------------

TVxDOMElement::TVxDOMElement(TVxDOMDocument* ADocument) : TVxDOMNode(ADocument) {
  FNodeType = ntElement;
  FPreserveSpace = DefaultPreserveCase;
}

TVxDOMElement::~TVxDOMElement() = default;

TVxDOMAttrList* TVxDOMElement::Attributes() {
  TExtra& x = Extra();
  if (!x.Attributes) x.Attributes = new TVxDOMAttrList(this, TVxDOMNodeListBase::lkAttributes);
  return x.Attributes;
}

TVxDOMElementList* TVxDOMElement::Elements() {
  TExtra& x = Extra();
  if (!x.Elements) x.Elements = new TVxDOMElementList(this, TVxDOMNodeListBase::lkElements);
  return x.Elements;
}

TVxDOMNodeList* TVxDOMElement::CharNodes() {
  TExtra& x = Extra();
  if (!x.CharNodes) x.CharNodes = new TVxDOMNodeList(this, TVxDOMNodeListBase::lkCharNodes);
  return x.CharNodes;
}

TVxDOMAttrList* TVxDOMElement::Namespaces() {
  // A snapshot of the declarations in scope, rebuilt on every call (outermost first).
  TExtra& x = Extra();
  if (!x.Namespaces) x.Namespaces = new TVxDOMAttrList(FDocument);
  x.Namespaces->FItems.clear();
  std::vector<TVxDOMElement*> chain;
  for (TVxDOMNode* n = this; n && n->FNodeType == ntElement; n = n->FParent) chain.push_back(static_cast<TVxDOMElement*>(n));
  for (auto it = chain.rbegin(); it != chain.rend(); ++it)
    if ((*it)->FHasDeclarations)
      ForEachAttributeFast(*it, [&](TVxDOMAttribute* A) {
        if (A->IsNamespace()) x.Namespaces->FItems.push_back(A);
      });
  return x.Namespaces;
}

TVxDOMNode* TVxDOMElement::AddChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  if (!ANode) return nullptr;
  if (TVxDOMTree::WouldCycle(this, ANode)) throw EVxDomHierarchyRequest(VxString(cVxDomNodeInOwnSubtree));
  TVxDOMHold keepThis(this), keepNode(ANode);
  if (TVxDOMNode* old = ANode->FParent) {
    old->UnlinkChild(ANode);
    ANode->SetParentNode(nullptr);
  }
  const auto kind = VxDOMTypedKind(ANode);
  // The typed list takes the node by the list rule with the same reference and position. That
  // order is the child list's order unless the reference is a child of another kind with nodes
  // of this kind beyond it: then the typed lists are kept apart from here on.
  const bool crossRef = ARefNode && ARefNode->FParent == this && VxDOMTypedKind(ARefNode) != kind &&
                        (APosition == rdpBefore || APosition == rdpAfter);
  if (kind != TVxDOMNodeListBase::lkStandalone && !FTyped && crossRef) {
    bool conflict = false;
    if (APosition == rdpBefore) {
      for (TVxDOMNode* n = ARefNode->FPrev; n && !conflict; n = n->FPrev) conflict = VxDOMTypedKind(n) == kind;
    } else {
      for (TVxDOMNode* n = ARefNode->FNext; n && !conflict; n = n->FNext) conflict = VxDOMTypedKind(n) == kind;
    }
    if (conflict) {
      FTyped = std::make_unique<TTypedOrder>();
      for (TVxDOMNode* n = FFirst; n; n = n->FNext)
        if (auto k = VxDOMTypedKind(n); k != TVxDOMNodeListBase::lkStandalone) FTyped->Of(k).push_back(n);
    }
  }
  if (FTyped && kind != TVxDOMNodeListBase::lkStandalone) {
    auto& order = FTyped->Of(kind);
    auto ref = ARefNode ? std::find(order.begin(), order.end(), ARefNode) : order.end();
    size_t at = order.size();
    switch (APosition) {
      case rdpFirst: at = 0; break;
      case rdpLast: at = order.size(); break;
      case rdpBefore: at = ref != order.end() ? static_cast<size_t>(ref - order.begin()) : 0; break;
      case rdpAfter: at = ref != order.end() ? static_cast<size_t>(ref - order.begin()) + 1 : order.size(); break;
    }
    order.insert(order.begin() + static_cast<ptrdiff_t>(at), ANode);
  }
  LinkChild(ANode, ARefNode, APosition);
  if (kind == TVxDOMNodeListBase::lkAttributes && static_cast<TVxDOMAttribute*>(ANode)->IsNamespace())
    FHasDeclarations = true;
  ANode->SetParentNode(this);
  return ANode;
}

void TVxDOMElement::RemoveChild(TVxDOMNode* ANode) {
  if (!ANode) return;
  if (ANode->FParent != this) throw EAssertionFailed(VxString(cVxDomNotAChild));
  TVxDOMNode::RemoveChild(ANode);
}

TVxDOMElement* TVxDOMElement::AddElement(const VxXMLString& AName) {
  auto* e = new (this) TVxDOMElement(FDocument);
  e->SetQualifiedName(AName);
  AddChild(e);
  return e;
}

TVxDOMElement* TVxDOMElement::AddElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
  return static_cast<TVxDOMElement*>(NodeByName(ALocalName, ANamespaceURI, {soCreate}, VxDOMNodeClass<TVxDOMElement>()));
}

TVxDOMAttribute* TVxDOMElement::AddAttribute(const VxXMLString& AName, const VxXMLString& AValue) {
  auto* a = new (this) TVxDOMAttribute(FDocument);
  a->SetQualifiedName(AName);
  a->SetNodeValue(AValue);
  AddChild(a);
  return a;
}

TVxDOMAttribute* TVxDOMElement::AddAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                             const VxXMLString& AValue) {
  if (ANamespaceURI.empty()) return AddAttribute(ALocalName, AValue);
  // The prefix of a declaration of the URI in scope, or a new one ("ns1", "ns2", ...).
  VxXMLString prefix;
  if (TVxDOMAttribute* d = FindNamespace(ANamespaceURI); d && !d->NamespacePrefix().empty()) {
    prefix = d->NamespacePrefix();
  } else {
    for (int k = 1; prefix.empty(); ++k) {
      VxXMLString candidate = u"ns" + VxIntToStr(k);
      if (!TVxDOMTree::FindDeclaration(this, candidate)) prefix = candidate;
    }
    SetAttribute(u"xmlns:" + prefix, ANamespaceURI);
  }
  return AddAttribute(prefix + u":" + ALocalName, AValue);
}

namespace {
template <class T>
T* AddCharNode(TVxDOMElement* AOwner, const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  auto* n = new (AOwner) T(AOwner->DOMDocument());
  n->SetNodeValue(AText);
  AOwner->AddChild(n, ARefNode, APosition);
  return n;
}
}  // namespace

TVxDOMText* TVxDOMElement::AddText(const VxXMLString& AText) { return AddCharNode<TVxDOMText>(this, AText, nullptr, rdpLast); }
TVxDOMCDATA* TVxDOMElement::AddCDATA(const VxXMLString& AText) { return AddCharNode<TVxDOMCDATA>(this, AText, nullptr, rdpLast); }
TVxDOMComment* TVxDOMElement::AddComment(const VxXMLString& AText) {
  return AddCharNode<TVxDOMComment>(this, AText, nullptr, rdpLast);
}
TVxDOMText* TVxDOMElement::InsertText(const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition) {
  return AddCharNode<TVxDOMText>(this, AText, ARefNode, APosition);
}
TVxDOMCDATA* TVxDOMElement::InsertCDATA(const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition) {
  return AddCharNode<TVxDOMCDATA>(this, AText, ARefNode, APosition);
}
TVxDOMComment* TVxDOMElement::InsertComment(const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition) {
  return AddCharNode<TVxDOMComment>(this, AText, ARefNode, APosition);
}

TVxDOMElement* TVxDOMElement::InsertElement(const VxXMLString& AName, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition) {
  auto* e = new (this) TVxDOMElement(FDocument);
  e->SetQualifiedName(AName);
  AddChild(e, ARefNode, APosition);
  return e;
}

TVxDOMElement* TVxDOMElement::InsertElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                            TVxDOMNode* ARefNode, TVxDOMRelPosition APosition) {
  auto* e = new (this) TVxDOMElement(FDocument);
  e->SetQualifiedName(ALocalName);
  AddChild(e, ARefNode, APosition);
  e->SetNamespaceURI(ANamespaceURI);
  return e;
}

void TVxDOMElement::RemoveElement(TVxDOMElement* AElement) { RemoveChild(AElement); }

void TVxDOMElement::RemoveElement(const VxXMLString& AName) {
  if (TVxDOMElement* e = FindElement(AName)) RemoveChild(e);
}

void TVxDOMElement::RemoveElement(int AIndex) { RemoveChild(Elements()->GetItem(AIndex)); }

// ---------------------------------------------------------------------------------------------
// Lookups
// ---------------------------------------------------------------------------------------------

TVxDOMNode* TVxDOMElement::NodeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions,
                                      const TVxDOMNodeClass& ANodeClass) {
  const bool attributes = ANodeClass && ANodeClass.InheritsFrom<TVxDOMAttribute>();
  TVxDOMNodeListBase* list = attributes ? static_cast<TVxDOMNodeListBase*>(Attributes())
                                        : static_cast<TVxDOMNodeListBase*>(Elements());
  if (TVxDOMNode* hit = list->Find(AName, AOptions - soRaise - soCreate)) return hit;
  if (AOptions.Contains(soRaise) && !AOptions.Contains(soCreate))
    throw EVxDomNotFound(VxFormat(cVxDomNoChildWithName, AName));
  if (!AOptions.Contains(soCreate)) return nullptr;
  if (!ANodeClass) throw Exception(VxString(cVxDomNodeClassRequired));
  TVxDOMNode* node = ANodeClass.Create(FDocument);
  node->SetQualifiedName(AName);
  AddChild(node);
  return node;
}

TVxDOMNode* TVxDOMElement::NodeByName(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                      TVxDOMSelectOptions AOptions, const TVxDOMNodeClass& ANodeClass) {
  const bool attributes = ANodeClass && ANodeClass.InheritsFrom<TVxDOMAttribute>();
  TVxDOMNodeListBase* list = attributes ? static_cast<TVxDOMNodeListBase*>(Attributes())
                                        : static_cast<TVxDOMNodeListBase*>(Elements());
  TVxXPathCollationClass collation = AOptions.Contains(soCaseSensitive)     ? TVxXPathCollationCodepoint::ClassRef()
                                     : AOptions.Contains(soCaseInsensitive) ? TVxXPathCollationASCIICI::ClassRef()
                                                                            : GetCollation();
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(VxString(cVxDomBothCaseOptions));
  for (int k = list->Count() - 1; k >= 0; --k) {
    TVxDOMNode* n = list->GetItem(k);
    if (collation->SameText(n->GetLocalName(), ALocalName) && n->GetNamespaceURI() == ANamespaceURI) return n;
  }
  if (AOptions.Contains(soRaise) && !AOptions.Contains(soCreate))
    throw EVxDomNotFound(VxFormat(cVxDomNoChildWithNameNS, ALocalName, ANamespaceURI));
  if (!AOptions.Contains(soCreate)) return nullptr;
  if (!ANodeClass) throw Exception(VxString(cVxDomNodeClassRequired));
  TVxDOMNode* node = ANodeClass.Create(FDocument);
  if (attributes) {
    node->Free();
    return AddAttribute(ALocalName, ANamespaceURI, VxXMLString());
  }
  // The prefix of a declaration of the URI in scope; without one, the element declares it as
  // its default namespace.
  VxXMLString name = ALocalName;
  TVxDOMAttribute* d = ANamespaceURI.empty() ? nullptr : FindNamespace(ANamespaceURI);
  if (d && !d->NamespacePrefix().empty()) name = d->NamespacePrefix() + u":" + ALocalName;
  node->SetQualifiedName(name);
  AddChild(node);
  if (node->NodeType() == ntElement) static_cast<TVxDOMElement*>(node)->SetNamespaceURI(ANamespaceURI);
  return node;
}

TVxDOMNode* TVxDOMElement::NodeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions) {
  return NodeByName(AName, AOptions, TVxDOMNodeClass());
}

TVxDOMElement* TVxDOMElement::FindElement(const VxXMLString& AName) {
  return static_cast<TVxDOMElement*>(Elements()->Find(AName, TVxDOMSelectOptions{}));
}

TVxDOMElement* TVxDOMElement::FindElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
  return static_cast<TVxDOMElement*>(NodeByName(ALocalName, ANamespaceURI, {}, VxDOMNodeClass<TVxDOMElement>()));
}

TVxDOMElement* TVxDOMElement::ElementByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions) {
  return static_cast<TVxDOMElement*>(NodeByName(AName, AOptions, VxDOMNodeClass<TVxDOMElement>()));
}

TVxDOMElement* TVxDOMElement::ElementByName(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                            TVxDOMSelectOptions AOptions) {
  return static_cast<TVxDOMElement*>(NodeByName(ALocalName, ANamespaceURI, AOptions, VxDOMNodeClass<TVxDOMElement>()));
}

TVxDOMElement* TVxDOMElement::ElementByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions,
                                            const TVxDOMNodeClass& ANodeClass) {
  return static_cast<TVxDOMElement*>(NodeByName(AName, AOptions, ANodeClass));
}

TVxDOMAttribute* TVxDOMElement::FindAttribute(const VxXMLString& AName) {
  // The last attribute whose qualified name matches under the collation (as Find does), read
  // without building the list object.
  if (!FAttributeCount) return nullptr;
  TVxXPathCollationClass collation = GetCollation();
  if (FTyped) {
    for (auto it = FTyped->Attributes.rbegin(); it != FTyped->Attributes.rend(); ++it)
      if (collation->SameText((*it)->GetQualifiedName(), AName)) return static_cast<TVxDOMAttribute*>(*it);
    return nullptr;
  }
  TVxDOMAttribute* found = nullptr;
  ForEachAttributeFast(this, [&](TVxDOMAttribute* A) {
    if (collation->SameText(A->GetQualifiedName(), AName)) found = A;
  });
  return found;
}

TVxDOMAttribute* TVxDOMElement::FindAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
  return static_cast<TVxDOMAttribute*>(NodeByName(ALocalName, ANamespaceURI, {}, VxDOMNodeClass<TVxDOMAttribute>()));
}

TVxDOMAttribute* TVxDOMElement::AttributeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions) {
  return static_cast<TVxDOMAttribute*>(NodeByName(AName, AOptions, VxDOMNodeClass<TVxDOMAttribute>()));
}

TVxDOMAttribute* TVxDOMElement::AttributeByName(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                                TVxDOMSelectOptions AOptions) {
  return static_cast<TVxDOMAttribute*>(NodeByName(ALocalName, ANamespaceURI, AOptions, VxDOMNodeClass<TVxDOMAttribute>()));
}

TVxDOMAttribute* TVxDOMElement::AttributeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions,
                                                const TVxDOMNodeClass& ANodeClass) {
  return static_cast<TVxDOMAttribute*>(NodeByName(AName, AOptions, ANodeClass));
}

VxXMLString TVxDOMElement::GetChildElementValue(const VxXMLString& AName) {
  TVxDOMElement* e = FindElement(AName);
  return e ? e->GetText() : VxXMLString();
}

// ---------------------------------------------------------------------------------------------
// Attributes
// ---------------------------------------------------------------------------------------------

VxXMLString TVxDOMElement::GetAttribute(const VxXMLString& AName) {
  TVxDOMAttribute* a = FindAttribute(AName);
  return a ? a->GetNodeValue() : VxXMLString();
}

VxXMLString TVxDOMElement::GetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName) {
  TVxDOMAttribute* a = FindAttribute(ALocalName, ANamespaceURI);
  return a ? a->GetNodeValue() : VxXMLString();
}

TVxDOMAttribute* TVxDOMElement::SetAttribute(const VxXMLString& AName, const VxXMLString& AValue) {
  TVxDOMAttribute* a = FindAttribute(AName);
  if (!a) return AddAttribute(AName, AValue);
  a->SetNodeValue(AValue);
  return a;
}

TVxDOMAttribute* TVxDOMElement::SetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& AQualifiedName,
                                               const VxXMLString& AValue) {
  std::u16string_view prefix, local;
  VxDOMSplitName(AQualifiedName, prefix, local);
  if (TVxDOMAttribute* a = FindAttribute(VxXMLString(local), ANamespaceURI)) {
    a->SetNodeValue(AValue);
    return a;
  }
  if (ANamespaceURI.empty() || prefix.empty()) return AddAttribute(VxXMLString(local), ANamespaceURI, AValue);
  TVxDOMAttribute* d = TVxDOMTree::FindDeclaration(this, prefix);
  if (!d || d->GetNodeValue() != ANamespaceURI) SetAttribute(u"xmlns:" + VxXMLString(prefix), ANamespaceURI);
  return AddAttribute(AQualifiedName, AValue);
}

void TVxDOMElement::RemoveAttribute(TVxDOMAttribute* AAttribute) { RemoveChild(AAttribute); }

void TVxDOMElement::RemoveAttribute(const VxXMLString& AName) {
  if (TVxDOMAttribute* a = FindAttribute(AName)) RemoveChild(a);
}

void TVxDOMElement::RemoveAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
  if (TVxDOMAttribute* a = FindAttribute(ALocalName, ANamespaceURI)) RemoveChild(a);
}

TVxDOMAttribute* TVxDOMElement::FirstAttribute() { return FAttributeCount ? Attributes()->GetItem(0) : nullptr; }

TVxDOMAttribute* TVxDOMElement::LastAttribute() {
  return FAttributeCount ? Attributes()->GetItem(static_cast<int>(FAttributeCount) - 1) : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Navigation
// ---------------------------------------------------------------------------------------------

TVxDOMElement* TVxDOMElement::ParentElement() const {
  return FParent && FParent->NodeType() == ntElement ? static_cast<TVxDOMElement*>(FParent) : nullptr;
}

TVxDOMElement* TVxDOMElement::NextElement() {
  TVxDOMElement* parent = ParentElement();
  if (!parent) return nullptr;
  return static_cast<TVxDOMElement*>(parent->Elements()->Next(this));
}

TVxDOMElement* TVxDOMElement::PreviousElement() {
  TVxDOMElement* parent = ParentElement();
  if (!parent) return nullptr;
  return static_cast<TVxDOMElement*>(parent->Elements()->Previous(this));
}

TVxDOMElement* TVxDOMElement::FirstElement() { return FElementCount ? Elements()->GetItem(0) : nullptr; }

TVxDOMElement* TVxDOMElement::LastElement() {
  return FElementCount ? Elements()->GetItem(static_cast<int>(FElementCount) - 1) : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Namespaces
// ---------------------------------------------------------------------------------------------

TVxDOMAttribute* TVxDOMElement::NamespaceAttr() { return TVxDOMTree::FindDeclaration(this, GetPrefix()); }

VxXMLString TVxDOMElement::GetNamespaceURI() {
  if (TVxDOMAttribute* d = NamespaceAttr()) return d->GetNodeValue();
  if (FParent) return {};
  return FExtra ? FExtra->NamespaceURI : VxXMLString();
}

void TVxDOMElement::SetNamespaceURI(const VxXMLString& AURI) {
  Extra().NamespaceURI = AURI;
  FNamespacePending = true;
  if (FParent && FDocument) TVxDOMTree::Attached(this);
}

TVxDOMAttribute* TVxDOMElement::FindNamespace(const VxXMLString& AURI) {
  for (TVxDOMNode* n = this; n && n->FNodeType == ntElement; n = n->FParent) {
    auto* e = static_cast<TVxDOMElement*>(n);
    if (!e->FHasDeclarations) continue;
    TVxDOMAttribute* found = nullptr;
    ForEachAttributeFast(e, [&](TVxDOMAttribute* A) {
      if (A->IsNamespace() && A->GetNodeValue() == AURI) found = A;
    });
    if (found) return found;
  }
  return nullptr;
}

void TVxDOMElement::RefreshNamespaces() {
  if (FParent && FDocument) TVxDOMTree::Attached(this);
}

void TVxDOMElement::SetPrefix(const VxXMLString& APrefix) { TVxDOMNode::SetPrefix(APrefix); }

// ---------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------

VxXMLString TVxDOMElement::GetText() {
  VxXMLString text;
  for (TVxDOMNode* c = FFirst; c; c = c->FNext) {
    if (c->FNodeType == ntText)
      text += VxXMLToStr(static_cast<TVxDOMText*>(c)->Value());
    else if (c->FNodeType == ntCDATA)
      text += static_cast<TVxDOMCDATA*>(c)->Value();
  }
  return text;
}

namespace {
// Frees the text and CDATA children of an element, then adds one text node with AStored.
void ReplaceText(TVxDOMElement* AElement, VxXMLString AStored) {
  std::vector<TVxDOMNode*> old;
  for (TVxDOMNode* c = AElement->FirstChild(); c; c = c->NextSibling())
    if (c->NodeType() == ntText || c->NodeType() == ntCDATA) old.push_back(c);
  for (TVxDOMNode* c : old) AElement->RemoveChild(c);
  if (AStored.empty()) return;
  auto* t = new (AElement) TVxDOMText(AElement->DOMDocument());
  t->SetValue(std::move(AStored));
  AElement->AddChild(t);
}
}  // namespace

void TVxDOMElement::SetNodeValue(const VxXMLString& AValue) { ReplaceText(this, VxStrToXML(AValue, true, true)); }

void TVxDOMElement::SetNodeValueEx(const VxXMLString& AValue) { ReplaceText(this, AValue); }

VxXMLString TVxDOMElement::GetInnerXML() { return TVxDOMNode::GetInnerXML(); }
VxXMLString TVxDOMElement::GetFormattedInnerXML() { return TVxDOMNode::GetFormattedInnerXML(); }

void TVxDOMElement::SetInnerXML(const VxXMLString& AXML) {
  // The fragment is read as the content of a wrapper element, then its children move here.
  TVxIntf<IVxDOMDocument> scratch = VxCreateDOM();
  TVxDOMDocument* doc = scratch->DOMDocument();
  doc->LoadXML(u"<x>" + AXML + u"</x>");
  TVxDOMElement* wrapper = doc->DocumentElement();
  std::vector<TVxDOMNode*> old;
  for (TVxDOMNode* c = FFirst; c; c = c->FNext)
    if (c->FNodeType != ntAttribute) old.push_back(c);
  for (TVxDOMNode* c : old) RemoveChild(c);
  while (TVxDOMNode* c = wrapper->FirstChild()) {
    if (c->NodeType() == ntAttribute) {
      wrapper->RemoveChild(c);
      continue;
    }
    AddChild(c);  // moved: taken from the wrapper
  }
}

void TVxDOMElement::LoadFromStream(TVxStream& AStream) {
  TVxStringStream text(cVxCodePageUTF16);
  // The stream holds an XML fragment in UTF-8 (or with a byte-order mark).
  std::unique_ptr<TVxReplayStream> replay;
  uint16_t cp = 0;
  TVxStream& source = VxGetCodePage(AStream, cp, replay);
  std::string bytes;
  char buf[65536];
  for (int64_t n; (n = source.Read(buf, sizeof buf)) > 0;) bytes.append(buf, static_cast<size_t>(n));
  SetInnerXML(TVxEncoding::GetEncoding(cp ? cp : cVxCodePageUTF8).ConvertA(bytes));
}

void TVxDOMElement::NormalizeTextNodes() {
  // Every element of the subtree: adjacent text nodes merged, empty ones removed.
  for (TVxDOMNode* n = this; n; n = TVxDOMTree::NextInSubtree(n, this)) {
    if (n->FNodeType != ntElement) continue;
    TVxDOMNode* c = n->FFirst;
    while (c) {
      TVxDOMNode* next = c->FNext;
      if (c->FNodeType == ntText) {
        auto* t = static_cast<TVxDOMText*>(c);
        while (next && next->FNodeType == ntText) {
          t->SetValue(VxXMLString(t->Value()).append(static_cast<TVxDOMText*>(next)->Value()));
          TVxDOMNode* after = next->FNext;
          n->RemoveChild(next);
          next = after;
        }
        if (t->Value().empty()) n->RemoveChild(t);
      }
      c = next;
    }
  }
}

bool TVxDOMElement::GetAsBoolean() { return VxXMLToBool(GetText()); }
TDateTime TVxDOMElement::GetAsDateTime() { return VxXMLToDateTime(GetText()); }
double TVxDOMElement::GetAsDouble() { return VxXMLToDouble(GetText()); }
int64_t TVxDOMElement::GetAsInt64() { return VxXMLToInt64(GetText()); }
int32_t TVxDOMElement::GetAsInteger() { return VxXMLToInt(GetText()); }
VxXMLString TVxDOMElement::GetAsString() { return GetText(); }
std::string TVxDOMElement::GetAsAnsiString() { return VxUTF16ToUTF8(GetText()); }
void TVxDOMElement::SetAsBoolean(bool AValue) { SetNodeValue(VxBoolToXML(AValue)); }
void TVxDOMElement::SetAsDateTime(TDateTime AValue) { SetNodeValue(VxDateTimeToXML(AValue)); }
void TVxDOMElement::SetAsDouble(double AValue) { SetNodeValue(VxDoubleToXML(AValue)); }
void TVxDOMElement::SetAsInt64(int64_t AValue) { SetNodeValue(VxInt64ToXML(AValue)); }
void TVxDOMElement::SetAsInteger(int32_t AValue) { SetNodeValue(VxIntToXML(AValue)); }
void TVxDOMElement::SetAsString(const VxXMLString& AValue) { SetNodeValue(AValue); }
void TVxDOMElement::SetAsAnsiString(const std::string& AValue) { SetNodeValue(VxUTF8ToUTF16(AValue)); }

namespace {
// The attribute of that local name in the XML Schema-instance namespace (or, for the typing
// attributes the JSON reader writes, in the XML Schema namespace), or nullptr.
TVxDOMAttribute* SchemaAttribute(TVxDOMElement* AElement, std::u16string_view ALocalName, bool AAlsoXSD) {
  TVxDOMAttribute* found = nullptr;
  if (!AElement->HasAttributes()) return nullptr;
  ForEachAttributeFast(AElement, [&](TVxDOMAttribute* A) {
    if (found || A->GetLocalName() != ALocalName || A->IsNamespace()) return;
    const VxXMLString uri = A->GetNamespaceURI();
    if (uri == cVxXSINamespace || (AAlsoXSD && uri == cVxXSDNamespace)) found = A;
  });
  return found;
}
}  // namespace

TVxVariant TVxDOMElement::GetAsVariant() {
  if (TVxDOMAttribute* nil = SchemaAttribute(this, u"nil", false);
      nil && TVxXPathCollationASCIICI::ClassRef()->SameText(nil->GetNodeValue(), u"true"))
    return TVxVariant::Null();
  TVxDOMAttribute* type = SchemaAttribute(this, u"type", true);
  if (!type) return TVxVariant(GetText());
  // The type's local part after its prefix names an XML Schema type (or a registered one).
  VxXMLString name = type->GetNodeValue();
  if (size_t colon = name.find(u':'); colon != VxXMLString::npos) name.erase(0, colon + 1);
  try {
    return VxXMLToVariant(GetText(), std::u16string_view(name));
  } catch (const EConvertError& e) {
    if (e.Message().find(u"Unsupported VarType") != VxString::npos) throw EVxDomException(VxString(cVxDomInvalidTypeInfo));
    throw;
  }
}

void TVxDOMElement::SetAsVariant(const TVxVariant& AValue) {
  TVxDOMAttribute* xsi = FDocument && FDocument->UseSchemaInstance() ? FindNamespace(cVxXSINamespace) : nullptr;
  TVxDOMAttribute* xsd = FDocument && FDocument->UseSchemaInstance() ? FindNamespace(cVxXSDNamespace) : nullptr;
  if (!xsi || !xsd || xsi->NamespacePrefix().empty() || xsd->NamespacePrefix().empty()) {
    SetNodeValueEx(VxVariantToXML(AValue));
    return;
  }
  const VxXMLString xsiPrefix = xsi->NamespacePrefix(), xsdPrefix = xsd->NamespacePrefix();
  if (VxVarIsEmpty(AValue)) {
    SetAttribute(xsiPrefix + u":nil", u"true");
    SetNodeValue(VxXMLString());
    return;
  }
  if (TVxDOMAttribute* nil = SchemaAttribute(this, u"nil", false)) RemoveChild(nil);
  if (TVxTypes::VarMainTypeKind(AValue) == 3)
    SetNodeValue(VxVarToStr(AValue));
  else
    SetNodeValueEx(VxVariantToXML(AValue));
  const VxXMLString typeName = VxVarTypeToXMLSchemaType(AValue.VarType());
  if (!typeName.empty()) SetAttribute(xsiPrefix + u":type", xsdPrefix + u":" + typeName);
}

int TVxDOMElement::GetCDATACount() {
  int count = 0;
  TVxDOMNodeList* chars = CharNodes();
  for (int k = 0; k < chars->Count(); ++k)
    if (chars->GetItem(k)->NodeType() == ntCDATA) ++count;
  return count;
}

TVxDOMCDATA* TVxDOMElement::GetCDATA(int AIndex) {
  int seen = 0;
  TVxDOMNodeList* chars = CharNodes();
  for (int k = 0; k < chars->Count(); ++k) {
    TVxDOMNode* n = chars->GetItem(k);
    if (n->NodeType() != ntCDATA) continue;
    if (seen == AIndex) return static_cast<TVxDOMCDATA*>(n);
    ++seen;
  }
  if (AIndex == seen) return AddCDATA(VxXMLString());
  throw EListError(VxFormat(cVxDomNoCDATA, AIndex));
}

// ---------------------------------------------------------------------------------------------
// Preserve space
// ---------------------------------------------------------------------------------------------

void TVxDOMElement::SetPreseveSpaceFlagOnly(bool AFlag) {
  if (FPreserveSpace == AFlag) return;
  FPreserveSpace = AFlag;
  PassPreserveSpaceDown();
}

void TVxDOMElement::PassPreserveSpaceDown() {
  // Elements below without an xml:space of their own follow their parent; one with its own keeps
  // its subtree as it is.
  TVxDOMNode* n = TVxDOMTree::NextInSubtree(this, this);
  while (n) {
    if (n->FNodeType == ntElement) {
      auto* e = static_cast<TVxDOMElement*>(n);
      if (e->FAttributeCount && e->FindAttribute(u"xml:space")) {
        n = TVxDOMTree::NextInSubtree(e, this, false);
        continue;
      }
      e->FPreserveSpace = static_cast<TVxDOMElement*>(e->FParent)->FPreserveSpace;
    }
    n = TVxDOMTree::NextInSubtree(n, this);
  }
}

void TVxDOMElement::SetPreseveSpace(bool AFlag) {
  FPreserveSpace = AFlag;
  SetAttribute(u"xml:space", AFlag ? u"preserve" : u"default");
  PassPreserveSpaceDown();
}

// ---------------------------------------------------------------------------------------------
// Copies and writing
// ---------------------------------------------------------------------------------------------

TVxDOMNode* TVxDOMElement::CreateCopy() {
  auto* e = new (this) TVxDOMElement(FDocument);
  e->SetName(GetPrefix(), GetLocalName());
  e->FPreserveSpace = FPreserveSpace;
  ForEachAttribute(this, [&](TVxDOMAttribute* A) {
    TVxDOMNode* copy = A->CreateCopy();
    e->LinkChild(copy, nullptr, rdpLast);
    copy->FParent = e;
    if (static_cast<TVxDOMAttribute*>(copy)->IsNamespace()) e->FHasDeclarations = true;
    return true;
  });
  return e;
}

TVxDOMNode* TVxDOMElement::CreateClone() {
  // A clone is detached: the namespaces of the element and its attributes declared outside it
  // are kept as their own (pending) URIs.
  TVxDOMNode* e = CreateCopy();
  TVxDOMTree::KeepOutsideNamespaces(this, e, false);
  return e;
}

void TVxDOMElement::SetParentNode(TVxDOMNode* AParent) { TVxDOMNode::SetParentNode(AParent); }

void TVxDOMElement::_SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) {
  // The subtree is written with an explicit stack of open elements, so any depth is fine; the
  // other children write themselves.
  struct TFrame {
    TVxDOMElement* Element;
    TVxDOMNode* Next;
  };
  std::vector<TFrame> open;
  auto start = [&](TVxDOMElement* E) {
    if (AFormat && !E->FPreserveSpace) {
      if (!AWriter.AtStart()) AWriter.LineBreak();
      AWriter.Indent(ALevel);
    }
    AWriter.Write(u'<');
    AWriter.Write(E->GetQualifiedName());
    if (E->FAttributeCount) {
      if (E->FTyped) {
        for (TVxDOMNode* a : E->FTyped->Attributes) a->_SaveToStream(AWriter, AFormat, ALevel);
      } else {
        ForEachAttributeFast(E, [&](TVxDOMAttribute* A) { A->_SaveToStream(AWriter, AFormat, ALevel); });
      }
    }
    if (E->FElementCount == 0 && E->FCharCount == 0) {
      AWriter.Write(u" />");
      return;
    }
    AWriter.Write(u'>');
    ++ALevel;
    open.push_back({E, E->FFirst});
  };
  start(this);
  while (!open.empty()) {
    TFrame& f = open.back();
    while (f.Next && f.Next->FNodeType == ntAttribute) f.Next = f.Next->FNext;
    if (!f.Next) {
      TVxDOMElement* e = f.Element;
      open.pop_back();
      --ALevel;
      if (AFormat && e->FElementCount && !e->FPreserveSpace) {
        AWriter.LineBreak();
        AWriter.Indent(ALevel);
      }
      AWriter.Write(u"</");
      AWriter.Write(e->GetQualifiedName());
      AWriter.Write(u'>');
      continue;
    }
    TVxDOMNode* c = f.Next;
    f.Next = c->FNext;
    if (c->FNodeType == ntElement)
      start(static_cast<TVxDOMElement*>(c));
    else
      c->_SaveToStream(AWriter, AFormat, ALevel);
  }
}

void TVxDOMElement::_SaveToJSONStream(TVxDOMJSONWriter& AWriter, bool AFormat) {
  VxDOMWriteElementJSON(this, AWriter, AFormat, 0);
}

// ---------------------------------------------------------------------------------------------
// Element lists by index, name or path
// ---------------------------------------------------------------------------------------------

TVxDOMElement* TVxDOMElementList::GetItemEx(const TVxVariant& AIndex, TVxDOMSelectCheckOption ACheckOption) {
  const int kind = TVxTypes::VarMainTypeKind(AIndex);
  if (kind == 1) return GetItem(VxVarToInt(AIndex));
  if (kind != 3) throw EListError(VxString(cVxDomInvalidIdx));
  auto* owner = static_cast<TVxDOMElement*>(FParent);
  const VxXMLString name = VxVarToStr(AIndex);
  if (name == u".") return owner;
  const bool caseInsensitive = owner ? !owner->GetCaseSensitive()
                                     : DefaultXPathCollation == TVxXPathCollationASCIICI::ClassRef();
  TVxDOMSelectOptions options{caseInsensitive ? soCaseInsensitive : soCaseSensitive};
  if (ACheckOption == coCreate) options.Include(soCreate);
  if (ACheckOption == coRaise) options.Include(soRaise);
  options.Include(name.find(u':') == VxXMLString::npos ? soLocalName : soQualifiedName);
  TVxDOMElement* hit;
  if (name.find(u'/') != VxXMLString::npos || ACheckOption == coCreate) {
    hit = owner->SelectSingleElement(name, options - soRaise);  // the list error below is the miss
  } else {
    // The list error below is the failure of a name lookup (Find's own would come first).
    hit = static_cast<TVxDOMElement*>(Find(name, options - soRaise));
  }
  if (!hit && ACheckOption == coRaise) throw EListError(VxFormat(cVxDomNoChildElement, name));
  return hit;
}

// ---------------------------------------------------------------------------------------------
// Free functions on element interfaces
// ---------------------------------------------------------------------------------------------

TVxIntf<IVxDOMElement> VxAddElement(IVxDOMElement* AElement, const VxXMLString& AName) {
  return VxDOMIntf<IVxDOMElement>(AElement->DOMElement()->AddElement(AName));
}
TVxIntf<IVxDOMAttribute> VxAddAttribute(IVxDOMElement* AElement, const VxXMLString& AName, const VxXMLString& AValue) {
  return VxDOMIntf<IVxDOMAttribute>(AElement->DOMElement()->AddAttribute(AName, AValue));
}
TVxIntf<IVxDOMText> VxAddText(IVxDOMElement* AElement, const VxXMLString& AText) {
  return VxDOMIntf<IVxDOMText>(AElement->DOMElement()->AddText(AText));
}
TVxIntf<IVxDOMCDATA> VxAddCDATA(IVxDOMElement* AElement, const VxXMLString& AText) {
  return VxDOMIntf<IVxDOMCDATA>(AElement->DOMElement()->AddCDATA(AText));
}
TVxIntf<IVxDOMComment> VxAddComment(IVxDOMElement* AElement, const VxXMLString& AText) {
  return VxDOMIntf<IVxDOMComment>(AElement->DOMElement()->AddComment(AText));
}

}  // namespace vx
