// uVxJSON_Model: the JSON value model: ownership and lifetime, the operation table of the five
// node classes, member lookup, value storage and reading.
#include <filesystem>

#include "uVxJSON.h"
#include "uVxXMLUtils.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// TVxJSONBase: ownership
// ---------------------------------------------------------------------------------------------

void TVxJSONChildList::Grow() {
  // 1 (in place), 4, 8, 16, ...: a list never holds more children than an int counts.
  const uint32_t capacity = FCapacity < 4 ? 4 : FCapacity * 2;
  if (FCapacity > static_cast<uint32_t>(INT32_MAX) / 2) throw std::bad_alloc();
  auto** items = static_cast<TVxJSONBase**>(::operator new(capacity * sizeof(TVxJSONBase*)));
  std::copy(begin(), end(), items);
  if (FCapacity > 1) ::operator delete(FMany);
  FMany = items;
  FCapacity = capacity;
}

TVxJSONBase::TVxJSONBase(TVxJSONBase* AParent) {
  if (AParent) AParent->InsertObject(this);
}

TVxJSONBase::~TVxJSONBase() { DestroyObjects(); }

TVxJSONBase* TVxJSONBase::Child(int AIndex) const {
  if (AIndex < 0 || AIndex >= ChildCount()) throw EListError(VxFormat(u"List index out of bounds (%d)", AIndex));
  return FChildren[static_cast<size_t>(AIndex)];
}

void TVxJSONBase::InsertObject(TVxJSONBase* AChild) {
  FChildren.push_back(AChild);
  AChild->FParent = this;
  AChild->_AddRef();  // the tree's reference
  AChild->SetAutoDestroy(false);
}

void TVxJSONBase::RemoveObject(TVxJSONBase* AChild) {
  auto it = std::find(FChildren.rbegin(), FChildren.rend(), AChild);
  if (it == FChildren.rend()) return;
  FChildren.erase(std::next(it).base());
  if (AChild->FParent == this) AChild->FParent = nullptr;
  // The tree's reference goes; the node is not freed here.
  AChild->_Release();
}

namespace {
// Drops the tree's reference to a node that left its parent: a node someone still holds lives
// on and is destroyed by the last release; any other is destroyed now.
void Orphan(TVxJSONBase* ANode, void (*ADestroy)(TVxJSONBase*)) {
  if (ANode->_Release() > 0)
    ANode->SetAutoDestroy(true);
  else
    ADestroy(ANode);
}
}  // namespace

void TVxJSONBase::FreeObject() {
  if (TVxJSONBase* parent = FParent) {
    auto it = std::find(parent->FChildren.rbegin(), parent->FChildren.rend(), this);
    if (it != parent->FChildren.rend()) parent->FChildren.erase(std::next(it).base());
    if (parent->FKind == nkObject && static_cast<TVxJSONObject*>(parent)->FLastMember == this)
      static_cast<TVxJSONObject*>(parent)->FLastMember = nullptr;
    FParent = nullptr;
    Orphan(this, &DestroyNode);
    return;
  }
  if (RefCount() > 0)
    SetAutoDestroy(true);
  else
    DestroyNode(this);
}

void TVxJSONBase::DestroyNode(TVxJSONBase* ANode) {
  // Deleting a node frees its children, theirs, and so on: instead of recursing, the nodes to
  // delete go to a list that the outermost call works through.
  thread_local std::vector<TVxJSONBase*>* pending = nullptr;
  if (pending) {
    pending->push_back(ANode);
    return;
  }
  std::vector<TVxJSONBase*> list{ANode};
  pending = &list;
  while (!list.empty()) {
    TVxJSONBase* n = list.back();
    list.pop_back();
    delete n;
  }
  pending = nullptr;
}

