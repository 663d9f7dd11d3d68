// uVxJSON_Path: JSON paths. The compiler turns the path text into steps and filter expressions
// once; the evaluator walks node sets step by step (descendants with an explicit stack, so deep
// trees cost no call stack), puts the result in document order, and creates missing members
// and elements along paths of names and indices.
#include <algorithm>
#include <charconv>
#include <optional>
#include <unordered_map>

#include "uVxJSON.h"

namespace vx {

namespace {

// Nesting of filters, parentheses and "!" a filter may use; deeper ones are refused as too
// complex, which keeps the compiler's and the evaluator's recursion small.
constexpr int cMaxFilterDepth = 128;
// jsoCreate pads an array with nulls up to the index it creates; beyond this it refuses.
constexpr int64_t cMaxCreatedIndex = 1 << 20;

enum TStepKind : uint8_t { skItems, skWildcard, skSlice, skFilter };

// A name or an index of a step (several make a union).
struct TItem {
  bool IsIndex = false;
  int64_t Index = 0;
  VxJSONString Name;
};

struct TStep {
  TStepKind Kind = skItems;
  bool Descendant = false;  // ".." before the step
  std::vector<TItem> Items;
  std::optional<int64_t> Start, End;  // slices
  int64_t Stride = 1;
  int Filter = -1;  // the filter's root expression
};

struct TCompiledPath {
  bool FromRoot = false;
  bool Singular = true;  // only single names and indices: at most one node
  std::vector<TStep> Steps;
};

enum TScalarKind : uint8_t { vkMissing, vkNull, vkBoolean, vkNumber, vkString, vkOther };

struct TScalar {
  TScalarKind Kind = vkMissing;
  bool Boolean = false;
  double Number = 0;
  VxJSONString Text;
};

enum TExprKind : uint8_t { ekOr, ekAnd, ekNot, ekCompare, ekExists, ekLiteral };
enum TCompareOp : uint8_t { coEq, coNe, coLt, coLe, coGt, coGe };

// An operand of a comparison: a relative or absolute path (with ".length" taken off into a
// flag), or a literal.
struct TOperand {
  int Path = -1;
  bool Length = false;
  TScalar Literal;
};

struct TExpr {
  TExprKind Kind = ekLiteral;
  TCompareOp Op = coEq;
  int Left = -1;               // ekNot
  std::vector<int> Operands;  // ekOr, ekAnd: evaluated in turn (a chain is flat, so a long one
                              // costs no depth)
  TOperand A, B;              // ekCompare (A, B), ekExists and ekLiteral (A)
};

bool IsBlank(char16_t C) { return C == u' ' || C == u'\t' || C == u'\r' || C == u'\n'; }
bool IsDigit(char16_t C) { return C >= u'0' && C <= u'9'; }

VxJSONString Quoted(std::u16string_view AText) { return VxJSONString(u"\"") + VxJSONString(AText) + u"\""; }

}  // namespace

struct TVxJSONPath::TImpl {
  VxJSONString Text;
  TCompiledPath Main;
  std::vector<TCompiledPath> Paths;  // the filters' operand paths
  std::vector<TExpr> Exprs;
};

namespace {

// ---------------------------------------------------------------------------------------------
// The compiler
// ---------------------------------------------------------------------------------------------

class TCompiler {
 public:
  TCompiler(TVxJSONPath::TImpl& AImpl) : I(AImpl), T(AImpl.Text) {}

  void Compile() {
    SkipBlanks();
    if (AtEnd()) Fail(u"a path expected");
    I.Main = ParsePath(false);
    SkipBlanks();
    if (!AtEnd()) Fail(u"\".\" or \"[\" expected, but " + Found() + u" found");
  }

 private:
  TVxJSONPath::TImpl& I;
  std::u16string_view T;
  size_t P = 0;
  int Depth = 0;
  bool InFilter = false;

  bool AtEnd() const { return P >= T.size(); }
  char16_t Cur() const { return P < T.size() ? T[P] : u'\0'; }
  char16_t Next() const { return P + 1 < T.size() ? T[P + 1] : u'\0'; }
  void SkipBlanks() {
    while (P < T.size() && IsBlank(T[P])) ++P;
  }
  VxJSONString Found() const { return AtEnd() ? VxJSONString(u"the end") : Quoted(T.substr(P, 1)); }

  [[noreturn]] void Fail(const VxJSONString& AWhat) const {
    throw EVxJSONPathError(VxFormat(cVxJSONPathPosition, InFilter ? cVxJSONPathFilterInvalid : cVxJSONPathInvalid,
                                    static_cast<int>(P + 1), AWhat));
  }
  void Expect(char16_t C) {
    SkipBlanks();
    if (Cur() != C) Fail(Quoted(std::u16string_view(&C, 1)) + u" expected, but " + Found() + u" found");
    ++P;
  }
  void Enter() {
    if (++Depth > cMaxFilterDepth) Fail(u"filters nested too deeply");
  }
  void Leave() { --Depth; }

