// How an entry point turns what its function throws into the interface's way to fail.
#pragma once

#include <exception>
#include <string>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/handles.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {

// Runs `action`; when it throws, leaves an error object in `*error` (unless `error` is null) and
// returns false.
template <typename Action>
bool Try(gsdk_error** error, const Action& action) noexcept {
  const auto fail = [error](ErrorCode code, const char* message) {
    if (error != nullptr) *error = NewError(code, message);
    return false;
  };
  try {
    action();
    return true;
  } catch (const Failure& failure) {
    return fail(failure.code(), failure.what());
  } catch (const std::exception& other) {
    return fail(ErrorCode::kSystem, other.what());
  }
}

// The same for entry points that have no way to fail: the call has no effect then.
template <typename Action>
void Quietly(const Action& action) noexcept {
  Try(nullptr, action);
}

// Throws Failure for null.
inline void CheckArgument(const void* argument, const char* name) {
  if (argument == nullptr) {
    throw Failure(ErrorCode::kInvalidArgument, std::string(name) + " is null");
  }
}

// The object behind a handle; throws Failure when there is none.
template <typename Table, typename Handle>
auto FindOrThrow(const Table& table, const Handle* handle, const char* name) {
  auto object = table.Find(handle);
  if (!object) {
    throw Failure(ErrorCode::kInvalidHandle, std::string("this is no live ") + name + " handle");
  }
  return object;
}

}  // namespace open_gsdk
