// The program object: settings from the command line, the source-tree scan,
// both assembly passes, the disassembly parser, the toolchain and library
// stages and the pipeline that runs them. Members are defined in one file per
// concern, in the folder of the subsystem that owns them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "database/AssemblyData.h"
#include "source/MathParser.h"
#include "source/Tokenizer.h"

// The fields of a statement (source statement or listing segment).
struct ProcessedSourceLine {
  std::string lineText;
  std::string token1;
  std::string token2;
  std::string token3;
  std::string token4;
  std::string lowerToken1;
  std::string lowerToken2;
  std::string lowerToken3;
  // Filled only by the listing classifier.
  std::string token5;
  std::string lineLabel;
  std::string packetAddress;
  std::string currentLine;
  std::string relocation;

  // Empties the fields a statement's tokenizer fills.
  void ClearTokens() {
    for (std::string* field : {&token1, &token2, &token3, &token4, &token5, &lowerToken1, &lowerToken2,
                               &lowerToken3, &relocation}) {
      field->clear();
    }
  }
};

// Library file taking part in a whole-archive link.
struct __LibAttr {
  std::string name;     // file name, e.g. libc.a
  std::string path;     // full path answered by the compiler driver
  std::string disPath;  // listing of the linked object
  std::string objPath;  // linked relocatable object
};

// Ordered list of distinct names with constant-time membership.
class NameList {
 public:
  bool Insert(std::string_view name);  // false when already present
  bool Contains(std::string_view name) const;
  bool Remove(std::string_view name);  // false when absent
  void Clear();
  const std::vector<std::string>& Items() const { return items_; }
  size_t size() const { return items_.size(); }

 private:
  std::vector<std::string> items_;
  std::unordered_set<std::string, TransparentStringHash, std::equal_to<>> index_;
};

enum SectionState : int { SectionText = 0, SectionData = 1, SectionInitFini = 2, SectionMacro = 3, SectionStart = 4 };

// Name lists of the parser.
enum : int { ListWeak = 0, ListGlobal = 1, ListFalseFunction = 2, ListFuncSize = 3, ListObjSize = 4 };

class FileParser : public AssemblyData {
 public:
  FileParser();
  ~FileParser() override;

  // ---- Pipeline ----------------------------------------------------------
  int ProcessAll();
  int RunTestMode();
  void RemoveTemporaryFiles();

  // ---- Name lists and per-function state ---------------------------------
  int InsertListItem(std::string_view name, int list);
  int DoesListItemExist(std::string_view name, int list) const;
  int RemoveFromList(std::string_view name, int list);
  int DeleteList(int list);
  int GetItemScope(std::string_view name) const;
  int DuplicateAttributes(__func_attr* target, const __func_attr* source);
  int ClearCurrentFunction();
  int AddToStack(int32_t bytes);

  // ---- Source tree scan --------------------------------------------------
  int ProcessSourceDirectories();
  int ScanDirectory(std::string path, int mode);
  int CheckForTargetFile(const char* name, const std::string& fullPath, int mode);
  static bool IsAssemblyFile(const char* name);
  int InsertPathItem(const std::string& path, int mode);
  int ParseSourceFiles();
  std::string FindFile(const std::string& name);
  static std::string FindRelativeFile(const std::string& base, const std::vector<std::string>& dirs,
                                      const std::string& name);
  static std::string CheckPathEnd(std::string& path);
  static std::string ExtractPath(const std::string& path);
  static std::string ExtractNameFromPath(const std::string& path);

