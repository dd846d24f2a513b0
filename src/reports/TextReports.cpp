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
    // Each callee row is the callee's cell, printed once into a table by
    // ordinal, instead of fields read from two million scattered records.
    TextSlices cells;
    BuildCalleeCells(cells);
    TextSink out(file);
    std::vector<std::string_view> rows;
    for (size_t i = 0; i < recordsByOrdinal_.size(); ++i) {
      PrefetchRecord(recordsByOrdinal_, i);
      PrefetchCalleeCells(cells, i);
      const __func_attr* record = recordsByOrdinal_[i];
      rows.clear();
      for (size_t e = edgeStart_[i]; e < edgeStart_[i + 1]; ++e) {
        const uint32_t callee = calleeOrdinal_[e];
        if (callee != kNoStep) rows.push_back(cells[callee]);
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
      if (rootsOnly && !IsUserDefinedRoot(records[i])) continue;
      WriteCallPath(out, records[i], steps, ++pathNumber, OrdinalInSizeOrder(i, records[i]));
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
  TextSlices cells;
  {
    TextSink out(&cells.text);
    cells.begin.push_back(0);
    for (const __func_attr* callee : CalleesOf(record)) {
      if (callee == nullptr) continue;
      PutCalleeCell(out, callee);
      cells.begin.push_back(out.Written());
    }
  }
  std::vector<std::string_view> rows;
  for (size_t i = 0; i + 1 < cells.begin.size(); ++i) rows.push_back(cells[i]);
  TextSink out(file);
  WriteColumnEntry(out, record, rows);
  return 0;
}

void AssemblyData::PutCalleeCell(TextSink& out, const __func_attr* callee) {
  out.Left(std::string_view(callee->Name.c_str()), 35).Put(' ').Int(callee->CumStack, 4);
}

void AssemblyData::WriteColumnEntry(TextSink& out, const __func_attr* record,
                                    std::span<const std::string_view> cells) {
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
    for (std::string_view cell : cells) out.Put("                  ").Put(cell).Put(", ").Put(branch).Put('\n');
  }
  out.Put('\n');
}

int AssemblyData::DumpCallPath(const __func_attr* record, FILE* file) {
  PathSteps steps;
  BuildPathSteps(steps);
  TextSink out(file);
  return WriteCallPath(out, record, steps, 1, kNoStep);
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
    // Every line the record touches, wherever in a line it starts.
    const uintptr_t start = reinterpret_cast<uintptr_t>(records[i + 2 * kAhead]);
    for (uintptr_t line = start & ~uintptr_t{63}; line < start + sizeof(__func_attr); line += 64) {
      __builtin_prefetch(reinterpret_cast<const void*>(line));
    }
  }
  if (i + kAhead < records.size()) {
    const __func_attr* record = records[i + kAhead];
    __builtin_prefetch(record->Name.data());
    __builtin_prefetch(record->UName.data());
  }
}

void AssemblyData::BuildCalleeCells(TextSlices& cells) const {
  const size_t count = recordsByOrdinal_.size();
  cells.text.clear();
  cells.begin.assign(count + 1, 0);
  TextSink out(&cells.text);
  for (size_t i = 0; i < count; ++i) {
    PrefetchRecord(recordsByOrdinal_, i);
    cells.begin[i] = out.Written();
    PutCalleeCell(out, recordsByOrdinal_[i]);
  }
  cells.begin[count] = out.Written();
}

void AssemblyData::PrefetchCalleeCells(const TextSlices& cells, size_t i) const {
  // The cells of a function's callees lie anywhere in the table: their
  // bounds are fetched some functions ahead, their text a few later.
  constexpr size_t kAhead = 8;
  auto each = [this](size_t ordinal, auto&& fetch) {
    if (ordinal >= recordsByOrdinal_.size()) return;
    for (size_t e = edgeStart_[ordinal]; e < edgeStart_[ordinal + 1]; ++e) {
      if (calleeOrdinal_[e] != kNoStep) fetch(calleeOrdinal_[e]);
    }
  };
  each(i + kAhead, [&cells](uint32_t callee) { __builtin_prefetch(&cells.begin[callee]); });
  each(i + kAhead / 2, [&cells](uint32_t callee) { __builtin_prefetch(cells.text.data() + cells.begin[callee]); });
}

