// Sizes of data objects from the directives that reserve or describe them:
//   .comm  name, size[, alignment]   global common object
//   .lcomm name, size[, alignment]   file-local common object
//   .space size[, fill]              storage of the object being defined
//   .size  name, size                size of a defined object
// The alignment and fill operands do not change the size.
#include "source/FileParser.h"
#include "source/MathParser.h"
#include "source/Tokenizer.h"

std::string_view FileParser::OperandField(std::string_view statement, size_t index) {
  Tokenizer tokenizer(statement);
  std::string_view directive;
  if (!tokenizer.Next(kBlankDelimiters, directive)) return {};
  std::string_view rest = tokenizer.Rest();
  const size_t comment = rest.find("//");
  if (comment != std::string_view::npos) rest = rest.substr(0, comment);
  for (size_t i = 0; i < index; ++i) {
    const size_t comma = rest.find(',');
    if (comma == std::string_view::npos) return {};
    rest.remove_prefix(comma + 1);
  }
  const size_t comma = rest.find(',');
  if (comma != std::string_view::npos) rest = rest.substr(0, comma);
  const size_t first = rest.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  const size_t last = rest.find_last_not_of(" \t\r\n");
  return rest.substr(first, last - first + 1);
}

bool FileParser::EvaluateSize(std::string_view text, int32_t& value) {
  if (text.empty()) return false;
  MathParser parser{std::string(text)};
  if (!parser.Success()) return false;
  value = parser.Value();
  return true;
}

int FileParser::HandleCommon(const std::string& file) {
  const std::string& name = current.token2;
  if (name.empty()) return -1;
  // A ".type name,@object" before the .comm made a file-local record while
  // the name was not yet known to be global; the common object replaces it.
  const std::string localKey = GetLocalName(name, file);
  if (__mem_attr* local = FindMemItem(localKey); local != nullptr && local->Path == file) {
    if (currentObject == local) currentObject = nullptr;
    RemoveMemItem(localKey);
  }
  int32_t bytes = -1;
  const bool sized = EvaluateSize(OperandField(current.lineText, 1), bytes) && bytes >= 0;
  if (CreateObject(name, file, sized ? std::to_string(bytes) : std::string("-1")) != 0) return -1;
  RemoveFromList(name, ListObjSize);  // the directive gives the size
  return sized ? 0 : -1;
}

int FileParser::HandleLCommon(const std::string& file) {
  const std::string& name = current.token2;
  if (name.empty()) return -1;
  // Always file-local, whatever the name lists say.
  __mem_attr* record = CreateMemAttr(GetLocalName(name, file), name);
  if (record == nullptr) return -1;
  record->Scope = Local;
  record->Path = file;
  RemoveFromList(name, ListObjSize);
  int32_t bytes = -1;
  if (!EvaluateSize(OperandField(current.lineText, 1), bytes) || bytes < 0) return -1;
  record->Size = bytes;
  return 0;
}

int FileParser::HandleSpace(const std::string& file) {
  // The storage of a weak duplicate that was ignored is not counted.
  if (objectSized) return 0;
  if (currentObject == nullptr) {
    if (warnAtObject) {
      PrintWarning("Warning: Memory %s directive failed for no current object in file %s", current.token1, file,
                   "44: ", lineNumber, current.lineText);
    }
    return -1;
  }
  int32_t bytes = 0;
  if (!EvaluateSize(OperandField(current.lineText, 0), bytes) || bytes < 0) return -1;
  const int64_t total = int64_t{currentObject->Size < 0 ? 0 : currentObject->Size} + bytes;
  currentObject->Size = total > INT32_MAX ? INT32_MAX : static_cast<int32_t>(total);
  return 0;
}

int FileParser::SetMemorySize(const std::string& file) {
  __mem_attr* record = FindMemoryObject(current.token2, file);
  if (record == nullptr) return -1;
  // A size given as an expression over labels cannot be evaluated here; the
  // object then keeps what it had.
  int32_t bytes = -1;
  if (EvaluateSize(OperandField(current.lineText, 1), bytes) && bytes >= 0) record->Size = bytes;
  return 0;
}
