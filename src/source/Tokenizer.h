// Splitting of statements into tokens, with the behaviour of strtok: runs of
// delimiters are skipped, a token ends at the next delimiter, and that
// delimiter is consumed. The delimiter set may change from one call to the
// next (the listing parser reads the instruction encoding with blanks only and
// the instruction itself with the full set), exactly as strtok would with a
// different delimiter string on its next call.
#pragma once

#include <array>
#include <cstring>
#include <string>
#include <string_view>

class DelimiterSet {
 public:
  constexpr explicit DelimiterSet(std::string_view chars) : table_{} {
    for (char c : chars) table_[static_cast<unsigned char>(c)] = true;
  }
  constexpr bool Contains(char c) const { return table_[static_cast<unsigned char>(c)]; }

 private:
  std::array<bool, 256> table_;
};

// Source statements: parentheses separate tokens, so allocframe(#16) gives
// "allocframe" and "#16".
inline constexpr DelimiterSet kSourceDelimiters{" \t\r\n,={}()"};
// The alternative syntax keeps parentheses inside tokens.
inline constexpr DelimiterSet kSourceDelimitersKeepParens{" \t\r\n,={}"};
// Blanks and tabs only.
inline constexpr DelimiterSet kBlankDelimiters{" \t"};

inline const DelimiterSet& SourceDelimiters(int syntaxMode) {
  return syntaxMode == 1 ? kSourceDelimitersKeepParens : kSourceDelimiters;
}

class Tokenizer {
 public:
  // The text is taken as a C string: it ends at its first NUL byte.
  explicit Tokenizer(std::string_view text) : text_(text) {
    if (const void* nul = std::memchr(text_.data(), '\0', text_.size())) {
      text_ = text_.substr(0, static_cast<size_t>(static_cast<const char*>(nul) - text_.data()));
    }
  }

  // The next token, or false when only delimiters remain.
  bool Next(const DelimiterSet& delimiters, std::string_view& token) {
    size_t pos = pos_;
    while (pos < text_.size() && delimiters.Contains(text_[pos])) ++pos;
    if (pos >= text_.size()) {
      pos_ = text_.size();
      return false;
    }
    size_t end = pos;
    while (end < text_.size() && !delimiters.Contains(text_[end])) ++end;
    token = text_.substr(pos, end - pos);
    // The delimiter that ended the token is used up, as strtok overwrites it.
    pos_ = end < text_.size() ? end + 1 : end;
    return true;
  }

  // The text not yet looked at.
  std::string_view Rest() const { return text_.substr(pos_); }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

// dst = text in ASCII lower case, reusing dst's capacity.
inline void AssignLower(std::string& dst, std::string_view text) {
  dst.assign(text);
  for (char& c : dst) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
}
