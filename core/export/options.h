// The export formats that a host offers, one of them selected.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::exporting {

/// One format: a tree of options under an attribute name.
class Format {
 public:
  virtual ~Format() = default;
  /// The object that stands for the format towards the host.
  [[nodiscard]] virtual const runtime::Value& value() const noexcept = 0;
  [[nodiscard]] virtual std::string attr() const = 0;
  [[nodiscard]] virtual std::string label() const = 0;
  /// {attribute name: value} of every switch, range and combo box.
  [[nodiscard]] virtual foundation::Json values() const = 0;
  /// Those values that differ from the defaults.
  [[nodiscard]] virtual foundation::Json data() const = 0;
  virtual void load(const foundation::Json& data) = 0;
  [[nodiscard]] virtual std::unique_ptr<Format> clone() const = 0;
};

class Options final : public runtime::Object {
 public:
  using Formats = std::vector<std::unique_ptr<Format>>;

  /// Selects the first format, if there is one.
  explicit Options(Formats formats);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// The objects of the formats, in order.
  [[nodiscard]] std::vector<runtime::Value> formats() const;
  /// The selected format; an empty value when there is none at all.
  [[nodiscard]] runtime::Value selected() const;
  /// The same; null when there is none.
  [[nodiscard]] const Format* selected_format() const noexcept;

  /// Selects the format that is `key` itself, else the first whose attribute name, else whose label
  /// equals it, else the first.
  void select(const runtime::Value& key, const std::string& text);
  void select_any() noexcept { selected_ = 0; }

  /// {"formats": {attribute name: values}, "selected": attribute name}.
  [[nodiscard]] foundation::Json data() const;
  /// Loads each format from its entry (an empty one when there is none) and selects.
  void load(const foundation::Json& data);
  [[nodiscard]] runtime::Ref<Options> clone() const;

 private:
  Formats formats_;
  std::size_t selected_ = 0;
};

}  // namespace kavel::exporting
