// One function per input reader that feeds it arbitrary bytes and then
// exercises what it built. libFuzzer targets call them, and the test suite
// replays every saved input through them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzzbodies {

void MathParserInput(const uint8_t* data, size_t size);
void AidFileInput(const uint8_t* data, size_t size);
void RootFileInput(const uint8_t* data, size_t size);
void ElfFileInput(const uint8_t* data, size_t size);
void AssemblyInput(const uint8_t* data, size_t size);
void ListingInput(const uint8_t* data, size_t size);

// The image the listing input is parsed against.
void SetListingImage(const std::string& path);

}  // namespace fuzzbodies
