// Separate documents and readers used from separate threads at once: eight threads each load,
// query, change and save their own XML and JSON documents and read with their own SAX reader,
// and must get exactly what one thread alone gets. Run under ThreadSanitizer by the tsan preset.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "uVxJSON.h"
#include "uVxXMLDOM.h"
#include "uVxXMLUtils.h"

using namespace vx;

namespace {

// One thread's work; the answer is a text that must be the same in every thread.
std::string Work(int AThread) {
  std::string out;
  std::string xml = "<shop xmlns:p=\"urn:p\">";
  for (int k = 0; k < 200; ++k)
    xml += "<item id=\"" + std::to_string(k) + "\" p:price=\"" + std::to_string(k % 17) + ".5\">Item " + std::to_string(k) + "</item>";
  xml += "</shop>";
  TVxIntf<IVxDOMDocument> doc = VxCreateDOM(VxUTF8ToUTF16(xml));
  TVxDOMDocument* d = doc->DOMDocument();
  out += std::to_string(d->CreateNodeList(u"shop/item[@p:price > 10]")->Count());
  out += VxUTF16ToUTF8(d->SelectSingleNode(u"shop/item[@id = \"150\"]")->GetText());
  out += VxUTF16ToUTF8(d->DocumentElement()->FirstElement()->GetAttribute(u"p:price"));
  d->DocumentElement()->AddElement(u"thread")->SetAsInteger(AThread);
  d->DocumentElement()->FindElement(u"thread")->SetAsInteger(0);  // the same text in every thread
  out += std::to_string(VxUTF16ToUTF8(d->GetXML()).size());
  out += VxUTF16ToUTF8(d->GetAsJSON()).substr(0, 40);

  auto json = VxMake<TVxJSONDocument>(VxUTF8ToUTF16(VxUTF16ToUTF8(d->GetAsJSON())));
  out += std::to_string(json->CreateNodeList(u"$..item[?(@._id > '5')]")->Count());
  json->SelectSingleNode(u"$.shop.added", {jsoCreate})->SetAsString(u"x");
  out += VxUTF16ToUTF8(json->GetAsJSON()).substr(0, 60);

  out += VxUTF16ToUTF8(VxDoubleToXML(VxXMLToDouble(u"1.25E3")));
  out += VxUTF16ToUTF8(VxDateTimeToXML(VxXMLToDateTime(u"2024-02-29T10:00:00Z", tzfUTC), tzfUTC));
  return out;
}

}  // namespace

TEST(Threads, SeparateDocumentsInEightThreadsAtOnce) {
  const std::string expected = Work(0);
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 1; t <= 8; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 5; ++round)
        if (Work(t) != expected) ++wrong;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(wrong, 0);
}
