// uVxJSONInterfaces: the JSON value kinds, the JSON exception family and its messages.
#pragma once

#include <cstdint>

#include "uVxSysUtils.h"

namespace vx {

/// Kind of a JSON value; the ordinals are stored and compared.
enum TVxJSONDataType : uint8_t { jdtNull = 0, jdtString = 1, jdtNumber = 2, jdtBoolean = 3, jdtObject = 4, jdtArray = 5 };

/// Base of JSON failures.
class EVxJSONException : public EVxException {
 public:
  using EVxException::EVxException;
};

/// A JSON text that is not well formed.
class EVxJSONParseError : public EVxJSONException {
 public:
  using EVxJSONException::EVxJSONException;
};

inline constexpr char16_t cVxJSONNotWellFormed[] = u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
inline constexpr char16_t cVxJSONNoContentHandler[] = u"No contenthandler has been assigned!";
inline constexpr char16_t cVxJSONNoErrorHandler[] = u"No errorhandler has been assigned!";
inline constexpr char16_t cVxJSONEncodingNotSupported[] = u"The specified encoding is not supported!";
/// Expected texts of the JSON reader's messages.
inline constexpr char16_t cVxJSONEscapeExpected[] = u"\\\", \\\\, /, b, f, n, r, t or u";
inline constexpr char16_t cVxJSONValueExpected[] = u"\\\", t, f, n, 0..9, ., + or -";

}  // namespace vx
