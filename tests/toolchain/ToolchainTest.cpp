// Finding the toolchain, capturing a command's answer and running the
// disassembler into a file, with dummy tools written by the tests.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using namespace testutil;

namespace {

// Runs detectTools with the given PATH in the given folder; PATH is restored.
int Detect(FileParser& p, const std::string& path, const std::string& cwd) {
  const std::string saved = getenv("PATH");
  setenv("PATH", path.c_str(), 1);
  int rc = 0;
  InDir(cwd, [&] { rc = p.detectTools(); });
  setenv("PATH", saved.c_str(), 1);
  return rc;
}

TEST(Toolchain, DetectToolsOrderAndMissingLine) {
  TempDir tmp;
  for (const char* tool : {"cwd/valdrin-gcc", "cwd/valdrin-link", "p1/valdrin-clang", "p1/valdrin-objdump",
                           "p2/valdrin-clang", "p2/valdrin-ld", "p2/valdrin-link", "p2/valdrin-llvm-objdump"}) {
    MakeTool(tmp / tool, "exit 0");
  }
  MakeDirs(tmp / "empty");
  const std::string cwd = std::filesystem::canonical(tmp / "cwd").string();
  FileParser p;
  p.guiMode = true;
  // clang on PATH beats gcc in the working directory, the working directory
  // beats PATH, the first PATH entry the later ones, llvm-objdump objdump.
  EXPECT_EQ(Detect(p, tmp / "p1" + ":" + tmp / "p2", cwd), 0);
  EXPECT_EQ(p.compilerPath + " " + p.linkerPath + " " + p.objdumpPath,
            tmp / "p1/valdrin-clang " + cwd + "/valdrin-link " + tmp / "p2/valdrin-llvm-objdump");
  EXPECT_EQ(p.objdumpKind, 2);
  EXPECT_EQ(Detect(p, tmp / "p2", tmp / "empty"), 0);
  EXPECT_EQ(p.linkerPath, tmp / "p2/valdrin-link");

  int rc = 0;
  EXPECT_EQ(Captured([&] { rc = Detect(p, tmp / "p1", tmp / "empty"); }),
            "40: Could not find valdrin-ld or valdrin-link. \n");
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(p.linkerPath + "|" + p.objdumpPath, "|" + tmp / "p1/valdrin-objdump");  // earlier finds cleared
  EXPECT_EQ(p.objdumpKind, 1);
}

TEST(Toolchain, RunToolDropsTheLastByte) {
  FileParser p;
  for (const auto& [command, answer] : std::vector<std::pair<std::string, std::string>>{
           {"printf x", ""}, {"printf 'a\\n'", "a"}, {"printf 'ab'", "a"}, {"printf 'one\\ntwo\\n'; exit 3", "one\ntwo"},
           {"printf 'ab\\0cd\\n'", "ab"}, {"no-such-command-valdrin 2>/dev/null", ""},
           // At most 2047 attempts, all bytes here: the last two are cut.
           {"head -c 3000 /dev/zero | tr '\\0' a", std::string(2045, 'a')}}) {
    EXPECT_EQ(p.RunTool(command), answer) << command;
  }
}

TEST(Toolchain, RunObjDumpCountsOnlySignalsAsFailure) {
  TempDir tmp;
  MakeTool(tmp / "ok", "echo \"listing $1 $2\"; exit 1");
  MakeTool(tmp / "killed", "echo partial; kill -9 $$");
  WriteFile(tmp / "out.dis", "an older and much longer listing\n");
  const pid_t self = getpid();
  FileParser p;
  EXPECT_EQ(p.RunObjDump(tmp / "ok", "in put.elf", tmp / "out.dis"), "");
  EXPECT_EQ(ReadFile(tmp / "out.dis"), "listing -d in put.elf\n");
  EXPECT_EQ(p.RunObjDump(tmp / "killed", "x", tmp / "new.dis"),
            "\nError: disassembler(" + tmp / "killed" + ") exited with status 9.\n");
  EXPECT_EQ(ReadFile(tmp / "new.dis"), "partial\n");
  struct stat info;
  EXPECT_TRUE(stat((tmp / "new.dis").c_str(), &info) == 0 && (info.st_mode & 0777) == 0600);

  testing::internal::CaptureStderr();
  std::string unwritable = p.RunObjDump(tmp / "ok", "x", tmp / "missing/out.dis");
  std::string noTool = p.RunObjDump(tmp / "no-such-objdump", "x", tmp / "empty.dis");
  if (getpid() != self) {  // a child back in here would run the rest of the test
    WriteFile(tmp / "child-returned", "");
    _exit(0);
  }
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(unwritable + noTool, "");  // their exit codes are no signals
  EXPECT_FALSE(FileExists(tmp / "child-returned"));
  EXPECT_TRUE(Has(err, "\nCould not open " + tmp / "missing/out.dis" + " for write.\n") && Has(err, "no-such-objdump")) << err;
  EXPECT_EQ(ReadFile(tmp / "empty.dis"), "");
}

// A disassembler killed by a signal fails an image run; the library stage
// sees the failure only in the listing it then reads.
TEST(Toolchain, CreateDisassemblyFileFailure) {
  TempDir tmp;
  FileParser p;
  p.outputDir = tmp / "";
  p.objdumpPath = tmp / "objdump";
  MakeTool(p.objdumpPath, "kill -9 $$");
  const std::string error = "Error executing disassembler(" + p.objdumpPath + ")\n\nError: disassembler(" +
                            p.objdumpPath + ") exited with status 9.\n\n";
  std::string dis = "unset";
  __LibAttr lib{"", "", tmp / "W.o.dis", tmp / "W.o"};
  std::vector<int> results;
  const std::string out = Captured([&] {
    results = {p.CreateDisassemblyFile("prog.elf", dis), p.CreateDisassemblyFile(lib)};
  });
  EXPECT_EQ(results, (std::vector<int>{-1, 0}));
  EXPECT_EQ(dis, "unset");
  EXPECT_TRUE(out.ends_with(error + "Creating disassembly file " + lib.disPath + " from " + lib.objPath + "\n" + error))
      << out;
}

// The example toolchain replays the recorded listing and runs the README
// example; the analyser runs with a toolchain on PATH and stops without it.
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
  Captured([&] { p.CreateDisassemblyFile(image, dis); });
  EXPECT_EQ(ReadFile(dis), ListingFor(DataPath("samples/ctrl_loop/ctrl_loop.elf.dis"), image));
  auto run = RunCommand("PATH=\"$PWD/example/toolchain:/usr/bin:/bin\" " + AnalyserBinary() +
                            " --folder example/ctrl_loop/asm --outdir " + tmp.path(), root);
  EXPECT_TRUE(run.status == 0 && Has(run.out, "Backend Processing Complete")) << run.out;
}

TEST(StandinToolchain, AnalyserNeedsTheToolchain) {
  TempDir tmp;
  WriteFile(tmp / "tree/leaf.s", "\t.text\n\t.globl\tleaf\n\t.type\tleaf,@function\nleaf:\n\t{\n\t\tjumpr r31\n\t}\n");
  const std::vector<std::string> args = {"--folder", tmp / "tree", "--outdir", tmp.path()};
  auto with = RunAnalyser(args, tmp.path());
  EXPECT_TRUE(with.status == 0 && !Has(with.out, "Could not find") && Has(with.out, "Backend Processing Complete")) << with.out;
  auto without = RunAnalyser(args, tmp.path(), false);
  EXPECT_EQ(without.status, 255);
  EXPECT_EQ(without.out,
            "Could not find valdrin-gcc or valdrin-clang. Could not find valdrin-ld or valdrin-link. "
            "Could not find valdrin-objdump or valdrin-llvm-objdump.\nProgram aborted on error\n");
}

}  // namespace
