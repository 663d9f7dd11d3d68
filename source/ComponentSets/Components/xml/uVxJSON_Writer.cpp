// uVxJSON_Writer: writing a node tree as JSON text (compact and formatted), string escaping,
// and the document's code pages and byte-order marks.
#include "uVxJSON.h"
#include "uVxTextWriter.h"

namespace vx {

// ---------------------------------------------------------------------------------------------
// Escaping
// ---------------------------------------------------------------------------------------------

namespace {

// Appends the escaped form of AText (runs that need nothing copied as they are).
template <class TOut>
void AppendEscaped(std::u16string_view AText, TOut&& AWrite) {
  static constexpr char16_t hex[] = u"0123456789ABCDEF";
  size_t run = 0;
  for (size_t k = 0; k < AText.size(); ++k) {
    const char16_t c = AText[k];
    const char16_t* escape = nullptr;
    char16_t u[6];
    size_t length = 2;
    switch (c) {
      case 0x08: escape = u"\\b"; break;
      case 0x09: escape = u"\\t"; break;
      case 0x0A: escape = u"\\n"; break;
      case 0x0C: escape = u"\\f"; break;
      case 0x0D: escape = u"\\r"; break;
      case u'"': escape = u"\\\""; break;
      case u'/': escape = u"\\/"; break;
      case u'\\': escape = u"\\\\"; break;
      default:
        if (c >= 0x01 && c <= 0x07) {
          escape = u"";  // dropped
          length = 0;
        } else if (c >= 0x100) {
          u[0] = u'\\', u[1] = u'u', u[2] = hex[c >> 12], u[3] = hex[(c >> 8) & 15], u[4] = hex[(c >> 4) & 15],
          u[5] = hex[c & 15];
          escape = u;
          length = 6;
        }
    }
    if (!escape) continue;
    if (k > run) AWrite(AText.substr(run, k - run));
    if (length) AWrite(std::u16string_view(escape, length));
    run = k + 1;
  }
  if (run < AText.size()) AWrite(AText.substr(run));
}

}  // namespace

VxJSONString VxStrToJSON(std::u16string_view AText) {
  VxJSONString out;
  out.reserve(AText.size());
  AppendEscaped(AText, [&](std::u16string_view S) { out.append(S); });
  return out;
}

// ---------------------------------------------------------------------------------------------
// Writing a tree
// ---------------------------------------------------------------------------------------------

/// Writes nodes without recursion: an explicit stack of the open objects and arrays.
class TVxJSONWriterWalk {
 public:
  explicit TVxJSONWriterWalk(TVxTextWriter& AOut) : FOut(AOut) {}

  void Write(TVxJSONBase* ANode, bool AFormatted, bool AIndent, int ALevel) {
    FFormatted = AFormatted;
    Start(ANode, AIndent, ALevel);
    while (!FOpen.empty()) {
      TFrame& f = FOpen.back();
      if (f.Next < f.Node->FChildren.size()) {
        TVxJSONBase* child = f.Node->FChildren[f.Next];
        const bool first = f.Next == 0;
        ++f.Next;
        if (!first) FOut.Write(u", ");
        Start(child, first, f.Level + 1);
        continue;
      }
      const bool array = f.Array;
      const int level = f.Level;
      FOpen.pop_back();
      if (FFormatted) {
        FOut.Write(u"\r\n");
        Indent(level);
      }
      FOut.Write(array ? u']' : u'}');
    }
  }

 private:
  struct TFrame {
    TVxJSONBase* Node;
    size_t Next;
    int Level;
    bool Array;
  };

  void Indent(int ALevel) {
    for (int k = 0; k < ALevel; ++k) FOut.Write(u"  ");
  }

  void Escaped(std::u16string_view AText) {
    AppendEscaped(AText, [&](std::u16string_view S) { FOut.Write(S); });
  }

  // Writes a node's start: a scalar whole, a member's name and then its value, a container's
  // opening (its children follow from the stack).
  void Start(TVxJSONBase* ANode, bool AIndent, int ALevel) {
    for (;;) {
      if (FFormatted && AIndent) Indent(ALevel);
      const TVxJSONBase::TNodeKind kind = ANode->NodeKind();
      if (kind == TVxJSONBase::nkMember) {
        auto* member = static_cast<TVxJSONMember*>(ANode);
        FOut.Write(u'"');
        Escaped(member->Name());
        FOut.Write(u"\": ");
        ANode = member->GetValue();
        AIndent = false;
        if (!ANode) {
          FOut.Write(u"null");  // a member without value: written as null
          return;
        }
        continue;
      }
      if (kind == TVxJSONBase::nkSimple) {
        WriteSimple(static_cast<TVxJSONSimpleType*>(ANode));
        return;
      }
      if (kind == TVxJSONBase::nkDocument) {
        ANode = static_cast<TVxJSONDocument*>(ANode)->GetRootValue();
        if (!ANode) return;
        continue;
      }
      const bool array = kind == TVxJSONBase::nkArray;
      if (FFormatted)
        FOut.Write(array ? u"[\r\n" : u"{ \r\n");
      else
        FOut.Write(array ? u'[' : u'{');
      FOpen.push_back({ANode, 0, ALevel, array});
      return;
    }
  }