void TVxJSONBase::DestroyObjects() {
  // From the last child to the first. A list of references (a free-standing array) drops its
  // references and frees only what it made itself.
  while (!FChildren.empty()) {
    TVxJSONBase* child = FChildren.back();
    FChildren.pop_back();
    if (child->FParent != this) {
      child->_Release();  // a reference to a node of another tree
      continue;
    }
    child->FParent = nullptr;
    Orphan(child, &DestroyNode);
  }
}

TVxJSONDocument* TVxJSONBase::GetDocument() {
  TVxJSONBase* n = this;
  while (n->FParent && n->FKind != nkDocument) n = n->FParent;
  if (n->FKind != nkDocument) throw EInvalidCast(VxString(u"Invalid class typecast"));
  return static_cast<TVxJSONDocument*>(n);
}

// ---------------------------------------------------------------------------------------------
// TVxJSONBase: the refusals
// ---------------------------------------------------------------------------------------------

void TVxJSONBase::Refuse(const char16_t* AOperation) const {
  throw EVxJSONException(VxFormat(cVxJSONMethodNotSupported, ClassName(), AOperation));
}

TVxJSONDataType TVxJSONBase::GetJSONType() { return FDataType; }
int TVxJSONBase::Count() { Refuse(u"Count"); }
TVxJSONBase* TVxJSONBase::Item(int) { Refuse(u"Item"); }
VxJSONString TVxJSONBase::GetName() { Refuse(u"GetName"); }
void TVxJSONBase::SetName(const VxJSONString&) { Refuse(u"SetName"); }
TVxJSONBase* TVxJSONBase::GetValue() { Refuse(u"GetValue"); }
void TVxJSONBase::SetValue(TVxJSONBase*) { Refuse(u"SetValue"); }
TVxJSONMember* TVxJSONBase::FindMember(const VxJSONString&, bool) { Refuse(u"FindMember"); }
TVxJSONMember* TVxJSONBase::GetMember(const VxJSONString&, TVxJDOCSelectOptions) { Refuse(u"Member"); }
bool TVxJSONBase::GetAsBoolean() { Refuse(u"GetAsBoolean"); }
double TVxJSONBase::GetAsDouble() { Refuse(u"GetAsDouble"); }
int32_t TVxJSONBase::GetAsInteger() { Refuse(u"GetAsInteger"); }
int64_t TVxJSONBase::GetAsLargeInt() { Refuse(u"GetAsLargeInt"); }
VxJSONString TVxJSONBase::GetAsString() { Refuse(u"GetAsString"); }
TVxVariant TVxJSONBase::GetAsVariant() { Refuse(u"GetAsVariant"); }
void TVxJSONBase::SetAsBoolean(bool) { Refuse(u"SetAsBoolean"); }
void TVxJSONBase::SetAsDouble(double) { Refuse(u"SetAsDouble"); }
void TVxJSONBase::SetAsInteger(int32_t) { Refuse(u"SetAsInteger"); }
void TVxJSONBase::SetAsLargeInt(int64_t) { Refuse(u"SetAsLargeInt"); }
void TVxJSONBase::SetAsString(const VxJSONString&) { Refuse(u"SetAsString"); }
void TVxJSONBase::SetAsVariant(const TVxVariant&) { Refuse(u"SetAsVariant"); }
TVxJSONObject* TVxJSONBase::GetAsObject() { Refuse(u"GetAsObject"); }
TVxJSONArray* TVxJSONBase::GetAsArray() { Refuse(u"GetAsArray"); }
TVxJSONBase* TVxJSONBase::AddValue(TVxJSONDataType) { Refuse(u"AddValue"); }
TVxJSONBase* TVxJSONBase::AddValue(TVxJSONDataType, const VxJSONString&) { Refuse(u"AddValue"); }
TVxJSONBase* TVxJSONBase::AddValue(const TVxVariant&) { Refuse(u"AddValue"); }
TVxJSONMember* TVxJSONBase::AddMember(const VxJSONString&) { Refuse(u"AddMember"); }
TVxJSONMember* TVxJSONBase::AddMember(const VxJSONString&, TVxJSONDataType) { Refuse(u"AddMember"); }
TVxJSONMember* TVxJSONBase::AddMember(const VxJSONString&, TVxJSONDataType, const VxJSONString&) { Refuse(u"AddMember"); }
TVxJSONMember* TVxJSONBase::AddMember(const VxJSONString&, const TVxVariant&) { Refuse(u"AddMember"); }
void TVxJSONBase::DeleteMember(int) { Refuse(u"DeleteMember"); }
void TVxJSONBase::DeleteValue(int) { Refuse(u"DeleteValue"); }
void TVxJSONBase::RemoveMember(TVxJSONMember*) { Refuse(u"RemoveMember"); }
void TVxJSONBase::RemoveValue(TVxJSONBase*) { Refuse(u"RemoveValue"); }
void TVxJSONBase::Exchange(int, int) { Refuse(u"Exchange"); }

