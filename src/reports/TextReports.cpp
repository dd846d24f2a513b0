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
  {
    TextSink out(file);
    out.Put("Function Name, Cumulative Stack Size, Branch Type\n");
    const std::vector<__func_attr*> records = RecordsBySize();
    for (size_t i = 0; i < records.size(); ++i) {
      PrefetchRecord(records, i);
      WriteCsvEntry(out, records[i]);
    }
  }
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpFuncItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_BY_NAME, &file) != 0) return -1;
  EnsureCalleeTable();
  {
    // Each callee row needs the callee's name and cumulative stack: taken
    // once per function into a table by ordinal, which stays in cache,
    // instead of from two million scattered records.
    const NameTable callees = BuildNameTable();
    TextSink out(file);
    std::vector<CalleeRow> rows;
    for (size_t i = 0; i < recordsByOrdinal_.size(); ++i) {
      PrefetchRecord(recordsByOrdinal_, i);
      const __func_attr* record = recordsByOrdinal_[i];
      rows.clear();
      for (size_t e = record->calleeBegin; e < record->calleeBegin + record->calleeCount; ++e) {
        const uint32_t callee = calleeOrdinal_[e];
        if (callee != kNoStep) rows.push_back({callees.Name(callee), callees.cumStack[callee]});
      }
      WriteColumnEntry(out, record, rows);
    }
  }
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpPathItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_CALLPATH, &file) != 0) return -1;
  {
    // With a root file only the named roots get a path.
    const bool rootsOnly = !rootMap.empty();
    PathSteps steps;
    BuildPathSteps(steps);
    TextSink out(file);
    uint32_t pathNumber = 0;
    const std::vector<__func_attr*> records = RecordsBySize();
    for (size_t i = 0; i < records.size(); ++i) {
      PrefetchRecord(records, i);
      if (rootsOnly && !IsUserDefinedRoot(records[i])) continue;
      WriteCallPath(out, records[i], steps, ++pathNumber);
    }
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
  TextSink out(file);
  WriteCsvEntry(out, record);
  return 0;
}

void AssemblyData::WriteCsvEntry(TextSink& out, const __func_attr* record) {
  // The name is quoted but not escaped; the front end reads it that way.
  out.Put('"').Put(record->UName).Put("\",").Int(record->CumStack).Put(',');
  out.Put(BranchWord(record->BranchType)).Put('\n');
}

int AssemblyData::DumpColumnFuncAttr(const __func_attr* record, FILE* file) {
  std::vector<CalleeRow> rows;
  for (const __func_attr* callee : CalleesOf(record)) {
    if (callee != nullptr) rows.push_back({callee->Name.c_str(), callee->CumStack});
  }
  TextSink out(file);
  WriteColumnEntry(out, record, rows);
  return 0;
}

void AssemblyData::WriteColumnEntry(TextSink& out, const __func_attr* record, std::span<const CalleeRow> callees) {
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
    for (const CalleeRow& callee : callees) {
      out.Put("                  ").Left(callee.name, 35).Put(' ').Int(callee.cumStack, 4);
      out.Put(", ").Put(branch).Put('\n');
    }
  }
  out.Put('\n');
}

