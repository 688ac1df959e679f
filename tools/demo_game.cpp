// A stand-in for a game: a window that moves all the time and shows the number of every frame, as
// digits for people and as a bar code for programs (tools/frame_code.h), and that beeps every
// second. While the beep is heard, a square of 64x64 pixels in the lower right corner is white
// instead of black. See --help.
#include <windows.h>

#include <timeapi.h>

#include <algorithm>
#include <chrono>
#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/text_encoding.h"
#include "tools/demo_scene.h"
#include "tools/demo_sound.h"

namespace demo_game {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr wchar_t kWindowClass[] = L"CaptureServiceDemoGame";
constexpr SIZE kSmallestClient{160, 120};

struct Options {
  std::string title = "Demo Game";
  SIZE size{1280, 720};
  POINT position{0, 0};
  int fps = 60;
  double seconds = 0;  // 0: until the window is closed
  double move_after = 0;
  std::optional<POINT> move_to;
};

class Game {
 public:
  // `sound` outlives the game.
  Game(const Options& options, const Sound& sound)
      : options_(options), sound_(sound), scene_(options.size) {
    CreateGameWindow();
  }

  // Draws until the window is closed or its time is over; returns the number of frames drawn.
  std::uint32_t Run() {
    const Clock::time_point start = Clock::now();
    const auto interval = std::chrono::duration_cast<Clock::duration>(Seconds(1) / options_.fps);
    Clock::time_point next_frame = start;
    while (HandleMessages()) {
      const Clock::time_point now = Clock::now();
      if (now < next_frame) {
        WaitUntil(next_frame, now);
        continue;
      }
      // After a hold-up the game goes on from where it is, as games do.
      next_frame = std::max(next_frame + interval, now);
      const double elapsed = Seconds(now - start).count();
      if (options_.seconds > 0 && elapsed >= options_.seconds) {
        DestroyWindow(window_);
        continue;
      }
      if (options_.move_to && elapsed >= options_.move_after) Move();
      DrawFrame();
    }
    return frame_;
  }

 private:
  void CreateGameWindow() {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = &Game::OnMessage;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    window_class.lpszClassName = kWindowClass;
    RegisterClassW(&window_class);
    RECT frame{0, 0, options_.size.cx, options_.size.cy};
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
    const std::wstring title = platform::WideFromUtf8(options_.title);
    window_ =
        CreateWindowExW(0, kWindowClass, title.c_str(), WS_OVERLAPPEDWINDOW, options_.position.x,
                        options_.position.y, frame.right - frame.left, frame.bottom - frame.top,
                        nullptr, nullptr, window_class.hInstance, this);
    if (window_ == nullptr) {
      throw std::runtime_error("Cannot open a window (Windows error " +
                               std::to_string(GetLastError()) + "). Is there a display?");
    }
    ShowWindow(window_, SW_SHOWNORMAL);
    SetForegroundWindow(window_);
    std::puts("The window is open.");
    static_cast<void>(std::fflush(stdout));
  }

  static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == WM_NCCREATE) {
      // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows passes it.
      const auto* const created = reinterpret_cast<const CREATESTRUCTW*>(lparam);
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created->lpCreateParams));
    }
    const auto* const game =
        // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows keeps it.
        reinterpret_cast<const Game*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
      case WM_ERASEBKGND:
        return 1;  // every pixel is drawn anyway; erasing would only flicker
      case WM_PAINT:
        if (game != nullptr) {
          PAINTSTRUCT paint{};
          game->scene_.Show(BeginPaint(window, &paint));
          EndPaint(window, &paint);
          return 0;
        }
        break;
      case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
      default:
        break;
    }
    return DefWindowProcW(window, message, wparam, lparam);
  }

  // False once the window is gone.
  static bool HandleMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) return false;
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    return true;
  }

  static void WaitUntil(Clock::time_point time, Clock::time_point now) {
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(time - now);
    MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(wait.count()), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
  }

  void Move() {
    SetWindowPos(window_, nullptr, options_.move_to->x, options_.move_to->y, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    options_.move_to.reset();
  }

  void DrawFrame() {
    RECT client{};
    GetClientRect(window_, &client);
    const SIZE size{std::max(client.right, kSmallestClient.cx),
                    std::max(client.bottom, kSmallestClient.cy)};
    if (size.cx != scene_.size().cx || size.cy != scene_.size().cy) scene_ = Scene(size);
    ++frame_;
    scene_.Draw(frame_, static_cast<double>(frame_) / options_.fps);
    if (sound_.beeps()) scene_.DrawFlash(sound_.BeepIsHeard());
    HDC target = GetDC(window_);
    scene_.Show(target);
    ReleaseDC(window_, target);
  }

  Options options_;
  const Sound& sound_;
  Scene scene_;
  HWND window_ = nullptr;
  std::uint32_t frame_ = 0;
};

