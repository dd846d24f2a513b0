// STUB: replaced by the aid-file reader and writer.
#include "source/FileParser.h"
int AssemblyData::CreateAidFuncItem(const std::string&, int32_t, int32_t) { return 0; }
int AssemblyData::CreateAidMemItem(const std::string&, int32_t, int32_t) { return 0; }
int AssemblyData::CreateAidFile(const std::string&) { return 0; }
int AssemblyData::DumpAidFuncAttr(const __func_attr*, FILE*) { return 0; }
int AssemblyData::DumpAidMemAttr(const __mem_attr*, FILE*) { return 0; }
int FileParser::ProcessAidFile(const std::string&) { return 0; }
int FileParser::AidLineHasKeywords(char*) { return 0; }
int FileParser::ProcessAidFileSingleLine() { return 0; }
