// uVxXMLDOM_Select: selection of nodes by path: option resolution, reading a path once into
// steps (with their predicates parsed), running it from a context node, creating missing
// elements, and the element and document helpers built on them.
#include <climits>
#include <cstdint>
#include <unordered_set>

#include "uVxXMLDOM_Internal.h"

namespace vx {

inline constexpr char16_t cVxDomLeadingSlash[] = u"The specified nodePath started with an unexpected token (/)!";
inline constexpr char16_t cVxDomNoNodesForPath[] = u"There are no nodes for the given path \"%s!.";
inline constexpr char16_t cVxDomNoNodeForPathRaise[] = u"There is no node for the given path \"%s\"!";
inline constexpr char16_t cVxDomTooComplex[] = u"The given path \"%s\" was too complex to use the soCreate option!";
inline constexpr char16_t cVxDomCreateWithSearch[] =
    u"The soCreate option cannot be used in combination with the \"//\" search option!";
inline constexpr char16_t cVxDomAfterParent[] =
    u"The XPath expression contains an error at \"%s\"!\r\na \"/\" or \"[\" was expected after the \"..\".";
inline constexpr char16_t cVxDomSearchWithParent[] =
    u"The XPath expression contains an error at \"%s\"!\r\nThe \"//\" cannot be used in combination with \"..\".";
inline constexpr char16_t cVxDomAfterAny[] =
    u"The XPath expression contains an error at \"%s\"!\r\na \"/\" or \"[\" was expected after the \"*\".";
inline constexpr char16_t cVxDomPathNotValid[] = u"The XPath expression is not valid!";

// ---------------------------------------------------------------------------------------------
// Reading a path
// ---------------------------------------------------------------------------------------------

namespace {

// The index just past the "]" that closes the "[" at AOpen (nested brackets counted, quoted
// text skipped); npos when it is not closed.
size_t ClosingBracket(std::u16string_view AText, size_t AOpen) {
  int depth = 0;
  bool quoted = false;
  for (size_t k = AOpen; k < AText.size(); ++k) {
    const char16_t c = AText[k];
    if (c == u'"') {
      quoted = !quoted;
    } else if (!quoted && c == u'[') {
      ++depth;
    } else if (!quoted && c == u']' && --depth == 0) {
      return k + 1;
    }
  }
  return std::u16string_view::npos;
}

bool IsPlainName(std::u16string_view AName) {
  if (AName.empty()) return false;
  for (char16_t c : AName)
    if (c == u'(' || c == u')' || c == u'=' || c == u'<' || c == u'>' || c == u'!' || c == u'"' || c == u' ' ||
        c == u'\t' || c == u'\r' || c == u'\n' || c == u'[' || c == u']' || c == u'@' || c == u'/')
      return false;
  return true;
}

}  // namespace

std::unique_ptr<TVxDOMPath> TVxDOMPath::Compile(std::u16string_view APath, TVxXPathCollationClass ACollation,
                                                bool ALocalName) {
  TVxXPathNestingGuard guard;
  auto path = std::make_unique<TVxDOMPath>();
  path->Text.assign(APath);
  path->Collation = ACollation;
  path->LocalName = ALocalName;
  if (APath.empty()) throw EVxDomNotFound(VxString(cVxDomEmptyPath));
  if (APath[0] == u'/' && (APath.size() < 2 || APath[1] != u'/')) throw EVxDomSyntax(VxString(cVxDomLeadingSlash));
  size_t pos = 0;
  for (;;) {
    TVxDOMPathStep step;
    if (APath.substr(pos, 2) == u"//") {
      step.Descendant = true;
      pos += 2;
      path->HasDescendant = true;
    }
    const size_t start = pos;
    // The step's text: up to "/" or "[" (quoted text, as in @id="a/b", skipped).
    bool quoted = false;
    while (pos < APath.size()) {
      const char16_t c = APath[pos];
      if (c == u'"') quoted = !quoted;
      if (!quoted && (c == u'/' || c == u'[')) break;
      ++pos;
    }
    const std::u16string_view text = APath.substr(start, pos - start);
    const std::u16string_view rest = APath.substr(start);
    std::vector<std::u16string_view> predicates;
    while (pos < APath.size() && APath[pos] == u'[') {
      const size_t end = ClosingBracket(APath, pos);
      if (end == std::u16string_view::npos) throw Exception(VxFormat(cVxXPathInvalidFilter, APath.substr(pos)));
      predicates.push_back(APath.substr(pos, end - pos));
      pos = end;
    }
    const bool last = pos >= APath.size();
    if (!last && APath[pos] != u'/') throw EVxDomSyntax(VxString(cVxDomPathNotValid));
    // What the step is.
    if (text.substr(0, 2) == u"..") {
      if (step.Descendant) throw EVxDomSyntax(VxFormat(cVxDomSearchWithParent, rest));
      if (text.size() > 2) throw EVxDomSyntax(VxFormat(cVxDomAfterParent, rest));
      step.Kind = TVxDOMPathStep::skParent;
    } else if (text == u".") {
      step.Kind = TVxDOMPathStep::skSelf;
    } else if (!text.empty() && text[0] == u'*') {
      if (text.size() > 1) throw EVxDomSyntax(VxFormat(cVxDomAfterAny, rest));
      step.Kind = TVxDOMPathStep::skAnyElement;
    } else if (text == u"node()") {
      step.Kind = TVxDOMPathStep::skNode;
    } else if (text == u"text()") {
      step.Kind = TVxDOMPathStep::skText;
    } else if (!text.empty() && text[0] == u'@') {
      const std::u16string_view name = text.substr(1);
      if (name.find_first_of(u"=<>!") != std::u16string_view::npos) {
        // "@id=\"7\"": the elements whose attribute passes the test (as *[@id="7"]).
        step.Kind = TVxDOMPathStep::skAnyElement;
        step.Predicates.push_back(TVxXPathEquation::Parse(u"[" + VxXMLString(text) + u"]", ALocalName, ACollation));
      } else if (name == u"*") {
        step.Kind = TVxDOMPathStep::skAnyAttribute;
      } else if (IsPlainName(name)) {
        step.Kind = TVxDOMPathStep::skAttribute;
        step.Name.assign(name);
      } else {
        throw EVxDomSyntax(VxString(cVxDomPathNotValid));
      }
    } else if (IsPlainName(text)) {
      step.Kind = TVxDOMPathStep::skName;
      step.Name.assign(text);
    } else {
      throw EVxDomSyntax(VxString(cVxDomPathNotValid));
    }
    for (std::u16string_view p : predicates) step.Predicates.push_back(TVxXPathEquation::Parse(p, ALocalName, ACollation));
    path->Steps.push_back(std::move(step));
    if (last) break;
    if (APath.substr(pos, 2) != u"//") ++pos;  // past "/"; "//" belongs to the next step
    if (pos >= APath.size()) throw EVxDomSyntax(VxString(cVxDomPathNotValid));  // a trailing "/"
  }
  return path;
}

// ---------------------------------------------------------------------------------------------
// Running a path
// ---------------------------------------------------------------------------------------------

TVxIntf<TVxDOMNodeList> TVxDOMTree::MakeList(TVxDOMDocument* ADocument, const std::vector<TVxDOMNode*>& ANodes) {
  auto* list = new TVxDOMNodeList(ADocument);
  TVxIntf<TVxDOMNodeList> hold(list);
  list->FItems.assign(ANodes.begin(), ANodes.end());
  return hold;
}

size_t TVxDOMPathStep::CandidateLimit() const noexcept {
  if (Predicates.empty()) return SIZE_MAX;
  const int64_t at = Predicates.front()->Position();
  return at < 0 || at == INT64_MAX ? SIZE_MAX : static_cast<size_t>(at) + 1;
}

bool TVxDOMPath::NameMatches(const TVxDOMPathStep& AStep, TVxDOMNode* ANode) const {
  // Nodes of one name share the name object: the answer for it is kept.
  const void* key = &ANode->GetQualifiedName();
  auto& slot = AStep.NameCache[(reinterpret_cast<uintptr_t>(key) >> 4) % AStep.NameCache.size()];
  if (slot.first == key) return slot.second;
  const bool match = Collation->SameText(LocalName ? ANode->GetLocalName() : ANode->GetQualifiedName(), AStep.Name);
  slot = {key, match};
  return match;
}

bool TVxDOMPath::Matches(const TVxDOMPathStep& AStep, TVxDOMNode* ANode) const {
  switch (AStep.Kind) {
    case TVxDOMPathStep::skName: return ANode->NodeType() == ntElement && NameMatches(AStep, ANode);
    case TVxDOMPathStep::skAnyElement: return ANode->NodeType() == ntElement;
    case TVxDOMPathStep::skAttribute: return ANode->NodeType() == ntAttribute && NameMatches(AStep, ANode);
    case TVxDOMPathStep::skAnyAttribute: return ANode->NodeType() == ntAttribute;
    case TVxDOMPathStep::skNode: return ANode->NodeType() != ntAttribute;
    case TVxDOMPathStep::skText: return ANode->NodeType() == ntText || ANode->NodeType() == ntCDATA;
    default: return false;
  }
}

void TVxDOMPath::Candidates(const TVxDOMPathStep& AStep, TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut,
                            size_t ALimit) const {
  switch (AStep.Kind) {
    case TVxDOMPathStep::skParent:
      if (AContext->ParentNode()) AOut.push_back(AContext->ParentNode());
      return;
    case TVxDOMPathStep::skSelf:
      AOut.push_back(AContext);
      if (AStep.Descendant)
        for (TVxDOMNode* n = TVxDOMTree::NextInSubtree(AContext, AContext); n; n = TVxDOMTree::NextInSubtree(n, AContext))
          if (n->NodeType() != ntAttribute) AOut.push_back(n);
      return;
    default: break;
  }
  const bool attributes = AStep.Kind == TVxDOMPathStep::skAttribute || AStep.Kind == TVxDOMPathStep::skAnyAttribute;
  // The attributes of an element: the walk ends after the last of them.
  auto attributesOf = [&](TVxDOMNode* AElement) {
    if (AElement->NodeType() != ntElement) return;
    int left = static_cast<TVxDOMElement*>(AElement)->AttributeCount();
    for (TVxDOMNode* c = AElement->FirstChild(); c && left > 0 && AOut.size() < ALimit; c = c->NextSibling())
      if (c->NodeType() == ntAttribute) {
        --left;
        if (Matches(AStep, c)) AOut.push_back(c);
      }
  };
  if (!AStep.Descendant) {
    if (attributes) {
      attributesOf(AContext);
      return;
    }
    for (TVxDOMNode* c = AContext->FirstChild(); c && AOut.size() < ALimit; c = c->NextSibling())
      if (Matches(AStep, c)) AOut.push_back(c);
    return;
  }
  // Among the descendants, in document order; "//@name" also looks at the context's own
  // attributes (the descendants-or-self' attributes).
  if (attributes) attributesOf(AContext);
  for (TVxDOMNode* n = TVxDOMTree::NextInSubtree(AContext, AContext); n && AOut.size() < ALimit;
       n = TVxDOMTree::NextInSubtree(n, AContext)) {
    if (attributes)
      attributesOf(n);
    else if (Matches(AStep, n))
      AOut.push_back(n);
  }
}

void TVxDOMPath::Run(TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut,
                     std::vector<std::pair<TVxDOMNode*, size_t>>* AMissing) const {
  std::vector<TVxDOMNode*>& contexts = FContexts;
  std::vector<TVxDOMNode*>& next = FNext;
  std::vector<TVxDOMNode*>& candidates = FCandidates;
  contexts.assign(1, AContext);
  std::unordered_set<TVxDOMNode*> seen;
  for (size_t k = 0; k < Steps.size() && !contexts.empty(); ++k) {
    const TVxDOMPathStep& step = Steps[k];
    // Different contexts can lead to one node only through ".." or "//".
    const bool dedupe = contexts.size() > 1 && (step.Descendant || step.Kind == TVxDOMPathStep::skParent);
    const size_t limit = step.CandidateLimit();
    next.clear();
    seen.clear();
    for (TVxDOMNode* context : contexts) {
      candidates.clear();
      Candidates(step, context, candidates, limit);
      for (const auto& predicate : step.Predicates) {
        if (candidates.empty()) break;
        predicate->Filter(candidates);
      }
      if (candidates.empty() && AMissing) AMissing->emplace_back(context, k);
      for (TVxDOMNode* n : candidates)
        if (!dedupe || seen.insert(n).second) next.push_back(n);
    }
    contexts.swap(next);
  }
  AOut.insert(AOut.end(), contexts.begin(), contexts.end());
}

void TVxDOMPath::Select(TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut) const {
  // One step without predicates (a path operand such as "@id" or "name"): its candidates.
  if (Steps.size() == 1 && Steps[0].Predicates.empty()) {
    Candidates(Steps[0], AContext, AOut, SIZE_MAX);
    return;
  }
  Run(AContext, AOut, nullptr);
}

bool TVxDOMPath::SelectCreating(TVxDOMNode* AContext, std::vector<TVxDOMNode*>& AOut,
                                const TVxDOMNodeClass& ANodeClass) const {
  std::vector<std::pair<TVxDOMNode*, size_t>> missing;
  std::vector<TVxDOMNode*> found;
  Run(AContext, found, &missing);
  // Everything that must be created must be creatable, or nothing is.
  for (const auto& [context, from] : missing)
    for (size_t k = from; k < Steps.size(); ++k)
      if (!Steps[k].Creatable()) return false;
  AOut.insert(AOut.end(), found.begin(), found.end());
  const TVxDOMNodeClass& nodeClass = ANodeClass ? ANodeClass : VxDOMNodeClass<TVxDOMElement>();
  for (const auto& [context, from] : missing) {
    TVxDOMNode* parent = context;
    for (size_t k = from; k < Steps.size(); ++k) {
      TVxDOMDocument* doc = parent->NodeType() == ntDocument ? static_cast<TVxDOMDocument*>(parent) : parent->DOMDocument();
      TVxDOMNode* created = nodeClass.Create(doc);
      try {
        created->SetQualifiedName(Steps[k].Name);
        parent->AddChild(created);
      } catch (...) {
        if (!created->ParentNode()) created->Free();
        throw;
      }
      parent = created;
    }
    AOut.push_back(parent);
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// Entry points
// ---------------------------------------------------------------------------------------------

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

// Compiles and runs a path from ANode; with ACreate, nothing when the path is too complex.
void Select(TVxDOMNode* ANode, const VxXMLString& APath, TVxXPathCollationClass ACollation, bool ACreate,
            bool ALocalName, const TVxDOMNodeClass& ANodeClass, std::vector<TVxDOMNode*>& AOut) {
  std::unique_ptr<TVxDOMPath> path = TVxDOMPath::Compile(APath, ACollation, ALocalName);
  if (ACreate && path->HasDescendant) throw EVxDomNotSupported(VxString(cVxDomCreateWithSearch));
  if (ACreate)
    path->SelectCreating(ANode, AOut, ANodeClass);
  else
    path->Select(ANode, AOut);
}

// Selects with the options resolved; with soCreate an empty answer means "too complex".
std::vector<TVxDOMNode*> SelectWith(TVxDOMNode* ANode, const VxXMLString& APath, TVxDOMSelectOptions AOptions,
                                    const TVxDOMNodeClass& ANodeClass) {
  const TResolved r = ResolveOptions(ANode, AOptions);
  std::vector<TVxDOMNode*> nodes;
  Select(ANode, APath, r.Collation, AOptions.Contains(soCreate), r.LocalName, ANodeClass, nodes);
  if (nodes.empty() && AOptions.Contains(soCreate)) throw EVxDomNotSupported(VxFormat(cVxDomTooComplex, APath));
  return nodes;
}

TVxIntf<TVxDOMNodeList> MakeList(TVxDOMDocument* ADocument, const std::vector<TVxDOMNode*>& ANodes) {
  return TVxDOMTree::MakeList(ADocument, ANodes);
}

}  // namespace

void TVxDOMNode::_SelectNodes(TVxDOMNodeListBase& AList, const VxXMLString& APath, TVxXPathCollationClass ACollation,
                              bool ACreate, bool ALocalName, const TVxDOMNodeClass& ANodeClass) {
  std::vector<TVxDOMNode*> nodes;
  Select(this, APath, ACollation, ACreate, ALocalName, ANodeClass, nodes);
  AList.FItems.insert(AList.FItems.end(), nodes.begin(), nodes.end());
}

TVxIntf<TVxDOMNodeList> TVxDOMNode::CreateNodeList(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  const std::vector<TVxDOMNode*> nodes = SelectWith(this, APath, AOptions, VxDOMNodeClass<TVxDOMElement>());
  if (nodes.empty() && AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(cVxDomNoNodesForPath, APath));
  return MakeList(FDocument, nodes);
}

TVxDOMNode* TVxDOMNode::SelectSingleNode(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  const std::vector<TVxDOMNode*> nodes = SelectWith(this, APath, AOptions, VxDOMNodeClass<TVxDOMElement>());
  if (nodes.empty()) {
    if (AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(cVxDomNoNodeForPathRaise, APath));
    return nullptr;
  }
  return nodes.front();
}

TVxDOMElement* TVxDOMElement::SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  for (TVxDOMNode* n : SelectWith(this, APath, AOptions, VxDOMNodeClass<TVxDOMElement>()))
    if (n->NodeType() == ntElement) return static_cast<TVxDOMElement*>(n);
  if (AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(cVxDomNoNodeForPathRaise, APath));
  return nullptr;
}

namespace {
std::vector<TVxDOMNode*> ElementsOf(const std::vector<TVxDOMNode*>& ANodes) {
  std::vector<TVxDOMNode*> elements;
  for (TVxDOMNode* n : ANodes)
    if (n->NodeType() == ntElement) elements.push_back(n);
  return elements;
}
}  // namespace

TVxIntf<TVxDOMNodeList> TVxDOMElement::CreateElementList(TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  std::vector<TVxDOMNode*> elements;
  for (TVxDOMNode* c = FFirst; c; c = c->FNext)
    if (c->NodeType() == ntElement) elements.push_back(c);
  return MakeList(FDocument, elements);
}

TVxIntf<TVxDOMNodeList> TVxDOMElement::CreateElementList(std::u16string_view APath, TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  return MakeList(FDocument,
                  ElementsOf(SelectWith(this, VxXMLString(APath), AOptions, VxDOMNodeClass<TVxDOMElement>())));
}

TVxIntf<TVxDOMNodeList> TVxDOMElement::CreateElementList(std::u16string_view AName, std::u16string_view ANamespaceURI,
                                                         TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  std::vector<TVxDOMNode*> elements;
  TVxXPathCollationClass collation = ResolveOptions(this, AOptions).Collation;
  for (TVxDOMNode* c = FFirst; c; c = c->FNext)
    if (c->NodeType() == ntElement && collation->SameText(c->GetLocalName(), AName) &&
        (ANamespaceURI.empty() || c->GetNamespaceURI() == ANamespaceURI))
      elements.push_back(c);
  return MakeList(FDocument, elements);
}

namespace {
// The node a document's path helpers start from: the root element, or the document itself for
// a "//" search (so that the root element is searched too).
TVxDOMNode* PathBase(TVxDOMDocument* ADocument, const VxXMLString& APath) {
  TVxDOMElement* root = ADocument->DocumentElement();
  if (!root) throw EVxDomNotFound(VxString(cVxDomNoRootForPath));
  if (APath.empty()) throw EVxDomNotFound(VxString(cVxDomEmptyPath));
  if (APath.size() >= 2 && APath[0] == u'/' && APath[1] == u'/') return ADocument;
  return root;
}
}  // namespace

TVxDOMElement* TVxDOMDocument::SelectSingleElement(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  TVxDOMNode* base = PathBase(this, APath);
  for (TVxDOMNode* n : SelectWith(base, APath, AOptions - soRaise, VxDOMNodeClass<TVxDOMElement>()))
    if (n->NodeType() == ntElement) return static_cast<TVxDOMElement*>(n);
  if (AOptions.Contains(soRaise)) throw EVxDomNotFound(VxFormat(cVxDomNoNodeForPath, APath));
  return nullptr;
}

TVxIntf<TVxDOMNodeList> TVxDOMDocument::CreateElementList(const VxXMLString& APath, TVxDOMSelectOptions AOptions) {
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(VxString(cVxDomNoRaiseOrCreate));
  TVxDOMNode* base = PathBase(this, APath);
  return MakeList(this, ElementsOf(SelectWith(base, APath, AOptions, VxDOMNodeClass<TVxDOMElement>())));
}

TVxDOMElement* TVxDOMDocument::getElementById(const VxXMLString& AId) {
  // A quote cannot be written inside the path's string: no element can be named so.
  if (AId.find(u'"') != VxXMLString::npos || !DocumentElement()) return nullptr;
  return SelectSingleElement(VxFormat(u"//@id=\"%s\"", AId), {});
}

}  // namespace vx
