// The loader over modules and classes that need no Python source.
#include "core/checks/class_loader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "core/runtime/services.h"
#include "host/py.h"

namespace kavel::checks {
namespace {

namespace fs = std::filesystem;
using Outcome = ClassReport::Outcome;

struct Described {
  std::string name;
  std::string class_id;
  std::string category = "Mesh";
  double sort_index = 0;
  std::size_t lineage = 4;
  /// Raises when it is asked for its identity.
  bool raises = false;
  Value object = host::to_value(py::dict());
};

class FakeClass final : public CheckClassPort, public foundation::Probe {
 public:
  explicit FakeClass(const Described& content) : content_(&content) {}

  const Value& object() const noexcept override { return content_->object; }
  std::string source_name() const override { return content_->name; }
  std::string class_id() const override { return content_->class_id; }
  std::string short_name() const override { return content_->name; }
  std::string description() const override { return ""; }
  std::string category() const override { return content_->category; }
  double sort_index() const override { return content_->sort_index; }
  bool scene_oriented() const override { return false; }
  Ref<Block> parameters() const override { return nullptr; }
  std::size_t lineage() const override { return content_->lineage; }
  std::unique_ptr<foundation::Probe> probe() const override {
    return std::make_unique<FakeClass>(*content_);
  }

  foundation::Answer attribute(const std::string& name) override {
    using foundation::Answer;
    if (content_->raises) throw foundation::Error(foundation::ErrorKind::value, "no answer");
    if (name == "class_id") return content_->class_id.empty() ? Answer::empty_text : Answer::text;
    return name == "sort_index" ? Answer::finite_number : Answer::text;
  }
  foundation::Answer call(const std::string&, const std::optional<std::string>&) override {
    return foundation::Answer::parameter_block;
  }

 private:
  const Described* content_;
};

/// The modules of each folder; a module's object is its name.
class FakeModules final : public runtime::Modules {
 public:
  void refresh() override {}
  std::vector<runtime::ModuleEntry> list(const std::string& directory) override {
    return folders[fs::path(directory).filename().string()];
  }
  std::string file(const runtime::ModuleEntry& entry) override { return entry.name + ".py"; }
  Value load(const runtime::ModuleEntry& entry, std::vector<Value>&) override {
    if (entry.name == "broken") {
      throw foundation::Error(foundation::ErrorKind::value, "a bad line");
    }
    return host::to_value(host::to_text(entry.name));
  }
  void forget(const std::vector<Value>&) override {}
  void restore(const std::vector<Value>&) override {}

  std::map<std::string, std::vector<runtime::ModuleEntry>> folders;
};

runtime::ModuleEntry module(const char* name) {
  return {.name = name, .is_package = false, .importer = {}};
}
runtime::ModuleEntry package(const char* name) {
  return {.name = name, .is_package = true, .importer = {}};
}

class FakeSource final : public ClassSource {
 public:
  void each_reference(runtime::ReferenceVisitor&) const override {}
  void drop_references() noexcept override {}
  Value object() const override { return {}; }
  std::vector<CheckFolder> folders() override { return {}; }
  std::vector<std::unique_ptr<CheckClassPort>> check_classes(const Value& module) override {
    std::vector<std::unique_ptr<CheckClassPort>> result;
    for (const Described& each : classes[host::from_text(host::from_value(module))]) {
      result.push_back(std::make_unique<FakeClass>(each));
    }
    return result;
  }

  std::map<std::string, std::vector<Described>> classes;
};

class QuietLog final : public runtime::Log {
 public:
  void write(runtime::LogLevel, const std::string&) override {}
};

class ClassLoaderTest : public testing::Test {
 protected:
  ClassLoaderTest() {
    runtime::Services replacement = runtime::services();
    replacement.modules = &modules;
    replacement.log = &log;
    scope.emplace(replacement);
    fs::create_directories(root / "inner");
  }
  ~ClassLoaderTest() override { fs::remove_all(root); }

  void search(bool enabled = true) {
    loader.search({.path = root.string(), .enabled = enabled, .object = {}});
  }
  /// "name:outcome" of every note, folders and modules under their own names.
  std::vector<std::string> notes() const {
    std::vector<std::string> result;
    for (const auto& each : loader.report) {
      const ClassReport::Note& note = each->note;
      const std::string folder = fs::path(note.file).filename().string();
      const std::string& name = !note.class_name.empty() ? note.class_name
                                : !note.module.empty()   ? note.module
                                                         : folder;
      result.push_back(name + ":" + note.outcome);
    }
    return result;
  }
  std::vector<std::string> ids() const {
    std::vector<std::string> result;
    for (const auto& [id, object] : loader.sorted()) result.push_back(id);
    return result;
  }

  const fs::path root =
      fs::temp_directory_path() / ("kavel-loader-" + runtime::services().system->random_stamp());
  FakeModules modules;
  FakeSource source;
  QuietLog log;
  std::optional<runtime::ScopedServices> scope;
  std::vector<Value> registered;
  ClassLoader loader{source, registered};
};

using Texts = std::vector<std::string>;

TEST_F(ClassLoaderTest, SaysWhatBecameOfEveryFileAndClass) {
  const std::string folder = root.filename().string();
  modules.folders[folder] = {module("broken"), module("good"), package("inner")};
  // A package whose link leads back to the folder it stands in.
  fs::create_directory_symlink(root, root / "inner" / "again");
  modules.folders["inner"] = {package("again"), module("late")};
  modules.folders["again"] = modules.folders[folder];
  source.classes["good"] = {{.name = "First", .class_id = "one"},
                            {.name = "Base", .class_id = "base", .lineage = 3},
                            {.name = "Nameless", .class_id = ""},
                            {.name = "Raising", .class_id = "raising", .raises = true}};
  source.classes["late"] = {{.name = "Second", .class_id = "one"}, source.classes["good"][0]};
  search();
  EXPECT_EQ(notes(), (Texts{"broken:failed", "good:loaded", "First:loaded", "Base:intermediate",
                            "Nameless:denied", "Raising:denied", "again:duplicate", "late:loaded",
                            "Second:duplicate"}));
  EXPECT_EQ(loader.denied.size(), 2U);
  EXPECT_EQ(ids(), Texts{"one"});
  EXPECT_NE(loader.report.back()->note.reason.find("good.py"), std::string::npos);
}

TEST_F(ClassLoaderTest, SkipsWhatTheUserTurnedOff) {
  modules.folders[root.filename().string()] = {module("good")};
  source.classes["good"] = {{.name = "First", .class_id = "one"}};
  search(false);
  EXPECT_EQ(notes(), Texts{root.filename().string() + ":disabled"});
  EXPECT_TRUE(ids().empty());
}

TEST_F(ClassLoaderTest, SortsKnownCategoriesBeforeForeignOnes) {
  modules.folders[root.filename().string()] = {module("good")};
  source.classes["good"] = {{.name = "A", .class_id = "zoo", .category = "Zoo"},
                            {.name = "B", .class_id = "late mesh", .sort_index = 2},
                            {.name = "C", .class_id = "apes", .category = "Apes"},
                            {.name = "D", .class_id = "mesh", .category = "MESH"},
                            {.name = "E", .class_id = "same place", .category = "mesh"},
                            {.name = "F", .class_id = "scene", .category = "Scene"}};
  search();
  EXPECT_EQ(ids(), (Texts{"scene", "mesh", "same place", "late mesh", "apes", "zoo"}));
}

}  // namespace
}  // namespace kavel::checks