  // ---- Statements, tokens, line cache ------------------------------------
  // Whether the statement whose tokens were begun is one the passes read
  // (not a comment, not inside a macro); follows the section directives.
  bool SourceLineHasKeywords();
  // Whether the statement (its tokens begun, the first one not empty) may
  // matter to the pass, judged from its first token, at most its second and
  // its raw text. Looser than StatementMayMatter: false only for a
  // statement StatementMayMatter would turn away too.
  bool StatementMayMatterRaw(int pass);
  // Whether the statement just tokenised can change anything in the given
  // pass; a cheap superset of what the pass handlers act on.
  bool StatementMayMatter(int pass);
  // The index-th token of the statement (empty when it has fewer); tokens
  // are cut only as far as they are asked for, from where tokens left off.
  std::string_view StatementToken(size_t index) {
    // Tests ask for the same few tokens again and again: those already cut
    // are answered here, without a call.
    return index < statementTokenCount_ ? statementTokens_[index] : CutStatementTokens(index);
  }
  void BeginStatementTokens(const Tokenizer& tokens, const DelimiterSet& delimiters, size_t limit);
  // Fills `current` from the statement and its first count tokens, for the
  // handlers; source statements also fill the lower-case fields.
  void FillStatementFields(size_t count, bool lowerCase);
  // "call f" in pass 2, handled from the tokens in place as
  // ProcessKeywordsPass2 would handle it from the statement fields; false
  // for any other statement.
  bool HandleCallInPlace(const std::string& file);
  // Hands the calls HandleCallInPlace put aside to HandleCall, in order.
  // Called before any other statement is handled and at the end of a file,
  // so that nothing HandleCall reads or prints changes meanwhile.
  void HandlePendingCalls(const std::string& file);
  void UpdateLineCache();
  void ClearLineCache();
  int FindTextSection(FILE* stream);
  // Reads a whole file statement by statement and hands every accepted
  // statement to the given pass (1 or 2).
  void ReadStatements(FILE* stream, const std::string& path, int pass);
  void HandleStatement(std::string_view statement, const std::string& path, int pass);
  const ProcessedSourceLine& CachedLine(size_t index) const;  // 0 = newest
  size_t LineCacheSize() const { return lineCacheCount_; }

  // ---- Pass 1 --------------------------------------------------------------
  int ParseAssemblyFile(const std::string& path, int pass);
  int ProcessKeywordsPass1(const std::string& file);
  int CreateFunction(const std::string& name, const std::string& file);
  int CreateObject(const std::string& name, const std::string& file, const std::string& size);
  int SetCurrentFunction(const std::string& name, const std::string& file);
  int SetCurrentFunctionRecord(__func_attr* record, const std::string& file);  // record already looked up
  static bool IsLabel(const std::string& name);
  // The cheap part of IsLabel: a .L or .l name that is no thunk.
  static bool IsLocalLabel(std::string_view name);
  int HandleCommon(const std::string& file);
  int HandleLCommon(const std::string& file);
  int HandleSpace(const std::string& file);
  int SetMemorySize(const std::string& file);
  int CheckFunctionList(const std::string& file);
  int CheckObjectList(const std::string& file);
  void EndCurrentFunction();
  void HandleCodeLabelPass1(const std::string& name, const std::string& file);
  // Size operands of data directives: the index-th comma-separated field
  // after the directive, without a trailing // comment; its value.
  static std::string_view OperandField(std::string_view statement, size_t index);
  static bool EvaluateSize(std::string_view text, int32_t& value);

  // ---- Pass 2 --------------------------------------------------------------
  int ProcessKeywordsPass2(const std::string& file);
  int HandleAllocframe(const std::string& line, const std::string& file);
  int HandleR29Line(const std::string& line, const std::string& file, int mode);
  int CalculateRegisterValue(const std::string& reg, int32_t& value);
  int HandleCall(std::string name, const std::string& file, int addressOnly);
  int HandleJump(std::string target, const std::string& file);
  // Sets the callee's HasParent and IsUsed. While a file or listing is read
  // the marks are collected and written in batches: in a large program each
  // is a miss, and in a row the misses overlap instead of each holding up
  // the reading. Whatever reads the marks meanwhile flushes them first.
  void MarkCalled(__func_attr* callee);
  void FlushCalledMarks();
  int HandleIndirectCall(const std::string& token, const std::string& file);
  int HandleHiWord(const std::string& line, const std::string& file);
  int HandleConstantExtender(const std::string& line, const std::string& file);
  int HandleAddressTaken(const std::string& name, const std::string& file);
  static void StripPlt(std::string& name);
  // A file-local definition first, then a global one; key, when given,
  // receives the key found (valid until the next lookup).
  __func_attr* FindFunction(const std::string& name, const std::string& qualifier, std::string_view* key = nullptr);
  __mem_attr* FindMemoryObject(const std::string& name, const std::string& qualifier);

