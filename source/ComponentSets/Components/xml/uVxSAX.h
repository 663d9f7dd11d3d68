// uVxSAX: the SAX handler interfaces, the attribute and namespace lists, the reader base, the
// XML reader, the JSON-to-SAX reader and the parser component that forwards events.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "uVxClasses.h"
#include "uVxJSON.h"
#include "uVxStreams.h"
#include "uVxTextParser.h"
#include "uVxVariants.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Exceptions and messages
// ---------------------------------------------------------------------------------------------

/// Base of XML failures.
class EVxXMLException : public EVxException {
 public:
  using EVxException::EVxException;
};

/// What every reader failure raises. After the error route has run it also carries the line
/// and column the reader's locator reported (-1 when unknown).
class EVxXMLParseError : public EVxXMLException {
 public:
  using EVxXMLException::EVxXMLException;
  int64_t LineNr() const noexcept { return FLineNr; }
  int64_t ColNr() const noexcept { return FColNr; }
  void SetPosition(int64_t ALineNr, int64_t AColNr) noexcept {
    FLineNr = ALineNr;
    FColNr = AColNr;
  }

 private:
  int64_t FLineNr = -1;
  int64_t FColNr = -1;
};

inline constexpr char16_t cVxSAXNoContentHandler[] = u"No contenthandler has been assigned!";
inline constexpr char16_t cVxSAXNoErrorHandler[] = u"No errorhandler has been assigned!";
inline constexpr char16_t cVxSAXReentrantParse[] =
    u"The reader is already parsing a document: a handler cannot start another parse on it!";
inline constexpr char16_t cVxSAXListIndexError[] = u"List index (%d) out of bounds!";
inline constexpr char16_t cVxSAXListNameError[] = u"List index (%s) out of bounds!";
inline constexpr char16_t cVxSAXListURIError[] = u"List index (%s-%s) out of bounds!";
inline constexpr char16_t cVxXMLNotWellFormed[] = u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
inline constexpr char16_t cVxXMLElementNotClosed[] =
    u"The document is not wellformed!\r\nAn element was not closed correctly (Row: %d, Col: %d).";
inline constexpr char16_t cVxXMLMultipleRoots[] =
    u"The document is not wellformed!\r\nA XML document may not contain multiple root elements.";
inline constexpr char16_t cVxXMLTextAtRoot[] =
    u"The document is not wellformed!\r\nAn invalid token was detected at the root level of the document.";
inline constexpr char16_t cVxXMLMissingAttributeValue[] = u"The document is not wellformed!\r\nMissing attribute value.";
inline constexpr char16_t cVxXMLDOCTYPEExpected[] = u"\"DOCTYPE\" expected, but \"%s\" found";
inline constexpr char16_t cVxXMLCDATAExpected[] = u"![CDATA[ expected, but \"%s\" found";
inline constexpr char16_t cVxXMLColonNameStart[] =
    u"The current character \"%s\" is only a valid NameStartChar when NameSpaces are not supported!";
inline constexpr char16_t cVxXMLInvalidNameStart[] = u"The current character \"%s\" is not a valid NameStartChar!";
/// How tools show a parse failure with its position.
inline constexpr char16_t cVxParseErrorAt[] = u"Line %d, column %d: %s";

/// Error codes of EVxXMLParseError.
inline constexpr int cVxXMLErrCharExpected = 2;
inline constexpr int cVxXMLErrJSONNoContentHandler = 3;
inline constexpr int cVxXMLErrListIndex = 4;
inline constexpr int cVxXMLErrJSONNoErrorHandler = 4;
inline constexpr int cVxXMLErrDOCTYPEExpected = 5;
inline constexpr int cVxXMLErrCDATAExpected = 6;
inline constexpr int cVxXMLErrMissingAttributeValue = 7;
inline constexpr int cVxXMLErrElementNotClosed = 8;
inline constexpr int cVxXMLErrMultipleRoots = 9;
inline constexpr int cVxXMLErrNoContentHandler = 10;
inline constexpr int cVxXMLErrNoErrorHandler = 11;
inline constexpr int cVxXMLErrTextAtRoot = 12;
/// A parse started on a reader from inside one of its own handlers.
inline constexpr int cVxXMLErrReentrantParse = 13;

/// The XML Schema namespace names the JSON-to-SAX reader types values with.
inline constexpr char16_t cVxXSINamespace[] = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char16_t cVxXSDNamespace[] = u"http://www.w3.org/2001/XMLSchema";

// ---------------------------------------------------------------------------------------------
// Handler interfaces
// ---------------------------------------------------------------------------------------------

/// Where the reader is: line, column, public identifier and position.
class IVxSAXLocator : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("7F3B2A10-5A11-4C01-8E00-000000000001");
  virtual int64_t GetLineNr() = 0;
  virtual int64_t GetColNr() = 0;
  virtual VxXMLString GetPublicID() = 0;
  virtual int64_t GetPosition() = 0;
};

