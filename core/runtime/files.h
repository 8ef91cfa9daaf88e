// Files and paths as the interpreter's standard library treats them.
//
// Paths are texts; a lone surrogate in one stands for a byte that the file system's encoding could
// not decode. Failures are the interpreter's own operating-system errors and cross the core as
// they are; `foundation/errors.h` tells them apart where a caller needs it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kavel::runtime {

class Files {
 public:
  virtual ~Files() = default;

  [[nodiscard]] virtual bool exists(const std::string& path) = 0;
  [[nodiscard]] virtual bool is_directory(const std::string& path) = 0;
  [[nodiscard]] virtual bool is_link(const std::string& path) = 0;
  /// Whether this process may write into the file, as far as its protection says.
  [[nodiscard]] virtual bool is_writable(const std::string& path) = 0;
  /// Names in a folder, sorted, so that the order is the same on every machine.
  [[nodiscard]] virtual std::vector<std::string> list(const std::string& directory) = 0;
  /// Size in bytes; throws when there is no such file.
  [[nodiscard]] virtual double size(const std::string& path) = 0;
  /// Seconds since the epoch of the last change.
  [[nodiscard]] virtual double modified(const std::string& path) = 0;

  [[nodiscard]] virtual std::string read(const std::string& path) = 0;
  /// The content as a text: UTF-8, line ends as "\n". Throws the interpreter's decoding error.
  [[nodiscard]] virtual std::string read_text(const std::string& path) = 0;
  /// Creates or truncates; the data is written and closed before it returns.
  virtual void write(const std::string& path, std::string_view bytes) = 0;
  /// Makes an empty file; false when there is anything of that name already, a link included.
  [[nodiscard]] virtual bool create(const std::string& path) = 0;
  /// Creates or truncates an empty file, never through a symbolic link.
  virtual void touch(const std::string& path) = 0;
  /// Creates one level; a folder that exists afterwards is a success, whoever made it.
  virtual void make_directory(const std::string& path) = 0;
  virtual void remove(const std::string& path) = 0;
  /// Replaces `target` by `source` in one step.
  virtual void replace(const std::string& source, const std::string& target) = 0;
  virtual void copy(const std::string& source, const std::string& target) = 0;
  virtual void copy_mode(const std::string& source, const std::string& target) = 0;

  [[nodiscard]] virtual std::string join(const std::string& left, const std::string& right) = 0;
  [[nodiscard]] virtual std::string normalise(const std::string& path) = 0;
  [[nodiscard]] virtual std::string absolute(const std::string& path) = 0;
  [[nodiscard]] virtual std::string resolve(const std::string& path) = 0;
  /// Folder and last component.
  [[nodiscard]] virtual std::pair<std::string, std::string> split(const std::string& path) = 0;
  /// Stem and extension (with its dot, empty when there is none).
  [[nodiscard]] virtual std::pair<std::string, std::string> split_extension(
      const std::string& name) = 0;
};

}  // namespace kavel::runtime
