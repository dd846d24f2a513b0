// The plain-text report family: stack sizes (CSV), functions by name, worst
// case call paths and unknown functions.
#include <cstdio>

#include "database/AssemblyData.h"
#include "reports/TextSink.h"

namespace {

// Values outside the tables (a binding read from an aid file can be any
// number) are printed as a word too, never read past a table's end.
const char* BranchWord(int32_t value) {
  return value >= 0 && value < 4 ? branchstring[value] : "Unknown";
}

const char* ScopeWord(int32_t value) {
  return value >= 0 && value < 3 ? scopestring[value] : "Unknown";
}

}  // namespace

int AssemblyData::DumpSizeItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_BY_SIZE, &file) != 0) return -1;
  std::fputs("Function Name, Cumulative Stack Size, Branch Type\n", file);
  for (const auto& [stack, record] : sizeMap) DumpCSVFuncAttr(record, file);
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpFuncItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_BY_NAME, &file) != 0) return -1;
  EnsureCalleeTable();
  for (size_t i = 0; i < recordsByOrdinal_.size(); ++i) {
    PrefetchAhead(i);
    DumpColumnFuncAttr(recordsByOrdinal_[i], file);
  }
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpPathItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_CALLPATH, &file) != 0) return -1;
  // With a root file only the named roots get a path.
  bool rootsOnly = !rootMap.empty();
  PathSteps steps;
  BuildPathSteps(steps);
  uint32_t pathNumber = 0;
  for (const auto& [stack, record] : sizeMap) {
    if (rootsOnly && !IsUserDefinedRoot(record)) continue;
    DumpCallPath(record, file, steps, ++pathNumber);
  }
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpUnknownFuncItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_UNKNOWN, &file) != 0) return -1;
  for (const auto& [key, record] : functionMap) {
    if (!record->IsFound) DumpNotFoundFuncAttr(record.get(), file);
  }
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpCSVFuncAttr(const __func_attr* record, FILE* file) {
  // The name is quoted but not escaped; the front end reads it that way.
  TextSink out(file);
  out.Put('"').Put(record->UName).Put("\",").Int(record->CumStack).Put(',');
  out.Put(BranchWord(record->BranchType)).Put('\n');
  return 0;
}

int AssemblyData::DumpColumnFuncAttr(const __func_attr* record, FILE* file) {
  TextSink out(file);
  const char* branch = BranchWord(record->BranchType);
  out.Put("   Function Name: ").Put(record->UName).Put('\n');
  out.Put("    Mangled Name: ").Put(record->Name).Put('\n');
  out.Put("     Branch Type: ").Put(branch).Put('\n');
  out.Put("           Scope: ").Put(ScopeWord(record->Scope)).Put('\n');
  out.Put("           Stack: ").Int(record->Stack).Put(" bytes\n");
  out.Put("Cumulative Stack: ").Int(record->CumStack).Put(" bytes\n");
  if (record->callList.empty()) {
    out.Put("           Calls: None\n");
  } else {
    out.Put("           Calls: Called function         Cumulative Stack, Branch Type\n");
    // Every row shows the caller's branch type: the column says how complete
    // the tree below this function is, not below each callee.
    for (const __func_attr* callee : CalleesOf(record)) {
      if (callee == nullptr) continue;
      out.Put("                  ").Left(callee->Name, 35).Put(' ').Int(callee->CumStack, 4);
      out.Put(", ").Put(branch).Put('\n');
    }
  }
  out.Put('\n');
  return 0;
}

int AssemblyData::DumpCallPath(const __func_attr* record, FILE* file) {
  PathSteps steps;
  BuildPathSteps(steps);
  return DumpCallPath(record, file, steps, 1);
}

void AssemblyData::ChooseNextStep(std::span<__func_attr* const> callees, uint32_t& next,
                                  bool& unknownCallee) const {
  int64_t bestValue = -1;
  next = kNoStep;
  unknownCallee = false;
  for (const __func_attr* callee : callees) {
    if (callee == nullptr) {
      // An unknown callee ends the choice: those after it are not seen.
      unknownCallee = true;
      break;
    }
    if (callee->CumStack > bestValue) {
      next = static_cast<uint32_t>(callee->ordinal);
      bestValue = callee->CumStack;
    }
  }
}

void AssemblyData::PrefetchAhead(size_t ordinal) const {
  // Records are scattered over the heap, and a report entry reads its
  // function's and all its callees' records: fetching them a few functions
  // ahead lets those reads overlap.
  constexpr size_t kAhead = 8;
  auto fetch = [](const __func_attr* record) {
    __builtin_prefetch(&record->Name);
    __builtin_prefetch(&record->CumStack);
  };
  const std::vector<__func_attr*>& records = recordsByOrdinal_;
  if (ordinal + 2 * kAhead < records.size()) fetch(records[ordinal + 2 * kAhead]);
  if (ordinal + kAhead < records.size()) {
    const __func_attr* ahead = records[ordinal + kAhead];
    for (size_t e = ahead->calleeBegin; e < ahead->calleeBegin + ahead->calleeCount; ++e) {
      if (calleeTable_[e] != nullptr) fetch(calleeTable_[e]);
    }
  }
}

