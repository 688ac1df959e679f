#include "recording/session_state.h"

namespace capture_service {

SessionState& Session() {
  static auto& session = *new SessionState;
  return session;
}

}  // namespace capture_service
