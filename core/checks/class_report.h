// What became of a file or class that the loader of check classes came across.
#pragma once

#include <string>
#include <utility>

#include "core/runtime/object.h"

namespace kavel::checks {

/// One note of the loader. Its texts never change.
class ClassReport final : public runtime::Object {
 public:
  struct Outcome {
    /// A module that ran, or a class that is offered.
    static constexpr const char* kLoaded = "loaded";
    /// A class that fails the validity test.
    static constexpr const char* kDenied = "denied";
    /// A class whose identity another one has already, or a folder that was searched already.
    static constexpr const char* kDuplicate = "duplicate";
    /// A module that could not be loaded, or a folder that could not be read.
    static constexpr const char* kFailed = "failed";
    /// A class that derives straight from the base: a base for others.
    static constexpr const char* kIntermediate = "intermediate";
    /// A folder that the user turned off.
    static constexpr const char* kDisabled = "disabled";
  };

  struct Note {
    /// The module's file, or the folder.
    std::string file{};
    /// The module's bare name; empty for a folder.
    std::string module{};
    /// Empty for a file or folder.
    std::string class_name{};
    /// Empty for what has none.
    std::string class_id{};
    std::string outcome{};
    /// Why, in one line; empty where there is nothing to say.
    std::string reason{};
    /// Of the exception that was raised, if one was.
    std::string traceback{};
  };

  explicit ClassReport(Note content) : note(std::move(content)) {}

  const Note note;
};

}  // namespace kavel::checks