// ---------------------------------------------------------------------------------------------
// Simple values
// ---------------------------------------------------------------------------------------------

namespace {
// The data type a variant is stored as by SetAsVariant (dates as strings, arrays as null).
TVxJSONDataType StoredTypeOf(const TVxVariant& AValue) {
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
    case 2: return jdtNumber;
    case 3:
    case 5: return jdtString;
    case 4: return jdtBoolean;
    default: return jdtNull;
  }
}
}  // namespace

TVxJSONSimpleType::TVxJSONSimpleType(TVxJSONBase* AParent, TVxJSONDataType AType) : TVxJSONImplements(AParent) {
  FDataType = AType;
  FKind = nkSimple;
}

void TVxJSONSimpleType::SetText(TVxJSONDataType AType, VxJSONString AText) {
  FVariant.reset();
  FText = std::move(AText);
  FNull = false;
  FDataType = AType;
}

TVxVariant TVxJSONSimpleType::GetAsVariant() {
  if (FVariant) return *FVariant;
  if (FNull) return TVxVariant::Null();
  return TVxVariant(FText);
}

bool TVxJSONSimpleType::GetAsBoolean() { return VxVarToBool(GetAsVariant()); }
double TVxJSONSimpleType::GetAsDouble() { return VxVarToDouble(GetAsVariant()); }
int32_t TVxJSONSimpleType::GetAsInteger() { return VxVarToInt(GetAsVariant()); }
int64_t TVxJSONSimpleType::GetAsLargeInt() { return VxVarToInt64(GetAsVariant()); }

VxJSONString TVxJSONSimpleType::GetAsString() {
  if (!FVariant && !FNull) return FText;  // a string is given as it is, whatever the type
  const TVxVariant v = GetAsVariant();
  if (TVxTypes::VarMainTypeKind(v) == 3) return VxVarToStr(v);
  switch (FDataType) {
    case jdtNull: return {};
    case jdtString: return VxVarToStr(v);
    case jdtNumber: return VxVarToJSON(v);
    case jdtBoolean: return VxVarToBool(v) ? u"true" : u"false";
    default: throw EVxJSONException(VxString(cVxJSONUnexpectedType));
  }
}

void TVxJSONSimpleType::SetAsBoolean(bool AValue) { SetAsVariant(TVxVariant(AValue)); }
void TVxJSONSimpleType::SetAsDouble(double AValue) { SetAsVariant(TVxVariant(AValue)); }
void TVxJSONSimpleType::SetAsInteger(int32_t AValue) { SetAsVariant(TVxVariant(AValue)); }
void TVxJSONSimpleType::SetAsLargeInt(int64_t AValue) { SetAsVariant(TVxVariant(AValue)); }
void TVxJSONSimpleType::SetAsString(const VxJSONString& AValue) { SetText(jdtString, AValue); }

void TVxJSONSimpleType::SetAsVariant(const TVxVariant& AValue) {
  if (AValue.VarType() == varUString) {
    SetText(StoredTypeOf(AValue), VxVarToStr(AValue));
    return;
  }
  FVariant = std::make_unique<TVxVariant>(AValue);
  FText.clear();
  FNull = false;
  FDataType = StoredTypeOf(AValue);
}

