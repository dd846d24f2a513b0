// Reading assembly files into physical lines and ";"-separated statements.
//
// The statement boundaries of the analyser are those of the stream reads it
// has always used: a physical line is read like istream::getline(buffer,
// 1024) and then cut like getline(statement, limit, ';') over that line,
// where limit is the number of characters the line read consumed. The
// reader reproduces those results exactly, but reads the file in large
// blocks and hands out views, so that a statement costs no allocation and
// memory stays bounded by the block size whatever the file holds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

class BlockLineReader {
 public:
  static constexpr size_t kLineBufferSize = 1024;
  // Small enough that a block stays in the second-level cache between the
  // kernel's copy and the scan: with 1 MB blocks the copy took half again
  // as long.
  static constexpr size_t kDefaultBlockSize = size_t{1} << 17;

  // The buffer is kept by the caller so that it can be reused from file to
  // file; it is resized to blockSize plus room for one line.
  BlockLineReader(std::FILE* file, std::vector<char>& buffer, size_t blockSize = kDefaultBlockSize);

  // The next character, or EOF when the file is exhausted or a line read
  // has failed (a failed stream reports end of file to every later peek).
  int Peek();

  // Reads one physical line. line receives the stored characters (at most
  // 1023, without the newline), consumed the number of characters taken from
  // the file (the newline included). Returns false when the read failed: a
  // line of 1024 or more characters (its first 1023 are still returned) or
  // nothing left to read. The view stays valid until the next Peek/ReadLine.
  bool ReadLine(std::string_view& line, size_t& consumed);

  // Reads the next line only when it is plain: ended by a newline within
  // the first 1024 characters and free of ';' and NUL, so that it is one
  // whole statement. Otherwise nothing is consumed and false is returned,
  // and ReadLine gives the line. Almost every line of compiler output is
  // plain; one scan finds its end where the general path needs three.
  bool ReadPlainLine(std::string_view& line) {
    // The common case in line: the next stop of the scanned window ends a
    // plain line.
    if (stopsValid_ && stops_ != 0) {
      const size_t stop = stopsBase_ + static_cast<size_t>(__builtin_ctzll(stops_));
      if (stop - pos_ < kLineBufferSize && buffer_[stop] == '\n') {
        line = std::string_view(buffer_.data() + pos_, stop - pos_);
        pos_ = stop + 1;
        stops_ &= stops_ - 1;
        return true;
      }
    }
    return ReadPlainLineScanning(line);
  }

 private:
  // ReadPlainLine's path through the scan of further windows and refills.
  bool ReadPlainLineScanning(std::string_view& line);

  // Bytes after the data that a 64-byte scan may read but never uses.
  static constexpr size_t kScanSlack = 64;

  bool Fill();
  // Sets stops_ to the newlines, ';' and NULs among the 64 characters at
  // base (only those before end_).
  void ScanStops(size_t base);

  std::FILE* file_;
  std::vector<char>& buffer_;
  size_t blockSize_;
  size_t pos_ = 0;
  size_t end_ = 0;
  bool eof_ = false;
  bool failed_ = false;
  // Plain lines are found from a bit mask of the stops in a 64-character
  // window, one bit per character from stopsBase_, those before pos_
  // cleared: one scan serves the many short lines in the window.
  size_t stopsBase_ = 0;
  uint64_t stops_ = 0;
  bool stopsValid_ = false;  // the window is stale once pos_ moves otherwise
};

// Cuts a line into statements as getline(statement, limit, ';') would on a
// string stream that holds the line: a statement ends at ';' (which is
// consumed), at the end of the line, or fails when limit - 1 characters were
// stored without meeting a ';'. A read that extracts nothing fails too, and
// the first failure ends the line.
class StatementSplitter {
 public:
  StatementSplitter(std::string_view line, size_t limit);

  // The next statement, cut at its first NUL byte (the statement buffer is a
  // C string).
  bool Next(std::string_view& statement);

 private:
  std::string_view line_;
  size_t limit_;
  size_t pos_ = 0;
  bool done_ = false;
  bool whole_ = false;  // a complete line without ';': one statement
};

// The text up to its first NUL byte.
std::string_view CutAtNul(std::string_view text);
