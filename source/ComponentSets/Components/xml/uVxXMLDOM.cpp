// uVxXMLDOM: collations and defaults, names, the tree objects' lifecycle, the node base (child
// links, values, paths, copies), character data, processing instructions, node lists and the
// XML writer.
#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "uVxXMLDOM_Internal.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Node types, collations and defaults
// ---------------------------------------------------------------------------------------------

const char16_t* const VxDOMNodeTypes[13] = {u"Unknown",   u"Element",     u"Attribute",
                                            u"Text",      u"CDATA",       u"EntityRef",
                                            u"Entity",    u"ProcessingInstruction", u"Comment",
                                            u"Document",  u"DocumentType", u"DocumentFragment",
                                            u"Notation"};

namespace {
int Sign(int AValue) { return AValue < 0 ? -1 : AValue > 0 ? 1 : 0; }

// First position (1-based) of ASub in AS comparing with AEqual, 0 when absent.
template <class TEqual>
int FindPos(std::u16string_view ASub, std::u16string_view AS, TEqual AEqual) {
  if (ASub.empty()) return 1;
  if (ASub.size() > AS.size()) return 0;
  for (size_t k = 0; k + ASub.size() <= AS.size(); ++k) {
    size_t j = 0;
    while (j < ASub.size() && AEqual(AS[k + j], ASub[j])) ++j;
    if (j == ASub.size()) return static_cast<int>(k + 1);
  }
  return 0;
}
}  // namespace

int TVxXPathCollationASCIICI::Compare(std::u16string_view S1, std::u16string_view S2) const {
  return Sign(VxCompareText(S1, S2));
}
int TVxXPathCollationASCIICI::Pos(std::u16string_view ASub, std::u16string_view AS) const {
  // Both sides lower-cased (ASCII letters), then a plain substring search.
  return FindPos(ASub, AS, [](char16_t A, char16_t B) { return VxLowCase(A) == VxLowCase(B); });
}
TVxXPathCollationClass TVxXPathCollationASCIICI::ClassRef() {
  // Never destroyed: documents freed from static destructors still compare names.
  static const auto* instance = new TVxXPathCollationASCIICI;
  return instance;
}

int TVxXPathCollationCodepoint::Compare(std::u16string_view S1, std::u16string_view S2) const {
  return Sign(VxCompareStr(S1, S2));
}
int TVxXPathCollationCodepoint::Pos(std::u16string_view ASub, std::u16string_view AS) const {
  if (ASub.empty()) return 1;
  size_t at = AS.find(ASub);
  return at == std::u16string_view::npos ? 0 : static_cast<int>(at + 1);
}
TVxXPathCollationClass TVxXPathCollationCodepoint::ClassRef() {
  static const auto* instance = new TVxXPathCollationCodepoint;
  return instance;
}

TVxDOMSelectMatchOption DefaultSelectMatchOption = soQualifiedName;
bool DefaultPreserveCase = false;
TVxDOMSelectCheckOption DefaultSelectCheckOption = coRaise;
TVxXPathCollationClass DefaultXPathCollation = TVxXPathCollationASCIICI::ClassRef();

// ---------------------------------------------------------------------------------------------
// Names
// ---------------------------------------------------------------------------------------------

namespace {
TVxDOMName* MakeName(std::u16string_view APrefix, std::u16string_view ALocalName) {
  auto* n = new TVxDOMName;
  n->Prefix.assign(APrefix);
  n->LocalName.assign(ALocalName);
  if (APrefix.empty()) {
    n->QName = n->LocalName;
  } else {
    n->QName.reserve(APrefix.size() + 1 + ALocalName.size());
    n->QName.append(APrefix).append(1, u':').append(ALocalName);
  }
  return n;
}
}  // namespace

TVxDOMName* VxDOMFixedName(TVxDOMFixedName AKind) noexcept {
  // Never freed, so every node can point at them, from any thread and at any time.
  static const std::array<TVxDOMName*, 5> names{MakeName(u"", u""), MakeName(u"", u"#text"),
                                                MakeName(u"", u"#cdata-section"), MakeName(u"", u"#comment"),
                                                MakeName(u"", u"#document")};
  return names[AKind];
}

TVxDOMName* VxDOMNewName(std::u16string_view APrefix, std::u16string_view ALocalName) {
  TVxDOMName* n = MakeName(APrefix, ALocalName);
  n->OwnedByNode = true;
  return n;
}

void VxDOMReleaseName(TVxDOMName* AName) noexcept {
  if (AName->OwnedByNode) delete AName;
}

void VxDOMSplitName(std::u16string_view AName, std::u16string_view& APrefix, std::u16string_view& ALocal) {
  const size_t colon = AName.find(u':');
  if (colon == std::u16string_view::npos) {
    APrefix = {};
    ALocal = AName;
  } else {
    APrefix = AName.substr(0, colon);
    ALocal = AName.substr(colon + 1);
  }
}

TVxDOMName* TVxDOMDocument::InternQName(std::u16string_view AQName) { return FStore->Intern(AQName); }

TVxDOMStore::~TVxDOMStore() {
  for (auto& [qname, name] : FNames) delete name;
  for (TVxDOMName* name : FOddNames) delete name;
}

TVxDOMName* TVxDOMStore::Intern(std::u16string_view AQName) {
  auto it = FNames.find(AQName);
  if (it != FNames.end()) return it->second;
  std::u16string_view prefix, local;
  VxDOMSplitName(AQName, prefix, local);
  TVxDOMName* n = MakeName(prefix, local);
  if (n->QName != AQName) {
    // ":" or ":b": the parts join to another qualified name; the name keeps its own, and the
    // table cannot key it.
    n->QName.assign(AQName);
    FOddNames.push_back(n);
    return n;
  }
  FNames.emplace(std::u16string_view(n->QName), n);
  return n;
}

TVxDOMName* TVxDOMStore::Intern(std::u16string_view APrefix, std::u16string_view ALocalName) {
  if (APrefix.empty()) {
    if (ALocalName.find(u':') == std::u16string_view::npos) return Intern(ALocalName);
  } else if (ALocalName.find(u':') == std::u16string_view::npos) {
    VxXMLString qname;
    qname.reserve(APrefix.size() + 1 + ALocalName.size());
    qname.append(APrefix).append(1, u':').append(ALocalName);
    return Intern(qname);
  }
  // A local name with a colon: the qualified name would split differently, so this name is
  // kept apart from the table.
  FOddNames.push_back(MakeName(APrefix, ALocalName));
  return FOddNames.back();
}

// ---------------------------------------------------------------------------------------------
// TVxDOMObject: the lifecycle of tree objects and their companions
// ---------------------------------------------------------------------------------------------

// ---------------------------------------------------------------------------------------------
// The node store
// ---------------------------------------------------------------------------------------------