// ---------------------------------------------------------------------------------------------
// Members
// ---------------------------------------------------------------------------------------------

TVxJSONMember::TVxJSONMember(TVxJSONBase* AParent, VxJSONString AName)
    : TVxJSONImplements(AParent), FName(std::move(AName)) {
  FKind = nkMember;
}

void TVxJSONMember::SetValue(TVxJSONBase* AValue) {
  if (AValue == Value()) return;
  if (TVxJSONBase* old = Value()) old->FreeObject();
  if (AValue) {
    if (AValue->Parent()) AValue->Parent()->RemoveObject(AValue);
    InsertObject(AValue);
  }
}

TVxJSONBase* TVxJSONMember::CreateValue(TVxJSONDataType AType) {
  if (TVxJSONBase* old = Value()) old->FreeObject();
  switch (AType) {
    case jdtObject: return new TVxJSONObject(this);
    case jdtArray: return new TVxJSONArray(this);
    default: return new TVxJSONSimpleType(this, AType);
  }
}

TVxJSONSimpleType* TVxJSONMember::SimpleValueFor(TVxJSONDataType AType, const char16_t* AOperation) {
  TVxJSONBase* value = Value();
  if (!value) value = CreateValue(AType);
  if (value->NodeKind() == nkSimple) return static_cast<TVxJSONSimpleType*>(value);
  Refuse(AOperation);
}

namespace {
TVxJSONSimpleType* SimpleOrNull(TVxJSONBase* AValue) {
  return AValue && AValue->NodeKind() == TVxJSONBase::nkSimple ? static_cast<TVxJSONSimpleType*>(AValue) : nullptr;
}
}  // namespace

// The member's value when it is a simple one; otherwise the operation is refused.
TVxJSONSimpleType* TVxJSONMember::SimpleValue(const char16_t* AOperation) {
  if (auto* s = SimpleOrNull(Value())) return s;
  Refuse(AOperation);
}

bool TVxJSONMember::GetAsBoolean() { return SimpleValue(u"GetAsBoolean")->GetAsBoolean(); }
double TVxJSONMember::GetAsDouble() { return SimpleValue(u"GetAsDouble")->GetAsDouble(); }
int32_t TVxJSONMember::GetAsInteger() { return SimpleValue(u"GetAsInteger")->GetAsInteger(); }
int64_t TVxJSONMember::GetAsLargeInt() { return SimpleValue(u"GetAsLargeInt")->GetAsLargeInt(); }
VxJSONString TVxJSONMember::GetAsString() { return SimpleValue(u"GetAsString")->GetAsString(); }
TVxVariant TVxJSONMember::GetAsVariant() { return SimpleValue(u"GetAsVariant")->GetAsVariant(); }
void TVxJSONMember::SetAsBoolean(bool AValue) { SimpleValueFor(jdtBoolean, u"SetAsBoolean")->SetAsBoolean(AValue); }
void TVxJSONMember::SetAsDouble(double AValue) { SimpleValueFor(jdtNumber, u"SetAsDouble")->SetAsDouble(AValue); }
void TVxJSONMember::SetAsInteger(int32_t AValue) { SimpleValueFor(jdtNumber, u"SetAsInteger")->SetAsInteger(AValue); }
void TVxJSONMember::SetAsLargeInt(int64_t AValue) { SimpleValueFor(jdtNumber, u"SetAsLargeInt")->SetAsLargeInt(AValue); }
void TVxJSONMember::SetAsString(const VxJSONString& AValue) {
  SimpleValueFor(jdtString, u"SetAsString")->SetAsString(AValue);
}
void TVxJSONMember::SetAsVariant(const TVxVariant& AValue) {
  SimpleValueFor(VxVarTypeToJSONType(AValue), u"SetAsVariant")->SetAsVariant(AValue);
}

