// uVxJSON: the JSON text cursor, the value model (documents, objects, members, arrays, simple
// values), the reader and its tree builder, the parser component, the form-url-encoded reader,
// the writer and the value conversions.
#pragma once

#include <functional>
#include <iterator>
#include <memory>
#include <vector>

#include "uVxDateUtils.h"
#include "uVxJSONInterfaces.h"
#include "uVxTextParser.h"
#include "uVxTypeInfo.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// The text cursor
// ---------------------------------------------------------------------------------------------

/// The JSON text cursor. At construction with a single-byte code page (or none) it chooses the
/// encoding by the first four bytes: UTF-16 little-endian for the pattern non-zero, zero,
/// non-zero, zero; UTF-32 and UTF-16 big-endian patterns are refused; anything else is UTF-8.
/// UTF-8, UTF-16 and multi-byte code pages are used as given.
class TVxJSONTextParser : public TVxTextParser {
 public:
  using Inherited = TVxTextParser;
  /// Skip routine of one width.
  using TVxJSONTextParserSkipFunc = void (TVxJSONTextParser::*)(TVxTextParserSkipOp, char16_t);
  /// Check routine of one width: expected character, raise flag.
  using TVxJSONTextParserCheckFunc = bool (TVxJSONTextParser::*)(char16_t, bool);

  /// ADetectEncoding false uses ACodePage as given (0 then reads 8-bit text as ISO-8859-1).
  TVxJSONTextParser(TVxStream* AStream, bool AOwnsStream, uint16_t ACodePage, bool ADetectEncoding = true);

  /// Installs the skip and check routines of the width.
  void SetCharacterSetType(TVxCharacterSetType AType) override;

  /// Skips by the routine of the current width.
  void Skip(TVxTextParserSkipOp AOp, char16_t AChar) { (this->*FSkip)(AOp, AChar); }
  /// Tests the current character by the routine of the current width.
  bool CheckCurrChar(char16_t AChar, bool ARaiseIfNot) { return (this->*FCheck)(AChar, ARaiseIfNot); }

  void SrcASkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  bool SrcACheckCurrChar(char16_t AChar, bool ARaiseIfNot);
  void SrcWSkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  bool SrcWCheckCurrChar(char16_t AChar, bool ARaiseIfNot);
  void SrcUSkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  bool SrcUCheckCurrChar(char16_t AChar, bool ARaiseIfNot);

  /// Scans a JSON string from its opening quote: the raw text (escapes undecoded) goes to ARaw,
  /// the cursor stops on the closing quote or at end of input. A bad escape raises the
  /// not-well-formed failure with the escape expectation and the character found.
  void ReadString(VxJSONString& ARaw);

  /// Raises the not-well-formed failure: AExpected, then the current character.
  [[noreturn]] void NotWellFormed(std::u16string_view AExpected);
  /// The current character as message text (empty at end of input).
  VxString CurrentForMessage() const;

 protected:
  /// Raises EVxJSONParseError with cVxJSONNotWellFormed; subclasses raise their family's error.
  [[noreturn]] virtual void RaiseNotWellFormed(std::u16string_view AExpected);
  /// The expected text of a bad escape.
  virtual std::u16string_view EscapeExpectation() const { return cVxJSONEscapeExpected; }

 private:
  TVxJSONTextParserSkipFunc FSkip = &TVxJSONTextParser::SrcASkipWhile;
  TVxJSONTextParserCheckFunc FCheck = &TVxJSONTextParser::SrcACheckCurrChar;
};

/// Decodes the escapes of a raw JSON string: \" \\ \/ \b \f \n \r \t and \uXXXX. A \u with
/// fewer than four hexadecimal digits, or another escaped character, stands for itself (the
/// backslash is dropped). (The JSON-to-SAX reader's decoding.)
VxJSONString VxJSONUnescape(std::u16string_view ARaw);

// ---------------------------------------------------------------------------------------------
// The value model
// ---------------------------------------------------------------------------------------------

class TVxJSONBase;
class TVxJSONSimpleType;
class TVxJSONMember;
class TVxJSONObject;
class TVxJSONArray;
class TVxJSONDocument;

/// The children of a JSON node: a vector of node pointers that holds a single child in place
/// (a member's value, a document's root, a one-element array), so that most nodes never
/// allocate for their children. 16 bytes instead of a std::vector's 24.
class TVxJSONChildList {
 public:
  TVxJSONChildList() noexcept {}
  TVxJSONChildList(const TVxJSONChildList&) = delete;
  TVxJSONChildList& operator=(const TVxJSONChildList&) = delete;
  ~TVxJSONChildList() {
    if (FCapacity > 1) ::operator delete(FMany);
  }
  std::size_t size() const noexcept { return FSize; }
  bool empty() const noexcept { return FSize == 0; }
  TVxJSONBase** begin() noexcept { return FCapacity > 1 ? FMany : &FOne; }
  TVxJSONBase** end() noexcept { return begin() + FSize; }
  TVxJSONBase* const* begin() const noexcept { return FCapacity > 1 ? FMany : &FOne; }
  TVxJSONBase* const* end() const noexcept { return begin() + FSize; }
  std::reverse_iterator<TVxJSONBase**> rbegin() noexcept { return std::reverse_iterator<TVxJSONBase**>(end()); }
  std::reverse_iterator<TVxJSONBase**> rend() noexcept { return std::reverse_iterator<TVxJSONBase**>(begin()); }
  TVxJSONBase*& operator[](std::size_t AIndex) noexcept { return begin()[AIndex]; }
  TVxJSONBase* operator[](std::size_t AIndex) const noexcept { return begin()[AIndex]; }
  TVxJSONBase* front() const noexcept { return begin()[0]; }
  TVxJSONBase* back() const noexcept { return begin()[FSize - 1]; }
  void push_back(TVxJSONBase* ANode) {
    if (FSize == FCapacity) Grow();
    begin()[FSize++] = ANode;
  }
  void pop_back() noexcept { --FSize; }
  /// Removes one child, keeping the order of the others.
  TVxJSONBase** erase(TVxJSONBase** APos) noexcept {
    TVxJSONBase** last = end();
    for (TVxJSONBase** p = APos; p + 1 < last; ++p) *p = p[1];
    --FSize;
    return APos;
  }

