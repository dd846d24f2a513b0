// Reading the user-defined root file.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "source/FileParser.h"

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(UserRoots, ModulesCommentsAndBlankLines) {
  testutil::TempDir dir;
  testutil::WriteFile(dir / "roots.txt", "early\n[AudioThread]\naudio_main\n# only a comment\n   \t\n_Z3fooi\n"
                                         "[ Interrupts ]  # handlers\n  isr_timer    # timer tick\r\naudio_main\n" +
                                             std::string(1500, 'x') + "# dropped [x]\nlast");
  FileParser parser;
  parser.rootFile = dir / "roots.txt";
  parser.verbose = true;
  int rc = -2;
  EXPECT_EQ(testutil::Captured([&] { rc = parser.ProcessUserDefinedRootFile(); }),
            "Processing User Defined Root file: " + parser.rootFile + "\n");
  EXPECT_EQ(rc, 0);
  // The rest of a line beyond 1023 characters is dropped.
  EXPECT_EQ(Entries(parser.rootMap.begin(), parser.rootMap.end()),
            (Entries{{"_Z3fooi", "AudioThread"}, {"audio_main", "AudioThread"}, {"audio_main", "Interrupts"},
                     {"early", ""}, {"isr_timer", "Interrupts"}, {"last", "Interrupts"},
                     {std::string(1023, 'x'), "Interrupts"}}));
  // Roots are matched by their mangled name.
  EXPECT_EQ(parser.IsUserDefinedRoot(parser.CreateFuncAttr("_Z3fooi", "_Z3fooi")), 1);
  EXPECT_EQ(parser.IsUserDefinedRoot(parser.CreateFuncAttr("foo(int)", "foo(int)")), 0);
}

TEST(UserRoots, NoFileAndMissingFile) {
  FileParser parser;
  std::vector<int> results;
  EXPECT_EQ(testutil::Captured([&] {
              results.push_back(parser.ProcessUserDefinedRootFile());
              for (const char* path : {"/nonexistent/roots.txt", "/"}) {
                parser.rootFile = path;
                results.push_back(parser.ProcessUserDefinedRootFile());
              }
            }),
            "Error: Cannot open User Defined Root file /nonexistent/roots.txt\n"
            "Error: Cannot open User Defined Root file /\n");
  EXPECT_EQ(results, (std::vector<int>{0, -1, -1}));
  EXPECT_TRUE(parser.rootMap.empty());
}

}  // namespace
