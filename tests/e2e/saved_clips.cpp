#include "tests/e2e/saved_clips.h"

#include <algorithm>

#include "tests/e2e/service_test.h"

namespace e2e {

Json SaveClip(ServiceRun& run, const std::filesystem::path& file, const std::string& id) {
  run.Send(Clip(Utf8FromPath(file), id));
  Json answer;
  run.Pipe().WaitFor(
      [&](const Texts& texts) {
        return std::any_of(texts.rbegin(), texts.rend(), [&](const std::string& text) {
          std::string error;
          answer = Json::parse(text, error)["clip"];
          return answer["id"] == id;
        });
      },
      kLimit);
  return answer;
}

Json SaveFirstClip(ServiceRun& run, const std::filesystem::path& file, const std::string& id) {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  Json answer;
  for (int attempt = 1; std::chrono::steady_clock::now() < deadline; ++attempt) {
    answer = SaveClip(run, file, id + "." + std::to_string(attempt));
    const std::string error = answer["error"].string_value();
    if (error != "clip was empty" && error != "recorder not initialized") break;
  }
  return answer;
}

}  // namespace e2e
