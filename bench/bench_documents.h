// The documents the benchmarks read: a generated ~20 MB file, real XML files from Debian
// packages (when installed), one with deep nesting and one with many attributes per element.
// Each is made or read when first asked for and kept.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace vx::bench {

struct TDocument {
  std::string Name;   // the file name shown in results
  std::string Bytes;  // UTF-8
};

/// ~20 MB of records with namespaces, attributes, text with entities, comments and CDATA.
inline std::string Generated() {
  std::string s = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<db:records xmlns:db=\"urn:bench:db\" xmlns:x=\"urn:bench:x\">\n";
  for (int k = 0; s.size() < (20u << 20); ++k) {
    s += "  <db:record id=\"" + std::to_string(k) + "\" x:kind=\"sample\" status=\"active\">\n";
    s += "    <name>Record number " + std::to_string(k) + " – Zoë Ångström</name>\n";
    s += "    <!-- comment " + std::to_string(k % 97) + " -->\n";
    s += "    <text>Some longer text with ümlauts, 日本語 and &amp; an entity, spanning a line.</text>\n";
    s += "    <raw><![CDATA[<not> & markup]]></raw>\n";
    s += "    <x:empty flag=\"yes\"/>\n  </db:record>\n";
  }
  s += "</db:records>\n";
  return s;
}

/// 200 chains of 1,000 nested elements (the depth libxml2 accepts), each ending in text.
inline std::string DeepNesting() {
  std::string s = "<deep>";
  for (int chain = 0; chain < 200; ++chain) {
    for (int k = 0; k < 1000; ++k) s += "<n>";
    s += "leaf " + std::to_string(chain);
    for (int k = 0; k < 1000; ++k) s += "</n>";
  }
  return s + "</deep>";
}

/// 20,000 elements with 40 attributes each.
inline std::string ManyAttributes() {
  std::string s = "<items>\n";
  for (int k = 0; k < 20000; ++k) {
    s += "<item";
    for (int a = 0; a < 40; ++a) s += " attr" + std::to_string(a) + "=\"value " + std::to_string(k * 40 + a) + "\"";
    s += "/>\n";
  }
  return s + "</items>\n";
}

inline constexpr const char* cFreedesktop = "/usr/share/mime/packages/freedesktop.org.xml";
inline constexpr const char* cIso6393 = "/usr/share/xml/iso-codes/iso_639-3.xml";
inline constexpr const char* cIso31661 = "/usr/share/xml/iso-codes/iso_3166-1.xml";

/// The generated document and the Debian files that exist here; with AExtra also the deep
/// and the many-attribute documents.
inline std::vector<std::string> DocumentNames(bool AExtra) {
  std::vector<std::string> n{"generated-20MB"};
  if (AExtra) n.insert(n.end(), {"deep-nesting", "many-attributes"});
  for (const char* path : {cFreedesktop, cIso6393, cIso31661})
    if (std::filesystem::exists(path)) n.push_back(path);
  return n;
}

/// The document of a name from DocumentNames (made or read once).
inline const TDocument* LoadDocument(const std::string& AName) {
  static std::map<std::string, TDocument> loaded;
  auto it = loaded.find(AName);
  if (it != loaded.end()) return &it->second;
  TDocument doc{std::filesystem::path(AName).filename().string(), {}};
  if (AName == "generated-20MB") {
    doc.Bytes = Generated();
  } else if (AName == "deep-nesting") {
    doc.Bytes = DeepNesting();
  } else if (AName == "many-attributes") {
    doc.Bytes = ManyAttributes();
  } else {
    std::ifstream f(AName, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    doc.Bytes = ss.str();
  }
  return &loaded.emplace(AName, std::move(doc)).first->second;
}

}  // namespace vx::bench
