// A small formatting buffer in front of a report's FILE (or a string that
// collects text to be copied into reports many times): reports of large
// programs have tens of millions of fields, and printf's format parsing per
// field costs more than the bytes themselves.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "source/ShortCopy.h"

class TextSink {
 public:
  explicit TextSink(FILE* file) : file_(file) {}
  explicit TextSink(std::string* text) : text_(text) {}
  ~TextSink() { Flush(); }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  TextSink& Put(std::string_view text) {
    if (text.size() > kSize - used_) {
      Flush();
      if (text.size() >= kSize) {
        Write(text.data(), text.size());
        return *this;
      }
    }
    CopyShortBytes(buffer_ + used_, text.data(), text.size());
    used_ += text.size();
    return *this;
  }
  TextSink& Put(const char* text) { return Put(std::string_view(text)); }
  // As printf's "%s" prints a string: up to its first NUL byte.
  TextSink& Put(const std::string& text) { return Put(std::string_view(text.data(), PrintedLength(text))); }
  TextSink& Put(char c) { return Put(std::string_view(&c, 1)); }

  // As printf's "%*d": right-aligned in at least `width` characters.
  TextSink& Int(long long value, int width = 0) {
    char digits[24];
    char* end = digits + sizeof digits;
    char* p = end;
    unsigned long long magnitude = value < 0 ? 0ULL - static_cast<unsigned long long>(value)
                                             : static_cast<unsigned long long>(value);
    do {
      *--p = static_cast<char>('0' + magnitude % 10);
      magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) *--p = '-';
    Pad(width - static_cast<int>(end - p));
    return Put(std::string_view(p, static_cast<size_t>(end - p)));
  }

  // As printf's "%-*s": left-aligned in at least `width` characters.
  TextSink& Left(std::string_view text, int width) {
    Put(text);
    return Pad(width - static_cast<int>(text.size()));
  }

  void Flush() {
    if (used_ > 0) Write(buffer_, used_);
    used_ = 0;
  }

  // Bytes put so far, flushed or not.
  size_t Written() const { return written_ + used_; }

 private:
  // Names seldom hold a NUL, and most are short: scanning one inline costs
  // less than a call to strlen.
  static size_t PrintedLength(const std::string& text) {
    const size_t size = text.size();
    if (size > 64) return std::strlen(text.c_str());
    for (size_t i = 0; i < size; ++i) {
      if (text[i] == '\0') return i;
    }
    return size;
  }

  void Write(const char* data, size_t size) {
    if (text_ != nullptr) {
      text_->append(data, size);
    } else {
      std::fwrite(data, 1, size, file_);
    }
    written_ += size;
  }

  TextSink& Pad(int count) {
    static constexpr char kBlanks[] = "                                ";
    while (count > 0) {
      int n = count < 32 ? count : 32;
      Put(std::string_view(kBlanks, static_cast<size_t>(n)));
      count -= n;
    }
    return *this;
  }

  static constexpr size_t kSize = 1 << 16;
  FILE* file_ = nullptr;
  std::string* text_ = nullptr;
  size_t written_ = 0;
  size_t used_ = 0;
  char buffer_[kSize];
};
