// Message lines: a plain text is no format, and long texts are not cut.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"

namespace {

TEST(MessageChannel, PlainTextsAndLongTexts) {
  AssemblyData db;
  db.guiMode = true;
  EXPECT_EQ(testutil::Captured([&] {
              db.PRINT("100%d done", "22: ");
              db.PRINTIS("Error: Error processing line %d of aid file: %s", 7, "aid.txt", "10: ");
              db.PRINTD("Pass1 scan time = %.2lf seconds", 3.0, "22: ");
            }),
            "22: 100%d done\n10: Error: Error processing line 7 of aid file: aid.txt\n"
            "22: Pass1 scan time = 3.00 seconds\n");
  db.guiMode = false;
  // A trailing newline in the text gives an empty line.
  EXPECT_EQ(testutil::Captured([&] { db.PRINTS("Error: Cannot open file %s\n", "x.dis", "10: "); }),
            "Error: Cannot open file x.dis\n\n");
  const std::string longName(20000, 'n');
  EXPECT_EQ(testutil::Captured([&] { db.PRINTS("Processing File: %s", longName, "33: "); }),
            "Processing File: " + longName + "\n");
}

}  // namespace
