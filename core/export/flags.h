// The switches of an export.
#pragma once

#include <array>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::exporting {

/// Four switches, all off at first.
class Flags final : public runtime::Object {
 public:
  Flags() = default;

  /// Missing switches are turned off. Throws for anything but a map of Booleans; nothing changes
  /// then.
  void load(const foundation::Json& data);
  /// All four switches, in the order of `kFlagFields`.
  [[nodiscard]] foundation::Json data() const;

  bool automatic_uv = false;
  bool triangulate = false;
  bool reset_xforms = false;
  bool version_control = false;
};

struct FlagField {
  const char* name;
  bool Flags::*field;
  const char* doc;
};

inline constexpr std::array<FlagField, 4> kFlagFields = {{
    {"automatic_uv", &Flags::automatic_uv, "Create missing texture coordinates while exporting."},
    {"triangulate", &Flags::triangulate, "Export triangulated geometry."},
    {"reset_xforms", &Flags::reset_xforms, "Reset the transforms of objects before export."},
    {"version_control", &Flags::version_control,
     "Never overwrite: append the next free version number to the file name."},
}};

}  // namespace kavel::exporting
