// JSON texts made without the interpreter, for stores that write a hundred thousand records at a
// time: the same form as the interpreter's encoder gives, non-ASCII characters as they are.
#pragma once

#include <string>
#include <string_view>

#include "core/foundation/json.h"

namespace kavel::foundation {

inline constexpr int kOneLine = -1;

/// Appends `json`, in one line or, as files have it, indented by 2 with its own brackets at
/// `depth`. A lone surrogate, which UTF-8 has no form for, is written as its escape. `json` is as
/// deep as the core's own form allows, so recursion is bounded.
void append_json(std::string& output, const Json& json, int depth);
void append_json(std::string& output, std::string_view text);
/// Reads back as the same real number; infinite ones and NaN as the interpreter writes them.
void append_json(std::string& output, double number);

[[nodiscard]] std::string json_line(const Json& json);

}  // namespace kavel::foundation
