// uVxXPath: the predicate engine of node paths (boolean equations over value terms, value
// comparison) and the XPath function library with its registries of functions and collations.
//
// A path step such as item[@qty > 2 and not(@gift)] carries predicates; each is parsed once
// into a tree of TVxXPathEquation objects whose leaves are terms, then evaluated for every
// candidate node. Applications add functions by deriving from TVxXPathFunction and registering
// the class with RegisterXPathFunction, and collations with RegisterXPathCollation.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "uVxTextParser.h"
#include "uVxXMLDOM.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Enumerations, lists, exceptions and messages
// ---------------------------------------------------------------------------------------------

/// The comparison operators of a predicate.
enum TVxXPathValueComparisonOperator : uint8_t { opUnequal, opEqual, opSmaller, opSmallerEqual, opGreater, opGreaterEqual };
/// How an equation joins its sibling.
enum TVxXPathBoolOperator : uint8_t { opNA, opAnd, opOr };

/// The candidate nodes a predicate filters; terms see the list and the index of the node under
/// test.
using TVxDOMObjectList = std::vector<TVxDOMNode*>;

/// A failure of an XPath function, with the standard error code ("XPTY0004", ...) and, for
/// fn:error, a detail text.
class EVxXPathException : public Exception {
 public:
  EVxXPathException(std::string AErrorCode, std::string ADetail, const VxString& AMessage)
      : Exception(AMessage), FErrorCode(std::move(AErrorCode)), FDetail(std::move(ADetail)) {}
  const std::string& ErrorCode() const noexcept { return FErrorCode; }
  const std::string& Detail() const noexcept { return FDetail; }

 private:
  std::string FErrorCode;
  std::string FDetail;
};

inline constexpr char cVxXPathErrNoNode[] = "XPDY0002";
inline constexpr char cVxXPathErrType[] = "XPTY0004";
inline constexpr char cVxXPathErrMapOrArray[] = "FOTY0014";
inline constexpr char cVxXPathErrError[] = "FOER0000";
inline constexpr char cVxXPathErrInvalidArgument[] = "FORG0006";
inline constexpr char cVxXPathErrDateTimeParts[] = "FORG0008";

inline constexpr char16_t cVxXPathInvalidFilter[] = u"\"%s\" is an invalid filter expression!";
inline constexpr char16_t cVxXPathInvalidOperator[] = u"The filter \"%s\" contains an invalid compare operator (%s)!";
inline constexpr char16_t cVxXPathInvalidStatement[] = u"The specified XPath statement is not valid!";
inline constexpr char16_t cVxXPathNumberOfString[] = u"Either a number of a string was expected!";
inline constexpr char16_t cVxXPathNumberOrString[] = u"Either a number or a string was expected!";
inline constexpr char16_t cVxXPathCheckParenthesis[] = u"An invalid expression was detected!\r\nCheck the parenthesis.";
inline constexpr char16_t cVxXPathNotNeedsChild[] =
    u"An invalid expression was detected!\r\nA \"not\" operator must have a child value.";
inline constexpr char16_t cVxXPathInvalidOperation[] = u"An invalid operation has been detected!";
inline constexpr char16_t cVxXPathUnsupportedFunction[] = u"The filter contains an unsupported function (%s)!";
inline constexpr char16_t cVxXPathUnsupportedCollation[] = u"The collation \"%s\" is not supported!";
/// Messages of this library's own choice.
inline constexpr char16_t cVxXPathTooDeep[] = u"The expression nests deeper than %d levels!";

/// The collation URIs registered at start-up.
inline constexpr char16_t cVxXPathCollationURIASCIICI[] =
    u"http://www.w3.org/2005/xpath-functions/collation/html-ascii-case-insensitive";
inline constexpr char16_t cVxXPathCollationURICodepoint[] = u"http://www.w3.org/2005/xpath-functions/collation/codepoint";

// ---------------------------------------------------------------------------------------------
// The predicate parser
// ---------------------------------------------------------------------------------------------

/// The cursor a predicate is read with: a text cursor over UTF-16 text in memory, with the
/// text itself at hand. Terms read their own text from it (functions their arguments).
class TVxXPathParser : public TVxTextParser {
 public:
  explicit TVxXPathParser(std::u16string_view AText);
  /// The whole text.
  std::u16string_view Text() const noexcept { return FText; }
  /// The index (in UTF-16 units) of the current character.
  size_t Index() const noexcept { return static_cast<size_t>(GetCurPos()) / 2; }
  /// The character AOffset units ahead (0 past the end).
  char16_t Peek(size_t AOffset = 0) const noexcept {
    const size_t at = Index() + AOffset;
    return at < FText.size() ? FText[at] : char16_t(0);
  }
  /// The text from AFrom up to the current character.
  std::u16string_view From(size_t AFrom) const noexcept { return FText.substr(AFrom, Index() - AFrom); }
  /// Skips spaces.
  void SkipSpaces() {
    while (CurrCharW() == u' ') NextChar();
  }
  /// Skips to the ")" that closes an opening parenthesis already read (nested ones counted)
  /// and past it; stops at the end of the text.
  void SkipToClosingParenthesis();

