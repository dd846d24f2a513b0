// Reader for 32-bit ELF files of the target. The file comes from the user's
// disk, so every offset, size, count and index taken from it is checked
// against the file before use, and fields are decoded with memcpy.
#include "elf/ElfFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr size_t kHeaderSize = 52;
constexpr size_t kSectionHeaderSize = 40;
constexpr size_t kSymbolSize = 16;
constexpr size_t kRelaSize = 12;
constexpr uint32_t kProgBits = 1;
constexpr uint8_t kTypeNone = 0;
constexpr uint8_t kTypeObject = 1;
constexpr uint8_t kTypeFunction = 2;
constexpr uint8_t kTypeFile = 4;
constexpr uint8_t kBindLocal = 0;
constexpr uint16_t kNoTextSection = 255;
// Names may overlap inside a string table (a name can start in the middle of
// another, or lack its NUL), so their total length is not bounded by the
// table size. A crafted file could make it quadratic; beyond this many bytes
// per byte of file the file is taken as corrupt. Real files stay far below.
constexpr size_t kNameBytesPerFileByte = 16;
constexpr size_t kNameBytesSlack = 1 << 20;

int CompareNames(const char* a, const char* b) {
  if (a == b) return 0;
  if (a == nullptr) return -1;
  if (b == nullptr) return 1;
  return std::strcmp(a, b);
}

// Ascending start, then end, then name; a null name first.
template <typename Sym>
bool SymbolLess(const Sym& a, const Sym& b) {
  if (a.startAddress != b.startAddress) return a.startAddress < b.startAddress;
  if (a.endAddress != b.endAddress) return a.endAddress < b.endAddress;
  return CompareNames(a.name, b.name) < 0;
}

// Containment: the address is below the record, above it, or inside.
template <typename Sym>
int CompareAddrIn(uint32_t addr, const Sym& sym) {
  if (addr < sym.startAddress) return -1;
  if (addr >= sym.endAddress) return 1;
  return 0;
}

template <typename Sym>
int CompareAt(uint32_t addr, const Sym& sym) {
  if (addr < sym.startAddress) return -1;
  if (addr > sym.startAddress) return 1;
  return 0;
}

// The classic bsearch: halve [lo, hi) and return whichever equal record the
// probe lands on first. Callers step back to the first of the run.
template <typename Sym, typename Cmp>
Sym* BinarySearch(Sym* base, size_t count, uint32_t addr, Cmp cmp) {
  size_t lo = 0;
  size_t hi = count;
  while (lo < hi) {
    size_t mid = (lo + hi) / 2;
    int result = cmp(addr, base[mid]);
    if (result < 0) {
      hi = mid;
    } else if (result > 0) {
      lo = mid + 1;
    } else {
      return base + mid;
    }
  }
  return nullptr;
}

template <typename Sym, typename Cmp>
Sym* StepBack(Sym* base, Sym* found, uint32_t addr, Cmp cmp) {
  if (found == nullptr) return nullptr;
  while (found > base && cmp(addr, found[-1]) == 0) --found;
  return found;
}

uint16_t Swap16(uint16_t v) { return static_cast<uint16_t>((v >> 8) | (v << 8)); }

uint32_t Swap32(uint32_t v) {
  return (v >> 24) | ((v >> 8) & 0xff00u) | ((v << 8) & 0xff0000u) | (v << 24);
}

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

ElfFile::ElfFile() {
  const uint16_t one = 1;
  unsigned char first = 0;
  std::memcpy(&first, &one, 1);
  hostByteOrder_ = first == 1 ? 1 : 2;
}

ElfFile::ElfFile(const std::string& path) : ElfFile() { ReadFile(path); }

ElfFile::~ElfFile() = default;

void ElfFile::Reset() {
  lastError_.clear();
  image_.clear();
  image_.shrink_to_fit();
  fileByteOrder_ = 0;
  header_ = Header();
  sections_.clear();
  sectionIndex_.clear();
  symbols_.clear();
  symtabFound_ = false;
  dynSymbolCount_ = 0;
  functions_.clear();
  functionRanges_.clear();
  rangeSamples_.clear();
  dynFunctions_.clear();
  objects_.clear();
  notypes_.clear();
  fileNames_.clear();
  sectionNames_.clear();
  symbolNames_.clear();
  nameBudget_ = 0;
  functionOfSymbol_.clear();
  packetSuffix_.clear();
  packetWork_ = 0;
  for (auto& map : relocations_) map.clear();
  nameIndex_.clear();
  nameIndexBuilt_ = false;
}

