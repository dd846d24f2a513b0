// Entry point of the analyser: command line, libcAidFile.txt lookup, run.
#pragma once

extern const char* const usageText;
extern const char* const versionText;
extern const char* const noticeText;

class FileParser;

// Outcome of reading the command line into a program object.
struct CommandLine {
  bool testMode = false;
  bool exitNow = false;  // help, version, usage or an error: main returns result
  int result = 0;
};

// Reads every option into the parser's settings, printing usage, version
// and command-line errors itself.
CommandLine ParseCommandLine(int argc, char** argv, FileParser& parser);

int RunMain(int argc, char** argv);
