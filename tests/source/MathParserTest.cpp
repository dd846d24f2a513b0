// The operand evaluator: numbers, precedence, signs, limits and errors.
#include <gtest/gtest.h>

#include "source/MathParser.h"

namespace {

int32_t Value(const std::string& text) {
  MathParser parser(text);
  EXPECT_TRUE(parser.Success()) << text << ": " << parser.Error();
  return parser.Value();
}

std::string Error(const std::string& text) {
  MathParser parser(text);
  EXPECT_FALSE(parser.Success()) << text;
  return parser.Error();
}

TEST(MathParser, NumbersPrecedenceAndSigns) {
  EXPECT_EQ(Value("0x1F"), 31);
  EXPECT_EQ(Value("0X1f"), 31);
  EXPECT_EQ(Value("017"), 17);
  EXPECT_EQ(Value("0"), 0);
  EXPECT_EQ(Value("-8"), -8);
  EXPECT_EQ(Value("+(-8)"), -8);
  EXPECT_EQ(Value("2*-3"), -6);
  EXPECT_EQ(Value("1+2*3"), 7);
  EXPECT_EQ(Value("(1+2)*3"), 9);
  EXPECT_EQ(Value("7/2"), 3);
  EXPECT_EQ(Value("-7/2"), -3);
  EXPECT_EQ(Value("8-2-1"), 5);
  EXPECT_EQ(Value("8/2/2"), 2);
  EXPECT_EQ(Value(" ( 8 + 8 ) "), 16);
  EXPECT_EQ(Value("--5"), 5);
}

TEST(MathParser, ArithmeticWrapsAt32Bits) {
  EXPECT_EQ(Value("2147483647+1"), INT32_MIN);
  EXPECT_EQ(Value("4294967296"), 0);
  EXPECT_EQ(Value("65536*65536"), 0);
  EXPECT_EQ(Value("(0-2147483647-1)/-1"), INT32_MIN);
}

TEST(MathParser, LeftoverTextEndsTheExpression) {
  EXPECT_EQ(Value("2 3"), 2);
  EXPECT_EQ(Value("16)"), 16);
  EXPECT_EQ(Value("0x"), 0);
}

TEST(MathParser, ErrorTexts) {
  EXPECT_EQ(Error("(1+2"), "Syntax error: `)' expected at end of expression");
  EXPECT_EQ(Error("1+"), "Syntax error: value expected at end of expression");
  EXPECT_EQ(Error(""), "Syntax error: value expected at end of expression");
  EXPECT_EQ(Error("foo"), "Syntax error: unexpected token \"foo\" at index 0");
  EXPECT_EQ(Error("1+ foo"), "Syntax error: unexpected token \"foo\" at index 3");
  EXPECT_EQ(Error("8/0"), "Parser error: division by 0 (error token is \"/0\")");
  EXPECT_EQ(Error("8/(1-1)+2"), "Parser error: division by 0 (error token is \"/(1-1)+2\")");
}

TEST(MathParser, LengthAndNestingLimits) {
  std::string ok = "1" + std::string(32766, ' ');
  EXPECT_EQ(Value(ok), 1);
  EXPECT_EQ(Error(ok + " "), "Parser error: expression exceeds limit of 32767 characters");
  // Deep nesting is refused instead of exhausting the process stack.
  EXPECT_FALSE(MathParser(std::string(20000, '(') + "1").Success());
  EXPECT_FALSE(MathParser(std::string(20000, '-') + "1").Success());
  EXPECT_EQ(Value(std::string(100, '(') + "1" + std::string(100, ')')), 1);
}

TEST(MathParser, ReusableForSeveralExpressions) {
  MathParser parser;
  EXPECT_FALSE(parser.Evaluate("x"));
  EXPECT_TRUE(parser.Evaluate("4*4"));
  EXPECT_EQ(parser.Value(), 16);
  EXPECT_EQ(parser.Error(), "");
}

}  // namespace
