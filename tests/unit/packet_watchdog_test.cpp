#include "recording/packet_watchdog.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/error_reporting.h"
#include "recording/worker_stop.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;
using namespace std::chrono_literals;

// A wait that no test sits out: whatever ends it is the event.
constexpr std::chrono::nanoseconds kForever = 24h;

const std::string kNoneSinceStart = "No recording packets seen since session start, restarting";
const std::string kNoneWithin = "No recording packets seen within timeout, restarting";
const std::string kGiveUpStart =
    "Failed to receive any data from process since startup after max restarts. Stopping";
const std::string kGiveUpWithin =
    "Failed to receive any data from process after max restarts. Stopping";

class PacketWatchdogTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    Fake().RecordPackets(false);
  }

  static void SetCounter(std::int32_t counter) {
    const std::lock_guard lock(Watch().mutex);
    Watch().restart_counter = counter;
  }
  static std::int32_t Counter() {
    const std::lock_guard lock(Watch().mutex);
    return Watch().restart_counter;
  }
  static bool PacketSeen() {
    const std::lock_guard lock(Watch().mutex);
    return Watch().packet_seen;
  }
  static void Packet() { OnEncodedPacket(nullptr, FakeLibrary::NewPacket()); }

  // A run that ends because no packet ever comes.
  static void RunWithoutPackets() { PacketWatchdog(0ns, kForever); }

  // A run that sees packets first and then ends because none comes any more.
  static void RunUntilStall() {
    SetPacketSeen();
    PacketWatchdog(kForever, 0ns);
  }

  // A packet came in before the watchdog's first wait, without touching the counter.
  static void SetPacketSeen() {
    const std::lock_guard lock(Watch().mutex);
    Watch().packet_seen = true;
  }
};

