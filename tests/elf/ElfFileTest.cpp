// The ELF32 reader's lookup rules and relocation maps on small written files.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "TestUtil.h"
#include "elf/ElfFile.h"
#include "elf/ElfTestImage.h"

namespace {

using namespace elftest;

template <typename Rec>
std::string Name(const Rec* rec) { return rec == nullptr ? "(null)" : rec->name; }

void Load(ElfFile& elf, const testutil::TempDir& dir, const std::string& bytes) {
  testutil::WriteFile(dir / "t.elf", bytes);
  ASSERT_EQ(elf.ReadFile(dir / "t.elf"), 1);
}

TEST(ElfFile, LookupRules) {
  Image image;
  image.sections = {{".text", kProgBits, 0x100, std::string(0x40, '\0')},
                    {".data", kProgBits, 0x200, Words({0x12345678, 0x100})}};
  image.symbols = {{"c_alias", 0x100, 12, kFunc, kLocal}, {"b_alias", 0x100, 12}, {"a_long", 0x100, 16},
                   {"inner", 0x104, 4}, {"runs_over", 0x10c, 64}, {"table", 0x200, 8, kObject, kLocal, 2},
                   {"lo", 0x204, 4, kObject, kLocal, 2}};
  testutil::TempDir dir;
  ElfFile elf;
  Load(elf, dir, image.Build());
  // Same start: shorter end first, then by name; the next record follows.
  fcn_symbols* first = elf.GetFirstFncAtAddr(0x100);
  fcn_symbols* second = elf.GetNextFcnAtAddr(0x100, first);
  EXPECT_EQ(Name(first) + " " + Name(second) + " " + Name(elf.GetNextFcnAtAddr(0x100, second)), "b_alias c_alias a_long");
  EXPECT_EQ(Name(elf.GetFcnSymByName("c_alias")), "b_alias");  // the first at its address
  fcn_symbols outside;  // a record not of this file has no next
  EXPECT_EQ(elf.GetNextFcnAtAddr(0x100, &outside), nullptr);
  // Nested: the first of the records that contain the address.
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x104)) + " " + Name(elf.GetFcnSymAtAddr(0x104)), "b_alias inner");
  EXPECT_FALSE(elf.IsStartOfFcnAddr(0x104));
  EXPECT_EQ(elf.GetFcnSymForAddr(0x14c), nullptr);  // the end of runs_over
  // Nested ranges: the batched searches give what the single ones do.
  uint32_t batch[ElfFile::kAddressBatch];
  fcn_symbols* holds[ElfFile::kAddressBatch];
  fcn_symbols* starts[ElfFile::kAddressBatch];
  for (uint32_t from = 0xf8; from < 0x158; from += ElfFile::kAddressBatch) {
    for (size_t i = 0; i < ElfFile::kAddressBatch; ++i) batch[i] = from + static_cast<uint32_t>(i);
    elf.GetFcnSymsForAddrs(batch, ElfFile::kAddressBatch, holds);
    elf.GetFcnSymsAtAddrs(batch, ElfFile::kAddressBatch, starts);
    for (size_t i = 0; i < ElfFile::kAddressBatch; ++i) {
      EXPECT_EQ(holds[i], elf.GetFcnSymForAddr(batch[i])) << batch[i];
      EXPECT_EQ(starts[i], elf.GetFcnSymAtAddr(batch[i])) << batch[i];
    }
  }
  const obj_symbols* table = elf.GetObjSymAtAddr(0x200);
  ASSERT_TRUE(table && table->initialWord == 0x12345678u);
  EXPECT_EQ(elf.GetObjSymAtAddr(0x204), table);  // found by start, stepped back to the enclosing one
}

// The name index keeps the first symbol of each name, among enough names
// for probes to collide and wrap around the table.
TEST(ElfFile, SymbolsByNameKeepTheFirstOfEachName) {
  Image image;
  image.sections = {{".text", kProgBits, 0x100, std::string(0x1000, '\0')}};
  for (uint32_t i = 0; i < 700; ++i) {
    // Every name twice, the later entry at another address; one empty name.
    image.symbols.push_back({"f" + std::to_string(i % 350), 0x100 + 4 * i, 4, kFunc, i < 350 ? kGlobal : kLocal});
  }
  image.symbols.push_back({"", 0x100, 4});
  testutil::TempDir dir;
  ElfFile elf;
  Load(elf, dir, image.Build());
  for (uint32_t i = 0; i < 350; ++i) {
    const ElfSymbol* symbol = elf.GetSymbolByName("f" + std::to_string(i));
    ASSERT_NE(symbol, nullptr) << i;
    EXPECT_EQ(symbol->value, 0x100 + 4 * i) << i;
  }
  EXPECT_EQ(elf.GetSymbolByName("f350"), nullptr);
  EXPECT_EQ(elf.GetSymbolByName(""), nullptr);
  EXPECT_EQ(Name(elf.GetFcnSymByName("f7")), "f7");
}

