// Scanning short texts 16 characters at a time for characters and short
// sequences, as the statement pre-checks do on every line.
#pragma once

#include <cstring>
#include <string_view>

// Calls block(p) for p at every 16th character of text, where block looks
// at the 16 characters from p and may read two more (to find a pair or a
// triple starting among them); true as soon as a block returns true. The
// last characters are read from a zeroed copy, so no read passes the end of
// the text: a sought sequence never holds a NUL.
template <class Block>
bool AnyTextBlock(std::string_view text, Block&& block) {
  const size_t n = text.size();
  size_t i = 0;
  for (; i + 18 <= n; i += 16) {
    if (block(text.data() + i)) return true;
  }
  // At most 17 characters remain, so every sequence starts in the first 16.
  alignas(16) char tail[32] = {};
  if (n > i) std::memcpy(tail, text.data() + i, n - i);
  return block(static_cast<const char*>(tail));
}
