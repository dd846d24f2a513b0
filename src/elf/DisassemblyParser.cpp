// Reads the objdump listing of a linked image or of the linked toolchain
// libraries: function headers, frame instructions, direct calls and jumps,
// relocation lines and the forms of computed calls.
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "elf/ListingLines.h"
#include "source/Tokenizer.h"
#include "source/FileParser.h"

namespace {

constexpr const DelimiterSet& kDelimitersKeepParens = kSourceDelimitersKeepParens;  // valdrin-objdump
constexpr const DelimiterSet& kDelimiters = kSourceDelimiters;                      // valdrin-llvm-objdump
constexpr const char* kHandlerFailed = "12: ";

bool EndsWith(std::string_view text, char c) { return !text.empty() && text.back() == c; }
bool StartsWith(std::string_view text, std::string_view prefix) {
  // The first character settles almost every test on a listing line.
  if (prefix.empty()) return true;
  return !text.empty() && text[0] == prefix[0] && text.substr(0, prefix.size()) == prefix;
}

// Character classes looked up in a table: the encoding test runs on every
// line of a listing.
enum : unsigned char { kHexDigit = 1, kBlank = 2 };
constexpr std::array<unsigned char, 256> kCharClass = [] {
  std::array<unsigned char, 256> table{};
  for (char c : std::string_view("0123456789abcdefABCDEF")) table[static_cast<unsigned char>(c)] = kHexDigit;
  table[' '] = table['\t'] = kBlank;
  return table;
}();
bool IsBlank(char c) { return kCharClass[static_cast<unsigned char>(c)] == kBlank; }
bool IsHexDigit(char c) { return kCharClass[static_cast<unsigned char>(c)] == kHexDigit; }

bool IsHexText(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (!IsHexDigit(c)) return false;
  }
  return true;
}

// Parses an address written in hex, with or without 0x; false when none.
bool ParseAddress(std::string_view text, uint32_t& value) {
  if (StartsWith(text, "0x") || StartsWith(text, "0X")) text.remove_prefix(2);
  if (!IsHexText(text) || text.size() > 16) return false;
  uint64_t v = 0;
  for (char c : text) v = (v << 4) | static_cast<uint64_t>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
  value = static_cast<uint32_t>(v);
  return true;
}

// Splits "<blanks><hex address>:<blank><encoding><instruction>", the shape
// of nearly every listing line, into the address and the instruction; false
// for any other shape. The address and the encoding are the tokens the
// tokenizer would cut there under either delimiter set.
bool SplitInstructionLine(std::string_view line, std::string_view& address, std::string_view& instruction) {
  size_t begin = 0, i = 0;
  AddressColumns(line, begin, i);
  if (i == begin || i + 1 >= line.size() || line[i] != ':' || !IsBlank(line[i + 1])) return false;
  const std::string_view rest = line.substr(i + 2);
  const size_t encoding = InstructionEncodingLength(rest);
  if (encoding == 0) return false;
  address = line.substr(begin, i - begin);
  instruction = rest.substr(encoding);
  return true;
}

// The next ";"-separated segment of rest, as strtok would cut it (empty
// segments are skipped); rest keeps what follows the segment's delimiter.
// The line holds no NUL: the line reader cut it there.
bool NextSegment(std::string_view& rest, std::string_view& segment) {
  size_t start = 0;
  while (start < rest.size() && rest[start] == ';') ++start;
  if (start == rest.size()) return false;
  const void* semicolon = std::memchr(rest.data() + start, ';', rest.size() - start);
  const size_t end = semicolon != nullptr ? static_cast<size_t>(static_cast<const char*>(semicolon) - rest.data())
                                          : rest.size();
  segment = rest.substr(start, end - start);
  rest.remove_prefix(end < rest.size() ? end + 1 : end);
  return true;
}

}  // namespace

ElfFile* FileParser::ListingElf() const { return listingElf != nullptr ? listingElf : elfReader.get(); }

