// A whole source-folder run through the binary: two files with static
// functions of one name, recursion, an unknown callee, a tail jump, an
// address load and stack-pointer arithmetic. The expected reports were
// worked out by hand from the analysis rules.
#include <gtest/gtest.h>

#include "TestUtil.h"

using namespace testutil;

namespace {

// Runs the analyser on the fixture, isolated from the shipped libraries and
// aid figures.
struct SourceRun : FixtureRun {
  explicit SourceRun(const std::vector<std::string>& extra = {}) : FixtureRun("source_basic", extra) {}
};

// One function of VA_FunctionsByName.txt, laid out as the text report
// example spells out line by line.
std::string Entry(const std::string& name, const std::string& branch, const std::string& scope, int stack,
                  int cum, const std::string& calls = "") {
  return "   Function Name: " + name + "\n    Mangled Name: " + name + "\n     Branch Type: " + branch +
         "\n           Scope: " + scope + "\n           Stack: " + std::to_string(stack) +
         " bytes\nCumulative Stack: " + std::to_string(cum) + " bytes\n           Calls: " +
         (calls.empty() ? "None\n" : "Called function         Cumulative Stack, Branch Type\n" + calls) + "\n";
}

TEST(SourceAnalysisEndToEnd, FourTextReports) {
  SourceRun run;
  ASSERT_EQ(run.result.status, 0) << run.result.out;

  EXPECT_EQ(run.Report("VA_FunctionStackSizes.csv"),
            "Function Name, Cumulative Stack Size, Branch Type\n"
            "\"main\",152,Recursive\n"
            "\"compute\",128,Recursive\n"
            "\"helper\",48,Undetermined\n"
            "\"fact\",16,Recursive\n"
            "\"helper\",8,Closed\n"
            "\"ext_func\",0,Open\n"
            "\"on_event\",0,Closed\n"
            "\"tail_target\",0,Undetermined\n");

  const std::string c = "                  ";  // where a called function's line starts
  EXPECT_EQ(run.Report("VA_FunctionsByName.txt"),
            Entry("compute", "Recursive", "Global", 112, 128,
                  c + "helper                                 8, Recursive\n" +
                      c + "fact                                  16, Recursive\n") +
                Entry("ext_func", "Open", "Global", 0, 0) +
                Entry("fact", "Recursive", "Global", 16, 16, c + "fact                                  16, Recursive\n") +
                Entry("helper", "Undetermined", "Local", 48, 48,
                      c + "tail_target                            0, Undetermined\n") +
                Entry("helper", "Closed", "Local", 8, 8) +
                Entry("main", "Recursive", "Global", 24, 152,
                      c + "helper                                48, Recursive\n" + c +
                          "compute                              128, Recursive\n" + c +
                          "on_event                               0, Recursive\n" + c +
                          "ext_func                               0, Recursive\n") +
                Entry("on_event", "Closed", "Global", 0, 0) +
                Entry("tail_target", "Undetermined", "Global", 0, 0,
                      c + "on_event                               0, Undetermined\n"));

  EXPECT_EQ(run.Report("VA_WorstCaseCallPaths.txt"),
            "Call path for main\n"
            "\tTotal  152 bytes, local   24 bytes, main\n"
            "\tTotal  128 bytes, local  112 bytes, compute\n"
            "\tTotal   16 bytes, local   16 bytes, fact\n"
            "\tRecursive call to fact\n\n"
            "Call path for compute\n"
            "\tTotal  128 bytes, local  112 bytes, compute\n"
            "\tTotal   16 bytes, local   16 bytes, fact\n"
            "\tRecursive call to fact\n\n"
            "Call path for helper\n"
            "\tTotal   48 bytes, local   48 bytes, helper\n"
            "\tTotal    0 bytes, local    0 bytes, tail_target\n"
            "\tTotal    0 bytes, local    0 bytes, on_event\n\n"
            "Call path for fact\n"
            "\tTotal   16 bytes, local   16 bytes, fact\n"
            "\tRecursive call to fact\n\n"
            "Call path for tail_target\n"
            "\tTotal    0 bytes, local    0 bytes, tail_target\n"
            "\tTotal    0 bytes, local    0 bytes, on_event\n\n");

  EXPECT_EQ(run.Report("VA_UnknownFunctions.txt"), "ext_func\n");
}

TEST(SourceAnalysisEndToEnd, MessagesOfTheRun) {
  SourceRun run;
  ASSERT_EQ(run.result.status, 0) << run.result.out;
  const std::string& out = run.result.out;
  const std::string util = run.Canonical("util.s");
  EXPECT_TRUE(Has(out, "\n2 assembly files found\nPass1: Collecting functions ...\n")) << out;
  EXPECT_TRUE(Has(out, "Warning: Could not compute R29 = for function tail_target in file " + util +
                           "\nLine 57: \t\tr29 = add(r29,r3)\n"));
  EXPECT_TRUE(Has(out, "Recursion encountered at function fact in file " + util + "\n"));
  EXPECT_TRUE(Has(out, "Number of functions in source files: 8\nNumber of memory objects in source files: 0\n"
                       "Backend Processing Complete\n"));
}

}  // namespace
