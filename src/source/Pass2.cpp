// STUB: replaced by pass 2.
#include "source/FileParser.h"
int FileParser::ProcessKeywordsPass2(const std::string&) { return 0; }
int FileParser::HandleAllocframe(const std::string&, const std::string&) { return 0; }
int FileParser::HandleR29Line(const std::string&, const std::string&, int) { return 0; }
int FileParser::CalculateRegisterValue(const std::string&, int32_t&) { return -1; }
int FileParser::HandleCall(std::string, const std::string&, int) { return 0; }
int FileParser::HandleJump(std::string, const std::string&) { return 0; }
int FileParser::HandleIndirectCall(const std::string&, const std::string&) { return 0; }
int FileParser::HandleHiWord(const std::string&, const std::string&) { return 0; }
int FileParser::HandleConstantExtender(const std::string&, const std::string&) { return 0; }
void FileParser::StripPlt(std::string&) {}
__func_attr* FileParser::FindFunction(const std::string& name, const std::string& q) { if (auto* f = FindFuncItem(GetLocalName(name, q))) return f; return FindFuncItem(name); }
__mem_attr* FileParser::FindMemoryObject(const std::string& name, const std::string& q) { if (auto* m = FindMemItem(GetLocalName(name, q))) return m; return FindMemItem(name); }
