// uVxXPath: the XPath function library (66 functions, registered in a fixed order) and the
// registries of functions and collations.
#include "uVxXPath.h"

#include <cmath>
#include <ctime>
#include <limits>
#include <mutex>

#include "uVxDateUtils.h"
#include "uVxLogger.h"
#include "uVxUnicode.h"
#include "uVxXMLUtils.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// The function base
// ---------------------------------------------------------------------------------------------

void TVxXPathFunction::ParseParams(TVxXPathParser& AParser) {
  FParams.clear();
  AParser.SkipSpaces();
  if (AParser.CurrCharW() == u')') {
    AParser.NextChar();
    return;
  }
  while (AParser.CurrCharW() != 0 && AParser.CurrCharW() != u')') {
    const size_t before = AParser.Index();
    FParams.push_back(FEquation->ReadTerm(AParser));
    AParser.SkipSpaces();
    if (AParser.CurrCharW() == u',') AParser.NextChar();
    if (AParser.Index() == before) throw EVxDomSyntax(VxString(cVxXPathInvalidStatement));
  }
  if (AParser.CurrCharW() == u')') AParser.NextChar();
}

TVxVariant TVxXPathFunction::ResolveArgument(const TVxDOMObjectList& AList, int AIndex, const char16_t* ASignature) {
  if (FParams.empty()) return VxXPathNodeValue(AList.at(static_cast<size_t>(AIndex)));
  if (auto* path = dynamic_cast<TVxXPathValueTerm*>(FParams[0].get())) {
    const std::vector<TVxDOMNode*> nodes = path->Nodes(AList, AIndex);
    if (nodes.empty())
      throw EVxXPathException(cVxXPathErrNoNode, "",
                              VxFormat(u"The node parameter of function \"%s\" may not be nil!", ASignature));
    if (nodes.size() > 1)
      throw EVxXPathException(cVxXPathErrType, "",
                              VxFormat(u"The node parameter of function \"%s\" must be a single node!", ASignature));
    return VxXPathNodeValue(nodes[0]);
  }
  return FParams[0]->Value(AList, AIndex);
}

TVxDOMNode* TVxXPathFunction::ResolveNode(const TVxDOMObjectList& AList, int AIndex, const char16_t* ASignature,
                                          const char16_t* AParamName) {
  if (FParams.empty()) return AList.at(static_cast<size_t>(AIndex));
  auto* path = dynamic_cast<TVxXPathValueTerm*>(FParams[0].get());
  std::vector<TVxDOMNode*> nodes;
  if (path) nodes = path->Nodes(AList, AIndex);
  if (path && nodes.empty())
    throw EVxXPathException(cVxXPathErrNoNode, "",
                            VxFormat(u"The %s parameter of function \"%s\" may not be nil!", AParamName, ASignature));
  if (!path || nodes.size() > 1)
    throw EVxXPathException(cVxXPathErrType, "",
                            VxFormat(u"The %s parameter of function \"%s\" must be a node!", AParamName, ASignature));
  return nodes[0];
}

VxString TVxXPathFunction::ParamText(int AParam, const TVxDOMObjectList& AList, int AIndex) {
  return VxVarToStr(Param(AParam)->Value(AList, AIndex));
}

// ---------------------------------------------------------------------------------------------
// The built-in functions
// ---------------------------------------------------------------------------------------------

namespace {

[[noreturn]] void Syntax(const VxString& AMessage) { throw EVxDomSyntax(AMessage); }

// A built-in: the arguments are read, then their number checked.
class TVxXPathBuiltin : public TVxXPathFunction {
 public:
  using TVxXPathFunction::TVxXPathFunction;
  void ParseParams(TVxXPathParser& AParser) override {
    TVxXPathFunction::ParseParams(AParser);
    CheckArity();
  }

 protected:
  virtual void CheckArity() {}
  void Arity(int AMin, int AMax, const char16_t* AMessage) const {
    if (ParamCount() < AMin || ParamCount() > AMax) Syntax(AMessage);
  }
  TVxVariant ParamValue(int AParam, const TVxDOMObjectList& AList, int AIndex) {
    return Param(AParam)->Value(AList, AIndex);
  }
  TVxDOMNode* Context(const TVxDOMObjectList& AList, int AIndex) const { return AList.at(static_cast<size_t>(AIndex)); }
  // The error of an argument the function (named by its signature) cannot use.
  [[noreturn]] static void InvalidArgument(const VxString& ASignature) {
    throw EVxXPathException(cVxXPathErrInvalidArgument, "", VxFormat(u"An invalid parameter was passed to %s", ASignature));
  }
  // The first argument's text, trimmed, read by ARead into AOut; false when the argument is
  // empty (the function answers null). A text ARead refuses is an invalid argument.
  template <class T, class F>
  bool ReadFirstArgument(const TVxDOMObjectList& AList, int AIndex, const VxString& ASignature, F ARead, T& AOut) {
    const TVxVariant v = ParamValue(0, AList, AIndex);
    if (VxVarIsEmpty(v) || VxVarToStr(v).empty()) return false;
    try {
      AOut = ARead(VxTrim(VxVarToStr(v)));
    } catch (const Exception&) {
      InvalidArgument(ASignature);
    }
    return true;
  }
};

// ---- nodes ----

class TVxXPathFnText : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    for (TVxDOMNode* c = Context(AList, AIndex)->FirstChild(); c; c = c->NextSibling())
      if (c->NodeType() == ntText) return TVxVariant(true);
    return TVxVariant(false);
  }
};

