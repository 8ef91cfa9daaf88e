#include "core/hierarchy/checklist.h"

#include "core/hierarchy/pattern.h"
#include "host/hierarchy/bindings.h"

namespace kavel::host {
namespace {

using hierarchy::Pattern;
using hierarchy::PatternRule;

class HostChecklist final : public hierarchy::ChecklistPort {
 public:
  explicit HostChecklist(py::object list) : list_(std::move(list)) {}

  [[nodiscard]] bool is_none() const { return list_.is_none(); }
  bool is_empty() override { return list_.attr("is_empty")().cast<bool>(); }
  bool is_configured() override {
    const py::object config = list_.attr("config");
    return !config.is_none() && !config.attr("is_empty")().cast<bool>();
  }

 private:
  py::object list_;
};

}  // namespace

void bind_checklists(py::handle pattern_class) {
  auto pattern = py::reinterpret_borrow<py::class_<Pattern>>(pattern_class);
  // What no rule took has no stamp.
  const auto checklist = [](const Pattern& self, const std::optional<std::string>& stamp) {
    const Ref<PatternRule> rule = stamp ? self.find(*stamp) : nullptr;
    return rule ? from_value(rule->checklist()) : py::object(py::none());
  };
  pattern.def("get_checklist", checklist, py::arg("stamp"),
              "The check list of the rule with that stamp, or none.");
  pattern.def(
      "is_verifiable",
      [checklist](const Pattern& self, const std::optional<std::string>& stamp) {
        HostChecklist list(checklist(self, stamp));
        return hierarchy::is_verifiable(list.is_none() ? nullptr : &list);
      },
      py::arg("stamp"), "Whether objects of that rule have anything to check.");
}

}  // namespace kavel::host
