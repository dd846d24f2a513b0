// Statement boundaries and tokens, checked against the standard stream reads and strtok.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>

#include "source/LineReader.h"
#include "source/Tokenizer.h"

using namespace std::literals;

namespace {

using Statements = std::vector<std::pair<int, std::string>>;

// The statement boundaries as the standard stream reads define them.
Statements ReferenceStatements(const std::string& content) {
  std::istringstream in(content);
  Statements result;
  char line[1024], statement[1024];
  for (int number = 1; in.peek() != EOF; ++number) {
    in.getline(line, sizeof line);
    const std::streamsize got = in.gcount();
    const std::streamsize stored = (in.fail() || in.eof()) ? got : got - 1;
    std::istringstream pieces(std::string(line, static_cast<size_t>(stored)));
    while (pieces.getline(statement, got, ';')) result.emplace_back(number, statement);
  }
  return result;
}

// The read loop of the parser: plain lines first, the general path for the rest.
Statements ReaderStatements(const std::string& content, size_t blockSize, bool plainFirst) {
  std::string copy = content;
  std::FILE* file = copy.empty() ? nullptr : fmemopen(copy.data(), copy.size(), "r");
  std::vector<char> buffer;
  BlockLineReader reader(file, buffer, blockSize);  // no file reads as empty
  Statements result;
  std::string_view line, statement;
  size_t consumed = 0;
  for (int number = 1;; ++number) {
    if (plainFirst && reader.ReadPlainLine(line)) {
      if (!line.empty()) result.emplace_back(number, std::string(line));
      continue;
    }
    if (reader.Peek() == EOF) break;
    reader.ReadLine(line, consumed);
    StatementSplitter splitter(line, consumed);
    while (splitter.Next(statement)) result.emplace_back(number, std::string(statement));
  }
  if (file != nullptr) std::fclose(file);
  return result;
}

TEST(StatementReader, MatchesStreamReadsOnRandomInput) {
  std::mt19937 random(20240611);
  const std::string alphabet = "aaaaaaaaab   ;;\n\n\t\r\0x";
  for (int round = 0; round < 300; ++round) {
    std::string content;
    const size_t size = random() % 6000;
    for (size_t i = 0; i < size; ++i) {
      // Now and then a run long enough to exceed the line buffer.
      if (random() % 2000 == 0) content.append(1000 + random() % 60, 'y');
      content += alphabet[random() % alphabet.size()];
    }
    const Statements expected = ReferenceStatements(content);
    ASSERT_EQ(ReaderStatements(content, 1024, false), expected) << "round " << round;
    ASSERT_EQ(ReaderStatements(content, 1024, true), expected) << "round " << round;
    ASSERT_EQ(ReaderStatements(content, BlockLineReader::kDefaultBlockSize, true), expected);
  }
}

TEST(StatementReader, DelimiterSetChangesBetweenTokens) {
  // strtok with a changing delimiter set: the delimiter after a token is used up.
  Tokenizer t("a(b c)  d\0e"sv);
  std::string_view token;
  std::string seen;
  for (const DelimiterSet* set : {&kSourceDelimiters, &kBlankDelimiters, &kBlankDelimiters, &kBlankDelimiters}) {
    seen += t.Next(*set, token) ? std::string(token) + "|" : "-";
  }
  EXPECT_EQ(seen, "a|b|c)|d|");
}

// The tokenizer steps over runs of blanks and scans several characters at a
// time; strtok is the reference, with the delimiter set changing at random
// between tokens and NUL ending the text.
TEST(StatementReader, TokensMatchStrtokOverBlankRuns) {
  std::mt19937 rng(3);
  const std::string alphabet = "    \t,(a.b"s + '\0';
  const char* const sets[] = {" \t\r\n,={}()", " \t"};
  const DelimiterSet* const delimiters[] = {&kSourceDelimiters, &kBlankDelimiters};
  for (int round = 0; round < 4000; ++round) {
    std::string text;
    for (size_t n = rng() % 60; n > 0; --n) text += rng() % 4 == 0 ? std::string(rng() % 20, ' ') : std::string(1, alphabet[rng() % alphabet.size()]);
    std::vector<int> choice(text.size() + 1);
    for (int& c : choice) c = round % 2 == 0 ? 0 : static_cast<int>(rng() % 2);
    std::string expected, seen, copy = text;
    size_t i = 0;
    for (char* token = std::strtok(copy.data(), sets[choice[0]]); token != nullptr;
         token = std::strtok(nullptr, sets[choice[++i]])) {
      expected += std::string(token) + "|";
    }
    Tokenizer tokens(text);
    i = 0;
    for (std::string_view token; tokens.Next(*delimiters[choice[i]], token); ++i) seen += std::string(token) + "|";
    ASSERT_EQ(seen, expected) << '"' << text << '"';
  }
}

}  // namespace
