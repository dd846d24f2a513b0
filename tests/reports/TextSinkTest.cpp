#include "reports/TextSink.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>

namespace {

// Runs `write` on a sink over a memory stream and returns what reached it.
template <class F>
std::string Written(F write) {
  char* data = nullptr;
  size_t size = 0;
  FILE* file = open_memstream(&data, &size);
  {
    TextSink sink(file);
    write(sink);
  }
  std::fclose(file);
  std::string text(data, size);
  std::free(data);
  return text;
}

std::string Printf(const char* format, long long value, int width) {
  char text[64];
  std::snprintf(text, sizeof text, format, width, value);
  return text;
}

TEST(TextSink, FormatsAsPrintfDoes) {
  for (long long value : {0LL, 7LL, -7LL, 1234LL, 12345LL, -1234LL, static_cast<long long>(INT_MIN),
                          static_cast<long long>(INT_MAX), LLONG_MIN}) {
    for (int width : {0, 4, 35}) {
      EXPECT_EQ(Written([&](TextSink& s) { s.Int(value, width); }), Printf("%*lld", value, width))
          << value << " width " << width;
    }
  }
  EXPECT_EQ(Written([](TextSink& s) { s.Left("ab", 5).Put('|').Left("abcdef", 3); }), "ab   |abcdef");
  // A std::string prints up to its first NUL, as "%s" would.
  EXPECT_EQ(Written([](TextSink& s) { s.Put(std::string("ab\0cd", 5)); }), "ab");
}

TEST(TextSink, KeepsOrderAcrossFlushesAndLongTexts) {
  std::string big(20000, 'x');
  std::string expected;
  for (int i = 0; i < 3000; ++i) expected += "line " + std::to_string(i) + "\n";
  expected += big + "end";
  EXPECT_EQ(Written([&](TextSink& s) {
              for (int i = 0; i < 3000; ++i) s.Put("line ").Int(i).Put('\n');
              s.Put(big).Put("end");
            }),
            expected);
}

}  // namespace
