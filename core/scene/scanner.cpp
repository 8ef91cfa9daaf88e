#include "core/scene/scanner.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <unordered_map>

#include "core/facade/constants.h"
#include "core/foundation/busy.h"
#include "core/foundation/logger.h"
#include "core/scene/scope_roots.h"

namespace kavel::scene {
namespace {

using Paths = std::vector<std::string>;

/// With such a ghost item the scope is the scene itself, whatever named objects are on the way.
bool stands_for_scene(const runtime::Ref<hierarchy::Scope>& ghost) {
  if (!ghost || !ghost->rule) return false;
  const Paths& types = ghost->rule->types()->items;
  return types.empty() || std::ranges::find(types, facade::type::kSceneRoot) != types.end();
}

bool all_in(const Paths& paths, const Scanner::PathSet& known) {
  return std::ranges::all_of(paths, [&](const std::string& path) { return known.contains(path); });
}

}  // namespace

std::vector<BucketRef> without_repeats(const std::vector<BucketRef>& buckets) {
  std::vector<BucketRef> distinct;
  std::unordered_multimap<std::string_view, const Bucket*> by_path;
  for (const BucketRef& bucket : buckets) {
    const std::optional<std::string>& path = bucket->joint->path;
    const std::string_view key = path ? std::string_view(*path) : std::string_view();
    const auto [begin, end] = by_path.equal_range(key);
    const auto equal = [&](const auto& entry) { return *entry.second == *bucket; };
    if (std::any_of(begin, end, equal)) continue;
    by_path.emplace(key, bucket.get());
    distinct.push_back(bucket);
  }
  return distinct;
}

Scanner::Scanner(runtime::Value api, std::unique_ptr<OperatorPort> port,
                 runtime::Ref<Virtual> scene, runtime::Ref<hierarchy::Matcher> matcher,
                 runtime::Ref<Buffer> buffer, std::unique_ptr<facade::Notifier> notifier)
    : api_(std::move(api)),
      operator_(std::move(port)),
      scene_(std::move(scene)),
      matcher_(std::move(matcher)),
      buffer_(std::move(buffer)),
      notifier_(std::move(notifier)) {}

void Scanner::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(api_);
  operator_->each_reference(visitor);
  visitor(scene_);
  visitor(matcher_);
  visitor(buffer_);
  notifier_->each_reference(visitor);
}

void Scanner::drop_references() noexcept {
  api_ = runtime::Value();
  operator_->drop_references();
  notifier_->drop_references();
}

bool Scanner::alone(const std::function<void()>& run) {
  if (is_running_) {
    foundation::log_warning("A scan was started by a scan and does nothing");
    return false;
  }
  const foundation::Busy busy(is_running_);
  return foundation::guarded(run);
}

bool Scanner::upload_buffer(bool append) {
  bool done = false;
  alone([&] { done = scan_selection(append); });
  return done;
}

bool Scanner::scan_selection(bool append) {
  const Paths selection = operator_->get_selection();
  const PathSet stored = append ? stored_paths() : PathSet();
  const auto is_stored = [&](const std::string& path) { return stored.contains(path); };
  if (std::ranges::any_of(selection, is_stored)) {
    notifier_->fire("used_scan_selection");
    return facade::kFailure;
  }
  if (selection.empty()) {
    if (!append) foundation::guarded([this] { select_stored(); });
    notifier_->fire("empty_scan_selection");
    return facade::kFailure;
  }
  const Found found = find(selection, append, stored);
  if (found.buckets.empty()) {
    notifier_->fire(found.known ? "used_scan_selection" : "empty_scan_result");
    return facade::kFailure;
  }
  store(found.buckets);
  return facade::kSuccess;
}

/// Everything between reading the selection and giving it back to the host.
Scanner::Found Scanner::find(const Paths& selection, bool append, const PathSet& stored) {
  Found found;
  try {
    if (!append) buffer_->erase();
    const Paths roots = operator_->get_selection_roots();
    scene_->upload(roots);
    found = scan(find_scope_roots(selection), stored);
  } catch (...) {
    foundation::guarded([&] { operator_->select(selection); });
    throw;
  }
  try {
    operator_->select(selection);
  } catch (...) {
    discard(found.buckets);
    throw;
  }
  return found;
}

/// Shows the user what a second scan would replace.
void Scanner::select_stored() {
  Paths existing;
  const std::vector<BucketRef> buckets = buffer_->buckets()->items;
  for (const BucketRef& bucket : buckets) {
    for (std::string& path : root_paths(*bucket->joint)) {
      if (operator_->object_exists(path)) existing.push_back(std::move(path));
    }
  }
  if (!existing.empty()) operator_->select(existing);
}

Paths Scanner::find_scope_roots(std::span<const std::string> selection) {
  const bool to_top = stands_for_scene(matcher_->pattern()->get_ghost());
  ScopeRoots ways(*operator_, *scene_, *matcher_);
  Paths roots = ways.find_all(selection, to_top ? WayEnd::topmost : WayEnd::ghost_root);
  ways.complete(roots);
  return roots;
}

std::string Scanner::find_scope_root(const std::string& path) {
  return ScopeRoots(*operator_, *scene_, *matcher_).find(path, WayEnd::ghost_root);
}

