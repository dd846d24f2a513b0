// The analysis database: function and memory records, aliases, presets,
// stack resolution, warnings, ELF symbol maps, user-defined roots, and the
// report writers that read it. Members are defined in one file per concern
// (see the files beside this header and in src/reports, src/driver).
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "database/Records.h"
#include "elf/ElfFile.h"

class TextSink;

// Report file names (writable, as the front end may rename them).
extern std::string FILE_NAME_BY_SIZE;
extern std::string FILE_NAME_BY_NAME;
extern std::string FILE_NAME_CALLPATH;
extern std::string FILE_NAME_UNKNOWN;
extern std::string FILE_NAME_FLIST;
extern std::string FILE_NAME_MLIST;
extern std::string FILE_NAME_FWLIST;
extern std::string FILE_NAME_MWLIST;

// Path texts of records that did not come from an assembly source.
extern const char* const SOURCE_AID_FILE;
extern const char* const SOURCE_ELF_FILE;

// Writes one message line and flushes it; the colour is the hook for a
// coloured console and is deliberately not used.
void Msg(const std::string& text, uint32_t colour);

struct _Warnings {
  std::string Key;
  std::string Path;
  std::string Code;  // never filled; the XML lists print it empty
  std::string Message;
  int32_t LineNum = -1;
  int32_t Type = 0;  // 0 function, 1 data object
  std::string CodeLine;
  std::string File2;
};

struct _PresetFunctions {
  std::string name;
  int32_t stack = 0;
};

struct AliasEntry {
  std::string alias;
  std::string target;
  int32_t flag = 0;
};

class AssemblyData {
 public:
  AssemblyData();
  virtual ~AssemblyData();
  AssemblyData(const AssemblyData&) = delete;
  AssemblyData& operator=(const AssemblyData&) = delete;

  // ---- Message channel ------------------------------------------------
  void PRINT(const std::string& format, const std::string& code);
  void PRINTI(const std::string& format, int value, const std::string& code);
  void PRINTS(const std::string& format, const std::string& value, const std::string& code);
  void PRINTD(const std::string& format, double value, const std::string& code);
  void PRINTIS(const std::string& format, int value, const std::string& text,
               const std::string& code);
  void PRINTSS(const std::string& format, const std::string& text1, const std::string& text2,
               const std::string& code);
  static uint32_t GetColor(const std::string& code);
  // printf-style formatting into the shared message buffer, which grows as
  // needed so that no text can overflow it.
  const char* FormatMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // ---- Records --------------------------------------------------------
  __func_attr* CreateFuncAttr(FuncMap& map, const std::string& key, const std::string& name);
  __func_attr* CreateFuncAttr(const std::string& key, const std::string& name);
  __mem_attr* CreateMemAttr(const std::string& key, const std::string& name);
  int InsertFuncItem(FuncMap& map, const std::string& key, std::unique_ptr<__func_attr> record);
  int InsertMemItem(const std::string& key, std::unique_ptr<__mem_attr> record);
  __func_attr* FindFuncItem(const FuncMap& map, std::string_view key) const;
  __func_attr* FindFuncItem(std::string_view key) const;
  __mem_attr* FindMemItem(std::string_view key) const;
  int RemoveFuncItem(FuncMap& map, std::string_view key);
  int RemoveFuncItem(std::string_view key);
  int RemoveMemItem(std::string_view key);
  static std::string GetLocalName(const std::string& name, uint32_t address);
  static std::string GetLocalName(const std::string& name, const std::string& file);
  static std::string GetHexString(uint32_t value);
  static std::string Demangle(const std::string& name);
  // Appends name to the record's call list unless present; 0, or -1 for null.
  // callee, when given, is the record the function map holds under name,
  // just found there by the caller.
  int InsertCallListItem(__func_attr* record, std::string_view name, __func_attr* callee = nullptr);

  // ---- Aliases and preset functions -----------------------------------
  int InsertAliasItem(const std::string& alias, const std::string& target, int flag);
  const AliasEntry* FindAliasItem(std::string_view alias) const;
  __func_attr* GetAliasAttribute(const std::string& alias, const std::string& file);
  int DeleteAliasList();
  int DumpAliasFuncAttr(const std::string& alias, FILE* stream);
  int AddPresetFunction(const std::string& name, int32_t stack);
  int CreatePresetFunctions();
  int IsPresetFunction(__func_attr* record);
  __func_attr* IsPresetFunction(const std::string& name);
  const _PresetFunctions* FindPreset(std::string_view name) const;

