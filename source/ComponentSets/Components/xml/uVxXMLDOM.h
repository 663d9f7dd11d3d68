// uVxXMLDOM: the XML document object model. Every node is a tree object (TVxDOMNode and its
// descendants: the data and the operations the library works with) and, once an interface is
// asked of it, a companion object (TVxDOMNodeImpl and descendants) that answers the IVxDOM...
// interfaces and carries the reference count interface users see.
//
// Ownership in short: a parent owns its children; a node that a caller holds through an
// interface lives on when it is removed from its tree (detached) until its last reference goes;
// holding a node keeps its ancestors alive. The document is handed out as an interface
// (VxCreateDOM) and lives while references to it or to any of its nodes are held.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "uVxClasses.h"
#include "uVxSAX.h"
#include "uVxStreams.h"
#include "uVxTypeInfo.h"
#include "uVxVariants.h"
#include "uVxXMLUtils.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Enumerations, options and defaults
// ---------------------------------------------------------------------------------------------

/// Kind of a node.
enum TVxDOMNodeType : uint8_t {
  ntUnknown, ntElement, ntAttribute, ntText, ntCDATA, ntEntityRef, ntEntity, ntProcessingInstruction,
  ntComment, ntDocument, ntDocumentType, ntDocumentFragment, ntNotation
};
/// Which name a lookup or a path uses.
enum TVxDOMNodeNameType : uint8_t { nntLocalName, nntQualifiedName };
/// Where a node goes in a list: first, last, before or after a reference node.
enum TVxDOMPosition : uint8_t { rdpFirst, rdpLast, rdpBefore, rdpAfter };
/// The absolute positions (rdpFirst, rdpLast).
using TVxDOMAbsPosition = TVxDOMPosition;
/// The positions relative to a reference node (rdpBefore, rdpAfter).
using TVxDOMRelPosition = TVxDOMPosition;
/// Options of lookups and selections; a set of them is TVxDOMSelectOptions.
enum TVxDOMSelectOption : uint8_t { soRaise, soCreate, soCaseSensitive, soCaseInsensitive, soLocalName, soQualifiedName };
using TVxDOMSelectOptions = TVxSet<TVxDOMSelectOption>;
/// The case options (soCaseSensitive, soCaseInsensitive).
using TVxDOMSelectCaseOption = TVxDOMSelectOption;
/// The name options (soLocalName, soQualifiedName).
using TVxDOMSelectMatchOption = TVxDOMSelectOption;
/// What a checked lookup does when it finds nothing.
enum TVxDOMSelectCheckOption : uint8_t { coReturnNil, coCreate, coRaise };
using TVxDOMSelectCheckOptions = TVxSet<TVxDOMSelectCheckOption>;
/// Load state of a document.
enum TVxDOMLoadState : uint8_t { lsUninitialized, lsLoading, lsLoaded, lsInteractive, lsComplete };

/// Display names of the node types ("Element", "Text", ...), indexed by TVxDOMNodeType.
extern const char16_t* const VxDOMNodeTypes[13];

// ---------------------------------------------------------------------------------------------
// Collations (string comparison of names and predicate values)
// ---------------------------------------------------------------------------------------------

/// A collation: class-level comparison operations, never instantiated by users. A collation
/// "class reference" (TVxXPathCollationClass) is a pointer to the one descriptor of its class.
class TVxXPathCollation {
 public:
  virtual ~TVxXPathCollation() = default;
  /// -1, 0 or 1.
  virtual int Compare(std::u16string_view S1, std::u16string_view S2) const = 0;
  /// 1-based position of ASub in AS, 0 when absent.
  virtual int Pos(std::u16string_view ASub, std::u16string_view AS) const = 0;
  /// Compare(S1, S2) == 0.
  bool SameText(std::u16string_view S1, std::u16string_view S2) const { return Compare(S1, S2) == 0; }
  /// The class's name ("TVxXPathCollationASCIICI").
  virtual VxString ClassName() const = 0;
};
/// A collation class reference.
using TVxXPathCollationClass = const TVxXPathCollation*;

/// ASCII case-insensitive collation (the default): ordinal comparison with A-Z folded to a-z.
class TVxXPathCollationASCIICI : public TVxXPathCollation {
 public:
  int Compare(std::u16string_view S1, std::u16string_view S2) const override;
  int Pos(std::u16string_view ASub, std::u16string_view AS) const override;
  VxString ClassName() const override { return u"TVxXPathCollationASCIICI"; }
  /// The class reference.
  static TVxXPathCollationClass ClassRef();
};

/// Code-point collation: ordinal comparison of the UTF-16 code units.
class TVxXPathCollationCodepoint : public TVxXPathCollation {
 public:
  int Compare(std::u16string_view S1, std::u16string_view S2) const override;
  int Pos(std::u16string_view ASub, std::u16string_view AS) const override;
  VxString ClassName() const override { return u"TVxXPathCollationCodepoint"; }
  /// The class reference.
  static TVxXPathCollationClass ClassRef();
};

/// How names are matched when neither soLocalName nor soQualifiedName is given (soQualifiedName).
extern TVxDOMSelectMatchOption DefaultSelectMatchOption;
/// The preserve-space answer of a node without parent (false).
extern bool DefaultPreserveCase;
/// What a checked lookup does when it finds nothing (coRaise).
extern TVxDOMSelectCheckOption DefaultSelectCheckOption;
/// The collation of documents that set none (the ASCII case-insensitive one).
extern TVxXPathCollationClass DefaultXPathCollation;

// ---------------------------------------------------------------------------------------------
// Exceptions and messages
// ---------------------------------------------------------------------------------------------

/// Base of the DOM's failures.
class EVxDomException : public EVxException {
 public:
  using EVxException::EVxException;
};
#define VX_DOM_EXCEPTION(Name) \
  class Name : public EVxDomException { \
   public: \
    using EVxDomException::EVxDomException; \
  };
VX_DOM_EXCEPTION(EVxDomStringSize)
VX_DOM_EXCEPTION(EVxDomHierarchyRequest)
VX_DOM_EXCEPTION(EVxDomIndexSize)
VX_DOM_EXCEPTION(EVxDomInUseAttribute)
VX_DOM_EXCEPTION(EVxDomInvalidAcces)
VX_DOM_EXCEPTION(EVxDomInvalidCharacter)
VX_DOM_EXCEPTION(EVxDomInvalidModification)
VX_DOM_EXCEPTION(EVxDomInvalidState)
VX_DOM_EXCEPTION(EVxDomNamespace)
VX_DOM_EXCEPTION(EVxDomNotFound)
VX_DOM_EXCEPTION(EVxDomNotSupported)
VX_DOM_EXCEPTION(EVxDomNoDataAllowed)
VX_DOM_EXCEPTION(EVxDomNoModificationAllowed)
VX_DOM_EXCEPTION(EVxDomSyntax)
VX_DOM_EXCEPTION(EVxDomTypeMismatch)
VX_DOM_EXCEPTION(EVxDomValidation)
VX_DOM_EXCEPTION(EVxDomWrongDocument)
#undef VX_DOM_EXCEPTION

inline constexpr char16_t cVxDomSetNodeValueNotSupported[] = u"The SetNodeValue is not supported by the TVxDomNode";
inline constexpr char16_t cVxDomSetInnerXMLNotSupported[] = u"The SetInnerXML is not supported by the TVxDomNode";
inline constexpr char16_t cVxDomListEmpty[] = u"Failed to get the first node!\r\nThe list contains no nodes.";
inline constexpr char16_t cVxDomRefNodeNotInList[] = u"The specified referencenode is not part of this list!";
inline constexpr char16_t cVxDomBothCaseOptions[] = u"It is not possible to specify both soCaseSensitive and soCaseInsensitive!";
inline constexpr char16_t cVxDomBothRaiseAndCreate[] = u"It is not possible to specify both soRaise and soCreate!";
inline constexpr char16_t cVxDomNoCreate[] = u"It is not possible to specify soCreate!";
inline constexpr char16_t cVxDomNoNodeForName[] = u"There is no node for the given name \"%s\".";
inline constexpr char16_t cVxDomNoInterfaces[] =
    u"DOM Objects do not support interfaces. All interface requests should be handled by the DOMIMpl object.";
