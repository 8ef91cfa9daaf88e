// Fills a snapshot through the operator: one walk per root with a stack of its own, so that the
// depth of a scene is not bounded.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/scene/operator.h"
#include "core/scene/snapshot.h"

namespace kavel::scene {

class Upload {
 public:
  Upload(Snapshot& table, Inquiry& inquiry) : table_(table), inquiry_(inquiry) {}

  /// Stores `root` and all below it.
  void walk(std::string_view root);
  /// Stores one object without what is below it.
  void store_alone(std::string_view path);

 private:
  struct Pending {
    runtime::Value path;
    Id id;
    /// The object that named this one a child, most often its parent.
    Id parent;
  };

  void visit(Pending pending);
  void resolve(Pending& pending);
  [[nodiscard]] bool enter(Id id);
  [[nodiscard]] Facts* ask(Pending& pending);
  void store(const Pending& pending, const Facts& facts);
  bool follow_table();

  Snapshot& table_;
  Inquiry& inquiry_;
  std::vector<Pending> pending_;
  std::vector<Id> children_;
  /// For each Id the number of the walk in which it was asked last.
  std::vector<std::uint32_t> walks_;
  std::uint32_t walk_ = 0;
  std::uint32_t generation_ = table_.generation();
};

}  // namespace kavel::scene
