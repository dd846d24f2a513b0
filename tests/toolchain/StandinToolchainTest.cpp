// The stand-in toolchain replays the recorded answers of the real one: these
// tests hold it to the recorded data, and run the analyser with and without
// it on PATH.
#include <gtest/gtest.h>

#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::DataPath;
using testutil::FileExists;
using testutil::ReadFile;
using testutil::RunCommand;
using testutil::TempDir;
using testutil::WriteFile;

namespace {

const char* const kLibraryFiles[] = {"crt0.o", "init.o", "fini.o", "libc.a", "libm.a", "libgcc.a", "libstdc++.a"};

std::string Tool(const std::string& name) { return testutil::ToolchainDir() + "/" + name; }
std::string ExampleTool(const std::string& name) { return std::string(SOURCE_ROOT) + "/example/toolchain/" + name; }
std::string Canonical(const std::string& path) { return std::filesystem::canonical(path).string(); }

// A recorded listing as the disassembler prints it for `file`: only the file
// line (the second) names the input.
std::string ListingFor(const std::string& recorded, const std::string& file) {
  std::string text = ReadFile(recorded);
  size_t rest = text.find('\n', text.find('\n') + 1);
  return "\n" + file + ":\tfile format elf32-valdrin" + text.substr(rest);
}

TEST(StandinToolchain, ClangAnswersLibraryQueriesPerTargetVersion) {
  const std::string clang = Tool("valdrin-clang");
  const std::string lib = Canonical(DataPath("toolchain/lib"));
  for (const char* name : kLibraryFiles) {
    for (const char* version : {"v5", "v66"}) {
      auto answer = RunCommand(clang + " -m" + version + " -print-file-name=" + name);
      EXPECT_EQ(answer.out, lib + "/" + version + "/" + name + "\n");
      EXPECT_EQ(ReadFile(lib + "/" + version + "/" + name), ReadFile(DataPath("toolchain/") + name));
    }
  }
  EXPECT_EQ(RunCommand(clang + " -print-file-name=libm.a").out, lib + "/v5/libm.a\n");
  EXPECT_EQ(RunCommand(clang + " -mG0lib -print-file-name=libm.a").out, lib + "/v5/libm.a\n");
  EXPECT_EQ(RunCommand(clang + " -mv66 -mG0lib -fpic -print-file-name=crt0.o").out, lib + "/v66/crt0.o\n");
  EXPECT_EQ(RunCommand(clang + " -mv73 -print-file-name=libc.a").out, "libc.a\n");
  EXPECT_EQ(RunCommand(clang + " -mv5 -print-file-name=libfoo.a").out, "libfoo.a\n");
  EXPECT_NE(RunCommand(clang + " -c main.c 2>/dev/null").status, 0);

  TempDir tmp;
  WriteFile(tmp / "v60/libc.a", "archive");
  testutil::MakeDirs(tmp / "none");
  const std::string in = "VALDRIN_STANDIN_LIBDIR=" + tmp.path();
  EXPECT_EQ(RunCommand(in + " " + clang + " -mv60 -print-file-name=libc.a").out, tmp / "v60/libc.a\n");
  EXPECT_EQ(RunCommand(in + "/none " + clang + " -print-file-name=libc.a").out, "libc.a\n");

  // What the library stage reads back through RunTool: the path alone.
  FileParser p;
  EXPECT_EQ(p.RunTool(clang + " -mv66 -mG0lib -print-file-name=libstdc++.a"), lib + "/v66/libstdc++.a");
}

TEST(StandinToolchain, LinkWritesTheRecordedObjectForARecordedSet) {
  TempDir tmp;
  const std::string link = Tool("valdrin-link") + " -r --whole-archive ";
  const std::string v5 = DataPath("toolchain/lib/v5/");
  const std::string libs = v5 + "libstdc++.a " + v5 + "libc.a " + v5 + "libm.a " + v5 + "libgcc.a";
  const std::string out = " --no-whole-archive -o ";

  EXPECT_EQ(RunCommand(link + libs + out + tmp / "a.o").status, 0);
  EXPECT_EQ(ReadFile(tmp / "a.o"), ReadFile(DataPath("toolchain/WholeArchive.o")));
  auto run = RunCommand(link + v5 + "fini.o " + v5 + "crt0.o " + v5 + "init.o " + libs + out + tmp / "b.o");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(ReadFile(tmp / "b.o"), ReadFile(DataPath("toolchain/FilteredLibs.o")));

  auto other = RunCommand(link + v5 + "libc.a" + out + tmp / "c.o 2>&1");
  EXPECT_NE(other.status, 0);
  EXPECT_NE(other.out.find("libc.a"), std::string::npos);
  EXPECT_NE(RunCommand(link + libs + " " + tmp / "gone.o" + out + tmp / "d.o 2>/dev/null").status, 0);
  EXPECT_NE(RunCommand("VALDRIN_STANDIN_LINK_FAIL=1 " + link + libs + out + tmp / "e.o 2>/dev/null").status, 0);
  for (const char* name : {"c.o", "d.o", "e.o"}) EXPECT_FALSE(FileExists(tmp / name)) << name;
}

TEST(StandinToolchain, ObjdumpPrintsTheRecordedListingNamingItsInput) {
  TempDir tmp;
  const std::string objdump = Tool("valdrin-llvm-objdump");
  testutil::Copy(DataPath("toolchain/WholeArchive.o"), tmp / "My Lib.o");
  testutil::Copy(DataPath("samples/sensor_node/sensor_node.elf"), tmp / "prog.elf");

  auto run = RunCommand(objdump + " -d '" + tmp / "My Lib.o" + "'");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, ListingFor(DataPath("toolchain/WholeArchive.o.dis"), tmp / "My Lib.o"));
  run = RunCommand(objdump + " -d prog.elf", tmp.path());
  EXPECT_EQ(run.out, ListingFor(DataPath("samples/sensor_node/sensor_node.elf.dis"), "prog.elf"));

