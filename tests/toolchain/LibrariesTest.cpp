// The library stage and the filter functions, in-process, with the stand-in
// toolchain and with small tools written by the tests.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "../elf/ElfTestImage.h"
#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::DataPath;
using testutil::ReadFile;
using testutil::TempDir;
using testutil::WriteFile;

namespace {

// Sets an environment variable for the lifetime of the object.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* old = std::getenv(name)) saved_ = old, had_ = true;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnv() {
    if (had_) setenv(name_, saved_.c_str(), 1);
    else unsetenv(name_);
  }

 private:
  const char* name_;
  std::string saved_;
  bool had_ = false;
};

// A parser using the stand-in toolchain, writing into dir.
void UseStandin(FileParser& p, const std::string& dir) {
  p.compilerPath = testutil::ToolchainDir() + "/valdrin-clang";
  p.linkerPath = testutil::ToolchainDir() + "/valdrin-link";
  p.objdumpPath = testutil::ToolchainDir() + "/valdrin-llvm-objdump";
  p.objdumpKind = 2;
  p.outputDir = dir + "/";
}

}  // namespace

TEST(Libraries, FindLibraryQueryAndAnswers) {
  TempDir tmp;
  WriteFile(tmp / "lib/libc.a", "!<arch>\n");
  // Logs its arguments; finds libc.a, answers the bare name for libm.a and
  // nothing at all for anything else.
  const std::string clang = tmp / "clang";
  WriteFile(clang, "#!/bin/sh\necho \"$*\" >> " + tmp / "log" +
                       "\ncase \"$*\" in *=libc.a) echo " + tmp / "lib/libc.a" + ";; *=libm.a) echo libm.a;; esac\n");
  chmod(clang.c_str(), 0755);
  WriteFile(tmp / "libm.a", "!<arch>\n");  // in the working directory: not the toolchain's

  FileParser p;
  p.compilerPath = clang;
  __LibAttr lib;
  lib.name = "libc.a";
  for (const char* switches : {"", " -mG0lib", " -fpic", " -mv66 -mG0lib"}) {
    p.compilerSwitches = switches;
    EXPECT_EQ(p.FindLibrary(lib), 0) << switches;
  }
  EXPECT_EQ(lib.path, tmp / "lib/libc.a");
  // The default target only without any option; --G0 alone suppresses it.
  EXPECT_EQ(ReadFile(tmp / "log"),
            "-mv5 -print-file-name=libc.a\n-mG0lib -print-file-name=libc.a\n"
            "-fpic -print-file-name=libc.a\n-mv66 -mG0lib -print-file-name=libc.a\n");

  const std::string savedCwd = std::filesystem::current_path();
  std::filesystem::current_path(tmp.path());
  p.compilerSwitches.clear();
  __LibAttr libm;
  libm.name = "libm.a";
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.FindLibrary(libm), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  std::filesystem::current_path(savedCwd);
  EXPECT_EQ(libm.path, "");

  __LibAttr other;
  other.name = "libgcc.a";
  p.guiMode = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.FindLibrary(other), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "10: Error executing: " + clang + " -mv5  -print-file-name=libgcc.a\n");

  FileParser none;
  none.guiMode = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(none.FindLibrary(other), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "10: Error: either valdrin-gcc or valdrin-clang is needed to find libraries.\n");
}