 private:
  void Grow();
  union {
    TVxJSONBase* FOne = nullptr;  // the single child while the capacity is 1
    TVxJSONBase** FMany;          // the children's array from two on
  };
  uint32_t FSize = 0;
  uint32_t FCapacity = 1;
};

/// The base of every JSON node: its parent, data type and children, and the whole node
/// vocabulary; an operation a class does not support raises EVxJSONException
/// cVxJSONMethodNotSupported naming the class and the operation.
///
/// Ownership: a node created with a parent is appended to the parent's children and kept alive
/// by the tree whatever interface references do; freeing a node (FreeObject, or the Delete and
/// Remove operations) takes it out of its parent and destroys it, unless interface references
/// to it are still held: then the last release destroys it.
class TVxJSONBase : public TVxObject {
 public:
  using Inherited = TVxObject;
  /// Which of the five node classes (or their subclasses) a node is.
  enum TNodeKind : uint8_t { nkSimple, nkMember, nkObject, nkArray, nkDocument };
  /// A node appended to AParent's children (nullptr: free-standing).
  explicit TVxJSONBase(TVxJSONBase* AParent);
  ~TVxJSONBase() override;

  // Structure
  TVxJSONBase* Parent() const noexcept { return FParent; }
  TNodeKind NodeKind() const noexcept { return FKind; }
  /// Whether destroying the node frees its children.
  bool OwnsChildren() const noexcept { return FOwnsChildren; }
  /// The children list (members of an object, elements of an array, a member's value, a
  /// document's root).
  int ChildCount() const noexcept { return static_cast<int>(FChildren.size()); }
  TVxJSONBase* Child(int AIndex) const;
  /// Appends a node to the children and keeps a reference to it.
  void InsertObject(TVxJSONBase* AChild);
  /// Takes a node out of the children and drops the reference (without freeing it).
  void RemoveObject(TVxJSONBase* AChild);
  /// Takes the node out of its parent and destroys it (or leaves it to the last reference).
  void FreeObject();
  /// The document at the top of the parent chain; the platform's invalid-cast error
  /// (EInvalidCast) when the top is no document.
  TVxJSONDocument* GetDocument();

  // The node vocabulary
  virtual TVxJSONDataType GetJSONType();
  virtual int Count();
  virtual TVxJSONBase* Item(int AIndex);
  virtual VxJSONString GetName();
  virtual void SetName(const VxJSONString& AName);
  virtual TVxJSONBase* GetValue();
  virtual void SetValue(TVxJSONBase* AValue);
  /// The first member of that name (insertion order), or nullptr; case-insensitive compares
  /// ASCII letters only.
  virtual TVxJSONMember* FindMember(const VxJSONString& AName, bool ACaseInsensitive = false);
  bool HasMember(const VxJSONString& AName, bool ACaseInsensitive = false) { return FindMember(AName, ACaseInsensitive); }
  /// FindMember, then jsoCreate adds the member, jsoRaise raises cVxJSONNoMember (jsoCreate wins).
  virtual TVxJSONMember* GetMember(const VxJSONString& AName, TVxJDOCSelectOptions AOptions = {});
  TVxJSONMember* Member(const VxJSONString& AName, TVxJDOCSelectOptions AOptions = {}) { return GetMember(AName, AOptions); }
  /// The one node a JSON path selects from this node (see TVxJSONPath): nullptr when none
  /// (jsoRaise: cVxJSONPathNoNodes; jsoCreate: creates it along a path of names and indices);
  /// cVxJSONPathMoreNodes when the path selects several.
  TVxJSONBase* SelectSingleNode(const VxJSONString& APath, TVxJDOCSelectOptions AOptions = {});
  /// Every node a JSON path selects from this node, in document order and each once, as a
  /// free-standing array of references (the nodes stay in their tree).
  TVxIntf<TVxJSONArray> CreateNodeList(const VxJSONString& APath, TVxJDOCSelectOptions AOptions = {});
  virtual bool GetAsBoolean();
  virtual double GetAsDouble();
  virtual int32_t GetAsInteger();
  virtual int64_t GetAsLargeInt();
  virtual VxJSONString GetAsString();
  virtual TVxVariant GetAsVariant();
  virtual void SetAsBoolean(bool AValue);
  virtual void SetAsDouble(double AValue);
  virtual void SetAsInteger(int32_t AValue);
  virtual void SetAsLargeInt(int64_t AValue);
  virtual void SetAsString(const VxJSONString& AValue);
  virtual void SetAsVariant(const TVxVariant& AValue);
  virtual TVxJSONObject* GetAsObject();
  virtual TVxJSONArray* GetAsArray();
  virtual TVxJSONBase* AddValue(TVxJSONDataType AType);
  virtual TVxJSONBase* AddValue(TVxJSONDataType AType, const VxJSONString& AText);
  virtual TVxJSONBase* AddValue(const TVxVariant& AValue);
  virtual TVxJSONMember* AddMember(const VxJSONString& AName);
  virtual TVxJSONMember* AddMember(const VxJSONString& AName, TVxJSONDataType AType);
  virtual TVxJSONMember* AddMember(const VxJSONString& AName, TVxJSONDataType AType, const VxJSONString& AText);
  virtual TVxJSONMember* AddMember(const VxJSONString& AName, const TVxVariant& AValue);
  virtual void DeleteMember(int AIndex);
  virtual void DeleteValue(int AIndex);
  virtual void RemoveMember(TVxJSONMember* AMember);
  virtual void RemoveValue(TVxJSONBase* AValue);
  virtual void Exchange(int AIndex1, int AIndex2);

