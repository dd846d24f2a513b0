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

// Runs ParseCommandLine on the words, capturing what it prints.
struct Parsed {
  CommandLine state;
  std::string out;
};
Parsed Parse(FileParser& parser, std::vector<std::string> words) {
  words.insert(words.begin(), "valdrin-analyzer-backend");
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  testing::internal::CaptureStdout();
  Parsed parsed{ParseCommandLine(static_cast<int>(argv.size()), argv.data(), parser), ""};
  parsed.out = testing::internal::GetCapturedStdout();
  return parsed;
}

TEST(CommandLineBinary, NoArgumentsPrintsUsageAndFails) {
  auto r = RunAnalyser({});
  EXPECT_EQ(r.out, kUsage + "\n");
  EXPECT_EQ(r.status, 255);
}

TEST(CommandLineBinary, HelpAndVersionStopAtOnce) {
  auto help = RunAnalyser({"--help", "--bogus"});
  EXPECT_EQ(help.out, kUsage + "\n");
  EXPECT_EQ(help.status, 0);

  auto version = RunAnalyser({"-v", "--bogus", "--elffile"});
  EXPECT_EQ(version.out, std::string("Version: Valdrin Build Version 8.4.12\n") + noticeText + "\n");
  EXPECT_EQ(version.status, 0);

  // An unknown argument after the first position stops before -v is seen.
  auto late = RunAnalyser({"--gui", "--bogus", "-v"});
  EXPECT_EQ(late.out, "Error: Unknown argument --bogus\n" + kUsage + "\n");
  EXPECT_EQ(late.status, 255);
}

TEST(CommandLineBinary, UnknownArgumentOnlyToleratedInFirstPlace) {
  auto r = RunAnalyser({"--folder", "src", "foo"});
  EXPECT_EQ(r.out, "Error: Unknown argument foo\n" + kUsage + "\n");
  EXPECT_EQ(r.status, 255);
}

TEST(CommandLineBinary, SecondElffileIsAnErrorBeforeTheMissingValue) {
  auto twice = RunAnalyser({"--elffile", "a.elf", "--elffile", "b.elf"});
  EXPECT_EQ(twice.out, "Error: Only one --elffile <elffile> is allowed\n\n" + kUsage);
  EXPECT_EQ(twice.status, 255);
  auto dangling = RunAnalyser({"--elffile", "a.elf", "--elffile"});
  EXPECT_EQ(dangling.out, "Error: Only one --elffile <elffile> is allowed\n\n" + kUsage);
}

TEST(CommandLineBinary, MissingValuesNeverCarryACode) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"--folder", "Error: missing <path> for --folder\n\n"},
      {"-f", "Error: missing <path> for --folder\n\n"},
      {"--aidfile", "Error: missing <aidfile> for --aidfile\n\n"},
      {"--elffile", "Error: missing <elffile> for --elffile\n\n"},
      {"--rootfile", "Error: missing <rootfile> for --rootfile\n\n"},
      {"-o", "Error: missing <path> for --outdir\n\n"},
      {"--outdir", "Error: missing <path> for --outdir\n\n"},
      {"--dsp", "Error: missing vX for --dsp\n\n"},
      {"--testresult", "Error: missing argument for --testresult\n\n"},
  };
  for (const auto& [option, message] : cases) {
    auto r = RunAnalyser({"--gui", option});
    EXPECT_EQ(r.out, message + kUsage) << option;
    EXPECT_EQ(r.status, 255) << option;
  }
}

TEST(CommandLineBinary, OptionsWithoutInputPrintUsageOnly) {
  auto r = RunAnalyser({"--gui", "--no-warn", "--dsp", "v66"});
  EXPECT_EQ(r.out, kUsage + "\n");
  EXPECT_EQ(r.status, 255);
}

TEST(CommandLineParse, FillsSettingsInOrder) {
  FileParser p;
  auto parsed = Parse(p, {"foo", "--folder", "a", "-f", "b", "--aidfile", "x", "--aidfile", "y",
                          "--dsp", "v66", "--G0", "--fpic", "--elffile", "img.elf", "--testresult",
                          "4294967298junk"});
  EXPECT_FALSE(parsed.state.exitNow);
  EXPECT_EQ(parsed.out, "");
  EXPECT_EQ(p.sourceFolders, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(p.aidFiles, (std::vector<std::string>{"x", "y"}));
  EXPECT_EQ(p.compilerSwitches, " -mv66 -mG0lib -fpic");
  EXPECT_EQ(p.elfFile, "img.elf");
  EXPECT_EQ(p.expectedTestResult, 2);  // 2^32 + 2 truncated to 32 bits
}

TEST(CommandLineParse, OutputDirectoryGetsOneTrailingSlash) {
  for (const auto& [given, stored] : std::vector<std::pair<std::string, std::string>>{
           {"out", "out/"}, {"out/", "out/"}, {"", ""}}) {
    FileParser p;
    Parse(p, {"--folder", "a", "-o", "x", "--outdir", given});
    EXPECT_EQ(p.outputDir, stored) << given;
  }
  FileParser untouched;
  Parse(untouched, {"--folder", "a"});
  EXPECT_EQ(untouched.outputDir, "./");
  EXPECT_EQ(untouched.compilerSwitches, "");
}

TEST(CommandLineParse, WarningSwitchesAndModes) {
  FileParser p;
  auto parsed = Parse(p, {"--elffile", "e", "--no-r29", "--no-file", "--gui", "--testmode"});
  EXPECT_TRUE(parsed.state.testMode);
  EXPECT_TRUE(p.guiMode);
  EXPECT_FALSE(p.warnR29);
  EXPECT_FALSE(p.warnFile);
  EXPECT_TRUE(p.warnCollision && p.warnAtFunction && p.warnFuncSize && p.warnAtObject &&
              p.warnObjSize && p.warnBadLabel && p.warnRecursion);

  FileParser all;
  Parse(all, {"--elffile", "e", "--no-warn"});
  EXPECT_FALSE(all.warnCollision || all.warnAtFunction || all.warnFuncSize || all.warnAtObject ||
               all.warnObjSize || all.warnBadLabel || all.warnR29 || all.warnFile ||
               all.warnRecursion);
}

TEST(CommandLineParse, RootFileLastWinsWithAWarning) {
  FileParser p;
  auto parsed = Parse(p, {"--rootfile", "r1", "--folder", "a", "--rootfile", "r2"});
  EXPECT_EQ(parsed.out, "Warning: replacing previously defined --rootfile <rootfile> with r2\n\n");
  EXPECT_EQ(p.rootFile, "r2");
  EXPECT_FALSE(parsed.state.exitNow);
}

}  // namespace
