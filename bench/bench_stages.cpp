// Times each stage of the analysis on given inputs, next to `wc -l` over the
// same bytes as the physical reference of reading them.
//
//   bench_stages source DIR           assembly tree: scan, pass 1, pass 2, ...
//   bench_stages image ELF LISTING    image: symbols, listing parse, ...
//
// Results go to standard error; the analyser's own messages are discarded.
// BENCH_LAST_PASS=1 stops a source run after pass 1, so that a profiler
// sees that pass alone.
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "source/FileParser.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

long long FileBytes(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
}

double PeakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Wall time of `wc -l` over the files (listed in a temporary file).
double WcSeconds(const std::vector<std::string>& files) {
  std::string list = "/tmp/bench_stages_files.txt";
  FILE* out = std::fopen(list.c_str(), "w");
  if (out == nullptr) return 0;
  for (const std::string& f : files) std::fprintf(out, "%s%c", f.c_str(), '\0');
  std::fclose(out);
  auto start = Clock::now();
  // wc reads the files itself: a pipe in between would double the copying
  // and flatter every ratio.
  int rc = std::system(("xargs -0 wc -l < " + list + " > /dev/null").c_str());
  double s = Seconds(start);
  std::remove(list.c_str());
  return rc == 0 ? s : 0;
}

void Row(const char* stage, double seconds, long long bytes, size_t functions, double wc) {
  std::fprintf(stderr, "%-22s %9.3f s", stage, seconds);
  if (bytes > 0) std::fprintf(stderr, "  %8.1f MB/s", static_cast<double>(bytes) / 1e6 / seconds);
  if (functions > 0) std::fprintf(stderr, "  %10.0f functions/s", static_cast<double>(functions) / seconds);
  if (wc > 0) std::fprintf(stderr, "  %5.1fx wc -l", seconds / wc);
  std::fprintf(stderr, "\n");
}

size_t CallEdges(const FileParser& p) {
  size_t edges = 0;
  for (const auto& entry : p.functionMap) edges += entry.second->callList.size();
  return edges;
}

int Repeats() {
  const char* text = std::getenv("BENCH_REPEAT");
  return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : 1;
}

int LastPass() {
  const char* text = std::getenv("BENCH_LAST_PASS");
  return text != nullptr ? std::atoi(text) : 0;  // 0: every stage runs
}

// Each writer runs BENCH_REPEAT times (default 1) and its fastest run is
// shown: the writes go to the page cache, whose cost varies from run to run.
// A run writes one family, text or XML, so each is summed with the
// resolution.
void Reports(FileParser& p, const std::string& outDir, double resolution) {
  struct Writer {
    const char* name;
    int (AssemblyData::*write)(const std::string&);
    bool xml;
  };
  const Writer writers[] = {
      {"report csv", &AssemblyData::DumpSizeItems, false},
      {"report by name", &AssemblyData::DumpFuncItems, false},
      {"report call paths", &AssemblyData::DumpPathItems, false},
      {"report unknown", &AssemblyData::DumpUnknownFuncItems, false},
      {"report xml functions", &AssemblyData::DumpFunctionList, true},
      {"report xml memory", &AssemblyData::DumpMemoryList, true},
      {"report xml warnings", &AssemblyData::DumpFWarningList, true},
      {"report xml mwarnings", &AssemblyData::DumpMWarningList, true},
  };
  const int repeat = Repeats();
  double family[2] = {resolution, resolution};
  for (const Writer& w : writers) {
    double best = 0;
    for (int r = 0; r < repeat; ++r) {
      auto start = Clock::now();
      (p.*w.write)(outDir);
      const double s = Seconds(start);
      if (r == 0 || s < best) best = s;
    }
    Row(w.name, best, 0, 0, 0);
    family[w.xml ? 1 : 0] += best;
  }
  Row("resolution + text", family[0], 0, 0, 0);
  Row("resolution + xml", family[1], 0, 0, 0);
}

// Resolution repeats (BENCH_REPEAT) start over: every function unvisited,
// and a function without calls added so that the callee table is built
// again (a removal would also void the callee records the call lists keep).
double Resolve(FileParser& p) {
  double best = 0;
  for (int r = 0; r < Repeats(); ++r) {
    if (r > 0) {
      for (auto& entry : p.functionMap) entry.second->Recursion = 0;
      p.CreateFuncAttr("bench.repeat." + std::to_string(r), "bench.repeat");
    }
    auto start = Clock::now();
    p.ProcessAssemblyObject();
    const double s = Seconds(start);
    if (r == 0 || s < best) best = s;
  }
  Row("stack resolution", best, 0, p.functionMap.size(), 0);
  std::fprintf(stderr, "%-22s %zu functions, %zu call edges\n", "graph", p.functionMap.size(), CallEdges(p));
  return best;
}

int Source(const std::string& dir, const std::string& outDir) {
  FileParser p;
  auto start = Clock::now();
  p.ScanDirectory(dir, 0);
  Row("scan", Seconds(start), 0, 0, 0);
  std::vector<std::string> files;
  long long bytes = 0;
  for (const auto& entry : p.pathMap) {
    files.push_back(entry.first);
    bytes += FileBytes(entry.first);
  }
  double wc = WcSeconds(files);
  std::fprintf(stderr, "%-22s %zu files, %.1f MB, wc -l %.3f s\n", "input", files.size(), bytes / 1e6, wc);
  for (int pass = 1; pass <= 2; ++pass) {
    start = Clock::now();
    for (const std::string& f : files) p.ParseAssemblyFile(f, pass);
    Row(pass == 1 ? "pass 1" : "pass 2", Seconds(start), bytes, p.functionMap.size(), wc);
    if (pass == LastPass()) return 0;
  }
  const double resolution = Resolve(p);
  Reports(p, outDir, resolution);
  std::fprintf(stderr, "%-22s %.1f MB\n", "peak memory", PeakMegabytes());
  return 0;
}

int Image(const std::string& elf, const std::string& listing, const std::string& outDir) {
  FileParser p;
  p.elfMode = true;
  p.objdumpKind = 2;
  auto start = Clock::now();
  if (p.ReadElfIntoElfMaps(elf, 1) != 0 || p.BuildMapsFromElfData() != 0) return 1;
  Row("symbols", Seconds(start), FileBytes(elf), p.functionMap.size(), 0);
  const long long bytes = FileBytes(listing);
  double wc = WcSeconds({listing});
  std::fprintf(stderr, "%-22s %.1f MB, wc -l %.3f s\n", "listing", bytes / 1e6, wc);
  start = Clock::now();
  p.ParseDisassembledElfFile(listing);
  Row("listing parse", Seconds(start), bytes, p.functionMap.size(), wc);
  const double resolution = Resolve(p);
  Reports(p, outDir, resolution);
  std::fprintf(stderr, "%-22s %.1f MB\n", "peak memory", PeakMegabytes());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s source DIR | image ELF LISTING  [OUTDIR]\n", argv[0]);
    return 2;
  }
  if (!std::freopen("/dev/null", "w", stdout)) return 1;
  const std::string mode = argv[1];
  if (mode == "source") return Source(argv[2], argc > 3 ? argv[3] : "/tmp/");
  if (mode == "image" && argc > 3) return Image(argv[2], argv[3], argc > 4 ? argv[4] : "/tmp/");
  std::fprintf(stderr, "unknown mode\n");
  return 2;
}