uint16_t ElfFile::Elf16Value(uint16_t v) const {
  return fileByteOrder_ == hostByteOrder_ ? v : Swap16(v);
}

uint32_t ElfFile::Elf32Value(uint32_t v) const {
  return fileByteOrder_ == hostByteOrder_ ? v : Swap32(v);
}

uint16_t ElfFile::Read16(size_t offset) const {
  uint16_t v = 0;
  std::memcpy(&v, image_.data() + offset, sizeof v);
  return v;
}

uint32_t ElfFile::Read32(size_t offset) const {
  uint32_t v = 0;
  std::memcpy(&v, image_.data() + offset, sizeof v);
  return v;
}

int ElfFile::ReadFile(const std::string& path) {
  Reset();
  if (!LoadImage(path)) return 0;
  if (!ParseHeaders(path)) return 0;
  if (!DecodeSymbols(path)) return 0;
  BldFcnSymList();
  BldObjSymList();
  BldRelocations();
  return 1;
}

bool ElfFile::LoadImage(const std::string& path) {
  // Only a regular file is read: opening a FIFO would block, and a folder
  // opens like an empty file.
  struct stat info {};
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    lastError_ = "Error: Unable to open file " + path + "\n";
    return false;
  }
  std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    lastError_ = "Error: Unable to open file " + path + "\n";
    return false;
  }
  if (std::fseek(file.get(), 0, SEEK_END) != 0) {
    lastError_ = "Error: File corrupt " + path + "\n";
    return false;
  }
  long size = std::ftell(file.get());
  if (size < 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) {
    lastError_ = "Error: File corrupt " + path + "\n";
    return false;
  }
  // A file that does not begin like an ELF file is refused before it is
  // read whole: a stray gigabyte of data costs nothing then.
  unsigned char magic[4] = {};
  if (size < 4 || std::fread(magic, 1, 4, file.get()) != 4 || magic[0] != 0x7f || magic[1] != 'E' ||
      magic[2] != 'L' || magic[3] != 'F' || std::fseek(file.get(), 0, SEEK_SET) != 0) {
    lastError_ = "Error: Object file is not ELF format: " + path + "\n";
    return false;
  }
  try {
    image_.resize(static_cast<size_t>(size));
  } catch (const std::bad_alloc&) {
    return false;  // no text: the caller reports the unreadable file
  }
  if (size > 0 && std::fread(image_.data(), 1, image_.size(), file.get()) != image_.size()) {
    lastError_ = "Error: Unable to read file " + path + "\n";
    return false;
  }
  nameBudget_ = image_.size() * kNameBytesPerFileByte + kNameBytesSlack;
  return true;
}

bool ElfFile::ChargeNames(size_t length) {
  if (length > nameBudget_) return false;
  nameBudget_ -= length;
  return true;
}

namespace {
// Copies the bytes of a string table that lie inside the file and adds the
// NUL that ends the last name.
void CopyTable(const std::vector<unsigned char>& image, const ElfSection* section,
               std::vector<char>& out) {
  out.clear();
  if (section != nullptr && section->offset < image.size()) {
    size_t length = std::min<size_t>(section->size, image.size() - section->offset);
    out.assign(image.begin() + section->offset, image.begin() + section->offset + length);
  }
  out.push_back('\0');
}

const char* NameAt(const std::vector<char>& table, uint32_t index) {
  // The last byte is the added NUL, so any index below it starts a name.
  return index < table.size() - 1 ? table.data() + index : "";
}
}  // namespace

