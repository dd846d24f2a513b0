// STUB: replaced by the ELF symbol maps.
#include "database/AssemblyData.h"
int AssemblyData::ReadElfIntoElfMaps(const std::string&, int) { return -1; }
int AssemblyData::BuildMapsFromElfData() { return -1; }
void AssemblyData::CrossCheck() {}
void AssemblyData::CleanMaps() { elfFuncMap.clear(); elfMemMap.clear(); elfNotypeMap.clear(); elfReader.reset(); elfMapsInUse = false; }
int AssemblyData::InsertElfFuncItem(const std::string&, const fcn_symbols&) { return 0; }
int AssemblyData::InsertElfMemItem(const std::string&, const obj_symbols&) { return 0; }
int AssemblyData::InsertElfNotypeItem(const std::string&, const obj_symbols&) { return 0; }
const fcn_symbols* AssemblyData::FindElfFuncItem(std::string_view) const { return nullptr; }
const obj_symbols* AssemblyData::FindElfMemItem(std::string_view) const { return nullptr; }
const obj_symbols* AssemblyData::FindElfNotypeItem(std::string_view) const { return nullptr; }
