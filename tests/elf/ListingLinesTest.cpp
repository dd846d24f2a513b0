// The listing's line reader against a plain split of the same bytes: block
// edges, overlong lines, NUL bytes and a last line without newline.
#include <cctype>
#include <cstdio>
#include <random>

#include "TestUtil.h"
#include "elf/ListingLines.h"

using namespace testutil;

namespace {

// Lines as getline into a 1024-byte buffer gives them, cut at a NUL.
std::vector<std::string> PlainSplit(const std::string& bytes) {
  std::vector<std::string> lines;
  size_t at = 0;
  while (at < bytes.size()) {
    size_t newline = bytes.find('\n', at);
    if (newline == std::string::npos) newline = bytes.size();
    std::string line = bytes.substr(at, std::min(newline - at, ListingLineReader::kMaxLine));
    lines.push_back(line.substr(0, line.find('\0')));
    at = newline + 1;
  }
  return lines;
}

TEST(ListingLineReader, AgreesWithPlainSplitAcrossBlocks) {
  TempDir tmp;
  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    std::string bytes;
    const size_t lines = 50 + random() % 400;
    for (size_t i = 0; i < lines; ++i) {
      const size_t kind = random() % 20;
      size_t length = kind == 0 ? 1000 + random() % 3000 : random() % (kind >= 15 ? 300 : 80);  // some overlong
      std::string line(length, 'x');
      for (char& c : line) c = "ab \t{;"[random() % 6];
      if (kind >= 10 && length > 0) {
        // At most one ';' and one '{', anywhere: far into a long line too.
        for (char& c : line) c = c == ';' || c == '{' ? 'a' : c;
        if (random() % 2) line[random() % length] = ';';
        if (random() % 2) line[random() % length] = '{';
      }
      if ((kind == 1 || (kind == 0 && random() % 2)) && length > 0) line[random() % length] = '\0';
      if (kind == 2 && length > 0) line[0] = '\0';
      bytes += line;
      if (i + 1 < lines || random() % 2) bytes += '\n';
    }
    WriteFile(tmp / "x.dis", bytes);
    std::FILE* file = std::fopen((tmp / "x.dis").c_str(), "rb");
    ASSERT_NE(file, nullptr);
    // The smallest block the reader takes, so that lines straddle blocks.
    ListingLineReader reader(file, round % 2 ? 0 : 5000);
    std::vector<std::string> read;
    std::string_view line;
    while (reader.Next(line)) {
      read.emplace_back(line);
      // The marks found while looking for the line's end.
      ASSERT_EQ(reader.FirstSemicolon(), line.find(';')) << "round " << round << " line " << read.size();
      ASSERT_EQ(reader.FirstBrace(), line.find('{')) << "round " << round << " line " << read.size();
    }
    EXPECT_EQ(read, PlainSplit(bytes)) << "round " << round;
    EXPECT_EQ(reader.Position(), static_cast<long long>(bytes.size()));
    std::fclose(file);
  }
}

// The encoding columns against a character-by-character reading: every
// position of the shape broken in turn, and random text.
TEST(ListingLineReader, EncodingColumnsMatchCharacterByCharacter) {
  auto reference = [](std::string_view text) -> size_t {
    auto hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    auto blank = [](char c) { return c == ' ' || c == '\t'; };
    if (text.size() < 21) return 0;
    for (size_t i = 0; i < 21; ++i) {
      const bool wantBlank = i == 2 || i == 5 || i == 8 || i == 11 || i == 20;
      if (wantBlank ? !blank(text[i]) : !hex(text[i])) return 0;
    }
    return 21;
  };
  std::mt19937 random(5);
  const std::string alphabet = "09afAFgG:/@`\t x\x80\xe1\xc1";
  for (int round = 0; round < 20000; ++round) {
    std::string text = round % 2 ? "0a c0 F9 78\t7800cAf0 { \tcall" : "00 c0 00 78 7800c000\t";
    if (round % 4 < 2) text[random() % 21] = alphabet[random() % alphabet.size()];
    if (round % 4 == 3) {
      text.resize(random() % 40);
      for (char& c : text) c = alphabet[random() % alphabet.size()];
    }
    if (round % 7 == 0) text.resize(random() % 22);
    EXPECT_EQ(InstructionEncodingLength(text), reference(text)) << text;
  }
}

// The address columns against a character-by-character reading, for
// lines shorter and longer than one 16-character look, with runs of spaces
// and digits that end anywhere.
TEST(ListingLineReader, AddressColumnsMatchCharacterByCharacter) {
  std::mt19937 random(7);
  const std::string others = ":\tx@`gG/\x80\xe1";
  for (int round = 0; round < 20000; ++round) {
    std::string line(random() % 24, ' ');
    size_t at = random() % (line.size() + 1);
    const size_t digits = random() % 20;
    for (size_t i = 0; i < digits && at < line.size(); ++i, ++at) line[at] = "0123456789abcdefABCDEF"[random() % 22];
    for (; at < line.size(); ++at) line[at] = random() % 3 ? others[random() % others.size()] : ' ';
    size_t begin = 0;
    while (begin < line.size() && line[begin] == ' ') ++begin;
    size_t end = begin;
    while (end < line.size() && std::isxdigit(static_cast<unsigned char>(line[end]))) ++end;
    size_t gotBegin = 99, gotEnd = 99;
    AddressColumns(line, gotBegin, gotEnd);
    ASSERT_EQ(gotBegin, begin) << '"' << line << '"';
    ASSERT_EQ(gotEnd, end) << '"' << line << '"';
  }
}

}  // namespace