TVxJSONObject* TVxJSONMember::GetAsObject() {
  TVxJSONBase* value = Value();
  if (!value) value = CreateValue(jdtObject);
  if (value->NodeKind() == nkObject) return static_cast<TVxJSONObject*>(value);
  Refuse(u"GetAsObject");
}

TVxJSONArray* TVxJSONMember::GetAsArray() {
  TVxJSONBase* value = Value();
  if (!value) value = CreateValue(jdtArray);
  if (value->NodeKind() == nkArray) return static_cast<TVxJSONArray*>(value);
  Refuse(u"GetAsArray");
}

TVxJSONBase* TVxJSONMember::AddValue(TVxJSONDataType AType) {
  if (Value()) Refuse(u"AddValue");
  return CreateValue(AType);
}

TVxJSONBase* TVxJSONMember::AddValue(TVxJSONDataType AType, const VxJSONString& AText) {
  TVxJSONBase* v = AddValue(AType);
  if (auto* s = SimpleOrNull(v)) s->SetText(AType, AText);
  return v;
}

TVxJSONBase* TVxJSONMember::AddValue(const TVxVariant& AValue) {
  const TVxJSONDataType type = VxVarTypeToJSONType(AValue);
  TVxJSONBase* v = AddValue(type);
  if (type == jdtArray) {
    for (int k = AValue.ArrayLowBound(); k <= AValue.ArrayHighBound(); ++k) v->AddValue(AValue.ArrayItem(k));
  } else if (auto* s = SimpleOrNull(v)) {
    s->SetAsVariant(AValue);
  }
  return v;
}

// ---------------------------------------------------------------------------------------------
// Objects
// ---------------------------------------------------------------------------------------------

TVxJSONObject::TVxJSONObject(TVxJSONBase* AParent) : TVxJSONImplements(AParent) {
  FDataType = jdtObject;
  FKind = nkObject;
}

namespace {
bool SameName(const VxJSONString& A, const VxJSONString& B, bool ACaseInsensitive) {
  if (!ACaseInsensitive) return A == B;
  if (A.size() != B.size()) return false;
  for (size_t k = 0; k < A.size(); ++k)
    if (VxLowCase(A[k]) != VxLowCase(B[k])) return false;  // ASCII letters only
  return true;
}
}  // namespace

TVxJSONMember* TVxJSONObject::FindMember(const VxJSONString& AName, bool ACaseInsensitive) {
  for (TVxJSONBase* c : FChildren) {
    auto* m = static_cast<TVxJSONMember*>(c);
    if (SameName(m->Name(), AName, ACaseInsensitive)) return m;
  }
  return nullptr;
}

TVxJSONMember* TVxJSONObject::GetMember(const VxJSONString& AName, TVxJDOCSelectOptions AOptions) {
  if (TVxJSONMember* m = FindMember(AName, AOptions.Contains(jsoCaseInsensitive))) return m;
  if (TVxJSONPath::LooksLikePath(AName)) return VxJSONMemberByPath(this, AName, AOptions);
  if (AOptions.Contains(jsoCreate)) return AddMember(AName);
  if (AOptions.Contains(jsoRaise)) throw EVxJSONException(VxFormat(cVxJSONNoMember, AName));
  return nullptr;
}

TVxJSONMember* TVxJSONObject::AddMember(const VxJSONString& AName) {
  FLastMember = new TVxJSONMember(this, AName);
  return FLastMember;
}

TVxJSONMember* TVxJSONObject::AddMember(const VxJSONString& AName, TVxJSONDataType AType) {
  TVxJSONMember* m = AddMember(AName);
  m->CreateValue(AType);
  return m;
}

TVxJSONMember* TVxJSONObject::AddMember(const VxJSONString& AName, TVxJSONDataType AType, const VxJSONString& AText) {
  TVxJSONMember* m = AddMember(AName);
  m->AddValue(AType, AText);
  return m;
}

