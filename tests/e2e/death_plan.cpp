#include "tests/e2e/death_plan.h"

#include <algorithm>
#include <array>
#include <random>

#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kRestartWait{3'000};
constexpr milliseconds kJoinTimeout{10'000};
// What the processors of a loaded machine add.
constexpr milliseconds kMargin{5'000};
// No start or end of a session makes more calls that the script can delay.
constexpr int kMostDelayedCalls = 80;
constexpr int kMostDelayMicroseconds = 20'000;
// A session begins 3 s after the first message; half of the moments lie before it runs.
constexpr int kLatestMoment = 6'000;

class Dice {
 public:
  Dice(std::uint64_t seed, int number) : random_(seed * 1'000 + static_cast<unsigned>(number)) {}

  int Between(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }
  bool OneIn(int count) { return Between(1, count) == 1; }
  milliseconds Moment(int least, int most) { return milliseconds(Between(least, most)); }

 private:
  std::mt19937_64 random_;
};

struct FailingStart {
  const char* call;
  std::int32_t code;
  std::uint32_t exit_status;
};
constexpr std::array kFailingStarts = {FailingStart{"gsdk_session_create", 15, 22},
                                       FailingStart{"gsdk_session_create", 3, 9},
                                       FailingStart{"gsdk_session_set_video_input", 15, 11},
                                       FailingStart{"gsdk_session_update_video_input", 24, 16},
                                       FailingStart{"gsdk_input_properties", 2, 3},
                                       FailingStart{"gsdk_session_start", 15, 22},
                                       FailingStart{"gsdk_session_start", 7, 17}};

struct EndingError {
  std::int32_t code;
  int count;
  std::uint32_t exit_status;
};
constexpr std::array kEndingErrors = {EndingError{31, 1, 21}, EndingError{28, 6, 18},
                                      EndingError{30, 1, 200}, EndingError{0, 1, 200}};

Json Rule(const Json::object& rule) { return Json::array{rule}; }

// Threads of a session: packets, lines, and what `steps` adds.
Json SessionOf(const Json::array& steps) {
  return Json::array{Json::object{
      {"threads",
       Json::array{
           Json::object{
               {"steps", Json::array{Json::object{{"packets", -1}, {"interval_us", 4'000}}}}},
           Json::object{{"steps", Json::array{Json::object{
                                      {"log", "busy"}, {"count", -1}, {"interval_us", 3'000}}}}},
           Json::object{{"steps", steps}}}}}};
}

// Clips, device changes and settings at any time, none of which starts or ends a session.
void AddMessages(Dice& dice, DeathPlan& plan) {
  int clips = 0;
  for (int count = dice.Between(0, 20); count > 0; --count) {
    Json message = Clip("clip.mp4", std::to_string(clips));
    const int kind = dice.Between(0, 3);
    if (kind == 0) message = RecorderSettings(Json::object{{"video_fps", dice.Between(1, 120)}});
    const milliseconds after = dice.Moment(0, kLatestMoment);
    if (kind == 1 && after > kRestartWait) message = ChangeAudio();
    plan.messages.push_back({.after = after, .message = message});
  }
  std::stable_sort(plan.messages.begin(), plan.messages.end(),
                   [](const TimedMessage& a, const TimedMessage& b) { return a.after < b.after; });
  for (TimedMessage& timed : plan.messages) {
    if (timed.message["clip"].is_object()) {
      timed.message = Clip("clip" + std::to_string(clips) + ".mp4", std::to_string(clips));
      ++clips;
    }
  }
}

void PlanCause(Dice& dice, DeathPlan& plan, Json::object& script) {
  Json::object calls;
  Json::array steps;
  switch (plan.cause) {
    case Cause::kPipeClosed:
      break;
    case Cause::kDie:
      plan.exit_status = static_cast<std::uint32_t>(plan.die_value);
      break;
    case Cause::kOversizedFrame:
      plan.frame_bytes = dice.OneIn(2) ? 4'097 : 0xFFFFFFFF;
      break;
    case Cause::kConnectionError: {
      const EndingError error = kEndingErrors.at(
          static_cast<std::size_t>(dice.Between(0, static_cast<int>(kEndingErrors.size()) - 1)));
      const int after = dice.Between(0, 2'000);
      steps = {Json::object{{"sleep_ms", after}},
               Json::object{{"error", error.code}, {"message", "gone"}, {"count", error.count}}};
      plan.exit_status = error.exit_status;
      // A restart that was asked for before the end is finished.
      plan.limit += milliseconds(after) + kRestartWait;
      break;
    }
    case Cause::kFailedStart: {
      const FailingStart start = kFailingStarts.at(
          static_cast<std::size_t>(dice.Between(0, static_cast<int>(kFailingStarts.size()) - 1)));
      calls[start.call] = Rule({{"code", start.code}, {"message", "no"}});
      plan.exit_status = start.exit_status;
      break;
    }
    case Cause::kHungSession:
      calls.emplace(dice.OneIn(2) ? "gsdk_session_destroy" : "gsdk_recorder_destroy",
                    Rule({{"hang", true}}));
      plan.hung_end = dice.OneIn(2) ? Cause::kPipeClosed : Cause::kDie;
      plan.hung_end_is_restart = dice.OneIn(3);
      plan.moment = dice.Moment(0, 2'000);
      plan.exit_status = 201;
      plan.limit += kJoinTimeout;
      break;
    case Cause::kHungDump:
      script["dumps"] = Rule({{"hang", true}});
      plan.moment = dice.Moment(0, 500);
      plan.exit_status = static_cast<std::uint32_t>(plan.die_value);
      break;
    case Cause::kGameGone:
      plan.game_is_a_window = dice.OneIn(2);
      // The restart that finds it gone waits, and may wait for the one before.
      plan.limit += kRestartWait;
      break;
    case Cause::kCount:
      break;
  }
  if (!calls.empty()) script["calls"] = calls;
  script["sessions"] = SessionOf(steps);
}

}  // namespace

const char* NameOf(Cause cause) {
  switch (cause) {
    case Cause::kPipeClosed:
      return "pipe closed";
    case Cause::kDie:
      return "die event";
    case Cause::kOversizedFrame:
      return "oversized frame";
    case Cause::kConnectionError:
      return "library's error";
    case Cause::kFailedStart:
      return "failed start";
    case Cause::kHungSession:
      return "hung session";
    case Cause::kHungDump:
      return "hung dump";
    case Cause::kGameGone:
      return "game gone";
    case Cause::kCount:
      break;
  }
  return "";
}

DeathPlan PlanDeath(std::uint64_t seed, int number) {
  Dice dice(seed, number);
  DeathPlan plan;
  plan.cause = static_cast<Cause>(dice.Between(0, static_cast<int>(Cause::kCount) - 1));
  plan.reporting = dice.OneIn(3);
  plan.moment = dice.Moment(0, kLatestMoment);
  plan.die_value = dice.Between(0, 255);
  plan.limit =
      kRestartWait + kMargin + milliseconds(kMostDelayedCalls * kMostDelayMicroseconds / 1'000);

  Json::object script = {
      {"log_packets", 0},
      {"dumps", Rule({{"write", "a clip"}})},
      {"random_delay", Json::object{{"seed", dice.Between(0, 1'000'000)},
                                    {"most_us", dice.OneIn(4) ? 0 : kMostDelayMicroseconds}}}};
  if (plan.cause != Cause::kHungDump) AddMessages(dice, plan);
  PlanCause(dice, plan, script);
  plan.script = script;
  if (plan.cause <= Cause::kOversizedFrame && dice.OneIn(3)) plan.library = LibraryFile::kOpen;
  return plan;
}

}  // namespace e2e