inline constexpr char16_t cVxDomDestroyedWhileReferenced[] = u"An instance of %s is destroyed while it's refcount is not 0!";
inline constexpr char16_t cVxDomNoChildWithName[] = u"There is no child with the name \"%s\"!";
inline constexpr char16_t cVxDomNoChildWithNameNS[] = u"There is no child with the localname \"%s\" and namespace \"%s\"!";
inline constexpr char16_t cVxDomNodeClassRequired[] = u"A NodeClass is required when soCreate is specified!";
inline constexpr char16_t cVxDomNoRaiseOrCreate[] = u"It is not possible to specify either soRaise or soCreate!";
inline constexpr char16_t cVxDomNoChildElement[] = u"There is no childelement with the name %s!";
inline constexpr char16_t cVxDomInvalidIdx[] = u"Invalid idx value";
inline constexpr char16_t cVxDomNoCDATA[] = u"There is no CDATA element with index %d!";
inline constexpr char16_t cVxDomInvalidTypeInfo[] = u"The type attribute does not contain valid typeinfo.";
inline constexpr char16_t cVxDomNotAChild[] = u"The specified ChildNode is not a child of this element!";
inline constexpr char16_t cVxDomNilRefNode[] = u"A reference node is required for the relative position (uVxXMLDOM)";
inline constexpr char16_t cVxDomNotANamespace[] = u"The attribute is not a namespace declaration (uVxXMLDOM)";
inline constexpr char16_t cVxDomRootExists[] = u"This DOM document already contains a rootnode!";
inline constexpr char16_t cVxDomLoadFromStreamNotSupported[] =
    u"The LoadFromStream is not supported by the DOM Document. Use the LoadFromStreamEx instead.";
inline constexpr char16_t cVxDomSaveToStreamNotSupported[] =
    u"The SaveToStream is not supported by the DOM Document. Use the SaveToStreamEx instead.";
inline constexpr char16_t cVxDomCloneDocument[] = u"It is not possible to clone a TVxDOMDocument using the CloneNode method!";
inline constexpr char16_t cVxDomNoFragments[] = u"Document fragments are not supported by Tavrin XML DOM!";
inline constexpr char16_t cVxDomNoEntityRefs[] = u"Entity references are not supported by Tavrin XML DOM!";
inline constexpr char16_t cVxDomNoProcessingInstruction[] = u"There is no processinginstruction \"%s\"!";
inline constexpr char16_t cVxDomNoRootForPath[] = u"It is not possible to use XPath statements on documents without rootnode!";
inline constexpr char16_t cVxDomEmptyPath[] = u"The specified nodePath is empty!";
inline constexpr char16_t cVxDomNoNodeForPath[] = u"There is no node for the given path \"%s\".";
inline constexpr char16_t cVxDomEncodingNotSupported[] = u"The specified encoding (%s) is not supported!";
/// Messages of this library's own choice (where the requirements name none).
inline constexpr char16_t cVxDomChildListReadOnly[] =
    u"The child lists of a node change only through the node's operations (AddChild, RemoveChild)!";
inline constexpr char16_t cVxDomNotSupportedOperation[] = u"The %s operation is not supported by the %s!";
inline constexpr char16_t cVxDomNodeInOwnSubtree[] = u"A node cannot be added to itself or to one of its descendants!";
inline constexpr char16_t cVxDomMaxNesting[] = u"The document nests deeper than %d levels!";

/// The XML namespace name (the "xml" prefix).
inline constexpr char16_t cVxXMLNamespace[] = u"http://www.w3.org/XML/1998/namespace";

// ---------------------------------------------------------------------------------------------
// Interfaces (served by the companions)
// ---------------------------------------------------------------------------------------------

class TVxDOMNode;
class TVxDOMElement;
class TVxDOMAttribute;
class TVxDOMDocument;
class TVxDOMNodeListBase;
class TVxDOMNodeList;
class TVxDOMElementList;
class TVxDOMAttrList;
class IVxDOMNodeList;
class IVxDOMElementList;
class IVxDOMAttrList;
class IVxDOMElement;
class IVxDOMDocument;
class IVxDOMAttribute;

/// A node.
class IVxDOMNode : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D1");
  virtual TVxDOMNodeType GetNodeType() = 0;
  /// The qualified name ("p:name", "#text", "#document").
  virtual VxXMLString GetNodeName() = 0;
  virtual VxXMLString GetLocalName() = 0;
  virtual VxXMLString GetPrefix() = 0;
  virtual VxXMLString GetNamespaceURI() = 0;
  /// The value, unescaped (text, attributes), or as stored (comments, CDATA, instructions).
  virtual VxXMLString GetNodeValue() = 0;
  virtual void SetNodeValue(const VxXMLString& AValue) = 0;
  /// The text of the node (an element: its text and CDATA children, unescaped).
  virtual VxXMLString GetText() = 0;
  /// The node written as XML, compact / formatted.
  virtual VxXMLString GetXML() = 0;
  virtual VxXMLString GetFormattedXML() = 0;
  virtual TVxIntf<IVxDOMNode> GetParentNode() = 0;
  virtual TVxIntf<IVxDOMDocument> GetOwnerDocument() = 0;
  virtual TVxIntf<IVxDOMNodeList> GetChildNodes() = 0;
  virtual TVxIntf<IVxDOMNode> GetFirstChild() = 0;
  virtual TVxIntf<IVxDOMNode> GetLastChild() = 0;
  virtual TVxIntf<IVxDOMNode> GetNextSibling() = 0;
  virtual TVxIntf<IVxDOMNode> GetPreviousSibling() = 0;
  virtual bool HasChildNodes() = 0;
  /// Appends ANode as the last child and answers it.
  virtual TVxIntf<IVxDOMNode> AppendChild(const TVxIntf<IVxDOMNode>& ANode) = 0;
  /// Inserts ANode before ARefNode (last when ARefNode is empty) and answers it.
  virtual TVxIntf<IVxDOMNode> InsertBefore(const TVxIntf<IVxDOMNode>& ANode, const TVxIntf<IVxDOMNode>& ARefNode) = 0;
  /// Removes a child; the caller's reference keeps it alive, detached.
  virtual TVxIntf<IVxDOMNode> RemoveChild(const TVxIntf<IVxDOMNode>& ANode) = 0;
  virtual TVxIntf<IVxDOMNode> CloneNode(bool ADeep) = 0;
  virtual VxXMLString NodePath(bool ALocalNamesOnly, const VxXMLString& AIdAttribute) = 0;
  /// The first node the path selects, or an empty reference (see TVxDOMNode::SelectSingleNode).
  virtual TVxIntf<IVxDOMNode> SelectSingleNode(const VxXMLString& APath, TVxDOMSelectOptions AOptions) = 0;
  /// Every node the path selects.
  virtual TVxIntf<IVxDOMNodeList> SelectNodes(const VxXMLString& APath, TVxDOMSelectOptions AOptions) = 0;
  /// The tree object behind the interface (valid while a reference is held).
  virtual TVxDOMNode* DOMNode() = 0;
};

/// A list of nodes.
class IVxDOMNodeList : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D2");
  virtual int GetLength() = 0;
  virtual TVxIntf<IVxDOMNode> Item(int AIndex) = 0;
  /// The tree object behind the interface.
  virtual TVxDOMNodeListBase* DOMList() = 0;
};

/// A list whose nodes are found by name.
class IVxDOMNamedNodeList : public IVxDOMNodeList {
 public:
  using Inherited = IVxDOMNodeList;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D3");
  /// The node of that (qualified) name under the owner's collation, or empty.
  virtual TVxIntf<IVxDOMNode> GetNamedItem(const VxXMLString& AName) = 0;
  /// The node with that local name and namespace URI, or empty.
  virtual TVxIntf<IVxDOMNode> GetNamedItemNS(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName) = 0;
};

/// The child elements of an element.
class IVxDOMElementList : public IVxDOMNamedNodeList {
 public:
  using Inherited = IVxDOMNamedNodeList;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D4");
  virtual TVxIntf<IVxDOMElement> GetElement(int AIndex) = 0;
  /// By index (integer), by name (string) or by path (see TVxDOMElementList::GetItemEx).
  virtual TVxIntf<IVxDOMElement> GetItemEx(const TVxVariant& AIndex, TVxDOMSelectCheckOption ACheckOption) = 0;
};

/// The attributes of an element.
class IVxDOMAttrList : public IVxDOMNamedNodeList {
 public:
  using Inherited = IVxDOMNamedNodeList;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D5");
  virtual TVxIntf<IVxDOMAttribute> GetAttribute(int AIndex) = 0;
  /// The namespace declaration whose value is the URI, or empty.
  virtual TVxIntf<IVxDOMAttribute> FindNamespace(const VxXMLString& AURI) = 0;
};

/// Text, CDATA and comments: character data edited by 1-based positions.
class IVxDOMCharacterData : public IVxDOMNode {
 public:
  using Inherited = IVxDOMNode;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D6");
  virtual VxXMLString GetData() = 0;
  virtual void SetData(const VxXMLString& AData) = 0;
  virtual int GetLength() = 0;
  virtual void AppendData(const VxXMLString& AData) = 0;
  virtual void InsertData(int AOffset, const VxXMLString& AData) = 0;
  virtual void DeleteData(int AOffset, int ACount) = 0;
  virtual void ReplaceData(int AOffset, int ACount, const VxXMLString& AData) = 0;
  virtual VxXMLString SubstringData(int AOffset, int ACount) = 0;
};

