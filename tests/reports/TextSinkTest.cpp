// Negative and extreme numbers are padded as printf pads them; the reports
// that use the sink are checked byte for byte by the end-to-end tests.
#include "reports/TextSink.h"

#include <gtest/gtest.h>

#include <climits>

#include "reports/ReportTestUtil.h"

TEST(TextSink, PadsNegativeNumbersAsPrintfDoes) {
  for (long long value : {-7LL, static_cast<long long>(INT_MIN), LLONG_MIN}) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "%*lld", 35, value);
    EXPECT_EQ(reporttest::Written([&](FILE* file) { TextSink(file).Int(value, 35); }), expected) << value;
  }
}

// Short fields are copied by overlapping moves whose size depends on the
// length: every length around the steps must come out whole. A string is
// printed up to its first NUL, scanned inline when short and by the library
// when long; text can also collect in a string.
TEST(TextSink, CopiesEveryLengthAndStopsAtNul) {
  std::string expected;
  std::string collected;
  {
    TextSink sink(&collected);
    for (size_t length = 0; length <= 70; ++length) {
      std::string field;
      for (size_t i = 0; i < length; ++i) field += static_cast<char>('a' + (length + i) % 26);
      sink.Put(std::string_view(field)).Put('|');
      expected += field + "|";
      std::string withNul = field + '\0' + "tail";
      sink.Put(withNul);
      expected += field;
    }
    EXPECT_EQ(sink.Written(), expected.size());
  }
  EXPECT_EQ(collected, expected);
  EXPECT_EQ(reporttest::Written([&](FILE* file) { TextSink(file).Put(std::string_view(expected)); }), expected);
}
