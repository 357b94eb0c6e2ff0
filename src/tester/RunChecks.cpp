#include <algorithm>
#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tester/ProgrammeReading.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/TimeLeft.h"

namespace qatester {

namespace {

/// How much of the time of a run of checks reading the pictures takes, where sound is read as well:
/// enough for a figure to look at. And what reading the whole file takes beside that.
constexpr double kPicturesShare = 0.9;
constexpr double kProgrammeShare = 0.95;

/// Of a text this short no memory is asked for.
constexpr const char* kOutOfMemory = "out of memory";

std::string wordsOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "an exception";
  }
}

/// Ends a run because of an exception.
void loseBecause(CheckRun& run, const std::exception_ptr& error) {
  try {
    run.lose(wordsOf(error), error);
  } catch (...) {
    // No memory even for saying so in full.
    QACheckOutcome& outcome = run.outcome();
    outcome.state = QAState::notMeasured;
    outcome.values.clear();
    outcome.summary.clear();
    outcome.reason = kOutOfMemory;
  }
}

/// A check of several that run at once, and what is its own of what the tester has.
struct Member {
  const CheckContext* context;
  HeldLog* log;  ///< null: its lines go out as they come
  std::unique_ptr<CheckRun> run;
  QASeverity severity = QASeverity::fail;
  int percentTold = 0;
};

/// Runs checks in one reading of the pictures and one of each set of audio streams, or each in a
/// reading of its own. Their outcomes and log lines come out in the order of the members.
class Group final : public Steps {
 public:
  Group(const CheckContext& context, std::deque<Member>& members, QAPasses passes,
        QAFileFacts& facts)
      : context_(context), members_(members), passes_(passes), facts_(facts) {}

  std::vector<QACheckOutcome> run() {
    outcomes_.reserve(members_.size());
    passTurns();
    try {
      passes_ == QAPasses::one ? readTogether() : readEach();
    } catch (...) {
      // A reading itself ran out of memory: what it feeds is lost.
      loseTheRest(std::current_exception());
    }
    return std::move(outcomes_);
  }

  void take(CheckRun& run, const std::function<void()>& step) override {
    if (run.hasEnded()) {
      return;
    }
    const auto begin = std::chrono::steady_clock::now();
    try {
      step();
      tellProgress(run);
    } catch (...) {
      run.closeAfterException();
      loseBecause(run, std::current_exception());
    }
    run.outcome().seconds +=
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }

  void ended(CheckRun&) override { passTurns(); }

 private:
  static bool isOfPictures(CheckRun& run) {
    return run.needsFile() && run.asAudio() == nullptr && run.asProgramme() == nullptr;
  }
  static bool isOfSound(CheckRun& run) { return run.asAudio() != nullptr; }
  static bool isOfProgramme(CheckRun& run) { return run.asProgramme() != nullptr; }

  void readEach() {
    for (Member& member : members_) {
      if (begin(*member.run)) {
        readAlone(member);
      }
      passTurns();
    }
  }

  void readAlone(Member& member) {
    ProgrammeRun* wholeFile = member.run->asProgramme();
    if (wholeFile == nullptr) {
      readForOne(*member.context, *member.run, *this);
      return;
    }
    ProgrammeReading reading(*member.context, {wholeFile});
    reading.start(*this);
    reading.finish(*this);
    addFacts(reading.facts());
  }

  /// Each check reads what it needs: pictures, sound, both or neither.
  void addFacts(const QAFileFacts& facts) {
    const QAFileFacts before = facts_;
    facts_ = facts;
    facts_.pictures = std::max(facts_.pictures, before.pictures);
    facts_.pictureSeconds = std::max(facts_.pictureSeconds, before.pictureSeconds);
    facts_.soundSeconds = std::max(facts_.soundSeconds, before.soundSeconds);
    facts_.wholeFile = facts_.wholeFile || before.wholeFile;
  }

  void readTogether() {
    std::vector<ProgrammeRun*> wholeFile;
    for (CheckRun* run : begunWhere(isOfProgramme)) {
      wholeFile.push_back(run->asProgramme());
    }
    if (wholeFile.empty() && context_.options.profile.empty()) {
      readForClassicChecks();
      return;
    }
    ProgrammeReading reading(context_, std::move(wholeFile));
    reading.start(*this);
    count_ = [&] { return reading.countPictures(*this); };
    readForClassicChecks();
    count_ = nullptr;
    reading.finish(*this);
    facts_ = reading.facts();
  }

