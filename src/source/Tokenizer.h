// Splitting of statements into tokens, with the behaviour of strtok: runs of
// delimiters are skipped, a token ends at the next delimiter, and that
// delimiter is consumed. The delimiter set may change from one call to the
// next (the listing parser reads the instruction encoding with blanks only and
// the instruction itself with the full set), exactly as strtok would with a
// different delimiter string on its next call.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

class DelimiterSet {
 public:
  enum : unsigned char { kOther = 0, kDelimiter = 1, kEnd = 2 };
  constexpr explicit DelimiterSet(std::string_view chars) : table_{} {
    for (char c : chars) table_[static_cast<unsigned char>(c)] = kDelimiter;
    table_[0] = kEnd;  // the text is a C string
  }
  constexpr bool Contains(char c) const { return table_[static_cast<unsigned char>(c)] == kDelimiter; }
  constexpr unsigned char Class(char c) const { return table_[static_cast<unsigned char>(c)]; }

 private:
  std::array<unsigned char, 256> table_;
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
  explicit Tokenizer(std::string_view text) : text_(text) {}

  // The next token, or false when only delimiters remain.
  bool Next(const DelimiterSet& delimiters, std::string_view& token) {
    const char* const begin = text_.data();
    const char* const end = begin + text_.size();
    const char* p = begin + pos_;
    // Compiler output pads its comments with long runs of blanks: step over
    // them eight at a time when blanks are delimiters.
    if (delimiters.Contains(' ')) {
      static constexpr uint64_t kBlanks = 0x2020202020202020ull;
      uint64_t word;
      while (end - p >= 8 && (std::memcpy(&word, p, 8), word == kBlanks)) p += 8;
    }
    p = SkipClass(p, end, delimiters, DelimiterSet::kDelimiter);
    if (p == end || *p == '\0') {
      End(static_cast<size_t>(p - begin));
      return false;
    }
    const char* q = SkipClass(p, end, delimiters, DelimiterSet::kOther);
    token = std::string_view(p, static_cast<size_t>(q - p));
    if (q != end && *q == '\0') {
      End(static_cast<size_t>(q - begin));
    } else {
      // The delimiter that ended the token is used up, as strtok overwrites it.
      pos_ = static_cast<size_t>(q - begin) + (q != end ? 1 : 0);
    }
    return true;
  }

  // The text not yet looked at, NUL bytes and all.
  std::string_view Unread() const { return text_.substr(pos_); }
  // Steps over count characters of Unread(), which the caller has read
  // and found free of NUL bytes.
  void Skip(size_t count) { pos_ += count < text_.size() - pos_ ? count : text_.size() - pos_; }

  // The text not yet looked at, up to a NUL byte.
  std::string_view Rest() const {
    std::string_view rest = text_.substr(pos_);
    if (const void* nul = std::memchr(rest.data(), '\0', rest.size())) {
      rest = rest.substr(0, static_cast<size_t>(static_cast<const char*>(nul) - rest.data()));
    }
    return rest;
  }

 private:
  // The first character from p on that is not of class c, or end. Four at
  // a time while four remain: one bounds test instead of four.
  static const char* SkipClass(const char* p, const char* end, const DelimiterSet& delimiters, unsigned char c) {
    while (end - p >= 4) {
      if (delimiters.Class(p[0]) != c) return p;
      if (delimiters.Class(p[1]) != c) return p + 1;
      if (delimiters.Class(p[2]) != c) return p + 2;
      if (delimiters.Class(p[3]) != c) return p + 3;
      p += 4;
    }
    while (p != end && delimiters.Class(*p) == c) ++p;
    return p;
  }

  void End(size_t nul) {
    text_ = text_.substr(0, nul);
    pos_ = text_.size();
  }

  std::string_view text_;
  size_t pos_ = 0;
};

inline bool Contains(std::string_view text, std::string_view part) {
  if (part.empty()) return true;
  if (part.size() > text.size()) return false;
  // Tokens are short: a plain loop beats the library search's setup.
  if (text.size() > 32) return text.find(part) != std::string_view::npos;
  for (size_t i = 0; i + part.size() <= text.size(); ++i) {
    size_t j = 0;
    while (j < part.size() && text[i + j] == part[j]) ++j;
    if (j == part.size()) return true;
  }
  return false;
}

inline char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Appends text in ASCII lower case.
inline void AppendLower(std::string& dst, std::string_view text) {
  const size_t start = dst.size();
  dst.append(text);
  for (size_t i = start; i < dst.size(); ++i) dst[i] = LowerAscii(dst[i]);
}

// Whether text in ASCII lower case equals word (given in lower case).
inline bool EqualsLower(std::string_view text, std::string_view word) {
  if (text.size() != word.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (LowerAscii(text[i]) != word[i]) return false;
  }
  return true;
}

// Whether text in ASCII lower case contains word (given in lower case).
inline bool ContainsLower(std::string_view text, std::string_view word) {
  if (word.size() > text.size()) return false;
  for (size_t i = 0; i + word.size() <= text.size(); ++i) {
    if (EqualsLower(text.substr(i, word.size()), word)) return true;
  }
  return false;
}