/// A text node.
class IVxDOMText : public IVxDOMCharacterData {
 public:
  using Inherited = IVxDOMCharacterData;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D7");
  /// Keeps the first AOffset characters; the rest goes into a new text node after this one.
  virtual TVxIntf<IVxDOMText> SplitText(int AOffset) = 0;
};

/// A CDATA section.
class IVxDOMCDATA : public IVxDOMText {
 public:
  using Inherited = IVxDOMText;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D8");
};

/// A comment.
class IVxDOMComment : public IVxDOMCharacterData {
 public:
  using Inherited = IVxDOMCharacterData;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000D9");
};

/// An attribute.
class IVxDOMAttribute : public IVxDOMNode {
 public:
  using Inherited = IVxDOMNode;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000DA");
  virtual VxXMLString GetName() = 0;
  /// The value, unescaped.
  virtual VxXMLString GetValue() = 0;
  virtual void SetValue(const VxXMLString& AValue) = 0;
  virtual TVxIntf<IVxDOMElement> GetOwnerElement() = 0;
  /// True for "xmlns" and "xmlns:p" declarations.
  virtual bool IsNamespace() = 0;
};

/// An element.
class IVxDOMElement : public IVxDOMNode {
 public:
  using Inherited = IVxDOMNode;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000DB");
  virtual VxXMLString GetTagName() = 0;
  virtual VxXMLString GetAttribute(const VxXMLString& AName) = 0;
  virtual void SetAttribute(const VxXMLString& AName, const VxXMLString& AValue) = 0;
  virtual VxXMLString GetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName) = 0;
  virtual void SetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& AQualifiedName,
                              const VxXMLString& AValue) = 0;
  virtual void RemoveAttribute(const VxXMLString& AName) = 0;
  virtual bool HasAttribute(const VxXMLString& AName) = 0;
  virtual TVxIntf<IVxDOMAttrList> GetAttributes() = 0;
  virtual TVxIntf<IVxDOMElementList> GetElements() = 0;
  /// The child element of that name under the given options, or empty (see ElementByName).
  virtual TVxIntf<IVxDOMElement> ElementByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions) = 0;
  virtual TVxIntf<IVxDOMElement> AddElement(const VxXMLString& AName) = 0;
  virtual TVxIntf<IVxDOMAttribute> AddAttribute(const VxXMLString& AName, const VxXMLString& AValue) = 0;
  virtual TVxIntf<IVxDOMText> AddText(const VxXMLString& AText) = 0;
  virtual TVxIntf<IVxDOMCDATA> AddCDATA(const VxXMLString& AText) = 0;
  virtual TVxIntf<IVxDOMComment> AddComment(const VxXMLString& AText) = 0;
  virtual VxXMLString GetAsString() = 0;
  virtual void SetAsString(const VxXMLString& AValue) = 0;
  virtual int32_t GetAsInteger() = 0;
  virtual void SetAsInteger(int32_t AValue) = 0;
  virtual double GetAsDouble() = 0;
  virtual void SetAsDouble(double AValue) = 0;
  virtual bool GetAsBoolean() = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual TVxVariant GetAsVariant() = 0;
  virtual void SetAsVariant(const TVxVariant& AValue) = 0;
  /// The element the path selects, or empty.
  virtual TVxIntf<IVxDOMElement> SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions) = 0;
  virtual TVxDOMElement* DOMElement() = 0;
};

/// A processing instruction.
class IVxDOMProcessingInstruction : public IVxDOMNode {
 public:
  using Inherited = IVxDOMNode;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000DC");
  virtual VxXMLString GetTarget() = 0;
  virtual VxXMLString GetData() = 0;
  virtual void SetData(const VxXMLString& AData) = 0;
};

/// A document.
class IVxDOMDocument : public IVxDOMNode {
 public:
  using Inherited = IVxDOMNode;
  static constexpr TVxGUID IID = VxGUID("8B41C3D0-7A01-4E21-9B00-0000000000DD");
  /// The root element, or empty.
  virtual TVxIntf<IVxDOMElement> GetDocumentElement() = 0;
  virtual TVxIntf<IVxDOMElement> CreateRootNode(const VxXMLString& AName) = 0;
  /// Loads XML text (UTF-16).
  virtual void LoadXML(const VxXMLString& AText) = 0;
  virtual void LoadFromFile(const VxString& AFileName) = 0;
  /// Loads from a stream (the code page from its byte-order mark or declaration).
  virtual void LoadFromStreamEx(TVxStream& AStream) = 0;
  /// Always refuses: use LoadFromStreamEx.
  virtual void LoadFromStream(TVxStream& AStream) = 0;
  virtual void SaveToStreamEx(TVxStream& AStream, bool AWriteBOM, bool AFormat) = 0;
  /// Always refuses: use SaveToStreamEx.
  virtual void SaveToStream(TVxStream& AStream) = 0;
  virtual void SaveToFile(const VxString& AFileName, bool AWriteBOM, bool AFormat) = 0;
  virtual VxXMLString GetAsJSON() = 0;
  virtual VxXMLString GetAsFormattedJSON() = 0;
  virtual VxXMLString GetEncoding() = 0;
  virtual void SetEncoding(const VxXMLString& AName) = 0;
  /// The element that carries an attribute id with that value ("//@id=\"%s\""), or empty.
  virtual TVxIntf<IVxDOMElement> getElementById(const VxXMLString& AId) = 0;
  virtual TVxDOMDocument* DOMDocument() = 0;
};

// ---------------------------------------------------------------------------------------------
// Tree objects
// ---------------------------------------------------------------------------------------------

class TVxDOMObjectImpl;
class TVxDOMNodeImpl;

/// An interned name: prefix, local name and qualified name of a node, shared by the nodes of a
/// document that carry it (reference counted, so a detached node keeps its name).
/// A node name. Names live in the store of the nodes that use them (one per qualified name);
/// the fixed names ("#text", ...) are never freed, and a node outside any store owns its name.
struct TVxDOMName {
  VxXMLString Prefix;
  VxXMLString LocalName;
  VxXMLString QName;
  bool OwnedByNode = false;
};

/// Handler of the parse events passed to a node: the reader's locator, the message and the
/// error code.
using TVxDOMParseEvent =
    std::function<void(TVxDOMNode* ASender, IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode)>;

/// A node class reference: creates nodes of one class for a document.
using TVxDOMNodeClass = TVxClassRef<TVxDOMNode, TVxDOMDocument*>;
/// The class reference of the node class T.
template <class T>
TVxDOMNodeClass VxDOMNodeClass() {
  return TVxDOMNodeClass::Of<T>();
}

/// Base of every tree object (nodes and node lists).
class TVxDOMObject : public TVxObject {
 public:
  using Inherited = TVxObject;

  /// The owning document, or nullptr for a detached object.
  TVxDOMDocument* DOMDocument() const noexcept { return FDocument; }
  /// The parent (for a list: the node that owns it), or nullptr.
  TVxDOMNode* ParentNode() const noexcept { return FParent; }
  /// True once destruction has begun.
  bool Destroying() const noexcept { return FDestroying; }
  /// The companion, or nullptr while no interface was asked.
  TVxDOMObjectImpl* DOMImpl() const noexcept { return FImpl; }

  /// Creates the companion of this object's class.
  virtual TVxDOMObjectImpl* CreateDOMImpl() = 0;
  /// Whether the object may be freed now (see docs/architecture.md).
  virtual bool CanAutoDestroy();
  /// True when the collation is not the ASCII case-insensitive one.
  virtual bool GetCaseSensitive();
  /// The document's collation, or DefaultXPathCollation for a detached object.
  virtual TVxXPathCollationClass GetCollation();
  /// The document's match option, or DefaultSelectMatchOption for a detached object.
  virtual TVxDOMSelectMatchOption GetSelectMatchOption();
  virtual void SetDOMImpl(TVxDOMObjectImpl* AImpl);
  virtual void SetDOMDocument(TVxDOMDocument* ADocument);
  virtual void SetParentNode(TVxDOMNode* AParent);

  /// Destroys the object: children first, out of its parent, then the object itself. Raises
  /// the general exception cVxDomDestroyedWhileReferenced when interface references to it are
  /// still held (after the children and the parent have let go of it).
  void Free();

 protected:
  explicit TVxDOMObject(TVxDOMDocument* ADocument) : FDocument(ADocument) { SetAutoDestroy(false); }
  ~TVxDOMObject() override;
  /// Runs before destruction: marks it and lets go of everything.
  virtual void BeforeDestruction();
  bool GetInterface(const TVxGUID& AIID, void** AObj) override;
  int32_t ObjAddRef() override;
  int32_t ObjRelease() override;
  /// Creates the companion when there is none yet.
  TVxDOMObjectImpl* EnsureImpl();

  /// Frees the memory of the object (nodes go back to their document's store).
  virtual void DeleteSelf() { delete this; }

