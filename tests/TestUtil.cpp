#include "TestUtil.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace testutil {

TempDir::TempDir() {
  std::string pattern = (fs::temp_directory_path() / "valdrin-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  // Folders made unreadable by a test must become removable again.
  for (auto it = fs::recursive_directory_iterator(path_, fs::directory_options::skip_permission_denied, ignored);
       it != fs::recursive_directory_iterator(); it.increment(ignored)) {
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
  }
  fs::remove_all(path_, ignored);
}

namespace {
std::string Quote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') quoted += "'\\''";
    else quoted += c;
  }
  return quoted + "'";
}
}  // namespace

RunResult RunCommand(const std::string& command, const std::string& cwd) {
  std::string full = cwd.empty() ? command : "cd " + Quote(cwd) + " && " + command;
  RunResult result;
  FILE* pipe = popen(full.c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[65536];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.out.append(buffer, n);
  int status = pclose(pipe);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  else if (WIFSIGNALED(status)) result.status = 128 + WTERMSIG(status);
  return result;
}

namespace {
std::string Command(const std::string& environment, const std::vector<std::string>& args) {
  std::string command = environment + Quote(AnalyserBinary());
  for (const std::string& arg : args) command += " " + Quote(arg);
  return command;
}
}  // namespace

RunResult RunAnalyser(const std::vector<std::string>& args, const std::string& cwd, bool withToolchain) {
  return RunCommand(Command(withToolchain ? "PATH=" + Quote(ToolchainDir()) + ":\"$PATH\" " : "PATH=/usr/bin:/bin ", args),
                    cwd);
}

RunResult RunAnalyserIsolated(const std::vector<std::string>& args, const TempDir& tmp) {
  MakeDirs(tmp / "nolibs");
  MakeDirs(tmp / "run");
  WriteFile(tmp / "etc/libcAidFile.txt", "// no records\n");
  return RunCommand(Command("VALDRIN_STANDIN_LIBDIR=" + Quote(tmp / "nolibs") + " PATH=" + Quote(ToolchainDir()) +
                                ":/usr/bin:/bin ",
                            args),
                    tmp / "run");
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  fs::path p(path);
  if (p.has_parent_path()) fs::create_directories(p.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

void MakeTool(const std::string& path, const std::string& body) {
  WriteFile(path, "#!/usr/bin/env bash\n" + body + "\n");
  fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                            fs::perms::others_read | fs::perms::others_exec);
}

FixtureRun::FixtureRun(const std::string& fixture, const std::vector<std::string>& extra)
    : tree(tmp / "tree"), out(tmp / "out") {
  Copy(DataPath("e2e/" + fixture), tree);
  MakeDirs(out);
  std::vector<std::string> args = {"--folder", tree, "--outdir", out};
  args.insert(args.end(), extra.begin(), extra.end());
  result = RunAnalyserIsolated(args, tmp);
}
std::string FixtureRun::Report(const std::string& name) const { return ReadFile(out + "/" + name); }
std::string FixtureRun::Canonical(const std::string& file) const { return fs::canonical(tree).string() + "/" + file; }

std::string CurrentDir() { return fs::current_path().string(); }
void ChangeDir(const std::string& dir) { fs::current_path(dir); }

bool FileExists(const std::string& path) { return fs::exists(path); }

void MakeDirs(const std::string& path) { fs::create_directories(path); }

void Copy(const std::string& from, const std::string& to) {
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

std::string DataPath(const std::string& relative) { return std::string(TEST_DATA_DIR) + "/" + relative; }
std::string AnalyserBinary() { return ANALYSER_BINARY; }
std::string ToolchainDir() { return TEST_TOOLCHAIN_DIR; }

}  // namespace testutil
