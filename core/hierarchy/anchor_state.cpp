#include "core/hierarchy/anchor_state.h"

#include <algorithm>
#include <functional>

#include "core/foundation/text.h"

namespace kavel::hierarchy {
namespace {

constexpr std::uint64_t kHashSeed = 0xcbf29ce484222325;
constexpr std::uint64_t kHashFactor = 0x100000001b3;
constexpr std::size_t kSmallestIndex = 16;

constexpr std::uint64_t add_byte(std::uint64_t hash, char character) noexcept {
  const char unified = is_separator(character) ? '/' : character;
  return (hash ^ static_cast<unsigned char>(unified)) * kHashFactor;
}

std::uint64_t add_bytes(std::uint64_t hash, std::string_view text) noexcept {
  for (const char character : text) hash = add_byte(hash, character);
  return hash;
}

/// Where the last component begins with its separator; npos for a path of one component.
std::size_t last_separator(std::string_view path) noexcept {
  std::size_t at = path.size();
  while (at > 0 && !is_separator(path[at - 1])) --at;
  return at == 0 ? std::string_view::npos : at - 1;
}

}  // namespace

AnchorState::AnchorState() : keys_(std::make_shared<const Keys>()) {}

void AnchorState::set_keys(std::shared_ptr<const Keys> keys) {
  keys_ = std::move(keys);
  counts_.assign(keys_->size(), 0);
  records_.clear();
  arena_.clear();
  index_.clear();
  separator_ = '\0';
  is_mixed_ = false;
  forget_way(0);
}

Capture AnchorState::capture(std::size_t position) const noexcept {
  const Record& record = records_[position];
  const std::string_view texts(arena_);
  return {record.key, texts.substr(record.begin, record.scope_size),
          texts.substr(record.begin + record.scope_size, record.text_size)};
}

std::size_t AnchorState::slot_of(std::uint64_t place) const noexcept {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = place & mask;
  while (index_[slot] != kNone && records_[index_[slot]].place != place) slot = (slot + 1) & mask;
  return slot;
}

std::uint32_t AnchorState::chain(std::uint64_t place) const noexcept {
  return index_.empty() ? kNone : index_[slot_of(place)];
}

void AnchorState::grow_index() {
  index_.assign(std::max(kSmallestIndex, index_.size() * 2), kNone);
  // In the order in which they came: the newest of a chain stays in its slot.
  for (std::uint32_t at = 0; at < records_.size(); ++at) index_[slot_of(records_[at].place)] = at;
}

void AnchorState::add(std::uint32_t key, std::string_view scope, std::string_view text) {
  // A host may replace the keys while a question that began before them is under way.
  if (key >= counts_.size()) return;
  if ((records_.size() + 1) * 2 > index_.size()) grow_index();
  const std::uint64_t place = place_of(scope);
  std::uint32_t& head = index_[slot_of(place)];
  for (std::uint32_t at = head; at != kNone; at = records_[at].next) {
    const Capture known = capture(at);
    if (known.key == key && known.scope == scope && known.text == text) return;
  }
  records_.push_back({.place = place,
                      .begin = arena_.size(),
                      .scope_size = static_cast<std::uint32_t>(scope.size()),
                      .text_size = static_cast<std::uint32_t>(text.size()),
                      .key = key,
                      .next = head});
  arena_.append(scope).append(text);
  for (const char separator : kSeparators) {
    if (separator == separator_ || !foundation::contains(scope, std::string_view(&separator, 1)))
      continue;
    is_mixed_ |= separator_ != '\0';
    separator_ = separator;
  }
  head = static_cast<std::uint32_t>(records_.size() - 1);
  ++counts_[key];
  forget_way(scope.size());
}

void AnchorState::truncate(std::size_t position) {
  while (records_.size() > position) {
    const Record& last = records_.back();
    index_[slot_of(last.place)] = last.next;
    --counts_[last.key];
    forget_way(last.scope_size);
    arena_.resize(last.begin);
    records_.pop_back();
  }
}

/// Forgets the steps at which a scope of `size` characters or of more may lie.
void AnchorState::forget_way(std::size_t size) const noexcept {
  while (!steps_.empty() && steps_.back().size >= size) steps_.pop_back();
  decisions_.resize(steps_.size() * counts_.size());
  if (steps_.empty()) way_.clear();
}

/// Whether the capture `left` decides before `right` on the branch of `path`.
bool AnchorState::precedes(std::uint32_t left, std::uint32_t right, std::string_view path) const {
  const Capture one = capture(left);
  const Capture other = capture(right);
  return capture_rank(one.scope, one.text, path) < capture_rank(other.scope, other.text, path);
}

void AnchorState::push_step(std::uint64_t place, std::size_t size, std::string_view parent) const {
  const std::size_t count = counts_.size();
  const std::size_t begin = decisions_.size();
  decisions_.resize(begin + count, kNone);
  if (begin > 0) {
    std::copy_n(decisions_.begin() + static_cast<std::ptrdiff_t>(begin - count), count,
                decisions_.begin() + static_cast<std::ptrdiff_t>(begin));
  }
  const std::string_view ancestor = parent.substr(0, size);
  for (std::uint32_t at = chain(place); at != kNone; at = records_[at].next) {
    if (!same_scope(capture(at).scope, ancestor)) continue;
    std::uint32_t& decision = decisions_[begin + records_[at].key];
    if (decision == kNone || precedes(at, decision, ancestor)) decision = at;
  }
  steps_.push_back({size, place});
}

/// Whether the last step is `parent` or stands above it.
bool AnchorState::leads_to(std::string_view parent) const noexcept {
  const std::size_t size = steps_.back().size;
  return size <= parent.size() && (size == parent.size() || is_separator(parent[size])) &&
         parent.starts_with(std::string_view(way_).substr(0, size));
}

/// Makes the way lead to `parent`; what it shares with the way before is kept.
void AnchorState::follow(std::string_view parent) const {
  while (!steps_.empty() && !leads_to(parent)) steps_.pop_back();
  decisions_.resize(steps_.size() * counts_.size());
  std::uint64_t place = kHashSeed;
  std::size_t at = 0;
  if (!steps_.empty()) {
    place = steps_.back().place;
    at = steps_.back().size;
    if (at == parent.size()) return;
    place = add_byte(place, parent[at++]);
  }
  way_.assign(parent);
  for (; at < parent.size(); ++at) {
    if (is_separator(parent[at])) push_step(place, at, parent);
    place = add_byte(place, parent[at]);
  }
  push_step(place, parent.size(), parent);
}

/// The hash of a scope; what it shares with the way is not read again.
std::uint64_t AnchorState::place_of(std::string_view scope) const noexcept {
  if (steps_.empty() || !leads_to(scope)) return add_bytes(kHashSeed, scope);
  return add_bytes(steps_.back().place, scope.substr(steps_.back().size));
}

AnchorState::Branch AnchorState::branch(std::string_view path) const {
  const std::size_t cut = last_separator(path);
  if (cut == std::string_view::npos) return {path, 0, 0};
  follow(path.substr(0, cut));
  return {path, cut, steps_.size()};
}

/// The newest capture at the object itself.
std::uint32_t AnchorState::own_chain(const Branch& branch) const noexcept {
  const std::uint64_t above = branch.steps == 0 ? kHashSeed : steps_[branch.steps - 1].place;
  return chain(add_bytes(above, branch.path.substr(branch.parent_size)));
}

std::optional<std::string_view> AnchorState::decide(std::uint32_t key, const Branch& branch) const {
  if (!has_captures(key)) return std::nullopt;
  std::uint32_t decision = kNone;
  if (branch.steps > 0) decision = decisions_[(branch.steps - 1) * counts_.size() + key];
  // Between scopes that are written alike the ancestor always comes first.
  if (decision != kNone && !is_mixed_) return capture(decision).text;
  for (std::uint32_t at = own_chain(branch); at != kNone; at = records_[at].next) {
    if (records_[at].key != key || !same_scope(capture(at).scope, branch.path)) continue;
    if (decision == kNone || precedes(at, decision, branch.path)) decision = at;
  }
  if (decision == kNone) return std::nullopt;
  return capture(decision).text;
}

runtime::Ref<AnchorState> AnchorState::clone() const {
  auto copy = runtime::make<AnchorState>();
  copy->apply(*this);
  return copy;
}

void AnchorState::apply(const AnchorState& other) {
  if (this == &other) return;
  keys_ = other.keys_;
  counts_ = other.counts_;
  records_ = other.records_;
  arena_ = other.arena_;
  index_ = other.index_;
  separator_ = other.separator_;
  is_mixed_ = other.is_mixed_;
  forget_way(0);
}

void AnchorState::swap(AnchorState& other) noexcept {
  std::swap(keys_, other.keys_);
  std::swap(counts_, other.counts_);
  std::swap(records_, other.records_);
  std::swap(arena_, other.arena_);
  std::swap(index_, other.index_);
  std::swap(separator_, other.separator_);
  std::swap(is_mixed_, other.is_mixed_);
  forget_way(0);
  other.forget_way(0);
}

runtime::Ref<AnchorState> AnchorState::join(const AnchorState& left, const AnchorState& right) {
  auto joined = left.clone();
  for (std::size_t at = 0; at < right.size(); ++at) {
    const Capture capture = right.capture(at);
    const std::string& definition = (*right.keys_)[capture.key].definition;
    const auto found = std::ranges::find(*left.keys_, definition, &AnchorKey::definition);
    if (found == left.keys_->end()) continue;
    joined->add(static_cast<std::uint32_t>(found - left.keys_->begin()), capture.scope,
                capture.text);
  }
  return joined;
}

std::vector<std::pair<std::string_view, std::string_view>> AnchorState::content(
    std::uint32_t key) const {
  std::vector<std::pair<std::string_view, std::string_view>> result;
  for (std::size_t at = 0; at < size(); ++at) {
    const Capture one = capture(at);
    if (one.key == key) result.emplace_back(one.scope, one.text);
  }
  std::ranges::sort(result);
  return result;
}

std::size_t AnchorState::hash() const {
  // A sum, because the order in which captures were made does not count.
  std::size_t sum = 0;
  for (std::size_t at = 0; at < size(); ++at) {
    const Capture capture = this->capture(at);
    const std::hash<std::string_view> hash_text;
    std::size_t one = hash_text((*keys_)[capture.key].definition);
    one = one * kHashFactor + hash_text(capture.scope);
    one = one * kHashFactor + hash_text(capture.text);
    sum += one;
  }
  return sum;
}

bool operator==(const AnchorState& left, const AnchorState& right) {
  const auto& keys = *left.keys_;
  if (!std::ranges::equal(keys, *right.keys_, {}, &AnchorKey::definition, &AnchorKey::definition)) {
    return false;
  }
  if (left.counts_ != right.counts_) return false;
  for (std::uint32_t key = 0; key < keys.size(); ++key) {
    if (left.content(key) != right.content(key)) return false;
  }
  return true;
}

}  // namespace kavel::hierarchy
