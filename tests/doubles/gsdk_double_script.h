// What the scripted capture library is told to do. The script is a JSON file whose path stands in
// the environment variable GSDK_DOUBLE_SCRIPT; without one every call succeeds, the lists are
// empty, dumps succeed with zero figures and no packet ever arrives.
//
//   {
//     "log_packets": 3,                  // how many packets have their calls logged (default 3)
//     "random_delay": { "seed": 7, "most_us": 20000 },  // each call that can have a rule, and each
//                                        // dump, takes a random time up to this one
//     "calls": {                         // rules by entry point
//       "gsdk_session_create": [
//         { "n": 1,                      // the call it applies to, counted from 1; without: each
//           "code": 15,                  // fail with this code ...
//           "message": "no encoder",     // ... and message; null makes gsdk_err_message give null
//           "error_object": false,       // fail without an error object
//           "log": ["text", null],       // lines for the log callback, on the calling thread
//           "wait_file": "go",           // do not return before this file exists
//           "sleep_ms": 100,
//           "hang": true } ] },          // never return
//     "lists": { "monitor": ["text of the first answer", null, "text of all later ones"] },
//     "dumps": [                         // the n-th dump; the last entry serves all later ones
//       { "status": 0, "duration": "1999999", "last_timestamp": -5, "audio_drop": 0,
//         "video_drop": 0, "hdr": 1,     // 64-bit numbers may be given as texts
//         "write": "bytes for the file", "wait_file": "go", "sleep_ms": 100 } ],
//     "sessions": [                      // the n-th started session; the last serves later ones
//       { "threads": [                   // each list of steps runs on a thread of its own
//           { "survives_destroy": false, // true: goes on when the session is destroyed
//             "steps": [
//               { "sleep_ms": 10 },
//               { "wait_file": "go" },
//               { "packets": 5, "interval_us": 1000 },           // -1: for ever
//               { "log": "text", "level": 1, "count": 1, "interval_us": 0,
//                 "numbered": false },   // true: a blank and the line's number follow, from 1
//               { "error": 8, "message": "text", "error_object": true, "count": 1,
//                 "interval_us": 0 },
//               { "loader_lock_ms": 100 },      // keeps the system's loader busy
//               { "account": true } ] } ] } ],  // writes the figures kept so far into the log
//     "unload": [ { "error": 8 } ]       // steps taken on the thread whose FreeLibrary unloads the
//   }                                    // library
//
// Files that are waited for are looked up beside the script.
#pragma once

#include <chrono>
#include <cstdint>
#include <json11.hpp>
#include <optional>
#include <string>

namespace gsdk_double {

// The rule for one call of an entry point.
struct CallRule {
  json11::Json json;  // an object, or null when the script has no rule for the call

  bool Fails() const { return json["code"].is_number(); }
};

// Counts a call of `name` and gives the rule for it. Any thread.
CallRule NextRule(const std::string& name);

// The text for the next answer to gsdk_input_properties of `kind`; nothing means a null text.
std::optional<std::string> NextList(const std::string& kind);

// The entry for the next dump and the next started session; null without one.
json11::Json NextDump();
json11::Json NextSession();

// The steps to take when the library is unloaded; null without any.
const json11::Json& UnloadSteps();

// How long the next call takes at random; 0 when the script does not say. Any thread.
std::chrono::microseconds NextRandomDelay();

// How many packets have their calls logged.
std::uint64_t LoggedPackets();

// Whether `name` exists beside the script.
bool ScriptFileExists(const std::string& name);

// A 64-bit number given as a number or as a text.
std::int64_t ReadInt64(const json11::Json& value);

}  // namespace gsdk_double
