// Writes small little-endian ELF32 files for the reader tests: the sections
// given (numbered from 1), then .symtab, .strtab, .shstrtab and the section
// header table. Symbols are numbered from 1 as well.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace elftest {

enum : uint8_t { kNoType = 0, kObject = 1, kFunc = 2, kFile = 4 };
enum : uint8_t { kLocal = 0, kGlobal = 1, kWeak = 2 };
enum : uint32_t { kProgBits = 1, kRela = 4, kNoBits = 8 };

struct Symbol {
  std::string name;
  uint32_t value = 0, size = 0;
  uint8_t type = kFunc, bind = kGlobal;
  uint16_t section = 1;
};

struct Section {
  std::string name;
  uint32_t type = kProgBits, address = 0;
  std::string data;
  uint32_t entrySize = 0;
};

inline void Put(std::string& out, size_t at, uint32_t v, int bytes = 4) {
  for (int i = 0; i < bytes; ++i) out[at + i] = static_cast<char>(v >> (8 * i));
}

inline std::string Words(const std::vector<uint32_t>& words) {
  std::string out(words.size() * 4, '\0');
  for (size_t i = 0; i < words.size(); ++i) Put(out, i * 4, words[i]);
  return out;
}

inline std::string Rela(uint32_t offset, uint32_t symbol, int32_t addend) {
  return Words({offset, symbol << 8 | 1, static_cast<uint32_t>(addend)});
}

struct Image {
  std::vector<Section> sections;
  std::vector<Symbol> symbols;
  bool withSymtab = true;
  size_t symtabOffset = 0, sectionTable = 0;  // where the last Build() put them

  size_t SectionHeader(size_t index) const { return sectionTable + index * 40; }

  std::string Build() {
    std::vector<Section> all = sections;
    if (withSymtab) {
      std::string strtab(1, '\0'), symtab(16, '\0');
      for (const Symbol& sym : symbols) {
        symtab += Words({static_cast<uint32_t>(strtab.size()), sym.value, sym.size,  // info, other, section index
                         static_cast<uint32_t>(sym.bind << 4 | sym.type | sym.section << 16)});
        strtab += sym.name + '\0';
      }
      all.insert(all.end(), {{".symtab", 2, 0, symtab, 16}, {".strtab", 3, 0, strtab, 0}});
    }
    all.push_back({".shstrtab", 3, 0, std::string(1, '\0'), 0});
    for (const Section& s : all) all.back().data += s.name + '\0';
    uint32_t nameAt = 1;
    std::string out(52, '\0'), table(40, '\0');  // the header; the null section
    out.replace(0, 7, "\x7f" "ELF\1\1\1", 7);
    Put(out, 16, 2, 2), Put(out, 18, 0x5644, 2);  // a relocatable file for the Valdrin machine
    for (size_t i = 0; i < all.size(); ++i) {
      if (withSymtab && i == sections.size()) symtabOffset = out.size();
      table += Words({nameAt, all[i].type, 0, all[i].address, static_cast<uint32_t>(out.size()),
                      static_cast<uint32_t>(all[i].data.size()), 0, 0, 0, all[i].entrySize});
      if (all[i].type != kNoBits) out += all[i].data;
      nameAt += static_cast<uint32_t>(all[i].name.size() + 1);
    }
    out.resize((out.size() + 3) & ~size_t{3});
    sectionTable = out.size();
    // Section header table offset, section count, index of .shstrtab.
    Put(out, 32, static_cast<uint32_t>(sectionTable)), Put(out, 48, static_cast<uint32_t>(all.size() + 1), 2);
    Put(out, 50, static_cast<uint32_t>(all.size()), 2);
    return out + table;
  }
};

}  // namespace elftest
