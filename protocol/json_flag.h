// JSON's true and false for texts that are built while the process ends.
#pragma once

#include <json11.hpp>

namespace capture_service {

// A value that is there from before main until the process is gone. json11 makes Json(true) and
// Json(false) from static objects of its own, which are destroyed while threads of the capture
// library and the clip thread still run; a copy of this one touches none of them. Any thread.
const json11::Json& JsonFlag(bool value);

}  // namespace capture_service