bool ElfFile::ParseHeaders(const std::string& path) {
  static const unsigned char kMagic[4] = {0x7f, 'E', 'L', 'F'};
  // Only 32-bit files (class 1) are understood; a 64-bit one is not ours.
  if (image_.size() < 5 || std::memcmp(image_.data(), kMagic, 4) != 0 || image_[4] != 1) {
    lastError_ = "Error: Object file is not ELF format: " + path + "\n";
    return false;
  }
  if (image_.size() < kHeaderSize) {
    lastError_ = "Error: File corrupt " + path + "\n";
    return false;
  }
  fileByteOrder_ = image_[5];
  header_.type = Elf16Value(Read16(16));
  header_.machine = Elf16Value(Read16(18));
  header_.entry = Elf32Value(Read32(24));
  header_.flags = Elf32Value(Read32(36));
  header_.sectionTableOffset = Elf32Value(Read32(32));
  header_.sectionCount = Elf16Value(Read16(48));
  header_.sectionNameIndex = Elf16Value(Read16(50));

  uint64_t tableEnd = uint64_t{header_.sectionTableOffset} +
                      uint64_t{header_.sectionCount} * kSectionHeaderSize;
  if (header_.sectionCount != 0 && tableEnd > image_.size()) {
    lastError_ = "Error: File corrupt " + path + "\n";
    return false;
  }
  sections_.resize(header_.sectionCount);
  for (size_t i = 0; i < sections_.size(); ++i) {
    size_t at = header_.sectionTableOffset + i * kSectionHeaderSize;
    ElfSection& section = sections_[i];
    // Only names, offsets and sizes follow the file's byte order; the other
    // fields are used as stored (the targets are little-endian like the host).
    section.type = Read32(at + 4);
    section.flags = Read32(at + 8);
    section.address = Read32(at + 12);
    section.offset = Elf32Value(Read32(at + 16));
    section.size = Elf32Value(Read32(at + 20));
    section.link = Read32(at + 24);
    section.info = Read32(at + 28);
    section.entrySize = Read32(at + 36);
  }
  const ElfSection* names =
      header_.sectionNameIndex < sections_.size() ? &sections_[header_.sectionNameIndex] : nullptr;
  CopyTable(image_, names, sectionNames_);
  for (size_t i = 0; i < sections_.size(); ++i) {
    size_t at = header_.sectionTableOffset + i * kSectionHeaderSize;
    sections_[i].name = NameAt(sectionNames_, Elf32Value(Read32(at)));
    if (!ChargeNames(std::strlen(sections_[i].name))) {
      lastError_ = "Error: File corrupt " + path + "\n";
      return false;
    }
    sectionIndex_[sections_[i].name] = i;  // a later section of a name replaces an earlier one
  }
  return true;
}

const ElfSection* ElfFile::FindSection(std::string_view name) const {
  auto it = sectionIndex_.find(name);
  return it == sectionIndex_.end() ? nullptr : &sections_[it->second];
}

bool ElfFile::DecodeSymbols(const std::string& path) {
  if (const ElfSection* dynsym = FindSection(".dynsym")) {
    if (dynsym->offset < image_.size()) {
      dynSymbolCount_ =
          std::min<size_t>(dynsym->size, image_.size() - dynsym->offset) / kSymbolSize;
    }
  }
  const ElfSection* symtab = FindSection(".symtab");
  if (symtab == nullptr) return true;
  symtabFound_ = true;
  CopyTable(image_, FindSection(".strtab"), symbolNames_);
  if (symtab->offset >= image_.size()) return true;
  // A table running past the end of the file keeps its whole entries inside it.
  size_t count = std::min<size_t>(symtab->size, image_.size() - symtab->offset) / kSymbolSize;
  symbols_.resize(count);
  for (size_t i = 0; i < count; ++i) {
    size_t at = symtab->offset + i * kSymbolSize;
    ElfSymbol& symbol = symbols_[i];
    symbol.name = NameAt(symbolNames_, Elf32Value(Read32(at)));
    symbol.value = Read32(at + 4);
    symbol.size = Read32(at + 8);
    symbol.info = image_[at + 12];
    symbol.other = image_[at + 13];
    symbol.sectionIndex = Read16(at + 14);
    if (!ChargeNames(std::strlen(symbol.name))) {
      lastError_ = "Error: File corrupt " + path + "\n";
      return false;
    }
  }
  return true;
}

