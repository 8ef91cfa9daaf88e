#include "core/scene/software.h"

namespace kavel::scene {

std::string_view detect_software(const std::function<bool(std::string_view module)>& importable) {
  for (const Software& software : kSoftware) {
    if (importable(software.module)) return software.name;
  }
  return kUnknownSoftware;
}

}  // namespace kavel::scene
