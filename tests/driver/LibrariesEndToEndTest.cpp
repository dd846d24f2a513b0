// Whole runs of the analyser on the sample programs with the stand-in
// toolchain: library stage, filter functions and test mode. The expected
// figures were worked out from the listings by hand.
#include <gtest/gtest.h>

#include "TestUtil.h"

using namespace testutil;

namespace {

std::string Sample(const std::string& path) { return DataPath("samples/" + path); }

// The <node> of the XML function list with this key.
std::string Node(const std::string& xml, const std::string& key) {
  size_t at = xml.find("\t<Key>" + key + "</Key>\n");
  return at == std::string::npos ? "" : xml.substr(at, xml.find("</node>", at) - at);
}

RunResult RunWith(const std::string& environment, const std::string& args) {
  return RunCommand(environment + " PATH='" + ToolchainDir() + ":/usr/bin:/bin' '" + AnalyserBinary() + "' " + args);
}

void ExpectNoTemporaryFiles(const std::string& dir) {
  for (const char* name : {"WholeArchive.o", "WholeArchive.o.dis", "FilteredLibs.o", "ctrl_loop.elf.dis"}) {
    EXPECT_FALSE(FileExists(dir + "/" + name)) << name;
  }
}

}  // namespace

TEST(LibrariesEndToEnd, LibraryFramesAndUserShare) {
  TempDir tmp;
  RunResult r = RunAnalyser({"--gui", "--folder", Sample("sensor_node/asm"), "--outdir", tmp.path()});
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(Has(r.out, "20: Processing Disassembly file " + tmp / "WholeArchive.o.dis\n"));
  // swap_elems moves r29 by a register: silent inside a library.
  EXPECT_FALSE(Has(r.out, "R29")) << r.out;
  ExpectNoTemporaryFiles(tmp.path());
  const std::string xml = ReadFile(tmp / "VA_FunctionList.xml");
  // allocframe(#528) plus the 8-byte frame record, in stdio.o.
  EXPECT_TRUE(Has(Node(xml, "printf"), "<Path>stdio.c</Path>\n\t<Stack>536</Stack>\n")) << Node(xml, "printf");
  EXPECT_TRUE(Has(Node(xml, "printf"), "<Call>vsnprintf</Call>\n\t\t\t<Call>__sys_write</Call>\n"));
  // main, allocframe(#32): 40. Its user share leaves out printf and hypotf
  // and takes channel_rms, allocframe(#24): 32 (its floorf, sqrtf and
  // __valdrin_divsf3 are library calls too; read_channel has no frame) over
  // node_report and report_now, 16 + 8 = 24 (snprintf, puts): 40 + 32.
  EXPECT_TRUE(Has(Node(xml, "main"), "<Stack>40</Stack>")) << Node(xml, "main");
  EXPECT_TRUE(Has(Node(xml, "main"), "<CumUserStack>72</CumUserStack>"));
}

TEST(LibrariesEndToEnd, NoLibrariesAndFailedLink) {
  TempDir tmp;
  const std::string args = "--folder '" + Sample("sensor_node/asm") + "' --outdir '" + tmp.path() + "'";
  // No library for the target: each is skipped, nothing is linked, and
  // printf takes its figure from libcAidFile.txt.
  MakeDirs(tmp / "nolibs");
  RunResult r = RunWith("VALDRIN_STANDIN_LIBDIR='" + tmp / "nolibs'", args);
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out.rfind("Library libc.a not found for the target; skipped.\n", 0), 0u) << r.out;
  EXPECT_TRUE(Has(r.out, "Library libstdc++.a not found for the target; skipped.\n"
                         "No toolchain library found: library functions are not analysed.\n"));
  EXPECT_FALSE(Has(r.out, "Creating object file"));
  EXPECT_TRUE(Has(ReadFile(tmp / "VA_FunctionStackSizes.csv"), "\"printf\",784,Closed\n"));

  // A link that leaves no object stops the run; a stale object is no excuse.
  WriteFile(tmp / "WholeArchive.o", ReadFile(DataPath("toolchain/WholeArchive.o")));
  r = RunWith("VALDRIN_STANDIN_LINK_FAIL=1", args);
  EXPECT_EQ(r.status, 255);
  EXPECT_TRUE(Has(r.out, "\nError executing: " + ToolchainDir() + "/valdrin-link -r --whole-archive ")) << r.out;
  EXPECT_TRUE(r.out.ends_with("libstdc++.a --no-whole-archive -o " + tmp / "WholeArchive.o\nProgram aborted on error\n"));
  EXPECT_FALSE(FileExists(tmp / "WholeArchive.o"));
}

