#include "core/hierarchy/matcher.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "core/facade/constants.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy {

using scene::Id;

/// One way down the scene: a stack of objects instead of recursion, since scenes can be deep. The
/// items of a level are prepared when it is met first, for all objects that it is asked about.
class Matcher::Walk {
 public:
  Walk(scene::QueryPort& scene, std::shared_ptr<Vocabulary> vocabulary, Ref<AnchorState> state,
       bool record)
      : scene_(scene),
        vocabulary_(std::move(vocabulary)),
        state_(std::move(state)),
        layer_(scene),
        record_(record) {}

  Match run(std::span<const Id> roots, const std::vector<Ref<Scope>>& scopes) {
    Known top = prepare(nullptr, scopes);
    match_.valid = enter(roots, top, -1);
    while (match_.valid && !pending_.empty()) {
      const Pending next = pending_.back();
      pending_.pop_back();
      match_.valid = descend(next);
    }
    return std::move(match_);
  }

 private:
  /// A level, prepared; `owner` keeps the list alive by whose address it is known.
  struct Known {
    Ref<Scope::Children> owner;
    std::shared_ptr<const Level> level;
    std::vector<RuleMatcher> matchers;
  };
  /// An object that an item took and whose children are still to be searched.
  struct Pending {
    Id object;
    std::int32_t parent;
    const Scope* scope;
  };

  Known prepare(Ref<Scope::Children> owner, const std::vector<Ref<Scope>>& scopes) {
    auto level = std::make_shared<const Level>(scopes);
    auto matchers = level->matchers(*vocabulary_, *state_);
    return {std::move(owner), std::move(level), std::move(matchers)};
  }

  Known& known(const Ref<Scope::Children>& children) {
    Known& found = known_[children.get()];
    if (!found.level) found = prepare(children, children->items);
    return found;
  }

  /// Searches one level; false when it does not follow the pattern.
  bool enter(std::span<const Id> roots, Known& known, std::int32_t parent) {
    layer_.load(roots, known.level, true);
    const Level& level = *known.level;
    if (!layer_.guess(known.matchers, *state_)) return level.optional;
    const std::size_t begin = pending_.size();
    for (std::size_t position = 0; position < level.scopes.size(); ++position) {
      const Scope* scope = level.scopes[position].get();
      if (!scope->rule) continue;
      for (const Id object : layer_.found(position)) pending_.push_back({object, parent, scope});
    }
    if (pending_.size() == begin) return level.optional;
    // The first is to be on top of the stack.
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(begin), pending_.end());
    return true;
  }

  bool descend(const Pending& taken) {
    const auto position = static_cast<std::int32_t>(match_.assignments.size());
    if (record_) match_.assignments.push_back({taken.object, taken.scope->rule, taken.parent});
    const auto children = scene_.table().children(taken.object);
    // A childless object is finished, whether or not its item has children.
    if (children.empty()) return true;
    // Copied: asking for the next level may let the table grow.
    below_.assign(children.begin(), children.end());
    return enter(below_, known(taken.scope->children), position);
  }

  scene::QueryPort& scene_;
  std::shared_ptr<Vocabulary> vocabulary_;
  Ref<AnchorState> state_;
  LayerSearch layer_;
  bool record_;
  Match match_;
  std::unordered_map<const Scope::Children*, Known> known_;
  std::vector<Pending> pending_;
  std::vector<Id> below_;
};

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
  const auto vocabulary = search_->logic()->vocabulary(*state);
  const auto level = std::make_shared<const Level>(scopes);
  std::vector<RuleMatcher> matchers = level->matchers(*vocabulary, *state);
  LayerSearch layer(search_->scene());
  layer.load(search_->ids(roots), level, false);
  std::vector<std::string> paths;
  if (layer.guess(matchers, *state)) {
    for (const Response& response : layer.responses()) {
      paths.emplace_back(search_->scene().table().path(response.object));
    }
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
  std::vector<Id> existing;
  scene.locate(std::span(&root, 1), existing);
  for (const Id object : existing) {
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