  bool FDestroying = false;  // first: it fits in the padding at the end of TVxObject
  TVxDOMDocument* FDocument;
  TVxDOMNode* FParent = nullptr;
  TVxDOMObjectImpl* FImpl = nullptr;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// The value text of a node as stored: kept in the node's document store next to the nodes
/// (a pointer and a length, no allocator call per value).
class TVxDOMValue {
 public:
  TVxDOMValue() = default;
  TVxDOMValue(const TVxDOMValue&) = delete;
  TVxDOMValue& operator=(const TVxDOMValue&) = delete;
  ~TVxDOMValue() { Release(); }
  std::u16string_view View() const noexcept { return {FData, FSize}; }
  operator std::u16string_view() const noexcept { return View(); }
  VxXMLString Str() const { return VxXMLString(View()); }
  bool empty() const noexcept { return FSize == 0; }
  std::size_t size() const noexcept { return FSize; }
  /// Replaces the text; the space comes from the store of the node AOwner.
  void Assign(const void* AOwner, std::u16string_view AText);

 private:
  void Release() noexcept;
  char16_t* FData = nullptr;
  uint32_t FSize = 0;
  uint32_t FCapacity = 0;
};

/// The base of the nodes: names, the child list, values, the writer, cloning and paths.
class TVxDOMNode : public TVxDOMObject {
 public:
  using Inherited = TVxDOMObject;
  explicit TVxDOMNode(TVxDOMDocument* ADocument);

  /// Nodes live in a document's store: create them with ADocument->CreateNode<T>() or
  /// `new (ADocument) T(ADocument)` (a plain `new T` does not compile). Given another node, the
  /// new one goes to the store that node lives in. Freed nodes go back to the store, and the
  /// store lives while its document or any node from it lives.
  static void* operator new(std::size_t ASize, TVxDOMNode* ANear);
  static void* operator new(std::size_t ASize) = delete;
  static constexpr bool VxPlacedByFirstArgument = true;
  /// Used when a constructor raises.
  static void operator delete(void* APtr, TVxDOMNode* ANear) noexcept;
  /// Destroys the node and gives its memory back (the size is the node's class's).
  static void operator delete(TVxDOMNode* ANode, std::destroying_delete_t, std::size_t ASize) noexcept;

  TVxDOMObjectImpl* CreateDOMImpl() override;
  bool CanAutoDestroy() override;
  void SetDOMDocument(TVxDOMDocument* ADocument) override;
  void SetParentNode(TVxDOMNode* AParent) override;

  // Names
  TVxDOMNodeType NodeType() const noexcept { return FNodeType; }
  const VxXMLString& GetLocalName() const noexcept { return FName->LocalName; }
  const VxXMLString& GetPrefix() const noexcept { return FName->Prefix; }
  /// Prefix + ":" + local name, or the local name without prefix.
  const VxXMLString& GetQualifiedName() const noexcept { return FName->QName; }
  /// The namespace name (a plain node: its parent's; elements and attributes resolve their own).
  virtual VxXMLString GetNamespaceURI();
  /// Sets the prefix; elements and attributes re-resolve their namespace.
  virtual void SetPrefix(const VxXMLString& APrefix);
  /// Splits the name at its first ":" into prefix and local name.
  virtual void SetQualifiedName(const VxXMLString& AName);

  // Children
  /// The child list (attributes included for an element), created on first use.
  TVxDOMNodeList* ChildNodes();
  /// Number of children (attributes included for an element).
  int NodeCount() const noexcept { return static_cast<int>(FChildCount); }
  bool HasChilds() const noexcept { return FChildCount != 0; }
  virtual bool HasAttributes() { return false; }
  TVxDOMNode* FirstChild() const noexcept { return FFirst; }
  TVxDOMNode* LastChild() const noexcept { return FLast; }
  /// The next / previous node in the parent's child list, or nullptr.
  TVxDOMNode* NextSibling() const noexcept { return FParent ? FNext : nullptr; }
  TVxDOMNode* PreviousSibling() const noexcept { return FParent ? FPrev : nullptr; }
  /// Creates a node of the class and inserts it.
  virtual TVxDOMNode* AddChild(const TVxDOMNodeClass& ANodeClass, TVxDOMNode* ARefNode = nullptr,
                               TVxDOMPosition APosition = rdpLast);
  /// Inserts an existing node (taken from its former parent first).
  virtual TVxDOMNode* AddChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode = nullptr, TVxDOMPosition APosition = rdpLast);
  /// AddChild(ANode, nullptr, rdpLast).
  virtual TVxDOMNode* AppendChild(TVxDOMNode* ANode);
  /// AddChild(ANode, ARefNode, rdpBefore).
  TVxDOMNode* InsertBefore(TVxDOMNode* ANode, TVxDOMNode* ARefNode);
  /// Takes the child out; frees it unless an interface holds it (then it lives on, detached).
  virtual void RemoveChild(TVxDOMNode* ANode);
  /// Removes every child from the last to the first (held ones are only detached).
  virtual void Clear();

  // Values
  virtual bool GetPreserveSpace();
  /// The value: empty for a plain node.
  virtual VxXMLString GetNodeValue();
  /// Raises EVxDomNotSupported for a plain node.
  virtual void SetNodeValue(const VxXMLString& AValue);
  /// The text: empty for a plain node.
  virtual VxXMLString GetText();
  /// The node written as XML (compact / with line breaks and indentation).
  VxXMLString GetXML();
  VxXMLString GetFormattedXML();
  /// The children written as XML.
  virtual VxXMLString GetInnerXML();
  virtual VxXMLString GetFormattedInnerXML();
  /// Raises EVxDomNotSupported for a plain node.
  virtual void SetInnerXML(const VxXMLString& AXML);
  /// Merges adjacent text children and drops empty ones (elements; nothing for a plain node).
  virtual void NormalizeTextNodes();
  /// Namespaces of elements and attributes re-resolved (a plain node passes it to its children).
  virtual void RefreshNamespaces();

  // Copies, paths, writing
  /// A new, detached node of this node's class and name (values copied by the subclasses).
  virtual TVxDOMNode* CreateClone();
  /// CreateClone without resolving namespaces (a subtree copy resolves them in one walk).
  virtual TVxDOMNode* CreateCopy() { return CreateClone(); }
  /// CreateClone and, when ADeep, a copy of the whole subtree.
  virtual TVxDOMNode* CloneNode(bool ADeep);
  /// A readable address: "/root/item/@code", "/root/item[@id=\"7\"]" (see the documentation).
  VxXMLString NodePath(bool ALocalNamesOnly = false, const VxXMLString& AIdAttribute = VxXMLString());
  /// Writes the node as XML text in a code page (1200: UTF-16 as is; 63801 as UTF-8).
  virtual void SaveToStream(TVxStream& AStream, uint16_t ACodePage, bool AFormat);
  /// Writes the node as JSON (see docs/architecture.md).
  virtual void SaveToJSONStream(TVxStream& AStream, bool AFormat);
  /// Replaces the node's content with XML read from a stream (elements; a document loads).
  virtual void LoadFromStream(TVxStream& AStream);

  // Selection by path (filled in by the selection module)
  /// Every node the path selects below this node.
  TVxIntf<TVxDOMNodeList> CreateNodeList(const VxXMLString& APath, TVxDOMSelectOptions AOptions = {});
  /// The first node the path selects, or nullptr.
  TVxDOMNode* SelectSingleNode(const VxXMLString& APath, TVxDOMSelectOptions AOptions = {});
  /// The worker of the selections: appends to AList the nodes APath selects below this node,
  /// with the options already resolved (ACreate: create missing elements of ANodeClass).
  void _SelectNodes(TVxDOMNodeListBase& AList, const VxXMLString& APath, TVxXPathCollationClass ACollation,
                    bool ACreate, bool ALocalName, const TVxDOMNodeClass& ANodeClass);

  // Serialization (not part of this build)
  /// False: application objects are not serialized from nodes by this build.
  virtual bool CanSerialize() { return false; }
  /// Raises EVxDomNotSupported.
  virtual void Serialize(TVxStream& AStream);
  /// Raises EVxDomNotSupported (no XSLT in this build).
  void Transform(const VxXMLString& AStylesheet, VxXMLString& AResult);

