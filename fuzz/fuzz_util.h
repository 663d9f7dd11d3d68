// What the fuzz targets share: the input split into settings and a document, a stream that
// trickles it through a tiny read window, handlers that record events as text, and the checks
// that turn a broken invariant or an undocumented exception into a crash libFuzzer reports.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "uVxJSON.h"
#include "uVxSAX.h"
#include "vx_test_streams.h"

namespace vx::fuzz {

/// The first input byte picks a read window (16 to 64 bytes) and a stream step (1 to 8 bytes);
/// the rest is the document.
struct TInput {
  std::string Bytes;
  size_t Window = 64;
  int64_t Step = 1;
  uint8_t Flags = 0;
  TInput(const uint8_t* AData, size_t ASize) {
    if (ASize == 0) return;
    Flags = AData[0];
    Window = 16 + AData[0] % 49;
    Step = 1 + (AData[0] >> 5);
    Bytes.assign(reinterpret_cast<const char*>(AData + 1), ASize - 1);
  }
};

// Text with every byte outside printable ASCII (and the backslash) written as \xNN.
inline std::string Visible(const std::string& AText) {
  std::string out;
  char hex[8];
  for (char ch : AText) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '\n' || (c >= 0x20 && c < 0x7f && c != '\\')) {
      out += static_cast<char>(c);
    } else {
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    }
  }
  return out;
}

[[noreturn]] inline void Fail(const std::string& AWhat, const std::string& A, const std::string& B) {
  size_t at = 0;
  while (at < A.size() && at < B.size() && A[at] == B[at]) ++at;
  const size_t from = at > 200 ? at - 200 : 0;
  std::fprintf(stderr, "invariant broken: %s (first difference at byte %zu)\n--- first:\n%s\n--- second:\n%s\n", AWhat.c_str(),
               at, Visible(A.substr(from, 600)).c_str(), Visible(B.substr(from, 600)).c_str());
  std::abort();
}

inline void Same(const std::string& AWhat, const std::string& A, const std::string& B) {
  if (A != B) Fail(AWhat, A, B);
}

/// Runs an action: "" when it returns, "Class: message" when it raises one of the library's
/// exceptions; anything else is a finding.
template <class F>
std::string Outcome(F AAction) {
  try {
    AAction();
  } catch (const Exception& e) {
    return VxUTF16ToUTF8(e.ClassName() + u": " + e.Message());
  } catch (const std::exception& e) {
    Fail("an exception outside the library's classes", e.what(), "");
  }
  return {};
}

/// Calls ARead with the input as a memory stream, or (AStream) as a stream that trickles it
/// into the input's read window.
template <class F>
void WithSource(const TInput& AIn, bool AStream, F ARead) {
  if (AStream) {
    test::TWindowGuard window(AIn.Window);
    test::TTrickleStream stream(AIn.Bytes, AIn.Step, (AIn.Flags & 1) != 0);
    ARead(static_cast<TVxStream&>(stream));
  } else {
    TVxMemoryStream stream(AIn.Bytes.data(), static_cast<int64_t>(AIn.Bytes.size()));
    ARead(static_cast<TVxStream&>(stream));
  }
}

/// Records XML events, one line each.
class TSAXRecorder : public TVxImplements<TVxObject, IVxSAXContentHandler, IVxSAXErrorHandler, IVxSAXLexicalHandler> {
 public:
  std::string Log;
  void Add(const char* AKind, const VxXMLString& A = {}, const VxXMLString& B = {}) {
    Log += AKind;
    Log += ' ';
    Log += VxUTF16ToUTF8(A);
    Log += '|';
    Log += VxUTF16ToUTF8(B);
    Log += '\n';
  }
  void SetDocumentLocator(IVxSAXLocator*) override {}
  void StartDocument() override { Add("StartDocument"); }
  void EndDocument() override { Add("EndDocument"); }
  void StartPrefixMapping(const VxXMLString& P, const VxXMLString& U) override { Add("StartPrefix", P, U); }
  void EndPrefixMapping(const VxXMLString& P) override { Add("EndPrefix", P); }
  void StartElement(const VxXMLString& U, const VxXMLString&, const VxXMLString& Q, IVxSAXAttributes* A) override {
    Add("Start", U, Q);
    for (int k = 0; k < A->Count(); ++k) Add(" attr", A->GetQName(k), A->GetValue(k));
  }
  void EndElement(const VxXMLString& U, const VxXMLString&, const VxXMLString& Q) override { Add("End", U, Q); }
  void Characters(const VxXMLString& T) override { Add("Text", T); }
  void IgnorableWhitespace(const VxXMLString& T) override { Add("Blank", T); }
  void ProcessingInstruction(const VxXMLString& T, const VxXMLString& D) override { Add("PI", T, D); }
  void SkippedEntity(const VxXMLString& N) override { Add("Skipped", N); }
  void Warning(IVxSAXLocator*, const VxXMLString& M) override { Add("Warning", M); }
  void Error(IVxSAXLocator*, const VxXMLString& M) override { Add("Error", M); }
  void FatalError(IVxSAXLocator*, const VxXMLString& M) override { Add("Fatal", M); }
  void Comment(const VxXMLString& T) override { Add("Comment", T); }
  void StartCDATA() override { Add("StartCDATA"); }
  void EndCDATA() override { Add("EndCDATA"); }
  void StartDTD() override { Add("StartDTD"); }
  void EndDTD() override { Add("EndDTD"); }
  void StartEntity(const VxXMLString& N) override { Add("StartEntity", N); }
  void EndEntity(const VxXMLString& N) override { Add("EndEntity", N); }
};

