// The facade's project component: which project is current, and loading it into the running system.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/projects/collection.h"
#include "core/projects/load_pointer.h"

namespace kavel::projects {

class Component final : public runtime::Object {
 public:
  /// Builds the collection from the environment's target and folder.
  Component(std::unique_ptr<ApiPort> api, std::unique_ptr<MatcherPort> matcher);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] const ApiPort& api() const noexcept { return *api_; }
  [[nodiscard]] const MatcherPort& matcher() const noexcept { return *matcher_; }
  [[nodiscard]] const runtime::Ref<Collection>& collection() const noexcept { return collection_; }
  [[nodiscard]] const runtime::Ref<LoadPointer>& pointer() const noexcept { return pointer_; }

  /// The remembered project; when it is gone or of another version the first one that can be
  /// loaded, which is loaded; when there is none, the empty project, which is not.
  [[nodiscard]] runtime::Ref<Document> get_current();
  /// A copy of the current project with its selected record only, without name and file: the start
  /// of a new project.
  [[nodiscard]] runtime::Ref<Document> get_clone();
  /// Marks the current project deleted and loads the first that remains, else the empty project.
  /// Nothing happens when there is no current project.
  void delete_current();
  /// Loads the project of that file; when there is none, as `delete_current` goes on.
  void load(const std::string& filename);
  /// Loads a document into the matcher and the export component, unless it is of another version or
  /// loaded already with the same check classes; a document of another file becomes the current
  /// one.
  void load(Document& document);

  [[nodiscard]] bool is_active() { return api_->is_project_mode(); }
  [[nodiscard]] bool exists(const std::string& filename) const;

 private:
  /// The first project in the order of headers that can be loaded, or null.
  [[nodiscard]] runtime::Ref<Document> first_compatible() const;
  void load_first();

  std::unique_ptr<ApiPort> api_;
  std::unique_ptr<MatcherPort> matcher_;
  const runtime::Ref<Collection> collection_;
  const runtime::Ref<LoadPointer> pointer_;
  /// Of the check classes that are loaded with the project.
  std::int64_t check_reloads_ = 0;
};

}  // namespace kavel::projects