  void readForClassicChecks() {
    for (Member& member : members_) {
      if (!member.run->needsFile() && begin(*member.run)) {
        readForOne(*member.context, *member.run, *this);
      }
    }
    const auto first = std::find_if(members_.begin(), members_.end(),
                                    [](Member& member) { return member.run->needsFile(); });
    // Pictures may have to wait for a count.
    const bool soundFirst =
        count_ != nullptr || (first != members_.end() && isOfSound(*first->run));
    if (soundFirst) {
      readAllSound();
    }
    readAllPictures();
    if (!soundFirst) {
      readAllSound();
    }
  }

  /// Says the first line, unless a stop was asked for before that. False: the run has ended.
  bool begin(CheckRun& run) {
    if (context_.stopped()) {
      run.lose("stopped before the check began", nullptr);
    } else {
      take(run, [&] { run.begin(); });
    }
    if (run.hasEnded()) {
      passTurns();
    }
    return !run.hasEnded();
  }

  std::vector<CheckRun*> begunWhere(bool (*belongs)(CheckRun&)) {
    std::vector<CheckRun*> runs;
    for (Member& member : members_) {
      if (belongs(*member.run) && begin(*member.run)) {
        runs.push_back(member.run.get());
      }
    }
    return runs;
  }

  void readAllPictures() {
    const std::vector<CheckRun*> runs = begunWhere(isOfPictures);
    if (!runs.empty()) {
      readPictures(context_, runs, *this, count_);
    }
  }

  void readAllSound() {
    std::vector<AudioRun*> runs;
    for (CheckRun* run : begunWhere(isOfSound)) {
      runs.push_back(run->asAudio());
    }
    while (!runs.empty()) {
      readSound(context_, runs, *this);
      std::erase_if(runs, [](const AudioRun* run) { return run->hasEnded(); });
    }
  }

  void loseTheRest(const std::exception_ptr& error) {
    for (Member& member : members_) {
      if (!member.run->hasEnded()) {
        loseBecause(*member.run, error);
      }
    }
    passTurns();
  }

  /// Lets out the log lines of the check whose turn it is, and the outcomes of those before it.
  void passTurns() {
    for (; turn_ < members_.size(); ++turn_) {
      Member& member = members_[turn_];
      letOut(member);
      if (!member.run->hasEnded()) {
        return;
      }
      applySeverity(member.run->outcome(), member.severity);
      giveOut(member.run->outcome());
    }
  }

  /// What a broken limit counts for.
  static void applySeverity(QACheckOutcome& outcome, QASeverity severity) {
    outcome.severity = severity;
    outcome.broken = outcome.broken || outcome.state == QAState::fail;
    const bool judged = outcome.state == QAState::pass || outcome.state == QAState::fail;
    if (judged && (severity == QASeverity::info || severity == QASeverity::off)) {
      outcome.state = QAState::info;
    } else if (outcome.state == QAState::fail && severity == QASeverity::warn) {
      outcome.state = QAState::warn;
    }
  }

  /// The log lines that a check has had to hold.
  void letOut(Member& member) {
    if (member.log == nullptr) {
      return;
    }
    try {
      member.log->release();
    } catch (...) {
      const std::exception_ptr error = std::current_exception();
      if (member.run->hasEnded()) {
        member.run->outcome().error = error;
      } else {
        loseBecause(*member.run, error);
      }
    }
  }

  void giveOut(const QACheckOutcome& outcome) {
    outcomes_.push_back(outcome);
    if (context_.options.outcome) {
      try {
        context_.options.outcome(outcome);
      } catch (...) {
        outcomes_.back().error = std::current_exception();
      }
    }
  }

