// Documents: JSON objects in files that several editors share. One way to read them, which puts
// what cannot be parsed aside, and one way to replace them.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/value.h"

namespace kavel::foundation {

class AccessQueue;

/// What is logged about a file; "{}" stands for its path.
struct DocumentMessages {
  /// An error: the content is no JSON, and the file was moved into the folder ".corrupted".
  std::string_view corrupted;
  /// A warning: the content is no JSON object.
  std::string_view incompatible;
};

struct Document {
  enum class State {
    missing,
    /// There is a file, but it could not be read or used; the reason was logged.
    unusable,
    usable,
  };

  State state = State::missing;
  /// A map; empty unless usable.
  Json content = Json::Map();
};

/// Reads a document in a turn of its own. Content that is no JSON is read once more in a fresh
/// turn before it is given up. Never throws but for interrupts.
[[nodiscard]] Document read_document(const std::string& path, const DocumentMessages& messages);
/// The same for many, in their order; their turns overlap, so they cost hardly more than one.
[[nodiscard]] std::vector<Document> read_documents(const std::vector<std::string>& paths,
                                                   const DocumentMessages& messages);

/// A document as the interpreter parsed it, for readers that convert it themselves.
struct RawDocument {
  Document::State state = Document::State::missing;
  /// A map when usable, else empty.
  runtime::Value content;
};
[[nodiscard]] RawDocument read_raw_document(const std::string& path,
                                            const DocumentMessages& messages);

/// Runs `change(turn)` in a turn that writes: it reads the turn's data and sets what is written, or
/// takes `turn.write` back. A file whose content cannot be parsed is moved into the folder
/// ".corrupted" first. Throws the errors of the turn, of the change and of writing.
void update_document(const std::string& path, const std::function<void(AccessQueue&)>& change);
/// Replaces the document's content.
void write_document(const std::string& path, const Json& content);

}  // namespace kavel::foundation
