// uVxXMLDOM_Document: the document (root element, settings, encoding and the XML declaration,
// loading through the SAX readers, saving), the loader that builds nodes from events, the JSON
// form of documents and elements, and VxCreateDOM.
#include <algorithm>
#include <cmath>

#include "uVxXMLDOM_Internal.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Construction, root element, top-level nodes
// ---------------------------------------------------------------------------------------------

TVxDOMDocument::TVxDOMDocument()
    : TVxImplements(nullptr),
      FCollation(DefaultXPathCollation),
      FSelectMatchOption(DefaultSelectMatchOption),
      FSelectCheckOption(DefaultSelectCheckOption) {
  FDocument = this;
  FNodeType = ntDocument;
  FName = VxDOMFixedName(fnDocument);
  FStore = new TVxDOMStore;
}

TVxDOMDocument::~TVxDOMDocument() { FStore->ReleaseDocument(); }

void* TVxDOMDocument::operator new(std::size_t ASize) { return TVxDOMStore::Allocate(nullptr, ASize); }

void TVxDOMDocument::operator delete(void* APtr) noexcept { TVxDOMStore::Deallocate(APtr, 0); }

void TVxDOMDocument::BeforeDestruction() {
  TVxDOMNode::BeforeDestruction();
  FLoader.reset();
}

TVxIntf<IVxDOMDocument> VxCreateDOM() {
  auto* doc = new TVxDOMDocument;
  return VxDOMIntf<IVxDOMDocument>(doc);
}

TVxIntf<IVxDOMDocument> VxCreateDOM(const VxXMLString& AXML) {
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM();
  doc->DOMDocument()->LoadXML(AXML);
  return doc;
}

void TVxDOMDocument::Clear() {
  TVxDOMHold keep(this);
  ClearChildren();
  FEncoding = "UTF-8";
  FCodePage = cVxCodePageUTF8;
  FLoadState = lsUninitialized;
}

TVxDOMElement* TVxDOMDocument::DocumentElement() {
  for (TVxDOMNode* n = FFirst; n; n = n->FNext)
    if (n->FNodeType == ntElement) return static_cast<TVxDOMElement*>(n);
  return nullptr;
}

TVxDOMElement* TVxDOMDocument::CreateRootNode(const VxXMLString& AName) {
  if (DocumentElement()) throw EVxDomException(VxString(cVxDomRootExists));
  auto* root = new (this) TVxDOMElement(this);
  root->SetQualifiedName(AName);
  AddChild(root);
  return root;
}

TVxDOMElement* TVxDOMDocument::CreateRootNode(const VxXMLString& ALocalName, const VxXMLString& ANamespaceURI) {
  TVxDOMElement* root = CreateRootNode(ALocalName);
  if (!ANamespaceURI.empty()) root->SetNamespaceURI(ANamespaceURI);
  return root;
}

TVxDOMComment* TVxDOMDocument::AddComment(const VxXMLString& AText) {
  auto* c = new (this) TVxDOMComment(this);
  c->SetNodeValue(AText);
  AddChild(c);
  return c;
}

TVxDOMNode* TVxDOMDocument::AddChild(TVxDOMNode* ANode, TVxDOMNode* ARefNode, TVxDOMPosition APosition) {
  if (!ANode) return nullptr;
  if (ANode->FNodeType == ntElement && ANode->FParent != this && DocumentElement())
    throw EVxDomException(VxString(cVxDomRootExists));
  if (ANode->FNodeType == ntDocumentFragment) throw EVxDomNotSupported(VxString(cVxDomNoFragments));
  if (ANode->FNodeType == ntEntityRef) throw EVxDomNotSupported(VxString(cVxDomNoEntityRefs));
  return TVxDOMNode::AddChild(ANode, ARefNode, APosition);
}

TVxDOMNode* TVxDOMDocument::AppendChild(TVxDOMNode* ANode) { return AddChild(ANode, nullptr, rdpLast); }

TVxDOMNode* TVxDOMDocument::CreateClone() { throw EVxDomNotSupported(VxString(cVxDomCloneDocument)); }

TVxDOMNode* TVxDOMDocument::CloneNode(bool) { throw EVxDomNotSupported(VxString(cVxDomCloneDocument)); }

VxXMLString TVxDOMDocument::GetText() {
  TVxDOMElement* root = DocumentElement();
  return root ? root->GetText() : VxXMLString();
}

bool TVxDOMDocument::GetCaseSensitive() { return FCollation != TVxXPathCollationASCIICI::ClassRef(); }

void TVxDOMDocument::SetCaseSensitive(bool AValue) {
  FCollation = AValue ? TVxXPathCollationCodepoint::ClassRef() : TVxXPathCollationASCIICI::ClassRef();
}

void TVxDOMDocument::SetCollationURI(const VxString& AURI) { SetCollation(VxXPathCollationByURI(AURI)); }

