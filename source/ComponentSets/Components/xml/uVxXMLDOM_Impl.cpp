// uVxXMLDOM_Impl: the companions. Each tree class creates the companion of its own class; a
// companion answers the interfaces of its node kind by forwarding to the tree object.
//
// The companion classes mirror the tree classes. Each is built from a class template over the
// interface it serves, so that one chain of interface operations is implemented once per
// interface (C++ would otherwise see two copies of IVxDOMNode in, say, the CDATA companion).
#include "uVxXMLDOM_Internal.h"

namespace vx {

TVxDOMNode* VxDOMNodeOf(const TVxIntf<IVxDOMNode>& ANode) { return ANode ? ANode->DOMNode() : nullptr; }

// ---------------------------------------------------------------------------------------------
// Nodes
// ---------------------------------------------------------------------------------------------

template <class I>
class TVxDOMNodeImplOf : public TVxImplements<TVxDOMObjectImpl, I> {
 public:
  using Base = TVxImplements<TVxDOMObjectImpl, I>;
  explicit TVxDOMNodeImplOf(TVxDOMNode* ANode) : Base(ANode) {}
  TVxDOMNode* N() const { return static_cast<TVxDOMNode*>(this->FObject); }

  TVxDOMNodeType GetNodeType() override { return N()->NodeType(); }
  VxXMLString GetNodeName() override { return N()->GetQualifiedName(); }
  VxXMLString GetLocalName() override { return N()->GetLocalName(); }
  VxXMLString GetPrefix() override { return N()->GetPrefix(); }
  VxXMLString GetNamespaceURI() override { return N()->GetNamespaceURI(); }
  VxXMLString GetNodeValue() override { return N()->GetNodeValue(); }
  void SetNodeValue(const VxXMLString& AValue) override { N()->SetNodeValue(AValue); }
  VxXMLString GetText() override { return N()->GetText(); }
  VxXMLString GetXML() override { return N()->GetXML(); }
  VxXMLString GetFormattedXML() override { return N()->GetFormattedXML(); }
  TVxIntf<IVxDOMNode> GetParentNode() override { return VxDOMIntf<IVxDOMNode>(N()->ParentNode()); }
  TVxIntf<IVxDOMDocument> GetOwnerDocument() override {
    TVxDOMDocument* doc = N()->DOMDocument();
    return doc ? VxDOMIntf<IVxDOMDocument>(doc) : TVxIntf<IVxDOMDocument>();
  }
  TVxIntf<IVxDOMNodeList> GetChildNodes() override {
    return VxSupports<IVxDOMNodeList>(static_cast<IVxInterface*>(N()->ChildNodes()));
  }
  TVxIntf<IVxDOMNode> GetFirstChild() override { return VxDOMIntf<IVxDOMNode>(N()->FirstChild()); }
  TVxIntf<IVxDOMNode> GetLastChild() override { return VxDOMIntf<IVxDOMNode>(N()->LastChild()); }
  TVxIntf<IVxDOMNode> GetNextSibling() override { return VxDOMIntf<IVxDOMNode>(N()->NextSibling()); }
  TVxIntf<IVxDOMNode> GetPreviousSibling() override { return VxDOMIntf<IVxDOMNode>(N()->PreviousSibling()); }
  bool HasChildNodes() override { return N()->HasChilds(); }
  TVxIntf<IVxDOMNode> AppendChild(const TVxIntf<IVxDOMNode>& ANode) override {
    N()->AppendChild(VxDOMNodeOf(ANode));
    return ANode;
  }
  TVxIntf<IVxDOMNode> InsertBefore(const TVxIntf<IVxDOMNode>& ANode, const TVxIntf<IVxDOMNode>& ARefNode) override {
    TVxDOMNode* ref = VxDOMNodeOf(ARefNode);
    N()->AddChild(VxDOMNodeOf(ANode), ref, ref ? rdpBefore : rdpLast);
    return ANode;
  }
  TVxIntf<IVxDOMNode> RemoveChild(const TVxIntf<IVxDOMNode>& ANode) override {
    N()->RemoveChild(VxDOMNodeOf(ANode));  // the caller's reference keeps it
    return ANode;
  }
  TVxIntf<IVxDOMNode> CloneNode(bool ADeep) override { return VxDOMIntf<IVxDOMNode>(N()->CloneNode(ADeep)); }
  VxXMLString NodePath(bool ALocalNamesOnly, const VxXMLString& AIdAttribute) override {
    return N()->NodePath(ALocalNamesOnly, AIdAttribute);
  }
  TVxIntf<IVxDOMNode> SelectSingleNode(const VxXMLString& APath, TVxDOMSelectOptions AOptions) override {
    return VxDOMIntf<IVxDOMNode>(N()->SelectSingleNode(APath, AOptions));
  }
  TVxIntf<IVxDOMNodeList> SelectNodes(const VxXMLString& APath, TVxDOMSelectOptions AOptions) override {
    TVxIntf<TVxDOMNodeList> list = N()->CreateNodeList(APath, AOptions);
    return VxSupports<IVxDOMNodeList>(list.Get());
  }
  TVxDOMNode* DOMNode() override { return N(); }
};

template <class I>
class TVxDOMCharacterDataImplOf : public TVxDOMNodeImplOf<I> {
 public:
  using TVxDOMNodeImplOf<I>::TVxDOMNodeImplOf;
  TVxDOMCharacterData* C() const { return static_cast<TVxDOMCharacterData*>(this->FObject); }
  VxXMLString GetData() override { return C()->GetNodeValue(); }
  void SetData(const VxXMLString& AData) override { C()->SetNodeValue(AData); }
  int GetLength() override { return C()->Length(); }
  void AppendData(const VxXMLString& AData) override { C()->AppendStr(AData); }
  void InsertData(int AOffset, const VxXMLString& AData) override { C()->InsertStr(AOffset, AData); }
  void DeleteData(int AOffset, int ACount) override { C()->DeleteStr(AOffset, ACount); }
  void ReplaceData(int AOffset, int ACount, const VxXMLString& AData) override { C()->ReplaceStr(AOffset, ACount, AData); }
  VxXMLString SubstringData(int AOffset, int ACount) override { return C()->Substring(AOffset, ACount); }
};

template <class I>
class TVxDOMTextImplOf : public TVxDOMCharacterDataImplOf<I> {
 public:
  using TVxDOMCharacterDataImplOf<I>::TVxDOMCharacterDataImplOf;
  TVxIntf<IVxDOMText> SplitText(int AOffset) override {
    return VxDOMIntf<IVxDOMText>(static_cast<TVxDOMText*>(this->FObject)->SplitText(AOffset));
  }
};

class TVxDOMNodeImpl : public TVxDOMNodeImplOf<IVxDOMNode> {
 public:
  using TVxDOMNodeImplOf::TVxDOMNodeImplOf;
};
class TVxDOMCharacterDataImpl : public TVxDOMCharacterDataImplOf<IVxDOMCharacterData> {
 public:
  using TVxDOMCharacterDataImplOf::TVxDOMCharacterDataImplOf;
};
class TVxDOMTextImpl : public TVxDOMTextImplOf<IVxDOMText> {
 public:
  using TVxDOMTextImplOf::TVxDOMTextImplOf;
};
class TVxDOMCDATAImpl : public TVxDOMTextImplOf<IVxDOMCDATA> {
 public:
  using TVxDOMTextImplOf::TVxDOMTextImplOf;
};
class TVxDOMCommentImpl : public TVxDOMCharacterDataImplOf<IVxDOMComment> {
 public:
  using TVxDOMCharacterDataImplOf::TVxDOMCharacterDataImplOf;
};

class TVxDOMProcessingInstructionImpl : public TVxDOMNodeImplOf<IVxDOMProcessingInstruction> {
 public:
  using TVxDOMNodeImplOf::TVxDOMNodeImplOf;
  VxXMLString GetTarget() override { return N()->GetQualifiedName(); }
  VxXMLString GetData() override { return N()->GetNodeValue(); }
  void SetData(const VxXMLString& AData) override { N()->SetNodeValue(AData); }
};

class TVxDOMAttributeImpl : public TVxDOMNodeImplOf<IVxDOMAttribute> {
 public:
  using TVxDOMNodeImplOf::TVxDOMNodeImplOf;
  TVxDOMAttribute* A() const { return static_cast<TVxDOMAttribute*>(FObject); }
  VxXMLString GetName() override { return A()->GetQualifiedName(); }
  VxXMLString GetValue() override { return A()->GetNodeValue(); }
  void SetValue(const VxXMLString& AValue) override { A()->SetNodeValue(AValue); }
  TVxIntf<IVxDOMElement> GetOwnerElement() override { return VxDOMIntf<IVxDOMElement>(A()->OwnerElement()); }
  bool IsNamespace() override { return A()->IsNamespace(); }
};

class TVxDOMElementImpl : public TVxDOMNodeImplOf<IVxDOMElement> {
 public:
  using TVxDOMNodeImplOf::TVxDOMNodeImplOf;
  TVxDOMElement* E() const { return static_cast<TVxDOMElement*>(FObject); }
  VxXMLString GetTagName() override { return E()->GetQualifiedName(); }
  VxXMLString GetAttribute(const VxXMLString& AName) override { return E()->GetAttribute(AName); }
  void SetAttribute(const VxXMLString& AName, const VxXMLString& AValue) override { E()->SetAttribute(AName, AValue); }
  VxXMLString GetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName) override {
    return E()->GetAttributeNS(ANamespaceURI, ALocalName);
  }
  void SetAttributeNS(const VxXMLString& ANamespaceURI, const VxXMLString& AQualifiedName,
                      const VxXMLString& AValue) override {
    E()->SetAttributeNS(ANamespaceURI, AQualifiedName, AValue);
  }
  void RemoveAttribute(const VxXMLString& AName) override { E()->RemoveAttribute(AName); }
  bool HasAttribute(const VxXMLString& AName) override { return E()->HasAttribute(AName); }
  TVxIntf<IVxDOMAttrList> GetAttributes() override {
    return VxSupports<IVxDOMAttrList>(static_cast<IVxInterface*>(E()->Attributes()));
  }
  TVxIntf<IVxDOMElementList> GetElements() override {
    return VxSupports<IVxDOMElementList>(static_cast<IVxInterface*>(E()->Elements()));
  }
  TVxIntf<IVxDOMElement> ElementByName(const VxXMLString& AName, TVxDOMSelectOptions AOptions) override {
    return VxDOMIntf<IVxDOMElement>(E()->ElementByName(AName, AOptions));
  }
  TVxIntf<IVxDOMElement> AddElement(const VxXMLString& AName) override {
    return VxDOMIntf<IVxDOMElement>(E()->AddElement(AName));
  }
  TVxIntf<IVxDOMAttribute> AddAttribute(const VxXMLString& AName, const VxXMLString& AValue) override {
    return VxDOMIntf<IVxDOMAttribute>(E()->AddAttribute(AName, AValue));
  }
  TVxIntf<IVxDOMText> AddText(const VxXMLString& AText) override { return VxDOMIntf<IVxDOMText>(E()->AddText(AText)); }
  TVxIntf<IVxDOMCDATA> AddCDATA(const VxXMLString& AText) override { return VxDOMIntf<IVxDOMCDATA>(E()->AddCDATA(AText)); }
  TVxIntf<IVxDOMComment> AddComment(const VxXMLString& AText) override {
    return VxDOMIntf<IVxDOMComment>(E()->AddComment(AText));
  }
  VxXMLString GetAsString() override { return E()->GetAsString(); }
  void SetAsString(const VxXMLString& AValue) override { E()->SetAsString(AValue); }
  int32_t GetAsInteger() override { return E()->GetAsInteger(); }
  void SetAsInteger(int32_t AValue) override { E()->SetAsInteger(AValue); }
  double GetAsDouble() override { return E()->GetAsDouble(); }
  void SetAsDouble(double AValue) override { E()->SetAsDouble(AValue); }
  bool GetAsBoolean() override { return E()->GetAsBoolean(); }
  void SetAsBoolean(bool AValue) override { E()->SetAsBoolean(AValue); }
  TVxVariant GetAsVariant() override { return E()->GetAsVariant(); }
  void SetAsVariant(const TVxVariant& AValue) override { E()->SetAsVariant(AValue); }
  TVxIntf<IVxDOMElement> SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions) override {
    return VxDOMIntf<IVxDOMElement>(E()->SelectSingleElement(APath, AOptions));
  }
  TVxDOMElement* DOMElement() override { return E(); }
};