  // Text
  /// The node as compact / formatted JSON.
  VxJSONString GetAsJSON();
  VxJSONString GetFormattedJSON();
  /// An empty text frees the children; any other is loaded (UTF-16).
  void SetAsJSON(const VxJSONString& AText);
  /// Loads from a stream in its own code page (byte-order mark, else detected).
  void LoadFromStream(TVxStream& AStream);
  /// Loads from a stream: an empty stream frees the children; else the JSON reader (or, with
  /// AFormURLEncoded, the form-url-encoded reader) fills the node.
  virtual void LoadFromStream(TVxStream& AStream, uint16_t ACodePage, bool AFormURLEncoded);
  /// Writes the node as UTF-16 text: AIndent puts the indentation of ALevel (two spaces each)
  /// before the first character.
  virtual void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel);
  /// Whether loads accept white space after a top-level object or array (the reader's
  /// AllowTrailingWhiteSpace; off by default).
  bool AllowTrailingWhiteSpace() const noexcept { return FAllowTrailingWhiteSpace; }
  void SetAllowTrailingWhiteSpace(bool AValue) noexcept { FAllowTrailingWhiteSpace = AValue; }

 protected:
  /// Raises cVxJSONMethodNotSupported for AOperation.
  [[noreturn]] void Refuse(const char16_t* AOperation) const;
  /// Frees all children.
  void DestroyObjects();
  /// Destroys a node without recursion through its descendants.
  static void DestroyNode(TVxJSONBase* ANode);

  TVxJSONBase* FParent = nullptr;
  TVxJSONDataType FDataType = jdtNull;
  TNodeKind FKind = nkSimple;
  bool FOwnsChildren = true;
  bool FAllowTrailingWhiteSpace = false;
  TVxJSONChildList FChildren;

  friend class TVxJSONHandler;
  friend class TVxJSONWriterWalk;
};

/// Implements the node interfaces for a node class: each operation of IVxJSONBase forwards to
/// the node's own operation (so the interface and the object behave alike).
template <class TBase, class I>
class TVxJSONImplements : public TVxImplements<TBase, I> {
 public:
  using TVxImplements<TBase, I>::TVxImplements;
  TVxJSONDataType GetJSONType() override { return TBase::GetJSONType(); }
  int Count() override { return TBase::Count(); }
  TVxIntf<IVxJSONBase> GetItemIntf(int AIndex) override { return Intf<IVxJSONBase>(this->Item(AIndex)); }
  TVxIntf<IVxJSONMember> FindMemberIntf(const VxJSONString& AName, bool ACaseInsensitive) override {
    return Intf<IVxJSONMember>(this->FindMember(AName, ACaseInsensitive));
  }
  bool HasMember(const VxJSONString& AName, bool ACaseInsensitive) override { return TBase::HasMember(AName, ACaseInsensitive); }
  TVxIntf<IVxJSONMember> GetMemberIntf(const VxJSONString& AName, TVxJDOCSelectOptions AOptions) override {
    return Intf<IVxJSONMember>(this->GetMember(AName, AOptions));
  }
  TVxIntf<IVxJSONBase> SelectIntf(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) override {
    return Intf<IVxJSONBase>(this->SelectSingleNode(APath, AOptions));
  }
  TVxIntf<IVxJSONArray> CreateNodeListIntf(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) override;
  bool GetAsBoolean() override { return TBase::GetAsBoolean(); }
  double GetAsDouble() override { return TBase::GetAsDouble(); }
  int32_t GetAsInteger() override { return TBase::GetAsInteger(); }
  int64_t GetAsLargeInt() override { return TBase::GetAsLargeInt(); }
  VxJSONString GetAsString() override { return TBase::GetAsString(); }
  TVxVariant GetAsVariant() override { return TBase::GetAsVariant(); }
  void SetAsBoolean(bool AValue) override { TBase::SetAsBoolean(AValue); }
  void SetAsDouble(double AValue) override { TBase::SetAsDouble(AValue); }
  void SetAsInteger(int32_t AValue) override { TBase::SetAsInteger(AValue); }
  void SetAsLargeInt(int64_t AValue) override { TBase::SetAsLargeInt(AValue); }
  void SetAsString(const VxJSONString& AValue) override { TBase::SetAsString(AValue); }
  void SetAsVariant(const TVxVariant& AValue) override { TBase::SetAsVariant(AValue); }
  TVxIntf<IVxJSONObject> GetAsObjectIntf() override { return Intf<IVxJSONObject>(this->GetAsObject()); }
  TVxIntf<IVxJSONArray> GetAsArrayIntf() override { return Intf<IVxJSONArray>(this->GetAsArray()); }
  VxJSONString GetAsJSON() override { return TBase::GetAsJSON(); }
  VxJSONString GetFormattedJSON() override { return TBase::GetFormattedJSON(); }
  void SetAsJSON(const VxJSONString& AText) override { TBase::SetAsJSON(AText); }
  using I::SaveToStream;
  void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) override {
    TBase::SaveToStream(AStream, AFormatted, AIndent, ALevel);
  }
  void LoadFromStream(TVxStream& AStream, uint16_t ACodePage, bool AFormURLEncoded) override {
    TBase::LoadFromStream(AStream, ACodePage, AFormURLEncoded);
  }
  using TBase::LoadFromStream;
  TVxJSONBase* JSONBase() override { return this; }

 protected:
  template <class J>
  static TVxIntf<J> Intf(TVxJSONBase* ANode) {
    return ANode ? ANode->template As<J>() : TVxIntf<J>();
  }
};

