// XML reports, root files and aliases through the binary, on small trees
// whose expected output was worked out by hand.
#include <gtest/gtest.h>

#include "TestUtil.h"

using namespace testutil;

namespace {

std::string Node(const std::string& attributes, const std::string& key, const std::string& name,
                 const std::string& path, const std::string& numbers, const std::string& calls,
                 const std::string& modules) {
  return "<node" + attributes + ">\n\t<Key>" + key + "</Key>\n\t<Name>" + name + "</Name>\n\t<Mangled>" + key +
         "</Mangled>\n\t<Path>" + path + "</Path>\n" + numbers + "\t\t<CallList>\n" + calls + "\t\t</CallList>\n" +
         modules + "</node>\n";
}

TEST(ReportsEndToEnd, XmlFamilyUnderGui) {
  FixtureRun run("xml_basic", {"--gui"});
  ASSERT_EQ(run.result.status, 0) << run.result.out;
  const std::string p = run.Canonical("app.s");
  EXPECT_EQ(run.Report("VA_FunctionList.xml"),
            "<?xml version=\"1.0\"?>\n\n<NodeList>\n\n" +
                Node(" root = \"0\"", "_ZltRK1AS1_", "operator&lt;(A const&amp;, A const&amp;)", "",
                     "\t<Stack>0</Stack>\n\t<CumStack>0</CumStack>\n\t<CumUserStack>0</CumUserStack>\n"
                     "\t<Status>0</Status>\n\t<Scope>1</Scope>\n\t<Branch>2</Branch>\n\t<HasParent>1</HasParent>\n"
                     "\t<HasPtrFunc>0</HasPtrFunc>\n\t<CodeSize>-1</CodeSize>\n\t<Used>1</Used>\n\t<IsAid>0</IsAid>\n",
                     "", "") +
                Node(" root = \"0\"", "bar", "bar", p,
                     "\t<Stack>40</Stack>\n\t<CumStack>40</CumStack>\n\t<CumUserStack>40</CumUserStack>\n"
                     "\t<Status>1</Status>\n\t<Scope>1</Scope>\n\t<Branch>0</Branch>\n\t<HasParent>1</HasParent>\n"
                     "\t<HasPtrFunc>0</HasPtrFunc>\n\t<CodeSize>-1</CodeSize>\n\t<Used>1</Used>\n\t<IsAid>0</IsAid>\n",
                     "", "") +
                Node(" root = \"1\"", "main", "main", p,
                     "\t<Stack>16</Stack>\n\t<CumStack>56</CumStack>\n\t<CumUserStack>56</CumUserStack>\n"
                     "\t<Status>1</Status>\n\t<Scope>1</Scope>\n\t<Branch>2</Branch>\n\t<HasParent>0</HasParent>\n"
                     "\t<HasPtrFunc>0</HasPtrFunc>\n\t<CodeSize>-1</CodeSize>\n\t<Used>0</Used>\n\t<IsAid>0</IsAid>\n",
                     "\t\t\t<Call>bar</Call>\n\t\t\t<Call>_ZltRK1AS1_</Call>\n", "") +
                "\n</NodeList>\n");
  EXPECT_EQ(run.Report("VA_MemoryList.xml"), "<?xml version=\"1.0\"?>\n\n<MemoryList>\n\n\n</MemoryList>\n");
  EXPECT_EQ(run.Report("VA_FuncWarningList.xml"),
            "<?xml version=\"1.0\"?>\n\n<WarningList>\n\n"
            "<Warning>\n\t<Type>0</Type>\n"
            "\t<Message>46: Warning: Could not compute R29 = for function bar in file " + p + "</Message>\n"
            "\t<Key>bar</Key>\n\t<Path>" + p + "</Path>\n\t<Code></Code>\n\t<LineNum>28</LineNum>\n"
            "\t<CodeLine>\t\tr29 = add(r29,r0)</CodeLine>\n\t<File2></File2>\n</Warning>\n"
            "\n</WarningList>\n");
  EXPECT_EQ(run.Report("VA_MemWarningList.xml"), "<?xml version=\"1.0\"?>\n\n<WarningList>\n\n\n</WarningList>\n");
  EXPECT_FALSE(FileExists(run.out + "/VA_FunctionStackSizes.csv"));
  // Every line carries its code under the front end.
  EXPECT_TRUE(Has(run.result.out, "\n34: Writing output file " + run.out + "/VA_FunctionList.xml\n"));
  EXPECT_TRUE(Has(run.result.out, "\n47: Line 28: \t\tr29 = add(r29,r0)\n"));
  EXPECT_TRUE(Has(run.result.out, "\n01: Backend Processing Complete\n"));
}

TEST(ReportsEndToEnd, RootFileMarksRootsAndListsModulesToTheEnd) {
  TempDir roots;
  WriteFile(roots / "roots.txt", "# entry points\n[App]\nmain   # the program\n\n[ Isr ]\n  bar\n");
  FixtureRun run("xml_basic", {"--gui", "--rootfile", roots / "roots.txt"});
  ASSERT_EQ(run.result.status, 0) << run.result.out;
  const std::string list = run.Report("VA_FunctionList.xml");
  // The map is ordered by name: bar's run is Isr then App, main's only App.
  EXPECT_TRUE(Has(list, "<node root = \"0\" user-root = \"1\">\n\t<Key>bar</Key>")) << list;
  EXPECT_TRUE(Has(list, "\t\t</CallList>\n\t<ModuleList>\n\t\t<Module>Isr</Module>\n\t\t<Module>App</Module>\n"
                        "\t</ModuleList>\n</node>\n<node root = \"1\" user-root = \"1\">\n\t<Key>main</Key>"));
  EXPECT_TRUE(Has(list, "\t\t</CallList>\n\t<ModuleList>\n\t\t<Module>App</Module>\n\t</ModuleList>\n</node>\n\n</NodeList>"));
  EXPECT_TRUE(Has(list, "<node root = \"0\">\n\t<Key>_ZltRK1AS1_</Key>"));
}

TEST(ReportsEndToEnd, RootFileRestrictsCallPathsToItsFunctions) {
  TempDir roots;
  WriteFile(roots / "roots.txt", "[Worker]\ncompute\nnot_a_function\n");
  FixtureRun run("source_basic", {"--rootfile", roots / "roots.txt"});
  ASSERT_EQ(run.result.status, 0) << run.result.out;
  EXPECT_EQ(run.Report("VA_WorstCaseCallPaths.txt"),
            "Call path for compute\n"
            "\tTotal  128 bytes, local  112 bytes, compute\n"
            "\tTotal   16 bytes, local   16 bytes, fact\n"
            "\tRecursive call to fact\n\n");
}

TEST(ReportsEndToEnd, AliasResolvesToTheStaticTargetOfItsOwnFile) {
  FixtureRun run("alias_static");
  ASSERT_EQ(run.result.status, 0) << run.result.out;
  EXPECT_EQ(run.Report("VA_FunctionStackSizes.csv"),
            "Function Name, Cumulative Stack Size, Branch Type\n"
            "\"caller\",112,Closed\n"
            "\"impl\",104,Closed\n"
            "\"user\",24,Closed\n"
            "\"impl\",16,Closed\n");
  EXPECT_EQ(run.Report("VA_UnknownFunctions.txt"), "");
}

}  // namespace
