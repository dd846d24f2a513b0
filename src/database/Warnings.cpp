// STUB: replaced by the warnings implementation.
#include "database/AssemblyData.h"
void AssemblyData::PrintWarning(const std::string&, const std::string&, const std::string&, const std::string&, int, const std::string&) {}
void AssemblyData::PrintWarning2(const std::string&, __func_attr*, const std::string&, int, const std::string&) {}
void AssemblyData::PrintCollision(const std::string&, const std::string&, const std::string&, const std::string&, const std::string&) {}
void AssemblyData::AddWarning(const std::string&, const std::string&, const std::string&, const std::string&, int, const std::string&, const std::string&) {}
void AssemblyData::AddWarning2(const std::string&, __func_attr*, const std::string&, int, const std::string&) {}
