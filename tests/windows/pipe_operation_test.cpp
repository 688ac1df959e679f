// A pipe operation whose event could not be created: it can't be waited for, and what Windows may
// still write to must not be freed.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "platform/owned_handle.h"
#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "service/pipe_channel.h"
#include "service/stop.h"
#include "service/stop_event.h"
#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"kernel32.dll", CreateEventW)

namespace {

// The pieces of memory that have the size of an operation with its buffer, or of a message.
constexpr std::size_t kSmallest = capture_service::kMaxMessageBytes + 1;
constexpr std::size_t kLargest = capture_service::kMaxMessageBytes + 128;
std::atomic<int> made = 0;
std::atomic<int> freed = 0;

}  // namespace

void* operator new(std::size_t size) {
  if (size >= kSmallest && size <= kLargest) ++made;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t size) noexcept {
  if (size >= kSmallest && size <= kLargest) ++freed;
  std::free(memory);
}

namespace capture_service {
namespace {

struct PipePair {
  platform::OwnedHandle host;
  platform::OwnedHandle service;
};

PipePair OpenPipePair(DWORD buffer_size) {
  static int counter = 0;
  const std::wstring name = L"\\\\.\\pipe\\pipe_operation_test." +
                            std::to_wstring(GetCurrentProcessId()) + L"." +
                            std::to_wstring(counter++);
  PipePair pair;
  pair.host = platform::OwnFile(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                                 1, buffer_size, buffer_size, 0, nullptr));
  pair.service =
      platform::OwnFile(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
  return pair;
}

class PipeOperationWithoutEvent : public testing::Test {
 protected:
  PipeOperationWithoutEvent() {
    StopFlag = false;
    CreateStopEvent();
    made = 0;
    freed = 0;
  }
};

HANDLE WINAPI RefuseEvent(SECURITY_ATTRIBUTES* /*security*/, BOOL /*manual_reset*/,
                          BOOL /*signalled*/, const wchar_t* /*name*/) {
  SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return nullptr;
}

TEST_F(PipeOperationWithoutEvent, AReadIsGivenUpAndStopsTheService) {
  const PipePair pipe = OpenPipePair(65536);
  const windows_test::ReplacedImport refusal(__imp_CreateEventW, RefuseEvent);
  PipeReader(pipe.service.get());
  EXPECT_TRUE(StopFlag);
  // The operation, and the message that wakes the main loop.
  EXPECT_EQ(made, 2);
  EXPECT_EQ(freed, 0);
  EXPECT_STREQ(PopMessage()->text.data(), "{}");
  EXPECT_EQ(PopCommand()->type, CommandType::kWake);
}

TEST_F(PipeOperationWithoutEvent, AWriteIsGivenUpAndFails) {
  const PipePair pipe = OpenPipePair(16);
  const windows_test::ReplacedImport refusal(__imp_CreateEventW, RefuseEvent);
  // Nobody reads, so sooner or later a write has to wait.
  while (WriteFrame(pipe.service.get(), std::string(1000, 'x'))) {
  }
  EXPECT_EQ(made, freed + 1);
}

}  // namespace
}  // namespace capture_service
