// Second names of functions (.set aliases, extra symbols) and the table of
// library functions with a fixed frame.
#include "database/AssemblyData.h"

int AssemblyData::InsertAliasItem(const std::string& alias, const std::string& target, int flag) {
  // The first definition of an alias wins.
  if (aliasIndex.find(alias) != aliasIndex.end()) return 0;
  aliasIndex.emplace(alias, aliasList.size());
  aliasList.push_back({alias, target, flag});
  return 0;
}

const AliasEntry* AssemblyData::FindAliasItem(std::string_view alias) const {
  auto it = aliasIndex.find(alias);
  return it == aliasIndex.end() ? nullptr : &aliasList[it->second];
}

__func_attr* AssemblyData::GetAliasAttribute(const std::string& alias, const std::string& file) {
  const AliasEntry* entry = FindAliasItem(alias);
  if (entry == nullptr) return nullptr;
  // A target that is static in the caller's file is preferred.
  if (!file.empty()) {
    if (__func_attr* local = FindFuncItem(GetLocalName(entry->target, file))) return local;
  }
  return FindFuncItem(entry->target);
}

int AssemblyData::DeleteAliasList() {
  aliasList.clear();
  aliasIndex.clear();
  return 0;
}

int AssemblyData::DumpAliasFuncAttr(const std::string& alias, FILE* stream) {
  const __func_attr* target = GetAliasAttribute(alias, "");
  if (target == nullptr || stream == nullptr) return -1;
  std::fprintf(stream, "%s;%s;%d;%d;\n", "code", alias.c_str(), target->CumStack, target->Scope);
  return 0;
}

int AssemblyData::AddPresetFunction(const std::string& name, int32_t stack) {
  presetIndex.emplace(name, presetFunctions.size());
  presetFunctions.push_back({name, stack});
  return 0;
}

int AssemblyData::CreatePresetFunctions() {
  static const _PresetFunctions kPresets[] = {
      {"printf", 904},
      {"_Assert", 288},
      {"_Atexit", 0},
      {"trecurse", 48},
      {"fflush", 48},
      {"_Geterrno", 72},
      {"abort", 80},
      {"__cxa_call_unexpected", 2792},
      {"realloc", 176},
      {"_ZNKSt12_String_base5_XranEv", 2920},
      {"_ZNKSt12_String_base5_XlenEv", 2920},
      {"_ZL7do_scanPKhPKSt9type_infoS0_S3_S3_P9cast_datab", 112},
      {"_Z7do_scanPKhPKSt9type_infoS0_S3_S3_P9cast_datab", 112},
      {"interp_cfi", 872},
      {"intro_sort", 440},
      {"_ZL20has_unambiguous_basePKhPKSt9type_infoS3_P10catch_datab", 120},
      {"_ZL12do_base_scanPKhPKSt9type_infoS0_S3_S0_P9cast_datab", 168},
      {"strptime", 320},
  };
  for (const _PresetFunctions& preset : kPresets) AddPresetFunction(preset.name, preset.stack);
  return 0;
}

const _PresetFunctions* AssemblyData::FindPreset(std::string_view name) const {
  auto it = presetIndex.find(name);
  return it == presetIndex.end() ? nullptr : &presetFunctions[it->second];
}

int AssemblyData::IsPresetFunction(__func_attr* record) {
  if (record == nullptr) return 0;
  const _PresetFunctions* preset = FindPreset(record->Name);
  if (preset == nullptr) return 0;
  record->IsFound = true;
  record->IsAidEntry = false;
  record->Stack = preset->stack;
  return 1;
}

__func_attr* AssemblyData::IsPresetFunction(const std::string& name) {
  const _PresetFunctions* preset = FindPreset(name);
  if (preset == nullptr) return nullptr;
  __func_attr* record = CreateFuncAttr(name, name);
  if (record == nullptr) return nullptr;
  record->IsFound = true;
  record->IsAidEntry = false;
  record->Stack = preset->stack;
  return record;
}
