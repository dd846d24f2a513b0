// Statements of an assembly file: the read loop shared by both passes, the
// tokens of a statement, macro skipping, the section state and the cache of
// recent statements that the register search of pass 2 looks back into.
#include <algorithm>
#include <cstring>

#include "source/FileParser.h"
#include "source/LineReader.h"
#include "source/ShortCopy.h"
#include "source/Tokenizer.h"

void FileParser::ReadStatements(FILE* stream, const std::string& path, int pass) {
  BlockLineReader reader(stream, readBuffer_);
  // The syntax is chosen before any file is read.
  const DelimiterSet& delimiters = SourceDelimiters(syntaxMode);
  std::string_view line;
  std::string_view statement;
  size_t consumed = 0;
  for (;;) {
    if (reader.ReadPlainLine(line)) {
      ++lineNumber;
      // Half the lines of compiler output open or close a packet: a brace
      // and a tab, no token, which no pass reads.
      if (line.size() <= 2 && (line.empty() || (delimiters.Contains(line[0]) && delimiters.Contains(line.back())))) {
        continue;
      }
      HandleStatement(line, path, pass);
      continue;
    }
    if (reader.Peek() == EOF) break;
    ++lineNumber;
    // A failed read (a line of 1024 characters or more) still yields its
    // first 1023 characters; the stream then reports end of file.
    reader.ReadLine(line, consumed);
    StatementSplitter splitter(line, consumed);
    while (splitter.Next(statement)) HandleStatement(statement, path, pass);
  }
  HandlePendingCalls(path);
}

void FileParser::HandleStatement(std::string_view statement, const std::string& path, int pass) {
  statementText_ = statement;
  // The first token is cut here, in line, and handed on as the statement's
  // first: most statements are judged by it alone.
  const DelimiterSet& delimiters = SourceDelimiters(syntaxMode);
  Tokenizer tokens(statement);
  std::string_view first;
  if (!tokens.Next(delimiters, first)) return;  // no token
  BeginStatementTokens(tokens, delimiters, 4);
  statementTokens_[0] = first;
  statementTokenCount_ = 1;
  if (statementPrefilter && !StatementMayMatterRaw(pass)) {
    // Most statements are instructions no pass acts on: a look at the raw
    // text turns them away before anything else is read. What the reading
    // below would still do for them is done here: the cache, outside a macro.
    if (pass == 2 && sectionState != SectionMacro && currentFunction != nullptr && !foreignFunction) {
      UpdateLineCache();
    }
    return;
  }
  if (!SourceLineHasKeywords()) return;
  // The cache serves the register search of pass 2 inside a function body,
  // and setting a function clears it: pass 1 and statements outside any
  // measured body would only fill it for nothing.
  if (pass == 2 && currentFunction != nullptr && !foreignFunction) UpdateLineCache();
  // Most statements are instructions no pass acts on: they are never
  // copied into the statement fields.
  if (!StatementMayMatter(pass)) return;
  if (statementPrefilter && pass == 2 && HandleCallInPlace(path)) return;
  HandlePendingCalls(path);
  // Pass 1's handlers read three tokens, pass 2's four.
  FillStatementFields(pass == 1 ? 3 : 4, true);
  if (pass == 1) {
    ProcessKeywordsPass1(path);
  } else {
    ProcessKeywordsPass2(path);
  }
}

