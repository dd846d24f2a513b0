// The example toolchain replays the recorded listing and runs the README
// example; the analyser runs with a toolchain on PATH and stops without it.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::DataPath;
using testutil::ReadFile;
using testutil::TempDir;

namespace {

// A recorded listing as printed for `file`: only its second line names the input.
std::string ListingFor(const std::string& recorded, const std::string& file) {
  std::string text = ReadFile(recorded);
  return "\n" + file + ":\tfile format elf32-valdrin" + text.substr(text.find('\n', 1));
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
  auto run = testutil::RunCommand("PATH=\"$PWD/example/toolchain:/usr/bin:/bin\" " + testutil::AnalyserBinary() +
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
