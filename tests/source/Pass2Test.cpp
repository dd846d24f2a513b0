// Pass 2: own frames from allocframe and r29 arithmetic, register amounts,
// call lists from calls, tail jumps and loaded function addresses.
#include <algorithm>
#include <map>

#include "PassTestUtil.h"

using passtest::Calls;
using passtest::Has;
using passtest::RunPasses;
using passtest::WriteFiles;
using testutil::TempDir;
using Strings = std::vector<std::string>;

namespace {

std::string Function(const std::string& name, const std::string& body) {
  return "\t.type " + name + ",@function\n" + name + ":\n" + body + "\t.size " + name + ", 4\n";
}

// Line number of the first line that holds text.
int LineOf(const std::string& content, const std::string& text) {
  const size_t at = content.find(text);
  return at == std::string::npos ? -1 : 1 + static_cast<int>(std::count(content.begin(), content.begin() + at, '\n'));
}

TEST(Pass2, FramesFromAllocframeAndStackPointerArithmetic) {
  // Each allocframe adds the 8-byte frame record; a release of stack is not
  // counted; a register amount is taken from the latest constant set into it.
  const std::string content =
      "\t.file \"p.c\"\n" + Function("f24", "\t{\n\t\tallocframe(r29,#24):raw\n\t}\n") +
      Function("twice", "\tallocframe(#4*4)\n\tallocframe(#(8+8))\n\tallocframe(r29)\n") +
      Function("arith", "\tr29 = add(r29,#-16)\n\tr29 = add(r29,#8)\n\tsp = sub(sp,#4)\n\tR29 = ADD(R29,##-40000)\n") +
      Function("regs", "\tr2.l = #4\n\tr2.h = #1\n\tp0 = cmp.eq(r2,#0)\n\tr29 = sub(r29, r2)\n"
                       "\tr3 = #8\n\tr3 = #16\n\tr29 = sub(r29,r3)\n") +
      Function("u1", "\tr29 = add(r29,r0)\n") + Function("u4", "\tr7 = #8\n\tcall ext\n\tr29 = sub(r29,r7)\n") +
      Function("u6", "\tr8 = #8\n\tif (p0) r8 = #4\n\tr29 = and(r29,#-8)\n\tr29 = sub(r29,r8)\n");
  TempDir dir;
  const auto paths = WriteFiles(dir, {{"p.s", content}});
  const std::string& file = paths[0];
  FileParser p;
  p.guiMode = true;
  const std::string out = RunPasses(p, paths);

  std::map<std::string, std::pair<int, int>> frames;  // key -> frame, branch type
  for (const auto& [key, f] : p.functionMap) frames[key] = {f->Stack, f->BranchType};
  EXPECT_EQ(frames, (std::map<std::string, std::pair<int, int>>{
                        {"f24-of-p.s", {32, Closed}}, {"twice-of-p.s", {24 + 24, Closed}},
                        {"arith-of-p.s", {16 + 4 + 40000, Closed}}, {"regs-of-p.s", {65540 + 16, Closed}},
                        {"u1-of-p.s", {0, Undetermined}}, {"u4-of-p.s", {0, Undetermined}},
                        {"u6-of-p.s", {0, Undetermined}}, {"ext", {0, Open}}}));
  auto line = [&](const std::string& text) { return "\n47: Line " + std::to_string(LineOf(content, text)) + ": \t" + text + "\n"; };
  EXPECT_TRUE(Has(out, "12: Warning: HandleAllocframe twice failed in file " + file + "\n" + line("allocframe(r29)")));
  EXPECT_TRUE(Has(out, "46: Warning: Could not compute R29 = for function u1 in file " + file + line("r29 = add(r29,r0)")));
  for (const char* name : {"u4", "u6"}) {
    EXPECT_TRUE(Has(out, "R29 = for function " + std::string(name) + " in file " + file + "\n47: Line ")) << name;
  }
  EXPECT_EQ(p.warnings.back().Key, "u6-of-p.s");

  FileParser quiet;
  quiet.warnR29 = false;
  EXPECT_FALSE(Has(RunPasses(quiet, paths), "R29"));
  EXPECT_EQ(quiet.FindFuncItem("u1-of-p.s")->BranchType, Undetermined);
}

const std::string kCalls =
    "\t.file \"c.c\"\n\t.globl known\n" + Function("known", "\tjumpr r31\n") + Function("handler", "\tjumpr r31\n") +
    "\t.data\n\t.type buffer,@object\nbuffer:\n\t.space 4\n\t.size buffer, 4\n"
    "\t.type table,@object\ntable:\n\t.size table, 8\n"
    "\t.section .init,\"ax\"\ninitcode:\n\tnop\n\t.text\n" +
    Function("caller", "\tallocframe(#8)\n\tcall known\n\tif (p0) call handler@PLT\n\tcall ##mystery\n"
                       "\tcall initcode\n\tcall caller\n\tjump .LBB0_1\n\tr0 = ##handler\n\tr0 = ##table+4\n"
                       "\tr0 = ##buffer\n\tr0 = ##nowhere\n\tjump tailfn\n") +
    Function("noframe", "\tcall noframe\n\tjump noframe\n\tif (p1.new) r3 = ##known\n\tr1.h = #hi(handler)\n") +
    Function("selfjump", "\tallocframe(#0)\n\tjump selfjump\n\tmemw(r0+#0) = ##known\n") + "\tcall outside\n";

TEST(Pass2, CallsJumpsAndLoadedAddresses) {
  TempDir dir;
  const auto paths = WriteFiles(dir, {{"c.s", kCalls}});
  const std::string& file = paths[0];
  FileParser p;
  p.guiMode = true;
  const std::string out = RunPasses(p, paths);

  const __func_attr* caller = p.FindFuncItem("caller-of-c.s");
  EXPECT_EQ(Calls(caller), (Strings{"known", "handler-of-c.s", "mystery", "caller-of-c.s", "tailfn"}));
  EXPECT_TRUE(caller->HasPtrToFunc && p.FindFuncItem("known")->HasParent);
  EXPECT_TRUE(p.FindFuncItem("mystery")->BranchType == Open && !p.FindFuncItem("mystery")->IsFound);
  EXPECT_EQ(p.FindFuncItem("tailfn")->BranchType, Open);
  for (const char* none : {"nowhere", "initcode", "table", "outside"}) EXPECT_EQ(p.FindFuncItem(none), nullptr);
  EXPECT_EQ(p.nameLists[ListFalseFunction].size(), 0u);  // emptied after pass 2

  const __func_attr* noframe = p.FindFuncItem("noframe-of-c.s");
  EXPECT_EQ(Calls(noframe), (Strings{"known", "handler-of-c.s"}));
  EXPECT_TRUE(noframe->HasPtrToFunc);
  // A jump back to itself is an error only for a function with a frame.
  EXPECT_TRUE(Calls(p.FindFuncItem("selfjump-of-c.s")).empty());
  EXPECT_TRUE(Has(out, "12: Warning: HandleJump selfjump failed in file " + file + "\n\n47: Line " +
                           std::to_string(LineOf(kCalls, "jump selfjump")) + ": \tjump selfjump\n"));
  EXPECT_FALSE(Has(out, "HandleJump noframe"));
  EXPECT_TRUE(Has(out, "12: Warning: Call failed for no current function.\n"
                       "12: Warning: HandleCall outside failed in file " + file + "\n\n47: Line " +
                           std::to_string(LineOf(kCalls, "call outside")) + ": \tcall outside\n"));

  // With parentheses kept inside tokens the stored address reaches the
  // constant-extender handler.
  FileParser parens;
  parens.syntaxMode = 1;
  RunPasses(parens, paths);
  EXPECT_EQ(Calls(parens.FindFuncItem("selfjump-of-c.s")), Strings{"known"});
  EXPECT_EQ(Calls(parens.FindFuncItem("caller-of-c.s")), Calls(caller));
}

TEST(Pass2, FunctionMarkerMacros) {
  TempDir dir;
  const auto paths = WriteFiles(dir, {{"m.s", "function_begin alpha\n\tallocframe(#8)\n\tcall beta\n"
                                              "FALLTHROUGH_TAIL_CALL(alpha, beta)\n\tallocframe(#16)\n"
                                              "function_end beta\n\tcall nobody\n"}});
  FileParser p;
  p.warnFile = false;
  const std::string out = RunPasses(p, paths);
  const __func_attr* alpha = p.FindFuncItem("alpha");
  const __func_attr* beta = p.FindFuncItem("beta");
  ASSERT_TRUE(alpha != nullptr && beta != nullptr);
  EXPECT_TRUE(alpha->Stack == 16 && beta->Stack == 24 && beta->Scope == Global);
  EXPECT_EQ(Calls(alpha), Strings{"beta"});
  EXPECT_TRUE(Has(out, "Warning: Call failed for no current function.\n"));
}

TEST(Pass2, FindFunctionPrefersTheLocalKey) {
  FileParser p;
  for (const char* key : {"f", "f!1", "f!2", "f!3", "f!4", "f!5", "f-of-x.s", "g-of-x.s"}) p.CreateFuncAttr(key, "f");
  EXPECT_EQ(p.FindFunction("f", "dir/x.c")->Key, "f-of-x.s");
  EXPECT_EQ(p.FindFunction("f", "y.s")->Key, "f");
  EXPECT_EQ(p.FindFunction("g", "x.s")->Key, "g-of-x.s");
  EXPECT_EQ(p.FindFunction("h", "x.s"), nullptr);
  EXPECT_EQ(p.FindFunction("g", "y.s"), nullptr);
}

TEST(Pass2, RegisterSearchInListingForm) {
  // The listing parser caches the instruction tokens of each segment and
  // its relocation lines; a relocated immediate is an address, not a size.
  FileParser p;
  ASSERT_EQ(p.CreateFunction("lf", "x.s"), 0);
  ASSERT_EQ(p.SetCurrentFunction("lf", "x.s"), 0);
  auto push = [&](const std::string& text, const std::string& t1, const std::string& t2) {
    p.current.lineText = text;
    p.current.token1 = p.current.lowerToken1 = t1;
    p.current.token2 = p.current.lowerToken2 = t2;
    p.UpdateLineCache();
  };
  push("   10:\t01 02 03 04\t04030201 { \tr1 = #32", "r1", "#32");
  push("   14:\t01 02 03 04\t04030201   \tr29 = sub(r29,r1) }", "r29", "sub");
  int32_t value = 0;
  EXPECT_TRUE(p.CalculateRegisterValue("r1", value) == 0 && value == 32);
  push("   18:\t01 02 03 04\t04030201 { \tr2.l = #0", "r2.l", "#0");
  push("\t\t00000018:  R_VLD_GPREL16_0\tsmall_table", "R_VLD_GPREL16_0", "small_table");
  push("   1c:\t01 02 03 04\t04030201   \tr2.h = #0 }", "r2.h", "#0");
  push("   20:\t01 02 03 04\t04030201   \tr29 = sub(r29,r2) }", "r29", "sub");
  p.current.token4 = "r2";
  EXPECT_EQ(p.CalculateRegisterValue("r2", value), -1);
  p.warnR29 = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(p.HandleR29Line("r29 = sub(r29,r2)", "", 1), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Warning: Could not compute R29 = for function lf in file x.s\n"
            "Line 0:    20:\t01 02 03 04\t04030201   \tr29 = sub(r29,r2) }\n");
  EXPECT_EQ(p.currentFunction->BranchType, Undetermined);
}

}  // namespace
