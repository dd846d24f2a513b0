// Finding the toolchain, capturing a command's answer and running the
// disassembler into a file, with dummy tools written by the tests.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::FileExists;
using testutil::ReadFile;
using testutil::TempDir;
using testutil::WriteFile;

namespace {

// Runs a test body with its own PATH and working directory, restored after.
class ToolEnvironment {
 public:
  ToolEnvironment(const std::string& path, const std::string& cwd) : savedPath_(std::getenv("PATH")) {
    char saved[4096];
    if (getcwd(saved, sizeof saved) != nullptr) savedCwd_ = saved;
    setenv("PATH", path.c_str(), 1);
    if (chdir(cwd.c_str()) != 0) ADD_FAILURE() << "chdir " << cwd;
  }
  ~ToolEnvironment() {
    setenv("PATH", savedPath_.c_str(), 1);
    if (chdir(savedCwd_.c_str()) != 0) ADD_FAILURE() << "chdir back";
  }

 private:
  std::string savedPath_;
  std::string savedCwd_;
};

void MakeTool(const std::string& path, const std::string& body) {
  WriteFile(path, "#!/usr/bin/env bash\n" + body + "\n");
  chmod(path.c_str(), 0755);
}

std::string Canonical(const std::string& path) { return std::filesystem::canonical(path).string(); }

const std::string kAllMissing =
    "Could not find valdrin-gcc or valdrin-clang. Could not find valdrin-ld or valdrin-link. "
    "Could not find valdrin-objdump or valdrin-llvm-objdump.\n";

TEST(Toolchain, DetectToolsPrefersWorkingDirectoryAndLlvmNames) {
  TempDir tmp;
  for (const char* tool : {"cwd/valdrin-gcc", "cwd/valdrin-link", "p1/valdrin-clang", "p1/valdrin-ld",
                           "p1/valdrin-objdump", "p2/valdrin-llvm-objdump", "p2/valdrin-link"}) {
    MakeTool(tmp / tool, "exit 0");
  }
  const std::string cwd = Canonical(tmp / "cwd");
  FileParser p;
  {
    ToolEnvironment env(tmp / "p1" + ":" + tmp / "p2", cwd);
    EXPECT_EQ(p.detectTools(), 0);
  }
  // clang on PATH beats gcc in the working directory; link in the working
  // directory beats every PATH entry; llvm-objdump anywhere beats objdump.
  EXPECT_EQ(p.compilerPath, tmp / "p1/valdrin-clang");
  EXPECT_EQ(p.linkerPath, cwd + "/valdrin-link");
  EXPECT_EQ(p.objdumpPath, tmp / "p2/valdrin-llvm-objdump");
  EXPECT_EQ(p.objdumpKind, 2);

  MakeTool(tmp / "p2/valdrin-clang", "exit 0");
  {
    ToolEnvironment env(tmp / "p2" + ":" + tmp / "p1", cwd);
    EXPECT_EQ(p.detectTools(), 0);
  }
  EXPECT_EQ(p.compilerPath, tmp / "p2/valdrin-clang");  // PATH entries in order
  {
    ToolEnvironment env(tmp / "p1", cwd);
    EXPECT_EQ(p.detectTools(), 0);
  }
  EXPECT_EQ(p.objdumpPath, tmp / "p1/valdrin-objdump");
  EXPECT_EQ(p.objdumpKind, 1);
}

TEST(Toolchain, DetectToolsReportsMissingToolsOnOneLine) {
  TempDir tmp;
  MakeTool(tmp / "bin/valdrin-clang", "exit 0");
  MakeTool(tmp / "bin/valdrin-link", "exit 0");
  MakeTool(tmp / "bin/valdrin-llvm-objdump", "exit 0");
  MakeTool(tmp / "half/valdrin-gcc", "exit 0");
  MakeTool(tmp / "half/valdrin-objdump", "exit 0");
  testutil::MakeDirs(tmp / "empty");

  FileParser p;
  ToolEnvironment env(tmp / "bin", tmp / "empty");
  EXPECT_EQ(p.detectTools(), 0);

  setenv("PATH", (tmp / "empty").c_str(), 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.detectTools(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), kAllMissing);
  EXPECT_EQ(p.compilerPath + p.linkerPath + p.objdumpPath, "");  // earlier finds are forgotten

  FileParser gui;
  gui.guiMode = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(gui.detectTools(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "40: " + kAllMissing);
  EXPECT_EQ(gui.objdumpKind, 0);

  setenv("PATH", (tmp / "half").c_str(), 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(gui.detectTools(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "40: Could not find valdrin-ld or valdrin-link. \n");
  EXPECT_EQ(gui.compilerPath, tmp / "half/valdrin-gcc");
  EXPECT_EQ(gui.objdumpKind, 1);
}

TEST(Toolchain, RunToolDropsTheLastByte) {
  FileParser p;
  EXPECT_EQ(p.RunTool("printf x"), "");
  EXPECT_EQ(p.RunTool("true"), "");
  EXPECT_EQ(p.RunTool("printf 'a\\n'"), "a");
  EXPECT_EQ(p.RunTool("printf 'ab'"), "a");
  EXPECT_EQ(p.RunTool("printf '/lib/v5/libc.a\\nsecond\\n'"), "/lib/v5/libc.a\nsecond");
  EXPECT_EQ(p.RunTool("printf 'ab\\0cd\\n'"), "ab");
  EXPECT_EQ(p.RunTool("echo partial; exit 3"), "partial");
  EXPECT_EQ(p.RunTool("no-such-command-valdrin 2>/dev/null"), "");
  // 2047 attempts at most, all of them bytes here: the last two are cut.
  EXPECT_EQ(p.RunTool("head -c 3000 /dev/zero | tr '\\0' a"), std::string(2045, 'a'));
}

TEST(Toolchain, RunObjDumpCountsOnlySignalsAsFailure) {
  TempDir tmp;
  const std::string ok = tmp / "ok-objdump";
  const std::string killed = tmp / "killed-objdump";
  MakeTool(ok, "echo \"listing $1 $2\"; exit 1");
  MakeTool(killed, "echo partial; kill -9 $$");
  FileParser p;
  WriteFile(tmp / "out.dis", "an older and much longer listing\n");

  EXPECT_EQ(p.RunObjDump(ok, "in put.elf", tmp / "out.dis"), "");
  EXPECT_EQ(ReadFile(tmp / "out.dis"), "listing -d in put.elf\n");
  EXPECT_EQ(p.RunObjDump(killed, "x.elf", tmp / "new.dis"),
            "\nError: disassembler(" + killed + ") exited with status 9.\n");
  EXPECT_EQ(ReadFile(tmp / "new.dis"), "partial\n");
  struct stat info;
  ASSERT_EQ(stat((tmp / "new.dis").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST(Toolchain, RunObjDumpChildEndsWhenItCannotStart) {
  TempDir tmp;
  const std::string tool = tmp / "objdump";
  MakeTool(tool, "echo listing");
  const pid_t self = getpid();
  FileParser p;

  testing::internal::CaptureStderr();
  std::string unwritable = p.RunObjDump(tool, "x.elf", tmp / "missing/out.dis");
  std::string missingTool = p.RunObjDump(tmp / "no-such-objdump", "x.elf", tmp / "empty.dis");
  // A child that came back here would otherwise run the rest of this test.
  if (getpid() != self) {
    WriteFile(tmp / "child-returned", "");
    _exit(0);
  }
  std::string err = testing::internal::GetCapturedStderr();

  EXPECT_EQ(unwritable, "");  // the child's exit code is not a signal
  EXPECT_EQ(missingTool, "");
  EXPECT_FALSE(FileExists(tmp / "child-returned"));
  EXPECT_NE(err.find("\nCould not open " + tmp / "missing/out.dis" + " for write.\n"), std::string::npos);
  EXPECT_NE(err.find("no-such-objdump"), std::string::npos);
  EXPECT_TRUE(FileExists(tmp / "empty.dis"));
  EXPECT_EQ(ReadFile(tmp / "empty.dis"), "");
}

TEST(Toolchain, CreateDisassemblyFileMessages) {
  TempDir tmp;
  FileParser p;
  p.guiMode = true;
  p.outputDir = tmp.path() + "/";
  p.objdumpPath = tmp / "objdump";
  MakeTool(p.objdumpPath, "echo \"$2\"");
  const std::string dis = tmp / "prog.elf.dis";
  std::string disFile = "unset";

  testing::internal::CaptureStdout();
  EXPECT_EQ(p.CreateDisassemblyFile("some/dir/prog.elf", disFile), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "36: Calling disassembler(" + p.objdumpPath + ") ...\n"
            "21: Creating disassembly file " + dis + " from some/dir/prog.elf\n"
            "21: Please wait ... This could take several minutes with a large elf file.\n"
            "37: disassember(" + p.objdumpPath + ") complete.\n");
  EXPECT_EQ(disFile, dis);
  EXPECT_EQ(ReadFile(dis), "some/dir/prog.elf\n");

  MakeTool(p.objdumpPath, "kill -9 $$");
  const std::string error = "Error executing disassembler(" + p.objdumpPath + ")\n\nError: disassembler(" +
                            p.objdumpPath + ") exited with status 9.\n";
  disFile = "unset";
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.CreateDisassemblyFile("prog.elf", disFile), -1);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.substr(out.find("10: ")), "10: " + error + "\n");
  EXPECT_EQ(disFile, "unset");

  __LibAttr lib;
  lib.objPath = tmp / "WholeArchive.o";
  lib.disPath = tmp / "WholeArchive.o.dis";
  p.guiMode = false;
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.CreateDisassemblyFile(lib), 0);  // the failure shows only in the listing
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Creating disassembly file " + lib.disPath + " from " + lib.objPath + "\n" + error + "\n");
}

}  // namespace
