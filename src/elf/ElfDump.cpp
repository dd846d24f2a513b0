// Diagnostic listing of an ELF file: header, section headers, symbol table.
#include <cinttypes>

#include "elf/ElfFile.h"

namespace {
const char* SymbolTypeName(uint8_t type) {
  static const char* const kNames[] = {"NOTYPE", "OBJECT", "FUNC", "SECTION", "FILE"};
  return type < 5 ? kNames[type] : "OTHER";
}

const char* BindingName(uint8_t binding) {
  static const char* const kNames[] = {"LOCAL", "GLOBAL", "WEAK"};
  return binding < 3 ? kNames[binding] : "OTHER";
}
}  // namespace

void ElfFile::DumpAll(FILE* out) {
  if (out == nullptr) return;
  std::fprintf(out, "ELF header: size %zu, data %u, type %u, machine 0x%04x, flags 0x%08" PRIx32
                    ", entry 0x%08" PRIx32 "\n",
               image_.size(), fileByteOrder_, header_.type, header_.machine, header_.flags,
               header_.entry);
  std::fprintf(out, "Section headers: %zu at 0x%08" PRIx32 ", names in section %u\n",
               sections_.size(), header_.sectionTableOffset, header_.sectionNameIndex);
  for (size_t i = 0; i < sections_.size(); ++i) {
    const ElfSection& s = sections_[i];
    std::fprintf(out,
                 "  [%3zu] %-24s type %-2" PRIu32 " addr %08" PRIx32 " off %08" PRIx32
                 " size %08" PRIx32 " es %" PRIu32 "\n",
                 i, s.name, s.type, s.address, s.offset, s.size, s.entrySize);
  }
  std::fprintf(out, "Symbol table: %zu entries (.dynsym: %zu)\n", symbols_.size(),
               dynSymbolCount_);
  for (size_t i = 0; i < symbols_.size(); ++i) {
    const ElfSymbol& sym = symbols_[i];
    std::fprintf(out, "  %5zu: %08" PRIx32 " %6" PRIu32 " %-7s %-6s %5u %s\n", i, sym.value,
                 sym.size, SymbolTypeName(sym.Type()), BindingName(sym.Binding()),
                 sym.sectionIndex, sym.name);
  }
  std::fprintf(out, "Functions %zu, objects %zu, untyped %zu, files %zu\n", functions_.size(),
               objects_.size(), notypes_.size(), fileNames_.size());
}
