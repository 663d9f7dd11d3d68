// uVxSysUtils: text types, the exception families, message formatting and string helpers
// shared by every module of the library.
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

namespace vx {

/// A std::filesystem::path and nothing else: the parameter type of the file-name overloads that
/// sit beside UTF-16 ones, so that a literal such as u"doc.xml" still picks the UTF-16 overload.
template <class T>
concept VxFileSystemPath = std::same_as<T, std::filesystem::path>;

/// UTF-16 text of all XML names, values, text and messages.
using VxXMLString = std::u16string;
/// UTF-16 text of JSON documents (same representation as VxXMLString).
using VxJSONString = std::u16string;
/// General UTF-16 string of the library.
using VxString = std::u16string;
/// An 8-bit character as the text cursor reports it (always unsigned).
using VxAnsiChar = unsigned char;

// ---------------------------------------------------------------------------------------------
// Exceptions
// ---------------------------------------------------------------------------------------------

/// Base of every exception the library raises: a UTF-16 message; what() answers it as UTF-8.
class Exception : public std::exception {
 public:
  /// Creates the exception with its message.
  explicit Exception(VxString AMessage);
  /// Creates the exception from a UTF-8 message.
  explicit Exception(std::string_view AMessageUTF8);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() override;

  /// The message as UTF-16.
  const VxString& Message() const noexcept { return FMessage; }
  /// Replaces the message.
  void SetMessage(VxString AMessage);
  /// The message as UTF-8.
  const char* what() const noexcept override { return FMessageUTF8.c_str(); }
  /// The class's own name ("EConvertError", "EVxXMLParseError", ...).
  VxString ClassName() const;

 private:
  VxString FMessage;
  std::string FMessageUTF8;
};

/// Exception with an integer error code; base of the library's own families.
class EVxException : public Exception {
 public:
  /// Creates the exception with a message and an error code.
  explicit EVxException(VxString AMessage, int AErrorCode = 0)
      : Exception(std::move(AMessage)), FErrorCode(AErrorCode) {}
  /// The error code given at construction.
  int ErrorCode() const noexcept { return FErrorCode; }

 private:
  int FErrorCode;
};

/// Raised by the text cursor's CheckEOF at end of input (error code 1).
class EVxTextParserEOF : public EVxException {
 public:
  EVxTextParserEOF();
  using EVxException::EVxException;
};

/// Raised for an encoding name or code page that the library cannot handle.
class EVxEncodingNotSupported : public EVxException {
 public:
  using EVxException::EVxException;
};

/// A text could not be converted to a value, or a format string did not fit its arguments.
class EConvertError : public Exception {
 public:
  using Exception::Exception;
};
/// An index outside a list's bounds.
class EListError : public Exception {
 public:
  using Exception::Exception;
};
/// An invalid type cast.
class EInvalidCast : public Exception {
 public:
  using Exception::Exception;
};
/// Base of variant failures.
class EVariantError : public Exception {
 public:
  using Exception::Exception;
};
/// A variant value could not be converted to the requested type.
class EVariantTypeCastError : public EVariantError {
 public:
  using EVariantError::EVariantError;
};
/// Base of stream failures.
class EStreamError : public Exception {
 public:
  using Exception::Exception;
};
/// A file stream failure.
class EFileStreamError : public EStreamError {
 public:
  using EStreamError::EStreamError;
};
/// A file could not be opened.
class EFOpenError : public EFileStreamError {
 public:
  using EFileStreamError::EFileStreamError;
};
/// A file could not be created.
class EFCreateError : public EFileStreamError {
 public:
  using EFileStreamError::EFileStreamError;
};
/// Base of stream reading and writing failures.
class EFilerError : public EStreamError {
 public:
  using EStreamError::EStreamError;
};
/// A programming error detected by a check of the library (a documented precondition broken).
class EAssertionFailed : public Exception {
 public:
  using Exception::Exception;
};
/// A stream could not deliver the bytes asked for.
class EReadError : public EFilerError {
 public:
  using EFilerError::EFilerError;
};
/// A stream could not take the bytes written to it.
class EWriteError : public EFilerError {
 public:
  using EFilerError::EFilerError;
};

/// Message of EVxTextParserEOF.
inline constexpr char16_t cVxTextParserEOFMessage[] = u"Unexpected end of input!";
/// Message of an unknown encoding name.
inline constexpr char16_t cVxEncodingNotSupported[] = u"The specified encoding is not supported!";
/// Message of a code page number the library has no converter for.
inline constexpr char16_t cVxCodePageNotSupported[] = u"The code page %d is not supported!";
/// Message of a format string that does not fit its arguments.
inline constexpr char16_t cVxInvalidFormat[] = u"Format '%s' invalid or incompatible with argument";
/// Messages of the stream classes.
inline constexpr char16_t cVxFOpenError[] = u"Cannot open file \"%s\". %s";
inline constexpr char16_t cVxFCreateError[] = u"Cannot create file \"%s\". %s";
inline constexpr char16_t cVxReadError[] = u"Stream read error";
inline constexpr char16_t cVxWriteError[] = u"Stream write error";
inline constexpr char16_t cVxSeekError[] = u"Stream seek error";
inline constexpr char16_t cVxSetSizeError[] = u"Stream size cannot be changed";
/// Message of a list index outside its bounds.
inline constexpr char16_t cVxListIndexError[] = u"List index out of bounds (%d)";

/// The readable class name behind a type_info, without namespaces ("TVxObject").
VxString VxClassNameOf(const std::type_info& AType);

// ---------------------------------------------------------------------------------------------
// Formatting
// ---------------------------------------------------------------------------------------------

/// One argument of VxFormat: text (UTF-16 or UTF-8), an integer, a float or a character.
class TVxFormatArg {
 public:
  /// The kinds of argument.
  enum TKind : uint8_t { fakText16, fakText8, fakSigned, fakUnsigned, fakFloat };

