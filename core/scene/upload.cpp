#include "core/scene/upload.h"

#include <utility>

namespace kavel::scene {

void Upload::walk(std::string_view root) {
  ++walk_;
  follow_table();
  pending_.push_back({inquiry_.mention(root), kNoId, kNoId});
  while (!pending_.empty()) {
    Pending next = std::move(pending_.back());
    pending_.pop_back();
    visit(std::move(next));
  }
}

void Upload::store_alone(std::string_view path) {
  Pending alone{inquiry_.mention(path), kNoId, kNoId};
  if (const Facts* facts = ask(alone)) store(alone, *facts);
}

void Upload::visit(Pending pending) {
  resolve(pending);
  if (!enter(pending.id)) return;
  Facts* facts = ask(pending);
  if (facts == nullptr) return;
  store(pending, *facts);
  // The first child is to be on top of the stack.
  for (std::size_t child = facts->children.size(); child-- > 0;) {
    pending_.push_back({std::move(facts->children[child].object), children_[child], pending.id});
  }
}

void Upload::resolve(Pending& pending) {
  if (pending.id == kNoId) pending.id = table_.intern(inquiry_.text(pending.path));
}

/// False when the path was asked in this walk before: the host reports a cycle, or one object
/// below two others.
bool Upload::enter(Id id) {
  if (id >= walks_.size()) walks_.resize(table_.size());
  return std::exchange(walks_[id], walk_) != walk_;
}

/// The facts of an existing object; a missing one is stored here.
Facts* Upload::ask(Pending& pending) {
  Facts& facts = inquiry_.ask(pending.path);
  if (follow_table()) pending.id = pending.parent = kNoId;
  resolve(pending);
  if (facts.exists) return &facts;
  table_.store_missing(pending.id);
  return nullptr;
}

void Upload::store(const Pending& pending, const Facts& facts) {
  children_.clear();
  for (const Mention& child : facts.children) children_.push_back(table_.intern(child.text));
  Id parent = kNoId;
  if (!facts.parent.empty()) {
    const bool expected = pending.parent != kNoId && table_.path(pending.parent) == facts.parent;
    parent = expected ? pending.parent : table_.intern(facts.parent);
  }
  table_.store(pending.id, facts.name, facts.type, parent, children_);
}

/// The host's answer may have come after somebody emptied the table: all Ids are then forgotten.
bool Upload::follow_table() {
  if (generation_ == table_.generation()) return false;
  generation_ = table_.generation();
  walks_.clear();
  for (Pending& pending : pending_) pending.id = pending.parent = kNoId;
  return true;
}

}  // namespace kavel::scene
