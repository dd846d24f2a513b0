// The report entry point and the frame every report file shares: open,
// announce, or report why it could not be opened.
#include <cstdio>

#include "database/AssemblyData.h"

int AssemblyData::OpenReport(const std::string& path, FILE** file) {
  *file = std::fopen(path.c_str(), "w");
  if (*file == nullptr) {
    PRINTS("Error: Unable to open file %s for output.", path, "10: ");
    return -1;
  }
  // Reports of large programs run to many megabytes; write in big blocks.
  std::setvbuf(*file, nullptr, _IOFBF, 1 << 16);
  PRINTS("Writing output file %s", path, "34: ");
  return 0;
}

int AssemblyData::DumpFiles(std::string outputDirectory) {
  if (outputDirectory.empty()) {
    PRINT("Error: Output path is empty", "10: ");
    return -1;
  }
  if (outputDirectory.back() != '/') outputDirectory += '/';

  // Every writer runs even when an earlier one failed.
  int failed = 0;
  if (guiMode) {
    failed |= DumpFunctionList(outputDirectory);
    failed |= DumpMemoryList(outputDirectory);
    failed |= DumpFWarningList(outputDirectory);
    failed |= DumpMWarningList(outputDirectory);
  } else {
    failed |= DumpSizeItems(outputDirectory);
    failed |= DumpFuncItems(outputDirectory);
    failed |= DumpPathItems(outputDirectory);
    failed |= DumpUnknownFuncItems(outputDirectory);
  }
  return failed != 0 ? -1 : 0;
}