  TVxFormatArg(std::u16string_view AValue) : FKind(fakText16), FText16(AValue) {}
  TVxFormatArg(const VxString& AValue) : FKind(fakText16), FText16(AValue) {}
  TVxFormatArg(const char16_t* AValue) : FKind(fakText16), FText16(AValue ? AValue : u"") {}
  TVxFormatArg(std::string_view AValue) : FKind(fakText8), FText8(AValue) {}
  TVxFormatArg(const std::string& AValue) : FKind(fakText8), FText8(AValue) {}
  TVxFormatArg(const char* AValue) : FKind(fakText8), FText8(AValue ? AValue : "") {}
  TVxFormatArg(char16_t AValue) : FKind(fakText16), FChar(AValue) { FText16 = {&FChar, 1}; }
  TVxFormatArg(char AValue) : FKind(fakText8), FCharA(AValue) { FText8 = {&FCharA, 1}; }
  TVxFormatArg(bool AValue) : FKind(fakSigned), FSigned(AValue ? 1 : 0) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T> &&
                                          !std::is_same_v<T, char> && !std::is_same_v<T, bool>,
                                      int> = 0>
  TVxFormatArg(T AValue) : FKind(fakSigned), FSigned(AValue) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T> &&
                                          !std::is_same_v<T, char16_t> && !std::is_same_v<T, bool>,
                                      int> = 0>
  TVxFormatArg(T AValue) : FKind(fakUnsigned), FUnsigned(AValue) {}
  template <class T, std::enable_if_t<std::is_enum_v<T>, int> = 0>
  TVxFormatArg(T AValue)
      : TVxFormatArg(static_cast<std::underlying_type_t<T>>(AValue)) {}
  TVxFormatArg(double AValue) : FKind(fakFloat), FFloat(AValue) {}
  TVxFormatArg(float AValue) : FKind(fakFloat), FFloat(static_cast<double>(AValue)) {}
  TVxFormatArg(long double AValue) : FKind(fakFloat), FFloat(static_cast<double>(AValue)) {}
  TVxFormatArg(const TVxFormatArg& AOther) { *this = AOther; }
  TVxFormatArg& operator=(const TVxFormatArg& AOther);

