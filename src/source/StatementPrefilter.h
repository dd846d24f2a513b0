// A look at the raw text of a source statement that turns away most
// instructions before the statement's tokens are cut.
#pragma once

#include <string_view>

class DelimiterSet;

// Whether the statement may matter to the given pass, judged from its text
// and its first token (a view into text, not empty). Looser than the
// passes' own statement filters: false only for a statement those would
// turn away too. A statement starting with '.' or '#' is not judged here
// (true).
bool StatementMayMatterRaw(std::string_view text, std::string_view first, const DelimiterSet& delimiters, int pass);