/// A string, number, boolean or null. Read values keep their text (a number "1.50" stays
/// "1.50"); values set through the setters keep their variant.
class TVxJSONSimpleType : public TVxJSONImplements<TVxJSONBase, IVxJSONSimpleType> {
 public:
  using Inherited = TVxJSONBase;
  explicit TVxJSONSimpleType(TVxJSONBase* AParent, TVxJSONDataType AType = jdtNull);
  TVxJSONDataType GetJSONType() override { return FDataType; }
  bool GetAsBoolean() override;
  double GetAsDouble() override;
  int32_t GetAsInteger() override;
  int64_t GetAsLargeInt() override;
  VxJSONString GetAsString() override;
  TVxVariant GetAsVariant() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(double AValue) override;
  void SetAsInteger(int32_t AValue) override;
  void SetAsLargeInt(int64_t AValue) override;
  void SetAsString(const VxJSONString& AValue) override;
  void SetAsVariant(const TVxVariant& AValue) override;
  /// Stores text with a data type (as the reader does: numbers and booleans held as text).
  void SetText(TVxJSONDataType AType, VxJSONString AText);
  /// The stored value: text when stored as text, else the variant.
  bool HoldsText() const noexcept { return !FVariant; }
  const VxJSONString& Text() const noexcept { return FText; }
  void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) override;

 private:
  VxJSONString FText;                     // the value when it is text
  std::unique_ptr<TVxVariant> FVariant;   // otherwise (null until a setter stores another kind)
  bool FNull = true;                      // no value stored yet (the null variant)
};

/// A member: a name and one value node.
class TVxJSONMember : public TVxJSONImplements<TVxJSONBase, IVxJSONMember> {
 public:
  using Inherited = TVxJSONBase;
  explicit TVxJSONMember(TVxJSONBase* AParent, VxJSONString AName = {});
  TVxJSONDataType GetJSONType() override { return FDataType; }
  VxJSONString GetName() override { return FName; }
  const VxJSONString& Name() const noexcept { return FName; }
  void SetName(const VxJSONString& AName) override { FName = AName; }
  TVxJSONBase* GetValue() override { return Value(); }
  /// The value node (the member's only child), or nullptr.
  TVxJSONBase* Value() const noexcept { return FChildren.empty() ? nullptr : FChildren.front(); }
  void SetValue(TVxJSONBase* AValue) override;
  /// A new value of the type (the previous one freed): object, array, or simple value.
  TVxJSONBase* CreateValue(TVxJSONDataType AType);
  bool GetAsBoolean() override;
  double GetAsDouble() override;
  int32_t GetAsInteger() override;
  int64_t GetAsLargeInt() override;
  VxJSONString GetAsString() override;
  TVxVariant GetAsVariant() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(double AValue) override;
  void SetAsInteger(int32_t AValue) override;
  void SetAsLargeInt(int64_t AValue) override;
  void SetAsString(const VxJSONString& AValue) override;
  void SetAsVariant(const TVxVariant& AValue) override;
  TVxJSONObject* GetAsObject() override;
  TVxJSONArray* GetAsArray() override;
  TVxJSONBase* AddValue(TVxJSONDataType AType) override;
  TVxJSONBase* AddValue(TVxJSONDataType AType, const VxJSONString& AText) override;
  TVxJSONBase* AddValue(const TVxVariant& AValue) override;
  TVxIntf<IVxJSONBase> GetValueIntf() override { return Intf<IVxJSONBase>(Value()); }
  TVxIntf<IVxJSONBase> AddValueIntf1(TVxJSONDataType AType) override { return Intf<IVxJSONBase>(AddValue(AType)); }
  TVxIntf<IVxJSONBase> AddValueIntf2(TVxJSONDataType AType, const VxJSONString& AText) override {
    return Intf<IVxJSONBase>(AddValue(AType, AText));
  }
  TVxIntf<IVxJSONBase> AddValueIntf3(const TVxVariant& AValue) override { return Intf<IVxJSONBase>(AddValue(AValue)); }
  void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) override;

 private:
  TVxJSONSimpleType* SimpleValueFor(TVxJSONDataType AType, const char16_t* AOperation);
  TVxJSONSimpleType* SimpleValue(const char16_t* AOperation);
  VxJSONString FName;  // the value is the only child

  friend class TVxJSONBase;
};