  TKind FKind;
  std::u16string_view FText16;
  std::string_view FText8;
  union {
    int64_t FSigned;
    uint64_t FUnsigned;
    double FFloat;
    char16_t FChar;
    char FCharA;
  };
};

/// Formats a message: %s (text), %d, %u, %x (upper-case hex), %f (2 decimals by default),
/// %g (up to 15 significant digits), %e, %n, %% with optional index ("%1:s"), "-" for left
/// alignment, width and precision ("*" takes them from the arguments). Numbers always use "."
/// as decimal separator. A directive that does not fit its argument raises EConvertError.
VxString VxFormatArgs(std::u16string_view AFormat, std::initializer_list<TVxFormatArg> AArgs);

/// Formats a message from a format string and arguments (see VxFormatArgs).
template <class... TArgs>
VxString VxFormat(std::u16string_view AFormat, const TArgs&... AArgs) {
  return VxFormatArgs(AFormat, {TVxFormatArg(AArgs)...});
}

// ---------------------------------------------------------------------------------------------
// UTF-8 and UTF-16
// ---------------------------------------------------------------------------------------------

/// Appends the UTF-16 form of UTF-8 bytes to AOut. Malformed sequences become U+FFFD (one for
/// each maximal ill-formed subpart); nothing outside [AText, AText + ALength) is read.
void VxUTF8Append(const char* AText, size_t ALength, VxString& AOut);
/// UTF-8 to UTF-16 (see VxUTF8Append).
VxString VxUTF8ToUTF16(std::string_view AText);
/// Appends the UTF-8 form of UTF-16 text to AOut; an unpaired surrogate becomes U+FFFD.
void VxUTF16Append(const char16_t* AText, size_t ALength, std::string& AOut);
/// UTF-16 to UTF-8 into a buffer of at least 3 * ALength bytes; returns the bytes written
/// (the same conversion as VxUTF16Append).
size_t VxUTF16ToUTF8(const char16_t* AText, size_t ALength, char* AOut) noexcept;
/// UTF-16 to UTF-8 (see VxUTF16Append).
std::string VxUTF16ToUTF8(std::u16string_view AText);
/// Code points to UTF-16 (pairs for code points above U+FFFF).
VxString VxUTF32ToUTF16(std::u32string_view ACodePoints);
/// UTF-16 to code points; an unpaired surrogate stands for itself.
std::u32string VxUTF16ToUTF32(std::u16string_view AText);
/// Text made of ASCII characters only, widened (for literals in tests and tools).
VxString VxASCIIToUTF16(std::string_view AText);
/// True when every unit of the text is below 0x80.
bool VxIsASCII(std::string_view AText);

/// Length in bytes of the UTF-8 sequence that starts at AText (1 to 4), taking only the
/// maximal well-formed prefix: an invalid or truncated sequence counts its valid prefix, at
/// least one byte. ACodePoint receives the character or U+FFFD.
size_t VxUTF8SequenceLength(const unsigned char* AText, const unsigned char* AEnd,
                            char32_t& ACodePoint);

// ---------------------------------------------------------------------------------------------
// Case and trimming (ASCII rules: only A-Z and a-z change case)
// ---------------------------------------------------------------------------------------------

/// ASCII upper case of a UTF-16 unit.
constexpr char16_t VxUpCase(char16_t C) { return (C >= u'a' && C <= u'z') ? char16_t(C - 32) : C; }
/// ASCII lower case of a UTF-16 unit.
constexpr char16_t VxLowCase(char16_t C) { return (C >= u'A' && C <= u'Z') ? char16_t(C + 32) : C; }
/// ASCII upper case of text.
VxString VxUpperCase(std::u16string_view AText);
/// ASCII lower case of text.
VxString VxLowerCase(std::u16string_view AText);
/// ASCII upper case of 8-bit text.
std::string VxUpperCaseA(std::string_view AText);
/// ASCII lower case of 8-bit text.
std::string VxLowerCaseA(std::string_view AText);
/// Compares without regard to ASCII letter case: <0, 0 or >0.
int VxCompareText(std::u16string_view A, std::u16string_view B);
/// Compares 8-bit text without regard to ASCII letter case.
int VxCompareTextA(std::string_view A, std::string_view B);
/// Compares by code unit: <0, 0 or >0.
int VxCompareStr(std::u16string_view A, std::u16string_view B);
/// True when both texts are equal without regard to ASCII letter case.
bool VxSameText(std::u16string_view A, std::u16string_view B);
/// 8-bit form of VxSameText.
bool VxSameTextA(std::string_view A, std::string_view B);
/// Removes leading and trailing characters at or below the space (blanks and controls).
VxString VxTrim(std::u16string_view AText);
/// Removes leading characters at or below the space.
VxString VxTrimLeft(std::u16string_view AText);
/// Removes trailing characters at or below the space.
VxString VxTrimRight(std::u16string_view AText);
/// 8-bit form of VxTrim.
std::string VxTrimA(std::string_view AText);
/// Decimal text of an integer.
VxString VxIntToStr(int64_t AValue);

}  // namespace vx
