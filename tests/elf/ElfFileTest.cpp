// The ELF32 reader on real images and objects of the toolchain and on small
// files written by the tests.
#include <gtest/gtest.h>

#include <cstring>

#include "TestUtil.h"
#include "elf/ElfFile.h"
#include "elf/ElfTestImage.h"

namespace {

using namespace elftest;
using testutil::DataPath;
using testutil::TempDir;
using testutil::WriteFile;

std::string Name(const fcn_symbols* rec) { return rec == nullptr ? "(null)" : rec->name; }
std::string Name(const obj_symbols* rec) { return rec == nullptr ? "(null)" : rec->name; }

struct Loaded {
  TempDir dir;
  ElfFile elf;
  int result = 0;
  explicit Loaded(const std::string& bytes) {
    WriteFile(dir / "t.elf", bytes);
    result = elf.ReadFile(dir / "t.elf");
  }
};

TEST(ElfFile, LinkedImageSymbolsAndLookups) {
  ElfFile elf;
  ASSERT_EQ(elf.ReadFile(DataPath("samples/ctrl_loop/ctrl_loop.elf")), 1);
  EXPECT_TRUE(elf.HasSymbolTable());
  // Addresses as the listing heads the functions.
  fcn_symbols* main = elf.GetFcnSymAtAddr(0x20a40);
  ASSERT_NE(main, nullptr);
  EXPECT_STREQ(main->name, "main");
  EXPECT_EQ(main->endAddress, 0x20ca0u);
  EXPECT_EQ(main->file, nullptr);  // global
  EXPECT_EQ(main->binding, 1);
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x20c9c)), "main");
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x20ca0)), "sum_abs");  // the end is not inside
  EXPECT_STREQ(elf.GetFcnNameForAddr(0x20a44), "main");
  EXPECT_TRUE(elf.IsStartOfFcnAddr(0x20a40));
  EXPECT_FALSE(elf.IsStartOfFcnAddr(0x20a44));
  EXPECT_EQ(elf.GetFcnSymForAddr(0x20ddc), nullptr);  // padding after abort
  EXPECT_EQ(elf.GetFcnNameForAddr(0x10), nullptr);
  EXPECT_EQ(Name(elf.GetFcnSymByName("printf")), "printf");
  EXPECT_EQ(elf.GetFcnSymByName("printf")->startAddress, 0x21c10u);
  EXPECT_EQ(elf.GetFcnSymByName("no_such_function"), nullptr);
  // abort is one packet of three words: call, r0 = #134, allocframe.
  EXPECT_EQ(elf.GetFcnSymAtAddr(0x20dd0)->packetCount, 1u);

  // The two static log_line functions carry their source files.
  fcn_symbols* calcLog = elf.GetFcnSymAtAddr(0x20220);
  fcn_symbols* mainLog = elf.GetFcnSymAtAddr(0x20d20);
  ASSERT_NE(calcLog, nullptr);
  ASSERT_NE(mainLog, nullptr);
  EXPECT_STREQ(calcLog->name, "log_line");
  EXPECT_STREQ(calcLog->file, "calc.c");
  EXPECT_STREQ(mainLog->name, "log_line");
  EXPECT_STREQ(mainLog->file, "main.c");
  EXPECT_EQ(mainLog->binding, 0);

  const ElfSymbol* sda = elf.GetSymbolByName("_SDA_BASE_");
  ASSERT_NE(sda, nullptr);
  EXPECT_EQ(sda->value, 0x23220u);
  EXPECT_EQ(elf.GetSymMap().count("log_line"), 1u);

  // Data objects: start_argv holds the address of prog_name.
  obj_symbols* argv = elf.GetObjSymAtAddr(0x231f8);
  ASSERT_NE(argv, nullptr);
  EXPECT_STREQ(argv->name, "start_argv");
  EXPECT_EQ(argv->initialWord, 0x23200u);
  EXPECT_STREQ(argv->file, "crt0.c");
  EXPECT_EQ(Name(elf.GetObjSymForAddr(0x2320c)), "setpoints");
  EXPECT_STREQ(elf.GetObjNameForAddr(0x23268 + 100), "arena");
  EXPECT_EQ(elf.GetObjSymForAddr(0x20000), nullptr);

  // Every function of the image is sorted by address.
  const auto& functions = elf.Functions();
  EXPECT_EQ(functions.size(), 53u);
  for (size_t i = 1; i < functions.size(); ++i) {
    EXPECT_LE(functions[i - 1].startAddress, functions[i].startAddress);
  }
}

