// The toolchain's own libraries: found through the compiler driver, linked
// whole into one relocatable object, disassembled, and entered into the
// database, so that library functions get frames and call lists like the
// user's code.
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <unordered_map>
#include <utility>

#include "source/FileParser.h"

namespace {

// The libraries every program is linked against.
constexpr const char* kDinkumwareLibs[] = {"libc.a", "libm.a", "libgcc.a", "libstdc++.a"};

// Path of a library symbol whose member cannot be told from the symbol
// table (a global in a section shared by several members).
constexpr const char* kLibraryPathUnknown = "From toolchain libraries";

constexpr uint8_t kTypeObject = 1;
constexpr uint8_t kTypeFunc = 2;
constexpr uint8_t kTypeSection = 3;
constexpr uint8_t kTypeFile = 4;
constexpr uint8_t kBindLocal = 0;
constexpr uint16_t kSectionUndefined = 0;
constexpr uint16_t kSectionReserved = 0xff00;
constexpr uint16_t kSectionCommon = 0xfff2;

bool Contains(const char* text, const char* part) { return std::strstr(text, part) != nullptr; }

// Stub and dummy symbols stand in for code that is not part of the library.
bool IsSkippedSymbol(const char* name) { return Contains(name, "_stub") || Contains(name, "dummy"); }

// Assembler thunk labels (.LTHUNK0) name the function they stand for.
bool IsThunk(const char* name) { return Contains(name, "thunk") || Contains(name, "THUNK"); }

int32_t ScopeOfBinding(uint8_t binding) { return binding <= Weak ? static_cast<int32_t>(binding) : static_cast<int32_t>(Global); }

bool IsNonEmptyFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
}

bool IsRegularFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// A word for the shell: unchanged when it holds nothing the shell would
// interpret, else single-quoted, so that ordinary commands print as typed.
std::string ShellWord(const std::string& word) {
  bool plain = !word.empty();
  for (char c : word) {
    const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      std::strchr("_-+./=:,@%", c) != nullptr;
    if (!safe) {
      plain = false;
      break;
    }
  }
  if (plain) return word;
  std::string quoted = "'";
  for (char c : word) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// " -mv66 -mG0lib" with each option made safe for the shell.
std::string ShellOptions(const std::string& options) {
  std::string out;
  size_t pos = 0;
  while (pos < options.size()) {
    size_t start = options.find_first_not_of(' ', pos);
    if (start == std::string::npos) break;
    size_t end = options.find(' ', start);
    if (end == std::string::npos) end = options.size();
    out += ' ';
    out += ShellWord(options.substr(start, end - start));
    pos = end;
  }
  return out;
}

bool IsDefined(uint16_t section) {
  return section != kSectionUndefined && (section < kSectionReserved || section == kSectionCommon);
}

// True when the section is the symbol's own (".text.printf" for printf), so
// that the section symbol's file is the member that defines the symbol.
bool IsOwnSection(const char* section, const char* name) {
  size_t sectionLength = std::strlen(section);
  size_t nameLength = std::strlen(name);
  return nameLength > 0 && sectionLength > nameLength + 1 && section[sectionLength - nameLength - 1] == '.' &&
         std::strcmp(section + sectionLength - nameLength, name) == 0;
}

}  // namespace

int FileParser::PreProcessLibraries() {
  int result = ScanLibDirectories();
  if (result != 0) return result;
  AddDinkumwareLibs();
  if (PreProcessStaticLibs(outputDir + "WholeArchive.o") == -1) return -1;
  if (PreProcessDynamicLibs() == -1) return -1;
  return 0;
}

int FileParser::ScanLibDirectories() {
  if (libDirectories.empty()) return 0;
  PRINT("Processing lib directories ...", "20: ");
  for (const std::string& directory : libDirectories) {
    if (ScanDirectory(directory, 1) != 0) {
      PRINTS("Error: Scan failed for directory: %s", directory, "10: ");
      archiveMap.clear();
      return -1;
    }
  }
  PRINTI("%d archive files found", static_cast<int>(archiveMap.size()), "22: ");
  AddLibsToStaticVector();
  archiveMap.clear();
  return 0;
}

int FileParser::AddLibsToStaticVector() {
  for (const auto& entry : archiveMap) {
    __LibAttr library;
    library.path = entry.first;
    library.name = ExtractNameFromPath(library.path);
    library.disPath = outputDir + library.name + ".dis";
    staticLibs.push_back(std::move(library));
  }
  return 0;
}

