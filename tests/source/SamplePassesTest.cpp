// Both passes over the compiler output of the sample programs. The expected
// frames are the compiler's stack-usage figures (su/ files) plus the 8 bytes
// of the frame record for every function with an allocframe; the r29
// adjustments are added where they are constant, and frames that depend on
// run-time values (alloca, variable-length arrays: "dynamic" in su/) are
// marked undetermined.
#include <map>
#include <set>

#include "PassTestUtil.h"

using passtest::Calls;

namespace {

struct Expected {
  std::map<std::string, int> frames;  // every function the assembly defines
  std::set<std::string> undetermined;
};

void CheckSample(const std::string& sample, const Expected& expected, FileParser& p) {
  p.sourceFolders = {testutil::DataPath("samples/" + sample + "/asm")};
  p.warnAtObject = p.warnObjSize = false;  // object declarations are not under test here
  testing::internal::CaptureStdout();
  ASSERT_EQ(p.ProcessSourceDirectories(), 0);
  testing::internal::GetCapturedStdout();
  std::map<std::string, int> found;
  std::set<std::string> undetermined;
  for (const auto& [key, record] : p.functionMap) {
    if (record->IsFound) found[key] = record->Stack;
    if (record->BranchType == Undetermined) undetermined.insert(key);
  }
  EXPECT_EQ(found, expected.frames) << sample;
  EXPECT_EQ(undetermined, expected.undetermined) << sample;
}

TEST(SamplePasses, CtrlLoop) {
  FileParser p;
  CheckSample("ctrl_loop",
              {{{"factorial", 16 + 8}, {"calc_eval", 24 + 8}, {"parse_expr-of-calc.s", 32 + 8},
                {"log_line-of-calc.s", 16 + 8}, {"parse_term-of-calc.s", 32 + 8},
                {"parse_factor-of-calc.s", 8 + 8}, {"parse_number-of-calc.s", 16 + 8}, {"pid_init", 16 + 8},
                {"pid_step", 24 + 8},
                // allocframe(#0) and then r29 = add(r29,#-20032)
                {"record_history", 0 + 8 + 20032},
                // 48 static bytes; the variable-length array is not counted
                {"smooth", 48 + 8},
                {"main", 216 + 8}, {"sum_abs-of-main.s", 16 + 8}, {"log_line-of-main.s", 16 + 8}},
               {"smooth"}},
              p);
  EXPECT_EQ(Calls(p.FindFuncItem("factorial")), (std::vector<std::string>{"factorial"}));
  EXPECT_EQ(Calls(p.FindFuncItem("calc_eval")),
            (std::vector<std::string>{"parse_expr-of-calc.s", "log_line-of-calc.s"}));
  EXPECT_EQ(p.FindFuncItem("printf")->BranchType, Open);
}

TEST(SamplePasses, DspPipeline) {
  FileParser p;
  CheckSample("dsp_pipeline",
              {{{"board_hook", 16 + 8},  // the weak board_hook of util.s gives way
                {"fft_stage", 24 + 8}, {"fft_rec-of-fft.s", 88 + 8}, {"saturate-of-fft.s", 0},
                {"fir_stage", 352 + 8}, {"saturate-of-filter.s", 0}, {"iir_stage", 56 + 8}, {"main", 560 + 8},
                {"stats_stage", 16 + 8}, {"cmp_int-of-stats.s", 0}, {"__pipeline_reset_impl", 0}},
               {"fft_stage"}},
              p);
  // pipeline_reset is a .set alias of __pipeline_reset_impl.
  EXPECT_EQ(Calls(p.FindFuncItem("main")),
            (std::vector<std::string>{"__valdrin_memcpy_likely_aligned_min32bytes_mult8bytes", "printf",
                                      "board_hook", "__pipeline_reset_impl"}));
  EXPECT_EQ(Calls(p.FindFuncItem("fft_rec-of-fft.s")),
            (std::vector<std::string>{"fft_rec-of-fft.s", "__valdrin_divsi3", "saturate-of-fft.s"}));
}

TEST(SamplePasses, SensorNode) {
  FileParser p;
  CheckSample("sensor_node",
              {{{"main", 32 + 8}, {"node_report", 16 + 8}, {"on_temp", 0}, {"on_humidity", 0},
                {"read_channel", 0}, {"dispatch", 0 + 8}, {"channel_rms", 24 + 8}},
               {}},
              p);
  // call ##f, and report_now, a .set alias of node_report.
  EXPECT_EQ(Calls(p.FindFuncItem("main")),
            (std::vector<std::string>{"node_report", "channel_rms", "hypotf", "printf"}));
  EXPECT_EQ(p.FindMemItem("calib_offset-of-sensors.s")->Size, 4);
  EXPECT_EQ(p.FindMemItem("total_energy")->Size, 8);
}

TEST(SamplePasses, ShapesCpp) {
  FileParser p;
  CheckSample("shapes_cpp",
              {{{"main", 64 + 8}, {"_ZN3geo9sort_ptrsINS_5ShapeEEEvPPT_i", 32 + 8}, {"_ZN3geo5ShapeD2Ev", 0},
                {"_ZN3geo5ShapeD0Ev", 0}, {"_ZNK3geo5Shape4nameEv", 0}, {"_ZN3geo8RegistryD2Ev", 8 + 8},
                {"_ZNK3geo5ShapeltERKS0_", 8 + 8}, {"_ZN3geo5Shape7createdEv", 0}, {"_ZNK3geo4Rect4areaEv", 0},
                {"_ZNK3geo6Circle4areaEv", 0}, {"_ZN3geo4RectD0Ev", 0 + 8}, {"_ZNK3geo4Rect4nameEv", 0},
                {"_ZN3geo6CircleD0Ev", 0 + 8}, {"_ZNK3geo6Circle4nameEv", 0},
                {"_GLOBAL__sub_I_shapes.cpp-of-shapes.s", 0 + 8}},
               {}},
              p);
  // The destructor whose address goes to __cxa_atexit counts as called.
  const __func_attr* init = p.FindFuncItem("_GLOBAL__sub_I_shapes.cpp-of-shapes.s");
  EXPECT_EQ(Calls(init), (std::vector<std::string>{"puts", "_ZN3geo8RegistryD2Ev", "__cxa_atexit"}));
  EXPECT_TRUE(init->HasPtrToFunc);
}

}  // namespace