/// Attribute type of TVxSAXXMAttributes entries.
enum TVxSAXAttributeType : uint8_t { CDATA, ID, IDREF, IDREFS, NMTOKEN, NMTOKENS, ENTITY, ENTITIES, NOTATION };

/// The attributes of a start tag, valid only during the StartElement call.
class IVxSAXAttributes : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("7F3B2A10-5A11-4C01-8E00-000000000002");
  /// Number of attributes.
  virtual int Count() = 0;
  /// Index by qualified name, or -1.
  virtual int GetIndex(const VxXMLString& AQName) = 0;
  /// Index by namespace URI and local name, or -1.
  virtual int GetIndex(const VxXMLString& AURI, const VxXMLString& ALocalName) = 0;
  virtual const VxXMLString& GetLocalName(int AIndex) = 0;
  virtual const VxXMLString& GetQName(int AIndex) = 0;
  virtual const VxXMLString& GetURI(int AIndex) = 0;
  virtual TVxSAXAttributeType GetType(int AIndex) = 0;
  virtual const VxXMLString& GetValue(int AIndex) = 0;
  virtual TVxSAXAttributeType GetType(const VxXMLString& AQName) = 0;
  virtual const VxXMLString& GetValue(const VxXMLString& AQName) = 0;
  virtual TVxSAXAttributeType GetType(const VxXMLString& AURI, const VxXMLString& ALocalName) = 0;
  virtual const VxXMLString& GetValue(const VxXMLString& AURI, const VxXMLString& ALocalName) = 0;
};

/// Receives failures. Readers call only FatalError, once per failed parse.
class IVxSAXErrorHandler : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("7F3B2A10-5A11-4C01-8E00-000000000003");
  virtual void Warning(IVxSAXLocator* ALocator, const VxXMLString& AMessage) = 0;
  virtual void Error(IVxSAXLocator* ALocator, const VxXMLString& AMessage) = 0;
  virtual void FatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage) = 0;
};

/// Receives the document's content.
class IVxSAXContentHandler : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("7F3B2A10-5A11-4C01-8E00-000000000004");
  virtual void SetDocumentLocator(IVxSAXLocator* ALocator) = 0;
  virtual void Characters(const VxXMLString& AText) = 0;
  virtual void EndDocument() = 0;
  virtual void EndElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName, const VxXMLString& AQName) = 0;
  virtual void EndPrefixMapping(const VxXMLString& APrefix) = 0;
  virtual void IgnorableWhitespace(const VxXMLString& AText) = 0;
  virtual void ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) = 0;
  virtual void SkippedEntity(const VxXMLString& AName) = 0;
  virtual void StartDocument() = 0;
  virtual void StartElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName, const VxXMLString& AQName,
                            IVxSAXAttributes* AAttributes) = 0;
  virtual void StartPrefixMapping(const VxXMLString& APrefix, const VxXMLString& AURI) = 0;
};

/// Receives comments, CDATA boundaries and the DOCTYPE's presence.
class IVxSAXLexicalHandler : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("7F3B2A10-5A11-4C01-8E00-000000000005");
  virtual void Comment(const VxXMLString& AText) = 0;
  virtual void StartCDATA() = 0;
  virtual void StartDTD() = 0;
  virtual void StartEntity(const VxXMLString& AName) = 0;
  virtual void EndCDATA() = 0;
  virtual void EndDTD() = 0;
  virtual void EndEntity(const VxXMLString& AName) = 0;
};

/// A handler to derive from: every content, lexical and error operation does nothing, except
/// that FatalError is left to the reader's error route (the parse still raises its exception
/// after FatalError). Override what you need and give the object to a reader as its content,
/// lexical and error handler (SetHandlers does all three):
///
///   class TCounter : public vx::TVxSAXDefaultHandler {
///    public:
///     int Elements = 0;
///     void StartElement(const vx::VxXMLString&, const vx::VxXMLString&, const vx::VxXMLString&,
///                       vx::IVxSAXAttributes*) override { ++Elements; }
///   };
///   auto counter = vx::VxMake<TCounter>();
///   reader.SetHandlers(counter);
class TVxSAXDefaultHandler
    : public TVxImplements<TVxObject, IVxSAXContentHandler, IVxSAXLexicalHandler, IVxSAXErrorHandler> {
 public:
  using Inherited = TVxObject;
  // IVxSAXContentHandler
  void SetDocumentLocator(IVxSAXLocator*) override {}
  void Characters(const VxXMLString&) override {}
  void EndDocument() override {}
  void EndElement(const VxXMLString&, const VxXMLString&, const VxXMLString&) override {}
  void EndPrefixMapping(const VxXMLString&) override {}
  void IgnorableWhitespace(const VxXMLString&) override {}
  void ProcessingInstruction(const VxXMLString&, const VxXMLString&) override {}
  void SkippedEntity(const VxXMLString&) override {}
  void StartDocument() override {}
  void StartElement(const VxXMLString&, const VxXMLString&, const VxXMLString&, IVxSAXAttributes*) override {}
  void StartPrefixMapping(const VxXMLString&, const VxXMLString&) override {}
  // IVxSAXLexicalHandler
  void Comment(const VxXMLString&) override {}
  void StartCDATA() override {}
  void StartDTD() override {}
  void StartEntity(const VxXMLString&) override {}
  void EndCDATA() override {}
  void EndDTD() override {}
  void EndEntity(const VxXMLString&) override {}
  // IVxSAXErrorHandler
  void Warning(IVxSAXLocator*, const VxXMLString&) override {}
  void Error(IVxSAXLocator*, const VxXMLString&) override {}
  void FatalError(IVxSAXLocator*, const VxXMLString&) override {}
};

