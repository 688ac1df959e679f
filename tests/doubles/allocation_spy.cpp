#include "tests/doubles/allocation_spy.h"

#include <objbase.h>
#include <oleauto.h>

#include <stdexcept>

extern "C" void WINAPI SetOaNoCache();

namespace fake_wmi {

AllocationSpy::AllocationSpy() {
  // Else freed BSTRs would be kept for the next one.
  SetOaNoCache();
  if (FAILED(CoRegisterMallocSpy(this))) throw std::runtime_error("CoRegisterMallocSpy failed");
}

AllocationSpy::~AllocationSpy() { CoRevokeMallocSpy(); }

HRESULT AllocationSpy::QueryInterface(REFIID id, void** object) {
  if (id != IID_IUnknown && id != IID_IMallocSpy) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  *object = static_cast<IMallocSpy*>(this);
  return S_OK;
}

SIZE_T AllocationSpy::PreAlloc(SIZE_T size) {
  // Zero makes the allocation fail.
  return allocated_ < allowed_ ? size : 0;
}

void* AllocationSpy::PostAlloc(void* memory) {
  if (memory != nullptr) ++allocated_;
  return memory;
}

void* AllocationSpy::PreFree(void* memory, BOOL spied) {
  if (memory != nullptr && spied) ++freed_;
  return memory;
}

SIZE_T AllocationSpy::PreRealloc(void* memory, SIZE_T size, void** new_memory, BOOL /*spied*/) {
  *new_memory = memory;
  return size;
}

void* AllocationSpy::PostRealloc(void* memory, BOOL /*spied*/) { return memory; }

}  // namespace fake_wmi
