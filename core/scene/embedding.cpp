#include "core/scene/embedding.h"

#include <unordered_map>
#include <unordered_set>

#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::scene {
namespace {

using runtime::PlainData;
using runtime::Value;

/// The keys as the interpreter's texts, made once for a run.
struct Keys {
  explicit Keys(PlainData& data)
      : joint(data.make_text("joint")),
        name(data.make_text("name")),
        checked(data.make_text("checked")),
        opened(data.make_text("opened")),
        stamp(data.make_text("stamp")),
        path(data.make_text("path")),
        type(data.make_text("type")),
        icon(data.make_text("icon")),
        color(data.make_text("color")),
        children(data.make_text("children")) {}

  Value joint, name, checked, opened, stamp, path, type, icon, color, children;
};

class Encoder {
 public:
  /// Making a list or map may start the collector and with it foreign code, which may change the
  /// buffer: everything is read from copies.
  Value run(const std::vector<BucketRef>& buckets) {
    const Value list = data_.make_list();
    for (const BucketRef& bucket : buckets) {
      const Value map = data_.make_map();
      data_.set(map, keys_.joint, tree(bucket->joint));
      data_.set(map, keys_.name, data_.make_optional_text(bucket->name));
      data_.set(map, keys_.checked, data_.make_boolean(bucket->checked));
      data_.set(map, keys_.opened, data_.make_boolean(bucket->opened));
      data_.append(list, map);
    }
    return list;
  }

 private:
  struct Level {
    JointRef joint;
    Value list;
  };

  Value tree(const JointRef& root) {
    JointWay way;
    // Without a joint where the way below the last one ends.
    std::vector<Level> pending;
    const Value map = joint_map(root, pending);
    while (!pending.empty()) {
      const Level level = std::move(pending.back());
      pending.pop_back();
      if (!level.joint) {
        way.leave();
        continue;
      }
      const auto items = level.joint->items();
      const std::vector<JointRef> children(items.begin(), items.end());
      if (!way.enter(*level.joint)) continue;
      pending.emplace_back();
      for (const JointRef& child : children) {
        // Left out as `flatten` does.
        if (!way.contains(*child)) data_.append(level.list, joint_map(child, pending));
      }
    }
    return map;
  }

  Value joint_map(const JointRef& joint, std::vector<Level>& pending) {
    const Value map = data_.copy_map(prototype(joint->shared_kind()));
    data_.set(map, keys_.name, data_.make_optional_text(joint->name));
    data_.set(map, keys_.path, data_.make_optional_text(joint->path));
    const Value list = data_.make_list();
    data_.set(map, keys_.children, list);
    if (!joint->items().empty()) pending.push_back({joint, list});
    return map;
  }

  /// The map of a joint with what all joints of a kind share; the rest is only held a place.
  Value prototype(const Joint::Kind& shared) {
    const Joint::Kind kind = shared;
    if (const auto known = prototypes_.find(kind); known != prototypes_.end()) {
      return known->second;
    }
    const Value none = data_.make_optional_text(std::nullopt);
    const Value map = data_.make_map();
    data_.set(map, keys_.stamp, data_.make_optional_text(kind->stamp));
    data_.set(map, keys_.name, none);
    data_.set(map, keys_.path, none);
    data_.set(map, keys_.type, data_.make_optional_text(kind->type));
    data_.set(map, keys_.icon, data_.make_optional_text(kind->icon));
    data_.set(map, keys_.color, data_.make_optional_text(kind->color));
    data_.set(map, keys_.children, none);
    prototypes_.emplace(kind, map);
    return map;
  }

  PlainData& data_ = *runtime::services().data;
  Keys keys_{data_};
  std::unordered_map<Joint::Kind, Value> prototypes_;
};

class Decoder {
 public:
  std::vector<BucketRef> run(const Value& stored) {
    std::vector<BucketRef> buckets;
    const auto entries = data_.elements(stored);
    if (!entries) skipped_ = 1;
    for (const Value& entry : entries.value_or(std::vector<Value>())) {
      if (!is_map(entry)) continue;
      buckets.push_back(runtime::make<Bucket>(tree(data_.entry(entry, keys_.joint)),
                                              text(entry, keys_.name), flag(entry, keys_.checked),
                                              flag(entry, keys_.opened)));
    }
    if (skipped_ > 0) {
      foundation::log_warning("skipped " + std::to_string(skipped_) +
                              " entries of the data stored in the scene: their types are wrong");
    }
    return buckets;
  }

 private:
  /// A list of joint maps still to be read; without one, the end of the way below `map`.
  struct Pending {
    Value map;
    JointRef joint;
  };

  JointRef tree(const Value& map) {
    if (!map || !is_map(map)) {
      return runtime::make<Joint>(std::make_shared<JointKind>(), std::nullopt, std::nullopt);
    }
    const JointRef root = joint(map);
    pending_.push_back({map, root});
    while (!pending_.empty()) {
      Pending next = std::move(pending_.back());
      pending_.pop_back();
      if (next.joint) {
        children(next);
      } else {
        way_.erase(next.map.get());
      }
    }
    return root;
  }

  void children(const Pending& parent) {
    const Value list = data_.entry(parent.map, keys_.children);
    if (!list) return;
    const auto entries = data_.elements(list);
    if (entries && entries->empty()) return;
    // A map below itself counts as a wrong entry too.
    if (!entries || !way_.insert(parent.map.get()).second) {
      ++skipped_;
      return;
    }
    pending_.push_back({parent.map, nullptr});
    for (const Value& entry : *entries) {
      if (!is_map(entry)) continue;
      const JointRef child = joint(entry);
      parent.joint->add(child);
      pending_.push_back({entry, child});
    }
  }

  JointRef joint(const Value& map) {
    return runtime::make<Joint>(kind(map), text(map, keys_.name), text(map, keys_.path));
  }

  /// Joints found by one pattern item mostly stand side by side: they share their kind.
  Joint::Kind kind(const Value& map) {
    JointKind read{text(map, keys_.stamp), text(map, keys_.type), text(map, keys_.icon),
                   text(map, keys_.color)};
    if (!last_kind_ || *last_kind_ != read) {
      last_kind_ = std::make_shared<const JointKind>(std::move(read));
    }
    return last_kind_;
  }

  bool is_map(const Value& entry) {
    const bool map = data_.is_map(entry);
    if (!map) ++skipped_;
    return map;
  }
  std::optional<std::string> text(const Value& map, const Value& key) {
    return data_.text(data_.entry(map, key));
  }
  bool flag(const Value& map, const Value& key) {
    return data_.boolean(data_.entry(map, key)).value_or(true);
  }

  PlainData& data_ = *runtime::services().data;
  Keys keys_{data_};
  std::vector<Pending> pending_;
  /// The maps between the root and the one being read.
  std::unordered_set<const void*> way_;
  Joint::Kind last_kind_;
  std::size_t skipped_ = 0;
};

}  // namespace

Value encode(std::vector<BucketRef> buckets) { return Encoder().run(buckets); }

std::vector<BucketRef> decode(const Value& data) {
  if (!data) return {};
  return Decoder().run(data);
}

}  // namespace kavel::scene