/// A SAX reader: handlers, features, properties and the parse entry points.
class IVxSAXXMLReader : public IVxInterface {
 public:
  using Inherited = IVxInterface;
  static constexpr TVxGUID IID = VxGUID("7F3B2A10-5A11-4C01-8E00-000000000006");
  virtual TVxIntf<IVxSAXContentHandler> GetContentHandler() = 0;
  virtual void SetContentHandler(const TVxIntf<IVxSAXContentHandler>& AHandler) = 0;
  virtual TVxIntf<IVxSAXErrorHandler> GetErrorHandler() = 0;
  virtual void SetErrorHandler(const TVxIntf<IVxSAXErrorHandler>& AHandler) = 0;
  virtual TVxIntf<IVxSAXLexicalHandler> GetLexicalHandler() = 0;
  virtual void SetLexicalHandler(const TVxIntf<IVxSAXLexicalHandler>& AHandler) = 0;
  virtual bool GetFeature(const VxXMLString& AName) = 0;
  virtual void SetFeature(const VxXMLString& AName, bool AValue) = 0;
  virtual TVxVariant GetProperty(const VxXMLString& AName) = 0;
  virtual void SetProperty(const VxXMLString& AName, const TVxVariant& AValue) = 0;
  virtual void ParseFile(const VxString& AFileName, uint16_t AMode, const VxXMLString& APublicID) = 0;
  virtual void ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxXMLString& APublicID) = 0;
  virtual void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxXMLString& APublicID) = 0;
  virtual void Parse(std::u16string_view AText, const VxXMLString& APublicID) = 0;
  virtual void Parse(std::string_view AText, uint16_t ACodePage, const VxXMLString& APublicID) = 0;
};

// ---------------------------------------------------------------------------------------------
// Attribute and namespace lists
// ---------------------------------------------------------------------------------------------

/// One attribute of a TVxSAXXMAttributes list.
struct TVxSAXAttribute {
  int Index = 0;
  VxXMLString LocalName;
  VxXMLString QName;
  VxXMLString URI;
  VxXMLString Value;
  TVxSAXAttributeType AttrType = CDATA;
  TVxSAXAttribute* Next = nullptr;  ///< the next attribute in order of adding
};

/// The attribute list handed to StartElement: ordered, linked in order of adding. Name lookups
/// ignore ASCII letter case on purpose. Entries are kept for reuse after Clear, so a reader
/// that fills one list per start tag allocates only while a document's widest tag grows.
class TVxSAXXMAttributes : public TVxImplements<TVxObject, IVxSAXAttributes> {
 public:
  using Inherited = TVxObject;
  TVxSAXXMAttributes();
  ~TVxSAXXMAttributes() override;

  /// Appends an attribute.
  TVxSAXAttribute& Add(const VxXMLString& ALocalName, const VxXMLString& AQName, const VxXMLString& AURI,
                       const VxXMLString& AValue, TVxSAXAttributeType AType = CDATA);
  /// Appends an attribute whose fields the caller fills (the reader's path: entries and their
  /// strings are reused from element to element).
  TVxSAXAttribute& AddEmpty() {
    if (FCount == static_cast<int>(FEntries.size())) Grow();
    TVxSAXAttribute& a = *FEntries[static_cast<size_t>(FCount)];
    a.Index = FCount;
    a.AttrType = CDATA;
    a.Next = nullptr;
    if (FCount > 0) FEntries[static_cast<size_t>(FCount - 1)]->Next = &a;
    ++FCount;
    return a;
  }
  /// Removes all attributes.
  void Clear() noexcept;
  /// The first attribute, or nullptr.
  TVxSAXAttribute* FirstAttribute() const noexcept { return FCount ? FEntries[0].get() : nullptr; }
  /// The attribute at AIndex; raises EVxXMLParseError (code 4) outside 0 .. Count - 1.
  TVxSAXAttribute& GetAttribute(int AIndex) const {
    if (AIndex < 0 || AIndex >= FCount) RaiseIndexError(AIndex);
    return *FEntries[static_cast<size_t>(AIndex)];
  }

