// Coded message lines with and without the front end.
#include <gtest/gtest.h>

#include "database/AssemblyData.h"

namespace {

std::string Capture(bool gui, void (*emit)(AssemblyData&)) {
  AssemblyData db;
  db.guiMode = gui;
  testing::internal::CaptureStdout();
  emit(db);
  return testing::internal::GetCapturedStdout();
}

TEST(MessageChannel, CodePrefixOnlyUnderGui) {
  auto emit = [](AssemblyData& db) { db.PRINTI("Number of functions in source files: %d", 12, "21: "); };
  EXPECT_EQ(Capture(false, emit), "Number of functions in source files: 12\n");
  EXPECT_EQ(Capture(true, emit), "21: Number of functions in source files: 12\n");
}

TEST(MessageChannel, PlainPrintKeepsPercentAndTrailingNewlineGivesEmptyLine) {
  EXPECT_EQ(Capture(true, [](AssemblyData& db) { db.PRINT("100%d done", "22: "); }), "22: 100%d done\n");
  EXPECT_EQ(Capture(false, [](AssemblyData& db) {
              db.PRINTS("Error: Cannot open file %s\n", "x.dis", "10: ");
            }),
            "Error: Cannot open file x.dis\n\n");
}

TEST(MessageChannel, AllFormsSubstituteTheirArguments) {
  EXPECT_EQ(Capture(true, [](AssemblyData& db) {
              db.PRINTSS("Creating disassembly file %s from %s", "a.dis", "a.elf", "21: ");
              db.PRINTIS("Error: Error processing line %d of aid file: %s", 7, "aid.txt", "10: ");
              db.PRINTD("Pass1 scan time = %.2lf seconds", 3.0, "22: ");
            }),
            "21: Creating disassembly file a.dis from a.elf\n"
            "10: Error: Error processing line 7 of aid file: aid.txt\n"
            "22: Pass1 scan time = 3.00 seconds\n");
}

TEST(MessageChannel, TextsBeyondTheBufferAreWrittenWhole) {
  const std::string longName(20000, 'n');
  std::string out = Capture(false, [](AssemblyData& db) {
    db.PRINTS("Processing File: %s", std::string(20000, 'n'), "33: ");
  });
  EXPECT_EQ(out, "Processing File: " + longName + "\n");
}

TEST(MessageChannel, Colours) {
  EXPECT_EQ(AssemblyData::GetColor("10: "), 0x0000FFu);
  EXPECT_EQ(AssemblyData::GetColor("22: "), 0xFF0000u);
  EXPECT_EQ(AssemblyData::GetColor("48: "), 0x800080u);
  EXPECT_EQ(AssemblyData::GetColor("60: "), 0x0000FFu);
  EXPECT_EQ(AssemblyData::GetColor("13: "), 0u);
  EXPECT_EQ(AssemblyData::GetColor("01: "), 0u);
  EXPECT_EQ(AssemblyData::GetColor("anything"), 0u);
}

}  // namespace
