// Reading aid files: one record per line, "kind;name;size;binding;", giving
// the stack of functions and the size of data objects the analysis cannot
// see. Lines are read into a fixed 1024-byte buffer, so a file of any
// content (binary, one endless line) is read in bounded memory.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "source/FileParser.h"

namespace {
constexpr const char* AIDFILE_SEPARATORS = " ,;\t\n\r";
constexpr int32_t kPresetBinding = 3;
}  // namespace

int FileParser::ProcessAidFile(const std::string& path) {
  PRINTS("Processing aid file %s", path, "22: ");
  std::ifstream in(path, std::ios::in | std::ios::binary);
  // A folder opens like an empty file; it is no aid file either.
  std::error_code ignored;
  if (!in || std::filesystem::is_directory(path, ignored)) {
    PRINTS("Error: Cannot open aid file %s\n", path, "10: ");
    return -1;
  }

  char line[kLineBufferSize];
  aidLineCounter = 0;
  for (;;) {
    in.getline(line, sizeof line);
    // Nothing extracted and failed: end of file. A line longer than the
    // buffer also fails the stream, but its first 1023 characters are read
    // and still count as a line; reading stops after it.
    if (in.fail() && in.gcount() == 0) break;
    ++aidLineCounter;
    if (AidLineHasKeywords(line) != 0) {
      if (aidTokens[0] != "code" && aidTokens[0] != "data") {
        PRINTIS("Error: Error processing line %d of aid file: %s", aidLineCounter, path, "10: ");
        return -1;
      }
      if (ProcessAidFileSingleLine() == -1) {
        PRINTIS("Error: Error processing line %d of aid file: %s", aidLineCounter, path, "10: ");
        return -1;
      }
    }
    if (!in.good()) break;
  }
  return 0;
}

int FileParser::AidLineHasKeywords(char* line) {
  // The line ends at its first NUL, as any C string does.
  std::string_view text(line, std::strlen(line));
  aidTokenCount = 0;
  size_t pos = text.find_first_not_of(AIDFILE_SEPARATORS);
  while (pos != std::string_view::npos && aidTokenCount < 4) {
    size_t end = text.find_first_of(AIDFILE_SEPARATORS, pos);
    std::string_view token = text.substr(pos, end == std::string_view::npos ? end : end - pos);
    aidTokens[aidTokenCount++].assign(token);
    pos = end == std::string_view::npos ? end : text.find_first_not_of(AIDFILE_SEPARATORS, end);
  }
  for (int i = aidTokenCount; i < 4; ++i) aidTokens[i].clear();
  if (aidTokenCount == 0) return 0;
  if (aidTokens[0].find("//") != std::string::npos) return 0;
  return 1;
}

int FileParser::ProcessAidFileSingleLine() {
  if (aidTokenCount < 4) {
    PRINTI("Error: Error parsing line %d of aid file.", aidLineCounter, "13: ");
    return -1;
  }
  // Out-of-range numbers are clamped by strtol and then wrap to 32 bits.
  int32_t size = static_cast<int32_t>(std::strtol(aidTokens[2].c_str(), nullptr, 10));
  int32_t binding = static_cast<int32_t>(std::strtol(aidTokens[3].c_str(), nullptr, 10));
  // A linked image holds the code itself; only preset entries still help.
  if (elfMode && binding != kPresetBinding) return 0;
  if (aidTokens[0] == "code") return CreateAidFuncItem(aidTokens[1], size, binding);
  return CreateAidMemItem(aidTokens[1], size, binding);
}
