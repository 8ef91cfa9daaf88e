#include "core/export/exporter.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "core/export/target.h"
#include "core/foundation/busy.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::exporting {
namespace {

using facade::CheckMode;
using facade::ExportMode;
using Tasks = std::vector<runtime::Ref<Task>>;

constexpr const char* kDialogCaption = "Set Directory";
constexpr const char* kHome = "~";

double now() { return runtime::services().system->monotonic(); }

}  // namespace

/// One run over the queue. The format and the switches are those of its start.
struct Exporter::Run {
  std::string directory;
  Tasks tasks;
  /// All but the roots and the file.
  scene::ExportOrder order;
  bool version_control = false;
  std::unique_ptr<scene::OperatorPort> scene;
  /// Those written without version control.
  std::unordered_set<std::string> files;
  bool has_warned = false;
  double started = now();
  std::optional<double> seconds;

  [[nodiscard]] std::int64_t count_written() const {
    return std::ranges::count_if(tasks, [](const auto& task) { return task->is_confirmed(); });
  }
};

Exporter::Exporter(std::unique_ptr<ExporterPort> port, runtime::Ref<Options> formats)
    : options(std::move(formats)),
      flags(runtime::make<Flags>()),
      queue(runtime::make<Queue>()),
      port_(std::move(port)) {}

void Exporter::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(options);
  visitor(flags);
  visitor(queue);
  port_->each_reference(visitor);
}

void Exporter::drop_references() noexcept { port_->drop_references(); }

void Exporter::once(const std::function<void()>& work) {
  if (is_running_) {
    foundation::log_warning("An export is under way already");
    return;
  }
  const foundation::Busy busy(is_running_);
  work();
}

void Exporter::start() {
  once([this] {
    const std::optional<std::string> directory = find_directory();
    if (!directory || !runtime::services().files->is_directory(*directory)) {
      port_->fire("lost_export_directory");
      return;
    }
    const auto mode = port_->check_mode();
    if (mode == CheckMode::project) perform_now([this] { plan_project(); }, *directory);
    if (mode == CheckMode::selection) perform_now([this] { plan_selection(); }, *directory);
  });
}

void Exporter::project(const std::string& directory) {
  perform([this] { plan_project(); }, directory);
}

void Exporter::selected(const std::string& directory) {
  perform([this] { plan_selection(); }, directory);
}

void Exporter::perform(const std::function<void()>& planner, const std::string& directory) {
  once([&] { perform_now(planner, directory); });
}

void Exporter::perform_now(const std::function<void()>& planner, const std::string& directory) {
  queue->clear();
  planner();
  write_queue(directory);
}

void Exporter::resolve_queue(const std::string& directory) {
  once([&] { write_queue(directory); });
}

std::optional<std::string> Exporter::find_directory() {
  // An empty path is never decoded: that would give the current folder.
  std::string directory;
  const auto mode = port_->mode();
  if (mode == ExportMode::project) {
    directory = port_->project_directory();
    if (!directory.empty()) directory = port_->decode_user(directory);
  } else if (mode == ExportMode::local) {
    const auto file = port_->operator_port()->get_current_file();
    if (file) directory = runtime::services().files->split(*file).first;
  } else if (mode == ExportMode::choose) {
    std::string starting = kHome;
    foundation::guarded([&] {
      const std::string stored = port_->settings_directory();
      if (!stored.empty()) starting = port_->decode_user(stored);
    });
    return port_->operator_port()->directory_dialog(starting, kDialogCaption);
  }
  if (directory.empty()) return std::nullopt;
  return directory;
}

void Exporter::plan_project() {
  const auto scene = port_->operator_port();
  Tasks planned;
  for (Hierarchy& hierarchy : port_->checked()) {
    auto task = runtime::make<Task>(std::move(hierarchy.name));
    for (std::string& root : hierarchy.roots) {
      if (scene->object_exists(root)) task->add(std::move(root));
    }
    planned.push_back(std::move(task));
  }
  for (auto& task : planned) queue->add(std::move(task));
}

void Exporter::plan_selection() {
  for (std::string& root : port_->operator_port()->get_selection_roots()) {
    if (root.empty()) continue;
    auto task = runtime::make<Task>(foundation::replace_all(root, "/", "_"));
    task->add(std::move(root));
    queue->add(std::move(task));
  }
}

void Exporter::write_queue(const std::string& directory) {
  if (queue->is_empty()) return port_->fire("empty_export_selection");
  // Without a folder the files would go into the current one.
  if (directory.empty()) return port_->fire("lost_export_directory");
  Run run;
  run.directory = directory;
  run.tasks = queue->tasks->items;
  try {
    write_all(run);
    run.seconds = now() - run.started;
    announce(run);
  } catch (...) {
    record(run);
    throw;
  }
  record(run);
}

void Exporter::write_all(Run& run) {
  const Format* format = options->selected_format();
  if (format == nullptr) {
    foundation::log_error("There is no format to export to");
    return;
  }
  run.order.type = format->attr();
  run.order.arguments = format->values();
  run.order.automatic_uv = flags->automatic_uv;
  run.order.triangulate = flags->triangulate;
  run.order.reset_xforms = flags->reset_xforms;
  run.version_control = flags->version_control;
  run.scene = port_->operator_port();
  const auto restore = [&] {
    // The host may have emptied the queue; what became of the files is shown all the same.
    Tasks kept = run.tasks;
    if (queue->tasks->items != kept) std::swap(queue->tasks->items, kept);
  };
  try {
    run.scene->keep_selection([&] {
      for (const auto& task : run.tasks) write(*task, run);
    });
  } catch (...) {
    restore();
    throw;
  }
  restore();
}

void Exporter::write(Task& task, Run& run) {
  if (task.is_empty()) return;
  const auto write_to = [&](const std::string& path) {
    scene::ExportOrder order = run.order;
    order.roots = task.roots->items;
    order.file_path = path;
    if (run.scene->export_roots(order)) task.confirm();
  };
  foundation::guarded([&] {
    const Target target(run.directory, task.name, run.order.type);
    if (run.version_control) return target.with_free_version(write_to);
    const std::string path = target.path();
    if (!run.files.insert(path).second && !std::exchange(run.has_warned, true)) {
      foundation::log_warning("Several exports go into one file, the last one stays: " + path);
    }
    write_to(path);
  });
}

void Exporter::announce(const Run& run) {
  const std::int64_t written = run.count_written();
  const bool skipped = std::cmp_less(written, run.tasks.size());
  if (written > 0) port_->fire("export_success");
  if (skipped) port_->fire("export_skipped");
}

void Exporter::record(const Run& run) {
  foundation::guarded([&] {
    const std::int64_t written = run.count_written();
    port_->record({.format = run.order.type,
                   .written = written,
                   .skipped = static_cast<std::int64_t>(run.tasks.size()) - written,
                   .seconds = run.seconds.value_or(now() - run.started)});
  });
}

}  // namespace kavel::exporting
