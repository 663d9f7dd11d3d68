// uVxJSON_Reader: the JSON reader and its events, the tree builder, loading a node, the parser
// component and the form-url-encoded reader.
#include <cstring>
#include <map>
#include <unordered_map>

#include "uVxJSON.h"
#include "uVxJSONWalk.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// The reader
// ---------------------------------------------------------------------------------------------

TVxJSONReader::~TVxJSONReader() = default;

int64_t TVxJSONReader::GetLineNr() {
  if (FEOFFailure) return FFailLine;
  return FParser ? FParser->GetLineNr() : -1;
}

int64_t TVxJSONReader::GetColNr() {
  if (FEOFFailure) return FFailCol;
  return FParser ? FParser->GetColNr() : -1;
}

void TVxJSONReader::CheckHandlers() {
  if (!FContentHandler) throw EVxJSONException(VxString(cVxJSONNoContentHandler));
  if (!FErrorHandler) throw EVxJSONException(VxString(cVxJSONNoErrorHandler));
}

void TVxJSONReader::RunParse(TVxStream& AStream, uint16_t ACodePage, bool ADetect, const VxString& ASystemID) {
  // A handler that starts a parse on the reader that called it would pull the cursor away
  // from the outer parse: refused.
  if (FParser) throw EVxJSONException(VxString(u"The JSON reader is already parsing!"));
  FSystemID = ASystemID;
  FEOFFailure = false;
  FFailLine = FFailCol = -1;
  uint16_t cp = ACodePage;
  if (ADetect)
    if (uint16_t bom = VxGetCodePage(AStream)) cp = bom;
  FParser = std::make_unique<TVxJSONTextParser>(&AStream, false, cp, true);
  struct TDropCursor {
    std::unique_ptr<TVxJSONTextParser>& Cursor;
    ~TDropCursor() { Cursor.reset(); }
  } drop{FParser};
  InternalParse();
}

void TVxJSONReader::ParseFile(const VxString& AFileName, uint16_t ACodePage, const VxString& ASystemID) {
  TVxFileStream file(std::filesystem::path(VxUTF16ToUTF8(AFileName)), fmOpenRead | fmShareDenyWrite);
  RunParse(file, ACodePage, ACodePage == 0, ASystemID);
}

void TVxJSONReader::ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxString& ASystemID) {
  TVxMemoryStream stream(ABuffer, ASize);
  RunParse(stream, ACodePage, false, ASystemID);
}

void TVxJSONReader::ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxString& ASystemID) {
  RunParse(AStream, ACodePage, false, ASystemID);
}

void TVxJSONReader::Parse(std::u16string_view AText, const VxString& ASystemID) {
  TVxStringStream stream(AText);
  RunParse(stream, cVxCodePageUTF16, false, ASystemID);
}

void TVxJSONReader::Parse(std::string_view AText, uint16_t ACodePage, const VxString& ASystemID) {
  TVxStringStream stream(AText, ACodePage);
  RunParse(stream, ACodePage, false, ASystemID);
}

void TVxJSONReader::InternalParse() {
  CheckHandlers();
  TVxJSONTextParser* p = FParser.get();
  try {
    p->SkipWhile(skWhileAtOrBelow, u' ');
    FContentHandler->SetDocumentLocator(this);
    FContentHandler->StartDocument();
    // Top-level values one after another; white space after an object or array is read as
    // the start of the next value (and refused) unless the option allows it.
    while (!p->Eof()) {
      const uint32_t c = p->CurrUnit();
      if (c == u'[' || c == u'{') {
        ParseContainer();
        if (FAllowTrailingWhiteSpace) p->SkipWhile(skWhileAtOrBelow, u' ');
      } else {
        ParseSimpleValue();
        p->SkipWhile(skWhileAtOrBelow, u' ');
        if (!p->Eof()) p->NotWellFormed(u"");
      }
    }
    FContentHandler->EndDocument();
  } catch (const std::exception& e) {
    FEOFFailure = dynamic_cast<const EVxTextParserEOF*>(&e) != nullptr;
    if (FEOFFailure) p->GetLineMarkPos(FFailLine, FFailCol);
    const auto* x = dynamic_cast<const Exception*>(&e);
    FErrorHandler->FatalError(this, x ? x->Message() : VxUTF8ToUTF16(e.what()));
    throw;
  }
}

