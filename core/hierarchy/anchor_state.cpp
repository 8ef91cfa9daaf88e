#include "core/hierarchy/anchor_state.h"

#include <algorithm>
#include <functional>

namespace kavel::hierarchy {
namespace {

constexpr std::uint64_t kHashSeed = 0xcbf29ce484222325;
constexpr std::uint64_t kHashFactor = 0x100000001b3;

constexpr std::uint64_t add_byte(std::uint64_t hash, char character) noexcept {
  const char unified = is_separator(character) ? '/' : character;
  return (hash ^ static_cast<unsigned char>(unified)) * kHashFactor;
}

constexpr std::uint64_t seed(std::uint32_t key) noexcept { return kHashSeed ^ (key * kHashFactor); }

/// The place in the index of a capture of `key` at `scope`.
std::uint64_t place_of(std::uint32_t key, std::string_view scope) noexcept {
  std::uint64_t hash = seed(key);
  for (const char character : scope) hash = add_byte(hash, character);
  return hash;
}

}  // namespace

AnchorState::AnchorState() : keys_(std::make_shared<const Keys>()) {}

void AnchorState::set_keys(std::shared_ptr<const Keys> keys) {
  keys_ = std::move(keys);
  counts_.assign(keys_->size(), 0);
  captures_.clear();
  heads_.clear();
}

std::uint32_t AnchorState::chain(std::uint64_t place) const noexcept {
  const auto found = heads_.find(place);
  return found == heads_.end() ? kNoCapture : found->second;
}

void AnchorState::add(std::uint32_t key, std::string_view scope, std::string text) {
  // A host may replace the keys while a question that began before them is under way.
  if (key >= counts_.size()) return;
  const std::uint64_t place = place_of(key, scope);
  const std::uint32_t head = chain(place);
  for (std::uint32_t at = head; at != kNoCapture; at = captures_[at].next) {
    const Capture& known = captures_[at];
    if (known.key == key && known.scope == scope && known.text == text) return;
  }
  captures_.push_back({key, std::string(scope), std::move(text), head});
  heads_[place] = static_cast<std::uint32_t>(captures_.size() - 1);
  ++counts_[key];
}

void AnchorState::truncate(std::size_t position) {
  while (captures_.size() > position) {
    const Capture& last = captures_.back();
    const auto head = heads_.find(place_of(last.key, last.scope));
    if (last.next == kNoCapture) {
      heads_.erase(head);
    } else {
      head->second = last.next;
    }
    --counts_[last.key];
    captures_.pop_back();
  }
}

const std::string* AnchorState::decide(std::uint32_t key, std::string_view path) const {
  if (key >= counts_.size() || counts_[key] == 0) return nullptr;
  const std::string* decision = nullptr;
  CaptureRank best;
  const auto consider = [&](std::uint64_t place) {
    for (std::uint32_t at = chain(place); at != kNoCapture; at = captures_[at].next) {
      const Capture& capture = captures_[at];
      if (capture.key != key || !same_scope(capture.scope, path)) continue;
      const CaptureRank rank = capture_rank(capture.scope, capture.text, path);
      if (decision != nullptr && rank >= best) continue;
      best = rank;
      decision = &capture.text;
    }
  };
  std::uint64_t hash = seed(key);
  for (const char character : path) {
    // Every prefix that ends before a separator is an ancestor.
    if (is_separator(character)) consider(hash);
    hash = add_byte(hash, character);
  }
  consider(hash);
  return decision;
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
  captures_ = other.captures_;
  heads_ = other.heads_;
}

void AnchorState::swap(AnchorState& other) noexcept {
  std::swap(keys_, other.keys_);
  std::swap(counts_, other.counts_);
  std::swap(captures_, other.captures_);
  std::swap(heads_, other.heads_);
}

runtime::Ref<AnchorState> AnchorState::join(const AnchorState& left, const AnchorState& right) {
  auto joined = left.clone();
  for (const Capture& capture : right.captures_) {
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
  for (const Capture& capture : captures_) {
    if (capture.key == key) result.emplace_back(capture.scope, capture.text);
  }
  std::ranges::sort(result);
  return result;
}

std::size_t AnchorState::hash() const {
  // A sum, because the order in which captures were made does not count.
  std::size_t sum = 0;
  for (const Capture& capture : captures_) {
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
