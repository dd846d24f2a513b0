// STUB: replaced by the filter functions.
#include "source/FileParser.h"
int FileParser::AddAllFilterFunctions(const std::string&) { return 0; }
int FileParser::AddFilterFunctions(const std::string&) { return 0; }
__func_attr* FileParser::CreateFilterFuncItem(const std::string& k, const std::string& n) { return CreateFuncAttr(filterFunctionMap, k, n); }
__func_attr* FileParser::FindFilterFuncItem(std::string_view n) const { return FindFuncItem(filterFunctionMap, n); }
std::string FileParser::getArchitectureFromLibPath(const std::string&) { return ""; }
