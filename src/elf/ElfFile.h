// Reader for 32-bit ELF files of the target: sorted symbol arrays, a name
// index and the relocation maps used to resolve computed calls.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct fcn_symbols {
  uint32_t startAddress = 0;
  uint32_t endAddress = 0;
  uint32_t packetCount = 0;
  const char* name = nullptr;
  const char* file = nullptr;  // source file of a local symbol, else null
  uint32_t size = 0;
  uint16_t sectionIndex = 0;
  uint8_t binding = 0;
};

struct obj_symbols {
  uint32_t startAddress = 0;
  uint32_t endAddress = 0;
  const char* name = nullptr;
  uint32_t initialWord = 0;
  const char* file = nullptr;
  uint32_t size = 0;
  uint16_t sectionIndex = 0;
  uint8_t binding = 0;
};

// One decoded symbol-table entry (decoded rather than cast, so that a
// misaligned or truncated table can never be read out of bounds).
struct ElfSymbol {
  const char* name = "";
  uint32_t value = 0;
  uint32_t size = 0;
  uint8_t info = 0;
  uint8_t other = 0;
  uint16_t sectionIndex = 0;
  uint8_t Type() const { return info & 0x0f; }
  uint8_t Binding() const { return info >> 4; }
};

// One decoded section header.
struct ElfSection {
  const char* name = "";
  uint32_t type = 0;
  uint32_t flags = 0;
  uint32_t address = 0;
  uint32_t offset = 0;
  uint32_t size = 0;
  uint32_t link = 0;
  uint32_t info = 0;
  uint32_t entrySize = 0;
};

class ElfFile {
 public:
  static constexpr int kReloSData = 0;
  static constexpr int kReloText = 1;
  static constexpr int kReloFunction = 2;

  ElfFile();
  explicit ElfFile(const std::string& path);
  ElfFile(const ElfFile&) = delete;
  ElfFile& operator=(const ElfFile&) = delete;
  ~ElfFile();

  // 1 on success, 0 on failure (the reason is kept in LastError()).
  int ReadFile(const std::string& path);
  const std::string& LastError() const { return lastError_; }
  bool HasSymbolTable() const { return symtabFound_; }
  // A relocatable object (the linked libraries) rather than a linked image:
  // its sections all start at 0 and its addresses are not final.
  bool IsRelocatable() const { return header_.type == 1; }

  uint16_t Elf16Value(uint16_t v) const;
  uint32_t Elf32Value(uint32_t v) const;

  fcn_symbols* GetFcnSymForAddr(uint32_t addr);
  // GetFcnSymForAddr and GetFcnSymAtAddr of each of up to kAddressBatch
  // addresses. The searches run side by side, so that their reads of a
  // table larger than the cache overlap instead of each waiting in turn.
  static constexpr size_t kAddressBatch = 16;
  void GetFcnSymsForAddrs(const uint32_t* addrs, size_t count, fcn_symbols** found);
  void GetFcnSymsAtAddrs(const uint32_t* addrs, size_t count, fcn_symbols** found);
  const char* GetFcnNameForAddr(uint32_t addr);
  fcn_symbols* GetFirstFncAtAddr(uint32_t addr);
  fcn_symbols* GetFirstFncAtAddr(uint32_t addr, fcn_symbols* array, size_t count);
  fcn_symbols* GetFcnSymAtAddr(uint32_t addr);
  fcn_symbols* GetNextFcnAtAddr(uint32_t addr, fcn_symbols* rec);
  bool IsStartOfFcnAddr(uint32_t addr);

  obj_symbols* GetObjSymForAddr(uint32_t addr);
  const char* GetObjNameForAddr(uint32_t addr);
  obj_symbols* GetObjSymAtAddr(uint32_t addr);

  const ElfSymbol* GetSymbolByName(const std::string& name);
  fcn_symbols* GetFcnSymByName(const std::string& name);
  obj_symbols* GetNotypeSymByName(const std::string& name);

  void InsertReloItem(uint32_t offset, fcn_symbols* rec, int kind);
  fcn_symbols* FindReloItem(uint32_t offset, int kind);
  bool CreateFuncReloMap(const std::string& functionName);
  void BldRelocations();

  // Sorted arrays (read-only views for the symbol maps and filters).
  std::vector<fcn_symbols>& Functions() { return functions_; }
  std::vector<obj_symbols>& Objects() { return objects_; }
  std::vector<obj_symbols>& Notypes() { return notypes_; }
  const std::vector<ElfSymbol>& Symbols() const { return symbols_; }
  const std::vector<ElfSection>& Sections() const { return sections_; }