uint32_t ElfFile::CountPackets(uint32_t start, uint32_t size, uint16_t section) {
  if (size == 0 || section >= sections_.size()) return 0;
  const ElfSection& sec = sections_[section];
  if (sec.type != kProgBits) return 0;
  if (start < sec.address || start - sec.address >= sec.size) return 0;
  uint64_t inSection = start - sec.address;
  uint64_t from = uint64_t{sec.offset} + inSection;
  if (from >= image_.size()) return 0;
  // Neither the section end nor the file end is read past.
  uint64_t length = std::min<uint64_t>(size, sec.size - inSection);
  length = std::min<uint64_t>(length, image_.size() - from);
  uint64_t words = length / 4;
  if (words == 0) return 0;
  // Overlapping functions could make a direct count quadratic; once the work
  // exceeds the file size, a suffix table answers every count in O(1).
  if (packetSuffix_.empty() && packetWork_ + words > image_.size()) {
    const size_t n = image_.size();
    packetSuffix_.assign(n + 4, 0);
    for (size_t j = n; j-- > 0;) {
      uint32_t ends = (j + 4 <= n && (image_[j + 1] & 0xc0) == 0xc0) ? 1 : 0;
      packetSuffix_[j] = ends + packetSuffix_[j + 4];
    }
  }
  if (!packetSuffix_.empty()) {
    return packetSuffix_[from] - packetSuffix_[from + words * 4];
  }
  packetWork_ += words;
  uint32_t packets = 0;
  // The parse bits are bits 14 and 15 of the little-endian word: the top two
  // bits of its second byte.
  for (uint64_t k = 0; k < words; ++k) {
    if ((image_[from + k * 4 + 1] & 0xc0) == 0xc0) ++packets;
  }
  return packets;
}

bool ElfFile::ReadInitialWord(uint32_t start, uint16_t section, uint32_t& word) const {
  if (section >= sections_.size()) return false;
  const ElfSection& sec = sections_[section];
  if (sec.type != kProgBits) return false;
  if (start < sec.address || start - sec.address >= sec.size) return false;
  uint64_t inSection = start - sec.address;
  uint64_t from = uint64_t{sec.offset} + inSection;
  if (inSection + 4 > sec.size || from + 4 > image_.size()) return false;
  word = uint32_t{image_[from]} | uint32_t{image_[from + 1]} << 8 |
         uint32_t{image_[from + 2]} << 16 | uint32_t{image_[from + 3]} << 24;
  return true;
}

void ElfFile::BldFcnSymList() {
  size_t fileCount = 0;
  size_t notypeCount = 0;
  size_t functionCount = 0;
  // Entry 0 is the reserved null symbol, no symbol of the program.
  for (size_t i = 1; i < symbols_.size(); ++i) {
    uint8_t type = symbols_[i].Type();
    fileCount += type == kTypeFile;
    notypeCount += type == kTypeNone;
    functionCount += type == kTypeFunction;
  }
  if (fileCount == 0 && notypeCount == 0 && functionCount == 0) return;
  fileNames_.reserve(fileCount);
  notypes_.reserve(notypeCount);
  std::vector<std::pair<fcn_symbols, uint32_t>> functions;  // record, symbol index
  functions.reserve(functionCount);

  const char* currentFile = nullptr;
  for (size_t i = 1; i < symbols_.size(); ++i) {
    const ElfSymbol& symbol = symbols_[i];
    const char* file = symbol.Binding() == kBindLocal ? currentFile : nullptr;
    switch (symbol.Type()) {
      case kTypeFile:
        currentFile = symbol.name;
        fileNames_.push_back(symbol.name);
        break;
      case kTypeNone: {
        obj_symbols& rec = notypes_.emplace_back();
        rec.startAddress = symbol.value;
        rec.endAddress = symbol.value + symbol.size;
        rec.name = symbol.name;
        rec.file = file;
        rec.size = symbol.size;
        rec.sectionIndex = symbol.sectionIndex;
        rec.binding = symbol.Binding();
        break;
      }
      case kTypeFunction: {
        fcn_symbols rec;
        rec.startAddress = symbol.value;
        rec.endAddress = symbol.value + symbol.size;
        rec.packetCount = CountPackets(symbol.value, symbol.size, symbol.sectionIndex);
        rec.name = symbol.name;
        rec.file = file;
        rec.size = symbol.size;
        rec.sectionIndex = symbol.sectionIndex;
        rec.binding = symbol.Binding();
        functions.emplace_back(rec, static_cast<uint32_t>(i));
        break;
      }
      default:
        break;
    }
  }
  // Stable, so that records equal in every key keep their table order.
  std::stable_sort(functions.begin(), functions.end(),
                   [](const auto& a, const auto& b) { return SymbolLess(a.first, b.first); });
  functions_.reserve(functions.size());
  functionOfSymbol_.assign(symbols_.size(), 0);
  functionRanges_.clear();
  functionRanges_.reserve(functions.size());
  for (const auto& [rec, symbolIndex] : functions) {
    functions_.push_back(rec);
    functionRanges_.push_back({rec.startAddress, rec.endAddress});
    functionOfSymbol_[symbolIndex] = static_cast<uint32_t>(functions_.size());
  }
  rangeSamples_.clear();
  for (size_t i = 0; i < functionRanges_.size(); i += kRangeStride) rangeSamples_.push_back(functionRanges_[i]);
  // The starts ascend by the sort; whether the ends do decides the search.
  endsAscend_ = std::adjacent_find(functionRanges_.begin(), functionRanges_.end(),
                                   [](const AddressRange& a, const AddressRange& b) {
                                     return b.endAddress < a.endAddress;
                                   }) == functionRanges_.end();
}