  // ---- Aid files and roots -----------------------------------------------
  int ProcessAidFile(const std::string& path);
  int AidLineHasKeywords(char* line);
  int ProcessAidFileSingleLine();
  int ProcessUserDefinedRootFile();

  // ---- Disassembly listings ----------------------------------------------
  int ParseDisassembledElfFile(const std::string& path);
  int DisAsmLineHasKeywords();
  int DisAsmLineHasKeywords2();
  // The handlers of a listing line, from its tokens; calls and jumps are
  // handled before (see ParseListingSegment).
  int ProcessKeywordsDisassembly();
  int SetCurrentDisAsmFunction(std::string name, std::string address);
  void ClearCurrentDisAsmFunction();
  int HandleAllocframe2(const std::string& token);
  int HandleR29Line2(const std::string& line);
  int HandleDisAsmCall(std::string name, const std::string& address, int computed);
  int HandleJump2(std::string name, const std::string& address);
  // A call or a jump (the tokens name which), handled or put aside; false
  // for neither.
  bool HandleListedBranch(std::string_view t1, std::string_view t2, std::string_view t3, std::string_view t4);
  // Handles the calls and jumps put aside, in their order, as if
  // each were handled on its own line. Their targets' functions, names and
  // index slots are fetched for all of them first: each would otherwise
  // wait for a chain of misses in tables larger than the cache. They are
  // put aside only while a function is current, so their handlers print
  // nothing; the relocation handlers, which add calls of their own, and a
  // function header hand them on first. Only the listing's handlers put
  // them aside, and its read loop hands on the last at its end.
  void HandleListedCalls();
  int GetCallNameAddress(std::string_view target, std::string_view nameToken,
                         std::string& name, std::string& address);
  // The address a listed branch's target names; false for a "0x" target
  // that does not parse.
  bool ListedTargetAddress(std::string_view target, uint32_t& value) const;
  // The function being listed when it holds the address, else null.
  const fcn_symbols* ListingSymbolHolding(uint32_t address) const;
  static std::string MakeAddress(std::string_view token);
  static std::string MakeAddress(const std::string& base, std::string_view offset);
  int ResolveAliases(__func_attr* record);
  ElfFile* ListingElf() const;
  // A ";"-separated segment of a listing line: the first, or a packet's
  // second instruction. holdsBrace: the segment holds a '{' (a packet starts).
  void ParseListingSegment(std::string_view segment, bool first, bool holdsBrace);
  // Whether the listing line just read can change anything; a cheap
  // superset of what the line handler acts on.
  bool ListingLineMayMatter();
  void ClearStatementTokens() {
    for (std::string_view& token : statementTokens_) token = {};
    statementTokenCount_ = 0;
    statementTokensDone_ = true;
  }
  bool RecordHalfRegister(const std::string& target, const std::string& operand, uint32_t& value);
  static fcn_symbols* NextContaining(ElfFile* elf, fcn_symbols* symbol, uint32_t address);
  // foundUnderKey tells whether the record was found under the key itself.
  __func_attr* FindListedFunction(const std::string& name, const std::string& address,
                                  std::string_view* key = nullptr, bool* foundUnderKey = nullptr);

  // ---- Computed calls ----------------------------------------------------
  int HandleIndirectCall3(uint32_t value);
  int HandleConstantExtender2(std::string_view token);
  int HandleIndirectCallByAddress(const std::string& line);
  int HandleSDataCall(const std::string& token);
  int HandleTextCall(const std::string& token);
  int HandlePcRelCall(const std::string& token);
  // A call of the function starting at the address; while a function is
  // listed, a computed one is put aside with the listed calls.
  int CallFunctionAt(uint32_t address, int computed);
  bool AddressesAreFinal() const;
  static const fcn_symbols* FunctionInSection(ElfFile& elf, const std::string& section, uint32_t offset);

