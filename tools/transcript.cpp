#include "tools/transcript.h"

#include <cstdio>
#include <json11.hpp>
#include <stdexcept>

#include "platform/text_encoding.h"

namespace host_tools {
namespace {

void Print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

std::string SecondsSince(std::chrono::steady_clock::time_point start) {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  char text[32];
  std::snprintf(text, sizeof(text), "%9.3f", elapsed.count());
  return text;
}

}  // namespace

void Transcript::JournalTo(const std::filesystem::path& path) {
  const std::lock_guard lock(mutex_);
  journal_.open(path, std::ios::app | std::ios::binary);
  if (!journal_) {
    throw std::runtime_error("Cannot write the journal " + platform::Utf8FromWide(path.wstring()) +
                             ". Choose a file in an existing folder.");
  }
}

void Transcript::Sent(std::string_view text) {
  const std::lock_guard lock(mutex_);
  Journal("in", text);
  PrintLine("host     >", text);
}

void Transcript::Received(const capture_host::Event& event) {
  const std::lock_guard lock(mutex_);
  Journal("out", event.text);
  if (const auto* const line = std::get_if<capture_host::LogLine>(&event.answer)) {
    PrintLine("service  :", line->text);
  } else {
    PrintLine("service  <", event.text);
  }
}

void Transcript::Note(std::string_view text) {
  const std::lock_guard lock(mutex_);
  PrintLine("console  :", text);
}

void Transcript::Result(std::string_view text) {
  const std::lock_guard lock(mutex_);
  ClearProgress();
  Print(std::string(text) + "\n");
  std::fflush(stdout);
}

void Transcript::Progress(std::string_view text, bool milestone) {
  const std::lock_guard lock(mutex_);
  if (!animated_) {
    if (milestone) PrintLine("console  :", text);
    return;
  }
  ClearProgress();
  Print(text);
  std::fflush(stdout);
  progress_length_ = text.size();
}

void Transcript::EndProgress() {
  const std::lock_guard lock(mutex_);
  ClearProgress();
}

void Transcript::PrintLine(std::string_view mark, std::string_view text) {
  ClearProgress();
  Print(SecondsSince(start_) + "  " + std::string(mark) + " " + std::string(text) + "\n");
  std::fflush(stdout);
}

void Transcript::ClearProgress() {
  if (progress_length_ == 0) return;
  Print("\r");
  Print(std::string(progress_length_, ' '));
  Print("\r");
  progress_length_ = 0;
}

void Transcript::Journal(std::string_view direction, std::string_view text) {
  if (!journal_.is_open()) return;
  const json11::Json line = json11::Json::object{
      {"direction", std::string(direction)},
      {"text", std::string(text)},
  };
  journal_ << line.dump() << '\n' << std::flush;
}

}  // namespace host_tools