void* TVxDOMNode::operator new(std::size_t ASize, TVxDOMNode* ANear) {
  TVxDOMStore* store = nullptr;
  if (ANear) store = ANear->FNodeType == ntDocument ? static_cast<TVxDOMDocument*>(ANear)->FStore : TVxDOMStore::Of(ANear);
  return TVxDOMStore::Allocate(store, ASize);
}

void TVxDOMNode::operator delete(void* APtr, TVxDOMNode*) noexcept { TVxDOMStore::Deallocate(APtr, 0); }

void TVxDOMNode::operator delete(TVxDOMNode* ANode, std::destroying_delete_t, std::size_t ASize) noexcept {
  ANode->~TVxDOMNode();
  TVxDOMStore::Deallocate(ANode, ASize);
}


void TVxDOMValue::Assign(const void* AOwner, std::u16string_view AText) {
  if (AText.empty()) {
    Release();
    return;
  }
  if (AText.size() > UINT32_MAX) throw std::length_error("DOM value too long");
  const auto size = static_cast<uint32_t>(AText.size());
  if (size <= FCapacity && (AText.data() + AText.size() <= FData || AText.data() >= FData + FCapacity)) {
    // Fits, and does not overlap the current text.
    std::memcpy(FData, AText.data(), AText.size() * sizeof(char16_t));
    FSize = size;
    return;
  }
  auto* data = static_cast<char16_t*>(TVxDOMStore::Allocate(TVxDOMStore::Of(AOwner), AText.size() * sizeof(char16_t)));
  std::memcpy(data, AText.data(), AText.size() * sizeof(char16_t));
  Release();
  FData = data;
  FSize = FCapacity = size;
}

void TVxDOMValue::Release() noexcept {
  if (FData) TVxDOMStore::Deallocate(FData, FCapacity * sizeof(char16_t));
  FData = nullptr;
  FSize = FCapacity = 0;
}

TVxDOMObject::~TVxDOMObject() = default;

bool TVxDOMObject::CanAutoDestroy() {
  if (FParent && !FParent->FDestroying) return false;
  if (RefCount() != 0) return false;
  return !FDestroying;
}

bool TVxDOMObject::GetCaseSensitive() { return GetCollation() != TVxXPathCollationASCIICI::ClassRef(); }

TVxXPathCollationClass TVxDOMObject::GetCollation() {
  return FDocument ? FDocument->GetCollation() : DefaultXPathCollation;
}

TVxDOMSelectMatchOption TVxDOMObject::GetSelectMatchOption() {
  return FDocument ? FDocument->GetSelectMatchOption() : DefaultSelectMatchOption;
}

void TVxDOMObject::SetDOMImpl(TVxDOMObjectImpl* AImpl) { FImpl = AImpl; }

void TVxDOMObject::SetDOMDocument(TVxDOMDocument* ADocument) { FDocument = ADocument; }

void TVxDOMObject::SetParentNode(TVxDOMNode* AParent) {
  FParent = AParent;
  if (!FDestroying && FImpl) FImpl->SetParentIntf(AParent);
}

void TVxDOMObject::BeforeDestruction() { FDestroying = true; }

void TVxDOMObject::Free() {
  if (!FDestroying) BeforeDestruction();
  if (FImpl && FImpl->RefCount() > 0) {
    // The destruction stops here: the object stays, emptied and detached, and the last release
    // of its companion frees it.
    FDestroying = false;
    throw Exception(VxFormat(cVxDomDestroyedWhileReferenced, ClassName()));
  }
  DeleteSelf();
}

TVxDOMObjectImpl* TVxDOMObject::EnsureImpl() {
  if (FImpl) return FImpl;
  // A companion holds its parent's companion, so ancestors get theirs first. Walk up to the
  // nearest ancestor that has one and create the missing ones top-down: each constructor then
  // finds its parent's companion in place, and a deep tree costs no stack.
  std::vector<TVxDOMObject*> missing;
  for (TVxDOMObject* object = this; object && !object->FImpl; object = object->FParent) missing.push_back(object);
  for (auto it = missing.rbegin(); it != missing.rend(); ++it) (*it)->SetDOMImpl((*it)->CreateDOMImpl());
  return FImpl;
}

bool TVxDOMObject::GetInterface(const TVxGUID& AIID, void** AObj) {
  // The companion answers first; what it does not know, the tree object may.
  if (EnsureImpl()->QueryInterface(AIID, AObj)) return true;
  return TVxObject::GetInterface(AIID, AObj);
}

int32_t TVxDOMObject::ObjAddRef() { return EnsureImpl()->_AddRef(); }

int32_t TVxDOMObject::ObjRelease() {
  if (!FImpl) throw Exception(VxString(cVxDomNoInterfaces));
  return VxDOMReleaseImpl(FImpl);
}

TVxDOMObjectImpl::TVxDOMObjectImpl(TVxDOMObject* AObject) : FObject(AObject) {
  SetAutoDestroy(false);  // the release loop frees companions
  if (AObject->FParent) {
    FParentImpl = AObject->FParent->EnsureImpl();
    FParentImpl->_AddRef();
  }
}

TVxDOMObjectImpl::~TVxDOMObjectImpl() = default;

void TVxDOMObjectImpl::SetParentIntf(TVxDOMObject* AParent) {
  TVxDOMObjectImpl* fresh = AParent ? AParent->EnsureImpl() : nullptr;
  if (fresh) fresh->_AddRef();
  TVxDOMObjectImpl* old = FParentImpl;
  FParentImpl = fresh;
  if (old) VxDOMReleaseImpl(old);
}

int32_t TVxDOMObjectImpl::ObjRelease() { return VxDOMReleaseImpl(this); }

int32_t VxDOMReleaseImpl(TVxDOMObjectImpl* AImpl) {
  const int32_t count = AImpl->DropReference();
  if (count != 0) return count;
  // Count zero: the tree object forgets its companion and is freed when nothing else keeps it;
  // then the reference to the parent's companion is released the same way, in this loop.
  TVxDOMObjectImpl* impl = AImpl;
  while (impl) {
    TVxDOMObjectImpl* parent = std::exchange(impl->FParentImpl, nullptr);
    TVxDOMObject* object = impl->FObject;
    object->SetDOMImpl(nullptr);
    if (object->CanAutoDestroy()) object->Free();
    delete impl;
    impl = parent && parent->DropReference() == 0 ? parent : nullptr;
  }
  return 0;
}

TVxDOMHold::TVxDOMHold(TVxDOMObject* AObject) : FImpl(AObject ? AObject->DOMImpl() : nullptr) {
  if (FImpl) FImpl->_AddRef();
}

TVxDOMHold::~TVxDOMHold() {
  if (FImpl) VxDOMReleaseImpl(FImpl);
}

// ---------------------------------------------------------------------------------------------
// TVxDOMNode: names and extras
// ---------------------------------------------------------------------------------------------

