// Turns the command line into the settings of the program object, finds the
// C library aid file and runs the analysis or the self-test.
#include "driver/CommandLine.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "source/FileParser.h"

const char* const usageText =
    "Usage:\n"
    "valdrin-analyzer-backend [options] --folder <path>\n"
    "valdrin-analyzer-backend [options] --elffile file.elf\n"
    "\n"
    "Options:\n"
    "  -h --help                  Display this information and exit\n"
    "  --aidfile <aidfile>        Input aiding data file for items not in folders\n"
    "  --elffile <elffile>        Program .elf or .pbn file\n"
    "  --rootfile <rootfile>      User defined root config file\n"
    "  -f --folder <path>         Folders to be processed\n"
    "  --gui                      Backend called by GUI\n"
    "  -o --outdir <path>         Output directory for dump files, use ./ for relative path\n"
    "  -v --version               Display version information and exit\n"
    "  --dsp <vX>                 Set DSP version number\n"
    "  --G0                       Set -mG0lib switch \n"
    "\n"
    "  --no-warn                  Disable all warnings\n"
    "  --no-collision             Disable global collision warnings\n"
    "  --no-atfunction            Disable missing @function warnings\n"
    "  --no-atobject              Disable missing @object warnings\n"
    "  --no-fsize                 Disable missing function .size warnings\n"
    "  --no-osize                 Disable missing object .size warnings\n"
    "  --no-badlabel              Disable malformed label warnings\n"
    "  --no-r29                   Disable r29 not computed warnings\n"
    "  --no-file                  Disable missing .file warnings\n"
    "  --no-recursion             Disable recursion warnings\n"
    "\n";

const char* const versionText = "Valdrin Build Version 8.4.12";
const char* const noticeText =
    "Static stack-usage analyser for the Valdrin DSP family; figures are worst-case estimates.";

// Directories, relative to the executable, where libcAidFile.txt may lie.
static const std::vector<std::string> likely_paths = {".", "../etc"};

namespace {

enum class Parse { Continue, Exit };

struct Options {
  FileParser& parser;
  CommandLine& state;
  std::string switches;
};

// Prints "message\n\n<usage>" for a missing or repeated value; main then
// returns -1.
Parse Missing(Options& o, const char* message) {
  std::printf(message, usageText);
  o.state.result = -1;
  return Parse::Exit;
}

// Walks the arguments; returns Parse::Exit with result set when main must
// return at once (help, version, errors).
Parse ParseArguments(int argc, char** argv, Options& o) {
  FileParser& p = o.parser;
  bool* const allWarnings[] = {&p.warnCollision, &p.warnAtFunction, &p.warnFuncSize,
                               &p.warnAtObject,  &p.warnObjSize,    &p.warnBadLabel,
                               &p.warnR29,       &p.warnFile,       &p.warnRecursion};
  struct WarnOption {
    const char* option;
    bool* setting;
  };
  const WarnOption warnOptions[] = {
      {"--no-collision", &p.warnCollision}, {"--no-atfunction", &p.warnAtFunction},
      {"--no-atobject", &p.warnAtObject},   {"--no-fsize", &p.warnFuncSize},
      {"--no-osize", &p.warnObjSize},       {"--no-badlabel", &p.warnBadLabel},
      {"--no-r29", &p.warnR29},             {"--no-file", &p.warnFile},
      {"--no-recursion", &p.warnRecursion},
  };

  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "-h" || arg == "--help") {
      std::puts(usageText);
      o.state.result = 0;
      return Parse::Exit;
    }
    if (arg == "-v" || arg == "--version") {
      std::printf("Version: %s\n%s\n", versionText, noticeText);
      o.state.result = 0;
      return Parse::Exit;
    }
    if (arg == "-f" || arg == "--folder") {
      if (!hasValue) return Missing(o, "Error: missing <path> for --folder\n\n%s");
      p.sourceFolders.emplace_back(argv[++i]);
      continue;
    }
    if (arg == "--aidfile") {
      if (!hasValue) return Missing(o, "Error: missing <aidfile> for --aidfile\n\n%s");
      p.aidFiles.emplace_back(argv[++i]);
      continue;
    }
    if (arg == "--elffile") {
      if (!p.elfFile.empty()) {
        return Missing(o, "Error: Only one --elffile <elffile> is allowed\n\n%s");
      }
      if (!hasValue) return Missing(o, "Error: missing <elffile> for --elffile\n\n%s");
      p.elfFile = argv[++i];
      continue;
    }
    if (arg == "--rootfile") {
      if (!hasValue) return Missing(o, "Error: missing <rootfile> for --rootfile\n\n%s");
      ++i;
      if (!p.rootFile.empty()) {
        std::printf("Warning: replacing previously defined --rootfile <rootfile> with %s\n\n", argv[i]);
      }
      p.rootFile = argv[i];
      continue;
    }
    if (arg == "-o" || arg == "--outdir") {
      if (!hasValue) return Missing(o, "Error: missing <path> for --outdir\n\n%s");
      p.outputDir = argv[++i];
      if (!p.outputDir.empty() && p.outputDir.back() != '/') p.outputDir += '/';
      continue;
    }
    if (arg == "--dsp") {
      if (!hasValue) return Missing(o, "Error: missing vX for --dsp\n\n%s");
      o.switches += " -m";
      o.switches += argv[++i];
      continue;
    }
    if (arg == "--G0") {
      o.switches += " -mG0lib";
      continue;
    }
    if (arg == "--fpic") {
      o.switches += " -fpic";
      continue;
    }
    if (arg == "--no-warn") {
      for (bool* setting : allWarnings) *setting = false;
      continue;
    }
    bool matched = false;
    for (const WarnOption& w : warnOptions) {
      if (arg == w.option) {
        *w.setting = false;
        matched = true;
        break;
      }
    }
    if (matched) continue;
    if (arg == "--gui") {
      p.guiMode = true;
      continue;
    }
    if (arg == "--testmode") {
      o.state.testMode = true;
      continue;
    }
    if (arg == "--testresult") {
      if (!hasValue) return Missing(o, "Error: missing argument for --testresult\n\n%s");
      // Read as strtol does (base 10, trailing junk ignored) and truncated to
      // 32 bits; the unsigned detour keeps the truncation well defined.
      long value = std::strtol(argv[++i], nullptr, 10);
      p.expectedTestResult = static_cast<int32_t>(static_cast<uint32_t>(static_cast<unsigned long>(value)));
      p.expectedTestResultSet = true;
      continue;
    }
    // One free word is allowed in first place.
    if (i == 1) continue;
    std::printf("Error: Unknown argument %s\n", arg.c_str());
    std::puts(usageText);
    o.state.result = -1;
    return Parse::Exit;
  }
  return Parse::Continue;
}