  // Diagnostic listing of headers, sections and symbols.
  void DumpAll(FILE* out);

 private:
  fcn_symbols* AscendingRangeFor(uint32_t addr);  // GetFcnSymForAddr when endsAscend_
  // The index of the first range of functionRanges_ for which
  // before(range, address) is false, for each address; before must hold for
  // a prefix of the ranges and for nothing after it.
  template <typename Before>
  void FirstRangesNotBefore(const uint32_t* addrs, size_t count, size_t* first, Before before) const;
  struct Header {
    uint16_t type = 0;
    uint16_t machine = 0;
    uint32_t entry = 0;
    uint32_t flags = 0;
    uint32_t sectionTableOffset = 0;
    uint16_t sectionCount = 0;
    uint16_t sectionNameIndex = 0;
  };

  void Reset();
  bool LoadImage(const std::string& path);
  bool ParseHeaders(const std::string& path);
  bool DecodeSymbols(const std::string& path);
  void BldFcnSymList();
  void BldObjSymList();
  uint32_t CountPackets(uint32_t start, uint32_t size, uint16_t section);
  bool ReadInitialWord(uint32_t start, uint16_t section, uint32_t& word) const;
  bool ChargeNames(size_t length);
  const ElfSection* FindSection(std::string_view name) const;
  fcn_symbols* RelocationTarget(const ElfSymbol& symbol, size_t symbolIndex, bool byName);
  template <typename Fn>
  void ForEachRela(const ElfSection& section, Fn&& fn) const;
  uint16_t Read16(size_t offset) const;
  uint32_t Read32(size_t offset) const;

  std::string lastError_;
  std::vector<unsigned char> image_;
  uint16_t fileByteOrder_ = 0;
  uint16_t hostByteOrder_ = 0;
  Header header_;
  std::vector<ElfSection> sections_;
  std::map<std::string_view, size_t> sectionIndex_;  // name -> last section of that name
  std::vector<ElfSymbol> symbols_;
  bool symtabFound_ = false;
  size_t dynSymbolCount_ = 0;  // .dynsym is located for the dump only
  std::vector<fcn_symbols> functions_;
  struct AddressRange {
    uint32_t startAddress;
    uint32_t endAddress;
  };
  // The two orders the searches use: ranges ending at or before an address
  // (when ends ascend), and ranges starting before it.
  static bool EndsBefore(const AddressRange& range, uint32_t address) { return range.endAddress <= address; }
  static bool StartsBefore(const AddressRange& range, uint32_t address) { return range.startAddress < address; }
  std::vector<AddressRange> functionRanges_;  // of functions_, index for index, starts ascending
  // Every kRangeStride-th range, small enough to stay in cache: a batched
  // search finds its stretch of ranges here and fetches that stretch alone.
  static constexpr size_t kRangeStride = 64;
  std::vector<AddressRange> rangeSamples_;
  // Whether the ends ascend as well (no range nests inside another that ends
  // later), which allows a search without the classic search's
  // unpredictable branches.
  bool endsAscend_ = false;
  std::vector<fcn_symbols> dynFunctions_;  // never filled: nothing asks for dynamic functions
  std::vector<obj_symbols> objects_;
  std::vector<obj_symbols> notypes_;
  std::vector<const char*> fileNames_;
  // NUL-terminated copies of the string tables; every name points into them,
  // so a name without its NUL ends at the end of its table.
  std::vector<char> sectionNames_;
  std::vector<char> symbolNames_;
  size_t nameBudget_ = 0;  // bytes of names the file may still yield
  std::vector<uint32_t> functionOfSymbol_;  // symbol index -> functions_ index + 1, 0 for none
  std::vector<uint32_t> packetSuffix_;  // built only when packet counting gets expensive
  uint64_t packetWork_ = 0;
  std::map<uint32_t, fcn_symbols*> relocations_[3];
  // The symbols by name, built on the first lookup: an open-addressing
  // table (a power of two of slots, at most half full) of symbol indexes
  // with their names' hashes. Every listed function looks its name up, so
  // a lookup should cost one slot read and one name compare.
  struct NameSlot {
    uint32_t hash = 0;
    uint32_t symbol = 0;  // index + 1; 0 marks an empty slot
  };
  void BuildNameIndex();
  std::vector<NameSlot> nameIndex_;
  bool nameIndexBuilt_ = false;
};