void TVxDOMDocument::SetCollation(TVxXPathCollationClass ACollation) {
  FCollation = ACollation ? ACollation : DefaultXPathCollation;
}

void TVxDOMDocument::SetUseSchemaInstance(bool AValue) {
  FUseSchemaInstance = AValue;
  if (!AValue) return;
  TVxDOMElement* root = DocumentElement();
  if (!root) return;
  if (!root->FindNamespace(cVxXSINamespace)) root->SetAttribute(u"xmlns:xsi", cVxXSINamespace);
  if (!root->FindNamespace(cVxXSDNamespace)) root->SetAttribute(u"xmlns:xsd", cVxXSDNamespace);
}

// ---------------------------------------------------------------------------------------------
// Encoding and processing instructions
// ---------------------------------------------------------------------------------------------

namespace {
// The quoted value after "encoding" in a declaration's data: its start and length, or false.
bool FindEncodingValue(std::u16string_view AData, size_t& AStart, size_t& ALength) {
  const VxXMLString lower = VxLowerCase(AData);
  size_t at = lower.find(u"encoding");
  if (at == VxXMLString::npos) return false;
  at = lower.find(u'=', at + 8);
  if (at == VxXMLString::npos) return false;
  size_t q = lower.find_first_of(u"\"'", at + 1);
  if (q == VxXMLString::npos) return false;
  size_t close = lower.find(lower[q], q + 1);
  if (close == VxXMLString::npos) close = lower.size();
  AStart = q + 1;
  ALength = close - AStart;
  return true;
}
}  // namespace

TVxDOMProcessingInstruction* TVxDOMDocument::FindProcessingInstruction(const VxXMLString& ATarget) {
  for (TVxDOMNode* n = FFirst; n; n = n->FNext)
    if (n->FNodeType == ntProcessingInstruction && n->GetQualifiedName() == ATarget)
      return static_cast<TVxDOMProcessingInstruction*>(n);
  return nullptr;
}

VxXMLString TVxDOMDocument::GetProcessingInstruction(const VxXMLString& ATarget) {
  TVxDOMProcessingInstruction* pi = FindProcessingInstruction(ATarget);
  if (!pi) throw EVxDomNotFound(VxFormat(cVxDomNoProcessingInstruction, ATarget));
  return VxXMLString(pi->Value());
}

void TVxDOMDocument::SetProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) {
  TVxDOMProcessingInstruction* pi = FindProcessingInstruction(ATarget);
  if (!pi) {
    pi = new (this) TVxDOMProcessingInstruction(this);
    pi->SetQualifiedName(ATarget);
    AddChild(pi, nullptr, ATarget == u"xml" ? rdpFirst : rdpLast);
  }
  pi->FValue.Assign(pi, AData);
  if (ATarget == u"xml") ReCalcEncoding();
}

void TVxDOMDocument::SetEncoding(const std::string& AName) {
  std::string name = VxTrimA(AName);
  uint16_t cp = cVxCodePageUTF8;
  if (name.empty()) {
    name = "UTF-8";
  } else {
    cp = VxFindCodePage(name);
    if (cp == 0) throw EVxDomNotSupported(VxFormat(cVxDomEncodingNotSupported, name));
  }
  FEncoding = name;
  FCodePage = cp;
  const VxXMLString wide = VxUTF8ToUTF16(name);
  if (TVxDOMProcessingInstruction* decl = FindProcessingInstruction(u"xml")) {
    VxXMLString data(decl->Value());
    size_t start, length;
    if (FindEncodingValue(data, start, length))
      data.replace(start, length, wide);
    else
      data = VxTrim(data + u" " + VxFormat(u"encoding=\"%s\"", wide));
    decl->FValue.Assign(decl, data);
  } else {
    auto* pi = new (this) TVxDOMProcessingInstruction(this);
    pi->SetQualifiedName(u"xml");
    pi->FValue.Assign(pi, VxFormat(u"version=\"1.0\" encoding=\"%s\"", wide));
    AddChild(pi, nullptr, rdpFirst);
  }
}

void TVxDOMDocument::SetEncoding(const VxXMLString& AName) { SetEncoding(VxUTF16ToUTF8(AName)); }

void TVxDOMDocument::SetCodePage(uint16_t ACodePage) {
  const VxString name = VxCodePageName(ACodePage);
  if (name.empty()) throw EVxDomNotSupported(VxFormat(cVxDomEncodingNotSupported, VxIntToStr(ACodePage)));
  SetEncoding(name);
}

void TVxDOMDocument::ReCalcEncoding() {
  FEncoding = "UTF-8";
  FCodePage = cVxCodePageUTF8;
  TVxDOMProcessingInstruction* decl = FindProcessingInstruction(u"xml");
  size_t start, length;
  if (!decl || !FindEncodingValue(decl->Value(), start, length)) return;
  FEncoding = VxUTF16ToUTF8(decl->Value().substr(start, length));
  // A name the code-page table does not know keeps UTF-8 for writing.
  if (uint16_t cp = VxFindCodePage(FEncoding)) FCodePage = cp;
}

