#include "capture_host/pending_clips.h"

#include <algorithm>
#include <utility>

namespace capture_host {
namespace {

// What the person can do about each text that docs/protocol.md lists.
std::string AdviceFor(const std::string& error) {
  if (error == "recorder not initialized") {
    return "Start a recording first; it begins 3 seconds after it was asked for.";
  }
  if (error == "clip was empty") return "Ask again when the recording has run for a few seconds.";
  if (error.starts_with("failed to open ")) {
    return "Choose a path in an existing folder that can be written to.";
  }
  if (error.starts_with("failed to rename dump file to ")) {
    return "Close the program that has the file open, or choose another path.";
  }
  if (error.starts_with("Write clip buffer : ")) return "Make room on the disk and ask again.";
  if (error.starts_with("Failed to add ")) return "Choose a path that ends in .mp4.";
  return "Read the lines that the service sent before, and ask again.";
}

}  // namespace

ClipHandler PendingClips::Take(const std::string& id) {
  const auto found = std::find_if(requests_.begin(), requests_.end(),
                                  [&](const PendingClip& request) { return request.id == id; });
  if (found == requests_.end()) return {};
  ClipHandler handler = std::move(found->handler);
  requests_.erase(found);
  return handler;
}

ClipOutcome OutcomeOf(const ClipAnswer& answer) {
  ClipOutcome outcome;
  outcome.kind = answer.succeeded ? ClipOutcome::Kind::kSaved : ClipOutcome::Kind::kFailed;
  outcome.answer = answer;
  if (!answer.succeeded) outcome.advice = AdviceFor(answer.error);
  return outcome;
}

}  // namespace capture_host
