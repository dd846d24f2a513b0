// Helpers for the tests of the assembly passes: files in a temporary folder,
// both passes run over them with standard output captured.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestUtil.h"
#include "source/FileParser.h"

namespace passtest {

inline std::vector<std::string> WriteFiles(const testutil::TempDir& dir,
                                           const std::vector<std::pair<std::string, std::string>>& files) {
  std::vector<std::string> paths;
  for (const auto& [name, content] : files) {
    paths.push_back(dir / name);
    testutil::WriteFile(paths.back(), content);
  }
  return paths;
}

// Pass 1 over all files, then pass 2 (as the source scan does); returns
// what was printed.
inline std::string RunPasses(FileParser& parser, const std::vector<std::string>& paths, bool pass2 = true) {
  testing::internal::CaptureStdout();
  for (const std::string& path : paths) parser.ParseAssemblyFile(path, 1);
  if (pass2) {
    for (const std::string& path : paths) parser.ParseAssemblyFile(path, 2);
    parser.DeleteList(ListFalseFunction);
  }
  return testing::internal::GetCapturedStdout();
}

inline bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

inline std::vector<std::string> Calls(const __func_attr* record) {
  std::vector<std::string> calls;
  if (record != nullptr) calls.assign(record->callList.begin(), record->callList.end());
  return calls;
}

}  // namespace passtest