  // A character that ends a name written after "." (in a filter also blanks and operators).
  bool EndsName(char16_t C) const {
    if (C == u'.' || C == u'[' || C == u']') return true;
    if (!InFilter) return false;
    return IsBlank(C) || C == u'=' || C == u'!' || C == u'<' || C == u'>' || C == u'&' || C == u'|' || C == u'(' ||
           C == u')' || C == u',';
  }

  VxJSONString ParseName() {
    const size_t start = P;
    while (!AtEnd() && !EndsName(T[P])) ++P;
    if (P == start) Fail(u"a name expected, but " + Found() + u" found");
    return VxJSONString(T.substr(start, P - start));
  }

  // A quoted name: the quote, text with JSON escapes, the same quote.
  VxJSONString ParseQuoted() {
    const char16_t q = T[P];
    size_t k = P + 1;
    while (k < T.size() && T[k] != q) k += T[k] == u'\\' ? 2u : 1u;
    if (k >= T.size()) Fail(u"the string that starts here is not closed");
    VxJSONString name = VxJSONUnescape(T.substr(P + 1, k - P - 1));
    P = k + 1;
    return name;
  }

  // An integer: optional "-", digits (saturated far beyond any array).
  int64_t ParseInteger() {
    bool negative = false;
    if (Cur() == u'-') {
      negative = true;
      ++P;
    }
    if (!IsDigit(Cur())) Fail(u"a digit expected, but " + Found() + u" found");
    int64_t v = 0;
    while (IsDigit(Cur())) {
      if (v < (int64_t(1) << 53)) v = v * 10 + (T[P] - u'0');
      ++P;
    }
    return negative ? -v : v;
  }

  std::optional<int64_t> OptionalInteger() {
    SkipBlanks();
    if (Cur() == u'-' || IsDigit(Cur())) return ParseInteger();
    return std::nullopt;
  }

  // One path: "$", "@" or nothing (the context), then steps. In a filter the path ends where
  // a step cannot start.
  TCompiledPath ParsePath(bool AInFilter) {
    TCompiledPath path;
    if (Cur() == u'$') {
      path.FromRoot = true;
      ++P;
    } else if (Cur() == u'@') {
      ++P;
    } else if (!AInFilter && Cur() != u'.' && Cur() != u'[') {
      TStep step;  // a relative path may start with a bare name
      step.Items.push_back({false, 0, ParseName()});
      path.Steps.push_back(std::move(step));
    }
    for (;;) {
      if (Cur() == u'.') {
        TStep step;
        if (Next() == u'.') {
          P += 2;
          step.Descendant = true;
          if (Cur() == u'[') {
            ParseBracket(step);
            path.Steps.push_back(std::move(step));
            continue;
          }
        } else {
          ++P;
        }
        if (Cur() == u'*') {
          ++P;
          step.Kind = skWildcard;
        } else {
          step.Items.push_back({false, 0, ParseName()});
        }
        path.Steps.push_back(std::move(step));
      } else if (Cur() == u'[') {
        TStep step;
        ParseBracket(step);
        path.Steps.push_back(std::move(step));
      } else {
        break;
      }
    }
    for (const TStep& s : path.Steps)
      if (s.Kind != skItems || s.Items.size() != 1 || s.Descendant) path.Singular = false;
    return path;
  }

  // "[" ... "]": a wildcard, a filter, a slice, or names and indices.
  void ParseBracket(TStep& AStep) {
    ++P;
    SkipBlanks();
    if (Cur() == u'*') {
      ++P;
      AStep.Kind = skWildcard;
    } else if (Cur() == u'?') {
      ++P;
      Expect(u'(');
      const bool outer = InFilter;
      InFilter = true;
      Enter();
      AStep.Kind = skFilter;
      AStep.Filter = ParseOr();
      Expect(u')');
      Leave();
      InFilter = outer;
    } else if (Cur() == u'(') {
      throw EVxJSONPathError(VxString(cVxJSONPathScript));
    } else {
      for (;;) {
        SkipBlanks();
        if (Cur() == u'\'' || Cur() == u'"') {
          AStep.Items.push_back({false, 0, ParseQuoted()});
        } else if (Cur() == u'-' || IsDigit(Cur()) || Cur() == u':') {
          std::optional<int64_t> first = OptionalInteger();
          SkipBlanks();
          if (Cur() == u':') {
            if (!AStep.Items.empty()) Fail(u"a slice cannot be part of a union");
            ++P;
            AStep.Kind = skSlice;
            AStep.Start = first;
            AStep.End = OptionalInteger();
            SkipBlanks();
            if (Cur() == u':') {
              ++P;
              AStep.Stride = OptionalInteger().value_or(1);
            }
            break;
          }
          AStep.Items.push_back({true, *first, {}});
        } else {
          // An unquoted name, up to "," or "]" (blanks around it dropped).
          const size_t start = P;
          while (!AtEnd() && T[P] != u',' && T[P] != u']') ++P;
          size_t end = P;
          while (end > start && IsBlank(T[end - 1])) --end;
          if (end == start) {
            P = start;
            Fail(u"a name, an index, \"*\" or \"?(\" expected, but " + Found() + u" found");
          }
          AStep.Items.push_back({false, 0, VxJSONString(T.substr(start, end - start))});
        }
        SkipBlanks();
        if (Cur() != u',') break;
        ++P;
        if (AStep.Kind == skSlice) break;
      }
    }
    SkipBlanks();
    if (Cur() != u']') Fail(u"\"]\" expected, but " + Found() + u" found");
    ++P;
  }

