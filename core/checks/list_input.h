// Inputs that hold a list of elements: texts that can be switched off, expressions, slices of
// whole numbers.
#pragma once

#include <string>
#include <vector>

#include "core/checks/scalar_input.h"

namespace kavel::checks {

/// A text that counts while it is enabled.
class TextInput final : public runtime::Object {
 public:
  /// Assertion failure unless `text` is a text and `enabled` a Boolean.
  explicit TextInput(const Json& text = "", const Json& enabled = false);
  /// From {"text", "enabled"}; missing keys yield the defaults. Throws a type error for values of
  /// another type.
  [[nodiscard]] static Ref<TextInput> from(const Json& data);

  [[nodiscard]] Json data() const { return Json::Map{{"text", text_}, {"enabled", enabled_}}; }
  void load(const Json& data);
  [[nodiscard]] Ref<TextInput> clone() const;
  /// The element in the words of a log.
  [[nodiscard]] std::string description() const;

  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  void set_text(std::string text);
  [[nodiscard]] bool is_enabled() const noexcept { return enabled_; }
  void set_enabled(bool enabled) noexcept;

 private:
  std::string text_;
  bool enabled_ = false;
};

/// A text to match.
class TextMatch final : public runtime::Object {
 public:
  /// Assertion failure unless `text` is a text.
  explicit TextMatch(const Json& text = "");
  /// From {"text"}, as `TextInput::from`.
  [[nodiscard]] static Ref<TextMatch> from(const Json& data);

  [[nodiscard]] Json data() const { return Json::Map{{"text", text_}}; }
  void load(const Json& data);
  [[nodiscard]] Ref<TextMatch> clone() const;

  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  void set_text(std::string text);

 private:
  std::string text_;
};

/// Two ranges: where a slice of whole numbers starts and where it stops.
class IntSlice final : public runtime::Object {
 public:
  /// Assertion failure when one of them is null.
  IntSlice(Ref<IntRange> start, Ref<IntRange> stop);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;

  [[nodiscard]] Json data() const;
  /// Loads both ranges from {"start", "stop"}; what is missing stays.
  void load(const Json& data);
  [[nodiscard]] Ref<IntSlice> clone() const;

  const Ref<IntRange> start;
  const Ref<IntRange> stop;
};

/// What is common to the lists. `Element` has `data` and `clone`.
template <class Element>
class ListInput : public Input {
 public:
  using Item = Ref<Element>;

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(items_); }

  [[nodiscard]] Json own_data() const override;
  /// Replaces every element. Throws a type error, with nothing replaced, when `data` is no array
  /// or an element of it cannot be read.
  void own_load(const Json& data) override;

  /// Assertion failure for a null element.
  void add(Item element);
  /// Removes the element at a position that is in the list.
  Item pop(std::size_t position);
  /// A snapshot.
  [[nodiscard]] std::vector<Item> items() const { return items_; }
  [[nodiscard]] std::size_t size() const noexcept { return items_.size(); }

 protected:
  using Input::Input;
  [[nodiscard]] virtual Item make(const Json& data) const = 0;
  virtual void adapt(Element& /*element*/) const {}
  void build(std::vector<Item> elements);
  void copy_from(const ListInput& other);

 private:
  std::vector<Item> items_;
};

extern template class ListInput<TextInput>;
extern template class ListInput<TextMatch>;
extern template class ListInput<IntSlice>;

class TextInputList final : public ListInput<TextInput> {
 public:
  TextInputList(InputTexts texts, std::vector<Item> elements);

  [[nodiscard]] Ref<Input> own_clone() const override;
  /// The texts of the enabled elements.
  [[nodiscard]] std::vector<std::string> values() const;
  /// A heading and a line for each element, for a log.
  [[nodiscard]] std::string description() const;

 protected:
  [[nodiscard]] Item make(const Json& data) const override { return TextInput::from(data); }

 private:
  TextInputList(const TextInputList& other) : ListInput(other.texts()) { copy_from(other); }
};

class TextMatchList final : public ListInput<TextMatch> {
 public:
  TextMatchList(InputTexts texts, std::vector<Item> elements);

  [[nodiscard]] Ref<Input> own_clone() const override;
  /// The texts of all elements.
  [[nodiscard]] std::vector<std::string> values() const;

 protected:
  [[nodiscard]] Item make(const Json& data) const override { return TextMatch::from(data); }

 private:
  TextMatchList(const TextMatchList& other) : ListInput(other.texts()) { copy_from(other); }
};

/// Slices that all have the bounds, step and units of one given slice.
class IntSliceList final : public ListInput<IntSlice> {
 public:
  /// What is laid over a range; the range keeps its value.
  using InputSpec = IntRange::Spec;

  /// The ranges of `initial` are what every element is bounded by, their values the defaults of
  /// loaded ones. Assertion failure when it is null.
  IntSliceList(InputTexts texts, const Ref<IntSlice>& initial, std::vector<Item> elements);

  [[nodiscard]] Ref<Input> own_clone() const override;
  /// Gives the ranges of an element the bounds, step and units of the list.
  void adapt(IntSlice& element) const override;

 protected:
  [[nodiscard]] Item make(const Json& data) const override;

 private:
  struct Side {
    InputSpec spec;
    std::int64_t value;
  };
  IntSliceList(const IntSliceList& other)
      : ListInput(other.texts()), start_(other.start_), stop_(other.stop_) {
    copy_from(other);
  }
  [[nodiscard]] static Ref<IntRange> range(const char* attr, const Side& side);

  Side start_;
  Side stop_;
};

}  // namespace kavel::checks
