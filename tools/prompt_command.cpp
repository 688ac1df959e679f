#include "tools/prompt_command.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "capture_host/exit_status.h"
#include "capture_host/messages.h"
#include "platform/text_encoding.h"
#include "protocol/recorder_settings.h"

namespace host_tools {
namespace {

using capture_host::DieMessage;
using platform::Utf8FromWide;
using platform::WideFromUtf8;

constexpr std::chrono::seconds kLongestSleep{3'600};

// Reads with ReadFile and not with the C library: a thread that blocks inside the C library's
// standard input holds a lock that the end of the process waits for.
void ReadLines(HANDLE input, Inbox& inbox) {
  std::string line;
  char byte = 0;
  DWORD count = 0;
  while (ReadFile(input, &byte, 1, &count, nullptr) && count == 1) {
    if (byte == '\r') continue;
    if (byte != '\n') {
      line += byte;
      continue;
    }
    inbox.Push({.kind = Event::Kind::kLine, .text = std::move(line)});
    line.clear();
  }
  if (!line.empty()) inbox.Push({.kind = Event::Kind::kLine, .text = std::move(line)});
  inbox.Push({.kind = Event::Kind::kEndOfInput});
}

std::string Help() {
  std::string text =
      "  settings KEY=VALUE ...   send recorder settings, which the next restart uses\n"
      "  restart                  start the recording, or start it over\n"
      "  clip [PATH]              save the buffer as a clip\n"
      "  audio                    bind the audio devices that the settings name\n"
      "  die [N]                  end the service with exit status N, 0 by default\n"
      "  raw TEXT                 send a message as it is typed\n"
      "  sleep SECONDS            wait before the next command\n"
      "  help                     show this list\n"
      "  quit                     end the service and the console\n"
      "Settings:";
  for (const auto& setting : capture_service::RecorderSettingsTable) {
    text.append(" ").append(setting.key);
  }
  return text;
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

int ReadNumber(const std::string& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end) {
    throw std::invalid_argument("\"" + text + "\" is not a whole number.");
  }
  return number;
}

// For file names that differ from those of earlier consoles: "20260131-094500-".
std::string TimeStamp() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  char text[64];
  std::snprintf(text, sizeof(text), "%04u%02u%02u-%02u%02u%02u-", now.wYear, now.wMonth, now.wDay,
                now.wHour, now.wMinute, now.wSecond);
  return text;
}

class Prompt {
 public:
  Prompt(HostSession& session, Inbox& inbox, Transcript& transcript, const PromptOptions& options)
      : session_(session), inbox_(inbox), transcript_(transcript), options_(options) {}

  bool Run() {
    for (const std::string& message : options_.at_start) session_.Send(message);
    transcript_.Result("Type help for the commands.");
    ShowPrompt();
    while (Handle(inbox_.Pop())) {
    }
    const std::uint32_t status = session_.AwaitEnd();
    transcript_.Note(capture_host::DescribeExit(status));
    return status == static_cast<std::uint32_t>(expected_status_);
  }

 private:
  void ShowPrompt() {
    if (options_.show_prompt) transcript_.Progress("> ", false);
  }

  // False when the service has ended or was told to.
  bool Handle(const Event& event) {
    switch (event.kind) {
      case Event::Kind::kClosed:
        return false;
      case Event::Kind::kMessage:
        ShowPrompt();
        return true;
      case Event::Kind::kInterrupted:
      case Event::Kind::kEndOfInput:
        session_.Send(DieMessage(0));
        return false;
      case Event::Kind::kLine:
        break;
    }
    try {
      if (!CarryOut(event.text)) return false;
    } catch (const std::invalid_argument& mistake) {
      transcript_.Result(mistake.what());
    }
    ShowPrompt();
    return true;
  }

  bool CarryOut(const std::string& line) {
    const std::vector<std::string> words = Words(line);
    if (words.empty()) return true;
    const std::string& command = words.front();
    const std::size_t start = line.find(command) + command.size();
    const std::size_t begin = line.find_first_not_of(" \t", start);
    const std::string rest = begin == std::string::npos ? std::string() : line.substr(begin);

    if (command == "settings") {
      session_.Send(capture_host::SettingsMessage({words.begin() + 1, words.end()}));
    } else if (command == "restart") {
      session_.Send(capture_host::RestartMessage());
    } else if (command == "audio") {
      session_.Send(capture_host::ChangeAudioMessage());
    } else if (command == "clip") {
      SendClip(rest);
    } else if (command == "die") {
      if (!rest.empty()) expected_status_ = ReadNumber(rest);
      session_.Send(DieMessage(expected_status_));
      return false;
    } else if (command == "raw") {
      session_.Send(rest);
    } else if (command == "sleep") {
      return Sleep(ReadNumber(rest));
    } else if (command == "help") {
      transcript_.Result(Help());
    } else if (command == "quit") {
      session_.Send(DieMessage(0));
      return false;
    } else {
      throw std::invalid_argument("There is no command \"" + command +
                                  "\". Type help for the commands.");
    }
    return true;
  }

  void SendClip(const std::string& path) {
    const std::string id = std::string("clip-").append(std::to_string(++clips_));
    const std::string name = path.empty() ? TimeStamp() + id + ".mp4" : path;
    // The service's working folder is its own, so it is given the whole path.
    const std::filesystem::path folder(WideFromUtf8(options_.clip_folder));
    const std::filesystem::path file(WideFromUtf8(name));
    session_.Send(capture_host::ClipMessage(Utf8FromWide((folder / file).wstring()), id));
  }

  bool Sleep(int seconds) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::min(std::chrono::seconds(seconds), kLongestSleep);
    std::vector<Event> typed_meanwhile;
    bool running = true;
    while (const auto event = inbox_.PopUntil(deadline)) {
      if (event->kind == Event::Kind::kLine || event->kind == Event::Kind::kEndOfInput) {
        typed_meanwhile.push_back(*event);
      } else if (!(running = Handle(*event))) {
        break;
      }
    }
    for (const Event& event : typed_meanwhile) inbox_.Push(event);
    return running;
  }

  HostSession& session_;
  Inbox& inbox_;
  Transcript& transcript_;
  const PromptOptions& options_;
  int clips_ = 0;
  std::int32_t expected_status_ = 0;
};

}  // namespace

bool RunPrompt(HostSession& session, Inbox& inbox, Transcript& transcript,
               const PromptOptions& options) {
  // Detached: a blocked read of a console cannot be ended, and the inbox outlives every command.
  std::thread(ReadLines, GetStdHandle(STD_INPUT_HANDLE), std::ref(inbox)).detach();
  return Prompt(session, inbox, transcript, options).Run();
}

}  // namespace host_tools
