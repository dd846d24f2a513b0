// The library stage and the filter functions, in-process.
#include <gtest/gtest.h>

#include "../elf/ElfTestImage.h"
#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::DataPath;
using testutil::TempDir;

// Whole runs prove the answers; the target option of the query is seen only here.
TEST(Libraries, LibraryQueryOptions) {
  TempDir tmp;
  testutil::MakeTool(tmp / "clang", "echo \"$*\" >> " + tmp / "log" + "\necho " + tmp / "libc.a");
  testutil::WriteFile(tmp / "libc.a", "!<arch>\n");
  FileParser p;
  p.compilerPath = tmp / "clang";
  __LibAttr libc{"libc.a", "", "", ""};
  for (const char* options : {"", " -mG0lib", " -mv66 -fpic"}) {
    p.compilerSwitches = options;
    EXPECT_EQ(p.FindLibrary(libc), 0);
  }
  EXPECT_EQ(libc.path, tmp / "libc.a");
  // -mv5 only when no target option at all was given.
  EXPECT_EQ(testutil::ReadFile(tmp / "log"), "-mv5 -print-file-name=libc.a\n-mG0lib -print-file-name=libc.a\n"
                                             "-mv66 -fpic -print-file-name=libc.a\n");
}

TEST(Libraries, AliasesThunksStubsAndDummies) {
  using namespace elftest;
  Image image;
  image.sections = {{".text.foo", kProgBits, 0, std::string(16, '\0')}, {".text", kProgBits, 0, std::string(128, '\0')}};
  image.symbols = {{"a.c", 0, 0, kFile, kLocal, 0xfff1}, {"", 0, 0, 3, kLocal, 1},  // section symbol of .text.foo
                   {"helper", 0x10, 8, kFunc, kLocal, 2}, {".LTHUNK0", 0x10, 8, kFunc, kLocal, 2},
                   {"init_stub", 0x20, 4, kFunc, kLocal, 2}, {"foo", 0, 16, kFunc, kGlobal, 1},
                   {"foo_alias", 0, 16, kFunc, kWeak, 1}, {"bar", 0x10, 8, kFunc, kGlobal, 2},
                   {"other", 0x10, 8, kFunc, kGlobal, 1}, {"dummy_buffer", 8, 4, kObject, kGlobal, 2}};
  TempDir tmp;
  testutil::WriteFile(tmp / "lib.o", image.Build());
  FileParser p;
  testutil::Captured([&] { p.AddLibObjectToMaps(tmp / "lib.o"); });
  // One record per address of a section, held by a global before a local.
  std::string keys;
  for (const auto& entry : p.functionMap) keys += entry.first + " ";
  EXPECT_EQ(keys, "bar foo other ");
  std::string targets;
  for (const char* alias : {"helper", ".LTHUNK0", "foo_alias", "init_stub"})
    targets += p.FindAliasItem(alias) ? p.FindAliasItem(alias)->target + " " : "- ";
  EXPECT_TRUE(targets == "bar bar foo - " && p.memoryMap.empty()) << targets;
  EXPECT_EQ(p.FindFuncItem("foo")->Path, "a.c");  // the file of its own section
}

TEST(Libraries, SourceDefinitionKeepsItsOwnFigures) {
  TempDir tmp;
  FileParser p;
  const std::string bin = testutil::ToolchainDir();
  p.compilerPath = bin + "/valdrin-clang", p.linkerPath = bin + "/valdrin-link", p.objdumpPath = bin + "/valdrin-llvm-objdump";
  p.objdumpKind = 2;
  p.outputDir = tmp / "";
  __func_attr* own = nullptr;
  std::vector<int> results;
  testutil::Captured([&] {
    results.push_back(p.PreProcessLibraries());
    // What pass 1 does with a function that the sources define themselves.
    results.push_back(p.RemoveFuncItem("vsnprintf"));
    own = p.CreateFuncAttr("vsnprintf", "vsnprintf");
    own->Stack = 8;
    results.push_back(p.ParseStaticLibs());
  });
  EXPECT_EQ(results, (std::vector<int>{0, 1, 0}));
  // Neither the library's allocframe(#80) nor its calls.
  EXPECT_TRUE(p.FindFuncItem("vsnprintf") == own && own->Stack == 8 && own->callList.empty());
  EXPECT_TRUE(p.FindFuncItem("printf")->callList.Contains("vsnprintf"));
  EXPECT_TRUE(p.warnR29);
}

TEST(FilterFunctions, ArchitectureFromLibraryPath) {
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("/opt/valdrin/lib/v62/libc.a") +
                FileParser::getArchitectureFromLibPath("C:\\tools\\v60\\libc.a") +
                FileParser::getArchitectureFromLibPath("/opt/valdrin/lib/libc.a"),
            "v62v60");
}
