// Function and memory records of the analysis database and their call lists.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Scope (binding) values; they index scopestring.
enum : int32_t { Local = 0, Global = 1, Weak = 2 };

// Branch types ordered by severity; they index branchstring.
enum : int32_t { Closed = 0, Undetermined = 1, Open = 2, Recursive = 3 };

extern const char* const scopestring[3];
extern const char* const branchstring[4];

// Hash and equality that let unordered containers of std::string be
// searched with a string_view, without building a temporary string.
struct TransparentStringHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

// Callee keys in order of first insertion, each once. Small lists are
// searched linearly; once a function has many callees a hash index keeps
// insertion constant-time. Most functions call a handful of others, so an
// empty or short list must stay small.
class CallList {
 public:
  // Appends the name unless present; true when it was appended.
  bool Insert(std::string_view name);
  bool Contains(std::string_view name) const;
  bool empty() const { return items_.empty(); }
  size_t size() const { return items_.size(); }
  std::vector<std::string>::const_iterator begin() const { return items_.begin(); }
  std::vector<std::string>::const_iterator end() const { return items_.end(); }
  const std::string& front() const { return items_.front(); }
  void clear();

 private:
  static constexpr size_t kIndexThreshold = 16;
  std::vector<std::string> items_;
  std::unique_ptr<std::unordered_set<std::string, TransparentStringHash, std::equal_to<>>> index_;
};

struct __func_attr {
  std::string Name;
  std::string Key;
  std::string UName;
  std::string Path;
  int32_t Stack = 0;
  int32_t CumStack = 0;
  int32_t CumUserStack = 0;
  int32_t Scope = Global;
  int32_t CodeSize = -1;
  int32_t BranchType = Closed;
  int32_t Recursion = 0;
  bool IsFound = false;
  bool IsUsed = false;
  bool IsAidEntry = false;
  bool HasParent = false;
  bool HasPtrToFunc = false;
  CallList callList;
  // Records that came from outside the sources (aid files, toolchain
  // libraries): a definition found in the sources replaces them.
  bool IsReplaceable = false;
};

struct __mem_attr {
  std::string Name;
  std::string Key;
  std::string UName;
  std::string Path;
  int32_t Size = -1;
  int32_t IsFound = 0;
  // Second flag: 1 for records that came from outside the sources (aid
  // files, libraries); such records are replaceable by a source definition
  // and are reported as IsAid.
  int32_t IsAid = 0;
  int32_t Scope = Global;
  // Objects of the toolchain libraries: replaceable like aid records, but
  // not reported as aid entries.
  bool IsReplaceable = false;
};

// Function records by key, iterated in byte-wise key order as the reports
// need, with a hash index beside the ordered map: the parsers look a
// function up for every call they meet, and a string-compared tree walk per
// lookup dominated the analysis of large programs.
class FuncMap {
 public:
  using Map = std::map<std::string, std::unique_ptr<__func_attr>, std::less<>>;
  using iterator = Map::iterator;
  using const_iterator = Map::const_iterator;
  using value_type = Map::value_type;

  iterator begin() { return map_.begin(); }
  iterator end() { return map_.end(); }
  const_iterator begin() const { return map_.begin(); }
  const_iterator end() const { return map_.end(); }
  size_t size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }

  iterator find(std::string_view key) {
    auto it = index_.find(key);
    return it == index_.end() ? map_.end() : it->second;
  }
  const_iterator find(std::string_view key) const {
    auto it = index_.find(key);
    return it == index_.end() ? map_.cend() : const_iterator(it->second);
  }
  size_t count(std::string_view key) const { return index_.count(key); }

  std::pair<iterator, bool> try_emplace(const std::string& key, std::unique_ptr<__func_attr> value) {
    auto result = map_.try_emplace(key, std::move(value));
    if (result.second) index_.emplace(std::string_view(result.first->first), result.first);
    return result;
  }
  std::pair<iterator, bool> emplace(const std::string& key, std::unique_ptr<__func_attr> value) {
    return try_emplace(key, std::move(value));
  }
  iterator erase(iterator it) {
    index_.erase(std::string_view(it->first));
    return map_.erase(it);
  }
  size_t erase(std::string_view key) {
    auto it = find(key);
    if (it == map_.end()) return 0;
    erase(it);
    return 1;
  }
  void clear() {
    index_.clear();
    map_.clear();
  }

 private:
  Map map_;
  // Views of the map's own keys, which never move while their node lives.
  std::unordered_map<std::string_view, iterator> index_;
};

// All other maps compare keys byte-wise; the transparent comparator lets
// lookups take a string_view without building a std::string.
using MemMap = std::map<std::string, std::unique_ptr<__mem_attr>, std::less<>>;
// Descending cumulative stack; equal keys keep insertion order.
using SizeMap = std::multimap<int32_t, __func_attr*, std::greater<int32_t>>;