  // Parse events
  void DoDOMParseWarning(IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode);
  void DoDOMParseError(IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode);
  void DoDOMParseFatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage, int AErrorCode);
  const TVxDOMParseEvent& OnParseWarning() const;
  const TVxDOMParseEvent& OnParseError() const;
  const TVxDOMParseEvent& OnParseFatalError() const;
  void SetOnParseWarning(TVxDOMParseEvent AHandler);
  void SetOnParseError(TVxDOMParseEvent AHandler);
  void SetOnParseFatalError(TVxDOMParseEvent AHandler);

  /// A flag for applications, false at construction and never touched by the library.
  bool UserFlag() const noexcept { return FUserFlag; }
  void SetUserFlag(bool AValue) noexcept { FUserFlag = AValue; }

  /// The writer entry: writes the node at ALevel (-1: no indentation).
  virtual void _SaveToStream(class TVxDOMWriter& AWriter, bool AFormat, int& ALevel);
  /// The JSON writer entry.
  virtual void _SaveToJSONStream(class TVxDOMJSONWriter& AWriter, bool AFormat);

  /// The interface AI of this node (its companion answers it), or an empty reference.
  template <class AI>
  TVxIntf<AI> Intf() {
    return VxSupports<AI>(static_cast<IVxInterface*>(this));
  }

 protected:
  ~TVxDOMNode() override;
  void BeforeDestruction() override;
  void DeleteSelf() override { delete this; }
  /// Sets the name from prefix and local name (interned in the document).
  void SetName(std::u16string_view APrefix, std::u16string_view ALocalName);
  void SetFixedName(TVxDOMName* AName);
  /// Links ANode into the child list by the list rule (no parent change).
  void LinkChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition);
  /// Unlinks a child (no parent change).
  void UnlinkChild(TVxDOMNode* ANode);
  /// Frees the children and their subtrees without recursion; held ones are detached.
  void ClearChildren();
  /// Writes the children (not attributes).
  void SaveChildren(TVxDOMWriter& AWriter, bool AFormat, int& ALevel);

  struct TExtra;
  TExtra& Extra();

  TVxDOMName* FName;
  TVxDOMNode* FFirst = nullptr;
  TVxDOMNode* FLast = nullptr;
  TVxDOMNode* FNext = nullptr;
  TVxDOMNode* FPrev = nullptr;
  TExtra* FExtra = nullptr;
  uint32_t FChildCount = 0;
  uint32_t FVersion = 0;  // changes with every change of the child list (list caches check it)
  TVxDOMNodeType FNodeType = ntUnknown;
  bool FUserFlag = false;
  bool FNamespacePending = false;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// Text, CDATA and comments: a value edited by 1-based positions in its unescaped form.
class TVxDOMCharacterData : public TVxDOMNode {
 public:
  using Inherited = TVxDOMNode;
  explicit TVxDOMCharacterData(TVxDOMDocument* ADocument) : TVxDOMNode(ADocument) {}
  TVxDOMObjectImpl* CreateDOMImpl() override;
  /// Text: the unescaped value (the stored one is escaped).
  VxXMLString GetNodeValue() override;
  /// Text: stores VxStrToXML(AValue) with both quote escapes on.
  void SetNodeValue(const VxXMLString& AValue) override;
  VxXMLString GetText() override { return GetNodeValue(); }
  TVxDOMNode* CreateClone() override;
  /// The value as stored (escaped for text, raw for CDATA and comments).
  std::u16string_view Value() const noexcept { return FValue; }
  /// Sets the stored value as it is (no escaping).
  void SetValue(std::u16string_view AValue) { FValue.Assign(this, AValue); }
  void AppendStr(const VxXMLString& S);
  void DeleteStr(int AOffset, int ACount);
  void InsertStr(int AOffset, const VxXMLString& S);
  void ReplaceStr(int AOffset, int ACount, const VxXMLString& S);
  VxXMLString Substring(int AOffset, int ACount);
  /// Length of the unescaped value.
  int Length() { return static_cast<int>(GetNodeValue().size()); }

 protected:
  TVxDOMValue FValue;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// A text node ("#text"); its value is kept escaped.
class TVxDOMText : public TVxDOMCharacterData {
 public:
  using Inherited = TVxDOMCharacterData;
  explicit TVxDOMText(TVxDOMDocument* ADocument);
  TVxDOMObjectImpl* CreateDOMImpl() override;
  /// The first AOffset characters stay; the rest goes into a new text node that the parent adds
  /// right after this one. Answers the new node.
  TVxDOMText* SplitText(int AOffset);
  void _SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) override;
};

/// A CDATA section ("#cdata-section"); its text is kept raw.
class TVxDOMCDATA : public TVxDOMText {
 public:
  using Inherited = TVxDOMText;
  explicit TVxDOMCDATA(TVxDOMDocument* ADocument);
  TVxDOMObjectImpl* CreateDOMImpl() override;
  VxXMLString GetNodeValue() override { return FValue.Str(); }
  void SetNodeValue(const VxXMLString& AValue) override { FValue.Assign(this, AValue); }
  void _SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) override;
};

/// A comment ("#comment"); its text is kept raw.
class TVxDOMComment : public TVxDOMCharacterData {
 public:
  using Inherited = TVxDOMCharacterData;
  explicit TVxDOMComment(TVxDOMDocument* ADocument);
  TVxDOMObjectImpl* CreateDOMImpl() override;
  VxXMLString GetNodeValue() override { return FValue.Str(); }
  void SetNodeValue(const VxXMLString& AValue) override { FValue.Assign(this, AValue); }
  VxXMLString GetText() override { return FValue.Str(); }
  void _SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) override;
};

/// A processing instruction: the target is its name, the data its value (raw).
class TVxDOMProcessingInstruction : public TVxDOMNode {
 public:
  using Inherited = TVxDOMNode;
  explicit TVxDOMProcessingInstruction(TVxDOMDocument* ADocument);
  TVxDOMObjectImpl* CreateDOMImpl() override;
  VxXMLString GetNodeValue() override { return FValue.Str(); }
  void SetNodeValue(const VxXMLString& AValue) override;
  VxXMLString GetText() override { return FValue.Str(); }
  TVxDOMNode* CreateClone() override;
  std::u16string_view Value() const noexcept { return FValue; }
  void _SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) override;

 protected:
  TVxDOMValue FValue;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// An attribute: its value is kept escaped.
class TVxDOMAttribute : public TVxDOMNode {
 public:
  using Inherited = TVxDOMNode;
  explicit TVxDOMAttribute(TVxDOMDocument* ADocument);
  TVxDOMObjectImpl* CreateDOMImpl() override;
  /// Its declaration's value; else the XML namespace for "xml"; else empty with a parent; else
  /// the URI stored while detached.
  VxXMLString GetNamespaceURI() override;
  /// Stores the URI (used while detached).
  void SetNamespaceURI(const VxXMLString& AURI);
  void RefreshNamespaces() override;
  /// True for "xmlns" (no prefix) and "xmlns:p" (ASCII case ignored).
  bool IsNamespace() const;
  /// The declared prefix: empty for "xmlns", the local name for "xmlns:p". Raises
  /// EAssertionFailed for an attribute that declares nothing.
  VxXMLString NamespacePrefix() const;
  /// The unescaped value.
  VxXMLString GetNodeValue() override;
  /// Stores VxStrToXML(AValue) with the quote escape on and the apostrophe escape off.
  void SetNodeValue(const VxXMLString& AValue) override;
  VxXMLString GetText() override { return GetNodeValue(); }
  void SetQualifiedName(const VxXMLString& AName) override;
  void SetPrefix(const VxXMLString& APrefix) override;
  TVxDOMNode* CreateClone() override;
  /// The next / previous attribute of its element, or nullptr.
  TVxDOMAttribute* NextAttribute();
  TVxDOMAttribute* PreviousAttribute();
  /// The element it belongs to, or nullptr.
  TVxDOMElement* OwnerElement() const;
  /// The declaration in scope that resolves the prefix (resolved when asked), or nullptr.
  TVxDOMAttribute* NamespaceAttr();
  /// The value as stored (escaped).
  std::u16string_view Value() const noexcept { return FValue; }
  /// Sets the stored value as it is (no escaping).
  void SetValue(std::u16string_view AValue);
  void _SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) override;

 protected:
  ~TVxDOMAttribute() override;

  TVxDOMValue FValue;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// An element: children sorted into typed lists besides the child list, attributes and
/// namespace declarations, preserve space, lookups by name, typed values.
class TVxDOMElement : public TVxDOMNode {
 public:
  using Inherited = TVxDOMNode;
  explicit TVxDOMElement(TVxDOMDocument* ADocument);
  TVxDOMObjectImpl* CreateDOMImpl() override;