void ElfFile::BldObjSymList() {
  size_t objectCount = 0;
  for (size_t i = 1; i < symbols_.size(); ++i) objectCount += symbols_[i].Type() == kTypeObject;
  if (objectCount == 0) return;
  objects_.reserve(objectCount);
  const char* currentFile = nullptr;
  for (size_t i = 1; i < symbols_.size(); ++i) {
    const ElfSymbol& symbol = symbols_[i];
    if (symbol.Type() == kTypeFile) {
      currentFile = symbol.name;
      continue;
    }
    if (symbol.Type() != kTypeObject) continue;
    obj_symbols& rec = objects_.emplace_back();
    rec.startAddress = symbol.value;
    rec.endAddress = symbol.value + symbol.size;
    rec.name = symbol.name;
    ReadInitialWord(symbol.value, symbol.sectionIndex, rec.initialWord);
    rec.file = symbol.Binding() == kBindLocal ? currentFile : nullptr;
    rec.size = symbol.size;
    rec.binding = symbol.Binding();
  }
  std::stable_sort(objects_.begin(), objects_.end(), SymbolLess<obj_symbols>);
}

fcn_symbols* ElfFile::GetFcnSymForAddr(uint32_t addr) {
  // The same search over the address ranges alone: five times denser than
  // the records, so the probes of a large image miss the cache far less.
  if (functionRanges_.size() != functions_.size()) return nullptr;
  if (endsAscend_) return AscendingRangeFor(addr);
  AddressRange* base = functionRanges_.data();
  AddressRange* found = BinarySearch(base, functionRanges_.size(), addr, CompareAddrIn<AddressRange>);
  found = StepBack(base, found, addr, CompareAddrIn<AddressRange>);
  return found == nullptr ? nullptr : &functions_[static_cast<size_t>(found - base)];
}

namespace {

// The first of n ranges from base for which before(range, address) is
// false, without branches on the data.
template <typename Range, typename Before>
size_t FirstNotBefore(const Range* base, size_t n, uint32_t address, Before before) {
  if (n == 0) return 0;
  size_t first = 0;
  for (; n > 1; n -= n / 2) first += before(base[first + n / 2], address) ? n / 2 : 0;
  return first + (before(base[first], address) ? 1 : 0);
}

}  // namespace