std::string FindLibcAidFile(FileParser& parser, const char* programPath) {
  std::string found = parser.FindFile("../etc/libcAidFile.txt");
  if (found.empty()) found = parser.FindFile("libcAidFile.txt");
  if (found.empty()) {
    found = FileParser::FindRelativeFile(programPath ? programPath : "", likely_paths,
                                         "libcAidFile.txt");
  }
  return found;
}

int Run(int argc, char** argv) {
  auto parser = std::make_unique<FileParser>();
  if (argc < 2) {
    std::puts(usageText);
    return -1;
  }
  CommandLine state = ParseCommandLine(argc, argv, *parser);
  if (state.exitNow) return state.result;

  std::string aidFile = FindLibcAidFile(*parser, argv[0]);
  if (aidFile.empty()) {
    std::puts(parser->guiMode ? "10: Could not find libcAidFile.txt." : "Could not find libcAidFile.txt.");
    return -1;
  }
  parser->aidFiles.push_back(aidFile);

  if (state.testMode) {
    std::puts("Running Test Mode");
    return parser->RunTestMode();
  }
  if (parser->ProcessAll() == -1) {
    std::puts(parser->guiMode ? "10: Program aborted on error" : "Program aborted on error");
    return -1;
  }
  return 0;
}

}  // namespace

CommandLine ParseCommandLine(int argc, char** argv, FileParser& parser) {
  CommandLine state;
  Options options{parser, state, {}};
  if (ParseArguments(argc, argv, options) == Parse::Exit) {
    state.exitNow = true;
    return state;
  }
  if (parser.elfFile.empty() && parser.sourceFolders.empty()) {
    std::puts(usageText);
    state.exitNow = true;
    state.result = -1;
    return state;
  }
  if (!options.switches.empty()) parser.compilerSwitches = options.switches;
  return state;
}

int RunMain(int argc, char** argv) {
  int result = Run(argc, argv);
  // main's result becomes the exit status; -1 is 255.
  std::fflush(stdout);
  return result & 0xff;
}
