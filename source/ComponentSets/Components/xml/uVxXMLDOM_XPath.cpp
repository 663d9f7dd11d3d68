// uVxXMLDOM_XPath: the predicate engine: parsing a predicate into equations and terms,
// evaluating it for each candidate node, and comparing values.
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <variant>

#include "uVxXMLDOM_Internal.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Nesting guard
// ---------------------------------------------------------------------------------------------

namespace {
thread_local int gNesting = 0;
}  // namespace

TVxXPathNestingGuard::TVxXPathNestingGuard() {
  if (++gNesting > cMaxDepth) {
    --gNesting;
    throw EVxDomSyntax(VxFormat(cVxXPathTooDeep, cMaxDepth));
  }
}

TVxXPathNestingGuard::~TVxXPathNestingGuard() { --gNesting; }

// ---------------------------------------------------------------------------------------------
// The parser
// ---------------------------------------------------------------------------------------------

TVxXPathParser::TVxXPathParser(std::u16string_view AText)
    : TVxTextParser(AText.data(), static_cast<int64_t>(AText.size() * sizeof(char16_t)), cVxCodePageUTF16), FText(AText) {}

void TVxXPathParser::SkipToClosingParenthesis() {
  int depth = 1;
  for (char16_t c; (c = CurrCharW()) != 0;) {
    NextChar();
    if (c == u'(') {
      ++depth;
    } else if (c == u')' && --depth == 0) {
      return;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Equations
// ---------------------------------------------------------------------------------------------

TVxXPathEquation::TVxXPathEquation(TVxDOMSelectOption ANameOption, TVxXPathCollationClass ACollation)
    : FNameOption(ANameOption), FCollation(ACollation) {}

TVxXPathEquation::~TVxXPathEquation() {
  // A chain "a or b or c ..." can be long: its links are freed in a loop, not recursively.
  std::unique_ptr<TVxXPathEquation> next = std::move(FSibling);
  while (next) next = std::move(next->FSibling);
}

void TVxXPathEquation::SetValue(std::unique_ptr<TVxXPathBaseTerm> ATerm) { FValue = std::move(ATerm); }

TVxXPathEquation* TVxXPathEquation::AddFirstChild() {
  auto child = std::make_unique<TVxXPathEquation>(FNameOption, FCollation);
  child->FParent = this;
  FBoolOperator = opNA;
  TVxXPathEquation* result = child.get();
  FChildren.push_back(std::move(child));
  std::rotate(FChildren.begin(), FChildren.end() - 1, FChildren.end());  // to the front
  return result;
}

TVxXPathEquation* TVxXPathEquation::AddChild(TVxXPathBoolOperator AOperator) {
  auto child = std::make_unique<TVxXPathEquation>(FNameOption, FCollation);
  child->FParent = this;
  FBoolOperator = AOperator;
  FChildren.push_back(std::move(child));
  return FChildren.back().get();
}

TVxXPathEquation* TVxXPathEquation::AddSibling(TVxXPathBoolOperator AOperator) {
  FSibling = std::make_unique<TVxXPathEquation>(FNameOption, FCollation);
  FSibling->FParent = FParent;
  FBoolOperator = AOperator;
  return FSibling.get();
}

TVxDOMSelectOptions TVxXPathEquation::GetSelectOptions() const {
  TVxDOMSelectOptions options{FCollation == TVxXPathCollationASCIICI::ClassRef() ? soCaseInsensitive : soCaseSensitive};
  if (FNameOption == soQualifiedName)
    options.Include(soQualifiedName);
  else if (FNameOption == soLocalName || DefaultSelectMatchOption == soLocalName)
    options.Include(soLocalName);
  else
    options.Include(soQualifiedName);
  return options;
}

bool TVxXPathEquation::Evaluate(const TVxDOMObjectList& AList, int AIndex) {
  bool undefined = false;
  const bool result = Evaluate(AList, AIndex, undefined);
  return !undefined && result;
}

bool TVxXPathEquation::Evaluate(const TVxDOMObjectList& AList, int AIndex, bool& AUndefined) {
  if (!FSibling) {
    // One operand: its value.
    const TVxVariant v = FValue ? FValue->Value(AList, AIndex) : TVxVariant();
    if (VxVarIsEmpty(v)) {
      AUndefined = true;
      return false;
    }
    return VxVarToBool(v);
  }
  // Each link e[i] of the sibling chain evaluates as
  //   F(i) = v(i) op(i) F(i+1) op(i+1) F(i+2) ... (from the left, each op short-circuiting),
  // so "a and b or c" is (a and (b or c)) or c. Evaluating F(i) is a walk over the links after
  // i with a running value R: at link j, R becomes F(j+1) when op(j) needs its right side.
  // What a walk ends with depends only on where it stands (j, R), so every state's outcome is
  // kept, as is every F: each state and each value is visited once, and the walks waiting for
  // an F are kept on an explicit stack. Long chains cost neither time nor stack.
  std::vector<TVxXPathEquation*> chain;
  for (TVxXPathEquation* e = this; e; e = e->FSibling.get()) chain.push_back(e);
  const size_t n = chain.size();
  std::vector<int8_t> valueOf(n, -1);                    // F(i): -1 unknown, else 0 or 1
  std::vector<std::array<int8_t, 2>> endOf(n, {-1, -1});  // the outcome of a walk at (j, R)
  struct TWalk {
    size_t Start, J;
    bool R;
    std::vector<std::pair<size_t, bool>> Passed;  // the states this walk went through
  };
  std::vector<TWalk> walks;
  // Starts F(i) with its own value; false when F(i) is known at once (an undefined value).
  auto begin = [&](size_t I) -> bool {
    const TVxVariant v = chain[I]->FValue ? chain[I]->FValue->Value(AList, AIndex) : TVxVariant();
    if (VxVarIsEmpty(v)) {
      if (I == 0) AUndefined = true;
      valueOf[I] = 0;
      return false;
    }
    walks.push_back({I, I, VxVarToBool(v), {}});
    return true;
  };
  if (!begin(0)) return false;
  while (!walks.empty()) {
    TWalk& w = walks.back();
    int8_t end = -1;
    if (w.J + 1 >= n)
      end = w.R;
    else if (endOf[w.J][w.R] >= 0)
      end = endOf[w.J][w.R];
    if (end >= 0) {
      for (const auto& [j, r] : w.Passed) endOf[j][r] = end;
      valueOf[w.Start] = end;
      walks.pop_back();
      continue;
    }
    TVxXPathEquation* e = chain[w.J];
    if (e->FBoolOperator == opNA) throw Exception(VxString(cVxXPathInvalidOperation));
    const bool needsNext = e->FBoolOperator == opAnd ? w.R : !w.R;
    if (needsNext && valueOf[w.J + 1] < 0 && begin(w.J + 1)) continue;  // F(j+1) first; w waits
    TWalk& at = walks.back();  // begin may have grown the list
    at.Passed.emplace_back(at.J, at.R);
    if (needsNext) at.R = valueOf[at.J + 1] == 1;
    ++at.J;
  }
  return valueOf[0] == 1;
}

int64_t TVxXPathEquation::Position() const noexcept {
  if (FSibling) return -1;
  if (auto* x = dynamic_cast<const TVxXPathChildNodeX*>(FValue.get())) return x->X() < 0 ? INT64_MAX : x->X();
  if (dynamic_cast<const TVxXPathFirstNode*>(FValue.get())) return 0;
  return -1;
}

void TVxXPathEquation::Filter(TVxDOMObjectList& AList) {
  // A position alone ("[2]", "[first()]") picks its node without evaluating the others.
  if (const int64_t at = Position(); at >= 0) {
    TVxDOMNode* node = static_cast<uint64_t>(at) < AList.size() ? AList[static_cast<size_t>(at)] : nullptr;
    AList.clear();
    if (node) AList.push_back(node);
    return;
  }
  TVxDOMObjectList kept;
  kept.reserve(AList.size());
  for (size_t k = 0; k < AList.size(); ++k)
    if (Evaluate(AList, static_cast<int>(k))) kept.push_back(AList[k]);
  AList.swap(kept);
}

// ---------------------------------------------------------------------------------------------
// Parsing a predicate
// ---------------------------------------------------------------------------------------------

namespace {

bool IsDigit(char16_t C) { return C >= u'0' && C <= u'9'; }

// The next ALength characters, ASCII case ignored, equal AWord.
bool WordAhead(const TVxXPathParser& AParser, std::u16string_view AWord) {
  for (size_t k = 0; k < AWord.size(); ++k)
    if (VxLowCase(AParser.Peek(k)) != AWord[k]) return false;
  return true;
}

bool StartsOperand(char16_t C) { return C == u'(' || IsDigit(C) || C == u'@'; }

// A path operand is an existence test when it stands alone.
std::unique_ptr<TVxXPathBaseTerm> AsCondition(TVxXPathEquation* AEquation, std::unique_ptr<TVxXPathBaseTerm> ATerm) {
  if (dynamic_cast<TVxXPathValueTerm*>(ATerm.get())) return std::make_unique<TVxXPathHasNode>(AEquation, std::move(ATerm));
  return ATerm;
}

}  // namespace

std::unique_ptr<TVxXPathEquation> TVxXPathEquation::Parse(std::u16string_view APredicate, bool ALocalName,
                                                          TVxXPathCollationClass ACollation) {
  TVxXPathNestingGuard guard;
  const auto invalid = [&] { return Exception(VxFormat(cVxXPathInvalidFilter, APredicate)); };
  if (APredicate.empty() || APredicate[0] != u'[') throw invalid();
  TVxXPathParser p(APredicate);
  p.NextChar();
  auto root = std::make_unique<TVxXPathEquation>(ALocalName ? soLocalName : soQualifiedName, ACollation);
  TVxXPathEquation* cur = root.get();
  int depth = 0;             // open parentheses and "not"s
  bool singleNot = false;    // a "not" whose operand is the next operand read
  auto open = [&](TVxXPathEquation* AChild) {
    if (++depth > TVxXPathNestingGuard::cMaxDepth) throw EVxDomSyntax(VxFormat(cVxXPathTooDeep, TVxXPathNestingGuard::cMaxDepth));
    return AChild;
  };
  for (;;) {
    p.SkipSpaces();
    const char16_t c = p.CurrCharW();
    bool applied = false;
    bool operand = false;
    if (c == u'(' && !cur->FValue) {
      cur->SetValue(std::make_unique<TVxXPathChildTerm>(cur));
      cur = open(cur->AddFirstChild());
      p.NextChar();
      applied = true;
    } else if (!cur->FValue && WordAhead(p, u"not")) {
      p.SkipChars(3);
      p.SkipSpaces();
      const char16_t n = p.CurrCharW();
      if (StartsOperand(n)) {
        cur->SetValue(std::make_unique<TVxXPathNot>(cur));
        cur = open(cur->AddFirstChild());
        if (n == u'(') {
          p.NextChar();
        } else {
          singleNot = true;
        }
        applied = true;
      } else {
        operand = true;  // the letters stay read; the operand rule goes on from here
      }
    } else if (cur->FValue && (WordAhead(p, u"and") || WordAhead(p, u"or"))) {
      const bool isAnd = WordAhead(p, u"and");
      p.SkipChars(isAnd ? 3 : 2);
      const bool spaceFollowed = p.CurrCharW() == u' ';
      p.SkipSpaces();
      const char16_t n = p.CurrCharW();
      const TVxXPathBoolOperator op = isAnd ? opAnd : opOr;
      if (StartsOperand(n)) {
        cur = n == u'(' && cur->FChildren.empty() ? cur->AddChild(op) : cur->AddSibling(op);
        applied = true;
      } else if (spaceFollowed) {
        cur = cur->AddSibling(op);
        applied = true;
      }
    } else if (c == u')') {
      if (!cur->FParent) throw invalid();
      cur = cur->FParent;
      --depth;
      p.NextChar();
      applied = true;
    } else if (!cur->FValue && c != 0 && c != u']') {
      operand = true;
    }
    if (operand && !cur->FValue) {
      if (IsDigit(p.CurrCharW())) {
        const size_t from = p.Index();
        while (IsDigit(p.CurrCharW())) p.NextChar();
        int64_t x = 0;
        if (!VxTryStrToInt64(p.From(from), x)) x = -1;  // too many digits: no index matches
        cur->SetValue(std::make_unique<TVxXPathChildNodeX>(cur, x));
      } else {
        std::unique_ptr<TVxXPathBaseTerm> left = cur->ReadTerm(p);
        p.SkipSpaces();
        const char16_t o = p.CurrCharW();
        if (dynamic_cast<TVxXPathFunctionTerm*>(left.get()) && left->IsBoolean()) {
          cur->SetValue(std::make_unique<TVxXPathValueComparison>(
              cur, std::move(left), std::make_unique<TVxXPathConstantTerm>(cur, TVxVariant(true)), opEqual));
        } else if (o == u'!' || o == u'<' || o == u'=' || o == u'>') {
          const size_t from = p.Index();
          for (char16_t k; (k = p.CurrCharW()) == u'!' || k == u'<' || k == u'=' || k == u'>';) p.NextChar();
          const std::u16string_view text = p.From(from);
          TVxXPathValueComparisonOperator op;
          if (text == u"=")
            op = opEqual;
          else if (text == u"!=" || text == u"<>")
            op = opUnequal;
          else if (text == u"<" || text == u"&lt;")
            op = opSmaller;
          else if (text == u">" || text == u"&gt;")
            op = opGreater;
          else if (text == u"<=" || text == u"&lt;=")
            op = opSmallerEqual;
          else if (text == u">=" || text == u"&gt;=")
            op = opGreaterEqual;
          else
            throw EVxDomSyntax(VxFormat(cVxXPathInvalidOperator, APredicate, text));
          p.SkipSpaces();
          std::unique_ptr<TVxXPathBaseTerm> right = cur->ReadTerm(p);
          p.SkipSpaces();
          cur->SetValue(std::make_unique<TVxXPathValueComparison>(cur, std::move(left), std::move(right), op));
        } else {
          cur->SetValue(AsCondition(cur, std::move(left)));
        }
      }
      if (singleNot) {
        // The operand of a single-operand "not" is complete: back to the "not" itself.
        singleNot = false;
        cur = cur->FParent;
        --depth;
      }
      applied = true;
    }
    if (!applied) break;
    p.SkipSpaces();
    if (p.CurrCharW() == 0 || p.CurrCharW() == u']') break;
  }
  if (p.CurrCharW() != u']') throw invalid();
  return root;
}

std::unique_ptr<TVxXPathBaseTerm> TVxXPathEquation::ReadTerm(TVxXPathParser& AParser) {
  TVxXPathNestingGuard guard;
  AParser.SkipSpaces();
  const char16_t c = AParser.CurrCharW();
  if (IsDigit(c) || c == u'"' || (c == u'.' && IsDigit(AParser.Peek(1))))
    return std::make_unique<TVxXPathConstantTerm>(this, AParser);
  if (c == u'(') return std::make_unique<TVxXPathSequenceTerm>(this, AParser);
  if (c == u'[') return std::make_unique<TVxXPathArrayTerm>(this, AParser);
  // A name: up to a stop character; a ":" ends a prefix.
  auto readUpTo = [&](bool AStopAtComma, bool AStopAtColon) {
    const size_t from = AParser.Index();
    for (char16_t k; (k = AParser.CurrCharW()) != 0; AParser.NextChar()) {
      if (k == u'=' || k == u'<' || k == u'>' || k == u'!' || k == u'(' || k == u')' || k == u'[' || k == u']' ||
          k == u'"' || k == u' ')
        break;
      if ((AStopAtComma && k == u',') || (AStopAtColon && k == u':')) break;
    }
    return VxXMLString(AParser.From(from));
  };
  VxXMLString prefix;
  VxXMLString local = readUpTo(true, true);
  if (AParser.CurrCharW() == u':') {
    AParser.NextChar();
    prefix = std::move(local);
    local = VxTrim(readUpTo(false, false));
  }
  AParser.SkipSpaces();
  if (AParser.CurrCharW() == u'(' && (prefix.empty() || prefix == u"fn")) {
    AParser.NextChar();
    std::unique_ptr<TVxXPathFunctionTerm> f;
    if (local == u"first")
      f = std::make_unique<TVxXPathFirstNode>(this);
    else if (local == u"last")
      f = std::make_unique<TVxXPathLastNode>(this);
    else if (local == u"position")
      f = std::make_unique<TVxXPathFnPositionTerm>(this);
    else if (local == u"node")
      f = std::make_unique<TVxXPathFnNodeTerm>(this);
    else
      return CreateFunctionTerm(local, this, AParser);
    f->ParseParams(AParser);
    return f;
  }
  VxXMLString path = prefix.empty() ? local : prefix + u":" + local;
  if (AParser.CurrCharW() == u'[') {
    // The path keeps its own predicates: up to the matching "]" (quoted text skipped).
    const size_t from = AParser.Index();
    int depth = 0;
    bool quoted = false;
    for (char16_t k; (k = AParser.CurrCharW()) != 0;) {
      AParser.NextChar();
      if (k == u'"') {
        quoted = !quoted;
      } else if (!quoted && k == u'[') {
        ++depth;
      } else if (!quoted && k == u']' && --depth == 0) {
        break;
      }
    }
    path.append(AParser.From(from));
  }
  if (path.empty()) throw EVxDomSyntax(VxString(cVxXPathInvalidStatement));
  return std::make_unique<TVxXPathValueTerm>(this, std::move(path));
}

// ---------------------------------------------------------------------------------------------
// Terms
// ---------------------------------------------------------------------------------------------

TVxXPathConstantTerm::TVxXPathConstantTerm(TVxXPathEquation* AEquation, TVxXPathParser& AParser)
    : TVxXPathBaseTerm(AEquation) {
  const char16_t c = AParser.CurrCharW();
  if (c == u'"') {
    AParser.NextChar();
    const size_t from = AParser.Index();
    while (AParser.CurrCharW() != 0 && AParser.CurrCharW() != u'"') AParser.NextChar();
    FValue = TVxVariant(AParser.From(from));
    AParser.NextChar();
    return;
  }
  if (c != u'.' && !IsDigit(c)) throw EVxDomSyntax(VxString(cVxXPathNumberOfString));
  const size_t from = AParser.Index();
  while (IsDigit(AParser.CurrCharW()) || AParser.CurrCharW() == u'.') AParser.NextChar();
  const std::u16string_view text = AParser.From(from);
  int64_t i;
  long double f;
  if (VxTryStrToInt64(text, i))
    FValue = TVxVariant(i);
  else if (VxTryStrToFloat(text, f))
    FValue = TVxVariant(f);
  else
    throw EVxDomSyntax(VxString(cVxXPathNumberOrString));
}

TVxVariant VxXPathNodeValue(TVxDOMNode* ANode) {
  if (ANode->NodeType() == ntAttribute) {
    auto* a = static_cast<TVxDOMAttribute*>(ANode);
    if (a->IsNamespace()) return TVxVariant::Null();
    return TVxVariant(a->GetNodeValue());
  }
  return TVxVariant(ANode->GetText());
}

TVxXPathValueTerm::TVxXPathValueTerm(TVxXPathEquation* AEquation, VxXMLString APath)
    : TVxXPathBaseTerm(AEquation), FPath(std::move(APath)) {}

TVxXPathValueTerm::~TVxXPathValueTerm() = default;

const std::vector<TVxDOMNode*>& TVxXPathValueTerm::Nodes(const TVxDOMObjectList& AList, int AIndex) {
  TVxXPathNestingGuard guard;
  if (!FCompiled) {
    const TVxDOMSelectOptions options = FEquation->GetSelectOptions();
    FCompiled = TVxDOMPath::Compile(FPath, options.Contains(soCaseSensitive) ? TVxXPathCollationCodepoint::ClassRef()
                                                                             : TVxXPathCollationASCIICI::ClassRef(),
                                    options.Contains(soLocalName));
  }
  FNodes.clear();
  FCompiled->Select(AList.at(static_cast<size_t>(AIndex)), FNodes);
  return FNodes;
}

TVxVariant TVxXPathValueTerm::Value(const TVxDOMObjectList& AList, int AIndex) {
  const std::vector<TVxDOMNode*>& nodes = Nodes(AList, AIndex);
  if (nodes.empty()) return TVxVariant::Null();
  if (nodes.size() == 1) return VxXPathNodeValue(nodes[0]);
  std::vector<TVxVariant> items;
  items.reserve(nodes.size());
  for (TVxDOMNode* n : nodes) items.push_back(VxXPathNodeValue(n));
  return TVxVariant::Array(std::move(items));
}

TVxVariant TVxXPathFirstNode::Value(const TVxDOMObjectList&, int AIndex) { return TVxVariant(AIndex == 0); }

TVxVariant TVxXPathLastNode::Value(const TVxDOMObjectList& AList, int AIndex) {
  return TVxVariant(static_cast<size_t>(AIndex) + 1 == AList.size());
}

TVxVariant TVxXPathFnPositionTerm::Value(const TVxDOMObjectList&, int AIndex) {
  return TVxVariant(static_cast<int64_t>(AIndex) + 1);
}

TVxVariant TVxXPathFnNodeTerm::Value(const TVxDOMObjectList&, int) { return TVxVariant(true); }

TVxVariant TVxXPathChildTerm::Value(const TVxDOMObjectList& AList, int AIndex) {
  TVxXPathNestingGuard guard;
  if (FEquation->Children().size() != 1) throw Exception(VxString(cVxXPathCheckParenthesis));
  bool undefined = false;
  const bool result = FEquation->Children().front()->Evaluate(AList, AIndex, undefined);
  return TVxVariant(!undefined && result);
}

TVxVariant TVxXPathNot::Value(const TVxDOMObjectList& AList, int AIndex) {
  TVxXPathNestingGuard guard;
  if (FEquation->Children().size() != 1) throw Exception(VxString(cVxXPathNotNeedsChild));
  bool undefined = false;
  const bool result = FEquation->Children().front()->Evaluate(AList, AIndex, undefined);
  return TVxVariant(!undefined && !result);
}

TVxVariant TVxXPathChildNodeX::Value(const TVxDOMObjectList&, int AIndex) { return TVxVariant(AIndex == FX); }

TVxVariant TVxXPathHasNode::Value(const TVxDOMObjectList& AList, int AIndex) {
  if (auto* path = dynamic_cast<TVxXPathValueTerm*>(FTerm.get())) return TVxVariant(!path->Nodes(AList, AIndex).empty());
  return TVxVariant(!VxVarIsEmpty(FTerm->Value(AList, AIndex)));
}

TVxVariant TVxXPathListTerm::Value(const TVxDOMObjectList& AList, int AIndex) {
  VxString text;
  for (auto& t : FTerms) text.append(u", ").append(VxVarToStr(t->Value(AList, AIndex)));
  return TVxVariant(text.size() >= 2 ? text.substr(2) : VxString());
}

void TVxXPathListTerm::ReadItems(TVxXPathParser& AParser, char16_t AClose) {
  AParser.NextChar();
  AParser.SkipSpaces();
  if (AParser.CurrCharW() == AClose) {
    AParser.NextChar();
    return;
  }
  while (AParser.CurrCharW() != 0 && AParser.CurrCharW() != AClose) {
    const size_t before = AParser.Index();
    FTerms.push_back(FEquation->ReadTerm(AParser));
    AParser.SkipSpaces();
    if (AParser.CurrCharW() == u',') AParser.NextChar();
    if (AParser.Index() == before) throw EVxDomSyntax(VxString(cVxXPathInvalidStatement));  // nothing read
  }
  if (AParser.CurrCharW() == AClose) AParser.NextChar();
}

TVxXPathSequenceTerm::TVxXPathSequenceTerm(TVxXPathEquation* AEquation, TVxXPathParser& AParser)
    : TVxXPathListTerm(AEquation) {
  ReadItems(AParser, u')');
}

TVxXPathArrayTerm::TVxXPathArrayTerm(TVxXPathEquation* AEquation, TVxXPathParser& AParser) : TVxXPathListTerm(AEquation) {
  ReadItems(AParser, u']');
}

// ---------------------------------------------------------------------------------------------
// Comparison
// ---------------------------------------------------------------------------------------------

namespace {

// A side of a comparison: an integer, a float, or a value left as it is.
struct TSide {
  enum { skInteger, skFloat, skOther } Kind = skOther;
  int64_t I = 0;
  long double F = 0;
};

TSide Classify(const TVxVariant& V) {
  TSide s;
  switch (TVxTypes::VarMainTypeKind(V)) {
    case 1:
      s.Kind = TSide::skInteger;
      s.I = VxVarToInt64(V);
      return s;
    case 2:
      s.Kind = TSide::skFloat;
      s.F = VxVarToExtended(V);
      return s;
    default: break;
  }
  const VxString text = VxVarToStr(V);
  if (!text.empty() && (IsDigit(text[0]) || text[0] == u'.')) {
    if (VxTryStrToInt64(text, s.I)) {
      s.Kind = TSide::skInteger;
    } else if (VxTryStrToFloat(text, s.F)) {
      s.Kind = TSide::skFloat;
    }
  }
  return s;
}

template <class T>
bool Relation(TVxXPathValueComparisonOperator AOperator, const T& A, const T& B) {
  switch (AOperator) {
    case opUnequal: return !(A == B);
    case opEqual: return A == B;
    case opSmaller: return A < B;
    case opSmallerEqual: return A <= B;
    case opGreater: return A > B;
    case opGreaterEqual: return A >= B;
  }
  return false;
}

bool RelationOfOrder(TVxXPathValueComparisonOperator AOperator, int AOrder) { return Relation(AOperator, AOrder, 0); }

}  // namespace

TVxVariant TVxXPathValueComparison::CompareValues(const TVxVariant& A, const TVxVariant& B) const {
  if (A.IsNull() || B.IsNull()) return TVxVariant::Null();
  TVxXPathCollationClass collation = FEquation->Collation();
  if (TVxTypes::VarMainTypeKind(A) == 3 && TVxTypes::VarMainTypeKind(B) == 3) {
    // UTF-16 text is compared where it is; other text is converted first.
    VxString ca, cb;
    const VxString* pa = std::get_if<VxString>(&A.Data());
    const VxString* pb = std::get_if<VxString>(&B.Data());
    if (!pa) pa = &(ca = VxVarToStr(A));
    if (!pb) pb = &(cb = VxVarToStr(B));
    const VxString& a = *pa;
    const VxString& b = *pb;
    if (FOperator == opEqual) return TVxVariant(collation->SameText(a, b));
    if (FOperator == opUnequal) return TVxVariant(!collation->SameText(a, b));
    return TVxVariant(RelationOfOrder(FOperator, collation->Compare(a, b)));
  }
  const TSide a = Classify(A), b = Classify(B);
  if (a.Kind == TSide::skInteger && b.Kind == TSide::skInteger) return TVxVariant(Relation(FOperator, a.I, b.I));
  if (a.Kind != TSide::skOther && b.Kind != TSide::skOther) {
    const long double x = a.Kind == TSide::skInteger ? static_cast<long double>(a.I) : a.F;
    const long double y = b.Kind == TSide::skInteger ? static_cast<long double>(b.I) : b.F;
    return TVxVariant(Relation(FOperator, x, y));
  }
  return TVxVariant(RelationOfOrder(FOperator, VxVarCompare(A, B)));
}

TVxVariant TVxXPathValueComparison::Value(const TVxDOMObjectList& AList, int AIndex) {
  const TVxVariant left = FLeft->Value(AList, AIndex);
  const TVxVariant right = FRight ? FRight->Value(AList, AIndex) : TVxVariant::Null();
  if (!left.IsArray() && !right.IsArray()) return CompareValues(left, right);
  TVxVariant result(false);
  auto isTrue = [](const TVxVariant& V) { return TVxTypes::VarMainTypeKind(V) == 4 && VxVarToBool(V); };
  if (left.IsArray() != right.IsArray()) {
    const TVxVariant& array = left.IsArray() ? left : right;
    for (int k = array.ArrayLowBound(); k <= array.ArrayHighBound(); ++k) {
      result = left.IsArray() ? CompareValues(array.ArrayItem(k), right) : CompareValues(left, array.ArrayItem(k));
      if (isTrue(result)) break;
    }
    return result;
  }
  for (int i = left.ArrayLowBound(); i <= left.ArrayHighBound(); ++i)
    for (int j = right.ArrayLowBound(); j <= right.ArrayHighBound(); ++j) {
      result = CompareValues(left.ArrayItem(i), right.ArrayItem(j));
      if (isTrue(result)) return result;
    }
  return result;
}

}  // namespace vx
