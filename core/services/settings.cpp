#include "core/services/settings.h"

#include <utility>

#include "core/foundation/document.h"
#include "core/foundation/json_file.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::services {
namespace {

using foundation::Json;
using runtime::make;

constexpr foundation::DocumentMessages kMessages = {
    .corrupted = "Read Corrupted Settings: {}",
    .incompatible = "Incompatible Settings File",
};
constexpr std::int64_t kDefaultPort = 443;

/// The content of `key`, empty when it is missing.
Json part(const Json& data, std::string_view key) {
  const Json* found = data.find(key);
  return found != nullptr ? *found : Json();
}

/// The mode of `data` if it is one of `modes`, else the first of them.
template <std::size_t Count>
std::int64_t mode_of(const Json& data, const facade::Constant (&modes)[Count]) {
  const Json* stored = data.find("mode");
  for (const facade::Constant& mode : modes) {
    const auto* value = stored != nullptr ? stored->integer() : nullptr;
    if (value != nullptr && *value == mode.number) return *value;
  }
  return modes[0].number;
}

}  // namespace

CheckState::CheckState(const Json& data)
    : directories(make<CheckDirectories>(part(data, "directories"))),
      config(make<CheckConfig>(part(data, "list"))),
      presets(make<CheckPresets>(part(data, "presets"))),
      mode(mode_of(data, facade::kCheckModes)) {}

void CheckState::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(directories);
  visitor(config);
  visitor(presets);
}

Json CheckState::data() const {
  return Json::Map{{"directories", directories->data()},
                   {"mode", mode},
                   {"list", config->data()},
                   {"presets", presets->data()}};
}

Json CheckState::file_data() const {
  Json data = this->data();
  data.set("directories", directories->file_data());
  return data;
}

ExportSettings::ExportSettings(const Json& data)
    : mode(mode_of(data, facade::kExportModes)), directory(data.text_or("directory", "~")) {}

Json ExportSettings::data() const { return Json::Map{{"mode", mode}, {"directory", directory}}; }

Workspace::Workspace(const Json& data)
    : project(data.text_or("project", "")), check_updates(data.boolean_or("check_updates", true)) {}

Json Workspace::data() const {
  return Json::Map{{"project", project}, {"check_updates", check_updates}};
}

ServerSettings::ServerSettings(const Json& data)
    : enabled(data.boolean_or("enabled", false)),
      erase_sent(data.boolean_or("erase_sent", false)),
      host_(data.text_or("host", "")),
      port_(kDefaultPort) {
  const Json* stored = data.find("port");
  if (stored != nullptr && stored->integer() != nullptr) port_ = *stored->integer();
  publish();
}

Json ServerSettings::data() const {
  return Json::Map{
      {"enabled", enabled}, {"host", host_}, {"port", port_}, {"erase_sent", erase_sent}};
}

void ServerSettings::set_host(std::string host) {
  host_ = std::move(host);
  publish();
}

void ServerSettings::set_port(std::int64_t port) {
  port_ = port;
  publish();
}

void ServerSettings::publish() const {
  // The operating system refuses some texts, such as one with a NUL.
  foundation::guarded([&] {
    runtime::services().system->set_variable("KAVEL-SERVER", host_ + ":" + std::to_string(port_));
  });
}

Settings::Settings(const Source& source) : path_(source.file) {
  const Json content = read();
  check = make<CheckState>(part(content, "check"));
  exporter = make<ExportSettings>(part(content, "export"));
  workspace = make<Workspace>(part(content, "workspace"));
  server = make<ServerSettings>(part(content, "server"));
  urls = make<ServiceUrls>(source.target, source.scope);
}

void Settings::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(check);
  visitor(exporter);
  visitor(workspace);
  visitor(server);
  visitor(urls);
}

Json Settings::read() {
  using State = foundation::Document::State;
  const foundation::Document document = foundation::read_document(path_, kMessages);
  keeps_unread_ = document.state == State::unusable;
  if (document.state != State::usable) return Json::Map();
  if (part(document.content, "version") != Json(kVersion)) {
    keeps_unread_ = true;
    foundation::log_warning(foundation::format("Incompatible Settings Version - {}", {path_}));
    return Json::Map();
  }
  return document.content;
}

Json Settings::data() const {
  return Json::Map{{"version", kVersion},
                   {"check", check->data()},
                   {"export", exporter->data()},
                   {"workspace", workspace->data()},
                   {"server", server->data()}};
}

void Settings::write() {
  foundation::guarded([&] {
    if (keeps_unread_ && runtime::services().files->exists(path_)) foundation::copy_aside(path_);
    keeps_unread_ = false;
    Json content = data();
    content.set("check", check->file_data());
    foundation::write_document(path_, content);
  });
}

}  // namespace kavel::services
