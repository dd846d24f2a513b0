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
