// The export settings that a record keeps.
#pragma once

#include <string>

#include "core/export/flags.h"
#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::projects {

/// Options are kept as they were written: which formats there are is known to the exporters only,
/// and those of a format that is not installed here must survive.
class RecordExport final : public runtime::Object {
 public:
  /// From {"directory", "options", "flags"}; missing ones take their defaults. Throws for values of
  /// a wrong type.
  explicit RecordExport(const foundation::Json& data);

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(flags_); }

  [[nodiscard]] const runtime::Ref<exporting::Flags>& flags() const noexcept { return flags_; }
  /// The options, a map.
  [[nodiscard]] const foundation::Json& options() const noexcept { return options_; }
  /// Replaces the options; throws a type error for anything but a map.
  void set_options(foundation::Json options);
  [[nodiscard]] foundation::Json data() const;

  /// Target folder; "~" stands for the user's home.
  std::string directory;

 private:
  foundation::Json options_;
  const runtime::Ref<exporting::Flags> flags_;
};

}  // namespace kavel::projects
