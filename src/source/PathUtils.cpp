// Small path helpers and the lookup of files in the working directory, on
// PATH, or relative to the executable.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "source/FileParser.h"

namespace {
bool Exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}
}  // namespace

std::string FileParser::FindFile(const std::string& name) {
  char cwd[2048];
  if (getcwd(cwd, sizeof cwd) == nullptr) {
    PRINT("Error: getcwd() failed.", "10: ");
    return "";
  }
  std::string candidate = std::string(cwd) + "/" + name;
  if (Exists(candidate)) return candidate;

  const char* path = std::getenv("PATH");
  if (path == nullptr) {
    PRINT("Error: getenv(\"PATH\") failed.", "10: ");
    return "";
  }
  std::string_view rest(path);
  while (!rest.empty()) {
    size_t colon = rest.find(':');
    std::string_view dir = rest.substr(0, colon);
    rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    if (dir.empty()) continue;  // empty elements are skipped, as a tokenizer would
    candidate.assign(dir);
    candidate += '/';
    candidate += name;
    if (Exists(candidate)) return candidate;
  }
  return "";
}

std::string FileParser::FindRelativeFile(const std::string& base,
                                         const std::vector<std::string>& dirs,
                                         const std::string& name) {
  if (base.empty() || name.empty() || dirs.empty()) return "";
  struct stat info;
  if (stat(base.c_str(), &info) != 0) return "";
  std::string dir = base;
  if (!S_ISDIR(info.st_mode)) {
    size_t cut = dir.find_last_of("/\\");
    if (cut == std::string::npos) return "";
    dir.erase(cut);
  }
  for (const std::string& d : dirs) {
    std::string candidate = dir + "/" + d + "/" + name;
    if (Exists(candidate)) return candidate;
  }
  return "";
}

std::string FileParser::CheckPathEnd(std::string& path) {
  if (!path.empty() && path.back() != '/') path += '/';
  return path;
}

std::string FileParser::ExtractPath(const std::string& path) {
  size_t cut = path.rfind('/');
  return cut == std::string::npos ? path : path.substr(0, cut + 1);
}

std::string FileParser::ExtractNameFromPath(const std::string& path) {
  size_t cut = path.rfind('/');
  return cut == std::string::npos ? path : path.substr(cut + 1);
}
