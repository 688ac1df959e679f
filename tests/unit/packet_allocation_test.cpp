// Counts what the packet path allocates. Not part of sanitizer builds, which bring an operator new
// of their own.
#include <cstdint>
#include <vector>

#include "recording/packet_watchdog.h"
#include "tests/fakes/allocations.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using PacketAllocationTest = CoreTest;

TEST_F(PacketAllocationTest, PacketPathAllocatesNothing) {
  Fake().RecordPackets(false);
  std::vector<gsdk_encoded_packet*> packets;
  for (int i = 0; i < 100; ++i) packets.push_back(FakeLibrary::NewPacket());

  const std::int64_t before = Allocations();
  for (gsdk_encoded_packet* const packet : packets) {
    capture_service::OnEncodedPacket(nullptr, packet);
  }
  EXPECT_EQ(Allocations(), before);

  packets.push_back(nullptr);
  std::vector<int> grown(packets.size());
  EXPECT_GT(Allocations(), before) << "the count works";
}

}  // namespace
}  // namespace core_test
