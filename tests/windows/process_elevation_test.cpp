#include "diagnostics/process_elevation.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "platform/owned_handle.h"
#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"advapi32.dll", OpenProcessToken)

namespace capture_service {
namespace {

platform::OwnedHandle OwnToken() {
  HANDLE token = nullptr;
  OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_DUPLICATE, &token);
  return platform::OwnedHandle(token);
}

// The test's own rights may be the full or the limited ones.
bool OwnTokenIsElevated() {
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  EXPECT_TRUE(
      GetTokenInformation(OwnToken().get(), TokenElevation, &elevation, sizeof(elevation), &size));
  return elevation.TokenIsElevated != 0;
}

// The twin of the test's own token, with the limited rights if the own ones are full, and with the
// full ones if they are limited; null when it has none.
platform::OwnedHandle OtherHalf() {
  TOKEN_LINKED_TOKEN linked{};
  DWORD size = 0;
  if (GetTokenInformation(OwnToken().get(), TokenLinkedToken, &linked, sizeof(linked), &size) ==
      FALSE) {
    return nullptr;
  }
  return platform::OwnedHandle(linked.LinkedToken);
}

// A process that does nothing and is ended with its owner.
class SleepingProcess {
 public:
  explicit SleepingProcess(HANDLE token) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    wchar_t command[] = L"C:\\windows\\system32\\cmd.exe";
    PROCESS_INFORMATION information{};
    if (CreateProcessAsUserW(token, nullptr, command, nullptr, nullptr, FALSE, CREATE_SUSPENDED,
                             nullptr, nullptr, &startup, &information)) {
      process_.reset(information.hProcess);
      thread_.reset(information.hThread);
    }
  }
  ~SleepingProcess() {
    if (process_) TerminateProcess(process_.get(), 0);
  }
  SleepingProcess(const SleepingProcess&) = delete;
  SleepingProcess& operator=(const SleepingProcess&) = delete;

  [[nodiscard]] HANDLE handle() const { return process_.get(); }

 private:
  platform::OwnedHandle process_;
  platform::OwnedHandle thread_;
};

TEST(QueryProcessElevation, OfAProcessWithASplitTokenIsThatOfItsHalf) {
  if (!OtherHalf()) GTEST_SKIP() << "the test's own token is not split";
  EXPECT_EQ(QueryProcessElevation(GetCurrentProcess()), OwnTokenIsElevated() ? "full" : "limited");
}

TEST(QueryProcessElevation, OfAProcessWithTheOtherHalfIsTheOpposite) {
  const platform::OwnedHandle other_half = OtherHalf();
  if (!other_half) GTEST_SKIP() << "the test's own token is not split";
  const SleepingProcess process(other_half.get());
  ASSERT_NE(process.handle(), nullptr) << "error " << GetLastError();
  EXPECT_EQ(QueryProcessElevation(process.handle()), OwnTokenIsElevated() ? "limited" : "full");
}

TEST(QueryProcessElevation, IsUnknownWithoutAProcess) {
  EXPECT_EQ(QueryProcessElevation(nullptr), "unknown");
}

TEST(QueryProcessElevation, IsUnknownForAHandleOfSomethingElse) {
  const platform::OwnedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  ASSERT_TRUE(event);
  EXPECT_EQ(QueryProcessElevation(event.get()), "unknown");
}

TEST(QueryProcessElevation, IsUnknownWithoutTheRightToAsk) {
  const platform::OwnedHandle process(OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId()));
  ASSERT_TRUE(process);
  HANDLE token = nullptr;
  if (OpenProcessToken(process.get(), TOKEN_QUERY, &token)) {
    const platform::OwnedHandle owner(token);
    GTEST_SKIP() << "this system (Wine) does not ask for the right";
  }
  EXPECT_EQ(QueryProcessElevation(process.get()), "unknown");
}

TEST(QueryProcessElevation, AsksForNothingButToQueryTheToken) {
  static HANDLE asked_process;
  static DWORD asked_rights;
  static decltype(&OpenProcessToken) system;
  system = __imp_OpenProcessToken;
  const windows_test::ReplacedImport open(__imp_OpenProcessToken,
                                          [](HANDLE process, DWORD rights, HANDLE* token) {
                                            asked_process = process;
                                            asked_rights = rights;
                                            return system(process, rights, token);
                                          });
  EXPECT_NE(QueryProcessElevation(GetCurrentProcess()), "unknown");
  EXPECT_EQ(asked_process, GetCurrentProcess());
  EXPECT_EQ(asked_rights, DWORD{TOKEN_QUERY});
}

TEST(QueryProcessElevation, ClosesItsHandles) {
  DWORD before = 0;
  ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &before));
  for (int i = 0; i < 10; ++i) QueryProcessElevation(GetCurrentProcess());
  DWORD after = 0;
  GetProcessHandleCount(GetCurrentProcess(), &after);
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace capture_service
