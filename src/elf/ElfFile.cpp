// STUB: replaced by the ELF reader.
#include "elf/ElfFile.h"
ElfFile::ElfFile() {}
ElfFile::ElfFile(const std::string& path) { ReadFile(path); }
ElfFile::~ElfFile() {}
int ElfFile::ReadFile(const std::string&) { return 0; }
uint16_t ElfFile::Elf16Value(uint16_t v) const { return v; }
uint32_t ElfFile::Elf32Value(uint32_t v) const { return v; }
fcn_symbols* ElfFile::GetFcnSymForAddr(uint32_t) { return nullptr; }
const char* ElfFile::GetFcnNameForAddr(uint32_t) { return nullptr; }
fcn_symbols* ElfFile::GetFirstFncAtAddr(uint32_t) { return nullptr; }
fcn_symbols* ElfFile::GetFirstFncAtAddr(uint32_t, fcn_symbols*, size_t) { return nullptr; }
fcn_symbols* ElfFile::GetFcnSymAtAddr(uint32_t) { return nullptr; }
fcn_symbols* ElfFile::GetNextFcnAtAddr(uint32_t, fcn_symbols*) { return nullptr; }
bool ElfFile::IsStartOfFcnAddr(uint32_t) { return false; }
obj_symbols* ElfFile::GetObjSymForAddr(uint32_t) { return nullptr; }
const char* ElfFile::GetObjNameForAddr(uint32_t) { return nullptr; }
obj_symbols* ElfFile::GetObjSymAtAddr(uint32_t) { return nullptr; }
const ElfSymbol* ElfFile::GetSymbolByName(const std::string&) { return nullptr; }
fcn_symbols* ElfFile::GetFcnSymByName(const std::string&) { return nullptr; }
obj_symbols* ElfFile::GetNotypeSymByName(const std::string&) { return nullptr; }
const std::map<std::string, size_t, std::less<>>& ElfFile::GetSymMap() { return nameIndex_; }
void ElfFile::InsertReloItem(uint32_t, fcn_symbols*, int) {}
fcn_symbols* ElfFile::FindReloItem(uint32_t, int) { return nullptr; }
bool ElfFile::CreateFuncReloMap(const std::string&) { return false; }
void ElfFile::BldRelocations() {}
void ElfFile::DumpAll(FILE*) {}
