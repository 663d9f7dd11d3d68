// uVxJSONInterfaces: the JSON value kinds and options, the JSON exception family and its
// messages, and the interfaces of the JSON nodes, the reader and its handlers.
#pragma once

#include <cstdint>

#include "uVxClasses.h"
#include "uVxStreams.h"
#include "uVxSysUtils.h"
#include "uVxVariants.h"

namespace vx {

/// Kind of a JSON value; the ordinals are stored and compared.
enum TVxJSONDataType : uint8_t { jdtNull = 0, jdtString = 1, jdtNumber = 2, jdtBoolean = 3, jdtObject = 4, jdtArray = 5 };

/// Options of member lookups: raise when missing (bit 1), create when missing (bit 2), compare
/// names ignoring ASCII case (bit 4).
enum TVxJDOCSelectOption : uint8_t { jsoRaise, jsoCreate, jsoCaseInsensitive };
using TVxJDOCSelectOptions = TVxSet<TVxJDOCSelectOption>;

/// Base of JSON failures.
class EVxJSONException : public EVxException {
 public:
  using EVxException::EVxException;
};

/// A JSON text that is not well formed.
class EVxJSONParseError : public EVxJSONException {
 public:
  using EVxJSONException::EVxJSONException;
};

/// A JSON path that cannot be compiled or evaluated, and the selections it refuses.
class EVxJSONPathError : public EVxJSONException {
 public:
  using EVxJSONException::EVxJSONException;
};

/// Messages of path selection.
inline constexpr char16_t cVxJSONPathNoNodes[] = u"The specified path returned no nodes!";
inline constexpr char16_t cVxJSONPathMoreNodes[] = u"The specified path returned more than 1 node!";
inline constexpr char16_t cVxJSONPathInvalid[] = u"The specified path is not a valid JSON path.";
inline constexpr char16_t cVxJSONPathScript[] = u"Script expressions are not yet supported!";
inline constexpr char16_t cVxJSONPathFilterInvalid[] = u"The specified script expression is too complex or not valid!";
/// The second line of cVxJSONPathInvalid and cVxJSONPathFilterInvalid: the 1-based position in
/// the path and what was wrong there.
inline constexpr char16_t cVxJSONPathPosition[] = u"%s\r\nPosition %d: %s";
/// jsoCreate along a path it cannot create; the second %s says why.
inline constexpr char16_t cVxJSONPathCannotCreate[] = u"The path \"%s\" cannot be created with jsoCreate: %s";

inline constexpr char16_t cVxJSONNotWellFormed[] = u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
inline constexpr char16_t cVxJSONNoContentHandler[] = u"No contenthandler has been assigned!";
inline constexpr char16_t cVxJSONNoErrorHandler[] = u"No errorhandler has been assigned!";
inline constexpr char16_t cVxJSONEncodingNotSupported[] = u"The specified encoding is not supported!";
inline constexpr char16_t cVxJSONMethodNotSupported[] = u"Instances of %s do not support the %s method!";
inline constexpr char16_t cVxJSONNoMember[] = u"There is no member with the name \"%s\"!";
inline constexpr char16_t cVxJSONUnexpectedType[] = u"Unexptected JSON type!";
/// Published for users of the library; no operation of the library raises them.
inline constexpr char16_t cVxJSONArrayExpected[] = u"Array expected. %s found.";
inline constexpr char16_t cVxJSONObjectExpected[] = u"Object expected. %s found.";
inline constexpr char16_t cVxJSONNoRoot[] = u"There is no root value!";
inline constexpr char16_t cVxJSONNoFile[] = u"There is no file \"%s\"";
/// Texts of the tree builder.
inline constexpr char16_t cVxJSONOeps[] = u"oeps?";
inline constexpr char16_t cVxJSONInvalidObjectType[] = u"Invalid objecttype";
/// Messages of the form-url-encoded reader.
inline constexpr char16_t cVxJSONBracketExpected[] =
    u"The parser expected to read a \"[\" character, but \"%s\", was read instead!";
inline constexpr char16_t cVxJSONInvalidUTF8[] = u"Invalid UTF8 Encoding detected";
/// Expected texts of the JSON reader's messages.
inline constexpr char16_t cVxJSONEscapeExpected[] = u"\\\", \\\\, /, b, f, n, r, t or u";
inline constexpr char16_t cVxJSONValueExpected[] = u"\\\", t, f, n, 0..9, ., + or -";

// ---------------------------------------------------------------------------------------------
// Node interfaces
// ---------------------------------------------------------------------------------------------

class TVxJSONBase;
class IVxJSONMember;
class IVxJSONObject;
class IVxJSONArray;

/// Any JSON node. Operations a node's class does not support raise EVxJSONException
/// cVxJSONMethodNotSupported with the class and the operation.
class IVxJSONBase : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000B1");
  virtual TVxJSONDataType GetJSONType() = 0;
  /// Members of an object, elements of an array.
  virtual int Count() = 0;
  virtual TVxIntf<IVxJSONBase> GetItemIntf(int AIndex) = 0;
  /// The first member of that name, or empty.
  virtual TVxIntf<IVxJSONMember> FindMemberIntf(const VxJSONString& AName, bool ACaseInsensitive = false) = 0;
  virtual bool HasMember(const VxJSONString& AName, bool ACaseInsensitive = false) = 0;
  /// The member of that name under the options (jsoCreate, jsoRaise, jsoCaseInsensitive); a
  /// text that starts with "$." "$[" "@." or "@[" and names no member is a JSON path: the member
  /// whose value it selects.
  virtual TVxIntf<IVxJSONMember> GetMemberIntf(const VxJSONString& AName, TVxJDOCSelectOptions AOptions) = 0;
  /// The one node a JSON path selects from this node, or empty (TVxJSONBase::SelectSingleNode).
  virtual TVxIntf<IVxJSONBase> SelectIntf(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) = 0;
  /// Every node a JSON path selects, in document order (TVxJSONBase::CreateNodeList).
  virtual TVxIntf<IVxJSONArray> CreateNodeListIntf(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) = 0;
  virtual bool GetAsBoolean() = 0;
  virtual double GetAsDouble() = 0;
  virtual int32_t GetAsInteger() = 0;
  virtual int64_t GetAsLargeInt() = 0;
  virtual VxJSONString GetAsString() = 0;
  virtual TVxVariant GetAsVariant() = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsDouble(double AValue) = 0;
  virtual void SetAsInteger(int32_t AValue) = 0;
  virtual void SetAsLargeInt(int64_t AValue) = 0;
  virtual void SetAsString(const VxJSONString& AValue) = 0;
  virtual void SetAsVariant(const TVxVariant& AValue) = 0;
  virtual TVxIntf<IVxJSONObject> GetAsObjectIntf() = 0;
  virtual TVxIntf<IVxJSONArray> GetAsArrayIntf() = 0;
  /// The node as compact / formatted JSON text.
  virtual VxJSONString GetAsJSON() = 0;
  virtual VxJSONString GetFormattedJSON() = 0;
  /// Replaces the node's content with JSON text (an empty text removes it).
  virtual void SetAsJSON(const VxJSONString& AText) = 0;
  virtual void SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) = 0;
  virtual void LoadFromStream(TVxStream& AStream, uint16_t ACodePage, bool AFormURLEncoded) = 0;
  /// The node object behind the interface.
  virtual TVxJSONBase* JSONBase() = 0;
};