TEST(TestModeEndToEnd, PassFailAndCleanup) {
  TempDir tmp;
  const std::string image = Sample("ctrl_loop/ctrl_loop.elf"), folder = Sample("ctrl_loop/asm");
  // main, allocframe(#216): 224, plus record_history, allocframe(#0) and
  // r29 = add(r29,#-20032): 20040, which calls only memset (no frame, no
  // calls): 20264 from the sources and from the image.
  RunResult r = RunAnalyser({"--testmode", "--elffile", image, "--folder", folder, "--testresult", "20264", "--outdir", tmp.path()});
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out.rfind("Running Test Mode\nTESTING SOURCE CODE MODE:\n", 0), 0u);
  EXPECT_TRUE(Has(r.out, "\nTESTING ELF FILE MODE:\n"));
  EXPECT_TRUE(r.out.ends_with("\nTEST PASSED WITH A MAIN STACK SIZE OF: 20264\n")) << r.out;
  ExpectNoTemporaryFiles(tmp.path());

  r = RunAnalyser({"--gui", "--testmode", "--elffile", image, "--folder", folder, "--testresult", "20263", "--outdir", tmp.path()});
  EXPECT_EQ(r.status, 255);
  EXPECT_TRUE(r.out.ends_with("\n20: TEST FAILED WITH A MAIN STACK SIZE OF: 20264\n")) << r.out;
  ExpectNoTemporaryFiles(tmp.path());

  // Another program's image: the analyses disagree, which fails silently.
  r = RunAnalyser({"--testmode", "--elffile", Sample("sensor_node/sensor_node.elf"), "--folder", folder, "--outdir", tmp.path()});
  EXPECT_EQ(r.status, 255);
  EXPECT_FALSE(Has(r.out, "TEST FAILED") || Has(r.out, "TEST PASSED")) << r.out;

  WriteFile(tmp / "src/leaf.s", "\t.text\n\t.globl\tleaf\n\t.type\tleaf,@function\nleaf:\n\t{\n\t\tjumpr r31\n\t}\n");
  r = RunAnalyser({"--testmode", "--elffile", image, "--folder", tmp / "src", "--outdir", tmp.path()});
  EXPECT_EQ(r.status, 255);
  EXPECT_TRUE(r.out.ends_with("\nTEST FAILED: function main not found in the source files\n")) << r.out;
}

TEST(TestModeEndToEnd, SourcesAndImageAgreeOnEverySample) {
  // main's worst path in each, from the listings: its own frame, then
  // printf 536 (allocframe(#528)), vsnprintf 88, out_num 72 and
  // __valdrin_udivsi3 8; dsp_pipeline reaches printf through board_hook
  // (24). main: dsp_pipeline 568, sensor_node 40, shapes_cpp 72.
  const std::vector<std::pair<std::string, std::string>> programs = {
      {"dsp_pipeline", "1296"}, {"sensor_node", "744"}, {"shapes_cpp", "776"}};
  for (const auto& [program, stack] : programs) {
    TempDir tmp;
    RunResult r = RunAnalyser({"--testmode", "--elffile", Sample(program + "/" + program + ".elf"), "--folder",
                               Sample(program + "/asm"), "--testresult", stack, "--outdir", tmp.path()});
    EXPECT_EQ(r.status, 0) << program << r.out;
    EXPECT_TRUE(r.out.ends_with("\nTEST PASSED WITH A MAIN STACK SIZE OF: " + stack + "\n")) << program << r.out;
  }
}
