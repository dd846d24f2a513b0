// Block-wise line reading and ";" splitting with the results of the stream
// reads the statement boundaries are defined by.
#include "source/LineReader.h"

#include <algorithm>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// Bit i set when p[i] is a newline, ';' or NUL, for the 64 bytes at p.
uint64_t StopBits(const char* p) {
#ifdef __SSE2__
  const __m128i newline = _mm_set1_epi8('\n');
  const __m128i semicolon = _mm_set1_epi8(';');
  const __m128i nul = _mm_setzero_si128();
  uint64_t bits = 0;
  for (int i = 0; i < 4; ++i) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i));
    const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, newline), _mm_cmpeq_epi8(v, semicolon)),
                                     _mm_cmpeq_epi8(v, nul));
    bits |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(hit))) << (16 * i);
  }
  return bits;
#else
  uint64_t bits = 0;
  for (int i = 0; i < 64; ++i) {
    if (p[i] == '\n' || p[i] == ';' || p[i] == '\0') bits |= uint64_t{1} << i;
  }
  return bits;
#endif
}

}  // namespace

BlockLineReader::BlockLineReader(std::FILE* file, std::vector<char>& buffer, size_t blockSize)
    : file_(file), buffer_(buffer), blockSize_(std::max(blockSize, kLineBufferSize)) {
  // Room for a whole block after a carried-over line start.
  const size_t needed = blockSize_ + kLineBufferSize + kScanSlack;
  if (buffer_.size() < needed) buffer_.resize(needed);
}

bool BlockLineReader::Fill() {
  if (eof_ || file_ == nullptr) {
    eof_ = true;
    return false;
  }
  // Carry the unread tail (always shorter than one line) to the front.
  const size_t rest = end_ - pos_;
  if (rest != 0 && pos_ != 0) std::memmove(buffer_.data(), buffer_.data() + pos_, rest);
  pos_ = 0;
  end_ = rest;
  const size_t room = std::min(blockSize_, buffer_.size() - kScanSlack - end_);
  const size_t got = std::fread(buffer_.data() + end_, 1, room, file_);
  end_ += got;
  stopsValid_ = false;
  if (got == 0) eof_ = true;
  return got != 0;
}

int BlockLineReader::Peek() {
  if (failed_) return EOF;
  if (pos_ == end_ && !Fill()) return EOF;
  return static_cast<unsigned char>(buffer_[pos_]);
}

bool BlockLineReader::ReadLine(std::string_view& line, size_t& consumed) {
  line = {};
  consumed = 0;
  stopsValid_ = false;
  if (failed_) return false;
  for (;;) {
    const size_t available = end_ - pos_;
    const size_t scan = std::min(available, kLineBufferSize);
    const char* start = buffer_.data() + pos_;
    if (const void* newline = std::memchr(start, '\n', scan)) {
      const size_t length = static_cast<size_t>(static_cast<const char*>(newline) - start);
      line = std::string_view(start, length);
      consumed = length + 1;
      pos_ += consumed;
      return true;
    }
    if (available >= kLineBufferSize) {
      // 1023 characters stored and the next one is no newline: the read
      // fails and the stream stays failed.
      line = std::string_view(start, kLineBufferSize - 1);
      consumed = kLineBufferSize - 1;
      pos_ += consumed;
      failed_ = true;
      return false;
    }
    if (!eof_ && Fill()) continue;
    // End of file inside a short last line without newline.
    start = buffer_.data() + pos_;
    line = std::string_view(start, available);
    consumed = available;
    pos_ = end_;
    if (available == 0) {
      failed_ = true;
      return false;
    }
    return true;
  }
}

void BlockLineReader::ScanStops(size_t base) {
  stopsBase_ = base;
  stops_ = StopBits(buffer_.data() + base);
  const size_t valid = end_ - base;
  if (valid < 64) stops_ &= (uint64_t{1} << valid) - 1;
  stopsValid_ = true;
}

bool BlockLineReader::ReadPlainLineScanning(std::string_view& line) {
  if (failed_) return false;
  for (;;) {
    if (!stopsValid_) {
      if (pos_ == end_) {
        if (eof_ || !Fill()) return false;
        continue;
      }
      ScanStops(pos_);
    }
    if (stops_ != 0) {
      const size_t stop = stopsBase_ + static_cast<size_t>(__builtin_ctzll(stops_));
      // Plain: ended by a newline within the first 1024 characters.
      if (stop - pos_ >= kLineBufferSize || buffer_[stop] != '\n') return false;
      line = std::string_view(buffer_.data() + pos_, stop - pos_);
      pos_ = stop + 1;
      stops_ &= stops_ - 1;
      return true;
    }
    // No stop in the window: the next one, more data, or the general path
    // for an overlong line or the end of the file.
    const size_t next = stopsBase_ + 64;
    if (next < end_) {
      if (next - pos_ >= kLineBufferSize) return false;
      ScanStops(next);
    } else if (end_ - pos_ >= kLineBufferSize || eof_ || !Fill()) {
      return false;
    }
  }
}

StatementSplitter::StatementSplitter(std::string_view line, size_t limit) : line_(line), limit_(limit) {
  // The common case: a line read up to its newline (so the limit leaves room
  // for all of it) without ';' is a single statement, or none when empty.
  whole_ = limit == line.size() + 1 && std::memchr(line.data(), ';', line.size()) == nullptr;
  done_ = whole_ && line.empty();
}

bool StatementSplitter::Next(std::string_view& statement) {
  statement = {};
  if (done_) return false;
  if (whole_) {
    done_ = true;
    statement = CutAtNul(line_);
    return true;
  }
  // At most limit - 1 characters are stored; the one after them may still be
  // the delimiter.
  const size_t maxStored = limit_ > 0 ? limit_ - 1 : 0;
  const size_t remaining = line_.size() - pos_;
  const size_t stored = std::min(maxStored, remaining);
  const size_t scan = std::min(stored + 1, remaining);
  const char* start = line_.data() + pos_;
  const void* semicolon = scan != 0 ? std::memchr(start, ';', scan) : nullptr;
  size_t length = 0;
  if (semicolon != nullptr) {
    length = static_cast<size_t>(static_cast<const char*>(semicolon) - start);
    pos_ += length + 1;
  } else if (stored == remaining && remaining != 0) {
    // End of the line: the read succeeds and leaves the stream at its end.
    length = remaining;
    pos_ = line_.size();
    done_ = true;
  } else {
    // Nothing left, or the limit was hit before a ';'.
    done_ = true;
    return false;
  }
  statement = CutAtNul(std::string_view(start, length));
  return true;
}

std::string_view CutAtNul(std::string_view text) {
  if (const void* nul = std::memchr(text.data(), '\0', text.size())) {
    text = text.substr(0, static_cast<size_t>(static_cast<const char*>(nul) - text.data()));
  }
  return text;
}
