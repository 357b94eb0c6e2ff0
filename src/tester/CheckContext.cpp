#include "tester/CheckContext.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace qatester {

int wholeSetting(Settings& settings, const QASetting& row) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(row.key, row.defaultValue));
  return std::clamp(std::atoi(text.get()), static_cast<int>(row.min), static_cast<int>(row.max));
}

float realSetting(Settings& settings, const QASetting& row) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(row.key, row.defaultValue));
  return std::clamp(static_cast<float>(std::atof(text.get())), static_cast<float>(row.min),
                    static_cast<float>(row.max));
}

std::string textSetting(Settings& settings, const QASetting& row) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(row.key, row.defaultValue));
  return text.get();
}

std::vector<std::string> listSetting(Settings& settings, const QASetting& row) {
  std::vector<std::string> pieces;
  std::istringstream text(textSetting(settings, row));
  for (std::string piece; std::getline(text, piece, ',');) {
    const std::size_t first = piece.find_first_not_of(" \t");
    if (first != std::string::npos) {
      pieces.push_back(piece.substr(first, piece.find_last_not_of(" \t") - first + 1));
    }
  }
  return pieces;
}

void HeldLog::log(const std::string& message) {
  if (logger_ == nullptr) {
    return;
  }
  if (held_) {
    entries_.push_back({message, logger_->GetTimeStamp()});
  } else {
    logger_->Log(message.c_str());
  }
}

void HeldLog::complain(const std::string& problem) {
  if (held_) {
    entries_.push_back({problem, ""});
  } else {
    complain_(problem);
  }
}

void HeldLog::release() {
  held_ = false;
  const std::vector<Entry> entries = std::exchange(entries_, {});
  for (const Entry& entry : entries) {
    if (entry.stamp.empty()) {
      complain_(entry.text);
    } else {
      logger_->LogStamped(entry.stamp, entry.text);
    }
  }
}

double numberSetting(const CheckContext& context, const QASetting& row) {
  // In single precision a text such as -0.3 has digits that nobody wrote.
  constexpr double kDigits = 1e6;
  return std::round(static_cast<double>(context.real(row)) * kDigits) / kDigits;
}

}  // namespace qatester