class TVxXPathFnNodeName : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(0, 1, u"The \"fn:node-name(node)\" function may only have 1 parameter!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    if (ParamCount() == 1) {
      TVxDOMNode* arg = ResolveNode(AList, AIndex, u"fn:node-name(node)", u"node");
      if (arg->NodeType() == ntAttribute && static_cast<TVxDOMAttribute*>(arg)->IsNamespace())
        return TVxVariant(static_cast<TVxDOMAttribute*>(arg)->NamespacePrefix());
    }
    TVxDOMNode* n = Context(AList, AIndex);
    return TVxVariant(FEquation->NameOption() == soQualifiedName ? n->GetQualifiedName() : n->GetLocalName());
  }
};

class TVxXPathFnNilled : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(0, 1, u"The \"fn:nilled(node)\" function may only have 1 parameter!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    TVxDOMNode* n = ParamCount() == 1 ? ResolveNode(AList, AIndex, u"fn:nilled(node)", u"node") : Context(AList, AIndex);
    if (n->NodeType() != ntElement) return TVxVariant::Null();
    TVxDOMAttribute* nil = static_cast<TVxDOMElement*>(n)->FindAttribute(u"nil", cVxXSINamespace);
    return TVxVariant(nil && TVxXPathCollationASCIICI::ClassRef()->SameText(nil->GetNodeValue(), u"true"));
  }
};

// fn:string and fn:data: the argument's text.
class TVxXPathFnString : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void ParseParams(TVxXPathParser& AParser) override {
    AParser.SkipSpaces();
    if (AParser.CurrCharW() == u'(')
      throw EVxXPathException(cVxXPathErrType, "",
                              u"The arg parameter of function \"fn:string(arg)\" may not be a sequence!");
    if (AParser.CurrCharW() == u'[')
      throw EVxXPathException(cVxXPathErrMapOrArray, "",
                              u"The arg parameter of function \"fn:string(arg)\" may not be a map or array!");
    TVxXPathBuiltin::ParseParams(AParser);
  }
  void CheckArity() override {
    Arity(0, 1, u"The \"fn:string(arg)\" function may contain 0 or 1 parameter, but not more!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    return TVxVariant(VxVarToStr(ResolveArgument(AList, AIndex, u"fn:string(arg)")));
  }
};

class TVxXPathFnData : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(0, 1, u"The \"fn:data(arg)\" function may contain 0 or 1 parameter, but not more!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    return TVxVariant(VxVarToStr(ResolveArgument(AList, AIndex, u"fn:data(arg)")));
  }
};

TVxDOMDocument* DocumentOf(TVxDOMNode* ANode) {
  return ANode->NodeType() == ntDocument ? static_cast<TVxDOMDocument*>(ANode) : ANode->DOMDocument();
}

class TVxXPathFnBaseUri : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(0, 1, u"The \"fn:base-uri(arg)\" function may contain 0 or 1 parameter, but not more!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    TVxDOMDocument* doc = DocumentOf(ResolveNode(AList, AIndex, u"fn:base-uri(arg)", u"arg"));
    return doc ? TVxVariant(doc->GetDocumentURI()) : TVxVariant::Null();
  }
};

class TVxXPathFnDocumentUri : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(0, 1, u"The \"fn:document-uri(arg)\" function may contain 0 or 1 parameter, but not more!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    TVxDOMNode* n = ResolveNode(AList, AIndex, u"fn:document-uri(arg)", u"arg");
    if (n->NodeType() != ntDocument) return TVxVariant::Null();
    return TVxVariant(static_cast<TVxDOMDocument*>(n)->GetDocumentURI());
  }
};

// ---- errors and tracing ----

class TVxXPathFnError : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(0, 3, u"The \"fn:error()\" function has a maximum of 3 parameters!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    if (ParamCount() == 0) throw EVxXPathException(cVxXPathErrError, "", u"An exception was raised");
    const std::string code = VxUTF16ToUTF8(ParamText(0, AList, AIndex));
    const VxString message = ParamCount() > 1 ? ParamText(1, AList, AIndex) : VxString();
    const std::string detail = ParamCount() > 2 ? VxUTF16ToUTF8(ParamText(2, AList, AIndex)) : std::string();
    throw EVxXPathException(code, detail, message);
  }
};

class TVxXPathFnTrace : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(2, 2, u"The \"fn:trace(value, label)\" function must contain 2 parameters!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const VxString value = ParamText(0, AList, AIndex);
    const VxString label = ParamText(1, AList, AIndex);
    VxLogger(u"XPath").Info(label.empty() ? value : label + u"; value=" + value);
    return TVxVariant();  // no result: a predicate of it alone is false
  }
};

// ---- numbers ----

// A numeric argument: an integer, a float, or nothing (null).
struct TNumber {
  enum { nkNone, nkInteger, nkFloat } Kind = nkNone;
  int64_t I = 0;
  long double F = 0;
};

TNumber NumberOf(const TVxVariant& V) {
  TNumber n;
  switch (TVxTypes::VarMainTypeKind(V)) {
    case 1:
      n.Kind = TNumber::nkInteger;
      n.I = VxVarToInt64(V);
      break;
    case 4:
      n.Kind = TNumber::nkInteger;
      n.I = VxVarToBool(V) ? 1 : 0;
      break;
    case 2:
    case 5:
      n.Kind = TNumber::nkFloat;
      n.F = VxVarToExtended(V);
      break;
    default: break;  // strings, empty and null give null
  }
  return n;
}

