// Self-test: the same program analysed from its assembly sources and from
// its linked image; the cumulative stack of main must agree between the two
// and with the expected figure.
#include "source/FileParser.h"

namespace {

// Removes the run's temporary files on every way out of the test.
class TemporaryFiles {
 public:
  explicit TemporaryFiles(FileParser& parser) : parser_(parser) {}
  ~TemporaryFiles() { parser_.RemoveTemporaryFiles(); }
  TemporaryFiles(const TemporaryFiles&) = delete;
  TemporaryFiles& operator=(const TemporaryFiles&) = delete;

 private:
  FileParser& parser_;
};

// The image analysis starts from an empty database: nothing of the source
// analysis may leak into its figures.
void ClearDatabase(FileParser& p) {
  p.sizeMap.clear();  // points into the function map
  p.functionMap.clear();
  p.filterFunctionMap.clear();
  p.memoryMap.clear();
  p.DeleteAliasList();
  p.warnings.clear();
  p.rootMap.clear();
  p.presetFunctions.clear();  // the aid files are read again
  p.presetIndex.clear();
  for (int list = 0; list < 5; ++list) p.DeleteList(list);
  p.ClearCurrentFunction();
  p.currentObject = nullptr;
  p.listedFunctions.clear();
  p.pendingFunction.clear();
  p.skipFunction = false;
  p.hasFuncRelocations = false;
  p.listingElf = nullptr;
  p.libraryElf.reset();
  p.libraryFunctionKeys.clear();
  p.CleanMaps();
}

}  // namespace

int FileParser::RunTestMode() {
  PRINT("TESTING SOURCE CODE MODE:", "20: ");
  if (elfFile.empty() || sourceFolders.empty()) return -1;
  TemporaryFiles temporaryFiles(*this);
  // Both analyses need the toolchain: the libraries and the disassembler.
  if (detectTools() != 0) return -1;

  if (PreProcessLibraries() != 0) return -1;
  if (ProcessSourceDirectories() != 0) return -1;
  for (const std::string& aidFile : aidFiles) {
    if (ProcessAidFile(aidFile) != 0) return -1;
  }
  // Without their listings the library functions would have no frames,
  // while the image shows them.
  if (ParseStaticLibs() != 0 || ParseDynamicLibs() != 0) return -1;
  ProcessAssemblyObject();
  const __func_attr* sourceMain = FindFunction("main", "nothing");
  if (sourceMain == nullptr) {
    PRINT("TEST FAILED: function main not found in the source files", "20: ");
    return -1;
  }
  const int32_t sourceResult = sourceMain->CumStack;

  PRINT("TESTING ELF FILE MODE:", "20: ");
  ClearDatabase(*this);
  elfMode = true;  // the aid files now give only preset entries
  if (ReadElfIntoElfMaps(elfFile, 1) == -1) return -1;
  if (BuildMapsFromElfData() == -1) return -1;
  if (CreateDisassemblyFile(elfFile, disassemblyFile) == -1) return -1;
  if (ParseDisassembledElfFile(disassemblyFile) == -1) return -1;
  for (const std::string& aidFile : aidFiles) {
    if (ProcessAidFile(aidFile) != 0) return -1;
  }
  ProcessAssemblyObject();
  const __func_attr* imageMain = FindFunction("main", "nothing");
  if (imageMain == nullptr) {
    PRINTS("TEST FAILED: function main not found in %s", elfFile, "20: ");
    return -1;
  }
  const int32_t imageResult = imageMain->CumStack;

  if (sourceResult != imageResult) return -1;
  if (imageResult != expectedTestResult) {
    PRINTI("TEST FAILED WITH A MAIN STACK SIZE OF: %d", imageResult, "20: ");
    return -1;
  }
  PRINTI("TEST PASSED WITH A MAIN STACK SIZE OF: %d", imageResult, "20: ");
  return 0;
}
