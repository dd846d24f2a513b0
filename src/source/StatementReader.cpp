// Statements of an assembly file: the read loop shared by both passes, the
// tokens of a statement, macro skipping, the section state and the cache of
// recent statements that the register search of pass 2 looks back into.
#include <cstring>

#include "source/FileParser.h"
#include "source/LineReader.h"
#include "source/Tokenizer.h"

void FileParser::ReadStatements(FILE* stream, const std::string& path, int pass) {
  BlockLineReader reader(stream, readBuffer_);
  std::string_view line;
  std::string_view statement;
  size_t consumed = 0;
  while (reader.Peek() != EOF) {
    ++lineNumber;
    // A failed read (a line of 1024 characters or more) still yields its
    // first 1023 characters; the stream then reports end of file.
    reader.ReadLine(line, consumed);
    StatementSplitter splitter(line, consumed);
    while (splitter.Next(statement)) HandleStatement(statement, path, pass);
  }
}

void FileParser::HandleStatement(std::string_view statement, const std::string& path, int pass) {
  current.lineText.assign(statement);
  if (!SourceLineHasKeywords()) return;
  // The cache serves the register search of pass 2 inside a function body,
  // and setting a function clears it: pass 1 and statements outside any
  // measured body would only fill it for nothing.
  if (pass == 2 && currentFunction != nullptr && !foreignFunction) UpdateLineCache();
  if (pass == 1) {
    ProcessKeywordsPass1(path);
  } else {
    ProcessKeywordsPass2(path);
  }
}

bool FileParser::SourceLineHasKeywords() {
  current.ClearTokens();

  const DelimiterSet& delimiters = SourceDelimiters(syntaxMode);
  Tokenizer tokenizer(current.lineText);
  std::string_view token;
  if (!tokenizer.Next(delimiters, token) || token.front() == '#') return false;
  // The fields are empty here: appending is the cheapest way to fill them.
  current.token1.append(token);
  AppendLower(current.lowerToken1, token);
  if (tokenizer.Next(delimiters, token)) {
    current.token2.append(token);
    AppendLower(current.lowerToken2, token);
    if (tokenizer.Next(delimiters, token)) {
      current.token3.append(token);
      AppendLower(current.lowerToken3, token);
      if (tokenizer.Next(delimiters, token)) current.token4.append(token);
    }
  }

  // Macro bodies are invisible to both passes; .endm always returns to text.
  const std::string_view first = current.lowerToken1;
  if (first == ".macro") {
    sectionState = SectionMacro;
    return false;
  }
  if (first == ".endm") {
    sectionState = SectionText;
    return false;
  }
  if (sectionState == SectionMacro) return false;

  if (first == ".text") {
    sectionState = SectionText;
  } else if (first == ".data") {
    sectionState = SectionData;
  } else if (first == ".section") {
    const std::string_view name = current.lowerToken2;
    if (Contains(name, "text")) {
      sectionState = SectionText;
    } else if (Contains(name, "bss") || Contains(name, "data")) {
      sectionState = SectionData;
    } else if (Contains(name, "start")) {
      sectionState = SectionStart;
    } else if (Contains(name, "fini") || Contains(name, "init")) {
      sectionState = SectionInitFini;
    } else {
      sectionState = SectionData;
    }
  }
  return true;
}

void FileParser::UpdateLineCache() {
  // The slot of the oldest entry becomes the newest; assigning into it keeps
  // the capacity of its strings, so a warm cache never allocates.
  lineCacheHead_ = (lineCacheHead_ + 1) % kLineCacheSize;
  ProcessedSourceLine& slot = lineCache_[lineCacheHead_];
  // Only the fields the register look-back reads are kept; the others
  // would double the copying done for every statement and listing line.
  slot.lineText = current.lineText;
  slot.token1 = current.token1;
  slot.token2 = current.token2;
  slot.lowerToken1 = current.lowerToken1;
  slot.lowerToken3 = current.lowerToken3;
  if (lineCacheCount_ < kLineCacheSize) ++lineCacheCount_;
}

void FileParser::ClearLineCache() { lineCacheCount_ = 0; }

const ProcessedSourceLine& FileParser::CachedLine(size_t index) const {
  // Out-of-range indexes are clamped to the oldest entry rather than read
  // past the ring.
  if (lineCacheCount_ != 0 && index >= lineCacheCount_) index = lineCacheCount_ - 1;
  return lineCache_[(lineCacheHead_ + kLineCacheSize - index % kLineCacheSize) % kLineCacheSize];
}

int FileParser::FindTextSection(FILE* stream) {
  if (stream == nullptr) return -1;
  char buffer[kLineBufferSize];
  for (;;) {
    int next = std::getc(stream);
    if (next == EOF) return -1;
    std::ungetc(next, stream);
    ++lineNumber;
    // One line of at most 1023 characters, as getline(buffer, 1024) reads it.
    size_t length = 0;
    bool failed = false;
    for (;;) {
      int c = std::getc(stream);
      if (c == EOF || c == '\n') break;
      if (length == kLineBufferSize - 1) {
        std::ungetc(c, stream);
        failed = true;
        break;
      }
      buffer[length++] = static_cast<char>(c);
    }
    std::string_view text(buffer, length);
    if (const void* nul = std::memchr(buffer, '\0', length)) {
      text = text.substr(0, static_cast<size_t>(static_cast<const char*>(nul) - buffer));
    }
    current.lineText.assign(text);
    if (Contains(text, "section .text") || Contains(text, "section .init") ||
        Contains(text, "section .candidate_compress_section")) {
      return 0;
    }
    // A failed read leaves the stream failed: nothing more can be found.
    if (failed) return -1;
  }
}

