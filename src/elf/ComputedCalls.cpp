// Calls whose target the listing does not name: addresses built in
// registers, loaded from data words, or patched in by relocations.
#include <algorithm>
#include <cstdlib>

#include "source/FileParser.h"
#include "source/MathParser.h"

namespace {
constexpr const char* kHandlerFailed = "12: ";

// The value of the text after "+" in "section+offset"; false without one.
bool OffsetAfterPlus(const std::string& token, uint32_t& value) {
  size_t plus = token.find('+');
  if (plus == std::string::npos) return false;
  MathParser parser(token.substr(plus + 1));
  if (!parser.Success()) return false;
  value = static_cast<uint32_t>(parser.Value());
  return true;
}
}  // namespace

int FileParser::CallFunctionAt(uint32_t address, int computed) {
  ElfFile* elf = ListingElf();
  if (elf == nullptr) return 0;
  if (statementPrefilter && computed && currentFunction != nullptr) {
    // Handled in turn with the listed calls, its function searched for
    // with theirs.
    PutListedCallAside(ListedCall::kComputed, address, nullptr);
    return 0;
  }
  const fcn_symbols* symbol = elf->GetFcnSymAtAddr(address);
  if (symbol == nullptr || symbol->name == nullptr) return 0;
  return HandleDisAsmCall(symbol->name, GetHexString(symbol->startAddress), computed);
}

bool FileParser::AddressesAreFinal() const {
  // In a relocatable object a constant is no address: every section starts
  // at 0, and addresses of code are filled in by relocations, which the
  // relocation lines report.
  const ElfFile* elf = ListingElf();
  return elf != nullptr && !elf->IsRelocatable();
}

int FileParser::HandleIndirectCall3(uint32_t value) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Indirect call failed for no current function.", kHandlerFailed);
    return -1;
  }
  return AddressesAreFinal() ? CallFunctionAt(value, 1) : 0;
}

int FileParser::HandleConstantExtender2(std::string_view token) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Constant extender failed for no current function.", kHandlerFailed);
    return -1;
  }
  // Every hexadecimal digit character of the token, converted as a decimal
  // number: a decimal immediate gives its value, a 0x form only its leading
  // decimal digits.
  // Collected on the stack: these are the most common lines a listing
  // hands to its handlers. A token is a part of a line of at most 1023.
  char digits[1024];
  size_t count = 0;
  for (char c : token) {
    if (count == sizeof digits - 1) break;
    if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) digits[count++] = c;
  }
  digits[count] = '\0';
  const long number = std::strtol(digits, nullptr, 10);
  if (number == 0 || !AddressesAreFinal()) return 0;
  return CallFunctionAt(static_cast<uint32_t>(number), 1);
}

int FileParser::HandleIndirectCallByAddress(const std::string& line) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Indirect call failed for no current function.", kHandlerFailed);
    return -1;
  }
  if (!AddressesAreFinal()) return 0;
  size_t hash = line.find('#');
  if (hash == std::string::npos) return 0;
  size_t close = line.find(')', hash);
  if (close == std::string::npos) return 0;
  const long offset = std::strtol(line.substr(hash + 1, close - hash - 1).c_str(), nullptr, 10);
  const uint32_t address = static_cast<uint32_t>(offset) + sdaBase;
  ElfFile* elf = ListingElf();
  if (elf == nullptr) return 0;
  const obj_symbols* object = elf->GetObjSymAtAddr(address);
  if (object == nullptr || object->initialWord == 0) return 0;
  return CallFunctionAt(object->initialWord, 1);
}

int FileParser::HandleSDataCall(const std::string& token) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Indirect call failed for no current function.", kHandlerFailed);
    return -1;
  }
  uint32_t offset = 0;
  ElfFile* elf = ListingElf();
  if (elf == nullptr || !OffsetAfterPlus(token, offset)) return 0;
  const fcn_symbols* symbol = elf->FindReloItem(offset, ElfFile::kReloSData);
  if (symbol == nullptr || symbol->name == nullptr) return 0;
  return HandleDisAsmCall(symbol->name, GetHexString(symbol->startAddress), 1);
}

int FileParser::HandleTextCall(const std::string& token) {
  if (currentFunction == nullptr) {
    PRINT("Warning: Indirect call failed for no current function.", kHandlerFailed);
    return -1;
  }
  uint32_t offset = 0;
  if (!OffsetAfterPlus(token, offset)) offset = 0;
  ElfFile* elf = ListingElf();
  if (elf != nullptr && elf->IsRelocatable()) {
    // A relocation against a file-local symbol names its section: the
    // target is the function at that offset of that very section. A
    // PC-relative type is a direct call, any other takes an address.
    const fcn_symbols* target = FunctionInSection(*elf, token.substr(0, token.find('+')), offset);
    if (target == nullptr || target->name == nullptr) return 0;
    const int computed = current.token1.find("PCR") == std::string::npos ? 1 : 0;
    return HandleDisAsmCall(target->name, GetHexString(target->startAddress), computed);
  }
  if (token.find('+') == std::string::npos) return 0;
  return CallFunctionAt(offset, 1);
}

const fcn_symbols* FileParser::FunctionInSection(ElfFile& elf, const std::string& section, uint32_t offset) {
  const std::vector<ElfSection>& sections = elf.Sections();
  for (size_t index = 0; index < sections.size(); ++index) {
    if (section != sections[index].name) continue;
    for (const fcn_symbols& f : elf.Functions()) {
      if (f.sectionIndex == index && f.startAddress <= offset && offset < std::max(f.endAddress, f.startAddress + 1)) {
        return &f;
      }
    }
  }
  return nullptr;
}

int FileParser::HandlePcRelCall(const std::string& token) {
  (void)token;  // the relocation line's own address locates the target
  if (currentFunction == nullptr) {
    PRINT("Warning: Call failed for no current function.", kHandlerFailed);
    return -1;
  }
  MathParser parser("0x" + current.lineLabel);
  if (!parser.Success()) return -1;
  ElfFile* elf = ListingElf();
  if (elf == nullptr) return 0;
  const uint32_t address = static_cast<uint32_t>(parser.Value());
  const fcn_symbols* symbol =
      elf->FindReloItem(address, hasFuncRelocations ? ElfFile::kReloFunction : ElfFile::kReloText);
  if (symbol == nullptr || symbol->name == nullptr) return 0;
  std::string name = symbol->name;
  size_t plus = name.find('+');
  if (plus != std::string::npos) name.erase(plus);
  const std::string start = GetHexString(symbol->startAddress);
  if (FindFunction(name, start) == nullptr) {
    // Not a function of the database: perhaps a second name of one.
    const AliasEntry* alias = FindAliasItem(name);
    if (alias == nullptr) return 0;
    name = alias->target;
  }
  return HandleDisAsmCall(name, start, 0);
}
