// Function and memory records of the analysis database and their call lists.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "database/LargeTableAllocator.h"

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

struct __func_attr;

// Callee keys in order of first insertion, each once. Small lists are
// searched linearly; once a function has many callees a hash index keeps
// insertion constant-time. Most functions call a handful of others, so an
// empty or short list must stay small.
class CallList {
 public:
  CallList() = default;
  CallList(CallList&& other) noexcept
      : items_(std::move(other.items_)),
        records_(std::move(other.records_)),
        recordsStamp_(other.recordsStamp_),
        index_(std::move(other.index_)) {
    ++changes_;
  }
  CallList& operator=(CallList&& other) noexcept {
    items_ = std::move(other.items_);
    records_ = std::move(other.records_);
    recordsStamp_ = other.recordsStamp_;
    index_ = std::move(other.index_);
    ++changes_;
    return *this;
  }
  // Counts the changes to every call list of the process, so that a table
  // built from call lists tells in constant time whether it is current.
  static uint64_t Changes() { return changes_; }
  // Appends the name unless present; true when it was appended.
  bool Insert(std::string_view name) { return Insert(name, nullptr, 0); }
  // The same, keeping the record the function map holds under the name,
  // found by the caller when FuncMap::Erasures() was stamp: the callee
  // table (AssemblyData::EnsureCalleeTable) then need not look it up again.
  bool Insert(std::string_view name, __func_attr* record, uint64_t stamp);
  // The records kept by Insert (null where none was given), by position.
  // Valid only while no function record was removed since they were kept:
  // stamp is the removal count now.
  bool RecordsValid(uint64_t stamp) const { return recordsStamp_ == stamp && records_.size() == items_.size(); }
  __func_attr* Record(size_t position) const { return records_[position]; }
  bool Contains(std::string_view name) const;
  bool empty() const { return items_.empty(); }
  size_t size() const { return items_.size(); }
  std::vector<std::string>::const_iterator begin() const { return items_.begin(); }
  std::vector<std::string>::const_iterator end() const { return items_.end(); }
  const std::string& front() const { return items_.front(); }
  void clear();

 private:
  static constexpr size_t kIndexThreshold = 16;
  static constexpr uint64_t kNoStamp = ~uint64_t{0};
  static inline uint64_t changes_ = 0;
  std::vector<std::string> items_;
  std::vector<__func_attr*> records_;
  uint64_t recordsStamp_ = kNoStamp;  // the one stamp of every record kept, or kNoStamp
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
  // The record's position in key order, which indexes the database's
  // callee table and the tables built from it (see
  // AssemblyData::EnsureCalleeTable).
  size_t ordinal = 0;
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
  // Changes with every insertion and removal: tables built from the map
  // tell by it whether they still describe it.
  uint64_t Version() const { return version_; }
  // Counts removals of records from every function map of the process
  // (erasing, clearing or destroying a map): a record pointer
  // taken from a map stays valid, and its key maps to it, while the count
  // is unchanged, since records are never replaced in place under a key.
  static uint64_t Erasures() { return erasures_; }

  FuncMap() = default;
  FuncMap(FuncMap&& other) noexcept = delete;
  FuncMap& operator=(FuncMap&& other) noexcept = delete;
  ~FuncMap() { ++erasures_; }

  iterator find(std::string_view key) {
    const Slot* slot = Lookup(key, std::hash<std::string_view>{}(key));
    return slot != nullptr ? slot->entry : map_.end();
  }
  const_iterator find(std::string_view key) const {
    const Slot* slot = Lookup(key, std::hash<std::string_view>{}(key));
    return slot != nullptr ? const_iterator(slot->entry) : map_.cend();
  }
  size_t count(std::string_view key) const { return find(key) != map_.end() ? 1 : 0; }
  // The record of a key, or null. Short keys are settled in the table
  // alone, without a visit to the map node.
  __func_attr* FindRecord(std::string_view key) const {
    const Slot* slot = Lookup(key, std::hash<std::string_view>{}(key));
    return slot != nullptr ? slot->record : nullptr;
  }