// ---------------------------------------------------------------------------------------------
// Loading
// ---------------------------------------------------------------------------------------------

namespace {
// A locator that keeps the position of a failure after the reader has let go of its cursor.
class TLocatorSnapshot : public TVxImplements<TVxObject, IVxSAXLocator> {
 public:
  explicit TLocatorSnapshot(IVxSAXLocator* ALocator)
      : FLine(ALocator->GetLineNr()), FCol(ALocator->GetColNr()), FPublicID(ALocator->GetPublicID()),
        FPosition(ALocator->GetPosition()) {}
  int64_t GetLineNr() override { return FLine; }
  int64_t GetColNr() override { return FCol; }
  VxXMLString GetPublicID() override { return FPublicID; }
  int64_t GetPosition() override { return FPosition; }

 private:
  int64_t FLine, FCol;
  VxXMLString FPublicID;
  int64_t FPosition;
};

// How far the XML declaration is looked for.
constexpr size_t cDetectBytes = 4096;

// UTF-16 without a byte-order mark, recognised by the zero bytes beside the first "<" and the
// blanks before it: 1201 for big-endian, 1200 for little-endian, else 0. No UTF-8 document can
// start that way (the reader takes a NUL for the end of the input).
uint16_t UTF16ByZeroBytes(const std::string& AHead) {
  if (AHead.empty()) return 0;
  const bool bigEndian = AHead[0] == 0;
  for (size_t k = 0; k + 1 < AHead.size(); k += 2) {
    const char zero = AHead[bigEndian ? k : k + 1], ch = AHead[bigEndian ? k + 1 : k];
    if (zero != 0) return 0;
    if (ch == '<') return bigEndian ? cVxCodePageUTF16BE : cVxCodePageUTF16;
    if (ch != ' ' && ch != '\t' && ch != '\r' && ch != '\n') return 0;
  }
  return 0;
}

// The code page of a stream by its byte-order mark, else by UTF-16's zero bytes, else by the
// encoding its XML declaration names (read from the head, up to the first ">"), else UTF-8.
// AFromBytes tells whether the bytes themselves showed it (mark or zero bytes). The stream is
// left where the content starts (after a byte-order mark).
uint16_t DetectCodePage(TVxStream& AStream, bool& AFromBytes) {
  AFromBytes = false;
  if (uint16_t bom = VxGetCodePage(AStream)) {
    AFromBytes = true;
    return bom;
  }
  const int64_t start = AStream.Position();
  std::string head;
  char buf[256];
  while (head.size() < cDetectBytes && head.find('>') == std::string::npos) {
    const int64_t n = AStream.Read(buf, static_cast<int64_t>(std::min(sizeof buf, cDetectBytes - head.size())));
    if (n <= 0) break;
    head.append(buf, static_cast<size_t>(n));
  }
  AStream.Seek(start, soBeginning);
  if (uint16_t utf16 = UTF16ByZeroBytes(head)) {
    AFromBytes = true;
    return utf16;
  }
  const size_t gt = head.find('>');
  if (gt != std::string::npos) head.resize(gt);
  const VxXMLString text = VxUTF8ToUTF16(head);
  if (text.find(u"<?xml") == VxXMLString::npos) return cVxCodePageUTF8;
  size_t at, length;
  if (!FindEncodingValue(text, at, length)) return cVxCodePageUTF8;
  const std::string name = VxUTF16ToUTF8(text.substr(at, length));
  const uint16_t cp = VxFindCodePage(name);
  if (cp == 0) throw EVxDomNotSupported(VxFormat(cVxDomEncodingNotSupported, name));
  return cp;
}
}  // namespace

void TVxDOMDocument::RunLoad(const std::function<void(TVxSAXReader&)>& AParse, bool AJSON) {
  TVxDOMHold keep(this);
  // The old tree's space is kept for the new one; what the new one leaves unused is released.
  struct TKeepSpace {
    TVxDOMStore* Store;
    explicit TKeepSpace(TVxDOMStore* AStore) : Store(AStore) { Store->SetKeepSpace(true); }
    ~TKeepSpace() {
      Store->SetKeepSpace(false);
      Store->ReleaseSpare();
    }
  } keepSpace(FStore);
  Clear();
  std::unique_ptr<TVxSAXReader> reader;
  if (AJSON)
    reader = std::make_unique<TVxSAXJSONReader>();
  else
    reader = std::make_unique<TVxSAXXMLReader>();
  // The document is the reader's handler; the reader's references to it end with the reader.
  reader->SetContentHandler(TVxIntf<IVxSAXContentHandler>(this));
  reader->SetLexicalHandler(TVxIntf<IVxSAXLexicalHandler>(this));
  reader->SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(this));
  FLoadState = lsLoading;
  FLoader = std::make_unique<TVxDOMLoader>(this);
  FFatalSnapshot = nullptr;
  FInRunLoad = true;
  try {
    AParse(*reader);
  } catch (const std::exception& e) {
    FInRunLoad = false;
    FLoader.reset();
    // What was read so far stays; the document is usable and says it is not complete.
    FLoadState = lsInteractive;
    reader.reset();
    if (FFatalSnapshot) {
      const auto* x = dynamic_cast<const EVxException*>(&e);
      TVxIntf<IVxSAXLocator> locator = std::move(FFatalSnapshot);
      DoDOMParseFatalError(locator.Get(), FFatalMessage, x ? x->ErrorCode() : 0);
    }
    throw;
  }
  FInRunLoad = false;
}

