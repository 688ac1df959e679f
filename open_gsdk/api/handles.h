// The process's tables of live handles. They are never destroyed, because library threads and the
// host may use them while the process ends.
#pragma once

#include <cstddef>
#include <string>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/handle_table.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {

class Recorder;
class Session;
struct SessionProperties;

struct Error {
  ErrorCode code;
  std::string message;
};

// Belongs to a session, and its handle goes with it.
struct AudioInput {
  const Session* session;
  std::size_t number;  // counted in the order in which the session's inputs were added
};

using SessionTable = HandleTable<gsdk_session, Session, 1>;
using PropertiesTable = HandleTable<gsdk_properties, SessionProperties, 2>;
using RecorderTable = HandleTable<gsdk_recorder, Recorder, 3>;
using ErrorTable = HandleTable<gsdk_error, const Error, 4>;
using PacketTable = HandleTable<gsdk_encoded_packet, const EncodedPacket, 5>;
using AudioInputTable = HandleTable<gsdk_audio_input, const AudioInput, 6>;

SessionTable& Sessions();
PropertiesTable& Properties();
RecorderTable& Recorders();
ErrorTable& Errors();
PacketTable& Packets();
AudioInputTable& AudioInputs();

// An error object for the caller, who frees it; null when memory runs out.
gsdk_error* NewError(ErrorCode code, const std::string& message) noexcept;

}  // namespace open_gsdk
