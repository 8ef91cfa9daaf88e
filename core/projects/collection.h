// Every project of one host application found in the projects folder.
//
// Concurrency: the table is guarded by one lock of the interpreter, because the host's network
// thread saves and erases projects while the user works. Loading, looking up, saving and taking an
// answer of the server over hold it; so nothing that runs inside may walk the documents, which
// takes it for each one. Callbacks are fired after its release. An answer is taken over in slices,
// between which the lock is free: a lookup then sees a part of it.
//
// The server is the arbiter between editors: the newer edit wins, and a project that it does not
// have any more goes here too. What was edited here and gives way is kept (see file_changes.h).
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/projects/collection_http.h"
#include "core/projects/document.h"
#include "core/projects/file_changes.h"
#include "core/projects/header.h"
#include "core/projects/ports.h"
#include "core/projects/server_memory.h"
#include "core/runtime/threads.h"

namespace kavel::projects {

class Collection final : public runtime::Object, public CollectionPort {
 public:
  using Table = std::map<std::string, runtime::Ref<Document>>;

  /// Loads every project of `target`; a folder that is missing is logged and gives an empty table.
  Collection(std::unique_ptr<ApiPort> api, std::string target);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] const ApiPort& api() const noexcept { return *api_; }
  [[nodiscard]] const std::string& target() const noexcept { return target_; }
  [[nodiscard]] const Table& table() const noexcept { return table_; }
  [[nodiscard]] runtime::Lock& lock() const noexcept { return *editing_; }

  /// Reads all project files of the folder, side by side, into the table.
  void load();
  /// Reads one; it enters the table only if it is approved. Takes no lock.
  void load_file(const std::string& path);
  /// Whether a document is of our target and has a version that is not negative.
  [[nodiscard]] bool is_approved(const Document& document) const noexcept;

  /// The documents, deleted ones included, in the order of their file names.
  [[nodiscard]] std::vector<runtime::Ref<Document>> documents() const;
  /// Names of the projects that are not deleted, sorted.
  [[nodiscard]] std::vector<std::string> names() const;
  /// Summaries of the projects that are not deleted, by name and then by time of edit.
  [[nodiscard]] std::vector<runtime::Ref<Header>> headers() const;
  /// The document of a file, read again when another editor made the file grow; the empty project
  /// when there is none.
  [[nodiscard]] runtime::Ref<Document> get(const std::string& filename);
  /// Path of the first document of that name.
  [[nodiscard]] std::optional<std::string> get_file(const std::string& name);
  /// A new project without a file.
  [[nodiscard]] runtime::Ref<Document> get_empty() const;

  /// Writes the document and stores it in the table; announces it when it was written.
  void save_project(const runtime::Ref<Document>& document) override;
  /// Removes a document of the table and its file; a failure with the file is logged. Takes no
  /// lock.
  void erase_project(const std::string& filename);

  /// All documents for the server, deleted ones included. The collection remembers what the oldest
  /// request without an answer carries.
  [[nodiscard]] runtime::Ref<ProjectsRequest> create_http_request();
  /// Takes over what the server has: its newer and unknown projects are written, and those that it
  /// does not list are erased, unless they were saved since that request. A document that is known
  /// takes the new content and stays the same object. False when the answer was not accepted or
  /// some project of it could not be written, which is logged: another answer should follow.
  bool accept_http_response(const ProjectsResponse& response);

  /// The projects folder.
  std::string directory;

 private:
  using ServerContent = ProjectsResponse::Content;

  [[nodiscard]] std::vector<std::string> project_files() const;
  [[nodiscard]] runtime::Ref<Document> find(const std::string& filename) const;
  void insert(const runtime::Ref<Document>& document);
  // The halves of a synchronisation, each of which takes the lock slice by slice.
  bool take_arrivals(const ServerContent& server);
  void drop_departures(const ServerContent& server);
  /// The approved documents that are newer than ours or unknown here.
  [[nodiscard]] std::vector<FileChange> arrivals(const ServerContent& server) const;
  /// The documents that the server had and does not list. With this the answer counts as taken: a
  /// request that is made from now on waits for the next one.
  [[nodiscard]] std::vector<FileChange> decide_departures(const ServerContent& server);
  // Within the lock.
  [[nodiscard]] bool is_newer(const std::string& filename, double edit_time) const;
  /// Brings the table in line with what stands in a file now.
  void settle(FileChange& change);

  std::unique_ptr<ApiPort> api_;
  std::string target_;
  const LinkEnd<CollectionPort> links_{*this, *this};
  const std::unique_ptr<runtime::Lock> editing_;
  Table table_;
  ServerMemory memory_;
};

}  // namespace kavel::projects