bool FileParser::SourceLineHasKeywords() {
  if (StatementToken(0).empty() || statementTokens_[0].front() == '#') return false;

  // Macro bodies are invisible to both passes; .endm always returns to text.
  const std::string_view first = statementTokens_[0];
  if (first.front() != '.') return sectionState != SectionMacro;
  if (EqualsLower(first, ".macro")) {
    sectionState = SectionMacro;
    return false;
  }
  if (EqualsLower(first, ".endm")) {
    sectionState = SectionText;
    return false;
  }
  if (sectionState == SectionMacro) return false;

  if (EqualsLower(first, ".text")) {
    sectionState = SectionText;
  } else if (EqualsLower(first, ".data")) {
    sectionState = SectionData;
  } else if (EqualsLower(first, ".section")) {
    std::string name;
    AppendLower(name, StatementToken(1));
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

void FileParser::BeginStatementTokens(const Tokenizer& tokens, const DelimiterSet& delimiters, size_t limit) {
  statementTokenizer_ = tokens;
  statementDelimiters_ = &delimiters;
  statementTokenLimit_ = std::min(limit, kStatementTokens);
  statementTokenCount_ = 0;
  statementTokensDone_ = false;
}

std::string_view FileParser::CutStatementTokens(size_t index) {
  while (statementTokenCount_ <= index && statementTokenCount_ < statementTokenLimit_ && !statementTokensDone_) {
    std::string_view token;
    if (statementTokenizer_.Next(*statementDelimiters_, token)) {
      statementTokens_[statementTokenCount_++] = token;
    } else {
      statementTokensDone_ = true;
    }
  }
  return index < statementTokenCount_ ? statementTokens_[index] : std::string_view();
}

bool FileParser::StatementMayMatter(int pass) {
  const std::string_view t1 = StatementToken(0);
  if (t1.back() == ':') {
    // Labels are the most common statements after instructions. Pass 1
    // skips local ones (.L, .l) in every section; pass 2 looks only at
    // labels in code outside a function body.
    if (pass == 1) return !IsLocalLabel(t1.substr(0, t1.size() - 1));
    const bool code = sectionState == SectionText || sectionState == SectionInitFini;
    return code && (currentFunction == nullptr || functionEnded);
  }
  // The marker macros function_begin, function_end, fallthrough_tail_call
  // and valdrin_opt_func_*, and the return jumpr.
  const char c = LowerAscii(t1.front());
  if (c == 'f' || c == 'v' || EqualsLower(t1, "jumpr")) return true;
  if (pass == 1) {
    // Directives (.size, .globl, .comm, ...), and name,@function or
    // name,@object after a .type-like word.
    if (t1.find('.') != std::string_view::npos) return true;
    return statementText_.find('@') != std::string_view::npos && StatementToken(2).starts_with('@');
  }

  // Of the directives pass 2 reads the scope lists and the function end.
  if (c == '.') {
    for (std::string_view directive : {".weak", ".globl", ".global", ".size"}) {
      if (EqualsLower(t1, directive)) return true;
    }
  }
  if (EqualsLower(StatementToken(1), "r31")) return true;  // counts as a return
  if (foreignFunction) return false;
  if (ContainsLower(t1, "allocframe") || EqualsLower(t1, "r29") || EqualsLower(t1, "sp")) return true;
  const std::string_view t3 = StatementToken(2);
  if (EqualsLower(t1, "call") || EqualsLower(t3, "call")) return true;
  const bool jumpFirst = EqualsLower(t1, "jump") || ContainsLower(t1, "jump:");
  if (jumpFirst || EqualsLower(t3, "jump") || ContainsLower(t3, "jump:")) {
    // Most jumps branch inside the function, to a local label. Outside a
    // function any jump is reported.
    return currentFunction == nullptr || !IsLocalLabel(StatementToken(jumpFirst ? 1 : 3));
  }
  // Function addresses: CONST32(#f), #hi(f) and ##f in a register write,
  // ##f stored to memory. All of them need a '#'.
  if (statementText_.find('#') == std::string_view::npos) return false;
  const std::string_view t2 = StatementToken(1);
  if (c == 'r' && t2.find('#') != std::string_view::npos) return true;
  return Contains(t2, "##") || Contains(t3, "##") || Contains(StatementToken(3), "##");
}

void FileParser::FillStatementFields(size_t count, bool lowerCase) {
  current.ClearTokens();
  current.lineText.assign(statementText_);
  std::string* const fields[] = {&current.token1, &current.token2, &current.token3, &current.token4, &current.token5};
  std::string* const lower[] = {&current.lowerToken1, &current.lowerToken2, &current.lowerToken3};
  for (size_t i = 0; i < count && i < 5; ++i) {
    const std::string_view token = StatementToken(i);
    fields[i]->append(token);
    if (lowerCase && i < 3) AppendLower(*lower[i], token);
  }
}

void FileParser::UpdateLineCache() {
  // The slot of the oldest entry becomes the newest.
  lineCacheHead_ = (lineCacheHead_ + 1) % kLineCacheSize;
  CachedText& slot = lineCache_[lineCacheHead_];
  slot.length = std::min(statementText_.size(), CachedText::kCapacity);
  CopyShortBytes(slot.text, statementText_.data(), slot.length);
  if (lineCacheCount_ < kLineCacheSize) ++lineCacheCount_;
}

void FileParser::ClearLineCache() { lineCacheCount_ = 0; }

const ProcessedSourceLine& FileParser::CachedLine(size_t index) const {
  // Out-of-range indexes are clamped to the oldest entry rather than read
  // past the ring.
  if (lineCacheCount_ != 0 && index >= lineCacheCount_) index = lineCacheCount_ - 1;
  const CachedText& slot = lineCache_[(lineCacheHead_ + kLineCacheSize - index % kLineCacheSize) % kLineCacheSize];
  const std::string_view text(slot.text, slot.length);
  std::string_view tokens[3];
  Tokenizer tokenizer(text);
  for (std::string_view& token : tokens) {
    if (!tokenizer.Next(SourceDelimiters(syntaxMode), token)) break;
  }
  ProcessedSourceLine& line = cachedLine_;
  line.lineText = text;
  line.token1 = tokens[0];
  line.token2 = tokens[1];
  line.lowerToken1.clear();
  line.lowerToken3.clear();
  AppendLower(line.lowerToken1, tokens[0]);
  AppendLower(line.lowerToken3, tokens[2]);
  return line;
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

