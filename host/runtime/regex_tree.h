// The port of regular expressions: how the interpreter reads one.
#pragma once

#include <optional>
#include <string>

#include "core/runtime/regex_tree.h"
#include "host/py.h"

namespace kavel::host {

[[nodiscard]] std::optional<runtime::RegexNode> read_regex(const std::string& text);

}  // namespace kavel::host
