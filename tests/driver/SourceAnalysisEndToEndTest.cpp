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

  EXPECT_EQ(run.Report("VA_FunctionsByName.txt"), R"(   Function Name: compute
    Mangled Name: compute
     Branch Type: Recursive
           Scope: Global
           Stack: 112 bytes
Cumulative Stack: 128 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  helper                                 8, Recursive
                  fact                                  16, Recursive

   Function Name: ext_func
    Mangled Name: ext_func
     Branch Type: Open
           Scope: Global
           Stack: 0 bytes
Cumulative Stack: 0 bytes
           Calls: None

   Function Name: fact
    Mangled Name: fact
     Branch Type: Recursive
           Scope: Global
           Stack: 16 bytes
Cumulative Stack: 16 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  fact                                  16, Recursive

   Function Name: helper
    Mangled Name: helper
     Branch Type: Undetermined
           Scope: Local
           Stack: 48 bytes
Cumulative Stack: 48 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  tail_target                            0, Undetermined

   Function Name: helper
    Mangled Name: helper
     Branch Type: Closed
           Scope: Local
           Stack: 8 bytes
Cumulative Stack: 8 bytes
           Calls: None

   Function Name: main
    Mangled Name: main
     Branch Type: Recursive
           Scope: Global
           Stack: 24 bytes
Cumulative Stack: 152 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  helper                                48, Recursive
                  compute                              128, Recursive
                  on_event                               0, Recursive
                  ext_func                               0, Recursive

   Function Name: on_event
    Mangled Name: on_event
     Branch Type: Closed
           Scope: Global
           Stack: 0 bytes
Cumulative Stack: 0 bytes
           Calls: None

   Function Name: tail_target
    Mangled Name: tail_target
     Branch Type: Undetermined
           Scope: Global
           Stack: 0 bytes
Cumulative Stack: 0 bytes
           Calls: Called function         Cumulative Stack, Branch Type
                  on_event                               0, Undetermined

)");

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

TEST(SourceAnalysisEndToEnd, WarningSwitchesSilenceTheirLinesOnly) {
  SourceRun run({"--no-r29", "--no-recursion"});
  ASSERT_EQ(run.result.status, 0) << run.result.out;
  EXPECT_FALSE(Has(run.result.out, "Could not compute R29") || Has(run.result.out, "Recursion encountered"));
  // The marking stays: the figures are those of the default run.
  const std::string csv = run.Report("VA_FunctionStackSizes.csv");
  EXPECT_TRUE(Has(csv, "\"tail_target\",0,Undetermined\n") && Has(csv, "\"fact\",16,Recursive\n")) << csv;
}

}  // namespace
