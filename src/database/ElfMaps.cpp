// ELF symbol maps: the symbols of a program image, as the source of the
// records in image mode and as the check of the sources in folder mode.
#include <cstring>

#include "database/AssemblyData.h"

namespace {

constexpr uint8_t kBindLocal = 0;

// The database scope of a symbol binding. Bindings beyond weak (OS or
// processor specific) count as global, so a scope always names an entry of
// scopestring.
uint8_t ScopeOfBinding(uint8_t binding) {
  return binding <= Weak ? binding : static_cast<uint8_t>(Global);
}

template <typename Sym>
std::string ElfKey(const Sym& symbol, bool localKeys) {
  if (localKeys && symbol.binding == kBindLocal) {
    return AssemblyData::GetLocalName(symbol.name, symbol.startAddress);
  }
  return symbol.name;
}

template <typename Map, typename Sym>
int InsertElfItem(Map& map, const std::string& name, const Sym& symbol) {
  // A record without a name could not point into the reader.
  if (symbol.name == nullptr) return -1;
  return map.try_emplace(name, symbol).second ? 1 : 0;
}

template <typename Map>
auto FindElfItem(const Map& map, std::string_view name) -> decltype(&map.begin()->second) {
  auto it = map.find(name);
  return it == map.end() ? nullptr : &it->second;
}

}  // namespace

int AssemblyData::InsertElfFuncItem(const std::string& name, const fcn_symbols& symbol) {
  return InsertElfItem(elfFuncMap, name, symbol);
}

int AssemblyData::InsertElfMemItem(const std::string& name, const obj_symbols& symbol) {
  return InsertElfItem(elfMemMap, name, symbol);
}

int AssemblyData::InsertElfNotypeItem(const std::string& name, const obj_symbols& symbol) {
  return InsertElfItem(elfNotypeMap, name, symbol);
}

const fcn_symbols* AssemblyData::FindElfFuncItem(std::string_view name) const {
  return FindElfItem(elfFuncMap, name);
}

const obj_symbols* AssemblyData::FindElfMemItem(std::string_view name) const {
  return FindElfItem(elfMemMap, name);
}

const obj_symbols* AssemblyData::FindElfNotypeItem(std::string_view name) const {
  return FindElfItem(elfNotypeMap, name);
}

void AssemblyData::CleanMaps() {
  // The maps point into the reader: empty them before it goes.
  elfFuncMap.clear();
  elfMemMap.clear();
  elfNotypeMap.clear();
  elfReader.reset();
  elfMapsInUse = false;
  sdaBase = 0;
  sdaBaseFound = false;
}

int AssemblyData::ReadElfIntoElfMaps(const std::string& file, int imageMode) {
  CleanMaps();
  auto reader = std::make_unique<ElfFile>();
  if (reader->ReadFile(file) == 0) {
    PRINTS("Error: Could not read ELF file: %s", file, "10: ");
    return -1;
  }
  PRINTS("Processing ELF file %s", file, "22: ");
  if (!reader->HasSymbolTable()) {
    PRINTS("Error: No symbol table in elf file: %s", file, "10: ");
    return -1;
  }
  const bool localKeys = imageMode != 0;

  for (const fcn_symbols& symbol : reader->Functions()) {
    fcn_symbols copy = symbol;
    copy.binding = ScopeOfBinding(symbol.binding);
    int result = InsertElfFuncItem(ElfKey(symbol, localKeys), copy);
    if (result == 0) {
      PRINTS("Warning: Found duplicate function %s in elf file.", symbol.name, "11: ");
    } else if (result < 0) {
      PRINT("Warning: Could not insert elf function into map.", "11: ");
    }
  }

  // _SDA_BASE_ is the small-data base, not a data object; the linker may
  // define it as an object or without a type, so both lists are looked at.
  auto takeSdaBase = [this](const obj_symbols& symbol) {
    if (std::strcmp(symbol.name, "_SDA_BASE_") != 0) return false;
    if (!sdaBaseFound) {
      sdaBase = symbol.startAddress;
      sdaBaseFound = true;
    }
    return true;
  };
  for (const obj_symbols& symbol : reader->Objects()) {
    if (takeSdaBase(symbol)) continue;
    obj_symbols copy = symbol;
    copy.binding = ScopeOfBinding(symbol.binding);
    int result = InsertElfMemItem(ElfKey(symbol, localKeys), copy);
    if (result == 0) {
      PRINTS("Warning: Found duplicate object %s in elf file.", symbol.name, "11: ");
    } else if (result < 0) {
      PRINT("Warning: Could not insert elf object into map.", "11: ");
    }
  }
  for (const obj_symbols& symbol : reader->Notypes()) {
    if (takeSdaBase(symbol)) continue;
    obj_symbols copy = symbol;
    copy.binding = ScopeOfBinding(symbol.binding);
    // Untyped symbols are mostly labels; their repeats are not worth a line.
    InsertElfNotypeItem(ElfKey(symbol, localKeys), copy);
  }

  elfReader = std::move(reader);
  elfMapsInUse = true;
  if (!sdaBaseFound) PRINT("Warning: Could not find _SDA_BASE_ in elf file.", "11: ");
  return 0;
}

