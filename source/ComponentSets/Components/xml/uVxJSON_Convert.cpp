// uVxJSON_Convert: decoding raw JSON values, and the conversions between scalar values and
// JSON text (variants, dates, type descriptions).
#include "uVxJSON.h"
#include "uVxXMLUtils.h"

namespace vx {

namespace {
int Hex(char16_t C) {
  if (C >= u'0' && C <= u'9') return C - u'0';
  if (C >= u'a' && C <= u'f') return C - u'a' + 10;
  if (C >= u'A' && C <= u'F') return C - u'A' + 10;
  return -1;
}
// The value of ACount hexadecimal digits at AAt, or -1 when they are not all there.
int HexRun(std::u16string_view AText, size_t AAt, size_t ACount) {
  if (AAt + ACount > AText.size()) return -1;
  int value = 0;
  for (size_t k = 0; k < ACount; ++k) {
    const int h = Hex(AText[AAt + k]);
    if (h < 0) return -1;
    value = value * 16 + h;
  }
  return value;
}
}  // namespace

VxJSONString VxJSONtoStr(std::u16string_view AText, TVxJSONDataType AType) {
  VxJSONString out;
  out.reserve(AText.size());
  for (size_t k = 0; k < AText.size(); ++k) {
    const char16_t c = AText[k];
    if (c == u'\\' && k + 1 < AText.size()) {
      const char16_t e = AText[++k];
      switch (e) {
        case u'n': out += u'\n'; break;
        case u'r': out += u'\r'; break;
        case u't': out += u'\t'; break;
        case u'f': out += u'\f'; break;
        case u'b': out += u'\b'; break;
        case u'u': {
          // Malformed digits: the "u" stands for itself and the digits follow as text.
          const int v = HexRun(AText, k + 1, 4);
          if (v >= 0) {
            out += static_cast<char16_t>(v);
            k += 4;
          } else {
            out += e;
          }
          break;
        }
        case u'%': {
          const int v = HexRun(AText, k + 1, 2);
          if (v >= 0) {
            out += static_cast<char16_t>(v);
            k += 2;
          } else {
            out += e;
          }
          break;
        }
        default: out += e; break;  // \\ \/ \" and any other: the character itself
      }
      continue;
    }
    if (c == u'%' && AType == jdtNumber) {
      // A percent sign is decoded in numbers only (deliberately).
      const int v = HexRun(AText, k + 1, 2);
      if (v >= 0) {
        out += static_cast<char16_t>(v);
        k += 2;
        continue;
      }
    }
    out += c;
  }
  return out;
}

VxJSONString VxVarToJSON(const TVxVariant& AValue) {
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1: return VxInt64ToXML(VxVarToInt64(AValue));
    case 2: return VxDoubleToXML(VxVarToDouble(AValue));
    case 3: return u"\"" + VxStrToJSON(VxVarToStr(AValue)) + u"\"";
    case 4: return VxBoolToXML(VxVarToBool(AValue));
    case 5: return VxDateTimeToXML(VxVarToDouble(AValue));
    case 6: {
      VxJSONString out = u"[";
      for (int k = AValue.ArrayLowBound(); k <= AValue.ArrayHighBound(); ++k) {
        if (k > AValue.ArrayLowBound()) out += u',';
        out += VxVarToJSON(AValue.ArrayItem(k));
      }
      return out + u"]";
    }
    default: return u"null";
  }
}

TVxJSONDataType VxVarTypeToJSONType(const TVxVariant& AValue) {
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
    case 2: return jdtNumber;
    case 3:
    case 5: return jdtString;
    case 4: return jdtBoolean;
    case 6: return jdtArray;
    default: return jdtNull;
  }
}

// ---------------------------------------------------------------------------------------------
// Dates
// ---------------------------------------------------------------------------------------------

namespace {

enum TDateKind { dkDate, dkTime, dkDateTime };

TDateTime FromText(std::u16string_view AText, TDateKind AKind) {
  if (AText.empty()) return 0;
  if (AText[0] == u'/') {
    // "/Date(ms)/": from the seventh character up to the last two.
    const std::u16string_view digits = AText.size() >= 8 ? AText.substr(6, AText.size() - 8) : std::u16string_view();
    const int64_t ms = VxStrToInt64(digits);
    return cVxUnixEpoch + static_cast<double>(ms) / 86400000.0;
  }
  switch (AKind) {
    case dkDate: return VxXMLToDate(AText);
    case dkTime: return VxXMLToTime(AText);
    default: return VxXMLToDateTime(AText, tzfNone);
  }
}

TDateTime FromVariant(const TVxVariant& AValue, TDateTime ADefault, TDateKind AKind) {
  if (AValue.IsNull()) return ADefault;
  switch (TVxTypes::VarMainTypeKind(AValue)) {
    case 1:
    case 2: return VxVarToDouble(AValue);
    case 3: return FromText(VxVarToStr(AValue), AKind);
    case 5: return VxVarToDouble(AValue);
    default:
      throw EConvertError(AKind == dkDate   ? u"The given value is not a valid Date value!"
                          : AKind == dkTime ? u"The given value is not a valid Time value!"
                                            : u"The given value is not a valid DateTime value!");
  }
}

TDateTime FromTextDef(std::u16string_view AText, TDateTime ADefault, TDateKind AKind) {
  try {
    return FromText(AText, AKind);
  } catch (const Exception&) {
    return ADefault;
  }
}

}  // namespace