  // Typed lists and counts
  /// The attributes, namespace declarations included.
  TVxDOMAttrList* Attributes();
  /// The namespace declarations in scope here (own and inherited), innermost last.
  TVxDOMAttrList* Namespaces();
  /// The child elements.
  TVxDOMElementList* Elements();
  /// The text, CDATA and comment children.
  TVxDOMNodeList* CharNodes();
  int ElementCount() const noexcept { return static_cast<int>(FElementCount); }
  int AttributeCount() const noexcept { return static_cast<int>(FAttributeCount); }
  int CharNodeCount() const noexcept { return static_cast<int>(FCharCount); }
  bool HasAttributes() override { return FAttributeCount != 0; }
  bool HasChildElements() const noexcept { return FElementCount != 0; }
  bool HasAttribute(const VxXMLString& AName) { return FindAttribute(AName) != nullptr; }
  bool HasAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
    return FindAttribute(ALocalName, ANamespaceURI) != nullptr;
  }
  bool HasChildElement(const VxXMLString& AName) { return FindElement(AName) != nullptr; }
  bool HasChildElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
    return FindElement(ALocalName, ANamespaceURI) != nullptr;
  }

  // Children
  /// Sorts the node into its typed list and the child list, then makes this its parent.
  TVxDOMNode* AddChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode = nullptr, TVxDOMPosition APosition = rdpLast) override;
  using TVxDOMNode::AddChild;
  void RemoveChild(TVxDOMNode* ANode) override;
  TVxDOMElement* AddElement(const VxXMLString& AName);
  /// An element in a namespace: its prefix comes from a declaration in scope, else one is made.
  TVxDOMElement* AddElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI);
  TVxDOMAttribute* AddAttribute(const VxXMLString& AName, const VxXMLString& AValue);
  TVxDOMAttribute* AddAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                const VxXMLString& AValue);
  TVxDOMText* AddText(const VxXMLString& AText);
  TVxDOMCDATA* AddCDATA(const VxXMLString& AText);
  TVxDOMComment* AddComment(const VxXMLString& AText);
  TVxDOMElement* InsertElement(const VxXMLString& AName, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition = rdpBefore);
  TVxDOMElement* InsertElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI, TVxDOMNode* ARefNode,
                               TVxDOMRelPosition APosition = rdpBefore);
  TVxDOMText* InsertText(const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition = rdpBefore);
  TVxDOMCDATA* InsertCDATA(const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition = rdpBefore);
  TVxDOMComment* InsertComment(const VxXMLString& AText, TVxDOMNode* ARefNode, TVxDOMRelPosition APosition = rdpBefore);
  void RemoveElement(TVxDOMElement* AElement);
  /// Removes the child element of that name (no error when there is none).
  void RemoveElement(const VxXMLString& AName);
  void RemoveElement(int AIndex);

  // Lookups
  /// The node of that name in the list its class belongs to (attributes for attribute classes,
  /// elements otherwise), under the options; soRaise and soCreate as documented.
  TVxDOMNode* NodeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions, const TVxDOMNodeClass& ANodeClass);
  TVxDOMNode* NodeByName(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                         TVxDOMSelectOptions AOptions, const TVxDOMNodeClass& ANodeClass);
  TVxDOMNode* NodeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions = {});
  /// Plain lookups (under the document's collation and match option): nullptr when absent.
  TVxDOMElement* FindElement(const VxXMLString& AName);
  TVxDOMElement* FindElement(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI);
  TVxDOMElement* ElementByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions = {});
  TVxDOMElement* ElementByName(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                               TVxDOMSelectOptions AOptions);
  TVxDOMElement* ElementByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions, const TVxDOMNodeClass& ANodeClass);
  TVxDOMAttribute* FindAttribute(const VxXMLString& AName);
  TVxDOMAttribute* FindAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI);
  TVxDOMAttribute* AttributeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions = {});
  TVxDOMAttribute* AttributeByName(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI,
                                   TVxDOMSelectOptions AOptions);
  TVxDOMAttribute* AttributeByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions,
                                   const TVxDOMNodeClass& ANodeClass);
  /// The text of the child element of that name ("" when there is none).
  VxXMLString GetChildElementValue(const VxXMLString& AName);

  // Attributes
  /// The unescaped value of the attribute of that name, "" when absent.
  VxXMLString GetAttribute(const VxXMLString& AName);
  VxXMLString GetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName);
  /// Sets (creating when missing) the attribute of that name.
  TVxDOMAttribute* SetAttribute(const VxXMLString& AName, const VxXMLString& AValue);
  TVxDOMAttribute* SetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& AQualifiedName,
                                  const VxXMLString& AValue);
  void RemoveAttribute(TVxDOMAttribute* AAttribute);
  void RemoveAttribute(const VxXMLString& AName);
  void RemoveAttribute(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI);
  TVxDOMAttribute* FirstAttribute();
  TVxDOMAttribute* LastAttribute();

  // Element navigation
  TVxDOMElement* ParentElement() const;
  TVxDOMElement* NextElement();
  TVxDOMElement* PreviousElement();
  TVxDOMElement* FirstElement();
  TVxDOMElement* LastElement();

  // Namespaces
  /// The value of NamespaceAttr; else empty with a parent; else the URI stored while detached.
  VxXMLString GetNamespaceURI() override;
  /// Declares the URI for this element (see docs/architecture.md).
  void SetNamespaceURI(const VxXMLString& AURI);
  /// The declaration in scope whose value is the URI (innermost first), or nullptr.
  TVxDOMAttribute* FindNamespace(const VxXMLString& AURI);
  /// The declaration in scope that gives this element its namespace (resolved when asked), or
  /// nullptr.
  TVxDOMAttribute* NamespaceAttr();
  void RefreshNamespaces() override;
  void SetPrefix(const VxXMLString& APrefix) override;

  // Values
  /// The text and CDATA children, unescaped, in order.
  VxXMLString GetText() override;
  VxXMLString GetNodeValue() override { return GetText(); }
  /// Replaces the text and CDATA children by one text node holding AValue (escaped).
  void SetNodeValue(const VxXMLString& AValue) override;
  /// As SetNodeValue, with AValue stored as it is (already escaped, or markup).
  void SetNodeValueEx(const VxXMLString& AValue);
  VxXMLString GetInnerXML() override;
  VxXMLString GetFormattedInnerXML() override;
  /// Replaces the children with those of an XML fragment.
  void SetInnerXML(const VxXMLString& AXML) override;
  void NormalizeTextNodes() override;
  bool GetAsBoolean();
  TDateTime GetAsDateTime();
  double GetAsDouble();
  int64_t GetAsInt64();
  int32_t GetAsInteger();
  VxXMLString GetAsString();
  std::string GetAsAnsiString();
  /// The text converted by the xsi:type attribute when there is one (see the documentation).
  TVxVariant GetAsVariant();
  void SetAsBoolean(bool AValue);
  void SetAsDateTime(TDateTime AValue);
  void SetAsDouble(double AValue);
  void SetAsInt64(int64_t AValue);
  void SetAsInteger(int32_t AValue);
  void SetAsString(const VxXMLString& AValue);
  void SetAsAnsiString(const std::string& AValue);
  /// Stores the value's text and, with schema-instance typing, its xsi:type / xsi:nil.
  void SetAsVariant(const TVxVariant& AValue);
  /// The CDATA child at AIndex (counting CDATA children only); AIndex == count adds one.
  TVxDOMCDATA* GetCDATA(int AIndex);
  int GetCDATACount();

  // Preserve space
  bool GetPreserveSpace() override { return FPreserveSpace; }
  /// Sets the flag, writes xml:space ("preserve" / "default") and passes the state down.
  void SetPreseveSpace(bool AFlag);

  // Copies and writing
  TVxDOMNode* CreateClone() override;
  TVxDOMNode* CreateCopy() override;
  void SetParentNode(TVxDOMNode* AParent) override;
  void _SaveToStream(TVxDOMWriter& AWriter, bool AFormat, int& ALevel) override;
  void _SaveToJSONStream(TVxDOMJSONWriter& AWriter, bool AFormat) override;
  void LoadFromStream(TVxStream& AStream) override;

  // Selection by path (filled in by the selection module)
  /// The element the path selects, or nullptr.
  TVxDOMElement* SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions = {});
  /// The child elements (an empty path) or the elements the path selects.
  /// (The text parameters are views, so that CreateElementList({soCaseSensitive}) means the
  /// options and not a path of one character.)
  TVxIntf<TVxDOMNodeList> CreateElementList(TVxDOMSelectOptions AOptions = {});
  TVxIntf<TVxDOMNodeList> CreateElementList(std::u16string_view APath, TVxDOMSelectOptions AOptions = {});
  /// The child elements of a local name (under the collation the options give) in a namespace
  /// (any when empty).
  TVxIntf<TVxDOMNodeList> CreateElementList(std::u16string_view AName, std::u16string_view ANamespaceURI,
                                            TVxDOMSelectOptions AOptions = {});

 protected:
  ~TVxDOMElement() override;
  /// Sets the flag without touching xml:space; a change is passed down.
  void SetPreseveSpaceFlagOnly(bool AFlag);
  /// Gives the elements below without an xml:space of their own this element's flag.
  void PassPreserveSpaceDown();
  /// The typed lists once their order left the child list's (nullptr while it follows it).
  struct TTypedOrder;
  std::unique_ptr<TTypedOrder> FTyped;
  uint32_t FElementCount = 0;
  uint32_t FAttributeCount = 0;
  uint32_t FCharCount = 0;
  bool FPreserveSpace = false;
  bool FHasDeclarations = false;  // a namespace declaration was added to it (never cleared)


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// The document: the root of a tree, its settings, loading and saving.
class TVxDOMDocument
    : public TVxImplements<TVxDOMNode, IVxSAXContentHandler, IVxSAXLexicalHandler, IVxSAXErrorHandler> {
 public:
  using Inherited = TVxDOMNode;
  /// Prefer VxCreateDOM: a document lives by its interface references.
  TVxDOMDocument();
  /// Documents themselves are plain heap objects.
  static void* operator new(std::size_t ASize);
  static void operator delete(void* APtr) noexcept;
  /// A new, detached node of class T in this document's store.
  template <class T = TVxDOMElement>
  T* CreateNode() {
    return new (this) T(this);
  }
  TVxDOMObjectImpl* CreateDOMImpl() override;

  /// Frees every top-level node (held ones are detached) and forgets the encoding.
  void Clear() override;
  /// The root element, or nullptr.
  TVxDOMElement* DocumentElement();
  /// Creates and appends the root element; raises when there is one already.
  TVxDOMElement* CreateRootNode(const VxXMLString& AName);
  /// The root element in a namespace (declared on it).
  TVxDOMElement* CreateRootNode(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI);
  /// A top-level comment, appended.
  TVxDOMComment* AddComment(const VxXMLString& AText);
  TVxDOMNode* AddChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode = nullptr, TVxDOMPosition APosition = rdpLast) override;
  using TVxDOMNode::AddChild;
  TVxDOMNode* AppendChild(TVxDOMNode* ANode) override;
  TVxDOMNode* CreateClone() override;
  TVxDOMNode* CloneNode(bool ADeep) override;
  VxXMLString GetText() override;

  // Settings
  bool GetCaseSensitive() override;
  /// Case-sensitive: the code-point collation; else the ASCII case-insensitive one.
  void SetCaseSensitive(bool AValue);
  TVxXPathCollationClass GetCollation() override { return FCollation; }
  void SetCollation(TVxXPathCollationClass ACollation);
  /// Sets the collation registered for a collation URI (EVxDomSyntax "The collation \"%s\" is
  /// not supported!" for an unknown one).
  void SetCollationURI(const VxString& AURI);
  TVxDOMSelectMatchOption GetSelectMatchOption() override { return FSelectMatchOption; }
  void SetSelectMatchOption(TVxDOMSelectMatchOption AOption) { FSelectMatchOption = AOption; }
  TVxDOMSelectCheckOption GetSelectCheckOption() const noexcept { return FSelectCheckOption; }
  void SetSelectCheckOption(TVxDOMSelectCheckOption AOption) { FSelectCheckOption = AOption; }
  const VxXMLString& GetDocumentURI() const noexcept { return FDocumentURI; }
  void SetDocumentURI(const VxXMLString& AURI) { FDocumentURI = AURI; }
  TVxDOMLoadState LoadState() const noexcept { return FLoadState; }
  bool UseSchemaInstance() const noexcept { return FUseSchemaInstance; }
  /// Declares xmlns:xsi and xmlns:xsd on the root when on (and not in scope).
  void SetUseSchemaInstance(bool AValue);
  bool GetPreserveSpace() override { return DefaultPreserveCase; }

  // Encoding and the XML declaration
  /// The encoding name ("UTF-8" by default).
  const std::string& GetEncoding() const noexcept { return FEncoding; }
  uint16_t CodePage() const noexcept { return FCodePage; }
  /// Sets the encoding and writes it into the XML declaration (inserting one when missing).
  /// An unknown name raises EVxDomNotSupported cVxDomEncodingNotSupported.
  void SetEncoding(const std::string& AName);
  void SetEncoding(const VxXMLString& AName);
  /// Sets the code page; the encoding name becomes the code page's name.
  void SetCodePage(uint16_t ACodePage);
  /// Back to "UTF-8", then the encoding named by the XML declaration.
  void ReCalcEncoding();
  TVxDOMProcessingInstruction* FindProcessingInstruction(const VxXMLString& ATarget);
  VxXMLString GetProcessingInstruction(const VxXMLString& ATarget);
  /// Sets the data of the processing instruction (adding it when missing); "xml" recomputes the
  /// encoding.
  void SetProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData);

  // Loading
  /// The whole document is read from a stream: the byte-order mark, else the declaration's
  /// encoding, else UTF-8.
  void LoadFromStream(TVxStream& AStream) override;
  /// Read in a given code page (0: as LoadFromStream).
  void LoadFromStream(TVxStream& AStream, uint16_t ACodePage);
  template <VxFileSystemPath P>
  void LoadFromFile(const P& AFileName) {
    TVxFileStream file(AFileName, fmOpenRead | fmShareDenyWrite);
    LoadFromStream(file);
  }
  void LoadFromFile(const VxString& AFileName);
  /// UTF-16 text.
  void LoadXML(const VxXMLString& AText);
  /// 8-bit text in a code page (0: detected as for streams).
  void LoadXML(std::string_view AText, uint16_t ACodePage = 0);
  /// A caller's buffer in a code page (0: detected).
  void LoadXML(const void* ABuffer, int64_t ASize, uint16_t ACodePage = 0);
  void LoadFromXML(const VxXMLString& AText) { LoadXML(AText); }
  void LoadFromXML(std::string_view AText, uint16_t ACodePage = 0) { LoadXML(AText, ACodePage); }
  /// JSON text read as XML events (JSON-to-SAX reader): objects and arrays become elements.
  void LoadFromJSON(const VxJSONString& AText);
  void LoadFromJSON(TVxStream& AStream, uint16_t ACodePage = 0);
  /// Replaces the document with XML text (LoadXML).
  void SetXml(const VxXMLString& AText) { LoadXML(AText); }
  /// Called after a successful load; does nothing (a hook for subclasses).
  virtual void DoXMLLoaded() {}

  // Saving
  /// Writes the document in a code page; with AWriteBOM, 1200 and 65001 get their byte-order mark.
  void SaveToStream(TVxStream& AStream, uint16_t ACodePage, bool AWriteBOM, bool AFormat);
  /// In the document's own code page.
  void SaveToStream(TVxStream& AStream, bool AWriteBOM, bool AFormat);
  void SaveToStream(TVxStream& AStream, uint16_t ACodePage, bool AFormat) override {
    SaveToStream(AStream, ACodePage, false, AFormat);
  }
  void SaveToFile(const VxString& AFileName, bool AWriteBOM = false, bool AFormat = false);
  template <VxFileSystemPath P>
  void SaveToFile(const P& AFileName, bool AWriteBOM = false, bool AFormat = false) {
    TVxFileStream file(AFileName, fmCreate);
    SaveToStream(file, AWriteBOM, AFormat);
  }
  /// The document as JSON (see docs/architecture.md), compact / formatted.
  VxXMLString GetAsJSON();
  VxXMLString GetAsFormattedJSON();
  void SaveToJSONStream(TVxStream& AStream, bool AFormat) override;

  /// The element of an id attribute with that value ("//@id=\"%s\""), or nullptr.
  TVxDOMElement* getElementById(const VxXMLString& AId);
  /// The element the path selects from the root, or nullptr (see the selection documentation).
  TVxDOMElement* SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions = {});
  TVxIntf<TVxDOMNodeList> CreateElementList(const VxXMLString& APath, TVxDOMSelectOptions AOptions = {});

  /// Interns a name in the document's table.
  TVxDOMName* InternQName(std::u16string_view AQName);

  // IVxSAXContentHandler, IVxSAXLexicalHandler, IVxSAXErrorHandler: the document builds
  // itself from events, so any reader can load it.
  void SetDocumentLocator(IVxSAXLocator* ALocator) override;
  void Characters(const VxXMLString& AText) override;
  void EndDocument() override;
  void EndElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName, const VxXMLString& AQName) override;
  void EndPrefixMapping(const VxXMLString& APrefix) override;
  void IgnorableWhitespace(const VxXMLString& AText) override;
  void ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) override;
  void SkippedEntity(const VxXMLString& AName) override;
  void StartDocument() override;
  void StartElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName, const VxXMLString& AQName,
                    IVxSAXAttributes* AAttributes) override;
  void StartPrefixMapping(const VxXMLString& APrefix, const VxXMLString& AURI) override;
  void Comment(const VxXMLString& AText) override;
  void StartCDATA() override;
  void StartDTD() override;
  void StartEntity(const VxXMLString& AName) override;
  void EndCDATA() override;
  void EndDTD() override;
  void EndEntity(const VxXMLString& AName) override;
  void Warning(IVxSAXLocator* ALocator, const VxXMLString& AMessage) override;
  void Error(IVxSAXLocator* ALocator, const VxXMLString& AMessage) override;
  void FatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage) override;

 protected:
  ~TVxDOMDocument() override;
  void BeforeDestruction() override;
  void RunLoad(const std::function<void(TVxSAXReader&)>& AParse, bool AJSON);

  TVxXPathCollationClass FCollation;
  TVxDOMSelectMatchOption FSelectMatchOption;
  TVxDOMSelectCheckOption FSelectCheckOption;
  std::string FEncoding = "UTF-8";
  uint16_t FCodePage = cVxCodePageUTF8;
  TVxDOMLoadState FLoadState = lsUninitialized;
  VxXMLString FDocumentURI;
  bool FUseSchemaInstance = false;
  std::unique_ptr<class TVxDOMLoader> FLoader;  // while loading through the handler operations
  class TVxDOMStore* FStore;                     // the memory of this document's nodes
  bool FInRunLoad = false;
  TVxIntf<IVxSAXLocator> FFatalSnapshot;  // where a load failed, until the handler is told
  VxXMLString FFatalMessage;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// Releases one reference of a companion (see TVxDOMObjectImpl).
