// JSON paths: each selector, filters, document order, options, creation along paths, the
// interface forms, messages with positions, hostile paths, and a comparison with jsonpath-plus
// over a few hundred paths.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "uVxJSON.h"

#ifdef VX_HAVE_NLOHMANN_JSON
#include <nlohmann/json.hpp>
#endif

using namespace vx;

namespace {

std::string U8(std::u16string_view S) { return VxUTF16ToUTF8(S); }

template <class F>
std::string Raised(F AAction) {
  try {
    AAction();
  } catch (const Exception& e) {
    return U8(e.ClassName() + u": " + e.Message());
  }
  return "nothing";
}

TVxIntf<TVxJSONDocument> Doc(const std::string& AText) {
  auto doc = VxMake<TVxJSONDocument>();
  doc->SetAsJSON(VxUTF8ToUTF16(AText));
  return doc;
}

// The selected values as compact JSON, joined by " | ".
std::string Select(TVxJSONBase* AContext, const std::string& APath, bool ACaseInsensitive = false) {
  std::string out;
  for (TVxJSONBase* n : TVxJSONPath(VxUTF8ToUTF16(APath)).Evaluate(AContext, ACaseInsensitive))
    out += (out.empty() ? "" : " | ") + U8(n->GetAsJSON());
  return out;
}

const char* const cStore = R"({"store": {"book": [
  {"category": "reference", "author": "Nigel Rees", "title": "Sayings of the Century", "price": 8.95},
  {"category": "fiction", "author": "Evelyn Waugh", "title": "Sword of Honour", "price": 12.99},
  {"category": "fiction", "author": "Herman Melville", "title": "Moby Dick", "isbn": "0-553-21311-3", "price": 8.99},
  {"category": "fiction", "author": "J. R. R. Tolkien", "title": "The Lord of the Rings", "isbn": "0-395-19395-8", "price": 22.99}],
  "bicycle": {"color": "red", "price": 19.95}}, "expensive": 10})";

}  // namespace

