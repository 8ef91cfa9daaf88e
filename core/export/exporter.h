// The export component: decides where files go and what goes into each, has the operator write
// them, and tells the host what became of it.
//
// Everything here runs on the thread that may touch the scene. The operator, the handlers and what
// else belongs to the host may do anything, so each loop goes over a snapshot, and an export that
// is asked for inside of one does nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/export/flags.h"
#include "core/export/options.h"
#include "core/export/queue.h"
#include "core/facade/constants.h"
#include "core/scene/operator.h"

namespace kavel::exporting {

/// A hierarchy that is ticked for export, and the scene paths of its roots.
struct Hierarchy {
  std::string name;
  std::vector<std::string> roots;
};

/// What became of the files of one run.
struct Outcome {
  /// The format's attribute name, empty when there was none.
  std::string format;
  std::int64_t written = 0;
  std::int64_t skipped = 0;
  double seconds = 0;
};

/// What the export asks of the program.
class ExporterPort {
 public:
  virtual ~ExporterPort() = default;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;
  virtual void drop_references() noexcept = 0;
  /// The facade, the operator and the scene buffer as they were handed in.
  [[nodiscard]] virtual runtime::Value object() const = 0;
  [[nodiscard]] virtual runtime::Value operator_object() const = 0;
  [[nodiscard]] virtual runtime::Value buffer() const = 0;

  /// Where files are written, and what is; nothing for a value that is no mode.
  [[nodiscard]] virtual std::optional<facade::ExportMode> mode() = 0;
  [[nodiscard]] virtual std::optional<facade::CheckMode> check_mode() = 0;
  /// The folders of the current project's record and of the settings, as they are stored; empty
  /// for none.
  [[nodiscard]] virtual std::string project_directory() = 0;
  [[nodiscard]] virtual std::string settings_directory() = 0;
  /// The path with the user's home in place of "~".
  [[nodiscard]] virtual std::string decode_user(const std::string& path) = 0;
  /// The ticked hierarchies of the scene buffer, in its order.
  [[nodiscard]] virtual std::vector<Hierarchy> checked() = 0;

  /// Calls the notification list of that name without arguments.
  virtual void fire(const char* name) = 0;
  /// Adds the record of an export and writes the store.
  virtual void record(const Outcome& outcome) = 0;
  [[nodiscard]] virtual std::unique_ptr<scene::OperatorPort> operator_port() = 0;
};

class Exporter final : public runtime::Object {
 public:
  Exporter(std::unique_ptr<ExporterPort> port, runtime::Ref<Options> formats);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Exports what the check mode names into the folder that the export mode names; tells the host
  /// when there is no such folder.
  void start();
  /// Replaces the queue by a task for each ticked hierarchy, or for each root of the selection, and
  /// writes it.
  void project(const std::string& directory);
  void selected(const std::string& directory);
  /// The same with tasks that `planner` adds to the queue.
  void perform(const std::function<void()>& planner, const std::string& directory);
  /// Writes the files of the queue. A failing one is logged and skipped; what the operator's scope
  /// raises, and an interrupt, ends the run. The usage record is written in any case.
  void resolve_queue(const std::string& directory);

  /// Where files go in the configured mode, whether it exists or not; nothing when there is none.
  [[nodiscard]] std::optional<std::string> find_directory();

  [[nodiscard]] ExporterPort& port() const noexcept { return *port_; }

  const runtime::Ref<Options> options;
  const runtime::Ref<Flags> flags;
  const runtime::Ref<Queue> queue;

 private:
  struct Run;
  /// Calls `work` unless an export is under way, which is logged.
  void once(const std::function<void()>& work);
  void perform_now(const std::function<void()>& planner, const std::string& directory);
  void plan_project();
  void plan_selection();
  void write_queue(const std::string& directory);
  void write_all(Run& run);
  void write(Task& task, Run& run);
  void announce(const Run& run);
  void record(const Run& run);

  std::unique_ptr<ExporterPort> port_;
  bool is_running_ = false;
};

}  // namespace kavel::exporting
