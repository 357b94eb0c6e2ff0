#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <stop_token>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "tester/QACheckOutcome.h"

namespace qatest {

using Arguments = std::vector<std::string>;

/// The names of all checks, in their order.
std::vector<std::string> checkNames();

/// The same but `others`, as the command line takes them.
std::string checksBut(const std::vector<std::string>& others);

/// The client with `arguments`.
Command client(const Arguments& arguments);

/// The client whose pauses are short, whatever their counts.
Command quickClient(const Arguments& arguments);

Finished run(const Command& command);
Finished runClient(const Arguments& arguments);

/// The JSON report that the client writes on standard output when run with `arguments`.
nlohmann::json reportOf(const Arguments& arguments);

/// The report of the only file, respectively of the only file's only check, in such a report.
nlohmann::json onlyFile(const nlohmann::json& report);
nlohmann::json onlyCheck(const nlohmann::json& report);

/// Runs a check of the library as the client does, and asks `stop` for a stop when its first
/// percent comes.
QACheckOutcome runToFirstPercent(const std::string& check, const std::string& clip,
                                 const std::string& settings, std::stop_source& stop);

/// An object without the fields that `like` has not: a result without the figures beside its
/// record.
nlohmann::json fieldsLike(const nlohmann::json& like, const nlohmann::json& object);

std::vector<std::string> linesOf(const std::string& text);

/// A table without the lines between a file's name and its checks: what the file says of itself,
/// and the verdict.
std::string withoutHeads(const std::string& table);

/// What a table says of each check of its only file, as "STATE  TEXT", by the check's name.
std::map<std::string, std::string> tableByCheck(const std::string& table);

/// Names of what lies in a folder, sorted.
std::vector<std::string> filesIn(const TempDir& dir);

/// A clip that is valid and whose frame k of 50, at 25 frames a second, stands at (k + 1) / 25 s:
/// every estimate of the frame-rate check is (k + 1) / ((k + 1) / 25) = 25, so it passes. The
/// sound, 94 blocks of up to 1024 samples, is 0.5 throughout on the left and -0.5 on the right.
std::string goodClip(const TempDir& dir, const std::string& name = "good.mkv");

/// Valid; frame k stands at k / 25 s, so every estimate but the first (which is none) lies above 25
/// and the frame-rate check fails. It measures the 50 frames less one second's worth.
std::string fastClip(const TempDir& dir, const std::string& name = "fast.mkv");
constexpr int kFastClipBudget = 25;

/// The mean, to two decimals, that the frame-rate check finds in `budget` frames of such a clip.
float fastClipRate(int budget);

/// The loudness in LKFS that the first `count` samples of two channels have which hold the same
/// value throughout.
double loudnessOfConstants(double left, double right, int count);

/// As the client prints figures.
std::string twoDecimals(double value);

/// One stream of sound and no picture.
std::string soundClip(const TempDir& dir, const std::string& name = "sound.wav");

/// A clip that declares more frames than are left in the file.
std::string cutClip(const TempDir& dir, const std::string& name = "cut.mkv");

/// The percents that a check with this budget sends, up to frame `count`.
std::vector<int> percents(int budget, int count);

}  // namespace qatest
