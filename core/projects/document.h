// One project as a document: its name, description and target, its history of records, and the
// file in which it lives.
//
// The file is shared with other editors: it is read and replaced in turns of its access queue, and
// `is_outdated` tells that another editor made it grow. A document of another version than ours is
// kept as it was read and written back so, because what we do not understand must survive.
#pragma once

#include <optional>
#include <string>

#include "core/foundation/document.h"
#include "core/foundation/json.h"
#include "core/projects/history.h"
#include "core/projects/ports.h"

namespace kavel::projects {

class Document final : public runtime::Object, public DocumentPort {
 public:
  /// The version that is written and understood here.
  static constexpr std::int64_t kVersion = 3;
  static constexpr foundation::DocumentMessages kMessages{"Read Corrupted Project: {}",
                                                          "Incompatible Project File"};

  /// From the data of a document. A `filename` that is not empty wins over that of the data. Throws
  /// for data of a wrong type, with its place.
  Document(Uplink<CollectionPort> collection, std::string directory, std::string filename,
           const foundation::Json& file_data);
  /// From a file. What cannot be read or used is logged and gives an empty document.
  [[nodiscard]] static runtime::Ref<Document> open(Uplink<CollectionPort> collection,
                                                   const std::string& path);
  /// The same from what was read already, when the file was `size` bytes long.
  [[nodiscard]] static runtime::Ref<Document> from_file(Uplink<CollectionPort> collection,
                                                        const std::string& path,
                                                        const foundation::Document& file,
                                                        double size);

  /// "edit_timestamp" of the data of a document; 0 for what is no finite number.
  [[nodiscard]] static double edit_time_of(const foundation::Json& file_data);
  /// Size in bytes, 0 when there is no such file.
  [[nodiscard]] static double size_on_disk(const std::string& path);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override { collection_.drop(); }
  [[nodiscard]] runtime::Object* owner() const noexcept override { return collection_.owner(); }

  [[nodiscard]] const Uplink<CollectionPort>& collection() const noexcept { return collection_; }
  [[nodiscard]] const runtime::Ref<History>& history() const noexcept { return history_; }
  [[nodiscard]] const std::string& directory() const noexcept { return directory_; }
  [[nodiscard]] const std::string& filename() const noexcept { return filename_; }
  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const std::string& description() const noexcept { return description_; }
  [[nodiscard]] const std::string& target() const noexcept { return target_; }
  [[nodiscard]] bool deleted() const noexcept { return deleted_; }
  void set_name(std::string name);
  void set_description(std::string description);
  /// A deleted project's file stays, so that the mark reaches other editors.
  void set_deleted(bool deleted);
  void clear_filename() noexcept { filename_.clear(); }

  [[nodiscard]] bool compatible() const noexcept { return version == kVersion; }
  /// The path of the file; a document without a file name gets one.
  [[nodiscard]] std::string path();
  /// Makes a file name from the name and random digits, unless there is one.
  void ensure_filename();

  /// Replaces the content. Missing keys take their defaults, but the file name stays; one in the
  /// data counts only when it is safe. Throws for values of a wrong type; nothing changes then. Of
  /// another version only what has the expected form is taken.
  void apply(const foundation::Json& file_data);
  /// "name", "description", "records", "selected_record", "deleted", "version", "filename",
  /// "target"; of another version the data as read, without the time of the edit.
  [[nodiscard]] foundation::Json data() const;
  /// The data with "edit_timestamp", as it is written.
  [[nodiscard]] foundation::Json file_data() const;
  /// A copy in the same collection and for the same file.
  [[nodiscard]] runtime::Ref<Document> clone() const;
  /// A new unsaved copy of the selected record, without author and comment.
  [[nodiscard]] runtime::Ref<Record> make_promise() const;

  /// Throws a value error for another version, whose records could not be written.
  void assert_editable() override;
  /// Marks it edited and hands it to the collection.
  void save() override;
  /// Sets the time of the edit to now, and later than it was in any case.
  void mark_edited();
  /// Replaces the file's content; false, with a log entry, when that fails. Content that could not
  /// be taken over is kept in the folder ".corrupted" first.
  bool write();
  /// Reads the file again if it exists; a failure is logged and changes nothing.
  void reload();
  /// Takes over what somebody else wrote to the file, as `apply` does; a working copy that the user
  /// edits stays.
  void adopt(const foundation::Json& file_data);
  /// Whether the file has grown since it was read or written here.
  [[nodiscard]] bool is_outdated() const;
  /// Size in bytes of the file when it was read or written here, 0 when there was none.
  [[nodiscard]] double write_timestamp() const noexcept { return size_; }

  /// Seconds since the epoch.
  double edit_timestamp = 0;
  std::int64_t version = -1;

 private:
  [[nodiscard]] std::string file_path() const;
  /// Whether the content of the file could be applied; if not, that is logged.
  bool take_over(const foundation::Document& file);
  void set_filename(std::string filename);

  Uplink<CollectionPort> collection_;
  std::string directory_;
  std::string filename_;
  std::string name_;
  std::string description_;
  std::string target_;
  bool deleted_ = false;
  const LinkEnd<DocumentPort> links_{*this, *this};
  const runtime::Ref<History> history_;
  /// The object that a document of another version was read from.
  std::optional<foundation::Json> verbatim_;
  double size_ = 0;
  /// Whether the file holds what could not be read or taken over when it was last looked at.
  bool unread_ = false;
};

}  // namespace kavel::projects