void TVxDOMDocument::LoadFromStream(TVxStream& AStream) { LoadFromStream(AStream, 0); }

void TVxDOMDocument::LoadFromStream(TVxStream& AStream, uint16_t ACodePage) {
  // The encoding is detected from the start of the stream; a stream that cannot go back (a
  // pipe) is read through a replay of those bytes.
  std::unique_ptr<TVxReplayStream> replay;
  if (!ACodePage) VxPeekStream(AStream, cDetectBytes + 4, replay);
  TVxStream& source = replay ? static_cast<TVxStream&>(*replay) : AStream;
  bool fromBytes = false;
  const uint16_t cp = ACodePage ? ACodePage : DetectCodePage(source, fromBytes);
  RunLoad([&](TVxSAXReader& R) { R.ParseStream(source, cp, FDocumentURI); }, false);
  // Without a declaration, a document keeps the code page its bytes showed, and saves in it.
  if (fromBytes && !FindProcessingInstruction(u"xml")) FCodePage = cp, FEncoding = VxUTF16ToUTF8(VxCodePageName(cp));
}

void TVxDOMDocument::LoadFromFile(const VxString& AFileName) {
  TVxFileStream file(AFileName, fmOpenRead | fmShareDenyWrite);
  if (FDocumentURI.empty()) FDocumentURI = AFileName;
  LoadFromStream(file);
}

void TVxDOMDocument::LoadXML(const VxXMLString& AText) {
  RunLoad([&](TVxSAXReader& R) { R.Parse(AText, FDocumentURI); }, false);
}

void TVxDOMDocument::LoadXML(std::string_view AText, uint16_t ACodePage) { LoadXML(AText.data(), static_cast<int64_t>(AText.size()), ACodePage); }

void TVxDOMDocument::LoadXML(const void* ABuffer, int64_t ASize, uint16_t ACodePage) {
  TVxMemoryStream stream(ABuffer, ASize);
  LoadFromStream(stream, ACodePage);
}

void TVxDOMDocument::LoadFromJSON(const VxJSONString& AText) {
  RunLoad([&](TVxSAXReader& R) { R.Parse(AText, FDocumentURI); }, true);
}

void TVxDOMDocument::LoadFromJSON(TVxStream& AStream, uint16_t ACodePage) {
  uint16_t cp = ACodePage;
  std::unique_ptr<TVxReplayStream> replay;
  TVxStream& source = cp ? AStream : VxGetCodePage(AStream, cp, replay);
  RunLoad([&](TVxSAXReader& R) { R.ParseStream(source, cp, FDocumentURI); }, true);
}

// The handler operations: a load through any reader builds the document.

void TVxDOMDocument::SetDocumentLocator(IVxSAXLocator*) {}

void TVxDOMDocument::StartDocument() {
  if (!FLoader) {
    // Used as the handler of a reader the application runs itself.
    Clear();
    FLoader = std::make_unique<TVxDOMLoader>(this);
  }
  FLoadState = lsLoading;
}

void TVxDOMDocument::EndDocument() {
  FLoader.reset();
  ReCalcEncoding();
  FLoadState = lsComplete;
  DoXMLLoaded();
}

void TVxDOMDocument::StartElement(const VxXMLString&, const VxXMLString&, const VxXMLString& AQName,
                                  IVxSAXAttributes* AAttributes) {
  if (FLoader) FLoader->StartElement(AQName, AAttributes);
}
void TVxDOMDocument::EndElement(const VxXMLString&, const VxXMLString&, const VxXMLString&) {
  if (FLoader) FLoader->EndElement();
}
void TVxDOMDocument::Characters(const VxXMLString& AText) {
  if (FLoader) FLoader->Characters(AText);
}
void TVxDOMDocument::IgnorableWhitespace(const VxXMLString& AText) {
  if (FLoader) FLoader->IgnorableWhitespace(AText);
}
void TVxDOMDocument::ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) {
  if (FLoader) FLoader->ProcessingInstruction(ATarget, AData);
}
void TVxDOMDocument::Comment(const VxXMLString& AText) {
  if (FLoader) FLoader->Comment(AText);
}
void TVxDOMDocument::StartCDATA() {
  if (FLoader) FLoader->StartCDATA();
}
void TVxDOMDocument::EndCDATA() {
  if (FLoader) FLoader->EndCDATA();
}
void TVxDOMDocument::StartPrefixMapping(const VxXMLString&, const VxXMLString&) {}
void TVxDOMDocument::EndPrefixMapping(const VxXMLString&) {}
void TVxDOMDocument::SkippedEntity(const VxXMLString&) {}
void TVxDOMDocument::StartDTD() {}
void TVxDOMDocument::EndDTD() {}
void TVxDOMDocument::StartEntity(const VxXMLString&) {}
void TVxDOMDocument::EndEntity(const VxXMLString&) {}

