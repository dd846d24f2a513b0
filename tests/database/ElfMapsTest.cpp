// ELF symbol maps: reading an image into them, the records of image mode,
// the cross-check of source records, and a corrupt image end to end.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"
#include "elf/ElfTestImage.h"

namespace {

using testutil::TempDir;

const std::string kCtrlLoop = testutil::DataPath("samples/ctrl_loop/ctrl_loop.elf");

TEST(ElfMaps, ImageModeRecords) {
  AssemblyData db;
  testutil::Captured([&] { db.ReadElfIntoElfMaps(kCtrlLoop, 1); });
  // _SDA_BASE_ is an untyped symbol in this image and no map entry.
  EXPECT_TRUE(db.elfMapsInUse && db.sdaBaseFound && db.sdaBase == 0x23220u);
  EXPECT_EQ(db.FindElfNotypeItem("_SDA_BASE_"), nullptr);
  ASSERT_EQ(db.BuildMapsFromElfData(), 0);
  EXPECT_EQ(db.functionMap.size() + db.memoryMap.size(), 53u + 13u);
  // Locals are keyed by address, so the two log_line do not collide.
  const __func_attr* log = db.FindFuncItem("log_line-of-00020d20");
  const __mem_attr* setpoints = db.FindMemItem("setpoints-of-00023208");
  ASSERT_TRUE(log && setpoints);
  EXPECT_TRUE(log->Name == "log_line" && log->Path == "main.c" && log->CodeSize == 48 && log->Scope == Local);
  EXPECT_TRUE(setpoints->Size == 20 && setpoints->Scope == Local && setpoints->Path == "main.c" && setpoints->IsFound);
  db.CleanMaps();
  EXPECT_FALSE(db.elfMapsInUse || db.sdaBaseFound || db.elfReader || db.sdaBase);
  EXPECT_TRUE(db.elfFuncMap.empty() && db.elfMemMap.empty() && db.elfNotypeMap.empty());
  EXPECT_EQ(db.BuildMapsFromElfData(), -1);
}

TEST(ElfMaps, FolderModeAndCrossCheck) {
  AssemblyData db;
  db.guiMode = true;
  EXPECT_EQ(testutil::Captured([&] {
              db.CrossCheck();  // no image: nothing to check against
              db.ReadElfIntoElfMaps(kCtrlLoop, 0);
            }),
            "22: Processing ELF file " + kCtrlLoop + "\n11: Warning: Found duplicate function log_line in elf file.\n");
  EXPECT_STREQ(db.FindElfFuncItem("log_line")->file, "calc.c");  // the first by address
  EXPECT_EQ(db.InsertElfFuncItem("nameless", fcn_symbols{}), -1);

  // Only found functions and plain objects missing from the image are
  // reported; aid and library records, and compiler symbols, are not.
  for (const char* name : {"main", "ghost", "only_called", "aid_fn", "lib_fn"}) {
    db.CreateFuncAttr(name, name)->IsFound = std::string(name) != "only_called";
  }
  db.CreateFuncAttr("log_line-of-main.s", "log_line")->IsFound = true;
  db.FindFuncItem("aid_fn")->IsAidEntry = db.FindFuncItem("lib_fn")->IsReplaceable = true;
  __mem_attr* setpoints = db.CreateMemAttr("setpoints-of-main.s", "setpoints");
  EXPECT_EQ(setpoints->IsFound, 0);  // folder mode keys the map by plain name
  for (const char* name : {"__init_array_start", ".L.str.3", "TAB_CONST_1", "lost", "aid_obj"}) db.CreateMemAttr(name, name);
  db.FindMemItem("aid_obj")->IsAid = 1;
  EXPECT_EQ(testutil::Captured([&] { db.CrossCheck(); }),
            "13: Could not find function ghost\n\n13: Could not find memory lost\n\n");
  EXPECT_TRUE(setpoints->IsFound == 1 && db.FindMemItem("__init_array_start")->IsFound == 1);
  EXPECT_EQ(db.functionMap.size(), 6u);  // nothing removed
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
  bool inUse = true;
  EXPECT_EQ(testutil::Captured([&] {
              results = {db.ReadElfIntoElfMaps(dir / "missing.elf", 1), db.ReadElfIntoElfMaps(dir / "bare.elf", 1)};
              inUse = db.elfMapsInUse;
              results.push_back(db.ReadElfIntoElfMaps(kCtrlLoop, 1));
              results.push_back(db.ReadElfIntoElfMaps(dir / "small.elf", 1));
            }),
            "Error: Could not read ELF file: " + dir / "missing.elf" + "\n" +
                "Processing ELF file " + dir / "bare.elf" + "\n" +
                "Error: No symbol table in elf file: " + dir / "bare.elf" + "\n" +
                "Processing ELF file " + kCtrlLoop + "\n" +
                "Processing ELF file " + dir / "small.elf" + "\n" +
                "Warning: Could not find _SDA_BASE_ in elf file.\n");
  EXPECT_EQ(results, (std::vector<int>{-1, -1, 0, 0}));
  EXPECT_FALSE(inUse || db.sdaBaseFound);
  EXPECT_EQ(db.elfFuncMap.size(), 2u);  // the earlier image's symbols are gone
  ASSERT_EQ(db.BuildMapsFromElfData(), 0);
  EXPECT_EQ(std::vector<int>({db.FindFuncItem("weak_fn")->Scope, db.FindFuncItem("unique_fn")->Scope, db.FindMemItem("obj")->Scope}),
            std::vector<int>({Weak, Global, Weak}));
}

TEST(ElfMaps, CorruptImageStopsTheRun) {
  TempDir dir;
  const std::string corrupt = dir / "corrupt.elf";
  testutil::WriteFile(corrupt, testutil::ReadFile(kCtrlLoop).substr(0, 40));
  testutil::RunResult r = testutil::RunAnalyser({"--elffile", corrupt}, dir.path());
  EXPECT_EQ(r.out, "Error: Could not read ELF file: " + corrupt + "\nProgram aborted on error\n");
  EXPECT_EQ(r.status, 255);
}

}  // namespace
