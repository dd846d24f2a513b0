// The XML report family read by the graphical front end: functions, data
// objects and the two warning lists. Only the fields the front end displays
// as text are escaped.
#include <algorithm>
#include <cstdio>

#include "database/AssemblyData.h"
#include "reports/TextSink.h"

namespace {

void WriteHeader(FILE* file, const char* root) {
  std::fprintf(file, "<?xml version=\"1.0\"?>\n\n<%s>\n\n", root);
}

void WriteFooter(FILE* file, const char* root) { std::fprintf(file, "\n</%s>\n", root); }

void WriteWarning(FILE* file, const _Warnings& warning) {
  std::fputs("<Warning>\n", file);
  std::fprintf(file, "\t<Type>%d</Type>\n", warning.Type);
  std::fprintf(file, "\t<Message>%s</Message>\n", warning.Message.c_str());
  std::fprintf(file, "\t<Key>%s</Key>\n", AssemblyData::TranslateForXML(warning.Key).c_str());
  std::fprintf(file, "\t<Path>%s</Path>\n", warning.Path.c_str());
  std::fprintf(file, "\t<Code>%s</Code>\n", warning.Code.c_str());
  std::fprintf(file, "\t<LineNum>%d</LineNum>\n", warning.LineNum);
  std::fprintf(file, "\t<CodeLine>%s</CodeLine>\n",
               AssemblyData::TranslateForXML(warning.CodeLine).c_str());
  std::fprintf(file, "\t<File2>%s</File2>\n", warning.File2.c_str());
  std::fputs("</Warning>\n", file);
}

}  // namespace

void AssemblyData::PutEscapedForXML(TextSink& out, const std::string& text) {
  // As TranslateForXML, printed as a C string: up to a NUL.
  const std::string_view view(text.c_str());
  size_t done = 0;
  for (size_t at = view.find_first_of("<>&"); at != std::string_view::npos; at = view.find_first_of("<>&", done)) {
    out.Put(view.substr(done, at - done));
    out.Put(view[at] == '&' ? "&amp;" : view[at] == '<' ? "&lt;" : "&gt;");
    done = at + 1;
  }
  out.Put(view.substr(done));
}

std::string AssemblyData::TranslateForXML(const std::string& text) {
  if (text.find_first_of("<>&") == std::string::npos) return text;
  // One pass is the same as replacing every "&" first, then "<", then ">":
  // no inserted entity is ever escaped again.
  std::string result;
  result.reserve(text.size() + 16);
  for (char c : text) {
    switch (c) {
      case '&': result += "&amp;"; break;
      case '<': result += "&lt;"; break;
      case '>': result += "&gt;"; break;
      default: result += c; break;
    }
  }
  return result;
}

int AssemblyData::DumpFunctionList(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_FLIST, &file) != 0) return -1;
  WriteHeader(file, "NodeList");
  EnsureCalleeTable();  // for the records in key order, which can be prefetched
  {
    TextSink out(file);
    for (size_t i = 0; i < recordsByOrdinal_.size(); ++i) {
      PrefetchRecord(recordsByOrdinal_, i);
      WriteFunctionNode(out, recordsByOrdinal_[i]);
    }
  }
  WriteFooter(file, "NodeList");
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpMemoryList(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_MLIST, &file) != 0) return -1;
  WriteHeader(file, "MemoryList");
  for (const auto& [key, record] : memoryMap) DumpMemoryObject(record.get(), file);
  WriteFooter(file, "MemoryList");
  std::fclose(file);
  return 0;
}

// The warning lists take the leading run of their type only: the front end
// relies on function warnings being stored before memory warnings.
int AssemblyData::DumpFWarningList(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_FWLIST, &file) != 0) return -1;
  WriteHeader(file, "WarningList");
  for (const _Warnings& warning : warnings) {
    if (warning.Type != 0) break;
    WriteWarning(file, warning);
  }
  WriteFooter(file, "WarningList");
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpMWarningList(const std::string& dir) {
  FILE* file = nullptr;
  if (OpenReport(dir + FILE_NAME_MWLIST, &file) != 0) return -1;
  WriteHeader(file, "WarningList");
  for (const _Warnings& warning : warnings) {
    if (warning.Type != 1) break;
    WriteWarning(file, warning);
  }
  WriteFooter(file, "WarningList");
  std::fclose(file);
  return 0;
}

