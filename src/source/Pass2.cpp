// Pass 2 over the assembly sources: the own frame of every function from
// allocframe and stack-pointer arithmetic, and its call list from calls,
// tail jumps and function addresses loaded into registers. The frame and
// call handlers are shared with the listing parser of image mode.
#include <cstdint>

#include "source/FileParser.h"
#include "source/MathParser.h"
#include "source/Tokenizer.h"

namespace {

bool StartsWithR(std::string_view token) { return !token.empty() && token[0] == 'r'; }

// The statement without white space, optionally in lower case, into result.
void Squeeze(std::string_view text, bool lower, std::string& result) {
  // Written in place and cut once: an append per character costs a
  // capacity test and a terminator each.
  result.resize(text.size());
  size_t length = 0;
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') continue;
    if (lower && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    result[length++] = c;
  }
  result.resize(length);
}

std::string Squeeze(std::string_view text, bool lower) {
  std::string result;
  Squeeze(text, lower, result);
  return result;
}

// The immediate operand of a squeezed statement: the text after the first
// "#" once everything from the last ")" on is gone. So allocframe(#16)
// gives 16 and allocframe(#(8+8)) gives (8+8). A constant-extended ##16
// gives 16 as well. False without a "#".
bool ImmediateText(const std::string& text, std::string& immediate) {
  immediate = text;
  const size_t close = immediate.rfind(')');
  if (close != std::string::npos) immediate.erase(close);
  const size_t hash = immediate.find('#');
  if (hash == std::string::npos) return false;
  const bool extended = hash + 1 < immediate.size() && immediate[hash + 1] == '#';
  immediate.erase(0, hash + (extended ? 2 : 1));
  return true;
}

// "r" and the digits after it: r1.new gives r1, r17:16 gives r17.
std::string RegisterName(const std::string& token) {
  if (token.empty() || (token[0] != 'r' && token[0] != 'R')) return {};
  size_t end = 1;
  while (end < token.size() && token[end] >= '0' && token[end] <= '9') ++end;
  std::string name(1, 'r');
  name.append(token, 1, end - 1);
  return name;
}

int32_t Negate(int32_t value) { return static_cast<int32_t>(0u - static_cast<uint32_t>(value)); }

}  // namespace