  // ---- Toolchain ---------------------------------------------------------
  int detectTools();
  std::string RunTool(const std::string& command);
  std::string RunObjDump(const std::string& tool, const std::string& input,
                         const std::string& output);
  int CreateDisassemblyFile(const std::string& image, std::string& disFile);
  int CreateDisassemblyFile(__LibAttr& library);

  // ---- Libraries and filter functions -------------------------------------
  int PreProcessLibraries();
  int ScanLibDirectories();
  int AddDinkumwareLibs();
  int FindLibrary(__LibAttr& library);
  __LibAttr* AddStaticLib(const std::string& name);
  int AddLibsToStaticVector();
  int PreProcessStaticLibs(const std::string& output);
  int LinkLibraries(const std::vector<__LibAttr>& libraries, const std::string& objectPath,
                    const std::string& failureCode);
  int AddLibObjectToMaps(const std::string& objectPath);
  int PreProcessDynamicLibs();
  int ParseStaticLibs();
  int ParseDynamicLibs();
  int AddAllFilterFunctions(const std::string& outputDirectory);
  int AddFilterFunctions(const std::string& objectPath);
  __func_attr* CreateFilterFuncItem(const std::string& key, const std::string& name);
  __func_attr* FindFilterFuncItem(std::string_view name) const;
  static std::string getArchitectureFromLibPath(const std::string& path);

  // ---- Settings from the command line --------------------------------------
  std::vector<std::string> sourceFolders;
  std::vector<std::string> aidFiles;
  std::string elfFile;
  std::string rootFile;
  std::string outputDir = "./";
  std::string compilerSwitches;
  int32_t expectedTestResult = 0;
  bool expectedTestResultSet = false;

  // ---- Toolchain ---------------------------------------------------------
  std::string compilerPath;
  std::string linkerPath;
  std::string objdumpPath;
  int32_t objdumpKind = 0;
  std::string architecture;

  // Temporary files of the run, removed at its end.
  std::string disassemblyFile;
  std::string libraryObjectFile;
  std::string libraryListingFile;
  std::string filteredLibsFile;

  // ---- Libraries -----------------------------------------------------------
  std::vector<std::string> libDirectories;
  std::vector<__LibAttr> staticLibs;
  // The linked library object, read for the listing parse; and the keys of
  // its global functions, which a source definition may take over.
  std::unique_ptr<ElfFile> libraryElf;
  std::vector<std::string> libraryFunctionKeys;

  // ---- Scan ----------------------------------------------------------------
  std::map<std::string, int> pathMap;
  std::map<std::string, int> archiveMap;

  // ---- Reading state -------------------------------------------------------
  static constexpr size_t kLineBufferSize = 1024;
  int lineNumber = 0;
  int sectionState = SectionText;
  int syntaxMode = 0;
  // Statements and listing instructions are first judged on their raw text,
  // and calls put aside to be handled in batches; off only in tests that
  // compare with the token-by-token reading alone.
  bool statementPrefilter = true;
  std::string currentSourceFile;  // from .file
  ProcessedSourceLine current;    // fields of the statement being handled

  // Current function state.
  __func_attr* currentFunction = nullptr;
  __mem_attr* currentObject = nullptr;
  bool functionEnded = false;
  bool foreignFunction = false;
  bool objectSized = false;

  // Listing state.
  // The object whose listing is parsed: the image, or a linked library
  // object; null means the image read into elfReader.
  ElfFile* listingElf = nullptr;
  // Functions whose code the listing has shown (their header was parsed):
  // other symbols at their address take their results from them.
  std::unordered_set<const __func_attr*> listedFunctions;
  // The symbol of the function being listed.
  const fcn_symbols* listingSymbol = nullptr;
  std::string pendingFunction;
  bool skipFunction = false;
  bool hasFuncRelocations = false;
  int32_t lineCount = 0;
  struct RegisterValue {
    uint32_t value = 0;
    bool lowKnown = false;
    bool highKnown = false;
  };
  RegisterValue registerTable[32];

