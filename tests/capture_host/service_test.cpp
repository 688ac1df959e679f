// A host against services that misbehave. Hosts against the real one are tests/e2e/host_test.cpp.
#include "capture_host/service.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture_host/host_pipe.h"
#include "platform/owned_handle.h"

namespace capture_host {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

// Far above what a loaded machine needs.
constexpr milliseconds kLimit{60'000};

std::filesystem::path ProgramFolder() {
  std::wstring path(32'768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).parent_path();
}

ServiceLaunch Misbehaving(const char* how) {
  SetEnvironmentVariableA("BAD_SERVICE", how);
  return {.program = ProgramFolder() / "doubles" / "bad_service.exe", .connect_limit = kLimit};
}

std::unique_ptr<Service> StartMisbehaving(const char* how) {
  Error error;
  auto service = Service::Start(Misbehaving(how), {}, error);
  EXPECT_NE(service, nullptr) << Describe(error);
  return service;
}

// Takes all events, the end as "end STATUS FAULT".
Texts TakeAll(Service& service) {
  Texts texts;
  while (const auto event = service.NextEvent(kLimit)) {
    if (event->lost_lines > 0) texts.push_back("lost " + std::to_string(event->lost_lines));
    texts.push_back(event->end
                        ? "end " + std::to_string(event->end->exit_status) + " " + event->end->fault
                        : event->text);
  }
  return texts;
}

TEST(Start, SaysWhenThereIsNoProgram) {
  Error error;
  EXPECT_EQ(Service::Start({.program = "C:\\no\\such\\service.exe"}, {}, error), nullptr);
  EXPECT_TRUE(error.what.starts_with("Cannot start C:\\no\\such\\service.exe: ")) << error.what;
  EXPECT_EQ(error.where, "CreateProcessW");
  EXPECT_EQ(error.advice, "Look whether the program is where the path says.");
  EXPECT_TRUE(error.windows_error == ERROR_FILE_NOT_FOUND ||
              error.windows_error == ERROR_PATH_NOT_FOUND)
      << error.windows_error;
  EXPECT_FALSE(error.exit_status);
}

TEST(Start, SaysWhatTheExitStatusMeansOfAServiceThatEndsAtOnce) {
  const ServiceLaunch launch = Misbehaving("exits at once");
  Error error;
  EXPECT_EQ(Service::Start(launch, {}, error), nullptr);
  EXPECT_EQ(error.what,
            "The service ended before it connected, with status 7. Settings are "
            "missing.");
  EXPECT_EQ(error.where, launch.program.string());
  EXPECT_EQ(error.advice, "Send each of the settings that its lines name.");
  EXPECT_EQ(error.exit_status, 7U);
}

TEST(Start, GivesUpOnAServiceThatNeverConnectsAndKillsIt) {
  ServiceLaunch launch = Misbehaving("never connects");
  launch.connect_limit = milliseconds(300);
  Error error;
  const auto begin = Clock::now();
  EXPECT_EQ(Service::Start(launch, {}, error), nullptr);
  EXPECT_GE(Clock::now() - begin, milliseconds(300));
  EXPECT_EQ(error.what, "The service did not connect within 300 ms.");
  EXPECT_EQ(error.advice, "Look whether the program is CaptureService.exe and the machine busy.");
}

TEST(Events, ComeInOrderWithWhatNoServiceShouldSay) {
  const auto service = StartMisbehaving("odd messages");
  EXPECT_EQ(TakeAll(*service),
            (Texts{"no json", R"({"error": 7})", R"({"error": "line"})", "end 0 "}));
  EXPECT_FALSE(service->NextEvent(kLimit)) << "something came after the end";
}

TEST(Events, GoToTheHandlerOnOneOtherThread) {
  std::mutex mutex;
  Texts texts;
  std::vector<std::thread::id> threads;
  Error error;
  const auto service = Service::Start(
      Misbehaving("odd messages"),
      [&](const Event& event) {
        const std::lock_guard lock(mutex);
        texts.push_back(event.end ? "end" : event.text);
        threads.push_back(std::this_thread::get_id());
      },
      error);
  ASSERT_NE(service, nullptr) << Describe(error);
  while (true) {
    const std::lock_guard lock(mutex);
    if (!texts.empty() && texts.back() == "end") break;
    Sleep(1);
  }
  EXPECT_EQ(texts, (Texts{"no json", R"({"error": 7})", R"({"error": "line"})", "end"}));
  EXPECT_NE(threads.front(), std::this_thread::get_id());
  EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()), 4);
}

TEST(Events, AFloodLosesItsOldestLinesOnly) {
  ServiceLaunch launch = Misbehaving("floods");
  launch.most_kept_lines = 100;
  Error error;
  const auto service = Service::Start(launch, {}, error);
  ASSERT_NE(service, nullptr) << Describe(error);
  ASSERT_TRUE(service->WaitForEnd(kLimit));
  const Texts texts = TakeAll(*service);
  ASSERT_EQ(texts.size(), 102U);
  EXPECT_EQ(texts[0], "lost 50");
  EXPECT_EQ(texts[1], R"({"error": "line 51"})");
  EXPECT_EQ(texts[100], R"({"error": "line 150"})");
  EXPECT_EQ(texts[101], "end 0 ");
}

TEST(Ends, SayWhatWasWrongWithWhatTheServiceSent) {
  EXPECT_EQ(TakeAll(*StartMisbehaving("half a length")),
            Texts{"end 5 It closed the pipe in the middle of a frame."});
  EXPECT_EQ(TakeAll(*StartMisbehaving("half a text")),
            Texts{"end 6 It closed the pipe in the middle of a frame."});
}

TEST(Ends, CarryTheStatusAndWhatItMeans) {
  const auto service = StartMisbehaving("exits after connecting");
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->exit_status, 17U);
  EXPECT_EQ(end->meaning.name, "GSDKSessionStartFailed");
  EXPECT_TRUE(end->meaning.worth_restart);
  EXPECT_FALSE(end->asked_to_end);
  EXPECT_FALSE(end->killed);
  EXPECT_EQ(end->fault, "");
}

