// What accompanies an event: the user, the tags and the latest breadcrumbs.
#pragma once

#include <cstddef>
#include <deque>
#include <json11.hpp>
#include <string>

namespace local_sentry {

struct Scope {
  json11::Json user;
  json11::Json::object tags;
  std::deque<json11::Json> breadcrumbs;  // oldest first

  // Drops the oldest breadcrumbs beyond `limit`.
  void AddBreadcrumb(json11::Json breadcrumb, std::size_t limit) {
    breadcrumbs.push_back(std::move(breadcrumb));
    while (breadcrumbs.size() > limit) breadcrumbs.pop_front();
  }

  // Adds "user" (if there is one), "tags" and "breadcrumbs" to `line`.
  void AddTo(json11::Json::object& line) const {
    if (!user.is_null()) line["user"] = user;
    line["tags"] = tags;
    line["breadcrumbs"] = json11::Json::array(breadcrumbs.begin(), breadcrumbs.end());
  }
};

}  // namespace local_sentry