TVxDOMNode::TVxDOMNode(TVxDOMDocument* ADocument) : TVxDOMObject(ADocument), FName(VxDOMFixedName(fnEmpty)) {}

TVxDOMNode::~TVxDOMNode() {
  if (FExtra) {
    for (TVxDOMNodeListBase* list :
         {static_cast<TVxDOMNodeListBase*>(FExtra->ChildNodes), static_cast<TVxDOMNodeListBase*>(FExtra->Attributes),
          static_cast<TVxDOMNodeListBase*>(FExtra->Namespaces), static_cast<TVxDOMNodeListBase*>(FExtra->Elements),
          static_cast<TVxDOMNodeListBase*>(FExtra->CharNodes)})
      delete list;
    delete FExtra;
  }
  VxDOMReleaseName(FName);
}

TVxDOMNode::TExtra& TVxDOMNode::Extra() {
  if (!FExtra) FExtra = new TExtra;
  return *FExtra;
}

TVxDOMObjectImpl* TVxDOMNode::CreateDOMImpl() { return VxDOMCreateNodeImpl(this); }

bool TVxDOMNode::CanAutoDestroy() {
  if (FImpl) return false;
  return TVxDOMObject::CanAutoDestroy();
}

void TVxDOMNode::SetName(std::u16string_view APrefix, std::u16string_view ALocalName) {
  // The name comes from the node's own store, which lives as long as the node.
  TVxDOMStore* store = TVxDOMStore::Of(this);
  TVxDOMName* fresh = store ? store->Intern(APrefix, ALocalName) : VxDOMNewName(APrefix, ALocalName);
  VxDOMReleaseName(std::exchange(FName, fresh));
}

void TVxDOMNode::SetFixedName(TVxDOMName* AName) { VxDOMReleaseName(std::exchange(FName, AName)); }

void TVxDOMNode::SetPrefix(const VxXMLString& APrefix) { SetName(APrefix, FName->LocalName); }

void TVxDOMNode::SetQualifiedName(const VxXMLString& AName) {
  std::u16string_view prefix, local;
  VxDOMSplitName(AName, prefix, local);
  VxXMLString p(prefix);
  SetName(FName->Prefix, local);
  SetPrefix(p);
}

VxXMLString TVxDOMNode::GetNamespaceURI() {
  if (FParent) return FParent->GetNamespaceURI();
  return FExtra ? FExtra->NamespaceURI : VxXMLString();
}

// ---------------------------------------------------------------------------------------------
// TVxDOMNode: children
// ---------------------------------------------------------------------------------------------

TVxDOMNodeListBase::TKind VxDOMTypedKind(const TVxDOMNode* ANode) noexcept {
  switch (ANode->NodeType()) {
    case ntAttribute: return TVxDOMNodeListBase::lkAttributes;
    case ntElement: return TVxDOMNodeListBase::lkElements;
    case ntText:
    case ntCDATA:
    case ntComment: return TVxDOMNodeListBase::lkCharNodes;
    default: return TVxDOMNodeListBase::lkStandalone;
  }
}

TVxDOMNodeList* TVxDOMNode::ChildNodes() {
  TExtra& x = Extra();
  if (!x.ChildNodes) x.ChildNodes = new TVxDOMNodeList(this, TVxDOMNodeListBase::lkChildren);
  return x.ChildNodes;
}


void TVxDOMNode::LinkChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  // The list rule: first / last; before / after a child (a reference that is no child: before
  // goes first, after goes last; no reference: before goes first, after goes last).
  const bool refIsChild = ARefNode && ARefNode->FParent == this && ARefNode != ANode;
  TVxDOMNode* before = nullptr;  // insert before this one; nullptr appends
  switch (APosition) {
    case rdpFirst: before = FFirst; break;
    case rdpLast: before = nullptr; break;
    case rdpBefore: before = refIsChild ? ARefNode : FFirst; break;
    case rdpAfter: before = refIsChild ? ARefNode->FNext : nullptr; break;
  }
  ANode->FNext = before;
  ANode->FPrev = before ? before->FPrev : FLast;
  if (ANode->FPrev)
    ANode->FPrev->FNext = ANode;
  else
    FFirst = ANode;
  if (before)
    before->FPrev = ANode;
  else
    FLast = ANode;
  ++FChildCount;
  ++FVersion;
  if (FNodeType == ntElement) {
    auto* e = static_cast<TVxDOMElement*>(this);
    switch (VxDOMTypedKind(ANode)) {
      case TVxDOMNodeListBase::lkAttributes: ++e->FAttributeCount; break;
      case TVxDOMNodeListBase::lkElements: ++e->FElementCount; break;
      case TVxDOMNodeListBase::lkCharNodes: ++e->FCharCount; break;
      default: break;
    }
  }
}

void TVxDOMNode::UnlinkChild(TVxDOMNode* ANode) {
  if (ANode->FPrev)
    ANode->FPrev->FNext = ANode->FNext;
  else
    FFirst = ANode->FNext;
  if (ANode->FNext)
    ANode->FNext->FPrev = ANode->FPrev;
  else
    FLast = ANode->FPrev;
  ANode->FNext = ANode->FPrev = nullptr;
  --FChildCount;
  ++FVersion;
  if (FNodeType == ntElement) {
    auto* e = static_cast<TVxDOMElement*>(this);
    const auto kind = VxDOMTypedKind(ANode);
    switch (kind) {
      case TVxDOMNodeListBase::lkAttributes: --e->FAttributeCount; break;
      case TVxDOMNodeListBase::lkElements: --e->FElementCount; break;
      case TVxDOMNodeListBase::lkCharNodes: --e->FCharCount; break;
      default: break;
    }
    if (e->FTyped && kind != TVxDOMNodeListBase::lkStandalone) {
      auto& order = e->FTyped->Of(kind);
      order.erase(std::find(order.begin(), order.end(), ANode));
    }
  }
}

TVxDOMNode* TVxDOMNode::AddChild(const TVxDOMNodeClass& ANodeClass, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  TVxDOMNode* node = ANodeClass.Create(FDocument ? FDocument : (FNodeType == ntDocument ? static_cast<TVxDOMDocument*>(this) : nullptr));
  try {
    return AddChild(node, ARefNode, APosition);
  } catch (...) {
    node->Free();
    throw;
  }
}

TVxDOMNode* TVxDOMNode::AddChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  if (!ANode) return nullptr;
  if (TVxDOMTree::WouldCycle(this, ANode)) throw EVxDomHierarchyRequest(VxString(cVxDomNodeInOwnSubtree));
  TVxDOMHold keepThis(this), keepNode(ANode);
  // A node that has a parent is taken from it first (it is moved, not copied).
  if (TVxDOMNode* old = ANode->FParent) {
    old->UnlinkChild(ANode);
    ANode->SetParentNode(nullptr);
  }
  LinkChild(ANode, ARefNode, APosition);
  ANode->SetParentNode(this);
  return ANode;
}

