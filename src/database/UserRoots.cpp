// STUB: replaced by the user-defined roots.
#include "source/FileParser.h"
int AssemblyData::IsUserDefinedRoot(const __func_attr*) const { return 0; }
int FileParser::ProcessUserDefinedRootFile() { return 0; }
