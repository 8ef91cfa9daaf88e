#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

py::module_ os() { return py::module_::import("os"); }
py::object path_module() { return os().attr("path"); }

std::pair<std::string, std::string> text_pair(const py::object& pair) {
  return {from_text(pair[py::int_(0)]), from_text(pair[py::int_(1)])};
}

class InterpreterFiles final : public runtime::Files {
 public:
  bool exists(const std::string& path) override { return ask("exists", path); }
  bool is_directory(const std::string& path) override { return ask("isdir", path); }
  bool is_link(const std::string& path) override { return ask("islink", path); }
  bool is_writable(const std::string& path) override {
    return os().attr("access")(to_text(path), os().attr("W_OK")).cast<bool>();
  }

  std::vector<std::string> list(const std::string& directory) override {
    const py::object names =
        py::module_::import("builtins").attr("sorted")(os().attr("listdir")(to_text(directory)));
    return texts(names);
  }

  double size(const std::string& path) override {
    return path_module().attr("getsize")(to_text(path)).cast<double>();
  }
  double modified(const std::string& path) override {
    return path_module().attr("getmtime")(to_text(path)).cast<double>();
  }

  std::string read(const std::string& path) override {
    assert_ends(path);
    const py::object file = open(path, "rb");
    try {
      const auto bytes = py::reinterpret_borrow<py::bytes>(file.attr("read")());
      file.attr("close")();
      return static_cast<std::string>(bytes);
    } catch (...) {
      close_quietly(file);
      throw;
    }
  }

  std::string read_text(const std::string& path) override {
    assert_ends(path);
    const py::object file =
        py::module_::import("builtins").attr("open")(to_text(path), py::arg("encoding") = "utf-8");
    try {
      const py::object text = file.attr("read")();
      file.attr("close")();
      return from_text(text);
    } catch (...) {
      close_quietly(file);
      throw;
    }
  }

  void write(const std::string& path, std::string_view bytes) override {
    const py::object file = open(path, "wb");
    try {
      file.attr("write")(py::bytes(bytes.data(), bytes.size()));
      file.attr("flush")();
      os().attr("fsync")(file.attr("fileno")());
      file.attr("close")();
    } catch (...) {
      close_quietly(file);
      throw;
    }
  }

  bool create(const std::string& path) override {
    try {
      make_empty(path, os().attr("O_EXCL"));
    } catch (const py::error_already_set& error) {
      if (!error.matches(PyExc_FileExistsError)) throw;
      return false;
    }
    return true;
  }

  void touch(const std::string& path) override {
    make_empty(path, py::getattr(os(), "O_NOFOLLOW", py::int_(0)) | os().attr("O_TRUNC"));
  }

  void make_directory(const std::string& path) override {
    try {
      os().attr("mkdir")(to_text(path));
    } catch (py::error_already_set& error) {
      if (!error.matches(PyExc_FileExistsError) || !is_directory(path)) throw;
    }
  }

  void remove(const std::string& path) override { os().attr("remove")(to_text(path)); }

  void replace(const std::string& source, const std::string& target) override {
    os().attr("replace")(to_text(source), to_text(target));
  }
  void copy(const std::string& source, const std::string& target) override {
    py::module_::import("shutil").attr("copyfile")(to_text(source), to_text(target));
  }
  void copy_mode(const std::string& source, const std::string& target) override {
    py::module_::import("shutil").attr("copymode")(to_text(source), to_text(target));
  }

  std::string join(const std::string& left, const std::string& right) override {
    return from_text(path_module().attr("join")(to_text(left), to_text(right)));
  }
  std::string normalise(const std::string& path) override { return derive("normpath", path); }
  std::string absolute(const std::string& path) override { return derive("abspath", path); }
  std::string resolve(const std::string& path) override { return derive("realpath", path); }

  std::pair<std::string, std::string> split(const std::string& path) override {
    return text_pair(path_module().attr("split")(to_text(path)));
  }
  std::pair<std::string, std::string> split_extension(const std::string& name) override {
    return text_pair(path_module().attr("splitext")(to_text(name)));
  }

 private:
  static bool ask(const char* question, const std::string& path) {
    return path_module().attr(question)(to_text(path)).cast<bool>();
  }
  static std::string derive(const char* operation, const std::string& path) {
    return from_text(path_module().attr(operation)(to_text(path)));
  }
  /// Reading a pipe or a device may wait for ever; folders and missing files fail on their own.
  static void assert_ends(const std::string& path) {
    py::object mode;
    try {
      mode = os().attr("stat")(to_text(path)).attr("st_mode");
    } catch (const py::error_already_set& error) {
      if (!error.matches(PyExc_OSError)) throw;
      return;
    }
    const py::module_ kinds = py::module_::import("stat");
    if (kinds.attr("S_ISREG")(mode).cast<bool>() || kinds.attr("S_ISDIR")(mode).cast<bool>())
      return;
    const py::tuple reason = py::make_tuple(py::module_::import("errno").attr("EINVAL"),
                                            "not a regular file", to_text(path));
    PyErr_SetObject(PyExc_OSError, reason.ptr());
    throw py::error_already_set();
  }
  static py::object open(const std::string& path, const char* mode) {
    return py::module_::import("builtins").attr("open")(to_text(path), mode);
  }
  static void make_empty(const std::string& path, const py::object& flags) {
    const auto module = os();
    const py::object all = module.attr("O_CREAT") | module.attr("O_WRONLY") | flags;
    module.attr("close")(module.attr("open")(to_text(path), all, 0666));
  }
  static void close_quietly(const py::object& file) {
    try {
      file.attr("close")();
    } catch (const py::error_already_set&) {
      // The first failure is the one to report.
    }
  }
};

}  // namespace

runtime::Files* files_port() {
  static InterpreterFiles port;
  return &port;
}

}  // namespace kavel::host