TVxDOMNode* TVxDOMNode::AppendChild(TVxDOMNode* ANode) { return AddChild(ANode, nullptr, rdpLast); }

TVxDOMNode* TVxDOMNode::InsertBefore(TVxDOMNode* ANode, TVxDOMNode* ARefNode) {
  return AddChild(ANode, ARefNode, rdpBefore);
}

void TVxDOMNode::RemoveChild(TVxDOMNode* ANode) {
  if (!ANode) return;
  if (ANode->FParent != this) throw EAssertionFailed(VxString(cVxDomNotAChild));
  TVxDOMHold keepThis(this);
  ANode->SetParentNode(nullptr);
  UnlinkChild(ANode);
  if (ANode->CanAutoDestroy()) ANode->Free();
}

void TVxDOMNode::Clear() {
  TVxDOMHold keep(this);
  ClearChildren();
}

void TVxDOMNode::ClearChildren() {
  // From the last child to the first; a freed node's own children go first. An explicit stack
  // of the nodes being freed replaces recursion, so any depth is fine. A child that an interface
  // holds is detached and lives on.
  std::vector<TVxDOMNode*> freeing;
  for (;;) {
    TVxDOMNode* owner = freeing.empty() ? this : freeing.back();
    TVxDOMNode* child = owner->FLast;
    if (!child) {
      if (freeing.empty()) break;
      freeing.pop_back();
      delete owner;  // no children, no parent, no companion (back to its store)
      continue;
    }
    if (child->FImpl || child->RefCount() != 0) {
      owner->RemoveChild(child);  // detached: the holder keeps it
      continue;
    }
    owner->UnlinkChild(child);
    child->FParent = nullptr;
    child->FDestroying = true;
    freeing.push_back(child);
  }
}

void TVxDOMNode::BeforeDestruction() {
  TVxDOMObject::BeforeDestruction();
  ClearChildren();
  if (FParent) FParent->RemoveChild(this);
}

void TVxDOMNode::SetDOMDocument(TVxDOMDocument* ADocument) { TVxDOMTree::SetDocument(this, ADocument); }

void TVxDOMNode::SetParentNode(TVxDOMNode* AParent) {
  if (FDestroying) {
    FParent = AParent;
    return;
  }
  if (FParent && !AParent) TVxDOMTree::Detaching(this);
  TVxDOMObject::SetParentNode(AParent);
  TVxDOMDocument* doc = AParent ? (AParent->NodeType() == ntDocument ? static_cast<TVxDOMDocument*>(AParent)
                                                                     : AParent->DOMDocument())
                                : nullptr;
  if (doc != FDocument) SetDOMDocument(doc);
  if (AParent) TVxDOMTree::Attached(this);
}

void TVxDOMTree::SetDocument(TVxDOMNode* ARoot, TVxDOMDocument* ADocument) {
  for (TVxDOMNode* n = ARoot; n; n = NextInSubtree(n, ARoot)) {
    n->FDocument = ADocument;
    if (n->FExtra)
      for (TVxDOMNodeListBase* list :
           {static_cast<TVxDOMNodeListBase*>(n->FExtra->ChildNodes), static_cast<TVxDOMNodeListBase*>(n->FExtra->Attributes),
            static_cast<TVxDOMNodeListBase*>(n->FExtra->Namespaces), static_cast<TVxDOMNodeListBase*>(n->FExtra->Elements),
            static_cast<TVxDOMNodeListBase*>(n->FExtra->CharNodes)})
        if (list) list->FDocument = ADocument;
  }
}

bool TVxDOMTree::WouldCycle(const TVxDOMNode* AParent, const TVxDOMNode* ANode) noexcept {
  // Only a node with children can be an ancestor of the new parent: a leaf needs no walk.
  if (AParent == ANode) return true;
  return ANode->FFirst && IsInSubtree(AParent, ANode);
}

bool TVxDOMTree::IsInSubtree(const TVxDOMNode* ANode, const TVxDOMNode* AAncestor) noexcept {
  for (const TVxDOMNode* n = ANode; n; n = n->FParent)
    if (n == AAncestor) return true;
  return false;
}

