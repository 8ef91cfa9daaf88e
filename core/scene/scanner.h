// The scanner: finds the hierarchies under the user's selection that match the pattern and stores
// them in the buffer.
//
// Nothing is raised: a failure is logged and answered with false. The buffer is then as it was, or
// erased where the scan began with that; what the scene file holds agrees with it, and the host's
// selection is as before. Runs where the operator may be called.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "core/facade/notifier.h"
#include "core/scene/buffer.h"
#include "core/scene/decoration.h"
#include "core/scene/drafter.h"

namespace kavel::scene {

class Scanner final : public runtime::Object {
 public:
  Scanner(runtime::Value api, std::unique_ptr<OperatorPort> port, runtime::Ref<Virtual> scene,
          runtime::Ref<hierarchy::Matcher> matcher, runtime::Ref<Buffer> buffer,
          std::unique_ptr<facade::Notifier> notifier);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Scans the selection; adds what matches to the buffer, or puts it in place of all it holds.
  bool upload_buffer(bool append);
  /// Reads every bucket anew that is still valid; the others stay as they are.
  bool reload_buffer();

  // The steps of a scan.
  using PathSet = std::unordered_set<std::string>;
  struct Found {
    std::vector<BucketRef> buckets;
    /// Whether some match was left out because all of its roots are stored already.
    bool known = false;
  };
  /// The roots of the scopes in which the selected objects stand, all known to the virtual scene.
  [[nodiscard]] std::vector<std::string> find_scope_roots(std::span<const std::string> selection);
  [[nodiscard]] std::string find_scope_root(const std::string& path);
  /// New buckets for the matches below `roots` but for those whose roots are all in `known`.
  [[nodiscard]] Found scan(const std::vector<std::string>& roots, const PathSet& known);

  [[nodiscard]] const runtime::Value& api() const noexcept { return api_; }
  [[nodiscard]] OperatorPort& port() const noexcept { return *operator_; }
  [[nodiscard]] const runtime::Ref<Virtual>& scene() const noexcept { return scene_; }
  [[nodiscard]] const runtime::Ref<hierarchy::Matcher>& matcher() const noexcept {
    return matcher_;
  }
  [[nodiscard]] const runtime::Ref<Buffer>& buffer() const noexcept { return buffer_; }
  [[nodiscard]] const facade::Notifier& notifier() const noexcept { return *notifier_; }

 private:
  /// Runs guarded, and not at all below another run: a host may start one in the middle.
  bool alone(const std::function<void()>& run);
  [[nodiscard]] bool scan_selection(bool append);
  [[nodiscard]] Found find(const std::vector<std::string>& selection, bool append,
                           const PathSet& stored);
  void select_stored();
  void store(const std::vector<BucketRef>& buckets);
  void discard(std::span<const BucketRef> buckets);
  [[nodiscard]] PathSet stored_paths() const;
  [[nodiscard]] std::vector<std::string> in_name_order(std::vector<std::string> paths);
  [[nodiscard]] std::vector<std::string> covered(const std::vector<std::string>& scope);

  runtime::Value api_;
  std::unique_ptr<OperatorPort> operator_;
  runtime::Ref<Virtual> scene_;
  runtime::Ref<hierarchy::Matcher> matcher_;
  runtime::Ref<Buffer> buffer_;
  std::unique_ptr<facade::Notifier> notifier_;
  bool is_running_ = false;

  class Reload;
};

/// Buckets without those that equal an earlier one.
[[nodiscard]] std::vector<BucketRef> without_repeats(const std::vector<BucketRef>& buckets);

}  // namespace kavel::scene