TEST(ElfFile, RelocatableObjectRelocationMaps) {
  ElfFile elf(DataPath("toolchain/WholeArchive.o"));
  ASSERT_TRUE(elf.HasSymbolTable());
  // Per-function sections start at 0: the call in printf names vsnprintf,
  // which is itself at 0 in its own section.
  EXPECT_TRUE(elf.CreateFuncReloMap("printf"));
  EXPECT_EQ(Name(elf.FindReloItem(0x20, ElfFile::kReloFunction)), "vsnprintf");
  EXPECT_EQ(Name(elf.FindReloItem(0x30, ElfFile::kReloFunction)), "__sys_write");
  EXPECT_EQ(elf.FindReloItem(0x38, ElfFile::kReloFunction), nullptr);  // a data object
  EXPECT_EQ(elf.FindReloItem(0x20, 3), nullptr);
  EXPECT_EQ(elf.FindReloItem(0x20, -1), nullptr);
  // out_num calls a function of the joined .text (non-zero value).
  EXPECT_TRUE(elf.CreateFuncReloMap("out_num"));
  EXPECT_EQ(Name(elf.FindReloItem(0x40, ElfFile::kReloFunction)), "__valdrin_udivsi3");
  EXPECT_EQ(elf.FindReloItem(0x20, ElfFile::kReloFunction), nullptr);  // map replaced
  EXPECT_FALSE(elf.CreateFuncReloMap("no_such_function"));
  EXPECT_EQ(elf.FindReloItem(0x40, ElfFile::kReloFunction), nullptr);
  // .rela.text of the joined libm/libgcc code.
  EXPECT_EQ(Name(elf.FindReloItem(0xd8, ElfFile::kReloText)), "__valdrin_divsf3");
  EXPECT_EQ(Name(elf.FindReloItem(0x308, ElfFile::kReloText)), "expf");
  EXPECT_EQ(elf.FindReloItem(0x14c, ElfFile::kReloText), nullptr);  // section symbol
}

TEST(ElfFile, AliasesNestingAndEnds) {
  Image image;
  image.sections.push_back({".text", kProgBits, 0x100, std::string(0x200, '\0')});
  image.symbols = {
      {"a_main", 0x100, 0x20}, {"c_alias", 0x100, 0x10}, {"b_alias", 0x100, 0x10},
      {"outer", 0x200, 0x100}, {"inner", 0x240, 0x20},   {"empty", 0x2f0, 0},
  };
  Loaded t(image.Build());
  ASSERT_EQ(t.result, 1);
  ElfFile& elf = t.elf;
  // Same start: shorter end first, then by name.
  fcn_symbols* first = elf.GetFirstFncAtAddr(0x100);
  EXPECT_EQ(Name(first), "b_alias");
  fcn_symbols* second = elf.GetNextFcnAtAddr(0x100, first);
  EXPECT_EQ(Name(second), "c_alias");
  fcn_symbols* third = elf.GetNextFcnAtAddr(0x100, second);
  EXPECT_EQ(Name(third), "a_main");
  EXPECT_EQ(elf.GetNextFcnAtAddr(0x100, third), nullptr);  // next starts elsewhere
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x118)), "a_main");  // past the aliases' end
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x104)), "b_alias");
  fcn_symbols outside;
  EXPECT_EQ(elf.GetNextFcnAtAddr(0x100, &outside), nullptr);
  EXPECT_EQ(elf.GetNextFcnAtAddr(0x100, nullptr), nullptr);
  EXPECT_EQ(elf.GetNextFcnAtAddr(0x240, &elf.Functions().back()), nullptr);  // last record

  // Nested: the enclosing function comes first in sorted order.
  EXPECT_EQ(Name(elf.GetFcnSymForAddr(0x250)), "outer");
  EXPECT_EQ(Name(elf.GetFcnSymAtAddr(0x240)), "inner");
  EXPECT_FALSE(elf.IsStartOfFcnAddr(0x240));  // contained first by outer
  EXPECT_EQ(elf.GetFcnSymForAddr(0x300), nullptr);  // end of outer
  EXPECT_EQ(Name(elf.GetFcnSymAtAddr(0x2f0)), "empty");
  EXPECT_EQ(elf.GetFirstFncAtAddr(0x100, nullptr, 5), nullptr);
}