  int Add(TExpr AExpr) {
    I.Exprs.push_back(std::move(AExpr));
    return static_cast<int>(I.Exprs.size()) - 1;
  }

  bool Take(std::u16string_view AToken) {
    SkipBlanks();
    if (T.substr(P, AToken.size()) != AToken) return false;
    P += AToken.size();
    return true;
  }

  // A chain of operands joined by one operator, kept as one list evaluated left to right;
  // "||" chains "&&" chains.
  int ParseOr() { return ParseChain(u"||", ekOr); }
  int ParseAnd() { return ParseChain(u"&&", ekAnd); }

  int ParseChain(std::u16string_view AOperator, TExprKind AKind) {
    auto operand = [&] { return AKind == ekOr ? ParseAnd() : ParseUnary(); };
    const int first = operand();
    if (!Take(AOperator)) return first;
    TExpr e;
    e.Kind = AKind;
    e.Operands.push_back(first);
    do e.Operands.push_back(operand());
    while (Take(AOperator));
    return Add(std::move(e));
  }

  int ParseUnary() {
    SkipBlanks();
    if (Cur() == u'!' && Next() != u'=') {
      ++P;
      Enter();
      TExpr e;
      e.Kind = ekNot;
      e.Left = ParseUnary();
      Leave();
      return Add(std::move(e));
    }
    if (Cur() == u'(') {
      ++P;
      Enter();
      const int inner = ParseOr();
      Expect(u')');
      Leave();
      return inner;
    }
    TExpr e;
    e.A = ParseOperand();
    SkipBlanks();
    std::optional<TCompareOp> op;
    if (Take(u"===") || Take(u"==")) {
      op = coEq;
    } else if (Take(u"!==") || Take(u"!=")) {
      op = coNe;
    } else if (Take(u"<=")) {
      op = coLe;
    } else if (Take(u">=")) {
      op = coGe;
    } else if (Take(u"<")) {
      op = coLt;
    } else if (Take(u">")) {
      op = coGt;
    } else if (Cur() == u'=') {
      Fail(u"\"==\" expected, but \"=\" found");
    }
    if (op) {
      e.Kind = ekCompare;
      e.Op = *op;
      e.B = ParseOperand();
    } else {
      e.Kind = e.A.Path >= 0 ? ekExists : ekLiteral;
    }
    return Add(std::move(e));
  }

