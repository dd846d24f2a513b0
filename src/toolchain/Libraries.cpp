// STUB: replaced by the library stage.
#include "source/FileParser.h"
int FileParser::PreProcessLibraries() { return 0; }
int FileParser::ScanLibDirectories() { return 0; }
int FileParser::AddDinkumwareLibs() { return 0; }
int FileParser::FindLibrary(__LibAttr&) { return -1; }
__LibAttr* FileParser::AddStaticLib(const std::string&) { return nullptr; }
int FileParser::AddLibsToStaticVector() { return 0; }
int FileParser::PreProcessStaticLibs(const std::string&) { return 0; }
int FileParser::AddLibObjectToMaps(const std::string&) { return 0; }
int FileParser::PreProcessDynamicLibs() { return 0; }
int FileParser::ParseStaticLibs() { return 0; }
int FileParser::ParseDynamicLibs() { return 0; }
