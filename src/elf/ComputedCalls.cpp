// STUB: replaced by the computed-call handlers.
#include "source/FileParser.h"
int FileParser::HandleIndirectCall3(uint32_t) { return 0; }
int FileParser::HandleConstantExtender2(const std::string&) { return 0; }
int FileParser::HandleIndirectCallByAddress(const std::string&) { return 0; }
int FileParser::HandleSDataCall(const std::string&) { return 0; }
int FileParser::HandleTextCall(const std::string&) { return 0; }
int FileParser::HandlePcRelCall(const std::string&) { return 0; }
