// The listing parser on hand-written listings against the sample images:
// headers, direct and computed calls, library relocations.
#include <random>

#include "elf/ElfTestImage.h"
#include "elf/ListingLines.h"
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

// A packet starts at a line whose first segment opens it: a '{' after the
// line's ';' starts none, so a call relative to the packet counts from the
// earlier start.
TEST(ListingParser, PacketStartsWhereTheFirstSegmentOpensOne) {
  Image img("samples/ctrl_loop/ctrl_loop.elf");
  img.Parse(kPreamble +
            "00020080 <factorial>:\n"
            "   200c0:\t00 c0 00 78\t7800c000 { \tr5 = r5 } \n"
            "   200c4:\t00 c0 00 78\t7800c000   \tr0 = add(r0,#1); { \tr1 = r2 } \n"
            "   200c8:\t00 c0 00 5a\t5a00c000   \tcall #12 } \n");  // 0x200cc, in factorial
  EXPECT_EQ(Calls(img.p.FindFuncItem("factorial")), Strings{"factorial"});
}

// A symbol at the address of a listed function takes its results when the
// header is read, the marks of calls listed before included.
TEST(ListingParser, AliasTakesTheMarksOfCallsListedBefore) {
  TempDir dir;
  elftest::Image image;
  image.sections = {{".text", elftest::kProgBits, 0x100, std::string(0x200, '\0')}};
  image.symbols = {{"caller", 0x100, 16}, {"a_fn", 0x200, 16}, {"b_alias", 0x200, 16}, {"next", 0x280, 16}};
  WriteFile(dir / "t.elf", image.Build());
  FileParser p;
  passtest::LoadImage(p, dir / "t.elf");
  WriteFile(dir / "t.dis", kPreamble +
                               "00000100 <caller>:\n"
                               "     100:\t00 c0 00 5a\t5a00c000 { \tcall 0x200 } \n\n"
                               "00000200 <a_fn>:\n"
                               "     200:\t00 c0 9d a0\ta09dc000 { \tallocframe(#8) } \n\n"
                               "00000280 <next>:\n"  // a_fn ends here, in the middle of the listing
                               "     280:\t00 c0 00 5a\t5a00c000 { \tcall 0x100 } \n");
  Captured([&] { EXPECT_EQ(p.ParseDisassembledElfFile(dir / "t.dis"), 0); });
  EXPECT_EQ(Calls(p.FindFuncItem("caller")), Strings{"a_fn"});
  const __func_attr* alias = p.FindFuncItem("b_alias");
  ASSERT_NE(alias, nullptr);
  EXPECT_TRUE(alias->HasParent && alias->IsUsed);
  EXPECT_EQ(alias->Stack, 16);
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

// A relocated call is handled at once, after the calls put aside before it:
// the call list keeps the order of the lines.
TEST(ListingParser, RelocatedCallsFollowTheCallsBeforeThem) {
  FileParser p;
  p.objdumpKind = 2;
  p.warnR29 = false;
  ElfFile library(DataPath("toolchain/WholeArchive.o"));
  p.listingElf = &library;
  TempDir tmp;
  WriteFile(tmp / "x.dis", "\nWholeArchive.o:\tfile format elf32-valdrin\n\nDisassembly of section .text:\n\n"
                           "000000a0 <sqrtf>:\n"
                           "      d0:\t00 40 00 5a\t5a004000 { \tcall 0x10 } \n"
                           "      d8:\t00 40 00 5a\t5a004000 { \tcall 0xd8\n"
                           "\t\t\t000000d8:  R_VLD_B22_PCREL\t__valdrin_divsf3\n"
                           "      dc:\t00 40 00 5a\t5a004000 { \tcall 0x50 } \n");
  Captured([&] {
    EXPECT_EQ(p.AddLibObjectToMaps(DataPath("toolchain/WholeArchive.o")), 0);
    EXPECT_EQ(p.ParseDisassembledElfFile(tmp / "x.dis"), 0);
  });
  // In an object every section starts at 0: a target outside the function
  // goes to the first function holding the address, whatever its section.
  const std::string first = library.GetFcnSymForAddr(0x10)->name, last = library.GetFcnSymForAddr(0x50)->name;
  ASSERT_NE(first, last);
  EXPECT_EQ(Calls(p.FindFuncItem("sqrtf")), (Strings{first, "__valdrin_divsf3", last}));
}

// The pre-check may only turn away a text that holds none of the sequences
// found in the handlers' keywords, and may only narrow a text to its first
// token when r29 is the one sequence there; it is in fact exact.
TEST(ListingParser, KeywordPreCheckAgreesWithPlainSearch) {
  auto hint = [](std::string_view text) {
    for (std::string_view part : {"al", "ju", ".l", ".h", "R_", "##", "(#", "(g"}) {
      if (text.find(part) != std::string_view::npos) return KeywordHint::kAny;
    }
    return text.find("r29") != std::string_view::npos ? KeywordHint::kR29Only : KeywordHint::kNone;
  };
  std::mt19937 random(7);
  const std::string alphabet = "ar29cjulh.R_#(g) =,{}\t";
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 130, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    if (round % 3 != 2) {
      // Mostly harmless text with r29 and another sequence at any position,
      // the block edges included, in either order.
      for (char& c : text) c = "r0=add(#1) "[random() % 11];
      for (int i = 0; i < 2; ++i) {
        const std::string part = std::vector<std::string>{"al", "ju", ".l", ".h", "R_", "##", "(#", "(g", "r29",
                                                          "r29", "r29", "r2", "r9", "a"}[random() % 14];
        if (text.size() >= part.size()) text.replace(random() % (text.size() - part.size() + 1), part.size(), part);
      }
    }
    EXPECT_EQ(InstructionKeywordHint(text), hint(text)) << text;
  }
}

