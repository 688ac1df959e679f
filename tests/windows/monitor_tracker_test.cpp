// On two monitors side by side. The watched windows are the test's own, and the test reports their
// moves itself with NotifyWinEvent, which reaches the hook before a later message does: once a
// tracker is destroyed, it has seen every event that was reported before. The system reports moves
// as well, but not those of a window that moves with its parent.
#include "recording/monitor_tracker.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>
#include <vector>

#include "platform/window_handle.h"

namespace capture_service {
namespace {

struct WindowDestroyer {
  void operator()(HWND window) const noexcept { DestroyWindow(window); }
};
using OwnedWindow = std::unique_ptr<std::remove_pointer_t<HWND>, WindowDestroyer>;

OwnedWindow MakeWindow(HWND parent = nullptr) {
  const DWORD style = parent != nullptr ? WS_CHILD : WS_POPUP;
  return OwnedWindow(CreateWindowExW(0, L"STATIC", L"tracked", style, 10, 10, 200, 100, parent,
                                     nullptr, nullptr, nullptr));
}

struct Monitor {
  HMONITOR handle;
  RECT area;
};

std::vector<Monitor> Monitors() {
  std::vector<Monitor> monitors;
  EnumDisplayMonitors(
      nullptr, nullptr,
      [](HMONITOR handle, HDC, RECT* area, LPARAM found) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows hands it through.
        reinterpret_cast<std::vector<Monitor>*>(found)->push_back({handle, *area});
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&monitors));
  return monitors;
}

// What the callbacks of one tracker were given, and on which threads they ran.
class Crossings {
 public:
  MonitorTracker::Callback Callback() {
    return [this](void* monitor) {
      const std::lock_guard lock(mutex_);
      monitors_.push_back(monitor);
      threads_.push_back(GetCurrentThreadId());
    };
  }
  [[nodiscard]] std::vector<void*> monitors() const {
    const std::lock_guard lock(mutex_);
    return monitors_;
  }
  [[nodiscard]] std::vector<DWORD> threads() const {
    const std::lock_guard lock(mutex_);
    return threads_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<void*> monitors_;
  std::vector<DWORD> threads_;
};

class MonitorTrackerTest : public testing::Test {
 protected:
  void SetUp() override {
    monitors_ = Monitors();
    ASSERT_EQ(monitors_.size(), 2U)
        << "run this program with scripts/with_desktop --two-monitors --";
    window_ = MakeWindow();
    ASSERT_TRUE(window_);
  }

  std::unique_ptr<MonitorTracker> Track(HWND window, Crossings& crossings) {
    return std::make_unique<MonitorTracker>(platform::WindowNumber(window), crossings.Callback());
  }

  // Moves the window to (x, y) of the monitor.
  void Place(HWND window, std::size_t monitor, int x = 10, int y = 10) {
    const RECT& area = monitors_[monitor].area;
    SetWindowPos(window, nullptr, area.left + x, area.top + y, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
  }

  static void Report(HWND window, LONG object = OBJID_WINDOW, LONG child = CHILDID_SELF,
                     DWORD event = EVENT_OBJECT_LOCATIONCHANGE) {
    // Under Wine a thread knows of new hooks once it has taken a message.
    MSG message{};
    PostThreadMessageW(GetCurrentThreadId(), WM_NULL, 0, 0);
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    NotifyWinEvent(event, window, object, child);
  }

  // The tracker hooks itself in on its own time: reports the window's place until `done`. Ends the
  // test program (by the runner's time limit) if that never comes.
  static void ReportUntil(HWND window, const std::function<bool()>& done) {
    while (!done()) {
      Report(window);
      Sleep(1);
    }
  }

  // Moves the window to the second monitor and waits for the call that this brings.
  void CrossFirst(HWND window, const Crossings& crossings) {
    Place(window, 1);
    ReportUntil(window, [&] { return !crossings.monitors().empty(); });
  }

  // The same for a child of window_, which moves with it.
  void CrossWithParent(HWND child, const Crossings& crossings) {
    Place(window_.get(), 1);
    ReportUntil(child, [&] { return !crossings.monitors().empty(); });
  }

  [[nodiscard]] void* Handle(std::size_t monitor) const { return monitors_[monitor].handle; }

  std::vector<Monitor> monitors_;
  OwnedWindow window_;
};

TEST_F(MonitorTrackerTest, KnowsTheWindowsMonitorFromTheStart) {
  Crossings crossings;
  EXPECT_EQ(Track(window_.get(), crossings)->CurrentMonitor(), Handle(0));
  Place(window_.get(), 1);
  EXPECT_EQ(Track(window_.get(), crossings)->CurrentMonitor(), Handle(1));
  EXPECT_EQ(crossings.monitors(), std::vector<void*>{});
}

TEST_F(MonitorTrackerTest, CallsBackOnceForEachCrossing) {
  Crossings crossings;
  auto tracker = Track(window_.get(), crossings);
  CrossFirst(window_.get(), crossings);
  Report(window_.get());
  Report(window_.get());
  Place(window_.get(), 0);
  Report(window_.get());
  Report(window_.get());

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), (std::vector<void*>{Handle(1), Handle(0)}));
}

TEST_F(MonitorTrackerTest, CallsBackOnItsOwnThread) {
  Crossings crossings;
  auto tracker = Track(window_.get(), crossings);
  CrossFirst(window_.get(), crossings);
  Place(window_.get(), 0);
  Report(window_.get());

  tracker = nullptr;

  const std::vector<DWORD> threads = crossings.threads();
  ASSERT_EQ(threads.size(), 2U);
  EXPECT_NE(threads[0], GetCurrentThreadId());
  EXPECT_EQ(threads[0], threads[1]);
}

TEST_F(MonitorTrackerTest, IgnoresMovesWithinAMonitor) {
  Crossings crossings;
  auto tracker = Track(window_.get(), crossings);
  CrossFirst(window_.get(), crossings);
  for (int step = 0; step < 50; ++step) {
    Place(window_.get(), 1, 10 * step, 5 * step);
    Report(window_.get());
  }

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), std::vector<void*>{Handle(1)});
}