int AssemblyData::DumpFunctionNode(const __func_attr* record, FILE* file) {
  TextSink out(file);
  WriteFunctionNode(out, record);
  return 0;
}

void AssemblyData::WriteFunctionNode(TextSink& out, const __func_attr* record) {
  auto field = [&out](const char* tag, long long value) {
    out.Put("\t<").Put(tag).Put('>').Int(value).Put("</").Put(tag).Put(">\n");
  };
  out.Put("<node root = \"").Int(record->HasParent ? 0 : 1).Put('"');
  if (IsUserDefinedRoot(record)) out.Put(" user-root = \"1\"");
  out.Put(">\n");
  out.Put("\t<Key>").Put(record->Key).Put("</Key>\n");
  out.Put("\t<Name>");
  PutEscapedForXML(out, record->UName);
  out.Put("</Name>\n");
  out.Put("\t<Mangled>").Put(record->Name).Put("</Mangled>\n");
  out.Put("\t<Path>").Put(record->Path).Put("</Path>\n");
  field("Stack", record->Stack);
  field("CumStack", record->CumStack);
  field("CumUserStack", record->CumUserStack);
  field("Status", record->IsFound ? 1 : 0);
  field("Scope", record->Scope);
  field("Branch", record->BranchType);
  field("HasParent", record->HasParent ? 1 : 0);
  field("HasPtrFunc", record->HasPtrToFunc ? 1 : 0);
  field("CodeSize", record->CodeSize);
  field("Used", record->IsUsed ? 1 : 0);
  field("IsAid", record->IsAidEntry ? 1 : 0);
  out.Put("\t\t<CallList>\n");
  for (const std::string& call : record->callList) out.Put("\t\t\t<Call>").Put(call).Put("</Call>\n");
  out.Put("\t\t</CallList>\n");
  WriteModuleList(out, record);
  out.Put("</node>\n");
}

int AssemblyData::DumpModuleList(const __func_attr* record, FILE* file) {
  TextSink out(file);
  WriteModuleList(out, record);
  return 0;
}

void AssemblyData::WriteModuleList(TextSink& out, const __func_attr* record) const {
  if (rootMap.empty()) return;
  auto first = rootMap.lower_bound(record->Name);
  if (first == rootMap.end() || first->first != record->Name) return;
  // The list runs from the function's first entry to the end of the whole
  // map, entries of later names included; the front end expects it so.
  bool anyModule = std::any_of(first, rootMap.end(),
                               [](const auto& entry) { return !entry.second.empty(); });
  if (!anyModule) return;
  out.Put("\t<ModuleList>\n");
  for (auto it = first; it != rootMap.end(); ++it) out.Put("\t\t<Module>").Put(it->second).Put("</Module>\n");
  out.Put("\t</ModuleList>\n");
}

int AssemblyData::DumpMemoryObject(const __mem_attr* record, FILE* file) {
  std::fputs("\t<memory>\n", file);
  std::fprintf(file, "\t\t<Key>%s</Key>\n", record->Key.c_str());
  std::fprintf(file, "\t\t<Name>%s</Name>\n", TranslateForXML(record->UName).c_str());
  std::fprintf(file, "\t\t<Mangled>%s</Mangled>\n", record->Name.c_str());
  std::fprintf(file, "\t\t<Path>%s</Path>\n", record->Path.c_str());
  std::fprintf(file, "\t\t<Size>%d</Size>\n", record->Size);
  std::fprintf(file, "\t\t<Used>%d</Used>\n", record->IsFound);
  std::fprintf(file, "\t\t<IsAid>%d</IsAid>\n", record->IsAid);
  std::fprintf(file, "\t\t<Scope>%d</Scope>\n", record->Scope);
  std::fputs("\t</memory>\n", file);
  return 0;
}
