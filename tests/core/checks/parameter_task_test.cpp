#include "core/checks/parameter_task.h"

#include <gtest/gtest.h>

#include "core/checks/scalar_input.h"

namespace kavel::checks {
namespace {

Ref<Switch> flag(const char* attr, bool enabled = false) {
  return Ref<Switch>(new Switch({.attr = attr, .label = attr, .help_text = ""}, enabled));
}

Switch& own(const Ref<ParameterTask>& task, const char* attr) {
  return dynamic_cast<Switch&>(*task->find(attr));
}

Ref<ParameterTask> two_switches() {
  return runtime::make<ParameterTask>(
      Slots{{.input = flag("a"), .other = {}}, {.input = flag("b", true), .other = {}}}, true);
}

TEST(ParameterTask, CopiesShareUntilOneIsChanged) {
  const Ref<ParameterTask> task = two_switches();
  const Ref<ParameterTask> copy = task->clone();
  EXPECT_EQ(copy->original(), task->original());
  EXPECT_TRUE(copy->as_info);
  own(copy, "a").set_enabled(true);
  EXPECT_FALSE(own(task, "a").is_enabled());
  // A copy of the changed one has its values and does not follow it any more.
  const Ref<ParameterTask> later = copy->clone();
  own(copy, "a").set_enabled(false);
  EXPECT_TRUE(own(later, "a").is_enabled());
}

TEST(ParameterTask, TheGivenInputsAreNotItsOwn) {
  const Ref<Switch> given = flag("a");
  const auto task = runtime::make<ParameterTask>(Slots{{.input = given, .other = {}}});
  given->set_enabled(true);
  EXPECT_FALSE(own(task, "a").is_enabled());
}

TEST(ParameterTask, LoadsWhatItCanAndKeepsTheFirstError) {
  const Ref<ParameterTask> task = two_switches();
  task->load(Json::Map{{"gone", Json::Map{}},
                       {"b", Json::Map{{"enabled", "yes"}}},
                       {"a", Json::Map{{"enabled", true}}}});
  EXPECT_TRUE(own(task, "a").is_enabled());
  EXPECT_TRUE(own(task, "b").is_enabled());
  EXPECT_EQ(task->load_errors().size(), 2U);
  EXPECT_ANY_THROW(task->assert_no_errors());
  EXPECT_ANY_THROW(task->clone()->assert_no_errors());
}

TEST(ParameterTask, TheFirstOfEqualNamesAnswers) {
  const auto task = runtime::make<ParameterTask>(
      Slots{{.input = flag("a", true), .other = {}}, {.input = flag("a"), .other = {}}});
  EXPECT_TRUE(own(task, "a").is_enabled());
  EXPECT_ANY_THROW(task->assert_no_errors());
}

}  // namespace
}  // namespace kavel::checks