int32_t VxDOMReleaseImpl(TVxDOMObjectImpl* AImpl);

/// Creates an empty document and answers it as an interface (its lifetime follows the
/// interface references to it and to its nodes).
TVxIntf<IVxDOMDocument> VxCreateDOM();
/// A document loaded from XML text.
TVxIntf<IVxDOMDocument> VxCreateDOM(const VxXMLString& AXML);

// ---------------------------------------------------------------------------------------------
// Node lists
// ---------------------------------------------------------------------------------------------

/// A list of nodes: either a node's own child list (or one of an element's typed lists), which
/// changes only with the tree, or a free-standing list (selection results), which the owner of
/// the list fills.
class TVxDOMNodeListBase : public TVxDOMObject {
 public:
  using Inherited = TVxDOMObject;
  /// Which nodes a view shows.
  enum TKind : uint8_t { lkStandalone, lkChildren, lkAttributes, lkElements, lkCharNodes };

  /// A free-standing list of nodes (not owned).
  explicit TVxDOMNodeListBase(TVxDOMDocument* ADocument = nullptr);
  TVxDOMObjectImpl* CreateDOMImpl() override;

  int Count();
  /// The node at AIndex; raises EListError outside 0 .. Count - 1.
  TVxDOMNode* GetItem(int AIndex);
  /// The index of the node, or -1.
  int IndexOf(TVxDOMNode* ANode);
  bool ContainsNode(TVxDOMNode* ANode) { return IndexOf(ANode) >= 0; }
  /// Empties a free-standing list.
  void Clear();
  /// Adds at the first or last place.
  void Add(TVxDOMNode* ANode, TVxDOMAbsPosition APosition = rdpLast);
  void Add(TVxDOMNode* ANode, TVxDOMPosition APosition, TVxDOMNode* ARefNode);
  /// Adds by the list rule: rdpFirst/rdpLast ignore the reference; rdpBefore/rdpAfter use it.
  void Add(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition);
  /// Removes the node from the list and answers it (nullptr when it was not in it).
  TVxDOMNode* Delete(TVxDOMNode* ANode);
  TVxDOMNode* Delete(int AIndex);
  TVxDOMNode* Delete(const VxXMLString& AName);
  /// Raise EVxDomNotFound cVxDomListEmpty on an empty list (Last too).
  TVxDOMNode* First();
  TVxDOMNode* Last();
  /// The item after ARefNode; a node not in the list gives the first item.
  TVxDOMNode* Next(TVxDOMNode* ARefNode);
  /// The item before ARefNode; a node not in the list raises EListError.
  TVxDOMNode* Previous(TVxDOMNode* ARefNode);
  /// The last item (scanning backwards) whose local name matches under the owner's collation
  /// and, when ANamespaceURI is given, whose namespace matches too.
  TVxDOMNode* Find(const VxXMLString& AName, std::u16string_view ANamespaceURI = {});
  /// The last item whose name matches under the options; see the documentation.
  TVxDOMNode* Find(const VxXMLString& AName, TVxDOMSelectOptions AOptions);
  /// The owner node of a view, nullptr for a free-standing list.
  TVxDOMNode* Owner() const noexcept { return FParent; }
  TKind Kind() const noexcept { return FKind; }

