// Finding the toolchain and running the disassembler, with dummy tools.
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

// The analyser runs with a toolchain on PATH and stops without it.
TEST(StandinToolchain, AnalyserNeedsTheToolchain) {
  TempDir tmp;
  WriteFile(tmp / "tree/leaf.s", "\t.text\n\t.globl\tleaf\n\t.type\tleaf,@function\nleaf:\n\t{\n\t\tjumpr r31\n\t}\n");
  const std::vector<std::string> args = {"--folder", tmp / "tree", "--outdir", tmp.path()};
  EXPECT_EQ(RunAnalyser(args, tmp.path()).status, 0);
  auto without = RunAnalyser(args, tmp.path(), false);
  EXPECT_EQ(without.status, 255);
  EXPECT_EQ(without.out,
            "Could not find valdrin-gcc or valdrin-clang. Could not find valdrin-ld or valdrin-link. "
            "Could not find valdrin-objdump or valdrin-llvm-objdump.\nProgram aborted on error\n");
}

}  // namespace
