#include "core/checks/classes.h"

#include <utility>

#include "core/foundation/busy.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::checks {

Classes::Classes(std::unique_ptr<ClassSource> source)
    : accepted(runtime::make<runtime::List<Value>>()),
      denied(runtime::make<runtime::List<Value>>()),
      report(runtime::make<runtime::List<Ref<ClassReport>>>()),
      source_(std::move(source)) {
  reload();
}

void Classes::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(accepted);
  visitor(denied);
  visitor(report);
  source_->each_reference(visitor);
  visitor(directory_);
  visitor(modules_);
  for (const auto& [id, check_class] : table_) visitor(check_class);
}

void Classes::drop_references() noexcept {
  source_->drop_references();
  directory_ = Value();
  table_.clear();
  // They stay registered until another registry loads its own: the collector may have emptied them
  // already, so nothing can be asked of them here.
  modules_.clear();
}

void Classes::reload() {
  if (is_loading_) return foundation::log_warning("Check classes are being loaded already");
  const foundation::Busy busy(is_loading_);
  const std::vector<CheckFolder> folders = source_->folders();
  runtime::Modules& modules = *runtime::services().modules;
  std::vector<Value> loaded;
  Value directory = directory_;
  modules.forget(modules_);
  try {
    modules.refresh();
    ClassLoader loader(*source_, loaded);
    for (const CheckFolder& folder : folders) {
      directory = folder.object;
      loader.search(folder);
    }
    publish(loader);
  } catch (...) {
    modules.forget(loaded);
    modules.restore(modules_);
    throw;
  }
  std::swap(modules_, loaded);
  std::swap(directory_, directory);
}

void Classes::publish(ClassLoader& loader) {
  std::vector<Value> classes;
  std::map<std::string, Value> table;
  for (auto& [class_id, check_class] : loader.sorted()) {
    classes.push_back(check_class);
    table.emplace(std::move(class_id), std::move(check_class));
  }
  // Nothing foreign runs between the first change and the last.
  std::swap(accepted->items, classes);
  std::swap(denied->items, loader.denied);
  std::swap(report->items, loader.report);
  std::swap(table_, table);
  ++reloads_;
}

Value Classes::get(const std::string& class_id) const {
  const auto found = table_.find(class_id);
  return found == table_.end() ? Value() : found->second;
}

}  // namespace kavel::checks