TVxVariant RoundToInteger(long double AValue) {
  // The processor's rounding: halves to the even neighbour.
  if (!std::isfinite(AValue) || std::fabs(AValue) >= 9.2e18L) return TVxVariant(AValue);
  return TVxVariant(static_cast<int64_t>(std::llrint(AValue)));
}

template <int Kind>
class TVxXPathFnNumeric : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 1, Message()); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TNumber n = NumberOf(ParamValue(0, AList, AIndex));
    if (n.Kind == TNumber::nkNone) return TVxVariant::Null();
    if (n.Kind == TNumber::nkInteger) {
      if (Kind == 0) return n.I == std::numeric_limits<int64_t>::min() ? TVxVariant(-static_cast<long double>(n.I))
                                                                        : TVxVariant(n.I < 0 ? -n.I : n.I);
      return TVxVariant(n.I);
    }
    switch (Kind) {
      case 0: return TVxVariant(std::fabs(n.F));
      case 1: return TVxVariant(std::ceil(n.F));
      case 2: return TVxVariant(std::floor(n.F));
      default: return RoundToInteger(n.F);
    }
  }

 private:
  static const char16_t* Message() {
    switch (Kind) {
      case 0: return u"The \"fn:abs(num)\" function must contain 1 parameter!";
      case 1: return u"The \"fn:ceiling(num)\" function must contain 1 parameter!";
      case 2: return u"The \"fn:floor(num)\" function must contain 1 parameter!";
      case 3: return u"The \"fn:round(num)\" function must contain 1 parameter!";
      default: return u"The \"fn:half-to-even(num)\" function must contain 1 parameter!";
    }
  }
};
using TVxXPathFnAbs = TVxXPathFnNumeric<0>;
using TVxXPathFnCeiling = TVxXPathFnNumeric<1>;
using TVxXPathFnFloor = TVxXPathFnNumeric<2>;
using TVxXPathFnRound = TVxXPathFnNumeric<3>;
using TVxXPathFnRoundHalfToEven = TVxXPathFnNumeric<4>;

class TVxXPathFnNumber : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(0, 1, u"The \"fn:number(arg)\" function may contain 0 or 1 parameter, but not more!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ResolveArgument(AList, AIndex, u"fn:number(arg)");
    if (VxVarIsEmpty(v)) return v;
    return TVxVariant(VxVarToExtended(v, std::numeric_limits<long double>::quiet_NaN()));
  }
};

// ---- strings ----

class TVxXPathFnCodepointsToString : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(0, 1, u"The \"fn:codepoints-to-string((int,int,...))\" function may contain 0 or 1 parameter, but not more!");
    if (ParamCount() == 1 && !dynamic_cast<TVxXPathSequenceTerm*>(Param(0)))
      Syntax(u"The \"fn:codepoints-to-string((int,int,...))\" requires a list of integers!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    VxString s;
    if (ParamCount() == 1) {
      auto* list = static_cast<TVxXPathSequenceTerm*>(Param(0));
      for (int k = 0; k < list->Count(); ++k)
        s.push_back(static_cast<char16_t>(VxVarToInt(list->GetTerm(k)->Value(AList, AIndex))));
    }
    return TVxVariant(s);
  }
};

class TVxXPathFnStringToCodepoints : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 1, u"The \"fn:string-to-codepoints(string)\" function must contain 1 parameter!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    VxString out = u"(";
    const VxString s = ParamText(0, AList, AIndex);
    for (size_t k = 0; k < s.size(); ++k) out.append(k ? u"," : u"").append(VxIntToStr(static_cast<int>(s[k])));
    return TVxVariant(out + u")");
  }
};

class TVxXPathFnCompare : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    if (ParamCount() < 2) Syntax(u"The \"fn:compare(comp1, comp2, collation*)\" function must contain at least parameters!");
    if (ParamCount() > 3) Syntax(u"The \"fn:compare(comp1, comp2, collation*)\" function has a maximum of 3 paramaters!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant a = ParamValue(0, AList, AIndex), b = ParamValue(1, AList, AIndex);
    if (VxVarIsEmpty(a) || VxVarIsEmpty(b)) return TVxVariant::Null();
    TVxXPathCollationClass collation =
        ParamCount() == 3 ? VxXPathCollationByURI(ParamText(2, AList, AIndex)) : FEquation->Collation();
    return TVxVariant(static_cast<int64_t>(collation->Compare(VxVarToStr(a), VxVarToStr(b))));
  }
};

class TVxXPathFnCodepointEqual : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(2, 2, u"The \"fn:codepoint-equal(comp1, comp2)\" function must contain 2 parameters!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant a = ParamValue(0, AList, AIndex), b = ParamValue(1, AList, AIndex);
    if (TVxTypes::VarMainTypeKind(a) != 3 || TVxTypes::VarMainTypeKind(b) != 3) return TVxVariant::Null();
    return TVxVariant(VxVarToStr(a) == VxVarToStr(b));
  }
};

class TVxXPathFnConcat : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    VxString s;
    for (int k = 0; k < ParamCount(); ++k) s += ParamText(k, AList, AIndex);
    return TVxVariant(s);
  }
};

