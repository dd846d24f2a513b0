#include "elf/ListingLines.h"

#include <cstring>

ListingLineReader::ListingLineReader(FILE* file, size_t blockSize)
    : file_(file), buffer_(blockSize < 2 * kMaxLine ? 2 * kMaxLine : blockSize) {
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
  if (end_ == buffer_.size()) return true;
  size_t got = std::fread(buffer_.data() + end_, 1, buffer_.size() - end_, file_);
  if (got == 0) eof_ = true;
  end_ += got;
  return got > 0;
}

bool ListingLineReader::Next(std::string_view& line) {
  for (;;) {
    const char* start = buffer_.data() + begin_;
    const char* newline = static_cast<const char*>(std::memchr(start, '\n', end_ - begin_));
    if (newline == nullptr && !eof_ && end_ - begin_ <= kMaxLine) {
      // Not a whole line in the buffer yet and it may still fit: read more.
      if (Refill()) continue;
      start = buffer_.data() + begin_;
      newline = static_cast<const char*>(std::memchr(start, '\n', end_ - begin_));
    }
    if (newline == nullptr && end_ == begin_) return false;  // end of file

    size_t available = newline ? static_cast<size_t>(newline - start) : end_ - begin_;
    size_t length = available < kMaxLine ? available : kMaxLine;
    if (newline != nullptr || eof_) {
      // A whole line (or the last one without newline) lies in the buffer.
      line = std::string_view(start, length);
      size_t step = newline ? available + 1 : available;
      begin_ += step;
      consumed_ += static_cast<long long>(step);
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
      line = std::string_view(carry_.data(), carry_.size());
    }
    size_t nul = line.find('\0');
    if (nul != std::string_view::npos) line = line.substr(0, nul);
    return true;
  }
}
