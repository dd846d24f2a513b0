// Coded message lines on standard output: one line per message, flushed at
// once so that a front end reading the pipe sees it immediately.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "database/AssemblyData.h"

void Msg(const std::string& text, uint32_t /*colour*/) {
  std::puts(text.c_str());
  std::fflush(stdout);
}

uint32_t AssemblyData::GetColor(const std::string& code) {
  struct Entry {
    const char* code;
    uint32_t colour;
  };
  static const Entry kColours[] = {
      {"10: ", 0x0000FF}, {"11: ", 0x0000FF}, {"12: ", 0x808000}, {"20: ", 0x008000},
      {"21: ", 0x004000}, {"22: ", 0xFF0000}, {"40: ", 0x004080}, {"41: ", 0x008080},
      {"42: ", 0xC08000}, {"43: ", 0x008080}, {"44: ", 0xC08000}, {"45: ", 0x0080FF},
      {"46: ", 0xFF0000}, {"47: ", 0},        {"31: ", 0x008000}, {"32: ", 0x008000},
      {"30: ", 0x008000}, {"48: ", 0x800080}, {"49: ", 0},        {"60: ", 0x0000FF},
  };
  for (const Entry& entry : kColours) {
    if (code == entry.code) return entry.colour;
  }
  return 0;
}

const char* AssemblyData::FormatMessage(const char* format, ...) {
  for (;;) {
    va_list args;
    va_start(args, format);
    int needed = std::vsnprintf(msgBuffer_.data(), msgBuffer_.size(), format, args);
    va_end(args);
    if (needed < 0) {
      msgBuffer_[0] = '\0';
      break;
    }
    if (static_cast<size_t>(needed) < msgBuffer_.size()) break;
    msgBuffer_.resize(static_cast<size_t>(needed) + 1);
  }
  return msgBuffer_.data();
}

// The code is put in front of the format before any argument is substituted,
// so a prefixed line is exactly code + formatted text.
#define PREFIXED_FORMAT(format, code) ((guiMode ? (code) + (format) : (format)).c_str())

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

void AssemblyData::PRINT(const std::string& format, const std::string& code) {
  Msg(guiMode ? code + format : format, GetColor(code));
}

void AssemblyData::PRINTI(const std::string& format, int value, const std::string& code) {
  Msg(FormatMessage(PREFIXED_FORMAT(format, code), value), GetColor(code));
}

void AssemblyData::PRINTS(const std::string& format, const std::string& value,
                          const std::string& code) {
  Msg(FormatMessage(PREFIXED_FORMAT(format, code), value.c_str()), GetColor(code));
}

void AssemblyData::PRINTD(const std::string& format, double value, const std::string& code) {
  Msg(FormatMessage(PREFIXED_FORMAT(format, code), value), GetColor(code));
}

void AssemblyData::PRINTIS(const std::string& format, int value, const std::string& text,
                           const std::string& code) {
  Msg(FormatMessage(PREFIXED_FORMAT(format, code), value, text.c_str()), GetColor(code));
}

void AssemblyData::PRINTSS(const std::string& format, const std::string& text1,
                           const std::string& text2, const std::string& code) {
  Msg(FormatMessage(PREFIXED_FORMAT(format, code), text1.c_str(), text2.c_str()),
      GetColor(code));
}

#pragma GCC diagnostic pop
