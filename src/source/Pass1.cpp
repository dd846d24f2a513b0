// Pass 1 over the assembly sources: one function record per function and
// one memory record per data object, with scope, defining file and the
// aliases that .set and extra global labels make. Every file is read in
// full before pass 2 looks at any call, so callees defined later are known.
#include <cstdio>

#include "source/FileParser.h"
#include "source/MathParser.h"
#include "source/Tokenizer.h"

namespace {

bool EndsWithColon(const std::string& token) { return !token.empty() && token.back() == ':'; }

std::string WithoutColon(const std::string& token) { return token.substr(0, token.size() - 1); }

}  // namespace

int FileParser::ParseAssemblyFile(const std::string& path, int pass) {
  if (pass != 1 && pass != 2) return -1;
  std::FILE* stream = std::fopen(path.c_str(), "rb");
  if (stream == nullptr) {
    PRINTS("Error: Cannot open assembly file %s", path, "10: ");
    return -1;
  }
  const int first = std::getc(stream);
  if (first == ';') {
    if (pass == 1) PRINTS("Warning: Cannot interpret file %s.", path, "13: ");
    std::fclose(stream);
    return 0;
  }
  if (first != EOF) std::ungetc(first, stream);
  if (verbose) PRINTS("Processing File: %s", path, "33: ");

  lineNumber = 0;
  currentSourceFile.clear();
  sectionState = SectionText;
  EndCurrentFunction();
  currentObject = nullptr;
  objectSized = false;
  ClearLineCache();
  // Only the listing classifier fills these; source statements leave them empty.
  current.token5.clear();
  current.lineLabel.clear();
  current.packetAddress.clear();
  current.currentLine.clear();
  current.relocation.clear();

  // Nothing in the file's reading reads the marks of callees.
  deferCalledMarks_ = pass == 2;
  ReadStatements(stream, path, pass);
  deferCalledMarks_ = false;
  FlushCalledMarks();

  if (pass == 1) {
    CheckFunctionList(path);
    DeleteList(ListFuncSize);
    CheckObjectList(path);
    DeleteList(ListObjSize);
    if (currentSourceFile.empty() && warnFile) {
      PrintWarning("Warning: Missing .file declaration for file %s", path, path, "50: ", -1, "");
    }
  }
  EndCurrentFunction();
  currentObject = nullptr;
  DeleteList(ListGlobal);
  DeleteList(ListWeak);
  std::fclose(stream);
  return 0;
}