/// An object: members in insertion order; names may repeat (lookups find the first).
class TVxJSONObject : public TVxJSONImplements<TVxJSONBase, IVxJSONObject> {
 public:
  using Inherited = TVxJSONBase;
  explicit TVxJSONObject(TVxJSONBase* AParent);
  TVxJSONDataType GetJSONType() override { return jdtObject; }
  int Count() override { return ChildCount(); }
  TVxJSONBase* Item(int AIndex) override { return Child(AIndex); }
  TVxJSONMember* FindMember(const VxJSONString& AName, bool ACaseInsensitive = false) override;
  TVxJSONMember* GetMember(const VxJSONString& AName, TVxJDOCSelectOptions AOptions = {}) override;
  TVxJSONObject* GetAsObject() override { return this; }
  TVxJSONMember* AddMember(const VxJSONString& AName) override;
  TVxJSONMember* AddMember(const VxJSONString& AName, TVxJSONDataType AType) override;
  TVxJSONMember* AddMember(const VxJSONString& AName, TVxJSONDataType AType, const VxJSONString& AText) override;
  TVxJSONMember* AddMember(const VxJSONString& AName, const TVxVariant& AValue) override;
  void DeleteMember(int AIndex) override;
  void RemoveMember(TVxJSONMember* AMember) override;
  /// "#/" and the names of the member ancestors, nearest last, joined by "/".
  VxJSONString GetPath() override;
  TVxIntf<IVxJSONMember> AddMemberIntf1(const VxJSONString& AName) override { return Intf<IVxJSONMember>(AddMember(AName)); }
  TVxIntf<IVxJSONMember> AddMemberIntf2(const VxJSONString& AName, TVxJSONDataType AType) override {
    return Intf<IVxJSONMember>(AddMember(AName, AType));
  }
  TVxIntf<IVxJSONMember> AddMemberIntf3(const VxJSONString& AName, TVxJSONDataType AType, const VxJSONString& AText) override {
    return Intf<IVxJSONMember>(AddMember(AName, AType, AText));
  }
  TVxIntf<IVxJSONMember> AddMemberIntf4(const VxJSONString& AName, const TVxVariant& AValue) override {
    return Intf<IVxJSONMember>(AddMember(AName, AValue));
  }
  void RemoveMemberIntf(const TVxIntf<IVxJSONMember>& AMember) override;
  void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) override;
  /// The member most recently added by the tree builder.
  TVxJSONMember* LastMember() const noexcept { return FLastMember; }

 private:
  TVxJSONMember* FLastMember = nullptr;
  friend class TVxJSONHandler;
  friend class TVxJSONBase;
};

/// An array: elements in order. Created without parent it is a plain list of references: its
/// elements are not freed with it (those it created itself excepted).
class TVxJSONArray : public TVxJSONImplements<TVxJSONBase, IVxJSONArray> {
 public:
  using Inherited = TVxJSONBase;
  explicit TVxJSONArray(TVxJSONBase* AParent);
  TVxJSONDataType GetJSONType() override { return jdtArray; }
  int Count() override { return ChildCount(); }
  TVxJSONBase* Item(int AIndex) override { return Child(AIndex); }
  TVxJSONArray* GetAsArray() override { return this; }
  TVxJSONBase* AddValue(TVxJSONDataType AType) override;
  TVxJSONBase* AddValue(TVxJSONDataType AType, const VxJSONString& AText) override;
  TVxJSONBase* AddValue(const TVxVariant& AValue) override;
  void DeleteValue(int AIndex) override;
  void RemoveValue(TVxJSONBase* AValue) override;
  void Exchange(int AIndex1, int AIndex2) override;
  TVxIntf<IVxJSONBase> AddValueIntf1(TVxJSONDataType AType) override { return Intf<IVxJSONBase>(AddValue(AType)); }
  TVxIntf<IVxJSONBase> AddValueIntf2(TVxJSONDataType AType, const VxJSONString& AText) override {
    return Intf<IVxJSONBase>(AddValue(AType, AText));
  }
  TVxIntf<IVxJSONBase> AddValueIntf3(const TVxVariant& AValue) override { return Intf<IVxJSONBase>(AddValue(AValue)); }
  void RemoveValueIntf(const TVxIntf<IVxJSONBase>& AValue) override;
  void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) override;
  /// Appends a reference to a node of another tree (the node keeps its parent); meant for the
  /// free-standing arrays that list nodes.
  void AddReference(TVxJSONBase* ANode);
};

