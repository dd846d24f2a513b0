// Cumulative stack, user share, recursion and branch type of every function,
// and the size map the reports are sorted by.
//
// The depth-first walk keeps its chain on an explicit work stack rather than
// on the process stack: call chains of generated code can be hundreds of
// thousands of functions deep. Each frame holds exactly the locals a
// recursive walk would hold, and the record's Recursion field is the visit
// state (0 new, 3 on the current chain, 1 done, 2 done and recursive), so the
// results are those of the plain recursive walk.
#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "database/AssemblyData.h"

namespace {

struct WalkFrame {
  __func_attr* function;
  std::vector<std::string>::const_iterator next;  // key of the edge at position
  size_t position;                                // next edge in the callee table
  size_t end;
  __func_attr* callee;  // callee whose resolution is pending
  int32_t maxCum;
  int32_t maxUser;
  bool isFilter;
  bool calleeIsFilter;
};

// Sums wrap at 32 bits: absurd frame sizes must not overflow a signed int.
int32_t WrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// Steps taken on reaching a function: 0 or 1 when it is settled at once
// (resolved earlier, on the current chain, or a leaf), -1 when its callees
// must be walked; isFilter is set in that case.
int Enter(AssemblyData& db, __func_attr* f, bool& isFilter) {
  if (f->Recursion == 1) return 0;
  if (f->Recursion == 2) return 1;
  if (f->Recursion == 3) {
    if (db.warnRecursion) {
      if (!f->Path.empty()) {
        db.PrintWarning("Recursion encountered at function %s in file %s", f->UName, f->Path,
                        "60: ", -1, "");
      } else {
        db.PrintWarning("Recursion encountered at function %s", f->UName, f->Path, "60: ", -1, "");
      }
    }
    return 1;
  }
  isFilter = db.FunctionIsFilter(f);
  if (f->callList.empty()) {
    f->Recursion = 1;
    f->CumStack = f->Stack;
    if (!isFilter) f->CumUserStack = f->Stack;
    // A leaf never seen keeps what the parsers said about it.
    if (f->IsFound) f->BranchType = Closed;
    return 0;
  }
  f->Recursion = 3;
  return -1;
}

// Folds a resolved callee into its caller's frame.
void Combine(WalkFrame& frame, int calleeResult) {
  __func_attr* f = frame.function;
  const __func_attr* callee = frame.callee;
  if (calleeResult == 1) {
    f->Recursion = 2;
    f->BranchType = Recursive;
  }
  if (callee->CumStack > frame.maxCum) frame.maxCum = callee->CumStack;
  if (!frame.calleeIsFilter && callee->CumUserStack > frame.maxUser) {
    frame.maxUser = callee->CumUserStack;
  }
  if (callee->BranchType > f->BranchType) f->BranchType = callee->BranchType;
  frame.callee = nullptr;
}

// Needs the callee table to cover every function.
int Walk(AssemblyData& db, __func_attr* root, std::vector<WalkFrame>& chain) {
  bool rootIsFilter = false;
  int result = Enter(db, root, rootIsFilter);
  if (result >= 0) return result;

  auto open = [&](__func_attr* f, bool isFilter) {
    // The callees are visited next, one after the other: fetch them all now
    // so that their reads overlap.
    for (size_t e = f->calleeBegin; e < f->calleeBegin + f->calleeCount; ++e) {
      if (const __func_attr* callee = db.CalleeAt(e)) __builtin_prefetch(&callee->Recursion);
    }
    chain.push_back({f, f->callList.begin(), f->calleeBegin, f->calleeBegin + f->calleeCount, nullptr, 0, 0,
                     isFilter, false});
  };
  chain.clear();
  open(root, rootIsFilter);
  while (!chain.empty()) {
    WalkFrame& frame = chain.back();
    if (frame.callee != nullptr) Combine(frame, result);

    __func_attr* f = frame.function;
    __func_attr* descendInto = nullptr;
    bool descendIsFilter = false;
    while (frame.position != frame.end) {
      const size_t position = frame.position++;
      const auto name = frame.next++;
      __func_attr* callee = db.CalleeAt(position);
      // Inside a filter function every callee counts toward the user share.
      bool calleeIsFilter = !frame.isFilter && db.CalleeIsFilter(position);
      if (callee == nullptr) {
        db.PRINTS("Error: Call list item %s not found.", *name, "12: ");
        continue;
      }
      frame.callee = callee;
      frame.calleeIsFilter = calleeIsFilter;
      int calleeResult = Enter(db, callee, descendIsFilter);
      if (calleeResult < 0) {
        descendInto = callee;
        break;
      }
      Combine(frame, calleeResult);
    }
    if (descendInto != nullptr) {
      // push_back may move the frames; frame is not used after this.
      open(descendInto, descendIsFilter);
      continue;
    }

    f->CumStack = WrappingAdd(frame.maxCum, f->Stack);
    if (!frame.isFilter) f->CumUserStack = WrappingAdd(frame.maxUser, f->Stack);
    if (f->Recursion == 2) {
      result = 1;
    } else {
      f->Recursion = 1;
      result = 0;
    }
    chain.pop_back();
  }
  return result;
}

}  // namespace

