// Finding assembly files: which names count, sorted order, overlapping,
// unreadable, missing and very deep folders.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::Captured;
using testutil::InDir;
using testutil::TempDir;
using testutil::WriteFile;

namespace {

std::string Canonical(const TempDir& tmp) { return std::filesystem::canonical(tmp.path()).string(); }

std::vector<std::string> Keys(const FileParser& p) {
  std::vector<std::string> keys;
  for (const auto& entry : p.pathMap) keys.push_back(entry.first);
  return keys;
}

TEST(SourceScan, SortedCanonicalPathsWithoutFollowingLinksOrRepeats) {
  TempDir tmp;
  for (const char* name : {"dir/a.s", "dir/B.s", "dir/c.S", "dir/.s", "dir/x.s.bak", "top.s", "x_stub.s"}) {
    WriteFile(tmp / ("tree/" + std::string(name)), "");
  }
  WriteFile(tmp / "elsewhere/linked.s", "");
  std::filesystem::create_directory_symlink(tmp / "elsewhere", tmp / "tree/link");
  FileParser p;
  int rc = -2;
  EXPECT_EQ(Captured([&] { rc = p.ScanDirectory(tmp / "tree", 0); }), "");
  EXPECT_EQ(rc, 0);
  const std::string root = Canonical(tmp) + "/tree/";
  EXPECT_EQ(Keys(p), (std::vector<std::string>{root + "dir/B.s", root + "dir/a.s", root + "top.s"}));

  // Overlapping folders report each file once.
  FileParser q;
  q.sourceFolders = {tmp / "tree/dir", tmp / "tree/dir"};
  EXPECT_EQ(Captured([&] { for (const std::string& folder : q.sourceFolders) q.ScanDirectory(folder, 0); }),
            "Error: Cannot insert " + root + "dir/B.s into path map.\nError: Cannot insert " + root +
                "dir/a.s into path map.\n");
  EXPECT_EQ(q.pathMap.size(), 2u);

  // A folder relative to the working directory, which is left as it was.
  FileParser dot;
  std::string after;
  InDir(tmp / "tree", [&] { rc = dot.ScanDirectory("./dir", 0), after = testutil::CurrentDir(); });
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(after, Canonical(tmp) + "/tree");
  EXPECT_EQ(Keys(dot), (std::vector<std::string>{root + "dir/B.s", root + "dir/a.s"}));
}

TEST(SourceScan, FailingFolders) {
  TempDir tmp;
  WriteFile(tmp / "t/ok.s", "");
  WriteFile(tmp / "t/locked/hidden.s", "");
  WriteFile(tmp / "plain.txt", "");
  testutil::MakeDirs(tmp / "empty");
  chmod((tmp / "t/locked").c_str(), 0);
  FileParser p;
  p.guiMode = true;
  int rc = -2;
  const std::string out = Captured([&] { rc = p.ScanDirectory(tmp / "t", 0); });
  chmod((tmp / "t/locked").c_str(), 0755);
  EXPECT_EQ(rc, 0);
  if (geteuid() != 0) {  // root may enter any folder
    EXPECT_EQ(out, "10: Error: Scan failed for directory: " + Canonical(tmp) + "/t/locked/\n");
    EXPECT_EQ(p.pathMap.size(), 1u);
  }
  const std::string head = "Processing source directories ...\n";
  for (const auto& [folder, message] : std::vector<std::pair<std::string, std::string>>{
           {tmp / "missing", "Error: Scan failed for directory: " + tmp / "missing\n"},
           {tmp / "plain.txt", "Error: Scan failed for directory: " + tmp / "plain.txt\n"},
           {tmp / "empty", "0 assembly files found\n"}}) {
    FileParser q;
    q.sourceFolders = {folder};
    EXPECT_EQ(Captured([&] { rc = q.ProcessSourceDirectories(); }), head + message);
    EXPECT_EQ(rc, -1);
  }
}

TEST(SourceScan, VeryLongPathFailsCleanly) {
  TempDir tmp;
  std::string deep = tmp.path();
  // Deeper than the 2048-byte working-directory buffer.
  for (int i = 0; i < 30; ++i) {
    deep += "/" + std::string(100, 'd');
    ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
  }
  const auto saved = std::filesystem::current_path();
  FileParser p;
  EXPECT_NE(Captured([&] { p.ScanDirectory(tmp.path(), 0); }).find("Error: Scan failed for directory: "),
            std::string::npos);
  EXPECT_EQ(std::filesystem::current_path(), saved);  // the working directory was restored
}

}  // namespace
