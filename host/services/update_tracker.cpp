#include "core/services/update_tracker.h"

#include "host/bindings.h"

namespace kavel::host {
namespace {

using services::UpdateTracker;

class HostUrls final : public services::UpdateSource {
 public:
  explicit HostUrls(py::handle urls) : urls_(to_value(urls)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(urls_); }
  void drop_references() noexcept override { urls_ = Value(); }
  [[nodiscard]] Value object() const override { return urls_; }
  [[nodiscard]] std::string host() override { return from_text(from_value(urls_).attr("host")); }
  [[nodiscard]] std::string path() override {
    return from_text(from_value(urls_).attr("path").attr("latest"));
  }

 private:
  Value urls_;
};

/// The text of a version that is given as a text, as numbers or as one number.
std::string version_text(const py::object& version) {
  if (!py::isinstance<py::list>(version) && !py::isinstance<py::tuple>(version)) {
    return from_text(py::str(version));
  }
  py::list parts;
  for (const py::handle part : py::list(version)) parts.append(py::str(part));
  return from_text(py::str(".").attr("join")(parts));
}

void bind_steps(py::class_<UpdateTracker>& tracker) {
  tracker.def_static(
      "_handle_version",
      [](const py::object& version) { return UpdateTracker::clean_version(version_text(version)); },
      py::arg("version"), "A version as a text of at least three parts; numbers are joined.");
  tracker.def_static("_clean_version", &UpdateTracker::clean_version, py::arg("text"),
                     "The text with \".0\" appended until it has three parts.");
  tracker.def_static(
      "_is_version",
      [](const py::object& text) {
        return is_text(text) && UpdateTracker::is_version(from_text(text));
      },
      py::arg("text"), "Whether it is a text whose parts between points are all digits 0 to 9.");
  tracker.def_static(
      "_is_above_version",
      [](const py::object& local, const py::object& remote) {
        return is_text(local) && is_text(remote) &&
               UpdateTracker::is_above_version(from_text(local), from_text(remote));
      },
      py::arg("local"), py::arg("remote"),
      "Whether the first part that differs is the greater number in `remote`; False for what is no "
      "version.");
  tracker.def("_get_version_response", &UpdateTracker::ask,
              "Asks the server: the header `Kavel-Version` of its answer, or none. A failure is "
              "logged.");
}

}  // namespace

void bind_update_tracker(py::module_& module) {
  auto tracker =
      define<UpdateTracker>(module, "UpdateTracker", "Whether a newer version is available.");
  define_init(
      tracker,
      [](const py::object& api, const py::object& local_version) {
        auto urls = std::make_unique<HostUrls>(api.attr("settings").attr("urls"));
        return new UpdateTracker(std::move(urls), version_text(local_version));
      },
      py::arg("api"), py::arg("local_version"),
      "Takes `host` and `path.latest` of `api.settings.urls` and the running version, a text or a "
      "sequence of numbers. Asks nothing yet.");
  tracker.def("exist", &UpdateTracker::exist,
              "Whether there is a newer version. Asks the server over HTTPS the first time, also "
              "when that failed, and never raises for a failure: it is logged.");
  tracker.def_property_readonly("version", &UpdateTracker::version,
                                "The latest version; none before it is known.");
  for (const char* name : {"accepted", "_accepted"}) {
    tracker.def_property_readonly(
        name, [](const UpdateTracker&) { return true; }, "True: the tracker is ready.");
  }
  tracker.def_readwrite("timeout", &UpdateTracker::timeout,
                        "Seconds that asking may take, 10 at first; each address that does not "
                        "respond may take as long for itself.");
  tracker.def_property_readonly(
      "_urls", [](const UpdateTracker& self) { return self.source().object(); },
      "The addresses of the settings.");
  tracker.def_property_readonly("_local_version", &UpdateTracker::local_version,
                                "The running version.");
  tracker.def_property_readonly("_remote_version", &UpdateTracker::remote_version,
                                "What the server answered, or none.");
  bind_steps(tracker);
}

}  // namespace kavel::host
