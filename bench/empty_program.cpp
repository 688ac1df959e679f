// A windowless program that does nothing: what the compiler and its libraries cost by themselves.
#include <windows.h>

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int WINAPI wWinMain(_In_ HINSTANCE /*instance*/, _In_opt_ HINSTANCE /*previous*/,
                    _In_ LPWSTR /*command_line*/, _In_ int /*show*/) {
  return 0;
}
