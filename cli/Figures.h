#pragma once

#include <string>
#include <vector>

#include "tester/QACheckOutcome.h"
#include "tester/QAResults.h"

namespace cli {

/// What a check found, in words and with units.

/// Frames per second, to two decimals.
std::string fps(float rate);

/// What a reader must know when less was measured than was to be; empty otherwise. `unit` is the
/// plural of what is counted.
std::string shortfall(const QACheckOutcome& outcome, const char* unit);

/// The extremes of a colour channel.
struct Channel {
  char name;
  int min;
  int max;
};

/// The extremes of all channels, then what does not lie strictly inside the limits in effect.
std::string colourFigures(const std::vector<Channel>& channels, const QACheckOutcome& outcome);

/// Whether anything was measured into an entry of `QA_AudioLevels`.
bool isMeasured(const QACheckOutcome& outcome, unsigned entry);

/// The extremes of all channels by stream, then the highest levels that do not lie strictly inside
/// the limits in effect.
std::string levelFigures(const QA_AudioLevels& record, const QACheckOutcome& outcome);

/// Whether any loudness can lie strictly inside the limits in effect.
bool hasBand(const QACheckOutcome& outcome);

/// The loudness, what it was measured over, and the limits in effect.
std::string loudnessFigures(const QA_Loudness& record, const QACheckOutcome& outcome);

/// How many blocks carry one signal, and the share of them that is too much.
std::string monoFigures(const QACheckOutcome& outcome);

/// What the frames are, and how many of them are flagged so. `frameType` and `fieldType` are the
/// tester's texts of the record.
std::string fieldFigures(const QA_FieldDominance& record, const std::string& frameType,
                         const std::string& fieldType, const QACheckOutcome& outcome);

/// The cadence and how many groups of frames carry it, or that there is none.
std::string pulldownFigures(const QA_PullDown& record, const QACheckOutcome& outcome);

/// How much of the picture is torn, and how much is too much.
std::string tearingFigures(const QACheckOutcome& outcome);

/// How many frames there are, and the timecodes of the first and the last.
std::string timecodeFigures(const QACheckOutcome& outcome);

/// How many abrupt changes there are, and when the first of them begin.
std::string transitionFigures(const QACheckOutcome& outcome);

/// The mean lag between the channels, and the one that is too much.
std::string phaseFigures(const QACheckOutcome& outcome);

}  // namespace cli
