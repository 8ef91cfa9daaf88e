// The way upwards where the interpreter cannot test it: an owner that dies before its parts.
#include "core/projects/uplink.h"

#include <gtest/gtest.h>

#include "core/projects/document.h"

namespace kavel::projects {
namespace {

using foundation::Json;
using runtime::Ref;

class FakeHistory final : public HistoryPort {
 public:
  explicit FakeHistory(int& copies) : copies_(copies) { ++copies_; }
  ~FakeHistory() override { --copies_; }
  [[nodiscard]] std::unique_ptr<HistoryPort> copy() const override {
    return std::make_unique<FakeHistory>(copies_);
  }
  [[nodiscard]] std::optional<std::int64_t> selected() override { return 7; }
  void select(std::int64_t) override {}
  bool save_record(const Ref<Record>&) override { return false; }
  [[nodiscard]] std::vector<Ref<Record>> records() override { return {}; }

 private:
  int& copies_;
};

TEST(Uplink, RecordThatOutlivesItsHistoryFailsCleanly) {
  auto history = runtime::make<History>(Uplink<DocumentPort>());
  const Ref<Record> record = history->get_record();
  const Ref<Record> clone = record->clone();
  EXPECT_EQ(record->owner(), history.get());
  EXPECT_EQ(clone->owner(), history.get());
  history = nullptr;
  EXPECT_EQ(record->owner(), nullptr);
  for (const Ref<Record>& orphan : {record, clone}) {
    orphan->comment = "kept";
    EXPECT_THROW(orphan->save(), foundation::Error);
    EXPECT_EQ(orphan->comment, "kept");
  }
}

TEST(Uplink, HistoryThatOutlivesItsDocumentFailsCleanlyAndReleasesItsLock) {
  auto document = runtime::make<Document>(Uplink<CollectionPort>(), "folder", "", Json::Map());
  const Ref<History> history = document->history();
  const Ref<Record> record = history->get_record();
  document = nullptr;
  EXPECT_EQ(history->owner(), nullptr);
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_THROW(history->save_record(record), foundation::Error);
    EXPECT_TRUE(history->records().empty());
  }
}

TEST(Uplink, StandInsAreCopiedWithTheLinkAndFallWithIt) {
  int copies = 0;
  {
    Record record(Uplink<HistoryPort>(std::make_unique<FakeHistory>(copies)), Json::Map(), 7);
    EXPECT_EQ(record.owner(), nullptr);
    EXPECT_TRUE(record.is_selected());
    const Ref<Record> clone = record.clone();
    EXPECT_EQ(copies, 2);
    record.drop_references();
    EXPECT_EQ(copies, 1);
    EXPECT_THROW((void)record.is_selected(), foundation::Error);
    EXPECT_TRUE(clone->is_selected());
  }
  EXPECT_EQ(copies, 0);
}

}  // namespace
}  // namespace kavel::projects