TEST(ElfFile, FileNamesPacketsAndInitialWords) {
  Image image;
  // Parse bits 11, 01, 11, then a word past the function.
  image.sections.push_back(
      {".text", kProgBits, 0x1000, Words({0x0000c000, 0x00004000, 0xffffc0ff, 0x0000c000})});
  image.sections.push_back({".data", kProgBits, 0x2000, Words({0x12345678, 0x1000})});
  image.sections.push_back({".bss", kNoBits, 0x3000, std::string(16, '\0')});
  image.symbols = {
      {"early", 0x100c, 4, kFunc, kLocal},  // local before any file symbol
      {"a.c", 0, 0, kFile, kLocal, 0xfff1},
      {"la", 0x1000, 12, kFunc, kLocal},
      {"g", 0x1004, 4, kFunc, kGlobal},
      {"table", 0x2000, 8, kObject, kLocal, 2},
      {"b.c", 0, 0, kFile, kLocal, 0xfff1},
      {"lo", 0x2004, 4, kObject, kLocal, 2},
      {"zeroed", 0x3000, 4, kObject, kGlobal, 3},
      {"tail", 0x2006, 4, kObject, kGlobal, 2},  // runs past .data
      {"label", 0x1008, 0, kNoType, kLocal},
      {"runs_over", 0x100c, 64, kFunc, kGlobal},
      {"outside", 0x0800, 8, kFunc, kGlobal},
      {"in_bss", 0x3000, 8, kFunc, kGlobal, 3},
      {"bad_index", 0x1000, 8, kFunc, kGlobal, 99},
      {"no_size", 0x1000, 0, kFunc, kGlobal},
  };
  Loaded t(image.Build());
  ASSERT_EQ(t.result, 1);
  ElfFile& elf = t.elf;
  auto fn = [&](const char* name) -> const fcn_symbols* {
    for (const fcn_symbols& rec : elf.Functions()) {
      if (std::strcmp(rec.name, name) == 0) return &rec;
    }
    return nullptr;
  };
  ASSERT_NE(fn("la"), nullptr);
  EXPECT_EQ(fn("la")->packetCount, 2u);
  EXPECT_STREQ(fn("la")->file, "a.c");
  EXPECT_EQ(fn("g")->file, nullptr);
  EXPECT_EQ(fn("early")->file, nullptr);
  EXPECT_EQ(fn("runs_over")->packetCount, 1u);  // only the last word of .text is read
  EXPECT_EQ(fn("outside")->packetCount, 0u);
  EXPECT_EQ(fn("in_bss")->packetCount, 0u);
  EXPECT_EQ(fn("bad_index")->packetCount, 0u);
  EXPECT_EQ(fn("no_size")->packetCount, 0u);

  obj_symbols* table = elf.GetObjSymAtAddr(0x2000);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->initialWord, 0x12345678u);
  EXPECT_STREQ(table->file, "a.c");
  // lo lies inside table: the exact-start search steps back to the container.
  EXPECT_EQ(Name(elf.GetObjSymAtAddr(0x2004)), "table");
  obj_symbols* lo = nullptr;
  for (obj_symbols& rec : elf.Objects()) {
    if (std::strcmp(rec.name, "lo") == 0) lo = &rec;
  }
  ASSERT_NE(lo, nullptr);
  EXPECT_EQ(lo->initialWord, 0x1000u);
  EXPECT_STREQ(lo->file, "b.c");
  EXPECT_EQ(elf.GetObjSymAtAddr(0x3000)->initialWord, 0u);  // NOBITS
  EXPECT_EQ(Name(elf.GetObjSymAtAddr(0x2006)), "table");

  obj_symbols* label = elf.GetNotypeSymByName("label");
  ASSERT_NE(label, nullptr);
  EXPECT_EQ(label->sectionIndex, 1);
  EXPECT_STREQ(label->file, "b.c");
  EXPECT_EQ(elf.GetNotypeSymByName("la"), nullptr);
}

TEST(ElfFile, NoSymbolTableAndDuplicateNames) {
  Image bare;
  bare.sections.push_back({".text", kProgBits, 0, Words({0xc000})});
  bare.symbols = {{"f", 0, 4}};
  bare.withSymtab = false;
  Loaded t(bare.Build());
  EXPECT_EQ(t.result, 1);
  EXPECT_FALSE(t.elf.HasSymbolTable());
  EXPECT_TRUE(t.elf.Functions().empty());
  EXPECT_TRUE(t.elf.Objects().empty());
  EXPECT_EQ(t.elf.GetFcnSymForAddr(0), nullptr);
  EXPECT_EQ(t.elf.GetFcnSymAtAddr(0), nullptr);
  EXPECT_EQ(t.elf.GetObjSymAtAddr(0), nullptr);
  EXPECT_EQ(t.elf.GetSymbolByName("f"), nullptr);
  EXPECT_TRUE(t.elf.GetSymMap().empty());

  Image dup;
  dup.sections.push_back({".text", kProgBits, 0, std::string(64, '\0')});
  dup.symbols = {{"twice", 0x10, 4, kFunc, kLocal}, {"twice", 0x20, 4, kFunc, kLocal}};
  Loaded d(dup.Build());
  ASSERT_EQ(d.result, 1);
  EXPECT_EQ(d.elf.GetSymbolByName("twice")->value, 0x10u);  // the first entry is kept
  EXPECT_EQ(d.elf.GetFcnSymByName("twice")->startAddress, 0x10u);
}

