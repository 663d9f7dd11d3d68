// uVxJSON: the JSON text cursor (encoding choice, character checks, string scanning).
#pragma once

#include "uVxJSONInterfaces.h"
#include "uVxTextParser.h"

namespace vx {

/// The JSON text cursor. At construction with a single-byte code page (or none) it chooses the
/// encoding by the first four bytes: UTF-16 little-endian for the pattern non-zero, zero,
/// non-zero, zero; UTF-32 and UTF-16 big-endian patterns are refused; anything else is UTF-8.
/// UTF-8, UTF-16 and multi-byte code pages are used as given.
class TVxJSONTextParser : public TVxTextParser {
 public:
  using Inherited = TVxTextParser;
  /// Skip routine of one width.
  using TVxJSONTextParserSkipFunc = void (TVxJSONTextParser::*)(TVxTextParserSkipOp, char16_t);
  /// Check routine of one width: expected character, raise flag.
  using TVxJSONTextParserCheckFunc = bool (TVxJSONTextParser::*)(char16_t, bool);

  /// ADetectEncoding false uses ACodePage as given (0 then reads 8-bit text as ISO-8859-1).
  TVxJSONTextParser(TVxStream* AStream, bool AOwnsStream, uint16_t ACodePage, bool ADetectEncoding = true);

  /// Installs the skip and check routines of the width.
  void SetCharacterSetType(TVxCharacterSetType AType) override;

  /// Skips by the routine of the current width.
  void Skip(TVxTextParserSkipOp AOp, char16_t AChar) { (this->*FSkip)(AOp, AChar); }
  /// Tests the current character by the routine of the current width.
  bool CheckCurrChar(char16_t AChar, bool ARaiseIfNot) { return (this->*FCheck)(AChar, ARaiseIfNot); }

  void SrcASkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  bool SrcACheckCurrChar(char16_t AChar, bool ARaiseIfNot);
  void SrcWSkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  bool SrcWCheckCurrChar(char16_t AChar, bool ARaiseIfNot);
  void SrcUSkipWhile(TVxTextParserSkipOp AOp, char16_t AChar);
  bool SrcUCheckCurrChar(char16_t AChar, bool ARaiseIfNot);

  /// Scans a JSON string from its opening quote: the raw text (escapes undecoded) goes to ARaw,
  /// the cursor stops on the closing quote or at end of input. A bad escape raises the
  /// not-well-formed failure with the escape expectation and the character found.
  void ReadString(VxJSONString& ARaw);

  /// Raises the not-well-formed failure: AExpected, then the current character.
  [[noreturn]] void NotWellFormed(std::u16string_view AExpected);
  /// The current character as message text (empty at end of input).
  VxString CurrentForMessage() const;

 protected:
  /// Raises EVxJSONParseError with cVxJSONNotWellFormed; subclasses raise their family's error.
  [[noreturn]] virtual void RaiseNotWellFormed(std::u16string_view AExpected);
  /// The expected text of a bad escape.
  virtual std::u16string_view EscapeExpectation() const { return cVxJSONEscapeExpected; }

 private:
  TVxJSONTextParserSkipFunc FSkip = &TVxJSONTextParser::SrcASkipWhile;
  TVxJSONTextParserCheckFunc FCheck = &TVxJSONTextParser::SrcACheckCurrChar;
};

/// Decodes the escapes of a raw JSON string: \" \\ \/ \b \f \n \r \t and \uXXXX. A \u with
/// fewer than four hexadecimal digits, or another escaped character, stands for itself (the
/// backslash is dropped).
VxJSONString VxJSONUnescape(std::u16string_view ARaw);

}  // namespace vx
