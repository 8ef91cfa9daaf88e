// What a host carries back from the shared server, and the form in which bodies go both ways.
#pragma once

#include <string>
#include <string_view>

namespace kavel::foundation {

/// The one header of a request that the core asks for, and the one of an answer that it reads.
inline constexpr std::string_view kContentType = "Content-type";
inline constexpr std::string_view kJsonContent = "application/json";

/// The host's own response. Both operations throw what it raises.
class HttpAnswer {
 public:
  virtual ~HttpAnswer() = default;
  /// Value of the header `kContentType` as it was sent, empty when it is absent.
  [[nodiscard]] virtual std::string content_type() = 0;
  /// The whole body.
  [[nodiscard]] virtual std::string body() = 0;
};

}  // namespace kavel::foundation
