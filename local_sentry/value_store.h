// The values that callers of the Sentry interface build: numbered trees of texts and objects, with
// exactly one owner each. A value that is handed on or made a member passes to its new owner;
// using it up, or its owner, ends it. Numbers are never used twice, so a value that is used after
// its end, or given away twice, is noticed.
#pragma once

#include <cstdint>
#include <json11.hpp>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/sentry_sdk.h"

namespace local_sentry {

// All members may be called on any thread.
class ValueStore {
 public:
  // A new value that its caller owns: an object whose members come from `content`, or any other
  // JSON value, which then can't be given members.
  sentry_value_t New(const json11::Json& content);

  // Makes `member`, which its caller gives away, a member of `object` in place of an earlier one of
  // that key. False, without an effect on either, when `object` is no live object or `member` is
  // not its caller's to give, or holds `object` itself.
  bool SetByKey(sentry_value_t object, const std::string& key, sentry_value_t member);

  // Uses up a value that its caller gives away and returns its content; none when it isn't the
  // caller's to give.
  std::optional<json11::Json> Take(sentry_value_t value);

  // The content of a live value, null for any other.
  [[nodiscard]] json11::Json Read(sentry_value_t value) const;

  // The contents of the values that nobody has given away, oldest first.
  [[nodiscard]] std::vector<json11::Json> Owned() const;

 private:
  struct Value {
    json11::Json content;                          // of a value that is no object
    std::map<std::string, std::uint64_t> members;  // of an object
    bool is_object = false;
    std::uint64_t owner = 0;  // the object that it is a member of; 0 for the caller
  };

  std::uint64_t Insert(const json11::Json& content, std::uint64_t owner);
  void Erase(std::uint64_t number);
  [[nodiscard]] bool GivenByCaller(std::uint64_t number) const;
  [[nodiscard]] bool Contains(std::uint64_t tree, std::uint64_t number) const;
  [[nodiscard]] json11::Json ToJson(std::uint64_t number) const;

  mutable std::mutex mutex_;
  std::map<std::uint64_t, Value> values_;
  std::uint64_t last_number_ = 0;
};

}  // namespace local_sentry