/// A string, number, boolean or null.
class IVxJSONSimpleType : public IVxJSONBase {
 public:
  using Inherited = IVxJSONBase;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000B2");
};

/// A member of an object: a name and a value.
class IVxJSONMember : public IVxJSONBase {
 public:
  using Inherited = IVxJSONBase;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000B3");
  virtual VxJSONString GetName() = 0;
  virtual void SetName(const VxJSONString& AName) = 0;
  /// The value node, or empty.
  virtual TVxIntf<IVxJSONBase> GetValueIntf() = 0;
  /// Creates the member's value (when it has none yet).
  virtual TVxIntf<IVxJSONBase> AddValueIntf1(TVxJSONDataType AType) = 0;
  virtual TVxIntf<IVxJSONBase> AddValueIntf2(TVxJSONDataType AType, const VxJSONString& AText) = 0;
  virtual TVxIntf<IVxJSONBase> AddValueIntf3(const TVxVariant& AValue) = 0;
};

/// An object: members in insertion order (names may repeat).
class IVxJSONObject : public IVxJSONBase {
 public:
  using Inherited = IVxJSONBase;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000B4");
  virtual TVxIntf<IVxJSONMember> AddMemberIntf1(const VxJSONString& AName) = 0;
  virtual TVxIntf<IVxJSONMember> AddMemberIntf2(const VxJSONString& AName, TVxJSONDataType AType) = 0;
  virtual TVxIntf<IVxJSONMember> AddMemberIntf3(const VxJSONString& AName, TVxJSONDataType AType,
                                                const VxJSONString& AText) = 0;
  virtual TVxIntf<IVxJSONMember> AddMemberIntf4(const VxJSONString& AName, const TVxVariant& AValue) = 0;
  virtual void DeleteMember(int AIndex) = 0;
  virtual void RemoveMemberIntf(const TVxIntf<IVxJSONMember>& AMember) = 0;
  /// "#/" and the names of the member ancestors joined by "/".
  virtual VxJSONString GetPath() = 0;
};