int FileParser::ParseDisassembledElfFile(const std::string& path) {
  PRINTS("Processing Disassembly file %s", path, "20: ");
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) {
    PRINTS("Error: Cannot open file %s\n", path, "10: ");
    return -1;
  }
  long long length = 0;
  if (std::fseek(file.get(), 0, SEEK_END) == 0) length = std::ftell(file.get());
  std::fseek(file.get(), 0, SEEK_SET);
  if (guiMode) PRINTI("%d%% complete", 0, "35: ");

  ListingLineReader reader(file.get());
  std::string_view line;
  int lastPercent = 0;
  lineCount = 0;
  deferCalledMarks_ = true;
  while (reader.Next(line)) {
    ++lineCount;
    // Two segments: before the first ";" and after it (a packet's second
    // sub-instruction). The reader found the first ';' and '{' already.
    const size_t semicolon = reader.FirstSemicolon();
    const size_t brace = reader.FirstBrace();
    std::string_view first, second;
    if (semicolon == ListingLineReader::kNone) {
      if (!line.empty()) ParseListingSegment(line, true, brace != ListingLineReader::kNone);
    } else if (semicolon != 0) {
      first = line.substr(0, semicolon);
      line.remove_prefix(semicolon + 1);
      ParseListingSegment(first, true, brace < semicolon);
      if (NextSegment(line, second)) ParseListingSegment(second, false, false);
    } else if (NextSegment(line, first)) {
      // Empty segments first, which strtok skips.
      ParseListingSegment(first, true, first.find('{') != std::string_view::npos);
      if (NextSegment(line, second)) ParseListingSegment(second, false, false);
    }
    if (lineCount % 5000 == 0 && length > 0) {
      int percent = static_cast<int>(reader.Position() * 100 / length);
      if (guiMode && percent != lastPercent) PRINTI("%d%% complete", percent, "35: ");
      lastPercent = percent;
    }
  }
  HandleListedCalls();
  deferCalledMarks_ = false;
  FlushCalledMarks();

  ClearCurrentDisAsmFunction();
  if (DeleteList(ListFalseFunction) != 1) PRINT("Error: Unable to destroy false function list.", "11: ");
  hasFuncRelocations = false;
  pendingFunction.clear();
  if (guiMode) PRINTI("%d%% complete", 100, "35: ");
  return 0;
}

void FileParser::ParseListingSegment(std::string_view segment, bool first, bool holdsBrace) {
  statementText_ = segment;
  bool keep = false;
  // Without the pre-check every text goes to the handlers' own tests.
  KeywordHint hint = KeywordHint::kAny;
  std::string_view address, instruction;
  if (first && pendingFunction.empty() && SplitInstructionLine(segment, address, instruction)) {
    // An instruction line, read as DisAsmLineHasKeywords would read it, but
    // no token is cut before the text is known to hold a keyword.
    current.lineLabel.assign(address);
    if (holdsBrace) current.packetAddress = current.lineLabel;
    ClearStatementTokens();
    if (skipFunction) return;
    if (statementPrefilter) hint = InstructionKeywordHint(instruction);
    if (hint == KeywordHint::kNone) return;
    BeginStatementTokens(Tokenizer(instruction), objdumpKind == 1 ? kDelimitersKeepParens : kDelimiters, 5);
    keep = !StatementToken(0).empty();
  } else if (!first) {
    // A packet's second instruction: as plain as the first, and as often
    // turned away by the same look.
    if (skipFunction) return;
    if (statementPrefilter) hint = InstructionKeywordHint(segment);
    if (hint == KeywordHint::kNone) return;
    keep = DisAsmLineHasKeywords2() == 1;
  } else {
    // Headers, sections and relocations change what the calls put aside read.
    HandleListedCalls();
    if (StartsWith(segment, "Disassembly of section ")) {
      // A per-function section of a relocatable object has its own
      // relocation section; any other section leaves the function map empty.
      std::string_view section = segment.substr(std::strlen("Disassembly of section "));
      hasFuncRelocations = false;
      if (Contains(section, ".text.")) {
        std::string_view name = section.substr(section.rfind('.') + 1);
        if (!name.empty()) name.remove_suffix(1);  // the colon
        ElfFile* elf = ListingElf();
        if (!name.empty() && elf != nullptr) hasFuncRelocations = elf->CreateFuncReloMap(std::string(name));
      }
    }
    keep = DisAsmLineHasKeywords() == 1;
  }
  // No line cache here: the register look-back matches lower-case fields,
  // which listing lines never fill, so it cannot find a write in a listing
  // and a copy of every line would buy nothing.
  if (!keep || skipFunction) return;
  // Loads and stores through the frame hold r29 far more often than writes
  // to it do.
  if (hint == KeywordHint::kR29Only ? StatementToken(0) != "r29" : !ListingLineMayMatter()) return;
  // Calls and jumps, the most common of these, are read from the tokens in
  // place, as are constants; the other handlers take the statement fields.
  // A frame or r29 line goes to its own handler even when a branch word
  // follows.
  const std::string_view t1 = StatementToken(0);
  if (t1 != "allocframe" && t1 != "r29" &&
      HandleListedBranch(t1, StatementToken(1), StatementToken(2), StatementToken(3))) {
    return;
  }
  ProcessKeywordsDisassembly();
}