  // ---- Stack resolution -----------------------------------------------
  int ProcessAssemblyObject();
  int ResolveCumulativeStackUse();
  int CheckRecursionAndStack(__func_attr* record);
  int InsertSizeItem(int32_t stack, __func_attr* record);
  int CopyFuncItemsToSizeMap();
  bool IsFilterFunction(std::string_view name) const;
  // Resolves every call list to records once, in one table: the resolution
  // and the reports walk the two million edges of a large program several
  // times, and a key lookup per edge and walk dominated their time. Rebuilt
  // when a function was added or removed or any call list changed since.
  void EnsureCalleeTable();
  bool CalleeTableCurrent() const;
  bool CalleeTableCovers(const __func_attr* record) const;
  // The records of a call list (null for unknown keys), from the table when
  // it covers the record.
  std::span<__func_attr* const> CalleesOf(const __func_attr* record);
  // Whether the edge at a table position names a filter function.
  bool CalleeIsFilter(size_t position) const { return calleeIsFilter_[position] != 0; }

  // ---- Warnings -------------------------------------------------------
  void PrintWarning(const std::string& format, const std::string& name, const std::string& path,
                    const std::string& code, int line, const std::string& codeLine);
  void PrintWarning2(const std::string& format, __func_attr* func, const std::string& code,
                     int line, const std::string& codeLine);
  void PrintCollision(const std::string& format, const std::string& name, const std::string& path,
                      const std::string& firstFile, const std::string& code);
  void AddWarning(const std::string& message, const std::string& name, const std::string& path,
                  const std::string& code, int line, const std::string& codeLine,
                  const std::string& file2);
  void AddWarning2(const std::string& message, __func_attr* func, const std::string& code,
                   int line, const std::string& codeLine);

  // ---- ELF symbol maps ------------------------------------------------
  int ReadElfIntoElfMaps(const std::string& file, int imageMode);
  int BuildMapsFromElfData();
  void CrossCheck();
  void CleanMaps();
  int InsertElfFuncItem(const std::string& name, const fcn_symbols& symbol);
  int InsertElfMemItem(const std::string& name, const obj_symbols& symbol);
  int InsertElfNotypeItem(const std::string& name, const obj_symbols& symbol);
  const fcn_symbols* FindElfFuncItem(std::string_view name) const;
  const obj_symbols* FindElfMemItem(std::string_view name) const;
  const obj_symbols* FindElfNotypeItem(std::string_view name) const;

  // ---- User-defined roots ---------------------------------------------
  int IsUserDefinedRoot(const __func_attr* record) const;

  // ---- Text reports ---------------------------------------------------
  int DumpFiles(std::string outputDirectory);
  int DumpSizeItems(const std::string& dir);
  int DumpFuncItems(const std::string& dir);
  int DumpPathItems(const std::string& dir);
  int DumpUnknownFuncItems(const std::string& dir);
  int DumpCSVFuncAttr(const __func_attr* record, FILE* file);
  int DumpColumnFuncAttr(const __func_attr* record, FILE* file);
  int DumpCallPath(const __func_attr* record, FILE* file);
  int DumpNotFoundFuncAttr(const __func_attr* record, FILE* file);
  int DumpFunctionAttr(const __func_attr* record, FILE* file, const std::string& name);

  // ---- XML reports ----------------------------------------------------
  int DumpFunctionList(const std::string& dir);
  int DumpMemoryList(const std::string& dir);
  int DumpFWarningList(const std::string& dir);
  int DumpMWarningList(const std::string& dir);
  int DumpFunctionNode(const __func_attr* record, FILE* file);
  int DumpMemoryObject(const __mem_attr* record, FILE* file);
  int DumpModuleList(const __func_attr* record, FILE* file);
  static std::string TranslateForXML(const std::string& text);

  // ---- Aid files (writing and record creation) -------------------------
  int CreateAidFuncItem(const std::string& name, int32_t size, int32_t binding);
  int CreateAidMemItem(const std::string& name, int32_t size, int32_t binding);
  int CreateAidFile(const std::string& path);
  int DumpAidFuncAttr(const __func_attr* record, FILE* file);
  int DumpAidMemAttr(const __mem_attr* record, FILE* file);

  // ---- Data -----------------------------------------------------------
  // Settings shared by every stage.
  bool guiMode = false;
  bool verbose = false;             // gates per-file progress lines; no option sets it
  bool usedFunctionsOnly = false;   // call paths only for called functions; no option sets it
  bool elfMapsInUse = false;
  bool elfMode = false;
  bool warnCollision = true;
  bool warnAtFunction = true;
  bool warnFuncSize = true;
  bool warnAtObject = true;
  bool warnObjSize = true;
  bool warnBadLabel = true;
  bool warnR29 = true;
  bool warnFile = true;
  bool warnRecursion = true;

  FuncMap functionMap;
  FuncMap filterFunctionMap;
  MemMap memoryMap;
  SizeMap sizeMap;

  std::vector<AliasEntry> aliasList;
  std::unordered_map<std::string, size_t, TransparentStringHash, std::equal_to<>> aliasIndex;  // alias name -> aliasList position
  std::vector<_PresetFunctions> presetFunctions;
  // name -> first table position with that name (lookups take the first).
  std::unordered_map<std::string, size_t, TransparentStringHash, std::equal_to<>> presetIndex;
  std::vector<_Warnings> warnings;
  std::multimap<std::string, std::string> rootMap;  // function name -> module