class TVxDOMDocumentImpl : public TVxDOMNodeImplOf<IVxDOMDocument> {
 public:
  using TVxDOMNodeImplOf::TVxDOMNodeImplOf;
  TVxDOMDocument* D() const { return static_cast<TVxDOMDocument*>(FObject); }
  TVxIntf<IVxDOMElement> GetDocumentElement() override { return VxDOMIntf<IVxDOMElement>(D()->DocumentElement()); }
  TVxIntf<IVxDOMElement> CreateRootNode(const VxXMLString& AName) override {
    return VxDOMIntf<IVxDOMElement>(D()->CreateRootNode(AName));
  }
  void LoadXML(const VxXMLString& AText) override { D()->LoadXML(AText); }
  void LoadFromFile(const VxString& AFileName) override { D()->LoadFromFile(AFileName); }
  void LoadFromStreamEx(TVxStream& AStream) override { D()->LoadFromStream(AStream); }
  void LoadFromStream(TVxStream&) override { throw EVxDomNotSupported(VxString(cVxDomLoadFromStreamNotSupported)); }
  void SaveToStreamEx(TVxStream& AStream, bool AWriteBOM, bool AFormat) override {
    D()->SaveToStream(AStream, AWriteBOM, AFormat);
  }
  void SaveToStream(TVxStream&) override { throw EVxDomNotSupported(VxString(cVxDomSaveToStreamNotSupported)); }
  void SaveToFile(const VxString& AFileName, bool AWriteBOM, bool AFormat) override {
    D()->SaveToFile(AFileName, AWriteBOM, AFormat);
  }
  VxXMLString GetAsJSON() override { return D()->GetAsJSON(); }
  VxXMLString GetAsFormattedJSON() override { return D()->GetAsFormattedJSON(); }
  VxXMLString GetEncoding() override { return VxUTF8ToUTF16(D()->GetEncoding()); }
  void SetEncoding(const VxXMLString& AName) override { D()->SetEncoding(AName); }
  TVxIntf<IVxDOMElement> getElementById(const VxXMLString& AId) override {
    return VxDOMIntf<IVxDOMElement>(D()->getElementById(AId));
  }
  TVxDOMDocument* DOMDocument() override { return D(); }
};

