#include "tools/transcript.h"

#include <cmath>
#include <cstdio>
#include <json11.hpp>
#include <stdexcept>

#include "platform/text_encoding.h"

namespace host_tools {
namespace {

void Print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kNoColor = "\x1B[0m";

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
  PrintLine("sent", "host     >", text);
}

void Transcript::Received(const capture_host::Event& event) {
  const std::lock_guard lock(mutex_);
  Journal("out", event.text);
  const auto* const line = std::get_if<capture_host::LogLine>(&event.answer);
  if (line != nullptr) {
    PrintLine("line", "service  :", line->text, IsFailure(*line));
  } else {
    PrintLine("received", "service  <", event.text);
  }
}

void Transcript::Note(std::string_view text) {
  const std::lock_guard lock(mutex_);
  PrintLine("note", "console  :", text);
}

void Transcript::Result(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (style_ == TranscriptStyle::kJson) return PrintLine("result", "", text);
  ClearProgress();
  Print(std::string(text) + "\n");
  std::fflush(stdout);
}

void Transcript::Failure(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (style_ == TranscriptStyle::kJson) PrintLine("failure", "", text);
  ClearProgress();
}

void Transcript::Progress(std::string_view text, bool milestone) {
  const std::lock_guard lock(mutex_);
  if (style_ != TranscriptStyle::kTerminal) {
    if (milestone) PrintLine("progress", "console  :", text);
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

void Transcript::PrintLine(const char* kind, std::string_view mark, std::string_view text,
                           bool red) {
  ClearProgress();
  if (style_ == TranscriptStyle::kJson) {
    const json11::Json line =
        json11::Json::object{{"time", Elapsed()}, {"kind", kind}, {"text", std::string(text)}};
    Print(line.dump() + "\n");
  } else {
    char seconds[32];
    std::snprintf(seconds, sizeof(seconds), "%9.3f", Elapsed());
    const bool colored = red && style_ == TranscriptStyle::kTerminal;
    if (colored) Print(kRed);
    Print(std::string(seconds) + "  " + std::string(mark) + " " + std::string(text));
    if (colored) Print(kNoColor);
    Print("\n");
  }
  std::fflush(stdout);
}

double Transcript::Elapsed() const {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  return std::round(elapsed.count() * 1000) / 1000;
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
      {"time", Elapsed()},
      {"text", std::string(text)},
  };
  journal_ << line.dump() << '\n' << std::flush;
}

}  // namespace host_tools
