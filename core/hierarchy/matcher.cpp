#include "core/hierarchy/matcher.h"

#include <algorithm>
#include <unordered_set>

#include "core/facade/constants.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy {

using scene::Id;

/// One way down the scene: a stack of levels instead of recursion, since scenes can be deep.
class Matcher::Walk {
 public:
  Walk(scene::QueryPort& scene, std::shared_ptr<Vocabulary> vocabulary, Ref<AnchorState> state,
       bool record)
      : scene_(scene), layers_(scene, std::move(vocabulary), std::move(state)), record_(record) {}

  Match run(std::span<const Id> roots, const std::vector<Ref<Scope>>& scopes) {
    if (!enter(roots, scopes, -1)) return std::move(match_);
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.next == level.responses.size()) {
        levels_.pop_back();
        continue;
      }
      const Response response = level.responses[level.next++];
      if (!descend(response, level.parent)) return std::move(match_);
    }
    match_.valid = true;
    return std::move(match_);
  }

 private:
  struct Level {
    std::vector<Response> responses;
    std::size_t next;
    std::int32_t parent;
  };

  /// Searches one level; false when it does not follow the pattern.
  bool enter(std::span<const Id> roots, const std::vector<Ref<Scope>>& scopes,
             std::int32_t parent) {
    std::vector<Response> responses = layers_.run(roots, scopes, true);
    if (responses.empty()) return is_optional_level(scopes);
    levels_.push_back({std::move(responses), 0, parent});
    return true;
  }

  bool descend(const Response& response, std::int32_t parent) {
    if (record_) match_.assignments.push_back({response.object, response.scope->rule, parent});
    const auto position = static_cast<std::int32_t>(match_.assignments.size()) - 1;
    const auto children = scene_.table().children(response.object);
    // A childless object is finished, whether or not its item has children.
    if (children.empty()) return true;
    // Copied: asking for the next level may let the table grow.
    const std::vector<Id> below(children.begin(), children.end());
    return enter(below, response.scope->children->items, position);
  }

  scene::QueryPort& scene_;
  LayerSearch layers_;
  bool record_;
  Match match_;
  std::vector<Level> levels_;
};

bool is_optional_level(const std::vector<Ref<Scope>>& scopes) {
  return std::ranges::any_of(
      scopes, [](const Ref<Scope>& scope) { return scope->rule && scope->rule->is_optional(); });
}

Matcher::Matcher(std::unique_ptr<scene::QueryPort> scene, Value check_classes)
    : pattern_(runtime::make<Pattern>(std::move(check_classes))),
      search_(runtime::make<Search>(std::move(scene))) {}

AnchorState::Keys Matcher::anchor_keys() const {
  AnchorState::Keys keys;
  std::unordered_set<std::string> known;
  // A host may hang an item below itself.
  std::unordered_set<const Scope*> met;
  std::vector<Ref<Scope>> pending;
  const auto push = [&pending](const Scope::Children& scopes) {
    pending.insert(pending.end(), scopes.items.rbegin(), scopes.items.rend());
  };
  push(*pattern_->get());
  while (!pending.empty()) {
    const Ref<Scope> scope = std::move(pending.back());
    pending.pop_back();
    if (!met.insert(scope.get()).second) continue;
    if (scope->rule) {
      for (const std::string& definition : scope->rule->definitions()) {
        if (known.insert(definition).second) keys.emplace_back(definition);
      }
    }
    push(*scope->children);
  }
  return keys;
}

Ref<AnchorState> Matcher::fresh_state() {
  auto state = runtime::make<AnchorState>();
  state->set_keys(search_->logic()->vocabulary(anchor_keys())->keys());
  return state;
}

void Matcher::find_anchors() { search_->logic()->state()->swap(*fresh_state()); }

Match Matcher::run(const std::vector<std::string>& roots, const std::vector<Ref<Scope>>& scopes,
                   const Ref<AnchorState>& state, bool record) {
  Match match = Walk(search_->scene(), search_->logic()->vocabulary(*state), state, record)
                    .run(search_->ids(roots), scopes);
  search_->logic()->state()->swap(*state);
  return match;
}

