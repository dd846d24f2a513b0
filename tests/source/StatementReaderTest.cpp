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

  // 1023 characters and a newline are one good line; 1024 end the file.
  TempDir dir;
  FileParser p;
  const std::string ok = ".size a, 1" + std::string(1013, ' ') + "\n.size b, 2\n";
  const std::string cut = ".size a, 1;" + std::string(1013, ' ') + "\n.size b, 2\n";
  const std::string lost = ".size a, 1" + std::string(1014, ' ') + "\n.size b, 2\n";
  ASSERT_EQ(ok.find('\n'), 1023u);
  const auto paths = WriteFiles(dir, {{"ok.s", ok}, {"cut.s", cut}, {"lost.s", lost}});
  p.warnFile = false;
  testing::internal::CaptureStdout();
  p.ParseAssemblyFile(paths[0], 1);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(Has(out, "function a not found")) << out;
  EXPECT_TRUE(Has(out, "function b not found in file " + paths[0] + "\nLine 2: .size b, 2\n")) << out;
  testing::internal::CaptureStdout();
  p.ParseAssemblyFile(paths[1], 1);
  out = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(Has(out, "function a not found"));
  EXPECT_FALSE(Has(out, "function b"));
  testing::internal::CaptureStdout();
  p.ParseAssemblyFile(paths[2], 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(StatementReader, StatementsOfOneLineShareItsNumber) {
  TempDir dir;
  FileParser p;
  const auto paths = WriteFiles(dir, {{"a.s", "\t.file \"a.c\"\n\t.size x, 1; .size y, 2\n\t.size z, 3"},
                                      {"b.s", ";.size x, 1\n"},
                                      {"c.s", ""}});
  std::string out = RunPasses(p, paths);
  EXPECT_TRUE(Has(out, "function x not found in file " + paths[0] + "\nLine 2: \t.size x, 1\n")) << out;
  EXPECT_TRUE(Has(out, "function y not found in file " + paths[0] + "\nLine 2:  .size y, 2\n")) << out;
  EXPECT_FALSE(Has(out, "function z"));
  // A file starting with ';' is not read, and reported once (pass 1 only).
  EXPECT_TRUE(Has(out, "Warning: Cannot interpret file " + paths[1] + ".\n"));
  EXPECT_FALSE(Has(out, "Missing .file declaration for file " + paths[1]));
  // An empty file has no .file either.
  EXPECT_TRUE(Has(out, "Warning: Missing .file declaration for file " + paths[2] + "\n"));
  p.guiMode = true;
  out = RunPasses(p, {paths[1]});
  EXPECT_EQ(out, "13: Warning: Cannot interpret file " + paths[1] + ".\n");
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

TEST(StatementReader, FindTextSectionInListing) {
  FileParser p;
  std::string listing = "\nprog.elf:\tfile format elf32-valdrin\n\nDisassembly of section .text:\n\n00001000 <f>:\n";
  std::FILE* file = fmemopen(listing.data(), listing.size(), "r");
  EXPECT_EQ(p.FindTextSection(file), 0);
  EXPECT_EQ(p.lineNumber, 4);
  EXPECT_EQ(p.current.lineText, "Disassembly of section .text:");
  char next[32] = {};
  ASSERT_NE(std::fgets(next, sizeof next, file), nullptr);
  EXPECT_STREQ(next, "\n");  // reading goes on after the section line
  std::fclose(file);

  std::string none = "a\n" + std::string(2000, 'x') + "\nDisassembly of section .text:\n";
  file = fmemopen(none.data(), none.size(), "r");
  p.lineNumber = 0;
  EXPECT_EQ(p.FindTextSection(file), -1);  // the over-long line ends the search
  EXPECT_EQ(p.lineNumber, 2);
  std::fclose(file);
}

TEST(StatementReader, CacheKeepsTheTwentyNewestStatements) {
  TempDir dir;
  FileParser p;
  std::string content = "\t.file \"c.c\"\n\t.type f,@function\nf:\n";
  for (int i = 1; i <= 25; ++i) content += "s" + std::to_string(i) + " x" + (i % 2 ? "\n" : ";");
  const auto paths = WriteFiles(dir, {{"c.s", content + "\n"}});
  RunPasses(p, paths);
  ASSERT_EQ(p.LineCacheSize(), 20u);
  EXPECT_EQ(p.CachedLine(0).lineText, "s25 x");
  EXPECT_EQ(p.CachedLine(0).token2, "x");
  EXPECT_EQ(p.CachedLine(19).lineText, "s6 x");
  EXPECT_EQ(p.lineNumber, 17);
  p.ClearLineCache();
  EXPECT_EQ(p.LineCacheSize(), 0u);
}

TEST(StatementReader, ArbitraryBytesAreHarmless) {
  TempDir dir;
  std::mt19937 random(7);
  std::string binary;
  for (int i = 0; i < 300000; ++i) binary += static_cast<char>(random() % 256 == 0 ? '\n' : random() % 256);
  std::string lines;
  for (int i = 0; i < 3000; ++i) lines += "r29 = sub(r29,r1); call ##; allocframe(#\0x; .L:\n"s;
  const auto paths = WriteFiles(dir, {{"bin.s", binary}, {"nolf.s", std::string(5000000, 'q')},
                                      {"lines.s", "f:\n" + lines}});
  FileParser p;
  RunPasses(p, paths);
  SUCCEED();
}

}  // namespace