// The items of an argument: a sequence's or array's terms, an array value's elements, or the
// value itself.
std::vector<VxString> ItemsOf(TVxXPathBaseTerm* ATerm, const TVxDOMObjectList& AList, int AIndex) {
  std::vector<VxString> items;
  if (auto* list = dynamic_cast<TVxXPathListTerm*>(ATerm)) {
    for (int k = 0; k < list->Count(); ++k) items.push_back(VxVarToStr(list->GetTerm(k)->Value(AList, AIndex)));
    return items;
  }
  const TVxVariant v = ATerm->Value(AList, AIndex);
  if (v.IsArray()) {
    for (int k = v.ArrayLowBound(); k <= v.ArrayHighBound(); ++k) items.push_back(VxVarToStr(v.ArrayItem(k)));
  } else if (!VxVarIsEmpty(v)) {
    items.push_back(VxVarToStr(v));
  }
  return items;
}

class TVxXPathFnStringJoin : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    if (ParamCount() < 1) Syntax(u"The \"fn:string-join((string,string,...),sep*)\" function must contain at least 1 parameter!");
    if (ParamCount() > 2) Syntax(u"The \"fn:string-join((string,string,...),sep*)\" function may not contain more than 2 parameters!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const VxString separator = ParamCount() == 2 ? ParamText(1, AList, AIndex) : VxString();
    VxString s;
    bool first = true;
    for (const VxString& item : ItemsOf(Param(0), AList, AIndex)) {
      if (!first) s += separator;
      s += item;
      first = false;
    }
    return TVxVariant(s);
  }
};

class TVxXPathFnSubstring : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 3, u"The \"fn:substring(string,start,len)\" function must contain 3 or less parameters!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ParamValue(0, AList, AIndex);
    if (v.IsNull()) return v;
    const VxString s = VxVarToStr(v);
    auto whole = [&](int AParam) { return std::llrint(VxVarToExtended(ParamValue(AParam, AList, AIndex))); };
    // 1-based, clipped as a copy of a string is: a start below 1 counts from 1.
    long long start = ParamCount() >= 2 ? whole(1) : 1;
    long long length = ParamCount() == 3 ? whole(2) : static_cast<long long>(s.size());
    if (start < 1) start = 1;
    if (start > static_cast<long long>(s.size()) || length <= 0) return TVxVariant(VxString());
    length = std::min<long long>(length, static_cast<long long>(s.size()) - start + 1);
    return TVxVariant(s.substr(static_cast<size_t>(start - 1), static_cast<size_t>(length)));
  }
};

class TVxXPathFnStringLength : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(0, 1, u"Too many parameters specified for \"fn:string-length(string)\"!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ResolveArgument(AList, AIndex, u"fn:string-length(string)");
    if (v.IsNull()) return v;
    return TVxVariant(static_cast<int64_t>(VxVarToStr(v).size()));
  }
};

bool IsXMLSpace(char16_t C) { return C == u' ' || C == u'\t' || C == u'\r' || C == u'\n'; }

class TVxXPathFnNormalizeSpace : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(0, 1, u"Too many parameters specified for \"fn:normalize-space(string)\"!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ResolveArgument(AList, AIndex, u"fn:normalize-space(string)");
    if (v.IsNull()) return v;
    VxString out;
    bool pendingSpace = false;
    for (char16_t c : VxVarToStr(v)) {
      if (IsXMLSpace(c)) {
        pendingSpace = !out.empty();
        continue;
      }
      if (pendingSpace) out.push_back(u' ');
      pendingSpace = false;
      out.push_back(c);
    }
    return TVxVariant(out);
  }
};

class TVxXPathFnNormalizeUnicode : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(0, 2, u"Too many parameters specified for \"fn:normalize-unicode(string, normalizationForm)\"!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ResolveArgument(AList, AIndex, u"fn:normalize-unicode(string, normalizationForm)");
    if (v.IsNull()) return v;
    VxString form = ParamCount() == 2 ? VxTrim(ParamText(1, AList, AIndex)) : VxString(u"NFC");
    for (char16_t& c : form) c = VxUpCase(c);
    if (form.empty()) return TVxVariant(VxVarToStr(v));  // a zero-length form: no normalisation
    if (form != u"NFC" && form != u"NFD" && form != u"NFKC" && form != u"NFKD")
      Syntax(u"An unsupported normalizationForm was specified for \"fn:normalize-unicode(string, normalizationForm)\"!");
    return TVxVariant(VxNormalizeString(VxVarToStr(v), form));
  }
};

// One string argument turned into another string.
template <class TFunc>
class TVxXPathFnStringMap : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 1, TFunc::Message); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ParamValue(0, AList, AIndex);
    if (v.IsNull()) return v;
    return TVxVariant(TFunc::Apply(VxVarToStr(v)));
  }
};
struct TSimplify {
  static constexpr const char16_t* Message = u"The \"fn:simplify(string)\" function must have a single parameter!";
  static VxString Apply(const VxString& S) { return VxSimplifyString(S); }
};
struct TUpper {
  static constexpr const char16_t* Message = u"The \"fn:upper-case(string)\" function must have a single parameter!";
  static VxString Apply(VxString S) {
    for (char16_t& c : S) c = VxUpCase(c);
    return S;
  }
};
struct TLower {
  static constexpr const char16_t* Message = u"The \"fn:lower-case(string)\" function must have a single parameter!";
  static VxString Apply(VxString S) {
    for (char16_t& c : S) c = VxLowCase(c);
    return S;
  }
};
using TVxXPathFnSimplify = TVxXPathFnStringMap<TSimplify>;
using TVxXPathFnUpperCase = TVxXPathFnStringMap<TUpper>;
using TVxXPathFnLowerCase = TVxXPathFnStringMap<TLower>;