void TVxDOMTree::AppendLoaded(TVxDOMNode* AParent, TVxDOMNode* ANode) noexcept {
  ANode->FParent = AParent;
  ANode->FPrev = AParent->FLast;
  if (AParent->FLast)
    AParent->FLast->FNext = ANode;
  else
    AParent->FFirst = ANode;
  AParent->FLast = ANode;
  ++AParent->FChildCount;
  ++AParent->FVersion;
  if (AParent->FNodeType == ntElement) {
    auto* e = static_cast<TVxDOMElement*>(AParent);
    switch (ANode->FNodeType) {
      case ntAttribute: ++e->FAttributeCount; break;
      case ntElement: ++e->FElementCount; break;
      case ntText:
      case ntCDATA:
      case ntComment: ++e->FCharCount; break;
      default: break;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// TVxDOMNode: values, text forms, paths, copies
// ---------------------------------------------------------------------------------------------

bool TVxDOMNode::GetPreserveSpace() { return FParent ? FParent->GetPreserveSpace() : DefaultPreserveCase; }

VxXMLString TVxDOMNode::GetNodeValue() { return {}; }

void TVxDOMNode::SetNodeValue(const VxXMLString&) { throw EVxDomNotSupported(VxString(cVxDomSetNodeValueNotSupported)); }

VxXMLString TVxDOMNode::GetText() { return {}; }

namespace {
VxXMLString WriteToString(const std::function<void(TVxStream&)>& AWrite) {
  TVxStringStream out(cVxCodePageUTF16);
  AWrite(out);
  return out.DataString();
}
}  // namespace

VxXMLString TVxDOMNode::GetXML() {
  return WriteToString([this](TVxStream& S) { SaveToStream(S, cVxCodePageUTF16, false); });
}

VxXMLString TVxDOMNode::GetFormattedXML() {
  return WriteToString([this](TVxStream& S) { SaveToStream(S, cVxCodePageUTF16, true); });
}

VxXMLString TVxDOMNode::GetInnerXML() {
  return WriteToString([this](TVxStream& S) {
    TVxDOMWriter w(S, cVxCodePageUTF16);
    int level = -1;
    SaveChildren(w, false, level);
  });
}

VxXMLString TVxDOMNode::GetFormattedInnerXML() {
  return WriteToString([this](TVxStream& S) {
    TVxDOMWriter w(S, cVxCodePageUTF16);
    int level = -1;
    SaveChildren(w, true, level);
  });
}

void TVxDOMNode::SetInnerXML(const VxXMLString&) { throw EVxDomNotSupported(VxString(cVxDomSetInnerXMLNotSupported)); }

void TVxDOMNode::NormalizeTextNodes() {}

void TVxDOMNode::RefreshNamespaces() {
  // Namespaces are resolved when asked for (see docs/architecture.md): what is left to do is to
  // apply the namespaces still pending in the subtree.
  if (FDocument && FParent) TVxDOMTree::Attached(this);
}

VxXMLString TVxDOMNode::NodePath(bool ALocalNamesOnly, const VxXMLString& AIdAttribute) {
  if (FNodeType == ntDocument) return {};
  // The steps from this node up to the top, written from the top down.
  std::vector<VxXMLString> steps;
  bool first = true;
  TVxDOMNode* n = this;
  for (; n && n->FNodeType != ntDocument; n = n->FParent, first = false) {
    VxXMLString step = ALocalNamesOnly ? n->GetLocalName() : n->GetQualifiedName();
    if (n->FNodeType == ntAttribute) {
      step.insert(0, 1, u'@');
    } else if (first && n->FNodeType == ntElement && !AIdAttribute.empty()) {
      auto* e = static_cast<TVxDOMElement*>(n);
      TVxDOMAttribute* id = nullptr;
      for (TVxDOMNode* c = e->FFirst; c && !id; c = c->FNext)
        if (c->FNodeType == ntAttribute &&
            VxSameText(ALocalNamesOnly ? c->GetLocalName() : c->GetQualifiedName(), AIdAttribute))
          id = static_cast<TVxDOMAttribute*>(c);
      if (id) step += u"[@" + AIdAttribute + u"=\"" + id->GetNodeValue() + u"\"]";
    }
    steps.push_back(std::move(step));
  }
  VxXMLString path;
  // A node under a document (or under a parent) starts with "/"; a node without parent does not.
  for (size_t k = steps.size(); k-- > 0;) {
    if (k != steps.size() - 1 || n) path += u'/';
    path += steps[k];
  }
  return path;
}

TVxDOMNode* TVxDOMNode::CreateClone() {
  // A plain node (subclasses make their own class).
  auto* n = new (this) TVxDOMNode(FDocument);
  n->FNodeType = FNodeType;
  n->SetName(FName->Prefix, FName->LocalName);
  return n;
}

TVxDOMNode* TVxDOMNode::CloneNode(bool ADeep) {
  if (!ADeep) return CreateClone();
  // The copies take no namespaces of their own; one walk afterwards gives those declared outside
  // the subtree to the copies that use them (looking each up would cost the depth per node).
  TVxDOMNode* clone = CreateCopy();
  try {
    TVxDOMTree::CopyChildren(this, clone);
    TVxDOMTree::KeepOutsideNamespaces(this, clone, true);
  } catch (...) {
    clone->Free();
    throw;
  }
  return clone;
}

void TVxDOMTree::CopyChildren(TVxDOMNode* ASource, TVxDOMNode* ATarget) {
  // Pairs (source, its clone) whose children are still to copy; an element's clone already
  // holds the attributes (CreateCopy copies them), so only other children are copied.
  std::vector<std::pair<TVxDOMNode*, TVxDOMNode*>> pending{{ASource, ATarget}};
  while (!pending.empty()) {
    auto [source, target] = pending.back();
    pending.pop_back();
    for (TVxDOMNode* c = source->FFirst; c; c = c->FNext) {
      if (c->FNodeType == ntAttribute && source->FNodeType == ntElement) continue;
      // Fresh copies go straight in: nothing to check, the namespaces are those of the source.
      TVxDOMNode* copy = c->CreateCopy();
      if (copy->FNamespacePending) {
        copy->FNamespacePending = false;
        copy->Extra().NamespaceURI.clear();
      }
      AppendLoaded(target, copy);
      copy->FDocument = target->FDocument;
      if (c->FFirst) pending.emplace_back(c, copy);
    }
  }
}

void TVxDOMNode::SaveToStream(TVxStream& AStream, uint16_t ACodePage, bool AFormat) {
  TVxDOMWriter writer(AStream, ACodePage);
  int level = -1;
  _SaveToStream(writer, AFormat, level);
  writer.Flush();
}

void TVxDOMNode::_SaveToStream(TVxDOMWriter&, bool, int&) {}

void TVxDOMNode::SaveChildren(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) {
  for (TVxDOMNode* c = FFirst; c; c = c->FNext)
    if (c->FNodeType != ntAttribute) c->_SaveToStream(AWriter, AFormat, ALevel);
}

void TVxDOMNode::SaveToJSONStream(TVxStream& AStream, bool AFormat) {
  TVxDOMWriter writer(AStream, cVxCodePageUTF8);
  TVxDOMJSONWriter json(writer);
  _SaveToJSONStream(json, AFormat);
  writer.Flush();
}

void TVxDOMNode::_SaveToJSONStream(TVxDOMJSONWriter& AWriter, bool) { AWriter.String(GetText()); }

void TVxDOMNode::LoadFromStream(TVxStream&) {
  throw EVxDomNotSupported(VxFormat(cVxDomNotSupportedOperation, u"LoadFromStream", ClassName()));
}

void TVxDOMNode::Serialize(TVxStream&) {
  throw EVxDomNotSupported(VxFormat(cVxDomNotSupportedOperation, u"Serialize", ClassName()));
}

void TVxDOMNode::Transform(const VxXMLString&, VxXMLString&) {
  throw EVxDomNotSupported(VxFormat(cVxDomNotSupportedOperation, u"Transform", ClassName()));
}

// Parse events

namespace {
const TVxDOMParseEvent cNoHandler;
}

void TVxDOMNode::DoDOMParseWarning(IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode) {
  if (FExtra && FExtra->OnWarning) FExtra->OnWarning(this, ALocator, AMessage, AErrorCode);
}
void TVxDOMNode::DoDOMParseError(IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode) {
  if (FExtra && FExtra->OnError) FExtra->OnError(this, ALocator, AMessage, AErrorCode);
}
void TVxDOMNode::DoDOMParseFatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode) {
  if (FExtra && FExtra->OnFatal) FExtra->OnFatal(this, ALocator, AMessage, AErrorCode);
}
const TVxDOMParseEvent& TVxDOMNode::OnParseWarning() const { return FExtra ? FExtra->OnWarning : cNoHandler; }
const TVxDOMParseEvent& TVxDOMNode::OnParseError() const { return FExtra ? FExtra->OnError : cNoHandler; }
const TVxDOMParseEvent& TVxDOMNode::OnParseFatalError() const { return FExtra ? FExtra->OnFatal : cNoHandler; }
void TVxDOMNode::SetOnParseWarning(TVxDOMParseEvent AHandler) { Extra().OnWarning = std::move(AHandler); }
void TVxDOMNode::SetOnParseError(TVxDOMParseEvent AHandler) { Extra().OnError = std::move(AHandler); }
void TVxDOMNode::SetOnParseFatalError(TVxDOMParseEvent AHandler) { Extra().OnFatal = std::move(AHandler); }

// ---------------------------------------------------------------------------------------------
// Character data, text, CDATA, comments, processing instructions
// ---------------------------------------------------------------------------------------------

VxXMLString TVxDOMCharacterData::GetNodeValue() { return VxXMLToStr(FValue.View()); }

void TVxDOMCharacterData::SetNodeValue(const VxXMLString& AValue) { FValue.Assign(this, VxStrToXML(AValue, true, true)); }

TVxDOMNode* TVxDOMCharacterData::CreateClone() {
  TVxDOMCharacterData* c;
  switch (FNodeType) {
    case ntCDATA: c = new (this) TVxDOMCDATA(FDocument); break;
    case ntComment: c = new (this) TVxDOMComment(FDocument); break;
    default: c = new (this) TVxDOMText(FDocument); break;
  }
  c->FValue.Assign(c, FValue);
  return c;
}

namespace {
// The Delphi string routines on 1-based positions: out-of-range parts are clipped.
VxXMLString CopyStr(const VxXMLString& S, int AOffset, int ACount) {
  if (AOffset < 1) AOffset = 1;
  if (ACount <= 0 || AOffset > static_cast<int>(S.size())) return {};
  return S.substr(static_cast<size_t>(AOffset - 1), static_cast<size_t>(ACount));
}
void DeleteFrom(VxXMLString& S, int AOffset, int ACount) {
  if (AOffset < 1 || AOffset > static_cast<int>(S.size()) || ACount <= 0) return;
  S.erase(static_cast<size_t>(AOffset - 1), static_cast<size_t>(ACount));
}
void InsertInto(VxXMLString& S, int AOffset, const VxXMLString& ASub) {
  if (AOffset < 1) AOffset = 1;
  if (AOffset > static_cast<int>(S.size()) + 1) AOffset = static_cast<int>(S.size()) + 1;
  S.insert(static_cast<size_t>(AOffset - 1), ASub);
}
}  // namespace

void TVxDOMCharacterData::AppendStr(const VxXMLString& S) { SetNodeValue(GetNodeValue() + S); }
void TVxDOMCharacterData::DeleteStr(int AOffset, int ACount) {
  VxXMLString v = GetNodeValue();
  DeleteFrom(v, AOffset, ACount);
  SetNodeValue(v);
}
void TVxDOMCharacterData::InsertStr(int AOffset, const VxXMLString& S) {
  VxXMLString v = GetNodeValue();
  InsertInto(v, AOffset, S);
  SetNodeValue(v);
}
void TVxDOMCharacterData::ReplaceStr(int AOffset, int ACount, const VxXMLString& S) {
  VxXMLString v = GetNodeValue();
  DeleteFrom(v, AOffset, ACount);
  InsertInto(v, AOffset, S);
  SetNodeValue(v);
}
VxXMLString TVxDOMCharacterData::Substring(int AOffset, int ACount) { return CopyStr(GetNodeValue(), AOffset, ACount); }

TVxDOMText::TVxDOMText(TVxDOMDocument* ADocument) : TVxDOMCharacterData(ADocument) {
  FNodeType = ntText;
  FName = VxDOMFixedName(fnText);
}

TVxDOMText* TVxDOMText::SplitText(int AOffset) {
  VxXMLString v = GetNodeValue();
  const size_t keep = AOffset <= 0 ? 0 : std::min(v.size(), static_cast<size_t>(AOffset));
  auto* rest = static_cast<TVxDOMText*>(CreateClone());
  rest->SetNodeValue(v.substr(keep));
  SetNodeValue(v.substr(0, keep));
  if (FParent) FParent->AddChild(rest, this, rdpAfter);
  return rest;
}

void TVxDOMText::_SaveToStream(TVxDOMWriter& AWriter, bool, int&) { AWriter.Write(FValue); }

TVxDOMCDATA::TVxDOMCDATA(TVxDOMDocument* ADocument) : TVxDOMText(ADocument) {
  FNodeType = ntCDATA;
  FName = VxDOMFixedName(fnCDATA);
}

void TVxDOMCDATA::_SaveToStream(TVxDOMWriter& AWriter, bool, int&) {
  AWriter.Write(u"<![CDATA[");
  AWriter.Write(FValue);
  AWriter.Write(u"]]>");
}

TVxDOMComment::TVxDOMComment(TVxDOMDocument* ADocument) : TVxDOMCharacterData(ADocument) {
  FNodeType = ntComment;
  FName = VxDOMFixedName(fnComment);
}

namespace {
bool ParentElementPreserves(TVxDOMNode* AParent, bool& AIsElement) {
  AIsElement = AParent && AParent->NodeType() == ntElement;
  return AIsElement && AParent->GetPreserveSpace();
}
}  // namespace

void TVxDOMComment::_SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) {
  if (AFormat) {
    if (!GetPreserveSpace()) AWriter.LineBreak();
    bool isElement;
    if (!ParentElementPreserves(FParent, isElement) && isElement) AWriter.Indent(ALevel);
  }
  AWriter.Write(u"<!--");
  AWriter.Write(FValue);
  AWriter.Write(u"-->");
}

TVxDOMProcessingInstruction::TVxDOMProcessingInstruction(TVxDOMDocument* ADocument) : TVxDOMNode(ADocument) {
  FNodeType = ntProcessingInstruction;
}

void TVxDOMProcessingInstruction::SetNodeValue(const VxXMLString& AValue) {
  FValue.Assign(this, AValue);
  if (FDocument && FParent == FDocument && GetLocalName() == u"xml") FDocument->ReCalcEncoding();
}

TVxDOMNode* TVxDOMProcessingInstruction::CreateClone() {
  auto* pi = new (this) TVxDOMProcessingInstruction(FDocument);
  pi->SetName(FName->Prefix, FName->LocalName);
  pi->FValue.Assign(pi, FValue);
  return pi;
}

void TVxDOMProcessingInstruction::_SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) {
  if (AFormat && AWriter.BytesInStream() >= 5) {
    AWriter.LineBreak();
    bool isElement;
    if (!ParentElementPreserves(FParent, isElement) && isElement) AWriter.Indent(ALevel);
  }
  AWriter.Write(u"<?");
  AWriter.Write(GetQualifiedName());
  if (!FValue.empty()) {
    AWriter.Write(u' ');
    AWriter.Write(FValue);
  }
  AWriter.Write(u"?>");
}

