// The value of a register at the current statement, found by looking back
// through the statements cached since the function began. Used for stack
// adjustments by a register amount (r29 = sub(r29, r1)). Listings keep no
// cache: their lines never fill the lower-case fields the search matches, so
// in an image the amount is never found and the frame is Undetermined.
//
// Rules of the search, newest statement first (the current one skipped):
// - the newest write of the register decides; an older write never
//   overrides a newer one;
// - rN = #v (or ##v) gives v, read in base 10;
// - rN.l = #lo and rN.h = #hi give (hi << 16) | lo once both halves are
//   found; a half followed (in time) by nothing but an older whole
//   immediate is merged into that immediate; a single half is not enough;
// - any other write makes the value unknown: an operation (add, and, ...),
//   a load (memw, const32), a copy, a compound assignment (+=), a register
//   pair written as a whole (r1:0 = ...), a conditional write (if (p0) r1 =
//   ...), and a call, which may change r0 to r15 and r28;
// - an instruction patched by a relocation (a listing line "R_..." follows
//   it) holds a link-time address, not a size. R_VLD_GPREL in particular
//   marks a small-data reference: an offset from the global pointer, which
//   says nothing about the stack. Such a value is not computable either.
#include <cstdint>

#include "source/FileParser.h"
#include "source/Tokenizer.h"

namespace {

enum class Write { None, Whole, Low, High, Unknown };

// Does the destination token write reg (as a whole, a half, or as part of
// a register pair)?
Write DestinationWrite(std::string_view dest, std::string_view reg) {
  if (dest.empty() || dest[0] != 'r') return Write::None;
  if (dest == reg) return Write::Whole;
  if (dest.size() == reg.size() + 2 && dest.substr(0, reg.size()) == reg && dest[reg.size()] == '.') {
    if (dest.back() == 'l') return Write::Low;
    if (dest.back() == 'h') return Write::High;
    return Write::Unknown;
  }
  const size_t colon = dest.find(':');
  if (colon != std::string_view::npos) {
    // rH:L names the pair rH, rL.
    if (dest.substr(0, colon) == reg) return Write::Unknown;
    std::string_view low = dest.substr(colon + 1);
    if (reg.size() == low.size() + 1 && reg.substr(1) == low) return Write::Unknown;
  }
  return Write::None;
}

bool IsCallClobbered(std::string_view reg) {
  // r0 to r15 and r28 do not survive a call.
  if (reg.size() < 2) return false;
  int number = 0;
  for (char c : reg.substr(1)) {
    if (c < '0' || c > '9') return false;
    number = number * 10 + (c - '0');
    if (number > 99) return false;
  }
  return number <= 15 || number == 28;
}

bool IsCall(std::string_view token) { return token == "call" || token == "callr"; }

// #v or ##v in base 10, as strtol reads it: at least one digit.
bool Immediate(std::string_view token, uint32_t& value) {
  size_t pos = 0;
  while (pos < token.size() && token[pos] == '#') ++pos;
  if (pos == 0 || pos > 2) return false;
  bool negative = false;
  if (pos < token.size() && (token[pos] == '-' || token[pos] == '+')) negative = token[pos++] == '-';
  uint64_t magnitude = 0;
  size_t digits = 0;
  while (pos < token.size() && token[pos] >= '0' && token[pos] <= '9') {
    if (++digits > 18) return false;
    magnitude = magnitude * 10 + static_cast<uint64_t>(token[pos++] - '0');
  }
  if (digits == 0) return false;
  value = static_cast<uint32_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

}  // namespace

int FileParser::CalculateRegisterValue(const std::string& reg, int32_t& value) {
  if (reg.empty() || LineCacheSize() < 2) return -1;
  bool haveLow = false;
  bool haveHigh = false;
  uint32_t low = 0;
  uint32_t high = 0;
  bool relocated = false;  // the previous (newer) entry was a relocation of this one

  for (size_t i = 1; i < LineCacheSize(); ++i) {
    const ProcessedSourceLine& entry = CachedLine(i);
    if (entry.token1.compare(0, 2, "R_") == 0) {
      relocated = true;  // annotates the instruction listed before it
      continue;
    }
    const bool patched = relocated || Contains(entry.lineText, "R_VLD_GPREL");
    relocated = false;

    Write write = DestinationWrite(entry.lowerToken1, reg);
    if (write == Write::None) {
      if (entry.lowerToken1 == "if" && DestinationWrite(entry.lowerToken3, reg) != Write::None) {
        write = Write::Unknown;  // written only on one path
      } else if ((IsCall(entry.lowerToken1) || IsCall(entry.lowerToken3)) && IsCallClobbered(reg)) {
        write = Write::Unknown;
      } else {
        continue;
      }
    }
    uint32_t immediate = 0;
    if (write == Write::Unknown || patched || !Immediate(entry.token2, immediate)) return -1;

    if (write == Write::Whole) {
      if (haveLow) immediate = (immediate & 0xffff0000u) | low;
      if (haveHigh) immediate = (immediate & 0x0000ffffu) | (high << 16);
      value = static_cast<int32_t>(immediate);
      return 0;
    }
    if (write == Write::Low && !haveLow) {
      low = immediate & 0xffffu;
      haveLow = true;
    } else if (write == Write::High && !haveHigh) {
      high = immediate & 0xffffu;
      haveHigh = true;
    }
    if (haveLow && haveHigh) {
      value = static_cast<int32_t>((high << 16) | low);
      return 0;
    }
  }
  return -1;
}
