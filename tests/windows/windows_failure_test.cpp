#include "platform/windows_failure.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/text_encoding.h"

namespace capture_service {
namespace {

// What tells debuggers of a line: Windows says it wide, Wine in the system's code page. The Windows
// headers do not have both numbers everywhere.
constexpr DWORD kDebugOutput = 0x40010006;
constexpr DWORD kWideDebugOutput = 0x4001000A;

std::vector<std::wstring>& DebuggerLines() {
  static std::vector<std::wstring> lines;
  return lines;
}

LONG CALLBACK TakeDebuggerLine(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  // The length counts the terminating zero.
  const std::size_t length = record.ExceptionInformation[0] - 1;
  const void* const text = reinterpret_cast<const void*>(record.ExceptionInformation[1]);
  if (record.ExceptionCode == kWideDebugOutput) {
    DebuggerLines().emplace_back(static_cast<const wchar_t*>(text), length);
  } else if (record.ExceptionCode == kDebugOutput) {
    DebuggerLines().push_back(platform::WideFromUtf8({static_cast<const char*>(text), length}));
  } else {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  return EXCEPTION_CONTINUE_EXECUTION;
}

class WindowsFailureTest : public testing::Test {
 protected:
  void SetUp() override { DebuggerLines().clear(); }
  ~WindowsFailureTest() override { RemoveVectoredExceptionHandler(handler_); }

 private:
  void* handler_ = AddVectoredExceptionHandler(1, TakeDebuggerLine);
};

std::wstring ThreadIdText() {
  wchar_t text[16] = {};
  swprintf(text, std::size(text), L"%lx", GetCurrentThreadId());
  return text;
}

TEST_F(WindowsFailureTest, SuccessCodesAreNotThrown) {
  EXPECT_NO_THROW(platform::ThrowIfFailed(S_OK));
  EXPECT_NO_THROW(platform::ThrowIfFailed(S_FALSE));
  EXPECT_EQ(DebuggerLines(), std::vector<std::wstring>{});
}

TEST_F(WindowsFailureTest, CarriesTheCodeAndTheCallersPosition) {
  const unsigned line = __LINE__ + 2;
  try {
    platform::ThrowIfFailed(RPC_E_CHANGED_MODE);
    FAIL() << "nothing was thrown";
  } catch (const platform::WindowsFailure& failure) {
    EXPECT_EQ(failure.code(), RPC_E_CHANGED_MODE);
    EXPECT_STREQ(failure.file(), __FILE__);
    EXPECT_EQ(failure.line(), line);
  }
}

TEST_F(WindowsFailureTest, TellsTheDebuggerWhatItCarries) {
  try {
    platform::ThrowIfFailed(E_OUTOFMEMORY);
    FAIL() << "nothing was thrown";
  } catch (const platform::WindowsFailure& failure) {
    const std::string message = failure.what();
    EXPECT_NE(message, "");
    EXPECT_EQ(message.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(DebuggerLines(),
              std::vector{platform::WideFromUtf8(failure.file()) + L"(" +
                          std::to_wstring(failure.line()) + L") tid(" + ThreadIdText() +
                          L") 8007000E " + platform::WideFromUtf8(message) + L"\n"});
  }
}

TEST_F(WindowsFailureTest, GivesTheSystemsMessage) {
  wchar_t text[512] = {};
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                     ERROR_ACCESS_DENIED, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
  ASSERT_GT(length, 2U);
  EXPECT_EQ(platform::WindowsFailure(E_ACCESSDENIED).what() + std::string("\r\n"),
            platform::Utf8FromWide({text, length}));
}

TEST_F(WindowsFailureTest, GoesWithoutAMessageWhereTheSystemHasNone) {
  const auto code = static_cast<HRESULT>(0xA0FF1234U);
  const platform::WindowsFailure failure(code);
  EXPECT_STREQ(failure.what(), "");
  ASSERT_EQ(DebuggerLines().size(), 1U);
  EXPECT_TRUE(DebuggerLines()[0].ends_with(L") A0FF1234 \n"));
}

}  // namespace
}  // namespace capture_service
