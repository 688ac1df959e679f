// Counts what the packet path allocates. Not part of sanitizer builds, which bring an operator new
// of their own.
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "recording/packet_watchdog.h"
#include "tests/unit/core_fixture.h"

namespace {

// Allocations of this thread, counted by the operators below.
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

namespace core_test {
namespace {

using PacketAllocationTest = CoreTest;

TEST_F(PacketAllocationTest, PacketPathAllocatesNothing) {
  Fake().RecordPackets(false);
  std::vector<gsdk_encoded_packet*> packets;
  for (int i = 0; i < 100; ++i) packets.push_back(FakeLibrary::NewPacket());

  const std::int64_t before = allocations;
  for (gsdk_encoded_packet* const packet : packets) {
    capture_service::OnEncodedPacket(nullptr, packet);
  }
  EXPECT_EQ(allocations, before);

  packets.push_back(nullptr);
  std::vector<int> grown(packets.size());
  EXPECT_GT(allocations, before) << "the count works";
}

}  // namespace
}  // namespace core_test
