// Records made from aid-file lines, and the writer that puts the database
// back into the aid-file format.
#include <cstdio>

#include "database/AssemblyData.h"

namespace {
constexpr int32_t kPresetBinding = 3;
}  // namespace

int AssemblyData::CreateAidFuncItem(const std::string& name, int32_t size, int32_t binding) {
  if (binding == kPresetBinding) {
    AddPresetFunction(name, size);
    return 0;
  }
  // The first definition wins: the user's files are read before the
  // toolchain's, so they take precedence.
  if (FindFuncItem(name) != nullptr) {
    PRINTS("Warning: Func item %s from Aid file already exists", name, "13: ");
    return 0;
  }
  __func_attr* record = CreateFuncAttr(name, name);
  if (record == nullptr) {
    PRINT("Error: Could not create function attribute.", "11: ");
    return -1;
  }
  record->IsFound = true;
  record->Stack = size;
  record->IsAidEntry = true;
  record->Path = SOURCE_AID_FILE;
  record->BranchType = Closed;
  record->Scope = binding;
  // A definition found in the sources is better than an aid figure.
  record->IsReplaceable = true;
  return 0;
}

int AssemblyData::CreateAidMemItem(const std::string& name, int32_t size, int32_t binding) {
  if (FindMemItem(name) != nullptr) {
    PRINTS("Warning: Mem item %s from Aid file already exists", name, "13: ");
    return 0;
  }
  __mem_attr* record = CreateMemAttr(name, name);
  if (record == nullptr) {
    PRINT("Error: Could not create memory attribute.", "11: ");
    return -1;
  }
  record->Size = size;
  record->IsFound = 0;
  record->IsAid = 1;
  record->Path = SOURCE_AID_FILE;
  record->Scope = binding;
  return 0;
}

int AssemblyData::DumpAidFuncAttr(const __func_attr* record, FILE* file) {
  std::fprintf(file, "%s;%s;%d;%d;\n", "code", record->Name.c_str(), record->CumStack,
               record->Scope);
  return 0;
}

int AssemblyData::DumpAidMemAttr(const __mem_attr* record, FILE* file) {
  std::fprintf(file, "%s;%s;%d;%d;\n", "data", record->Name.c_str(), record->Size, record->Scope);
  return 0;
}

int AssemblyData::CreateAidFile(const std::string& path) {
  FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) {
    PRINTS("Error: Unable to open file %s for output.", path, "10: ");
    return -1;
  }
  PRINTS("Writing aid file %s", path, "34: ");
  // The star lines differ in length (41 and 42); readers of older files
  // compare the header literally.
  std::fputs(
      "// *****************************************\n"
      "// \n"
      "// Format:\n"
      "// code;name;stacksize;binding;\n"
      "// data;name;memsize;binding;\n"
      "// \n"
      "// ******************************************\n",
      file);
  // Local items cannot be referred to from another program part.
  for (const auto& [key, record] : functionMap) {
    if (record->Scope != Local) DumpAidFuncAttr(record.get(), file);
  }
  for (const auto& [key, record] : memoryMap) {
    if (record->Scope != Local) DumpAidMemAttr(record.get(), file);
  }
  std::fclose(file);
  return 0;
}