template <typename Before>
void ElfFile::FirstRangesNotBefore(const uint32_t* addrs, size_t count, size_t* first, Before before) const {
  // The samples, in cache, tell each search its stretch of at most
  // kRangeStride ranges; every stretch is fetched before any is searched.
  const size_t size = functionRanges_.size();
  size_t end[kAddressBatch];
  for (size_t i = 0; i < count; ++i) {
    const size_t sample = FirstNotBefore(rangeSamples_.data(), rangeSamples_.size(), addrs[i], before);
    // Sample k is range k * kRangeStride: the answer lies after the sample
    // before it and at or before this one.
    first[i] = sample == 0 ? 0 : (sample - 1) * kRangeStride + 1;
    end[i] = std::min(sample * kRangeStride, size);
    const char* from = reinterpret_cast<const char*>(functionRanges_.data() + first[i]);
    const char* to = reinterpret_cast<const char*>(functionRanges_.data() + end[i]);
    for (const char* line = from; line < to; line += 64) __builtin_prefetch(line);
  }
  for (size_t i = 0; i < count; ++i) {
    first[i] += FirstNotBefore(functionRanges_.data() + first[i], end[i] - first[i], addrs[i], before);
  }
}

void ElfFile::GetFcnSymsForAddrs(const uint32_t* addrs, size_t count, fcn_symbols** found) {
  const size_t size = functionRanges_.size();
  if (!endsAscend_ || size != functions_.size() || size == 0 || count > kAddressBatch) {
    for (size_t i = 0; i < count; ++i) found[i] = GetFcnSymForAddr(addrs[i]);
    return;
  }
  // AscendingRangeFor's search: the first range ending after the address.
  size_t first[kAddressBatch];
  FirstRangesNotBefore(addrs, count, first, EndsBefore);
  for (size_t i = 0; i < count; ++i) {
    const bool holds = first[i] < size && functionRanges_[first[i]].startAddress <= addrs[i];
    found[i] = holds ? &functions_[first[i]] : nullptr;
    if (found[i] != nullptr) __builtin_prefetch(found[i]);
  }
}

void ElfFile::GetFcnSymsAtAddrs(const uint32_t* addrs, size_t count, fcn_symbols** found) {
  const size_t size = functionRanges_.size();
  if (size != functions_.size() || size == 0 || count > kAddressBatch) {
    for (size_t i = 0; i < count; ++i) found[i] = GetFcnSymAtAddr(addrs[i]);
    return;
  }
  // GetFirstFncAtAddr's search: the first function starting at the address.
  size_t first[kAddressBatch];
  FirstRangesNotBefore(addrs, count, first, StartsBefore);
  for (size_t i = 0; i < count; ++i) {
    const bool starts = first[i] < size && functionRanges_[first[i]].startAddress == addrs[i];
    found[i] = starts ? &functions_[first[i]] : GetFirstFncAtAddr(addrs[i], dynFunctions_.data(), dynFunctions_.size());
    if (found[i] != nullptr) __builtin_prefetch(found[i]);
  }
}

fcn_symbols* ElfFile::AscendingRangeFor(uint32_t addr) {
  // With starts and ends ascending, the ranges that hold an address form one
  // run: every probe of the classic search that lands in it steps back to
  // its first range, which is the first range ending after the address.
  const size_t first = FirstNotBefore(functionRanges_.data(), functionRanges_.size(), addr, EndsBefore);
  if (first == functionRanges_.size() || functionRanges_[first].startAddress > addr) return nullptr;
  return &functions_[first];
}

const char* ElfFile::GetFcnNameForAddr(uint32_t addr) {
  fcn_symbols* rec = GetFcnSymForAddr(addr);
  return rec == nullptr ? nullptr : rec->name;
}

fcn_symbols* ElfFile::GetFirstFncAtAddr(uint32_t addr) {
  if (functionRanges_.size() != functions_.size()) return nullptr;
  // The classic search lands on some function starting at the address and
  // steps back to the first of them: the one just after every start below.
  const size_t first = FirstNotBefore(functionRanges_.data(), functionRanges_.size(), addr, StartsBefore);
  return first < functions_.size() && functionRanges_[first].startAddress == addr ? &functions_[first] : nullptr;
}

fcn_symbols* ElfFile::GetFirstFncAtAddr(uint32_t addr, fcn_symbols* array, size_t count) {
  if (array == nullptr || count == 0) return nullptr;
  fcn_symbols* found = BinarySearch(array, count, addr, CompareAt<fcn_symbols>);
  return StepBack(array, found, addr, CompareAt<fcn_symbols>);
}

