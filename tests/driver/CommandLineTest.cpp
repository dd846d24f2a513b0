// The command line through the built binary (exact output and status) and
// the settings it fills.
#include <gtest/gtest.h>

#include <vector>

#include "TestUtil.h"
#include "driver/CommandLine.h"
#include "source/FileParser.h"

using testutil::RunAnalyser;

namespace {

const std::string kUsage = usageText;

// Runs ParseCommandLine on the words; returns what it printed.
std::string Parse(FileParser& parser, std::vector<std::string> words, CommandLine* state = nullptr) {
  words.insert(words.begin(), "valdrin-analyzer-backend");
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  return testutil::Captured([&] {
    CommandLine parsed = ParseCommandLine(static_cast<int>(argv.size()), argv.data(), parser);
    if (state != nullptr) *state = parsed;
  });
}

TEST(CommandLineBinary, ExactOutputAndStatus) {
  const std::string version = std::string("Version: Valdrin Build Version 8.4.12\n") + noticeText + "\n";
  const std::string twice = "Error: Only one --elffile <elffile> is allowed\n\n" + kUsage;
  const struct { std::vector<std::string> args; std::string out; int status; } cases[] = {
      {{}, kUsage + "\n", 255},
      {{"--help", "--bogus"}, kUsage + "\n", 0},  // help and version stop at once
      {{"-v", "--bogus", "--elffile"}, version, 0},
      // An unknown argument is tolerated only in first place; later it stops
      // before -v is seen.
      {{"--gui", "--bogus", "-v"}, "Error: Unknown argument --bogus\n" + kUsage + "\n", 255},
      {{"--folder", "src", "foo"}, "Error: Unknown argument foo\n" + kUsage + "\n", 255},
      // A second --elffile is an error before its missing value.
      {{"--elffile", "a.elf", "--elffile", "b.elf"}, twice, 255},
      {{"--elffile", "a.elf", "--elffile"}, twice, 255},
      {{"--gui", "--no-warn", "--dsp", "v66"}, kUsage + "\n", 255},  // options without input
  };
  for (const auto& c : cases) {
    auto r = RunAnalyser(c.args);
    EXPECT_EQ(r.out, c.out) << testing::PrintToString(c.args);
    EXPECT_EQ(r.status, c.status) << testing::PrintToString(c.args);
  }
}

TEST(CommandLineBinary, MissingValuesNeverCarryACode) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"--folder", "<path> for --folder"}, {"-f", "<path> for --folder"}, {"--aidfile", "<aidfile> for --aidfile"},
      {"--elffile", "<elffile> for --elffile"}, {"--rootfile", "<rootfile> for --rootfile"},
      {"-o", "<path> for --outdir"}, {"--outdir", "<path> for --outdir"}, {"--dsp", "vX for --dsp"},
      {"--testresult", "argument for --testresult"}};
  for (const auto& [option, message] : cases) {
    auto r = RunAnalyser({"--gui", option});
    EXPECT_EQ(r.out, "Error: missing " + message + "\n\n" + kUsage) << option;
    EXPECT_EQ(r.status, 255) << option;
  }
}

// What no run's output shows: the settings the words fill.
TEST(CommandLineParse, FillsSettings) {
  FileParser p;
  CommandLine state;
  EXPECT_EQ(Parse(p,
                  {"foo", "--folder", "a", "-f", "b", "--aidfile", "x", "--aidfile", "y", "--dsp", "v66", "--G0",
                   "--fpic", "--testresult", "4294967298junk", "--no-r29", "--rootfile", "r1", "-o", "out",
                   "--rootfile", "r2"},
                  &state),
            "Warning: replacing previously defined --rootfile <rootfile> with r2\n\n");
  EXPECT_FALSE(state.exitNow);
  EXPECT_EQ(p.sourceFolders, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(p.aidFiles, (std::vector<std::string>{"x", "y"}));
  EXPECT_EQ(p.compilerSwitches + "|" + p.outputDir + "|" + p.rootFile, " -mv66 -mG0lib -fpic|out/|r2");
  EXPECT_EQ(p.expectedTestResult, 2);  // 2^32 + 2 truncated to 32 bits
  EXPECT_TRUE(!p.warnR29 && p.warnFile && p.warnRecursion);

  FileParser all;
  Parse(all, {"--elffile", "e", "--no-warn", "--gui", "--testmode", "--outdir", "out/"}, &state);
  EXPECT_TRUE(state.testMode && all.guiMode && all.outputDir == "out/" && !all.warnCollision && !all.warnBadLabel);
}

}  // namespace
