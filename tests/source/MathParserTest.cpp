// The operand evaluator: precedence, signs, 32-bit wrapping, limits and error texts.
#include <gtest/gtest.h>

#include "source/MathParser.h"

namespace {

TEST(MathParser, ValuesAndWrapping) {
  const std::vector<std::pair<std::string, int32_t>> cases = {
      {"0X1f", 31}, {"017", 17}, {"+(-8)", -8}, {"2*-3", -6}, {"1+2*3", 7}, {"-7/2", -3}, {"8-2-1", 5},
      {"8/2/2", 2}, {"--5", 5}, {"2147483647+1", INT32_MIN}, {"4294967296", 0}, {"(0-2147483647-1)/-1", INT32_MIN},
      {"2 3", 2}, {"16)", 16}, {"1" + std::string(32766, ' '), 1}};  // leftover text ends the expression
  for (const auto& [text, value] : cases) {
    MathParser parser(text);
    EXPECT_TRUE(parser.Success() && parser.Value() == value) << text << ": " << parser.Error();
  }
}

TEST(MathParser, ErrorTextsAndDivisionByZero) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"(1+2", "Syntax error: `)' expected at end of expression"},
      {"", "Syntax error: value expected at end of expression"},
      {"1+ foo", "Syntax error: unexpected token \"foo\" at index 3"},
      {"8/0", "Parser error: division by 0 (error token is \"/0\")"},
      {"8/(1-1)+2", "Parser error: division by 0 (error token is \"/(1-1)+2\")"},
      {"1" + std::string(32767, ' '), "Parser error: expression exceeds limit of 32767 characters"}};
  for (const auto& [text, error] : cases) {
    MathParser parser(text);
    EXPECT_TRUE(!parser.Success() && parser.Error() == error) << text << ": " << parser.Error();
  }
  // Deep nesting is refused instead of exhausting the process stack.
  EXPECT_FALSE(MathParser(std::string(20000, '(') + "1").Success());
  EXPECT_FALSE(MathParser(std::string(20000, '-') + "1").Success());
}

}  // namespace