TEST(Libraries, DinkumwareLibsLinkAndNothingFound) {
  TempDir tmp;
  FileParser p;
  UseStandin(p, tmp.path());
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.PreProcessLibraries(), 0);
  std::string out = testing::internal::GetCapturedStdout();
  ASSERT_EQ(p.staticLibs.size(), 4u);
  const std::string libDir = DataPath("toolchain/lib/v5/");
  EXPECT_EQ(p.staticLibs[3].name, "libstdc++.a");
  EXPECT_EQ(std::filesystem::canonical(p.staticLibs[3].path), std::filesystem::canonical(libDir + "libstdc++.a"));
  EXPECT_EQ(p.staticLibs[0].disPath, tmp / "libc.a.dis");
  EXPECT_EQ(p.libraryObjectFile, tmp / "WholeArchive.o");
  EXPECT_EQ(p.libraryListingFile, tmp / "WholeArchive.o.dis");
  EXPECT_TRUE(testutil::FileExists(p.libraryListingFile));
  EXPECT_NE(out.find("Creating object file " + tmp / "WholeArchive.o from " + p.staticLibs[0].path + " " +
                     p.staticLibs[1].path + " "),
            std::string::npos)
      << out;
  EXPECT_NE(p.FindFuncItem("printf"), nullptr);

  // A target the toolchain has no libraries for: each is skipped, nothing
  // is linked, and the stage still succeeds.
  FileParser q;
  UseStandin(q, tmp / "none");
  q.compilerSwitches = " -mv73";
  q.guiMode = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(q.PreProcessLibraries(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "22: Library libc.a not found for the target; skipped.\n"
            "22: Library libm.a not found for the target; skipped.\n"
            "22: Library libgcc.a not found for the target; skipped.\n"
            "22: Library libstdc++.a not found for the target; skipped.\n"
            "22: No toolchain library found: library functions are not analysed.\n");
  EXPECT_TRUE(q.staticLibs.empty());
  EXPECT_EQ(q.libraryObjectFile, "");
  EXPECT_TRUE(q.functionMap.empty());
  EXPECT_EQ(q.ParseStaticLibs(), 0);
}

TEST(Libraries, FailedLinkIsFatalEvenWithAStaleObject) {
  TempDir tmp;
  WriteFile(tmp / "WholeArchive.o", ReadFile(DataPath("toolchain/WholeArchive.o")));
  ScopedEnv fail("VALDRIN_STANDIN_LINK_FAIL", "1");
  FileParser p;
  UseStandin(p, tmp.path());
  p.guiMode = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.PreProcessLibraries(), -1);
  std::string out = testing::internal::GetCapturedStdout();
  std::string libs;
  for (const __LibAttr& lib : p.staticLibs) libs += lib.path + " ";
  EXPECT_NE(out.find("10: Error executing: " + p.linkerPath + " -r --whole-archive " + libs +
                     "--no-whole-archive -o " + tmp / "WholeArchive.o\n"),
            std::string::npos)
      << out;
  EXPECT_FALSE(testutil::FileExists(tmp / "WholeArchive.o"));
  EXPECT_TRUE(p.functionMap.empty());
}

