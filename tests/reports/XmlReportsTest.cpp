// The XML report family of the graphical front end.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"
#include "reports/ReportTestUtil.h"

namespace {

using reporttest::Written;

TEST(XmlReports, FunctionListExample) {
  testutil::TempDir dir;
  AssemblyData db;
  __func_attr* main = db.CreateFuncAttr("main", "main");
  main->Path = "src/main.s", main->Stack = 16, main->CumStack = 56, main->CodeSize = 40;
  main->IsFound = main->IsUsed = true;
  db.InsertCallListItem(main, "bar");
  testutil::Captured([&] { db.DumpFunctionList(dir.path() + "/"); });
  EXPECT_EQ(testutil::ReadFile(dir / "VA_FunctionList.xml"),
            "<?xml version=\"1.0\"?>\n\n<NodeList>\n\n<node root = \"1\">\n\t<Key>main</Key>\n"
            "\t<Name>main</Name>\n\t<Mangled>main</Mangled>\n\t<Path>src/main.s</Path>\n"
            "\t<Stack>16</Stack>\n\t<CumStack>56</CumStack>\n\t<CumUserStack>0</CumUserStack>\n"
            "\t<Status>1</Status>\n\t<Scope>1</Scope>\n\t<Branch>0</Branch>\n"
            "\t<HasParent>0</HasParent>\n\t<HasPtrFunc>0</HasPtrFunc>\n\t<CodeSize>40</CodeSize>\n"
            "\t<Used>1</Used>\n\t<IsAid>0</IsAid>\n\t\t<CallList>\n\t\t\t<Call>bar</Call>\n"
            "\t\t</CallList>\n</node>\n\n</NodeList>\n");
}

TEST(XmlReports, EscapingRootsAndModules) {
  EXPECT_EQ(AssemblyData::TranslateForXML("operator<(int, int)"), "operator&lt;(int, int)");
  EXPECT_EQ(AssemblyData::TranslateForXML("a&lt;b"), "a&amp;lt;b");
  EXPECT_EQ(AssemblyData::TranslateForXML("<&>\"'"), "&lt;&amp;&gt;\"'");

  AssemblyData db;
  // The module list runs from the function's first entry to the end of the
  // map, unless every entry in that run is without a module.
  db.rootMap = {{"a", ""}, {"b", "M1"}, {"b", "M2"}, {"c", ""}, {"d", ""}};
  auto modules = [&](const char* name) {
    __func_attr* f = db.CreateFuncAttr(name, name);
    return Written([&](FILE* file) { db.DumpModuleList(f, file); });
  };
  EXPECT_EQ(modules("a"),
            "\t<ModuleList>\n\t\t<Module></Module>\n\t\t<Module>M1</Module>\n"
            "\t\t<Module>M2</Module>\n\t\t<Module></Module>\n\t\t<Module></Module>\n"
            "\t</ModuleList>\n");
  EXPECT_EQ(modules("b"),
            "\t<ModuleList>\n\t\t<Module>M1</Module>\n\t\t<Module>M2</Module>\n"
            "\t\t<Module></Module>\n\t\t<Module></Module>\n\t</ModuleList>\n");
  EXPECT_EQ(modules("c"), "");
  EXPECT_EQ(modules("zz"), "");
  const std::string node = Written([&](FILE* file) { db.DumpFunctionNode(db.FindFuncItem("c"), file); });
  EXPECT_EQ(node.rfind("<node root = \"1\" user-root = \"1\">\n", 0), 0u);
}

TEST(XmlReports, WarningListsTakeTheLeadingRunOfTheirType) {
  AssemblyData db;
  testutil::TempDir dir;
  auto list = [&](int type) {
    testutil::Captured([&] { type == 0 ? db.DumpFWarningList(dir / "") : db.DumpMWarningList(dir / ""); });
    return testutil::ReadFile(dir / (type == 0 ? "VA_FuncWarningList.xml" : "VA_MemWarningList.xml"));
  };
  const std::string head = "<?xml version=\"1.0\"?>\n\n<WarningList>\n\n";
  const std::string tail = "\n</WarningList>\n";
  EXPECT_EQ(list(0), head + tail);

  _Warnings fn{"foo", "src/a.s", "", "41: Warning: Missing @function declaration for foo in file src/a.s", 12, 0, "foo:", ""};
  _Warnings mem{"a<b>&", "src/b.s", "", "m", -1, 1, "x<y", "src/c.s"};
  db.warnings = {fn, mem};
  EXPECT_EQ(list(0), head +
                         "<Warning>\n\t<Type>0</Type>\n"
                         "\t<Message>41: Warning: Missing @function declaration for foo in file "
                         "src/a.s</Message>\n\t<Key>foo</Key>\n\t<Path>src/a.s</Path>\n"
                         "\t<Code></Code>\n\t<LineNum>12</LineNum>\n\t<CodeLine>foo:</CodeLine>\n"
                         "\t<File2></File2>\n</Warning>\n" + tail);
  EXPECT_EQ(list(1), head + tail);

  db.warnings = {mem, fn, mem};
  EXPECT_EQ(list(0), head + tail);
  EXPECT_EQ(list(1), head +
                         "<Warning>\n\t<Type>1</Type>\n\t<Message>m</Message>\n"
                         "\t<Key>a&lt;b&gt;&amp;</Key>\n\t<Path>src/b.s</Path>\n\t<Code></Code>\n"
                         "\t<LineNum>-1</LineNum>\n\t<CodeLine>x&lt;y</CodeLine>\n"
                         "\t<File2>src/c.s</File2>\n</Warning>\n" + tail);
}

}  // namespace