/// An array: elements in order.
class IVxJSONArray : public IVxJSONBase {
 public:
  using Inherited = IVxJSONBase;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000B5");
  virtual TVxIntf<IVxJSONBase> AddValueIntf1(TVxJSONDataType AType) = 0;
  virtual TVxIntf<IVxJSONBase> AddValueIntf2(TVxJSONDataType AType, const VxJSONString& AText) = 0;
  virtual TVxIntf<IVxJSONBase> AddValueIntf3(const TVxVariant& AValue) = 0;
  virtual void DeleteValue(int AIndex) = 0;
  virtual void RemoveValueIntf(const TVxIntf<IVxJSONBase>& AValue) = 0;
  virtual void Exchange(int AIndex1, int AIndex2) = 0;
};

/// A document: at most one root value.
class IVxJSONDocument : public IVxJSONBase {
 public:
  using Inherited = IVxJSONBase;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000B6");
  /// Replaces the root with a new value of that type.
  virtual TVxIntf<IVxJSONBase> CreateRootValueIntf(TVxJSONDataType AType) = 0;
  /// The root value, or empty.
  virtual TVxIntf<IVxJSONBase> GetRootValueIntf() = 0;
  virtual void LoadFromFile(const VxString& AFileName, uint16_t AMode) = 0;
  virtual void SaveToFile(const VxString& AFileName, bool AFormatted) = 0;
  /// Writes the document in a code page (1200 UTF-16LE, 65001 UTF-8, or any other), with or
  /// without a byte-order mark.
  virtual void SaveToStream(TVxStream& AStream, bool AFormatted, uint16_t ACodePage, bool AWriteBOM) = 0;
  using IVxJSONBase::SaveToStream;
};

// ---------------------------------------------------------------------------------------------
// Reader interfaces
// ---------------------------------------------------------------------------------------------

/// Where the reader is: line and column (-1 outside a parse), and the system identifier.
class IVxJSONLocator : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000C1");
  virtual int64_t GetLineNr() = 0;
  virtual int64_t GetColNr() = 0;
  virtual VxString GetPublicID() = 0;
};

/// Receives the structure of a JSON text. Value gets the raw text: a string with its escapes
/// undecoded, a number's characters, or "true" / "false" / "null".
class IVxJSONContentHandler : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000C2");
  virtual void SetDocumentLocator(IVxJSONLocator* ALocator) = 0;
  virtual void StartDocument() = 0;
  virtual void StartObject() = 0;
  virtual void StartMember(const VxJSONString& AName) = 0;
  virtual void StartArray() = 0;
  virtual void Value(TVxJSONDataType AType, const VxJSONString& AText) = 0;
  virtual void EndArray() = 0;
  virtual void EndMember() = 0;
  virtual void EndObject() = 0;
  virtual void EndDocument() = 0;
};

/// Receives failures; FatalError is told once before the reader raises.
class IVxJSONErrorHandler : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000C3");
  virtual void Warning(IVxJSONLocator* ALocator, const VxString& AMessage) = 0;
  virtual void Error(IVxJSONLocator* ALocator, const VxString& AMessage) = 0;
  virtual void FatalError(IVxJSONLocator* ALocator, const VxString& AMessage) = 0;
};

/// A JSON reader.
class IVxJSONReader : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("4A534F4E-0001-4000-8000-0000000000C4");
  virtual void SetContentHandler(const TVxIntf<IVxJSONContentHandler>& AHandler) = 0;
  virtual TVxIntf<IVxJSONContentHandler> GetContentHandler() = 0;
  virtual void SetErrorHandler(const TVxIntf<IVxJSONErrorHandler>& AHandler) = 0;
  virtual TVxIntf<IVxJSONErrorHandler> GetErrorHandler() = 0;
  virtual void ParseFile(const VxString& AFileName, uint16_t ACodePage, const VxString& ASystemID) = 0;
  virtual void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxString& ASystemID) = 0;
  virtual void ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxString& ASystemID) = 0;
  virtual void Parse(std::u16string_view AText, const VxString& ASystemID) = 0;
  virtual void Parse(std::string_view AText, uint16_t ACodePage, const VxString& ASystemID) = 0;
};

}  // namespace vx