bool AssemblyData::IsFilterFunction(std::string_view name) const {
  return filterFunctionMap.find(name) != filterFunctionMap.end();
}

int AssemblyData::InsertSizeItem(int32_t stack, __func_attr* record) {
  // Behind equal keys, so ties keep insertion order; the end is tried
  // first, which costs constant time when the records come sorted.
  sizeMap.emplace_hint(sizeMap.end(), stack, record);
  return 0;
}

int AssemblyData::CopyFuncItemsToSizeMap() {
  // The map only points to records; entries of an earlier resolution (test
  // mode resolves twice) may point to records that no longer exist.
  sizeMap.clear();
  EnsureCalleeTable();
  // Sorted first and then appended at the end, where each insertion costs
  // constant time instead of a tree search. The sort key is the cumulative
  // stack, descending, then the ordinal, so ties keep key order; the
  // stacks are read from the records once, in order, not at every compare.
  const size_t count = recordsByOrdinal_.size();
  std::vector<uint64_t> keys(count);
  for (size_t i = 0; i < count; ++i) {
    if (i + 16 < count) __builtin_prefetch(&recordsByOrdinal_[i + 16]->CumStack);
    const uint32_t biased = static_cast<uint32_t>(recordsByOrdinal_[i]->CumStack) ^ 0x80000000u;
    keys[i] = (static_cast<uint64_t>(~biased) << 32) | i;
  }
  std::sort(keys.begin(), keys.end());
  sizeOrder_.resize(count);
  for (size_t k = 0; k < count; ++k) {
    const uint32_t ordinal = static_cast<uint32_t>(keys[k]);
    const int32_t stack = static_cast<int32_t>(~static_cast<uint32_t>(keys[k] >> 32) ^ 0x80000000u);
    sizeOrder_[k] = ordinal;
    if (InsertSizeItem(stack, recordsByOrdinal_[ordinal]) != 0) PRINT("Error: Insert to into size map failed.", "11: ");
  }
  return 0;
}

uint32_t AssemblyData::OrdinalInSizeOrder(size_t position, const __func_attr* record) const {
  if (position >= sizeOrder_.size()) return kNoStep;
  const uint32_t ordinal = sizeOrder_[position];
  return ordinal < recordsByOrdinal_.size() && recordsByOrdinal_[ordinal] == record ? ordinal : kNoStep;
}