void TVxJSONReader::ParseContainer() {
  // The shared container walk, reporting each step to the content handler.
  struct TSink {
    struct TFrame {
      bool IsObject;
    };
    TVxJSONReader& R;
    TVxJSONTextParser* p;
    void Step() {}
    void MemberName() {
      p->SetLineMark();
      p->ReadString(R.FText);
      R.FContentHandler->StartMember(R.FText);
      p->NextChar();
    }
    void EndMember() { R.FContentHandler->EndMember(); }
    TFrame Open(uint32_t AChar, const TFrame&) { return OpenRoot(AChar); }
    TFrame OpenRoot(uint32_t AChar) {
      p->SetLineMark();
      p->CheckCurrChar(static_cast<char16_t>(AChar), true);
      if (AChar == u'{') {
        R.FContentHandler->StartObject();
        return {true};
      }
      R.FContentHandler->StartArray();
      return {false};
    }
    void Scalar(const TFrame&) { R.ParseSimpleValue(); }
    bool Close(const TFrame& AFrame, bool) {
      if (AFrame.IsObject)
        R.FContentHandler->EndObject();
      else
        R.FContentHandler->EndArray();
      return true;
    }
  } sink{*this, FParser.get()};
  VxWalkJSONContainers(FParser.get(), sink, sink.OpenRoot(FParser->CurrUnit()));
}

void TVxJSONReader::ParseSimpleValue() {
  static constexpr TVxAnsiCharSet numberChars = TVxAnsiCharSet::Range('0', '9') + TVxAnsiCharSet{'.', '-', '+', 'e', 'E'};
  static constexpr TVxAnsiCharSet numberEnd{']', '}', ','};
  TVxJSONTextParser* p = FParser.get();
  p->SetLineMark();
  const uint32_t c = p->Eof() ? 0 : p->CurrUnit();
  auto literal = [&](const char16_t* AWord, TVxJSONDataType AType) {
    for (const char16_t* w = AWord; *w; ++w) {
      p->CheckCurrChar(*w, true);
      p->NextChar();
    }
    FText.assign(AWord);
    FContentHandler->Value(AType, FText);
  };
  switch (c) {
    case u'"':
      p->ReadString(FText);
      FContentHandler->Value(jdtString, FText);
      p->NextChar();  // past the closing quote
      return;
    case u'f': literal(u"false", jdtBoolean); return;
    case u't': literal(u"true", jdtBoolean); return;
    case u'n': literal(u"null", jdtNull); return;
    default:
      if ((c >= u'0' && c <= u'9') || c == u'.' || c == u'+' || c == u'-' || c == u'e' || c == u'E') {
        p->SetMark(ptMark1);
        p->SkipWhile(skWhileInSet, numberChars);
        FText.clear();
        p->AppendSelectedW(ptMark1, ptCurrent, false, FText);
        FContentHandler->Value(jdtNumber, FText);
        // Inside a container the number's tail is passed over; at the top level the text
        // after it is the document's business.
        return;
      }
      p->NotWellFormed(cVxJSONValueExpected);
  }
  (void)numberEnd;
}

// ---------------------------------------------------------------------------------------------
// The tree builder and loading
// ---------------------------------------------------------------------------------------------

// The member a value event fills: the object's most recent member. The member is made without
// value by StartMember and gets the value of the event that follows (a member left without
// one, at the end or on a failure, gets the null value it would have had).
TVxJSONMember* TVxJSONHandler::MemberOf(TVxJSONBase* AObject) {
  TVxJSONMember* member = static_cast<TVxJSONObject*>(AObject)->FLastMember;
  if (!member) throw EVxJSONException(VxString(cVxJSONOeps));
  return member;
}

void TVxJSONHandler::SettlePending() {
  if (FPending && !FPending->GetValue()) FPending->CreateValue(jdtNull);
  FPending = nullptr;
}

TVxJSONBase* TVxJSONHandler::OpenContainer(TVxJSONDataType AType) {
  TVxJSONBase* created;
  switch (FCurrent ? FCurrent->NodeKind() : TVxJSONBase::nkSimple) {
    case TVxJSONBase::nkDocument: created = static_cast<TVxJSONDocument*>(FCurrent)->CreateRootValue(AType); break;
    case TVxJSONBase::nkArray: created = static_cast<TVxJSONArray*>(FCurrent)->AddValue(AType); break;
    case TVxJSONBase::nkObject: created = MemberOf(FCurrent)->CreateValue(AType); break;
    case TVxJSONBase::nkMember: created = static_cast<TVxJSONMember*>(FCurrent)->CreateValue(AType); break;
    default: throw EVxJSONException(VxString(cVxJSONOeps));
  }
  FPending = nullptr;
  FCurrent = created;
  return created;
}