// Ranges that neither nest nor overlap, with aliases, empty functions and
// gaps: every address finds the first function that holds it and the first
// that starts there, or none.
TEST(ElfFile, ContainingFunctionOfAscendingRanges) {
  std::mt19937 rng(7);
  testutil::TempDir dir;
  for (int round = 0; round < 40; ++round) {
    Image image;
    image.sections = {{".text", kProgBits, 0x100, std::string(0x400, '\0')}};
    uint32_t at = 0x100;
    for (int i = 0; i < 30 && at < 0x4f0; ++i) {
      at += rng() % 3 == 0 ? rng() % 8 : 0;  // a gap now and then
      const uint32_t size = rng() % 5 == 0 ? 0 : 4 + rng() % 12;
      image.symbols.push_back({"f" + std::to_string(i), at, size});
      if (rng() % 4 == 0) image.symbols.push_back({"alias" + std::to_string(i), at, size});
      at += size;
    }
    ElfFile elf;
    Load(elf, dir, image.Build());
    const std::vector<fcn_symbols>& all = elf.Functions();
    std::vector<uint32_t> addrs;
    std::vector<const fcn_symbols*> holding, starting;
    for (uint32_t addr = 0xf0; addr < at + 8; ++addr) {
      const fcn_symbols* holds = nullptr;
      const fcn_symbols* starts = nullptr;
      for (const fcn_symbols& f : all) {
        if (holds == nullptr && f.startAddress <= addr && addr < f.endAddress) holds = &f;
        if (starts == nullptr && f.startAddress == addr) starts = &f;
      }
      ASSERT_EQ(elf.GetFcnSymForAddr(addr), holds) << "round " << round << " address " << addr;
      ASSERT_EQ(elf.GetFirstFncAtAddr(addr), starts) << "round " << round << " address " << addr;
      addrs.push_back(addr);
      holding.push_back(holds);
      starting.push_back(starts);
    }
    // The same searches side by side, in batches of every size, the
    // addresses shuffled so that a batch's searches part early.
    std::vector<size_t> order(addrs.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), rng);
    for (size_t from = 0; from < order.size();) {
      const size_t count = std::min<size_t>(1 + rng() % ElfFile::kAddressBatch, order.size() - from);
      uint32_t batch[ElfFile::kAddressBatch];
      fcn_symbols* holds[ElfFile::kAddressBatch];
      fcn_symbols* starts[ElfFile::kAddressBatch];
      for (size_t i = 0; i < count; ++i) batch[i] = addrs[order[from + i]];
      elf.GetFcnSymsForAddrs(batch, count, holds);
      elf.GetFcnSymsAtAddrs(batch, count, starts);
      for (size_t i = 0; i < count; ++i) {
        ASSERT_EQ(holds[i], holding[order[from + i]]) << "round " << round << " address " << batch[i];
        ASSERT_EQ(starts[i], starting[order[from + i]]) << "round " << round << " address " << batch[i];
      }
      from += count;
    }
  }
}

// Images of hundreds of functions, with and without nested ranges: the
// batched searches find what the single ones find at every address.
TEST(ElfFile, BatchedSearchesOverManyFunctions) {
  std::mt19937 rng(11);
  testutil::TempDir dir;
  for (bool nested : {false, true}) {
    Image image;
    image.sections = {{".text", kProgBits, 0x1000, std::string(0x3000, '\0')}};
    uint32_t at = 0x1000;
    for (int i = 0; i < 700; ++i) {
      at += rng() % 4 == 0 ? 4 * (rng() % 3) : 0;
      const uint32_t size = rng() % 6 == 0 ? 0 : 4 * (1 + rng() % 3);
      // A nested image has functions that reach over the next ones.
      const uint32_t reach = nested && rng() % 9 == 0 ? size + 4 * (rng() % 6) : size;
      image.symbols.push_back({"f" + std::to_string(i), at, reach});
      at += size;
    }
    ElfFile elf;
    Load(elf, dir, image.Build());
    uint32_t batch[ElfFile::kAddressBatch];
    fcn_symbols* holds[ElfFile::kAddressBatch];
    fcn_symbols* starts[ElfFile::kAddressBatch];
    for (uint32_t from = 0xff0; from < at + 16;) {
      const size_t count = 1 + rng() % ElfFile::kAddressBatch;
      for (size_t i = 0; i < count; ++i) batch[i] = from + static_cast<uint32_t>(rng() % 64);
      elf.GetFcnSymsForAddrs(batch, count, holds);
      elf.GetFcnSymsAtAddrs(batch, count, starts);
      for (size_t i = 0; i < count; ++i) {
        ASSERT_EQ(holds[i], elf.GetFcnSymForAddr(batch[i])) << nested << " " << batch[i];
        ASSERT_EQ(starts[i], elf.GetFcnSymAtAddr(batch[i])) << nested << " " << batch[i];
      }
      from += 2;
    }
  }
}

TEST(ElfFile, SyntheticRelocations) {
  Image image;
  image.sections = {
      {".text", kProgBits, 0x100, std::string(0x100, '\0')}, {".other", kProgBits, 0x400, std::string(16, '\0')},
      {".rela.sdata", kRela, 0, Rela(0x10, 1, 0) + Rela(0x14, 1, 0x120) + Rela(0x10, 2, 0) + Rela(0x18, 3, 0) + Rela(0x1c, 77, 0), 12},
      {".rela.text.f", kRela, 0, Rela(0x8, 2, 0) + Rela(0xc, 5, 0), 12}};
  image.symbols = {{"f", 0x100, 0x20}, {"g", 0x120, 0x20}, {"h", 0x400, 8, kFunc, kGlobal, 2},
                   {".LTHUNK0", 0x140, 0x10, kFunc, kLocal}, {"data", 0x100, 4, kObject}};
  testutil::TempDir dir;
  ElfFile elf;
  Load(elf, dir, image.Build());
  // The first target of an offset stays; an addend picks the symbol; a
  // target outside .text or no symbol at all gives nothing.
  auto targets = [&](std::initializer_list<uint32_t> offsets, int kind) {
    std::string names;
    for (uint32_t offset : offsets) names += Name(elf.FindReloItem(offset, kind)) + " ";
    return names;
  };
  EXPECT_EQ(targets({0x10, 0x14, 0x18, 0x1c}, ElfFile::kReloSData), "f g (null) (null) ");
  EXPECT_TRUE(elf.CreateFuncReloMap("f"));
  EXPECT_EQ(targets({0x8, 0xc}, ElfFile::kReloFunction), "g (null) ");
}

}  // namespace
