// Which state of which project is loaded.
#pragma once

#include <optional>
#include <string>

#include "core/runtime/object.h"

namespace kavel::projects {

class LoadPointer final : public runtime::Object {
 public:
  void set(const std::string& filename, double edit_timestamp) {
    filename_ = filename;
    timestamp_ = edit_timestamp;
  }
  /// Whether another file is loaded, or none.
  [[nodiscard]] bool other(const std::string& filename) const { return filename_ != filename; }
  /// Whether it was loaded with another time of edit.
  [[nodiscard]] bool edited(double edit_timestamp) const { return timestamp_ != edit_timestamp; }

  [[nodiscard]] const std::optional<std::string>& filename() const noexcept { return filename_; }
  /// Seconds since the epoch.
  [[nodiscard]] const std::optional<double>& timestamp() const noexcept { return timestamp_; }

 private:
  std::optional<std::string> filename_;
  std::optional<double> timestamp_;
};

}  // namespace kavel::projects
