// STUB: replaced by pass 1.
#include "source/FileParser.h"
int FileParser::ParseAssemblyFile(const std::string&, int) { return 0; }
int FileParser::ProcessKeywordsPass1(const std::string&) { return 0; }
int FileParser::CreateFunction(const std::string&, const std::string&) { return 0; }
int FileParser::CreateObject(const std::string&, const std::string&, const std::string&) { return 0; }
int FileParser::SetCurrentFunction(const std::string&, const std::string&) { return -1; }
bool FileParser::IsLabel(const std::string&) { return false; }
int FileParser::CheckFunctionList(const std::string&) { return 0; }
int FileParser::CheckObjectList(const std::string&) { return 0; }
void FileParser::EndCurrentFunction() { ClearCurrentFunction(); }
int FileParser::HandleCommon(const std::string&) { return 0; }
int FileParser::HandleLCommon(const std::string&) { return 0; }
int FileParser::HandleSpace(const std::string&) { return 0; }
int FileParser::SetMemorySize(const std::string&) { return 0; }