TEST(JSONPath, SelectorsNamesIndicesUnionsSlicesAndWildcards) {
  auto doc = Doc(R"({"a": {"b": [10, 11, 12, 13, 14]}, "c d": 1, "e.f": 2, "q'": 3, "u\u00e9": 4, "0": 5})");
  TVxJSONBase* d = doc.Get();
  EXPECT_EQ(Select(d, "$.a.b[0]"), "10");
  EXPECT_EQ(Select(d, "$.a.b[-1]"), "14");
  EXPECT_EQ(Select(d, "$.a.b[5]"), "");
  EXPECT_EQ(Select(d, "$.a.b[-6]"), "");
  EXPECT_EQ(Select(d, "$.a.b.2"), "12");           // digits after "." index arrays
  EXPECT_EQ(Select(d, "$.a.b[3,1]"), "11 | 13");   // document order
  EXPECT_EQ(Select(d, "$.a.b[1,1]"), "11");        // each node once
  EXPECT_EQ(Select(d, "$.a.b[1:3]"), "11 | 12");
  EXPECT_EQ(Select(d, "$.a.b[:-3]"), "10 | 11");
  EXPECT_EQ(Select(d, "$.a.b[::2]"), "10 | 12 | 14");
  EXPECT_EQ(Select(d, "$.a.b[::-2]"), "10 | 12 | 14");
  EXPECT_EQ(Select(d, "$.a.b[0:5:0]"), "");
  EXPECT_EQ(Select(d, "$.a.b[ 1 : 2 ]"), "11");
  EXPECT_EQ(Select(d, "$['c d']"), "1");
  EXPECT_EQ(Select(d, "$[\"e.f\"]"), "2");
  EXPECT_EQ(Select(d, "$['q\\'']"), "3");
  EXPECT_EQ(Select(d, "$['u\\u00e9']"), "4");    // escapes in the path and in the document
  EXPECT_EQ(Select(d, "$[c d, '0']"), "1 | 5");   // unquoted names in brackets
  EXPECT_EQ(Select(d, "$[0]"), "");              // an index is no name
  EXPECT_EQ(Select(d, "$.0"), "5");              // a name of digits on an object is a name
  EXPECT_EQ(Select(d, "$.a.*"), "[10, 11, 12, 13, 14]");
  EXPECT_EQ(Select(d, "$.a.b[*]"), "10 | 11 | 12 | 13 | 14");
  EXPECT_EQ(Select(d, "$.a.b.*"), Select(d, "$.a.b[*]"));
  EXPECT_EQ(Select(d, "$"), U8(doc->GetRootValue()->GetAsJSON()));
  EXPECT_EQ(Select(d, "$.a.b.x"), "");           // names do not apply to arrays
  EXPECT_EQ(Select(d, "$[0]"), "");              // nor indices to objects
}

TEST(JSONPath, RelativePathsStartAtTheContextNode) {
  auto doc = Doc(R"({"a": {"b": {"c": 1}}, "c": 2})");
  TVxJSONBase* a = doc->GetRootValue()->GetMember(u"a");   // a member stands for its value
  EXPECT_EQ(Select(a, "@.b.c"), "1");
  EXPECT_EQ(Select(a, "b.c"), "1");
  EXPECT_EQ(Select(a, "['b']"), "{\"c\": 1}");
  EXPECT_EQ(Select(a, "$.c"), "2");        // "$" is the top of the tree
  EXPECT_EQ(Select(a, "@"), "{\"b\": {\"c\": 1}}");
  EXPECT_EQ(Select(a, "..c"), "1");
}

TEST(JSONPath, DescendantsComeInDocumentOrder) {
  auto doc = Doc(R"({"a": {"x": {"name": 1}, "name": 2}, "name": 3, "list": [{"name": 4}, [{"name": 5}]]})");
  TVxJSONBase* d = doc.Get();
  EXPECT_EQ(Select(d, "$..name"), "1 | 2 | 3 | 4 | 5");
  EXPECT_EQ(Select(d, "$..a..name"), "1 | 2");
  EXPECT_EQ(Select(d, "$..*..name"), "1 | 2 | 4 | 5");   // reached twice, listed once
  EXPECT_EQ(Select(d, "$..[0]"), "{\"name\": 4} | {\"name\": 5}");
  EXPECT_EQ(Select(d, "$.list..*"), "{\"name\": 4} | 4 | [{\"name\": 5}] | {\"name\": 5} | 5");
}

TEST(JSONPath, FiltersCompareRelativePathsWithLiteralsAndEachOther) {
  auto doc = Doc(cStore);
  TVxJSONBase* d = doc.Get();
  EXPECT_EQ(Select(d, "$..book[?(@.price < 10)].title"), "\"Sayings of the Century\" | \"Moby Dick\"");
  EXPECT_EQ(Select(d, "$..book[?(@.isbn)].price"), "8.99 | 22.99");
  EXPECT_EQ(Select(d, "$..book[?(!@.isbn)].price"), "8.95 | 12.99");
  EXPECT_EQ(Select(d, "$..book[?(@.price > $.expensive)].price"), "12.99 | 22.99");
  EXPECT_EQ(Select(d, "$..book[?(@.category == 'fiction' && (@.price < 9 || @.price > 20))].price"), "8.99 | 22.99");
  EXPECT_EQ(Select(d, "$..book[?(!(@.category === \"fiction\"))].price"), "8.95");
  EXPECT_EQ(Select(d, "$..book[?(@.author != 'Nigel Rees')].price"), "12.99 | 8.99 | 22.99");
  EXPECT_EQ(Select(d, "$.store[?(@.color)].price"), "19.95");   // filters run over members too
  EXPECT_EQ(Select(d, "$.store[?(@.length == 4)][0].price"), "8.95");
  EXPECT_EQ(Select(d, "$..book[?(@.title.length > 15)].price"), "8.95 | 22.99");

  auto kinds = Doc(R"({"v": [1, "1", true, null, {"k": 1}, [1], -2.5e1, "", false], "n": [0, 10]})");
  TVxJSONBase* k = kinds.Get();
  EXPECT_EQ(Select(k, "$.v[?(@ == 1)]"), "1");                  // no number-string coercion
  EXPECT_EQ(Select(k, "$.v[?(@ == '1')]"), "\"1\"");
  EXPECT_EQ(Select(k, "$.v[?(@ == true)]"), "true");
  EXPECT_EQ(Select(k, "$.v[?(@ == null)]"), "null");
  EXPECT_EQ(Select(k, "$.v[?(@ < 0)]"), "-2.5e1");
  EXPECT_EQ(Select(k, "$.v[?(@ >= '')]"), "\"1\" | \"\"");
  EXPECT_EQ(Select(k, "$.v[?(@.k)]"), "{\"k\": 1}");
  EXPECT_EQ(Select(k, "$.v[?(@[0] == 1)]"), "[1]");
  EXPECT_EQ(Select(k, "$.v[?(@ == @)]").substr(0, 9), "1 | \"1\" |");   // objects and arrays equal nothing
  EXPECT_EQ(Select(k, "$.n[?(@ == $.n[1])]"), "10");
  EXPECT_EQ(Select(k, "$.n[?(true)]"), "0 | 10");
  EXPECT_EQ(Select(k, "$.n[?(0)]"), "");
  EXPECT_EQ(Select(k, "$.n[?(@.x != 1)]"), "0 | 10");   // a missing value differs from all
  EXPECT_EQ(Select(k, "$.n[?(@.x == @.y)]"), "");
  EXPECT_EQ(Select(k, "$.n[?(@ > +5)]"), "10");
}

TEST(JSONPath, SingleNodeSelectionAndItsOptions) {
  auto doc = Doc(R"({"Name": "x", "list": [1, 2]})");
  TVxJSONBase* d = doc.Get();
  EXPECT_EQ(U8(d->SelectSingleNode(u"$.Name")->GetAsString()), "x");
  EXPECT_EQ(d->SelectSingleNode(u"$.name"), nullptr);
  EXPECT_EQ(U8(d->SelectSingleNode(u"$.name", {jsoCaseInsensitive})->GetAsString()), "x");
  EXPECT_EQ(Select(d, "$[?(@ == 'x')]", true), "\"x\"");
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(u"$.name", {jsoRaise}); }),
            "EVxJSONPathError: The specified path returned no nodes!");
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(u"$.list[*]"); }),
            "EVxJSONPathError: The specified path returned more than 1 node!");
  EXPECT_EQ(Raised([&] { d->CreateNodeList(u"$.none", {jsoRaise}); }),
            "EVxJSONPathError: The specified path returned no nodes!");
  TVxIntf<TVxJSONArray> list = d->CreateNodeList(u"$.list[*]");
  ASSERT_EQ(list->Count(), 2);
  EXPECT_EQ(list->Item(1), d->SelectSingleNode(u"$.list[1]"));   // the live nodes
  EXPECT_EQ(list->Item(1)->Parent(), d->SelectSingleNode(u"$.list"));
  EXPECT_EQ(d->CreateNodeList(u"$.none")->Count(), 0);
}