bool FileParser::ListingLineMayMatter() {
  // The keyword tests of the line handler, each as loose or looser.
  const std::string_view t1 = StatementToken(0);
  if (t1 == "allocframe" || t1 == "r29" || t1 == "call") return true;
  if (Contains(t1, "jump") || Contains(t1, ".l") || Contains(t1, ".h") || Contains(t1, "R_VLD")) return true;
  const std::string_view t2 = StatementToken(1);
  if (t2 == "call" || Contains(t2, "jump")) return true;
  if (t1.empty() || (t1[0] != 'r' && t1 != "memw")) return false;
  // The address forms ##f, (gp), memw(#a) and memd(#a) in any later token:
  // each has "##", "(gp" or "(#". One pass finds them all.
  const std::string_view rest = statementText_.substr(static_cast<size_t>(t1.data() - statementText_.data()));
  for (size_t i = 0; i + 1 < rest.size(); ++i) {
    const char next = rest[i + 1];
    if (rest[i] == '#' && next == '#') return true;
    if (rest[i] == '(' && (next == '#' || (next == 'g' && i + 2 < rest.size() && rest[i + 2] == 'p'))) return true;
  }
  return false;
}

int FileParser::DisAsmLineHasKeywords() {
  ClearStatementTokens();
  current.lineLabel.clear();
  const DelimiterSet& delimiters = objdumpKind == 1 ? kDelimitersKeepParens : kDelimiters;
  Tokenizer tokens(statementText_);
  std::string_view firstToken, secondToken;
  if (!tokens.Next(delimiters, firstToken)) return 0;
  // Nearly every line is an instruction with its encoding: its first byte
  // is the second token and the rest of the encoding is skipped below.
  const size_t encoding = EndsWith(firstToken, ':') ? InstructionEncodingLength(tokens.Unread()) : 0;
  bool hasSecond = true;
  if (encoding != 0) {
    secondToken = tokens.Unread().substr(0, 2);
  } else {
    hasSecond = tokens.Next(delimiters, secondToken);
  }

  if (hasSecond && EndsWith(secondToken, ':')) {
    // "<address> <name>:" opens a function.
    std::string name(secondToken);
    if (SetCurrentDisAsmFunction(name, std::string(firstToken)) == -1) {
      PRINTS("Error: Function %s does not exist in elf file.", name, kHandlerFailed);
    }
    return 0;
  }
  if (!EndsWith(firstToken, ':')) return 0;
  std::string_view label = firstToken.substr(0, firstToken.size() - 1);
  if (!hasSecond && !IsHexText(label)) {
    // "<name>:" alone: the function starts at the next instruction line.
    pendingFunction.assign(firstToken);
    return 0;
  }

  current.lineLabel.assign(label);
  if (Contains(statementText_, "{")) current.packetAddress = current.lineLabel;
  if (!pendingFunction.empty()) {
    if (SetCurrentDisAsmFunction(pendingFunction, current.lineLabel) == -1) {
      PRINTS("Error: Function %s does not exist in elf file.", pendingFunction, kHandlerFailed);
    }
    pendingFunction.clear();
  }
  if (!hasSecond) return 0;

  if (secondToken[0] == 'R') {
    // A relocation line under the instruction it patches: the type and the
    // symbol are its only tokens.
    statementTokens_[statementTokenCount_++] = secondToken;
    std::string_view symbol;
    if (tokens.Next(delimiters, symbol)) statementTokens_[statementTokenCount_++] = symbol;
    return 1;
  }
  // Skip the rest of the encoding (three more bytes and the word).
  if (encoding != 0) {
    tokens.Skip(encoding);
  } else {
    std::string_view skipped;
    for (int i = 0; i < 4; ++i) {
      if (!tokens.Next(kBlankDelimiters, skipped)) return 0;
    }
  }
  BeginStatementTokens(tokens, delimiters, 5);
  return StatementToken(0).empty() ? 0 : 1;
}

