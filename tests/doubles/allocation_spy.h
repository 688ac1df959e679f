// Counts what COM's task allocator, which makes BSTRs too, has given out in this process.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <atomic>

namespace fake_wmi {

// At most one lives at a time, and it outlives what is allocated meanwhile.
class AllocationSpy final : public IMallocSpy {
 public:
  AllocationSpy();
  ~AllocationSpy();
  AllocationSpy(const AllocationSpy&) = delete;
  AllocationSpy& operator=(const AllocationSpy&) = delete;

  // Allocated since the spy's construction and not freed.
  [[nodiscard]] int live() const { return allocated_ - freed_; }
  [[nodiscard]] int allocated() const { return allocated_; }

  // Makes every allocation fail after the next `count`.
  void FailAfter(int count) { allowed_ = allocated_ + count; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override;
  void* STDMETHODCALLTYPE PostAlloc(void* memory) override;
  void* STDMETHODCALLTYPE PreFree(void* memory, BOOL spied) override;
  void STDMETHODCALLTYPE PostFree(BOOL /*spied*/) override {}
  SIZE_T STDMETHODCALLTYPE PreRealloc(void* memory, SIZE_T size, void** new_memory,
                                      BOOL spied) override;
  void* STDMETHODCALLTYPE PostRealloc(void* memory, BOOL spied) override;
  void* STDMETHODCALLTYPE PreGetSize(void* memory, BOOL /*spied*/) override { return memory; }
  SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL /*spied*/) override { return size; }
  void* STDMETHODCALLTYPE PreDidAlloc(void* memory, BOOL /*spied*/) override { return memory; }
  int STDMETHODCALLTYPE PostDidAlloc(void* /*memory*/, BOOL /*spied*/, int did) override {
    return did;
  }
  void STDMETHODCALLTYPE PreHeapMinimize() override {}
  void STDMETHODCALLTYPE PostHeapMinimize() override {}

 private:
  std::atomic<int> allocated_ = 0;
  std::atomic<int> freed_ = 0;
  std::atomic<int> allowed_ = 1 << 30;
};

}  // namespace fake_wmi