int FileParser::ProcessKeywordsPass1(const std::string& file) {
  const std::string_view l1 = current.lowerToken1;
  const std::string& t1 = current.token1;
  const std::string& t2 = current.token2;
  const std::string& t3 = current.token3;

  // Directives that hold in every section.
  if (l1 == ".weak" || l1 == ".globl" || l1 == ".global") {
    const int list = l1 == ".weak" ? ListWeak : ListGlobal;
    if (!t2.empty()) InsertListItem(t2, list);
    if (!t3.empty()) InsertListItem(t3, list);
    return 0;
  }
  if (l1 == ".set") {
    if (t2.empty() || t3.empty() || InsertAliasItem(t2, t3, 0) != 0) {
      PrintWarning("Warning: Directive .set failed for function %s in file %s\n", t2, file, "11: ",
                   lineNumber, current.lineText);
    }
    return 0;
  }
  if (l1 == ".file") {
    currentSourceFile = t2;  // kept as written, quotes included
    return 0;
  }

  if (sectionState == SectionText || sectionState == SectionInitFini) {
    if (EndsWithColon(t1)) {
      HandleCodeLabelPass1(WithoutColon(t1), file);
      return 0;
    }
    if (std::string_view(current.lowerToken3) == "@function") {
      if (CreateFunction(t2, file) != 0) {
        PrintWarning("Warning: CreateFunction %s failed in file %s", t2, file, "12: ", lineNumber,
                     current.lineText);
      } else {
        InsertListItem(t2, ListFuncSize);
      }
    } else if (l1 == "function_begin" || l1 == "valdrin_opt_func_begin" ||
               l1 == "fallthrough_tail_call") {
      // Marker macros of hand-written assembly: the name opens a global function.
      const std::string& name = l1 == "fallthrough_tail_call" ? t3 : t2;
      EndCurrentFunction();
      InsertListItem(name, ListGlobal);
      if (CreateFunction(name, file) != 0) {
        PrintWarning("Warning: CreateFunction %s failed in file %s", name, file, "12: ", lineNumber,
                     current.lineText);
      } else {
        SetCurrentFunction(name, file);
      }
    } else if (l1 == "function_end" || l1 == "valdrin_opt_func_finish") {
      EndCurrentFunction();
    } else if (l1 == ".size") {
      if (DoesListItemExist(t2, ListFuncSize)) {
        RemoveFromList(t2, ListFuncSize);
      } else if (warnFuncSize) {
        PrintWarning("Warning: Function .size directive failed for function %s not found in file %s", t2,
                     file, "43: ", lineNumber, current.lineText);
      }
      EndCurrentFunction();
    } else if (l1 == "jumpr" && std::string_view(current.lowerToken2) == "r31") {
      functionEnded = true;
    }
    return 0;
  }

  if (sectionState != SectionData) return 0;  // start sections hold nothing to collect

  if (EndsWithColon(t1)) {
    if (Contains(l1, ".l")) return 0;  // local labels (.L, .l) are no objects
    const std::string name = WithoutColon(t1);
    __mem_attr* object = FindMemoryObject(name, file);
    if (object == nullptr) {
      if (warnAtObject) {
        PrintWarning("Warning: Missing @object declaration for %s in file %s", name, file, "42: ", -1, "");
      }
      if (CreateObject(name, file, "-1") != 0) {
        PrintWarning("Warning: CreateObject %s failed in file %s", name, file, "12: ", lineNumber,
                     current.lineText);
        return 0;
      }
      InsertListItem(name, ListObjSize);
      object = FindMemoryObject(name, file);
    }
    currentObject = object;
    return 0;
  }
  if (std::string_view(current.lowerToken3) == "@object") {
    if (CreateObject(t2, file, "-1") != 0) {
      PrintWarning("Warning: CreateObject %s failed in file %s", t2, file, "12: ", lineNumber,
                   current.lineText);
    } else {
      InsertListItem(t2, ListObjSize);
      currentObject = FindMemoryObject(t2, file);
    }
    return 0;
  }
  if (Contains(l1, ".comm")) {
    if (!t2.empty()) InsertListItem(t2, ListGlobal);  // a common symbol is global
    if (HandleCommon(file) != 0) {
      PrintWarning("Warning: HandleCommon %s failed in file %s", t2, file, "12: ", lineNumber,
                   current.lineText);
    }
    return 0;
  }
  if (Contains(l1, ".lcomm")) {
    if (HandleLCommon(file) != 0) {
      PrintWarning("Warning: HandleLCommon %s failed in file %s", t2, file, "12: ", lineNumber,
                   current.lineText);
    }
    return 0;
  }
  if (l1 == ".size") {
    // A weak duplicate of an existing object keeps the existing size.
    if (!objectSized && SetMemorySize(file) != 0 && warnObjSize) {
      PrintWarning("Warning: Memory .size for object %s failed for no current object in file %s", t2, file,
                   "44: ", lineNumber, current.lineText);
    }
    RemoveFromList(t2, ListObjSize);
    objectSized = false;
    return 0;
  }
  if (l1 == ".space") {
    if (HandleSpace(file) != 0) {
      PrintWarning("Warning: HandleSpace %s failed in file %s", t2, file, "12: ", lineNumber,
                   current.lineText);
    }
  }
  return 0;
}

void FileParser::HandleCodeLabelPass1(const std::string& name, const std::string& file) {
  if (IsLabel(name)) return;  // a branch target, not a symbol
  const bool insideBody = currentFunction != nullptr && !functionEnded;

  if (__func_attr* record = FindFunction(name, file)) {
    if (!insideBody) {
      SetCurrentFunctionRecord(record, file);
    } else if (DoesListItemExist(name, ListGlobal)) {
      // A second global entry point inside a body stands for that function.
      if (InsertAliasItem(name, currentFunction->Name, 0) != 0) {
        PrintWarning("Warning: Global label %s failed in file %s\n", name, file, "12: ", lineNumber,
                     current.lineText);
      }
    }
    return;
  }
  if (sectionState == SectionInitFini) {
    InsertListItem(name, ListFalseFunction);  // init/fini code is no function
    return;
  }
  if (!insideBody) {
    // A function the compiler did not declare: taken as one anyway. After a
    // return the previous body is over, so the label opens a new function.
    if (warnAtFunction) {
      PrintWarning("Warning: Missing @function declaration for %s in file %s", name, file, "41: ", lineNumber,
                   current.lineText);
    }
    if (CreateFunction(name, file) != 0) {
      PrintWarning("Warning: CreateFunction %s failed in file %s", name, file, "12: ", lineNumber,
                   current.lineText);
      return;
    }
    SetCurrentFunction(name, file);
    InsertListItem(name, ListFuncSize);
    return;
  }
  if (DoesListItemExist(name, ListGlobal)) {
    if (InsertAliasItem(name, currentFunction->Name, 0) != 0) {
      PrintWarning("Warning: Global label %s failed in file %s\n", name, file, "11: ", lineNumber,
                   current.lineText);
    }
    return;
  }
  if (warnBadLabel) {
    PrintWarning("Warning: Label %s does not begin with .L in file %s", name, file, "45: ", lineNumber,
                 current.lineText);
  }
  InsertAliasItem(name, currentFunction->Name, 1);  // a local second name of the body
}

