#include "core/hierarchy/anchor_state.h"

#include <gtest/gtest.h>

#include <random>
#include <span>

namespace kavel::hierarchy {
namespace {

std::shared_ptr<const AnchorState::Keys> keys(std::initializer_list<const char*> definitions) {
  AnchorState::Keys made;
  for (const char* definition : definitions) made.emplace_back(definition);
  return std::make_shared<const AnchorState::Keys>(std::move(made));
}

std::string decided(const AnchorState& state, std::string_view path) {
  return std::string(state.decide(0, path).value_or("(none)"));
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

/// The decision found by looking at every capture.
std::string decided_plainly(const AnchorState& state, std::uint32_t key, std::string_view path) {
  std::optional<CaptureRank> best;
  for (std::size_t at = 0; at < state.size(); ++at) {
    const Capture one = state.capture(at);
    if (one.key != key || !same_scope(one.scope, path)) continue;
    const CaptureRank rank = capture_rank(one.scope, one.text, path);
    if (!best || rank < *best) best = rank;
  }
  return best ? std::string(best->text) : "(none)";
}

/// Asks and changes a state at random, at paths that begin alike.
void ask_and_change(std::span<const std::string_view> paths) {
  std::mt19937 random(7);
  const auto below = [&](std::size_t count) { return random() % count; };
  AnchorState state;
  state.set_keys(keys({"<s:x>", "<t:x>"}));
  std::vector<std::size_t> positions;
  for (int step = 0; step < 20000; ++step) {
    const auto key = static_cast<std::uint32_t>(below(2));
    const std::string_view path = paths[below(paths.size())];
    switch (below(8)) {
      case 0:
        positions.push_back(state.position());
        state.add(key, path, std::to_string(below(3)));
        break;
      case 1:
        if (positions.empty()) break;
        positions.resize(below(positions.size()) + 1);
        state.truncate(positions.back());
        break;
      default:
        ASSERT_EQ(state.decide(key, path).value_or("(none)"), decided_plainly(state, key, path))
            << path << " in step " << step;
    }
  }
}

// What is kept of the way to the last parent must not outlive a capture that was added or taken
// back there, nor pass for the way to a parent whose path only begins alike.
TEST(AnchorState, DecidesAlikeAfterAnyChange) {
  const std::string_view alike[] = {"",       "/",       "/a",    "/a/", "/a/b",
                                    "/a/b/c", "/a/b/cd", "/a/bc", "/ab", "/a//b/c",
                                    "/é/x/y", "/é",      "/a//b", "a",   "a/b"};
  const std::string_view mixed[] = {"/a",     "/a/b",   "/a|b/c", "|a/b",
                                    "/a/b/c", "\\a\\b", "|a",     "/ab"};
  ask_and_change(alike);
  ask_and_change(mixed);
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
  EXPECT_EQ(AnchorState::join(other, one)->size(), 0U) << "foreign keys are left out";
}

}  // namespace
}  // namespace kavel::hierarchy
