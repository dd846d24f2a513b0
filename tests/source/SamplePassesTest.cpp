// Both passes over the compiler output of the four sample programs. A frame
// is the compiler's stack-usage figure plus 8 bytes of frame record for each
// allocframe plus constant r29 adjustments; run-time sized frames are
// undetermined.
#include <map>
#include <set>

#include "PassTestUtil.h"

using Strings = std::vector<std::string>;

namespace {

struct Sample {  // the frame of every function the assembly defines, and one call list
  const char* name; std::map<std::string, int> frames; std::set<std::string> undetermined;
  std::string caller; Strings calls;
};

TEST(SamplePasses, FramesAndCallsOfAllSamples) {
  const std::vector<Sample> samples = {
      {"ctrl_loop",
       {{"factorial", 24}, {"calc_eval", 32}, {"parse_expr-of-calc.s", 40}, {"log_line-of-calc.s", 24},
        {"parse_term-of-calc.s", 40}, {"parse_factor-of-calc.s", 16}, {"parse_number-of-calc.s", 24},
        {"pid_init", 24}, {"pid_step", 32}, {"record_history", 8 + 20032}, {"smooth", 56}, {"main", 224},
        {"sum_abs-of-main.s", 24}, {"log_line-of-main.s", 24}},
       {"smooth"}, "calc_eval", {"parse_expr-of-calc.s", "log_line-of-calc.s"}},
      {"dsp_pipeline",  // the weak board_hook of util.s gives way; pipeline_reset is a .set alias
       {{"board_hook", 24}, {"fft_stage", 32}, {"fft_rec-of-fft.s", 96}, {"saturate-of-fft.s", 0}, {"fir_stage", 360},
        {"saturate-of-filter.s", 0}, {"iir_stage", 64}, {"main", 568}, {"stats_stage", 24}, {"cmp_int-of-stats.s", 0},
        {"__pipeline_reset_impl", 0}},
       {"fft_stage"}, "main",
       {"__valdrin_memcpy_likely_aligned_min32bytes_mult8bytes", "printf", "board_hook", "__pipeline_reset_impl"}},
      {"sensor_node",  // call ##f, and report_now, a .set alias of node_report
       {{"main", 40}, {"node_report", 24}, {"on_temp", 0}, {"on_humidity", 0}, {"read_channel", 0}, {"dispatch", 8},
        {"channel_rms", 32}},
       {}, "main", {"node_report", "channel_rms", "hypotf", "printf"}},
      {"shapes_cpp",  // the destructor handed to __cxa_atexit counts as called
       {{"main", 72}, {"_ZN3geo9sort_ptrsINS_5ShapeEEEvPPT_i", 40}, {"_ZN3geo5ShapeD2Ev", 0}, {"_ZN3geo5ShapeD0Ev", 0},
        {"_ZNK3geo5Shape4nameEv", 0}, {"_ZN3geo8RegistryD2Ev", 16}, {"_ZNK3geo5ShapeltERKS0_", 16},
        {"_ZN3geo5Shape7createdEv", 0}, {"_ZNK3geo4Rect4areaEv", 0}, {"_ZNK3geo6Circle4areaEv", 0},
        {"_ZN3geo4RectD0Ev", 8}, {"_ZNK3geo4Rect4nameEv", 0}, {"_ZN3geo6CircleD0Ev", 8},
        {"_ZNK3geo6Circle4nameEv", 0}, {"_GLOBAL__sub_I_shapes.cpp-of-shapes.s", 8}},
       {}, "_GLOBAL__sub_I_shapes.cpp-of-shapes.s", {"puts", "_ZN3geo8RegistryD2Ev", "__cxa_atexit"}}};
  for (const Sample& s : samples) {
    FileParser p;
    p.sourceFolders = {testutil::DataPath("samples/" + std::string(s.name) + "/asm")};
    p.warnAtObject = p.warnObjSize = false;
    int rc = -2;
    testutil::Captured([&] { rc = p.ProcessSourceDirectories(); });
    ASSERT_EQ(rc, 0) << s.name;
    std::map<std::string, int> found;
    std::set<std::string> open;
    for (const auto& [key, record] : p.functionMap) {
      if (record->IsFound) found[key] = record->Stack;
      if (record->BranchType == Undetermined) open.insert(key);
    }
    EXPECT_EQ(found, s.frames) << s.name;
    EXPECT_EQ(open, s.undetermined) << s.name;
    EXPECT_EQ(testutil::Calls(p.FindFuncItem(s.caller)), s.calls) << s.name;
  }
}

}  // namespace