/// A document: at most one root value. Create it with VxMake<TVxJSONDocument>(...) (its
/// interface references keep it alive).
class TVxJSONDocument : public TVxJSONImplements<TVxJSONBase, IVxJSONDocument> {
 public:
  using Inherited = TVxJSONBase;
  TVxJSONDocument();
  /// From UTF-16 JSON text (SetAsJSON).
  explicit TVxJSONDocument(const VxJSONString& AText);
  /// From 8-bit JSON text in a code page (converted to UTF-16 first).
  TVxJSONDocument(std::string_view AText, uint16_t ACodePage);
  /// From a file (LoadFromFile).
  TVxJSONDocument(const VxString& AFileName, uint16_t AMode);
  /// From a stream (LoadFromStream).
  TVxJSONDocument(TVxStream& AStream, uint16_t ACodePage, bool AFormURLEncoded);

  TVxJSONDataType GetJSONType() override { return FDataType; }
  /// The root value's Item; EVxJSONParseError cVxJSONNoRoot without root.
  TVxJSONBase* Item(int AIndex) override;
  TVxJSONMember* FindMember(const VxJSONString& AName, bool ACaseInsensitive = false) override;
  TVxJSONMember* GetMember(const VxJSONString& AName, TVxJDOCSelectOptions AOptions = {}) override;
  /// Frees any root and creates a new one: an object, an array, or a simple value.
  TVxJSONBase* CreateRootValue(TVxJSONDataType AType);
  /// The root value (the single child), or nullptr.
  TVxJSONBase* GetRootValue();
  /// Loads a file; a missing file raises EStreamError cVxJSONNoFile.
  void LoadFromFile(const VxString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite) override;
  template <VxFileSystemPath P>
  void LoadFromFile(const P& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite) {
    LoadFromFile(VxUTF8ToUTF16(AFileName.string()), AMode);
  }
  /// Creates (or replaces) a file and saves the document as UTF-8 into it.
  void SaveToFile(const VxString& AFileName, bool AFormatted) override;
  template <VxFileSystemPath P>
  void SaveToFile(const P& AFileName, bool AFormatted) {
    SaveToFile(VxUTF8ToUTF16(AFileName.string()), AFormatted);
  }
  /// Writes the root value in a code page: 1200 UTF-16LE, 65001 UTF-8 (each with its
  /// byte-order mark when asked), any other through the code page's converter ("?" for what
  /// it lacks); an unknown code page raises EVxEncodingNotSupported.
  void SaveToStream(TVxStream& AStream, bool AFormatted, uint16_t ACodePage, bool AWriteBOM) override;
  void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) override;
  TVxIntf<IVxJSONBase> CreateRootValueIntf(TVxJSONDataType AType) override { return Intf<IVxJSONBase>(CreateRootValue(AType)); }
  TVxIntf<IVxJSONBase> GetRootValueIntf() override { return Intf<IVxJSONBase>(GetRootValue()); }

 private:
  TVxJSONBase* RootOrRaise();
};

/// GetMember with a path (a text TVxJSONPath::LooksLikePath accepts): the member whose value the
/// path selects from ANode (jsoCreate creates it); nullptr, or with jsoRaise cVxJSONNoMember,
/// when the path selects an array element or nothing.
TVxJSONMember* VxJSONMemberByPath(TVxJSONBase* ANode, const VxJSONString& APath, TVxJDOCSelectOptions AOptions);

template <class TBase, class I>
TVxIntf<IVxJSONArray> TVxJSONImplements<TBase, I>::CreateNodeListIntf(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) {
  TVxIntf<TVxJSONArray> list = this->CreateNodeList(APath, AOptions);
  return list->template As<IVxJSONArray>();
}

// ---------------------------------------------------------------------------------------------
// JSON paths
// ---------------------------------------------------------------------------------------------

/// A compiled JSON path. "$" is the top of the context node's tree (a document's root value),
/// "@" (or nothing) the context node; ".name", "['name']", "[n]" (negative: from the end),
/// "[a,'b',2]", "[start:end:step]", "*", "[*]", ".." (descendants) and filters "[?(...)]" with
/// == != < <= > >=, &&, ||, ! and parentheses over relative paths and literals follow.
/// Selections yield value nodes (a member's value, an array's element; a member without value
/// stands for itself). docs/architecture.md has the grammar. Compile once, evaluate often: a
/// path holds no node and may be used from several threads at once.
class TVxJSONPath {
 public:
  /// Compiles a path; EVxJSONPathError cVxJSONPathInvalid (with the position),
  /// cVxJSONPathScript or cVxJSONPathFilterInvalid when it cannot.
  explicit TVxJSONPath(std::u16string_view APath);
  TVxJSONPath(TVxJSONPath&&) noexcept;
  TVxJSONPath& operator=(TVxJSONPath&&) noexcept;
  ~TVxJSONPath();
  /// The path text.
  const VxJSONString& Text() const noexcept;
  /// Whether the path is only names and indices (what jsoCreate can create).
  bool IsSimple() const noexcept;
  /// Every selected node, in document order, each once.
  std::vector<TVxJSONBase*> Evaluate(TVxJSONBase* AContext, bool ACaseInsensitive = false) const;
  /// TVxJSONBase::SelectSingleNode with this path.
  TVxJSONBase* SelectSingleNode(TVxJSONBase* AContext, TVxJDOCSelectOptions AOptions = {}) const;
  /// TVxJSONBase::CreateNodeList with this path.
  TVxIntf<TVxJSONArray> CreateNodeList(TVxJSONBase* AContext, TVxJDOCSelectOptions AOptions = {}) const;
  /// Whether a text is taken as a path by GetMember: it starts with "$." "$[" "@." or "@[".
  static bool LooksLikePath(std::u16string_view AText) noexcept;