void AssemblyData::BuildPathSteps(PathSteps& table) {
  EnsureCalleeTable();
  const std::vector<__func_attr*>& records = recordsByOrdinal_;
  table.steps.assign(records.size(), PathStep{});
  table.names.clear();
  for (size_t i = 0; i < records.size(); ++i) {
    PrefetchAhead(i);
    const __func_attr* record = records[i];
    PathStep& step = table.steps[i];
    step.cumStack = record->CumStack;
    step.stack = record->Stack;
    // Printed as a C string: up to a NUL.
    const std::string_view name(record->UName.c_str());
    step.nameBegin = table.names.size();
    step.nameLength = static_cast<uint32_t>(name.size());
    table.names.append(name);
    ChooseNextStep(CalleesOf(record), step.next, step.unknownCallee);
  }
}

int AssemblyData::DumpCallPath(const __func_attr* record, FILE* file, PathSteps& table,
                               uint32_t pathNumber) {
  if (record->callList.empty()) return 0;
  if (usedFunctionsOnly && !record->IsUsed) return 0;

  int result = 0;
  TextSink out(file);
  out.Put("Call path for ").Put(record->UName).Put('\n');
  auto name = [&table](const PathStep& step) {
    return std::string_view(table.names).substr(step.nameBegin, step.nameLength);
  };
  // A greedy descent along the largest cumulative stack; it ends at a
  // function without known callees or at the first one that repeats.
  auto stepLine = [&out](int32_t cumStack, int32_t stack, std::string_view name) {
    out.Put("\tTotal ").Int(cumStack, 4).Put(" bytes, local ").Int(stack, 4).Put(" bytes, ").Put(name).Put('\n');
  };
  uint32_t current = kNoStep;
  const bool inTable = record->ordinal < table.steps.size() && recordsByOrdinal_[record->ordinal] == record;
  if (inTable) {
    current = static_cast<uint32_t>(record->ordinal);
  } else {
    // A record outside the map: its own step is worked out here.
    stepLine(record->CumStack, record->Stack, record->UName.c_str());
    bool unknownCallee = false;
    ChooseNextStep(CalleesOf(record), current, unknownCallee);
    if (unknownCallee) result = -1;
  }
  while (current != kNoStep && current < table.steps.size()) {
    PathStep& step = table.steps[current];
    if (step.visitedBy == pathNumber) {
      out.Put("\tRecursive call to ").Put(name(step)).Put('\n');
      break;
    }
    step.visitedBy = pathNumber;
    stepLine(step.cumStack, step.stack, name(step));
    if (step.unknownCallee) result = -1;
    current = step.next;
  }
  out.Put('\n');
  return result;
}

int AssemblyData::DumpNotFoundFuncAttr(const __func_attr* record, FILE* file) {
  TextSink out(file);
  out.Put(record->Key).Put('\n');
  return 0;
}

int AssemblyData::DumpFunctionAttr(const __func_attr* record, FILE* file, const std::string& name) {
  std::fputs("FUNCTION_BEGIN\n", file);
  bool named = !name.empty();
  std::fprintf(file, "Name %s\n", named ? name.c_str() : record->Name.c_str());
  std::fprintf(file, "Key %s\n", named ? name.c_str() : record->Key.c_str());
  std::fprintf(file, "UName %s\n", named ? name.c_str() : record->UName.c_str());
  std::fprintf(file, "Path %s\n", record->Path.c_str());
  std::fprintf(file, "Stack %d\n", record->Stack);
  std::fprintf(file, "CumStack %d\n", record->CumStack);
  std::fprintf(file, "CumUserStack %d\n", record->CumUserStack);
  std::fprintf(file, "Scope %d\n", record->Scope);
  std::fprintf(file, "CodeSize %d\n", record->CodeSize);
  std::fprintf(file, "BranchType %d\n", record->BranchType);
  std::fprintf(file, "Recursion %d\n", record->Recursion);
  std::fprintf(file, "IsFound %d\n", record->IsFound ? 1 : 0);
  std::fprintf(file, "IsUsed %d\n", record->IsUsed ? 1 : 0);
  std::fprintf(file, "IsAidEntry %d\n", record->IsAidEntry ? 1 : 0);
  std::fprintf(file, "HasParent %d\n", record->HasParent ? 1 : 0);
  std::fprintf(file, "HasPtrToFunc %d\n", record->HasPtrToFunc ? 1 : 0);
  std::fputs("CALLLIST_BEGIN\n", file);
  for (const std::string& call : record->callList) std::fprintf(file, "CALL %s\n", call.c_str());
  std::fputs("CALLLIST_END\n", file);
  std::fputs("FUNCTION_END\n\n", file);
  return 0;
}
