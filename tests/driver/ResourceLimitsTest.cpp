// Inputs far beyond anything a compiler writes end with a defined result in
// time and memory that follow their real size. Sizes are scaled down from
// the field cases (100 MB lines, 1 GB of NUL bytes, 10 million listing
// lines, 100,000 files) where the behaviour is the same.
#include <gtest/gtest.h>
#include <unistd.h>

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
}

TEST(ResourceLimits, FilesOfNulBytes) {
  TempDir tmp;
  const std::string nuls(32 << 20, '\0');
  WriteFile(tmp / "tree/zero.s", nuls);
  WriteFile(tmp / "zero.bin", nuls);
  FileParser p;
  p.sourceFolders = {tmp / "tree"};
  std::vector<int> results;
  std::string out = Captured([&] {
    results = {p.ProcessSourceDirectories(), p.ProcessAidFile(tmp / "zero.bin"),
               p.ReadElfIntoElfMaps(tmp / "zero.bin", 1), p.ParseDisassembledElfFile(tmp / "zero.bin")};
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0, -1, 0}));
  EXPECT_TRUE(p.functionMap.empty() && p.memoryMap.empty());
  EXPECT_TRUE(Has(out, "Error: Could not read ELF file: " + tmp / "zero.bin\n"));
}

TEST(ResourceLimits, ManyFilesAndALongListing) {
  TempDir tmp;
  constexpr int kFiles = 3000;
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = "fn" + std::to_string(i);
    WriteFile(tmp / ("tree/d" + std::to_string(i % 30) + "/f" + std::to_string(i) + ".s"),
              "\t.file\t\"f.c\"\n\t.globl\t" + name + "\n\t.type\t" + name + ",@function\n" + name +
                  ":\n\tallocframe(#8)\n\tjumpr r31\n\t.size\t" + name + ", 8\n");
  }
  FileParser p;
  p.sourceFolders = {tmp / "tree"};
  Captured([&] { p.ProcessSourceDirectories(); });
  EXPECT_EQ(p.functionMap.size(), static_cast<size_t>(kFiles));

  // Two hundred thousand listing lines in one function.
  std::string body = "00020080 <factorial>:\n";
  const std::string line = "   20084:\t00 c0 00 78\t7800c000 { \tr1 = add(r1,#1); \tr2 = memw(r29+#4) } \n";
  body.reserve(body.size() + line.size() * 200000);
  for (int i = 0; i < 200000; ++i) body += line;
  WriteFile(tmp / "long.dis", body + "   20088:\t00 c0 00 5a\t5a00c000 { \tcall 0x200d0 } \n");
  FileParser image;
  passtest::LoadImage(image, DataPath("samples/ctrl_loop/ctrl_loop.elf"));
  Captured([&] { image.ParseDisassembledElfFile(tmp / "long.dis"); });
  EXPECT_EQ(image.lineCount, 200002);
  EXPECT_EQ(image.FindFuncItem("factorial")->callList.size(), 1u);
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
  EXPECT_FALSE(ReadFile(tmp / "out/VA_WorstCaseCallPaths.txt").empty());

  if (geteuid() != 0) {  // root writes into any folder
    MakeDirs(tmp / "locked");
    chmod((tmp / "locked").c_str(), 0500);
    auto locked = RunAnalyserIsolated({"--folder", tmp / "tree", "--outdir", tmp / "locked"}, tmp);
    EXPECT_EQ(locked.status, 0);
    EXPECT_TRUE(Has(locked.out, "Error: Unable to open file " + tmp / "locked/VA_UnknownFunctions.txt for output.\n"));
  }
}

}  // namespace
