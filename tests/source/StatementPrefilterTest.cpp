// The raw-text pre-check of source statements changes nothing: both passes
// over the sample programs and over random statements give the same
// records, call lists, warnings and messages with and without it.
#include <random>
#include <sstream>

#include "PassTestUtil.h"

namespace {

// Everything the passes leave behind, as text to compare.
std::string Summary(const FileParser& p, const std::string& messages) {
  std::ostringstream out;
  for (const auto& [key, f] : p.functionMap) {
    out << key << ' ' << f->Name << ' ' << f->Path << ' ' << f->Stack << ' ' << f->Scope << ' ' << f->CodeSize << ' '
        << f->BranchType << ' ' << f->IsFound << f->IsUsed << f->HasParent << f->HasPtrToFunc << " ->";
    for (const std::string& callee : f->callList) out << ' ' << callee;
    out << '\n';
  }
  for (const auto& [key, m] : p.memoryMap) out << key << ' ' << m->Size << ' ' << m->Scope << ' ' << m->IsFound << '\n';
  for (const _Warnings& w : p.warnings) out << w.Key << ' ' << w.Message << ' ' << w.LineNum << ' ' << w.CodeLine << '\n';
  // The messages, but for the pass times, which depend on the clock.
  std::istringstream lines(messages);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("scan time") == std::string::npos) out << line << '\n';
  }
  return out.str();
}

// A statement of compiler output or of hand-written assembly, in the forms
// the passes act on and the forms they pass over; upper case included.
std::string RandomStatement(std::mt19937& random) {
  static const std::vector<std::string> forms = {
      ".text", ".data", ".section .bss,\"aw\"", ".section .init", ".section .text.N", ".macro m", ".endm",
      ".SECTION .TEXT", ".globl N", ".weak N", ".set N, N", ".file \"uD.c\"", ".type N,@function",
      ".type N,@object", "N:", "L:", "L: // in Loop: Header", "function_begin N", "FUNCTION_END",
      "fallthrough_tail_call x N", "valdrin_opt_func_begin N", "call N", "call N@PLT", "call ##N",
      "if (p0) call N", "CALL N", "jump L", "jump N", "jump:nt L", "if (p0) jump:nt L", "jumpr r31", "JUMPR R31",
      "p0 = r31", "allocframe(#D)", "allocframe(r29,#D):raw", "ALLOCFRAME(#D)", "deallocframe",
      "r29 = add(r29,#-D)", "R29 = SUB(R29,r2)", "r29 = r30", "sp = sub(sp,#8)", "SP = add(SP,#-D)", "rD = #D",
      "r2.l = #D", "r2.h = #1", "r0 = ##N", "memw(r0+#0) = ##N", "r1 = CONST32(#N)", "r1.h = #hi(N)",
      "r1 = memw(r29+#D)", "r0 = memw(r30+#-D)", "p0 = cmp.gt(r0,#D)", "memw(r30+#-D) = r1",
      "r3 = add(r1,##N)", "r31:30 = dealloc_return(r30):raw", ".comm N,D,4", ".lcomm N,D", ".space D",
      ".size N, D", ".size N, .Lfunc_end0-N", "# comment", "// 4-byte Folded Spill", "}  // Reload", "{", "}",
      "x y call N", "call r31", "Call N@plt", "if (!p0) jump N", "xtype N,@object", "r2 = r3", "r2 = add(r1,r2)", "r2 = #D", "r29 = sub(r29,r2)",
      "r2 = add(r2,#D)", "s1 = r31", "v0 = r1", "fn_x = 1", "r7 = #8 // al ju r31 ##",
      ".p2align D", ".P2ALIGN D", ".cfi_startproc", ".word N", ".COMM N,D,4", ".LCOMM N,D", ".x.comm N,D", ".Global N",
      ".sets N, N", ".SPACE D", ".file.x \"uD.c\"", "a.b N,@function"};
  static const std::vector<std::string> names = {"f0", "f1", "f2", "main", "ext", "obj1", ".Lthunk", "_Z3fooi"};
  static const std::vector<std::string> labels = {".LBB0_1", ".Ltmp", "1", ".lfoo", "loop"};
  // Register writes and frames that read them back, often enough to meet.
  static const std::vector<std::string> registerForms = {
      "r2 = #D", "r2 = r3", "r2 = add(r1,r2)", "r29 = sub(r29,r2)", "r2.l = #D", "r2.h = #1", "if (p0) r2 = #4",
      "call N", "memw(r0+#0) = ##N", "p0 = cmp.eq(r2,#0)"};
  std::string text = random() % 5 < 2 ? registerForms[random() % registerForms.size()] : forms[random() % forms.size()];
  std::string out;
  for (char c : text) {
    if (c == 'N') {
      out += names[random() % names.size()];
    } else if (c == 'L' && (out.empty() || out.back() == ' ' || out.back() == '\t')) {
      out += labels[random() % labels.size()];
    } else if (c == 'D') {
      out += std::to_string(random() % 64);
    } else {
      out += c;
    }
  }
  static const char* const indents[] = {"", " ", "\t", "\t\t", "   ", ",", "{ "};
  return indents[random() % 7] + out;
}

