// The ports of core/runtime over the interpreter's standard library.
#pragma once

#include "core/runtime/services.h"

namespace kavel::host {

/// Installs value operations and services; called once when the module is loaded.
void install_runtime();

// One maker a port, each in its own file. The returned object lives as long as the process and
// owns no object of the interpreter.
[[nodiscard]] runtime::Regex* regex_port();
[[nodiscard]] runtime::JsonText* json_port();
[[nodiscard]] runtime::Log* log_port();
[[nodiscard]] runtime::System* system_port();
[[nodiscard]] runtime::Threads* threads_port();
[[nodiscard]] runtime::Files* files_port();
[[nodiscard]] runtime::Faults* faults_port();
[[nodiscard]] runtime::Unicode* unicode_port();
[[nodiscard]] runtime::PlainData* data_port();
[[nodiscard]] runtime::Modules* modules_port();
[[nodiscard]] runtime::Https* https_port();

}  // namespace kavel::host