// Reads "AxB" or "A,B".
std::pair<LONG, LONG> ReadPair(const std::string& text, char separator) {
  int first = 0;
  int second = 0;
  char found = 0;
  std::istringstream stream(text);
  stream >> first >> found >> second;
  if (!stream || stream.get() != std::istringstream::traits_type::eof() || found != separator) {
    throw CLI::ValidationError("\"" + text + "\" is not two numbers with '" + separator +
                               "' between them.");
  }
  return {first, second};
}

// Beeps where there is a device when nothing is asked for.
std::unique_ptr<Sound> StartSound(const std::string& wanted, const std::string& device) {
  SoundChoice choice = ReadSoundChoice(wanted.empty() ? "beep" : wanted);
  choice.device = device;
  try {
    return std::make_unique<Sound>(choice);
  } catch (const std::runtime_error& failure) {
    if (!wanted.empty() || !device.empty()) throw;
    std::printf("%s The game is silent.\n", failure.what());
    return std::make_unique<Sound>(SoundChoice{});
  }
}

int Main(const std::vector<std::string>& arguments) {
  CLI::App app{"A window that moves all the time and shows its frame number."};
  app.name("demo_game");
  app.set_version_flag("--version", "demo_game " PROJECT_VERSION);
  Options options;
  std::string size = "1280x720";
  std::string move_to;
  std::string wanted_sound;
  std::string sound_device;
  app.add_option("--title", options.title, "Title of the window")->capture_default_str();
  app.add_option("--size", size, "Size of the picture in pixels")->capture_default_str();
  app.add_option("--x", options.position.x, "Left edge of the window")->capture_default_str();
  app.add_option("--y", options.position.y, "Top edge of the window")->capture_default_str();
  app.add_option("--fps", options.fps, "Frames a second")
      ->check(CLI::Range(1, 240))
      ->capture_default_str();
  app.add_option("--seconds", options.seconds, "Close after this time; 0 stays open")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  auto* const move = app.add_option("--move-to", move_to, "Move the window to X,Y later on");
  app.add_option("--move-after", options.move_after, "Seconds until it moves")->needs(move);
  app.add_option("--sound", wanted_sound,
                 "beep (every second; where there is a device, by default), tone:HZ or none")
      ->check([](const std::string& text) {
        try {
          ReadSoundChoice(text);
          return std::string();
        } catch (const std::runtime_error& mistake) {
          return std::string(mistake.what());
        }
      });
  app.add_option(
      "--sound-device", sound_device,
      "Endpoint identifier of the device that plays; the system's default one if missing");
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    const auto [width, height] = ReadPair(size, 'x');
    options.size = {std::max(width, kSmallestClient.cx), std::max(height, kSmallestClient.cy)};
    if (!move_to.empty()) {
      const auto [x, y] = ReadPair(move_to, ',');
      options.move_to = POINT{x, y};
    }
    timeBeginPeriod(1);
    const Clock::time_point start = Clock::now();
    const auto sound = StartSound(wanted_sound, sound_device);
    const std::uint32_t frames = Game(options, *sound).Run();
    const double elapsed = Seconds(Clock::now() - start).count();
    std::printf("Drew %u frames in %.1f s.\n", frames, elapsed);
    return 0;
  } catch (const CLI::ParseError& mistake) {
    return app.exit(mistake) == 0 ? 0 : 2;
  } catch (const std::exception& failure) {
    std::cerr << "demo_game: " << failure.what() << std::endl;
    return 1;
  }
}

}  // namespace
}  // namespace demo_game

int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(platform::Utf8FromWide(argv[i]));
  return demo_game::Main(arguments);
}