// A service that lost the framing and hangs is killed when it doesn't take the closed pipe as a
// sign.
TEST(Ends, AServiceThatDoesNotEndIsKilled) {
  ServiceLaunch launch = Misbehaving("too long a text");
  launch.end_limit = milliseconds(200);
  Error error;
  const auto service = Service::Start(launch, {}, error);
  ASSERT_NE(service, nullptr) << Describe(error);
  EXPECT_EQ(TakeAll(*service),
            (Texts{R"({"error": "before"})",
                   "end 1 It announced a text of 4097 bytes; the longest has 4096."}));
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_TRUE(end->killed);
  EXPECT_FALSE(end->asked_to_end);
  EXPECT_EQ(end->meaning.what, "It did not end when its pipe was closed, and was killed.");
  EXPECT_TRUE(end->meaning.worth_restart);
}

TEST(Ends, AreNotWaitedForLongerThanAsked) {
  const auto service = StartMisbehaving("answers nothing");
  EXPECT_FALSE(service->WaitForEnd(milliseconds(50)));
  EXPECT_FALSE(service->NextEvent(milliseconds(50)));
  service->Close();
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_TRUE(end->asked_to_end);
  EXPECT_EQ(end->exit_status, 0U);
}

TEST(Ends, AFloodDoesNotHoldUpTheClosing) {
  ServiceLaunch launch = Misbehaving("floods for ever");
  launch.end_limit = milliseconds(200);
  Error error;
  const auto service = Service::Start(launch, {}, error);
  ASSERT_NE(service, nullptr) << Describe(error);
  ASSERT_TRUE(service->NextEvent(kLimit));
  service->Close();
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_TRUE(end->killed);
}

