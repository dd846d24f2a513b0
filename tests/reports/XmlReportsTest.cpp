// The warning lists of the XML reports: the whole files are checked through
// the binary, the choice of entries and their escaping here.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"
#include "reports/ReportTestUtil.h"

namespace {

TEST(XmlReports, WarningListsTakeTheLeadingRunOfTheirType) {
  AssemblyData db;
  testutil::TempDir dir;
  auto list = [&](int type) {
    testutil::Captured([&] { type == 0 ? db.DumpFWarningList(dir / "") : db.DumpMWarningList(dir / ""); });
    return testutil::ReadFile(dir / (type == 0 ? "VA_FuncWarningList.xml" : "VA_MemWarningList.xml"));
  };
  const std::string head = "<?xml version=\"1.0\"?>\n\n<WarningList>\n\n";
  const std::string tail = "\n</WarningList>\n";

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

// The list is written through one buffer for the whole file, a node alone
// through its own; both escape the display name up to a NUL.
TEST(XmlReports, FunctionListAgreesWithNodesWrittenAlone) {
  AssemblyData db;
  testutil::TempDir dir;
  __func_attr* f = db.CreateFuncAttr("f", "f");
  f->UName = std::string("x<y&\0<z", 7);
  db.InsertCallListItem(f, "g");
  db.CreateFuncAttr("g", "g")->HasParent = true;
  db.rootMap.emplace("g", "App");
  testutil::Captured([&] { db.DumpFunctionList(dir / ""); });
  std::string nodes;
  for (const auto& [key, record] : db.functionMap) {
    nodes += reporttest::Written([&](FILE* file) { db.DumpFunctionNode(record.get(), file); });
  }
  EXPECT_EQ(testutil::ReadFile(dir / "VA_FunctionList.xml"),
            "<?xml version=\"1.0\"?>\n\n<NodeList>\n\n" + nodes + "\n</NodeList>\n");
  EXPECT_NE(nodes.find("\t<Name>x&lt;y&amp;</Name>\n"), std::string::npos);
  EXPECT_NE(nodes.find("\t\t</CallList>\n\t<ModuleList>\n\t\t<Module>App</Module>\n\t</ModuleList>\n</node>\n"),
            std::string::npos);
}

}  // namespace
