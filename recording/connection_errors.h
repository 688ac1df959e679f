// What the service does when an error ends the capture connection.
#pragma once

#include <atomic>
#include <cstdint>

#include "gsdk/gsdk_api.h"

namespace capture_service {

// The library's error callback; `user_data` is not used. Called on a library thread. Frees `error`.
// An exception ends the process rather than going on into the library.
void OnConnectionError(void* user_data, gsdk_error* error) noexcept;

// Restarts the recording or gives the service up, by the error's code, and frees the error last.
// `hook_inject_retries` counts the restarts for a failed hook injection.
void HandleConnectionError(gsdk_error* error, std::atomic<std::int32_t>& hook_inject_retries);

}  // namespace capture_service
