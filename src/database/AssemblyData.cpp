// Construction and destruction of the database.
#include "database/AssemblyData.h"

std::string FILE_NAME_BY_SIZE = "VA_FunctionStackSizes.csv";
std::string FILE_NAME_BY_NAME = "VA_FunctionsByName.txt";
std::string FILE_NAME_CALLPATH = "VA_WorstCaseCallPaths.txt";
std::string FILE_NAME_UNKNOWN = "VA_UnknownFunctions.txt";
std::string FILE_NAME_FLIST = "VA_FunctionList.xml";
std::string FILE_NAME_MLIST = "VA_MemoryList.xml";
std::string FILE_NAME_FWLIST = "VA_FuncWarningList.xml";
std::string FILE_NAME_MWLIST = "VA_MemWarningList.xml";

const char* const SOURCE_AID_FILE = "From aiding file";
const char* const SOURCE_ELF_FILE = "From ELF file";

AssemblyData::AssemblyData() : msgBuffer_(8192) {}

AssemblyData::~AssemblyData() {
  CleanMaps();
  DeleteAliasList();
  // The size map only points to records; clear it before they go.
  sizeMap.clear();
  functionMap.clear();
  filterFunctionMap.clear();
  memoryMap.clear();
  warnings.clear();
  presetFunctions.clear();
  presetIndex.clear();
}
