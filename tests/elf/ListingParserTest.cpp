// The listing parser on hand-written listings against the sample images:
// headers, direct and computed calls, relocations, aliases.
#include "elf/ElfTestImage.h"
#include "source/PassTestUtil.h"

using namespace testutil;
using Strings = std::vector<std::string>;

namespace {

// A program object in image mode over a sample image.
struct Image {
  FileParser p;
  TempDir tmp;
  explicit Image(const std::string& elf, int kind = 2) { passtest::LoadImage(p, DataPath(elf), kind); }
  std::string Parse(const std::string& listing) {
    WriteFile(tmp / "x.dis", listing);
    int rc = -1;
    const std::string out = Captured([&] { rc = p.ParseDisassembledElfFile(tmp / "x.dis"); });
    EXPECT_EQ(rc, 0);
    return out;
  }
};

const std::string kPreamble = "\nctrl_loop.elf:\tfile format elf32-valdrin\n\nDisassembly of section .text:\n\n";

TEST(ListingParser, HeadersDirectCallsAndJumps) {
  Image img("samples/ctrl_loop/ctrl_loop.elf");
  std::string out = img.Parse(kPreamble +
                              "020080 <factorial>:\n"  // six digits: padded to 00020080
                              "   20080:\t02 c0 9d a0\ta09dc002 { \tallocframe(#16) } \n"
                              "   200b0:\te8 ff ff 5b\t5bffffe8 { \tcall 0x20080 } \n"
                              "   200b4:\t00 c0 00 58\t5800c000 { \tjump 0x200b4 } \n"
                              "\t\t...\n"
                              "\n"
                              "<calc_eval>:\n"  // no address: the next line gives it
                              "   200d0:\t00 c0 00 5a\t5a00c000 { \tcall 0x20d20 } \n"
                              "   200d4:\t00 c0 00 58\t5800c000 { \tjump 0x200e0 } \n"
                              "   200d8:\t00 c0 00 58\t5800c000 { \tjump 0x20080 } \n"
                              "   200dc:\t00 00 00 00\t00000000 <unknown>\n"
                              "\n"
                              "00099990 <no_such_function>:\n"
                              "   99990:\t00 c0 00 5a\t5a00c000 { \tcall 0x20080 } \n");
  // A call to its own start is recursion; a jump to its own line is not.
  EXPECT_EQ(Calls(img.p.FindFuncItem("factorial")), Strings{"factorial"});
  // The static log_line of main.c is keyed by its address; the jump inside
  // the function is no call, the jump to factorial is a tail call.
  EXPECT_EQ(Calls(img.p.FindFuncItem("calc_eval")), (Strings{"log_line-of-00020d20", "factorial"}));
  EXPECT_TRUE(img.p.FindFuncItem("log_line-of-00020d20")->HasParent);
  EXPECT_EQ(out,
            "Processing Disassembly file " + img.tmp / "x.dis" + "\n"
            "Error: Function <no_such_function>: does not exist in elf file.\n"
            "Warning: Call failed for no current function.\n"
            "Warning: HandleDisAsmCall failed.\n");
}

TEST(ListingParser, ComputedCallsThroughConstantsAndHalves) {
  Image img("samples/ctrl_loop/ctrl_loop.elf");
  img.Parse(kPreamble +
            "00020080 <factorial>:\n"
            "   20080:\t00 c0 00 78\t7800c000 { \tr0 = ##131280 } \n"    // calc_eval's address
            "   20084:\t00 c0 00 78\t7800c000 { \tr1 = ##0x200d0 } \n"   // read as decimal 200
            "\n"
            "000205c0 <pid_init>:\n"
            "   205c0:\t00 c0 00 78\t7800c000 { \tr3.l = #208 } \n"
            "   205c4:\t00 c0 00 78\t7800c000 { \tr3.h = #2 } \n");
  for (const char* name : {"factorial", "pid_init"}) {
    EXPECT_EQ(Calls(img.p.FindFuncItem(name)), Strings{"calc_eval"}) << name;
    EXPECT_TRUE(img.p.FindFuncItem(name)->HasPtrToFunc) << name;
  }
}

TEST(ListingParser, DataWordsRelativeToTheSmallDataBase) {
  Image img("samples/sensor_node/sensor_node.elf", 1);
  ASSERT_TRUE(img.p.sdaBaseFound);
  const obj_symbols* handlers = img.p.FindElfMemItem("handlers");
  const fcn_symbols* first = handlers ? img.p.elfReader->GetFcnSymAtAddr(handlers->initialWord) : nullptr;
  ASSERT_NE(first, nullptr);
  const std::string offset = std::to_string(handlers->startAddress - img.p.sdaBase);
  img.Parse("\nsensor_node.elf:\tfile format elf32-valdrin\n\n"
            "00020200 <dispatch>:\n"
            "   20210:\t00 c0 a1 50\t50a1c000 { \tr1 = memw(#" + offset + ") } \n"
            "   20214:\t00 c0 a1 50\t50a1c000 { \tr1 = memw(#0) } \n");
  EXPECT_EQ(Calls(img.p.FindFuncItem("dispatch")), Strings{first->name});
  EXPECT_TRUE(img.p.FindFuncItem("dispatch")->HasPtrToFunc);
}

TEST(ListingParser, LibraryCallsThroughPerFunctionRelocations) {
  FileParser p;
  p.objdumpKind = 2;
  p.warnR29 = false;  // as in the library stage
  ElfFile library(DataPath("toolchain/WholeArchive.o"));
  p.listingElf = &library;
  std::vector<int> results;
  EXPECT_EQ(Captured([&] {
              results = {p.AddLibObjectToMaps(DataPath("toolchain/WholeArchive.o")),
                         p.ParseDisassembledElfFile(DataPath("toolchain/WholeArchive.o.dis"))};
            }),
            "Number of library functions: 67\nProcessing Disassembly file " + DataPath("toolchain/WholeArchive.o.dis") +
                "\n");
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
  // The records: statics under the key formed from their address; a global
  // of the .text that libm and libgcc share names no member.
  const __func_attr* printf = p.FindFuncItem("printf");
  EXPECT_TRUE(printf->Path == "stdio.c" && printf->CodeSize == 76 && printf->IsReplaceable);
  EXPECT_EQ(p.FindFuncItem("sort_range-of-00000000")->Path, "qsort.c");
  EXPECT_EQ(p.FindFuncItem("fabsf")->Path, "From toolchain libraries");
  EXPECT_EQ(p.FindMemItem("arena-of-00000030")->Size, 32768);
  EXPECT_TRUE(p.FindMemItem("errno")->IsReplaceable && !p.FindMemItem("errno")->IsAid);
  EXPECT_EQ(p.libraryFunctionKeys.size(), 61u);  // the globals
  // printf at 0x20 calls vsnprintf and at 0x30 __sys_write; the displayed
  // targets are placeholders and never make printf recursive.
  EXPECT_TRUE(printf->callList.Contains("vsnprintf") && printf->callList.Contains("__sys_write"));
  EXPECT_FALSE(printf->callList.Contains("printf"));
  // Calls to static functions are relocated against their sections
  // (.text.sort_range, .text.swap_elems+0x4); jumps inside out_num reach
  // past the start of libm's functions in the shared .text, and its small
  // constants are no addresses.
  EXPECT_EQ(Calls(p.FindFuncItem("qsort")), Strings{"sort_range-of-00000000"});
  EXPECT_EQ(Calls(p.FindFuncItem("sort_range-of-00000000")),
            (Strings{"swap_elems-of-00000000", "sort_range-of-00000000"}));
  EXPECT_EQ(Calls(p.FindFuncItem("out_num-of-00000000")), Strings{"__valdrin_udivsi3"});
}

TEST(ListingParser, SymbolsSharingAnAddressShareResults) {
  using namespace elftest;
  TempDir tmp;
  elftest::Image image;
  image.sections = {{".text", kProgBits, 0x1000, std::string(0x40, '\0')}, {".text2", kProgBits, 0x1000, std::string(0x40, '\0')}};
  image.symbols = {{"impl", 0x1000, 0x20}, {"alias", 0x1000, 0x20}, {"other", 0x1000, 0x20, kFunc, kGlobal, 2},
                   {"callee", 0x1020, 0x20}};
  WriteFile(tmp / "a.elf", image.Build());
  FileParser p;
  passtest::LoadImage(p, tmp / "a.elf");
  WriteFile(tmp / "a.dis", "00001000 <impl>:\n    1000:\t00 c0 00 5a\t5a00c000 { \tcall 0x1020 } \n");
  Captured([&] { p.ParseDisassembledElfFile(tmp / "a.dis"); });
  ASSERT_TRUE(p.elfMapsInUse);
  EXPECT_TRUE(Calls(p.FindFuncItem("impl")) == Strings{"callee"} && Calls(p.FindFuncItem("alias")) == Strings{"callee"});
  EXPECT_TRUE(Calls(p.FindFuncItem("other")).empty());  // another section
}

}  // namespace