  struct TImpl;

 private:
  TVxJSONBase* Create(TVxJSONBase* AContext, bool ACaseInsensitive) const;
  std::unique_ptr<TImpl> FImpl;
};

// ---------------------------------------------------------------------------------------------
// The reader
// ---------------------------------------------------------------------------------------------

/// The JSON reader: walks the text and reports it to the content handler. Between tokens it
/// is lenient (text is passed over, a trailing comma yields nothing, a number's form is not
/// checked); several top-level values are read in turn; white space after a top-level object
/// or array is refused unless AllowTrailingWhiteSpace is set.
class TVxJSONReader : public TVxImplements<TVxObject, IVxJSONReader, IVxJSONLocator> {
 public:
  using Inherited = TVxObject;
  TVxJSONReader() = default;
  ~TVxJSONReader() override;

  void SetContentHandler(const TVxIntf<IVxJSONContentHandler>& AHandler) override { FContentHandler = AHandler; }
  TVxIntf<IVxJSONContentHandler> GetContentHandler() override { return FContentHandler; }
  void SetErrorHandler(const TVxIntf<IVxJSONErrorHandler>& AHandler) override { FErrorHandler = AHandler; }
  TVxIntf<IVxJSONErrorHandler> GetErrorHandler() override { return FErrorHandler; }

  void ParseFile(const VxString& AFileName, uint16_t ACodePage, const VxString& ASystemID) override;
  void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxString& ASystemID) override;
  void ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxString& ASystemID) override;
  void Parse(std::u16string_view AText, const VxString& ASystemID) override;
  void Parse(std::string_view AText, uint16_t ACodePage, const VxString& ASystemID) override;

  int64_t GetLineNr() override;
  int64_t GetColNr() override;
  VxString GetPublicID() override { return FSystemID; }

  /// Accept white space after a top-level object or array (off by default).
  bool AllowTrailingWhiteSpace() const noexcept { return FAllowTrailingWhiteSpace; }
  void SetAllowTrailingWhiteSpace(bool AValue) noexcept { FAllowTrailingWhiteSpace = AValue; }

 protected:
  /// Reads the text at the cursor and raises the events.
  virtual void InternalParse();
  /// Runs AParse over a cursor: FatalError once and the exception again on failure.
  void RunParse(TVxStream& AStream, uint16_t ACodePage, bool ADetect, const VxString& ASystemID);
  TVxJSONTextParser* Cursor() const noexcept { return FParser.get(); }
  IVxJSONContentHandler* Content() const noexcept { return FContentHandler.Get(); }
  void CheckHandlers();

 private:
  void ParseContainer();
  void ParseSimpleValue();
  VxString FSystemID;
  TVxIntf<IVxJSONContentHandler> FContentHandler;
  TVxIntf<IVxJSONErrorHandler> FErrorHandler;
  std::unique_ptr<TVxJSONTextParser> FParser;
  bool FEOFFailure = false;
  bool FAllowTrailingWhiteSpace = false;
  int64_t FFailLine = -1, FFailCol = -1;
  VxJSONString FText;  // the raw text of the current value or name
};

/// Reads application/x-www-form-urlencoded text ("a=1&b[c]=2&d[]=3") and raises the JSON
/// reader's events: the pairs become members of one object; bracketed name segments make
/// nested objects ("a[b]"), arrays ("a[]", "a[0]"). See docs/architecture.md for the mapping.
class TVxFormURLEncodedJSONReader : public TVxJSONReader {
 public:
  using Inherited = TVxJSONReader;

 protected:
  void InternalParse() override;
};

/// Builds a node tree from the reader's events; values are decoded (VxJSONtoStr) and numbers
/// and booleans held as text with their data type. Member names are kept as read.
class TVxJSONHandler : public TVxImplements<TVxObject, IVxJSONContentHandler, IVxJSONErrorHandler> {
 public:
  using Inherited = TVxObject;
  /// Builds into ANode (a document, an object, an array or a member).
  explicit TVxJSONHandler(TVxJSONBase* ANode) : FCurrent(ANode) {}
  void SetDocumentLocator(IVxJSONLocator*) override {}
  void StartDocument() override {}
  void StartObject() override;
  void StartMember(const VxJSONString& AName) override;
  void StartArray() override;
  void Value(TVxJSONDataType AType, const VxJSONString& AText) override;
  void EndArray() override { Up(); }
  void EndMember() override { SettlePending(); }
  void EndObject() override { Up(); }
  void EndDocument() override { SettlePending(); }
  void Warning(IVxJSONLocator*, const VxString&) override {}
  void Error(IVxJSONLocator*, const VxString&) override {}
  void FatalError(IVxJSONLocator*, const VxString&) override { SettlePending(); }

 private:
  TVxJSONBase* OpenContainer(TVxJSONDataType AType);
  static TVxJSONMember* MemberOf(TVxJSONBase* AObject);
  void SettlePending();
  void Up();
  TVxJSONBase* FCurrent;
  TVxJSONMember* FPending = nullptr;  // a member still waiting for its value
};

