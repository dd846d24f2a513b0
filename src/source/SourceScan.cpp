// Finds the assembly files of the source trees and drives both passes over
// them in sorted path order.
#include <dirent.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

#include "source/FileParser.h"

namespace {
constexpr size_t kCwdBufferSize = 2048;

bool EndsWith(const char* name, size_t length, const char* suffix) {
  size_t n = std::strlen(suffix);
  return length >= n && std::memcmp(name + length - n, suffix, n) == 0;
}

bool IsArchiveFile(const char* name) {
  size_t length = std::strlen(name);
  return length >= 3 && EndsWith(name, length, ".a");
}
}  // namespace

bool FileParser::IsAssemblyFile(const char* name) {
  if (std::strstr(name, "_stub") != nullptr) return false;
  size_t length = std::strlen(name);
  return length >= 3 && EndsWith(name, length, ".s");
}

int FileParser::InsertPathItem(const std::string& path, int mode) {
  if (mode == 0) return pathMap.emplace(path, 0).second ? 1 : 0;
  if (mode == 1) return archiveMap.emplace(path, 0).second ? 1 : 0;
  return 0;
}

int FileParser::CheckForTargetFile(const char* name, const std::string& fullPath, int mode) {
  if (mode != 0 && mode != 1) return 0;
  if (mode == 0 ? !IsAssemblyFile(name) : !IsArchiveFile(name)) return 0;
  if (InsertPathItem(fullPath, mode) == 0) {
    PRINTS("Error: Cannot insert %s into path map.", fullPath, "11: ");
    return 1;
  }
  if (verbose) PRINTS(mode == 0 ? "Processing Folder: %s" : "Processing Archive: %s", fullPath, "22: ");
  return 1;
}

int FileParser::ScanDirectory(std::string path, int mode) {
  char saved[kCwdBufferSize];
  if (getcwd(saved, sizeof saved) == nullptr) return -1;
  if (!path.empty() && path[0] == '.') path = std::string(saved) + "/" + path;
  if (chdir(path.c_str()) != 0) return -1;

  int result = 0;
  char here[kCwdBufferSize];
  DIR* dir = nullptr;
  if (getcwd(here, sizeof here) == nullptr || (dir = opendir(".")) == nullptr) {
    result = -1;
  } else {
    path = std::string(here) + "/";
    std::string full;
    while (dirent* entry = readdir(dir)) {
      full.assign(path).append(entry->d_name);
      if (entry->d_type == DT_DIR) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
        full += '/';
        if (ScanDirectory(full, mode) != 0) PRINTS("Error: Scan failed for directory: %s", full, "10: ");
        continue;
      }
      // Regular files, symbolic links (never followed) and unknown types.
      CheckForTargetFile(entry->d_name, full, mode);
    }
    closedir(dir);
  }
  if (chdir(saved) != 0) return -1;
  return result;
}

int FileParser::ProcessSourceDirectories() {
  PRINT("Processing source directories ...", "20: ");
  for (const std::string& folder : sourceFolders) {
    if (ScanDirectory(folder, 0) != 0) {
      PRINTS("Error: Scan failed for directory: %s", folder, "10: ");
      pathMap.clear();
      return -1;
    }
  }
  PRINTI("%d assembly files found", static_cast<int>(pathMap.size()), "30: ");
  if (pathMap.empty()) return -1;
  ParseSourceFiles();
  pathMap.clear();
  return 0;
}

int FileParser::ParseSourceFiles() {
  PRINT("Pass1: Collecting functions ...", "31: ");
  time_t start = time(nullptr);
  for (const auto& entry : pathMap) ParseAssemblyFile(entry.first, 1);
  time_t end = time(nullptr);
  PRINTD("Pass1 scan time = %.2lf seconds", difftime(end, start), "22: ");

  PRINT("Pass2: Building call lists ...", "32: ");
  start = time(nullptr);
  for (const auto& entry : pathMap) ParseAssemblyFile(entry.first, 2);
  end = time(nullptr);
  DeleteList(ListFalseFunction);
  PRINTD("Pass2 scan time = %.2lf seconds", difftime(end, start), "22: ");

  CrossCheck();
  return 0;
}
