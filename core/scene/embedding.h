// The form in which buckets are stored inside the scene file: a list with one map per bucket, each
// with the map of its root joint, which holds those of its children. Both ways work with a stack:
// a scene may be deep, and what a scene file holds comes from others.
#pragma once

#include <vector>

#include "core/runtime/value.h"
#include "core/scene/bucket.h"

namespace kavel::scene {

/// A fresh list of maps of texts (or none), Booleans and lists. Takes a copy of the buckets:
/// foreign code may run meanwhile.
[[nodiscard]] runtime::Value encode(std::vector<BucketRef> buckets);

/// The buckets of a list; empty for an empty value. Entries that are no maps are skipped with a
/// warning, missing and wrong-typed fields take their defaults (none, no children, true).
[[nodiscard]] std::vector<BucketRef> decode(const runtime::Value& data);

}  // namespace kavel::scene