// ---------------------------------------------------------------------------------------------
// Lists
// ---------------------------------------------------------------------------------------------

template <class I>
class TVxDOMNodeListImplOf : public TVxImplements<TVxDOMObjectImpl, I> {
 public:
  using Base = TVxImplements<TVxDOMObjectImpl, I>;
  explicit TVxDOMNodeListImplOf(TVxDOMNodeListBase* AList) : Base(AList) {}
  TVxDOMNodeListBase* L() const { return static_cast<TVxDOMNodeListBase*>(this->FObject); }
  int GetLength() override { return L()->Count(); }
  TVxIntf<IVxDOMNode> Item(int AIndex) override { return VxDOMIntf<IVxDOMNode>(L()->GetItem(AIndex)); }
  TVxDOMNodeListBase* DOMList() override { return L(); }
};

template <class I>
class TVxDOMNamedListImplOf : public TVxDOMNodeListImplOf<I> {
 public:
  using TVxDOMNodeListImplOf<I>::TVxDOMNodeListImplOf;
  TVxIntf<IVxDOMNode> GetNamedItem(const VxXMLString& AName) override {
    return VxDOMIntf<IVxDOMNode>(this->L()->Find(AName, TVxDOMSelectOptions{soQualifiedName}));
  }
  TVxIntf<IVxDOMNode> GetNamedItemNS(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName) override {
    TVxDOMNodeListBase* list = this->L();
    for (int k = list->Count() - 1; k >= 0; --k) {
      TVxDOMNode* n = list->GetItem(k);
      if (n->GetLocalName() == ALocalName && n->GetNamespaceURI() == ANamespaceURI) return VxDOMIntf<IVxDOMNode>(n);
    }
    return {};
  }
};

