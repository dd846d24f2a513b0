// Filter functions: the functions of the toolchain's start-up objects and
// libraries, collected by name so that the stack resolution keeps them out
// of the user's share of the stack.
#include "source/FileParser.h"

namespace {
constexpr const char* kToolchainFiles[] = {"crt0.o", "init.o", "fini.o", "libc.a", "libm.a", "libgcc.a", "libstdc++.a"};
}  // namespace

int FileParser::AddAllFilterFunctions(const std::string& outputDirectory) {
  std::vector<__LibAttr> found;
  for (const char* name : kToolchainFiles) {
    __LibAttr library;
    library.name = name;
    if (FindLibrary(library) != 0) continue;
    if (architecture.empty()) architecture = getArchitectureFromLibPath(library.path);
    library.disPath = outputDirectory + library.name + ".dis";
    found.push_back(std::move(library));
  }
  if (found.empty()) return 0;

  filteredLibsFile = outputDirectory + "FilteredLibs.o";
  // Without the object the filter map stays empty; the run goes on.
  if (LinkLibraries(found, filteredLibsFile, "12: ") == 0) AddFilterFunctions(filteredLibsFile);
  return 0;
}

int FileParser::AddFilterFunctions(const std::string& objectPath) {
  ElfFile reader;
  if (reader.ReadFile(objectPath) == 0) return -1;
  for (const fcn_symbols& symbol : reader.Functions()) {
    if (symbol.name != nullptr && *symbol.name != '\0') CreateFilterFuncItem(symbol.name, symbol.name);
  }
  return 0;
}

__func_attr* FileParser::CreateFilterFuncItem(const std::string& key, const std::string& name) {
  return CreateFuncAttr(filterFunctionMap, key, name);
}

__func_attr* FileParser::FindFilterFuncItem(std::string_view name) const { return FindFuncItem(filterFunctionMap, name); }

std::string FileParser::getArchitectureFromLibPath(const std::string& path) {
  // The folder that holds the library names the target version (.../v62/libc.a).
  const char separator = path.find('\\') != std::string::npos ? '\\' : '/';
  std::vector<std::string_view> parts;
  std::string_view rest(path);
  while (!rest.empty()) {
    size_t end = rest.find(separator);
    std::string_view part = rest.substr(0, end);
    if (!part.empty()) parts.push_back(part);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  if (parts.size() < 2) return "";
  std::string_view folder = parts[parts.size() - 2];
  return folder.front() == 'v' ? std::string(folder) : std::string();
}
