// ELF symbol maps: reading an image into them, the records of image mode,
// the cross-check of source records, and a corrupt image end to end.
#include <gtest/gtest.h>

#include "TestUtil.h"
#include "database/AssemblyData.h"
#include "elf/ElfTestImage.h"

namespace {

using testutil::DataPath;
using testutil::TempDir;

const std::string kCtrlLoop = DataPath("samples/ctrl_loop/ctrl_loop.elf");

TEST(ElfMaps, ImageModeKeysLocalsByAddress) {
  AssemblyData db;
  testing::internal::CaptureStdout();
  EXPECT_EQ(db.ReadElfIntoElfMaps(kCtrlLoop, 1), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Processing ELF file " + kCtrlLoop + "\n");
  EXPECT_TRUE(db.elfMapsInUse);
  ASSERT_NE(db.elfReader, nullptr);
  // _SDA_BASE_ is an untyped symbol in this image; it is no map entry.
  EXPECT_TRUE(db.sdaBaseFound);
  EXPECT_EQ(db.sdaBase, 0x23220u);
  EXPECT_EQ(db.FindElfNotypeItem("_SDA_BASE_"), nullptr);
  EXPECT_EQ(db.elfFuncMap.size(), 53u);
  EXPECT_EQ(db.elfMemMap.size(), 13u);

  const fcn_symbols* calcLog = db.FindElfFuncItem("log_line-of-00020220");
  const fcn_symbols* mainLog = db.FindElfFuncItem("log_line-of-00020d20");
  ASSERT_NE(calcLog, nullptr);
  ASSERT_NE(mainLog, nullptr);
  EXPECT_STREQ(calcLog->file, "calc.c");
  EXPECT_STREQ(mainLog->file, "main.c");
  EXPECT_EQ(db.FindElfFuncItem("log_line"), nullptr);
  EXPECT_EQ(db.FindElfFuncItem("main")->startAddress, 0x20a40u);
  EXPECT_NE(db.FindElfMemItem("setpoints-of-00023208"), nullptr);
  EXPECT_NE(db.FindElfMemItem("errno"), nullptr);
  EXPECT_NE(db.FindElfNotypeItem("__init_array_start-of-000231f4"), nullptr);
  // The copied records still point into the live reader.
  EXPECT_EQ(db.elfReader->GetFcnSymAtAddr(0x20d20)->name, mainLog->name);

  ASSERT_EQ(db.BuildMapsFromElfData(), 0);
  EXPECT_EQ(db.functionMap.size(), 53u);
  EXPECT_EQ(db.memoryMap.size(), 13u);
  __func_attr* log = db.FindFuncItem("log_line-of-00020d20");
  ASSERT_NE(log, nullptr);
  EXPECT_EQ(log->Name, "log_line");
  EXPECT_EQ(log->Path, "main.c");
  EXPECT_EQ(log->Scope, Local);
  EXPECT_EQ(log->CodeSize, 48);
  EXPECT_TRUE(log->IsFound && log->IsUsed);
  EXPECT_EQ(db.FindFuncItem("log_line-of-00020220")->Path, "calc.c");
  __func_attr* main = db.FindFuncItem("main");
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(main->Scope, Global);
  EXPECT_EQ(main->CodeSize, 608);
  EXPECT_EQ(main->Path, "");
  __mem_attr* setpoints = db.FindMemItem("setpoints-of-00023208");
  ASSERT_NE(setpoints, nullptr);
  EXPECT_EQ(setpoints->Name, "setpoints");
  EXPECT_EQ(setpoints->Size, 20);
  EXPECT_EQ(setpoints->Scope, Local);
  EXPECT_EQ(setpoints->Path, "main.c");
  EXPECT_EQ(setpoints->IsFound, 1);
  EXPECT_EQ(db.FindMemItem("errno")->Scope, Global);
  EXPECT_EQ(db.FindMemItem("errno")->Size, 4);

  db.CleanMaps();
  EXPECT_FALSE(db.elfMapsInUse || db.sdaBaseFound);
  EXPECT_EQ(db.sdaBase, 0u);
  EXPECT_EQ(db.elfReader, nullptr);
  EXPECT_TRUE(db.elfFuncMap.empty() && db.elfMemMap.empty() && db.elfNotypeMap.empty());
  EXPECT_EQ(db.BuildMapsFromElfData(), -1);
  EXPECT_EQ(db.functionMap.size(), 53u);  // the records stay
}

TEST(ElfMaps, FolderModeKeysByNameAndWarnsOnDuplicates) {
  AssemblyData db;
  db.guiMode = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(db.ReadElfIntoElfMaps(kCtrlLoop, 0), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "22: Processing ELF file " + kCtrlLoop +
                "\n11: Warning: Found duplicate function log_line in elf file.\n");
  const fcn_symbols* log = db.FindElfFuncItem("log_line");
  ASSERT_NE(log, nullptr);
  EXPECT_STREQ(log->file, "calc.c");  // the first in address order
  EXPECT_NE(db.FindElfMemItem("setpoints"), nullptr);
  EXPECT_EQ(db.elfFuncMap.size(), 52u);

  EXPECT_EQ(db.InsertElfFuncItem("main", fcn_symbols{}), -1);  // no name
  fcn_symbols named;
  named.name = "extra";
  EXPECT_EQ(db.InsertElfFuncItem("extra", named), 1);
  EXPECT_EQ(db.InsertElfFuncItem("extra", named), 0);
  obj_symbols object;
  object.name = "x";
  EXPECT_EQ(db.InsertElfMemItem("x", object), 1);
  EXPECT_EQ(db.InsertElfMemItem("x", object), 0);
  EXPECT_EQ(db.InsertElfNotypeItem("x", object), 1);
  EXPECT_EQ(db.FindElfNotypeItem("y"), nullptr);
}

TEST(ElfMaps, CrossCheckReportsWhatTheImageLacks) {
  AssemblyData db;
  testing::internal::CaptureStdout();
  db.CrossCheck();  // no image: nothing to check against
  ASSERT_EQ(db.ReadElfIntoElfMaps(kCtrlLoop, 0), 0);
  testing::internal::GetCapturedStdout();

  auto addFunction = [&](const std::string& key, const std::string& name, bool found) {
    __func_attr* rec = db.CreateFuncAttr(key, name);
    rec->IsFound = found;
    return rec;
  };
  addFunction("main", "main", true);
  addFunction("log_line-of-main.s", "log_line", true);
  addFunction("ghost", "ghost", true);
  addFunction("only_called", "only_called", false);
  addFunction("aid_function", "aid_function", true)->IsAidEntry = true;
  addFunction("lib_function", "lib_function", true)->IsReplaceable = true;
  __mem_attr* setpoints = db.CreateMemAttr("setpoints-of-main.s", "setpoints");
  EXPECT_EQ(setpoints->IsFound, 0);  // the local key is not a key of the folder-mode map
  __mem_attr* initArray = db.CreateMemAttr("__init_array_start", "__init_array_start");
  db.CreateMemAttr(".L.str.3", ".L.str.3");
  db.CreateMemAttr("TABLE_CONST_1", "TABLE_CONST_1");
  db.CreateMemAttr("lost", "lost");
  db.CreateMemAttr("aid_object", "aid_object")->IsAid = 1;

  testing::internal::CaptureStdout();
  db.CrossCheck();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Could not find function ghost\n\nCould not find memory lost\n\n");
  EXPECT_EQ(setpoints->IsFound, 1);
  EXPECT_EQ(initArray->IsFound, 1);
  EXPECT_EQ(db.FindMemItem("lost")->IsFound, 0);
  EXPECT_EQ(db.FindMemItem("aid_object")->IsFound, 0);
  EXPECT_EQ(db.functionMap.size(), 6u);  // nothing removed
  EXPECT_EQ(db.memoryMap.size(), 6u);

  db.guiMode = true;
  db.RemoveMemItem("lost");
  testing::internal::CaptureStdout();
  db.CrossCheck();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "13: Could not find function ghost\n\n");
  db.CleanMaps();
  testing::internal::CaptureStdout();
  db.CrossCheck();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ElfMaps, FailuresAndImagesWithoutSmallDataBase) {
  using namespace elftest;
  TempDir dir;
  AssemblyData db;
  const std::string missing = dir / "missing.elf";
  testing::internal::CaptureStdout();
  EXPECT_EQ(db.ReadElfIntoElfMaps(missing, 1), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Error: Could not read ELF file: " + missing + "\n");
  EXPECT_FALSE(db.elfMapsInUse);

  Image bare;
  bare.sections.push_back({".text", kProgBits, 0, Words({0xc000})});
  bare.withSymtab = false;
  testutil::WriteFile(dir / "bare.elf", bare.Build());
  testing::internal::CaptureStdout();
  EXPECT_EQ(db.ReadElfIntoElfMaps(dir / "bare.elf", 1), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Processing ELF file " + dir / "bare.elf" +
                "\nError: No symbol table in elf file: " + dir / "bare.elf" + "\n");
  EXPECT_FALSE(db.elfMapsInUse);

  // A weak function, an OS-specific binding, and no _SDA_BASE_.
  Image image;
  image.sections.push_back({".text", kProgBits, 0x100, std::string(64, '\0')});
  image.symbols = {{"weak_fn", 0x100, 8, kFunc, kWeak},
                   {"unique_fn", 0x110, 8, kFunc, 10},
                   {"obj", 0x120, 4, kObject, kWeak}};
  testutil::WriteFile(dir / "small.elf", image.Build());
  testing::internal::CaptureStdout();
  ASSERT_EQ(db.ReadElfIntoElfMaps(kCtrlLoop, 1), 0);
  testing::internal::GetCapturedStdout();
  testing::internal::CaptureStdout();
  EXPECT_EQ(db.ReadElfIntoElfMaps(dir / "small.elf", 1), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Processing ELF file " + dir / "small.elf" +
                "\nWarning: Could not find _SDA_BASE_ in elf file.\n");
  EXPECT_FALSE(db.sdaBaseFound);
  EXPECT_EQ(db.elfFuncMap.size(), 2u);  // the earlier image's symbols are gone
  ASSERT_EQ(db.BuildMapsFromElfData(), 0);
  EXPECT_EQ(db.FindFuncItem("weak_fn")->Scope, Weak);
  EXPECT_EQ(db.FindFuncItem("unique_fn")->Scope, Global);
  EXPECT_EQ(db.FindMemItem("obj")->Scope, Weak);
}

TEST(ElfMaps, CorruptImageStopsTheRun) {
  TempDir dir;
  const std::string corrupt = dir / "corrupt.elf";
  std::string bytes = testutil::ReadFile(kCtrlLoop);
  testutil::WriteFile(corrupt, bytes.substr(0, 40));
  testutil::RunResult r = testutil::RunAnalyser({"--elffile", corrupt}, dir.path());
  EXPECT_EQ(r.out, "Error: Could not read ELF file: " + corrupt + "\nProgram aborted on error\n");
  EXPECT_EQ(r.status, 255);
}

}  // namespace