  int Count() override { return FCount; }
  int GetIndex(const VxXMLString& AQName) override;
  int GetIndex(const VxXMLString& AURI, const VxXMLString& ALocalName) override;
  const VxXMLString& GetLocalName(int AIndex) override { return GetAttribute(AIndex).LocalName; }
  const VxXMLString& GetQName(int AIndex) override { return GetAttribute(AIndex).QName; }
  const VxXMLString& GetURI(int AIndex) override { return GetAttribute(AIndex).URI; }
  TVxSAXAttributeType GetType(int AIndex) override { return GetAttribute(AIndex).AttrType; }
  const VxXMLString& GetValue(int AIndex) override { return GetAttribute(AIndex).Value; }
  TVxSAXAttributeType GetType(const VxXMLString& AQName) override { return ByQName(AQName).AttrType; }
  const VxXMLString& GetValue(const VxXMLString& AQName) override { return ByQName(AQName).Value; }
  TVxSAXAttributeType GetType(const VxXMLString& AURI, const VxXMLString& ALocalName) override {
    return ByURI(AURI, ALocalName).AttrType;
  }
  const VxXMLString& GetValue(const VxXMLString& AURI, const VxXMLString& ALocalName) override {
    return ByURI(AURI, ALocalName).Value;
  }

 private:
  void Grow();
  [[noreturn]] static void RaiseIndexError(int AIndex);
  TVxSAXAttribute& ByQName(const VxXMLString& AQName);
  TVxSAXAttribute& ByURI(const VxXMLString& AURI, const VxXMLString& ALocalName);
  std::vector<std::unique_ptr<TVxSAXAttribute>> FEntries;  // [0, FCount) in use
  int FCount = 0;
};

/// One namespace declaration.
struct TVxSAXNamespace {
  int Level;
  VxXMLString Prefix;
  VxXMLString URI;
  int Previous = -1;  // the index of the declaration of the same prefix this one hides, or -1
};

/// The namespace declarations in scope, newest last. Prefixes compare ignoring ASCII case.
class TVxSAXNamespaceList {
 public:
  /// AHandler receives StartPrefixMapping and EndPrefixMapping (may be nullptr).
  explicit TVxSAXNamespaceList(IVxSAXContentHandler* AHandler = nullptr) : FHandler(AHandler) {}
  void SetHandler(IVxSAXContentHandler* AHandler) noexcept { FHandler = AHandler; }
  /// Appends a declaration, then sends StartPrefixMapping(prefix, uri).
  void AddURI(int ALevel, const VxXMLString& APrefix, const VxXMLString& AURI);
  /// The URI of the newest declaration of the prefix; empty for an undeclared prefix.
  const VxXMLString& GetURI(const VxXMLString& APrefix) const;
  /// The newest declaration of the prefix, or nullptr.
  const TVxSAXNamespace* GetNamespace(const VxXMLString& APrefix) const;
  /// Removes, newest first, the declarations at or above ALevel, sending EndPrefixMapping first.
  void RemoveLevel(int ALevel) {
    if (!FItems.empty() && FItems.back().Level >= ALevel) RemoveFrom(ALevel);
  }
  /// Removes everything without events.
  void Clear() noexcept {
    FItems.clear();
    FNewest.clear();
  }
  int Count() const noexcept { return static_cast<int>(FItems.size()); }

 private:
  void RemoveFrom(int ALevel);
  // Prefixes hashed and compared ignoring ASCII case.
  struct TPrefixHash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view APrefix) const noexcept;
  };
  struct TPrefixEqual {
    using is_transparent = void;
    bool operator()(std::u16string_view A, std::u16string_view B) const noexcept;
  };

  IVxSAXContentHandler* FHandler;
  std::vector<TVxSAXNamespace> FItems;
  // The newest declaration of every prefix in scope: lookups stay constant-time when an
  // element declares many prefixes or many nested elements declare one each.
  std::unordered_map<VxXMLString, int, TPrefixHash, TPrefixEqual> FNewest;
};

// ---------------------------------------------------------------------------------------------
// Reader base
// ---------------------------------------------------------------------------------------------

/// Base of the readers: handlers, the no-op features and properties, the locator, the parse
/// entry points and the error route. Its owner frees it (automatic destruction is off).
class TVxSAXReader : public TVxImplements<TVxObject, IVxSAXXMLReader, IVxSAXLocator> {
 public:
  using Inherited = TVxObject;
  static constexpr bool cVxOwnerFreed = true;
  TVxSAXReader();
  ~TVxSAXReader() override;