int FileParser::DisAsmLineHasKeywords2() {
  const DelimiterSet& delimiters = objdumpKind == 1 ? kDelimitersKeepParens : kDelimiters;
  BeginStatementTokens(Tokenizer(statementText_), delimiters, 5);
  return StatementToken(0).empty() ? 0 : 1;
}

int FileParser::SetCurrentDisAsmFunction(std::string name, std::string address) {
  for (RegisterValue& reg : registerTable) reg = RegisterValue{};
  if (objdumpKind == 1) {
    name = name.size() >= 3 ? name.substr(1, name.size() - 3) : std::string();
  } else {
    size_t colon = name.find(':');
    if (colon != std::string::npos) name.erase(colon);
    // Both disassemblers put the name in angle brackets.
    if (name.size() >= 2 && name.front() == '<' && name.back() == '>') name = name.substr(1, name.size() - 2);
  }
  if (address.size() < 8) address.insert(0, 8 - address.size(), '0');

  __func_attr* record = FindFunction(name, address);
  if (record == nullptr) {
    ClearCurrentDisAsmFunction();
    if (name.find("__jump_around_trampolines") != std::string::npos) {
      skipFunction = true;  // trampoline code is not analysed
      return 0;
    }
    return -1;
  }
  ClearCurrentDisAsmFunction();
  skipFunction = IsPresetFunction(record) != 0;
  record->IsFound = true;
  listingSymbol = nullptr;
  if (ElfFile* elf = ListingElf()) {
    uint32_t start = 0;
    ParseAddress(address, start);
    for (fcn_symbols* s = elf->GetFirstFncAtAddr(start); s != nullptr; s = elf->GetNextFcnAtAddr(start, s)) {
      if (s->name != nullptr && name == s->name) {
        listingSymbol = s;
        break;
      }
    }
  }
  listedFunctions.insert(record);
  currentFunction = record;
  ClearLineCache();
  return 0;
}

void FileParser::ClearCurrentDisAsmFunction() {
  skipFunction = false;
  listingSymbol = nullptr;
  if (currentFunction != nullptr) ResolveAliases(currentFunction);
  ClearCurrentFunction();
}

