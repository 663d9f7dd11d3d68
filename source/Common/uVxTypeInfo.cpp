// uVxTypeInfo: the registry and the built-in type descriptions.
#include "uVxTypeInfo.h"

#include <deque>
#include <map>
#include <mutex>

#include "uVxClasses.h"

namespace vx {

namespace {

struct TRegistry {
  std::mutex Lock;
  std::deque<TVxTypeInfo> Infos;  // stable addresses
  std::map<VxString, const TVxTypeInfo*> ByName;  // key: upper-cased name
  std::map<std::type_index, const TVxTypeInfo*> ByType;
};

const TVxTypeInfo* AddLocked(TRegistry& R, const TVxTypeInfo& AInfo, const std::vector<VxString>& AAliases) {
  R.Infos.push_back(AInfo);
  const TVxTypeInfo* info = &R.Infos.back();
  R.ByName[VxUpperCase(info->Name)] = info;
  for (const auto& alias : AAliases) R.ByName[VxUpperCase(alias)] = info;
  return info;
}

void AddBuiltIns(TRegistry& reg) {
  {
    auto add = [&](std::type_index t, TVxTypeKind k, const char16_t* name, const char16_t* schema,
                   TVxSchemaDataType sdt, std::vector<VxString> aliases = {}) {
      const TVxTypeInfo* info = AddLocked(reg, {k, name, schema, sdt}, aliases);
      if (t != std::type_index(typeid(void))) reg.ByType.emplace(t, info);
    };
    const std::type_index none(typeid(void));
    add(typeid(int8_t), tkInteger, u"ShortInt", u"byte", sdtByte, {u"Int8"});
    add(typeid(int16_t), tkInteger, u"SmallInt", u"short", sdtShort, {u"Int16"});
    add(typeid(int32_t), tkInteger, u"Integer", u"int", sdtInt, {u"LongInt", u"Int32"});
    add(typeid(int64_t), tkInt64, u"Int64", u"long", sdtLong, {u"NativeInt"});
    add(typeid(long long), tkInt64, u"Int64", u"long", sdtLong);
    add(typeid(uint8_t), tkInteger, u"Byte", u"unsignedByte", sdtUnsignedByte, {u"UInt8"});
    add(typeid(uint16_t), tkInteger, u"Word", u"unsignedShort", sdtUnsignedShort, {u"UInt16"});
    add(typeid(uint32_t), tkInteger, u"Cardinal", u"unsignedInt", sdtUnsignedInt, {u"LongWord", u"UInt32"});
    add(typeid(uint64_t), tkInt64, u"UInt64", u"unsignedLong", sdtUnsignedLong, {u"NativeUInt"});
    add(typeid(unsigned long long), tkInt64, u"UInt64", u"unsignedLong", sdtUnsignedLong);
    add(typeid(float), tkFloat, u"Single", u"float", sdtFloat);
    add(typeid(double), tkFloat, u"Double", u"double", sdtDouble, {u"Real"});
    add(typeid(long double), tkFloat, u"Extended", u"double", sdtDouble);
    add(typeid(bool), tkEnumeration, u"Boolean", u"boolean", sdtBoolean, {u"WordBool", u"ByteBool", u"LongBool"});
    add(typeid(char16_t), tkWChar, u"Char", u"string", sdtString, {u"WideChar"});
    add(typeid(char), tkChar, u"AnsiChar", u"string", sdtString);
    add(typeid(std::string), tkLString, u"AnsiString", u"string", sdtString, {u"UTF8String", u"RawByteString"});
    add(typeid(std::u16string), tkUString, u"UnicodeString", u"string", sdtString, {u"String", u"WideString"});
    // The same C++ type as UnicodeString: told apart by name only.
    add(none, tkUString, u"VxXMLString", u"string", sdtString);
    add(none, tkUString, u"VxJSONString", u"string", sdtString);
    // TDateTime and its kin are doubles: told apart by name only.
    add(none, tkFloat, u"TDate", u"date", sdtDate);
    add(none, tkFloat, u"TTime", u"time", sdtTime);
    add(none, tkFloat, u"TDateTime", u"dateTime", sdtDateTime);
    add(typeid(IVxInterface*), tkInterface, u"IInterface", u"anyType", sdtNone, {u"IVxInterface", u"IUnknown"});
  }
}

TRegistry& Registry() {
  static TRegistry* r = [] {
    auto* reg = new TRegistry;  // lives until the program ends, so late users still find it
    AddBuiltIns(*reg);
    return reg;
  }();
  return *r;
}

}  // namespace

VxString VxSchemaDataTypeName(TVxSchemaDataType AType) {
  static const char16_t* const names[] = {
      u"", u"anyType", u"integer", u"byte", u"short", u"int", u"long", u"unsignedByte", u"unsignedShort",
      u"unsignedInt", u"unsignedLong", u"float", u"double", u"decimal", u"string", u"normalizedString", u"token",
      u"boolean", u"date", u"time", u"dateTime", u"duration", u"base64Binary", u"hexBinary", u"anyURI", u"QName"};
  return AType <= sdtQName ? names[AType] : u"";
}

const TVxTypeInfo* VxRegisterTypeInfo(const TVxTypeInfo& AInfo, const std::vector<VxString>& AAliases) {
  TRegistry& r = Registry();
  std::lock_guard<std::mutex> guard(r.Lock);
  return AddLocked(r, AInfo, AAliases);
}

const TVxTypeInfo* VxRegisterTypeInfo(std::type_index AType, const TVxTypeInfo& AInfo,
                                      const std::vector<VxString>& AAliases) {
  TRegistry& r = Registry();
  std::lock_guard<std::mutex> guard(r.Lock);
  const TVxTypeInfo* info = AddLocked(r, AInfo, AAliases);
  r.ByType[AType] = info;
  return info;
}

const TVxTypeInfo* VxFindTypeInfo(std::type_index AType) {
  TRegistry& r = Registry();
  std::lock_guard<std::mutex> guard(r.Lock);
  auto it = r.ByType.find(AType);
  return it == r.ByType.end() ? nullptr : it->second;
}

const TVxTypeInfo* VxFindTypeInfo(std::u16string_view AName) {
  TRegistry& r = Registry();
  std::lock_guard<std::mutex> guard(r.Lock);
  auto it = r.ByName.find(VxUpperCase(AName));
  return it == r.ByName.end() ? nullptr : it->second;
}

}  // namespace vx