fcn_symbols* ElfFile::GetFcnSymAtAddr(uint32_t addr) {
  fcn_symbols* rec = GetFirstFncAtAddr(addr);
  if (rec == nullptr) rec = GetFirstFncAtAddr(addr, dynFunctions_.data(), dynFunctions_.size());
  return rec;
}

fcn_symbols* ElfFile::GetNextFcnAtAddr(uint32_t addr, fcn_symbols* rec) {
  if (functions_.size() < 2 || rec == nullptr) return nullptr;
  // Compared as integers: rec may point anywhere.
  auto first = reinterpret_cast<uintptr_t>(functions_.data());
  auto last = reinterpret_cast<uintptr_t>(&functions_.back());
  auto at = reinterpret_cast<uintptr_t>(rec);
  if (at < first || at >= last || (at - first) % sizeof(fcn_symbols) != 0) return nullptr;
  fcn_symbols* next = &functions_[(at - first) / sizeof(fcn_symbols) + 1];
  return next->startAddress == addr ? next : nullptr;
}

bool ElfFile::IsStartOfFcnAddr(uint32_t addr) {
  fcn_symbols* rec = GetFcnSymForAddr(addr);
  return rec != nullptr && rec->startAddress == addr;
}

obj_symbols* ElfFile::GetObjSymForAddr(uint32_t addr) {
  obj_symbols* base = objects_.data();
  obj_symbols* found = BinarySearch(base, objects_.size(), addr, CompareAddrIn<obj_symbols>);
  return StepBack(base, found, addr, CompareAddrIn<obj_symbols>);
}

const char* ElfFile::GetObjNameForAddr(uint32_t addr) {
  obj_symbols* rec = GetObjSymForAddr(addr);
  return rec == nullptr ? nullptr : rec->name;
}

obj_symbols* ElfFile::GetObjSymAtAddr(uint32_t addr) {
  // Found by exact start but stepped back by containment, so an enclosing
  // object listed before it wins.
  obj_symbols* base = objects_.data();
  obj_symbols* found = BinarySearch(base, objects_.size(), addr, CompareAt<obj_symbols>);
  return StepBack(base, found, addr, CompareAddrIn<obj_symbols>);
}

void ElfFile::BuildNameIndex() {
  nameIndexBuilt_ = true;
  if (!symtabFound_ || FindSection(".strtab") == nullptr || symbols_.size() >= UINT32_MAX) return;
  size_t slots = 16;
  while (slots < 2 * symbols_.size()) slots *= 2;
  nameIndex_.assign(slots, NameSlot{});
  const size_t mask = slots - 1;
  for (size_t i = 0; i < symbols_.size(); ++i) {
    const std::string_view name = symbols_[i].name;
    if (name.empty()) continue;
    const uint32_t hash = static_cast<uint32_t>(std::hash<std::string_view>{}(name));
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
      NameSlot& slot = nameIndex_[at];
      if (slot.symbol == 0) {
        slot = {hash, static_cast<uint32_t>(i + 1)};
        break;
      }
      // The first entry of a name is kept.
      if (slot.hash == hash && name == symbols_[slot.symbol - 1].name) break;
    }
  }
}

const ElfSymbol* ElfFile::GetSymbolByName(const std::string& name) {
  if (!nameIndexBuilt_) BuildNameIndex();
  if (nameIndex_.empty() || name.empty()) return nullptr;
  const uint32_t hash = static_cast<uint32_t>(std::hash<std::string_view>{}(name));
  const size_t mask = nameIndex_.size() - 1;
  for (size_t at = hash & mask;; at = (at + 1) & mask) {
    const NameSlot& slot = nameIndex_[at];
    if (slot.symbol == 0) return nullptr;
    if (slot.hash == hash && name == symbols_[slot.symbol - 1].name) return &symbols_[slot.symbol - 1];
  }
}

fcn_symbols* ElfFile::GetFcnSymByName(const std::string& name) {
  const ElfSymbol* symbol = GetSymbolByName(name);
  return symbol == nullptr ? nullptr : GetFirstFncAtAddr(symbol->value);
}

obj_symbols* ElfFile::GetNotypeSymByName(const std::string& name) {
  for (obj_symbols& rec : notypes_) {
    if (rec.name != nullptr && name == rec.name) return &rec;
  }
  return nullptr;
}

