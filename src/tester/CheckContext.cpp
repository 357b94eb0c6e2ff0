#include "tester/CheckContext.h"

#include <cstdlib>
#include <memory>

namespace qatester {

int intSetting(Settings& settings, const char* key, const char* defaultValue) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(key, defaultValue));
  return std::atoi(text.get());
}

float floatSetting(Settings& settings, const char* key, const char* defaultValue) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(key, defaultValue));
  return static_cast<float>(std::atof(text.get()));
}

void Progress::measured(int index) {
  // Single precision throughout, required: at a budget of 100 it leaves out 53 and 59.
  const int percent =
      static_cast<int>(static_cast<float>(index) / static_cast<float>(budget_) * 100.0F);
  if (percent == lastPercent_ || listener_ == nullptr) {
    return;
  }
  (listener_->*slot_)(static_cast<float>(percent));
  lastPercent_ = percent;
}

}  // namespace qatester