// ---------------------------------------------------------------------------------------------
// Node lists
// ---------------------------------------------------------------------------------------------

TVxDOMNodeListBase::TVxDOMNodeListBase(TVxDOMDocument* ADocument) : TVxDOMObject(ADocument), FKind(lkStandalone) {}

TVxDOMNodeListBase::TVxDOMNodeListBase(TVxDOMNode* AOwner, TKind AKind)
    : TVxDOMObject(AOwner->DOMDocument()), FKind(AKind) {
  FParent = AOwner;
}

TVxDOMNodeListBase::~TVxDOMNodeListBase() = default;

TVxDOMObjectImpl* TVxDOMNodeListBase::CreateDOMImpl() { return VxDOMCreateListImpl(this); }

bool TVxDOMNodeListBase::Matches(const TVxDOMNode* ANode) const noexcept {
  return FKind == lkChildren || VxDOMTypedKind(ANode) == FKind;
}

std::vector<TVxDOMNode*>* TVxDOMNodeListBase::Stored() {
  if (FKind == lkStandalone) return &FItems;
  if (FKind != lkChildren && FParent && FParent->NodeType() == ntElement) {
    auto* e = static_cast<TVxDOMElement*>(FParent);
    if (e->FTyped) return &e->FTyped->Of(FKind);
  }
  return nullptr;
}

