#include "open_gsdk/session/own_thread.h"

#include <utility>

namespace open_gsdk {
namespace {

thread_local bool is_own_thread = false;

}  // namespace

std::thread StartOwnThread(std::function<void()> body) {
  return std::thread([body = std::move(body)] {
    is_own_thread = true;
    body();
  });
}

bool IsOwnThread() { return is_own_thread; }

}  // namespace open_gsdk
