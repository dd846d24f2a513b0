// Helpers for the tests of the assembly passes and the listing parser.
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

// Pass 1 over all files, then pass 2 (as the source scan does); returns what was printed.
inline std::string RunPasses(FileParser& parser, const std::vector<std::string>& paths, bool pass2 = true) {
  testing::internal::CaptureStdout();
  for (const std::string& path : paths) parser.ParseAssemblyFile(path, 1);
  if (pass2) {
    for (const std::string& path : paths) parser.ParseAssemblyFile(path, 2);
    parser.DeleteList(ListFalseFunction);
  }
  return testing::internal::GetCapturedStdout();
}

// Image mode over an ELF file, with its maps built and the messages dropped.
inline void LoadImage(FileParser& p, const std::string& elf, int objdumpKind = 2) {
  p.elfMode = true;
  p.objdumpKind = objdumpKind;
  int read = -1, built = -1;
  testutil::Captured([&] { read = p.ReadElfIntoElfMaps(elf, 1), built = p.BuildMapsFromElfData(); });
  EXPECT_TRUE(read == 0 && built == 0) << elf;
}

}  // namespace passtest