TVxJSONMember* TVxJSONObject::AddMember(const VxJSONString& AName, const TVxVariant& AValue) {
  TVxJSONMember* m = AddMember(AName);
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1: m->AddValue(jdtNumber, VxIntToXML(VxVarToInt(AValue))); break;
    case 2: m->AddValue(jdtNumber, VxDoubleToXML(VxVarToDouble(AValue))); break;
    case 3: m->AddValue(jdtString, VxVarToStr(AValue)); break;
    case 4: m->AddValue(jdtBoolean, VxBoolToXML(VxVarToBool(AValue))); break;
    case 5: m->AddValue(jdtString, VxDateTimeToXML(VxVarToDouble(AValue), tzfNone)); break;
    case 6: {
      TVxJSONBase* array = m->AddValue(jdtArray);
      for (int k = AValue.ArrayLowBound(); k <= AValue.ArrayHighBound(); ++k) array->AddValue(AValue.ArrayItem(k));
      break;
    }
    default: m->AddValue(jdtNull, VxVarToStr(AValue)); break;
  }
  return m;
}

void TVxJSONObject::DeleteMember(int AIndex) { Child(AIndex)->FreeObject(); }

void TVxJSONObject::RemoveMember(TVxJSONMember* AMember) {
  if (AMember) AMember->FreeObject();
}

void TVxJSONObject::RemoveMemberIntf(const TVxIntf<IVxJSONMember>& AMember) {
  if (AMember) RemoveMember(static_cast<TVxJSONMember*>(AMember->JSONBase()));
}

VxJSONString TVxJSONObject::GetPath() {
  std::vector<const VxJSONString*> names;
  for (TVxJSONBase* n = FParent; n; n = n->Parent())
    if (n->NodeKind() == nkMember) names.push_back(&static_cast<TVxJSONMember*>(n)->Name());
  VxJSONString path = u"#/";
  for (auto it = names.rbegin(); it != names.rend(); ++it) path.append(it == names.rbegin() ? u"" : u"/").append(**it);
  return path;
}

// ---------------------------------------------------------------------------------------------
// Arrays
// ---------------------------------------------------------------------------------------------

TVxJSONArray::TVxJSONArray(TVxJSONBase* AParent) : TVxJSONImplements(AParent) {
  FDataType = jdtArray;
  FKind = nkArray;
  FOwnsChildren = AParent != nullptr;
}

TVxJSONBase* TVxJSONArray::AddValue(TVxJSONDataType AType) {
  switch (AType) {
    case jdtObject: return new TVxJSONObject(this);
    case jdtArray: return new TVxJSONArray(this);
    default: return new TVxJSONSimpleType(this, AType);
  }
}

TVxJSONBase* TVxJSONArray::AddValue(TVxJSONDataType AType, const VxJSONString& AText) {
  TVxJSONBase* v = AddValue(AType);
  if (auto* s = SimpleOrNull(v)) s->SetText(AType, AText);
  return v;
}

TVxJSONBase* TVxJSONArray::AddValue(const TVxVariant& AValue) {
  const TVxJSONDataType type = VxVarTypeToJSONType(AValue);
  TVxJSONBase* v = AddValue(type);
  if (type == jdtArray) {
    for (int k = AValue.ArrayLowBound(); k <= AValue.ArrayHighBound(); ++k) v->AddValue(AValue.ArrayItem(k));
  } else if (auto* s = SimpleOrNull(v)) {
    s->SetAsVariant(AValue);
  }
  return v;
}

void TVxJSONArray::AddReference(TVxJSONBase* ANode) {
  FChildren.push_back(ANode);
  ANode->_AddRef();
}

void TVxJSONArray::DeleteValue(int AIndex) {
  TVxJSONBase* v = Child(AIndex);
  if (v->Parent() == this) {
    v->FreeObject();
  } else {
    // A reference held by a list of another tree's nodes: only the reference goes.
    FChildren.erase(FChildren.begin() + AIndex);
    v->_Release();
  }
}