int FileParser::ProcessKeywordsPass2(const std::string& file) {
  // Views compare by length first, which keeps the many keyword tests cheap.
  const std::string_view l1 = current.lowerToken1;
  const std::string_view l2 = current.lowerToken2;
  const std::string_view l3 = current.lowerToken3;
  const std::string& t1 = current.token1;

  if (l1 == ".weak" || l1 == ".globl" || l1 == ".global") {
    const int list = l1 == ".weak" ? ListWeak : ListGlobal;
    if (!current.token2.empty()) InsertListItem(current.token2, list);
    if (!current.token3.empty()) InsertListItem(current.token3, list);
    return 0;
  }
  if (sectionState != SectionText && sectionState != SectionInitFini) return 0;

  if (!t1.empty() && t1.back() == ':') {
    if (currentFunction != nullptr && !functionEnded) return 0;  // a label inside the body
    const std::string name = t1.substr(0, t1.size() - 1);
    __func_attr* record = FindFunction(name, file);
    if (record != nullptr && SetCurrentFunctionRecord(record, file) != 0) {
      PrintWarning("Warning: SetCurrentFunction %s failed in file %s", name, file, "12: ", lineNumber,
                   current.lineText);
    }
    return 0;
  }
  if (l1 == "function_begin" || l1 == "valdrin_opt_func_begin" || l1 == "fallthrough_tail_call") {
    const bool fallthrough = l1 == "fallthrough_tail_call";
    const std::string name = fallthrough ? current.token3 : current.token2;
    if (fallthrough) ClearCurrentFunction();
    if (SetCurrentFunction(name, file) != 0) {
      PrintWarning("Warning: SetCurrentFunction %s failed in file %s", name, file, "12: ", lineNumber,
                   current.lineText);
    }
    return 0;
  }
  if (l1 == ".size" || l1 == "function_end" || l1 == "valdrin_opt_func_finish") {
    ClearCurrentFunction();
    return 0;
  }
  // Deliberately loose: any statement whose second token is r31 counts as
  // a return.
  if (l1 == "jumpr" || l2 == "r31") {
    functionEnded = true;
    return 0;
  }
  if (foreignFunction) return 0;

  StripPlt(current.token2);
  StripPlt(current.token4);
  const std::string& t2 = current.token2;
  const std::string& t3 = current.token3;
  const std::string& t4 = current.token4;
  static const std::string kNoFunction;
  const std::string& function = currentFunction != nullptr ? currentFunction->Name : kNoFunction;

  auto warn = [&](const char* format, const std::string& subject) {
    PrintWarning(format, subject, file, "12: ", lineNumber, current.lineText);
  };

  if (Contains(l1, "allocframe") && !Contains(l1, "deallocframe")) {
    if (HandleAllocframe(current.lineText, file) != 0) {
      warn("Warning: HandleAllocframe %s failed in file %s\n", function);
    }
    return 0;
  }
  if (l1 == "r29" || l1 == "sp") {
    if (HandleR29Line(current.lineText, file, 0) != 0) warn("Warning: HandleR29Line %s failed in file %s\n", function);
    return 0;
  }
  if (l1 == "call" || l3 == "call") {
    const std::string& callee = l1 == "call" ? t2 : t4;
    if (HandleCall(callee, file, 0) != 0) warn("Warning: HandleCall %s failed in file %s\n", callee);
    return 0;
  }
  if (l1 == "jump" || Contains(l1, "jump:") || l3 == "jump" || Contains(l3, "jump:")) {
    const std::string& target = (l1 == "jump" || Contains(l1, "jump:")) ? t2 : t4;
    if (HandleJump(target, file) != 0) warn("Warning: HandleJump %s failed in file %s\n", target);
    return 0;
  }
  if (StartsWithR(l1)) {
    // A register is written: CONST32(#f) (only with parentheses kept in
    // tokens), #hi(f), or a constant-extended ##f may load a function address.
    if (Contains(t2, "CONST32(#")) {
      if (HandleIndirectCall(t2, file) != 0) warn("Warning: HandleIndirectCall %s failed in file %s\n", t2);
    } else if (Contains(l2, "#hi")) {
      if (HandleHiWord(current.lineText, file) != 0) {
        warn("Warning: HandleConstantExtender %s failed in file %s\n", t3);
      }
    } else if (Contains(t2, "##") || Contains(t3, "##")) {
      if (HandleConstantExtender(current.lineText, file) != 0) {
        warn("Warning: HandleConstantExtender %s failed in file %s\n", Contains(t2, "##") ? t2 : t3);
      }
    }
    return 0;
  }
  if ((StartsWithR(l3) && Contains(t4, "##")) || (Contains(l1, "memw") && Contains(t2, "##"))) {
    const std::string& token = StartsWithR(l3) && Contains(t4, "##") ? t4 : t2;
    if (HandleConstantExtender(current.lineText, file) != 0) {
      warn("Warning: HandleConstantExtender %s failed in file %s\n", token);
    }
  }
  return 0;
}

bool FileParser::HandleCallInPlace(const std::string& file) {
  if (!EqualsLower(StatementToken(0), "call")) return false;
  // What ProcessKeywordsPass2 looks at before it comes to a call.
  if (sectionState != SectionText && sectionState != SectionInitFini) return true;
  const std::string_view t2 = StatementToken(1);
  if (EqualsLower(t2, "r31")) {
    functionEnded = true;  // the loose return test
    return true;
  }
  if (foreignFunction) return true;
  PendingCall& call = pendingCalls_[pendingCallCount_++];
  call.callee.assign(t2);
  StripPlt(call.callee);
  call.lineText.assign(statementText_);  // read by the recursion test and the warning
  call.lineNumber = lineNumber;
  std::string_view key = call.callee;
  if (key.starts_with("##")) key.remove_prefix(2);
  functionMap.Prefetch(key);
  if (pendingCallCount_ == kPendingCalls) HandlePendingCalls(file);
  return true;
}

void FileParser::HandlePendingCalls(const std::string& file) {
  if (pendingCallCount_ == 0) return;
  const int line = lineNumber;
  for (size_t i = 0; i < pendingCallCount_; ++i) {
    PendingCall& call = pendingCalls_[i];
    lineNumber = call.lineNumber;
    // The text becomes the current statement's, as if the call were
    // handled where it stands; the entry keeps the old buffer for reuse.
    current.lineText.swap(call.lineText);
    if (HandleCall(call.callee, file, 0) != 0) {
      PrintWarning("Warning: HandleCall %s failed in file %s\n", call.callee, file, "12: ", lineNumber,
                   current.lineText);
    }
  }
  pendingCallCount_ = 0;
  lineNumber = line;
}

