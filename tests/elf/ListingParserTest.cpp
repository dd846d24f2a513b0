// The listing parser on hand-written listings against the sample images:
// headers, direct and computed calls, library relocations.
#include "source/PassTestUtil.h"

using namespace testutil;
using Strings = std::vector<std::string>;

namespace {

// A program object in image mode over a sample image.
struct Image {
  FileParser p;
  TempDir tmp;
  explicit Image(const std::string& elf) { passtest::LoadImage(p, DataPath(elf)); }
  std::string Parse(const std::string& listing) {
    WriteFile(tmp / "x.dis", listing);
    return Captured([&] { EXPECT_EQ(p.ParseDisassembledElfFile(tmp / "x.dis"), 0); });
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
                              "\t\t...\n\n"
                              "<calc_eval>:\n"  // no address: the next line gives it
                              "   200d0:\t00 c0 00 5a\t5a00c000 { \tcall 0x20d20 } \n"
                              "   200d4:\t00 c0 00 58\t5800c000 { \tjump 0x200e0 } \n"
                              "   200d8:\t00 c0 00 58\t5800c000 { \tjump 0x20080 } \n"
                              "   200dc:\t00 00 00 00\t00000000 <unknown>\n\n"
                              "00099990 <no_such_function>:\n"
                              "   99990:\t00 c0 00 5a\t5a00c000 { \tcall 0x20080 } \n");
  // A call to its own start is recursion, a jump to its own line is not; a
  // jump inside is no call, one to another function a tail call.
  EXPECT_EQ(Calls(img.p.FindFuncItem("factorial")), Strings{"factorial"});
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

// Encoding columns of an unusual shape are cut token by token: two blanks,
// three bytes, a word that is not hex, a word at the end of the line.
TEST(ListingParser, IrregularEncodingColumns) {
  Image img("samples/ctrl_loop/ctrl_loop.elf");
  img.Parse(kPreamble +
            "00020080 <factorial>:\n"
            "   20080:\t02 c0 9d a0\ta09dc002 { \tallocframe(#16) } \n"
            "   20084:\t00 c0 00 5a  5a00c000 { \tcall 0x200d0 } \n"
            "   20088:\t00 c0 00\t5a00c000 { \tcall 0x20d20 } \n"  // "{" is cut as the word
            "   2008c:\t00 c0 00 5a\t5a00c000\n"
            "   20090:\t00 c0 00 5a\t5a00c0zz { \tcall 0x20080 } \n");
  const __func_attr* factorial = img.p.FindFuncItem("factorial");
  EXPECT_EQ(factorial->Stack, 24);
  EXPECT_EQ(Calls(factorial), (Strings{"calc_eval", "log_line-of-00020d20", "factorial"}));
}

TEST(ListingParser, LibraryCallsThroughPerFunctionRelocations) {
  FileParser p;
  p.objdumpKind = 2;
  p.warnR29 = false;  // as in the library stage
  ElfFile library(DataPath("toolchain/WholeArchive.o"));
  p.listingElf = &library;
  Captured([&] {
    EXPECT_EQ(p.AddLibObjectToMaps(DataPath("toolchain/WholeArchive.o")), 0);
    EXPECT_EQ(p.ParseDisassembledElfFile(DataPath("toolchain/WholeArchive.o.dis")), 0);
  });
  // printf's calls are relocated, not its displayed placeholder targets.
  const __func_attr* printf = p.FindFuncItem("printf");
  EXPECT_TRUE(printf->callList.Contains("vsnprintf") && printf->callList.Contains("__sys_write") &&
              !printf->callList.Contains("printf"));
  // Calls to statics are relocated against their sections; jumps inside
  // out_num reach past libm's starts in the shared .text.
  EXPECT_EQ(Calls(p.FindFuncItem("qsort")), Strings{"sort_range-of-00000000"});
  EXPECT_EQ(Calls(p.FindFuncItem("sort_range-of-00000000")),
            (Strings{"swap_elems-of-00000000", "sort_range-of-00000000"}));
  EXPECT_EQ(Calls(p.FindFuncItem("out_num-of-00000000")), Strings{"__valdrin_udivsi3"});
}

}  // namespace
