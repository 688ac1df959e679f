#include "local_sentry/value_store.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace local_sentry {
namespace {

using json11::Json;

TEST(ValueStore, GivesBackWhatWasBuilt) {
  ValueStore store;
  const sentry_value_t event = store.New(Json::object{{"level", "error"}});
  const sentry_value_t exception = store.New(Json::object{});

  EXPECT_TRUE(store.SetByKey(exception, "type", store.New("Error 4")));
  EXPECT_TRUE(store.SetByKey(event, "exception", exception));
  EXPECT_TRUE(store.SetByKey(exception, "value", store.New("late")));  // still reachable

  const Json expected = Json::object{
      {"exception", Json::object{{"type", "Error 4"}, {"value", "late"}}}, {"level", "error"}};
  EXPECT_EQ(store.Read(event), expected);
  EXPECT_EQ(store.Take(event), std::optional(expected));
  EXPECT_EQ(store.Owned(), std::vector<Json>{});
}

TEST(ValueStore, EndsAMemberThatIsReplaced) {
  ValueStore store;
  const sentry_value_t object = store.New(Json::object{});
  const sentry_value_t first = store.New("first");
  store.SetByKey(object, "key", first);

  EXPECT_TRUE(store.SetByKey(object, "key", store.New("second")));

  EXPECT_EQ(store.Read(object), Json(Json::object{{"key", "second"}}));
  EXPECT_EQ(store.Read(first), Json());
}

TEST(ValueStore, NoticesAValueThatIsGivenAwayTwice) {
  ValueStore store;
  const sentry_value_t value = store.New("once");
  EXPECT_EQ(store.Take(value), std::optional(Json("once")));
  EXPECT_EQ(store.Take(value), std::nullopt);
  EXPECT_FALSE(store.SetByKey(store.New(Json::object{}), "key", value));
}

TEST(ValueStore, NoticesAMemberThatIsGivenAway) {
  ValueStore store;
  const sentry_value_t object = store.New(Json::object{});
  const sentry_value_t member = store.New("member");
  store.SetByKey(object, "key", member);

  EXPECT_EQ(store.Take(member), std::nullopt);
  EXPECT_FALSE(store.SetByKey(store.New(Json::object{}), "other", member));
  EXPECT_EQ(store.Read(object), Json(Json::object{{"key", "member"}}));
}

TEST(ValueStore, EndsTheMembersWithTheirOwner) {
  ValueStore store;
  const sentry_value_t object = store.New(Json::object{});
  const sentry_value_t member = store.New(Json::object{});
  store.SetByKey(object, "key", member);

  store.Take(object);

  EXPECT_EQ(store.Read(member), Json());
  EXPECT_FALSE(store.SetByKey(member, "key", store.New("text")));
}

TEST(ValueStore, RefusesMembersWhereNoneCanBe) {
  ValueStore store;
  const sentry_value_t text = store.New("text");
  const sentry_value_t object = store.New(Json::object{});
  const sentry_value_t inner = store.New(Json::object{});
  store.SetByKey(object, "inner", inner);

  EXPECT_FALSE(store.SetByKey(text, "key", object));
  EXPECT_FALSE(store.SetByKey(object, "self", object));
  EXPECT_FALSE(store.SetByKey(inner, "outer", object));
  EXPECT_FALSE(store.SetByKey(sentry_value_t{}, "key", object));
  EXPECT_FALSE(store.SetByKey(object, "key", sentry_value_t{}));
  EXPECT_EQ(store.Owned(), (std::vector<Json>{"text", Json::object{{"inner", Json::object{}}}}));
}

TEST(ValueStore, ListsWhatNobodyGaveAway) {
  ValueStore store;
  store.New("first");
  store.Take(store.New("taken"));
  store.New(Json::object{{"key", "second"}});
  EXPECT_EQ(store.Owned(), (std::vector<Json>{"first", Json::object{{"key", "second"}}}));
}

}  // namespace
}  // namespace local_sentry
