// One typed parameter of a check or of an export format, as its author describes it and with its
// value.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/foundation/errors.h"
#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::checks {

using foundation::Json;
using runtime::Ref;
using runtime::Value;

/// Number of changes to any input so far. Whoever keeps copies of inputs compares it to learn
/// whether one may have changed; reading never counts.
[[nodiscard]] std::uint64_t edits() noexcept;
void note_edit() noexcept;

/// What the user interface shows; never changes, so copies share it.
struct InputTexts {
  std::string attr;
  std::string label;
  std::string help_text;
};

class Input;

/// The operations of an input whose class was derived outside of the core.
class InputOverrides {
 public:
  virtual ~InputOverrides() = default;
  [[nodiscard]] virtual Json data(const Input& input) const = 0;
  virtual void load(Input& input, const Json& data) const = 0;
  [[nodiscard]] virtual Ref<Input> clone(const Input& input) const = 0;
};

class Input : public runtime::Object {
 public:
  /// Throws the attribute-name errors of `assert_attribute_name`.
  explicit Input(InputTexts texts);

  [[nodiscard]] const std::string& attr() const noexcept { return texts_->attr; }
  [[nodiscard]] const std::string& label() const noexcept { return texts_->label; }
  [[nodiscard]] const std::string& help_text() const noexcept { return texts_->help_text; }
  /// The input in the words of a log.
  [[nodiscard]] std::string text() const;

  /// The value in the form in which it is stored.
  [[nodiscard]] Json data() const { return overrides_ ? overrides_->data(*this) : own_data(); }
  /// Takes a stored value over; what is missing stays. Throws for a value of another shape, and
  /// keeps its value then.
  void load(const Json& data) { overrides_ ? overrides_->load(*this, data) : own_load(data); }
  /// The same description and value.
  [[nodiscard]] Ref<Input> clone() const {
    return overrides_ ? overrides_->clone(*this) : own_clone();
  }

  // The class's own operations, which a derived class may call.
  [[nodiscard]] virtual Json own_data() const;
  virtual void own_load(const Json& data);
  [[nodiscard]] virtual Ref<Input> own_clone() const;

  /// The value in the state of an options tree; nothing for inputs that have no place in one.
  [[nodiscard]] virtual std::optional<Json> option() const { return std::nullopt; }
  /// Sets the value from such a state. False for a value of another type, which changes nothing.
  virtual bool set_option(const Json& /*value*/) { return false; }

  /// `overrides` lives as long as the program.
  void set_overrides(const InputOverrides* overrides) noexcept { overrides_ = overrides; }
  /// Whether its values may change without being counted.
  [[nodiscard]] bool is_overridden() const noexcept { return overrides_ != nullptr; }

 protected:
  /// A copy that shares the texts and is of the core's own class.
  explicit Input(std::shared_ptr<const InputTexts> texts) noexcept : texts_(std::move(texts)) {}
  [[nodiscard]] const std::shared_ptr<const InputTexts>& texts() const noexcept { return texts_; }

 private:
  std::shared_ptr<const InputTexts> texts_;
  const InputOverrides* overrides_ = nullptr;
};

/// The value under `key` of a stored object, null when it has none. Throws a type error when
/// `data` is no object.
[[nodiscard]] const Json* stored(const Json& data, std::string_view key);
/// A type error: the stored value of an input is not what is expected.
[[nodiscard]] foundation::Error wrong_type(const Input& input, const char* expected);

}  // namespace kavel::checks
