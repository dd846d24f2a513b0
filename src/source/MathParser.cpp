// Operator-precedence evaluation of integer operand expressions: + - * /,
// brackets, unary signs, decimal and 0x hexadecimal numbers. Arithmetic is
// 32-bit with wrap-around; every error is recorded as text, never thrown.
#include "source/MathParser.h"

#include <cctype>

namespace {
bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
int32_t Wrap(uint32_t value) { return static_cast<int32_t>(value); }
}  // namespace

MathParser::MathParser(const std::string& expression) {
  success_ = true;
  success_ = Evaluate(expression);
}

bool MathParser::Evaluate(const std::string& expression) {
  error_.clear();
  value_ = 0;
  opStack_.clear();
  depth_ = 0;
  if (expression.size() > maxLength_) {
    error_ = "Parser error: expression exceeds limit of " + std::to_string(maxLength_) + " characters";
    return false;
  }
  expression_ = expression;
  pos_ = 0;
  int32_t result = ParseLoop();
  if (Failed()) return false;
  value_ = result;
  return true;
}

int32_t MathParser::parseExpr() { return ParseLoop(); }

void MathParser::SkipSpaces() {
  while (pos_ < expression_.size() && IsSpace(expression_[pos_])) ++pos_;
}

// The loop of one (sub-)expression: values and operators alternate, and an
// operator first reduces every pending operator of equal or higher
// precedence, which makes each level left-associative.
int32_t MathParser::ParseLoop() {
  opStack_.push_back({0, 0, 'L', 0});
  for (;;) {
    int32_t value = parseVal();
    if (Failed()) return 0;
    Operator op{0, 0, 'L', 0};
    ReadOperator(op);
    while (opStack_.back().code != 0 && opStack_.back().precedence >= op.precedence) {
      Operator top = opStack_.back();
      opStack_.pop_back();
      value = Combine(top, value);
      if (Failed()) return 0;
    }
    if (op.code == 0) {
      opStack_.pop_back();  // this expression's sentinel
      return value;
    }
    op.value = value;
    opStack_.push_back(op);
  }
}

int32_t MathParser::parseVal() {
  SkipSpaces();
  if (pos_ >= expression_.size()) {
    error_ = "Syntax error: value expected at end of expression";
    return 0;
  }
  char c = expression_[pos_];
  if (c == '(' || c == '+' || c == '-') {
    if (++depth_ > kMaxDepth) {
      error_ = "Parser error: expression nested too deeply";
      return 0;
    }
    ++pos_;
    int32_t value;
    if (c == '(') {
      value = parseExpr();
      if (Failed()) return 0;
      SkipSpaces();
      if (pos_ >= expression_.size() || expression_[pos_] != ')') {
        error_ = "Syntax error: `)' expected at end of expression";
        return 0;
      }
      ++pos_;
    } else {
      value = parseVal();
      if (Failed()) return 0;
      if (c == '-') value = Wrap(0u - static_cast<uint32_t>(value));
    }
    --depth_;
    return value;
  }
  if (IsDigit(c)) return ReadNumber();
  ParseError(expression_.substr(pos_), pos_);
  return 0;
}

int32_t MathParser::ReadNumber() {
  uint32_t value = 0;
  if (expression_[pos_] == '0' && pos_ + 2 < expression_.size() &&
      (expression_[pos_ + 1] == 'x' || expression_[pos_ + 1] == 'X')) {
    pos_ += 2;
    int digit;
    while (pos_ < expression_.size() && (digit = HexDigit(expression_[pos_])) >= 0) {
      value = value * 16u + static_cast<uint32_t>(digit);
      ++pos_;
    }
    return Wrap(value);
  }
  while (pos_ < expression_.size() && IsDigit(expression_[pos_])) {
    value = value * 10u + static_cast<uint32_t>(expression_[pos_] - '0');
    ++pos_;
  }
  return Wrap(value);
}

void MathParser::ReadOperator(Operator& op) {
  SkipSpaces();
  op = {0, 0, 'L', 0};
  if (pos_ >= expression_.size()) return;
  switch (expression_[pos_]) {
    case '*': op.code = 3; op.precedence = 20; break;
    case '/': op.code = 4; op.precedence = 20; break;
    case '+': op.code = 1; op.precedence = 10; break;
    case '-': op.code = 2; op.precedence = 10; break;
    default: return;  // anything else ends the expression
  }
  ++pos_;
}

int32_t MathParser::Combine(const Operator& op, int32_t right) {
  const uint32_t l = static_cast<uint32_t>(op.value);
  const uint32_t r = static_cast<uint32_t>(right);
  switch (op.code) {
    case 1: return Wrap(l + r);
    case 2: return Wrap(l - r);
    case 3: return Wrap(l * r);
    case 4:
      if (checkZero(right) == 0) return 0;  // the error is recorded; no division
      // 64-bit division truncates toward zero and cannot trap on INT_MIN / -1.
      return Wrap(static_cast<uint32_t>(static_cast<int64_t>(op.value) / right));
    default: return right;
  }
}

int32_t MathParser::checkZero(int32_t divisor) {
  if (divisor != 0) return divisor;
  error_ = "Parser error: division by 0";
  size_t limit = pos_ < expression_.size() ? pos_ : expression_.size();
  for (size_t i = limit; i-- > 0;) {
    if (expression_[i] == '/' || expression_[i] == '%') {
      error_ += " (error token is \"" + expression_.substr(i) + "\")";
      break;
    }
  }
  return 0;
}

void MathParser::ParseError(const std::string& text, unsigned long index) {
  error_ = "Syntax error: unexpected token \"" + text + "\" at index " + std::to_string(index);
}
