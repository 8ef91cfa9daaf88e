#include "core/scene/buffer.h"

#include "core/scene/embedding.h"
#include "host/adaptors/calls.h"
#include "host/adaptors/operator.h"
#include "host/bindings.h"
#include "host/scene/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using scene::Bucket;
using scene::BucketRef;
using scene::Buffer;
using scene::JointRef;

py::list to_list(const std::vector<BucketRef>& buckets) {
  py::list list;
  for (const BucketRef& bucket : buckets) list.append(expose(bucket));
  return list;
}

/// A snapshot, also of the buffer's own list.
std::vector<BucketRef> buckets_of(const py::object& objects) {
  return detail::elements<BucketRef>(objects);
}

BucketRef bucket_of(const py::object& object) { return detail::element<BucketRef>(object); }

py::list roots_list(const JointRef& joint) {
  py::list roots;
  for (const auto& root : scene::roots_of(*joint)) roots.append(py::cast(root));
  return roots;
}

void bind_list_operations(py::class_<Buffer>& buffer) {
  buffer.def("get", &Buffer::buckets, "The buckets, a live list.");
  buffer.def(
      "set", [](Buffer& self, const py::object& buckets) { self.set(buckets_of(buckets)); },
      py::arg("buckets"), "Clears every bucket, then takes the new ones in order.");
  buffer.def(
      "add", [](Buffer& self, const py::object& buckets) { self.add(buckets_of(buckets)); },
      py::arg("buckets"), "Appends the buckets in order.");
  for (const char* name : {"remove", "_clear"}) {
    buffer.def(
        name, [](Buffer& self, const py::object& bucket) { self.clear(bucket_of(bucket)); },
        py::arg("bucket"),
        "Removes the bucket itself, else the first equal one, and takes its joints back from the\n"
        "host. ValueError when it is not in the buffer.");
  }
  buffer.def(
      "__contains__",
      [](const Buffer& self, const py::object& bucket) {
        return py::isinstance<Bucket>(bucket) && self.contains(bucket_of(bucket));
      },
      py::arg("bucket"), "Whether an equal bucket is in the buffer.");
  buffer.def(
      "exists", [](const Buffer& self) { return !self.buckets()->items.empty(); },
      "Whether there is a bucket.");
  buffer.def(
      "get_checked", [](const Buffer& self) { return to_list(self.checked()); },
      "The checked buckets, in order.");
}

void bind_storage(py::class_<Buffer>& buffer) {
  buffer.def(
      "encode",
      [](const Buffer&, const py::object& buckets) { return scene::encode(buckets_of(buckets)); },
      py::arg("buckets"), "A list of plain maps, one per bucket.");
  buffer.def(
      "decode",
      [](const Buffer&, const py::object& data) {
        return to_list(scene::decode(truth_of(data) ? to_value(data) : Value()));
      },
      py::arg("data"),
      "The buckets of such a list; empty for none. Entries that are no maps are skipped, fields of "
      "a "
      "wrong type take their defaults.");
  buffer.def("load", &Buffer::load, "Sets the buffer from the data embedded in the open scene.");
  buffer.def("update", &Buffer::update, "Embeds the buffer in place of the data in the scene.");
  buffer.def("erase", &Buffer::erase, "Empties the embedded data, virtual scene and buffer.");
}

void bind_changes(py::class_<Buffer>& buffer) {
  buffer.def("rename", &Buffer::rename, py::arg("old"), py::arg("new"),
             "Replaces every occurrence of `old` in the names of the buckets; embeds nothing.");
  buffer.def("repath", &Buffer::repath, py::arg("old"), py::arg("new"),
             "Replaces every occurrence of `old` in the paths of all joints; embeds nothing.");
  buffer.def("sort", &Buffer::sort, "Orders the children of every joint by name.");
}

void bind_questions(py::class_<Buffer>& buffer) {
  buffer.def(
      "get_roots", [](const Buffer&, const JointRef& joint) { return roots_list(joint); },
      py::arg("joint").none(false),
      "The path of the joint, or those of its children when it is a ghost.");
  buffer.def(
      "get_path_groups",
      [](const Buffer& self) {
        py::list groups;
        const std::vector<BucketRef> buckets = self.buckets()->items;
        for (const BucketRef& bucket : buckets) {
          groups.append(roots_list(bucket->joint));
        }
        return groups;
      },
      "`get_roots` of each bucket's joint, in order.");
  buffer.def("validate", &Buffer::validate,
             "Collects the buckets that no longer fit scene and pattern in `incompatibles`.");
  buffer.def(
      "ghost_match",
      [](Buffer& self, const py::object& bucket) { return self.ghost_match(bucket_of(bucket)); },
      py::arg("bucket"), "Whether the bucket's kind of root fits the pattern's ghost item.");
  buffer.def("ghosts_match", &Buffer::ghosts_match, "`ghost_match` of every bucket.");
  buffer.def(
      "is_match",
      [](Buffer& self, const py::object& item) {
        if (py::isinstance<Bucket>(item)) return self.is_match(bucket_of(item)->joint);
        return self.is_match(detail::element<JointRef>(item));
      },
      py::arg("item"),
      "Whether every object of a joint's or bucket's tree exists and has as many children as its\n"
      "joint. An item that matched nothing leaves objects without joints: this is false then.");
}

}  // namespace

void bind_buffer(py::module_& module) {
  auto buffer =
      define<Buffer>(module.attr("Scene"), "_Buffer", "The stored hierarchies of the open scene.");
  bind_joints(buffer);
  define_init(
      buffer,
      [](const py::object& op, const Ref<scene::Virtual>& scene,
         const Ref<hierarchy::Matcher>& hierarchy) {
        return new Buffer(operator_port(op), scene, hierarchy);
      },
      py::arg("operator"), py::arg("virtual").none(false), py::arg("hierarchy").none(false));
  bind_list_operations(buffer);
  bind_storage(buffer);
  bind_changes(buffer);
  bind_questions(buffer);
  buffer.def_property_readonly("incompatibles", &Buffer::incompatibles,
                               "The buckets that failed the last validation, a live list.");
  buffer.def_property_readonly("_data", &Buffer::buckets, "The buckets, a live list.");
  buffer.def_property_readonly("_incompatibles", &Buffer::incompatibles, "As `incompatibles`.");
  buffer.def_property_readonly(
      "_operator", [](Buffer& self) { return self.port().object(); }, "The host's operator.");
  buffer.def_property_readonly("_virtual", &Buffer::scene, "The virtual scene.");
  buffer.def_property_readonly("_hierarchy", &Buffer::matcher, "The hierarchy matcher.");
}

}  // namespace kavel::host
