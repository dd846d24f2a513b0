// STUB: replaced by the listing parser.
#include "source/FileParser.h"
int FileParser::ParseDisassembledElfFile(const std::string&) { return 0; }
int FileParser::DisAsmLineHasKeywords() { return 0; }
int FileParser::DisAsmLineHasKeywords2() { return 0; }
int FileParser::ProcessKeywordsDisassembly() { return 0; }
int FileParser::SetCurrentDisAsmFunction(std::string, std::string) { return -1; }
void FileParser::ClearCurrentDisAsmFunction() {}
int FileParser::HandleAllocframe2(const std::string&) { return 0; }
int FileParser::HandleR29Line2(const std::string&) { return 0; }
int FileParser::HandleDisAsmCall(std::string, const std::string&, int) { return 0; }
int FileParser::HandleJump2(std::string, const std::string&) { return 0; }
int FileParser::GetCallNameAddress(const std::string&, const std::string&, std::string&, std::string&) { return 0; }
std::string FileParser::MakeAddress(const std::string& t) { return t; }
std::string FileParser::MakeAddress(const std::string& b, const std::string&) { return b; }
int FileParser::ResolveAliases(__func_attr*) { return 0; }