int FileParser::ProcessKeywordsDisassembly() {
  const std::string_view t1 = StatementToken(0);
  const std::string_view t2 = StatementToken(1);
  const std::string_view t3 = StatementToken(2);
  const std::string_view t4 = StatementToken(3);
  const std::string_view t5 = StatementToken(4);
  auto warnIf = [this](int result, const char* text) {
    if (result != 0) PRINT(text, kHandlerFailed);
  };
  // The constants, most of these lines, are read from the tokens; the
  // other handlers take the statement fields. Calls of functions at an
  // address join the listed calls put aside (CallFunctionAt).
  auto fill = [this] {
    current.currentLine.assign(statementText_);
    FillStatementFields(5, false);
  };
  const bool startsR = !t1.empty() && t1[0] == 'r';
  const bool halfRegister = Contains(t1, ".l") || Contains(t1, ".h");

  if (t1 == "allocframe") {
    fill();
    warnIf(HandleAllocframe2(current.token2), "Warning: HandleAllocframe2 failed.");
  } else if (t1 == "r29") {
    fill();
    warnIf(HandleR29Line2(current.currentLine), "Warning: HandleR29Line2 failed.");
  } else if (startsR && (t3 == "(gp" || Contains(t2, "memw(#") || Contains(t2, "memd(#"))) {
    fill();
    warnIf(HandleIndirectCallByAddress(current.currentLine), "Warning: HandleIndirectCallByAddress failed.");
  } else if (startsR && Contains(t2, "##")) {
    warnIf(HandleConstantExtender2(t2), "Warning: HandleConstantExtender2 failed.");
  } else if (t1 == "memw" && Contains(t5, "##")) {
    warnIf(HandleConstantExtender2(t5), "Warning: HandleConstantExtender2 failed.");
  } else if (startsR && (Contains(t3, "##") || Contains(t4, "##"))) {
    warnIf(HandleConstantExtender2(Contains(t3, "##") ? t3 : t4), "Warning: HandleConstantExtender2 failed.");
  } else if (!halfRegister) {
    if (Contains(t1, "R_VLD")) {
      HandleListedCalls();  // relocated calls are handled at once, also on an instruction line
      fill();
      const std::string& token = current.token2;
      if (Contains(t2, ".sdata")) {
        warnIf(HandleSDataCall(token), "Warning: HandleSDataCall failed.");
      } else if (Contains(t2, ".text")) {
        warnIf(HandleTextCall(token), "Warning: HandleDisAsmCall failed.");
      } else if (Contains(t1, "PCR") || Contains(t1, "R_VLD_32") || Contains(t1, "R_VLD_HI16")) {
        warnIf(HandlePcRelCall(token), "Warning: HandlePcRelCall failed.");
      }
    }
  } else {
    fill();
    uint32_t value = 0;
    if (RecordHalfRegister(current.token1, current.token2, value)) {
      warnIf(HandleIndirectCall3(value), "Warning: HandleIndirectCall3 failed.");
    }
  }
  return 0;
}

bool FileParser::HandleListedBranch(std::string_view t1, std::string_view t2, std::string_view t3,
                                    std::string_view t4) {
  auto isJump = [](std::string_view t) { return t == "jump" || Contains(t, "jump:"); };
  const bool call = t1 == "call" || t2 == "call";
  if (!call && !isJump(t1) && !isJump(t2)) return false;
  // The target follows the keyword, the name (in angle brackets) the target.
  const bool first = call ? t1 == "call" : isJump(t1);
  const std::string_view target = first ? t2 : t3;
  if (statementPrefilter && objdumpKind != 1 && currentFunction != nullptr) {
    // GetCallNameAddress's steps, the search put off; a target it finds no
    // name for leaves nothing to do once a function is current.
    uint32_t value = 0;
    if (!ListedTargetAddress(target, value) || ListingElf() == nullptr) return true;
    PutListedCallAside(call ? ListedCall::kCall : ListedCall::kJump, value, ListingSymbolHolding(value));
    return true;
  }
  HandleListedCalls();
  std::string name, address;
  int result = GetCallNameAddress(target, first ? t3 : t4, name, address);
  if (result == 0) result = call ? HandleDisAsmCall(std::move(name), address, 0) : HandleJump2(std::move(name), address);
  if (result != 0) PRINT(call ? "Warning: HandleDisAsmCall failed." : "Warning: HandleJump2 failed.", kHandlerFailed);
  return true;
}

