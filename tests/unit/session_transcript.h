// What a session start says to the outside, stage by stage, for CompleteSettings and the lists of
// SetUpGame.
#pragma once

#include <string>

#include "tests/fakes/transcript.h"

namespace core_test {

// Makes CompleteSettings the current ones and lets the library list the game's window and the
// devices.
void SetUpGame();

// The capture settings of window mode, and the window list's only entry in them.
std::string WindowCapture();

// The window and process checks, the elevation tag and the library's log set-up.
Lines OpeningLines();
// Session, mode tag and video input type.
Lines CreationLines(const std::string& session = "session1", const std::string& mode = "window");
// The list of this kind is read and given back.
Lines ListLines(const std::string& kind, const std::string& text);
// One try of the video input that succeeds.
Lines VideoInputLines(const std::string& capture, const std::string& session = "session1");
// All of window mode's video input.
Lines WindowInputLines();
// The three sources are added and bound to their devices. The session's list texts are numbered
// from `first_text`, its inputs from `first_input`.
Lines AudioInputLines(const std::string& session = "session1", int first_input = 1);
Lines AudioBindingLines(const std::string& session = "session1", int first_text = 2,
                        int first_input = 1);
// Properties with these tracks (quoted, separated) and the recorder.
Lines PropertiesLines(const std::string& properties = "properties1",
                      const std::string& tracks = "3, \"Game\", \"Chat\", \"Mic\"");
Lines RecorderLines(const std::string& properties = "properties1",
                    const std::string& recorder = "recorder1");
Lines StartLines(const std::string& session = "session1",
                 const std::string& properties = "properties1");
// What the keeper or the clean-up does.
Lines DestructionLines(const std::string& session = "session1",
                       const std::string& recorder = "recorder1");

// The binding of one source to a device.
std::string BindingLine(const std::string& session, const std::string& input,
                        const std::string& device);

}  // namespace core_test
