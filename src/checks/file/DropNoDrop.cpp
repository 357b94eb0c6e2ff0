#include <memory>

#include "checks/CheckList.h"
#include "tester/QATester.h"
#include "tester/Readings.h"

namespace qatester {

namespace {

constexpr CheckProfile kProfile{.name = "drop-no-drop", .tag = "QADropNoDrop"};

class DropNoDrop final : public CheckRun {
 public:
  explicit DropNoDrop(const CheckContext& context) : CheckRun(context, kProfile) {}

  void begin() override {}
  bool needsFile() const override { return false; }
  void answer(OxWrap*, Buffering&) override { end(); }

 protected:
  void describe() override {
    outcome_.values = {{"result", false, ""}};
    outcome_.state = QAState::info;
    outcome_.summary = "nothing is measured: always false";
  }
  bool hasAnswer() const override { return true; }
};

std::unique_ptr<DropNoDrop> make(const CheckContext& context) {
  return std::make_unique<DropNoDrop>(context);
}

}  // namespace

constinit const QACheck dropNoDropCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::classic,
    .question = "Nothing is measured: the answer is always false",
    .needs = QANeeds::nothing,
    .saysSomething = false,
    .settings = {},
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

bool QATester::checkDropNoDrop() {
  return false;
}
