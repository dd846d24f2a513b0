// Helpers for the report tests: what a writer puts into a FILE.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace reporttest {

template <class Writer>
std::string Written(Writer write) {
  char* data = nullptr;
  size_t size = 0;
  FILE* file = open_memstream(&data, &size);
  write(file);
  std::fclose(file);
  std::string text(data, size);
  std::free(data);
  return text;
}

}  // namespace reporttest
