#include "core/runtime/object.h"

#include <gtest/gtest.h>
#include <pybind11/embed.h>

#include "host/py.h"

namespace kavel::runtime {
namespace {

/// Counts its living instances; can hold another one, and be held from above.
class Probe final : public Object {
 public:
  Probe() { ++alive; }
  ~Probe() override { --alive; }
  void each_reference(ReferenceVisitor& visitor) const override { visitor(held); }
  void drop_references() noexcept override { held = nullptr; }
  [[nodiscard]] Object* owner() const noexcept override { return above; }

  Ref<Probe> held;
  Probe* above = nullptr;
  static inline int alive = 0;
};

// NOLINTNEXTLINE: the macro of the binding library
PYBIND11_EMBEDDED_MODULE(probes, module) {
  auto probe = host::define<Probe>(module, "Probe", "A probe.");
  host::define_init(probe, [] { return new Probe(); });
  probe.def_property(
      "held", [](const Probe& self) { return self.held; },
      [](Probe& self, Ref<Probe> held) { self.held = std::move(held); });
}

void collect() { py::module_::import("gc").attr("collect")(); }

class ObjectTest : public testing::Test {
 protected:
  void SetUp() override { probes_ = py::module_::import("probes"); }
  void TearDown() override {
    collect();
    EXPECT_EQ(Probe::alive, 0);
  }
  py::object probes_;
};

TEST_F(ObjectTest, NativeReferencesAreCounted) {
  Ref<Probe> first = make<Probe>();
  Ref<Probe> second = first;
  EXPECT_EQ(first->count(), 2U);
  const Ref<Probe> third = std::move(second);
  first = nullptr;
  EXPECT_EQ(third->count(), 1U);
  EXPECT_EQ(Probe::alive, 1);
}

TEST_F(ObjectTest, TheFaceTakesTheCountsOver) {
  Ref<Probe> first = make<Probe>();
  const Ref<Probe> second = first;
  py::object face = host::expose(first);
  EXPECT_EQ(first->count(), 0U);
  EXPECT_EQ(Py_REFCNT(face.ptr()), 3);
  EXPECT_TRUE(host::expose(second).is(face)) << "one object has one face";

  face.attr("mark") = "kept";
  face = py::object();
  first = nullptr;
  EXPECT_EQ(host::from_text(host::expose(second).attr("mark")), "kept")
      << "what a host put on the face lives as long as the object";
}

TEST_F(ObjectTest, AnObjectMadeByTheInterpreterOutlivesItsVariable) {
  py::object face = probes_.attr("Probe")();
  Ref<Probe> held = face.cast<Ref<Probe>>();
  face = py::object();
  EXPECT_EQ(Probe::alive, 1);
  held = nullptr;
  EXPECT_EQ(Probe::alive, 0);
}

TEST_F(ObjectTest, CyclesAreCollected) {
  {
    // face -> native -> face
    const py::object face = probes_.attr("Probe")();
    const Ref<Probe> native = make<Probe>();
    native->held = face.cast<Ref<Probe>>();
    face.cast<Ref<Probe>>()->held = native;
  }
  EXPECT_EQ(Probe::alive, 2);
  collect();
  EXPECT_EQ(Probe::alive, 0);
}

TEST_F(ObjectTest, AFaceKeepsTheOwnerOfItsObject) {
  Ref<Probe> above = make<Probe>();
  above->held = make<Probe>();
  above->held->above = above.get();
  py::object below = host::expose(above->held);
  above = nullptr;
  EXPECT_EQ(Probe::alive, 2) << "the part would call an owner that is gone";
  below = py::object();
  collect();
}

}  // namespace
}  // namespace kavel::runtime