class TVxJSONParser;
using TVxJSONOnStartDocument = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnEndDocument = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnStartObject = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnEndObject = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnStartArray = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnEndArray = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnStartMember = std::function<void(TVxJSONParser* Sender, const VxJSONString& AName)>;
using TVxJSONOnEndMember = std::function<void(TVxJSONParser* Sender)>;
using TVxJSONOnValue = std::function<void(TVxJSONParser* Sender, TVxJSONDataType AType, const VxJSONString& AText)>;
using TVxJSONOnError = std::function<void(IVxJSONLocator* ALocator, const VxString& AMessage)>;

/// The JSON parser component: a reader per call, with itself as handler, each handler call
/// forwarded to its event when one is set.
class TVxJSONParser : public TVxImplements<TVxComponent, IVxJSONContentHandler, IVxJSONErrorHandler> {
 public:
  using Inherited = TVxComponent;
  explicit TVxJSONParser(TVxComponent* AOwner = nullptr) : TVxImplements(AOwner) {}
  void ParseFile(const VxString& AFileName, uint16_t ACodePage, const VxString& ASystemID);
  /// AFormURLEncoded picks the form-url-encoded reader.
  void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxString& ASystemID,
                   bool AFormURLEncoded = false);
  void ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxString& ASystemID, bool AFormURLEncoded = false);
  void Parse(std::u16string_view AText, const VxString& ASystemID);
  void Parse(std::string_view AText, uint16_t ACodePage, const VxString& ASystemID);
  /// Accept white space after a top-level object or array (off by default).
  bool AllowTrailingWhiteSpace = false;

  TVxJSONOnStartDocument OnStartDocument;
  TVxJSONOnEndDocument OnEndDocument;
  TVxJSONOnStartObject OnStartObject;
  TVxJSONOnEndObject OnEndObject;
  TVxJSONOnStartArray OnStartArray;
  TVxJSONOnEndArray OnEndArray;
  TVxJSONOnStartMember OnStartMember;
  TVxJSONOnEndMember OnEndMember;
  TVxJSONOnValue OnValue;
  TVxJSONOnError OnWarning, OnError, OnFatalError;

  void SetDocumentLocator(IVxJSONLocator*) override {}
  void StartDocument() override;
  void StartObject() override;
  void StartMember(const VxJSONString& AName) override;
  void StartArray() override;
  void Value(TVxJSONDataType AType, const VxJSONString& AText) override;
  void EndArray() override;
  void EndMember() override;
  void EndObject() override;
  void EndDocument() override;
  void Warning(IVxJSONLocator* ALocator, const VxString& AMessage) override;
  void Error(IVxJSONLocator* ALocator, const VxString& AMessage) override;
  void FatalError(IVxJSONLocator* ALocator, const VxString& AMessage) override;

 private:
  TVxIntf<TVxJSONReader> NewReader(bool AFormURLEncoded);
};

// ---------------------------------------------------------------------------------------------
// Text, escaping and conversions
// ---------------------------------------------------------------------------------------------

/// The escaped form of a string, without quotes: \b \t \n \f \r, a backslash before ", / and \,
/// U+0001..U+0007 dropped, U+0100 and up as \uXXXX (upper-case digits), the rest as it is.
VxJSONString VxStrToJSON(std::u16string_view AText);
/// Decodes a raw value: backslash escapes (\n, \uXXXX, \%XX, any other character for itself)
/// and, for numbers only, %XX.
VxJSONString VxJSONtoStr(std::u16string_view AText, TVxJSONDataType AType = jdtString);
/// Parses JSON text into a fresh document and answers its formatted text.
VxJSONString VxFormatJSON(const VxJSONString& AText);
VxJSONString VxFormatJSON(std::string_view AText, uint16_t ACodePage = cVxCodePageUTF8);

/// The JSON text of a value: integers, floats, booleans and dates by the XML value formats,
/// strings quoted and escaped, arrays as "[a,b]", anything else "null".
VxJSONString VxVarToJSON(const TVxVariant& AValue);
/// The JSON data type a value is stored as.
TVxJSONDataType VxVarTypeToJSONType(const TVxVariant& AValue);
/// JSON date texts: "" gives 0; "/Date(ms)/" the milliseconds since 1970-01-01; anything else
/// the XML Schema form.
TDateTime VxJSONToDate(std::u16string_view AText);
TDateTime VxJSONToTime(std::u16string_view AText);
TDateTime VxJSONToDateTime(std::u16string_view AText);
/// Variant forms: null gives ADefault, numbers are date-time numbers, text as above, dates as
/// they are; other kinds raise EConvertError.
TDateTime VxJSONToDate(const TVxVariant& AValue, TDateTime ADefault);
TDateTime VxJSONToTime(const TVxVariant& AValue, TDateTime ADefault);
TDateTime VxJSONToDateTime(const TVxVariant& AValue, TDateTime ADefault);
/// Text forms that answer ADefault instead of failing.
TDateTime VxJSONToDateDef(std::u16string_view AText, TDateTime ADefault);
TDateTime VxJSONToTimeDef(std::u16string_view AText, TDateTime ADefault);
TDateTime VxJSONToDateTimeDef(std::u16string_view AText, TDateTime ADefault);
/// The schema type name of a type description, its format name, and its schema data type.
std::string VxJSONType(const TVxTypeInfo& AType, std::string& AFormat, TVxSchemaDataType* ASchemaDataType = nullptr);

}  // namespace vx