class TVxXPathFnTranslate : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(3, 3, u"The \"fn:translate(string1,string2,string3)\" function must have 3 parameters!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ParamValue(0, AList, AIndex);
    if (v.IsNull()) return v;
    VxString s = VxVarToStr(v);
    const VxString from = ParamText(1, AList, AIndex), to = ParamText(2, AList, AIndex);
    if (from.empty()) return TVxVariant(s);
    VxString out;
    for (size_t at = 0;;) {
      const size_t hit = s.find(from, at);
      if (hit == VxString::npos) {
        out.append(s, at, VxString::npos);
        break;
      }
      out.append(s, at, hit - at).append(to);
      at = hit + from.size();
    }
    return TVxVariant(out);
  }
};

// Two string arguments to a result; null when either is null.
template <class TFunc>
class TVxXPathFnTwoStrings : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(2, 2, TFunc::Message); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant a = ParamValue(0, AList, AIndex), b = ParamValue(1, AList, AIndex);
    if (a.IsNull() || b.IsNull()) return TVxVariant::Null();
    return TFunc::Apply(VxVarToStr(a), VxVarToStr(b), FEquation->Collation());
  }
};
struct TContains {
  static constexpr const char16_t* Message = u"The \"fn:contains(string1,string2)\" function must have 2 parameters!";
  static TVxVariant Apply(const VxString& A, const VxString& B, TVxXPathCollationClass C) {
    return TVxVariant(C->Pos(B, A) > 0);
  }
};
struct TStartsWith {
  static constexpr const char16_t* Message = u"The \"fn:starts-with(string1,string2)\" function must have 2 parameters!";
  static TVxVariant Apply(const VxString& A, const VxString& B, TVxXPathCollationClass C) {
    return TVxVariant(A.size() >= B.size() && C->SameText(std::u16string_view(A).substr(0, B.size()), B));
  }
};
struct TEndsWith {
  static constexpr const char16_t* Message = u"The \"fn:ends-with(string1,string2)\" function must have 2 parameters!";
  static TVxVariant Apply(const VxString& A, const VxString& B, TVxXPathCollationClass C) {
    return TVxVariant(A.size() >= B.size() && C->SameText(std::u16string_view(A).substr(A.size() - B.size()), B));
  }
};
struct TSubstringBefore {
  static constexpr const char16_t* Message =
      u"The \"fn:substring-before(string1,string2)\" function must have 2 parameters!";
  static TVxVariant Apply(const VxString& A, const VxString& B, TVxXPathCollationClass) {
    const size_t at = A.find(B);
    return TVxVariant(at == VxString::npos ? VxString() : A.substr(0, at));
  }
};
struct TSubstringAfter {
  static constexpr const char16_t* Message = TSubstringBefore::Message;  // the same text, as it stands
  static TVxVariant Apply(const VxString& A, const VxString& B, TVxXPathCollationClass) {
    const size_t at = A.find(B);
    return TVxVariant(at == VxString::npos ? VxString() : A.substr(at + B.size()));
  }
};
using TVxXPathFnContains = TVxXPathFnTwoStrings<TContains>;
using TVxXPathFnStartsWith = TVxXPathFnTwoStrings<TStartsWith>;
using TVxXPathFnEndsWith = TVxXPathFnTwoStrings<TEndsWith>;
using TVxXPathFnSubstringBefore = TVxXPathFnTwoStrings<TSubstringBefore>;
using TVxXPathFnSubstringAfter = TVxXPathFnTwoStrings<TSubstringAfter>;

// The regular-expression functions: not available.
template <int Kind>
class TVxXPathFnNoRegEx : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  TVxVariant Value(const TVxDOMObjectList&, int) override {
    Syntax(Kind == 0 ? u"The \"fn:matches()\" function requires regular-expression support, which this build does not have!"
                     : u"The \"fn:replace()\" function requires regular-expression support, which this build does not have!");
  }
};
using TVxXPathFnMatches = TVxXPathFnNoRegEx<0>;
using TVxXPathFnReplace = TVxXPathFnNoRegEx<1>;

class TVxXPathFnTokenize : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(1, 3, u"Invalid parameter for \"fn:tokenize()\"!");
    if (dynamic_cast<TVxXPathListTerm*>(Param(0))) Syntax(u"Invalid parameter for \"fn:tokenize()\"!");
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    if (ParamCount() > 1)
      Syntax(u"The \"fn:tokenize(string,pattern,flags)\" function requires regular-expression support, which this "
             u"build does not have!");
    const TVxVariant v = ParamValue(0, AList, AIndex);
    if (v.IsNull()) return v;
    VxString out = u"(";
    bool first = true;
    for (const VxString& token : VxTokenize(VxVarToStr(v))) {
      out.append(first ? u"\"" : u", \"").append(token).append(u"\"");
      first = false;
    }
    return TVxVariant(out + u")");
  }
};

// ---- booleans ----

class TVxXPathFnTrue : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  TVxVariant Value(const TVxDOMObjectList&, int) override { return TVxVariant(true); }
};
class TVxXPathFnFalse : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  TVxVariant Value(const TVxDOMObjectList&, int) override { return TVxVariant(false); }
};

