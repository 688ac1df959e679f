// The handles that the library hands out. A handle is a number in the shape of a pointer and is
// never used twice, so that a handle that was destroyed, made up or meant for something else is
// recognised instead of followed.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace open_gsdk {

// `Handle` is the opaque type of the interface, `Object` what stands behind it, and `kind` (1 to
// 15) differs between all tables of the library. Callable from any thread. An object lives until
// its handle was removed and the last caller that found it has let go of it.
template <typename Handle, typename Object, std::uintptr_t kind>
class HandleTable {
 public:
  static_assert(kind > 0 && kind < 16);

  Handle* Add(std::shared_ptr<Object> object) {
    const std::lock_guard lock(mutex_);
    const std::uintptr_t number = (++last_ << 4) | kind;
    objects_.emplace(number, std::move(object));
    return reinterpret_cast<Handle*>(number);  // NOLINT(performance-no-int-to-ptr)
  }

  // Null when the handle is not a live one of this table.
  std::shared_ptr<Object> Find(const Handle* handle) const {
    const std::lock_guard lock(mutex_);
    const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == objects_.end() ? nullptr : found->second;
  }

  // Ends the handle. The caller gets the object, or null as with Find.
  std::shared_ptr<Object> Remove(const Handle* handle) {
    const std::lock_guard lock(mutex_);
    const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == objects_.end()) return nullptr;
    std::shared_ptr<Object> object = std::move(found->second);
    objects_.erase(found);
    return object;
  }

  // Ends the handles of all objects for which `condition` is true.
  template <typename Condition>
  void RemoveIf(const Condition& condition) {
    const std::lock_guard lock(mutex_);
    std::erase_if(objects_, [&](const auto& entry) { return condition(*entry.second); });
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> objects_;
  std::uintptr_t last_ = 0;
};

}  // namespace open_gsdk
