// Hostile ELF input: truncated, inconsistent and crafted files must give a
// clear failure or bounded results, never a crash, a hang or a huge
// allocation. Run these under the sanitizers too.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <random>

#include "TestUtil.h"
#include "elf/ElfFile.h"
#include "elf/ElfTestImage.h"

namespace {

using namespace elftest;
using testutil::DataPath;
using testutil::TempDir;
using testutil::WriteFile;

// Reads the bytes as a file and uses every lookup on whatever came out.
int ReadAndUse(const TempDir& dir, const std::string& bytes, ElfFile& elf) {
  const std::string path = dir / "input.elf";
  WriteFile(path, bytes);
  int result = elf.ReadFile(path);
  if (result == 1) {
    EXPECT_TRUE(elf.LastError().empty());
  }
  for (const fcn_symbols& rec : elf.Functions()) {
    EXPECT_NE(rec.name, nullptr);
    elf.GetFcnSymForAddr(rec.startAddress);
    elf.GetNextFcnAtAddr(rec.startAddress, elf.GetFcnSymAtAddr(rec.startAddress));
    elf.IsStartOfFcnAddr(rec.endAddress);
    elf.GetFcnSymByName(rec.name);
  }
  for (const obj_symbols& rec : elf.Objects()) {
    elf.GetObjSymAtAddr(rec.startAddress);
    elf.GetObjNameForAddr(rec.endAddress - 1);
  }
  for (const ElfSection& section : elf.Sections()) {
    std::string name = section.name;
    if (name.rfind(".rela.text.", 0) == 0) elf.CreateFuncReloMap(name.substr(11));
  }
  elf.GetSymMap();
  elf.GetNotypeSymByName("x");
  FILE* sink = std::fopen("/dev/null", "w");
  elf.DumpAll(sink);
  std::fclose(sink);
  return result;
}

Image SmallImage() {
  Image image;
  image.sections.push_back({".text", kProgBits, 0x100, Words({0xc000, 0x4000, 0xc000, 0xc000})});
  image.sections.push_back({".data", kProgBits, 0x200, Words({0x104, 0})});
  image.symbols = {{"a.c", 0, 0, kFile, kLocal, 0xfff1},
                   {"f", 0x100, 12, kFunc, kLocal},
                   {"g", 0x10c, 4},
                   {"ptr", 0x200, 4, kObject},
                   {"lbl", 0x108, 0, kNoType, kLocal}};
  image.sections.push_back({".rela.sdata", kRela, 0, Rela(0, 2, 0) + Rela(4, 3, 0x10c), 12});
  image.sections.push_back({".rela.text", kRela, 0, Rela(8, 3, 0), 12});
  image.sections.push_back({".rela.text.f", kRela, 0, Rela(4, 3, 0), 12});
  return image;
}

TEST(ElfMalformed, FilesThatAreNoImages) {
  TempDir dir;
  ElfFile elf;
  const std::string missing = dir / "missing.elf";
  EXPECT_EQ(elf.ReadFile(missing), 0);
  EXPECT_EQ(elf.LastError(), "Error: Unable to open file " + missing + "\n");
  EXPECT_EQ(elf.ReadFile(dir.path()), 0);  // a folder
  EXPECT_EQ(elf.LastError(), "Error: Unable to open file " + dir.path() + "\n");
  const std::string fifo = dir / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(elf.ReadFile(fifo), 0);  // must not wait for a writer
  EXPECT_EQ(elf.LastError(), "Error: Unable to open file " + fifo + "\n");

  const std::string path = dir / "input.elf";
  WriteFile(path, "");
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_EQ(elf.LastError(), "Error: Object file is not ELF format: " + path + "\n");
  WriteFile(path, "#!/bin/sh\necho not an image\n");
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_EQ(elf.LastError(), "Error: Object file is not ELF format: " + path + "\n");
  std::string header = SmallImage().Build();
  header[4] = 2;  // 64-bit class
  WriteFile(path, header);
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_EQ(elf.LastError(), "Error: Object file is not ELF format: " + path + "\n");
  WriteFile(path, std::string("\x7f" "ELF\1\1\1", 7));
  EXPECT_EQ(elf.ReadFile(path), 0);
  EXPECT_EQ(elf.LastError(), "Error: File corrupt " + path + "\n");

  // A failed read leaves nothing of an earlier good one behind.
  ASSERT_EQ(elf.ReadFile(DataPath("toolchain/crt0.o")), 1);
  EXPECT_FALSE(elf.Functions().empty());
  EXPECT_TRUE(elf.LastError().empty());
  EXPECT_EQ(elf.ReadFile(missing), 0);
  EXPECT_TRUE(elf.Functions().empty());
  EXPECT_FALSE(elf.HasSymbolTable());
  EXPECT_EQ(elf.GetFcnSymForAddr(0), nullptr);
}

TEST(ElfMalformed, TruncatedFiles) {
  TempDir dir;
  const std::string image = testutil::ReadFile(DataPath("samples/ctrl_loop/ctrl_loop.elf"));
  Image small = SmallImage();
  const std::string synthetic = small.Build();
  std::vector<size_t> cuts;
  for (size_t n = 0; n < 400; ++n) cuts.push_back(n);
  for (size_t n = 0; n < synthetic.size(); ++n) cuts.push_back(n);
  ElfFile elf;
  for (size_t n : cuts) {
    const std::string& source = n < 400 ? image : synthetic;
    if (n >= source.size()) continue;
    SCOPED_TRACE(n);
    // The section headers come last: every cut loses them.
    EXPECT_EQ(ReadAndUse(dir, source.substr(0, n), elf), 0);
    EXPECT_FALSE(elf.LastError().empty());
  }
  // Cut at each section header of the real image.
  const size_t table = 0x4bb8;
  for (size_t k = 0; k < 12; ++k) {
    EXPECT_EQ(ReadAndUse(dir, image.substr(0, table + k * 40), elf), 0);
  }
  EXPECT_EQ(ReadAndUse(dir, image, elf), 1);
}

TEST(ElfMalformed, OffsetsCountsAndIndicesOutOfRange) {
  TempDir dir;
  ElfFile elf;
  Image image = SmallImage();
  const std::string good = image.Build();
  const size_t symtabHeader = image.SectionHeader(6);  // after the 5 given sections
  const size_t strtabHeader = image.SectionHeader(7);
  ASSERT_EQ(ReadAndUse(dir, good, elf), 1);
  ASSERT_EQ(elf.Functions().size(), 2u);

  std::string bytes = good;
  Put16(bytes, 48, 0xffff);  // section count far beyond the file
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 0);
  EXPECT_NE(elf.LastError().find("Error: File corrupt"), std::string::npos);
  bytes = good;
  Put32(bytes, 32, 0xfffffff0);  // section headers past the end
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 0);

  bytes = good;
  Put32(bytes, symtabHeader + 20, 0xffffffff);  // 2^28 symbols claimed
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_LE(elf.Symbols().size(), bytes.size() / 16);
  bytes = good;
  Put32(bytes, symtabHeader + 16, 0xffffff00);  // symbols past the end
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_TRUE(elf.HasSymbolTable());
  EXPECT_TRUE(elf.Functions().empty());
  bytes = good;
  Put32(bytes, strtabHeader + 16, 0xffffff00);  // names past the end
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_STREQ(elf.Functions()[0].name, "");
  bytes = good;
  Put32(bytes, image.symtabOffset + 2 * 16, 0x7ffffff0);  // one name offset out of range
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_EQ(elf.GetFcnSymAtAddr(0x100)->name, std::string(""));
  EXPECT_STREQ(elf.GetFcnSymAtAddr(0x10c)->name, "g");
  bytes = good;
  Put16(bytes, image.symtabOffset + 2 * 16 + 14, 0x8000);  // section index out of range
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_EQ(elf.GetFcnSymAtAddr(0x100)->packetCount, 0u);

  bytes = good;
  Put16(bytes, 50, 0x7000);  // no section names: .symtab is not found
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_FALSE(elf.HasSymbolTable());
  bytes = good;
  Put32(bytes, image.SectionHeader(1), 0xfffffff0);  // .text loses its name
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_STREQ(elf.Sections()[1].name, "");

  // Relocation sections with entry sizes of 0 and 4, and a count that
  // would run far past the file.
  for (uint32_t entrySize : {0u, 4u, 11u}) {
    bytes = good;
    Put32(bytes, image.SectionHeader(3) + 36, entrySize);
    Put32(bytes, image.SectionHeader(4) + 36, entrySize);
    EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
    EXPECT_EQ(elf.FindReloItem(0, ElfFile::kReloSData), nullptr);
    EXPECT_EQ(elf.FindReloItem(8, ElfFile::kReloText), nullptr);
  }
  bytes = good;
  Put32(bytes, image.SectionHeader(3) + 20, 0xfffffffc);
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_STREQ(elf.FindReloItem(0, ElfFile::kReloSData)->name, "f");
  bytes = good;
  Put32(bytes, image.SectionHeader(5) + 16, 0xfffffff0);  // .rela.text.f past the end
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_FALSE(elf.CreateFuncReloMap("f"));
}

