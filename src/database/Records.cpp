// Creation, lookup and removal of records, local keys and name helpers.
#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>

#include "database/AssemblyData.h"

const char* const scopestring[3] = {"Local", "Global", "Weak"};
const char* const branchstring[4] = {"Closed", "Undetermined", "Open", "Recursive"};

bool CallList::Insert(std::string_view name, __func_attr* record, uint64_t stamp) {
  if (Contains(name)) return false;
  ++changes_;
  items_.emplace_back(name);
  // Records are kept only while every one kept shares the stamp; a list
  // that saw a removal between its insertions keeps none.
  if (records_.size() + 1 == items_.size()) {
    if (record != nullptr && recordsStamp_ == kNoStamp) recordsStamp_ = stamp;
    if (record != nullptr && recordsStamp_ != stamp) {
      records_.clear();
      records_.shrink_to_fit();
    } else {
      records_.push_back(record);
    }
  }
  if (index_) {
    index_->emplace(name);
  } else if (items_.size() > kIndexThreshold) {
    index_ = std::make_unique<std::unordered_set<std::string, TransparentStringHash, std::equal_to<>>>(
        items_.begin(), items_.end());
  }
  return true;
}

bool CallList::Contains(std::string_view name) const {
  if (index_) return index_->find(name) != index_->end();
  for (const std::string& item : items_) {
    if (item == name) return true;
  }
  return false;
}

void CallList::clear() {
  ++changes_;
  index_.reset();
  items_.clear();
  records_.clear();
  recordsStamp_ = kNoStamp;
}

__func_attr* AssemblyData::CreateFuncAttr(FuncMap& map, const std::string& key,
                                          const std::string& name) {
  auto it = map.find(key);
  if (it != map.end()) return it->second.get();
  auto record = std::make_unique<__func_attr>();
  record->Name = name;
  record->Key = key;
  record->UName = Demangle(name);
  __func_attr* raw = record.get();
  if (InsertFuncItem(map, key, std::move(record)) != 1) return nullptr;
  return raw;
}

__func_attr* AssemblyData::CreateFuncAttr(const std::string& key, const std::string& name) {
  return CreateFuncAttr(functionMap, key, name);
}

__mem_attr* AssemblyData::CreateMemAttr(const std::string& key, const std::string& name) {
  auto it = memoryMap.find(key);
  if (it != memoryMap.end()) return it->second.get();
  auto record = std::make_unique<__mem_attr>();
  record->Key = key;
  record->Name = name;
  record->UName = Demangle(name);
  if (elfMapsInUse) {
    if (const obj_symbols* symbol = FindElfMemItem(key)) {
      record->IsFound = 1;
      record->Size = static_cast<int32_t>(symbol->size);
      record->Scope = symbol->binding;
      if (symbol->file != nullptr) record->Path = symbol->file;
    }
  }
  __mem_attr* raw = record.get();
  if (InsertMemItem(key, std::move(record)) != 1) return nullptr;
  return raw;
}

int AssemblyData::InsertFuncItem(FuncMap& map, const std::string& key,
                                 std::unique_ptr<__func_attr> record) {
  return map.try_emplace(key, std::move(record)).second ? 1 : 0;
}

int AssemblyData::InsertMemItem(const std::string& key, std::unique_ptr<__mem_attr> record) {
  return memoryMap.try_emplace(key, std::move(record)).second ? 1 : 0;
}

__func_attr* AssemblyData::FindFuncItem(const FuncMap& map, std::string_view key) const {
  return map.FindRecord(key);
}

__func_attr* AssemblyData::FindFuncItem(std::string_view key) const {
  return FindFuncItem(functionMap, key);
}

__mem_attr* AssemblyData::FindMemItem(std::string_view key) const {
  auto it = memoryMap.find(key);
  return it == memoryMap.end() ? nullptr : it->second.get();
}

int AssemblyData::RemoveFuncItem(FuncMap& map, std::string_view key) {
  auto it = map.find(key);
  if (it == map.end()) return 1;
  map.erase(it);
  return 1;
}

int AssemblyData::RemoveFuncItem(std::string_view key) { return RemoveFuncItem(functionMap, key); }

int AssemblyData::RemoveMemItem(std::string_view key) {
  auto it = memoryMap.find(key);
  if (it == memoryMap.end()) return 0;
  memoryMap.erase(it);
  return 1;
}

std::string AssemblyData::GetLocalName(const std::string& name, uint32_t address) {
  return name + "-of-" + GetHexString(address);
}

namespace {
// Turns a C source name into the name of the assembly file made from it:
// everything after the dot of ext is replaced by "s". The first occurrence
// counts, so x.cfg.c becomes x.s, as the keys of existing reports expect.
void ReplaceSourceExtension(std::string& base, const char* ext) {
  size_t pos = base.find(ext);
  if (pos == std::string::npos) return;
  base.erase(pos + 1);
  base += 's';
}
}  // namespace

std::string AssemblyData::GetLocalName(const std::string& name, const std::string& file) {
  std::string base = file;
  size_t cut = base.rfind('\\');
  if (cut != std::string::npos) base.erase(0, cut + 1);
  cut = base.rfind('/');
  if (cut != std::string::npos) base.erase(0, cut + 1);
  ReplaceSourceExtension(base, ".c");
  ReplaceSourceExtension(base, ".S");
  return name + "-of-" + base;
}

std::string AssemblyData::GetHexString(uint32_t value) {
  // As "%08x"; the listing parser asks for one per call it reads.
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(8, '0');
  for (int i = 7; i >= 0; --i, value >>= 4) text[static_cast<size_t>(i)] = kDigits[value & 0xf];
  return text;
}

std::string AssemblyData::Demangle(const std::string& name) {
  if (name.find("_Z") == std::string::npos) return name;
  int status = 0;
  char* readable = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
  if (status != 0 || readable == nullptr) {
    std::free(readable);
    return name;
  }
  std::string result(readable);
  std::free(readable);
  return result;
}

int AssemblyData::InsertCallListItem(__func_attr* record, std::string_view name, __func_attr* callee) {
  if (record == nullptr) return -1;
  record->callList.Insert(name, callee, FuncMap::Erasures());
  return 0;
}
