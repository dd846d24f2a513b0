// Cumulative stack, user share, recursion and branch type of every function,
// and the size map the reports are sorted by.
//
// The depth-first walk keeps its chain on an explicit work stack rather than
// on the process stack: call chains of generated code can be hundreds of
// thousands of functions deep. Each frame holds exactly the locals a
// recursive walk would hold, and the record's Recursion field is the visit
// state (0 new, 3 on the current chain, 1 done, 2 done and recursive), so the
// results are those of the plain recursive walk.
#include <deque>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "database/AssemblyData.h"

namespace {

struct WalkFrame {
  __func_attr* function;
  std::vector<std::string>::const_iterator next;  // next callee to look at
  size_t calleeBase;                              // the function's callees in the shared list
  size_t calleeIndex;                             // record of *next
  __func_attr* callee;                           // callee whose resolution is pending
  int32_t maxCum;
  int32_t maxUser;
  bool isFilter;
  bool calleeIsFilter;
};

// Sums wrap at 32 bits: absurd frame sizes must not overflow a signed int.
int32_t WrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// Callee and filter lookups of one resolution. Resolving every function
// puts the filter names into a hash set first: the filter map is
// string-compared and asked for every call.
class Lookup {
 public:
  Lookup(const AssemblyData& db, bool indexFilters) : db_(db), indexed_(indexFilters) {
    if (!indexed_) return;
    for (const auto& [key, record] : db.filterFunctionMap) filters_.insert(key);
  }
  void Functions(const CallList& calls, std::vector<__func_attr*>& out) const {
    db_.functionMap.FindAll(calls.begin(), calls.end(), out);
  }
  bool IsFilter(std::string_view name) const {
    return indexed_ ? filters_.count(name) != 0 : db_.IsFilterFunction(name);
  }

 private:
  const AssemblyData& db_;
  bool indexed_;
  std::unordered_set<std::string_view> filters_;
};

// Steps taken on reaching a function: 0 or 1 when it is settled at once
// (resolved earlier, on the current chain, or a leaf), -1 when its callees
// must be walked; isFilter is set in that case.
int Enter(AssemblyData& db, const Lookup& lookup, __func_attr* f, bool& isFilter) {
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
  isFilter = lookup.IsFilter(f->Name);
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

int Walk(AssemblyData& db, const Lookup& lookup, __func_attr* root, std::vector<WalkFrame>& chain,
         std::vector<__func_attr*>& callees) {
  bool rootIsFilter = false;
  int result = Enter(db, lookup, root, rootIsFilter);
  if (result >= 0) return result;

  // Each function's callees are looked up together when its frame opens.
  auto open = [&](__func_attr* f, bool isFilter) {
    const size_t base = callees.size();
    lookup.Functions(f->callList, callees);
    chain.push_back({f, f->callList.begin(), base, base, nullptr, 0, 0, isFilter, false});
  };
  chain.clear();
  callees.clear();
  open(root, rootIsFilter);
  while (!chain.empty()) {
    WalkFrame& frame = chain.back();
    if (frame.callee != nullptr) Combine(frame, result);

    __func_attr* f = frame.function;
    __func_attr* descendInto = nullptr;
    bool descendIsFilter = false;
    while (frame.next != f->callList.end()) {
      const std::string& name = *frame.next;
      ++frame.next;
      __func_attr* callee = callees[frame.calleeIndex++];
      // Inside a filter function every callee counts toward the user share.
      bool calleeIsFilter = !frame.isFilter && lookup.IsFilter(name);
      if (callee == nullptr) {
        db.PRINTS("Error: Call list item %s not found.", name, "12: ");
        continue;
      }
      frame.callee = callee;
      frame.calleeIsFilter = calleeIsFilter;
      int calleeResult = Enter(db, lookup, callee, descendIsFilter);
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
    callees.resize(frame.calleeBase);
    chain.pop_back();
  }
  return result;
}

}  // namespace

bool AssemblyData::IsFilterFunction(std::string_view name) const {
  return filterFunctionMap.find(name) != filterFunctionMap.end();
}

int AssemblyData::InsertSizeItem(int32_t stack, __func_attr* record) {
  // A multimap insertion goes behind equal keys, so ties keep insertion order.
  sizeMap.emplace(stack, record);
  return 0;
}

int AssemblyData::CopyFuncItemsToSizeMap() {
  // The map only points to records; entries of an earlier resolution (test
  // mode resolves twice) may point to records that no longer exist.
  sizeMap.clear();
  for (auto& [key, record] : functionMap) {
    if (InsertSizeItem(record->CumStack, record.get()) != 0) {
      PRINT("Error: Insert to into size map failed.", "11: ");
    }
  }
  return 0;
}

int AssemblyData::CheckRecursionAndStack(__func_attr* record) {
  if (record == nullptr) return 0;
  std::vector<WalkFrame> chain;
  std::vector<__func_attr*> callees;
  return Walk(*this, Lookup(*this, false), record, chain, callees);
}

int AssemblyData::ResolveCumulativeStackUse() {
  // Roots are taken in key order, which decides which function of a cycle
  // the recursion warning names.
  Lookup lookup(*this, true);
  std::vector<WalkFrame> chain;
  std::vector<__func_attr*> callees;
  for (auto& [key, record] : functionMap) Walk(*this, lookup, record.get(), chain, callees);
  return 0;
}

int AssemblyData::ProcessAssemblyObject() {
  ResolveCumulativeStackUse();
  CopyFuncItemsToSizeMap();
  return 0;
}
