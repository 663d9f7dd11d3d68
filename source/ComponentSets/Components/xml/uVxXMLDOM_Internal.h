// uVxXMLDOM_Internal: what the files of the DOM module share and users do not see: the rare
// per-node data, the typed-list orders, the tree walks without recursion, the writers, the
// loader and the companion classes.
#pragma once

#include <array>
#include <unordered_map>

#include "uVxXMLDOM.h"
#include "uVxNodeStore.h"
#include "uVxTextWriter.h"
#include "uVxXPath.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// The node store of a document
// ---------------------------------------------------------------------------------------------

/// The DOM's node store: the library's node store plus the names of its nodes, interned per
/// store (a name lives as long as its store, and every node that uses it is in the store).
class TVxDOMStore : public TVxNodeStore {
 public:
  /// The store of a node (or value) allocated by Allocate; nullptr for the plain heap.
  static TVxDOMStore* Of(const void* APtr) noexcept { return static_cast<TVxDOMStore*>(TVxNodeStore::Of(APtr)); }
  /// The name of the store for a qualified name (one per name, freed with the store).
  TVxDOMName* Intern(std::u16string_view AQName);
  /// The same for a prefix and a local name (a local name may hold a colon).
  TVxDOMName* Intern(std::u16string_view APrefix, std::u16string_view ALocalName);

 protected:
  ~TVxDOMStore() override;

 private:
  std::unordered_map<std::u16string_view, TVxDOMName*> FNames;  // keyed by the qualified name
  std::vector<TVxDOMName*> FOddNames;  // names whose local part holds a colon
};

// ---------------------------------------------------------------------------------------------
// Per-node data that most nodes never need (kept out of the node to keep it small)
// ---------------------------------------------------------------------------------------------

struct TVxDOMNode::TExtra {
  VxXMLString NamespaceURI;  // a detached node's own (pending) namespace name
  TVxDOMParseEvent OnWarning, OnError, OnFatal;
  TVxDOMNodeList* ChildNodes = nullptr;
  TVxDOMAttrList* Attributes = nullptr;
  TVxDOMAttrList* Namespaces = nullptr;
  TVxDOMElementList* Elements = nullptr;
  TVxDOMNodeList* CharNodes = nullptr;
};

/// The typed lists of an element once their order left the child list's order (an insertion
/// before or after a child of another kind): from then on they are kept as vectors.
struct TVxDOMElement::TTypedOrder {
  std::vector<TVxDOMNode*> Attributes, Elements, CharNodes;
  std::vector<TVxDOMNode*>& Of(TVxDOMNodeListBase::TKind AKind) {
    return AKind == TVxDOMNodeListBase::lkAttributes ? Attributes
           : AKind == TVxDOMNodeListBase::lkElements ? Elements
                                                     : CharNodes;
  }
};


// ---------------------------------------------------------------------------------------------
// Names
// ---------------------------------------------------------------------------------------------

/// The fixed names.
enum TVxDOMFixedName { fnEmpty, fnText, fnCDATA, fnComment, fnDocument };
TVxDOMName* VxDOMFixedName(TVxDOMFixedName AKind) noexcept;
/// A name not interned in any document (for detached nodes).
TVxDOMName* VxDOMNewName(std::u16string_view APrefix, std::u16string_view ALocalName);
/// Frees a name its node owned (others live in their store or for ever).
void VxDOMReleaseName(TVxDOMName* AName) noexcept;
/// Splits a qualified name at its first ":".
void VxDOMSplitName(std::u16string_view AName, std::u16string_view& APrefix, std::u16string_view& ALocal);

// ---------------------------------------------------------------------------------------------
// Tree helpers
// ---------------------------------------------------------------------------------------------

/// Which typed list a node belongs to (lkStandalone: none, a processing instruction).
TVxDOMNodeListBase::TKind VxDOMTypedKind(const TVxDOMNode* ANode) noexcept;