void ElfFile::InsertReloItem(uint32_t offset, fcn_symbols* rec, int kind) {
  if (kind < kReloSData || kind > kReloFunction) return;
  relocations_[kind].emplace(offset, rec);  // an offset keeps its first target
}

fcn_symbols* ElfFile::FindReloItem(uint32_t offset, int kind) {
  if (kind < kReloSData || kind > kReloFunction) return nullptr;
  auto it = relocations_[kind].find(offset);
  return it == relocations_[kind].end() ? nullptr : it->second;
}

template <typename Fn>
void ElfFile::ForEachRela(const ElfSection& section, Fn&& fn) const {
  // Entries shorter than offset, info and addend cannot be read; entries
  // past the end of the file are not there.
  if (section.entrySize < kRelaSize || section.offset >= image_.size()) return;
  uint64_t length = std::min<uint64_t>(section.size, image_.size() - section.offset);
  uint64_t count = length / section.entrySize;
  for (uint64_t i = 0; i < count; ++i) {
    size_t at = section.offset + i * section.entrySize;
    uint32_t offset = Read32(at);
    uint32_t info = Elf32Value(Read32(at + 4));
    int32_t addend = static_cast<int32_t>(Read32(at + 8));
    fn(offset, info, addend);
  }
}

// The function a relocation against a symbol refers to. In a relocatable
// object every per-function section starts at 0, so a function symbol of
// value 0 is resolved to its own record: an address lookup would pick any
// of the functions at 0.
fcn_symbols* ElfFile::RelocationTarget(const ElfSymbol& symbol, size_t symbolIndex, bool byName) {
  if (std::strstr(symbol.name, ".LTHUNK") != nullptr) return GetFcnSymByName(symbol.name);
  if (symbol.Type() != kTypeFunction) return nullptr;
  if (symbol.value == 0) {
    uint32_t index = symbolIndex < functionOfSymbol_.size() ? functionOfSymbol_[symbolIndex] : 0;
    return index == 0 ? nullptr : &functions_[index - 1];
  }
  return byName ? GetFcnSymByName(symbol.name) : GetFcnSymAtAddr(symbol.value);
}

void ElfFile::BldRelocations() {
  uint16_t textIndex = kNoTextSection;
  for (size_t i = 0; i < sections_.size(); ++i) {
    if (std::strcmp(sections_[i].name, ".text") == 0) textIndex = static_cast<uint16_t>(i);
  }
  if (const ElfSection* sdata = FindSection(".rela.sdata")) {
    ForEachRela(*sdata, [&](uint32_t offset, uint32_t info, int32_t addend) {
      uint32_t index = info >> 8;
      if (index >= symbols_.size()) return;
      const ElfSymbol& symbol = symbols_[index];
      if (symbol.sectionIndex != textIndex) return;
      fcn_symbols* target = addend != 0 ? GetFcnSymAtAddr(static_cast<uint32_t>(addend))
                                        : GetFcnSymByName(symbol.name);
      if (target != nullptr) InsertReloItem(offset, target, kReloSData);
    });
  }
  if (const ElfSection* text = FindSection(".rela.text")) {
    ForEachRela(*text, [&](uint32_t offset, uint32_t info, int32_t) {
      uint32_t index = info >> 8;
      if (index >= symbols_.size()) return;
      fcn_symbols* target = RelocationTarget(symbols_[index], index, true);
      if (target != nullptr) InsertReloItem(offset, target, kReloText);
    });
  }
}

bool ElfFile::CreateFuncReloMap(const std::string& functionName) {
  relocations_[kReloFunction].clear();
  const ElfSection* section = FindSection(".rela.text." + functionName);
  if (section == nullptr) return false;
  bool made = false;
  ForEachRela(*section, [&](uint32_t offset, uint32_t info, int32_t) {
    uint32_t index = info >> 8;
    if (index >= symbols_.size()) return;
    fcn_symbols* target = RelocationTarget(symbols_[index], index, false);
    if (target == nullptr) return;
    InsertReloItem(offset, target, kReloFunction);
    made = true;
  });
  return made;
}
