#include "open_gsdk/session/picture_handover.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <thread>

#include "open_gsdk/support/steady_time.h"

namespace open_gsdk {
namespace {

TakenPicture Picture(std::int64_t number) { return {.frame = nullptr, .number = number}; }

std::int64_t NumberOf(const std::optional<TakenPicture>& picture) {
  return picture ? picture->number : -1;
}

std::int64_t InASecond() { return SteadyNowNs() + 1'000'000'000; }

TEST(PictureHandover, TakesTwoPicturesWithoutWaitingAndGivesThemInTheirOrder) {
  PictureHandover handover;
  for (const std::int64_t number : {1, 2}) {
    ASSERT_TRUE(handover.WaitForRoom());
    handover.Put(Picture(number));
  }
  EXPECT_EQ(NumberOf(handover.Take(InASecond())), 1);
  EXPECT_EQ(NumberOf(handover.Take(InASecond())), 2);
  const std::int64_t begin_ns = SteadyNowNs();
  EXPECT_FALSE(handover.Take(begin_ns + 20'000'000));
  EXPECT_GE(SteadyNowNs() - begin_ns, 20'000'000);
  EXPECT_FALSE(handover.closed());
}

TEST(PictureHandover, HasNoRoomForAThirdPictureUntilOneIsTaken) {
  PictureHandover handover;
  handover.Put(Picture(1));
  handover.Put(Picture(2));
  std::atomic<bool> room{false};
  std::thread taker([&] {
    EXPECT_TRUE(handover.WaitForRoom());
    room = true;
    handover.Put(Picture(3));
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(room);
  EXPECT_EQ(NumberOf(handover.Take(InASecond())), 1);
  taker.join();
  EXPECT_EQ(NumberOf(handover.Take(InASecond())), 2);
  EXPECT_EQ(NumberOf(handover.Take(InASecond())), 3);
}

TEST(PictureHandover, ClosingEndsBothWaitsAndLosesWhatIsLeft) {
  PictureHandover handover;
  handover.Put(Picture(1));
  handover.Put(Picture(2));
  std::thread closer([&] { handover.Close(); });
  EXPECT_FALSE(handover.WaitForRoom());
  closer.join();
  EXPECT_FALSE(handover.Take(InASecond()));
  EXPECT_TRUE(handover.closed());
}

}  // namespace
}  // namespace open_gsdk
