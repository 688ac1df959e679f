#include "tests/fakes/allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local std::int64_t allocations = 0;

void* Allocate(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

std::int64_t core_test::Allocations() { return allocations; }