// Instruction lines of the usual shape skip the token-by-token reading and
// are looked at by the pre-check, and their calls, jumps and constants are
// handled in batches; the same lines with a leading tab (a delimiter, so the
// tokens are the same) take the reading, here with no pre-check and no
// batches at all. Both must leave the same calls in the same order, frames
// and messages.
TEST(ListingParser, InstructionLinesReadAlikeOnBothPaths) {
  const std::vector<std::string> forms = {
      "call 0x%t", "jump 0x%t", "if (p0) jump:nt 0x%t", "allocframe(#%n)", "r29 = add(r29,#-%n)",
      "r0 = ##%d", "r1 = add(r0,##%d)", "memw(r0+#0) = ##%d", "r3 = memw(##%d)", "r1 = memw(gp+#%n)",
      "r2.l = #%l", "r2.h = #%h", "r0 = add(r1,#%n)", "r1 = memw(r29+#%n)", "callr r0", "jumpr r31",
      "immext(#%d)", "r4 = ##%d; \tcall 0x%t", "p0 = cmp.gt(r0,#%n)", "r0 = sub(r2,r9)",
      "r0 = add(r29,#%n)", "r1 = memw(r29+#%n); \tr29 = add(r29,#-%n)", "r0 = add(r0,#1); \tallocframe(#%n)",
      "r1 = memw(r29+#%n); \tr0 = ##%d", "r2 = add(r29,#%n); \tjump 0x%t", "r0 = ##%d; \tr1 = memw(r29+#%n)",
      "call #%o", "jump #%o"};  // the last two are relative to the packet's address
  const uint32_t targets[] = {0x20080, 0x200d0, 0x20220, 0x205c0, 0x20a40, 0x20d20, 0x20084, 0x99990};
  std::mt19937 random(11);
  for (int round = 0; round < 30; ++round) {
    std::string usual = kPreamble, other = kPreamble;
    if (round % 3 == 0) {
      // A call and a constant before any function: warned about in turn.
      for (std::string* listing : {&usual, &other}) {
        *listing += (listing == &usual ? "   " : "\t") + std::string("1fff8:\t00 c0 00 78\t7800c000 { \tcall 0x20080 } \n");
        *listing += (listing == &usual ? "   " : "\t") + std::string("1fffc:\t00 c0 00 78\t7800c000 { \tr0 = ##131200 } \n");
      }
    }
    uint32_t address = 0x20000;
    for (int function = 0; function < 4; ++function) {
      const char* header[] = {"00020080 <factorial>:\n", "000200d0 <calc_eval>:\n", "000205c0 <pid_init>:\n",
                              "00020a40 <main>:\n"};
      usual += header[function];
      other += header[function];
      for (int line = 0; line < 12; ++line) {
        std::string text = forms[random() % forms.size()];
        const uint32_t target = targets[random() % std::size(targets)];
        auto put = [&](const std::string& mark, const std::string& value) {
          for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark)) {
            text.replace(at, mark.size(), value);
          }
        };
        char hex[16];
        std::snprintf(hex, sizeof hex, "%x", target);
        put("%t", hex);
        put("%d", std::to_string(target));
        put("%l", std::to_string(target & 0xffff));
        put("%h", std::to_string(target >> 16));
        put("%n", std::to_string(random() % 64));
        put("%o", std::to_string(static_cast<int>(random() % 33) * 4 - 64));
        char prefix[32];
        std::snprintf(prefix, sizeof prefix, "%x:\t00 c0 00 78\t7800c000 ", address += 4);
        const std::string body = std::string(random() % 2 ? "{ \t" : "  \t") + text + (random() % 2 ? " } " : " ");
        usual += "   " + std::string(prefix) + body + "\n";
        other += "\t" + std::string(prefix) + body + "\n";
      }
      usual += "\n";
      other += "\n";
    }
    Image a("samples/ctrl_loop/ctrl_loop.elf"), b("samples/ctrl_loop/ctrl_loop.elf");
    b.p.statementPrefilter = false;
    const std::string outA = a.Parse(usual), outB = b.Parse(other);
    EXPECT_EQ(outA.substr(outA.find('\n')), outB.substr(outB.find('\n'))) << usual;
    for (const char* name : {"factorial", "calc_eval", "pid_init", "main", "log_line-of-00020d20"}) {
      const __func_attr* ra = a.p.FindFuncItem(name);
      const __func_attr* rb = b.p.FindFuncItem(name);
      ASSERT_TRUE(ra != nullptr && rb != nullptr) << name;
      EXPECT_EQ(Calls(ra), Calls(rb)) << name << "\n" << usual;
      EXPECT_EQ(ra->Stack, rb->Stack) << name;
      EXPECT_EQ(ra->HasPtrToFunc, rb->HasPtrToFunc) << name;
      EXPECT_EQ(ra->HasParent, rb->HasParent) << name;
    }
  }
}

}  // namespace