  // Aid-file tokens.
  std::string aidTokens[4];
  int aidTokenCount = 0;
  int aidLineCounter = 0;

  NameList nameLists[5];

 private:
  static constexpr size_t kLineCacheSize = 20;
  // The cache keeps the text of each statement; the look-back, which is
  // rare, cuts the tokens it reads again. One copy per statement instead of
  // five strings, into a slot of fixed size: statements are at most 1023
  // characters (the line reader's limit), and most are copied in line.
  struct CachedText {
    static constexpr size_t kCapacity = 1024;
    size_t length = 0;
    char text[kCapacity];
  };
  CachedText lineCache_[kLineCacheSize];  // ring buffer, newest at lineCacheHead_
  mutable ProcessedSourceLine cachedLine_;     // the entry CachedLine rebuilt last
  size_t lineCacheHead_ = 0;
  size_t lineCacheCount_ = 0;
  std::vector<char> readBuffer_;  // block buffer of the statement reader, kept from file to file
  // Calls of pass 2 put aside with their statement while the callees'
  // index slots are fetched (see HandlePendingCalls): handled as they came,
  // each waited for its own miss in an index larger than the cache.
  struct PendingCall {
    std::string callee;
    std::string lineText;
    int lineNumber = 0;
  };
  static constexpr size_t kPendingCalls = 16;
  PendingCall pendingCalls_[kPendingCalls];
  size_t pendingCallCount_ = 0;
  // Listed calls and jumps, and computed calls of a function at an address
  // (CallFunctionAt), put aside while a function is being listed (see
  // HandleListedCalls).
  struct ListedCall {
    enum Kind : uint8_t { kCall, kJump, kComputed } kind = kCall;
    uint32_t target = 0;
    // The function holding a call's or jump's target when known already
    // (the one being listed); else it is searched for.
    const fcn_symbols* symbol = nullptr;
    // A call's line and packet addresses, for the self-call test.
    std::string lineLabel;
    std::string packetAddress;
  };
  void PutListedCallAside(ListedCall::Kind kind, uint32_t target, const fcn_symbols* symbol);
  ListedCall listedCalls_[ElfFile::kAddressBatch];
  size_t listedCallCount_ = 0;
  // Callees whose HasParent and IsUsed marks wait (see MarkCalled).
  static constexpr size_t kCalledRecordsBatch = 4096;
  std::vector<__func_attr*> calledRecords_;
  bool deferCalledMarks_ = false;
  // Cuts tokens up to the index-th: StatementToken's path for a token not yet cut.
  std::string_view CutStatementTokens(size_t index);
  // The statement being read and its first tokens (four of a source
  // statement, five of a listing instruction), as views into the read
  // buffer; `current` is filled from them only when a handler needs it.
  static constexpr size_t kStatementTokens = 5;
  std::string_view statementText_;
  std::string_view statementTokens_[kStatementTokens];
  size_t statementTokenCount_ = 0;
  Tokenizer statementTokenizer_{std::string_view()};  // where cutting tokens goes on
  const DelimiterSet* statementDelimiters_ = &kSourceDelimiters;
  size_t statementTokenLimit_ = 0;
  bool statementTokensDone_ = true;   // no token after the ones cut
  // The frame handlers' squeezed statement, its immediate and their parser.
  std::string frameText_;
  std::string frameImmediate_;
  MathParser frameMath_;
  // Local keys: the "-of-" suffix of the last qualifier, and a key buffer.
  std::string localKeyQualifier_;
  std::string localKeySuffix_;
  bool localKeySuffixValid_ = false;
  std::string keyBuffer_;
  const std::string& LocalKey(const std::string& name, const std::string& qualifier);
};
