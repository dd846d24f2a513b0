// STUB: replaced by the text reports.
#include "database/AssemblyData.h"
int AssemblyData::DumpFiles(std::string) { return 0; }
int AssemblyData::DumpSizeItems(const std::string&) { return 0; }
int AssemblyData::DumpFuncItems(const std::string&) { return 0; }
int AssemblyData::DumpPathItems(const std::string&) { return 0; }
int AssemblyData::DumpUnknownFuncItems(const std::string&) { return 0; }
int AssemblyData::DumpCSVFuncAttr(const __func_attr*, FILE*) { return 0; }
int AssemblyData::DumpColumnFuncAttr(const __func_attr*, FILE*) { return 0; }
int AssemblyData::DumpCallPath(const __func_attr*, FILE*) { return 0; }
int AssemblyData::DumpNotFoundFuncAttr(const __func_attr*, FILE*) { return 0; }
int AssemblyData::DumpFunctionAttr(const __func_attr*, FILE*, const std::string&) { return 0; }
int AssemblyData::OpenReport(const std::string&, FILE**) { return -1; }