void FileParser::PutListedCallAside(ListedCall::Kind kind, uint32_t target, const fcn_symbols* symbol) {
  ListedCall& entry = listedCalls_[listedCallCount_++];
  entry.kind = kind;
  entry.target = target;
  entry.symbol = symbol;
  if (kind == ListedCall::kCall) {  // only a call to itself reads them
    entry.lineLabel.assign(current.lineLabel);
    entry.packetAddress.assign(current.packetAddress);
  }
  if (listedCallCount_ == std::size(listedCalls_)) HandleListedCalls();
}

void FileParser::HandleListedCalls() {
  const size_t count = listedCallCount_;
  if (count == 0) return;
  listedCallCount_ = 0;
  constexpr size_t kMax = ElfFile::kAddressBatch;
  // The searches, side by side: targets inside a function, and addresses
  // that may be a function's start.
  uint32_t inside[kMax], starts[kMax];
  fcn_symbols* insideFound[kMax];
  fcn_symbols* startsFound[kMax];
  size_t insideCount = 0, startsCount = 0;
  for (size_t i = 0; i < count; ++i) {
    const ListedCall& entry = listedCalls_[i];
    if (entry.kind == ListedCall::kComputed) {
      starts[startsCount++] = entry.target;
    } else if (entry.symbol == nullptr) {
      inside[insideCount++] = entry.target;
    }
  }
  for (size_t i = 0; i < kMax; ++i) insideFound[i] = startsFound[i] = nullptr;
  if (ElfFile* elf = ListingElf()) {
    elf->GetFcnSymsForAddrs(inside, insideCount, insideFound);
    elf->GetFcnSymsAtAddrs(starts, startsCount, startsFound);
  }
  const fcn_symbols* symbols[kMax];
  insideCount = startsCount = 0;
  for (size_t i = 0; i < count; ++i) {
    const ListedCall& entry = listedCalls_[i];
    symbols[i] = entry.kind == ListedCall::kComputed ? startsFound[startsCount++]
                 : entry.symbol == nullptr          ? insideFound[insideCount++]
                                                    : entry.symbol;
    if (symbols[i] != nullptr && symbols[i]->name != nullptr) __builtin_prefetch(symbols[i]->name);
  }
  std::string names[kMax];
  for (size_t i = 0; i < count; ++i) {
    if (symbols[i] != nullptr && symbols[i]->name != nullptr) names[i] = symbols[i]->name;
    functionMap.Prefetch(names[i]);
  }
  for (size_t i = 0; i < count; ++i) {
    ListedCall& entry = listedCalls_[i];
    if (entry.kind == ListedCall::kComputed) {
      // CallFunctionAt's call of the function starting at the address. It
      // cannot fail: a function is current.
      if (symbols[i] != nullptr && symbols[i]->name != nullptr) {
        HandleDisAsmCall(std::move(names[i]), GetHexString(symbols[i]->startAddress), 1);
      }
      continue;
    }
    const std::string address = GetHexString(entry.target);
    if (entry.kind == ListedCall::kJump) {
      if (HandleJump2(std::move(names[i]), address) != 0) PRINT("Warning: HandleJump2 failed.", kHandlerFailed);
      continue;
    }
    // The line's addresses become current for the self-call test, as if the
    // call were handled where it stands; the entry keeps the old buffers.
    current.lineLabel.swap(entry.lineLabel);
    current.packetAddress.swap(entry.packetAddress);
    if (HandleDisAsmCall(std::move(names[i]), address, 0) != 0) {
      PRINT("Warning: HandleDisAsmCall failed.", kHandlerFailed);
    }
    current.lineLabel.swap(entry.lineLabel);
    current.packetAddress.swap(entry.packetAddress);
  }
}