  TVxIntf<IVxSAXContentHandler> GetContentHandler() override { return FContentHandler; }
  void SetContentHandler(const TVxIntf<IVxSAXContentHandler>& AHandler) override { FContentHandler = AHandler; }
  TVxIntf<IVxSAXErrorHandler> GetErrorHandler() override { return FErrorHandler; }
  void SetErrorHandler(const TVxIntf<IVxSAXErrorHandler>& AHandler) override { FErrorHandler = AHandler; }
  TVxIntf<IVxSAXLexicalHandler> GetLexicalHandler() override { return FLexicalHandler; }
  void SetLexicalHandler(const TVxIntf<IVxSAXLexicalHandler>& AHandler) override { FLexicalHandler = AHandler; }
  /// Sets one object as content, lexical and error handler (for example a
  /// TVxSAXDefaultHandler descendant).
  template <class T>
  void SetHandlers(const TVxIntf<T>& AHandler) {
    SetContentHandler(TVxIntf<IVxSAXContentHandler>(AHandler));
    SetLexicalHandler(TVxIntf<IVxSAXLexicalHandler>(AHandler));
    SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(AHandler));
  }
  /// Always false: there are no features.
  bool GetFeature(const VxXMLString&) override { return false; }
  /// Does nothing.
  void SetFeature(const VxXMLString&, bool) override {}
  /// Always null: there are no properties.
  TVxVariant GetProperty(const VxXMLString&) override { return TVxVariant::Null(); }
  /// Does nothing.
  void SetProperty(const VxXMLString&, const TVxVariant&) override {}

  /// Locator: the construct's saved position after an end-of-input failure, else the cursor's
  /// position while a parse runs, else -1.
  int64_t GetLineNr() override;
  int64_t GetColNr() override;
  VxXMLString GetPublicID() override { return FPublicID; }
  /// The cursor's position; -1 outside a parse.
  int64_t GetPosition() override;

  /// Parses a file opened with AMode; a byte-order mark decides the code page, else the
  /// document (UTF-8 by default).
  void ParseFile(const VxString& AFileName, uint16_t AMode, const VxXMLString& APublicID) override;
  /// ParseFile with a file system path (any name the system takes, UTF-8 or not).
  template <VxFileSystemPath P>
  void ParseFile(const P& AFileName, uint16_t AMode, const VxXMLString& APublicID) {
    ParseFileNamed(AFileName.native(), AMode, APublicID);
  }
  /// Parses a stream from its position; the caller keeps it. ACodePage 0: detected. A stream
  /// that cannot seek (a pipe through TVxStdStream) is read straight on.
  void ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxXMLString& APublicID) override;
  /// Parses a caller's buffer in place.
  void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxXMLString& APublicID) override;
  /// Parses UTF-16 text in place.
  void Parse(std::u16string_view AText, const VxXMLString& APublicID) override;
  /// Parses 8-bit text in a code page.
  void Parse(std::string_view AText, uint16_t ACodePage, const VxXMLString& APublicID) override;

 protected:
  /// Builds the cursor for a parse and returns it (kept as the current cursor).
  virtual TVxTextParser* CreateParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage) = 0;
  /// Reads the document.
  virtual void InternalParse() = 0;
  /// Marks the start of the construct being read; its line and column are computed only for
  /// a failure report.
  void StoreLineCol() noexcept { FParser->SetLineMark(); }
  /// The error route: sets the end-of-input flag, tells FatalError once, records the position
  /// on a parse error. The caller raises the exception again.
  void ReportFatal(const std::exception& AError);
  /// Runs a reader's body through the error route: any failure reaches FatalError once and is
  /// raised again unchanged.
  template <class TBody>
  void GuardParse(TBody ABody) {
    try {
      ABody();
    } catch (EVxXMLParseError& e) {
      e.SetPosition(GetLineNr(), GetColNr());
      ReportFatal(e);
      throw;
    } catch (std::exception& e) {
      ReportFatal(e);
      throw;
    }
  }

  /// ParseFile with the name as the system takes it (bytes, UTF-8 by convention).
  void ParseFileNamed(const std::string& ANativeName, uint16_t AMode, const VxXMLString& APublicID);

  VxXMLString FPublicID;
  int64_t FLineNr = -1;
  int64_t FColNr = -1;
  bool FEOFError = false;
  TVxTextParser* FParser = nullptr;
  TVxSAXXMAttributes* FEmptyAttributes;
  TVxIntf<IVxSAXLexicalHandler> FLexicalHandler;
  TVxIntf<IVxSAXContentHandler> FContentHandler;
  TVxIntf<IVxSAXErrorHandler> FErrorHandler;

 private:
  void RunParse(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage);
};