TEST(Ends, TheServiceEndsWithItsObject) {
  platform::OwnedHandle process;
  {
    ServiceLaunch launch = Misbehaving("outlives its pipe");
    launch.end_limit = milliseconds(200);
    Error error;
    const auto service = Service::Start(launch, {}, error);
    ASSERT_NE(service, nullptr) << Describe(error);
    process.reset(OpenProcess(SYNCHRONIZE, FALSE, service->process_id()));
    ASSERT_NE(process, nullptr);
  }
  EXPECT_EQ(WaitForSingleObject(process.get(), 0), WAIT_OBJECT_0);
}

TEST(Sending, AMessageThatIsTooLongIsRefusedAndHarmsNothing) {
  const auto service = StartMisbehaving("answers nothing");
  const auto error = service->SendText(std::string(4097, ' '));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->what, "The message has 4097 bytes, and the service takes 4096.");
  EXPECT_EQ(error->advice, "Send less at once; shorten the paths and names in it.");
  EXPECT_EQ(error->windows_error, 0U);
  EXPECT_FALSE(service->SendText(std::string(4096, ' ')));
}

TEST(Sending, AServiceThatTakesNothingCountsAsHung) {
  ServiceLaunch launch = Misbehaving("never reads");
  launch.send_limit = milliseconds(200);
  launch.end_limit = milliseconds(200);
  Error failure;
  const auto service = Service::Start(launch, {}, failure);
  ASSERT_NE(service, nullptr) << Describe(failure);
  std::optional<Error> error;
  // More than the pipe's buffer holds.
  for (int i = 0; i < 1'000 && !error; ++i) error = service->SendText(std::string(4096, ' '));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->what, "The service hangs. It took nothing for 200 ms.");
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->fault, "It took nothing for 200 ms.");
  EXPECT_TRUE(end->killed);
  const auto later = service->RestartRecording();
  ASSERT_TRUE(later);
  EXPECT_EQ(later->what, "The service has gone.");
}

// Counts its calls and keeps the last outcome.
struct Outcomes {
  std::mutex mutex;
  std::vector<ClipOutcome> all;

  ClipHandler Handler() {
    return [this](const ClipOutcome& outcome) {
      const std::lock_guard lock(mutex);
      all.push_back(outcome);
    };
  }
};

TEST(Clips, AreAnsweredOnceAlsoByAServiceThatAnswersTwice) {
  const auto service = StartMisbehaving("answers oddly");
  Outcomes outcomes;
  EXPECT_EQ(service->RequestClip("C:\\a.mp4", outcomes.Handler()), "clip-1");
  ASSERT_TRUE(service->WaitForEnd(kLimit));
  ASSERT_EQ(outcomes.all.size(), 1U);
  EXPECT_EQ(outcomes.all[0].kind, ClipOutcome::Kind::kSaved);
  EXPECT_EQ(outcomes.all[0].answer.id, "clip-1");
  EXPECT_EQ(outcomes.all[0].answer.duration_ms, 1);
}

TEST(Clips, AreAnsweredByTheServicesEnd) {
  const auto service = StartMisbehaving("ends at a clip");
  Outcomes outcomes;
  EXPECT_EQ(service->RequestClip("C:\\a.mp4", outcomes.Handler()), "clip-1");
  EXPECT_EQ(service->RequestClip("C:\\b.mp4", outcomes.Handler()), "clip-2");
  Texts texts = TakeAll(*service);
  EXPECT_EQ(texts, Texts{"end 201 "});
  // And one that comes too late at once.
  EXPECT_EQ(service->RequestClip("C:\\c.mp4", outcomes.Handler()), "clip-3");
  ASSERT_EQ(outcomes.all.size(), 3U);
  std::sort(outcomes.all.begin(), outcomes.all.end(),
            [](const auto& a, const auto& b) { return a.answer.id < b.answer.id; });
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(outcomes.all[i].kind, ClipOutcome::Kind::kServiceEnded);
    EXPECT_EQ(outcomes.all[i].answer.id, "clip-" + std::to_string(i + 1));
  }
  EXPECT_EQ(outcomes.all[2].advice, "Start the service again.");
}