int FileParser::HandleAllocframe(const std::string& line, const std::string& file) {
  if (currentFunction == nullptr) {
    PRINTS("Warning: Allocframe failed for no current function in file %s", file, "12: ");
    return -1;
  }
  // The buffers and the parser are the frame handlers' own, kept from
  // line to line: a function has a frame line or two, and a large program
  // hundreds of thousands of functions.
  Squeeze(line, true, frameText_);
  if (!ImmediateText(frameText_, frameImmediate_)) return -1;
  if (!frameMath_.Evaluate(frameImmediate_)) return -1;
  // allocframe itself pushes the frame record (return address and frame
  // pointer): 8 bytes on top of the immediate.
  AddToStack(static_cast<int32_t>(static_cast<uint32_t>(frameMath_.Value()) + 8u));
  return 0;
}

int FileParser::HandleR29Line(const std::string& line, const std::string& file, int mode) {
  if (currentFunction == nullptr) {
    PRINT("Warning: r29 assignment failed for no current function.", "12: ");
    return -1;
  }
  Squeeze(line, true, frameText_);
  const std::string& text = frameText_;
  if (ImmediateText(text, frameImmediate_)) {
    if (frameMath_.Evaluate(frameImmediate_)) {
      const int32_t value = frameMath_.Value();
      if (Contains(text, "add")) {
        // Only growth counts: adding a positive amount releases stack.
        if (value < 0) AddToStack(Negate(value));
        return 0;
      }
      if (Contains(text, "sub")) {
        if (value >= 1) AddToStack(value);
        return 0;
      }
    }
  }
  if (Contains(line, "sub") || Contains(line, "SUB")) {
    // r29 = sub(r29, rN): the amount is in a register set shortly before.
    std::string reg = RegisterName(current.token4);
    if (reg.empty()) {
      if (mode == 1) {
        reg = RegisterName(current.token5);
      } else {
        Tokenizer tokenizer(line);
        std::string_view token;
        for (int i = 0; i < 5 && tokenizer.Next(SourceDelimiters(syntaxMode), token); ++i) {
          if (i == 4) reg = RegisterName(std::string(token));
        }
      }
    }
    int32_t value = 0;
    if (!reg.empty() && CalculateRegisterValue(reg, value) == 0) {
      AddToStack(value);
      return 0;
    }
  }
  // The frame depends on run-time values: the figure is a lower bound.
  if (currentFunction->BranchType < Undetermined) currentFunction->BranchType = Undetermined;
  if (warnR29) {
    if (mode == 1) {
      PrintWarning2("Warning: Could not compute R29 = for function %s in file %s", currentFunction, "46: ",
                    lineNumber, current.lineText);
    } else {
      PrintWarning("Warning: Could not compute R29 = for function %s in file %s", currentFunction->Name, file,
                   "46: ", lineNumber, current.lineText);
    }
  }
  return 0;
}

int FileParser::HandleCall(std::string name, const std::string& file, int addressOnly) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Call failed for no current function.", "12: ");
    return -1;
  }
  // call ##f is the constant-extended form of call f.
  if (name.compare(0, 2, "##") == 0) name.erase(0, 2);
  if (name.empty()) return addressOnly ? 0 : -1;

  // The key the record was found under is its Key: the caller's call list
  // takes it from here, so that this record, rarely in cache, is only
  // written below, never waited for.
  std::string_view key;
  __func_attr* callee = FindFunction(name, file, &key);
  // Found under the key itself: the call list keeps the record too.
  bool foundUnderKey = callee != nullptr;
  if (callee == nullptr) {
    callee = GetAliasAttribute(name, file);
    if (callee != nullptr) key = callee->Key;
  }
  if (callee == nullptr) {
    if (addressOnly) return 0;  // an unknown address is no call
    if (DoesListItemExist(name, ListFalseFunction)) return 0;
    callee = CreateFuncAttr(name, name);
    if (callee == nullptr) return -1;
    // An unknown function leaves every caller's tree open.
    if (IsPresetFunction(callee) == 0) callee->BranchType = Open;
    key = callee->Key;
    foundUnderKey = key == name;  // the map holds it under name
  }
  if (callee == currentFunction) {
    // Recursion only counts for a function that uses stack.
    if (currentFunction->Stack == 0 || !Contains(current.lineText, "call") || addressOnly) return 0;
  }
  // The callee has a caller; it is also a used function, which the
  // used-functions-only report mode and the front end's Used column read.
  MarkCalled(callee);
  InsertCallListItem(currentFunction, key, foundUnderKey ? callee : nullptr);
  if (addressOnly) currentFunction->HasPtrToFunc = true;
  return 0;
}