class TVxDOMNodeListImpl : public TVxDOMNodeListImplOf<IVxDOMNodeList> {
 public:
  using TVxDOMNodeListImplOf::TVxDOMNodeListImplOf;
};

class TVxDOMElementListImpl : public TVxDOMNamedListImplOf<IVxDOMElementList> {
 public:
  using TVxDOMNamedListImplOf::TVxDOMNamedListImplOf;
  TVxIntf<IVxDOMElement> GetElement(int AIndex) override {
    return VxDOMIntf<IVxDOMElement>(static_cast<TVxDOMElementList*>(FObject)->GetItem(AIndex));
  }
  TVxIntf<IVxDOMElement> GetItemEx(const TVxVariant& AIndex, TVxDOMSelectCheckOption ACheckOption) override {
    return VxDOMIntf<IVxDOMElement>(static_cast<TVxDOMElementList*>(FObject)->GetItemEx(AIndex, ACheckOption));
  }
};

class TVxDOMAttrListImpl : public TVxDOMNamedListImplOf<IVxDOMAttrList> {
 public:
  using TVxDOMNamedListImplOf::TVxDOMNamedListImplOf;
  TVxIntf<IVxDOMAttribute> GetAttribute(int AIndex) override {
    return VxDOMIntf<IVxDOMAttribute>(static_cast<TVxDOMAttrList*>(FObject)->GetItem(AIndex));
  }
  TVxIntf<IVxDOMAttribute> FindNamespace(const VxXMLString& AURI) override {
    return VxDOMIntf<IVxDOMAttribute>(static_cast<TVxDOMAttrList*>(FObject)->FindNamespace(AURI));
  }
};