bool FileParser::RecordHalfRegister(const std::string& target, const std::string& operand, uint32_t& value) {
  // "rN.l = #lo" / "rN.h = #hi": a register built in halves.
  if (target.size() < 4 || target[0] != 'r') return false;
  char* end = nullptr;
  long number = std::strtol(target.c_str() + 1, &end, 10);
  if (end == target.c_str() + 1 || number < 0 || number >= 32 || *end != '.') return false;
  const bool low = end[1] == 'l';
  if (!low && end[1] != 'h') return false;
  size_t hash = operand.find('#');
  if (hash == std::string::npos) return false;
  const uint32_t half = static_cast<uint32_t>(std::strtoul(operand.c_str() + hash + 1, nullptr, 10)) & 0xffffu;
  RegisterValue& reg = registerTable[number];
  if (low) {
    reg.value = (reg.value & 0xffff0000u) | half;
    reg.lowKnown = true;
  } else {
    reg.value = (reg.value & 0x0000ffffu) | (half << 16);
    reg.highKnown = true;
  }
  if (!(reg.lowKnown && reg.highKnown)) return false;
  value = reg.value;
  return true;
}

int FileParser::HandleAllocframe2(const std::string& token) { return HandleAllocframe(token, ""); }

int FileParser::HandleR29Line2(const std::string& line) { return HandleR29Line(line, "", 1); }

std::string FileParser::MakeAddress(std::string_view token) {
  if (token.size() > 7) return std::string(token);
  return std::string(8 - token.size(), '0').append(token);
}

std::string FileParser::MakeAddress(const std::string& base, std::string_view offset) {
  // The packet address plus the signed offset written in the token.
  uint32_t start = 0;
  ParseAddress(base, start);
  std::string text(offset);
  if (!text.empty() && text[0] == '#') text.erase(0, 1);
  long long delta = std::strtoll(text.c_str(), nullptr, 0);
  return GetHexString(start + static_cast<uint32_t>(delta));
}

int FileParser::GetCallNameAddress(std::string_view target, std::string_view nameToken,
                                   std::string& name, std::string& address) {
  name.clear();
  address.clear();
  if (objdumpKind == 1) {
    // "call 20080 <factorial>": the name stands in angle brackets.
    name = nameToken;
    if (!name.empty() && name.front() == '<') name.erase(0, 1);
    size_t close = name.find_first_of(">+");
    if (close != std::string::npos) name.erase(close);
    address = MakeAddress(target);
    return 0;
  }
  uint32_t value = 0;
  if (!ListedTargetAddress(target, value)) return 0;
  address = GetHexString(value);
  ElfFile* elf = ListingElf();
  if (elf == nullptr) return 0;
  const fcn_symbols* symbol = ListingSymbolHolding(value);
  if (symbol == nullptr) symbol = elf->GetFcnSymForAddr(value);
  if (symbol != nullptr && symbol->name != nullptr) name = symbol->name;
  return 0;
}

bool FileParser::ListedTargetAddress(std::string_view target, uint32_t& value) const {
  // "0x..." is absolute; any other target is an offset from the packet's
  // address, written out as an address first.
  if (StartsWith(target, "0x") || StartsWith(target, "0X")) return ParseAddress(target, value);
  ParseAddress(MakeAddress(current.packetAddress, target), value);
  return true;
}

const fcn_symbols* FileParser::ListingSymbolHolding(uint32_t address) const {
  // In a relocatable object every per-function section starts at 0, so
  // several functions contain the address: the current one is meant.
  const bool holds =
      listingSymbol != nullptr && listingSymbol->startAddress <= address && address < listingSymbol->endAddress;
  return holds ? listingSymbol : nullptr;
}

fcn_symbols* FileParser::NextContaining(ElfFile* elf, fcn_symbols* symbol, uint32_t address) {
  std::vector<fcn_symbols>& all = elf->Functions();
  size_t index = static_cast<size_t>(symbol - all.data()) + 1;
  for (; index < all.size() && all[index].startAddress <= address; ++index) {
    if (address < all[index].endAddress) return &all[index];
  }
  return nullptr;
}