TEST(ElfMalformed, NamesWithoutTerminator) {
  TempDir dir;
  ElfFile elf;
  Image image;
  image.sections.push_back({".text", kProgBits, 0, std::string(16, '\0')});
  image.symbols = {{"alpha", 0, 4}, {"omega", 4, 4}};
  std::string bytes = image.Build();
  // The string table is "\0alpha\0omega\0": drop "ga\0" from its size.
  Put32(bytes, image.SectionHeader(3) + 20, 10);
  ASSERT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_STREQ(elf.GetFcnSymAtAddr(4)->name, "ome");
  EXPECT_STREQ(elf.GetFcnSymAtAddr(0)->name, "alpha");
  EXPECT_NE(elf.GetSymbolByName("ome"), nullptr);
  // The same for the section-name table, whose last name is .shstrtab.
  bytes = image.Build();
  Put32(bytes, image.SectionHeader(4) + 20, 26);  // "\0.text\0.symtab\0.strtab\0.sh"
  ASSERT_EQ(ReadAndUse(dir, bytes, elf), 1);
  EXPECT_STREQ(elf.Sections()[4].name, ".sh");
}

TEST(ElfMalformed, CraftedTablesStayLinear) {
  TempDir dir;
  ElfFile elf;
  // Thousands of names starting inside one long unterminated string: their
  // total length is quadratic in the file size, so the file is refused.
  Image names;
  names.sections.push_back({".text", kProgBits, 0, std::string(16, '\0')});
  names.symbols = {{std::string(200000, 'x'), 0, 4}};
  for (uint32_t i = 0; i < 4000; ++i) names.symbols.push_back({"", i, 4});
  std::string bytes = names.Build();
  for (uint32_t i = 0; i < 4000; ++i) {
    Put32(bytes, names.symtabOffset + (i + 2) * 16, 1 + i);
  }
  EXPECT_EQ(ReadAndUse(dir, bytes, elf), 0);
  EXPECT_NE(elf.LastError().find("Error: File corrupt"), std::string::npos);

  // Thousands of functions covering the same large section: packet counts
  // must not cost a scan of the section each.
  Image overlap;
  std::vector<uint32_t> words(65536, 0xc000);
  overlap.sections.push_back({".text", kProgBits, 0, Words(words)});
  for (uint32_t i = 0; i < 8000; ++i) {
    overlap.symbols.push_back({"f" + std::to_string(i), i * 4, 65536 * 4});
  }
  ASSERT_EQ(ReadAndUse(dir, overlap.Build(), elf), 1);
  ASSERT_EQ(elf.Functions().size(), 8000u);
  EXPECT_EQ(elf.Functions()[0].packetCount, 65536u);
  EXPECT_EQ(elf.Functions()[7999].packetCount, 65536u - 7999u);  // clipped at the section end
}

TEST(ElfMalformed, RandomCorruption) {
  TempDir dir;
  ElfFile elf;
  std::mt19937 random(20240611);
  const std::string bases[] = {SmallImage().Build(),
                               testutil::ReadFile(DataPath("toolchain/crt0.o"))};
  for (const std::string& base : bases) {
    for (int round = 0; round < 600; ++round) {
      std::string bytes = base;
      int flips = 1 + static_cast<int>(random() % 8);
      for (int i = 0; i < flips; ++i) {
        size_t at = 4 + random() % (bytes.size() - 4);  // keep the magic
        bytes[at] = static_cast<char>(random() % 4 == 0 ? 0xff : random());
      }
      ReadAndUse(dir, bytes, elf);
    }
  }
}

}  // namespace
