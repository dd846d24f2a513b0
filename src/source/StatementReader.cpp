// STUB: replaced by the statement reader.
#include "source/FileParser.h"
bool FileParser::SourceLineHasKeywords() { return false; }
void FileParser::UpdateLineCache() {}
void FileParser::ClearLineCache() { lineCacheCount_ = 0; }
int FileParser::FindTextSection(FILE*) { return -1; }
const ProcessedSourceLine& FileParser::CachedLine(size_t index) const { return lineCache_[index % kLineCacheSize]; }