 private:
  std::u16string_view FText;
};

// ---------------------------------------------------------------------------------------------
// Equations and terms
// ---------------------------------------------------------------------------------------------

class TVxXPathBaseTerm;

/// A boolean equation: a term, the sub-expressions in parentheses (and the operand of "not")
/// as children, and the equation that follows after "and" / "or" as its sibling.
class TVxXPathEquation {
 public:
  TVxXPathEquation(TVxDOMSelectOption ANameOption, TVxXPathCollationClass ACollation);
  ~TVxXPathEquation();
  TVxXPathEquation(const TVxXPathEquation&) = delete;
  TVxXPathEquation& operator=(const TVxXPathEquation&) = delete;

  /// Parses a predicate ("[...]"); the root equation of its tree.
  static std::unique_ptr<TVxXPathEquation> Parse(std::u16string_view APredicate, bool ALocalName,
                                                 TVxXPathCollationClass ACollation);
  /// Keeps, in order, the nodes of the list for which the equation holds (every node is
  /// evaluated against the unfiltered list).
  void Filter(TVxDOMObjectList& AList);
  /// For a predicate that is a position alone ("[2]", "[first()]"), the zero-based index it
  /// keeps; else -1.
  int64_t Position() const noexcept;

  /// soLocalName or soQualifiedName: how names in path operands are matched.
  TVxDOMSelectOption NameOption() const noexcept { return FNameOption; }
  TVxXPathCollationClass Collation() const noexcept { return FCollation; }
  TVxXPathBoolOperator BoolOperator() const noexcept { return FBoolOperator; }
  TVxXPathEquation* Parent() const noexcept { return FParent; }
  TVxXPathEquation* Sibling() const noexcept { return FSibling.get(); }
  const std::vector<std::unique_ptr<TVxXPathEquation>>& Children() const noexcept { return FChildren; }
  TVxXPathBaseTerm* Value() const noexcept { return FValue.get(); }

  /// Frees the previous term and takes ATerm.
  void SetValue(std::unique_ptr<TVxXPathBaseTerm> ATerm);
  /// A new first child (same options); this equation's operator becomes opNA.
  TVxXPathEquation* AddFirstChild();
  /// A new last child; this equation's operator becomes AOperator.
  TVxXPathEquation* AddChild(TVxXPathBoolOperator AOperator);
  /// A new sibling (same options and parent); this equation's operator becomes AOperator.
  TVxXPathEquation* AddSibling(TVxXPathBoolOperator AOperator);

  /// Whether the equation holds for List[Index]; false when it is undefined.
  bool Evaluate(const TVxDOMObjectList& AList, int AIndex);
  /// The same, telling whether the equation's own value was empty or null (undefined).
  bool Evaluate(const TVxDOMObjectList& AList, int AIndex, bool& AUndefined);
  /// The options path operands are selected with.
  TVxDOMSelectOptions GetSelectOptions() const;
  /// Reads one operand: a constant, a sequence "(...)" or array "[...]", a function call or a
  /// path.
  std::unique_ptr<TVxXPathBaseTerm> ReadTerm(TVxXPathParser& AParser);

 private:
  TVxDOMSelectOption FNameOption;
  TVxXPathCollationClass FCollation;
  TVxXPathBoolOperator FBoolOperator = opNA;
  TVxXPathEquation* FParent = nullptr;
  std::unique_ptr<TVxXPathEquation> FSibling;
  std::vector<std::unique_ptr<TVxXPathEquation>> FChildren;
  std::unique_ptr<TVxXPathBaseTerm> FValue;
};

/// The base of the terms: a value computed for the node under test.
class TVxXPathBaseTerm {
 public:
  explicit TVxXPathBaseTerm(TVxXPathEquation* AEquation) : FEquation(AEquation) {}
  virtual ~TVxXPathBaseTerm() = default;
  TVxXPathBaseTerm(const TVxXPathBaseTerm&) = delete;
  TVxXPathBaseTerm& operator=(const TVxXPathBaseTerm&) = delete;
  /// The value for the node AList[AIndex].
  virtual TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) = 0;
  TVxXPathEquation* Equation() const noexcept { return FEquation; }
  bool IsBoolean() const noexcept { return FIsBoolean; }

 protected:
  TVxXPathEquation* FEquation;
  bool FIsBoolean = false;
};

