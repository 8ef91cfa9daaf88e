#include "core/foundation/json.h"

#include <gtest/gtest.h>
#include <pybind11/eval.h>

#include <cmath>
#include <limits>

#include "host/py.h"

namespace kavel::foundation {
namespace {

TEST(Json, EqualityIsTheInterpreters) {
  const Json wide = Json::Map{{"a", 1}, {"b", Json::Array{1.5, nullptr, "x"}}};
  const Json turned = Json::Map{{"b", Json::Array{1.5, nullptr, "x"}}, {"a", 1}};
  EXPECT_EQ(wide, turned) << "the order of keys must not count";

  struct Case {
    Json left;
    Json right;
    bool equal;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Case cases[] = {
      {1, 1.0, true},
      {true, 1, true},
      {false, 0.0, true},
      {"1", 1, false},
      {nullptr, false, false},
      {nullptr, nullptr, true},
      {nan, nan, false},
      {Json::Array{1, 2}, Json::Array{2, 1}, false},
      {Json::Array{}, Json::Map{}, false},
      {Json::Map{{"a", nullptr}}, Json::Map{{"b", nullptr}}, false},
      {Json::Map{{"a", 1}}, Json::Map{{"a", 1}, {"b", 1}}, false},
      {Json::BigInteger{"18446744073709551616"}, Json::BigInteger{"18446744073709551616"}, true},
  };
  for (const Case& item : cases) {
    const py::object left = host::from_json(item.left);
    const py::object right = host::from_json(item.right);
    EXPECT_EQ(item.left == item.right, item.equal)
        << host::from_text(py::repr(left)) << " and " << host::from_text(py::repr(right));
    EXPECT_EQ(left.equal(right), item.equal) << "the table is wrong about the interpreter";
  }
}

TEST(Json, SetKeepsThePlaceOfAKnownKey) {
  Json json;
  json.set("first", 1).set("second", 2).set("first", 3);
  ASSERT_EQ(json.map()->size(), 2U);
  EXPECT_EQ(json.map()->front(), (std::pair<std::string, Json>{"first", 3}));
}

TEST(Json, DefaultsCoverMissingAndWrongTypes) {
  const Json json = Json::Map{{"text", "x"}, {"number", 1}, {"flag", true}};
  EXPECT_EQ(json.text_or("number", "fallback"), "fallback");
  EXPECT_EQ(json.text_or("text", "fallback"), "x");
  EXPECT_EQ(json.optional_text("missing"), std::nullopt);
  EXPECT_FALSE(json.boolean_or("number", false)) << "1 is no flag";
  EXPECT_TRUE(json.boolean_or("flag", false));
  EXPECT_EQ(Json("text").find("key"), nullptr);
}

TEST(Json, CrossesTheHostUnchanged) {
  const py::object source = py::eval(
      "{'deep': [{'x': None}], 'big': 2 ** 80, 'small': -2 ** 63, 'lone': 'a\\ud800b',"
      " 'real': 0.1, 'flag': True}");
  const Json json = host::to_json(source);
  EXPECT_TRUE(host::from_json(json).equal(source));
  EXPECT_EQ(json.map()->front().first, "deep");

  py::list nested;
  for (int depth = 0; depth < 2000; ++depth) {
    py::list outer;
    outer.append(nested);
    nested = outer;
  }
  EXPECT_THROW((void)host::to_json(nested), std::exception) << "must be refused, not overflow";
}

}  // namespace
}  // namespace kavel::foundation