/// Operations on whole subtrees, without recursion, and on the links of the tree.
struct TVxDOMTree {
  /// A free-standing list holding ANodes.
  static TVxIntf<TVxDOMNodeList> MakeList(TVxDOMDocument* ADocument, const std::vector<TVxDOMNode*>& ANodes);
  /// The next node of ARoot's subtree in document order (children before siblings), or nullptr
  /// when the walk leaves the subtree. ARoot itself is the walk's first node.
  static TVxDOMNode* NextInSubtree(TVxDOMNode* ANode, TVxDOMNode* ARoot, bool AEnterChildren = true) noexcept {
    if (AEnterChildren && ANode->FFirst) return ANode->FFirst;
    while (ANode != ARoot) {
      if (ANode->FNext) return ANode->FNext;
      ANode = ANode->FParent;
    }
    return nullptr;
  }
  /// Sets the document of a whole subtree.
  static void SetDocument(TVxDOMNode* ARoot, TVxDOMDocument* ADocument);
  /// Appends ANode as the last child of AParent during a load (no checks, no events).
  static void AppendLoaded(TVxDOMNode* AParent, TVxDOMNode* ANode) noexcept;
  /// True when adding ANode below AParent would make a cycle (ANode is AParent or above it).
  static bool WouldCycle(const TVxDOMNode* AParent, const TVxDOMNode* ANode) noexcept;
  /// True when ANode is AAncestor or lies below it.
  static bool IsInSubtree(const TVxDOMNode* ANode, const TVxDOMNode* AAncestor) noexcept;
  /// Copies the subtree of ASource below ATarget (a clone of ASource made by CreateClone).
  static void CopyChildren(TVxDOMNode* ASource, TVxDOMNode* ATarget);
  /// The declaration "xmlns" (APrefix empty) or "xmlns:APrefix" in scope at AElement, under
  /// the collation, innermost first; nullptr when none.
  static TVxDOMAttribute* FindDeclaration(TVxDOMElement* AElement, std::u16string_view APrefix);
  /// After a deep copy: copies whose declaration lay outside the source subtree keep their
  /// namespace as pending.
  static void KeepOutsideNamespaces(TVxDOMNode* ASource, TVxDOMNode* AClone, bool ADeep);
  /// Applies the pending namespaces and the preserve-space rule in a subtree just attached.
  static void Attached(TVxDOMNode* ARoot);
  /// Keeps the namespace of every element and attribute of a subtree about to be detached as
  /// its pending namespace (the declaration may stay behind).
  static void Detaching(TVxDOMNode* ARoot);
};

/// Holds a node whose companion exists for the length of a scope, so an operation on it cannot
/// free it half way (a released reference may free a node that nothing else holds).
class TVxDOMHold {
 public:
  explicit TVxDOMHold(TVxDOMObject* AObject);
  ~TVxDOMHold();
  TVxDOMHold(const TVxDOMHold&) = delete;
  TVxDOMHold& operator=(const TVxDOMHold&) = delete;

 private:
  TVxDOMObjectImpl* FImpl;
};

// ---------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------

/// A text value as the reader delivered it, made safe to write back: a "&" that starts no
/// reference becomes "&amp;"; in attribute values (AAttribute) '"' and "<" become "&quot;" and
/// "&lt;" as well, since the writer quotes with '"'. Everything else stays as read.
VxXMLString VxDOMSafeEscaped(std::u16string_view AText, bool AAttribute);
/// True when AText holds something VxDOMSafeEscaped would change.
bool VxDOMNeedsSafeEscape(std::u16string_view AText, bool AAttribute) noexcept;

// ---------------------------------------------------------------------------------------------
// Writers
// ---------------------------------------------------------------------------------------------

/// The DOM's writer: the library's text writer.
class TVxDOMWriter : public TVxTextWriter {
 public:
  using TVxTextWriter::TVxTextWriter;
};

/// Writes JSON text for the DOM's JSON form (see docs/architecture.md).
class TVxDOMJSONWriter {
 public:
  explicit TVxDOMJSONWriter(TVxDOMWriter& AOut) : FOut(AOut) {}
  TVxDOMWriter& Out() { return FOut; }
  /// A JSON string literal (quotes included), valid JSON for any text.
  void String(std::u16string_view AText);

 private:
  TVxDOMWriter& FOut;
};

/// The JSON form of an element's subtree (a value) and of a document.
void VxDOMWriteElementJSON(TVxDOMElement* AElement, TVxDOMJSONWriter& AWriter, bool AFormat, int ALevel);
void VxDOMWriteDocumentJSON(TVxDOMDocument* ADocument, TVxDOMJSONWriter& AWriter, bool AFormat);

// ---------------------------------------------------------------------------------------------
// Loading
// ---------------------------------------------------------------------------------------------

// ---------------------------------------------------------------------------------------------
// Paths
// ---------------------------------------------------------------------------------------------

/// Counts the nesting of predicates, parentheses, operands and nested selections on this
/// thread; past cMaxDepth levels EVxDomSyntax cVxXPathTooDeep is raised (the stack is safe).
class TVxXPathNestingGuard {
 public:
  static constexpr int cMaxDepth = 256;
  TVxXPathNestingGuard();
  ~TVxXPathNestingGuard();
  TVxXPathNestingGuard(const TVxXPathNestingGuard&) = delete;
  TVxXPathNestingGuard& operator=(const TVxXPathNestingGuard&) = delete;
};