TEST(Libraries, LibraryObjectEntersTheDatabase) {
  FileParser p;
  testing::internal::CaptureStdout();
  ASSERT_EQ(p.AddLibObjectToMaps(DataPath("toolchain/WholeArchive.o")), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Number of library functions: 67\n");
  EXPECT_EQ(p.functionMap.size(), 67u);

  const __func_attr* printf = p.FindFuncItem("printf");
  ASSERT_NE(printf, nullptr);
  EXPECT_EQ(printf->Path, "stdio.c");  // the member that holds .text.printf
  EXPECT_EQ(printf->CodeSize, 76);
  EXPECT_EQ(printf->Scope, Global);
  EXPECT_TRUE(printf->IsReplaceable);
  EXPECT_FALSE(printf->IsAidEntry);
  // Static functions under the key the listing parser forms from their address.
  const __func_attr* sortRange = p.FindFuncItem("sort_range-of-00000000");
  ASSERT_NE(sortRange, nullptr);
  EXPECT_EQ(sortRange->Path + " " + std::to_string(sortRange->CodeSize) + " " + std::to_string(sortRange->Scope),
            "qsort.c 412 0");
  ASSERT_NE(p.FindFuncItem("reduce-of-000003c0"), nullptr);
  EXPECT_EQ(p.FindFuncItem("reduce-of-000003c0")->Path, "math.c");
  EXPECT_EQ(p.FindFuncItem("sort_range"), nullptr);
  // A global in the .text that libm and libgcc share names no member.
  EXPECT_EQ(p.FindFuncItem("fabsf")->Path, "From toolchain libraries");

  const __mem_attr* arena = p.FindMemItem("arena-of-00000030");
  ASSERT_NE(arena, nullptr);
  EXPECT_EQ(arena->Size, 32768);
  EXPECT_EQ(arena->Path, "malloc.c");
  const __mem_attr* err = p.FindMemItem("errno");
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->Scope, Global);
  EXPECT_TRUE(err->IsReplaceable);
  EXPECT_EQ(err->IsAid, 0);

  EXPECT_EQ(p.libraryFunctionKeys.size(), 61u);  // the globals: 67 less six statics
  FileParser bad;
  testing::internal::CaptureStdout();
  EXPECT_EQ(bad.AddLibObjectToMaps(DataPath("toolchain/commands.txt")), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Error: Could not read ELF file: " + DataPath("toolchain/commands.txt") + "\n");
}

TEST(Libraries, AliasesThunksStubsAndDummies) {
  using namespace elftest;
  Image image;
  image.sections = {{".text.foo", kProgBits, 0, std::string(16, '\0')}, {".text", kProgBits, 0, std::string(128, '\0')},
                    {".bss", kNoBits, 0, std::string(64, '\0')}};
  image.symbols = {
      {"a.c", 0, 0, kFile, kLocal, 0xfff1},
      {"", 0, 0, 3, kLocal, 1},  // section symbol of .text.foo
      {"helper", 0x10, 8, kFunc, kLocal, 2},
      {".LTHUNK0", 0x10, 8, kFunc, kLocal, 2},
      {"init_stub", 0x20, 4, kFunc, kLocal, 2},
      {"b.c", 0, 0, kFile, kLocal, 0xfff1},
      {"counter", 0, 4, kObject, kLocal, 3},
      {"foo", 0, 16, kFunc, kGlobal, 1},
      {"foo_alias", 0, 16, kFunc, kWeak, 1},
      {"bar", 0x10, 8, kFunc, kGlobal, 2},
      {"baz", 0x40, 8, kFunc, kGlobal, 2},
      {"other", 0x10, 8, kFunc, kGlobal, 1},  // same address, another section
      {"dummy_buffer", 8, 4, kObject, kGlobal, 3},
      {"undefined", 0, 0, kFunc, kGlobal, 0},
  };
  TempDir tmp;
  WriteFile(tmp / "lib.o", image.Build());

  FileParser p;
  testing::internal::CaptureStdout();
  ASSERT_EQ(p.AddLibObjectToMaps(tmp / "lib.o"), 0);
  testing::internal::GetCapturedStdout();
  // One record per address and section, held by a global before a local.
  std::string keys;
  for (const auto& entry : p.functionMap) keys += entry.first + " ";
  EXPECT_EQ(keys, "bar baz foo other ");
  ASSERT_NE(p.FindAliasItem("helper"), nullptr);
  EXPECT_EQ(p.FindAliasItem("helper")->target, "bar");
  ASSERT_NE(p.FindAliasItem(".LTHUNK0"), nullptr);
  EXPECT_EQ(p.FindAliasItem(".LTHUNK0")->target, "bar");
  ASSERT_NE(p.FindAliasItem("foo_alias"), nullptr);
  EXPECT_EQ(p.FindAliasItem("foo_alias")->target, "foo");
  EXPECT_EQ(p.FindAliasItem("init_stub"), nullptr);
  EXPECT_EQ(p.FindFuncItem("foo")->Path, "a.c");
  EXPECT_EQ(p.FindFuncItem("baz")->Path, "From toolchain libraries");
  EXPECT_EQ(p.FindMemItem("counter-of-00000000")->Path, "b.c");
  EXPECT_EQ(p.FindMemItem("dummy_buffer"), nullptr);
  EXPECT_EQ(p.memoryMap.size(), 1u);
}

TEST(Libraries, SourceDefinitionKeepsItsOwnFigures) {
  TempDir tmp;
  FileParser p;
  UseStandin(p, tmp.path());
  testing::internal::CaptureStdout();
  ASSERT_EQ(p.PreProcessLibraries(), 0);
  // What pass 1 does for a function the sources define themselves.
  ASSERT_EQ(p.RemoveFuncItem("vsnprintf"), 1);
  __func_attr* own = p.CreateFuncAttr("vsnprintf", "vsnprintf");
  own->IsFound = true;
  own->Stack = 8;
  own->Path = "mine.s";
  EXPECT_EQ(p.ParseStaticLibs(), 0);
  testing::internal::GetCapturedStdout();

  EXPECT_EQ(p.FindFuncItem("vsnprintf"), own);
  EXPECT_EQ(own->Stack, 8);
  EXPECT_TRUE(own->callList.empty());  // the library body's calls are not its own
  EXPECT_TRUE(own->HasParent);          // the library's printf calls it
  EXPECT_TRUE(p.FindFuncItem("printf")->callList.Contains("vsnprintf"));
  EXPECT_TRUE(p.warnR29);
  EXPECT_EQ(p.listingElf, nullptr);
}

TEST(FilterFunctions, LinkedToolchainFiles) {
  FileParser p;
  EXPECT_EQ(p.AddFilterFunctions(DataPath("toolchain/FilteredLibs.o")), 0);
  EXPECT_EQ(p.filterFunctionMap.size(), 70u);
  for (const char* name : {"_start", "_init", "_fini", "printf", "sort_range", "__valdrin_divsi3", "_Znwj"}) {
    EXPECT_NE(p.FindFilterFuncItem(name), nullptr) << name;
  }
  EXPECT_EQ(p.FindFilterFuncItem("main"), nullptr);  // only referenced by _start
  EXPECT_TRUE(p.functionMap.empty());
  EXPECT_EQ(p.AddFilterFunctions(DataPath("toolchain/missing.o")), -1);

  TempDir tmp;
  FileParser q;
  UseStandin(q, tmp.path());
  testing::internal::CaptureStdout();
  EXPECT_EQ(q.AddAllFilterFunctions(tmp / ""), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(q.architecture, "v5");
  EXPECT_EQ(q.filteredLibsFile, tmp / "FilteredLibs.o");
  EXPECT_EQ(q.filterFunctionMap.size(), 70u);
  EXPECT_TRUE(q.functionMap.empty());

  // Nothing found, no compiler, or a failed link: an empty filter map.
  FileParser r;
  UseStandin(r, tmp.path());
  r.compilerSwitches = " -mv73";
  EXPECT_EQ(r.AddAllFilterFunctions(tmp / ""), 0);
  EXPECT_EQ(r.architecture, "");
  EXPECT_EQ(r.filteredLibsFile, "");
  FileParser s;
  testing::internal::CaptureStdout();
  EXPECT_EQ(s.AddAllFilterFunctions(tmp / ""), 0);
  EXPECT_EQ(testutil::Lines(testing::internal::GetCapturedStdout()).size(), 7u);
  EXPECT_TRUE(s.filterFunctionMap.empty());
  ScopedEnv fail("VALDRIN_STANDIN_LINK_FAIL", "1");
  FileParser t;
  UseStandin(t, tmp.path());
  t.compilerSwitches = " -mv66";
  testing::internal::CaptureStdout();
  EXPECT_EQ(t.AddAllFilterFunctions(tmp / ""), 0);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("Error executing: "), std::string::npos);
  EXPECT_EQ(t.architecture, "v66");
  EXPECT_TRUE(t.filterFunctionMap.empty());
}

TEST(FilterFunctions, ArchitectureFromLibraryFolder) {
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("/opt/valdrin/lib/v62/libc.a"), "v62");
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("C:\\tools\\v60\\libc.a"), "v60");
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("/opt/valdrin/lib/libc.a"), "");
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("v5/libc.a"), "v5");
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("libc.a"), "");
  EXPECT_EQ(FileParser::getArchitectureFromLibPath("/libc.a"), "");
  EXPECT_EQ(FileParser::getArchitectureFromLibPath(""), "");
}