/// The events (and the outcome) of a SAX reader over the input, from a buffer or a stream.
template <class TReader>
std::string SAXEvents(const TInput& AIn, uint16_t ACodePage, bool AStream) {
  auto rec = VxMake<TSAXRecorder>();
  TReader reader;  // its owner frees it
  reader.SetContentHandler(TVxIntf<IVxSAXContentHandler>(rec.Get()));
  reader.SetErrorHandler(TVxIntf<IVxSAXErrorHandler>(rec.Get()));
  reader.SetLexicalHandler(TVxIntf<IVxSAXLexicalHandler>(rec.Get()));
  const std::string outcome =
      Outcome([&] { WithSource(AIn, AStream, [&](TVxStream& AStreamIn) { reader.ParseStream(AStreamIn, ACodePage, u"fuzz"); }); });
  return rec->Log + outcome;
}

/// Records JSON events, one line each.
class TJSONRecorder : public TVxImplements<TVxObject, IVxJSONContentHandler, IVxJSONErrorHandler> {
 public:
  std::string Log;
  void Add(const char* AKind, const VxJSONString& A = {}) {
    Log += AKind;
    Log += ' ';
    Log += VxUTF16ToUTF8(A);
    Log += '\n';
  }
  void SetDocumentLocator(IVxJSONLocator*) override {}
  void StartDocument() override { Add("StartDocument"); }
  void EndDocument() override { Add("EndDocument"); }
  void StartObject() override { Add("{"); }
  void EndObject() override { Add("}"); }
  void StartArray() override { Add("["); }
  void EndArray() override { Add("]"); }
  void StartMember(const VxJSONString& N) override { Add("member", N); }
  void EndMember() override { Add("end member"); }
  void Value(TVxJSONDataType T, const VxJSONString& V) override { Add(T == jdtString ? "string" : "value", V); }
  void Warning(IVxJSONLocator*, const VxString& M) override { Add("Warning", M); }
  void Error(IVxJSONLocator*, const VxString& M) override { Add("Error", M); }
  void FatalError(IVxJSONLocator*, const VxString& M) override { Add("Fatal", M); }
};

/// Text of arbitrary code units from bytes (lone surrogates included).
inline std::u16string Units(const std::string& ABytes) {
  std::u16string s(ABytes.size() / 2, u'\0');
  for (size_t k = 0; k < s.size(); ++k)
    s[k] = static_cast<char16_t>(static_cast<uint8_t>(ABytes[2 * k]) | static_cast<uint8_t>(ABytes[2 * k + 1]) << 8);
  return s;
}

/// Text as the JSON writer leaves it: U+0001 to U+0007 are dropped.
inline std::string AsWritten(const VxJSONString& AText) {
  VxJSONString text = AText;
  std::erase_if(text, [](char16_t C) { return C >= 1 && C <= 7; });
  return VxUTF16ToUTF8(text);
}

/// A JSON tree as text for comparing trees: kinds, values and member names as the writer leaves
/// them. The reader keeps a name as read (escapes included) and the writer escapes it, so a
/// reloaded tree's names are compared after one unescaping (AUnescapeNames).
inline std::string Canon(TVxJSONBase* ANode, bool AUnescapeNames) {
  std::string out;
  std::vector<std::pair<TVxJSONBase*, bool>> stack{{ANode, false}};  // node, closing
  while (!stack.empty()) {
    auto [n, closing] = stack.back();
    stack.pop_back();
    if (closing) {
      out += ')';
      continue;
    }
    switch (n->NodeKind()) {
      case TVxJSONBase::nkMember: {
        const VxJSONString name = n->GetName();
        out += "m:" + AsWritten(AUnescapeNames ? VxJSONUnescape(name) : name) + "=";
        if (n->GetValue())
          stack.push_back({n->GetValue(), false});
        else
          out += "0:;";  // a member without value is written as null
        break;
      }
      case TVxJSONBase::nkSimple:
        out += std::to_string(n->GetJSONType()) + ":" + (n->GetJSONType() == jdtNull ? "" : AsWritten(n->GetAsString())) + ";";
        break;
      default:
        out += std::to_string(n->GetJSONType()) + "(";
        stack.push_back({n, true});
        for (int k = n->ChildCount() - 1; k >= 0; --k) stack.push_back({n->Child(k), false});
    }
  }
  return out;
}

}  // namespace vx::fuzz