bool Matcher::is_valid(const std::vector<std::string>& roots) {
  const std::vector<Ref<Scope>> scopes = pattern_->get()->items;
  return run(roots, scopes, fresh_state(), false).valid;
}

Match Matcher::assign(const std::vector<std::string>& roots) {
  const std::vector<Ref<Scope>> scopes = pattern_->get()->items;
  return run(roots, scopes, fresh_state(), true);
}

bool Matcher::match(const std::vector<std::string>& roots, const std::vector<Ref<Scope>>& scopes) {
  return run(roots, scopes, search_->logic()->state()->clone(), false).valid;
}

std::vector<std::string> Matcher::mask(const std::vector<std::string>& roots) {
  const std::vector<Ref<Scope>> scopes = pattern_->get()->items;
  const auto state = fresh_state();
  LayerSearch layer(search_->scene(), search_->logic()->vocabulary(*state), state);
  std::vector<std::string> paths;
  for (const Response& response : layer.run(search_->ids(roots), scopes, false)) {
    paths.emplace_back(search_->scene().table().path(response.object));
  }
  search_->logic()->state()->swap(*state);
  return paths;
}

namespace {

/// The types that an object must have to stand for the ghost; without any it is the scene root.
std::vector<std::string> ghost_types(const PatternRule& rule) {
  if (!rule.types()->items.empty()) return rule.types()->items;
  return {std::string(facade::type::kSceneRoot)};
}

bool has_type(const std::vector<std::string>& types, std::string_view type) {
  return std::ranges::find(types, type) != types.end();
}

}  // namespace

bool Matcher::is_ghost_root(const Ref<Scope>& ghost, const std::string& path) {
  if (!ghost || !ghost->rule) return false;
  scene::QueryPort& scene = search_->scene();
  const std::vector<std::string> types = ghost_types(*ghost->rule);
  if (has_type(types, facade::type::kSceneRoot) && !scene.parent(path)) return true;
  const std::string name = scene.name(path);
  if (!runtime::services().regex->compile(ghost->rule->config().regex)->match(name)) return false;
  return has_type(types, scene.type(path));
}

bool Matcher::ghost_scope_match(const std::vector<std::string>& roots) {
  const Ref<Scope> ghost = pattern_->get_ghost();
  return std::ranges::any_of(roots,
                             [&](const std::string& root) { return is_ghost_root(ghost, root); });
}

std::vector<std::string> Matcher::children_of(const std::string& path) {
  scene::QueryPort& scene = search_->scene();
  const Id root = scene.table().intern(path);
  std::vector<std::string> paths;
  for (const Id object : scene.locate(std::span(&root, 1))) {
    for (const Id child : scene.table().children(object)) {
      paths.emplace_back(scene.table().path(child));
    }
  }
  return paths;
}

RootScopes Matcher::root_scopes(const std::vector<std::string>& roots) {
  const Ref<Scope> ghost = pattern_->get_ghost();
  scene::QueryPort& scene = search_->scene();
  RootScopes result;
  // Position of the scope that all roots directly under the scene root share.
  std::optional<std::size_t> scene_scope;
  const auto add = [&](std::size_t scope, std::string root, std::optional<std::string> parent) {
    result.scopes[scope].push_back(root);
    result.parents.emplace_back(std::move(root), std::move(parent));
  };
  for (const std::string& root : roots) {
    if (!ghost) {
      result.scopes.emplace_back();
      add(result.scopes.size() - 1, root, std::nullopt);
      continue;
    }
    if (!is_ghost_root(ghost, root)) continue;
    const bool below_scene_root =
        has_type(ghost_types(*ghost->rule), facade::type::kSceneRoot) && !scene.parent(root);
    std::size_t scope = result.scopes.size();
    if (below_scene_root) scope = scene_scope.value_or(scope);
    if (scope == result.scopes.size()) result.scopes.emplace_back();
    if (below_scene_root) scene_scope = scope;
    if (below_scene_root && scene.type(root) != facade::type::kSceneRoot) {
      add(scope, root, std::nullopt);
      continue;
    }
    for (std::string& child : children_of(root)) add(scope, std::move(child), root);
  }
  return result;
}

}  // namespace kavel::hierarchy
