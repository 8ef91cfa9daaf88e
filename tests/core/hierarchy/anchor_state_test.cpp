#include "core/hierarchy/anchor_state.h"

#include <gtest/gtest.h>

namespace kavel::hierarchy {
namespace {

std::shared_ptr<const AnchorState::Keys> keys(std::initializer_list<const char*> definitions) {
  AnchorState::Keys made;
  for (const char* definition : definitions) made.emplace_back(definition);
  return std::make_shared<const AnchorState::Keys>(std::move(made));
}

std::string decided(const AnchorState& state, std::string_view path) {
  const std::string* text = state.decide(0, path);
  return text == nullptr ? "(none)" : *text;
}

// A look-up by whole text, a prefix that ends inside a name, or a wrong rank would each break a
// row.
TEST(AnchorState, DecidesByTheBranch) {
  AnchorState state;
  state.set_keys(keys({"<s:(L|R)>"}));
  state.add(0, "/a", "top");
  state.add(0, "/a/b", "below");
  state.add(0, "/c|d", "mixed");
  state.add(0, "/e", "z");
  state.add(0, "/e", "y");
  state.add(0, "/é", "accent");
  const std::pair<const char*, const char*> rows[] = {
      {"/a", "top"},       {"/a/b/c", "top"},  {"/ab", "(none)"},   {"/c/d/x", "mixed"},
      {"\\c\\d", "mixed"}, {"/c", "(none)"},   {"/e/f", "y"},       {"/x", "(none)"},
      {"", "(none)"},      {"/é/x", "accent"}, {"/\xc3", "(none)"},
  };
  for (const auto& [path, text] : rows) EXPECT_EQ(decided(state, path), text) << path;
}

// Several captures at one place hang in one chain; taking back must restore each link.
TEST(AnchorState, TruncationTakesBackExactlyWhatCameAfter) {
  AnchorState state;
  state.set_keys(keys({"<s:(L|R)>", "<n:.+>"}));
  state.add(0, "/a", "m");
  const auto before = state.clone();
  const std::size_t position = state.position();
  state.add(0, "/a", "b");
  state.add(0, "/a", "b");
  state.add(0, "", "root");
  state.add(1, "/a", "other key");
  EXPECT_EQ(decided(state, "/a/x"), "root");
  EXPECT_EQ(state.position(), position + 3) << "a repeated capture is none";
  state.truncate(position);
  EXPECT_EQ(decided(state, "/a/x"), "m");
  EXPECT_FALSE(state.has_captures(1));
  EXPECT_EQ(state, *before);
  EXPECT_EQ(state.hash(), before->hash());
}

TEST(AnchorState, EqualityIsOfContent) {
  AnchorState one;
  AnchorState other;
  one.set_keys(keys({"<s:x>"}));
  other.set_keys(keys({"<s:x>"}));
  EXPECT_EQ(one.hash(), 0U);
  one.add(0, "/a", "1");
  EXPECT_FALSE(one == other);
  one.add(0, "/b", "2");
  other.add(0, "/b", "2");
  other.add(0, "/a", "1");
  EXPECT_EQ(one, other) << "the order of captures does not count";
  EXPECT_EQ(one.hash(), other.hash());
  other.set_keys(keys({"<t:x>"}));
  EXPECT_EQ(AnchorState::join(other, one)->captures().size(), 0U) << "foreign keys are left out";
}

}  // namespace
}  // namespace kavel::hierarchy
