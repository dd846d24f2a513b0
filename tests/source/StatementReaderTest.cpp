// Statements, tokens, sections and the line cache.
#include <cstdio>
#include <random>
#include <sstream>

#include "PassTestUtil.h"
#include "source/LineReader.h"
#include "source/Tokenizer.h"

using namespace std::literals;
using passtest::Has;
using passtest::RunPasses;
using passtest::WriteFiles;
using testutil::TempDir;

namespace {

using Statements = std::vector<std::pair<int, std::string>>;

// The statement boundaries as the standard stream reads define them.
Statements ReferenceStatements(const std::string& content) {
  std::istringstream in(content);
  Statements result;
  char line[1024];
  char statement[1024];
  int number = 0;
  while (in.peek() != EOF) {
    ++number;
    in.getline(line, sizeof line);
    const std::streamsize got = in.gcount();
    const std::streamsize stored = (in.fail() || in.eof()) ? got : got - 1;
    std::istringstream pieces(std::string(line, static_cast<size_t>(stored)));
    while (pieces.getline(statement, got, ';')) result.emplace_back(number, statement);
  }
  return result;
}

Statements ReaderStatements(const std::string& content, size_t blockSize) {
  std::string copy = content;
  std::FILE* file = fmemopen(copy.data(), copy.size(), "r");
  std::vector<char> buffer;
  BlockLineReader reader(file, buffer, blockSize);
  Statements result;
  std::string_view line;
  std::string_view statement;
  size_t consumed = 0;
  int number = 0;
  while (reader.Peek() != EOF) {
    ++number;
    reader.ReadLine(line, consumed);
    StatementSplitter splitter(line, consumed);
    while (splitter.Next(statement)) result.emplace_back(number, std::string(statement));
  }
  std::fclose(file);
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
    ASSERT_EQ(ReaderStatements(content, 1024), expected) << "round " << round;
    ASSERT_EQ(ReaderStatements(content, 1500), expected) << "round " << round;
    ASSERT_EQ(ReaderStatements(content, BlockLineReader::kDefaultBlockSize), expected);
  }
}

TEST(StatementReader, LineEndsAndLengthLimits) {
  const std::string pad1022(1022 - 10, ' ');  // ".size a, 1" is 10 characters
  EXPECT_EQ(ReaderStatements("x;y\nz", 1024), (Statements{{1, "x"}, {1, "y"}}));  // z: no newline
  EXPECT_EQ(ReaderStatements("x\na;b", 1024), (Statements{{1, "x"}, {2, "a"}, {2, "b"}}));
  EXPECT_EQ(ReaderStatements("x\nab;", 1024), (Statements{{1, "x"}, {2, "ab"}}));
  EXPECT_EQ(ReaderStatements("a;;b\n\n;\nc\0d;e\n"s, 1024),
            (Statements{{1, "a"}, {1, ""}, {1, "b"}, {3, ""}, {4, "c"}, {4, "e"}}));

}

TEST(StatementReader, TokensSectionsAndMacros) {
  FileParser p;
  auto classify = [&](const std::string& text) {
    p.current.lineText = text;
    return p.SourceLineHasKeywords();
  };
  EXPECT_TRUE(classify("  r29 = add(r29,#-8)  // note"));
  EXPECT_EQ(p.current.token1 + "|" + p.current.token2 + "|" + p.current.token3 + "|" + p.current.token4,
            "r29|add|r29|#-8");
  EXPECT_TRUE(classify("\tAllocFrame(#16)"));
  EXPECT_EQ(p.current.lowerToken1 + "|" + p.current.token2 + "|" + p.current.token3, "allocframe|#16|");
  EXPECT_FALSE(classify("  # a comment"));
  EXPECT_FALSE(classify(" \t{ }"));
  p.syntaxMode = 1;
  EXPECT_TRUE(classify("memw(r0+#0) = ##sum_abs"));
  EXPECT_EQ(p.current.token1 + "|" + p.current.token2, "memw(r0+#0)|##sum_abs");
  p.syntaxMode = 0;

  const std::vector<std::pair<std::string, int>> sections = {
      {".data", SectionData},  {".section .text.startup,\"ax\"", SectionText},
      {".section .start", SectionStart}, {".section .init_array", SectionInitFini},
      {".section .sbss", SectionData}, {".section .fini", SectionInitFini},
      {".section .comment", SectionData}, {".TEXT", SectionText}, {".SECTION .RODATA", SectionData}};
  for (const auto& [text, state] : sections) {
    EXPECT_TRUE(classify(text));
    EXPECT_EQ(p.sectionState, state) << text;
  }
  EXPECT_FALSE(classify(".macro m a"));
  EXPECT_FALSE(classify(".globl hidden"));
  EXPECT_FALSE(classify("hidden:"));
  EXPECT_FALSE(classify(".ENDM"));
  EXPECT_EQ(p.sectionState, SectionText);  // not the data section that was active before
  EXPECT_TRUE(classify("hidden:"));

  // strtok with a changing delimiter set: the delimiter after a token is used up.
  Tokenizer t("a(b c)  d\0e"sv);
  std::string_view token;
  ASSERT_TRUE(t.Next(kSourceDelimiters, token));
  EXPECT_EQ(token, "a");
  ASSERT_TRUE(t.Next(kBlankDelimiters, token));
  EXPECT_EQ(token, "b");
  ASSERT_TRUE(t.Next(kBlankDelimiters, token));
  EXPECT_EQ(token, "c)");
  ASSERT_TRUE(t.Next(kBlankDelimiters, token));
  EXPECT_EQ(token, "d");
  EXPECT_FALSE(t.Next(kBlankDelimiters, token));
}

}  // namespace