  TOperand ParseOperand() {
    SkipBlanks();
    TOperand o;
    const char16_t c = Cur();
    if (c == u'@' || c == u'$') {
      TCompiledPath path = ParsePath(true);
      // A last step ".length" may be the size of what precedes it (decided per node).
      if (!path.Steps.empty()) {
        const TStep& last = path.Steps.back();
        if (last.Kind == skItems && !last.Descendant && last.Items.size() == 1 && !last.Items[0].IsIndex &&
            last.Items[0].Name == u"length") {
          o.Length = true;
          path.Steps.pop_back();
        }
      }
      I.Paths.push_back(std::move(path));
      o.Path = static_cast<int>(I.Paths.size()) - 1;
    } else if (c == u'\'' || c == u'"') {
      o.Literal.Kind = vkString;
      o.Literal.Text = ParseQuoted();
    } else if (c == u'-' || c == u'+' || c == u'.' || IsDigit(c)) {
      const size_t start = P;
      std::string ascii;
      while (!AtEnd() && (IsDigit(T[P]) || T[P] == u'-' || T[P] == u'+' || T[P] == u'.' || T[P] == u'e' || T[P] == u'E'))
        ascii += static_cast<char>(T[P++]);
      const char* first = ascii.c_str() + (ascii[0] == '+' ? 1 : 0);
      double v = 0;
      auto [end, ec] = std::from_chars(first, ascii.c_str() + ascii.size(), v);
      if (ec != std::errc() || end != ascii.c_str() + ascii.size()) {
        P = start;
        Fail(u"a number expected");
      }
      o.Literal.Kind = vkNumber;
      o.Literal.Number = v;
    } else if (Take(u"true")) {
      o.Literal.Kind = vkBoolean;
      o.Literal.Boolean = true;
    } else if (Take(u"false")) {
      o.Literal.Kind = vkBoolean;
    } else if (Take(u"null")) {
      o.Literal.Kind = vkNull;
    } else {
      Fail(u"a path, a number, a string, true, false or null expected, but " + Found() + u" found");
    }
    return o;
  }
};

// ---------------------------------------------------------------------------------------------
// The evaluator
// ---------------------------------------------------------------------------------------------

// What a step works on: a document stands for its root, a member for its value (a member
// without value for itself).
TVxJSONBase* ValueOf(TVxJSONBase* ANode) {
  if (!ANode) return nullptr;
  switch (ANode->NodeKind()) {
    case TVxJSONBase::nkDocument: return ANode->ChildCount() ? ANode->Child(0) : nullptr;
    case TVxJSONBase::nkMember: {
      TVxJSONBase* v = ANode->GetValue();
      return v ? v : ANode;
    }
    default: return ANode;
  }
}

TVxJSONBase* TopOf(TVxJSONBase* ANode) {
  while (ANode->Parent()) ANode = ANode->Parent();
  return ANode;
}

// A member's name against a name of the path: the raw name as read, or its unescaped form
// when it holds escapes; ASCII letters only when case is ignored.
bool SameText(std::u16string_view A, std::u16string_view B, bool ACaseInsensitive) {
  if (A.size() != B.size()) return false;
  if (!ACaseInsensitive) return A == B;
  for (size_t k = 0; k < A.size(); ++k)
    if (VxLowCase(A[k]) != VxLowCase(B[k])) return false;
  return true;
}

bool NameMatches(const VxJSONString& AMember, const VxJSONString& AName, bool ACaseInsensitive) {
  if (SameText(AMember, AName, ACaseInsensitive)) return true;
  // An escape is longer than the character it stands for: only a longer raw name can match.
  return AMember.size() > AName.size() && AMember.find(u'\\') != VxJSONString::npos &&
         SameText(VxJSONUnescape(AMember), AName, ACaseInsensitive);
}

TVxJSONMember* FindByName(TVxJSONBase* AObject, const VxJSONString& AName, bool ACaseInsensitive) {
  const int n = AObject->ChildCount();
  for (int k = 0; k < n; ++k) {
    auto* m = static_cast<TVxJSONMember*>(AObject->Child(k));
    if (NameMatches(m->Name(), AName, ACaseInsensitive)) return m;
  }
  return nullptr;
}

// An index of an array from an item: an index, or a name of digits only.
std::optional<int64_t> IndexOf(const TItem& AItem) {
  if (AItem.IsIndex) return AItem.Index;
  if (AItem.Name.empty() || AItem.Name.size() > 15) return std::nullopt;
  int64_t v = 0;
  for (char16_t c : AItem.Name) {
    if (!IsDigit(c)) return std::nullopt;
    v = v * 10 + (c - u'0');
  }
  return v;
}

TScalar ScalarOf(TVxJSONBase* ANode) {
  TScalar s;
  if (ANode->NodeKind() == TVxJSONBase::nkMember) {  // a member without value
    s.Kind = vkNull;
    return s;
  }
  if (ANode->NodeKind() != TVxJSONBase::nkSimple) {
    s.Kind = vkOther;
    return s;
  }
  auto* simple = static_cast<TVxJSONSimpleType*>(ANode);
  switch (simple->GetJSONType()) {
    case jdtNull: s.Kind = vkNull; break;
    case jdtBoolean:
      s.Kind = vkBoolean;
      s.Boolean = simple->HoldsText() ? simple->Text() == u"true" : simple->GetAsBoolean();
      break;
    case jdtNumber:
      s.Kind = vkNumber;
      if (simple->HoldsText()) {
        std::string ascii;
        for (char16_t c : simple->Text()) ascii += c < 0x80 ? static_cast<char>(c) : '?';
        const char* first = ascii.c_str() + (!ascii.empty() && ascii[0] == '+' ? 1 : 0);
        if (std::from_chars(first, ascii.c_str() + ascii.size(), s.Number).ec != std::errc()) s.Kind = vkOther;
      } else {
        s.Number = simple->GetAsDouble();
      }
      break;
    default:
      s.Kind = vkString;
      s.Text = simple->GetAsString();
  }
  return s;
}

bool Truthy(const TScalar& A) {
  switch (A.Kind) {
    case vkBoolean: return A.Boolean;
    case vkNumber: return A.Number != 0;
    case vkString: return !A.Text.empty();
    case vkOther: return true;
    default: return false;
  }
}

template <class T>
bool Ordered(const T& A, const T& B, TCompareOp AOp) {
  switch (AOp) {
    case coEq: return A == B;
    case coNe: return !(A == B);
    case coLt: return A < B;
    case coLe: return A <= B;
    case coGt: return A > B;
    default: return A >= B;
  }
}

// Values of different kinds are unequal and unordered; a missing value equals nothing.
bool Compare(const TScalar& A, const TScalar& B, TCompareOp AOp) {
  if (A.Kind == vkMissing || B.Kind == vkMissing || A.Kind != B.Kind || A.Kind == vkOther) return AOp == coNe;
  switch (A.Kind) {
    case vkNumber: return Ordered(A.Number, B.Number, AOp);
    case vkString: return Ordered(A.Text, B.Text, AOp);
    case vkBoolean: return AOp == coEq ? A.Boolean == B.Boolean : AOp == coNe ? A.Boolean != B.Boolean : false;
    default: return AOp == coEq || AOp == coLe || AOp == coGe;  // null and null
  }
}

class TEvaluator {
 public:
  TEvaluator(const TVxJSONPath::TImpl& AImpl, TVxJSONBase* AContext, bool ACaseInsensitive)
      : I(AImpl), Root(ValueOf(TopOf(AContext))), CaseInsensitive(ACaseInsensitive) {}