void TVxJSONArray::RemoveValue(TVxJSONBase* AValue) {
  if (AValue) AValue->FreeObject();
}

void TVxJSONArray::RemoveValueIntf(const TVxIntf<IVxJSONBase>& AValue) {
  if (AValue) RemoveValue(AValue->JSONBase());
}

void TVxJSONArray::Exchange(int AIndex1, int AIndex2) {
  Child(AIndex1);
  Child(AIndex2);  // both in bounds
  std::swap(FChildren[static_cast<size_t>(AIndex1)], FChildren[static_cast<size_t>(AIndex2)]);
}

// ---------------------------------------------------------------------------------------------
// Documents
// ---------------------------------------------------------------------------------------------

TVxJSONDocument::TVxJSONDocument() : TVxJSONImplements(nullptr) { FKind = nkDocument; }

TVxJSONDocument::TVxJSONDocument(const VxJSONString& AText) : TVxJSONDocument() { SetAsJSON(AText); }

TVxJSONDocument::TVxJSONDocument(std::string_view AText, uint16_t ACodePage) : TVxJSONDocument() {
  SetAsJSON(TVxEncoding::GetEncoding(ACodePage).ConvertA(AText));
}

TVxJSONDocument::TVxJSONDocument(const VxString& AFileName, uint16_t AMode) : TVxJSONDocument() {
  LoadFromFile(AFileName, AMode);
}

TVxJSONDocument::TVxJSONDocument(TVxStream& AStream, uint16_t ACodePage, bool AFormURLEncoded) : TVxJSONDocument() {
  TVxJSONBase::LoadFromStream(AStream, ACodePage, AFormURLEncoded);
}

TVxJSONBase* TVxJSONDocument::GetRootValue() { return FChildren.size() == 1 ? FChildren.front() : nullptr; }

TVxJSONBase* TVxJSONDocument::RootOrRaise() {
  TVxJSONBase* root = GetRootValue();
  if (!root) throw EVxJSONParseError(VxString(cVxJSONNoRoot));
  return root;
}

TVxJSONBase* TVxJSONDocument::Item(int AIndex) { return RootOrRaise()->Item(AIndex); }

TVxJSONMember* TVxJSONDocument::FindMember(const VxJSONString& AName, bool ACaseInsensitive) {
  return RootOrRaise()->FindMember(AName, ACaseInsensitive);
}

TVxJSONMember* TVxJSONDocument::GetMember(const VxJSONString& AName, TVxJDOCSelectOptions AOptions) {
  if (!GetRootValue() && TVxJSONPath::LooksLikePath(AName)) return VxJSONMemberByPath(this, AName, AOptions);
  return RootOrRaise()->GetMember(AName, AOptions);
}

TVxJSONBase* TVxJSONDocument::CreateRootValue(TVxJSONDataType AType) {
  DestroyObjects();
  FDataType = AType;
  switch (AType) {
    case jdtObject: return new TVxJSONObject(this);
    case jdtArray: return new TVxJSONArray(this);
    default: return new TVxJSONSimpleType(this, AType);
  }
}

void TVxJSONDocument::LoadFromFile(const VxString& AFileName, uint16_t AMode) {
  const std::filesystem::path path(VxUTF16ToUTF8(AFileName));
  if (!std::filesystem::exists(path)) throw EReadError(VxFormat(cVxJSONNoFile, AFileName));
  TVxFileStream file(path, AMode);
  TVxJSONBase::LoadFromStream(file);
}

void TVxJSONDocument::SaveToFile(const VxString& AFileName, bool AFormatted) {
  TVxFileStream file(std::filesystem::path(VxUTF16ToUTF8(AFileName)), fmCreate);
  SaveToStream(file, AFormatted, cVxCodePageUTF8, false);
}

}  // namespace vx