void TVxDOMDocument::Warning(IVxSAXLocator* ALocator, const VxXMLString& AMessage) {
  DoDOMParseWarning(ALocator, AMessage, 0);
}
void TVxDOMDocument::Error(IVxSAXLocator* ALocator, const VxXMLString& AMessage) {
  DoDOMParseError(ALocator, AMessage, 0);
}
void TVxDOMDocument::FatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage) {
  if (FInRunLoad) {
    // Told to the handler with the failure's error code once the exception is known.
    FFatalSnapshot = VxMake<TLocatorSnapshot>(ALocator);
    FFatalMessage = AMessage;
    return;
  }
  DoDOMParseFatalError(ALocator, AMessage, 0);
}

// ---------------------------------------------------------------------------------------------
// The loader
// ---------------------------------------------------------------------------------------------

TVxDOMLoader::TVxDOMLoader(TVxDOMDocument* ADocument) : FDocument(ADocument) {}

TVxDOMNode* TVxDOMLoader::Parent() noexcept {
  return FCurrent ? static_cast<TVxDOMNode*>(FCurrent) : static_cast<TVxDOMNode*>(FDocument);
}

void TVxDOMLoader::StartElement(const VxXMLString& AQName, IVxSAXAttributes* AAttributes) {
  // Nodes are linked straight in: no checks, and namespaces need nothing (they are resolved
  // when asked).
  auto* e = new (FDocument) TVxDOMElement(FDocument);
  e->FName = FDocument->InternQName(AQName);
  TVxDOMTree::AppendLoaded(Parent(), e);
  bool ownSpace = false;
  const int count = AAttributes->Count();
  for (int k = 0; k < count; ++k) {
    auto* a = new (FDocument) TVxDOMAttribute(FDocument);
    a->FName = FDocument->InternQName(AAttributes->GetQName(k));
    const VxXMLString& value = AAttributes->GetValue(k);
    if (VxDOMNeedsSafeEscape(value, true))
      a->FValue.Assign(a, VxDOMSafeEscaped(value, true));
    else
      a->FValue.Assign(a, value);
    TVxDOMTree::AppendLoaded(e, a);
    if (a->IsNamespace()) e->FHasDeclarations = true;
    if (VxSameText(a->GetQualifiedName(), u"xml:space")) {
      ownSpace = true;
      e->FPreserveSpace = VxSameText(VxTrim(a->GetNodeValue()), u"preserve");
    }
  }
  if (!ownSpace) e->FPreserveSpace = FCurrent ? FCurrent->FPreserveSpace : DefaultPreserveCase;
  FCurrent = e;
}

void TVxDOMLoader::EndElement() {
  if (FCurrent) FCurrent = FCurrent->ParentElement();
}

void TVxDOMLoader::Characters(const VxXMLString& AText) {
  TVxDOMCharacterData* node;
  if (FInCDATA) {
    node = new (FDocument) TVxDOMCDATA(FDocument);
    node->FValue.Assign(node, AText);
  } else {
    node = new (FDocument) TVxDOMText(FDocument);
    if (VxDOMNeedsSafeEscape(AText, false))
      node->FValue.Assign(node, VxDOMSafeEscaped(AText, false));
    else
      node->FValue.Assign(node, AText);
  }
  TVxDOMTree::AppendLoaded(Parent(), node);
}

void TVxDOMLoader::IgnorableWhitespace(const VxXMLString& AText) {
  // Blank text is kept only where space is preserved.
  if (!FCurrent || !FCurrent->FPreserveSpace) return;
  auto* node = new (FDocument) TVxDOMText(FDocument);
  node->FValue.Assign(node, AText);
  TVxDOMTree::AppendLoaded(FCurrent, node);
}

void TVxDOMLoader::ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) {
  auto* pi = new (FDocument) TVxDOMProcessingInstruction(FDocument);
  pi->FName = FDocument->InternQName(ATarget);
  pi->FValue.Assign(pi, AData);
  TVxDOMTree::AppendLoaded(Parent(), pi);
}

void TVxDOMLoader::Comment(const VxXMLString& AText) {
  auto* c = new (FDocument) TVxDOMComment(FDocument);
  c->FValue.Assign(c, AText);
  TVxDOMTree::AppendLoaded(Parent(), c);
}

