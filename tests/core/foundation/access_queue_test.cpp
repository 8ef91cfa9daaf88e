// The access queue under a clock that only moves when it is asked to sleep.
#include "core/foundation/access_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "core/foundation/bulk_read.h"
#include "core/foundation/bulk_turns.h"
#include "core/foundation/document.h"
#include "core/foundation/errors.h"
#include "core/foundation/file_name.h"
#include "core/foundation/json_file.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

namespace fs = std::filesystem;

class FakeSystem final : public runtime::System {
 public:
  explicit FakeSystem(runtime::System& real) : real_(real) {}

  double time() override { return real_.time(); }
  double monotonic() override { return clock += step; }
  void sleep(double seconds) override {
    slept += seconds;
    if (on_sleep) on_sleep();
  }
  std::optional<std::string> variable(const std::string& name) override {
    return real_.variable(name);
  }
  void set_variable(const std::string&, const std::string&) override {}
  std::string platform_name() override { return ""; }
  std::string platform_release() override { return ""; }
  std::string random_stamp() override { return real_.random_stamp(); }
  /// Tickets 1, 2, 3...
  double random() override { return ++tickets * 1.0000001e-9; }

  std::function<void()> on_sleep;
  double slept = 0;
  double clock = 0;
  /// Seconds between two looks at the clock.
  double step = 0;
  int tickets = 0;

 private:
  runtime::System& real_;
};

class CollectedLog final : public runtime::Log {
 public:
  void write(runtime::LogLevel, const std::string& message) override { entries.push_back(message); }
  std::vector<std::string> entries;
};

class AccessQueueTest : public testing::Test {
 protected:
  AccessQueueTest() : system_(*runtime::services().system), services_(replaced()) {
    fs::create_directory(folder_);
  }
  ~AccessQueueTest() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_ / name; }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name)) << content;
  }
  [[nodiscard]] std::vector<std::string> names() const {
    return runtime::services().files->list(folder_);
  }

  const fs::path folder_ =
      fs::temp_directory_path() / ("kavel-" + runtime::services().system->random_stamp());
  FakeSystem system_;
  CollectedLog log_;

 private:
  runtime::Services replaced() {
    runtime::Services services = runtime::services();
    services.system = &system_;
    services.log = &log_;
    return services;
  }
  runtime::ScopedServices services_;
};

TEST_F(AccessQueueTest, WhoWasSlowToQueueDoesNotOvertake) {
  write("a.json", "{}");
  // Our ticket is 1; the editor with ticket 2 may have begun its turn before ours was there.
  system_.step = 0.06;
  AccessQueue queue(path("a.json"));
  int pauses = 0;
  bool was_inside = false;
  system_.on_sleep = [&] {
    ++pauses;
    if (pauses == 1) write("a.json.id.2", "");
    if (pauses == 2) was_inside = fs::exists(queue.path_id());
    if (pauses == 2) system_.step = 0;
    if (pauses == 4) fs::remove(path("a.json.id.2"));
    if (pauses == 4) fs::remove(path("a.json.lock"));
  };
  queue.enter();
  EXPECT_FALSE(was_inside) << "the place was not given back";
  EXPECT_EQ(pauses, 5) << "it waits for the lock, then makes its ticket anew";
  queue.leave();
  EXPECT_EQ(names(), std::vector<std::string>{"a.json"});
}

TEST_F(AccessQueueTest, WhoWasSlowStaysWhenNobodyCanBeOvertaken) {
  write("a.json", "{}");
  write("a.json.id.0", "");
  system_.step = 1;
  AccessQueue queue(path("a.json"));
  system_.on_sleep = [&] {
    if (system_.slept > 0.25) fs::remove(path("a.json.id.0"));
  };
  queue.enter();
  EXPECT_NEAR(system_.slept, 0.3, 1e-9);
  queue.leave();
}

TEST_F(AccessQueueTest, ManyFilesCostHardlyMoreThanOneTurn) {
  std::vector<std::string> paths;
  for (int index = 0; index < 200; ++index) {
    const std::string name = "p" + std::to_string(index) + ".json";
    write(name, "{\"index\": " + std::to_string(index) + "}");
    paths.push_back(path(name));
  }
  write("p7.json", "{broken");
  write("p8.json", "[1]");
  fs::remove(path("p9.json"));
  const auto documents = read_documents(paths, {"Corrupted {}", "Incompatible {}"});
  ASSERT_EQ(documents.size(), 200U);
  EXPECT_LE(system_.slept, 0.3 + 1e-9) << "three turns";
  for (int index = 0; index < 200; ++index) {
    const bool usable = index < 7 || index > 9;
    const Document& read = documents[static_cast<std::size_t>(index)];
    EXPECT_EQ(read.state, usable      ? Document::State::usable
                          : index < 9 ? Document::State::unusable
                                      : Document::State::missing);
    EXPECT_EQ(read.content, usable ? Json(Json::Map{{"index", index}}) : Json(Json::Map()));
  }
  EXPECT_EQ(log_.entries, (std::vector<std::string>{"Corrupted " + path("p7.json"),
                                                    "Incompatible " + path("p8.json")}));
  EXPECT_EQ(names().size(), 199U) << "198 files left, the folder of unusable ones, no markers";
}

