// The interpreter's plain lists and maps, one level at a time: for data that is too deep for a
// recursive copy. Nothing here runs foreign code.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/runtime/value.h"

namespace kavel::runtime {

class PlainData {
 public:
  virtual ~PlainData() = default;

  /// Elements of a list or tuple, a snapshot; nothing for any other value.
  [[nodiscard]] virtual std::optional<std::vector<Value>> elements(const Value& value) = 0;
  [[nodiscard]] virtual bool is_map(const Value& value) = 0;
  /// Number of entries of a map.
  [[nodiscard]] virtual std::size_t map_size(const Value& map) = 0;
  /// The value under `key`, an empty one when there is none. `map` is a map.
  [[nodiscard]] virtual Value entry(const Value& map, const Value& key) = 0;
  /// Keys and values of a map, a snapshot.
  [[nodiscard]] virtual std::vector<std::pair<Value, Value>> entries(const Value& map) = 0;
  /// Nothing for a value that is no text, or no Boolean.
  [[nodiscard]] virtual std::optional<std::string> text(const Value& value) = 0;
  [[nodiscard]] virtual std::optional<bool> boolean(const Value& value) = 0;
  /// Nothing for a value that is no real number; a whole one is none.
  [[nodiscard]] virtual std::optional<double> real(const Value& value) = 0;

  [[nodiscard]] virtual Value make_text(std::string_view text) = 0;
  /// None for nothing.
  [[nodiscard]] virtual Value make_optional_text(const std::optional<std::string>& text) = 0;
  [[nodiscard]] virtual Value make_boolean(bool value) = 0;
  [[nodiscard]] virtual Value make_list() = 0;
  [[nodiscard]] virtual Value make_map() = 0;
  /// A copy whose keys and values are those of `map`.
  [[nodiscard]] virtual Value copy_map(const Value& map) = 0;
  virtual void append(const Value& list, const Value& item) = 0;
  virtual void set(const Value& map, const Value& key, const Value& value) = 0;
};

}  // namespace kavel::runtime
