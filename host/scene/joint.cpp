#include "core/scene/joint.h"

#include "core/scene/bucket.h"
#include "host/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using scene::Bucket;
using scene::Joint;
using scene::JointKind;
using scene::JointRef;
using Text = std::optional<std::string>;

void refill(Joint& joint, std::vector<JointRef> children) {
  std::swap(joint.children()->items, children);
}

void bind_kind_field(py::class_<Joint>& joint, const char* name, Text JointKind::*field,
                     const char* doc) {
  joint.def_property(
      name, [field](const Joint& self) { return self.kind().*field; },
      [field](Joint& self, const Text& text) {
        JointKind kind = self.kind();
        kind.*field = text;
        self.set_kind(std::move(kind));
      },
      doc);
}

void bind_joint_fields(py::class_<Joint>& joint) {
  bind_kind_field(joint, "stamp", &JointKind::stamp, "Stamp of the rule whose checks apply.");
  joint.def_readwrite("name", &Joint::name, "Name of the object.");
  joint.def_readwrite("path", &Joint::path, "Path of the object in the scene.");
  bind_kind_field(joint, "type", &JointKind::type, "Name of the rule; \"ghost\" for a ghost.");
  bind_kind_field(joint, "icon", &JointKind::icon, "Icon name.");
  bind_kind_field(joint, "color", &JointKind::color, "Colour, in hexadecimal digits.");
  joint.def_property(
      "children", [](Joint& self) { return self.children(); },
      [](Joint& self, const py::object& children) {
        refill(self, detail::elements<JointRef>(children));
      },
      "The child items, a live list; assigning refills it.");
}

void bind_joint(py::handle buffer) {
  bind_list<JointRef>(buffer, "_JointList", "A live list of joints.");
  auto joint = define<Joint>(buffer, "DataJoint",
                             "A data class to describe a single item in the hierarchy data.");
  const auto none = py::none();
  define_init(
      joint,
      [](const Text& stamp, const Text& name, const Text& path, const Text& type, const Text& icon,
         const Text& color, const py::object& children) {
        auto kind = std::make_shared<const JointKind>(JointKind{stamp, type, icon, color});
        const std::vector<JointRef> below = detail::elements<JointRef>(children);
        auto* made = new Joint(std::move(kind), name, path);
        if (!below.empty()) refill(*made, below);
        return made;
      },
      py::arg("stamp") = none, py::arg("name") = none, py::arg("path") = none,
      py::arg("type") = none, py::arg("icon") = none, py::arg("color") = none,
      py::arg("children") = py::tuple());
  bind_joint_fields(joint);
  joint.def("is_ghost", &Joint::is_ghost, "Whether it stands for an item without an object.");
  joint.def("__eq__", [](const Joint& self, const py::object& other) {
    return py::isinstance<Joint>(other) && self == other.cast<const Joint&>();
  });
  joint.def("__hash__", [](const Joint& self) {
    return py::hash(py::make_tuple(self.kind().stamp, self.name, self.path, self.kind().type));
  });
}

void bind_bucket(py::handle buffer) {
  bind_list<scene::BucketRef>(buffer, "_BucketList", "A live list of buckets.");
  auto bucket = define<Bucket>(buffer, "DataBucket",
                               "One stored hierarchy, and how it is shown and worked on.");
  const auto checked_joint = [](const JointRef& joint) {
    if (!joint) throw py::type_error("a bucket needs a joint");
    return joint;
  };
  define_init(
      bucket,
      [checked_joint](const JointRef& joint, const Text& name, bool checked, bool opened) {
        return new Bucket(checked_joint(joint), name, checked, opened);
      },
      py::arg("joint"), py::arg("name") = py::none(), py::arg("checked") = true,
      py::arg("opened") = true);
  bucket.def_property(
      "joint", [](const Bucket& self) { return self.joint; },
      [checked_joint](Bucket& self, const JointRef& joint) { self.joint = checked_joint(joint); },
      "The root of the hierarchy.");
  bucket.def_readwrite("name", &Bucket::name, "Display name.");
  bucket.def_readwrite("_name", &Bucket::name, "Display name.");
  bucket.def_readwrite("checked", &Bucket::checked, "Ticked for validation and export.");
  bucket.def_readwrite("opened", &Bucket::opened, "Expanded in the user interface.");
  bucket.def(
      "get_joints",
      [](const Bucket& self) {
        py::list joints;
        for (const JointRef& joint : scene::flatten(self.joint)) joints.append(expose(joint));
        return joints;
      },
      "Every joint of the hierarchy, the root first, then each child's subtree.");
  bucket.def("__eq__", [](const Bucket& self, const py::object& other) {
    return py::isinstance<Bucket>(other) && self == other.cast<const Bucket&>();
  });
  bucket.attr("__hash__") = py::none();
}

}  // namespace

void bind_joints(py::handle buffer) {
  bind_joint(buffer);
  bind_bucket(buffer);
}

}  // namespace kavel::host