__func_attr* FileParser::FindListedFunction(const std::string& name, const std::string& address,
                                            std::string_view* key, bool* foundUnderKey) {
  __func_attr* found = FindFunction(name, address, key);
  if (foundUnderKey != nullptr) *foundUnderKey = found != nullptr;
  if (found != nullptr) return found;
  // A target inside a file-local function: its key holds the start address.
  uint32_t value = 0;
  ElfFile* elf = ListingElf();
  if (elf != nullptr && ParseAddress(address, value)) {
    for (fcn_symbols* s = elf->GetFcnSymForAddr(value); s != nullptr; s = NextContaining(elf, s, value)) {
      if (s->name != nullptr && name == s->name) {
        if (__func_attr* record = FindFuncItem(GetLocalName(name, s->startAddress))) {
          if (key != nullptr) *key = record->Key;
          return record;
        }
      }
    }
  }
  return nullptr;
}

int FileParser::HandleDisAsmCall(std::string name, const std::string& address, int computed) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Call failed for no current function.", kHandlerFailed);
    return -1;
  }
  StripPlt(name);
  if (name.empty()) return 0;
  if (name == currentFunction->Name) {
    if (computed) return 0;
    // A call to its own line or packet is a branch to itself, or in a
    // relocatable object a target still to be filled in by a relocation.
    uint32_t target = 0, label = 0, packet = 0;
    if (ParseAddress(address, target) &&
        ((ParseAddress(current.lineLabel, label) && label == target) ||
         (ParseAddress(current.packetAddress, packet) && packet == target))) {
      return 0;
    }
  }
  // The key found is the record's Key: the record is then only written,
  // never waited for.
  std::string_view key;
  bool foundUnderKey = false;  // then the call list keeps the record too
  __func_attr* target = FindListedFunction(name, address, &key, &foundUnderKey);
  if (target == nullptr) {
    target = IsPresetFunction(name);
    if (target == nullptr) return 0;  // not a function the analysis knows
    key = target->Key;
  }
  MarkCalled(target);
  if (computed) currentFunction->HasPtrToFunc = true;
  return InsertCallListItem(currentFunction, key, foundUnderKey ? target : nullptr) == 0 ? 0 : -1;
}

int FileParser::HandleJump2(std::string name, const std::string& address) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Jump failed for no current function.", kHandlerFailed);
    return -1;
  }
  StripPlt(name);
  size_t plus = name.find('+');
  if (plus != std::string::npos) name.erase(plus);
  if (name.empty() || name == currentFunction->Name) return 0;  // a branch inside the function
  bool known = FindListedFunction(name, address) != nullptr;
  ElfFile* elf = ListingElf();
  if (!known && elf != nullptr) {
    uint32_t value = 0;
    known = elf->GetFcnSymByName(name) != nullptr ||
            (ParseAddress(address, value) && elf->GetFcnSymForAddr(value) != nullptr);
  }
  if (!known) return 0;
  return HandleDisAsmCall(name, address, 0);
}

int FileParser::ResolveAliases(__func_attr* record) {
  ElfFile* elf = ListingElf();
  if (record == nullptr || elf == nullptr) return 0;
  const ElfSymbol* symbol = elf->GetSymbolByName(record->Name);
  if (symbol == nullptr) return 0;
  const uint32_t address = symbol->value;
  fcn_symbols* first = elf->GetFirstFncAtAddr(address);
  if (first == nullptr) return 0;
  const uint16_t section = first->sectionIndex;
  for (fcn_symbols* s = first; s != nullptr; s = elf->GetNextFcnAtAddr(address, s)) {
    if (s->sectionIndex != section || s->name == nullptr || record->Name == s->name) continue;
    __func_attr* alias = FindFunction(s->name, GetHexString(s->startAddress));
    // Only a symbol whose own code was never listed takes the results, and
    // never a function defined in the sources.
    if (alias != nullptr && alias != record && listedFunctions.count(alias) == 0 &&
        (elfMode || alias->IsReplaceable || !alias->IsFound)) {
      FlushCalledMarks();  // the record's marks are copied
      DuplicateAttributes(alias, record);
    }
  }
  return 0;
}