TEST(JSONPath, ListsAndInterfacesKeepSelectedNodesAlive) {
  auto doc = Doc(R"({"list": [{"id": 1}, {"id": 2}]})");
  TVxIntf<IVxJSONArray> list = doc->CreateNodeListIntf(u"$.list[*]", {});
  TVxIntf<IVxJSONBase> second = doc->SelectIntf(u"$.list[1]", {});
  ASSERT_TRUE(second);
  EXPECT_FALSE(doc->SelectIntf(u"$.list[7]", {}));
  doc->SelectSingleNode(u"$.list")->DeleteValue(1);   // out of the tree, alive through the references
  EXPECT_EQ(U8(second->GetAsJSON()), "{\"id\": 2}");
  EXPECT_EQ(U8(list->GetItemIntf(1)->GetAsJSON()), "{\"id\": 2}");
  doc = nullptr;                                      // the document goes; the list holds its nodes
  EXPECT_EQ(U8(list->GetItemIntf(0)->GetAsJSON()), "{\"id\": 1}");
  list = nullptr;
  EXPECT_EQ(U8(second->GetAsJSON()), "{\"id\": 2}");
}

TEST(JSONPath, GetMemberTakesAPathWhenNoMemberHasThatName) {
  auto doc = Doc(R"({"a": {"b": 1}, "$.x": 2, "$ref": 3, "list": [4]})");
  TVxJSONBase* root = doc->GetRootValue();
  EXPECT_EQ(U8(root->GetMember(u"$.a.b")->GetName()), "b");
  EXPECT_EQ(root->GetMember(u"$.x")->GetAsInteger(), 2);     // a member of that name comes first
  EXPECT_EQ(root->GetMember(u"$ref")->GetAsInteger(), 3);    // not a path
  EXPECT_EQ(root->GetMember(u"@.list[0]"), nullptr);         // an element is no member
  EXPECT_EQ(Raised([&] { root->GetMember(u"@.list[0]", {jsoRaise}); }),
            "EVxJSONException: There is no member with the name \"@.list[0]\"!");
  TVxIntf<IVxJSONMember> created = doc->GetMemberIntf(u"$.a.c.d", {jsoCreate});
  created->SetAsInteger(5);
  EXPECT_EQ(U8(doc->GetAsJSON()), R"({"a": {"b": 1, "c": {"d": 5}}, "$.x": 2, "$ref": 3, "list": [4]})");
  EXPECT_EQ(U8(doc->GetMemberIntf(u"$['a']['c']", {})->GetName()), "c");

  auto empty = VxMake<TVxJSONDocument>();   // without root: the path creates it
  empty->GetMember(u"$.x.y", {jsoCreate})->SetAsString(u"z");
  EXPECT_EQ(U8(empty->GetAsJSON()), R"({"x": {"y": "z"}})");
}

