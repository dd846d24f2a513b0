// Evaluator for the small integer expressions of assembly operands.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class MathParser {
 public:
  static constexpr unsigned long kMaxLength = 32767;

  MathParser() = default;
  explicit MathParser(const std::string& expression);

  // True when the expression was well formed and evaluated.
  bool Evaluate(const std::string& expression);

  bool Success() const { return success_; }
  int32_t Value() const { return value_; }
  const std::string& Error() const { return error_; }

 private:
  struct Operator {
    int32_t code;
    int32_t precedence;
    int32_t associativity;
    int32_t value;
  };

  int32_t parseExpr();
  int32_t parseVal();
  int32_t checkZero(int32_t divisor);
  void ParseError(const std::string& text, unsigned long index);

  void SkipSpaces();
  bool Failed() const { return !error_.empty(); }
  int32_t ParseLoop();
  int32_t ReadNumber();
  void ReadOperator(Operator& op);
  int32_t Combine(const Operator& op, int32_t right);

  // Bracket and sign nesting beyond any real operand is refused rather than
  // recursed into.
  static constexpr int kMaxDepth = 1000;

  unsigned long maxLength_ = kMaxLength;
  int depth_ = 0;
  std::string expression_;
  unsigned long pos_ = 0;
  std::vector<Operator> opStack_;
  std::string error_;
  bool success_ = true;
  int32_t value_ = 0;
};
