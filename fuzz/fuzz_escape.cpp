// libFuzzer target: escaping and unescaping text for XML and for JSON. Any code units (lone
// surrogates included) escape to text that unescapes to them; unescaping any text, UTF-16 or
// 8-bit, only ever raises the library's exceptions.
#include "fuzz_util.h"
#include "uVxXMLUtils.h"

using namespace vx;
using namespace vx::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  const TInput in(AData, ASize);
  const std::u16string text = Units(in.Bytes);
  const bool apostrophe = (in.Flags & 1) != 0, quote = (in.Flags & 2) != 0;
  // The XML escaping drops NUL code units; everything else comes back.
  std::u16string withoutNul = text;
  std::erase(withoutNul, u'\0');
  std::string bytesWithoutNul = in.Bytes;
  std::erase(bytesWithoutNul, '\0');
  Same("VxXMLToStr(VxStrToXML(text)) is the text", VxUTF16ToUTF8(withoutNul),
       VxUTF16ToUTF8(VxXMLToStr(VxStrToXML(text, apostrophe, quote))));
  // The JSON escaping drops U+0001 to U+0007.
  std::u16string withoutLow = text;
  std::erase_if(withoutLow, [](char16_t C) { return C >= 1 && C <= 7; });
  Same("VxJSONtoStr(VxStrToJSON(text)) is the text", VxUTF16ToUTF8(withoutLow), VxUTF16ToUTF8(VxJSONtoStr(VxStrToJSON(text))));
  Same("8-bit VxXMLToStr(VxStrToXML(bytes)) is the bytes", bytesWithoutNul, VxXMLToStr(VxStrToXML(std::string_view(in.Bytes), apostrophe, quote)));
  Outcome([&] { VxXMLToStr(text); });
  Outcome([&] { VxXMLToStr(std::string_view(in.Bytes)); });
  Outcome([&] { VxJSONtoStr(text); });
  Outcome([&] { VxJSONtoStr(text, jdtNumber); });
  Outcome([&] { VxJSONUnescape(text); });
  return 0;
}