  // The nodes a compiled path selects from a value node. The answer says whether they are in
  // document order, each once; when not, the caller sorts them if it needs to.
  bool Run(const TCompiledPath& APath, TVxJSONBase* AStart, std::vector<TVxJSONBase*>& AOut) {
    TVxJSONBase* start = APath.FromRoot ? Root : AStart;
    if (!start) return true;
    if (APath.Singular) {
      for (const TStep& step : APath.Steps) {
        start = Single(step.Items[0], start);
        if (!start) return true;
      }
      AOut.push_back(start);
      return true;
    }
    // The shape of the current set: in document order with no node inside another (flat), in
    // document order with nodes inside others (nested), or neither (unordered).
    enum { shFlat, shNested, shUnordered } shape = shFlat;
    std::vector<TVxJSONBase*> current{start}, next;
    for (const TStep& step : APath.Steps) {
      next.clear();
      if (step.Descendant) {
        // Disjoint subtrees in order give their descendants in order.
        for (TVxJSONBase* node : current) Descend(step, node, next);
        shape = shape == shFlat ? shNested : shUnordered;
      } else {
        for (TVxJSONBase* node : current) Apply(step, node, next);
        const bool reorders = step.Items.size() > 1 || (step.Kind == skSlice && step.Stride < 0);
        shape = shape == shFlat && !reorders ? shFlat : shUnordered;
      }
      current.swap(next);
      if (current.empty()) return true;
    }
    AOut.insert(AOut.end(), current.begin(), current.end());
    return shape != shUnordered;
  }

 private:
  const TVxJSONPath::TImpl& I;
  TVxJSONBase* Root;
  bool CaseInsensitive;

  TVxJSONBase* Single(const TItem& AItem, TVxJSONBase* ANode) {
    const TVxJSONBase::TNodeKind kind = ANode->NodeKind();
    if (kind == TVxJSONBase::nkObject && !AItem.IsIndex) {
      TVxJSONMember* m = FindByName(ANode, AItem.Name, CaseInsensitive);
      return m ? ValueOf(m) : nullptr;
    }
    if (kind == TVxJSONBase::nkArray) {
      std::optional<int64_t> index = IndexOf(AItem);
      if (!index) return nullptr;
      const int64_t n = ANode->ChildCount();
      int64_t k = *index < 0 ? *index + n : *index;
      return k >= 0 && k < n ? ANode->Child(static_cast<int>(k)) : nullptr;
    }
    return nullptr;
  }

  static void Children(TVxJSONBase* ANode, std::vector<TVxJSONBase*>& AOut) {
    const TVxJSONBase::TNodeKind kind = ANode->NodeKind();
    if (kind != TVxJSONBase::nkObject && kind != TVxJSONBase::nkArray) return;
    const int n = ANode->ChildCount();
    for (int k = 0; k < n; ++k) AOut.push_back(ValueOf(ANode->Child(k)));
  }

  void Apply(const TStep& AStep, TVxJSONBase* ANode, std::vector<TVxJSONBase*>& AOut) {
    switch (AStep.Kind) {
      case skItems:
        for (const TItem& item : AStep.Items)
          if (TVxJSONBase* n = Single(item, ANode)) AOut.push_back(n);
        break;
      case skWildcard: Children(ANode, AOut); break;
      case skSlice: Slice(AStep, ANode, AOut); break;
      case skFilter: {
        const size_t first = AOut.size();
        Children(ANode, AOut);
        auto kept = AOut.begin() + static_cast<std::ptrdiff_t>(first);
        for (auto k = kept; k != AOut.end(); ++k)
          if (Test(AStep.Filter, *k)) *kept++ = *k;
        AOut.erase(kept, AOut.end());
        break;
      }
    }
  }

  // The first index of a slice and the index it stops before, for an array of ANumber
  // elements (negative bounds count from the end; out-of-range bounds are clamped).
  static std::pair<int64_t, int64_t> SliceBounds(const TStep& AStep, int64_t ANumber) {
    auto bound = [ANumber](int64_t AValue, int64_t ALow, int64_t AHigh) {
      return std::clamp(AValue < 0 ? AValue + ANumber : AValue, ALow, AHigh);
    };
    if (AStep.Stride > 0)
      return {AStep.Start ? bound(*AStep.Start, 0, ANumber) : 0, AStep.End ? bound(*AStep.End, 0, ANumber) : ANumber};
    return {AStep.Start ? bound(*AStep.Start, -1, ANumber - 1) : ANumber - 1, AStep.End ? bound(*AStep.End, -1, ANumber - 1) : -1};
  }

  static void Slice(const TStep& AStep, TVxJSONBase* ANode, std::vector<TVxJSONBase*>& AOut) {
    if (ANode->NodeKind() != TVxJSONBase::nkArray || AStep.Stride == 0) return;
    const auto [start, end] = SliceBounds(AStep, ANode->ChildCount());
    if (AStep.Stride > 0) {
      for (int64_t k = start; k < end; k += AStep.Stride) AOut.push_back(ANode->Child(static_cast<int>(k)));
    } else {
      for (int64_t k = start; k > end; k += AStep.Stride) AOut.push_back(ANode->Child(static_cast<int>(k)));
    }
  }

