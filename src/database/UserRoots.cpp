// User-defined roots: the entry points named in the --rootfile, grouped into
// modules, for which the reports give call paths and module lists.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "source/FileParser.h"

namespace {

std::string_view Trim(std::string_view text) {
  const char* const kBlanks = " \t\r\n\v\f";
  size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  size_t last = text.find_last_not_of(kBlanks);
  return text.substr(first, last - first + 1);
}

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

int AssemblyData::IsUserDefinedRoot(const __func_attr* record) const {
  if (record == nullptr) return 0;
  return rootMap.find(record->Name) != rootMap.end() ? 1 : 0;
}

int FileParser::ProcessUserDefinedRootFile() {
  if (rootFile.empty()) return 0;
  std::unique_ptr<FILE, FileCloser> file(std::fopen(rootFile.c_str(), "r"));
  // A folder opens like an empty file; it is no root file either.
  std::error_code ignored;
  if (!file || std::filesystem::is_directory(rootFile, ignored)) {
    PRINTS("Error: Cannot open User Defined Root file %s", rootFile, "10: ");
    return -1;
  }
  if (verbose) PRINTS("Processing User Defined Root file: %s", rootFile, "33: ");

  // Lines are limited to 1023 characters; the rest of a longer line is
  // dropped, so the tail of an overlong line never turns into a root name
  // or a module header of its own.
  char buffer[kLineBufferSize];
  std::string module;
  for (;;) {
    int c = std::getc(file.get());
    if (c == EOF) break;
    size_t length = 0;
    while (c != EOF && c != '\n') {
      if (length + 1 < sizeof buffer) buffer[length++] = static_cast<char>(c);
      c = std::getc(file.get());
    }
    std::string_view line(buffer, length);
    size_t hash = line.find('#');
    if (hash != std::string_view::npos) line = line.substr(0, hash);

    size_t open = line.find('[');
    if (open != std::string_view::npos && line.find(']') != std::string_view::npos) {
      // The module runs from "[" to the next "]", or to the end of the line
      // when the only "]" stands before the "[".
      size_t close = line.find(']', open + 1);
      std::string_view name = line.substr(open + 1, close == std::string_view::npos
                                                        ? std::string_view::npos
                                                        : close - open - 1);
      module.assign(Trim(name));
      continue;
    }
    // Blank and comment-only lines name nothing; they do not end a module.
    std::string_view name = Trim(line);
    if (name.empty()) continue;
    rootMap.emplace(std::string(name), module);
  }
  return 0;
}
