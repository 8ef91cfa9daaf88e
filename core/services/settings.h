// The user's application settings.
#pragma once

#include "core/runtime/object.h"

namespace kavel::services {

/// All settings of one user.
class Settings final : public runtime::Object {};

}  // namespace kavel::services
