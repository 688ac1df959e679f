// The parts of the host library that need no Windows: frames, command lines, queues, errors.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture_host/command_line.h"
#include "capture_host/error.h"
#include "capture_host/event_queue.h"
#include "capture_host/frames.h"
#include "capture_host/pending_clips.h"

namespace capture_host {
namespace {

using Texts = std::vector<std::string>;

TEST(Frames, TheLengthIsLittleEndian) {
  EXPECT_EQ(MakeFramePrefix(0x04030201), (FramePrefix{1, 2, 3, 4}));
  for (const std::uint32_t length : {0U, 1U, 255U, 256U, 4096U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ReadFramePrefix(MakeFramePrefix(length)), length);
  }
}

TEST(CommandLine, QuotesWhatTheStartUpCodeWouldTakeApart) {
  EXPECT_EQ(QuotedArgument(L"plain"), L"plain");
  EXPECT_EQ(QuotedArgument(L"\\\\.\\pipe\\"), L"\\\\.\\pipe\\");
  EXPECT_EQ(QuotedArgument(L""), L"\"\"");
  EXPECT_EQ(QuotedArgument(L"C:\\two words\\"), L"\"C:\\two words\\\\\"");
  EXPECT_EQ(QuotedArgument(L"a\"b"), L"\"a\\\"b\"");
  EXPECT_EQ(QuotedArgument(L"a\\\\\"b c"), L"\"a\\\\\\\\\\\"b c\"");
  EXPECT_EQ(QuotedArgument(L"tab\there"), L"\"tab\there\"");
}

TEST(Errors, AreDescribedInOneLine) {
  EXPECT_EQ(Describe({.what = "It broke.", .where = "pipe", .advice = "Mend it."}),
            "It broke. (pipe) Mend it.");
  EXPECT_EQ(Describe({.what = "It broke."}), "It broke.");
}

Event LineEvent(const std::string& text) {
  Event event;
  event.text = text;
  event.answer = LogLine{text};
  return event;
}

Event ClipEvent(const std::string& id) {
  Event event;
  event.text = id;
  event.answer = ClipAnswer{.id = id};
  return event;
}

Texts Drain(EventQueue& queue) {
  Texts all;
  while (const auto event = queue.Take()) {
    all.push_back(event->text + (event->end ? "end" : "") +
                  (event->lost_lines > 0 ? " after " + std::to_string(event->lost_lines) : ""));
  }
  return all;
}

TEST(EventQueue, GivesEventsInTheirOrder) {
  EventQueue queue(10);
  EXPECT_TRUE(queue.empty());
  EXPECT_FALSE(queue.Take());
  queue.Push(LineEvent("a"));
  queue.Push(ClipEvent("1"));
  queue.Push(LineEvent("b"));
  EXPECT_FALSE(queue.empty());
  EXPECT_EQ(Drain(queue), (Texts{"a", "1", "b"}));
}

TEST(EventQueue, DropsTheOldestLinesAndSaysHowMany) {
  EventQueue queue(2);
  for (const char* line : {"a", "b", "c", "d", "e"}) queue.Push(LineEvent(line));
  EXPECT_EQ(Drain(queue), (Texts{"d after 3", "e"}));
}

TEST(EventQueue, KeepsClipAnswersAndTheEnd) {
  EventQueue queue(1);
  queue.Push(ClipEvent("1"));
  queue.Push(LineEvent("a"));
  queue.Push(ClipEvent("2"));
  queue.Push(LineEvent("b"));
  queue.Push(LineEvent("c"));
  Event end;
  end.end.emplace();
  queue.Push(std::move(end));
  EXPECT_EQ(Drain(queue), (Texts{"1", "2 after 1", "c after 1", "end"}));
}

TEST(EventQueue, CountsTheLinesThatWereTaken) {
  EventQueue queue(1);
  for (const char* line : {"a", "b", "c"}) {
    queue.Push(LineEvent(line));
    EXPECT_EQ(Drain(queue), Texts{line});
  }
}

TEST(PendingClips, GiveEachHandlerOnce) {
  PendingClips clips;
  int calls = 0;
  clips.Add("1", [&](const ClipOutcome&) { ++calls; });
  clips.Add("2", [&](const ClipOutcome&) { calls += 10; });
  EXPECT_FALSE(clips.Take("3"));
  const ClipHandler handler = clips.Take("2");
  ASSERT_TRUE(handler);
  handler({});
  EXPECT_EQ(calls, 10);
  EXPECT_FALSE(clips.Take("2"));
}

TEST(PendingClips, GiveWhatIsLeftInTheOrderOfTheRequests) {
  PendingClips clips;
  for (const char* id : {"10", "9", "8"}) clips.Add(id, [](const ClipOutcome&) {});
  EXPECT_TRUE(clips.Take("9"));
  Texts ids;
  for (const PendingClip& clip : clips.TakeAll()) ids.push_back(clip.id);
  EXPECT_EQ(ids, (Texts{"10", "8"}));
  EXPECT_TRUE(clips.TakeAll().empty());
}

TEST(ClipOutcomes, SayWhatToDoAboutEachFailure) {
  const auto advice = [](const std::string& error) {
    const ClipOutcome outcome = OutcomeOf({.id = "1", .succeeded = false, .error = error});
    EXPECT_EQ(outcome.kind, ClipOutcome::Kind::kFailed);
    EXPECT_EQ(outcome.answer.error, error);
    return outcome.advice;
  };
  EXPECT_EQ(advice("recorder not initialized"),
            "Start a recording first; it begins 3 seconds after it was asked for.");
  EXPECT_EQ(advice("clip was empty"), "Ask again when the recording has run for a few seconds.");
  EXPECT_EQ(advice("failed to open C:\\a.mp4 for writing"),
            "Choose a path in an existing folder that can be written to.");
  EXPECT_EQ(advice("failed to rename dump file to C:\\a.mp4"),
            "Close the program that has the file open, or choose another path.");
  EXPECT_EQ(advice("Write clip buffer : failed to write full clip buffer."),
            "Make room on the disk and ask again.");
  EXPECT_EQ(advice("Failed to add audio stream."), "Choose a path that ends in .mp4.");
  EXPECT_EQ(advice("Failed to add video stream."), "Choose a path that ends in .mp4.");
  EXPECT_EQ(advice("Unexpected error"),
            "Read the lines that the service sent before, and ask again.");
}

TEST(ClipOutcomes, AClipThatWasWrittenNeedsNoAdvice) {
  const ClipOutcome outcome = OutcomeOf({.id = "1", .succeeded = true, .duration_ms = 5});
  EXPECT_EQ(outcome.kind, ClipOutcome::Kind::kSaved);
  EXPECT_EQ(outcome.answer.duration_ms, 5);
  EXPECT_EQ(outcome.advice, "");
}

}  // namespace
}  // namespace capture_host
