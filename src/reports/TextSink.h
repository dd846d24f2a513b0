// A small formatting buffer in front of a report's FILE: reports of large
// programs have tens of millions of fields, and printf's format parsing per
// field costs more than the bytes themselves.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

class TextSink {
 public:
  explicit TextSink(FILE* file) : file_(file) {}
  ~TextSink() { Flush(); }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  TextSink& Put(std::string_view text) {
    if (text.size() > kSize - used_) {
      Flush();
      if (text.size() >= kSize) {
        std::fwrite(text.data(), 1, text.size(), file_);
        return *this;
      }
    }
    std::memcpy(buffer_ + used_, text.data(), text.size());
    used_ += text.size();
    return *this;
  }
  TextSink& Put(const char* text) { return Put(std::string_view(text)); }
  // As printf's "%s" prints a string: up to its first NUL byte.
  TextSink& Put(const std::string& text) { return Put(text.c_str()); }
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
  TextSink& Left(const std::string& text, int width) {
    std::string_view view(text.c_str());
    Put(view);
    return Pad(width - static_cast<int>(view.size()));
  }

  void Flush() {
    if (used_ > 0) std::fwrite(buffer_, 1, used_, file_);
    used_ = 0;
  }

 private:
  TextSink& Pad(int count) {
    static constexpr char kBlanks[] = "                                ";
    while (count > 0) {
      int n = count < 32 ? count : 32;
      Put(std::string_view(kBlanks, static_cast<size_t>(n)));
      count -= n;
    }
    return *this;
  }

  static constexpr size_t kSize = 8192;
  FILE* file_;
  size_t used_ = 0;
  char buffer_[kSize];
};