TEST(JSONPath, CreateAddsWhatIsMissingAlongNamesAndIndices) {
  auto doc = Doc(R"({"a": {"list": [1]}, "s": "text"})");
  TVxJSONBase* d = doc.Get();
  TVxJSONBase* made = d->SelectSingleNode(u"$.a.list[3].x", {jsoCreate});
  made->SetAsInteger(7);
  EXPECT_EQ(U8(doc->GetAsJSON()), R"({"a": {"list": [1, null, null, {"x": 7}]}, "s": "text"})");
  EXPECT_EQ(d->SelectSingleNode(u"$.a.list[3].x", {jsoCreate}), made);   // found, not made again
  d->SelectSingleNode(u"$.b[0][1]", {jsoCreate})->SetAsBoolean(true);
  EXPECT_EQ(U8(doc->GetRootValue()->GetMember(u"b")->GetValue()->GetAsJSON()), "[[null, true]]");
  EXPECT_EQ(d->CreateNodeList(u"$.c.d", {jsoCreate})->Count(), 1);

  const std::string before = U8(doc->GetAsJSON());
  for (const char* path : {"$..x.y", "$.a.*.z", "$.a.list[?(@ > 0)].z", "$.a.list[0:1].z", "$.a['p','q']"})
    EXPECT_EQ(Raised([&] { d->SelectSingleNode(VxUTF8ToUTF16(path), {jsoCreate}); }),
              "EVxJSONPathError: The path \"" + std::string(path) +
                  "\" cannot be created with jsoCreate: wildcards, unions, slices, filters and \"..\" select, they do not create")
        << path;
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(u"$.s.x", {jsoCreate}); }),
            "EVxJSONPathError: The path \"$.s.x\" cannot be created with jsoCreate: step 2 needs an object, but the node "
            "there is no such container");
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(u"$.a.list[-9]", {jsoCreate}); }),
            "EVxJSONPathError: The path \"$.a.list[-9]\" cannot be created with jsoCreate: a negative index cannot be created");
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(u"$.new[99999999]", {jsoCreate}); }),
            "EVxJSONPathError: The path \"$.new[99999999]\" cannot be created with jsoCreate: the index 99999999 is too large "
            "to create");
  EXPECT_EQ(U8(doc->GetAsJSON()), before);   // nothing changed
}

