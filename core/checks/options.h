// A named tree of inputs and titled groups; it stores only what differs from its defaults.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/checks/input.h"

namespace kavel::checks {

class Group;

/// An input or a group; exactly one of them is set.
struct Node {
  Ref<Input> input;
  Ref<Group> group;
};
using Nodes = std::vector<Node>;

/// A titled group of inputs and groups inside an options tree.
class Group final : public runtime::Object {
 public:
  Group(std::string label, Nodes contents, std::optional<std::string> visibility_switch);
  /// Takes a deep tree apart without recursion.
  ~Group() override;

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override { contents.clear(); }

  /// With clones of the contents.
  [[nodiscard]] Ref<Group> clone() const;

  std::string label;
  Nodes contents;
  /// Attribute name of the switch that shows or hides the group in the user interface.
  std::optional<std::string> visibility_switch;
};

/// Clones of the nodes. Throws a recursion error for groups nested too deeply.
[[nodiscard]] Nodes clones(const Nodes& nodes);

class Options final : public runtime::Object {
 public:
  /// Throws the attribute-name errors. Of inputs with one attribute name the last counts, which is
  /// logged. `texts` are those of the tree itself.
  Options(InputTexts texts, Nodes contents);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] const InputTexts& texts() const noexcept { return texts_; }
  [[nodiscard]] const Nodes& contents() const noexcept { return contents_; }
  /// Attribute names and inputs of the whole tree, depth first.
  [[nodiscard]] const std::vector<std::pair<std::string, Ref<Input>>>& parameters() const noexcept {
    return parameters_;
  }
  [[nodiscard]] const Json& defaults() const noexcept { return defaults_; }

  /// {attribute name: value} of every switch, range and combo box.
  [[nodiscard]] Json state() const;
  /// The part of the state that differs from the defaults.
  [[nodiscard]] Json data() const;
  /// Sets every value back to its default.
  void reset();
  /// Resets, then sets the values of a map. Unknown names and values of another type are logged and
  /// left out; anything but a map counts as an empty one.
  void load(const Json& data);
  [[nodiscard]] Ref<Options> clone() const;

 private:
  void enter(const Nodes& nodes);
  void apply(const Json& state);
  [[nodiscard]] Input* find(const std::string& attr) const;

  InputTexts texts_;
  Nodes contents_;
  std::vector<std::pair<std::string, Ref<Input>>> parameters_;
  Json defaults_;
};

}  // namespace kavel::checks
