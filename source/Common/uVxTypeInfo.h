// uVxTypeInfo: run-time type descriptions of built-in and application types, found by C++ type
// and by name, with their XML Schema type.
#pragma once

#include <cstdint>
#include <string>
#include <typeindex>
#include <vector>

#include "uVxSysUtils.h"

namespace vx {

/// Kind of a type, numbered as the host platform numbers its type kinds.
enum TVxTypeKind : uint8_t {
  tkUnknown, tkInteger, tkChar, tkEnumeration, tkFloat, tkString, tkSet, tkClass, tkMethod, tkWChar,
  tkLString, tkWString, tkVariant, tkArray, tkRecord, tkInterface, tkInt64, tkDynArray, tkUString,
  tkClassRef, tkPointer, tkProcedure, tkMRecord
};

/// XML Schema data types, by ordinal (the ordinals are stored and compared).
enum TVxSchemaDataType : uint8_t {
  sdtNone = 0, sdtAnyType = 1, sdtInteger = 2, sdtByte = 3, sdtShort = 4, sdtInt = 5, sdtLong = 6,
  sdtUnsignedByte = 7, sdtUnsignedShort = 8, sdtUnsignedInt = 9, sdtUnsignedLong = 10, sdtFloat = 11,
  sdtDouble = 12, sdtDecimal = 13, sdtString = 14, sdtNormalizedString = 15, sdtToken = 16, sdtBoolean = 17,
  sdtDate = 18, sdtTime = 19, sdtDateTime = 20, sdtDuration = 21, sdtBase64Binary = 22, sdtHexBinary = 23,
  sdtAnyURI = 24, sdtQName = 25
};

/// The XML Schema name of a schema data type ("int", "dateTime"; "" for sdtNone).
VxString VxSchemaDataTypeName(TVxSchemaDataType AType);

/// A type description: kind, the type's name, its XML Schema name and schema data type.
struct TVxTypeInfo {
  TVxTypeKind Kind = tkUnknown;
  VxString Name;        ///< "Integer", "TDateTime", "VxXMLString", ...
  VxString SchemaName;  ///< "int", "dateTime", "string", ...
  TVxSchemaDataType SchemaDataType = sdtNone;
};

/// Registers a description under its name and the given aliases (names compare ignoring ASCII
/// case); a later registration of a name replaces the earlier one. Thread-safe.
const TVxTypeInfo* VxRegisterTypeInfo(const TVxTypeInfo& AInfo, const std::vector<VxString>& AAliases = {});
/// Registers a description for a C++ type (and its name and aliases).
const TVxTypeInfo* VxRegisterTypeInfo(std::type_index AType, const TVxTypeInfo& AInfo,
                                      const std::vector<VxString>& AAliases = {});
/// The description of a C++ type, or nullptr.
const TVxTypeInfo* VxFindTypeInfo(std::type_index AType);
/// The description registered under a name or alias, or nullptr.
const TVxTypeInfo* VxFindTypeInfo(std::u16string_view AName);
/// The description of the C++ type T, or nullptr.
template <class T>
const TVxTypeInfo* VxTypeInfo() {
  return VxFindTypeInfo(std::type_index(typeid(T)));
}

}  // namespace vx
