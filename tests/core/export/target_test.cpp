#include "core/export/target.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "core/runtime/services.h"

namespace kavel::exporting {
namespace {

namespace fs = std::filesystem;

TEST(FileStem, IsOneComponentOnEverySystem) {
  const std::pair<std::string, std::string> rows[] = {
      {"Hero", "Hero"},
      {"", "export"},
      {"Hero.v2 (new) [a]+", "Hero.v2 (new) [a]+"},
      {"Герой 🦊", "Герой 🦊"},
      {"../../etc/x", "___.._etc_x"},
      {"..", "__"},
      {"a\\b|c:d/e", "a_b_c_d_e"},
      {"/Car/Wheel", "_Car_Wheel"},
      {" . Hero. ", "___Hero__"},
      {"   ", "___"},
      {std::string("a\0b\n\x7f", 5), "a_b__"},
      {"a\u0085b", "a_b"},
      {"\xED\xA0\x80x", "_x"},
      {"con", "_con"},
      {"Aux.body", "_Aux.body"},
      {"com\u00b2", "_com\u00b2"},
      {"console", "console"},
  };
  for (const auto& [name, stem] : rows) EXPECT_EQ(file_stem(name), stem) << name;
}

class TargetTest : public testing::Test {
 protected:
  TargetTest() { fs::create_directory(folder_); }
  ~TargetTest() override { fs::remove_all(folder_); }

  [[nodiscard]] std::vector<std::string> names() const {
    return runtime::services().files->list(folder_);
  }
  const fs::path folder_ =
      fs::temp_directory_path() / ("kavel-" + runtime::services().system->random_stamp());
};

TEST_F(TargetTest, ExportsAtOnceHaveVersionsOfTheirOwn) {
  std::vector<std::string> written;
  const auto write = [&](const std::string& path) {
    EXPECT_FALSE(fs::exists(path));
    written.push_back(fs::path(path).filename());
    std::ofstream(path) << "content";
  };
  // The second begins and ends while the first has yet to write anything.
  Target(folder_, "a", "FBX").with_free_version([&](const std::string& path) {
    Target(folder_, "a", "fbx").with_free_version(write);
    write(path);
  });
  Target(folder_, "a", "fbx").with_free_version(write);
  EXPECT_EQ(written, (std::vector<std::string>{"a.v02.fbx", "a.v01.fbx", "a.v03.fbx"}));
  EXPECT_EQ(names(), (std::vector<std::string>{"a.v01.fbx", "a.v02.fbx", "a.v03.fbx"}));
}

TEST_F(TargetTest, AFailedExportLeavesNoMark) {
  const Target target(folder_, "a", "fbx");
  const auto fail = [](const std::string&) { throw std::runtime_error("the exporter fails"); };
  EXPECT_THROW(target.with_free_version(fail), std::runtime_error);
  EXPECT_TRUE(names().empty());
  // Nor is a planted one followed.
  fs::create_symlink(folder_ / "elsewhere", folder_ / "a.v01.fbx.reserved");
  target.with_free_version(
      [&](const std::string& path) { EXPECT_EQ(path, (folder_ / "a.v02.fbx").string()); });
  EXPECT_FALSE(fs::exists(folder_ / "elsewhere"));
}

TEST_F(TargetTest, AFormatLeadsNowhereElse) {
  EXPECT_ANY_THROW((void)Target(folder_, "a", "/../../b").path());
}

}  // namespace
}  // namespace kavel::exporting
