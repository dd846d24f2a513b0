// STUB: replaced by toolchain discovery.
#include "source/FileParser.h"
int FileParser::detectTools() { return 0; }
std::string FileParser::RunTool(const std::string&) { return ""; }
std::string FileParser::RunObjDump(const std::string&, const std::string&, const std::string&) { return "Fork failed"; }
int FileParser::CreateDisassemblyFile(const std::string&, std::string&) { return -1; }
int FileParser::CreateDisassemblyFile(__LibAttr&) { return 0; }