  /// Of all checks, 0 to 1. In one pass pictures are read until the last check has what it
  /// wants.
  double wholeShare() {
    double least = 1.0;
    double pictures = 0.0;
    double sound = 0.0;
    double whole = 1.0;
    int ofPictures = 0;
    int ofSound = 0;
    int ofProgramme = 0;
    const bool anyOfProgramme =
        passes_ == QAPasses::one &&
        std::any_of(members_.begin(), members_.end(),
                    [](const Member& member) { return isOfProgramme(*member.run); });
    for (const Member& member : members_) {
      const double share = member.run->share();
      if (isOfPictures(*member.run)) {
        // What only counts waits for the reading of the whole file.
        const VideoRun* video = member.run->asVideo();
        const bool waits = anyOfProgramme && video != nullptr && video->onlyCounts();
        least = waits ? least : std::min(least, share);
        pictures += share;
        ++ofPictures;
      } else if (isOfSound(*member.run)) {
        sound += share;
        ++ofSound;
      } else if (isOfProgramme(*member.run)) {
        whole = std::min(whole, share);
        ++ofProgramme;
      }
    }
    const int classic = ofPictures + ofSound;
    double done = 1.0;
    if (ofPictures == 0 || ofSound == 0 || passes_ == QAPasses::each) {
      const bool inStep = ofSound == 0 && passes_ == QAPasses::one;
      done = inStep || classic == 0 ? least : (pictures + sound) / classic;
    } else {
      done = kPicturesShare * least + (1.0 - kPicturesShare) * sound / ofSound;
    }
    if (ofProgramme > 0) {
      done = classic == 0 ? whole : kProgrammeShare * whole + (1.0 - kProgrammeShare) * done;
    }
    return done;
  }

  void tellProgress(const CheckRun& run) {
    if (!context_.options.progress) {
      return;
    }
    Member& member = *std::find_if(members_.begin(), members_.end(),
                                   [&](const Member& one) { return one.run.get() == &run; });
    const QACheckOutcome& outcome = run.outcome();
    const int percent = run.hasEnded()             ? 100
                        : outcome.progress.empty() ? 0
                                                   : outcome.progress.back();
    const double share = wholeShare();
    const int whole = static_cast<int>(100.0 * share);
    if (percent != member.percentTold || whole != wholeTold_) {
      member.percentTold = percent;
      wholeTold_ = whole;
      const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin_;
      context_.options.progress(
          {outcome.name, percent, whole, secondsLeft(elapsed.count(), share)});
    }
  }

  const CheckContext& context_;
  std::deque<Member>& members_;
  QAPasses passes_;
  QAFileFacts& facts_;
  CountPictures count_;  ///< null: no other reading counts
  std::vector<QACheckOutcome> outcomes_;
  /// The first member whose outcome is not out.
  std::size_t turn_ = 0;
  int wholeTold_ = 0;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace

}  // namespace qatester

std::vector<QACheckOutcome> QATester::runChecks(const std::vector<std::string>& names) {
  using qatester::CheckContext;

  std::vector<const QACheck*> checks;
  for (const std::string& name : names) {
    const QACheck* check = findCheck(name);
    if (check == nullptr) {
      throw std::invalid_argument("unknown check '" + name + "'");
    }
    checks.push_back(check);
  }
  fileFacts_ = {};
  const CheckContext shared = context();
  const QAPasses passes = shared.untilReady() ? options_.passes : QAPasses::each;

  // With readings of their own checks follow each other, as if run one by one.
  bool complained = false;
  const auto complainOnce = [&](const std::string& problem) {
    if (!std::exchange(complained, true)) {
      complainOfDisplay(problem);
    }
  };
  std::deque<qatester::HeldLog> logs;
  std::deque<std::unique_ptr<qatester::Displays>> displays;
  std::deque<CheckContext> contexts;
  std::deque<qatester::Member> members;
  for (const QACheck* check : checks) {
    qatester::HeldLog* log = nullptr;
    if (passes == QAPasses::one) {
      log = &logs.emplace_back(logger_.get(), complainOnce);
      displays.push_back(
          makeDisplays([log](const std::string& problem) { log->complain(problem); }));
      displays.back()->shareWindows();
      contexts.push_back({fileName_, listener_, logger_.get(), settings_.get(), *displays.back(),
                          slateSeconds_, options_, log});
    } else {
      contexts.push_back(shared);
    }
    contexts.back().classicSeries = options_.measurements;
    members.push_back({&contexts.back(), log, check->make(contexts.back()), severityOf(*check)});
  }
  std::vector<QACheckOutcome> outcomes = qatester::Group(shared, members, passes, fileFacts_).run();
  if (passes == QAPasses::one) {
    displays_->close();
  }
  return outcomes;
}
