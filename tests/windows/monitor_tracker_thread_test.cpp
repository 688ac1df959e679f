// What the tracker's thread asks Windows for, and what ends it.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <type_traits>
#include <vector>

#include "platform/owned_handle.h"
#include "platform/window_handle.h"
#include "recording/monitor_tracker.h"
#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"user32.dll", PostThreadMessageW)
REPLACEABLE_IMPORT(L"user32.dll", SetWinEventHook)
REPLACEABLE_IMPORT(L"user32.dll", UnhookWinEvent)

namespace capture_service {
namespace {

using windows_test::ReplacedImport;

struct WindowDestroyer {
  void operator()(HWND window) const noexcept { DestroyWindow(window); }
};
using OwnedWindow = std::unique_ptr<std::remove_pointer_t<HWND>, WindowDestroyer>;

// Milliseconds; far above what a loaded machine needs.
constexpr DWORD kLimit = 30'000;

struct HookCall {
  DWORD lowest;
  DWORD highest;
  HMODULE module;
  DWORD process;
  DWORD thread;
  DWORD flags;
  DWORD calling_thread;
};

struct PostCall {
  DWORD thread;
  UINT message;
  WPARAM first;
  LPARAM second;
};

// What the tracker asked for; written on its thread before its constructor returns, and after its
// thread has ended or on the test's own.
std::vector<HookCall> hooks;
std::vector<HWINEVENTHOOK> unhooked;
std::vector<PostCall> posts;

// Stands for the hook that was made.
HWINEVENTHOOK Hook() {
  static int hook = 0;
  return reinterpret_cast<HWINEVENTHOOK>(&hook);
}

HWINEVENTHOOK WINAPI NoteHook(DWORD lowest, DWORD highest, HMODULE module,
                              WINEVENTPROC /*procedure*/, DWORD process, DWORD thread,
                              DWORD flags) {
  hooks.push_back({lowest, highest, module, process, thread, flags, GetCurrentThreadId()});
  return Hook();
}

BOOL WINAPI NoteUnhook(HWINEVENTHOOK hook) {
  unhooked.push_back(hook);
  return TRUE;
}

const auto system_post = __imp_PostThreadMessageW;

BOOL WINAPI NotePost(DWORD thread, UINT message, WPARAM first, LPARAM second) {
  posts.push_back({thread, message, first, second});
  return system_post(thread, message, first, second);
}

// A tracker of a window of the test's.
class MonitorTrackerThreadTest : public testing::Test {
 protected:
  MonitorTrackerThreadTest() {
    hooks.clear();
    unhooked.clear();
    posts.clear();
    tracker_ = std::make_unique<MonitorTracker>(platform::WindowNumber(window_.get()),
                                                [](void* /*monitor*/) {});
    if (!hooks.empty()) thread_.reset(OpenThread(SYNCHRONIZE, FALSE, ThreadId()));
  }

  void SetUp() override {
    ASSERT_EQ(hooks.size(), 1U);
    ASSERT_TRUE(thread_);
  }

  static DWORD ThreadId() { return hooks.at(0).calling_thread; }

  // Posts the message to the tracker's thread; whether the thread has ended within `limit`.
  bool EndsBy(UINT message, DWORD limit) {
    EXPECT_TRUE(system_post(ThreadId(), message, 0, 0));
    return WaitForSingleObject(thread_.get(), limit) == WAIT_OBJECT_0;
  }

  const OwnedWindow window_{CreateWindowExW(0, L"STATIC", L"tracked", WS_POPUP, 0, 0, 10, 10,
                                            nullptr, nullptr, nullptr, nullptr)};
  const ReplacedImport<std::remove_pointer_t<decltype(&SetWinEventHook)>> hook_{
      __imp_SetWinEventHook, NoteHook};
  const ReplacedImport<std::remove_pointer_t<decltype(&UnhookWinEvent)>> unhook_{
      __imp_UnhookWinEvent, NoteUnhook};
  const ReplacedImport<std::remove_pointer_t<decltype(&PostThreadMessageW)>> post_{
      __imp_PostThreadMessageW, NotePost};
  std::unique_ptr<MonitorTracker> tracker_;
  platform::OwnedHandle thread_;
};

TEST_F(MonitorTrackerThreadTest, HooksTheWindowsOwnProcessAndThreadOnly) {
  EXPECT_EQ(hooks[0].lowest, 0x800BU);
  EXPECT_EQ(hooks[0].highest, 0x800BU);
  EXPECT_EQ(hooks[0].module, nullptr);
  EXPECT_EQ(hooks[0].process, GetCurrentProcessId());
  EXPECT_EQ(hooks[0].thread, GetCurrentThreadId());
  EXPECT_EQ(hooks[0].flags, 0U);
  EXPECT_NE(ThreadId(), GetCurrentThreadId());
}

TEST_F(MonitorTrackerThreadTest, HooksNothingForAWindowThatIsNotThere) {
  const std::uint32_t gone = platform::WindowNumber(window_.get());
  tracker_ = nullptr;
  DestroyWindow(window_.get());
  hooks.clear();
  unhooked.clear();
  posts.clear();
  {
    const MonitorTracker tracker(gone, [](void* /*monitor*/) {});
  }
  EXPECT_EQ(hooks.size(), 0U);
  EXPECT_EQ(unhooked, std::vector<HWINEVENTHOOK>{});
  EXPECT_EQ(posts.size(), 1U);
}

TEST_F(MonitorTrackerThreadTest, DestructionPostsMessage1024AndUnhooks) {
  const DWORD thread = ThreadId();
  tracker_ = nullptr;
  ASSERT_EQ(posts.size(), 1U);
  EXPECT_EQ(posts[0].thread, thread);
  EXPECT_EQ(posts[0].message, 1024U);
  EXPECT_EQ(posts[0].first, 0U);
  EXPECT_EQ(posts[0].second, 0);
  EXPECT_EQ(unhooked, std::vector<HWINEVENTHOOK>{Hook()});
}

TEST_F(MonitorTrackerThreadTest, Message1024EndsIt) {
  EXPECT_TRUE(EndsBy(1024, kLimit));
  EXPECT_EQ(unhooked, std::vector<HWINEVENTHOOK>{Hook()});
}

TEST_F(MonitorTrackerThreadTest, QuitEndsIt) {
  EXPECT_TRUE(EndsBy(WM_QUIT, kLimit));
  EXPECT_EQ(unhooked, std::vector<HWINEVENTHOOK>{Hook()});
}

TEST_F(MonitorTrackerThreadTest, OtherMessagesDoNotEndIt) {
  EXPECT_FALSE(EndsBy(WM_USER - 1, 50));
  EXPECT_FALSE(EndsBy(WM_USER + 1, 50));
  EXPECT_FALSE(EndsBy(WM_CLOSE, 50));
}

}  // namespace
}  // namespace capture_service
