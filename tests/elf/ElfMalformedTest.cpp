// Hostile ELF input: truncated, inconsistent and crafted files must give a
// clear failure or bounded results, never a crash, a hang or a huge
// allocation. Run these under the sanitizers too.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "TestUtil.h"
#include "elf/ElfFile.h"
#include "elf/ElfTestImage.h"

namespace {

using namespace elftest;
using testutil::DataPath, testutil::ReadFile, testutil::TempDir;

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
  elf.CreateFuncReloMap("f");  // the small image's .rela.text.f
  FILE* sink = std::fopen("/dev/null", "w");
  elf.DumpAll(sink);
  std::fclose(sink);
  return result;
}

// Sections 1-5 as given, 6 .symtab, 7 .strtab, 8 .shstrtab.
Image SmallImage() {
  Image image;
  image.sections = {{".text", kProgBits, 0x100, Words({0xc000, 0x4000, 0xc000, 0xc000})},
                    {".data", kProgBits, 0x200, Words({0x104, 0})},
                    {".rela.sdata", kRela, 0, Rela(0, 2, 0) + Rela(4, 3, 0x10c), 12},
                    {".rela.text", kRela, 0, Rela(8, 3, 0), 12}, {".rela.text.f", kRela, 0, Rela(4, 3, 0), 12}};
  image.symbols = {{"a.c", 0, 0, kFile, kLocal, 0xfff1}, {"f", 0x100, 12, kFunc, kLocal}, {"g", 0x10c, 4},
                   {"ptr", 0x200, 4, kObject}, {"lbl", 0x108, 0, kNoType, kLocal}};
  return image;
}

TEST(ElfMalformed, FilesThatAreNoImagesAndTruncatedFiles) {
  TempDir dir;
  ElfFile elf;
  const std::string path = dir / "input.elf", fifo = dir / "fifo";
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
  // A failed read leaves nothing of an earlier good one behind.
  ASSERT_EQ(elf.ReadFile(DataPath("toolchain/crt0.o")), 1);
  testutil::WriteFile(path, std::string("\x7f" "ELF\1\1\1", 7));
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_EQ(elf.LastError(), "Error: File corrupt " + path + "\n");
  EXPECT_TRUE(elf.Functions().empty() && !elf.HasSymbolTable());

  const std::string image = ReadFile(DataPath("samples/ctrl_loop/ctrl_loop.elf")), small = SmallImage().Build();
  // The section headers come last, so every cut loses some of them.
  for (size_t n = 0; n < 400; ++n) EXPECT_EQ(ReadAndUse(dir, image.substr(0, n), elf), 0);
  for (size_t n = 0; n < small.size(); ++n) EXPECT_EQ(ReadAndUse(dir, small.substr(0, n), elf), 0);
  for (size_t k = 0; k < 12; ++k) EXPECT_EQ(ReadAndUse(dir, image.substr(0, 0x4bb8 + k * 40), elf), 0);
}

TEST(ElfMalformed, FieldsOutOfRange) {
  TempDir dir;
  ElfFile elf;
  Image image = SmallImage();
  const std::string good = image.Build();
  auto sh = [&](size_t index, size_t field) { return image.SectionHeader(index) + field; };
  const size_t fSymbol = image.symtabOffset + 2 * 16;
  struct Patch { size_t at; uint32_t value; int bytes, result; std::function<void()> check; };
  const Patch patches[] = {
      {48, 0xffff, 2, 0, [&] { EXPECT_EQ(elf.LastError().rfind("Error: File corrupt", 0), 0u); }},
      {32, 0xfffffff0, 4, 0, nullptr},
      {50, 0x7000, 2, 1, [&] { EXPECT_FALSE(elf.HasSymbolTable()); }},
      {sh(6, 20), 0xffffffff, 4, 1, [&] { EXPECT_LE(elf.Symbols().size(), good.size() / 16); }},
      {sh(6, 16), 0xffffff00, 4, 1, [&] { EXPECT_TRUE(elf.Functions().empty()); }},
      {sh(7, 16), 0xffffff00, 4, 1, [&] { EXPECT_STREQ(elf.Functions()[0].name, ""); }},
      {sh(7, 20), 10, 4, 1, [&] { EXPECT_STREQ(elf.GetObjSymAtAddr(0x200)->name, "p"); }},  // "ptr" unterminated
      {sh(1, 0), 0xfffffff0, 4, 1, [&] { EXPECT_STREQ(elf.Sections()[1].name, ""); }},
      {fSymbol, 0xffffffff, 4, 1, [&] { EXPECT_STREQ(elf.GetFcnSymAtAddr(0x100)->name, ""); }},
      {fSymbol + 14, 0x8000, 2, 1, [&] { EXPECT_EQ(elf.GetFcnSymAtAddr(0x100)->packetCount, 0u); }},
      {sh(3, 36), 0, 4, 1, [&] { EXPECT_EQ(elf.FindReloItem(0, ElfFile::kReloSData), nullptr); }},
      {sh(4, 36), 11, 4, 1, [&] { EXPECT_EQ(elf.FindReloItem(8, ElfFile::kReloText), nullptr); }},
      {sh(3, 20), 0xfffffffc, 4, 1, [&] { EXPECT_STREQ(elf.FindReloItem(0, ElfFile::kReloSData)->name, "f"); }},
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

}  // namespace
