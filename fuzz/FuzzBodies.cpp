#include "FuzzBodies.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "elf/ElfFile.h"
#include "source/FileParser.h"
#include "source/MathParser.h"

namespace fuzzbodies {

namespace {

// Every reader takes a path: the input goes to a file of this process.
std::string WriteInput(const uint8_t* data, size_t size, const char* suffix) {
  static const std::string dir = [] {
    char pattern[] = "/tmp/valdrin-fuzz-XXXXXX";
    const char* made = mkdtemp(pattern);
    return std::string(made ? made : "/tmp");
  }();
  std::string path = dir + "/input" + suffix;
  if (FILE* file = std::fopen(path.c_str(), "wb")) {
    if (size > 0) std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  return path;
}

std::string& ListingImage() {
  static std::string image;
  return image;
}

}  // namespace

void SetListingImage(const std::string& path) { ListingImage() = path; }

void MathParserInput(const uint8_t* data, size_t size) {
  MathParser parser(std::string(reinterpret_cast<const char*>(data), size));
  (void)parser.Value();
}

void AidFileInput(const uint8_t* data, size_t size) {
  FileParser parser;
  parser.elfMode = size > 0 && (data[0] & 1);
  parser.ProcessAidFile(WriteInput(data, size, ".aid"));
  parser.ProcessAssemblyObject();
}

void RootFileInput(const uint8_t* data, size_t size) {
  FileParser parser;
  parser.rootFile = WriteInput(data, size, ".roots");
  parser.ProcessUserDefinedRootFile();
  __func_attr* main = parser.CreateFuncAttr("main", "main");
  (void)parser.IsUserDefinedRoot(main);
  if (FILE* sink = std::fopen("/dev/null", "w")) {
    parser.DumpModuleList(main, sink);
    std::fclose(sink);
  }
}

void ElfFileInput(const uint8_t* data, size_t size) {
  ElfFile elf;
  if (elf.ReadFile(WriteInput(data, size, ".elf")) != 1) return;
  uint32_t probe = 0;
  for (size_t i = 0; i < size && i < 4; ++i) probe |= static_cast<uint32_t>(data[i]) << (8 * i);
  const uint32_t addresses[] = {0, 1, probe, 0x20000, 0xffffffffu};
  for (uint32_t address : addresses) {
    elf.GetFcnSymForAddr(address);
    elf.GetFcnNameForAddr(address);
    if (fcn_symbols* first = elf.GetFirstFncAtAddr(address)) elf.GetNextFcnAtAddr(address, first);
    elf.GetFcnSymAtAddr(address);
    elf.IsStartOfFcnAddr(address);
    elf.GetObjSymForAddr(address);
    elf.GetObjNameForAddr(address);
    elf.GetObjSymAtAddr(address);
    for (int kind = -1; kind <= 3; ++kind) elf.FindReloItem(address, kind);
  }
  size_t budget = 64;
  for (const fcn_symbols& f : elf.Functions()) {
    if (budget-- == 0) break;
    std::string name = f.name ? f.name : "";
    elf.GetSymbolByName(name);
    elf.GetFcnSymByName(name);
    elf.GetNotypeSymByName(name);
    elf.CreateFuncReloMap(name);
    elf.GetNextFcnAtAddr(f.startAddress, const_cast<fcn_symbols*>(&f));
  }
  if (FILE* sink = std::fopen("/dev/null", "w")) {
    elf.DumpAll(sink);
    std::fclose(sink);
  }
}

void AssemblyInput(const uint8_t* data, size_t size) {
  FileParser parser;
  // The first byte picks the tokenizer; the rest is the file.
  parser.syntaxMode = size > 0 ? (data[0] & 1) : 0;
  std::string path = WriteInput(size > 0 ? data + 1 : data, size > 0 ? size - 1 : 0, ".s");
  parser.ParseAssemblyFile(path, 1);
  parser.ParseAssemblyFile(path, 2);
  parser.ProcessAssemblyObject();
}

void ListingInput(const uint8_t* data, size_t size) {
  FileParser parser;
  parser.elfMode = true;
  // The first byte picks the disassembler kind; the rest is the listing.
  parser.objdumpKind = size > 0 && (data[0] & 1) ? 1 : 2;
  if (!ListingImage().empty() && parser.ReadElfIntoElfMaps(ListingImage(), 1) == 0) {
    parser.BuildMapsFromElfData();
  }
  parser.ParseDisassembledElfFile(
      WriteInput(size > 0 ? data + 1 : data, size > 0 ? size - 1 : 0, ".dis"));
  parser.ProcessAssemblyObject();
}

}  // namespace fuzzbodies