// ---------------------------------------------------------------------------------------------
// Each tree class makes the companion of its own class
// ---------------------------------------------------------------------------------------------

TVxDOMObjectImpl* VxDOMCreateNodeImpl(TVxDOMNode* ANode) { return new TVxDOMNodeImpl(ANode); }
TVxDOMObjectImpl* VxDOMCreateListImpl(TVxDOMNodeListBase* AList) { return new TVxDOMNodeListImpl(AList); }

TVxDOMObjectImpl* TVxDOMCharacterData::CreateDOMImpl() { return new TVxDOMCharacterDataImpl(this); }
TVxDOMObjectImpl* TVxDOMText::CreateDOMImpl() { return new TVxDOMTextImpl(this); }
TVxDOMObjectImpl* TVxDOMCDATA::CreateDOMImpl() { return new TVxDOMCDATAImpl(this); }
TVxDOMObjectImpl* TVxDOMComment::CreateDOMImpl() { return new TVxDOMCommentImpl(this); }
TVxDOMObjectImpl* TVxDOMProcessingInstruction::CreateDOMImpl() { return new TVxDOMProcessingInstructionImpl(this); }
TVxDOMObjectImpl* TVxDOMAttribute::CreateDOMImpl() { return new TVxDOMAttributeImpl(this); }
TVxDOMObjectImpl* TVxDOMElement::CreateDOMImpl() { return new TVxDOMElementImpl(this); }
TVxDOMObjectImpl* TVxDOMDocument::CreateDOMImpl() { return new TVxDOMDocumentImpl(this); }
TVxDOMObjectImpl* TVxDOMElementList::CreateDOMImpl() { return new TVxDOMElementListImpl(this); }
TVxDOMObjectImpl* TVxDOMAttrList::CreateDOMImpl() { return new TVxDOMAttrListImpl(this); }

}  // namespace vx
