#include "open_gsdk/support/library_log.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {
namespace {

std::atomic<gsdk_log_callback> log_callback{nullptr};
std::atomic<std::int32_t> log_level{static_cast<std::int32_t>(LogLevel::kInfo)};

thread_local FfmpegLines* kept_lines = nullptr;

void OnFfmpegLine(void* /*context*/, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_ERROR) return;
  std::array<char, 512> line{};
  if (std::vsnprintf(line.data(), line.size(), format, arguments) < 0) return;
  std::string text(line.data());
  while (!text.empty() && text.back() == '\n') text.pop_back();
  if (kept_lines != nullptr) {
    kept_lines->Add(text);
    return;
  }
  Log(LogLevel::kWarning, "ffmpeg: " + text);
}

}  // namespace

void SetLogCallback(gsdk_log_callback callback) { log_callback = callback; }

void SetLogLevel(std::int32_t level) { log_level = level; }

void TakeFfmpegLines() { av_log_set_callback(OnFfmpegLine); }

FfmpegLines::FfmpegLines() { kept_lines = this; }

FfmpegLines::~FfmpegLines() { kept_lines = nullptr; }

void FfmpegLines::Add(const std::string& line) {
  if (!text_.empty()) text_ += ", ";
  text_ += line;
}

void Log(LogLevel level, const std::string& text) {
  const auto number = static_cast<std::int32_t>(level);
  const gsdk_log_callback callback = log_callback;
  if (callback != nullptr && number <= log_level) callback(number, text.c_str());
}

}  // namespace open_gsdk
