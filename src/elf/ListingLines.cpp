#include "elf/ListingLines.h"

#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "source/TextBlocks.h"

namespace {

#ifdef __SSE2__
// Bit i set when p[i] is a hexadecimal digit, for the 16 characters at p.
uint32_t HexDigitBits(__m128i v) {
  // x < n as unsigned bytes: the saturated x - (n - 1) is 0.
  const __m128i digit =
      _mm_cmpeq_epi8(_mm_subs_epu8(_mm_sub_epi8(v, _mm_set1_epi8('0')), _mm_set1_epi8(9)), _mm_setzero_si128());
  const __m128i letter = _mm_cmpeq_epi8(
      _mm_subs_epu8(_mm_sub_epi8(_mm_or_si128(v, _mm_set1_epi8(0x20)), _mm_set1_epi8('a')), _mm_set1_epi8(5)),
      _mm_setzero_si128());
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(digit, letter)));
}
#endif

bool IsHex(char c) {
  const char lower = static_cast<char>(c | 0x20);
  return (c >= '0' && c <= '9') || (lower >= 'a' && lower <= 'f');
}

}  // namespace

void AddressColumns(std::string_view line, size_t& begin, size_t& end) {
#ifdef __SSE2__
  // Nearly every address ends within the first 16 characters: found from
  // two masks, without a loop whose length varies from line to line.
  if (line.size() >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(line.data()));
    const uint32_t notSpace = ~static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')))) & 0xFFFF;
    if (notSpace != 0) {
      const size_t first = static_cast<size_t>(__builtin_ctz(notSpace));
      const uint32_t notHex = ~HexDigitBits(v) & (0xFFFFu << first) & 0xFFFF;
      if (notHex != 0) {
        begin = first;
        end = static_cast<size_t>(__builtin_ctz(notHex));
        return;
      }
    }
  }
#endif
  size_t i = 0;
  while (i < line.size() && line[i] == ' ') ++i;
  begin = i;
  while (i < line.size() && IsHex(line[i])) ++i;
  end = i;
}

size_t InstructionEncodingLength(std::string_view text) {
  constexpr size_t kLength = 21;
  if (text.size() < kLength) return 0;
  // Bit i of each mask stands for text[i].
  constexpr uint32_t kHexAt = 0xff6db;         // 0-1, 3-4, 6-7, 9-10, 12-19
  constexpr uint32_t kBlankAt = 0x100924;      // 2, 5, 8, 11, 20
  uint32_t hex = 0, blank = 0;
#ifdef __SSE2__
  // Two overlapping loads of 16 cover the 21 characters.
  auto classify = [](const char* p, uint32_t& hexBits, uint32_t& blankBits) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i blanks = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\t')));
    hexBits = HexDigitBits(v);
    blankBits = static_cast<uint32_t>(_mm_movemask_epi8(blanks));
  };
  uint32_t hexTail = 0, blankTail = 0;
  classify(text.data(), hex, blank);
  classify(text.data() + 5, hexTail, blankTail);
  hex |= hexTail << 5;
  blank |= blankTail << 5;
#else
  for (size_t i = 0; i < kLength; ++i) {
    const char c = text[i];
    if (IsHex(c)) hex |= 1u << i;
    if (c == ' ' || c == '\t') blank |= 1u << i;
  }
#endif
  return (hex & kHexAt) == kHexAt && (blank & kBlankAt) == kBlankAt ? kLength : 0;
}

KeywordHint InstructionKeywordHint(std::string_view text) {
  bool r29 = false;
#ifdef __SSE2__
  // Three views of 16 characters, shifted by one each: a pair (or r29)
  // starting anywhere in the first view is found with one compare per view.
  const bool other = AnyTextBlock(text, [&r29](const char* p) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2));
    auto pair = [&](char first, char second) {
      return _mm_and_si128(_mm_cmpeq_epi8(a, _mm_set1_epi8(first)), _mm_cmpeq_epi8(b, _mm_set1_epi8(second)));
    };
    r29 |= _mm_movemask_epi8(_mm_and_si128(pair('r', '2'), _mm_cmpeq_epi8(c, _mm_set1_epi8('9')))) != 0;
    __m128i hit = _mm_or_si128(pair('a', 'l'), pair('j', 'u'));
    hit = _mm_or_si128(hit, _mm_or_si128(pair('.', 'l'), pair('.', 'h')));
    hit = _mm_or_si128(hit, _mm_or_si128(pair('R', '_'), pair('#', '#')));
    hit = _mm_or_si128(hit, _mm_or_si128(pair('(', '#'), pair('(', 'g')));
    return _mm_movemask_epi8(hit) != 0;
  });
#else
  bool other = false;
  for (std::string_view part : {"al", "ju", ".l", ".h", "R_", "##", "(#", "(g"}) {
    other = other || text.find(part) != std::string_view::npos;
  }
  r29 = text.find("r29") != std::string_view::npos;
