// Hostile ELF input: truncated, inconsistent and crafted files must give a
// clear failure or bounded results, never a crash, a hang or a huge
// allocation. Run these under the sanitizers too.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <random>

#include "TestUtil.h"
#include "elf/ElfFile.h"
#include "elf/ElfTestImage.h"

namespace {

using namespace elftest;
using testutil::DataPath;
using testutil::TempDir;

// Reads the bytes as a file and uses every lookup on whatever came out.
int ReadAndUse(const TempDir& dir, const std::string& bytes, ElfFile& elf) {
  testutil::WriteFile(dir / "input.elf", bytes);
  int result = elf.ReadFile(dir / "input.elf");
  EXPECT_EQ(result == 1, elf.LastError().empty());
  for (const fcn_symbols& rec : elf.Functions()) {
    elf.GetNextFcnAtAddr(rec.startAddress, elf.GetFcnSymAtAddr(rec.startAddress));
    elf.IsStartOfFcnAddr(rec.endAddress);
    elf.GetFcnSymByName(rec.name);
  }
  for (const obj_symbols& rec : elf.Objects()) elf.GetObjSymAtAddr(rec.startAddress);
  for (const ElfSection& section : elf.Sections()) {
    std::string name = section.name;
    if (name.rfind(".rela.text.", 0) == 0) elf.CreateFuncReloMap(name.substr(11));
  }
  FILE* sink = std::fopen("/dev/null", "w");
  elf.DumpAll(sink);
  std::fclose(sink);
  return result;
}

Image SmallImage() {
  Image image;
  image.sections = {{".text", kProgBits, 0x100, Words({0xc000, 0x4000, 0xc000, 0xc000})},
                    {".data", kProgBits, 0x200, Words({0x104, 0})},
                    {".rela.sdata", kRela, 0, Rela(0, 2, 0) + Rela(4, 3, 0x10c), 12},
                    {".rela.text", kRela, 0, Rela(8, 3, 0), 12},
                    {".rela.text.f", kRela, 0, Rela(4, 3, 0), 12}};
  image.symbols = {{"a.c", 0, 0, kFile, kLocal, 0xfff1},
                   {"f", 0x100, 12, kFunc, kLocal},
                   {"g", 0x10c, 4},
                   {"ptr", 0x200, 4, kObject},
                   {"lbl", 0x108, 0, kNoType, kLocal}};
  return image;
}

TEST(ElfMalformed, FilesThatAreNoImages) {
  TempDir dir;
  ElfFile elf;
  const std::string path = dir / "input.elf";
  const std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& unopenable : {path, dir.path(), fifo}) {  // a FIFO must not block
    EXPECT_EQ(elf.ReadFile(unopenable), 0);
    EXPECT_EQ(elf.LastError(), "Error: Unable to open file " + unopenable + "\n");
  }
  std::string wrongClass = SmallImage().Build();
  wrongClass[4] = 2;  // 64-bit
  for (const std::string& bytes : {std::string(), std::string("#!/bin/sh\n"), wrongClass}) {
    testutil::WriteFile(path, bytes);
    EXPECT_EQ(elf.ReadFile(path), 0);
    EXPECT_EQ(elf.LastError(), "Error: Object file is not ELF format: " + path + "\n");
  }
  testutil::WriteFile(path, std::string("\x7f" "ELF\1\1\1", 7));
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_EQ(elf.LastError(), "Error: File corrupt " + path + "\n");
  // A failed read leaves nothing of an earlier good one behind.
  ASSERT_EQ(elf.ReadFile(DataPath("toolchain/crt0.o")), 1);
  EXPECT_FALSE(elf.Functions().empty());
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_TRUE(elf.Functions().empty());
  EXPECT_FALSE(elf.HasSymbolTable());
}

TEST(ElfMalformed, TruncatedFiles) {
  TempDir dir;
  ElfFile elf;
  const std::string image = testutil::ReadFile(DataPath("samples/ctrl_loop/ctrl_loop.elf"));
  const std::string small = SmallImage().Build();
  // The section headers come last, so every cut loses some of them.
  for (size_t n = 0; n < 400; ++n) EXPECT_EQ(ReadAndUse(dir, image.substr(0, n), elf), 0);
  for (size_t n = 0; n < small.size(); ++n) EXPECT_EQ(ReadAndUse(dir, small.substr(0, n), elf), 0);
  for (size_t k = 0; k < 12; ++k) {
    EXPECT_EQ(ReadAndUse(dir, image.substr(0, 0x4bb8 + k * 40), elf), 0);
  }
}