TEST_F(AccessQueueTest, WorkOnFilesGoesOnWithoutTheOnesThatFail) {
  std::vector<std::string> paths;
  for (int index = 0; index < 1200; ++index) paths.push_back(path(std::to_string(index) + ".json"));
  paths[7] = path("none/7.json");
  std::ptrdiff_t most_waiting = 0;
  system_.on_sleep = [&] {
    const auto waiting = std::ranges::count_if(
        names(), [](const std::string& name) { return name.ends_with(".lock"); });
    most_waiting = std::max(most_waiting, waiting);
  };
  const auto failures = run_in_turns(paths, [&](std::size_t index, AccessQueue& turn) {
    if (index == 3) throw Error(ErrorKind::value, "no work today");
    std::ofstream(turn.path()) << index;
  });
  ASSERT_EQ(failures.size(), paths.size());
  for (std::size_t index = 0; index < paths.size(); ++index) {
    EXPECT_EQ(failures[index] != nullptr, index == 3 || index == 7) << index;
  }
  EXPECT_TRUE(runtime::services().faults->is(failures[3], "ValueError"));
  EXPECT_TRUE(runtime::services().faults->is(failures[7], "FileNotFoundError"));
  EXPECT_EQ(names().size(), 1198U) << "a file for each of the others, no markers";
  EXPECT_LE(system_.slept, 0.4 + 1e-9) << "overlapping turns";
  EXPECT_LE(most_waiting, 500) << "else the last tickets may be too old when their turns come";
}

TEST_F(AccessQueueTest, NoTicketGrowsOldOnASlowShare) {
  std::vector<std::string> paths;
  for (int index = 0; index < 300; ++index) paths.push_back(path(std::to_string(index) + ".json"));
  double began = 0;
  double oldest = 0;
  system_.on_sleep = [&] { began = system_.clock; };
  const auto failures = run_in_turns(paths, [&](std::size_t, AccessQueue&) {
    oldest = std::max(oldest, system_.clock - began);
    system_.clock += 0.5;
  });
  EXPECT_EQ(failures, std::vector<std::exception_ptr>(paths.size()));
  EXPECT_LT(oldest, AccessQueue::kLifeDurationThreshold);
}

TEST_F(AccessQueueTest, AFileThatIsNamedTwiceHasOneTurnAfterTheOther) {
  write("a.json", "0");
  std::vector<double> moments;
  const auto failures =
      run_in_turns({path("a.json"), path("a.json")}, [&](std::size_t, AccessQueue& turn) {
        moments.push_back(system_.slept);
        EXPECT_EQ(read_json(turn.path()), turn.read());
      });
  EXPECT_FALSE(failures[0] || failures[1]);
  ASSERT_EQ(moments.size(), 2U);
  EXPECT_LT(moments[0], moments[1]);
  EXPECT_EQ(names(), std::vector<std::string>{"a.json"});
}

TEST_F(AccessQueueTest, OneBlockedFileDoesNotHoldTheOthersUp) {
  write("a.json", "{}");
  write("b.json", "{}");
  write("a.json.lock", "");
  const auto contents = read_in_turns({path("a.json"), path("b.json"), path("none/c.json")});
  EXPECT_TRUE(runtime::services().faults->is(contents[0].error, "Exception"));
  EXPECT_FALSE(contents[1].error);
  EXPECT_TRUE(runtime::services().faults->is(contents[2].error, "FileNotFoundError"));
  EXPECT_NEAR(system_.slept, 30, 0.5);
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json", "a.json.lock", "b.json"}));
}

TEST_F(AccessQueueTest, AnInterruptGivesEveryPlaceUp) {
  write("a.json", "{}");
  write("b.json", "{}");
  system_.on_sleep = [] {
    PyErr_SetNone(PyExc_KeyboardInterrupt);
    throw py::error_already_set();
  };
  EXPECT_THROW((void)read_in_turns({path("a.json"), path("b.json")}), py::error_already_set);
  EXPECT_THROW(AccessQueue(path("a.json")).enter(), py::error_already_set);
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json", "b.json"}));
}

TEST_F(AccessQueueTest, ADocumentReplacesWhatCannotBeParsed) {
  write("a.json", "{broken");
  write_document(path("a.json"), Json::Map{{"new", true}});
  EXPECT_EQ(read_document(path("a.json"), {}).content, Json(Json::Map{{"new", true}}));
  EXPECT_EQ(runtime::services().files->list(path(".corrupted")).size(), 1U);
  EXPECT_THROW(write_document(path("none/a.json"), {}), Error);
}

TEST(FileName, SafeOnesNameOneJsonFileOnEverySystem) {
  const std::string longest = std::string(195, 'a') + ".json";
  for (const std::string& name : {std::string("a.json"), std::string("рука 1.json"), longest,
                                  std::string("console.json"), std::string("a.json.id.x.json")}) {
    EXPECT_TRUE(is_safe_filename(name)) << name;
  }
  for (const std::string& name :
       {std::string(), std::string(".json"), std::string(".."), "a" + longest,
        std::string("a.JSON"), std::string("a.json "), std::string("../a.json"),
        std::string("b/a.json"), std::string("b\\a.json"), std::string("c:a.json"),
        std::string("a\0.json", 7), std::string("a\n.json"), std::string("a\u0085.json"),
        std::string("a\xed\xa0\x80.json"), std::string("CON.json"), std::string("con .x.json"),
        std::string("Lpt9.json"), std::string("com\u00b9.json"), std::string("a_json.id.1.json")}) {
    EXPECT_FALSE(is_safe_filename(name)) << name;
  }
}

}  // namespace
}  // namespace kavel::foundation