// ---------------------------------------------------------------------------------------------
// XML reader
// ---------------------------------------------------------------------------------------------

/// The XML reader's cursor: chooses the code page (byte-order mark, caller, declaration, UTF-8)
/// and adds the checks of the XML recognizer.
class TVxXMLParser : public TVxTextParser {
 public:
  using Inherited = TVxTextParser;
  TVxXMLParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage);
  void SetCharacterSetType(TVxCharacterSetType AType) override;
  /// True when the current character is AChar (ASCII); raises code 2 when not and asked to.
  bool CheckCurrChar(char16_t AChar, bool ARaiseIfNot);
  /// Raises unless the current unit may start an element name (no colon).
  void CheckValidNameStartChar();
  /// True when the mark is set (the recognizer tests mark 4).
  bool Mark2Set() const noexcept { return FMark2 != 0; }

 private:
  void DetectDeclaredCodePage(uint16_t& ACodePage);
};

/// Reads XML text into SAX events: a one-pass recognizer without entity expansion, end-tag
/// matching or DTD reading.
class TVxSAXXMLReader : public TVxSAXReader {
 public:
  using Inherited = TVxSAXReader;
  TVxSAXXMLReader();
  ~TVxSAXXMLReader() override;
  /// True (the default): a second root element or text at the root level is an error.
  bool SingleRoot() const noexcept { return FSingleRoot; }
  /// The namespace declarations in scope.
  TVxSAXNamespaceList& Namespaces() noexcept { return FNamespaces; }

 protected:
  TVxTextParser* CreateParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage) override;
  void InternalParse() override;

  void ParseMarkupDeclaration(bool AInProlog);
  void ParseElement(int& ADepth);
  void ParseAtrributes(TVxSAXXMAttributes& AAttributes, int ALevel);
  void ParseCharacters();
  void ParseCDATA();
  void ParseComment();
  void ParseProcessingInstruction();
  void ParseDTD();

 private:
  TVxXMLParser* Cursor() const noexcept { return static_cast<TVxXMLParser*>(FParser); }
  // Fast paths over UTF-8 bytes in the cursor's window. They read without side effects and
  // answer false for anything out of the ordinary (the window's end, a malformed construct), so
  // the character operations then parse the same text from the same position.
  //
  // ParseContentUTF8 reads the ordinary constructs of the content (start and end tags, text)
  // one after another while they lie inside the window, and answers whether it read any. It
  // stops before anything else: "<!", "<?", a name that does not start with an ASCII letter or
  // "_", the end tag that closes the root, a malformed tag, or a tag with attributes that ends
  // within four bytes of the window's end.
  bool ParseContentUTF8(int& ADepth);
  bool ParseAttributesUTF8(TVxSAXXMAttributes& AAttributes, int ALevel);
  bool ParseCharactersUTF8();
  // Scans the attribute list starting at AFrom into FAttrSlices; the "/" or ">" that ends it,
  // or nullptr. CommitAttributesUTF8 then decodes them and makes their declarations.
  const uint8_t* ScanAttributesUTF8(const uint8_t* AFrom, const uint8_t* AEnd);
  void CommitAttributesUTF8(TVxSAXXMAttributes& AAttributes, int ALevel);
  // One attribute without or with one prefix, its value and the blanks after it, in a single
  // step; false (nothing done) when the general scan must read it.
  bool ScanPlainAttribute(const uint8_t*& AFrom, const uint8_t* AEnd);
  // The URI of an attribute, and the declaration it makes.
  void ResolveAttribute(TVxSAXAttribute& AAttribute, int ALevel);
  void Select(TVxTextParserPosType AFrom, TVxTextParserPosType ATo, VxXMLString& AOut) {
    AOut.clear();
    if (ATo == ptCurrent && (AFrom == ptMark1 || AFrom == ptMark2))
      FParser->AppendFromMarkW(AFrom, AOut);
    else
      FParser->AppendSelectedW(AFrom, ATo, false, AOut);
  }
  void SendCharacters(TVxTextParserPosType AFrom, TVxTextParserPosType ATo);
  void SendWhitespace(TVxTextParserPosType AFrom, TVxTextParserPosType ATo);
  // The rest of the input after the root element has ended (AEmptyRoot: by an empty-element tag).
  void AfterRootElement(bool AEmptyRoot);
  // The events of a tag whose names are in FPrefix/FLocalName/FQName: EndElement and the end
  // of its declarations; StartElement with AList, and for an empty element its end as well.
  // Both keep ADepth; a kept attribute list is let go afterwards.
  void ReportEndTag(int& ADepth);
  void ReportStartTag(TVxSAXXMAttributes* AList, bool AEmpty, int& ADepth);

  bool FSingleRoot = true;
  TVxSAXNamespaceList FNamespaces;
  TVxSAXXMAttributes* FAttributes;  // reused per start tag while no handler keeps it
  // Buffers reused for every construct.
  VxXMLString FPrefix, FLocalName, FQName, FText, FText2;
  VxXMLString FAttrPrefix;
  // Byte ranges of the attributes of one start tag, gathered by the UTF-8 fast path.
  struct TAttrSlice {
    const uint8_t *PrefixB, *PrefixE, *LocalB, *LocalE, *QNameB, *QNameE, *ValueB, *ValueE;
  };
  std::vector<TAttrSlice> FAttrSlices;  // [0, FSliceCount) in use; the rest kept for reuse
  size_t FSliceCount = 0;
  [[gnu::always_inline]] TAttrSlice& NewSlice() {
    if (FSliceCount == FAttrSlices.size()) GrowSlices();
    return FAttrSlices[FSliceCount++];
  }
  void GrowSlices();
};