TEST(ElfMalformed, FieldsOutOfRange) {
  TempDir dir;
  ElfFile elf;
  Image image = SmallImage();
  const std::string good = image.Build();
  auto sh = [&](size_t index, size_t field) { return image.SectionHeader(index) + field; };
  const size_t fSymbol = image.symtabOffset + 2 * 16;
  struct Patch {
    size_t at;
    uint32_t value;
    int bytes;
    int result;
    std::function<void()> check;
  };
  const Patch patches[] = {
      {48, 0xffff, 2, 0, [&] { EXPECT_EQ(elf.LastError().rfind("Error: File corrupt", 0), 0u); }},
      {32, 0xfffffff0, 4, 0, nullptr},
      {50, 0x7000, 2, 1, [&] { EXPECT_FALSE(elf.HasSymbolTable()); }},
      {sh(6, 20), 0xffffffff, 4, 1, [&] { EXPECT_LE(elf.Symbols().size(), good.size() / 16); }},
      {sh(6, 16), 0xffffff00, 4, 1, [&] { EXPECT_TRUE(elf.Functions().empty()); }},
      {sh(7, 16), 0xffffff00, 4, 1, [&] { EXPECT_STREQ(elf.Functions()[0].name, ""); }},
      {sh(1, 0), 0xfffffff0, 4, 1, [&] { EXPECT_STREQ(elf.Sections()[1].name, ""); }},
      {fSymbol, 0xffffffff, 4, 1, [&] { EXPECT_STREQ(elf.GetFcnSymAtAddr(0x100)->name, ""); }},
      {fSymbol + 14, 0x8000, 2, 1,
       [&] { EXPECT_EQ(elf.GetFcnSymAtAddr(0x100)->packetCount, 0u); }},
      {sh(3, 36), 0, 4, 1, [&] { EXPECT_EQ(elf.FindReloItem(0, ElfFile::kReloSData), nullptr); }},
      {sh(4, 36), 11, 4, 1, [&] { EXPECT_EQ(elf.FindReloItem(8, ElfFile::kReloText), nullptr); }},
      {sh(3, 20), 0xfffffffc, 4, 1,
       [&] { EXPECT_STREQ(elf.FindReloItem(0, ElfFile::kReloSData)->name, "f"); }},
      {sh(5, 16), 0xfffffff0, 4, 1, [&] { EXPECT_FALSE(elf.CreateFuncReloMap("f")); }},
  };
  ASSERT_EQ(ReadAndUse(dir, good, elf), 1);
  ASSERT_EQ(elf.GetFcnSymAtAddr(0x100)->packetCount, 2u);
  for (const Patch& patch : patches) {
    SCOPED_TRACE(patch.at);
    std::string bytes = good;
    Put(bytes, patch.at, patch.value, patch.bytes);
    EXPECT_EQ(ReadAndUse(dir, bytes, elf), patch.result);
    if (patch.check) patch.check();
  }
}

TEST(ElfMalformed, NamesWithoutTerminatorAndCraftedTables) {
  TempDir dir;
  ElfFile elf;
  Image image;
  image.sections = {{".text", kProgBits, 0, std::string(16, '\0')}};
  image.symbols = {{"alpha", 0, 4}, {"omega", 4, 4}};
  std::string bytes = image.Build();
  Put(bytes, image.SectionHeader(3) + 20, 10);  // "\0alpha\0ome" of "\0alpha\0omega\0"
  Put(bytes, image.SectionHeader(4) + 20, 26);  // ".shstrtab" becomes ".sh"
  ASSERT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_STREQ(elf.GetFcnSymAtAddr(4)->name, "ome");
  EXPECT_STREQ(elf.GetFcnSymAtAddr(0)->name, "alpha");
  EXPECT_STREQ(elf.Sections()[4].name, ".sh");

  // Thousands of names starting inside one long string: their total length
  // grows with the square of the file size, so the file is refused.
  Image names;
  names.sections = image.sections;
  names.symbols = {{std::string(200000, 'x'), 0, 4}};
  names.symbols.resize(4001);  // unnamed: pointed into the long name below
  bytes = names.Build();
  for (uint32_t i = 2; i <= 4001; ++i) Put(bytes, names.symtabOffset + i * 16, i);
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 0);
  EXPECT_EQ(elf.LastError().rfind("Error: File corrupt", 0), 0u);

  // Thousands of functions over one large section: no scan of it for each.
  Image overlap;
  overlap.sections = {{".text", kProgBits, 0, Words(std::vector<uint32_t>(65536, 0xc000))}};
  for (uint32_t i = 0; i < 8000; ++i) overlap.symbols.push_back({"f", i * 4, 65536 * 4});
  ASSERT_EQ(ReadAndUse(dir, overlap.Build(), elf), 1);
  EXPECT_EQ(elf.Functions()[0].packetCount, 65536u);
  EXPECT_EQ(elf.Functions()[7999].packetCount, 65536u - 7999u);  // clipped at the section end
}

TEST(ElfMalformed, RandomCorruption) {
  TempDir dir;
  ElfFile elf;
  std::mt19937 random(20240611);
  for (const std::string& base :
       {SmallImage().Build(), testutil::ReadFile(DataPath("toolchain/crt0.o"))}) {
    for (int round = 0; round < 600; ++round) {
      std::string bytes = base;
      for (int flips = 1 + random() % 8; flips > 0; --flips) {
        bytes[4 + random() % (bytes.size() - 4)] = static_cast<char>(random() % 3 ? random() : 0xff);
      }
      ReadAndUse(dir, bytes, elf);
    }
  }
}

}  // namespace
