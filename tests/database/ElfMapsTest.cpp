// ELF symbol maps: the cross-check of source records against an image, and
// images without symbols, without a small-data base, or corrupt.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"
#include "elf/ElfTestImage.h"

namespace {

using testutil::TempDir;

const std::string kCtrlLoop = testutil::DataPath("samples/ctrl_loop/ctrl_loop.elf");

TEST(ElfMaps, FolderModeCrossCheck) {
  AssemblyData db;
  db.guiMode = true;
  EXPECT_EQ(testutil::Captured([&] {
              db.CrossCheck();  // no image: nothing to check against
              db.ReadElfIntoElfMaps(kCtrlLoop, 0);
            }),
            "22: Processing ELF file " + kCtrlLoop + "\n11: Warning: Found duplicate function log_line in elf file.\n");
  EXPECT_STREQ(db.FindElfFuncItem("log_line")->file, "calc.c");  // the first by address
  // Only found functions and plain objects missing from the image are
  // reported; aid and library records, and compiler symbols, are not.
  for (const char* name : {"main", "ghost", "only_called", "aid_fn", "lib_fn"}) db.CreateFuncAttr(name, name)->IsFound = true;
  db.FindFuncItem("only_called")->IsFound = false;
  db.CreateFuncAttr("log_line-of-main.s", "log_line")->IsFound = true;
  db.FindFuncItem("aid_fn")->IsAidEntry = db.FindFuncItem("lib_fn")->IsReplaceable = true;
  __mem_attr* setpoints = db.CreateMemAttr("setpoints-of-main.s", "setpoints");
  for (const char* name : {"__init_array_start", ".L.str.3", "TAB_CONST_1", "lost", "aid_obj"}) db.CreateMemAttr(name, name);
  db.FindMemItem("aid_obj")->IsAid = 1;
  EXPECT_EQ(testutil::Captured([&] { db.CrossCheck(); }),
            "13: Could not find function ghost\n\n13: Could not find memory lost\n\n");
  EXPECT_TRUE(setpoints->IsFound == 1 && db.FindMemItem("__init_array_start")->IsFound == 1);
}

TEST(ElfMaps, FailuresAndImagesWithoutSmallDataBase) {
  using namespace elftest;
  TempDir dir;
  AssemblyData db;
  Image image;
  image.sections = {{".text", kProgBits, 0x100, std::string(64, '\0')}};
  image.symbols = {{"weak_fn", 0x100, 8, kFunc, kWeak}, {"unique_fn", 0x110, 8, kFunc, 10},  // an OS-specific binding
                   {"obj", 0x120, 4, kObject, kWeak}};
  testutil::WriteFile(dir / "small.elf", image.Build());
  image.withSymtab = false;
  testutil::WriteFile(dir / "bare.elf", image.Build());
  std::vector<int> results;
  const std::string out = testutil::Captured([&] {
    for (const std::string& path : {dir / "bare.elf", kCtrlLoop, dir / "small.elf"}) results.push_back(db.ReadElfIntoElfMaps(path, 1));
  });
  EXPECT_EQ(out, "Processing ELF file " + dir / "bare.elf" + "\nError: No symbol table in elf file: " + dir / "bare.elf" +
                     "\nProcessing ELF file " + kCtrlLoop + "\nProcessing ELF file " + dir / "small.elf" +
                     "\nWarning: Could not find _SDA_BASE_ in elf file.\n");
  EXPECT_EQ(results, (std::vector<int>{-1, 0, 0}));
  EXPECT_FALSE(db.sdaBaseFound);
  EXPECT_EQ(db.elfFuncMap.size(), 2u);  // the earlier image's symbols are gone
  ASSERT_EQ(db.BuildMapsFromElfData(), 0);
  EXPECT_EQ(std::vector<int>({db.FindFuncItem("weak_fn")->Scope, db.FindFuncItem("unique_fn")->Scope, db.FindMemItem("obj")->Scope}),
            std::vector<int>({Weak, Global, Weak}));
  // A corrupt image stops the whole run.
  const std::string corrupt = dir / "corrupt.elf";
  testutil::WriteFile(corrupt, testutil::ReadFile(kCtrlLoop).substr(0, 40));
  testutil::RunResult r = testutil::RunAnalyser({"--elffile", corrupt}, dir.path());
  EXPECT_EQ(r.out, "Error: Could not read ELF file: " + corrupt + "\nProgram aborted on error\n");
  EXPECT_EQ(r.status, 255);
}

}  // namespace
