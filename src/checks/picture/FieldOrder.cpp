#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/picture/FieldMeasurement.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr CheckProfile kProfile{.name = "field-order", .tag = "QAFieldOrder"};

constexpr const char* kDisplays[] = {"Field Order"};

/// Pictures of one order, by the pixels and by the flags.
struct OrderRun {
  int64_t first = 0;
  int64_t end = 0;
  FieldOrder found = FieldOrder::undetermined;
  FieldOrder flagged = FieldOrder::progressive;
  double progressiveVotes = 0.0;
  double topVotes = 0.0;
  double bottomVotes = 0.0;

  int64_t length() const { return end - first; }
};

bool isInterlaced(FieldOrder order) {
  return order == FieldOrder::topFirst || order == FieldOrder::bottomFirst;
}

/// Progressive pictures may be flagged either way: nothing is lost by it.
bool isWrong(const OrderRun& run) {
  return isInterlaced(run.found) && run.found != run.flagged;
}

std::vector<OrderRun> joined(const std::vector<FieldRun>& runs,
                             const std::vector<FieldFlag>& flags) {
  std::vector<OrderRun> all;
  for (const FieldRun& run : runs) {
    for (int64_t n = run.first; n < run.end; ++n) {
      const FieldOrder found = orderOf(run);
      const FieldOrder flagged = orderOf(flags[static_cast<std::size_t>(n)]);
      if (all.empty() || all.back().found != found || all.back().flagged != flagged) {
        all.push_back({.first = n, .end = n, .found = found, .flagged = flagged});
      }
      OrderRun& its = all.back();
      ++its.end;
      its.progressiveVotes += static_cast<double>(run.progressiveVotes);
      its.topVotes += static_cast<double>(run.topVotes);
      its.bottomVotes += static_cast<double>(run.bottomVotes);
    }
  }
  return all;
}

/// One of several, or what all have in common.
template <typename Of>
std::string commonText(const std::vector<OrderRun>& runs, int64_t least, const Of& of) {
  std::array<int64_t, 4> pictures{};
  for (const OrderRun& run : runs) {
    pictures[static_cast<std::size_t>(of(run))] += run.length() >= least ? run.length() : 0;
  }
  pictures[static_cast<std::size_t>(FieldOrder::undetermined)] = 0;
  const auto kinds =
      std::count_if(pictures.begin(), pictures.end(), [](int64_t n) { return n > 0; });
  const auto most = std::max_element(pictures.begin(), pictures.end()) - pictures.begin();
  return kinds == 0  ? "undetermined"
         : kinds > 1 ? "several"
                     : textOf(static_cast<FieldOrder>(most));
}

class FieldOrderMeasurement final : public FieldMeasurement {
 public:
  const char* display() const override { return kDisplays[0]; }
  void describe(QACheckOutcome& outcome) const override {
    const std::vector<OrderRun> runs = joined(this->runs(), flags());
    const int64_t least = std::min(leastLength(), std::max<int64_t>(times().count(), 1));
    double wrongPictures = 0.0;
    std::array<double, 3> votes{};
    for (const OrderRun& run : runs) {
      votes[0] += run.progressiveVotes;
      votes[1] += run.topVotes;
      votes[2] += run.bottomVotes;
      if (run.length() < least) {
        continue;
      }
      const bool breaks = isWrong(run);
      wrongPictures += breaks ? static_cast<double>(run.length()) : 0.0;
      std::string what = textOf(run.found);
      if (run.found != FieldOrder::undetermined && run.found != run.flagged) {
        what += ", flagged ";
        what += textOf(run.flagged);
      }
      QAEvent event = eventOf(run.first, run.end, what.c_str());
      event.breaks = breaks;
      outcome.events.push_back(std::move(event));
    }
    const double total = votes[0] + votes[1] + votes[2];
    const auto share = [&](double its) { return total > 0.0 ? its / total : 0.0; };
    const std::string found =
        commonText(runs, least, [](const OrderRun& run) { return run.found; });
    // Flags hold for all pictures, also where nothing moves.
    std::array<bool, 4> flagged{};
    for (const FieldFlag flag : flags()) {
      flagged[static_cast<std::size_t>(orderOf(flag))] = true;
    }
    const auto kinds = std::count(flagged.begin(), flagged.end(), true);
    const auto only = std::find(flagged.begin(), flagged.end(), true) - flagged.begin();
    const std::string flaggedText = kinds == 1 ? textOf(static_cast<FieldOrder>(only)) : "several";
    outcome.broken = wrongPictures > 0.0;
    outcome.values = {{"found", found, ""},
                      {"flagged", flaggedText, ""},
                      {"wrongPictures", static_cast<int64_t>(wrongPictures), ""},
                      {"progressiveShare", share(votes[0]), ""},
                      {"topFirstShare", share(votes[1]), ""},
                      {"bottomFirstShare", share(votes[2]), ""}};
    outcome.limits = {{.of = "wrongPictures", .max = 0.0}};
    outcome.summary = found;
    outcome.summary += found == flaggedText ? ", as flagged" : ", flagged " + flaggedText;
  }

 private:
  std::vector<QASeriesColumn> columns() const override {
    return {{"weight", ""},           {"topQuality", ""},    {"bottomQuality", ""},
            {"progressiveShare", ""}, {"topFirstShare", ""}, {"bottomFirstShare", ""}};
  }
  std::vector<double> figuresOf(const FieldEvidence& evidence) const override {
    const FieldNumbers& its = evidence.numbers;
    return {weightOf(evidence),   its.topQuality, its.bottomQuality,
            its.progressiveVotes, its.topVotes,   its.bottomVotes};
  }
};

std::unique_ptr<ProgrammeCheck<FieldOrderMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<FieldOrderMeasurement>>(context, kProfile);
}

}  // namespace

constinit const QACheck fieldOrderCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Which field comes first, and do the flags say so?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::fail,
    .settings = {},
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester
