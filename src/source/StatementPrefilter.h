// A look at the raw text of a source statement that turns away most
// instructions before a token is cut.
#pragma once

#include <string_view>

// Whether the statement may matter to the given pass, judged from its text
// and its first character that is no delimiter. Looser than the passes' own
// statement filters: false only for a statement those would turn away too.
// A statement starting with '.' or '#' is not judged here (true).
bool StatementMayMatterRaw(std::string_view text, char first, int pass);