void AssemblyData::EnsureCalleeTable() {
  if (CalleeTableCurrent()) return;
  // The filter map is string-compared: its names go into a hash set once.
  std::unordered_set<std::string_view> filters;
  for (const auto& [key, record] : filterFunctionMap) filters.insert(key);
  auto isFilter = [&filters](std::string_view name) { return !filters.empty() && filters.count(name) != 0; };
  calleeTable_.clear();
  calleeIsFilter_.clear();
  functionIsFilter_.clear();
  recordsByOrdinal_.clear();
  recordsByOrdinal_.reserve(functionMap.size());
  size_t ordinal = 0;
  for (auto& [key, record] : functionMap) {
    recordsByOrdinal_.push_back(record.get());
    functionIsFilter_.push_back(isFilter(record->Name));
    record->ordinal = ordinal++;
    record->calleeBegin = calleeTable_.size();
    record->calleeCount = record->callList.size();
    const CallList& calls = record->callList;
    if (calls.RecordsValid(FuncMap::Erasures())) {
      // The parsers kept the records they found: only names kept without
      // one are looked up.
      for (size_t i = 0; i < calls.size(); ++i) {
        __func_attr* callee = calls.Record(i);
        calleeTable_.push_back(callee != nullptr ? callee : functionMap.FindRecord(*(calls.begin() + i)));
      }
    } else {
      functionMap.FindAll(calls.begin(), calls.end(), calleeTable_);
    }
    for (const std::string& callee : record->callList) calleeIsFilter_.push_back(isFilter(callee));
  }
  // The reports index tables by the callees' ordinals; each is read here
  // once, with the reads of several edges in flight together.
  calleeOrdinal_.resize(calleeTable_.size());
  constexpr size_t kAhead = 16;
  for (size_t e = 0; e < calleeTable_.size(); ++e) {
    if (e + kAhead < calleeTable_.size() && calleeTable_[e + kAhead] != nullptr) {
      __builtin_prefetch(&calleeTable_[e + kAhead]->ordinal);
    }
    const __func_attr* callee = calleeTable_[e];
    calleeOrdinal_[e] = callee != nullptr ? static_cast<uint32_t>(callee->ordinal) : kNoStep;
  }
  calleeTableVersion_ = functionMap.Version();
  calleeTableFilterVersion_ = filterFunctionMap.Version();
  calleeTableCallChanges_ = CallList::Changes();
}

bool AssemblyData::CalleeTableCurrent() const {
  return calleeTableVersion_ == functionMap.Version() && calleeTableFilterVersion_ == filterFunctionMap.Version() &&
         calleeTableCallChanges_ == CallList::Changes();
}

bool AssemblyData::CalleeTableCovers(const __func_attr* record) const {
  // The table is current, and the record one of those it was built from
  // (a record outside the map may carry any numbers).
  return CalleeTableCurrent() && record->ordinal < recordsByOrdinal_.size() &&
         recordsByOrdinal_[record->ordinal] == record;
}

std::span<__func_attr* const> AssemblyData::CalleesOf(const __func_attr* record) {
  if (CalleeTableCovers(record)) return {calleeTable_.data() + record->calleeBegin, record->calleeCount};
  calleeBuffer_.clear();
  functionMap.FindAll(record->callList.begin(), record->callList.end(), calleeBuffer_);
  return calleeBuffer_;
}

int AssemblyData::CheckRecursionAndStack(__func_attr* record) {
  if (record == nullptr) return 0;
  EnsureCalleeTable();
  if (!CalleeTableCovers(record)) return 0;  // not a function of the map
  std::vector<WalkFrame> chain;
  return Walk(*this, record, chain);
}

int AssemblyData::ResolveCumulativeStackUse() {
  EnsureCalleeTable();
  // Roots are taken in key order, which decides which function of a cycle
  // the recursion warning names.
  std::vector<WalkFrame> chain;
  for (__func_attr* record : recordsByOrdinal_) Walk(*this, record, chain);
  return 0;
}

int AssemblyData::ProcessAssemblyObject() {
  ResolveCumulativeStackUse();
  CopyFuncItemsToSizeMap();
  return 0;
}