  // Whether the child AIndex of AParent, with the value AChild, is selected by the step.
  bool Matches(const TStep& AStep, TVxJSONBase* AParent, int AIndex, TVxJSONBase* AChild) {
    switch (AStep.Kind) {
      case skWildcard: return true;
      case skFilter: return Test(AStep.Filter, AChild);
      case skSlice: {
        if (AParent->NodeKind() != TVxJSONBase::nkArray || AStep.Stride == 0) return false;
        const auto [start, end] = SliceBounds(AStep, AParent->ChildCount());
        const int64_t k = AIndex;
        if (AStep.Stride > 0) return k >= start && k < end && (k - start) % AStep.Stride == 0;
        return k <= start && k > end && (start - k) % -AStep.Stride == 0;
      }
      default:
        for (const TItem& item : AStep.Items) {
          if (AParent->NodeKind() == TVxJSONBase::nkObject) {
            if (!item.IsIndex &&
                NameMatches(static_cast<TVxJSONMember*>(AParent->Child(AIndex))->Name(), item.Name, CaseInsensitive))
              return true;
          } else if (std::optional<int64_t> index = IndexOf(item)) {
            if ((*index < 0 ? *index + AParent->ChildCount() : *index) == AIndex) return true;
          }
        }
        return false;
    }
  }

  // The step over every descendant of a node: a pre-order walk (an explicit stack, no
  // recursion) that tests each node as a child of its parent, so the selected nodes come in
  // document order, each once.
  void Descend(const TStep& AStep, TVxJSONBase* ANode, std::vector<TVxJSONBase*>& AOut) {
    struct TFrame {
      TVxJSONBase* Parent;
      int Next;
    };
    auto isContainer = [](TVxJSONBase* A) {
      return A->NodeKind() == TVxJSONBase::nkObject || A->NodeKind() == TVxJSONBase::nkArray;
    };
    if (!isContainer(ANode)) return;
    std::vector<TFrame> stack{{ANode, 0}};
    while (!stack.empty()) {
      TFrame& top = stack.back();
      if (top.Next >= top.Parent->ChildCount()) {
        stack.pop_back();
        continue;
      }
      TVxJSONBase* parent = top.Parent;
      const int index = top.Next++;
      TVxJSONBase* child = ValueOf(parent->Child(index));
      if (Matches(AStep, parent, index, child)) AOut.push_back(child);
      if (isContainer(child)) stack.push_back({child, 0});
    }
  }

  // The values of an operand for a node: a literal, or what its path selects (sizes for
  // ".length"); a path that selects nothing gives the missing value.
  void Values(const TOperand& AOperand, TVxJSONBase* ANode, std::vector<TScalar>& AOut) {
    if (AOperand.Path < 0) {
      AOut.push_back(AOperand.Literal);
      return;
    }
    std::vector<TVxJSONBase*> nodes;
    Run(I.Paths[static_cast<size_t>(AOperand.Path)], ANode, nodes);
    for (TVxJSONBase* n : nodes) {
      if (!AOperand.Length) {
        AOut.push_back(ScalarOf(n));
        continue;
      }
      TScalar size;
      size.Kind = vkNumber;
      if (n->NodeKind() == TVxJSONBase::nkObject) {
        if (TVxJSONMember* m = FindByName(n, u"length", CaseInsensitive)) {
          AOut.push_back(ScalarOf(ValueOf(m)));
          continue;
        }
        size.Number = n->ChildCount();
      } else if (n->NodeKind() == TVxJSONBase::nkArray) {
        size.Number = n->ChildCount();
      } else if (n->GetJSONType() == jdtString && n->NodeKind() == TVxJSONBase::nkSimple) {
        size.Number = static_cast<double>(n->GetAsString().size());
      } else {
        continue;
      }
      AOut.push_back(size);
    }
    if (AOut.empty()) AOut.emplace_back();
  }

  // The value of an operand that has at most one (a literal, a path of single names and
  // indices): false for the others.
  bool Direct(const TOperand& AOperand, TVxJSONBase* ANode, TScalar& AOut) {
    if (AOperand.Path < 0) {
      AOut = AOperand.Literal;
      return true;
    }
    const TCompiledPath& path = I.Paths[static_cast<size_t>(AOperand.Path)];
    if (!path.Singular || AOperand.Length) return false;
    TVxJSONBase* n = path.FromRoot ? Root : ANode;
    for (size_t k = 0; n && k < path.Steps.size(); ++k) n = Single(path.Steps[k].Items[0], n);
    if (n) AOut = ScalarOf(n);  // else the missing value it was made with
    return true;
  }

