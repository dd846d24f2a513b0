// Cumulative stack, user share, recursion and branch type of every function,
// and the size map the reports are sorted by.
//
// The depth-first walk keeps its chain on an explicit work stack rather than
// on the process stack: call chains of generated code can be hundreds of
// thousands of functions deep. Each frame holds exactly the locals a
// recursive walk would hold, and a function's Recursion field is the visit
// state (0 new, 3 on the current chain, 1 done, 2 done and recursive), so the
// results are those of the plain recursive walk.
//
// The walk reads and writes copies of the fields it needs, in a table by
// ordinal: following two million edges through records scattered over the
// heap waited on memory at every step, while the table stays in cache. The
// records take the results at the end.
#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "database/AssemblyData.h"

namespace {

// What the walk reads and writes of a function.
struct Node {
  int32_t stack;
  int32_t cumStack;
  int32_t cumUserStack;
  int32_t branchType;
  int32_t recursion;
  bool isFound;
};

struct WalkFrame {
  uint32_t function;
  uint32_t callee;  // callee whose resolution is pending, or kNoStep
  size_t position;  // next edge in the callee table
  size_t end;
  int32_t maxCum;
  int32_t maxUser;
  bool isFilter;
  bool calleeIsFilter;
};

// Sums wrap at 32 bits: absurd frame sizes must not overflow a signed int.
int32_t WrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

}  // namespace

// The walk over the callee table, on copies of the records' fields.
class AssemblyData::StackWalk {
 public:
  explicit StackWalk(AssemblyData& db) : db_(db), nodes_(db.recordsByOrdinal_.size()) {
    constexpr size_t kAhead = 16;
    const std::vector<__func_attr*>& records = db_.recordsByOrdinal_;
    for (size_t i = 0; i < records.size(); ++i) {
      if (i + kAhead < records.size()) __builtin_prefetch(&records[i + kAhead]->CumStack);
      const __func_attr* f = records[i];
      nodes_[i] = {f->Stack, f->CumStack, f->CumUserStack, f->BranchType, f->Recursion, f->IsFound};
    }
  }

  // The records take the results.
  ~StackWalk() {
    constexpr size_t kAhead = 16;
    const std::vector<__func_attr*>& records = db_.recordsByOrdinal_;
    for (size_t i = 0; i < records.size(); ++i) {
      if (i + kAhead < records.size()) __builtin_prefetch(&records[i + kAhead]->CumStack, 1);
      __func_attr* f = records[i];
      const Node& node = nodes_[i];
      f->CumStack = node.cumStack;
      f->CumUserStack = node.cumUserStack;
      f->BranchType = node.branchType;
      f->Recursion = node.recursion;
    }
  }

  int Walk(uint32_t root) {
    bool rootIsFilter = false;
    int result = Enter(root, rootIsFilter);
    if (result >= 0) return result;

    chain_.clear();
    Open(root, rootIsFilter);
    while (!chain_.empty()) {
      WalkFrame& frame = chain_.back();
      if (frame.callee != kNoStep) Combine(frame, result);

      uint32_t descendInto = kNoStep;
      bool descendIsFilter = false;
      while (frame.position != frame.end) {
        const size_t position = frame.position++;
        const uint32_t callee = db_.calleeOrdinal_[position];
        // Inside a filter function every callee counts toward the user share.
        const bool calleeIsFilter = !frame.isFilter && db_.CalleeIsFilter(position);
        if (callee == kNoStep) {
          const __func_attr* f = db_.recordsByOrdinal_[frame.function];
          const std::string& name = *(f->callList.begin() + (position - db_.edgeStart_[frame.function]));
          db_.PRINTS("Error: Call list item %s not found.", name, "12: ");
          continue;
        }
        frame.callee = callee;
        frame.calleeIsFilter = calleeIsFilter;
        const int calleeResult = Enter(callee, descendIsFilter);
        if (calleeResult < 0) {
          descendInto = callee;
          break;
        }
        Combine(frame, calleeResult);
      }
      if (descendInto != kNoStep) {
        // push_back may move the frames; frame is not used after this.
        Open(descendInto, descendIsFilter);
        continue;
      }

      Node& f = nodes_[frame.function];
      f.cumStack = WrappingAdd(frame.maxCum, f.stack);
      if (!frame.isFilter) f.cumUserStack = WrappingAdd(frame.maxUser, f.stack);
      if (f.recursion == 2) {
        result = 1;
      } else {
        f.recursion = 1;
        result = 0;
      }
      chain_.pop_back();
    }
    return result;
  }

