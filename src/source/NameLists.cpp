// Construction of the program object, the parser's name lists and the
// per-function state shared by both passes and the listing parser.
#include "source/FileParser.h"

#include <iterator>

bool NameList::Insert(std::string_view name) {
  auto inserted = index_.emplace(name);
  if (!inserted.second) return false;
  items_.emplace_back(name);
  return true;
}

bool NameList::Contains(std::string_view name) const {
  return index_.find(name) != index_.end();
}

bool NameList::Remove(std::string_view name) {
  auto found = index_.find(name);
  if (found == index_.end()) return false;
  index_.erase(found);
  // Names are mostly removed soon after insertion: search from the back.
  for (auto it = items_.rbegin(); it != items_.rend(); ++it) {
    if (*it == name) {
      items_.erase(std::next(it).base());
      break;
    }
  }
  return true;
}

void NameList::Clear() {
  items_.clear();
  index_.clear();
}

FileParser::FileParser() { ClearCurrentFunction(); }

FileParser::~FileParser() {
  for (NameList& list : nameLists) list.Clear();
  staticLibs.clear();
}

int FileParser::InsertListItem(std::string_view name, int list) {
  if (list < 0 || list > 4) return -1;
  nameLists[list].Insert(name);
  return 0;
}

int FileParser::DoesListItemExist(std::string_view name, int list) const {
  if (list < 0 || list > 4) return 0;
  return nameLists[list].Contains(name) ? 1 : 0;
}

int FileParser::RemoveFromList(std::string_view name, int list) {
  if (list < 0 || list > 4) return -1;
  nameLists[list].Remove(name);
  return 0;
}

int FileParser::DeleteList(int list) {
  if (list < 0 || list > 4) return 0;
  nameLists[list].Clear();
  return 1;
}

int FileParser::GetItemScope(std::string_view name) const {
  if (DoesListItemExist(name, ListGlobal)) return Global;
  if (DoesListItemExist(name, ListWeak)) return Weak;
  return Local;
}

int FileParser::DuplicateAttributes(__func_attr* target, const __func_attr* source) {
  if (target == nullptr || source == nullptr || target == source) return 0;
  target->Stack = source->Stack;
  target->CumStack = source->CumStack;
  target->Scope = source->Scope;
  target->CodeSize = source->CodeSize;
  target->BranchType = source->BranchType;
  target->Recursion = source->Recursion;
  target->Path = source->Path;
  target->IsFound = source->IsFound;
  target->IsUsed = source->IsUsed;
  target->IsAidEntry = source->IsAidEntry;
  target->HasParent = source->HasParent;
  target->HasPtrToFunc = source->HasPtrToFunc;
  for (const std::string& callee : source->callList) InsertCallListItem(target, callee);
  return 0;
}

int FileParser::ClearCurrentFunction() {
  currentFunction = nullptr;
  functionEnded = false;
  foreignFunction = false;
  return 0;
}

int FileParser::AddToStack(int32_t bytes) {
  if (currentFunction != nullptr) {
    // Wrap-around instead of signed overflow on absurd frames.
    currentFunction->Stack = static_cast<int32_t>(static_cast<uint32_t>(currentFunction->Stack) +
                                                  static_cast<uint32_t>(bytes));
  }
  return 0;
}