int AssemblyData::DumpCallPath(const __func_attr* record, FILE* file) {
  PathSteps steps;
  BuildPathSteps(steps);
  TextSink out(file);
  return WriteCallPath(out, record, steps, 1);
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

std::vector<__func_attr*> AssemblyData::RecordsBySize() const {
  // One walk over the tree's nodes; the reports then prefetch the records
  // ahead, which a walk from node to node cannot.
  std::vector<__func_attr*> records;
  records.reserve(sizeMap.size());
  for (const auto& [stack, record] : sizeMap) records.push_back(record);
  return records;
}

void AssemblyData::PrefetchRecord(const std::vector<__func_attr*>& records, size_t i) {
  // Records are scattered over the heap: a record's lines are fetched a few
  // entries ahead, and its name texts (when not held inline) a few entries
  // later still, once the record itself has arrived.
  constexpr size_t kAhead = 8;
  if (i + 2 * kAhead < records.size()) {
    const char* record = reinterpret_cast<const char*>(records[i + 2 * kAhead]);
    for (size_t line = 0; line < sizeof(__func_attr); line += 64) __builtin_prefetch(record + line);
  }
  if (i + kAhead < records.size()) {
    const __func_attr* record = records[i + kAhead];
    __builtin_prefetch(record->Name.data());
    __builtin_prefetch(record->UName.data());
  }
}

AssemblyData::NameTable AssemblyData::BuildNameTable() const {
  NameTable table;
  const size_t count = recordsByOrdinal_.size();
  table.cumStack.resize(count);
  table.nameEnds.resize(count + 1);
  for (size_t i = 0; i < count; ++i) {
    PrefetchRecord(recordsByOrdinal_, i);
    const __func_attr* record = recordsByOrdinal_[i];
    table.cumStack[i] = record->CumStack;
    // Printed as a C string: up to a NUL.
    table.names.append(record->Name.c_str());
    table.nameEnds[i + 1] = table.names.size();
  }
  return table;
}

void AssemblyData::BuildPathSteps(PathSteps& table) {
  EnsureCalleeTable();
  const size_t count = recordsByOrdinal_.size();
  table.steps.assign(count, PathStep{});
  table.names.clear();
  for (size_t i = 0; i < count; ++i) {
    PrefetchRecord(recordsByOrdinal_, i);
    const __func_attr* record = recordsByOrdinal_[i];
    PathStep& step = table.steps[i];
    step.cumStack = record->CumStack;
    step.stack = record->Stack;
    step.hasCalls = !record->callList.empty();
    step.isUsed = record->IsUsed;
    // Printed as a C string: up to a NUL.
    const std::string_view name(record->UName.c_str());
    step.nameBegin = table.names.size();
    step.nameLength = static_cast<uint32_t>(name.size());
    table.names.append(name);
  }
  // The greedy choice reads only the table: the callees' cumulative stacks
  // are already in it, by ordinal.
  for (size_t i = 0; i < count; ++i) {
    PathStep& step = table.steps[i];
    const __func_attr* record = recordsByOrdinal_[i];
    int64_t bestValue = -1;
    for (size_t e = record->calleeBegin; e < record->calleeBegin + record->calleeCount; ++e) {
      const uint32_t callee = calleeOrdinal_[e];
      if (callee == kNoStep) {
        // An unknown callee ends the choice: those after it are not seen.
        step.unknownCallee = true;
        break;
      }
      if (table.steps[callee].cumStack > bestValue) {
        step.next = callee;
        bestValue = table.steps[callee].cumStack;
      }
    }
  }
}

int AssemblyData::WriteCallPath(TextSink& out, const __func_attr* record, PathSteps& table, uint32_t pathNumber) {
  auto name = [&table](const PathStep& step) {
    return std::string_view(table.names).substr(step.nameBegin, step.nameLength);
  };
  // A greedy descent along the largest cumulative stack; it ends at a
  // function without known callees or at the first one that repeats.
  auto stepLine = [&out](int32_t cumStack, int32_t stack, std::string_view name) {
    out.Put("\tTotal ").Int(cumStack, 4).Put(" bytes, local ").Int(stack, 4).Put(" bytes, ").Put(name).Put('\n');
  };
  int result = 0;
  uint32_t current = kNoStep;
  const bool inTable = record->ordinal < table.steps.size() && recordsByOrdinal_[record->ordinal] == record;
  if (inTable) {
    const PathStep& step = table.steps[record->ordinal];
    if (!step.hasCalls) return 0;
    if (usedFunctionsOnly && !step.isUsed) return 0;
    out.Put("Call path for ").Put(name(step)).Put('\n');
    current = static_cast<uint32_t>(record->ordinal);
  } else {
    // A record outside the map: its own step is worked out here.
    if (record->callList.empty()) return 0;
    if (usedFunctionsOnly && !record->IsUsed) return 0;
    out.Put("Call path for ").Put(record->UName).Put('\n');
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