// The effective boolean value of an argument.
bool EffectiveBoolean(TVxXPathBaseTerm* ATerm, const TVxDOMObjectList& AList, int AIndex, const char16_t* AFunction) {
  if (auto* path = dynamic_cast<TVxXPathValueTerm*>(ATerm)) return !path->Nodes(AList, AIndex).empty();
  if (auto* list = dynamic_cast<TVxXPathListTerm*>(ATerm)) return list->Count() > 0;
  const TVxVariant v = ATerm->Value(AList, AIndex);
  switch (TVxTypes::VarMainTypeKind(v)) {
    case 0: return false;
    case 1:
    case 2: {
      const long double d = VxVarToExtended(v);
      return d != 0 && !std::isnan(d);
    }
    case 3: return !VxVarToStr(v).empty();
    case 4: return VxVarToBool(v);
    default:
      throw EVxXPathException(cVxXPathErrInvalidArgument, "", VxFormat(u"An invalid parameter was passed to %s", AFunction));
  }
}

class TVxXPathFnBoolean : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 1, u"The \"fn:boolean(arg)\" function must have 1 parameter!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    return TVxVariant(EffectiveBoolean(Param(0), AList, AIndex, u"fn:boolean(arg)"));
  }
};

class TVxXPathFnNot : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    if (ParamCount() == 0) return TVxVariant::Null();
    return TVxVariant(!EffectiveBoolean(Param(0), AList, AIndex, u"fn:not(arg)"));
  }
};

// ---- durations, dates and times ----

TVxDuration DurationOfMinutes(int AMinutes) {
  TVxDuration d;
  d.Negative = AMinutes < 0;
  const int m = AMinutes < 0 ? -AMinutes : AMinutes;
  d.Hours = m / 60;
  d.Minutes = m % 60;
  return d;
}

// Duration components: 0 years, 1 months, 2 days, 3 hours, 4 minutes, 5 seconds.
template <int Part>
class TVxXPathFnFromDuration : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 1, VxFormat(u"The \"%s\" function must have 1 parameter!", Signature()).c_str()); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    TVxDuration d;
    if (!ReadFirstArgument(AList, AIndex, Signature(), [](const VxString& AText) { return VxXMLToDuration(AText); }, d))
      return TVxVariant::Null();
    const int sign = d.Negative ? -1 : 1;
    switch (Part) {
      case 0: return TVxVariant(sign * d.Years);
      case 1: return TVxVariant(sign * d.Months);
      case 2: return TVxVariant(sign * d.Days);
      case 3: return TVxVariant(sign * d.Hours);
      case 4: return TVxVariant(sign * d.Minutes);
      default: return TVxVariant(static_cast<long double>(sign * d.Seconds));
    }
  }

 private:
  static const char16_t* Signature() {
    switch (Part) {
      case 0: return u"fn:years-from-duration(arg)";
      case 1: return u"fn:months-from-duration(arg)";
      case 2: return u"fn:days-from-duration(arg)";
      case 3: return u"fn:hours-from-duration(arg)";
      case 4: return u"fn:minutes-from-duration(arg)";
      default: return u"fn:seconds-from-duration(arg)";
    }
  }
};

class TVxXPathFnDateTime : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(2, 2, u"The \"fn:dateTime(date, time)\" function must have 2 parameters!"); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant a = ParamValue(0, AList, AIndex), b = ParamValue(1, AList, AIndex);
    if (VxVarIsEmpty(a) || VxVarIsEmpty(b)) return TVxVariant::Null();
    auto invalid = [] {
      return EVxXPathException(cVxXPathErrDateTimeParts, "", u"An invalid parameter was passed to fn:dateTime(arg)");
    };
    TVxDateTimeParts date, time;
    try {
      date = VxDecodeISODateTime(VxTrim(VxVarToStr(a)));
      time = VxDecodeISODateTime(VxTrim(VxVarToStr(b)));
    } catch (const Exception&) {
      throw invalid();
    }
    if (!date.HasDate || date.HasTime || !time.HasTime || time.HasDate) throw invalid();
    if (date.HasZone && time.HasZone && date.ZoneOffset != time.ZoneOffset) throw invalid();
    TVxDateTimeParts parts = date;
    parts.HasTime = true;
    parts.Hour = time.Hour;
    parts.Minute = time.Minute;
    parts.Second = time.Second;
    parts.Fraction = time.Fraction;
    if (time.HasZone) {
      parts.HasZone = true;
      parts.ZoneOffset = time.ZoneOffset;
    }
    return TVxVariant(VxEncodeISODateTime(parts));
  }
};

// Components of a dateTime (0), date (1) or time (2) text: 0 year, 1 month, 2 day, 3 hours,
// 4 minutes, 5 seconds, 6 time zone.
template <int Of, int Part>
class TVxXPathFnFromDate : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override { Arity(1, 1, VxFormat(u"The \"%s\" function must have 1 parameter!", Signature()).c_str()); }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    TVxDateTimeParts p;
    if (!ReadFirstArgument(AList, AIndex, Signature(), [](const VxString& AText) { return VxDecodeISODateTime(AText); }, p))
      return TVxVariant::Null();
    switch (Part) {
      case 0: return TVxVariant(static_cast<int64_t>(p.Year));
      case 1: return TVxVariant(static_cast<int64_t>(p.Month));
      case 2: return TVxVariant(static_cast<int64_t>(p.Day));
      case 3: return TVxVariant(static_cast<int64_t>(p.Hour));
      case 4: return TVxVariant(static_cast<int64_t>(p.Minute));
      case 5: return TVxVariant(static_cast<long double>(p.Second) + static_cast<long double>(p.Fraction));
      default: return p.HasZone ? TVxVariant(VxDurationToXML(DurationOfMinutes(p.ZoneOffset))) : TVxVariant::Null();
    }
  }

 private:
  static VxString Signature() {
    static const char16_t* const parts[] = {u"year", u"month", u"day", u"hours", u"minutes", u"seconds", u"timezone"};
    static const char16_t* const kinds[] = {u"dateTime", u"date", u"time"};
    return u"fn:" + VxString(parts[Part]) + u"-from-" + kinds[Of] + u"(" + kinds[Of] + u")";
  }
};

