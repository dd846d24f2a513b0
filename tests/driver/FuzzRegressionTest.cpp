// Replays the fuzzers' seed inputs and every input that once made one of
// them fail, so that a fixed fault stays fixed in the normal suite.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "TestUtil.h"
#include "FuzzBodies.h"

namespace fs = std::filesystem;

namespace {

using Body = void (*)(const uint8_t*, size_t);

size_t Replay(const std::string& target, Body body) {
  const fs::path dir = testutil::DataPath("fuzz/" + target);
  size_t count = 0;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    SCOPED_TRACE(entry.path().string());
    testutil::Captured([&] { body(bytes.data(), bytes.size()); });
    ++count;
  }
  return count;
}

TEST(FuzzRegression, SavedInputsRunCleanly) {
  fuzzbodies::SetListingImage(testutil::DataPath("samples/ctrl_loop/ctrl_loop.elf"));
  EXPECT_GT(Replay("mathparser", fuzzbodies::MathParserInput), 0u);
  EXPECT_GT(Replay("aidfile", fuzzbodies::AidFileInput), 0u);
  EXPECT_GT(Replay("rootfile", fuzzbodies::RootFileInput), 0u);
  EXPECT_GT(Replay("elffile", fuzzbodies::ElfFileInput), 0u);
  EXPECT_GT(Replay("assembly", fuzzbodies::AssemblyInput), 0u);
  EXPECT_GT(Replay("listing", fuzzbodies::ListingInput), 0u);
}

}  // namespace