void TVxJSONHandler::StartObject() { OpenContainer(jdtObject); }
void TVxJSONHandler::StartArray() { OpenContainer(jdtArray); }

void TVxJSONHandler::StartMember(const VxJSONString& AName) {
  SettlePending();
  if (!FCurrent || FCurrent->NodeKind() != TVxJSONBase::nkObject) throw Exception(VxString(cVxJSONInvalidObjectType));
  FPending = static_cast<TVxJSONObject*>(FCurrent)->AddMember(AName);
}

void TVxJSONHandler::Value(TVxJSONDataType AType, const VxJSONString& AText) {
  TVxJSONBase* value;
  switch (FCurrent ? FCurrent->NodeKind() : TVxJSONBase::nkSimple) {
    case TVxJSONBase::nkObject: value = MemberOf(FCurrent)->CreateValue(AType); break;
    case TVxJSONBase::nkArray: value = static_cast<TVxJSONArray*>(FCurrent)->AddValue(AType); break;
    default: throw EVxJSONException(VxString(cVxJSONOeps));
  }
  FPending = nullptr;
  static_cast<TVxJSONSimpleType*>(value)->SetText(AType, VxJSONtoStr(AText, AType));
}

void TVxJSONHandler::Up() {
  SettlePending();
  // To the parent, past members, up to an object, an array or a document.
  TVxJSONBase* n = FCurrent ? FCurrent->Parent() : nullptr;
  while (n && n->NodeKind() == TVxJSONBase::nkMember) n = n->Parent();
  FCurrent = n;
}

void TVxJSONBase::LoadFromStream(TVxStream& AStream) {
  // The byte-order mark is read from the start; a stream that cannot go back is read through
  // a replay of those bytes.
  std::unique_ptr<TVxReplayStream> replay;
  uint16_t cp = 0;
  TVxStream& source = VxGetCodePage(AStream, cp, replay);
  LoadFromStream(source, cp, false);
}

void TVxJSONBase::LoadFromStream(TVxStream& AStream, uint16_t ACodePage, bool AFormURLEncoded) {
  // An empty stream empties the node. The byte read to see goes back (or, from a stream that
  // cannot go back, is handed to the reader first).
  std::unique_ptr<TVxReplayStream> replay;
  if (VxPeekStream(AStream, 1, replay).empty()) {
    DestroyObjects();
    return;
  }
  TVxStream& source = replay ? static_cast<TVxStream&>(*replay) : AStream;
  TVxIntf<TVxJSONReader> reader(AFormURLEncoded ? new TVxFormURLEncodedJSONReader : new TVxJSONReader);
  reader->SetAllowTrailingWhiteSpace(FAllowTrailingWhiteSpace);
  TVxIntf<TVxJSONHandler> handler(new TVxJSONHandler(this));
  reader->SetContentHandler(TVxIntf<IVxJSONContentHandler>(handler.Get()));
  reader->SetErrorHandler(TVxIntf<IVxJSONErrorHandler>(handler.Get()));
  reader->ParseStream(source, ACodePage, u"");
}

void TVxJSONBase::SetAsJSON(const VxJSONString& AText) {
  if (AText.empty()) {
    DestroyObjects();
    return;
  }
  TVxStringStream stream(AText);
  LoadFromStream(stream, cVxCodePageUTF16, false);
}

// ---------------------------------------------------------------------------------------------
// The parser component
// ---------------------------------------------------------------------------------------------

TVxIntf<TVxJSONReader> TVxJSONParser::NewReader(bool AFormURLEncoded) {
  TVxIntf<TVxJSONReader> reader(AFormURLEncoded ? new TVxFormURLEncodedJSONReader : new TVxJSONReader);
  reader->SetAllowTrailingWhiteSpace(AllowTrailingWhiteSpace);
  reader->SetContentHandler(TVxIntf<IVxJSONContentHandler>(this));
  reader->SetErrorHandler(TVxIntf<IVxJSONErrorHandler>(this));
  return reader;
}