int FileParser::FindLibrary(__LibAttr& library) {
  if (compilerPath.empty()) {
    PRINT("Error: either valdrin-gcc or valdrin-clang is needed to find libraries.", "10: ");
    return -1;
  }
  // Without any target option the driver is asked for the default target;
  // a lone --G0 or --fpic counts as an option and so suppresses it.
  std::string command = ShellWord(compilerPath);
  command += compilerSwitches.empty() ? std::string(" -mv5 ") : ShellOptions(compilerSwitches);
  command += " -print-file-name=";
  command += ShellWord(library.name);
  std::string answer = RunTool(command);
  while (!answer.empty() && (answer.back() == '\r' || answer.back() == ' ')) answer.pop_back();
  if (answer.empty()) {
    PRINTS("Error executing: %s", command, "10: ");
    return -1;
  }
  // The driver answers the bare name for a file it does not have; a file of
  // that name in the working directory is not the toolchain's.
  if (answer == library.name || !IsRegularFile(answer)) return -1;
  library.path = answer;
  return 0;
}

__LibAttr* FileParser::AddStaticLib(const std::string& name) {
  __LibAttr library;
  library.name = name;
  if (FindLibrary(library) != 0) return nullptr;
  library.name = ExtractNameFromPath(library.path);
  library.disPath = outputDir + library.name + ".dis";
  staticLibs.push_back(std::move(library));
  return &staticLibs.back();
}

int FileParser::AddDinkumwareLibs() {
  for (const char* name : kDinkumwareLibs) {
    if (AddStaticLib(name) == nullptr) PRINTS("Library %s not found for the target; skipped.", name, "22: ");
  }
  return 0;
}

int FileParser::LinkLibraries(const std::vector<__LibAttr>& libraries, const std::string& objectPath,
                              const std::string& failureCode) {
  std::string shown;
  std::string files;
  for (const __LibAttr& library : libraries) {
    if (!shown.empty()) {
      shown += ' ';
      files += ' ';
    }
    shown += library.path;
    files += ShellWord(library.path);
  }
  const std::string command = ShellWord(linkerPath) + " -r --whole-archive " + files +
                              " --no-whole-archive -o " + ShellWord(objectPath);
  PRINTSS("Creating object file %s from %s", objectPath, shown, "20: ");
  // The answer does not tell the linker's exit status; the object does. A
  // stale object from an earlier run must not pass for a new one.
  unlink(objectPath.c_str());
  if (linkerPath.empty()) {
    PRINTS("Error executing: %s", command, failureCode);
    return -1;
  }
  RunTool(command);  // warnings in the answer are tolerated
  if (!IsNonEmptyFile(objectPath)) {
    PRINTS("Error executing: %s", command, failureCode);
    return -1;
  }
  return 0;
}

int FileParser::PreProcessStaticLibs(const std::string& output) {
  if (staticLibs.empty()) {
    PRINT("No toolchain library found: library functions are not analysed.", "22: ");
    return 0;
  }
  libraryObjectFile = output;
  if (LinkLibraries(staticLibs, output, "10: ") != 0) return -1;

  __LibAttr object;
  object.name = ExtractNameFromPath(output);
  object.path = output;
  object.objPath = output;
  object.disPath = output + ".dis";
  libraryListingFile = object.disPath;
  CreateDisassemblyFile(object);
  if (!IsNonEmptyFile(object.disPath)) {
    // Library records without frames would hide the aid-file figures of the
    // same functions, so none are made.
    PRINTS("Warning: No listing of %s; library functions are not analysed.", output, "12: ");
    return 0;
  }
  return AddLibObjectToMaps(output);
}