// ---------------------------------------------------------------------------------------------
// JSON-to-SAX reader
// ---------------------------------------------------------------------------------------------

/// The JSON-to-SAX reader's cursor: the JSON cursor with failures raised as EVxXMLParseError.
class TVxJSONTextParserEx : public TVxJSONTextParser {
 public:
  using Inherited = TVxJSONTextParser;
  using TVxJSONTextParser::TVxJSONTextParser;

 protected:
  [[noreturn]] void RaiseNotWellFormed(std::u16string_view AExpected) override;
  std::u16string_view EscapeExpectation() const override;
};

/// Reports JSON as XML events: objects and arrays become elements, members child elements,
/// scalars text with xsi:nil / xsd:type typing attributes.
class TVxSAXJSONReader : public TVxSAXReader {
 public:
  using Inherited = TVxSAXReader;
  TVxSAXJSONReader();
  ~TVxSAXJSONReader() override;

 protected:
  TVxTextParser* CreateParser(TVxStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage) override;
  void InternalParse() override;

 private:
  enum TValueKind : uint8_t { vkNull, vkString, vkNumber, vkBoolean };
  TVxJSONTextParserEx* Cursor() const noexcept { return static_cast<TVxJSONTextParserEx*>(FParser); }
  void ReadContainer(bool AObject, const VxXMLString& ARootName);
  TValueKind ParseSimpleValue(VxXMLString& AText);
  void SendScalar(const VxXMLString& AName, bool AArrayItem);
  void Expect(char16_t AChar);
  TVxSAXXMAttributes* FTyping;
  VxXMLString FValue;
};

/// Makes a JSON member name an XML name: failing characters get "_" in their low byte; an empty
/// name becomes "_"; a name that cannot start an element name gets "_" in front.
VxXMLString VxJSONNameToXMLName(VxXMLString AName);
/// True when the UTF-16 unit may start an XML element name (without the colon).
bool VxIsXMLNameStartChar(char16_t C) noexcept;
/// True when the UTF-16 unit may stand in an XML name after the first character (no colon).
bool VxIsXMLNameChar(char16_t C) noexcept;

// ---------------------------------------------------------------------------------------------
// The parser component
// ---------------------------------------------------------------------------------------------

class TVxSAXParser;
using TVxSAXOnStartDocument = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnEndDocument = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnStartDTD = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnEndDTD = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnStartCDATA = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnEndCDATA = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnEndProlog = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnStart = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnFinished = std::function<void(TVxSAXParser* Sender)>;
using TVxSAXOnComment = std::function<void(TVxSAXParser* Sender, const VxXMLString& AComment)>;
using TVxSAXOnProcessingInstruction =
    std::function<void(TVxSAXParser* Sender, const VxXMLString& ATarget, const VxXMLString& AData)>;
using TVxSAXOnStartPrefixMapping =
    std::function<void(TVxSAXParser* Sender, const VxXMLString& APrefix, const VxXMLString& AURI)>;
using TVxSAXOnEndPrefixMapping = std::function<void(TVxSAXParser* Sender, const VxXMLString& APrefix)>;
using TVxSAXOnStartElement = std::function<void(TVxSAXParser* Sender, const VxXMLString& ANamespaceURI,
                                                const VxXMLString& ALocalName, const VxXMLString& AQName,
                                                IVxSAXAttributes* Attributes)>;
using TVxSAXOnEndElement = std::function<void(TVxSAXParser* Sender, const VxXMLString& ANamespaceURI,
                                              const VxXMLString& ALocalName, const VxXMLString& AQName)>;
using TVxSAXOnCharacters = std::function<void(TVxSAXParser* Sender, const VxXMLString& AText)>;
using TVxSAXOnIgnorableWhitespace = std::function<void(TVxSAXParser* Sender, const VxXMLString& AWhiteSpace)>;
using TVxSAXOnError = std::function<void(IVxSAXLocator* ALocator, const VxXMLString& ErrMsg)>;