void TVxJSONParser::ParseFile(const VxString& AFileName, uint16_t ACodePage, const VxString& ASystemID) {
  NewReader(false)->ParseFile(AFileName, ACodePage, ASystemID);
}
void TVxJSONParser::ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxString& ASystemID,
                                bool AFormURLEncoded) {
  NewReader(AFormURLEncoded)->ParseBuffer(ABuffer, ASize, ACodePage, ASystemID);
}
void TVxJSONParser::ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxString& ASystemID, bool AFormURLEncoded) {
  NewReader(AFormURLEncoded)->ParseStream(AStream, ACodePage, ASystemID);
}
void TVxJSONParser::Parse(std::u16string_view AText, const VxString& ASystemID) { NewReader(false)->Parse(AText, ASystemID); }
void TVxJSONParser::Parse(std::string_view AText, uint16_t ACodePage, const VxString& ASystemID) {
  NewReader(false)->Parse(AText, ACodePage, ASystemID);
}

void TVxJSONParser::StartDocument() {
  if (OnStartDocument) OnStartDocument(this);
}
void TVxJSONParser::StartObject() {
  if (OnStartObject) OnStartObject(this);
}
void TVxJSONParser::StartMember(const VxJSONString& AName) {
  if (OnStartMember) OnStartMember(this, AName);
}
void TVxJSONParser::StartArray() {
  if (OnStartArray) OnStartArray(this);
}
void TVxJSONParser::Value(TVxJSONDataType AType, const VxJSONString& AText) {
  if (OnValue) OnValue(this, AType, AText);
}
void TVxJSONParser::EndArray() {
  if (OnEndArray) OnEndArray(this);
}
void TVxJSONParser::EndMember() {
  if (OnEndMember) OnEndMember(this);
}
void TVxJSONParser::EndObject() {
  if (OnEndObject) OnEndObject(this);
}
void TVxJSONParser::EndDocument() {
  if (OnEndDocument) OnEndDocument(this);
}
void TVxJSONParser::Warning(IVxJSONLocator* ALocator, const VxString& AMessage) {
  if (OnWarning) OnWarning(ALocator, AMessage);
}
void TVxJSONParser::Error(IVxJSONLocator* ALocator, const VxString& AMessage) {
  if (OnError) OnError(ALocator, AMessage);
}
void TVxJSONParser::FatalError(IVxJSONLocator* ALocator, const VxString& AMessage) {
  if (OnFatalError) OnFatalError(ALocator, AMessage);
}

// ---------------------------------------------------------------------------------------------
// The form-url-encoded reader
// ---------------------------------------------------------------------------------------------

namespace {

// A value being collected: text, or an object of named entries (in order of first
// appearance), or an array.
struct TFormValue {
  enum TKind { fkText, fkObject, fkArray } Kind = fkText;
  VxJSONString Text;
  std::vector<std::pair<VxJSONString, std::unique_ptr<TFormValue>>> Members;  // objects
  std::vector<std::unique_ptr<TFormValue>> Items;                             // arrays
  std::map<int64_t, size_t> Indexes;  // an array's explicit indices: where they stand in Items
  // Where each name stands in Members, once there are more than a few: a form of many names
  // (or an array element filled with many) reads in linear time.
  std::unordered_map<VxJSONString, size_t> ByName;

  TFormValue* Member(const VxJSONString& AName) {
    if (Members.size() > cScanned) {
      auto it = ByName.find(AName);
      return it == ByName.end() ? nullptr : Members[it->second].second.get();
    }
    for (auto& [name, value] : Members)
      if (name == AName) return value.get();
    return nullptr;
  }
  TFormValue* AddMember(const VxJSONString& AName) {
    Members.emplace_back(AName, std::make_unique<TFormValue>());
    if (Members.size() > cScanned) {
      if (ByName.empty())
        for (size_t k = 0; k < Members.size(); ++k) ByName.emplace(Members[k].first, k);
      else
        ByName.emplace(AName, Members.size() - 1);
    }
    return Members.back().second.get();
  }
  void MakeText(const VxJSONString& AText) {
    Kind = fkText;
    Text = AText;
    Members.clear();
    ByName.clear();
    Items.clear();
    Indexes.clear();  // an array made text again forgets its indices too
  }