TEST_F(PacketWatchdogTest, WaitsAndLimitAreTheContracts) {
  EXPECT_EQ(kFirstPacketWait, 45'000'000'000ns);
  EXPECT_EQ(kPacketWait, 10'000'000'000ns);
  EXPECT_EQ(kRestartLimit, 5);
}

struct StallCase {
  std::int32_t counter;
  bool gives_up;
};

constexpr StallCase kStalls[] = {{-1, false}, {0, false}, {1, false},  {4, false},
                                 {5, true},   {6, true},  {1000, true}};

TEST_F(PacketWatchdogTest, DecisionOfEachCase) {
  for (const bool first_wait : {true, false}) {
    for (const StallCase& c : kStalls) {
      const WatchDecision seen = DecideAfterWait(/*packet_seen=*/true, first_wait, c.counter);
      EXPECT_EQ(seen.action, WatchAction::kGoOn) << first_wait << " " << c.counter;
      EXPECT_EQ(seen.stall, nullptr);

      const WatchDecision none = DecideAfterWait(/*packet_seen=*/false, first_wait, c.counter);
      EXPECT_EQ(none.action, c.gives_up ? WatchAction::kGiveUp : WatchAction::kRestart)
          << first_wait << " " << c.counter;
      ASSERT_NE(none.stall, nullptr);
      EXPECT_EQ(none.stall->line, first_wait ? kNoneSinceStart : kNoneWithin);
      EXPECT_EQ(none.stall->failure, first_wait ? ErrorCode::NoRecordingPacketsSinceStartup
                                                : ErrorCode::NoRecordingPacketsWithinTimeout);
      EXPECT_EQ(none.stall->message, first_wait ? kGiveUpStart : kGiveUpWithin);
    }
  }
}

TEST_F(PacketWatchdogTest, NoPacketSinceTheStartRestartsUpToTheLimit) {
  for (const StallCase& c : kStalls) {
    SetCounter(c.counter);
    RunWithoutPackets();
    if (c.gives_up) {
      EXPECT_EQ(TakeRecorded(),
                (Lines{ToHost(kNoneSinceStart), FailureToHost(kGiveUpStart), DieRequest(5)}));
      EXPECT_EQ(Counter(), c.counter);
    } else {
      EXPECT_EQ(TakeRecorded(), (Lines{ToHost(kNoneSinceStart), RestartRequest()}));
      EXPECT_EQ(Counter(), c.counter + 1);
    }
  }
}

TEST_F(PacketWatchdogTest, NoPacketAnyMoreRestartsUpToTheLimit) {
  for (const StallCase& c : kStalls) {
    SetCounter(c.counter);
    RunUntilStall();
    if (c.gives_up) {
      EXPECT_EQ(TakeRecorded(),
                (Lines{ToHost(kNoneWithin), FailureToHost(kGiveUpWithin), DieRequest(6)}));
      EXPECT_EQ(Counter(), c.counter);
    } else {
      EXPECT_EQ(TakeRecorded(), (Lines{ToHost(kNoneWithin), RestartRequest()}));
      EXPECT_EQ(Counter(), c.counter + 1);
    }
  }
}

TEST_F(PacketWatchdogTest, GivingUpIsAnEventWithABreadcrumb) {
  ErrorReportingEnabled = true;
  SetCounter(5);
  RunWithoutPackets();
  const std::string kind = "Error 5 NoRecordingPacketsSinceStartup";
  EXPECT_EQ(TakeRecorded(), (Lines{ToHost(kNoneSinceStart), BreadcrumbLine("info", kNoneSinceStart),
                                   FailureToHost(kGiveUpStart), StacktraceLine(kind, kGiveUpStart),
                                   EventLine(kind, kGiveUpStart),
                                   BreadcrumbLine("error", kGiveUpStart), DieRequest(5)}));
  RunUntilStall();
  EXPECT_THAT(TakeRecorded(), ::testing::Contains(EventLine(
                                  "Error 6 NoRecordingPacketsWithinTimeout", kGiveUpWithin)));
}

// One history of a process: what each session of it saw, and what came of it.
struct History {
  const char* name;
  const char* sessions;  // 'n' no packet, 's' stall after a packet, 'p' a packet, session stopped
  std::vector<std::string> outcome;
};

TEST_F(PacketWatchdogTest, RestartsAddUpAcrossSessionsUntilAPacket) {
  const std::string restart = RestartRequest();
  const std::vector<History> histories = {
      {"six starts without packets",
       "nnnnnn",
       {restart, restart, restart, restart, restart, DieRequest(5)}},
      {"a packet before the limit starts the count anew",
       "nnnnnpnnnnnn",
       {restart, restart, restart, restart, restart, restart, restart, restart, restart, restart,
        DieRequest(5)}},
      {"a stall is counted from its last packet",
       "nnnns",
       {restart, restart, restart, restart, restart}},
      {"stalls with packets between them go on for ever", "ssssssssssss",
       std::vector<std::string>(12, restart)},
      {"a stall then five starts without packets",
       "snnnnn",
       {restart, restart, restart, restart, restart, DieRequest(5)}},
  };
  for (const History& history : histories) {
    SetCounter(0);
    for (const char session : std::string(history.sessions)) {
      // As session start does.
      {
        const std::lock_guard lock(Watch().mutex);
        Watch().stop = false;
        Watch().packet_seen = false;
      }
      if (session != 'n') Packet();
      if (session == 'p') {
        const std::lock_guard lock(Watch().mutex);
        Watch().stop = true;
      }
      PacketWatchdog(session == 'n' ? 0ns : kForever, 0ns);
    }
    std::vector<std::string> outcome;
    for (const std::string& line : TakeRecorded()) {
      if (line.starts_with("to self: ")) outcome.push_back(line);
    }
    EXPECT_EQ(outcome, history.outcome) << history.name;
  }
}

TEST_F(PacketWatchdogTest, StopBeforeTheRunEndsItWithoutALine) {
  {
    const std::lock_guard lock(Watch().mutex);
    Watch().stop = true;
  }
  PacketWatchdog(kForever, kForever);
  EXPECT_EQ(TakeRecorded(), Lines{});
  EXPECT_EQ(Counter(), 0);
}

TEST_F(PacketWatchdogTest, StopWinsOverATimeout) {
  {
    const std::lock_guard lock(Watch().mutex);
    Watch().stop = true;
  }
  PacketWatchdog(0ns, 0ns);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(PacketWatchdogTest, StopDuringTheFirstWaitEndsItAtOnce) {
  Watch().thread = std::thread(PacketWatchdog, kForever, kForever);
  StopWorkers(1h);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(PacketWatchdogTest, StopBetweenPacketsEndsItAtOnce) {
  Watch().thread = std::thread(PacketWatchdog, kForever, kForever);
  Packet();
  // The watchdog has taken notice of the packet and is in, or on its way into, its next wait.
  while (PacketSeen()) std::this_thread::yield();
  StopWorkers(1h);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(PacketWatchdogTest, EveryPacketIsNoticedHoweverItFallsBetweenTheWaits) {
  Watch().thread = std::thread(PacketWatchdog, kForever, kForever);
  for (int i = 0; i < 200; ++i) {
    Packet();
    while (PacketSeen()) std::this_thread::yield();
  }
  StopWorkers(1h);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(PacketWatchdogTest, PacketThatComesTooLateStillResetsTheCounter) {
  SetCounter(3);
  RunWithoutPackets();
  EXPECT_EQ(Counter(), 4);
  Packet();
  EXPECT_EQ(Counter(), 0);
  EXPECT_EQ(Fake().PushedPackets(), 1);
}

TEST_F(PacketWatchdogTest, StallAfterRealPacketsIsNoticed) {
  // The second wait begins only after a packet, so its length does not matter to the order.
  Packet();
  PacketWatchdog(kForever, 1ms);
  EXPECT_EQ(TakeRecorded(), (Lines{ToHost(kNoneWithin), RestartRequest()}));
  EXPECT_EQ(Counter(), 1);
}

TEST_F(PacketWatchdogTest, WaitToTheEndOfTimeIsAWait) {
  Watch().thread =
      std::thread(PacketWatchdog, std::chrono::nanoseconds::max(), std::chrono::nanoseconds::max());
  Packet();
  while (PacketSeen()) std::this_thread::yield();
  StopWorkers(1h);
  EXPECT_EQ(TakeRecorded(), Lines{});
}

}  // namespace
}  // namespace core_test
