#include "local_sentry/stack_trace.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/text_encoding.h"

namespace local_sentry {
namespace {

using json11::Json;

std::size_t NumberOf(const void* address) { return reinterpret_cast<std::size_t>(address); }

Json Frame(const void* address) {
  Json::object frame = {{"instruction_addr", HexText(NumberOf(address))}};
  HMODULE module = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<const wchar_t*>(address), &module)) {
    std::array<wchar_t, 1024> path{};
    GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    frame["package"] = platform::Utf8FromWide(path.data());
    frame["image_addr"] = HexText(NumberOf(module));
  }
  return frame;
}

}  // namespace

Json StackTrace(void* const* addresses, std::size_t count) {
  std::array<void*, 128> own_stack{};
  if (addresses == nullptr) {
    addresses = own_stack.data();
    count = RtlCaptureStackBackTrace(1, static_cast<ULONG>(own_stack.size()), own_stack.data(),
                                     nullptr);
    // Where unwinding loses its way past the thread's first function, zeros and chance follow.
    count = static_cast<std::size_t>(
        std::find(own_stack.begin(), own_stack.begin() + count, nullptr) - own_stack.begin());
  }
  Json::array frames;
  for (std::size_t i = count; i > 0; --i) frames.push_back(Frame(addresses[i - 1]));
  return Json::object{{"frames", frames}};
}

std::string HexText(std::size_t number) {
  std::array<char, 16> digits{};
  const auto* const end =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
  return "0x" + std::string(static_cast<const char*>(digits.data()), end);
}

}  // namespace local_sentry