TEST(Clips, WithPathsThatAreTooLongAreAnsweredAtOnce) {
  const auto service = StartMisbehaving("answers nothing");
  const ClipOutcome outcome = service->SaveClip(std::string(5'000, 'a'), kLimit);
  EXPECT_EQ(outcome.kind, ClipOutcome::Kind::kServiceEnded);
  EXPECT_NE(outcome.advice.find("the service takes 4096"), std::string::npos) << outcome.advice;
}

TEST(Clips, ThatAreWaitedForTimeOut) {
  const auto service = StartMisbehaving("answers nothing");
  const ClipOutcome outcome = service->SaveClip("C:\\a.mp4", milliseconds(50));
  EXPECT_EQ(outcome.kind, ClipOutcome::Kind::kTimedOut);
  EXPECT_EQ(outcome.answer.id, "clip-1");
  EXPECT_EQ(outcome.advice, "Wait longer for long buffers; the clip may still be written.");
}

TEST(Clips, ThatAreWaitedForEndWithTheService) {
  const auto service = StartMisbehaving("ends at a clip");
  const ClipOutcome outcome = service->SaveClip("C:\\a.mp4", kLimit);
  EXPECT_EQ(outcome.kind, ClipOutcome::Kind::kServiceEnded);
  EXPECT_EQ(outcome.advice, "Report it with the capture library's last lines.");
}

TEST(HostPipes, HaveNamesThatNobodyCanGuess) {
  Error error;
  const auto first = HostPipe::Create({}, error);
  const auto second = HostPipe::Create({}, error);
  ASSERT_TRUE(first && second) << Describe(error);
  const std::wstring start = L"\\\\.\\pipe\\capture-host-";
  EXPECT_TRUE(first->path().starts_with(start));
  EXPECT_EQ(first->path().size(), start.size() + 32);
  EXPECT_NE(first->path(), second->path());
}

TEST(HostPipes, HaveOneInstance) {
  Error error;
  const auto pipe = HostPipe::Create({}, error);
  ASSERT_TRUE(pipe) << Describe(error);
  EXPECT_EQ(CreateNamedPipeW(pipe->path().c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 512, 512,
                             0, nullptr),
            INVALID_HANDLE_VALUE);
}

TEST(HostPipes, LetNobodyInButTheUser) {
  Error error;
  const auto pipe = HostPipe::Create({}, error);
  ASSERT_TRUE(pipe) << Describe(error);
  const platform::OwnedHandle client = platform::OwnFile(
      CreateFileW(pipe->path().c_str(), READ_CONTROL | GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                  OPEN_EXISTING, 0, nullptr));
  ASSERT_NE(client, nullptr) << GetLastError();
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_EQ(GetSecurityInfo(client.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                            nullptr, &list, nullptr, &descriptor),
            static_cast<DWORD>(ERROR_SUCCESS));
  const std::unique_ptr<void, platform::LocalMemoryFreer> owner(descriptor);
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->AceCount, 1);
  void* entry = nullptr;
  ASSERT_TRUE(GetAce(list, 0, &entry));
  ASSERT_EQ(static_cast<const ACE_HEADER*>(entry)->AceType, ACCESS_ALLOWED_ACE_TYPE);

  HANDLE opened = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened));
  const platform::OwnedHandle token(opened);
  std::vector<std::byte> user(1024);
  DWORD size = 0;
  ASSERT_TRUE(GetTokenInformation(token.get(), TokenUser, user.data(),
                                  static_cast<DWORD>(user.size()), &size));
  EXPECT_TRUE(EqualSid(&static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart,
                       reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid));
}

// Both ends in one process.
struct PipePair {
  std::unique_ptr<HostPipe> host;
  platform::OwnedHandle client;
};

