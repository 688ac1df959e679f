// Conversion between UTF-8, which the service uses everywhere, and UTF-16, which the Windows calls
// take. Malformed input is converted with replacement characters; nothing fails.
#pragma once

#include <string>
#include <string_view>

namespace platform {

std::string Utf8FromWide(std::wstring_view text);
std::wstring WideFromUtf8(std::string_view text);

}  // namespace platform