// ---------------------------------------------------------------------------------------------
// Saving
// ---------------------------------------------------------------------------------------------

void TVxDOMDocument::SaveToStream(TVxStream& AStream, uint16_t ACodePage, bool AWriteBOM, bool AFormat) {
  if (AWriteBOM) {
    if (ACodePage == cVxCodePageUTF16) AStream.WriteBuffer("\xFF\xFE", 2);
    if (ACodePage == cVxCodePageUTF8 || ACodePage == 63801) AStream.WriteBuffer("\xEF\xBB\xBF", 3);
  }
  TVxDOMWriter writer(AStream, ACodePage);
  int level = -1;
  for (TVxDOMNode* n = FFirst; n; n = n->FNext) n->_SaveToStream(writer, AFormat, level);
  writer.Flush();
}

void TVxDOMDocument::SaveToStream(TVxStream& AStream, bool AWriteBOM, bool AFormat) {
  SaveToStream(AStream, FCodePage, AWriteBOM, AFormat);
}

void TVxDOMDocument::SaveToFile(const VxString& AFileName, bool AWriteBOM, bool AFormat) {
  TVxFileStream file(AFileName, fmCreate);
  SaveToStream(file, AWriteBOM, AFormat);
}

VxXMLString TVxDOMDocument::GetAsJSON() {
  TVxStringStream out(cVxCodePageUTF16);
  {
    TVxDOMWriter writer(out, cVxCodePageUTF16);
    TVxDOMJSONWriter json(writer);
    VxDOMWriteDocumentJSON(this, json, false);
  }
  return out.DataString();
}

VxXMLString TVxDOMDocument::GetAsFormattedJSON() {
  TVxStringStream out(cVxCodePageUTF16);
  {
    TVxDOMWriter writer(out, cVxCodePageUTF16);
    TVxDOMJSONWriter json(writer);
    VxDOMWriteDocumentJSON(this, json, true);
  }
  return out.DataString();
}

void TVxDOMDocument::SaveToJSONStream(TVxStream& AStream, bool AFormat) {
  TVxDOMWriter writer(AStream, cVxCodePageUTF8);
  TVxDOMJSONWriter json(writer);
  VxDOMWriteDocumentJSON(this, json, AFormat);
  writer.Flush();
}


// ---------------------------------------------------------------------------------------------
// The JSON form
// ---------------------------------------------------------------------------------------------

