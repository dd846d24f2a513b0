// Finding assembly files: which names count, sorted order, overlapping
// folders, unreadable and missing folders, and the path helpers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::TempDir;
using testutil::WriteFile;

namespace {

std::vector<std::string> Keys(const std::map<std::string, int>& map) {
  std::vector<std::string> keys;
  for (const auto& entry : map) keys.push_back(entry.first);
  return keys;
}

TEST(SourceScan, AssemblyFileNames) {
  EXPECT_TRUE(FileParser::IsAssemblyFile("ab.s"));
  EXPECT_TRUE(FileParser::IsAssemblyFile("a.s"));
  EXPECT_FALSE(FileParser::IsAssemblyFile(".s"));
  EXPECT_FALSE(FileParser::IsAssemblyFile("a.S"));
  EXPECT_FALSE(FileParser::IsAssemblyFile("x.s.bak"));
  EXPECT_FALSE(FileParser::IsAssemblyFile("foo_stub.s"));
}

TEST(SourceScan, SortedCanonicalPathsWithoutFollowingLinks) {
  TempDir tmp;
  WriteFile(tmp / "tree/dir/a.s", "");
  WriteFile(tmp / "tree/dir/B.s", "");
  WriteFile(tmp / "tree/dir/c.S", "");
  WriteFile(tmp / "tree/top.s", "");
  WriteFile(tmp / "tree/x_stub.s", "");
  WriteFile(tmp / "elsewhere/linked.s", "");
  std::filesystem::create_directory_symlink(tmp / "elsewhere", tmp / "tree/link");

  FileParser p;
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.ScanDirectory(tmp / "tree", 0), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  const std::string root = std::filesystem::canonical(tmp.path()).string() + "/tree/";
  EXPECT_EQ(Keys(p.pathMap), (std::vector<std::string>{root + "dir/B.s", root + "dir/a.s", root + "top.s"}));
}

TEST(SourceScan, DotRelativeFolderIsResolvedAgainstWorkingDirectory) {
  TempDir tmp;
  WriteFile(tmp / "sub/one.s", "");
  char saved[4096];
  ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
  ASSERT_EQ(chdir(tmp.path().c_str()), 0);
  FileParser p;
  int rc = p.ScanDirectory("./sub", 0);
  char after[4096];
  ASSERT_NE(getcwd(after, sizeof after), nullptr);
  ASSERT_EQ(chdir(saved), 0);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(std::string(after), std::filesystem::canonical(tmp.path()).string());
  ASSERT_EQ(p.pathMap.size(), 1u);
  EXPECT_EQ(p.pathMap.begin()->first, std::filesystem::canonical(tmp.path()).string() + "/sub/one.s");
}

TEST(SourceScan, OverlappingFoldersReportEachFileOnce) {
  TempDir tmp;
  WriteFile(tmp / "t/a.s", "");
  FileParser p;
  p.sourceFolders = {tmp / "t", tmp / "t"};
  testing::internal::CaptureStdout();
  p.ScanDirectory(p.sourceFolders[0], 0);
  p.ScanDirectory(p.sourceFolders[1], 0);
  std::string out = testing::internal::GetCapturedStdout();
  const std::string file = std::filesystem::canonical(tmp.path()).string() + "/t/a.s";
  EXPECT_EQ(out, "Error: Cannot insert " + file + " into path map.\n");
  EXPECT_EQ(p.pathMap.size(), 1u);
}

TEST(SourceScan, FailuresOfTopFolderAndSubfolder) {
  TempDir tmp;
  WriteFile(tmp / "t/ok.s", "");
  WriteFile(tmp / "t/locked/hidden.s", "");
  WriteFile(tmp / "plain.txt", "");
  chmod((tmp / "t/locked").c_str(), 0);
  FileParser p;
  p.guiMode = true;
  testing::internal::CaptureStdout();
  int rc = p.ScanDirectory(tmp / "t", 0);
  std::string out = testing::internal::GetCapturedStdout();
  chmod((tmp / "t/locked").c_str(), 0755);
  EXPECT_EQ(rc, 0);
  if (geteuid() != 0) {  // root may enter any folder
    const std::string locked = std::filesystem::canonical(tmp.path()).string() + "/t/locked/";
    EXPECT_EQ(out, "10: Error: Scan failed for directory: " + locked + "\n");
    EXPECT_EQ(p.pathMap.size(), 1u);
  }

  for (const std::string& bad : {tmp / "missing", tmp / "plain.txt"}) {
    FileParser q;
    q.sourceFolders = {bad};
    testing::internal::CaptureStdout();
    EXPECT_EQ(q.ProcessSourceDirectories(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Processing source directories ...\nError: Scan failed for directory: " + bad + "\n");
  }
}

TEST(SourceScan, EmptyTreeFindsNothingAndFails) {
  TempDir tmp;
  testutil::MakeDirs(tmp / "empty");
  FileParser p;
  p.sourceFolders = {tmp / "empty"};
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.ProcessSourceDirectories(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Processing source directories ...\n0 assembly files found\n");
}

TEST(SourceScan, VeryLongPathFailsCleanly) {
  TempDir tmp;
  std::string deep = tmp.path();
  // Deeper than the 2048-byte working-directory buffer.
  for (int i = 0; i < 30; ++i) {
    deep += "/" + std::string(100, 'd');
    ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
  }
  FileParser p;
  testing::internal::CaptureStdout();
  p.ScanDirectory(tmp.path(), 0);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Error: Scan failed for directory: "), std::string::npos);
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);  // the working directory was restored
}

TEST(PathUtilities, EndsNamesAndFolders) {
  std::string empty;
  EXPECT_EQ(FileParser::CheckPathEnd(empty), "");
  std::string a = "a";
  EXPECT_EQ(FileParser::CheckPathEnd(a), "a/");
  EXPECT_EQ(a, "a/");
  EXPECT_EQ(FileParser::ExtractPath("x/y/z.elf"), "x/y/");
  EXPECT_EQ(FileParser::ExtractPath("z.elf"), "z.elf");
  EXPECT_EQ(FileParser::ExtractNameFromPath("x/y/z.elf"), "z.elf");
  EXPECT_EQ(FileParser::ExtractNameFromPath("z.elf"), "z.elf");
}

TEST(PathUtilities, FindFilePrefersWorkingDirectoryThenPath) {
  TempDir tmp;
  WriteFile(tmp / "cwd/tool", "");
  WriteFile(tmp / "p1/tool", "");
  WriteFile(tmp / "p2/other", "");
  const char* oldPath = getenv("PATH");
  std::string savedPath = oldPath ? oldPath : "";
  setenv("PATH", (tmp / "p1" + ":" + tmp / "p2").c_str(), 1);
  char saved[4096];
  ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
  ASSERT_EQ(chdir((tmp / "cwd").c_str()), 0);
  FileParser p;
  std::string inCwd = p.FindFile("tool");
  std::string onPath = p.FindFile("other");
  std::string none = p.FindFile("none");
  ASSERT_EQ(chdir(saved), 0);
  setenv("PATH", savedPath.c_str(), 1);
  EXPECT_EQ(inCwd, std::filesystem::canonical(tmp / "cwd").string() + "/tool");
  EXPECT_EQ(onPath, tmp / "p2" + "/other");
  EXPECT_EQ(none, "");
}

TEST(PathUtilities, FindRelativeFile) {
  TempDir tmp;
  WriteFile(tmp / "prefix/bin/prog", "");
  WriteFile(tmp / "prefix/etc/libcAidFile.txt", "");
  const std::vector<std::string> dirs = {".", "../etc"};
  EXPECT_EQ(FileParser::FindRelativeFile(tmp / "prefix/bin/prog", dirs, "libcAidFile.txt"),
            tmp / "prefix/bin/../etc/libcAidFile.txt");
  EXPECT_EQ(FileParser::FindRelativeFile(tmp / "prefix/bin", dirs, "libcAidFile.txt"),
            tmp / "prefix/bin/../etc/libcAidFile.txt");
  EXPECT_EQ(FileParser::FindRelativeFile("", dirs, "libcAidFile.txt"), "");
  EXPECT_EQ(FileParser::FindRelativeFile(tmp / "nothing", dirs, "libcAidFile.txt"), "");
  EXPECT_EQ(FileParser::FindRelativeFile(tmp / "prefix/bin/prog", {}, "libcAidFile.txt"), "");
}

}  // namespace
