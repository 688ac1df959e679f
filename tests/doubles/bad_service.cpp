// A program that takes the service's place and behaves as no service should: BAD_SERVICE in the
// environment says how. Its first argument is the pipe's path.
#include <windows.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/owned_handle.h"

namespace {

platform::OwnedHandle pipe;

void Write(const std::string& bytes) {
  DWORD written = 0;
  WriteFile(pipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

std::string Prefix(std::uint32_t length) {
  return {reinterpret_cast<const char*>(&length), sizeof(length)};
}

void Send(const std::string& text) {
  Write(Prefix(static_cast<std::uint32_t>(text.size())));
  Write(text);
}

std::string ReadBytes(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t have = 0;
  DWORD read = 0;
  while (have < count && ReadFile(pipe.get(), bytes.data() + have, static_cast<DWORD>(count - have),
                                  &read, nullptr)) {
    have += read;
  }
  bytes.resize(have);
  return bytes;
}

// The next message of the host; empty when the host has closed the pipe.
std::string Receive() {
  const std::string prefix = ReadBytes(sizeof(std::uint32_t));
  if (prefix.size() < sizeof(std::uint32_t)) return {};
  std::uint32_t length = 0;
  prefix.copy(reinterpret_cast<char*>(&length), sizeof(length));
  return ReadBytes(length);
}

[[noreturn]] void HangForEver() {
  while (true) Sleep(INFINITE);
}

int Misbehave(const std::string& how) {
  if (how == "exits after connecting") return 17;
  if (how == "never reads") HangForEver();
  if (how == "half a length") {
    Write(std::string(2, '\0'));
    return 5;
  }
  if (how == "half a text") {
    Write(Prefix(100));
    Write("{\"error\": ");
    return 6;
  }
  if (how == "too long a text") {
    Send(R"({"error": "before"})");
    Write(Prefix(4097));
    HangForEver();
  }
  if (how == "floods") {
    for (int i = 1; i <= 150; ++i) Send(R"({"error": "line )" + std::to_string(i) + R"("})");
    return 0;
  }
  if (how == "floods for ever") {
    while (true) Send(R"({"error": "line"})");
  }
  if (how == "odd messages") {
    for (const char* text : {"", "no json", R"({"error": 7})", R"({"error": "line"})"}) Send(text);
    return 0;
  }
  if (how == "answers oddly") {
    Receive();
    Send(R"({"clip": {"id": "somebody else's", "succeeded": true}})");
    for (const char* duration : {"1", "2"}) {
      Send(R"({"clip": {"duration": )" + std::string(duration) +
           R"(, "id": "clip-1", "succeeded": true}})");
    }
    return 0;
  }
  if (how == "ends at a clip") {
    Receive();
    return 201;
  }
  if (how == "answers nothing") {
    while (!Receive().empty()) {
    }
    return 0;
  }
  if (how == "outlives its pipe") HangForEver();
  return 99;
}

}  // namespace

int main(int argc, char** argv) {
  std::array<char, 64> variable{};
  GetEnvironmentVariableA("BAD_SERVICE", variable.data(), static_cast<DWORD>(variable.size()));
  const std::string how = variable.data();
  if (argc < 2) return 98;
  if (how == "exits at once") return 7;
  if (how == "never connects") HangForEver();
  pipe = platform::OwnFile(
      CreateFileA(argv[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!pipe) return static_cast<int>(GetLastError());
  // Not by returning, so that the pipe is closed by the end of the process, as by a crash.
  ExitProcess(static_cast<UINT>(Misbehave(how)));
}
