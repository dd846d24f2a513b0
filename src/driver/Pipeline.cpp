// One analysis from start to end: toolchain, inputs in their fixed order,
// roots, filter functions, stack resolution, reports and summary.
#include <unistd.h>

#include "source/FileParser.h"

void FileParser::RemoveTemporaryFiles() {
  for (const std::string* path : {&disassemblyFile, &libraryObjectFile, &libraryListingFile, &filteredLibsFile}) {
    if (!path->empty()) unlink(path->c_str());
  }
}

int FileParser::ProcessAll() {
  if (detectTools() != 0) return -1;

  if (!sourceFolders.empty()) {
    if (PreProcessLibraries() == -1) return -1;
    if (!elfFile.empty() && ReadElfIntoElfMaps(elfFile, 0) == -1) return -1;
    for (const std::string& aidFile : aidFiles) {
      if (ProcessAidFile(aidFile) != 0) return -1;
    }
    if (ProcessSourceDirectories() == -1) return -1;
    if (ParseStaticLibs() == -1) return -1;
    if (ParseDynamicLibs() == -1) return -1;
  } else {
    if (elfFile.empty()) {
      PRINT("Error: Nothing to process", "10: ");
      return -1;
    }
    elfMode = true;
    if (ReadElfIntoElfMaps(elfFile, 1) == -1) return -1;
    if (BuildMapsFromElfData() == -1) return -1;
    for (const std::string& aidFile : aidFiles) {
      if (ProcessAidFile(aidFile) != 0) return -1;
    }
    if (CreateDisassemblyFile(elfFile, disassemblyFile) == -1) return -1;
    if (ParseDisassembledElfFile(disassemblyFile) == -1) return -1;
  }

  ProcessUserDefinedRootFile();
  AddAllFilterFunctions(outputDir);
  ProcessAssemblyObject();
  if (!outputDir.empty()) DumpFiles(outputDir);

  if (!sourceFolders.empty()) {
    PRINTI("Number of functions in source files: %d", static_cast<int>(functionMap.size()), "21: ");
    PRINTI("Number of memory objects in source files: %d", static_cast<int>(memoryMap.size()), "21: ");
  }
  if (elfMapsInUse) {
    PRINTI("Number of functions in ELF file: %d", static_cast<int>(elfFuncMap.size()), "21: ");
    PRINTI("Number of memory objects in ELF file: %d", static_cast<int>(elfMemMap.size()), "21: ");
  }
  PRINT("Backend Processing Complete", "01: ");
  RemoveTemporaryFiles();
  return 0;
}
