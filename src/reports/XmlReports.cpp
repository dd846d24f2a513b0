// STUB: replaced by the XML reports.
#include "database/AssemblyData.h"
int AssemblyData::DumpFunctionList(const std::string&) { return 0; }
int AssemblyData::DumpMemoryList(const std::string&) { return 0; }
int AssemblyData::DumpFWarningList(const std::string&) { return 0; }
int AssemblyData::DumpMWarningList(const std::string&) { return 0; }
int AssemblyData::DumpFunctionNode(const __func_attr*, FILE*) { return 0; }
int AssemblyData::DumpMemoryObject(const __mem_attr*, FILE*) { return 0; }
int AssemblyData::DumpModuleList(const __func_attr*, FILE*) { return 0; }
std::string AssemblyData::TranslateForXML(const std::string& text) { return text; }