// Minutes east of UTC of the machine's zone now.
int LocalZoneNow() {
  const TDateTime utc = cVxUnixEpoch + static_cast<double>(std::time(nullptr)) / 86400.0;
  return VxCalcTimeZoneOffset(VxUTCToLocal(utc));
}

template <int Of>
class TVxXPathFnAdjust : public TVxXPathBuiltin {
 public:
  using TVxXPathBuiltin::TVxXPathBuiltin;
  void CheckArity() override {
    Arity(1, 2, VxFormat(u"The \"%s\" function may not have more than 2 parameters!", Signature()).c_str());
  }
  TVxVariant Value(const TVxDOMObjectList& AList, int AIndex) override {
    const TVxVariant v = ParamValue(0, AList, AIndex);
    if (VxVarIsEmpty(v)) return TVxVariant::Null();
    TVxDateTimeParts p;
    int target;
    try {
      p = VxDecodeISODateTime(VxTrim(VxVarToStr(v)));
      if (ParamCount() == 2) {
        const TVxDuration d = VxXMLToDuration(VxTrim(ParamText(1, AList, AIndex)));
        const int64_t minutes = (d.Days * 24 + d.Hours) * 60 + d.Minutes;
        target = static_cast<int>(d.Negative ? -minutes : minutes);
      } else {
        target = LocalZoneNow();
      }
    } catch (const EVxXPathException&) {
      throw;
    } catch (const Exception&) {
      InvalidArgument(Signature());
    }
    if (p.HasZone && p.ZoneOffset != target) {
      // The same instant in the other zone.
      TVxDateTimeParts base = p;
      if (!base.HasDate) base.Year = 2000, base.Month = 1, base.Day = 1;
      const TDateTime moved = VxIncMinutes(base.ToDateTime(), target - p.ZoneOffset);
      int y, mo, d, h, mi, s, ms;
      VxDecodeDate(moved, y, mo, d);
      VxDecodeTime(moved, h, mi, s, ms);
      if (p.HasDate) p.Year = y, p.Month = mo, p.Day = d;
      p.Hour = h, p.Minute = mi, p.Second = s, p.Fraction = ms / 1000.0;
    }
    p.HasZone = true;
    p.ZoneOffset = target;
    return TVxVariant(VxEncodeISODateTime(p));
  }

 private:
  static const char16_t* Signature() {
    switch (Of) {
      case 0: return u"fn:adjust-dateTime-to-timezone(dt,timezone)";
      case 1: return u"fn:adjust-date-to-timezone(dt,timezone)";
      default: return u"fn:adjust-time-to-timezone(dt,timezone)";
    }
  }
};

// ---------------------------------------------------------------------------------------------
// Registries
// ---------------------------------------------------------------------------------------------

struct TFunctionRecord {
  VxString Name;
  TVxXPathFunctionClass Class;
};
struct TCollationRecord {
  VxString URI;
  TVxXPathCollationClass Class;
};

struct TRegistries {
  std::mutex Lock;
  std::vector<TFunctionRecord> Functions;
  std::vector<TCollationRecord> Collations;
};

template <class T>
TVxXPathFunctionClass Fn() {
  return TVxXPathFunctionClass::Of<T>();
}

