// A light summary of one project, for lists.
#pragma once

#include <string>

#include "core/runtime/object.h"

namespace kavel::projects {

class Document;

class Header final : public runtime::Object {
 public:
  Header(std::string name, std::string filename, double edit_timestamp, bool compatible)
      : name(std::move(name)),
        filename(std::move(filename)),
        edit_timestamp(edit_timestamp),
        compatible(compatible) {}
  explicit Header(const Document& document);

  /// All four values, as the interpreter would print them.
  [[nodiscard]] std::string text() const;

  const std::string name;
  const std::string filename;
  /// Seconds since the epoch.
  const double edit_timestamp;
  /// Whether it can be loaded by this version.
  const bool compatible;
};

}  // namespace kavel::projects
