// The five questions of an upload, asked of the host's object. The hottest way from the core into
// the interpreter: interned names, no argument tuples, no text made anew.
#pragma once

#include "core/scene/operator.h"
#include "host/adaptors/calls.h"

namespace kavel::host {

class HostInquiry final : public scene::Inquiry {
 public:
  explicit HostInquiry(Value object) : object_(std::move(object)) {}

  Value mention(std::string_view path) override { return to_value(to_text(path)); }
  std::string_view text(const Value& path) override { return texts_.view(raw(path)); }
  scene::Facts& ask(const Value& path) override;

 private:
  static PyObject* raw(const Value& value) { return static_cast<PyObject*>(value.get()); }
  [[nodiscard]] py::object call(const OperationName& name, const Value& path) const;
  [[nodiscard]] std::string_view text_answer(const OperationName& name, const Value& path,
                                             py::object& kept);
  void children_answer(const Value& path);

  Value object_;
  const OperationName exists_{"object_exists"};
  const OperationName name_{"name_from_path"};
  const OperationName type_{"get_type"};
  const OperationName parent_{"get_parent"};
  const OperationName children_{"get_children"};
  scene::Facts facts_;
  TextViews texts_;
  // The answers own the texts that the facts show.
  py::object kept_name_;
  py::object kept_type_;
  py::object kept_parent_;
};

}  // namespace kavel::host
