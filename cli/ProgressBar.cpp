#include "ProgressBar.h"

#include <algorithm>
#include <cstdio>

namespace cli {

namespace {

constexpr std::chrono::milliseconds kBetweenDraws{250};
constexpr int kLongestBar = 40;
constexpr int kShortestBar = 5;
constexpr const char* kSpace = "  ";
/// Columns beside the label and the bar: three margins, two brackets, the figure.
constexpr int kTextAround = 3 * 2 + 2 + 5;
constexpr const char* kStartOfEmptyLine = "\r\x1b[K";

}  // namespace

std::string timeText(double seconds) {
  const auto whole = static_cast<long long>(std::clamp(seconds, 0.0, 1e9));
  char text[48];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return text;
}

ProgressBar::ProgressBar(Output& output, bool on) : output_(output), on_(on && output.canDraw()) {}

ProgressBar::~ProgressBar() {
  clear();
}

void ProgressBar::update(const std::string& label, int percent, std::optional<double> secondsLeft) {
  const auto now = std::chrono::steady_clock::now();
  if (on_ && now >= nextDraw_) {
    nextDraw_ = now + kBetweenDraws;
    draw(label, percent, secondsLeft);
  }
}

void ProgressBar::clear() {
  if (drawn_) {
    output_.write(kStartOfEmptyLine);
    drawn_ = false;
  }
}

void ProgressBar::switchOff() {
  clear();
  on_ = false;
}

void ProgressBar::draw(const std::string& label, int percent, std::optional<double> secondsLeft) {
  char figure[32];
  std::snprintf(figure, sizeof figure, "%3d %%", percent);
  const std::string left = secondsLeft ? kSpace + timeText(*secondsLeft) + " left" : std::string();
  std::string line = kStartOfEmptyLine;
  line += kSpace;
  line += label;
  line += kSpace;
  // The last column stays free: a line that fills it may wrap.
  const int taken = static_cast<int>(label.size() + left.size()) + kTextAround;
  const int width = std::min(output_.columns() - 1 - taken, kLongestBar);
  if (width >= kShortestBar) {
    const int filled = std::clamp(percent, 0, 100) * width / 100;
    line += "[";
    line.append(static_cast<std::size_t>(filled), '#');
    line.append(static_cast<std::size_t>(width - filled), '.');
    line += "]";
    line += kSpace;
  }
  output_.write(line + figure + left);
  drawn_ = true;
}

}  // namespace cli
