// Finding assembly files: which names count, sorted order, links, repeats,
// failing and very deep folders.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "TestUtil.h"
#include "source/FileParser.h"

using testutil::Captured;
using testutil::TempDir;

namespace {

std::vector<std::string> Keys(const FileParser& p) {
  std::vector<std::string> keys;
  for (const auto& entry : p.pathMap) keys.push_back(entry.first);
  return keys;
}

TEST(SourceScan, SortedCanonicalPathsWithoutFollowingLinksOrRepeats) {
  TempDir tmp;
  for (const char* name : {"dir/a.s", "dir/B.s", "dir/c.S", "dir/.s", "dir/x.s.bak", "top.s", "x_stub.s", "o/l.s"}) {
    testutil::WriteFile(tmp / ("tree/" + std::string(name)), "");
  }
  std::filesystem::rename(tmp / "tree/o", tmp / "elsewhere");
  std::filesystem::create_directory_symlink(tmp / "elsewhere", tmp / "tree/link");
  FileParser p;
  int rc = -2;
  EXPECT_EQ(Captured([&] { rc = p.ScanDirectory(tmp / "tree", 0); }), "");
  EXPECT_EQ(rc, 0);
  const std::string root = std::filesystem::canonical(tmp.path()).string() + "/tree/";
  EXPECT_EQ(Keys(p), (std::vector<std::string>{root + "dir/B.s", root + "dir/a.s", root + "top.s"}));

  // Overlapping folders report each file once; a relative folder leaves the
  // working directory as it was.
  FileParser q;
  std::string after;
  const std::string out = Captured([&] {
    testutil::InDir(tmp / "tree", [&] { q.ScanDirectory("./dir", 0), after = testutil::CurrentDir(); });
    q.ScanDirectory(tmp / "tree/dir", 0);
  });
  EXPECT_EQ(out, "Error: Cannot insert " + root + "dir/B.s into path map.\nError: Cannot insert " + root +
                     "dir/a.s into path map.\n");
  EXPECT_EQ(after + "/", root);
  EXPECT_EQ(Keys(q), (std::vector<std::string>{root + "dir/B.s", root + "dir/a.s"}));
}

TEST(SourceScan, FailingAndVeryDeepFolders) {
  TempDir tmp;
  testutil::MakeDirs(tmp / "empty");
  testutil::WriteFile(tmp / "plain.txt", "");
  for (const auto& [folder, message] : std::vector<std::pair<std::string, std::string>>{
           {tmp / "missing", "Error: Scan failed for directory: " + tmp / "missing\n"},
           {tmp / "plain.txt", "Error: Scan failed for directory: " + tmp / "plain.txt\n"},
           {tmp / "empty", "0 assembly files found\n"}}) {
    FileParser q;
    q.sourceFolders = {folder};
    int rc = -2;
    EXPECT_EQ(Captured([&] { rc = q.ProcessSourceDirectories(); }), "Processing source directories ...\n" + message);
    EXPECT_EQ(rc, -1);
  }
  // Deeper than the 2048-byte working-directory buffer.
  std::string deep = tmp.path();
  for (int i = 0; i < 30; ++i) ASSERT_EQ(mkdir((deep += "/" + std::string(100, 'd')).c_str(), 0755), 0);
  const auto saved = std::filesystem::current_path();
  FileParser p;
  EXPECT_TRUE(testutil::Has(Captured([&] { p.ScanDirectory(tmp.path(), 0); }), "Error: Scan failed for directory: "));
  EXPECT_EQ(std::filesystem::current_path(), saved);
}

}  // namespace
