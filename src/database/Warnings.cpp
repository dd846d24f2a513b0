// Input warnings: printed at once as coded lines and kept as records for
// the front end's warning lists.
#include "database/AssemblyData.h"

namespace {
std::string Prefixed(bool gui, const std::string& code, const std::string& format) {
  return gui ? code + format : format;
}
}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

void AssemblyData::PrintWarning(const std::string& format, const std::string& name,
                                const std::string& path, const std::string& code, int line,
                                const std::string& codeLine) {
  std::string text = FormatMessage(Prefixed(guiMode, code, format).c_str(), name.c_str(), path.c_str());
  Msg(text, GetColor(code));
  AddWarning(text, name, path, code, line, codeLine, "");
  if (line != -1) {
    Msg(FormatMessage(Prefixed(guiMode, "47: ", "Line %d: %s").c_str(), line, codeLine.c_str()),
        GetColor("47: "));
  }
}

void AssemblyData::PrintWarning2(const std::string& format, __func_attr* func,
                                 const std::string& code, int line, const std::string& codeLine) {
  if (func == nullptr) return;
  std::string text =
      FormatMessage(Prefixed(guiMode, code, format).c_str(), func->Name.c_str(), func->Path.c_str());
  Msg(text, GetColor(code));
  AddWarning2(text, func, code, line, codeLine);
  if (line != -1) {
    Msg(FormatMessage(Prefixed(guiMode, "47: ", "Line %d: %s").c_str(), line, codeLine.c_str()),
        GetColor("47: "));
  }
}

void AssemblyData::PrintCollision(const std::string& format, const std::string& name,
                                  const std::string& path, const std::string& firstFile,
                                  const std::string& code) {
  std::string text = FormatMessage(Prefixed(guiMode, code, format).c_str(), name.c_str(), path.c_str());
  Msg(text, GetColor(code));
  AddWarning(text, name, path, code, -1, "", firstFile);
  Msg(FormatMessage(Prefixed(guiMode, "49: ",
                             "Forcing to local, subsequent references will use first instance from file %s")
                        .c_str(),
                    firstFile.c_str()),
      GetColor("49: "));
}

#pragma GCC diagnostic pop

void AssemblyData::AddWarning(const std::string& message, const std::string& name,
                              const std::string& path, const std::string& /*code*/, int line,
                              const std::string& codeLine, const std::string& file2) {
  _Warnings warning;
  const std::string local = GetLocalName(name, path);
  if (const __func_attr* f = FindFuncItem(local)) {
    warning.Key = f->Key;
    warning.Type = 0;
  } else if (const __func_attr* g = FindFuncItem(name)) {
    warning.Key = g->Key;
    warning.Type = 0;
  } else if (const __mem_attr* m = FindMemItem(local)) {
    warning.Key = m->Key;
    warning.Type = 1;
  } else if (const __mem_attr* n = FindMemItem(name)) {
    warning.Key = n->Key;
    warning.Type = 1;
  } else {
    return;  // printed already; an unknown item is not stored
  }
  warning.Path = path;
  warning.Message = message;
  warning.LineNum = line;
  warning.CodeLine = codeLine;
  warning.File2 = file2;
  warnings.push_back(std::move(warning));
}

void AssemblyData::AddWarning2(const std::string& message, __func_attr* func,
                               const std::string& /*code*/, int line, const std::string& codeLine) {
  if (func == nullptr) return;
  _Warnings warning;
  warning.Key = func->Key;
  warning.Path = func->Path;
  warning.Type = 0;
  warning.Message = message;
  warning.LineNum = line;
  warning.CodeLine = codeLine;
  warnings.push_back(std::move(warning));
}
