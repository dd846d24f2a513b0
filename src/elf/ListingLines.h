// Reads a text file line by line in large blocks, as getline into a
// 1024-byte buffer would see it, without a heap allocation per line.
#pragma once

#include <cstdio>
#include <string_view>
#include <vector>

// What an instruction's text may hold of the words the listing handlers act
// on. The sequences looked for are "al" (in allocframe and call), "ju",
// ".l", ".h", "R_", "##", "(#", "(g" and "r29", found in every jump, register
// half, relocation and address form.
enum class KeywordHint {
  kNone,     // none of them: the handlers' own tests would turn the text away
  kR29Only,  // only "r29": the text matters only when r29 is its first token
  kAny,      // another one: the handlers' own tests decide
};
KeywordHint InstructionKeywordHint(std::string_view text);

// Length of the encoding "hh hh hh hh<blank>wwwwwwww<blank>" (h and w hex
// digits, a blank a space or a tab) when text starts with it, else 0. Hex
// digits and blanks split alike under every delimiter set, so skipping it
// whole leaves a tokenizer where a token-by-token skip would: the four bytes
// and the word, each with its blank.
size_t InstructionEncodingLength(std::string_view text);

// The columns of a listing line's address "<spaces><hex digits>": begin is
// the first character that is no space, end the first after it that is no
// hexadecimal digit (both the line's size when there is none).
void AddressColumns(std::string_view line, size_t& begin, size_t& end);

class ListingLineReader {
 public:
  static constexpr size_t kMaxLine = 1023;
  static constexpr size_t kNone = std::string_view::npos;

  explicit ListingLineReader(FILE* file, size_t blockSize = 1 << 20);

  // The next line without its newline, cut to kMaxLine characters (the rest
  // of an overlong line is skipped) and at its first NUL byte. False at the
  // end of the file.
  bool Next(std::string_view& line);
  // Bytes consumed so far.
  long long Position() const { return consumed_; }
  // Where the last line read holds its first ';' and its first '{', or
  // kNone. The search for its end finds them in the same scan: the listing
  // parser cuts lines at ';' and marks packets by '{'.
  size_t FirstSemicolon() const { return semicolon_; }
  size_t FirstBrace() const { return brace_; }

 private:
  // Bytes after the data that a scan of 64 characters may read but never
  // uses.
  static constexpr size_t kScanSlack = 64;

  bool Refill();
  // Offset of the first NUL byte at or after from in the buffer, or end_.
  size_t FindNul(size_t from) const;
  // The first newline in the buffer from begin_ on, or null; sets
  // semicolon_ and brace_ to the first of each from begin_ on (counted from
  // there) in the 64-character windows scanned, or kNone.
  const char* ScanLine();
  // Sets semicolon_ and brace_ for a line read some other way.
  void MarkLine(std::string_view line);

  FILE* file_;
  size_t blockSize_;
  std::vector<char> buffer_;
  size_t semicolon_ = kNone;
  size_t brace_ = kNone;
  size_t begin_ = 0;
  size_t end_ = 0;
  bool eof_ = false;
  long long consumed_ = 0;
  // The first NUL byte at or after begin_ (end_ when none): looked for once
  // per block, not once per line, since listings hold none.
  size_t nul_ = 0;
  std::vector<char> carry_;  // an overlong line's kept head, across refills
};