size_t AssemblyData::PutStepFigures(TextSink& out, const __func_attr* record) {
  // A step of a path: "\tTotal  NNN bytes, local  NNN bytes, " and the name.
  const size_t before = out.Written();
  out.Put("\tTotal ").Int(record->CumStack, 4).Put(" bytes, local ").Int(record->Stack, 4).Put(" bytes, ");
  return out.Written() - before;
}

void AssemblyData::BuildPathSteps(PathSteps& table) {
  EnsureCalleeTable();
  const size_t count = recordsByOrdinal_.size();
  table.hops.assign(count, PathSteps::Hop{});
  table.flags.assign(count, 0);
  table.lines.text.clear();
  table.lines.begin.assign(count + 1, 0);
  table.nameBegin.assign(count, 0);
  std::vector<int32_t> cumStack(count);
  {
    TextSink lines(&table.lines.text);
    for (size_t i = 0; i < count; ++i) {
      PrefetchRecord(recordsByOrdinal_, i);
      const __func_attr* record = recordsByOrdinal_[i];
      cumStack[i] = record->CumStack;
      table.flags[i] = (record->callList.empty() ? 0 : PathSteps::kHasCalls) |
                       (record->IsUsed ? PathSteps::kIsUsed : 0);
      table.lines.begin[i] = lines.Written();
      table.nameBegin[i] = table.lines.begin[i] + PutStepFigures(lines, record);
      lines.Put(record->UName).Put('\n');
    }
    table.lines.begin[count] = lines.Written();
  }
  // The greedy choice reads only the callees' ordinals and cumulative
  // stacks, both by ordinal.
  for (size_t i = 0; i < count; ++i) {
    int64_t bestValue = -1;
    for (size_t e = edgeStart_[i]; e < edgeStart_[i + 1]; ++e) {
      const uint32_t callee = calleeOrdinal_[e];
      if (callee == kNoStep) {
        // An unknown callee ends the choice: those after it are not seen.
        table.flags[i] |= PathSteps::kUnknownCallee;
        break;
      }
      if (cumStack[callee] > bestValue) {
        table.hops[i].next = callee;
        bestValue = cumStack[callee];
      }
    }
  }
}

int AssemblyData::WriteCallPath(TextSink& out, const __func_attr* record, PathSteps& table, uint32_t pathNumber,
                                uint32_t ordinal) {
  int result = 0;
  uint32_t current = kNoStep;
  if (ordinal == kNoStep && record->ordinal < table.hops.size() && recordsByOrdinal_[record->ordinal] == record) {
    ordinal = static_cast<uint32_t>(record->ordinal);
  }
  if (ordinal != kNoStep) {
    const uint8_t flags = table.flags[ordinal];
    if ((flags & PathSteps::kHasCalls) == 0) return 0;
    if (usedFunctionsOnly && (flags & PathSteps::kIsUsed) == 0) return 0;
    out.Put("Call path for ").Put(table.Name(ordinal)).Put('\n');
    current = ordinal;
  } else {
    // A record outside the map: its own step is worked out here.
    if (record->callList.empty()) return 0;
    if (usedFunctionsOnly && !record->IsUsed) return 0;
    out.Put("Call path for ").Put(record->UName).Put('\n');
    PutStepFigures(out, record);
    out.Put(record->UName).Put('\n');
    bool unknownCallee = false;
    ChooseNextStep(CalleesOf(record), current, unknownCallee);
    if (unknownCallee) result = -1;
  }
  // A greedy descent along the largest cumulative stack; it ends at a
  // function without known callees or at the first one that repeats.
  while (current != kNoStep && current < table.hops.size()) {
    PathSteps::Hop& hop = table.hops[current];
    if (hop.visitedBy == pathNumber) {
      out.Put("\tRecursive call to ").Put(table.Name(current)).Put('\n');
      break;
    }
    hop.visitedBy = pathNumber;
    out.Put(table.lines[current]);
    if (table.flags[current] & PathSteps::kUnknownCallee) result = -1;
    current = hop.next;
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
