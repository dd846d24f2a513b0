// libFuzzer entry point, built once per input reader with FUZZ_BODY naming
// the body (see FuzzBodies.cpp).
#include <cstdio>

#include "FuzzBodies.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The analyser reports on standard output; a fuzzer has no use for it.
  if (!std::freopen("/dev/null", "w", stdout)) return 0;
  fuzzbodies::SetListingImage(FUZZ_LISTING_IMAGE);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzbodies::FUZZ_BODY(data, size);
  return 0;
}