TDateTime VxJSONToDate(std::u16string_view AText) { return FromText(AText, dkDate); }
TDateTime VxJSONToTime(std::u16string_view AText) { return FromText(AText, dkTime); }
TDateTime VxJSONToDateTime(std::u16string_view AText) { return FromText(AText, dkDateTime); }
TDateTime VxJSONToDate(const TVxVariant& AValue, TDateTime ADefault) { return FromVariant(AValue, ADefault, dkDate); }
TDateTime VxJSONToTime(const TVxVariant& AValue, TDateTime ADefault) { return FromVariant(AValue, ADefault, dkTime); }
TDateTime VxJSONToDateTime(const TVxVariant& AValue, TDateTime ADefault) {
  return FromVariant(AValue, ADefault, dkDateTime);
}
TDateTime VxJSONToDateDef(std::u16string_view AText, TDateTime ADefault) { return FromTextDef(AText, ADefault, dkDate); }
TDateTime VxJSONToTimeDef(std::u16string_view AText, TDateTime ADefault) { return FromTextDef(AText, ADefault, dkTime); }
TDateTime VxJSONToDateTimeDef(std::u16string_view AText, TDateTime ADefault) {
  return FromTextDef(AText, ADefault, dkDateTime);
}

// ---------------------------------------------------------------------------------------------
// Type descriptions
// ---------------------------------------------------------------------------------------------

std::string VxJSONType(const TVxTypeInfo& AType, std::string& AFormat, TVxSchemaDataType* ASchemaDataType) {
  AFormat.clear();
  auto is = [&](std::initializer_list<const char16_t*> ANames) {
    for (const char16_t* n : ANames)
      if (VxSameText(AType.Name, n)) return true;
    return false;
  };
  auto result = [&](const char* AName, const char* AFormatName, TVxSchemaDataType ASchema) {
    AFormat = AFormatName;
    if (ASchemaDataType) *ASchemaDataType = ASchema;
    return std::string(AName);
  };
  const std::string schemaName = VxUTF16ToUTF8(AType.SchemaName);
  switch (AType.Kind) {
    case tkInteger: {
      const char* format = AType.Name.find(u"64") != VxString::npos ? "int64" : "int32";
      TVxSchemaDataType s = sdtInt;
      if (is({u"ShortInt", u"Int8"}))
        s = sdtByte;
      else if (is({u"SmallInt", u"Int16"}))
        s = sdtShort;
      else if (is({u"LongInt", u"Integer", u"Int32"}))
        s = sdtInt;
      else if (is({u"Int64", u"NativeInt"}))
        s = sdtLong;
      else if (is({u"Byte", u"UInt8"}))
        s = sdtUnsignedByte;
      else if (is({u"Word", u"UInt16"}))
        s = sdtUnsignedShort;
      else if (is({u"LongWord", u"Cardinal", u"UInt32"}))
        s = sdtUnsignedInt;
      else if (is({u"UInt64", u"NativeUInt"}))
        s = sdtUnsignedLong;
      return result("integer", format, s);
    }
    case tkInt64: return result("integer", "int64", is({u"UInt64"}) ? sdtUnsignedLong : sdtLong);
    case tkChar:
    case tkString:
    case tkWChar:
    case tkLString:
    case tkWString:
    case tkUString:
      if (is({u"VxXMLString"})) return result("xml", "", sdtNone);
      if (is({u"VxJSONString"})) return result("json", "", sdtNone);
      return result("string", "", sdtString);
    case tkEnumeration:
    case tkSet:
      if (is({u"Boolean", u"WordBool"})) return result("boolean", "", sdtBoolean);
      return result(schemaName.c_str(), "", sdtNone);
    case tkFloat:
      if (is({u"TDate"})) return result("date", "date", sdtDate);
      if (is({u"TTime"})) return result("dateTime", "date-time", sdtTime);
      if (is({u"TDateTime"})) return result("dateTime", "date-time", sdtDateTime);
      if (is({u"Single"})) return result("float", "float", sdtFloat);
      return result("double", "double", sdtDouble);
    case tkInterface: return result("any", "", sdtNone);
    default: return result(schemaName.c_str(), "", AType.SchemaDataType);
  }
}

}  // namespace vx