  void WriteSimple(TVxJSONSimpleType* ANode) {
    const TVxJSONDataType type = ANode->GetJSONType();
    switch (type) {
      case jdtNull: FOut.Write(u"null"); return;
      case jdtString:
        if (!ANode->HoldsText()) {
          const TVxVariant v = ANode->GetAsVariant();
          if (TVxTypes::VarMainTypeKind(v) == 5) {
            FOut.Write(VxVarToStr(v));
            return;
          }
          FOut.Write(u'"');
          Escaped(VxVarToStr(v));
          FOut.Write(u'"');
          return;
        }
        FOut.Write(u'"');
        Escaped(ANode->Text());
        FOut.Write(u'"');
        return;
      case jdtNumber:
        if (ANode->HoldsText())
          FOut.Write(ANode->Text());
        else
          FOut.Write(VxVarToJSON(ANode->GetAsVariant()));
        return;
      case jdtBoolean:
        if (ANode->HoldsText())
          FOut.Write(ANode->Text());
        else
          FOut.Write(ANode->GetAsBoolean() ? u"true" : u"false");
        return;
      default: throw EVxJSONException(VxString(cVxJSONUnexpectedType));
    }
  }

  TVxTextWriter& FOut;
  bool FFormatted = false;
  std::vector<TFrame> FOpen;
};

void TVxJSONBase::SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) {
  TVxTextWriter out(AStream, cVxCodePageUTF16);
  TVxJSONWriterWalk(out).Write(this, AFormatted, AIndent, ALevel);
  out.Flush();
}

void TVxJSONSimpleType::SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) {
  TVxJSONBase::SaveToStream(AStream, AFormatted, AIndent, ALevel);
}
void TVxJSONMember::SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) {
  TVxJSONBase::SaveToStream(AStream, AFormatted, AIndent, ALevel);
}
void TVxJSONObject::SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) {
  TVxJSONBase::SaveToStream(AStream, AFormatted, AIndent, ALevel);
}
void TVxJSONArray::SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) {
  TVxJSONBase::SaveToStream(AStream, AFormatted, AIndent, ALevel);
}
void TVxJSONDocument::SaveToStream(TVxStream& AStream, bool AFormatted, bool AIndent, int ALevel) {
  TVxJSONBase::SaveToStream(AStream, AFormatted, AIndent, ALevel);
}

void TVxJSONDocument::SaveToStream(TVxStream& AStream, bool AFormatted, uint16_t ACodePage, bool AWriteBOM) {
  const uint16_t cp = ACodePage == 63801 ? cVxCodePageUTF8 : ACodePage;
  if (cp != cVxCodePageUTF16 && cp != cVxCodePageUTF8) TVxEncoding::GetEncoding(cp);  // an unknown one raises here
  if (AWriteBOM && cp == cVxCodePageUTF16) AStream.WriteBuffer("\xFF\xFE", 2);
  if (AWriteBOM && cp == cVxCodePageUTF8) AStream.WriteBuffer("\xEF\xBB\xBF", 3);
  TVxTextWriter out(AStream, cp);
  TVxJSONWriterWalk(out).Write(this, AFormatted, false, 0);
  out.Flush();
}

VxJSONString TVxJSONBase::GetAsJSON() {
  TVxStringStream stream(cVxCodePageUTF16);
  SaveToStream(stream, false, false, 0);
  return stream.DataString();
}

VxJSONString TVxJSONBase::GetFormattedJSON() {
  TVxStringStream stream(cVxCodePageUTF16);
  SaveToStream(stream, true, false, 0);
  return stream.DataString();
}

VxJSONString VxFormatJSON(const VxJSONString& AText) {
  TVxIntf<TVxJSONDocument> doc(new TVxJSONDocument);
  doc->SetAsJSON(AText);
  return doc->GetFormattedJSON();
}

VxJSONString VxFormatJSON(std::string_view AText, uint16_t ACodePage) {
  return VxFormatJSON(TVxEncoding::GetEncoding(ACodePage).ConvertA(AText));
}

}  // namespace vx
