// The entry point of hierarchy matching: whether the scene below some roots follows the pattern,
// which roots the pattern covers, and which objects can stand for the pattern's ghost item.
//
// Each question works on captures of its own and publishes them to the search at its end, so two
// questions may run at once. Errors of the scene and of expressions propagate.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/hierarchy/search.h"

namespace kavel::hierarchy {

/// One object that an item took; `parent` is the position of its parent's assignment or -1.
struct Assignment {
  scene::Id object;
  Ref<PatternRule> rule;
  std::int32_t parent;
};

/// The outcome of matching roots against the pattern.
struct Match {
  bool valid = false;
  /// In pre-order; complete only when `valid`.
  std::vector<Assignment> assignments;
};

/// The roots below the ghost item, scope by scope.
struct RootScopes {
  std::vector<std::vector<std::string>> scopes;
  /// For each effective root the path of the object that stands for the ghost; nothing when none
  /// does.
  std::vector<std::pair<std::string, std::optional<std::string>>> parents;
};

class Matcher final : public runtime::Object {
 public:
  Matcher(std::unique_ptr<scene::QueryPort> scene, Value check_classes);

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(pattern_);
    visitor(search_);
  }

  [[nodiscard]] const Ref<Pattern>& pattern() const noexcept { return pattern_; }
  [[nodiscard]] const Ref<Search>& search() const noexcept { return search_; }

  /// The definitions of the effective pattern become the keys of the search's state.
  void find_anchors();
  /// Whether the scene under `roots` follows the pattern.
  [[nodiscard]] bool is_valid(const std::vector<std::string>& roots);
  /// The same with what each object was assigned to.
  [[nodiscard]] Match assign(const std::vector<std::string>& roots);
  /// Paths of those roots that the top level covers, item by item.
  [[nodiscard]] std::vector<std::string> mask(const std::vector<std::string>& roots);
  /// One level and all below it, on the captures of the last question.
  [[nodiscard]] bool match(const std::vector<std::string>& roots,
                           const std::vector<Ref<Scope>>& scopes);

  [[nodiscard]] bool is_ghost_root(const Ref<Scope>& ghost, const std::string& path);
  [[nodiscard]] bool ghost_scope_match(const std::vector<std::string>& roots);
  [[nodiscard]] RootScopes root_scopes(const std::vector<std::string>& roots);

 private:
  class Walk;
  [[nodiscard]] AnchorState::Keys anchor_keys() const;
  [[nodiscard]] Match run(const std::vector<std::string>& roots,
                          const std::vector<Ref<Scope>>& scopes, const Ref<AnchorState>& state,
                          bool record);
  [[nodiscard]] Ref<AnchorState> fresh_state();
  [[nodiscard]] std::vector<std::string> children_of(const std::string& path);

  Ref<Pattern> pattern_;
  Ref<Search> search_;
};

}  // namespace kavel::hierarchy
