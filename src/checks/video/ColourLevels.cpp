#include "checks/video/ColourLevels.h"

#include <algorithm>
#include <array>
#include <boost/bind/bind.hpp>
#include <boost/thread/thread.hpp>

#include "checks/video/ColourExtremes.h"
#include "media/YUVHelper.h"

namespace {

using qatester::ColourExtremes;
using qatester::Extremes;

void widen(int32_t& max, int32_t& min, const Extremes& by) {
  max = std::max(max, by.max);
  min = std::min(min, by.min);
}

template <typename Level>
void widenRgb(Level& level, const ColourExtremes& by) {
  widen(level.rMax, level.rMin, by.r);
  widen(level.gMax, level.gMin, by.g);
  widen(level.bMax, level.bMin, by.b);
}

void widen(QA_ChromaLevel& level, const ColourExtremes& by) {
  widenRgb(level, by);
  widen(level.yMax, level.yMin, by.y);
}

void widen(QA_GamutLevel& level, const ColourExtremes& by) {
  widenRgb(level, by);
}

ColourExtremes extremesOf(const QA_ChromaLevel& level) {
  return {.r = {level.rMax, level.rMin},
          .g = {level.gMax, level.gMin},
          .b = {level.bMax, level.bMin},
          .y = {level.yMax, level.yMin}};
}

ColourExtremes extremesOf(const QA_GamutLevel& level) {
  return {.r = {level.rMax, level.rMin},
          .g = {level.gMax, level.gMin},
          .b = {level.bMax, level.bMin},
          .y = {}};
}

template <typename Level>
Level merged(Level a, const Level& b) {
  widen(a, extremesOf(b));
  return a;
}

template <typename Level>
void measureSubsection(OxVideoFrameYUV* frame, int xStart, int yStart, int xEnd, int yEnd,
                       Level* level) {
  const qatester::Rectangle rectangle{xStart, yStart, xEnd, yEnd};
  if (level == nullptr || frame == nullptr || rectangle.empty()) {
    return;
  }
  // Reading the first pixel says on standard output what is wrong with the others.
  if (!YUVHelper::getYUVPixelFromFrame(*frame, xStart, yStart).valid) {
    return;
  }
  widen(*level, qatester::measureColours(*qatester::planarPicture(*frame), rectangle));
}

/// The threads of one picture. They read what belongs to the caller, so none may outlive its call,
/// also when another one cannot be started.
class Workers {
 public:
  Workers() = default;
  ~Workers() { join(); }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  template <typename Work>
  void start(Work work) {
    // Of this size the system keeps the stacks of all eight for the next picture.
    boost::thread::attributes attributes;
    attributes.set_stack_size(std::size_t{1} << 20);
    threads_[started_] = boost::thread(attributes, work);
    ++started_;
  }

  void join() {
    for (std::size_t i = 0; i < started_; ++i) {
      threads_[i].join();
    }
    started_ = 0;
  }

 private:
  std::array<boost::thread, 8> threads_;
  std::size_t started_ = 0;
};

template <typename Level>
Level measurePicture(OxVideoFrameYUV& frame) {
  if (frame.frame == nullptr || frame.width == 0 || frame.height == 0) {
    return {};
  }
  constexpr std::size_t kColumns = 2;
  constexpr std::size_t kBands = 4;
  const std::array<int, kColumns + 1> x{0, frame.width / 2, frame.width};
  const std::array<int, kBands + 1> y{0, frame.height / 4, 2 * frame.height / 4,
                                      3 * frame.height / 4, frame.height};
  std::array<Level, kColumns * kBands> levels;
  Workers workers;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const std::size_t column = i % kColumns;
    const std::size_t band = i / kColumns;
    workers.start(boost::bind(&measureSubsection<Level>, &frame, x[column], y[band], x[column + 1],
                              y[band + 1], &levels[i]));
  }
  workers.join();
  Level result = levels[0];
  for (std::size_t i = 1; i < levels.size(); ++i) {
    result = merged(result, levels[i]);
  }
  return result;
}

}  // namespace

QA_ChromaLevel MaxChannels(QA_ChromaLevel a, QA_ChromaLevel b) {
  return merged(a, b);
}

QA_GamutLevel MaxChannels(QA_GamutLevel a, QA_GamutLevel b) {
  return merged(a, b);
}

void processSubsection(OxVideoFrameYUV* frame, int xStart, int yStart, int xEnd, int yEnd,
                       QA_ChromaLevel* level) {
  measureSubsection(frame, xStart, yStart, xEnd, yEnd, level);
}

void processSubsection(OxVideoFrameYUV* frame, int xStart, int yStart, int xEnd, int yEnd,
                       QA_GamutLevel* level) {
  measureSubsection(frame, xStart, yStart, xEnd, yEnd, level);
}

QA_ChromaLevel getChromaLimits(OxVideoFrameYUV& frame) {
  return measurePicture<QA_ChromaLevel>(frame);
}

QA_GamutLevel getGamutLimits(OxVideoFrameYUV& frame) {
  return measurePicture<QA_GamutLevel>(frame);
}