TEST_F(MonitorTrackerTest, TakesTheMonitorWithTheLargerPartOfTheWindow) {
  Crossings crossings;
  auto tracker = Track(window_.get(), crossings);
  CrossFirst(window_.get(), crossings);
  // The window is 200 wide.
  Place(window_.get(), 1, -99);
  Report(window_.get());
  Place(window_.get(), 1, -101);
  Report(window_.get());

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), (std::vector<void*>{Handle(1), Handle(0)}));
}

TEST_F(MonitorTrackerTest, TakesTheNearestMonitorForAWindowOutsideOfAll) {
  Crossings crossings;
  auto tracker = Track(window_.get(), crossings);
  Place(window_.get(), 1, 5000, 5000);
  ReportUntil(window_.get(), [&] { return !crossings.monitors().empty(); });
  Place(window_.get(), 0, -5000, 0);
  Report(window_.get());

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), (std::vector<void*>{Handle(1), Handle(0)}));
}

TEST_F(MonitorTrackerTest, IgnoresOtherObjectsChildrenAndEvents) {
  Crossings crossings;
  const OwnedWindow tracked = MakeWindow(window_.get());
  auto tracker = Track(tracked.get(), crossings);
  CrossWithParent(tracked.get(), crossings);
  Place(window_.get(), 0);
  for (const LONG object : {OBJID_CLIENT, OBJID_CARET, OBJID_CURSOR, LONG{1}}) {
    Report(tracked.get(), object);
  }
  Report(tracked.get(), OBJID_WINDOW, 1);
  Report(tracked.get(), OBJID_WINDOW, CHILDID_SELF, EVENT_OBJECT_SHOW);
  Report(tracked.get(), OBJID_WINDOW, CHILDID_SELF, EVENT_OBJECT_NAMECHANGE);

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), std::vector<void*>{Handle(1)});
}

TEST_F(MonitorTrackerTest, IgnoresOtherWindowsOfTheThread) {
  Crossings crossings;
  const OwnedWindow tracked = MakeWindow(window_.get());
  const OwnedWindow child = MakeWindow(tracked.get());
  const OwnedWindow other = MakeWindow();
  auto tracker = Track(tracked.get(), crossings);
  CrossWithParent(tracked.get(), crossings);
  Place(window_.get(), 0);
  Report(window_.get());
  Report(child.get());
  Report(other.get());

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), std::vector<void*>{Handle(1)});
}

TEST_F(MonitorTrackerTest, EndsWithoutAnyEvent) {
  Crossings crossings;
  for (int i = 0; i < 100; ++i) Track(window_.get(), crossings);
  EXPECT_EQ(crossings.monitors(), std::vector<void*>{});
}

TEST_F(MonitorTrackerTest, EndsWhenTheWindowIsGone) {
  Crossings crossings;
  auto tracker = Track(window_.get(), crossings);
  CrossFirst(window_.get(), crossings);
  window_ = nullptr;

  tracker = nullptr;

  EXPECT_EQ(crossings.monitors(), std::vector<void*>{Handle(1)});
}

TEST_F(MonitorTrackerTest, WatchesNothingWithoutAWindow) {
  MonitorTracker tracker(0, [](void*) { ADD_FAILURE() << "called back"; });
  EXPECT_EQ(tracker.CurrentMonitor(), Handle(0));
}

TEST_F(MonitorTrackerTest, OfAnotherWindowStaysWhenTheOldOneEnds) {
  Crossings old_crossings;
  Crossings new_crossings;
  const OwnedWindow other = MakeWindow();
  auto tracker = Track(window_.get(), old_crossings);
  CrossFirst(window_.get(), old_crossings);

  tracker = Track(other.get(), new_crossings);
  CrossFirst(other.get(), new_crossings);
  Place(window_.get(), 0);
  Report(window_.get());
  tracker = nullptr;

  EXPECT_EQ(old_crossings.monitors(), std::vector<void*>{Handle(1)});
  EXPECT_EQ(new_crossings.monitors(), std::vector<void*>{Handle(1)});
}

// The newer tracker takes the window over, and the older one takes the entry with it as it ends:
// the newer one is not found any more.
TEST_F(MonitorTrackerTest, OfTheSameWindowIsForgottenWhenTheOldOneEnds) {
  Crossings old_crossings;
  Crossings new_crossings;
  auto old_tracker = Track(window_.get(), old_crossings);
  CrossFirst(window_.get(), old_crossings);

  auto new_tracker = Track(window_.get(), new_crossings);
  old_tracker = nullptr;
  Place(window_.get(), 0);
  Report(window_.get());
  new_tracker = nullptr;

  EXPECT_EQ(old_crossings.monitors(), std::vector<void*>{Handle(1)});
  EXPECT_EQ(new_crossings.monitors(), std::vector<void*>{});
}

TEST_F(MonitorTrackerTest, ClosesItsHandles) {
  Crossings crossings;
  Track(window_.get(), crossings);
  DWORD before = 0;
  DWORD after = 0;
  GetProcessHandleCount(GetCurrentProcess(), &before);
  for (int i = 0; i < 10; ++i) Track(window_.get(), crossings);
  GetProcessHandleCount(GetCurrentProcess(), &after);
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace capture_service
