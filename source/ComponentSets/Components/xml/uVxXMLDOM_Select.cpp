// uVxXMLDOM_Select: selection of nodes by path: option resolution, the path walker, and the
// element and document helpers built on them.
#include "uVxXMLDOM_Internal.h"

namespace vx {

namespace {

struct TResolved {
  TVxXPathCollationClass Collation;
  bool LocalName;
};

TResolved ResolveOptions(TVxDOMNode* ANode, TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(VxString(cVxDomBothCaseOptions));
  if (AOptions.Contains(soRaise) && AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomBothRaiseAndCreate));
  TResolved r;
  r.Collation = AOptions.Contains(soCaseSensitive)     ? TVxXPathCollationCodepoint::ClassRef()
                : AOptions.Contains(soCaseInsensitive) ? TVxXPathCollationASCIICI::ClassRef()
                                                       : ANode->GetCollation();
  r.LocalName = AOptions.Contains(soLocalName)       ? true
                : AOptions.Contains(soQualifiedName) ? false
                                                     : DefaultSelectMatchOption == soLocalName;
  return r;
}

}  // namespace

TVxIntf<TVxDOMNodeList> TVxDOMNode::CreateNodeList(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  const TResolved r = ResolveOptions(this, AOptions);
  auto* list = new TVxDOMNodeList(FDocument);
  TVxIntf<TVxDOMNodeList> hold(list);
  _SelectNodes(*list, APath, r.Collation, AOptions.Contains(soCreate), r.LocalName, VxDOMNodeClass<TVxDOMElement>());
  if (list->Count() == 0) {
    if (AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(u"There are no nodes for the given path \"%s!.", APath));
    if (AOptions.Contains(soCreate))
      throw EVxDomSyntax(VxFormat(u"The given path \"%s\" was too complex to use the soCreate option!", APath));
  }
  return hold;
}

TVxDOMNode* TVxDOMNode::SelectSingleNode(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  const TResolved r = ResolveOptions(this, AOptions);
  auto* list = new TVxDOMNodeList(FDocument);
  TVxIntf<TVxDOMNodeList> hold(list);
  _SelectNodes(*list, APath, r.Collation, AOptions.Contains(soCreate), r.LocalName, VxDOMNodeClass<TVxDOMElement>());
  if (list->Count() == 0) {
    if (AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(u"There is no node for the given path \"%s\"!", APath));
    if (AOptions.Contains(soCreate))
      throw EVxDomSyntax(VxFormat(u"The given path \"%s\" was too complex to use the soCreate option!", APath));
    return nullptr;
  }
  return list->GetItem(0);
}

void TVxDOMNode::_SelectNodes(TVxDOMNodeListBase& AList, const VxXMLString& APath, TVxXPathCollationClass ACollation,
                              bool ACreate, bool ALocalName, const TVxDOMNodeClass& ANodeClass) {
  if (!APath.empty() && APath[0] == u'/')
    throw EVxDomSyntax(VxString(u"The specified nodePath started with an unexpected token (/)!"));
  std::vector<TVxDOMNode*> contexts{this};
  size_t at = 0;
  while (at <= APath.size() && !contexts.empty()) {
    size_t slash = APath.find(u'/', at);
    if (slash == VxXMLString::npos) slash = APath.size();
    const std::u16string_view step = std::u16string_view(APath).substr(at, slash - at);
    at = slash + 1;
    std::vector<TVxDOMNode*> next;
    for (TVxDOMNode* ctx : contexts) {
      if (step == u"..") {
        if (ctx->ParentNode()) next.push_back(ctx->ParentNode());
      } else if (step == u"." || step.empty()) {
        next.push_back(ctx);
      } else if (!step.empty() && step[0] == u'@') {
        const std::u16string_view name = step.substr(1);
        for (TVxDOMNode* c = ctx->FirstChild(); c; c = c->NextSibling())
          if (c->NodeType() == ntAttribute &&
              (name == u"*" || ACollation->SameText(ALocalName ? c->GetLocalName() : c->GetQualifiedName(), name)))
            next.push_back(c);
      } else {
        size_t before = next.size();
        for (TVxDOMNode* c = ctx->FirstChild(); c; c = c->NextSibling())
          if (c->NodeType() == ntElement &&
              (step == u"*" || ACollation->SameText(ALocalName ? c->GetLocalName() : c->GetQualifiedName(), step)))
            next.push_back(c);
        if (next.size() == before && ACreate && step != u"*") {
          TVxDOMNode* created = (ANodeClass ? ANodeClass : VxDOMNodeClass<TVxDOMElement>()).Create(ctx->DOMDocument());
          created->SetQualifiedName(VxXMLString(step));
          ctx->AddChild(created);
          next.push_back(created);
        }
      }
    }
    contexts = std::move(next);
    if (slash == APath.size()) break;
  }
  for (TVxDOMNode* n : contexts) AList.FItems.push_back(n);
}

TVxDOMElement* TVxDOMElement::SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  TVxDOMNode* n = SelectSingleNode(APath, AOptions);
  return n && n->NodeType() == ntElement ? static_cast<TVxDOMElement*>(n) : nullptr;
}

TVxIntf<TVxDOMNodeList> TVxDOMElement::CreateElementList(TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  auto* list = new TVxDOMNodeList(FDocument);
  TVxIntf<TVxDOMNodeList> hold(list);
  for (TVxDOMNode* c = FFirst; c; c = c->FNext)
    if (c->NodeType() == ntElement) list->FItems.push_back(c);
  return hold;
}

TVxIntf<TVxDOMNodeList> TVxDOMElement::CreateElementList(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  TVxIntf<TVxDOMNodeList> all = CreateNodeList(APath, AOptions);
  auto* list = new TVxDOMNodeList(FDocument);
  TVxIntf<TVxDOMNodeList> hold(list);
  for (int k = 0; k < all->Count(); ++k)
    if (all->GetItem(k)->NodeType() == ntElement) list->FItems.push_back(all->GetItem(k));
  return hold;
}

TVxIntf<TVxDOMNodeList> TVxDOMElement::CreateElementList(const VxXMLString& AName, const VxXMLString& ANamespaceURI,
                                                         TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  auto* list = new TVxDOMNodeList(FDocument);
  TVxIntf<TVxDOMNodeList> hold(list);
  TVxXPathCollationClass collation = GetCollation();
  for (TVxDOMNode* c = FFirst; c; c = c->FNext)
    if (c->NodeType() == ntElement && collation->SameText(c->GetLocalName(), AName) &&
        (ANamespaceURI.empty() || c->GetNamespaceURI() == ANamespaceURI))
      list->FItems.push_back(c);
  return hold;
}

TVxDOMElement* TVxDOMDocument::SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  TVxDOMElement* root = DocumentElement();
  if (!root) throw EVxDomNotFound(VxString(cVxDomNoRootForPath));
  if (APath.empty()) throw EVxDomNotFound(VxString(cVxDomEmptyPath));
  TVxDOMElement* e = root->SelectSingleElement(APath, AOptions - soRaise);
  if (!e && AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(cVxDomNoNodeForPath, APath));
  return e;
}

TVxIntf<TVxDOMNodeList> TVxDOMDocument::CreateElementList(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  TVxDOMElement* root = DocumentElement();
  if (!root) throw EVxDomNotFound(VxString(cVxDomNoRootForPath));
  if (APath.empty()) throw EVxDomNotFound(VxString(cVxDomEmptyPath));
  return root->CreateElementList(APath, AOptions);
}

}  // namespace vx
