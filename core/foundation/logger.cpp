#include "core/foundation/logger.h"

#include <exception>

#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

void write(runtime::LogLevel level, const std::string& message) {
  runtime::services().log->write(level, message);
}

std::string entry_of(const runtime::FaultReport& report) {
  std::string entry = report.class_name + ": " + report.message;
  if (!report.traceback.empty()) entry += "\n" + report.traceback;
  return entry;
}

}  // namespace

void log_debug(const std::string& message) { write(runtime::LogLevel::debug, message); }
void log_info(const std::string& message) { write(runtime::LogLevel::info, message); }
void log_warning(const std::string& message) { write(runtime::LogLevel::warning, message); }
void log_error(const std::string& message) { write(runtime::LogLevel::error, message); }

void log_exception() {
  const auto report = runtime::services().faults->report(std::current_exception());
  if (!report) throw;
  log_error(entry_of(*report));
}

void log_foreign_exception() {
  const auto report = runtime::services().faults->report_foreign(std::current_exception());
  if (!report) throw;
  try {
    log_error(entry_of(*report));
  } catch (...) {
    if (!runtime::services().faults->report_foreign(std::current_exception())) throw;
  }
}

}  // namespace kavel::foundation
