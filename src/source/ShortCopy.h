// Copying texts that are mostly a few dozen bytes long, where a library
// call per copy costs more than the copy itself.
#pragma once

#include <cstdint>
#include <cstring>

namespace short_copy_detail {
// The first and the last word of n bytes, sizeof(Word) <= n <= 2 * sizeof(Word).
template <class Word>
inline void CopyEnds(char* to, const char* from, size_t n) {
  Word head, tail;
  std::memcpy(&head, from, sizeof(Word));
  std::memcpy(&tail, from + n - sizeof(Word), sizeof(Word));
  std::memcpy(to, &head, sizeof(Word));
  std::memcpy(to + n - sizeof(Word), &tail, sizeof(Word));
}
}  // namespace short_copy_detail

// Copies n bytes between buffers that do not overlap. Copies of up to 64
// bytes are moves of a fixed size, the last two overlapping, which the
// compiler inlines; nothing outside the source is read.
inline void CopyShortBytes(char* to, const char* from, size_t n) {
  using short_copy_detail::CopyEnds;
  if (n > 64) {
    std::memcpy(to, from, n);
  } else if (n >= 16) {
    for (size_t i = 16; i < n; i += 16) std::memcpy(to + i - 16, from + i - 16, 16);
    char tail[16];
    std::memcpy(tail, from + n - 16, 16);
    std::memcpy(to + n - 16, tail, 16);
  } else if (n >= 8) {
    CopyEnds<uint64_t>(to, from, n);
  } else if (n >= 4) {
    CopyEnds<uint32_t>(to, from, n);
  } else if (n > 0) {
    to[0] = from[0];
    to[n / 2] = from[n / 2];
    to[n - 1] = from[n - 1];
  }
}