namespace {

bool IsBlank(std::u16string_view AText) {
  return std::all_of(AText.begin(), AText.end(), [](char16_t C) { return C <= 32; });
}

// The member name of a qualified name: ":" becomes ".".
VxXMLString MemberName(std::u16string_view AQName) {
  VxXMLString name(AQName);
  std::replace(name.begin(), name.end(), u':', u'.');
  return name;
}

// True for the text of a JSON number.
bool IsJSONNumber(std::u16string_view S) {
  size_t k = 0;
  if (k < S.size() && S[k] == u'-') ++k;
  if (k >= S.size()) return false;
  if (S[k] == u'0') {
    ++k;
  } else if (S[k] >= u'1' && S[k] <= u'9') {
    while (k < S.size() && S[k] >= u'0' && S[k] <= u'9') ++k;
  } else {
    return false;
  }
  if (k < S.size() && S[k] == u'.') {
    const size_t digits = ++k;
    while (k < S.size() && S[k] >= u'0' && S[k] <= u'9') ++k;
    if (k == digits) return false;
  }
  if (k < S.size() && (S[k] == u'e' || S[k] == u'E')) {
    ++k;
    if (k < S.size() && (S[k] == u'+' || S[k] == u'-')) ++k;
    const size_t digits = k;
    while (k < S.size() && S[k] >= u'0' && S[k] <= u'9') ++k;
    if (k == digits) return false;
  }
  return k == S.size();
}

// What an attribute is in the JSON form: typing (dropped), a declaration of the typing
// namespaces (dropped), or a member.
enum TAttrRole { arMember, arTyping, arSchemaDeclaration };

TAttrRole RoleOf(TVxDOMAttribute* A) {
  if (A->IsNamespace()) {
    const VxXMLString uri = A->GetNodeValue();
    return uri == cVxXSINamespace || uri == cVxXSDNamespace ? arSchemaDeclaration : arMember;
  }
  const VxXMLString uri = A->GetNamespaceURI();
  if (uri == cVxXSINamespace) return arTyping;
  if (uri == cVxXSDNamespace && A->GetLocalName() == u"type") return arTyping;
  return arMember;
}

// One member or item of a JSON object or array.
struct TItem {
  VxXMLString Name;                      // member name (objects only)
  TVxDOMElement* Element = nullptr;      // a value given by an element
  std::vector<TVxDOMElement*> Elements;  // an array of element values
  bool IsArray = false;
  VxXMLString Run;                       // the qualified name of a run of elements
  VxXMLString Scalar;                    // a value written as it is (JSON text)
};

// How an element is written: a scalar (JSON text), an object (members) or an array (items).
struct TShape {
  enum { skScalar, skObject, skArray } Kind = skScalar;
  VxXMLString Scalar;
  std::vector<TItem> Items;
};

// Array wrappers: "nameArray" holding only elements named "name" (as the JSON-to-SAX reader
// writes a member's array), or the document root "array".
bool IsArrayWrapper(TVxDOMElement* E, bool ARoot) {
  const VxXMLString& q = E->GetQualifiedName();
  VxXMLString base;
  if (ARoot && q == u"array") {
    base.clear();
  } else {
    if (q.size() <= 5 || q.compare(q.size() - 5, 5, u"Array") != 0) return false;
    base = q.substr(0, q.size() - 5);
  }
  for (TVxDOMNode* c = E->FirstChild(); c; c = c->NextSibling()) {
    switch (c->NodeType()) {
      case ntElement:
        // Items are named after the member; nested arrays add "Array" to that name.
        if (!ARoot && c->GetQualifiedName() != base && c->GetQualifiedName() != base + u"Array") return false;
        break;
      case ntAttribute:
        if (RoleOf(static_cast<TVxDOMAttribute*>(c)) == arMember) return false;
        break;
      case ntText:
      case ntCDATA:
        if (!IsBlank(c->GetText())) return false;
        break;
      default: break;
    }
  }
  return true;
}

VxXMLString ScalarOf(TVxDOMElement* E, TVxDOMJSONWriter& AWriter) {
  (void)AWriter;
  TVxVariant value;
  const VxXMLString text = E->GetText();
  try {
    value = E->GetAsVariant();
  } catch (const Exception&) {
    value = TVxVariant(text);  // a value that does not fit its type stays text
  }
  auto quote = [](const VxXMLString& S) {
    TVxStringStream out(cVxCodePageUTF16);
    {
      TVxDOMWriter w(out, cVxCodePageUTF16);
      TVxDOMJSONWriter j(w);
      j.String(S);
    }
    return out.DataString();
  };
  switch (TVxTypes::VarMainTypeKind(value)) {
    case 0: return value.IsNull() ? u"null" : quote(text);
    case 1:
    case 2: {
      const VxXMLString trimmed = VxTrim(text);
      if (IsJSONNumber(trimmed)) return trimmed;  // the number as written
      const double d = VxVarToDouble(value);
      if (std::isfinite(d)) return VxDoubleToXML(d);
      return quote(text);
    }
    case 4: return VxVarToBool(value) ? u"true" : u"false";
    default: return quote(TVxTypes::VarMainTypeKind(value) == 3 ? VxVarToStr(value) : text);
  }
}

TShape ShapeOf(TVxDOMElement* E, TVxDOMJSONWriter& AWriter, bool ARoot) {
  TShape shape;
  if (IsArrayWrapper(E, ARoot)) {
    shape.Kind = TShape::skArray;
    for (TVxDOMNode* c = E->FirstChild(); c; c = c->NextSibling())
      if (c->NodeType() == ntElement) {
        TItem item;
        item.Element = static_cast<TVxDOMElement*>(c);
        shape.Items.push_back(std::move(item));
      }
    return shape;
  }
  // Members: attributes ("_" + name), child elements (runs of one name as arrays), text.
  std::vector<TItem> members;
  VxXMLString text;
  bool typed = false;
  for (TVxDOMNode* c = E->FirstChild(); c; c = c->NextSibling()) {
    switch (c->NodeType()) {
      case ntAttribute: {
        auto* a = static_cast<TVxDOMAttribute*>(c);
        const TAttrRole role = RoleOf(a);
        if (role == arTyping) typed = true;
        if (role != arMember) break;
        TItem item;
        item.Name = u"_" + MemberName(a->GetQualifiedName());
        item.Scalar = u"\x01" + a->GetNodeValue();  // marked: a string to quote
        members.push_back(std::move(item));
        break;
      }
      case ntElement: {
        auto* child = static_cast<TVxDOMElement*>(c);
        const VxXMLString& q = child->GetQualifiedName();
        if (!members.empty() && members.back().Run == q) {
          // A run of elements of one name is one member holding an array.
          TItem& m = members.back();
          if (m.Element) {
            m.IsArray = true;
            m.Elements.push_back(m.Element);
            m.Element = nullptr;
          }
          m.Elements.push_back(child);
          break;
        }
        TItem item;
        if (IsArrayWrapper(child, false)) {
          item.Name = MemberName(q.substr(0, q.size() - 5));
          item.IsArray = true;
          for (TVxDOMNode* g = child->FirstChild(); g; g = g->NextSibling())
            if (g->NodeType() == ntElement) item.Elements.push_back(static_cast<TVxDOMElement*>(g));
          item.Element = nullptr;
          // An empty array stays an array: mark it with the wrapper.
          if (item.Elements.empty()) item.Scalar = u"[]";
        } else {
          item.Name = MemberName(q);
          item.Element = child;
          item.Run = q;
        }
        members.push_back(std::move(item));
        break;
      }
      case ntText:
      case ntCDATA: text += c->GetText(); break;
      default: break;
    }
  }
  const bool hasElements = E->HasChildElements();
  if (members.empty() && !hasElements) {
    if (!typed && text.empty() && E->AttributeCount() == 0) {
      shape.Scalar = u"{}";  // nothing in it: an empty object (as JSON's {} is read)
      return shape;
    }
    shape.Scalar = ScalarOf(E, AWriter);
    return shape;
  }
  if (!IsBlank(text)) {
    TItem item;
    item.Name = u"#text";
    item.Scalar = u"\x01" + text;
    members.push_back(std::move(item));
  }
  shape.Kind = TShape::skObject;
  shape.Items = std::move(members);
  return shape;
}

void NewLine(TVxDOMJSONWriter& AWriter, bool AFormat, int ALevel) {
  if (!AFormat) return;
  AWriter.Out().Write(u"\r\n");
  for (int k = 0; k < ALevel; ++k) AWriter.Out().Write(u"  ");
}

// Writes an element's value without recursion: frames for the open objects and arrays.
void WriteValue(TVxDOMElement* AElement, TVxDOMJSONWriter& AWriter, bool AFormat, int ALevel, bool ARoot) {
  struct TFrame {
    TShape Shape;
    size_t Next = 0;
    bool Array;
  };
  std::vector<TFrame> frames;
  auto writeScalar = [&](const VxXMLString& S) {
    if (!S.empty() && S[0] == u'\x01')
      AWriter.String(std::u16string_view(S).substr(1));
    else
      AWriter.Out().Write(S);
  };
  auto open = [&](TShape AShape) {
    if (AShape.Kind == TShape::skScalar) {
      writeScalar(AShape.Scalar);
      return;
    }
    const bool array = AShape.Kind == TShape::skArray;
    AWriter.Out().Write(array ? u'[' : u'{');
    frames.push_back({std::move(AShape), 0, array});
  };
  auto openItemArray = [&](const std::vector<TVxDOMElement*>& AElements) {
    TShape s;
    s.Kind = TShape::skArray;
    for (TVxDOMElement* e : AElements) {
      TItem item;
      item.Element = e;
      s.Items.push_back(std::move(item));
    }
    open(std::move(s));
  };
  open(ShapeOf(AElement, AWriter, ARoot));
  while (!frames.empty()) {
    TFrame& f = frames.back();
    const int level = ALevel + static_cast<int>(frames.size());
    if (f.Next == f.Shape.Items.size()) {
      const bool array = f.Array;
      const bool empty = f.Shape.Items.empty();
      frames.pop_back();
      if (!empty) NewLine(AWriter, AFormat, level - 1);
      AWriter.Out().Write(array ? u']' : u'}');
      continue;
    }
    TItem item = std::move(f.Shape.Items[f.Next]);
    if (f.Next++ > 0) AWriter.Out().Write(u',');
    NewLine(AWriter, AFormat, level);
    if (!f.Array) {
      AWriter.String(item.Name);
      AWriter.Out().Write(AFormat ? u": " : u":");
    }
    if (item.Element)
      open(ShapeOf(item.Element, AWriter, false));
    else if (item.IsArray && !item.Elements.empty())
      openItemArray(item.Elements);
    else
      writeScalar(item.Scalar);
  }
}

}  // namespace

void VxDOMWriteElementJSON(TVxDOMElement* AElement, TVxDOMJSONWriter& AWriter, bool AFormat, int ALevel) {
  WriteValue(AElement, AWriter, AFormat, ALevel, false);
}

void VxDOMWriteDocumentJSON(TVxDOMDocument* ADocument, TVxDOMJSONWriter& AWriter, bool AFormat) {
  TVxDOMElement* root = ADocument->DocumentElement();
  if (!root) {
    AWriter.Out().Write(u"null");
    return;
  }
  // The roots the JSON-to-SAX reader makes ("object", "array") are the JSON value itself; any
  // other root becomes the one member of an object.
  const VxXMLString& q = root->GetQualifiedName();
  if (q == u"object" || q == u"array") {
    WriteValue(root, AWriter, AFormat, 0, true);
    return;
  }
  AWriter.Out().Write(u'{');
  NewLine(AWriter, AFormat, 1);
  AWriter.String(MemberName(q));
  AWriter.Out().Write(AFormat ? u": " : u":");
  WriteValue(root, AWriter, AFormat, 1, false);
  NewLine(AWriter, AFormat, 0);
  AWriter.Out().Write(u'}');
}

}  // namespace vx
