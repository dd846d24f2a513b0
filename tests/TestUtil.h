// Helpers shared by the tests: temporary folders, files, running the built
// analyser and capturing what it prints.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testutil {

// A fresh folder under the system temporary directory, removed on exit.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

struct RunResult {
  std::string out;  // standard output
  int status = -1;  // exit status, or 128 + signal
};

// Runs the analyser with the given arguments in the given folder. The
// stand-in toolchain is put first on PATH unless withToolchain is false.
RunResult RunAnalyser(const std::vector<std::string>& args, const std::string& cwd = "",
                      bool withToolchain = true);
// Runs the analyser as RunAnalyser does, but isolated from the shipped
// data: no toolchain library is found (the stand-in compiler looks into an
// empty folder) and the C library aid file holds no records (it is taken
// from <tmp>/etc, relative to the working directory <tmp>/run). The reports
// then list exactly the functions of the input.
RunResult RunAnalyserIsolated(const std::vector<std::string>& args, const TempDir& tmp);
// Runs any command line through the shell and captures its output.
RunResult RunCommand(const std::string& command, const std::string& cwd = "");

// A folder run of the analyser, isolated as above, over a copy of the
// fixture tests/data/e2e/<fixture>, with reports written to <tmp>/out.
struct FixtureRun {
  TempDir tmp;
  std::string tree, out;
  RunResult result;
  explicit FixtureRun(const std::string& fixture, const std::vector<std::string>& extra = {});
  std::string Report(const std::string& name) const;
  // The canonical path of a file of the copied fixture, as messages name it.
  std::string Canonical(const std::string& file) const;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
// Writes an executable bash script.
void MakeTool(const std::string& path, const std::string& body);
bool FileExists(const std::string& path);
void MakeDirs(const std::string& path);
// Copies a file or a folder tree.
void Copy(const std::string& from, const std::string& to);

std::string DataPath(const std::string& relative);
std::string AnalyserBinary();
std::string ToolchainDir();

// What the step prints to standard output. Failures inside the step are
// captured too: keep assertions outside it.
template <class Step>
std::string Captured(Step&& step) {
  testing::internal::CaptureStdout();
  step();
  return testing::internal::GetCapturedStdout();
}

std::string CurrentDir();
void ChangeDir(const std::string& dir);
// Runs the step in another working directory and comes back.
template <class Step>
void InDir(const std::string& dir, Step&& step) {
  const std::string saved = CurrentDir();
  ChangeDir(dir);
  step();
  ChangeDir(saved);
}

inline bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The call list of a function record (none for no record).
template <class Record>
std::vector<std::string> Calls(const Record* record) {
  return record ? std::vector<std::string>(record->callList.begin(), record->callList.end()) : std::vector<std::string>{};
}

}  // namespace testutil
