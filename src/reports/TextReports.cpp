// The plain-text report family: stack sizes (CSV), functions by name, worst
// case call paths and unknown functions.
#include <cstdio>
#include <unordered_set>

#include "database/AssemblyData.h"

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
  for (const auto& [key, record] : functionMap) DumpColumnFuncAttr(record.get(), file);
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpPathItems(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_CALLPATH, &file) != 0) return -1;
  // With a root file only the named roots get a path.
  bool rootsOnly = !rootMap.empty();
  for (const auto& [stack, record] : sizeMap) {
    if (rootsOnly && !IsUserDefinedRoot(record)) continue;
    DumpCallPath(record, file);
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
  std::fprintf(file, "\"%s\",%d,%s\n", record->UName.c_str(), record->CumStack,
               BranchWord(record->BranchType));
  return 0;
}

int AssemblyData::DumpColumnFuncAttr(const __func_attr* record, FILE* file) {
  std::fprintf(file, "   Function Name: %s\n", record->UName.c_str());
  std::fprintf(file, "    Mangled Name: %s\n", record->Name.c_str());
  std::fprintf(file, "     Branch Type: %s\n", BranchWord(record->BranchType));
  std::fprintf(file, "           Scope: %s\n", ScopeWord(record->Scope));
  std::fprintf(file, "           Stack: %d bytes\n", record->Stack);
  std::fprintf(file, "Cumulative Stack: %d bytes\n", record->CumStack);
  if (record->callList.empty()) {
    std::fputs("           Calls: None\n", file);
  } else {
    std::fputs("           Calls: Called function         Cumulative Stack, Branch Type\n", file);
    // Every row shows the caller's branch type: the column says how complete
    // the tree below this function is, not below each callee.
    const char* branch = BranchWord(record->BranchType);
    for (const std::string& name : record->callList) {
      const __func_attr* callee = FindFuncItem(name);
      if (callee == nullptr) continue;
      std::fprintf(file, "                  %-35s %4d, %s\n", callee->Name.c_str(),
                   callee->CumStack, branch);
    }
  }
  std::fputs("\n", file);
  return 0;
}

int AssemblyData::DumpCallPath(const __func_attr* record, FILE* file) {
  if (record->callList.empty()) return 0;
  if (usedFunctionsOnly && !record->IsUsed) return 0;

  int result = 0;
  std::fprintf(file, "Call path for %s\n", record->UName.c_str());
  // A greedy descent along the largest cumulative stack; it ends at a
  // function without known callees or at the first one that repeats.
  std::unordered_set<const __func_attr*> visited;
  const __func_attr* current = record;
  while (current != nullptr) {
    if (!visited.insert(current).second) {
      std::fprintf(file, "\tRecursive call to %s\n", current->UName.c_str());
      break;
    }
    std::fprintf(file, "\tTotal %4d bytes, local %4d bytes, %s\n", current->CumStack,
                 current->Stack, current->UName.c_str());
    const __func_attr* best = nullptr;
    int64_t bestValue = -1;
    for (const std::string& name : current->callList) {
      const __func_attr* callee = FindFuncItem(name);
      if (callee == nullptr) {
        // An unknown callee ends the choice: those after it are not seen.
        result = -1;
        break;
      }
      if (callee->CumStack > bestValue) {
        best = callee;
        bestValue = callee->CumStack;
      }
    }
    current = best;
  }
  std::fputs("\n", file);
  return result;
}

int AssemblyData::DumpNotFoundFuncAttr(const __func_attr* record, FILE* file) {
  std::fprintf(file, "%s\n", record->Key.c_str());
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