/// A number or a string written in the predicate.
class TVxXPathConstantTerm : public TVxXPathBaseTerm {
 public:
  /// Reads the constant at the parser: "text" (no escapes), or digits and "." (an integer
  /// when it is one, else a float).
  TVxXPathConstantTerm(TVxXPathEquation* AEquation, TVxXPathParser& AParser);
  /// A constant of a given value.
  TVxXPathConstantTerm(TVxXPathEquation* AEquation, TVxVariant AValue)
      : TVxXPathBaseTerm(AEquation), FValue(std::move(AValue)) {}
  TVxVariant Value(const TVxDOMObjectList&, int) override { return FValue; }

 private:
  TVxVariant FValue;
};

struct TVxDOMPath;

/// A path operand: the nodes a path selects from the node under test.
class TVxXPathValueTerm : public TVxXPathBaseTerm {
 public:
  TVxXPathValueTerm(TVxXPathEquation* AEquation, VxXMLString APath);
  ~TVxXPathValueTerm() override;
  const VxXMLString& Path() const noexcept { return FPath; }
  /// The selected nodes (the path is compiled on first use and kept); valid until the next
  /// call.
  const std::vector<TVxDOMNode*>& Nodes(const TVxDOMObjectList& AList, int AIndex);
  /// Null for no node, the node's text for one (null for a namespace declaration), an array
  /// of the texts for several.
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;

 private:
  VxXMLString FPath;
  std::unique_ptr<TVxDOMPath> FCompiled;
  std::vector<TVxDOMNode*> FNodes;
};

/// A function call; subclasses read their arguments in ParseParams.
class TVxXPathFunctionTerm : public TVxXPathBaseTerm {
 public:
  using TVxXPathBaseTerm::TVxXPathBaseTerm;
  /// Reads the arguments; the parser stands just after "(". The default skips to the
  /// matching ")".
  virtual void ParseParams(TVxXPathParser& AParser) { AParser.SkipToClosingParenthesis(); }
};

/// first(): the node under test is the first candidate.
class TVxXPathFirstNode : public TVxXPathFunctionTerm {
 public:
  using TVxXPathFunctionTerm::TVxXPathFunctionTerm;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
};
/// last(): the node under test is the last candidate.
class TVxXPathLastNode : public TVxXPathFunctionTerm {
 public:
  using TVxXPathFunctionTerm::TVxXPathFunctionTerm;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
};
/// position(): the 1-based position of the node under test among the candidates.
class TVxXPathFnPositionTerm : public TVxXPathFunctionTerm {
 public:
  using TVxXPathFunctionTerm::TVxXPathFunctionTerm;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
};
/// node(): always true.
class TVxXPathFnNodeTerm : public TVxXPathFunctionTerm {
 public:
  using TVxXPathFunctionTerm::TVxXPathFunctionTerm;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
};

/// A parenthesised sub-expression: the value of the equation's one child.
class TVxXPathChildTerm : public TVxXPathBaseTerm {
 public:
  explicit TVxXPathChildTerm(TVxXPathEquation* AEquation) : TVxXPathBaseTerm(AEquation) { FIsBoolean = true; }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
};
/// "not": the negation of the equation's one child (false when the child is undefined).
class TVxXPathNot : public TVxXPathChildTerm {
 public:
  using TVxXPathChildTerm::TVxXPathChildTerm;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
};
/// "[n]": the node under test has the zero-based index n.
class TVxXPathChildNodeX : public TVxXPathBaseTerm {
 public:
  TVxXPathChildNodeX(TVxXPathEquation* AEquation, int64_t AX) : TVxXPathBaseTerm(AEquation), FX(AX) { FIsBoolean = true; }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
  int64_t X() const noexcept { return FX; }

 private:
  int64_t FX;
};
/// An existence test: a path selects a node, or another term's value is not empty.
class TVxXPathHasNode : public TVxXPathBaseTerm {
 public:
  TVxXPathHasNode(TVxXPathEquation* AEquation, std::unique_ptr<TVxXPathBaseTerm> ATerm)
      : TVxXPathBaseTerm(AEquation), FTerm(std::move(ATerm)) {
    FIsBoolean = true;
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
  TVxXPathBaseTerm* Term() const noexcept { return FTerm.get(); }

 private:
  std::unique_ptr<TVxXPathBaseTerm> FTerm;
};
/// Left operator Right: true when any pair of values satisfies the operator, null when a side
/// is null.
class TVxXPathValueComparison : public TVxXPathBaseTerm {
 public:
  TVxXPathValueComparison(TVxXPathEquation* AEquation, std::unique_ptr<TVxXPathBaseTerm> ALeft,
                          std::unique_ptr<TVxXPathBaseTerm> ARight, TVxXPathValueComparisonOperator AOperator)
      : TVxXPathBaseTerm(AEquation), FLeft(std::move(ALeft)), FRight(std::move(ARight)), FOperator(AOperator) {}
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
  /// Compares two single values under the equation's collation: a boolean, or null when a
  /// side is null.
  TVxVariant CompareValues(const TVxVariant& A, const TVxVariant& B) const;
  TVxXPathValueComparisonOperator Operator() const noexcept { return FOperator; }

