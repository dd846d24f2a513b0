// The stand-in toolchain must answer like the recorded real one; the analyser
// runs with it on PATH and stops without it.
#include <gtest/gtest.h>

#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::DataPath;
using testutil::ReadFile;
using testutil::RunCommand;
using testutil::TempDir;

namespace {

std::string Tool(const std::string& name) { return testutil::ToolchainDir() + "/" + name; }

// A recorded listing as printed for `file`: only its second line names the input.
std::string ListingFor(const std::string& recorded, const std::string& file) {
  std::string text = ReadFile(recorded);
  return "\n" + file + ":\tfile format elf32-valdrin" + text.substr(text.find('\n', 1));
}

TEST(StandinToolchain, LinkAndObjdumpReplayRecordedOutput) {
  TempDir tmp;
  const std::string link = Tool("valdrin-link") + " -r --whole-archive ";
  const std::string v5 = DataPath("toolchain/lib/v5/");
  const std::string libs = v5 + "libstdc++.a " + v5 + "libc.a " + v5 + "libm.a " + v5 + "libgcc.a";
  const std::string out = " --no-whole-archive -o " + tmp.path() + "/";
  EXPECT_EQ(RunCommand(link + libs + out + "a.o").status, 0);
  EXPECT_EQ(ReadFile(tmp / "a.o"), ReadFile(DataPath("toolchain/WholeArchive.o")));
  EXPECT_NE(RunCommand(link + v5 + "libc.a" + out + "c.o 2>/dev/null").status, 0);  // no recorded link
  EXPECT_NE(RunCommand("VALDRIN_STANDIN_LINK_FAIL=1 " + link + libs + out + "c.o 2>/dev/null").status, 0);
  EXPECT_FALSE(testutil::FileExists(tmp / "c.o"));

  const std::string objdump = Tool("valdrin-llvm-objdump") + " -d ";
  std::filesystem::rename(tmp / "a.o", tmp / "My Lib.o");
  EXPECT_EQ(RunCommand(objdump + "'" + tmp / "My Lib.o'").out,
            ListingFor(DataPath("toolchain/WholeArchive.o.dis"), tmp / "My Lib.o"));
  testutil::Copy(DataPath("samples/sensor_node/sensor_node.elf"), tmp / "prog.elf");
  EXPECT_EQ(RunCommand(objdump + "prog.elf", tmp.path()).out,
            ListingFor(DataPath("samples/sensor_node/sensor_node.elf.dis"), "prog.elf"));
  EXPECT_EQ(RunCommand(objdump + tmp / "b.o.dis 2>/dev/null; echo $?").out, "1\n");  // no recorded listing
}

TEST(StandinToolchain, ExampleToolchainRunsTheReadmeExample) {
  TempDir tmp;
  const std::string root = SOURCE_ROOT;
  FileParser p;  // the image disassembly of an --elffile run
  p.outputDir = tmp.path() + "/";
  p.objdumpPath = root + "/example/toolchain/valdrin-llvm-objdump";
  const std::string image = root + "/example/ctrl_loop/ctrl_loop.elf";
  std::string dis;
  testutil::Captured([&] { p.CreateDisassemblyFile(image, dis); });
  EXPECT_EQ(ReadFile(dis), ListingFor(DataPath("samples/ctrl_loop/ctrl_loop.elf.dis"), image));
  auto run = RunCommand("PATH=\"$PWD/example/toolchain:/usr/bin:/bin\" " + testutil::AnalyserBinary() +
                            " --folder example/ctrl_loop/asm --outdir " + tmp.path(),
                        root);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_NE(run.out.find("Backend Processing Complete"), std::string::npos) << run.out;
}

TEST(StandinToolchain, AnalyserNeedsTheToolchain) {
  TempDir tmp;
  testutil::WriteFile(tmp / "tree/leaf.s", "\t.text\n\t.globl\tleaf\n\t.type\tleaf,@function\nleaf:\n\t{\n\t\tjumpr r31\n\t}\n");
  const std::vector<std::string> args = {"--folder", tmp / "tree", "--outdir", tmp.path()};
  auto with = testutil::RunAnalyser(args, tmp.path());
  EXPECT_EQ(with.status, 0) << with.out;
  EXPECT_EQ(with.out.find("Could not find"), std::string::npos);
  EXPECT_NE(with.out.find("Backend Processing Complete"), std::string::npos);
  auto without = testutil::RunAnalyser(args, tmp.path(), false);
  EXPECT_EQ(without.status, 255);
  EXPECT_EQ(without.out,
            "Could not find valdrin-gcc or valdrin-clang. Could not find valdrin-ld or valdrin-link. "
            "Could not find valdrin-objdump or valdrin-llvm-objdump.\nProgram aborted on error\n");
}

}  // namespace