int FileParser::CreateFunction(const std::string& name, const std::string& file) {
  if (name.empty()) return -1;
  int scope = GetItemScope(name);
  std::string key = name;
  if (scope == Local) {
    key = GetLocalName(name, file);
  } else if (__func_attr* existing = FindFuncItem(name)) {
    if (existing->IsReplaceable || (existing->Scope == Weak && scope == Global)) {
      // Figures from outside the sources, or a weak definition, give way.
      if (currentFunction == existing) ClearCurrentFunction();
      if (RemoveFuncItem(name) != 1) return -1;
    } else if (existing->IsFound && existing->Path == file) {
      return 0;  // the same function declared again in its own file
    } else if (scope == Weak) {
      return existing->Scope == Global || existing->Scope == Weak ? 0 : -1;
    } else if (existing->Scope == Global) {
      // Two global definitions: the first keeps the name, later references
      // resolve to it; this one is kept under its local key.
      if (warnCollision) {
        PrintCollision("Warning: Global collision for function %s in file %s", name, file, existing->Path,
                       "48: ");
      }
      RemoveFromList(name, ListGlobal);
      key = GetLocalName(name, file);
      scope = Local;
    } else {
      return -1;
    }
  }
  __func_attr* record = CreateFuncAttr(key, name);
  if (record == nullptr) return -1;
  record->Scope = scope;
  record->IsFound = true;
  record->Path = file;
  return 0;
}

int FileParser::CreateObject(const std::string& name, const std::string& file, const std::string& size) {
  objectSized = false;
  if (name.empty()) return -1;
  int scope = GetItemScope(name);
  std::string key = name;
  if (scope == Local) {
    key = GetLocalName(name, file);
  } else if (__mem_attr* existing = FindMemItem(name)) {
    if (existing->IsAid != 0 || existing->IsReplaceable || (existing->Scope == Weak && scope == Global)) {
      if (currentObject == existing) currentObject = nullptr;
      if (RemoveMemItem(name) != 1) return -1;
    } else if (existing->Path == file) {
      // Declared again in its own file (.type, then .comm): same record.
    } else if (scope == Weak) {
      objectSized = true;  // its .size must not touch the existing object
      return existing->Scope == Global || existing->Scope == Weak ? 0 : -1;
    } else if (existing->Scope == Global) {
      if (warnCollision) {
        PrintCollision("Warning: Global collision for object %s in file %s", name, file, existing->Path, "48: ");
      }
      RemoveFromList(name, ListGlobal);
      key = GetLocalName(name, file);
      scope = Local;
    } else {
      return -1;
    }
  }
  __mem_attr* record = CreateMemAttr(key, name);
  if (record == nullptr) return -1;
  record->Scope = scope;
  record->Path = file;
  int32_t bytes = -1;
  if (EvaluateSize(size, bytes) && bytes >= 0) record->Size = bytes;
  return 0;
}

int FileParser::SetCurrentFunction(const std::string& name, const std::string& file) {
  return SetCurrentFunctionRecord(FindFunction(name, file), file);
}

int FileParser::SetCurrentFunctionRecord(__func_attr* record, const std::string& file) {
  ClearLineCache();
  foreignFunction = false;
  if (functionEnded) {
    EndCurrentFunction();
    functionEnded = false;
  }
  if (record == nullptr) return -1;
  // Preset functions keep their fixed frame, and a body that belongs to
  // another file's record is not measured here.
  foreignFunction = IsPresetFunction(record) != 0 || record->Path != file;
  currentFunction = record;
  return 0;
}

bool FileParser::IsLocalLabel(std::string_view name) {
  // A thunk's name is a symbol whatever it starts with.
  return (name.starts_with(".L") || name.starts_with(".l")) && !Contains(name, "thunk") && !Contains(name, "THUNK");
}

bool FileParser::IsLabel(const std::string& name) {
  if (name.empty()) return false;
  if (IsLocalLabel(name)) return true;
  if (Contains(name, "thunk") || Contains(name, "THUNK")) return false;
  std::string rest = name;
  if (rest.back() == 'f' || rest.back() == 'b') rest.pop_back();
  // Only a number (or a bracketed or signed one) can evaluate; anything else
  // is a symbol name, which spares the evaluator most names.
  const size_t first = rest.find_first_not_of(" \t\n\v\f\r");
  if (first == std::string::npos) return false;
  const char c = rest[first];
  if (!(c >= '0' && c <= '9') && c != '(' && c != '+' && c != '-') return false;
  return MathParser(rest).Success();
}

int FileParser::CheckFunctionList(const std::string& file) {
  if (!warnFuncSize) return 0;
  for (const std::string& name : nameLists[ListFuncSize].Items()) {
    PrintWarning("Warning: Missing .size directive for function %s in file %s", name, file, "41: ", -1, "");
  }
  return 0;
}

int FileParser::CheckObjectList(const std::string& file) {
  if (!warnObjSize) return 0;
  for (const std::string& name : nameLists[ListObjSize].Items()) {
    PrintWarning("Warning: Missing .size directive for object %s in file %s", name, file, "44: ", -1, "");
  }
  return 0;
}

void FileParser::EndCurrentFunction() { ClearCurrentFunction(); }
