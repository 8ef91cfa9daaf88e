#include "core/foundation/document.h"

#include <exception>
#include <iterator>
#include <utility>

#include "core/foundation/access_queue.h"
#include "core/foundation/bulk_read.h"
#include "core/foundation/errors.h"
#include "core/foundation/json_file.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

/// Positions of the files that exist.
std::vector<std::size_t> existing(const std::vector<std::string>& paths) {
  std::vector<std::size_t> positions;
  for (std::size_t index = 0; index < paths.size(); ++index) {
    if (runtime::services().files->exists(paths[index])) positions.push_back(index);
  }
  return positions;
}

std::vector<std::string> selected(const std::vector<std::string>& paths,
                                  const std::vector<std::size_t>& positions) {
  std::vector<std::string> result;
  result.reserve(positions.size());
  for (const std::size_t position : positions) result.push_back(paths[position]);
  return result;
}

/// Reads again what was no JSON: the turn before may have met a file that somebody was writing.
void read_again(const std::vector<std::string>& paths, const DocumentMessages& messages,
                std::vector<TurnContent>& contents) {
  std::vector<std::size_t> broken;
  for (std::size_t index = 0; index < contents.size(); ++index) {
    if (contents[index].error && is_no_json(contents[index].error)) broken.push_back(index);
  }
  auto again = read_in_turns(selected(paths, broken), [&](const std::string& path) {
    log_error(format(messages.corrupted, {path}));
    move_corrupted(path);
  });
  for (std::size_t index = 0; index < broken.size(); ++index) {
    contents[broken[index]] = std::move(again[index]);
  }
}

/// Errors that do not tell the file themselves do so when they leave.
Json converted(const std::string& path, const TurnContent& content) {
  const auto& services = runtime::services();
  if (content.error && services.faults->is(content.error, "RecursionError")) {
    throw Error(ErrorKind::recursion, path + ": JSON data is nested too deeply");
  }
  try {
    if (content.error) std::rethrow_exception(content.error);
    return services.json->to_json(content.data);
  } catch (const Error& error) {
    throw Error(error.kind(), path + ": " + error.what());
  }
}

Document document(const std::string& path, const TurnContent& content,
                  const DocumentMessages& messages) {
  Document result{.state = Document::State::unusable};
  // Already logged when it was moved aside.
  if (content.error && is_no_json(content.error)) return result;
  Json json;
  if (!guarded([&] { json = converted(path, content); })) return result;
  if (json.map() == nullptr) {
    log_warning(format(messages.incompatible, {path}));
    return result;
  }
  return {.state = Document::State::usable, .content = std::move(json)};
}

/// Whether a file with this failure can only be replaced by moving it aside.
bool is_hopeless(const std::exception_ptr& error) {
  return is_no_json(error) || runtime::services().faults->is(error, "RecursionError");
}

}  // namespace

Document read_document(const std::string& path, const DocumentMessages& messages) {
  return read_documents({path}, messages).front();
}

std::vector<Document> read_documents(const std::vector<std::string>& paths,
                                     const DocumentMessages& messages) {
  const std::vector<std::size_t> positions = existing(paths);
  const std::vector<std::string> found = selected(paths, positions);
  std::vector<TurnContent> contents = read_in_turns(found);
  read_again(found, messages, contents);
  std::vector<Document> documents(paths.size());
  for (std::size_t index = 0; index < positions.size(); ++index) {
    documents[positions[index]] = document(found[index], contents[index], messages);
  }
  return documents;
}

RawDocument read_raw_document(const std::string& path, const DocumentMessages& messages) {
  if (existing({path}).empty()) return {};
  std::vector<TurnContent> contents = read_in_turns({path});
  read_again({path}, messages, contents);
  const TurnContent& content = contents.front();
  if (content.error) {
    if (!is_no_json(content.error)) guarded([&] { std::rethrow_exception(content.error); });
    return {.state = Document::State::unusable, .content = {}};
  }
  if (runtime::services().data->is_map(content.data)) {
    return {.state = Document::State::usable, .content = content.data};
  }
  log_warning(format(messages.incompatible, {path}));
  return {.state = Document::State::unusable, .content = {}};
}

void update_document(const std::string& path, const std::function<void(AccessQueue&)>& change) {
  try {
    with_turn(path, true, change);
    return;
  } catch (...) {
    if (!is_hopeless(std::current_exception())) throw;
    log_exception();
  }
  move_corrupted(path);
  with_turn(path, true, change);
}

void write_document(const std::string& path, const Json& content) {
  const runtime::Value data = runtime::services().json->from_json(content);
  update_document(path, [&](AccessQueue& turn) { turn.set_data(data); });
}

}  // namespace kavel::foundation