PipePair OpenPair(PipeMode mode) {
  PipePair pair;
  Error error;
  pair.host = HostPipe::Create({.mode = mode}, error);
  EXPECT_TRUE(pair.host) << Describe(error);
  pair.client =
      platform::OwnFile(CreateFileW(pair.host->path().c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                    nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(pair.host->AwaitClient(nullptr, kLimit), HostPipe::Arrival::kClient);
  return pair;
}

void ClientWrite(const PipePair& pair, const std::string& bytes) {
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(pair.client.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                        nullptr));
}

TEST(HostPipes, WriteTheLengthAndTheTextOnTheirOwn) {
  const PipePair pair = OpenPair(PipeMode::kMessage);
  DWORD mode = PIPE_READMODE_MESSAGE;
  ASSERT_TRUE(SetNamedPipeHandleState(pair.client.get(), &mode, nullptr, nullptr));
  ASSERT_EQ(pair.host->WriteFrame("text", kLimit), 0U);
  ASSERT_EQ(pair.host->WriteFrame("", kLimit), 0U);
  ASSERT_EQ(pair.host->WriteFrame("x", kLimit), 0U);
  Texts pieces;
  for (int i = 0; i < 5; ++i) {
    std::string piece(64, '\0');
    DWORD read = 0;
    ASSERT_TRUE(ReadFile(pair.client.get(), piece.data(), 64, &read, nullptr));
    piece.resize(read);
    pieces.push_back(piece);
  }
  EXPECT_EQ(pieces, (Texts{std::string("\4\0\0\0", 4), "text", std::string(4, '\0'),
                           std::string("\1\0\0\0", 4), "x"}));
}

TEST(HostPipes, PutAByteStreamsPiecesTogether) {
  PipePair pair = OpenPair(PipeMode::kByte);
  for (const char byte : std::string("\5\0\0\0first\0\0\0\0\3\0\0\0two", 20)) {
    ClientWrite(pair, std::string(1, byte));
  }
  pair.client.reset();
  Texts texts;
  Frame frame = pair.host->ReadFrame();
  for (; frame.kind == Frame::Kind::kText; frame = pair.host->ReadFrame()) {
    texts.push_back(frame.text);
  }
  EXPECT_EQ(texts, (Texts{"first", "", "two"}));
  EXPECT_EQ(frame.kind, Frame::Kind::kClosed);
  EXPECT_EQ(frame.text, "");
}

TEST(HostPipes, SeeMessagesThatWereNotWrittenPieceByPiece) {
  const auto frame_of = [](const Texts& messages) {
    const PipePair pair = OpenPair(PipeMode::kMessage);
    for (const std::string& message : messages) ClientWrite(pair, message);
    const Frame frame = pair.host->ReadFrame();
    EXPECT_EQ(frame.kind, Frame::Kind::kBroken);
    return frame.text;
  };
  EXPECT_EQ(frame_of({std::string("\4\0\0\0text", 8)}),
            "It sent a message that is longer than was announced.");
  EXPECT_EQ(frame_of({std::string("\4\0", 2)}), "It sent a length of 2 bytes.");
  EXPECT_EQ(frame_of({std::string("\4\0\0\0", 4), "tex"}),
            "It sent a text of 3 bytes after it had announced 4.");
  EXPECT_EQ(frame_of({std::string("\4\0\0\0", 4), "text!"}),
            "It sent a message that is longer than was announced.");
}

TEST(HostPipes, StopsReadsAndWritesUnderWayAndToCome) {
  const PipePair pair = OpenPair(PipeMode::kByte);
  std::atomic<bool> stopped = false;
  std::thread reader([&] {
    EXPECT_EQ(pair.host->ReadFrame().kind, Frame::Kind::kStopped);
    stopped = true;
  });
  Sleep(20);
  EXPECT_FALSE(stopped);
  pair.host->StopUse();
  reader.join();
  ClientWrite(pair, std::string("\1\0\0\0x", 5));
  EXPECT_EQ(pair.host->ReadFrame().kind, Frame::Kind::kStopped);
  EXPECT_EQ(pair.host->WriteFrame("x", kLimit), static_cast<DWORD>(ERROR_OPERATION_ABORTED));
}

TEST(HostPipes, DoNotWaitForAClientForEver) {
  Error error;
  const auto pipe = HostPipe::Create({}, error);
  ASSERT_TRUE(pipe) << Describe(error);
  EXPECT_EQ(pipe->AwaitClient(nullptr, milliseconds(30)), HostPipe::Arrival::kTimedOut);
}

}  // namespace
}  // namespace capture_host
