// The layer search: assigns the objects of one hierarchy level to the pattern items of that level.
//
// The assignment is one greedy guess, item by item in search order; each item takes matching
// objects, in their order, up to its maximum. A guess that leaves an item outside its range, or in
// exact mode an object without an item, is wrong as a whole.
//
// Captures of accepted objects are appended to the journal of the state; an object that is refused
// or over the maximum takes its own captures back, a wrong guess those of the whole level. Taken
// objects are marked and skipped, never removed one by one. A layer search works on the state it is
// given, so two of them with states of their own may run at once: expressions are compiled by the
// interpreter, which may let another thread in.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "core/hierarchy/anchor.h"
#include "core/hierarchy/pattern.h"
#include "core/scene/query.h"

namespace kavel::hierarchy {

/// One assignment of a level.
struct Response {
  scene::Id object;
  Ref<Scope> scope;
};

/// The items of a level, with what does not depend on the objects looked up once.
struct Level {
  explicit Level(std::vector<Ref<Scope>> items);

  /// The matchers of the items, by position; for items without a rule one that is never asked.
  [[nodiscard]] std::vector<RuleMatcher> matchers(Vocabulary& vocabulary, AnchorState& state) const;

  std::vector<Ref<Scope>> scopes;
  /// For each item the place of its objects: items of equal rules share that of the first of them.
  std::vector<std::size_t> slots;
  /// Whether an empty result is accepted: some item is optional.
  bool optional;
};

class LayerSearch {
 public:
  explicit LayerSearch(scene::QueryPort& scene);

  /// Afterwards the level has no items.
  void drop_level() noexcept;

  /// Takes the existing ones of `roots` and the items of a level; forgets the last guess.
  void load(std::span<const scene::Id> roots, std::shared_ptr<const Level> level, bool exact);
  /// Assigns with the matchers of the level, which work on `state`; captures of accepted objects
  /// stay there. Errors of expressions propagate.
  void make_guess(std::span<RuleMatcher> matchers, AnchorState& state);
  [[nodiscard]] bool wrong_guess() const;
  /// Both: a wrong guess leaves the state as it was. Whether it is right.
  [[nodiscard]] bool guess(std::span<RuleMatcher> matchers, AnchorState& state);
  /// The objects that the item at a position took, in order.
  [[nodiscard]] std::span<const scene::Id> found(std::size_t position) const {
    return found_[level_->slots[position]];
  }
  /// The assignments: item by item, each with its objects in order.
  [[nodiscard]] std::vector<Response> responses() const;

  /// The objects of the level that no item took.
  [[nodiscard]] const std::vector<scene::Id>& left() const noexcept { return left_; }
  [[nodiscard]] bool exact() const noexcept { return exact_; }
  [[nodiscard]] const std::shared_ptr<const Level>& level() const noexcept { return level_; }

 private:
  void fill(std::size_t position, RuleMatcher& matcher, AnchorState& state);
  [[nodiscard]] bool accepts(const Scope& scope, RuleMatcher& matcher, AnchorState& state,
                             scene::Id object) const;

  scene::QueryPort* scene_;
  std::shared_ptr<const Level> level_;
  std::vector<scene::Id> left_;
  bool exact_ = true;
  /// Objects of each slot; more slots than the level has are kept for their room.
  std::vector<std::vector<scene::Id>> found_;
};

/// The search as the host sees it: a level at a time, on the captures of the last question. Each
/// step works on copies and publishes them at its end; a failing one changes nothing.
class Search final : public runtime::Object {
 public:
  explicit Search(std::unique_ptr<scene::QueryPort> scene);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] const Ref<Anchor>& logic() const noexcept { return logic_; }
  [[nodiscard]] scene::QueryPort& scene() const noexcept { return *scene_; }

  /// One level in the state of the last question; a wrong guess leaves the state as it was.
  [[nodiscard]] std::vector<Response> layer(const std::vector<std::string>& roots,
                                            const std::vector<Ref<Scope>>& scopes, bool exact);

  // The steps of a level, each for itself.
  void load_variables(const std::vector<std::string>& roots, const std::vector<Ref<Scope>>& scopes,
                      bool exact);
  void backup_state() { backup_ = logic_->state()->clone(); }
  void reset_state() { logic_->state()->apply(*backup_); }
  void make_guess();
  [[nodiscard]] bool wrong_guess() const { return level_.wrong_guess(); }
  [[nodiscard]] std::vector<Response> responses() const { return level_.responses(); }
  /// Whether an object of that name, path and type fits `scope`; its captures are recorded then.
  [[nodiscard]] bool scope_match(const std::string& name, const std::string& path,
                                 const std::string& type, bool has_children, const Scope& scope);
  [[nodiscard]] const LayerSearch& level() const noexcept { return level_; }
  [[nodiscard]] const Ref<AnchorState>& backup() const noexcept { return backup_; }

  /// The Ids of paths in the scene's table.
  [[nodiscard]] std::vector<scene::Id> ids(const std::vector<std::string>& paths) const;

 private:
  [[nodiscard]] LayerSearch load(const std::vector<std::string>& roots,
                                 const std::vector<Ref<Scope>>& scopes, bool exact) const;
  /// Makes the guess of `level`; the captures are added to `state`.
  void guess(LayerSearch& level, AnchorState& state) const;

  std::unique_ptr<scene::QueryPort> scene_;
  Ref<Anchor> logic_;
  Ref<AnchorState> backup_;
  LayerSearch level_;
};

}  // namespace kavel::hierarchy
