// What the fuzz targets share: the real main loop, command worker and clip thread, with the fakes
// for everything outside. One run is one input.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace fuzz {

// Ends the program, as a find, when `condition` does not hold.
void Require(bool condition);

// Everything as at process start. Called first for each input.
void ResetService();

// Queues `messages` as the host's, in order, and runs the main loop until something stops it: one
// of them, or a write to the host that fails. Returns the exit status. Commands stay queued.
std::uint32_t RunMainLoopOn(std::initializer_list<std::string> messages);

// The same with the command worker on a thread of its own, without the wait of a restart. Returns
// once the loop has ended and the recording was torn down.
std::uint32_t RunServiceOn(std::initializer_list<std::string> messages);

// Asks for the end of the service with this status, as the host would. Any thread.
void PostDie(std::uint32_t status);

// Gives the session a recorder of the library, as a running one has.
void GiveRecorder();

// Takes all commands off the queue; returns how many there were.
int TakeCommands();

// What was said to the outside, in order, which is then forgotten. See tests/fakes/transcript.h.
std::vector<std::string> TakeStory();
// The texts of the story that were written to the host or wait to be.
std::vector<std::string> TextsToHost(const std::vector<std::string>& story);
// Waits for a text to the host that is not queued yet, and takes it.
std::string AwaitTextToHost();

// Destroys what a run left on purpose and requires that nothing else is left, but for so many texts
// of the library.
void RequireNothingLeft(int texts = 0);

}  // namespace fuzz