TRegistries& Registries() {
  // Filled on first use, collations first, then the functions in their fixed order; never
  // freed, so selections in static destructors still find them.
  static TRegistries* registries = [] {
    auto* r = new TRegistries;
    r->Collations = {{cVxXPathCollationURIASCIICI, TVxXPathCollationASCIICI::ClassRef()},
                     {cVxXPathCollationURICodepoint, TVxXPathCollationCodepoint::ClassRef()}};
    r->Functions = {
        {u"text", Fn<TVxXPathFnText>()},
        {u"node-name", Fn<TVxXPathFnNodeName>()},
        {u"nilled", Fn<TVxXPathFnNilled>()},
        {u"string", Fn<TVxXPathFnString>()},
        {u"data", Fn<TVxXPathFnData>()},
        {u"base-uri", Fn<TVxXPathFnBaseUri>()},
        {u"document-uri", Fn<TVxXPathFnDocumentUri>()},
        {u"error", Fn<TVxXPathFnError>()},
        {u"trace", Fn<TVxXPathFnTrace>()},
        {u"abs", Fn<TVxXPathFnAbs>()},
        {u"ceiling", Fn<TVxXPathFnCeiling>()},
        {u"floor", Fn<TVxXPathFnFloor>()},
        {u"round", Fn<TVxXPathFnRound>()},
        {u"half-to-even", Fn<TVxXPathFnRoundHalfToEven>()},
        {u"number", Fn<TVxXPathFnNumber>()},
        {u"codepoints-to-string", Fn<TVxXPathFnCodepointsToString>()},
        {u"string-to-codepoints", Fn<TVxXPathFnStringToCodepoints>()},
        {u"compare", Fn<TVxXPathFnCompare>()},
        {u"codepoint-equal", Fn<TVxXPathFnCodepointEqual>()},
        {u"concat", Fn<TVxXPathFnConcat>()},
        {u"string-join", Fn<TVxXPathFnStringJoin>()},
        {u"substring", Fn<TVxXPathFnSubstring>()},
        {u"string-length", Fn<TVxXPathFnStringLength>()},
        {u"normalize-space", Fn<TVxXPathFnNormalizeSpace>()},
        {u"normalize-unicode", Fn<TVxXPathFnNormalizeUnicode>()},
        {u"simplify", Fn<TVxXPathFnSimplify>()},
        {u"upper-case", Fn<TVxXPathFnUpperCase>()},
        {u"lower-case", Fn<TVxXPathFnLowerCase>()},
        {u"translate", Fn<TVxXPathFnTranslate>()},
        {u"contains", Fn<TVxXPathFnContains>()},
        {u"starts-with", Fn<TVxXPathFnStartsWith>()},
        {u"ends-with", Fn<TVxXPathFnEndsWith>()},
        {u"substring-before", Fn<TVxXPathFnSubstringBefore>()},
        {u"substring-after", Fn<TVxXPathFnSubstringAfter>()},
        {u"matches", Fn<TVxXPathFnMatches>()},
        {u"replace", Fn<TVxXPathFnReplace>()},
        {u"tokenize", Fn<TVxXPathFnTokenize>()},
        {u"true", Fn<TVxXPathFnTrue>()},
        {u"false", Fn<TVxXPathFnFalse>()},
        {u"boolean", Fn<TVxXPathFnBoolean>()},
        {u"not", Fn<TVxXPathFnNot>()},
        {u"years-from-duration", Fn<TVxXPathFnFromDuration<0>>()},
        {u"months-from-duration", Fn<TVxXPathFnFromDuration<1>>()},
        {u"days-from-duration", Fn<TVxXPathFnFromDuration<2>>()},
        {u"hours-from-duration", Fn<TVxXPathFnFromDuration<3>>()},
        {u"minutes-from-duration", Fn<TVxXPathFnFromDuration<4>>()},
        {u"seconds-from-duration", Fn<TVxXPathFnFromDuration<5>>()},
        {u"dateTime", Fn<TVxXPathFnDateTime>()},
        {u"year-from-dateTime", Fn<TVxXPathFnFromDate<0, 0>>()},
        {u"month-from-dateTime", Fn<TVxXPathFnFromDate<0, 1>>()},
        {u"day-from-dateTime", Fn<TVxXPathFnFromDate<0, 2>>()},
        {u"hours-from-dateTime", Fn<TVxXPathFnFromDate<0, 3>>()},
        {u"minutes-from-dateTime", Fn<TVxXPathFnFromDate<0, 4>>()},
        {u"seconds-from-dateTime", Fn<TVxXPathFnFromDate<0, 5>>()},
        {u"timezone-from-dateTime", Fn<TVxXPathFnFromDate<0, 6>>()},
        {u"year-from-date", Fn<TVxXPathFnFromDate<1, 0>>()},
        {u"month-from-date", Fn<TVxXPathFnFromDate<1, 1>>()},
        {u"day-from-date", Fn<TVxXPathFnFromDate<1, 2>>()},
        {u"timezone-from-date", Fn<TVxXPathFnFromDate<1, 6>>()},
        {u"hours-from-time", Fn<TVxXPathFnFromDate<2, 3>>()},
        {u"minutes-from-time", Fn<TVxXPathFnFromDate<2, 4>>()},
        {u"seconds-from-time", Fn<TVxXPathFnFromDate<2, 5>>()},
        {u"timezone-from-time", Fn<TVxXPathFnFromDate<2, 6>>()},
        {u"adjust-dateTime-to-timezone", Fn<TVxXPathFnAdjust<0>>()},
        {u"adjust-date-to-timezone", Fn<TVxXPathFnAdjust<1>>()},
        {u"adjust-time-to-timezone", Fn<TVxXPathFnAdjust<2>>()},
    };
    return r;
  }();
  return *registries;
}

}  // namespace

void RegisterXPathFunction(const VxString& AName, TVxXPathFunctionClass AClass) {
  TRegistries& r = Registries();
  std::lock_guard lock(r.Lock);
  r.Functions.push_back({AName, AClass});
}

std::vector<VxString> VxXPathFunctionNames() {
  TRegistries& r = Registries();
  std::lock_guard lock(r.Lock);
  std::vector<VxString> names;
  for (const auto& f : r.Functions) names.push_back(f.Name);
  return names;
}

std::unique_ptr<TVxXPathBaseTerm> CreateFunctionTerm(const VxString& AName, TVxXPathEquation* AEquation,
                                                     TVxXPathParser& AParser) {
  TVxXPathFunctionClass found;
  {
    TRegistries& r = Registries();
    std::lock_guard lock(r.Lock);
    for (const auto& f : r.Functions)
      if (f.Name == AName) {
        found = f.Class;
        break;
      }
  }
  if (!found) throw EVxDomSyntax(VxFormat(cVxXPathUnsupportedFunction, AName));
  std::unique_ptr<TVxXPathFunction> term(found.Create(AEquation));
  term->ParseParams(AParser);
  return term;
}

void RegisterXPathCollation(const VxString& AURI, TVxXPathCollationClass AClass) {
  TRegistries& r = Registries();
  std::lock_guard lock(r.Lock);
  r.Collations.push_back({AURI, AClass});
}

TVxXPathCollationClass VxXPathCollationByURI(const VxString& AURI) {
  TRegistries& r = Registries();
  std::lock_guard lock(r.Lock);
  for (const auto& c : r.Collations)
    if (c.URI == AURI) return c.Class;
  throw EVxDomSyntax(VxFormat(cVxXPathUnsupportedCollation, AURI));
}

}  // namespace vx