  // Starts fetching the slot where a lookup of the key begins, and the word
  // of the local-key filter that MayHaveLocalKey reads, for a caller that
  // knows its keys ahead of the lookups: each would otherwise wait for its
  // own miss in a table larger than the cache.
  void Prefetch(std::string_view key) const {
    const size_t hash = std::hash<std::string_view>{}(key);
    __builtin_prefetch(&localFilter_[(hash & (kLocalFilterBits - 1)) / 64]);
    if (!slots_.empty()) __builtin_prefetch(&slots_[Home(hash)]);
  }

  // False when no key was ever name + "-of-" + something, so a file-local
  // lookup of the name would miss: most calls go to global functions, and
  // the filter, small enough to stay in cache, saves each of them a miss in
  // the table. Never wrong in that direction; erased keys stay marked.
  bool MayHaveLocalKey(std::string_view name) const {
    const size_t bit = std::hash<std::string_view>{}(name) & (kLocalFilterBits - 1);
    return (localFilter_[bit / 64] >> (bit % 64)) & 1u;
  }

  // Appends the record of every key (nullptr where there is none) to out.
  // The lookups run in groups whose memory reads overlap: the walks over
  // every call of a large program would otherwise wait for each in turn.
  template <class It>
  void FindAll(It first, It last, std::vector<__func_attr*>& out) const {
    constexpr size_t kGroup = 16;
    size_t hashes[kGroup];
    const Slot* candidates[kGroup];
    while (first != last) {
      const It group = first;
      size_t n = 0;
      for (; n < kGroup && first != last; ++first, ++n) {
        hashes[n] = std::hash<std::string_view>{}(std::string_view(*first));
        if (!slots_.empty()) __builtin_prefetch(&slots_[Home(hashes[n])]);
      }
      for (size_t i = 0; i < n; ++i) {
        candidates[i] = FirstWithHash(hashes[i]);
        if (candidates[i] != nullptr && !candidates[i]->Inline()) __builtin_prefetch(&*candidates[i]->entry);
      }
      It key = group;
      for (size_t i = 0; i < n; ++i, ++key) {
        const Slot* slot = candidates[i];
        // Another key with the same hash: the full probe settles it.
        if (slot != nullptr && !slot->Holds(*key)) slot = Lookup(*key, hashes[i]);
        out.push_back(slot != nullptr ? slot->record : nullptr);
      }
    }
  }

  std::pair<iterator, bool> try_emplace(const std::string& key, std::unique_ptr<__func_attr> value) {
    auto result = map_.try_emplace(key, std::move(value));
    if (result.second) {
      Index(result.first);
      ++version_;
    }
    return result;
  }
  std::pair<iterator, bool> emplace(const std::string& key, std::unique_ptr<__func_attr> value) {
    return try_emplace(key, std::move(value));
  }
  iterator erase(iterator it) {
    Unindex(it->first);
    ++version_;
    ++erasures_;
    return map_.erase(it);
  }
  size_t erase(std::string_view key) {
    auto it = find(key);
    if (it == map_.end()) return 0;
    erase(it);
    return 1;
  }
  void clear() {
    ++erasures_;
    slots_.clear();
    map_.clear();
    std::fill(localFilter_.begin(), localFilter_.end(), 0);
    ++version_;
  }

 private:
  // An open-addressed table with linear probing: a lookup touches one slot
  // (and the map node to confirm the key) instead of a chain of list nodes,
  // which is what large programs' millions of call lookups wait on.
  // A slot keeps the record pointer and, when it is short, the key itself:
  // many lookups then touch the slot and nothing else. Records are never
  // replaced in place under a key (only inserted and erased), so the
  // pointer stays that of the map entry. Slots are 32 bytes and the table
  // at most five eighths full, so that the table of a program's 300,000
  // functions stays within the processor's cache.
  static constexpr size_t kInlineKey = 10;
  struct Slot {
    __func_attr* record = nullptr;
    iterator entry{};
    uint32_t hash = 0;      // the hash's low bits: they place the slot, and filter probes
    uint8_t keyLength = 0;  // of an inline key
    bool used = false;
    char key[kInlineKey] = {};