  // ELF symbol maps; their records point into elfReader's name buffers.
  std::unique_ptr<ElfFile> elfReader;
  std::map<std::string, fcn_symbols, std::less<>> elfFuncMap;
  std::map<std::string, obj_symbols, std::less<>> elfMemMap;
  std::map<std::string, obj_symbols, std::less<>> elfNotypeMap;
  uint32_t sdaBase = 0;
  bool sdaBaseFound = false;

 protected:
  int OpenReport(const std::string& path, FILE** file);

 private:
  class StackWalk;
  // What the call-path report reads of each function, by record ordinal,
  // with the greedy next step worked out once (every path through a
  // function makes the same choice) and the function's line of a path
  // printed once. Paths then hop through a small table and copy lines
  // instead of reading records scattered over the heap.
  static constexpr uint32_t kNoStep = ~uint32_t{0};
  // Texts printed one after another into one string, each found by its
  // index: printed once, copied into a report many times.
  struct TextSlices {
    std::string text;
    std::vector<size_t> begin;  // slice i spans [begin[i], begin[i + 1])
    std::string_view operator[](size_t i) const {
      return std::string_view(text).substr(begin[i], begin[i + 1] - begin[i]);
    }
  };
  struct PathSteps {
    struct Hop {
      uint32_t next = kNoStep;  // ordinal of the callee with the largest cumulative stack
      uint32_t visitedBy = 0;   // number of the path that last passed here
    };
    enum Flag : uint8_t { kHasCalls = 1, kIsUsed = 2, kUnknownCallee = 4 /* ended the choice */ };
    std::vector<Hop> hops;
    std::vector<uint8_t> flags;
    TextSlices lines;               // "\tTotal ... bytes, UName\n" of each function
    std::vector<size_t> nameBegin;  // where its UName starts; the line's newline ends it
    std::string_view Name(size_t i) const {
      return std::string_view(lines.text).substr(nameBegin[i], lines.begin[i + 1] - 1 - nameBegin[i]);
    }
  };
  void BuildPathSteps(PathSteps& table);
  // The figures of a path step, before its name; returns their length.
  static size_t PutStepFigures(TextSink& out, const __func_attr* record);
  void ChooseNextStep(std::span<__func_attr* const> callees, uint32_t& next, bool& unknownCallee) const;
  // ordinal is the record's when the caller knows it, or kNoStep.
  int WriteCallPath(TextSink& out, const __func_attr* record, PathSteps& table, uint32_t pathNumber,
                    uint32_t ordinal);

  // The by-name report's callee cell of a function: its name (up to a NUL)
  // padded to the column, a blank and its cumulative stack.
  static void PutCalleeCell(TextSink& out, const __func_attr* callee);
  void BuildCalleeCells(TextSlices& cells) const;  // of every function, by ordinal
  void PrefetchCalleeCells(const TextSlices& cells, size_t i) const;
  void WriteColumnEntry(TextSink& out, const __func_attr* record, std::span<const std::string_view> cells);
  void WriteCsvEntry(TextSink& out, const __func_attr* record);
  // The size map's records in its order.
  std::vector<__func_attr*> RecordsBySize() const;
  // Prefetches what the reports read of the records some entries after i.
  static void PrefetchRecord(const std::vector<__func_attr*>& records, size_t i);
  void WriteFunctionNode(TextSink& out, const __func_attr* record);
  void WriteModuleList(TextSink& out, const __func_attr* record) const;
  static void PutEscapedForXML(TextSink& out, const std::string& text);
  // The records of one call list, reused from record to record.
  std::vector<__func_attr*> calleeBuffer_;
  // Callee records of every function, record by record in key order, and
  // whether each edge's key names a filter function.
  std::vector<__func_attr*> calleeTable_;
  std::vector<__func_attr*> recordsByOrdinal_;  // the records in key order
  std::vector<uint32_t> calleeOrdinal_;         // by edge: the callee's ordinal, or kNoStep
  std::vector<size_t> edgeStart_;               // by ordinal, and the end: where its edges start in the table
  // The ordinals in the size map's order as it was built, so the reports
  // need not read a record to learn its ordinal; checked against the map.
  std::vector<uint32_t> sizeOrder_;
  uint32_t OrdinalInSizeOrder(size_t position, const __func_attr* record) const;
  std::vector<uint8_t> calleeIsFilter_;
  std::vector<uint8_t> functionIsFilter_;  // by ordinal
  uint64_t calleeTableVersion_ = ~uint64_t{0};
  uint64_t calleeTableFilterVersion_ = ~uint64_t{0};
  uint64_t calleeTableCallChanges_ = ~uint64_t{0};

  std::vector<char> msgBuffer_;
};
