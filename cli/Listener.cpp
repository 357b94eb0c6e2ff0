#include "Listener.h"

#include <utility>

namespace cli {

Listener::Listener(std::function<void(int)> onPercent) : onPercent_(std::move(onPercent)) {}

void Listener::onFailure() {
  if (report_ != nullptr) {
    ++report_->failures;
  }
}

void Listener::onMessage(const std::string& text) {
  if (report_ != nullptr) {
    report_->messages.push_back(text);
  }
}

void Listener::heard(Slot slot, float percent) {
  if (report_ == nullptr || slot != report_->check->progress) {
    return;
  }
  const int whole = static_cast<int>(percent);
  report_->progress.push_back(whole);
  onPercent_(whole);
}

}  // namespace cli