 private:
  // Steps taken on reaching a function: 0 or 1 when it is settled at once
  // (resolved earlier, on the current chain, or a leaf), -1 when its
  // callees must be walked; isFilter is set in that case.
  int Enter(uint32_t ordinal, bool& isFilter) {
    Node& f = nodes_[ordinal];
    if (f.recursion == 1) return 0;
    if (f.recursion == 2) return 1;
    if (f.recursion == 3) {
      if (db_.warnRecursion) {
        const __func_attr* record = db_.recordsByOrdinal_[ordinal];
        if (!record->Path.empty()) {
          db_.PrintWarning("Recursion encountered at function %s in file %s", record->UName, record->Path,
                           "60: ", -1, "");
        } else {
          db_.PrintWarning("Recursion encountered at function %s", record->UName, record->Path, "60: ", -1, "");
        }
      }
      return 1;
    }
    isFilter = db_.functionIsFilter_[ordinal] != 0;
    if (db_.edgeStart_[ordinal] == db_.edgeStart_[ordinal + 1]) {
      f.recursion = 1;
      f.cumStack = f.stack;
      if (!isFilter) f.cumUserStack = f.stack;
      // A leaf never seen keeps what the parsers said about it.
      if (f.isFound) f.branchType = Closed;
      return 0;
    }
    f.recursion = 3;
    return -1;
  }

  // Folds a resolved callee into its caller's frame.
  void Combine(WalkFrame& frame, int calleeResult) {
    Node& f = nodes_[frame.function];
    const Node& callee = nodes_[frame.callee];
    if (calleeResult == 1) {
      f.recursion = 2;
      f.branchType = Recursive;
    }
    if (callee.cumStack > frame.maxCum) frame.maxCum = callee.cumStack;
    if (!frame.calleeIsFilter && callee.cumUserStack > frame.maxUser) frame.maxUser = callee.cumUserStack;
    if (callee.branchType > f.branchType) f.branchType = callee.branchType;
    frame.callee = kNoStep;
  }

  void Open(uint32_t ordinal, bool isFilter) {
    chain_.push_back({ordinal, kNoStep, db_.edgeStart_[ordinal], db_.edgeStart_[ordinal + 1], 0, 0, isFilter, false});
  }

  AssemblyData& db_;
  std::vector<Node> nodes_;
  std::vector<WalkFrame> chain_;
};

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
  edgeStart_.clear();
  size_t ordinal = 0;
  for (auto& [key, record] : functionMap) {
    recordsByOrdinal_.push_back(record.get());
    functionIsFilter_.push_back(isFilter(record->Name));
    record->ordinal = ordinal++;
    edgeStart_.push_back(calleeTable_.size());
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
  edgeStart_.push_back(calleeTable_.size());
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
  if (CalleeTableCovers(record)) {
    const size_t begin = edgeStart_[record->ordinal];
    return {calleeTable_.data() + begin, edgeStart_[record->ordinal + 1] - begin};
  }
  calleeBuffer_.clear();
  functionMap.FindAll(record->callList.begin(), record->callList.end(), calleeBuffer_);
  return calleeBuffer_;
}

int AssemblyData::CheckRecursionAndStack(__func_attr* record) {
  if (record == nullptr) return 0;
  EnsureCalleeTable();
  if (!CalleeTableCovers(record)) return 0;  // not a function of the map
  StackWalk walk(*this);
  return walk.Walk(static_cast<uint32_t>(record->ordinal));
}

int AssemblyData::ResolveCumulativeStackUse() {
  EnsureCalleeTable();
  // Roots are taken in key order, which decides which function of a cycle
  // the recursion warning names.
  StackWalk walk(*this);
  for (uint32_t ordinal = 0; ordinal < recordsByOrdinal_.size(); ++ordinal) walk.Walk(ordinal);
  return 0;
}

int AssemblyData::ProcessAssemblyObject() {
  ResolveCumulativeStackUse();
  CopyFuncItemsToSizeMap();
  return 0;
}