/// One step of a compiled path.
struct TVxDOMPathStep {
  enum TKind : uint8_t {
    skName,          // child elements of a name
    skAnyElement,    // "*"
    skAttribute,     // "@name"
    skAnyAttribute,  // "@*"
    skParent,        // ".."
    skSelf,          // "."
    skNode,          // "node()": every child but attributes
    skText           // "text()": text and CDATA children
  };
  TKind Kind = skName;
  bool Descendant = false;  // after "//": among all descendants
  VxXMLString Name;
  std::vector<std::unique_ptr<TVxXPathEquation>> Predicates;
  /// A plain name step without predicates: what soCreate can create.
  bool Creatable() const noexcept { return Kind == skName && !Descendant && Predicates.empty(); }
  /// How many candidates the first predicate can use: a position alone needs no more than up
  /// to it; else all.
  size_t CandidateLimit() const noexcept;
  // Recent answers of the name test by name object (names are shared by the nodes of a store).
  mutable std::array<std::pair<const void*, bool>, 8> NameCache{};
};

/// A path read once: its steps with their predicates parsed, then run from any context node.
struct TVxDOMPath {
  VxXMLString Text;
  TVxXPathCollationClass Collation = nullptr;
  bool LocalName = false;
  bool HasDescendant = false;
  std::vector<TVxDOMPathStep> Steps;

  /// Reads a path; raises the path messages (EVxDomSyntax) for a malformed one.
  static std::unique_ptr<TVxDOMPath> Compile(std::u16string_view APath, TVxXPathCollationClass ACollation,
                                             bool ALocalName);
  /// Appends the nodes the path selects from AContext (each once).
  void Select(TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut) const;
  /// As Select, creating the missing elements of plain name steps (class ANodeClass); when a
  /// missing step cannot be created, nothing is created and false is answered.
  bool SelectCreating(TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut, const TVxDOMNodeClass& ANodeClass) const;

 private:
  // The nodes step AStep selects from one context (before its predicates), at most ALimit.
  void Candidates(const TVxDOMPathStep& AStep, TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut,
                  size_t ALimit) const;
  bool NameMatches(const TVxDOMPathStep& AStep, TVxDOMNode* ANode) const;
  bool Matches(const TVxDOMPathStep& AStep, TVxDOMNode* ANode) const;
  // Runs the steps; with AMissing, records (context, step) pairs where a step found nothing.
  void Run(TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut,
           std::vector<std::pair<TVxDOMNode*, size_t>>* AMissing) const;
  // Working lists of Run, kept between runs (a path is never run inside its own run).
  mutable std::vector<TVxDOMNode*> FContexts, FNext, FCandidates;
};

/// Builds a document from SAX events (the document's handler operations forward to it).
class TVxDOMLoader {
 public:
  explicit TVxDOMLoader(TVxDOMDocument* ADocument);
  void StartElement(const VxXMLString& AQName, IVxSAXAttributes* AAttributes);
  void EndElement();
  void Characters(const VxXMLString& AText);
  void IgnorableWhitespace(const VxXMLString& AText);
  void ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData);
  void Comment(const VxXMLString& AText);
  void StartCDATA() { FInCDATA = true; }
  void EndCDATA() { FInCDATA = false; }
  /// The element that receives content (nullptr at the document level).
  TVxDOMElement* Current() const noexcept { return FCurrent; }

 private:
  TVxDOMNode* Parent() noexcept;
  TVxDOMDocument* FDocument;
  TVxDOMElement* FCurrent = nullptr;
  bool FInCDATA = false;
};

// ---------------------------------------------------------------------------------------------
// Companions
// ---------------------------------------------------------------------------------------------

/// Interface reference of a node (empty for nullptr).
template <class I>
TVxIntf<I> VxDOMIntf(TVxDOMNode* ANode) {
  if (!ANode) return {};
  return VxSupports<I>(static_cast<IVxInterface*>(ANode));
}
/// The tree node behind a node interface (nullptr for an empty one).
TVxDOMNode* VxDOMNodeOf(const TVxIntf<IVxDOMNode>& ANode);

/// Creates the companion classes (defined in uVxXMLDOM_Impl.cpp).
TVxDOMObjectImpl* VxDOMCreateNodeImpl(TVxDOMNode* ANode);
TVxDOMObjectImpl* VxDOMCreateListImpl(TVxDOMNodeListBase* AList);

}  // namespace vx