TEST(JSONPath, MalformedPathsNameThePosition) {
  auto doc = Doc(cStore);
  auto message = [&](const char* APath) { return Raised([&] { doc->SelectSingleNode(VxUTF8ToUTF16(APath)); }); };
  EXPECT_EQ(message(""), "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 1: a path expected");
  EXPECT_EQ(message("$.store["),
            "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 9: a name, an index, \"*\" or \"?(\" "
            "expected, but the end found");
  EXPECT_EQ(message("$.store[0"),
            "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 10: \"]\" expected, but the end found");
  EXPECT_EQ(message("$['store"),
            "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 3: the string that starts here is not "
            "closed");
  EXPECT_EQ(message("$.store x"), "nothing");   // a blank after "." belongs to the name: no such member
  EXPECT_EQ(message("$x"),
            "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 2: \".\" or \"[\" expected, but \"x\" found");
  EXPECT_EQ(message("$."), "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 3: a name expected, but the end found");
  EXPECT_EQ(message("$[1:2,3]"),
            "EVxJSONPathError: The specified path is not a valid JSON path.\r\nPosition 6: \"]\" expected, but \",\" found");
  EXPECT_EQ(message("$.store.book[(@.length-1)]"), "EVxJSONPathError: Script expressions are not yet supported!");
  EXPECT_EQ(message("$..book[?(@.price <)]"),
            "EVxJSONPathError: The specified script expression is too complex or not valid!\r\nPosition 20: a path, a number, "
            "a string, true, false or null expected, but \")\" found");
  EXPECT_EQ(message("$..book[?(@.price = 1)]"),
            "EVxJSONPathError: The specified script expression is too complex or not valid!\r\nPosition 19: \"==\" expected, but "
            "\"=\" found");
  EXPECT_EQ(message("$..book[?(@.price > 1]"),
            "EVxJSONPathError: The specified script expression is too complex or not valid!\r\nPosition 22: \")\" expected, but "
            "\"]\" found");
}

TEST(JSONPath, HostilePathsFailCleanlyOrWork) {
  auto doc = Doc(R"({"a": [1, 2, 3]})");
  TVxJSONBase* d = doc.Get();
  // 100,000 nested parentheses, and as many "!": refused as too complex, not a stack overflow.
  const std::string deep = "$.a[?(" + std::string(100000, '(') + "@ > 1" + std::string(100000, ')') + ")]";
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(VxUTF8ToUTF16(deep)); }).substr(0, 97),
            "EVxJSONPathError: The specified script expression is too complex or not valid!\r\nPosition 135: fil");
  EXPECT_NE(Raised([&] { d->SelectSingleNode(VxUTF8ToUTF16("$.a[?(" + std::string(100000, '!') + "@)]")); }), "nothing");
  // Moderate nesting works.
  EXPECT_EQ(Select(d, "$.a[?(" + std::string(50, '(') + "@ > 1" + std::string(50, ')') + ")]"), "2 | 3");
  // Paths over 1 MB: many steps, a long name, many union items, unbalanced brackets.
  std::string steps = "$";
  while (steps.size() < (1u << 20)) steps += ".a";
  EXPECT_EQ(Select(d, steps), "");
  EXPECT_EQ(Select(d, "$['" + std::string(1u << 20, 'x') + "']"), "");
  std::string many = "$.a[0";
  while (many.size() < (1u << 20)) many += ",1";
  EXPECT_EQ(Select(d, many + "]"), "1 | 2");
  EXPECT_NE(Raised([&] { d->SelectSingleNode(VxUTF8ToUTF16(std::string(1u << 20, '['))); }), "nothing");
  EXPECT_NE(Raised([&] { d->SelectSingleNode(VxUTF8ToUTF16("$" + std::string(1u << 20, ']'))); }), "nothing");
  EXPECT_NE(Raised([&] { d->SelectSingleNode(VxUTF8ToUTF16("$.a[?(" + std::string(1u << 20, '\'') + ")]")); }), "nothing");
  // A tree a million levels deep: descendants walk it without the call stack.
  auto tall = Doc(std::string(1000000, '[') + "7" + std::string(1000000, ']'));
  EXPECT_EQ(Select(tall.Get(), "$..[?(@ == 7)]"), "7");
}

