// Reading the user-defined root file.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "source/FileParser.h"

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(UserRoots, ModulesCommentsAndBlankLines) {
  testutil::TempDir dir;
  std::string longName(1500, 'x');
  testutil::WriteFile(dir / "roots.txt",
                      "early\n"
                      "[AudioThread]\n"
                      "audio_main\n"
                      "# only a comment\n"
                      "   \t\n"
                      "_Z3fooi\n"
                      "[ Interrupts ]  # handlers\n"
                      "  isr_timer    # timer tick\r\n"
                      "audio_main\n" +
                          longName + "# dropped [x]\n" + "last");
  FileParser parser;
  parser.rootFile = dir / "roots.txt";
  parser.verbose = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(parser.ProcessUserDefinedRootFile(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Processing User Defined Root file: " + parser.rootFile + "\n");
  // The rest of a line beyond 1023 characters is dropped.
  Entries expected = {{"_Z3fooi", "AudioThread"},   {"audio_main", "AudioThread"},
                      {"audio_main", "Interrupts"}, {"early", ""},
                      {"isr_timer", "Interrupts"},  {"last", "Interrupts"},
                      {std::string(1023, 'x'), "Interrupts"}};
  EXPECT_EQ(Entries(parser.rootMap.begin(), parser.rootMap.end()), expected);

  __func_attr* foo = parser.CreateFuncAttr("_Z3fooi", "_Z3fooi");
  __func_attr* audio = parser.CreateFuncAttr("audio_main", "audio_main");
  __func_attr* other = parser.CreateFuncAttr("foo(int)", "foo(int)");
  EXPECT_EQ(parser.IsUserDefinedRoot(foo), 1);
  EXPECT_EQ(parser.IsUserDefinedRoot(audio), 1);
  EXPECT_EQ(parser.IsUserDefinedRoot(other), 0);
}

TEST(UserRoots, NoFileAndMissingFile) {
  FileParser parser;
  testing::internal::CaptureStdout();
  EXPECT_EQ(parser.ProcessUserDefinedRootFile(), 0);
  parser.rootFile = "/nonexistent/roots.txt";
  EXPECT_EQ(parser.ProcessUserDefinedRootFile(), -1);
  parser.rootFile = "/";
  EXPECT_EQ(parser.ProcessUserDefinedRootFile(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Error: Cannot open User Defined Root file /nonexistent/roots.txt\n"
            "Error: Cannot open User Defined Root file /\n");
  EXPECT_TRUE(parser.rootMap.empty());
}

}  // namespace
