// The library calls of a session's life, as the call log writes them.
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/service_test.h"

namespace e2e {

// What is particular to a session; the numbers count the objects that the library made so far.
struct SessionCalls {
  int session = 1;     // also the number of its properties and recorder
  int first_text = 1;  // the number of the first list text
  std::string mode = "game";
  std::string capture_settings = {};  // empty: those for Settings()

  // Up to and with the creation of the session.
  Texts Create() const;
  // A creation that fails; its error is the first.
  static Texts FailedCreate();
  // The choice of the video input's type.
  Texts SetVideoInput() const;
  Texts UpdateVideoInput() const;
  // Both audio lists, read and given back.
  Texts ReadAudioLists() const;
  // Properties and recorder for Settings(), up to the packet callback.
  Texts Configure(const std::vector<std::string>& tracks = {"Silence"}) const;
  Texts StartAndDestroyProperties() const;
  // The end of a session that has a recorder.
  Texts Destroy() const;
  // The end of a session that has none.
  Texts DestroySessionOnly() const;

  // All of a session without audio up to its start.
  Texts WholeStart() const;
};

// The capture settings of game mode for Settings().
std::string GameCaptureSettings();

// What the host is told of them.
std::string GameCaptureLine();

}  // namespace e2e