TEST(JSONPath, CompiledPathsAreReusableAcrossDocumentsAndThreads) {
  const TVxJSONPath path(u"$.items[?(@.n > 1)].n");
  EXPECT_TRUE(TVxJSONPath(u"$.a[0].b").IsSimple());
  EXPECT_FALSE(path.IsSimple());
  auto one = Doc(R"({"items": [{"n": 1}, {"n": 2}]})");
  auto two = Doc(R"({"items": [{"n": 3}]})");
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int k = 0; k < 200; ++k)
        if (path.Evaluate(one.Get()).size() != 1 || path.Evaluate(two.Get()).size() != 1) ++wrong;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(U8(path.Text()), "$.items[?(@.n > 1)].n");
}

#ifdef VX_HAVE_NLOHMANN_JSON
// The same paths through jsonpath-plus (Node.js) and through this library: the selected values
// must agree, in document order, each node once. Lines with a third field are deliberate
// differences: there the library's values must be the ones given.
TEST(JSONPath, AgreesWithJsonpathPlus) {
  const std::filesystem::path dir = VX_JSONPATH_DIR;
  const std::filesystem::path modules = std::filesystem::path(VX_TEST_SUITES_DIR) / "node" / "node_modules";
  if (!std::filesystem::exists(modules / "jsonpath-plus")) GTEST_SKIP() << "jsonpath-plus not fetched (tools/fetch-test-suites.sh)";
  if (std::system("node --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "Node.js not found";
  const std::string command =
      "node '" + (dir / "reference.js").string() + "' '" + modules.string() + "' '" + dir.string() + "' '" + (dir / "paths.tsv").string() + "'";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_TRUE(pipe);
  std::string output;
  char buffer[65536];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
  ASSERT_EQ(pclose(pipe), 0);
  std::istringstream reference(output);

  std::ifstream paths(dir / "paths.tsv");
  std::map<std::string, TVxIntf<TVxJSONDocument>> docs;
  int compared = 0, deliberate = 0;
  for (std::string line; std::getline(paths, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::string theirs;
    std::getline(reference, theirs);
    const size_t tab = line.find('\t'), tab2 = line.find('\t', tab + 1);
    const std::string docName = line.substr(0, tab);
    const std::string path = line.substr(tab + 1, tab2 == std::string::npos ? std::string::npos : tab2 - tab - 1);
    if (!docs.count(docName)) {
      docs[docName] = VxMake<TVxJSONDocument>();
      docs[docName]->SetAllowTrailingWhiteSpace(true);
      docs[docName]->LoadFromFile(dir / docName);
    }
    nlohmann::json ours = nlohmann::json::array();
    std::string error;
    try {
      for (TVxJSONBase* n : TVxJSONPath(VxUTF8ToUTF16(path)).Evaluate(docs[docName].Get()))
        ours.push_back(nlohmann::json::parse(U8(n->GetAsJSON())));
    } catch (const Exception& e) {
      error = U8(e.Message());
    }
    EXPECT_EQ(error, "") << docName << " " << path;
    if (tab2 != std::string::npos) {
      EXPECT_EQ(ours, nlohmann::json::parse(line.substr(tab2 + 1))) << docName << " " << path << " (a deliberate difference)";
      ++deliberate;
      continue;
    }
    const nlohmann::json expected = nlohmann::json::parse(theirs);
    EXPECT_TRUE(expected.contains("values")) << docName << " " << path << ": jsonpath-plus: " << theirs;
    if (expected.contains("values")) {
      EXPECT_EQ(ours, expected["values"]) << docName << " " << path;
    }
    ++compared;
  }
  EXPECT_GE(compared + deliberate, 150);
  std::printf("[ jsonpath ] %d paths agree with jsonpath-plus, %d deliberate differences\n", compared, deliberate);
}
#endif
