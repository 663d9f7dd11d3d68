// uVxJSONWalk: the container grammar both JSON readers share (the JSON reader and the
// JSON-to-SAX reader). Internal to the library.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "uVxJSON.h"

namespace vx {

/// Walks the objects and arrays of JSON text from the cursor's "{" or "[" of an opened
/// container, with an explicit stack of open containers (nesting costs heap, not stack). The
/// grammar is lenient: text before a member's quote, between a name and its ":" and after a
/// value up to "," or the closing bracket is passed over, a trailing comma yields nothing, and
/// the end of the text closes what is open. The sink reports, and decides the frames:
///   TFrame                                 has a bool IsObject
///   void Step()                            at the start of every step
///   void MemberName()                      at a member's quote: reads the name
///   void EndMember()                       after a member's value
///   TFrame Open(uint32_t AChar, TFrame&)   at "{" or "[" of a value inside the given container
///   void Scalar(TFrame&)                   at any other value inside the given container
///   bool Close(TFrame&, bool ARoot)        a container closes; false leaves the cursor on its
///                                          bracket and stops
template <class TCursor, class TSink>
void VxWalkJSONContainers(TCursor* ACursor, TSink& ASink, typename TSink::TFrame ARoot) {
  static constexpr TVxAnsiCharSet memberStart{'}', '"'};
  static constexpr TVxAnsiCharSet memberEnd{'}', ','};
  static constexpr TVxAnsiCharSet itemEnd{']', ','};
  TCursor* p = ACursor;
  std::vector<typename TSink::TFrame> stack;
  stack.push_back(std::move(ARoot));
  bool afterValue = false;  // false: at the start of a member or element; true: after its value
  while (!stack.empty()) {
    ASink.Step();
    const bool isObject = stack.back().IsObject;
    const char16_t close = isObject ? u'}' : u']';
    bool closes = false;
    if (afterValue) {
      if (isObject) ASink.EndMember();
      p->SkipWhile(skUntilInSet, isObject ? memberEnd : itemEnd);
      closes = p->Eof() || p->CurrUnit() == close;
      afterValue = false;
    }
    if (!closes) {
      if (isObject) {
        p->SkipWhile(skUntilInSet, memberStart);
      } else {
        // An element's first step is over the "[" or ",".
        p->NextChar();
        p->SkipWhile(skWhileAtOrBelow, u' ');
      }
      closes = p->Eof() || p->CurrUnit() == close;
    }
    if (!closes) {
      if (isObject) {
        ASink.MemberName();
        p->SkipWhile(skUntilEqual, u':');
        p->NextChar();
        p->SkipWhile(skWhileAtOrBelow, u' ');
      }
      const uint32_t c = p->Eof() ? 0 : p->CurrUnit();
      if (c == u'{' || c == u'[') {
        typename TSink::TFrame opened = ASink.Open(c, stack.back());
        stack.push_back(std::move(opened));
        afterValue = false;
      } else {
        ASink.Scalar(stack.back());
        afterValue = true;
      }
      continue;
    }
    typename TSink::TFrame closed = std::move(stack.back());
    stack.pop_back();
    if (!ASink.Close(closed, stack.empty())) break;
    p->NextChar();
    // The container was a member's value or an element: what follows is after a value.
    afterValue = !stack.empty();
  }
}

}  // namespace vx
