// STUB: replaced by the stack resolution.
#include "database/AssemblyData.h"
int AssemblyData::ProcessAssemblyObject() { return 0; }
int AssemblyData::ResolveCumulativeStackUse() { return 0; }
int AssemblyData::CheckRecursionAndStack(__func_attr*) { return 0; }
int AssemblyData::InsertSizeItem(int32_t, __func_attr*) { return 0; }
int AssemblyData::CopyFuncItemsToSizeMap() { return 0; }
bool AssemblyData::IsFilterFunction(std::string_view) const { return false; }