TEST(ElfFile, SyntheticRelocations) {
  Image image;
  image.sections.push_back({".text", kProgBits, 0x100, std::string(0x100, '\0')});  // 1
  image.sections.push_back({".other", kProgBits, 0x400, std::string(16, '\0')});    // 2
  image.symbols = {
      {"f", 0x100, 0x20},                                // 1
      {"g", 0x120, 0x20},                                // 2
      {"h", 0x400, 8, kFunc, kGlobal, 2},                // 3
      {".LTHUNK0", 0x140, 0x10, kFunc, kLocal},          // 4
      {"data_sym", 0x100, 4, kObject, kGlobal},          // 5
      {"zero", 0, 0, kFunc, kGlobal, 0},                 // 6 undefined, value 0
  };
  image.sections.push_back({".rela.sdata", kRela, 0,
                            Rela(0x10, 1, 0) + Rela(0x14, 1, 0x120) + Rela(0x10, 2, 0) +
                                Rela(0x18, 3, 0) + Rela(0x1c, 77, 0),
                            12});
  image.sections.push_back({".rela.text", kRela, 0,
                            Rela(0x30, 4, 0) + Rela(0x34, 2, 0) + Rela(0x38, 5, 0) +
                                Rela(0x3c, 6, 0),
                            12});
  image.sections.push_back({".rela.text.f", kRela, 0, Rela(0x8, 2, 0) + Rela(0xc, 5, 0), 12});
  image.sections.push_back({".rela.text.zero_size", kRela, 0, Rela(0x8, 2, 0), 0});
  image.sections.push_back({".rela.text.short", kRela, 0, Rela(0x8, 2, 0), 8});
  image.sections.push_back({".rela.text.clipped", kRela, 0, Rela(0x8, 2, 0) + "\1\2\3", 12});
  Loaded t(image.Build());
  ASSERT_EQ(t.result, 1);
  ElfFile& elf = t.elf;
  EXPECT_EQ(Name(elf.FindReloItem(0x10, ElfFile::kReloSData)), "f");  // first target kept
  EXPECT_EQ(Name(elf.FindReloItem(0x14, ElfFile::kReloSData)), "g");  // by addend
  EXPECT_EQ(elf.FindReloItem(0x18, ElfFile::kReloSData), nullptr);    // not in .text
  EXPECT_EQ(elf.FindReloItem(0x1c, ElfFile::kReloSData), nullptr);    // bad symbol index
  EXPECT_EQ(Name(elf.FindReloItem(0x30, ElfFile::kReloText)), ".LTHUNK0");
  EXPECT_EQ(Name(elf.FindReloItem(0x34, ElfFile::kReloText)), "g");
  EXPECT_EQ(elf.FindReloItem(0x38, ElfFile::kReloText), nullptr);
  EXPECT_EQ(Name(elf.FindReloItem(0x3c, ElfFile::kReloText)), "zero");

  EXPECT_TRUE(elf.CreateFuncReloMap("f"));
  EXPECT_EQ(Name(elf.FindReloItem(0x8, ElfFile::kReloFunction)), "g");
  EXPECT_EQ(elf.FindReloItem(0xc, ElfFile::kReloFunction), nullptr);
  EXPECT_FALSE(elf.CreateFuncReloMap("zero_size"));
  EXPECT_FALSE(elf.CreateFuncReloMap("short"));
  EXPECT_TRUE(elf.CreateFuncReloMap("clipped"));
  EXPECT_FALSE(elf.CreateFuncReloMap(""));

  elf.InsertReloItem(0x99, &elf.Functions()[0], ElfFile::kReloText);
  elf.InsertReloItem(0x99, &elf.Functions()[1], ElfFile::kReloText);
  elf.InsertReloItem(0x99, &elf.Functions()[1], 7);  // no such map: ignored
  EXPECT_EQ(elf.FindReloItem(0x99, ElfFile::kReloText), &elf.Functions()[0]);
}

TEST(ElfFile, ByteOrderHelpers) {
  ElfFile elf;
  ASSERT_EQ(elf.ReadFile(DataPath("toolchain/crt0.o")), 1);
  EXPECT_EQ(elf.Elf16Value(0x1234), 0x1234);  // little-endian file on a little-endian host
  EXPECT_EQ(elf.Elf32Value(0x12345678u), 0x12345678u);
  Image image;
  std::string bytes = image.Build();
  bytes[5] = 2;  // claims big-endian: the header fields are swapped and no longer fit
  Loaded big(bytes);
  EXPECT_EQ(big.result, 0);
  EXPECT_EQ(big.elf.Elf32Value(0x12345678u), 0x78563412u);
  EXPECT_EQ(big.elf.Elf16Value(0x1234), 0x3412);
}

}  // namespace
