// Both passes over the compiler output of the sample programs. The expected
// frames are the compiler's stack-usage figures (su/ files) plus the 8 bytes
// of the frame record for every function with an allocframe, plus constant
// r29 adjustments; frames that depend on run-time values ("dynamic" in su/)
// are undetermined.
#include <map>
#include <set>

#include "PassTestUtil.h"

using passtest::Calls;
using Strings = std::vector<std::string>;

namespace {

void CheckSample(FileParser& p, const std::string& sample, const std::map<std::string, int>& frames,
                 const std::set<std::string>& undetermined) {
  p.sourceFolders = {testutil::DataPath("samples/" + sample + "/asm")};
  p.warnAtObject = p.warnObjSize = false;  // object declarations are not under test here
  testing::internal::CaptureStdout();
  ASSERT_EQ(p.ProcessSourceDirectories(), 0);
  testing::internal::GetCapturedStdout();
  std::map<std::string, int> found;  // every function the assembly defines, with its frame
  std::set<std::string> open;
  for (const auto& [key, record] : p.functionMap) {
    if (record->IsFound) found[key] = record->Stack;
    if (record->BranchType == Undetermined) open.insert(key);
  }
  EXPECT_EQ(found, frames) << sample;
  EXPECT_EQ(open, undetermined) << sample;
}

TEST(SamplePasses, CtrlLoopAndDspPipeline) {
  FileParser p;
  CheckSample(p, "ctrl_loop",
              {{"factorial", 16 + 8}, {"calc_eval", 24 + 8}, {"parse_expr-of-calc.s", 32 + 8},
               {"log_line-of-calc.s", 16 + 8}, {"parse_term-of-calc.s", 32 + 8}, {"parse_factor-of-calc.s", 8 + 8},
               {"parse_number-of-calc.s", 16 + 8}, {"pid_init", 16 + 8}, {"pid_step", 24 + 8},
               {"record_history", 0 + 8 + 20032},  // allocframe(#0), then r29 = add(r29,#-20032)
               {"smooth", 48 + 8},                 // the variable-length array is not counted
               {"main", 216 + 8}, {"sum_abs-of-main.s", 16 + 8}, {"log_line-of-main.s", 16 + 8}},
              {"smooth"});
  EXPECT_EQ(Calls(p.FindFuncItem("factorial")), Strings{"factorial"});
  EXPECT_EQ(Calls(p.FindFuncItem("calc_eval")), (Strings{"parse_expr-of-calc.s", "log_line-of-calc.s"}));
  EXPECT_EQ(p.FindFuncItem("printf")->BranchType, Open);

  FileParser q;
  CheckSample(q, "dsp_pipeline",
              {{"board_hook", 16 + 8},  // the weak board_hook of util.s gives way
               {"fft_stage", 24 + 8}, {"fft_rec-of-fft.s", 88 + 8}, {"saturate-of-fft.s", 0}, {"fir_stage", 352 + 8},
               {"saturate-of-filter.s", 0}, {"iir_stage", 56 + 8}, {"main", 560 + 8}, {"stats_stage", 16 + 8},
               {"cmp_int-of-stats.s", 0}, {"__pipeline_reset_impl", 0}},
              {"fft_stage"});
  // pipeline_reset is a .set alias of __pipeline_reset_impl.
  EXPECT_EQ(Calls(q.FindFuncItem("main")), (Strings{"__valdrin_memcpy_likely_aligned_min32bytes_mult8bytes",
                                                    "printf", "board_hook", "__pipeline_reset_impl"}));
}

TEST(SamplePasses, SensorNodeAndShapesCpp) {
  FileParser p;
  CheckSample(p, "sensor_node",
              {{"main", 32 + 8}, {"node_report", 16 + 8}, {"on_temp", 0}, {"on_humidity", 0}, {"read_channel", 0},
               {"dispatch", 0 + 8}, {"channel_rms", 24 + 8}},
              {});
  // call ##f, and report_now, a .set alias of node_report.
  EXPECT_EQ(Calls(p.FindFuncItem("main")), (Strings{"node_report", "channel_rms", "hypotf", "printf"}));
  EXPECT_EQ(p.FindMemItem("calib_offset-of-sensors.s")->Size, 4);
  EXPECT_EQ(p.FindMemItem("total_energy")->Size, 8);

  FileParser q;
  CheckSample(q, "shapes_cpp",
              {{"main", 64 + 8}, {"_ZN3geo9sort_ptrsINS_5ShapeEEEvPPT_i", 32 + 8}, {"_ZN3geo5ShapeD2Ev", 0},
               {"_ZN3geo5ShapeD0Ev", 0}, {"_ZNK3geo5Shape4nameEv", 0}, {"_ZN3geo8RegistryD2Ev", 8 + 8},
               {"_ZNK3geo5ShapeltERKS0_", 8 + 8}, {"_ZN3geo5Shape7createdEv", 0}, {"_ZNK3geo4Rect4areaEv", 0},
               {"_ZNK3geo6Circle4areaEv", 0}, {"_ZN3geo4RectD0Ev", 0 + 8}, {"_ZNK3geo4Rect4nameEv", 0},
               {"_ZN3geo6CircleD0Ev", 0 + 8}, {"_ZNK3geo6Circle4nameEv", 0},
               {"_GLOBAL__sub_I_shapes.cpp-of-shapes.s", 0 + 8}},
              {});
  // The destructor whose address goes to __cxa_atexit counts as called.
  const __func_attr* init = q.FindFuncItem("_GLOBAL__sub_I_shapes.cpp-of-shapes.s");
  EXPECT_EQ(Calls(init), (Strings{"puts", "_ZN3geo8RegistryD2Ev", "__cxa_atexit"}));
  EXPECT_TRUE(init->HasPtrToFunc);
}

}  // namespace
