// Pass 2: own frames from allocframe and r29 arithmetic, register amounts,
// call lists from calls, tail jumps and loaded function addresses.
#include <map>

#include "PassTestUtil.h"

using testutil::Calls;
using testutil::Has;
using passtest::RunPasses;
using Strings = std::vector<std::string>;

namespace {

std::string Function(const std::string& name, const std::string& body) {
  return "\t.type " + name + ",@function\n" + name + ":\n" + body + "\t.size " + name + ", 4\n";
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
  testutil::TempDir dir;
  const auto paths = passtest::WriteFiles(dir, {{"p.s", content}});
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
  EXPECT_TRUE(Has(out, "12: Warning: HandleAllocframe twice failed in file " + paths[0] + "\n\n47: Line 12: \tallocframe(r29)\n"));
  EXPECT_EQ(p.warnings.back().Key, "u6-of-p.s");
}

TEST(Pass2, CallsJumpsAndLoadedAddresses) {
  const std::string calls =
      "\t.file \"c.c\"\n\t.globl known\n" + Function("known", "\tjumpr r31\n") + Function("handler", "\tjumpr r31\n") +
      "\t.data\n\t.type buffer,@object\nbuffer:\n\t.space 4\n\t.size buffer, 4\n"
      "\t.type table,@object\ntable:\n\t.size table, 8\n\t.section .init,\"ax\"\ninitcode:\n\tnop\n\t.text\n" +
      Function("caller", "\tallocframe(#8)\n\tcall known\n\tif (p0) call handler@PLT\n\tcall ##mystery\n"
                         "\tcall initcode\n\tcall caller\n\tjump .LBB0_1\n\tr0 = ##handler\n\tr0 = ##table+4\n"
                         "\tr0 = ##buffer\n\tr0 = ##nowhere\n\tjump tailfn\n") +
      Function("noframe", "\tcall noframe\n\tjump noframe\n\tif (p1.new) r3 = ##known\n\tr1.h = #hi(handler)\n") +
      Function("selfjump", "\tallocframe(#0)\n\tjump selfjump\n\tmemw(r0+#0) = ##known\n") + "\tcall outside\n"
      "\tjump .Lout\n";
  testutil::TempDir dir;
  const auto paths = passtest::WriteFiles(dir, {{"c.s", calls}});
  FileParser p;
  const std::string out = RunPasses(p, paths);
  const __func_attr* caller = p.FindFuncItem("caller-of-c.s");
  EXPECT_EQ(Calls(caller), (Strings{"known", "handler-of-c.s", "mystery", "caller-of-c.s", "tailfn"}));
  EXPECT_TRUE(caller->HasPtrToFunc && p.FindFuncItem("known")->HasParent);
  EXPECT_TRUE(p.FindFuncItem("mystery")->BranchType == Open && !p.FindFuncItem("mystery")->IsFound);
  for (const char* none : {"nowhere", "initcode", "table", "outside"}) EXPECT_EQ(p.FindFuncItem(none), nullptr);
  EXPECT_EQ(p.nameLists[ListFalseFunction].size(), 0u);  // emptied after pass 2
  EXPECT_EQ(Calls(p.FindFuncItem("noframe-of-c.s")), (Strings{"known", "handler-of-c.s"}));
  // A jump back to itself is an error only for a function with a frame.
  EXPECT_TRUE(Has(out, "Warning: HandleJump selfjump failed") && !Has(out, "HandleJump noframe"));
  EXPECT_TRUE(Has(out, "Warning: Call failed for no current function.\nWarning: HandleCall outside failed"));
  // Even a branch to a local label is reported outside any function.
  EXPECT_TRUE(Has(out, "Warning: Jump failed for no current function.\nWarning: HandleJump .Lout failed"));
  EXPECT_LT(out.find("HandleCall outside failed"), out.find("Jump failed for no current function"));  // in file order
  // With parentheses kept inside tokens the stored address reaches the
  // constant-extender handler.
  FileParser parens;
  parens.syntaxMode = 1;
  RunPasses(parens, paths);
  EXPECT_EQ(Calls(parens.FindFuncItem("selfjump-of-c.s")), Strings{"known"});
}

TEST(Pass2, FunctionMarkerMacros) {
  testutil::TempDir dir;
  FileParser p;
  p.warnFile = false;
  RunPasses(p, passtest::WriteFiles(dir, {{"m.s", "function_begin alpha\n\tallocframe(#8)\n\tcall beta\n"
                                                  "FALLTHROUGH_TAIL_CALL(alpha, beta)\n\tallocframe(#16)\n"
                                                  "function_end beta\n"}}));
  const __func_attr* alpha = p.FindFuncItem("alpha");
  const __func_attr* beta = p.FindFuncItem("beta");
  ASSERT_TRUE(alpha != nullptr && beta != nullptr && alpha->Stack == 16 && beta->Stack == 24 && beta->Scope == Global && Calls(alpha) == Strings{"beta"});

}

}  // namespace
