#include "local_sentry/value_store.h"

#include <utility>

namespace local_sentry {

using json11::Json;

sentry_value_t ValueStore::New(const Json& content) {
  const std::lock_guard lock(mutex_);
  sentry_value_t value;
  value._bits = Insert(content, 0);
  return value;
}

bool ValueStore::SetByKey(sentry_value_t object, const std::string& key, sentry_value_t member) {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(object._bits);
  if (found == values_.end() || !found->second.is_object || !GivenByCaller(member._bits) ||
      Contains(member._bits, object._bits)) {
    return false;
  }
  const auto [place, is_new] = found->second.members.try_emplace(key, member._bits);
  if (!is_new) {
    Erase(place->second);
    place->second = member._bits;
  }
  values_[member._bits].owner = object._bits;
  return true;
}

std::optional<Json> ValueStore::Take(sentry_value_t value) {
  const std::lock_guard lock(mutex_);
  if (!GivenByCaller(value._bits)) return std::nullopt;
  const Json content = ToJson(value._bits);
  Erase(value._bits);
  return content;
}

Json ValueStore::Read(sentry_value_t value) const {
  const std::lock_guard lock(mutex_);
  return values_.contains(value._bits) ? ToJson(value._bits) : Json();
}

std::vector<Json> ValueStore::Owned() const {
  const std::lock_guard lock(mutex_);
  std::vector<Json> owned;
  for (const auto& [number, value] : values_) {
    if (value.owner == 0) owned.push_back(ToJson(number));
  }
  return owned;
}

// NOLINTBEGIN(misc-no-recursion): values are trees.

std::uint64_t ValueStore::Insert(const Json& content, std::uint64_t owner) {
  const std::uint64_t number = ++last_number_;
  Value value;
  value.owner = owner;
  value.is_object = content.is_object();
  if (value.is_object) {
    for (const auto& [key, member] : content.object_items()) {
      value.members[key] = Insert(member, number);
    }
  } else {
    value.content = content;
  }
  values_[number] = std::move(value);
  return number;
}

void ValueStore::Erase(std::uint64_t number) {
  const auto node = values_.extract(number);
  for (const auto& [key, member] : node.mapped().members) Erase(member);
}

bool ValueStore::GivenByCaller(std::uint64_t number) const {
  const auto found = values_.find(number);
  return found != values_.end() && found->second.owner == 0;
}

bool ValueStore::Contains(std::uint64_t tree, std::uint64_t number) const {
  while (number != 0 && number != tree) number = values_.at(number).owner;
  return number == tree;
}

Json ValueStore::ToJson(std::uint64_t number) const {
  const Value& value = values_.at(number);
  if (!value.is_object) return value.content;
  Json::object members;
  for (const auto& [key, member] : value.members) members[key] = ToJson(member);
  return members;
}

// NOLINTEND(misc-no-recursion)

}  // namespace local_sentry
