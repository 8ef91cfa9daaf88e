#include "core/facade/api.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/py.h"

namespace kavel::facade {
namespace {

using runtime::Value;

py::object thing() { return py::module_::import("types").attr("SimpleNamespace")(); }

/// Makes a plain object for each part and notes in which order, and from what.
class FakeAssembly final : public Assembly {
 public:
  bool accepts_environment(const Value& environment) override {
    return environment.same(good_environment);
  }
  Value embed_checks(const Value& settings, const Value& checks) override {
    embedded_in = settings;
    embedded = checks;
    return directories;
  }
  Value make(Part part, std::span<const Value> arguments) override {
    if (part == failing) throw std::runtime_error("no such part");
    order.push_back(part);
    received[part] = std::vector<Value>(arguments.begin(), arguments.end());
    return made[part] = host::to_value(thing());
  }
  void delete_callbacks(const Value&) override {
    if (host_fails) throw std::runtime_error("the host fails");
    ++deletions;
  }

  Value good_environment = host::to_value(thing());
  Value directories = host::to_value(thing());
  Value embedded_in;
  Value embedded;
  std::vector<Part> order;
  std::map<Part, std::vector<Value>> received;
  std::map<Part, Value> made;
  std::optional<Part> failing;
  bool host_fails = false;
  int deletions = 0;
};

class ApiTest : public testing::Test {
 protected:
  void SetUp() override {
    api_ = runtime::make<Api>();
    face_ = host::expose(api_);
  }
  FakeAssembly assembly_;
  runtime::Ref<Api> api_;
  py::object face_;
  Api::Given given_{host::to_value(thing()), {}, host::to_value(thing()), host::to_value(thing())};
};

TEST_F(ApiTest, BuildsInOrderAndSharesTheEngine) {
  api_->build(given_, assembly_);
  const std::vector<Part> order = {Part::environment, Part::settings,      Part::statistics,
                                   Part::classes,     Part::virtual_scene, Part::hierarchy,
                                   Part::buffer,      Part::validator,     Part::exporter,
                                   Part::project,     Part::scene,         Part::http};
  EXPECT_EQ(assembly_.order, order);

  auto& made = assembly_.made;
  const Value self = host::to_value(face_);
  const Value& op = given_.operator_object;
  const Value& env = made[Part::environment];
  const Value& classes = made[Part::classes];
  const Value& snapshot = made[Part::virtual_scene];
  const Value& hierarchy = made[Part::hierarchy];
  const Value& buffer = made[Part::buffer];
  const std::map<Part, std::vector<Value>> expected = {
      {Part::environment, {}},
      {Part::settings, {env}},
      {Part::statistics, {env}},
      {Part::classes, {assembly_.directories}},
      {Part::virtual_scene, {op}},
      {Part::hierarchy, {snapshot, classes}},
      {Part::buffer, {op, snapshot, hierarchy}},
      {Part::validator, {self, op, classes, hierarchy, buffer}},
      {Part::exporter, {self, op, buffer, given_.export_options}},
      {Part::project, {self, hierarchy}},
      {Part::scene, {self, op, snapshot, hierarchy, buffer}},
      {Part::http, {self}},
  };
  for (const auto& [part, arguments] : expected) {
    const auto& received = assembly_.received.at(part);
    ASSERT_EQ(received.size(), arguments.size()) << static_cast<int>(part);
    for (std::size_t index = 0; index < arguments.size(); ++index) {
      EXPECT_TRUE(received[index].same(arguments[index]))
          << "argument " << index << " of part " << static_cast<int>(part);
    }
  }
  EXPECT_TRUE(assembly_.embedded_in.same(made[Part::settings]));
  EXPECT_TRUE(assembly_.embedded.same(given_.checks));
  EXPECT_TRUE(api_->http.same(made[Part::http]));
}

TEST_F(ApiTest, KeepsAValidEnvironment) {
  given_.environment = assembly_.good_environment;
  api_->build(given_, assembly_);
  EXPECT_TRUE(api_->environment.same(assembly_.good_environment));
  EXPECT_FALSE(assembly_.received.contains(Part::environment));
}

TEST_F(ApiTest, NothingIsKeptWhenAPartFails) {
  assembly_.failing = Part::project;
  EXPECT_THROW(api_->build(given_, assembly_), std::runtime_error);
  EXPECT_FALSE(api_->validator);
  EXPECT_FALSE(api_->operator_object);
}

TEST_F(ApiTest, ShutdownAsksTheHostFirst) {
  api_->build(given_, assembly_);
  api_->callbacks->lists.back()->add(host::to_value(thing()));
  assembly_.host_fails = true;
  EXPECT_THROW(api_->shutdown(assembly_), std::runtime_error);
  EXPECT_EQ(api_->callbacks->lists.back()->handlers->items.size(), 1U);
  assembly_.host_fails = false;
  api_->shutdown(assembly_);
  api_->shutdown(assembly_);
  EXPECT_EQ(assembly_.deletions, 2) << "a second call asks the host again";
  EXPECT_TRUE(api_->callbacks->lists.back()->handlers->items.empty());
}

}  // namespace
}  // namespace kavel::facade