  bool Test(int AExpr, TVxJSONBase* ANode) {
    const TExpr& e = I.Exprs[static_cast<size_t>(AExpr)];
    switch (e.Kind) {
      case ekOr:
        for (int operand : e.Operands)
          if (Test(operand, ANode)) return true;
        return false;
      case ekAnd:
        for (int operand : e.Operands)
          if (!Test(operand, ANode)) return false;
        return true;
      case ekNot: return !Test(e.Left, ANode);
      case ekLiteral: return Truthy(e.A.Literal);
      case ekExists: {
        std::vector<TScalar> v;
        Values(e.A, ANode, v);
        return v.front().Kind != vkMissing;
      }
      default: {
        // Most comparisons are a path to one value against a literal: no lists then.
        TScalar left, right;
        if (Direct(e.A, ANode, left) && Direct(e.B, ANode, right)) return Compare(left, right, e.Op);
        std::vector<TScalar> a, b;
        Values(e.A, ANode, a);
        Values(e.B, ANode, b);
        for (const TScalar& x : a)
          for (const TScalar& y : b)
            if (Compare(x, y, e.Op)) return true;
        return false;
      }
    }
  }
};

// The position of a node in its tree: the indices from the top down.
class TDocumentOrder {
 public:
  std::vector<int> Key(TVxJSONBase* ANode) {
    std::vector<int> key;
    for (TVxJSONBase* n = ANode; n->Parent(); n = n->Parent()) key.push_back(IndexIn(n->Parent(), n));
    std::reverse(key.begin(), key.end());
    return key;
  }

 private:
  std::unordered_map<TVxJSONBase*, std::unordered_map<TVxJSONBase*, int>> FIndex;

