// What the host carries between the store of usage records and a shared server.
#pragma once

#include <string>
#include <utility>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::services {

/// The body of a request: the user's name and a copy of the records.
class StatisticsRequest final : public runtime::Object {
 public:
  /// `contents` goes in as its JSON text: a fraction of the size of the records themselves.
  StatisticsRequest(std::string contents, std::string user)
      : username(std::move(user)), contents_(std::move(contents)) {}

  /// The user's name as the process environment has it, empty when it does not say.
  [[nodiscard]] static std::string current_user();

  /// {"username", "contents"} in one line.
  [[nodiscard]] std::string text() const;
  /// The records, made from the text each time.
  [[nodiscard]] runtime::Value contents() const;

  const std::string username;

 private:
  std::string contents_;
};

/// What the host's response says.
class StatisticsResponse final : public runtime::Object {
 public:
  explicit StatisticsResponse(bool is_accepted) : accepted(is_accepted) {}

  /// Whether the server took the records.
  const bool accepted;
};

}  // namespace kavel::services
