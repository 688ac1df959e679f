// Command lines for CreateProcessW.
#pragma once

#include <string>

namespace capture_host {

// The argument as a program's start-up code takes it from a command line: in quotation marks where
// it has blanks, marks or nothing at all. Any thread.
std::wstring QuotedArgument(const std::wstring& argument);

}  // namespace capture_host