 private:
  std::unique_ptr<TVxXPathBaseTerm> FLeft, FRight;
  TVxXPathValueComparisonOperator FOperator;
};
/// Items read with ReadTerm; the value is the items' texts joined by ", ".
class TVxXPathListTerm : public TVxXPathBaseTerm {
 public:
  using TVxXPathBaseTerm::TVxXPathBaseTerm;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override;
  int Count() const noexcept { return static_cast<int>(FTerms.size()); }
  TVxXPathBaseTerm* GetTerm(int AIndex) const { return FTerms.at(static_cast<size_t>(AIndex)).get(); }
  void Add(std::unique_ptr<TVxXPathBaseTerm> ATerm) { FTerms.push_back(std::move(ATerm)); }

 protected:
  /// Reads items up to AClose (the opening bracket already read).
  void ReadItems(TVxXPathParser& AParser, char16_t AClose);
  std::vector<std::unique_ptr<TVxXPathBaseTerm>> FTerms;
};
/// "(a, b, ...)".
class TVxXPathSequenceTerm : public TVxXPathListTerm {
 public:
  TVxXPathSequenceTerm(TVxXPathEquation* AEquation, TVxXPathParser& AParser);
};
/// "[a, b, ...]".
class TVxXPathArrayTerm : public TVxXPathListTerm {
 public:
  TVxXPathArrayTerm(TVxXPathEquation* AEquation, TVxXPathParser& AParser);
};

// ---------------------------------------------------------------------------------------------
// Functions
// ---------------------------------------------------------------------------------------------

/// The base of the library's functions and of an application's own: the arguments are read
/// as operands (constants, paths, calls, sequences, arrays) into Params.
class TVxXPathFunction : public TVxXPathFunctionTerm {
 public:
  explicit TVxXPathFunction(TVxXPathEquation* AEquation) : TVxXPathFunctionTerm(AEquation) {}
  void ParseParams(TVxXPathParser& AParser) override;
  int ParamCount() const noexcept { return static_cast<int>(FParams.size()); }
  TVxXPathBaseTerm* Param(int AIndex) const { return FParams.at(static_cast<size_t>(AIndex)).get(); }

 protected:
  /// The context node's or argument's value as the argument rules say: no argument, the
  /// node under test; a path, its single node (XPDY0002 when none, XPTY0004 when several,
  /// with ASignature in the message); anything else, its value.
  TVxVariant ResolveArgument(const TVxDOMObjectList& AList, int AIndex, const char16_t* ASignature);
  /// The single node of a path argument (or the node under test without argument): XPTY0004
  /// "must be a node" when the argument is no path or selects several, XPDY0002 when none.
  TVxDOMNode* ResolveNode(const TVxDOMObjectList& AList, int AIndex, const char16_t* ASignature,
                          const char16_t* AParamName);
  /// The text of argument AIndex.
  VxString ParamText(int AParam, const TVxDOMObjectList& AList, int AIndex);

  std::vector<std::unique_ptr<TVxXPathBaseTerm>> FParams;
};

/// A function class reference.
using TVxXPathFunctionClass = TVxClassRef<TVxXPathFunction, TVxXPathEquation*>;

/// Registers a function class under a local name (without "fn:"). The first registration of a
/// name is the one lookups find. Meant for start-up.
void RegisterXPathFunction(const VxString& AName, TVxXPathFunctionClass AClass);
/// The registered names, in registration order.
std::vector<VxString> VxXPathFunctionNames();
/// Builds the term of a registered function and lets it read its arguments; EVxDomSyntax
/// cVxXPathUnsupportedFunction when the name is unknown.
std::unique_ptr<TVxXPathBaseTerm> CreateFunctionTerm(const VxString& AName, TVxXPathEquation* AEquation,
                                                     TVxXPathParser& AParser);

/// Registers a collation under a URI (the first registration of a URI wins).
void RegisterXPathCollation(const VxString& AURI, TVxXPathCollationClass AClass);
/// The collation registered for a URI; EVxDomSyntax cVxXPathUnsupportedCollation when none.
TVxXPathCollationClass VxXPathCollationByURI(const VxString& AURI);

/// The text value a path operand gives for a node: null for a namespace declaration, else the
/// node's text (attributes and text nodes unescaped).
TVxVariant VxXPathNodeValue(TVxDOMNode* ANode);

}  // namespace vx
