#include "core/services/statistics.h"

#include "core/foundation/logger.h"
#include "core/runtime/services.h"
#include "host/adaptors/http_response.h"
#include "host/adaptors/statistics.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/http_body.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using services::Statistics;
using services::StatisticsRequest;
using services::StatisticsResponse;

void bind_request(py::class_<Statistics>& store) {
  auto request = define<StatisticsRequest>(store, "HttpRequest",
                                           "The body of a request: user and records as JSON.");
  define_init(
      request,
      [](const py::object& contents, std::optional<std::string> username) {
        const Value clean = runtime::services().json->clean(to_value(contents));
        if (!username) username = StatisticsRequest::current_user();
        return new StatisticsRequest(runtime::services().json->dump(clean, 0), *username);
      },
      py::arg("contents"), py::arg("username") = py::none(),
      "Without a name that of the variable USERNAME, empty when it is unset.");
  request.def_readonly("username", &StatisticsRequest::username, "The user's name.");
  request.def_property_readonly("contents", &StatisticsRequest::contents,
                                "The records, a fresh map.");
  bind_json_body(request);
}

void bind_response(py::class_<Statistics>& store) {
  auto response = define<StatisticsResponse>(store, "HttpResponse", "What a response says.");
  define_init(
      response, [](const py::object& raw) { return new StatisticsResponse(reports_success(raw)); },
      py::arg("response"), "From the host's response: `status`, else `getcode()` or `code`.");
  response.def_readonly("accepted", &StatisticsResponse::accepted, "Whether the status is 200.");
}

void add(Statistics& self, const py::object& record) {
  if (const services::StatisticsRecord* plain = plain_record(record)) return self.add(*plain);
  foundation::guarded(
      [&] { self.add(from_text(record.attr("key")), to_value(record.attr("data"))); });
}

void bind_actions(py::class_<Statistics>& store) {
  store.def("add", &add, py::arg("record"),
            "Appends a record of one of the types; failures are logged.");
  store.def("write", &Statistics::write,
            "Merges the records into the file; failures are logged and leave the records as they "
            "are. Waits for the turn at the file.");
  store.def("create_http_request", &Statistics::create_http_request,
            "The records for the server, an `HttpRequest`.");
  store.def(
      "accept_http_response",
      [](Statistics& self, const py::object& response, bool clear) {
        if (py::isinstance<StatisticsResponse>(response)) {
          return self.accept_http_response(response.cast<const StatisticsResponse&>(), clear);
        }
        self.accept_http_response(StatisticsResponse(reports_success(response)), clear);
      },
      py::arg("response"), py::arg("clear"),
      "Takes an `HttpResponse` or the host's own. With `clear` an accepted one removes what the "
      "last request carried, here and in the file.");
  store.def("_clear", &Statistics::clear, "Removes every record; the file keeps its own.");
  store.def("_extend", &Statistics::extend, py::arg("content"),
            "Merges the records into a map as the file has it, in place.");
  store.def("_read", &Statistics::read, "What the file holds, an empty map if it is of no use.");
  store.def(
      "_ensure_attributes", [](const Statistics&) {},
      "Does nothing: every type has its array and the version is set at any time.");
}

}  // namespace

void bind_statistics(py::module_& module) {
  auto store = define<Statistics>(module, "_Statistics", "The local store of usage records.");
  store.attr("version") = services::kStatisticsVersion;
  bind_statistics_records(namespace_class(store, "Type", "The types of usage records."));
  bind_request(store);
  bind_response(store);
  define_init(
      store,
      [](const py::object& environment) {
        return new Statistics(from_text(environment.attr("get_statistics_file")()));
      },
      py::arg("env"), "Reads the environment's statistics file; never raises for its content.");
  bind_actions(store);
  store.def_readwrite("maximum_records", &Statistics::maximum_records,
                      "Records kept of each type, the newest ones.");
  store.def_property_readonly("_path", &Statistics::path, "The statistics file.");
  store.def_property_readonly("_data", &Statistics::data, "The records, a fresh map.");
  store.def_property_readonly(
      "_mutex_edit", [](const Statistics& self) { return self.lock().value(); },
      "The lock that guards the records.");
}

}  // namespace kavel::host