void TVxDOMNodeListBase::CheckWritable() {
  if (FKind != lkStandalone) throw EVxDomNoModificationAllowed(VxString(cVxDomChildListReadOnly));
}

int TVxDOMNodeListBase::Count() {
  if (auto* items = Stored()) return static_cast<int>(items->size());
  if (FKind == lkChildren) return FParent->NodeCount();
  if (FParent->NodeType() != ntElement) return 0;
  auto* e = static_cast<TVxDOMElement*>(FParent);
  return FKind == lkAttributes ? e->AttributeCount() : FKind == lkElements ? e->ElementCount() : e->CharNodeCount();
}

TVxDOMNode* TVxDOMNodeListBase::GetItem(int AIndex) {
  const int count = Count();
  if (AIndex < 0 || AIndex >= count) throw EListError(VxFormat(cVxListIndexError, AIndex));
  if (auto* items = Stored()) return (*items)[static_cast<size_t>(AIndex)];
  // A view over the owner's children: walk from the cached position, the start or the end,
  // whichever is nearest, so reading the list in order costs one step per item.
  TVxDOMNode* owner = FParent;
  TVxDOMNode* node;
  int index;
  const bool cacheValid = FCacheNode && FCacheVersion == owner->FVersion;
  if (cacheValid && std::abs(AIndex - FCacheIndex) <= std::min(AIndex, count - 1 - AIndex)) {
    node = FCacheNode;
    index = FCacheIndex;
  } else if (AIndex <= count - 1 - AIndex) {
    node = owner->FFirst;
    while (!Matches(node)) node = node->FNext;
    index = 0;
  } else {
    node = owner->FLast;
    while (!Matches(node)) node = node->FPrev;
    index = count - 1;
  }
  while (index < AIndex) {
    do node = node->FNext;
    while (!Matches(node));
    ++index;
  }
  while (index > AIndex) {
    do node = node->FPrev;
    while (!Matches(node));
    --index;
  }
  FCacheNode = node;
  FCacheIndex = index;
  FCacheVersion = owner->FVersion;
  return node;
}

int TVxDOMNodeListBase::IndexOf(TVxDOMNode* ANode) {
  if (!ANode) return -1;
  if (auto* items = Stored()) {
    auto it = std::find(items->begin(), items->end(), ANode);
    return it == items->end() ? -1 : static_cast<int>(it - items->begin());
  }
  if (ANode->ParentNode() != FParent || !Matches(ANode)) return -1;
  int index = 0;
  for (TVxDOMNode* n = ANode->FPrev; n; n = n->FPrev)
    if (Matches(n)) ++index;
  return index;
}

void TVxDOMNodeListBase::Clear() {
  CheckWritable();
  FItems.clear();
}

void TVxDOMNodeListBase::Add(TVxDOMNode* ANode, TVxDOMAbsPosition APosition) { Add(ANode, nullptr, APosition); }

void TVxDOMNodeListBase::Add(TVxDOMNode* ANode, TVxDOMPosition APosition, TVxDOMNode* ARefNode) {
  if ((APosition == rdpBefore || APosition == rdpAfter) && !ARefNode)
    throw EAssertionFailed(VxString(cVxDomNilRefNode));
  Add(ANode, ARefNode, APosition);
}

void TVxDOMNodeListBase::Add(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  CheckWritable();
  size_t at = FItems.size();
  switch (APosition) {
    case rdpFirst: at = 0; break;
    case rdpLast: at = FItems.size(); break;
    case rdpBefore:
    case rdpAfter:
      if (!ARefNode) {
        at = APosition == rdpBefore ? 0 : FItems.size();
      } else {
        auto it = std::find(FItems.begin(), FItems.end(), ARefNode);
        if (it == FItems.end())
          at = APosition == rdpAfter ? FItems.size() : 0;
        else
          at = static_cast<size_t>(it - FItems.begin()) + (APosition == rdpAfter ? 1 : 0);
      }
      break;
  }
  FItems.insert(FItems.begin() + static_cast<ptrdiff_t>(at), ANode);
}

TVxDOMNode* TVxDOMNodeListBase::Delete(TVxDOMNode* ANode) {
  CheckWritable();
  auto it = std::find(FItems.begin(), FItems.end(), ANode);
  if (it == FItems.end()) return nullptr;
  FItems.erase(it);
  return ANode;
}

TVxDOMNode* TVxDOMNodeListBase::Delete(int AIndex) {
  CheckWritable();
  if (AIndex < 0 || AIndex >= static_cast<int>(FItems.size())) throw EListError(VxFormat(cVxListIndexError, AIndex));
  TVxDOMNode* node = FItems[static_cast<size_t>(AIndex)];
  FItems.erase(FItems.begin() + AIndex);
  return node;
}

TVxDOMNode* TVxDOMNodeListBase::Delete(const VxXMLString& AName) {
  CheckWritable();
  TVxDOMNode* node = Find(AName);
  return node ? Delete(node) : nullptr;
}

TVxDOMNode* TVxDOMNodeListBase::First() {
  if (Count() == 0) throw EVxDomNotFound(VxString(cVxDomListEmpty));
  return GetItem(0);
}

TVxDOMNode* TVxDOMNodeListBase::Last() {
  if (Count() == 0) throw EVxDomNotFound(VxString(cVxDomListEmpty));  // the same "first node" text
  return GetItem(Count() - 1);
}

TVxDOMNode* TVxDOMNodeListBase::Next(TVxDOMNode* ARefNode) {
  // No membership check: a node that is not in the list gives the first item.
  if (auto* items = Stored()) {
    auto it = std::find(items->begin(), items->end(), ARefNode);
    if (it == items->end()) return items->empty() ? nullptr : items->front();
    return ++it == items->end() ? nullptr : *it;
  }
  if (!ARefNode || ARefNode->ParentNode() != FParent || !Matches(ARefNode)) return Count() ? GetItem(0) : nullptr;
  for (TVxDOMNode* n = ARefNode->FNext; n; n = n->FNext)
    if (Matches(n)) return n;
  return nullptr;
}