 private:
  static constexpr size_t cScanned = 8;
};

int HexValue(uint32_t C) {
  if (C >= u'0' && C <= u'9') return static_cast<int>(C - u'0');
  if (C >= u'a' && C <= u'f') return static_cast<int>(C - u'a' + 10);
  if (C >= u'A' && C <= u'F') return static_cast<int>(C - u'A' + 10);
  return -1;
}

// Decodes "+" and %XX, reading the bytes as UTF-8; invalid UTF-8 raises.
VxJSONString FormDecode(std::string_view ABytes) {
  std::string raw;
  raw.reserve(ABytes.size());
  for (size_t k = 0; k < ABytes.size(); ++k) {
    const char c = ABytes[k];
    if (c == '+') {
      raw += ' ';
    } else if (c == '%' && k + 2 < ABytes.size() + 0 && HexValue(static_cast<uint8_t>(ABytes[k + 1])) >= 0 &&
               HexValue(static_cast<uint8_t>(ABytes[k + 2])) >= 0) {
      raw += static_cast<char>(HexValue(static_cast<uint8_t>(ABytes[k + 1])) * 16 + HexValue(static_cast<uint8_t>(ABytes[k + 2])));
      k += 2;
    } else {
      raw += c;
    }
  }
  // Strict UTF-8: every sequence well formed (no overlong forms, surrogates or values past
  // U+10FFFF).
  for (size_t k = 0; k < raw.size();) {
    const auto b = static_cast<uint8_t>(raw[k]);
    size_t n = b < 0x80 ? 1 : (b >= 0xC2 && b <= 0xDF) ? 2 : (b >= 0xE0 && b <= 0xEF) ? 3 : (b >= 0xF0 && b <= 0xF4) ? 4 : 0;
    if (n == 0 || k + n > raw.size()) throw Exception(VxString(cVxJSONInvalidUTF8));
    for (size_t j = 1; j < n; ++j)
      if ((static_cast<uint8_t>(raw[k + j]) & 0xC0) != 0x80) throw Exception(VxString(cVxJSONInvalidUTF8));
    const auto b1 = n > 1 ? static_cast<uint8_t>(raw[k + 1]) : 0;
    if ((b == 0xE0 && b1 < 0xA0) || (b == 0xED && b1 >= 0xA0) || (b == 0xF0 && b1 < 0x90) || (b == 0xF4 && b1 >= 0x90))
      throw Exception(VxString(cVxJSONInvalidUTF8));
    k += n;
  }
  return VxUTF8ToUTF16(raw);
}

// The name's segments: "a[b][]" gives "a", "b", "" (encoded brackets accepted).
std::vector<VxJSONString> NameSegments(const VxJSONString& AName) {
  std::vector<VxJSONString> segments;
  const size_t open = AName.find(u'[');
  segments.push_back(AName.substr(0, open));
  size_t at = open;
  while (at != VxJSONString::npos && at < AName.size()) {
    if (AName[at] != u'[') throw Exception(VxFormat(cVxJSONBracketExpected, AName.substr(at, 1)));
    const size_t close = AName.find(u']', at + 1);
    if (close == VxJSONString::npos) throw Exception(VxFormat(cVxJSONBracketExpected, VxJSONString(u"")));
    segments.push_back(AName.substr(at + 1, close - at - 1));
    at = close + 1;
  }
  return segments;
}

bool IsIndex(const VxJSONString& S, int64_t& AIndex) {
  if (S.empty() || S.size() > 9) return false;
  AIndex = 0;
  for (char16_t c : S) {
    if (c < u'0' || c > u'9') return false;
    AIndex = AIndex * 10 + (c - u'0');
  }
  return true;
}

// Puts a value at the path of segments below AInto (an object).
void Place(TFormValue& AInto, const std::vector<VxJSONString>& ASegments, const VxJSONString& AValue) {
  TFormValue* container = &AInto;
  for (size_t k = 0; k < ASegments.size(); ++k) {
    const VxJSONString& segment = ASegments[k];
    const bool last = k + 1 == ASegments.size();
    const VxJSONString* next = last ? nullptr : &ASegments[k + 1];
    int64_t index = 0;
    // What the entry holds: text at the end; an array when the next segment is empty or an
    // index; an object otherwise.
    const TFormValue::TKind kind = last                                      ? TFormValue::fkText
                                   : next->empty() || IsIndex(*next, index) ? TFormValue::fkArray
                                                                             : TFormValue::fkObject;
    TFormValue* entry = nullptr;
    if (container->Kind == TFormValue::fkArray) {
      if (segment.empty()) {
        // "[]": a new element, except that "a[][x]" fills the last element while it has no x.
        if (!last && kind == TFormValue::fkObject && !container->Items.empty()) {
          TFormValue* lastItem = container->Items.back().get();
          if (lastItem->Kind == TFormValue::fkObject && !lastItem->Member(*next)) entry = lastItem;
        }
      } else if (IsIndex(segment, index)) {
        if (auto it = container->Indexes.find(index); it != container->Indexes.end())
          entry = container->Items[it->second].get();
      }
      if (!entry) {
        container->Items.push_back(std::make_unique<TFormValue>());
        entry = container->Items.back().get();
        entry->Kind = kind;
        if (!segment.empty() && IsIndex(segment, index)) container->Indexes[index] = container->Items.size() - 1;
      }
    } else {
      entry = container->Member(segment);
      if (!entry) {
        entry = container->AddMember(segment);
        entry->Kind = kind;
      }
    }
    if (last) {
      entry->MakeText(AValue);  // the last value of a name wins
      return;
    }
    if (entry->Kind != kind && entry->Kind == TFormValue::fkText) entry->Kind = kind;
    container = entry;
  }
}

// Items of an array in index order: explicit indices sorted, "[]" items where they came.
std::vector<TFormValue*> ArrayOrder(TFormValue& AArray) {
  std::vector<TFormValue*> order;
  std::vector<bool> indexed(AArray.Items.size(), false);
  for (auto& [index, at] : AArray.Indexes) indexed[at] = true;
  std::vector<TFormValue*> byIndex;
  for (auto& [index, at] : AArray.Indexes) byIndex.push_back(AArray.Items[at].get());
  size_t nextIndexed = 0;
  for (size_t k = 0; k < AArray.Items.size(); ++k)
    order.push_back(indexed[k] ? byIndex[nextIndexed++] : AArray.Items[k].get());
  return order;
}

}  // namespace