std::string BothWays(const std::function<std::string(FileParser&)>& run) {
  FileParser on, off;
  off.statementPrefilter = false;
  const std::string a = Summary(on, run(on)), b = Summary(off, run(off));
  EXPECT_EQ(a, b);
  return a;
}

TEST(StatementPrefilter, SamplesReadAlike) {
  for (const char* sample : {"ctrl_loop", "dsp_pipeline", "sensor_node", "shapes_cpp"}) {
    const std::string summary = BothWays([&](FileParser& p) {
      p.sourceFolders = {testutil::DataPath("samples/" + std::string(sample) + "/asm")};
      return testutil::Captured([&] { p.ProcessSourceDirectories(); });
    });
    EXPECT_TRUE(testutil::Has(summary, "main")) << sample;  // the passes did read the sample
  }
}

TEST(StatementPrefilter, RandomStatementsReadAlike) {
  std::mt19937 random(17);
  for (int round = 0; round < 200; ++round) {
    testutil::TempDir dir;
    std::vector<std::pair<std::string, std::string>> files;
    for (int f = 0; f < 2; ++f) {
      // Functions as compilers write them, with random bodies.
      std::string content;
      for (int function = 0, functions = 1 + random() % 4; function < functions; ++function) {
        std::string name = "f";
        name += std::to_string(random() % 4);
        content += "\t.globl " + name + "\n\t.type " + name + ",@function\n" + name + ":\n";
        // A quarter of the bodies are long runs of calls among lines no pass
        // acts on, as in compiler output: more calls than are put aside at once.
        const bool callRun = random() % 4 == 0;
        for (int line = 0, lines = random() % (callRun ? 80 : 30); line < lines; ++line) {
          if (callRun && random() % 5 != 0) {
            static const char* const quiet[] = {"\t{", "\t}", "\tr0 = memw(r30+#-8)", "\tjump .LBB0_1", ".LBB0_1:"};
            if (random() % 2) {
              content += "\tcall f";
              content += std::to_string(random() % 6);
            } else {
              content += quiet[random() % 5];
            }
            content += '\n';
            continue;
          }
          content += RandomStatement(random);
          if (random() % 10 == 0) {
            content += ';';
            content += RandomStatement(random);
          }
          content += '\n';
        }
        if (random() % 2) content += "\t.size " + name + ", .Lfunc_end0-" + name + "\n";
      }
      std::string file = "u";
      file += std::to_string(f);
      file += ".s";
      files.emplace_back(file, content);
    }
    const auto paths = passtest::WriteFiles(dir, files);
    BothWays([&](FileParser& p) { return passtest::RunPasses(p, paths); });
    if (HasFailure()) {
      ADD_FAILURE() << "round " << round << ":\n" << files[0].second << "--\n" << files[1].second;
      break;
    }
  }
}

}  // namespace
