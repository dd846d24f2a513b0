// Inputs far beyond anything a compiler writes end with a defined result in
// time and memory that follow their real size. Sizes are scaled down from
// the field cases (100 MB lines, 1 GB of NUL bytes) where the behaviour is
// the same. One case per kind of input.
#include <gtest/gtest.h>

#include "source/PassTestUtil.h"

using namespace testutil;

namespace {

const std::string kFunctionF = "\t.text\n\t.file\t\"a.c\"\n\t.globl\tf\n\t.type\tf,@function\nf:\n\tallocframe(#8)\n";
const std::string kFunctionG = "\t.globl\tg\n\t.type\tg,@function\ng:\n\tallocframe(#8)\n";

TEST(ResourceLimits, EndlessLinesInEveryReader) {
  TempDir tmp;
  const std::string endless(16 << 20, 'x');

  // Assembly: what precedes the line is analysed; reading the file stops at it.
  WriteFile(tmp / "tree/a.s", kFunctionF + endless + "\n" + kFunctionG);
  FileParser source;
  source.sourceFolders = {tmp / "tree"};
  int sourceResult = -2;
  Captured([&] { sourceResult = source.ProcessSourceDirectories(); });
  EXPECT_EQ(sourceResult, 0);
  ASSERT_NE(source.FindFuncItem("f"), nullptr);
  EXPECT_EQ(source.FindFuncItem("f")->Stack, 16);
  EXPECT_EQ(source.FindFuncItem("g"), nullptr);

  // Aid file: the line's head is read (here a comment), then reading stops
  // with result 0.
  WriteFile(tmp / "aid.txt", "code;a;8;1;\n//" + endless + "\ncode;b;8;1;\n");
  FileParser aid;
  int aidResult = -2;
  Captured([&] { aidResult = aid.ProcessAidFile(tmp / "aid.txt"); });
  EXPECT_EQ(aidResult, 0);
  EXPECT_NE(aid.FindFuncItem("a"), nullptr);
  EXPECT_EQ(aid.FindFuncItem("b"), nullptr);

  // Root file: the line's head is one name, the lines after it still count.
  WriteFile(tmp / "roots.txt", "main\n" + endless + "\nisr\n");
  FileParser roots;
  roots.rootFile = tmp / "roots.txt";
  Captured([&] { roots.ProcessUserDefinedRootFile(); });
  EXPECT_EQ(roots.rootMap.size(), 3u);
  EXPECT_EQ(roots.rootMap.count("isr"), 1u);

  // Listing: the line is cut and the parse goes on with the next function.
  FileParser image;
  passtest::LoadImage(image, DataPath("samples/ctrl_loop/ctrl_loop.elf"));
  WriteFile(tmp / "x.dis", "00020080 <factorial>:\n" + endless +
                               "\n000200d0 <calc_eval>:\n   200d0:\t00 c0 00 5a\t5a00c000 { \tcall 0x20080 } \n");
  Captured([&] { image.ParseDisassembledElfFile(tmp / "x.dis"); });
  ASSERT_NE(image.FindFuncItem("calc_eval"), nullptr);
  EXPECT_EQ(Calls(image.FindFuncItem("calc_eval")), std::vector<std::string>{"factorial"});

  // Image: a file of NUL bytes is no ELF file.
  WriteFile(tmp / "zero.elf", std::string(4 << 20, '\0'));
  FileParser elf;
  int elfResult = 0;
  EXPECT_TRUE(Has(Captured([&] { elfResult = elf.ReadElfIntoElfMaps(tmp / "zero.elf", 1); }),
                  "Error: Could not read ELF file: " + tmp / "zero.elf\n"));
  EXPECT_EQ(elfResult, -1);
}

TEST(ResourceLimits, AReportThatCannotBeOpenedLeavesTheOthers) {
  TempDir tmp;
  Copy(DataPath("e2e/source_basic"), tmp / "tree");
  MakeDirs(tmp / "out/VA_FunctionsByName.txt");  // a folder where the file should be
  auto run = RunAnalyserIsolated({"--folder", tmp / "tree", "--outdir", tmp / "out"}, tmp);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Has(run.out, "Error: Unable to open file " + tmp / "out/VA_FunctionsByName.txt for output.\n"));
  EXPECT_TRUE(Has(ReadFile(tmp / "out/VA_FunctionStackSizes.csv"), "\"main\",152,Recursive\n"));
  EXPECT_EQ(ReadFile(tmp / "out/VA_UnknownFunctions.txt"), "ext_func\n");

}

}  // namespace