  WriteFile(tmp / "unknown.o", "not recorded");
  run = RunCommand(objdump + " -d " + tmp / "unknown.o 2>/dev/null");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(RunCommand(objdump + " -d " + tmp / "absent.o 2>/dev/null").status, 1);
}

TEST(StandinToolchain, ExampleToolchainServesTheExampleProgram) {
  TempDir tmp;
  const std::string root = SOURCE_ROOT;
  const std::string lib = Canonical(root + "/example/toolchain/lib/v5");
  EXPECT_EQ(RunCommand(ExampleTool("valdrin-clang") + " -print-file-name=libc.a").out, lib + "/libc.a\n");
  EXPECT_EQ(RunCommand(ExampleTool("valdrin-clang") + " -mv66 -print-file-name=libc.a").out, "libc.a\n");
  std::string files;
  for (const char* name : kLibraryFiles) files += " " + lib + "/" + name;
  EXPECT_EQ(RunCommand(ExampleTool("valdrin-link") + " -r --whole-archive" + files + " --no-whole-archive -o " +
                       tmp / "f.o").status, 0);
  EXPECT_EQ(ReadFile(tmp / "f.o"), ReadFile(DataPath("toolchain/FilteredLibs.o")));

  // The image form of the disassembly, as an --elffile run makes it.
  FileParser p;
  p.outputDir = tmp.path() + "/";
  p.objdumpPath = ExampleTool("valdrin-llvm-objdump");
  std::string dis;
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.CreateDisassemblyFile(root + "/example/ctrl_loop/ctrl_loop.elf", dis), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(ReadFile(dis), ListingFor(DataPath("samples/ctrl_loop/ctrl_loop.elf.dis"),
                                      root + "/example/ctrl_loop/ctrl_loop.elf"));

  // The README's example command.
  auto run = RunCommand("PATH=\"$PWD/example/toolchain:/usr/bin:/bin\" " + testutil::AnalyserBinary() +
                            " --folder example/ctrl_loop/asm --outdir " + tmp / "out",
                        root);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_NE(run.out.find("Backend Processing Complete"), std::string::npos) << run.out;
}

TEST(StandinToolchain, AnalyserNeedsTheToolchain) {
  TempDir tmp;
  WriteFile(tmp / "tree/leaf.s", "\t.text\n\t.globl\tleaf\n\t.type\tleaf,@function\nleaf:\n\t{\n\t\tjumpr r31\n\t}\n");
  testutil::MakeDirs(tmp / "out");
  auto with = testutil::RunAnalyser({"--folder", tmp / "tree", "--outdir", tmp / "out"}, tmp.path());
  EXPECT_EQ(with.status, 0) << with.out;
  EXPECT_EQ(with.out.find("Could not find"), std::string::npos);
  EXPECT_NE(with.out.find("Backend Processing Complete"), std::string::npos);

  auto without = testutil::RunAnalyser({"--folder", tmp / "tree", "--outdir", tmp / "out"}, tmp.path(), false);
  EXPECT_EQ(without.status, 255);
  EXPECT_EQ(without.out,
            "Could not find valdrin-gcc or valdrin-clang. Could not find valdrin-ld or valdrin-link. "
            "Could not find valdrin-objdump or valdrin-llvm-objdump.\nProgram aborted on error\n");
}

}  // namespace
