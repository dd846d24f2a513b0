// STUB: replaced by the aliases implementation.
#include "database/AssemblyData.h"
int AssemblyData::InsertAliasItem(const std::string&, const std::string&, int) { return 0; }
const AliasEntry* AssemblyData::FindAliasItem(std::string_view) const { return nullptr; }
__func_attr* AssemblyData::GetAliasAttribute(const std::string&, const std::string&) { return nullptr; }
int AssemblyData::DeleteAliasList() { aliasList.clear(); aliasIndex.clear(); return 0; }
int AssemblyData::DumpAliasFuncAttr(const std::string&, FILE*) { return 0; }
int AssemblyData::AddPresetFunction(const std::string&, int32_t) { return 0; }
int AssemblyData::CreatePresetFunctions() { return 0; }
int AssemblyData::IsPresetFunction(__func_attr*) { return 0; }
__func_attr* AssemblyData::IsPresetFunction(const std::string&) { return nullptr; }