TVxDOMNode* TVxDOMNodeListBase::Previous(TVxDOMNode* ARefNode) {
  if (auto* items = Stored()) {
    auto it = std::find(items->begin(), items->end(), ARefNode);
    if (it == items->end()) throw EListError(VxString(cVxDomRefNodeNotInList));
    return it == items->begin() ? nullptr : *(it - 1);
  }
  if (!ARefNode || ARefNode->ParentNode() != FParent || !Matches(ARefNode))
    throw EListError(VxString(cVxDomRefNodeNotInList));
  for (TVxDOMNode* n = ARefNode->FPrev; n; n = n->FPrev)
    if (Matches(n)) return n;
  return nullptr;
}

namespace {
// Visits the list's items from the last to the first until AVisit answers true.
template <class TVisit>
TVxDOMNode* FindBackwards(TVxDOMNodeListBase& AList, TVisit AVisit) {
  for (int k = AList.Count() - 1; k >= 0; --k) {
    TVxDOMNode* n = AList.GetItem(k);
    if (AVisit(n)) return n;
  }
  return nullptr;
}
}  // namespace

TVxDOMNode* TVxDOMNodeListBase::Find(const VxXMLString& AName, std::u16string_view ANamespaceURI) {
  TVxXPathCollationClass collation = FParent ? FParent->GetCollation() : GetCollation();
  return FindBackwards(*this, [&](TVxDOMNode* N) {
    return collation->SameText(N->GetLocalName(), AName) &&
           (ANamespaceURI.empty() || N->GetNamespaceURI() == ANamespaceURI);
  });
}

TVxDOMNode* TVxDOMNodeListBase::Find(const VxXMLString& AName, TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(VxString(cVxDomBothCaseOptions));
  if (AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoCreate));
  TVxXPathCollationClass collation = AOptions.Contains(soCaseSensitive)     ? TVxXPathCollationCodepoint::ClassRef()
                                     : AOptions.Contains(soCaseInsensitive) ? TVxXPathCollationASCIICI::ClassRef()
                                     : FParent                              ? FParent->GetCollation()
                                                                            : GetCollation();
  bool local;
  if (AOptions.Contains(soLocalName))
    local = true;
  else if (AOptions.Contains(soQualifiedName))
    local = false;
  else
    local = (FParent ? FParent->GetSelectMatchOption() : GetSelectMatchOption()) == soLocalName;
  TVxDOMNode* hit = FindBackwards(*this, [&](TVxDOMNode* N) {
    return collation->SameText(local ? N->GetLocalName() : N->GetQualifiedName(), AName);
  });
  if (!hit && AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(cVxDomNoNodeForName, AName));
  return hit;
}

TVxDOMAttribute* TVxDOMAttrList::FindNamespace(const VxXMLString& AURI) {
  for (int k = Count() - 1; k >= 0; --k) {
    TVxDOMAttribute* a = GetItem(k);
    if (a->IsNamespace() && a->GetNodeValue() == AURI) return a;
  }
  return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Safe escaped values
// ---------------------------------------------------------------------------------------------

namespace {
bool IsNameUnit(char16_t C) {
  return (C >= u'a' && C <= u'z') || (C >= u'A' && C <= u'Z') || (C >= u'0' && C <= u'9') || C == u'_' ||
         C == u'-' || C == u'.' || C == u':' || C >= 0x80;
}
// Length of the reference starting at AText[AAt] == '&' ("&name;", "&#10;", "&#x1F;"), 0 when
// what follows is no reference.
size_t ReferenceLength(std::u16string_view AText, size_t AAt) {
  size_t k = AAt + 1;
  if (k < AText.size() && AText[k] == u'#') {
    ++k;
    const bool hex = k < AText.size() && (AText[k] == u'x' || AText[k] == u'X');
    if (hex) ++k;
    const size_t digits = k;
    while (k < AText.size() && ((AText[k] >= u'0' && AText[k] <= u'9') ||
                                (hex && ((AText[k] >= u'a' && AText[k] <= u'f') || (AText[k] >= u'A' && AText[k] <= u'F')))))
      ++k;
    if (k == digits) return 0;
  } else {
    const size_t start = k;
    while (k < AText.size() && IsNameUnit(AText[k])) ++k;
    if (k == start) return 0;
  }
  return k < AText.size() && AText[k] == u';' ? k + 1 - AAt : 0;
}
}  // namespace

bool VxDOMNeedsSafeEscape(std::u16string_view AText, bool AAttribute) noexcept {
  for (size_t k = 0; k < AText.size(); ++k) {
    const char16_t c = AText[k];
    if (c == u'&') {
      if (ReferenceLength(AText, k) == 0) return true;
    } else if (AAttribute && (c == u'"' || c == u'<')) {
      return true;
    }
  }
  return false;
}

VxXMLString VxDOMSafeEscaped(std::u16string_view AText, bool AAttribute) {
  VxXMLString out;
  out.reserve(AText.size() + 8);
  for (size_t k = 0; k < AText.size(); ++k) {
    const char16_t c = AText[k];
    if (c == u'&') {
      const size_t len = ReferenceLength(AText, k);
      if (len == 0) {
        out += u"&amp;";
      } else {
        out.append(AText.substr(k, len));
        k += len - 1;
      }
    } else if (AAttribute && c == u'"') {
      out += u"&quot;";
    } else if (AAttribute && c == u'<') {
      out += u"&lt;";
    } else {
      out += c;
    }
  }
  return out;
}

// ---------------------------------------------------------------------------------------------
// The XML writer
// ---------------------------------------------------------------------------------------------

void TVxDOMJSONWriter::String(std::u16string_view AText) {
  static constexpr char16_t hex[] = u"0123456789abcdef";
  FOut.Write(u'"');
  size_t run = 0;
  for (size_t k = 0; k < AText.size(); ++k) {
    const char16_t c = AText[k];
    const char16_t* escape = nullptr;
    char16_t unit[7];
    switch (c) {
      case u'"': escape = u"\\\""; break;
      case u'\\': escape = u"\\\\"; break;
      case u'\n': escape = u"\\n"; break;
      case u'\r': escape = u"\\r"; break;
      case u'\t': escape = u"\\t"; break;
      case u'\b': escape = u"\\b"; break;
      case u'\f': escape = u"\\f"; break;
      default:
        if (c < 0x20) {
          unit[0] = u'\\';
          unit[1] = u'u';
          unit[2] = u'0';
          unit[3] = u'0';
          unit[4] = hex[c >> 4];
          unit[5] = hex[c & 15];
          unit[6] = 0;
          escape = unit;
        }
    }
    if (!escape) continue;
    FOut.Write(AText.substr(run, k - run));
    FOut.Write(escape);
    run = k + 1;
  }
  FOut.Write(AText.substr(run));
  FOut.Write(u'"');
}

}  // namespace vx
