// Finds check classes in folders. Each module is loaded by itself; whatever it raises, or if it
// tries to leave the program, it is noted and the search goes on.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/checks/check_class.h"
#include "core/checks/class_report.h"
#include "core/runtime/modules.h"

namespace kavel::checks {

/// A folder that is searched; `object` is what the interpreter knows it by.
struct CheckFolder {
  std::string path;
  bool enabled = true;
  Value object;
};

/// What the loader asks of the interpreter.
class ClassSource {
 public:
  virtual ~ClassSource() = default;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;
  virtual void drop_references() noexcept = 0;
  /// The check directories, as they were given.
  [[nodiscard]] virtual Value object() const = 0;
  [[nodiscard]] virtual std::vector<CheckFolder> folders() = 0;
  /// The classes below the base of all checks that a module holds, by their names there.
  [[nodiscard]] virtual std::vector<std::unique_ptr<CheckClassPort>> check_classes(
      const Value& module) = 0;
};

/// One search through all folders.
class ClassLoader {
 public:
  /// Modules that are registered are added to `modules`.
  ClassLoader(ClassSource& source, std::vector<Value>& modules)
      : source_(source), modules_(modules) {}

  void search(const CheckFolder& folder);
  /// The accepted classes in order of category and sort index.
  [[nodiscard]] std::vector<std::pair<std::string, Value>> sorted() const;

  std::vector<Value> denied;
  std::vector<Ref<ClassReport>> report;

 private:
  struct Accepted {
    Value check_class;
    std::string class_id;
    /// In lower case.
    std::string category;
    double sort_index;
  };

  void search_folder(const std::string& path);
  void search_module(const runtime::ModuleEntry& entry);
  void examine(const CheckClassPort& found, ClassReport::Note note);
  void classify(const CheckClassPort& found, bool is_known, ClassReport::Note& note);
  void accept(const CheckClassPort& found, ClassReport::Note& note);
  void add_report(ClassReport::Note note);
  /// Notes the exception being handled as the reason; the name of its class. Throws on interrupts.
  std::string note_failure(ClassReport::Note& note, const char* outcome);

  ClassSource& source_;
  std::vector<Value>& modules_;
  std::vector<Accepted> accepted_;
  /// Where each identity was first found.
  std::map<std::string, std::string> places_;
  /// Classes that were noted: a class may be found again in modules that import it.
  std::vector<Value> noted_;
  std::set<std::string> visited_;
};

}  // namespace kavel::checks
