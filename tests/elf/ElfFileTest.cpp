// The ELF32 reader on small files written by the tests: symbol order and
// containment, source files, packets, initial words and relocations.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "elf/ElfFile.h"
#include "elf/ElfTestImage.h"

namespace {

using namespace elftest;

template <typename Rec>
std::string Name(const Rec* rec) {
  return rec == nullptr ? "(null)" : rec->name;
}

struct Loaded {
  testutil::TempDir dir;
  ElfFile elf;
  explicit Loaded(const std::string& bytes) {
    testutil::WriteFile(dir / "t.elf", bytes);
    EXPECT_EQ(elf.ReadFile(dir / "t.elf"), 1);
  }
};

TEST(ElfFile, LookupsFilesPacketsAndInitialWords) {
  Image image;
  // Parse bits of the words: 11, 01, 11, 11.
  image.sections = {{".text", kProgBits, 0x100, Words({0xc000, 0x4000, 0xc0ff, 0xc000})},
                    {".data", kProgBits, 0x200, Words({0x12345678, 0x100})},
                    {".bss", kNoBits, 0x300, std::string(8, '\0')}};
  image.symbols = {{"early", 0x10c, 4, kFunc, kLocal},  // before any file symbol
                   {"a.c", 0, 0, kFile, kLocal, 0xfff1}, {"c_alias", 0x100, 12, kFunc, kLocal}, {"b_alias", 0x100, 12},
                   {"a_long", 0x100, 16}, {"inner", 0x104, 4}, {"table", 0x200, 8, kObject, kLocal, 2},
                   {"b.c", 0, 0, kFile, kLocal, 0xfff1}, {"lo", 0x204, 4, kObject, kLocal, 2},
                   {"zeroed", 0x300, 4, kObject, kGlobal, 3}, {"label", 0x108, 0, kNoType, kLocal},
                   {"runs_over", 0x10c, 64}, {"in_bss", 0x300, 8, kFunc, kGlobal, 3},
                   {"bad_index", 0x108, 4, kFunc, kGlobal, 99}};
  Loaded t(image.Build());
  ElfFile& elf = t.elf;
  // Same start: shorter end first, then by name; the next record follows.
  fcn_symbols* first = elf.GetFirstFncAtAddr(0x100);
  fcn_symbols* second = elf.GetNextFcnAtAddr(0x100, first);
  EXPECT_EQ(Name(first) + " " + Name(second) + " " + Name(elf.GetNextFcnAtAddr(0x100, second)), "b_alias c_alias a_long");
  EXPECT_EQ(Name(elf.GetFcnSymByName("c_alias")), "b_alias");  // the first at its address
  fcn_symbols outside;
  EXPECT_EQ(elf.GetNextFcnAtAddr(0x100, &outside), nullptr);
  // Nested: the first of the records that contain the address.
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x104)) + " " + Name(elf.GetFcnSymAtAddr(0x104)), "b_alias inner");
  EXPECT_FALSE(elf.IsStartOfFcnAddr(0x104));
  EXPECT_EQ(elf.GetFcnSymForAddr(0x14c), nullptr);  // the end of runs_over

  // Packets: 2; 1; clipped at .text's end; not PROGBITS; bad section index.
  fcn_symbols* early = elf.GetFcnSymAtAddr(0x10c);
  EXPECT_EQ((std::vector<uint32_t>{first->packetCount, early->packetCount, elf.GetNextFcnAtAddr(0x10c, early)->packetCount,
                                   elf.GetFcnSymAtAddr(0x300)->packetCount, elf.GetFcnSymAtAddr(0x108)->packetCount}),
            (std::vector<uint32_t>{2, 1, 1, 0, 0}));
  EXPECT_TRUE(early->file == nullptr && std::string(second->file) == "a.c");

  const obj_symbols* table = elf.GetObjSymAtAddr(0x200);
  EXPECT_TRUE(table->initialWord == 0x12345678u && std::string(table->file) == "a.c");
  EXPECT_EQ(elf.GetObjSymAtAddr(0x204), table);  // stepped back by containment
  EXPECT_TRUE(elf.Objects()[1].initialWord == 0x100u && std::string(elf.Objects()[1].file) == "b.c");
  EXPECT_TRUE(elf.GetNotypeSymByName("label")->sectionIndex == 1 && std::string(elf.GetNotypeSymByName("label")->file) == "b.c");

  image.withSymtab = false;
  Loaded b(image.Build());
  EXPECT_FALSE(b.elf.HasSymbolTable());
  EXPECT_TRUE(b.elf.Functions().empty() && b.elf.Objects().empty() && !b.elf.GetFcnSymAtAddr(0x100));
}

TEST(ElfFile, SyntheticRelocations) {
  Image image;
  image.sections = {
      {".text", kProgBits, 0x100, std::string(0x100, '\0')}, {".other", kProgBits, 0x400, std::string(16, '\0')},
      {".rela.sdata", kRela, 0, Rela(0x10, 1, 0) + Rela(0x14, 1, 0x120) + Rela(0x10, 2, 0) + Rela(0x18, 3, 0) + Rela(0x1c, 77, 0), 12},
      {".rela.text", kRela, 0, Rela(0x30, 4, 0) + Rela(0x34, 2, 0) + Rela(0x38, 5, 0), 12},
      {".rela.text.f", kRela, 0, Rela(0x8, 2, 0) + Rela(0xc, 5, 0), 12}};
  image.symbols = {{"f", 0x100, 0x20}, {"g", 0x120, 0x20}, {"h", 0x400, 8, kFunc, kGlobal, 2},
                   {".LTHUNK0", 0x140, 0x10, kFunc, kLocal}, {"data", 0x100, 4, kObject},
                   {"g", 0x300, 4}};  // a repeated name: the first entry counts
  Loaded t(image.Build());
  ElfFile& elf = t.elf;
  EXPECT_EQ(elf.GetSymbolByName("g")->value, 0x120u);
  // sdata: the first target of an offset stays; an addend picks the symbol; a
  // target outside .text or no symbol at all gives nothing.
  auto targets = [&](std::initializer_list<uint32_t> offsets, int kind) {
    std::string names;
    for (uint32_t offset : offsets) names += Name(elf.FindReloItem(offset, kind)) + " ";
    return names;
  };
  EXPECT_EQ(targets({0x10, 0x14, 0x18, 0x1c}, ElfFile::kReloSData), "f g (null) (null) ");
  EXPECT_EQ(targets({0x30, 0x34, 0x38}, ElfFile::kReloText), ".LTHUNK0 g (null) ");
  EXPECT_TRUE(elf.CreateFuncReloMap("f"));
  EXPECT_EQ(targets({0x8, 0xc}, ElfFile::kReloFunction), "g (null) ");
}

}  // namespace