    bool Inline() const { return keyLength <= kInlineKey; }
    bool Holds(std::string_view text) const {
      if (!Inline()) return entry->first == text;
      return text.size() == keyLength && std::memcmp(key, text.data(), keyLength) == 0;
    }
  };
  static_assert(sizeof(Slot) == 32);
  static Slot MakeSlot(size_t hash, iterator entry) {
    Slot slot;
    slot.hash = static_cast<uint32_t>(hash);
    slot.entry = entry;
    slot.record = entry->second.get();
    slot.used = true;
    const std::string& key = entry->first;
    if (key.size() <= kInlineKey) {
      slot.keyLength = static_cast<uint8_t>(key.size());
      std::memcpy(slot.key, key.data(), key.size());
    } else {
      slot.keyLength = kInlineKey + 1;
    }
    return slot;
  }

  size_t Mask() const { return slots_.size() - 1; }
  // Placed by the bits a slot keeps, so that a slot's home can be found
  // again from the slot alone.
  size_t Home(size_t hash) const { return static_cast<uint32_t>(hash) & Mask(); }

  // The first slot of the hash's probe run that has the hash and passes
  // the test, or null.
  template <class Test>
  const Slot* Probe(size_t hash, Test test) const {
    if (slots_.empty()) return nullptr;
    for (size_t i = Home(hash);; i = (i + 1) & Mask()) {
      const Slot& slot = slots_[i];
      if (!slot.used) return nullptr;
      if (slot.hash == static_cast<uint32_t>(hash) && test(slot)) return &slot;
    }
  }
  const Slot* Lookup(std::string_view key, size_t hash) const {
    return Probe(hash, [key](const Slot& slot) { return slot.Holds(key); });
  }
  const Slot* FirstWithHash(size_t hash) const {
    return Probe(hash, [](const Slot&) { return true; });
  }

  void Place(Slot slot) {
    size_t i = Home(slot.hash);
    while (slots_[i].used) i = (i + 1) & Mask();
    slots_[i] = slot;
  }

  void Index(iterator entry) {
    // Kept at most five eighths full so that probe runs stay short.
    if (map_.size() * 8 > slots_.size() * 5) {
      SlotTable old(std::max<size_t>(16, slots_.size() * 2));
      old.swap(slots_);
      for (const Slot& slot : old) {
        if (slot.used) Place(slot);
      }
    }
    Place(MakeSlot(std::hash<std::string_view>{}(entry->first), entry));
    // Every "-of-" may end the name of a local key (names may hold it too).
    const std::string_view key = entry->first;
    for (size_t at = key.find("-of-"); at != std::string_view::npos; at = key.find("-of-", at + 1)) {
      const size_t bit = std::hash<std::string_view>{}(key.substr(0, at)) & (kLocalFilterBits - 1);
      localFilter_[bit / 64] |= uint64_t{1} << (bit % 64);
    }
  }

  void Unindex(std::string_view key) {
    const Slot* found = Lookup(key, std::hash<std::string_view>{}(key));
    if (found == nullptr) return;
    // Backward-shift deletion: later entries of the run move up so that no
    // lookup stops early at the hole.
    size_t hole = static_cast<size_t>(found - slots_.data());
    for (size_t i = (hole + 1) & Mask(); slots_[i].used; i = (i + 1) & Mask()) {
      size_t home = Home(slots_[i].hash);
      // Move the entry when its home is not cyclically inside (hole, i].
      bool between = hole <= i ? (hole < home && home <= i) : (hole < home || home <= i);
      if (!between) {
        slots_[hole] = slots_[i];
        hole = i;
      }
    }
    slots_[hole] = Slot{};
  }

  static constexpr size_t kLocalFilterBits = size_t{1} << 20;

  Map map_;
  uint64_t version_ = 0;
  static inline uint64_t erasures_ = 0;
  using SlotTable = std::vector<Slot, LargeTableAllocator<Slot>>;
  SlotTable slots_;
  std::vector<uint64_t> localFilter_ = std::vector<uint64_t>(kLocalFilterBits / 64);
};

// All other maps compare keys byte-wise; the transparent comparator lets
// lookups take a string_view without building a std::string.
using MemMap = std::map<std::string, std::unique_ptr<__mem_attr>, std::less<>>;
// Descending cumulative stack; equal keys keep insertion order.
using SizeMap = std::multimap<int32_t, __func_attr*, std::greater<int32_t>>;