 protected:
  TVxDOMNodeListBase(TVxDOMNode* AOwner, TKind AKind);
  ~TVxDOMNodeListBase() override;
  bool Matches(const TVxDOMNode* ANode) const noexcept;
  std::vector<TVxDOMNode*>* Stored();
  void CheckWritable();

  TKind FKind;
  std::vector<TVxDOMNode*> FItems;  // free-standing lists
  // Index cache of views: the node at FCacheIndex, valid for FCacheVersion of the owner.
  TVxDOMNode* FCacheNode = nullptr;
  int FCacheIndex = -1;
  uint32_t FCacheVersion = 0;


  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend class TVxDOMObjectImpl;
  friend struct TVxDOMTree;
};

/// A list of nodes.
class TVxDOMNodeList : public TVxDOMNodeListBase {
 public:
  using Inherited = TVxDOMNodeListBase;
  using TVxDOMNodeListBase::TVxDOMNodeListBase;
};

/// A list of elements.
class TVxDOMElementList : public TVxDOMNodeListBase {
 public:
  using Inherited = TVxDOMNodeListBase;
  using TVxDOMNodeListBase::TVxDOMNodeListBase;
  TVxDOMObjectImpl* CreateDOMImpl() override;
  TVxDOMElement* GetItem(int AIndex) { return static_cast<TVxDOMElement*>(TVxDOMNodeListBase::GetItem(AIndex)); }
  /// GetItemEx with DefaultSelectCheckOption.
  TVxDOMElement* GetItem(const TVxVariant& AIndex) { return GetItemEx(AIndex, DefaultSelectCheckOption); }
  /// By integer position, by name ("." the owner itself), or by path (a name with "/", or any
  /// name with coCreate); see the documentation.
  TVxDOMElement* GetItemEx(const TVxVariant& AIndex, TVxDOMSelectCheckOption ACheckOption);
};

/// A list of attributes.
class TVxDOMAttrList : public TVxDOMNodeListBase {
 public:
  using Inherited = TVxDOMNodeListBase;
  using TVxDOMNodeListBase::TVxDOMNodeListBase;
  TVxDOMObjectImpl* CreateDOMImpl() override;
  TVxDOMAttribute* GetItem(int AIndex) { return static_cast<TVxDOMAttribute*>(TVxDOMNodeListBase::GetItem(AIndex)); }
  /// The namespace declaration whose value is the URI (innermost first), or nullptr.
  TVxDOMAttribute* FindNamespace(const VxXMLString& AURI);
};

// ---------------------------------------------------------------------------------------------
// Companions
// ---------------------------------------------------------------------------------------------

/// The companion of a tree object: answers the interfaces and carries the reference count that
/// interface users see. Holding it holds the tree object's parent as well.
class TVxDOMObjectImpl : public TVxObject {
 public:
  using Inherited = TVxObject;
  explicit TVxDOMObjectImpl(TVxDOMObject* AObject);
  ~TVxDOMObjectImpl() override;
  /// The tree object served.
  TVxDOMObject* DOMObject() const noexcept { return FObject; }
  /// Points the counted reference at a new parent (nullptr: none).
  void SetParentIntf(TVxDOMObject* AParent);

 protected:
  int32_t ObjRelease() override;
  /// Takes one reference off the count, without freeing anything (the release loop does that).
  int32_t DropReference() { return TVxObject::ObjRelease(); }
  TVxDOMObject* FObject;
  TVxDOMObjectImpl* FParentImpl = nullptr;  // a counted reference to the parent's companion

  friend int32_t VxDOMReleaseImpl(TVxDOMObjectImpl* AImpl);

  // The classes of the DOM module reach into each other's state (the tree is one structure).
  friend class TVxDOMObject;
  friend class TVxDOMNode;
  friend class TVxDOMCharacterData;
  friend class TVxDOMText;
  friend class TVxDOMProcessingInstruction;
  friend class TVxDOMAttribute;
  friend class TVxDOMElement;
  friend class TVxDOMDocument;
  friend class TVxDOMNodeListBase;
  friend class TVxDOMElementList;
  friend class TVxDOMAttrList;
  friend class TVxDOMLoader;
  friend class TVxDOMWriter;
  friend class TVxDOMJSONWriter;
  friend struct TVxDOMTree;
};

// ---------------------------------------------------------------------------------------------
// Free functions on element interfaces
// ---------------------------------------------------------------------------------------------

/// AddElement of the element behind the interface.
TVxIntf<IVxDOMElement> VxAddElement(IVxDOMElement* AElement, const VxXMLString& AName);
TVxIntf<IVxDOMAttribute> VxAddAttribute(IVxDOMElement* AElement, const VxXMLString& AName, const VxXMLString& AValue);
TVxIntf<IVxDOMText> VxAddText(IVxDOMElement* AElement, const VxXMLString& AText);
TVxIntf<IVxDOMCDATA> VxAddCDATA(IVxDOMElement* AElement, const VxXMLString& AText);
TVxIntf<IVxDOMComment> VxAddComment(IVxDOMElement* AElement, const VxXMLString& AText);

}  // namespace vx
