// Finding the cross toolchain and running its programs: a compiler or linker
// command whose short answer we capture, and the disassembler whose listing
// goes straight into a file.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "source/FileParser.h"

int FileParser::detectTools() {
  compilerPath.clear();
  linkerPath.clear();
  objdumpPath.clear();

  // The LLVM-based names win whenever both are installed.
  compilerPath = FindFile("valdrin-clang");
  if (compilerPath.empty()) compilerPath = FindFile("valdrin-gcc");

  linkerPath = FindFile("valdrin-link");
  if (linkerPath.empty()) linkerPath = FindFile("valdrin-ld");

  std::string found = FindFile("valdrin-llvm-objdump");
  if (!found.empty()) {
    objdumpPath = found;
    objdumpKind = 2;
  } else {
    found = FindFile("valdrin-objdump");
    if (!found.empty()) {
      objdumpPath = found;
      objdumpKind = 1;
    }
  }

  std::string missing;
  if (compilerPath.empty()) missing += "Could not find valdrin-gcc or valdrin-clang. ";
  if (linkerPath.empty()) missing += "Could not find valdrin-ld or valdrin-link. ";
  if (objdumpPath.empty()) missing += "Could not find valdrin-objdump or valdrin-llvm-objdump.";
  if (missing.empty()) return 0;

  // Written directly: outside GUI mode this line carries no code at all.
  if (guiMode) missing.insert(0, "40: ");
  std::puts(missing.c_str());
  std::fflush(stdout);
  return -1;
}

std::string FileParser::RunTool(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "";

  constexpr int kBufferSize = 2048;
  char buffer[kBufferSize];
  int attempts = 0;  // the attempt that meets end of file counts too
  while (attempts < kBufferSize - 1) {
    int c = std::fgetc(pipe);
    ++attempts;
    if (c == EOF) break;
    buffer[attempts - 1] = static_cast<char>(c);
  }
  pclose(pipe);

  if (attempts < 3) return "";
  // Drops the answer's final newline; the text ends at the first NUL.
  buffer[attempts - 2] = '\0';
  return std::string(buffer);
}

namespace {
// Only write(2) in the forked child: nothing buffered may be duplicated.
void WriteStderr(const char* text) {
  size_t left = std::strlen(text);
  while (left > 0) {
    ssize_t n = write(STDERR_FILENO, text, left);
    if (n <= 0) {
      if (n < 0 && errno == EINTR) continue;
      return;
    }
    text += n;
    left -= static_cast<size_t>(n);
  }
}
}  // namespace

std::string FileParser::RunObjDump(const std::string& tool, const std::string& input,
                                   const std::string& output) {
  // Everything the child needs is prepared here, so that after fork it only
  // opens, duplicates, executes and, on failure, reports and ends.
  std::string openError = "\nCould not open " + output + " for write.\n";
  std::string execError = "\nCould not execute disassembler " + tool + ": ";
  char dashD[] = "-d";
  char* argv[] = {const_cast<char*>(tool.c_str()), dashD, const_cast<char*>(input.c_str()),
                  nullptr};

  std::fflush(stdout);
  pid_t pid = fork();
  if (pid < 0) {
    std::puts("Error executing fork.");
    std::fflush(stdout);
    return "Fork failed";
  }

  if (pid == 0) {
    // The child never returns into the analyser: a copy of it would go on
    // running the rest of the analysis beside the parent.
    int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) {
      WriteStderr(openError.c_str());
      _exit(126);
    }
    if (fd != STDOUT_FILENO) {
      if (dup2(fd, STDOUT_FILENO) < 0) {
        WriteStderr(openError.c_str());
        _exit(126);
      }
      close(fd);
    }
    execvp(argv[0], argv);
    int error = errno;
    WriteStderr(execError.c_str());
    WriteStderr(std::strerror(error));
    WriteStderr("\n");
    _exit(127);
  }

  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) {
      status = 0;  // nothing left to wait for: no signal was seen
      break;
    }
  }
  // Only a terminating signal (and the core flag) counts as failure; a
  // disassembler that ends with a non-zero exit code still wrote its listing.
  int signalBits = status & 0xff;
  if (signalBits != 0) {
    return FormatMessage("\nError: disassembler(%s) exited with status %d.\n", tool.c_str(),
                         signalBits);
  }
  return "";
}

int FileParser::CreateDisassemblyFile(const std::string& image, std::string& disFile) {
  std::string listing = outputDir + ExtractNameFromPath(image) + ".dis";

  PRINTS("Calling disassembler(%s) ...", objdumpPath, "36: ");
  PRINTSS("Creating disassembly file %s from %s", listing, image, "21: ");
  PRINT("Please wait ... This could take several minutes with a large elf file.", "21: ");

  std::string error = RunObjDump(objdumpPath, image, listing);
  if (!error.empty()) {
    PRINTSS("Error executing disassembler(%s)\n%s", objdumpPath, error, "10: ");
    return -1;
  }
  disFile = listing;
  PRINTS("disassember(%s) complete.", objdumpPath, "37: ");
  return 0;
}

int FileParser::CreateDisassemblyFile(__LibAttr& library) {
  PRINTSS("Creating disassembly file %s from %s", library.disPath, library.objPath, "21: ");
  std::string error = RunObjDump(objdumpPath, library.objPath, library.disPath);
  // The caller finds a failure from the missing or empty listing.
  if (!error.empty()) {
    PRINTSS("Error executing disassembler(%s)\n%s", objdumpPath, error, "10: ");
  }
  return 0;
}
