// Writes small little-endian ELF32 files for the reader tests: the sections
// given, then .symtab, .strtab and .shstrtab, then the section header table.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace elftest {

enum : uint8_t { kNoType = 0, kObject = 1, kFunc = 2, kSectionSym = 3, kFile = 4 };
enum : uint8_t { kLocal = 0, kGlobal = 1, kWeak = 2 };
enum : uint32_t { kProgBits = 1, kRela = 4, kNoBits = 8 };

struct Symbol {
  std::string name;
  uint32_t value = 0;
  uint32_t size = 0;
  uint8_t type = kFunc;
  uint8_t bind = kGlobal;
  uint16_t section = 1;
};

struct Section {
  std::string name;
  uint32_t type = kProgBits;
  uint32_t address = 0;
  std::string data;
  uint32_t entrySize = 0;
};

inline void Put32(std::string& out, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) out[at + i] = static_cast<char>(v >> (8 * i));
}

inline void Put16(std::string& out, size_t at, uint16_t v) {
  out[at] = static_cast<char>(v);
  out[at + 1] = static_cast<char>(v >> 8);
}

inline void Append32(std::string& out, uint32_t v) {
  out.append(4, '\0');
  Put32(out, out.size() - 4, v);
}

// Instruction words as they lie in the file.
inline std::string Words(const std::vector<uint32_t>& words) {
  std::string out;
  for (uint32_t w : words) Append32(out, w);
  return out;
}

// One relocation-with-addend entry; symbol is the index in the symbol table
// (the first Symbol given has index 1).
inline std::string Rela(uint32_t offset, uint32_t symbol, int32_t addend, uint8_t type = 1) {
  std::string out;
  Append32(out, offset);
  Append32(out, symbol << 8 | type);
  Append32(out, static_cast<uint32_t>(addend));
  return out;
}

struct Image {
  std::vector<Section> sections;  // numbered from 1 (0 is the null section)
  std::vector<Symbol> symbols;    // numbered from 1 (0 is the null symbol)
  bool withSymtab = true;

  // Where the parts landed in the last Build().
  size_t symtabOffset = 0;
  size_t strtabOffset = 0;
  size_t sectionTableOffset = 0;
  size_t SectionHeader(size_t index) const { return sectionTableOffset + index * 40; }

  std::string Build() {
    std::string out(52, '\0');
    const char ident[] = {0x7f, 'E', 'L', 'F', 1, 1, 1};
    out.replace(0, sizeof ident, ident, sizeof ident);
    Put16(out, 16, 2);  // executable
    Put16(out, 18, 0x5644);
    Put32(out, 20, 1);
    Put16(out, 40, 52);
    Put16(out, 46, 40);

    struct Placed {
      std::string name;
      uint32_t type, address, offset, size, link, entrySize;
    };
    std::vector<Placed> placed = {{"", 0, 0, 0, 0, 0, 0}};
    for (const Section& s : sections) {
      placed.push_back({s.name, s.type, s.address, static_cast<uint32_t>(out.size()),
                        static_cast<uint32_t>(s.data.size()), 0, s.entrySize});
      if (s.type != kNoBits) out += s.data;
    }
    std::string strtab(1, '\0');
    std::string symtab(16, '\0');
    for (const Symbol& sym : symbols) {
      uint32_t nameOffset = static_cast<uint32_t>(strtab.size());
      strtab += sym.name;
      strtab += '\0';
      std::string entry(16, '\0');
      Put32(entry, 0, nameOffset);
      Put32(entry, 4, sym.value);
      Put32(entry, 8, sym.size);
      entry[12] = static_cast<char>(sym.bind << 4 | sym.type);
      Put16(entry, 14, sym.section);
      symtab += entry;
    }
    if (withSymtab) {
      symtabOffset = out.size();
      uint32_t strtabIndex = static_cast<uint32_t>(placed.size() + 1);
      placed.push_back({".symtab", 2, 0, static_cast<uint32_t>(out.size()),
                        static_cast<uint32_t>(symtab.size()), strtabIndex, 16});
      out += symtab;
      strtabOffset = out.size();
      placed.push_back({".strtab", 3, 0, static_cast<uint32_t>(out.size()),
                        static_cast<uint32_t>(strtab.size()), 0, 0});
      out += strtab;
    }
    std::string shstrtab(1, '\0');
    std::vector<uint32_t> nameOffsets;
    placed.push_back({".shstrtab", 3, 0, 0, 0, 0, 0});
    for (const Placed& p : placed) {
      nameOffsets.push_back(p.name.empty() ? 0 : static_cast<uint32_t>(shstrtab.size()));
      if (!p.name.empty()) {
        shstrtab += p.name;
        shstrtab += '\0';
      }
    }
    placed.back().offset = static_cast<uint32_t>(out.size());
    placed.back().size = static_cast<uint32_t>(shstrtab.size());
    out += shstrtab;
    while (out.size() % 4 != 0) out += '\0';

    sectionTableOffset = out.size();
    Put32(out, 32, static_cast<uint32_t>(sectionTableOffset));
    Put16(out, 48, static_cast<uint16_t>(placed.size()));
    Put16(out, 50, static_cast<uint16_t>(placed.size() - 1));
    for (size_t i = 0; i < placed.size(); ++i) {
      std::string header(40, '\0');
      Put32(header, 0, nameOffsets[i]);
      Put32(header, 4, placed[i].type);
      Put32(header, 12, placed[i].address);
      Put32(header, 16, placed[i].offset);
      Put32(header, 20, placed[i].size);
      Put32(header, 24, placed[i].link);
      Put32(header, 36, placed[i].entrySize);
      out += header;
    }
    return out;
  }
};

}  // namespace elftest
