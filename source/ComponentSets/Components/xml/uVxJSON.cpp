// uVxJSON: the JSON text cursor.
#include "uVxJSON.h"

namespace vx {

TVxJSONTextParser::TVxJSONTextParser(TVxStream* AStream, bool AOwnsStream, uint16_t ACodePage, bool ADetectEncoding)
    : TVxTextParser(AStream, AOwnsStream, ACodePage) {
  SetCharacterSetType(CharacterSetType());
  bool singleByte = ACodePage == 0 || (ACodePage != cVxCodePageUTF16 && TVxEncoding::GetEncoding(ACodePage).IsSingleByte());
  if (!ADetectEncoding || !singleByte) return;
  // The encoding follows from where the zero bytes stand among the first four.
  std::string head = PeekString(4);
  auto nz = [&](size_t k) { return k < head.size() && head[k] != 0; };
  auto z = [&](size_t k) { return k < head.size() && head[k] == 0; };
  if (head.size() >= 4 && ((z(0) && z(1) && z(2) && nz(3)) || (z(0) && nz(1) && z(2) && nz(3)) ||
                           (nz(0) && z(1) && z(2) && z(3))))
    throw EVxEncodingNotSupported(cVxEncodingNotSupported);
  if (nz(0) && z(1) && (head.size() < 4 || (nz(2) && z(3))))
    SetContentCodePage(cVxCodePageUTF16);
  else
    SetContentCodePage(cVxCodePageUTF8);
  First();
}

void TVxJSONTextParser::SetCharacterSetType(TVxCharacterSetType AType) {
  TVxTextParser::SetCharacterSetType(AType);
  switch (AType) {
    case cstUTF16:
      FSkip = &TVxJSONTextParser::SrcWSkipWhile;
      FCheck = &TVxJSONTextParser::SrcWCheckCurrChar;
      break;
    case cstUTF8:
      FSkip = &TVxJSONTextParser::SrcUSkipWhile;
      FCheck = &TVxJSONTextParser::SrcUCheckCurrChar;
      break;
    default:
      FSkip = &TVxJSONTextParser::SrcASkipWhile;
      FCheck = &TVxJSONTextParser::SrcACheckCurrChar;
      break;
  }
}

void TVxJSONTextParser::SrcASkipWhile(TVxTextParserSkipOp AOp, char16_t AChar) {
  SrcASkipWhileA(AOp, static_cast<VxAnsiChar>(AChar));
}
void TVxJSONTextParser::SrcUSkipWhile(TVxTextParserSkipOp AOp, char16_t AChar) {
  SrcUSkipWhileA(AOp, static_cast<VxAnsiChar>(AChar));
}
void TVxJSONTextParser::SrcWSkipWhile(TVxTextParserSkipOp AOp, char16_t AChar) { SrcWSkipWhileW(AOp, AChar); }

bool TVxJSONTextParser::SrcACheckCurrChar(char16_t AChar, bool ARaiseIfNot) {
  if (CurrCharA() == AChar && !Eof()) return true;
  if (ARaiseIfNot) NotWellFormed(std::u16string_view(&AChar, 1));
  return false;
}
bool TVxJSONTextParser::SrcUCheckCurrChar(char16_t AChar, bool ARaiseIfNot) { return SrcACheckCurrChar(AChar, ARaiseIfNot); }
bool TVxJSONTextParser::SrcWCheckCurrChar(char16_t AChar, bool ARaiseIfNot) {
  if (CurrCharW() == AChar && !Eof()) return true;
  if (ARaiseIfNot) NotWellFormed(std::u16string_view(&AChar, 1));
  return false;
}

VxString TVxJSONTextParser::CurrentForMessage() const {
  if (Eof()) return {};
  return VxString(1, CurrCharW());
}

void TVxJSONTextParser::NotWellFormed(std::u16string_view AExpected) {
  RaiseNotWellFormed(AExpected);
  // An override that returns still ends the operation with this family's failure.
  TVxJSONTextParser::RaiseNotWellFormed(AExpected);
}

void TVxJSONTextParser::RaiseNotWellFormed(std::u16string_view AExpected) {
  throw EVxJSONParseError(VxFormat(cVxJSONNotWellFormed, AExpected, CurrentForMessage()));
}

namespace {
bool IsHexUnit(uint32_t C) { return (C >= u'0' && C <= u'9') || (C >= u'a' && C <= u'f') || (C >= u'A' && C <= u'F'); }
}  // namespace

void TVxJSONTextParser::ReadString(VxJSONString& ARaw) {
  static constexpr TVxAnsiCharSet stops{'\\', '"'};
  CheckCurrChar(u'"', true);
  NextChar();
  SetMark(ptMark1);
  for (;;) {
    SkipWhile(skUntilInSet, stops);
    if (Eof() || CurrUnit() == u'"') break;
    NextChar();  // past the backslash: the escape character
    if (Eof()) break;
    switch (CurrUnit()) {
      case u'"': case u'\\': case u'/': case u'b': case u'f': case u'n': case u'r': case u't':
        NextChar();
        break;
      case u'u':
        // Over the hexadecimal digits that are there, up to four: a short escape ("\u41")
        // never swallows the closing quote or what follows it.
        NextChar();
        for (int k = 0; k < 4 && !Eof() && IsHexUnit(CurrUnit()); ++k) NextChar();
        break;
      default:
        NotWellFormed(EscapeExpectation());
    }
  }
  ARaw.clear();
  AppendSelectedW(ptMark1, ptCurrent, false, ARaw);
}

VxJSONString VxJSONUnescape(std::u16string_view ARaw) {
  auto hex = [](char16_t c) -> int {
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    return -1;
  };
  VxJSONString out;
  out.reserve(ARaw.size());
  for (size_t k = 0; k < ARaw.size(); ++k) {
    char16_t c = ARaw[k];
    if (c != u'\\' || k + 1 >= ARaw.size()) {
      out += c;
      continue;
    }
    char16_t e = ARaw[++k];
    switch (e) {
      case u'b': out += u'\b'; break;
      case u'f': out += u'\f'; break;
      case u'n': out += u'\n'; break;
      case u'r': out += u'\r'; break;
      case u't': out += u'\t'; break;
      case u'u': {
        int value = 0;
        bool ok = k + 4 < ARaw.size();
        for (size_t d = 1; ok && d <= 4; ++d) {
          int h = hex(ARaw[k + d]);
          ok = h >= 0;
          value = value * 16 + h;
        }
        if (ok) {
          out += static_cast<char16_t>(value);
          k += 4;
        } else {
          out += e;
        }
        break;
      }
      default: out += e; break;  // \" \\ \/ and anything else: the character itself
    }
  }
  return out;
}

}  // namespace vx
