// Times pass 1 and pass 2 over an assembly tree with a precise clock.
// Built and run by source_passes.sh; not part of the analyser.
#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <cstdio>

#include "source/FileParser.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: pass_timer FOLDER\n");
    return 2;
  }
  FileParser parser;
  parser.warnAtObject = parser.warnObjSize = false;  // the synthetic data objects are not declared in data
  if (parser.ScanDirectory(argv[1], 0) != 0 || parser.pathMap.empty()) {
    std::fprintf(stderr, "no assembly files under %s\n", argv[1]);
    return 1;
  }
  double megabytes = 0;
  for (const auto& entry : parser.pathMap) {
    struct stat info {};
    if (stat(entry.first.c_str(), &info) == 0) megabytes += static_cast<double>(info.st_size) / 1e6;
  }
  // Wall-clock time, and processor time, which other load on the machine
  // disturbs less.
  using Clock = std::chrono::steady_clock;
  auto start = Clock::now();
  std::clock_t cpuStart = std::clock();
  for (const auto& entry : parser.pathMap) parser.ParseAssemblyFile(entry.first, 1);
  const double pass1 = std::chrono::duration<double>(Clock::now() - start).count();
  const double cpu1 = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  start = Clock::now();
  cpuStart = std::clock();
  for (const auto& entry : parser.pathMap) parser.ParseAssemblyFile(entry.first, 2);
  const double pass2 = std::chrono::duration<double>(Clock::now() - start).count();
  const double cpu2 = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  parser.DeleteList(ListFalseFunction);

  size_t calls = 0;
  for (const auto& entry : parser.functionMap) calls += entry.second->callList.size();
  std::fprintf(stderr, "files %zu, %.1f MB, functions %zu, call-list entries %zu, warnings %zu\n",
               parser.pathMap.size(), megabytes, parser.functionMap.size(), calls, parser.warnings.size());
  std::fprintf(stderr, "pass 1: %.3f s, %.1f MB/s (processor time %.3f s, %.1f MB/s)\n", pass1, megabytes / pass1,
               cpu1, megabytes / cpu1);
  std::fprintf(stderr, "pass 2: %.3f s, %.1f MB/s (processor time %.3f s, %.1f MB/s)\n", pass2, megabytes / pass2,
               cpu2, megabytes / cpu2);
  return 0;
}
