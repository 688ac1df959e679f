// The clip requests that have not been answered yet. Each gets one answer, whatever happens.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "capture_host/answers.h"

namespace capture_host {

// How a clip request ended.
struct ClipOutcome {
  enum class Kind {
    kSaved,         // `answer` has the figures
    kFailed,        // the service said why in `answer.error`
    kServiceEnded,  // the service ended, or could not be sent the request, before it answered
    kTimedOut,      // of SaveClip only: no answer in time
  };
  Kind kind = Kind::kServiceEnded;
  ClipAnswer answer;   // its id is set in every case
  std::string advice;  // what to do about a clip that was not saved
};

using ClipHandler = std::function<void(const ClipOutcome&)>;

struct PendingClip {
  std::string id;
  ClipHandler handler;
};

// Not for several threads at once: its owner holds a lock over it.
class PendingClips {
 public:
  // Takes a request under an id that no other one has.
  void Add(const std::string& id, ClipHandler handler) {
    requests_.push_back({id, std::move(handler)});
  }

  // Takes the handler out again; an empty one when there is no such request, or it was answered.
  ClipHandler Take(const std::string& id);

  // Takes all that are left, in the order of the requests.
  std::vector<PendingClip> TakeAll() { return std::exchange(requests_, {}); }

 private:
  std::vector<PendingClip> requests_;
};

// The outcome that an answer of the service makes.
ClipOutcome OutcomeOf(const ClipAnswer& answer);

}  // namespace capture_host