/// The SAX component: picks the XML reader for input that starts with "<" (after blanks) and the
/// JSON-to-SAX reader otherwise, is itself every handler, and forwards each call to its event.
/// The entry points other than ParseStream fire OnStart and OnFinished around their own call
/// of ParseStream, which fires them too: they fire twice on success.
class TVxSAXParser : public TVxImplements<TVxComponent, IVxSAXErrorHandler, IVxSAXContentHandler, IVxSAXLexicalHandler> {
 public:
  using Inherited = TVxComponent;
  explicit TVxSAXParser(TVxComponent* AOwner = nullptr);

  /// Parses a stream from its position: blanks are passed over, then "<" picks the XML reader
  /// and anything else the JSON-to-SAX reader. Fires OnStart, and OnFinished on success.
  void ParseStream(TVxStream& AStream, uint16_t ACodePage, const VxXMLString& APublicID);
  /// Parses a file; its byte-order mark gives the code page.
  void ParseFile(const VxString& AFileName, uint16_t AMode, const VxXMLString& APublicID);
  /// ParseFile with a file system path.
  template <VxFileSystemPath P>
  void ParseFile(const P& AFileName, uint16_t AMode, const VxXMLString& APublicID) {
    ParseFileNamed(AFileName.native(), AMode, APublicID);
  }
  /// Parses a caller's buffer in place.
  void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const VxXMLString& APublicID);
  /// Parses UTF-16 text.
  void Parse(std::u16string_view AText, const VxXMLString& APublicID);
  /// Parses 8-bit text in a code page.
  void Parse(std::string_view AText, uint16_t ACodePage, const VxXMLString& APublicID);

  TVxSAXOnStartDocument OnStartDocument;
  TVxSAXOnEndDocument OnEndDocument;
  TVxSAXOnStartDTD OnStartDTD;
  TVxSAXOnEndDTD OnEndDTD;
  TVxSAXOnStartCDATA OnStartCDATA;
  TVxSAXOnEndCDATA OnEndCDATA;
  TVxSAXOnEndProlog OnEndProlog;  ///< published; nothing fires it
  TVxSAXOnComment OnComment;
  TVxSAXOnProcessingInstruction OnProcessingInstruction;
  TVxSAXOnStartPrefixMapping OnStartPrefixMapping;
  TVxSAXOnEndPrefixMapping OnEndPrefixMapping;
  TVxSAXOnStartElement OnStartElement;
  TVxSAXOnEndElement OnEndElement;
  TVxSAXOnCharacters OnCharacters;
  TVxSAXOnIgnorableWhitespace OnIgnorableWhitespace;
  TVxSAXOnError OnWarning;
  TVxSAXOnError OnError;
  TVxSAXOnError OnFatalError;
  TVxSAXOnStart OnStart;
  TVxSAXOnFinished OnFinished;

  // IVxSAXErrorHandler
  void Warning(IVxSAXLocator* ALocator, const VxXMLString& AMessage) override;
  void Error(IVxSAXLocator* ALocator, const VxXMLString& AMessage) override;
  void FatalError(IVxSAXLocator* ALocator, const VxXMLString& AMessage) override;
  // IVxSAXContentHandler
  void SetDocumentLocator(IVxSAXLocator*) override {}
  void Characters(const VxXMLString& AText) override;
  void EndDocument() override;
  void EndElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName, const VxXMLString& AQName) override;
  void EndPrefixMapping(const VxXMLString& APrefix) override;
  void IgnorableWhitespace(const VxXMLString& AText) override;
  void ProcessingInstruction(const VxXMLString& ATarget, const VxXMLString& AData) override;
  void SkippedEntity(const VxXMLString&) override {}
  void StartDocument() override;
  void StartElement(const VxXMLString& ANamespaceURI, const VxXMLString& ALocalName, const VxXMLString& AQName,
                    IVxSAXAttributes* AAttributes) override;
  void StartPrefixMapping(const VxXMLString& APrefix, const VxXMLString& AURI) override;
  // IVxSAXLexicalHandler
  void Comment(const VxXMLString& AText) override;
  void StartCDATA() override;
  void StartDTD() override;
  void StartEntity(const VxXMLString&) override {}
  void EndCDATA() override;
  void EndDTD() override;
  void EndEntity(const VxXMLString&) override {}

 private:
  void ParseFileNamed(const std::string& ANativeName, uint16_t AMode, const VxXMLString& APublicID);
  void Fire(const std::function<void(TVxSAXParser*)>& AEvent) {
    if (AEvent) AEvent(this);
  }
};

}  // namespace vx