void FileParser::MarkCalled(__func_attr* callee) {
  if (!deferCalledMarks_) {
    callee->HasParent = true;
    callee->IsUsed = true;
    return;
  }
  calledRecords_.push_back(callee);
  if (calledRecords_.size() == kCalledRecordsBatch) FlushCalledMarks();
}

void FileParser::FlushCalledMarks() {
  for (__func_attr* callee : calledRecords_) {
    callee->HasParent = true;
    callee->IsUsed = true;
  }
  calledRecords_.clear();
}

int FileParser::HandleJump(std::string target, const std::string& file) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Jump failed for no current function.", "12: ");
    return -1;
  }
  if (IsLabel(target)) return 0;  // a branch inside the function
  if (target.compare(0, 2, "##") == 0) {
    target.erase(0, 2);
    if (IsLabel(target)) return 0;
  }
  if (target == currentFunction->Name || FindFunction(target, file) == currentFunction) {
    // A jump back to its own start: harmless without a frame, an error with one.
    return currentFunction->Stack > 0 ? -1 : 0;
  }
  return HandleCall(target, file, 0);  // a tail call
}

int FileParser::HandleIndirectCall(const std::string& token, const std::string& file) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Indirect call failed for no current function.", "12: ");
    return -1;
  }
  const size_t hash = token.find('#');
  if (hash == std::string::npos) return 0;
  const size_t close = token.find(')', hash + 1);
  if (close == std::string::npos) return 0;
  return HandleAddressTaken(token.substr(hash + 1, close - hash - 1), file);
}

int FileParser::HandleHiWord(const std::string& line, const std::string& file) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Constant extender failed for no current function.", "12: ");
    return -1;
  }
  std::string text = Squeeze(line, false);
  const size_t open = text.find('(');
  if (open != std::string::npos) text.erase(0, open + 1);
  const size_t close = text.find(')');
  if (close != std::string::npos) text.erase(close);
  return HandleAddressTaken(text, file);
}

int FileParser::HandleConstantExtender(const std::string& line, const std::string& file) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Constant extender failed for no current function.", "12: ");
    return -1;
  }
  std::string text = Squeeze(line, false);
  const size_t extender = text.find("##");
  if (extender == std::string::npos) return -1;
  text.erase(0, extender + 2);
  const size_t open = text.find('(');
  if (open != std::string::npos) text.erase(0, open + 1);
  const size_t close = text.find(')');
  if (close != std::string::npos) text.erase(close);
  return HandleAddressTaken(text, file);
}

int FileParser::HandleAddressTaken(const std::string& name, const std::string& file) {
  // Branch targets, addresses with an offset and data objects are no
  // function addresses.
  if (IsLabel(name) || Contains(name, "+") || Contains(name, "-")) return 0;
  if (FindMemoryObject(name, file) != nullptr) return 0;
  // The function whose address is taken is assumed to be called.
  return HandleCall(name, file, 1);
}

void FileParser::StripPlt(std::string& name) {
  const size_t size = name.size();
  if (size >= 4 && (name.compare(size - 4, 4, "@PLT") == 0 || name.compare(size - 4, 4, "@plt") == 0)) {
    name.erase(size - 4);
  }
}

const std::string& FileParser::LocalKey(const std::string& name, const std::string& qualifier) {
  // The suffix depends on the qualifier only; it is worked out once per file.
  if (!localKeySuffixValid_ || qualifier != localKeyQualifier_) {
    localKeyQualifier_ = qualifier;
    localKeySuffix_ = GetLocalName(std::string(), qualifier);
    localKeySuffixValid_ = true;
  }
  keyBuffer_.assign(name);
  keyBuffer_ += localKeySuffix_;
  return keyBuffer_;
}

__func_attr* FileParser::FindFunction(const std::string& name, const std::string& qualifier,
                                      std::string_view* key) {
  // A file-local definition wins over a global one of the same name.
  if (functionMap.MayHaveLocalKey(name)) {
    if (__func_attr* local = FindFuncItem(LocalKey(name, qualifier))) {
      if (key != nullptr) *key = keyBuffer_;
      return local;
    }
  }
  if (key != nullptr) *key = name;
  return FindFuncItem(name);
}

__mem_attr* FileParser::FindMemoryObject(const std::string& name, const std::string& qualifier) {
  if (__mem_attr* local = FindMemItem(LocalKey(name, qualifier))) return local;
  return FindMemItem(name);
}