  int IndexIn(TVxJSONBase* AParent, TVxJSONBase* AChild) {
    const int n = AParent->ChildCount();
    if (n <= 16) {
      for (int k = 0; k < n; ++k)
        if (AParent->Child(k) == AChild) return k;
      return n;
    }
    auto [it, fresh] = FIndex.try_emplace(AParent);
    if (fresh)
      for (int k = 0; k < n; ++k) it->second.emplace(AParent->Child(k), k);
    return it->second[AChild];
  }
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVxJSONPath
// ---------------------------------------------------------------------------------------------

TVxJSONPath::TVxJSONPath(std::u16string_view APath) : FImpl(std::make_unique<TImpl>()) {
  FImpl->Text = VxJSONString(APath);
  TCompiler(*FImpl).Compile();
}

TVxJSONPath::TVxJSONPath(TVxJSONPath&&) noexcept = default;
TVxJSONPath& TVxJSONPath::operator=(TVxJSONPath&&) noexcept = default;
TVxJSONPath::~TVxJSONPath() = default;

const VxJSONString& TVxJSONPath::Text() const noexcept { return FImpl->Text; }

bool TVxJSONPath::IsSimple() const noexcept { return FImpl->Main.Singular; }

bool TVxJSONPath::LooksLikePath(std::u16string_view AText) noexcept {
  return AText.size() >= 2 && (AText[0] == u'$' || AText[0] == u'@') && (AText[1] == u'.' || AText[1] == u'[');
}

std::vector<TVxJSONBase*> TVxJSONPath::Evaluate(TVxJSONBase* AContext, bool ACaseInsensitive) const {
  std::vector<TVxJSONBase*> result;
  if (!AContext) return result;
  const bool ordered = TEvaluator(*FImpl, AContext, ACaseInsensitive).Run(FImpl->Main, ValueOf(AContext), result);
  if (!ordered && result.size() > 1) {
    TDocumentOrder order;
    std::vector<std::pair<std::vector<int>, TVxJSONBase*>> keyed;
    keyed.reserve(result.size());
    for (TVxJSONBase* n : result) keyed.emplace_back(order.Key(n), n);
    std::stable_sort(keyed.begin(), keyed.end(), [](const auto& A, const auto& B) { return A.first < B.first; });
    result.clear();
    for (auto& [key, node] : keyed)
      if (result.empty() || result.back() != node) result.push_back(node);
  }
  return result;
}

TVxJSONBase* TVxJSONPath::SelectSingleNode(TVxJSONBase* AContext, TVxJDOCSelectOptions AOptions) const {
  const std::vector<TVxJSONBase*> found = Evaluate(AContext, AOptions.Contains(jsoCaseInsensitive));
  if (found.size() > 1) throw EVxJSONPathError(VxString(cVxJSONPathMoreNodes));
  if (!found.empty()) return found.front();
  if (AOptions.Contains(jsoCreate)) return Create(AContext, AOptions.Contains(jsoCaseInsensitive));
  if (AOptions.Contains(jsoRaise)) throw EVxJSONPathError(VxString(cVxJSONPathNoNodes));
  return nullptr;
}

TVxIntf<TVxJSONArray> TVxJSONPath::CreateNodeList(TVxJSONBase* AContext, TVxJDOCSelectOptions AOptions) const {
  std::vector<TVxJSONBase*> found = Evaluate(AContext, AOptions.Contains(jsoCaseInsensitive));
  if (found.empty()) {
    if (AOptions.Contains(jsoCreate)) {
      found.push_back(Create(AContext, AOptions.Contains(jsoCaseInsensitive)));
    } else if (AOptions.Contains(jsoRaise)) {
      throw EVxJSONPathError(VxString(cVxJSONPathNoNodes));
    }
  }
  TVxIntf<TVxJSONArray> list = VxMake<TVxJSONArray>(nullptr);
  for (TVxJSONBase* n : found) list->AddReference(n);
  return list;
}

// Creates what is missing along a path of names and indices. Everything is checked before
// the first node is added, so a path that cannot be created changes nothing.
TVxJSONBase* TVxJSONPath::Create(TVxJSONBase* AContext, bool ACaseInsensitive) const {
  const TCompiledPath& path = FImpl->Main;
  auto refuse = [&](const VxJSONString& AWhy) -> TVxJSONBase* {
    throw EVxJSONPathError(VxFormat(cVxJSONPathCannotCreate, FImpl->Text, AWhy));
  };
  if (!path.Singular) return refuse(u"wildcards, unions, slices, filters and \"..\" select, they do not create");
  if (!AContext) return refuse(u"there is no node to start from");
  TVxJSONBase* at = path.FromRoot ? TopOf(AContext) : AContext;
  if (at->NodeKind() == TVxJSONBase::nkArray && !at->OwnsChildren())
    return refuse(u"a list of selected nodes takes no new nodes");
  // Follow what exists: "at" is the last node found (a document, a member, an object, an
  // array or a simple value), "step" the first step not found.
  size_t step = 0;
  for (; step < path.Steps.size(); ++step) {
    TVxJSONBase* value = ValueOf(at);
    if (!value || value->NodeKind() == TVxJSONBase::nkMember) break;  // a place for a new value
    const TItem& item = path.Steps[step].Items[0];
    if (value->NodeKind() == TVxJSONBase::nkObject && !item.IsIndex) {
      TVxJSONMember* m = FindByName(value, item.Name, ACaseInsensitive);
      if (!m) break;
      at = m;
    } else if (value->NodeKind() == TVxJSONBase::nkArray && IndexOf(item)) {
      const int64_t k = *IndexOf(item);
      if (k < 0 || k >= value->ChildCount()) break;
      at = value->Child(static_cast<int>(k));
    } else {
      return refuse(u"step " + VxIntToStr(static_cast<int>(step + 1)) + u" needs an " +
                    (item.IsIndex ? u"array" : u"object") + u", but the node there is no such container");
    }
  }
  // Check the steps to create.
  for (size_t k = step; k < path.Steps.size(); ++k) {
    const TItem& item = path.Steps[k].Items[0];
    const bool wantsArray = item.IsIndex || (k == step && ValueOf(at) && ValueOf(at)->NodeKind() == TVxJSONBase::nkArray);
    if (wantsArray) {
      const std::optional<int64_t> index = IndexOf(item);
      if (!index || *index < 0) return refuse(u"a negative index cannot be created");
      if (*index > cMaxCreatedIndex) return refuse(u"the index " + VxIntToStr(static_cast<int>(*index)) + u" is too large to create");
    }
  }
  // Create: each missing step adds to the container before it, making that container first
  // where there is none (a document without root, a member without value).
  for (size_t k = step; k < path.Steps.size(); ++k) {
    const TItem& item = path.Steps[k].Items[0];
    TVxJSONBase* value = ValueOf(at);
    const bool isArray = value && value->NodeKind() == TVxJSONBase::nkArray;
    const bool wantsArray = item.IsIndex || isArray;
    if (!value || value->NodeKind() == TVxJSONBase::nkMember) {
      const TVxJSONDataType type = wantsArray ? jdtArray : jdtObject;
      value = at->NodeKind() == TVxJSONBase::nkDocument ? static_cast<TVxJSONDocument*>(at)->CreateRootValue(type)
                                                        : static_cast<TVxJSONMember*>(at)->CreateValue(type);
    }
    const bool last = k + 1 == path.Steps.size();
    if (!wantsArray) {
      // The last member gets a null value: the node made is the node a later selection finds.
      at = last ? value->AddMember(item.Name, jdtNull)->GetValue() : value->AddMember(item.Name);
      continue;
    }
    const int64_t index = *IndexOf(item);
    while (value->ChildCount() < index) value->AddValue(jdtNull);
    const TVxJSONDataType type = last ? jdtNull : path.Steps[k + 1].Items[0].IsIndex ? jdtArray : jdtObject;
    at = value->AddValue(type);
  }
  return at;
}

// ---------------------------------------------------------------------------------------------
// The node operations
// ---------------------------------------------------------------------------------------------

TVxJSONBase* TVxJSONBase::SelectSingleNode(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) {
  return TVxJSONPath(APath).SelectSingleNode(this, AOptions);
}

TVxIntf<TVxJSONArray> TVxJSONBase::CreateNodeList(const VxJSONString& APath, TVxJDOCSelectOptions AOptions) {
  return TVxJSONPath(APath).CreateNodeList(this, AOptions);
}

// GetMember with a path: the member whose value the path selects (jsoCreate creates it).
TVxJSONMember* VxJSONMemberByPath(TVxJSONBase* ANode, const VxJSONString& APath, TVxJDOCSelectOptions AOptions) {
  TVxJSONBase* n = TVxJSONPath(APath).SelectSingleNode(ANode, AOptions);
  if (n && n->NodeKind() != TVxJSONBase::nkMember) n = n->Parent();
  if (n && n->NodeKind() == TVxJSONBase::nkMember) return static_cast<TVxJSONMember*>(n);
  if (AOptions.Contains(jsoRaise)) throw EVxJSONException(VxFormat(cVxJSONNoMember, APath));
  return nullptr;
}

}  // namespace vx