#endif
  if (other) return KeywordHint::kAny;
  return r29 ? KeywordHint::kR29Only : KeywordHint::kNone;
}

ListingLineReader::ListingLineReader(FILE* file, size_t blockSize)
    : file_(file), blockSize_(blockSize < 2 * kMaxLine ? 2 * kMaxLine : blockSize), buffer_(blockSize_ + kScanSlack) {
  carry_.reserve(kMaxLine);
}

bool ListingLineReader::Refill() {
  if (eof_) return false;
  // Keep the unread tail at the front of the buffer.
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  size_t got = 0;
  if (end_ < blockSize_) {
    got = std::fread(buffer_.data() + end_, 1, blockSize_ - end_, file_);
    if (got == 0) eof_ = true;
    end_ += got;
  }
  nul_ = FindNul(begin_);
  return got > 0 || end_ == blockSize_;
}

size_t ListingLineReader::FindNul(size_t from) const {
  const void* nul = std::memchr(buffer_.data() + from, '\0', end_ - from);
  return nul != nullptr ? static_cast<size_t>(static_cast<const char*>(nul) - buffer_.data()) : end_;
}

const char* ListingLineReader::ScanLine() {
  const char* const start = buffer_.data() + begin_;
  const char* const limit = buffer_.data() + end_;
  semicolon_ = kNone;
  brace_ = kNone;
  for (const char* p = start; p < limit; p += 64) {
    uint64_t newlines = 0, semicolons = 0, braces = 0;
#ifdef __SSE2__
    for (int i = 0; i < 4; ++i) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i));
      auto bits = [&](char c) {
        return static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(c)))))
               << (16 * i);
      };
      newlines |= bits('\n');
      semicolons |= bits(';');
      braces |= bits('{');
    }
#else
    for (int i = 0; i < 64; ++i) {
      newlines |= static_cast<uint64_t>(p[i] == '\n') << i;
      semicolons |= static_cast<uint64_t>(p[i] == ';') << i;
      braces |= static_cast<uint64_t>(p[i] == '{') << i;
    }
#endif
    // Only the characters before the end of the data count. Marks past
    // the newline may be set: Next keeps only those within the line.
    const size_t valid = static_cast<size_t>(limit - p);
    const uint64_t keep = valid < 64 ? (uint64_t{1} << valid) - 1 : ~uint64_t{0};
    newlines &= keep;
    const size_t offset = static_cast<size_t>(p - start);
    if (semicolon_ == kNone && (semicolons & keep) != 0) semicolon_ = offset + __builtin_ctzll(semicolons & keep);
    if (brace_ == kNone && (braces & keep) != 0) brace_ = offset + __builtin_ctzll(braces & keep);
    if (newlines != 0) return p + __builtin_ctzll(newlines);
  }
  return nullptr;
}

void ListingLineReader::MarkLine(std::string_view line) {
  semicolon_ = line.find(';');
  brace_ = line.find('{');
}

bool ListingLineReader::Next(std::string_view& line) {
  for (;;) {
    const char* start = buffer_.data() + begin_;
    const char* newline = ScanLine();
    if (newline == nullptr && !eof_ && end_ - begin_ <= kMaxLine) {
      // Not a whole line in the buffer yet and it may still fit: read more.
      if (Refill()) continue;
      start = buffer_.data() + begin_;
      newline = ScanLine();
    }
    if (newline == nullptr && end_ == begin_) return false;  // end of file

    size_t available = newline ? static_cast<size_t>(newline - start) : end_ - begin_;
    size_t length = available < kMaxLine ? available : kMaxLine;
    if (newline != nullptr || eof_) {
      // A whole line (or the last one without newline) lies in the buffer.
      if (nul_ < begin_ + length) length = nul_ - begin_;
      line = std::string_view(start, length);
      if (semicolon_ >= length) semicolon_ = kNone;
      if (brace_ >= length) brace_ = kNone;
      size_t step = newline ? available + 1 : available;
      begin_ += step;
      consumed_ += static_cast<long long>(step);
      if (nul_ < begin_) nul_ = FindNul(begin_);
      return true;
    } else {
      // An overlong line: keep its head, skip to its newline.
      carry_.assign(start, start + length);
      consumed_ += static_cast<long long>(end_ - begin_);
      begin_ = end_;
      for (;;) {
        if (!Refill()) break;
        const char* s = buffer_.data() + begin_;
        const char* nl = static_cast<const char*>(std::memchr(s, '\n', end_ - begin_));
        size_t skip = nl ? static_cast<size_t>(nl - s) + 1 : end_ - begin_;
        begin_ += skip;
        consumed_ += static_cast<long long>(skip);
        if (nl) break;
      }
      if (nul_ < begin_) nul_ = FindNul(begin_);
      line = std::string_view(carry_.data(), carry_.size());
      size_t nul = line.find('\0');
      if (nul != std::string_view::npos) line = line.substr(0, nul);
      MarkLine(line);
    }
    return true;
  }
}