int FileParser::AddLibObjectToMaps(const std::string& objectPath) {
  auto elf = std::make_unique<ElfFile>();
  if (elf->ReadFile(objectPath) == 0) {
    PRINTS("Error: Could not read ELF file: %s", objectPath, "10: ");
    return -1;
  }
  const std::vector<ElfSymbol>& symbols = elf->Symbols();
  const std::vector<ElfSection>& sections = elf->Sections();

  // The member of a local symbol is the file symbol before it. Globals come
  // after all locals, so theirs is the file that holds the section symbol
  // of their own section; a shared section (.text of several members) does
  // not tell it.
  std::vector<const char*> fileOf(symbols.size(), nullptr);
  std::unordered_map<uint16_t, const char*> sectionFile;
  const char* file = nullptr;
  for (size_t i = 0; i < symbols.size(); ++i) {
    const ElfSymbol& s = symbols[i];
    if (s.Type() == kTypeFile) {
      file = s.name;
    } else {
      fileOf[i] = file;
      if (s.Type() == kTypeSection && s.Binding() == kBindLocal && file != nullptr) sectionFile.emplace(s.sectionIndex, file);
    }
  }
  auto pathOf = [&](size_t i) -> const char* {
    const ElfSymbol& s = symbols[i];
    if (s.Binding() == kBindLocal) return fileOf[i] != nullptr && *fileOf[i] != '\0' ? fileOf[i] : kLibraryPathUnknown;
    if (s.sectionIndex < sections.size() && IsOwnSection(sections[s.sectionIndex].name, s.name)) {
      auto it = sectionFile.find(s.sectionIndex);
      if (it != sectionFile.end() && *it->second != '\0') return it->second;
    }
    return kLibraryPathUnknown;
  };

  // One record per code address of a section: the first global symbol
  // there (the first local when there is none) holds it, later ones are
  // its aliases.
  std::map<std::pair<uint16_t, uint32_t>, size_t> holder;
  auto isFunction = [&](const ElfSymbol& s) {
    return s.Type() == kTypeFunc && *s.name != '\0' && IsDefined(s.sectionIndex) && !IsSkippedSymbol(s.name);
  };
  for (size_t i = 0; i < symbols.size(); ++i) {
    const ElfSymbol& s = symbols[i];
    if (!isFunction(s) || IsThunk(s.name)) continue;
    auto [it, inserted] = holder.try_emplace({s.sectionIndex, s.value}, i);
    if (!inserted && symbols[it->second].Binding() == kBindLocal && s.Binding() != kBindLocal) it->second = i;
  }

  int functions = 0;
  for (size_t i = 0; i < symbols.size(); ++i) {
    const ElfSymbol& s = symbols[i];
    if (isFunction(s)) {
      auto it = holder.find({s.sectionIndex, s.value});
      if (it == holder.end()) continue;  // a thunk with no function behind it
      if (it->second != i) {
        InsertAliasItem(s.name, symbols[it->second].name, 0);
        continue;
      }
      const bool local = s.Binding() == kBindLocal;
      const std::string key = local ? GetLocalName(s.name, s.value) : std::string(s.name);
      if (FindFuncItem(key) != nullptr) continue;  // the first library defining it wins
      __func_attr* record = CreateFuncAttr(key, s.name);
      if (record == nullptr) {
        PRINT("Error: Could not create function attribute.", "11: ");
        continue;
      }
      record->Path = pathOf(i);
      record->CodeSize = static_cast<int32_t>(s.size);
      record->Scope = ScopeOfBinding(s.Binding());
      record->IsReplaceable = true;
      if (!local) libraryFunctionKeys.push_back(key);
      ++functions;
    } else if (s.Type() == kTypeObject && *s.name != '\0' && IsDefined(s.sectionIndex) && !IsSkippedSymbol(s.name)) {
      const bool local = s.Binding() == kBindLocal;
      const std::string key = local ? GetLocalName(s.name, s.value) : std::string(s.name);
      if (FindMemItem(key) != nullptr) continue;
      __mem_attr* record = CreateMemAttr(key, s.name);
      if (record == nullptr) {
        PRINT("Error: Could not create memory attribute.", "11: ");
        continue;
      }
      record->Path = pathOf(i);
      record->Size = static_cast<int32_t>(s.size);
      record->Scope = ScopeOfBinding(s.Binding());
      record->IsReplaceable = true;
    }
  }
  PRINTI("Number of library functions: %d", functions, "22: ");
  libraryElf = std::move(elf);
  return 0;
}

int FileParser::PreProcessDynamicLibs() { return 0; }  // the target links statically

int FileParser::ParseStaticLibs() {
  if (libraryElf == nullptr || libraryListingFile.empty()) return 0;
  const bool savedR29 = warnR29;
  warnR29 = false;  // library code never raises r29 warnings
  listingElf = libraryElf.get();
  // The sources' last function must not be taken for a library one.
  ClearCurrentFunction();
  pendingFunction.clear();

  // A source definition has replaced some library functions: their library
  // bodies go to stand-ins, so that neither frame nor calls of the library
  // version reach the user's function, while calls into it keep its key.
  std::vector<std::pair<std::string, std::unique_ptr<__func_attr>>> replaced;
  for (const std::string& key : libraryFunctionKeys) {
    auto it = functionMap.find(key);
    if (it == functionMap.end() || it->second->IsReplaceable) continue;
    std::unique_ptr<__func_attr> record = std::move(it->second);
    functionMap.erase(it);
    if (__func_attr* standIn = CreateFuncAttr(key, record->Name)) standIn->IsReplaceable = true;
    replaced.emplace_back(key, std::move(record));
  }

  int result = ParseDisassembledElfFile(libraryListingFile);

  for (auto& [key, record] : replaced) {
    if (__func_attr* standIn = FindFuncItem(key)) {
      record->IsUsed = record->IsUsed || standIn->IsUsed;
      record->HasParent = record->HasParent || standIn->HasParent;
      listedFunctions.erase(standIn);
      RemoveFuncItem(key);
    }
    InsertFuncItem(functionMap, key, std::move(record));
  }
  ClearCurrentFunction();
  listingElf = nullptr;
  warnR29 = savedR29;
  return result;
}

int FileParser::ParseDynamicLibs() { return 0; }  // nothing is linked dynamically