int AssemblyData::BuildMapsFromElfData() {
  if (!elfMapsInUse) return -1;
  for (const auto& [mapKey, symbol] : elfFuncMap) {
    const bool local = symbol.binding == kBindLocal;
    __func_attr* record = CreateFuncAttr(ElfKey(symbol, true), symbol.name);
    if (record == nullptr) {
      PRINT("Error: Could not create function attribute.", "11: ");
      continue;
    }
    record->IsFound = true;
    record->IsUsed = true;
    record->Scope = symbol.binding;
    record->CodeSize = static_cast<int32_t>(symbol.size);
    if (local && symbol.file != nullptr && *symbol.file != '\0') record->Path = symbol.file;
  }
  for (const auto& [mapKey, symbol] : elfMemMap) {
    const bool local = symbol.binding == kBindLocal;
    __mem_attr* record = CreateMemAttr(ElfKey(symbol, true), symbol.name);
    if (record == nullptr) {
      PRINT("Error: Could not create memory attribute.", "11: ");
      continue;
    }
    record->Scope = symbol.binding;
    record->IsFound = 1;
    record->Size = static_cast<int32_t>(symbol.size);
    if (local && symbol.file != nullptr && *symbol.file != '\0') record->Path = symbol.file;
  }
  return 0;
}

namespace {
// Compiler-generated local labels (string literals, jump tables) and
// constant pools never get a symbol of their own in the image.
bool IsExemptObject(const std::string& name) {
  return name.compare(0, 2, ".L") == 0 || name.find("CONST") != std::string::npos;
}
}  // namespace

void AssemblyData::CrossCheck() {
  if (!elfMapsInUse) return;
  // Folder mode keys the ELF maps by plain name, so records are looked up by
  // their name, not by their local key.
  for (const auto& [key, record] : functionMap) {
    // Only functions whose body came from the sources are checked: aid and
    // library records describe code outside them, and a function that is
    // only called may legitimately live elsewhere.
    if (!record->IsFound || record->IsAidEntry || record->IsReplaceable) continue;
    if (record->Name.compare(0, 2, ".L") == 0) continue;
    if (FindElfFuncItem(record->Name) == nullptr) {
      PRINTS("Could not find function %s\n", record->Name, "13: ");
    }
  }
  for (const auto& [key, record] : memoryMap) {
    if (record->IsAid || record->IsReplaceable || IsExemptObject(record->Name)) continue;
    if (FindElfMemItem(record->Name) != nullptr || FindElfNotypeItem(record->Name) != nullptr) {
      record->IsFound = 1;
    } else {
      PRINTS("Could not find memory %s\n", record->Name, "13: ");
    }
  }
}
