#include "core/scene/buffer.h"

#include <algorithm>
#include <unordered_set>

#include "core/foundation/errors.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/scene/decoration.h"
#include "core/scene/embedding.h"
#include "core/scene/scope_roots.h"

namespace kavel::scene {
namespace {

using Buckets = std::vector<BucketRef>;

/// The bucket itself, else the first equal one.
Buckets::const_iterator position_of(const Buckets& buckets, const BucketRef& bucket) {
  const auto same = std::ranges::find(buckets, bucket);
  if (same != buckets.end()) return same;
  return std::ranges::find_if(buckets, [&](const BucketRef& other) { return *other == *bucket; });
}

void replace_in(std::optional<std::string>& text, const std::string& old,
                const std::string& replacement) {
  if (text) text = foundation::replace_all(*text, old, replacement);
}

}  // namespace

Buffer::Buffer(std::unique_ptr<OperatorPort> port, runtime::Ref<Virtual> scene,
               runtime::Ref<hierarchy::Matcher> matcher)
    : operator_(std::move(port)),
      scene_(std::move(scene)),
      matcher_(std::move(matcher)),
      data_(runtime::make<BucketList>()),
      incompatibles_(runtime::make<BucketList>()) {}

void Buffer::each_reference(runtime::ReferenceVisitor& visitor) const {
  operator_->each_reference(visitor);
  visitor(scene_);
  visitor(matcher_);
  visitor(data_);
  visitor(incompatibles_);
}

void Buffer::drop_references() noexcept {
  operator_->drop_references();
  data_->drop_references();
  incompatibles_->drop_references();
}

Buckets Buffer::checked() const {
  Buckets chosen;
  std::ranges::copy_if(data_->items, std::back_inserter(chosen),
                       [](const BucketRef& bucket) { return bucket->checked; });
  return chosen;
}

bool Buffer::contains(const BucketRef& bucket) const {
  return position_of(data_->items, bucket) != data_->items.end();
}

void Buffer::set(const Buckets& buckets) {
  clear_all();
  add(buckets);
}

void Buffer::add(const Buckets& buckets) {
  data_->items.insert(data_->items.end(), buckets.begin(), buckets.end());
}

void Buffer::clear(const BucketRef& bucket) {
  const auto position = position_of(data_->items, bucket);
  if (position == data_->items.end()) {
    throw foundation::Error(foundation::ErrorKind::value, "the bucket is not in the buffer");
  }
  const BucketRef removed = *position;
  data_->items.erase(position);
  std::erase(incompatibles_->items, removed);
  undecorate(*operator_, flatten(removed->joint));
}

void Buffer::clear_all() {
  // Emptied first: taking joints back runs foreign code, and removing one by one is quadratic.
  Buckets removed;
  std::swap(removed, data_->items);
  std::unordered_set<const Bucket*> gone;
  for (const BucketRef& bucket : removed) gone.insert(bucket.get());
  std::erase_if(incompatibles_->items,
                [&](const BucketRef& bucket) { return gone.contains(bucket.get()); });
  for (const BucketRef& bucket : removed) undecorate(*operator_, flatten(bucket->joint));
}

void Buffer::load() { set(decode(operator_->query_filedata())); }

void Buffer::update() {
  const runtime::Value data = encode(data_->items);
  operator_->erase_filedata();
  operator_->embed_filedata(data);
}

void Buffer::erase() {
  operator_->erase_filedata();
  scene_->offload();
  clear_all();
  incompatibles_->drop_references();
}

void Buffer::commit(const std::function<void()>& revert) {
  bool erased = false;
  try {
    sort();
    const runtime::Value data = encode(data_->items);
    operator_->erase_filedata();
    erased = true;
    operator_->embed_filedata(data);
  } catch (...) {
    revert();
    const auto restore = [this] { operator_->embed_filedata(encode(data_->items)); };
    if (erased && !data_->items.empty() && !foundation::guarded(restore)) clear_all();
    throw;
  }
}

void Buffer::rename(const std::string& old, const std::string& replacement) {
  for (const BucketRef& bucket : data_->items) replace_in(bucket->name, old, replacement);
}

void Buffer::repath(const std::string& old, const std::string& replacement) {
  for (const BucketRef& bucket : data_->items) {
    for (const JointRef& joint : flatten(bucket->joint)) replace_in(joint->path, old, replacement);
  }
}

void Buffer::sort() {
  for (const BucketRef& bucket : data_->items) {
    for (const JointRef& joint : flatten(bucket->joint)) joint->sort_children();
  }
}

}  // namespace kavel::scene
