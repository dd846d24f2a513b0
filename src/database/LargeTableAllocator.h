// An allocator for large tables probed at random, such as the function
// index's slots: each probe of a table of many megabytes would otherwise
// also miss in the address translation cache, which covers only a few
// megabytes of 4 KB pages. Allocations of 4 MB and more are aligned to 2 MB
// and offered to the kernel for huge pages; smaller ones are plain heap
// memory.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

template <class T>
class LargeTableAllocator {
 public:
  using value_type = T;

  LargeTableAllocator() = default;
  template <class U>
  LargeTableAllocator(const LargeTableAllocator<U>&) noexcept {}

  T* allocate(size_t n) {
    if (n > static_cast<size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    const size_t bytes = n * sizeof(T);
    if (bytes < kLargeBytes) return static_cast<T*>(::operator new(bytes));
    // aligned_alloc wants a multiple of the alignment.
    const size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    void* memory = std::aligned_alloc(kHugePage, rounded);
    if (memory == nullptr) throw std::bad_alloc();
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Only advice: where the kernel has no huge pages, the table works alike.
    madvise(memory, rounded, MADV_HUGEPAGE);
#endif
    return static_cast<T*>(memory);
  }

  void deallocate(T* memory, size_t n) noexcept {
    if (n * sizeof(T) < kLargeBytes) {
      ::operator delete(memory);
    } else {
      std::free(memory);
    }
  }

  template <class U>
  bool operator==(const LargeTableAllocator<U>&) const noexcept {
    return true;
  }

 private:
  static constexpr size_t kHugePage = size_t{2} << 20;
  static constexpr size_t kLargeBytes = size_t{4} << 20;
};