void TVxFormURLEncodedJSONReader::InternalParse() {
  CheckHandlers();
  TVxJSONTextParser* p = Cursor();
  try {
    // The whole text, as bytes (UTF-8 after decoding; the raw form is ASCII).
    VxJSONString text;
    p->SetMark(ptMark1);
    p->SkipWhile(skUntilEqual, cVxEOFCharW);
    p->AppendSelectedW(ptMark1, ptCurrent, false, text);
    const std::string bytes = VxUTF16ToUTF8(text);
    TFormValue root;
    root.Kind = TFormValue::fkObject;
    size_t at = 0;
    while (at <= bytes.size()) {
      size_t amp = bytes.find('&', at);
      if (amp == std::string::npos) amp = bytes.size();
      const std::string_view pair(bytes.data() + at, amp - at);
      at = amp + 1;
      if (pair.empty()) continue;
      const size_t eq = pair.find('=');
      const VxJSONString name = FormDecode(pair.substr(0, eq));
      const VxJSONString value = eq == std::string_view::npos ? VxJSONString() : FormDecode(pair.substr(eq + 1));
      Place(root, NameSegments(name), value);
    }
    // The events, without recursion.
    IVxJSONContentHandler* h = Content();
    h->SetDocumentLocator(this);
    h->StartDocument();
    struct TFrame {
      TFormValue* Value;
      size_t Next;
      std::vector<TFormValue*> Order;  // arrays
    };
    std::vector<TFrame> stack;
    auto open = [&](TFormValue* V) {
      if (V->Kind == TFormValue::fkObject) {
        h->StartObject();
        stack.push_back({V, 0, {}});
      } else if (V->Kind == TFormValue::fkArray) {
        h->StartArray();
        stack.push_back({V, 0, ArrayOrder(*V)});
      } else {
        h->Value(jdtString, VxStrToJSON(V->Text));
      }
    };
    open(&root);
    while (!stack.empty()) {
      TFrame& f = stack.back();
      if (f.Value->Kind == TFormValue::fkObject) {
        if (f.Next > 0) h->EndMember();
        if (f.Next == f.Value->Members.size()) {
          stack.pop_back();
          h->EndObject();
          continue;
        }
        auto& [name, value] = f.Value->Members[f.Next++];
        h->StartMember(name);
        TFormValue* v = value.get();
        open(v);
      } else {
        if (f.Next == f.Order.size()) {
          stack.pop_back();
          h->EndArray();
          continue;
        }
        open(f.Order[f.Next++]);
      }
    }
    h->EndDocument();
  } catch (const std::exception& e) {
    const auto* x = dynamic_cast<const Exception*>(&e);
    TVxIntf<IVxJSONErrorHandler> errors = GetErrorHandler();
    errors->FatalError(this, x ? x->Message() : VxUTF8ToUTF16(e.what()));
    throw;
  }
}

}  // namespace vx