Scanner::Found Scanner::scan(const Paths& roots, const PathSet& known) {
  auto [scopes, parents] = matcher_->root_scopes(roots);
  // Scopes alike would give equal buckets: the host is not even handed their joints.
  std::set<Paths> met;
  std::erase_if(scopes, [&](const Paths& scope) { return !met.insert(scope).second; });
  std::unordered_map<std::string, std::string> ghosts;
  for (const auto& [root, ghost] : parents) {
    if (ghost) ghosts.emplace(root, *ghost);
  }
  Drafter drafter(*matcher_);
  Found found;
  try {
    for (const Paths& scope : scopes) {
      const Paths masked = covered(scope);
      // Without objects a level of optional items would count as a match.
      if (masked.empty()) continue;
      const hierarchy::Match match = matcher_->assign(masked);
      if (!match.valid || match.assignments.empty()) continue;
      if (all_in(masked, known)) {
        found.known = true;
        continue;
      }
      const auto ghost = ghosts.find(masked.front());
      const std::string ghost_path = ghost == ghosts.end() ? "" : ghost->second;
      const JointRef root = decorate(*operator_, drafter.draft(match, ghost_path));
      found.buckets.push_back(runtime::make<Bucket>(root, root->name));
    }
  } catch (...) {
    discard(found.buckets);
    throw;
  }
  return found;
}

/// Those of a scope's paths that the pattern's top level takes, in the order in which the buffer
/// will store them: the search is greedy, and a later validation must see what this scan saw.
Paths Scanner::covered(const Paths& scope) {
  Paths ordered = in_name_order(scope);
  const Paths taken = matcher_->mask(ordered);
  const PathSet covered(taken.begin(), taken.end());
  std::erase_if(ordered, [&](const std::string& path) { return !covered.contains(path); });
  return ordered;
}

Paths Scanner::in_name_order(Paths paths) {
  if (paths.size() < 2) return paths;
  QueryPort& query = matcher_->search()->scene();
  Paths names;
  names.reserve(paths.size());
  for (const std::string& path : paths) names.push_back(query.name(path));
  std::vector<std::size_t> order(paths.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(
      order, {}, [&](std::size_t position) -> const std::string& { return names[position]; });
  Paths ordered;
  ordered.reserve(paths.size());
  for (const std::size_t position : order) ordered.push_back(std::move(paths[position]));
  return ordered;
}

void Scanner::store(const std::vector<BucketRef>& buckets) {
  buffer_->add(buckets);
  buffer_->commit([&] {
    for (const BucketRef& bucket : buckets) {
      if (buffer_->contains(bucket)) buffer_->clear(bucket);
    }
  });
}

void Scanner::discard(std::span<const BucketRef> buckets) {
  for (const BucketRef& bucket : buckets) undecorate(*operator_, flatten(bucket->joint));
}

Scanner::PathSet Scanner::stored_paths() const {
  PathSet paths;
  for (const BucketRef& bucket : buffer_->buckets()->items) {
    for (const JointRef& joint : flatten(bucket->joint)) {
      if (joint->path) paths.insert(*joint->path);
    }
  }
  return paths;
}

/// One rereading of the buffer: the new trees are found first, then the old ones are replaced, so
/// that a failure can put the old ones back.
class Scanner::Reload {
 public:
  explicit Reload(Scanner& scanner) : scanner_(scanner) {}

  void run() {
    const std::vector<BucketRef> buckets = scanner_.buffer_->buckets()->items;
    for (const BucketRef& bucket : buckets) find(bucket);
    try {
      for (Change& change : changes_) apply(change);
    } catch (...) {
      revert();
      throw;
    }
    scanner_.buffer_->commit([this] { revert(); });
  }

 private:
  struct Change {
    BucketRef bucket;
    Draft draft;
    JointRef old;
    bool applied = false;
  };

  void find(const BucketRef& bucket) {
    Joint& root = *bucket->joint;
    // A tree of the other kind cannot be read anew in one piece.
    if (root.is_ghost() != static_cast<bool>(scanner_.matcher_->pattern()->get_ghost())) return;
    Paths existing;
    for (std::string& path : root_paths(root)) {
      if (scanner_.operator_->object_exists(path)) existing.push_back(std::move(path));
    }
    if (existing.empty()) return;
    scanner_.scene_->upload(existing);
    existing = scanner_.in_name_order(std::move(existing));
    const hierarchy::Match match = scanner_.matcher_->assign(existing);
    if (!match.valid || match.assignments.empty()) return;
    // The name of an object that is gone cannot be asked for.
    std::string ghost_path = root.is_ghost() ? root.path.value_or("") : "";
    if (!ghost_path.empty() && !scanner_.operator_->object_exists(ghost_path)) ghost_path.clear();
    changes_.push_back({bucket, drafter_.draft(match, ghost_path), bucket->joint});
  }

  void apply(Change& change) {
    undecorate(*scanner_.operator_, flatten(change.old));
    change.applied = true;
    change.bucket->joint = decorate(*scanner_.operator_, change.draft);
  }

  /// Puts the old trees back; the host is handed their joints again.
  void revert() {
    for (Change& change : changes_) {
      if (!change.applied) continue;
      if (change.bucket->joint.get() != change.old.get()) {
        undecorate(*scanner_.operator_, flatten(change.bucket->joint));
      }
      change.bucket->joint = change.old;
      for (const JointRef& joint : flatten(change.old)) {
        if (!foundation::guarded([&] { scanner_.operator_->postscript_scan_append(joint); })) break;
      }
    }
  }

  Scanner& scanner_;
  Drafter drafter_{*scanner_.matcher_};
  std::vector<Change> changes_;
};

bool Scanner::reload_buffer() {
  return alone([this] { Reload(*this).run(); });
}

}  // namespace kavel::scene
