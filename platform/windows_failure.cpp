#include "platform/windows_failure.h"

#include <cstdint>
#include <iomanip>
#include <memory>
#include <sstream>
#include <string>

#include "platform/owned_handle.h"
#include "platform/text_encoding.h"

namespace platform {
namespace {

// The system's text for `code` without the line break that ends it; empty when it has none.
std::wstring SystemMessage(HRESULT code) {
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  const std::unique_ptr<wchar_t, LocalMemoryFreer> owner(text);
  std::wstring message(text != nullptr ? text : L"", length);
  while (message.ends_with(L'\n') || message.ends_with(L'\r')) message.pop_back();
  return message;
}

// Writes the line that announces the exception, and returns what() for it.
std::string Announce(HRESULT code, const std::source_location& where) {
  const std::wstring message = SystemMessage(code);
  std::wostringstream line;
  line << WideFromUtf8(where.file_name()) << L"(" << where.line() << L") tid(" << std::hex
       << GetCurrentThreadId() << L") " << std::uppercase << std::setfill(L'0') << std::setw(8)
       << static_cast<std::uint32_t>(code) << L" " << message << L"\n";
  OutputDebugStringW(line.str().c_str());
  return Utf8FromWide(message);
}

}  // namespace

WindowsFailure::WindowsFailure(HRESULT code, std::source_location where)
    : std::runtime_error(Announce(code, where)), code_(code), where_(where) {}

void ThrowIfFailed(HRESULT result, std::source_location where) {
  if (FAILED(result)) throw WindowsFailure(result, where);
}

}  // namespace platform
