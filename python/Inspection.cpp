#include "Inspection.h"

#include <stdexcept>
#include <utility>

#include "Report.h"

namespace bindings {

Inspection::Inspection(std::string file, cli::FileTest test)
    : report_{std::move(file)}, test_(std::move(test)) {
  test_.options.stop = source_.get_token();
  test_.options.progress = [this](const QAProgress& progress) {
    const std::lock_guard lock(mutex_);
    news_.progress.push_back(progress);
    changed_.notify_one();
  };
  test_.options.trouble = [this](const QATrouble& trouble) {
    const std::lock_guard lock(mutex_);
    news_.troubles.push_back(trouble.text);
    changed_.notify_one();
  };
  thread_ = std::thread([this] { run(); });
}

Inspection::~Inspection() {
  stop();
  thread_.join();
}

void Inspection::run() {
  try {
    std::string complaint;
    const bool done =
        cli::testFile(report_, test_, [&](const std::string& text) { complaint = text; });
    if (!done) {
      throw std::runtime_error(complaint);
    }
    text_ = cli::fileJson(report_).dump(-1, ' ', false, cli::Json::error_handler_t::replace);
  } catch (...) {
    error_ = std::current_exception();
  }
  const std::lock_guard lock(mutex_);
  news_.finished = true;
  changed_.notify_one();
}

Inspection::News Inspection::wait(std::chrono::milliseconds atMost) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, atMost, [this] {
    return news_.finished || !news_.progress.empty() || !news_.troubles.empty();
  });
  News news{{}, {}, news_.finished};
  std::swap(news.progress, news_.progress);
  std::swap(news.troubles, news_.troubles);
  return news;
}

std::string Inspection::report() {
  if (error_ != nullptr) {
    std::rethrow_exception(error_);
  }
  return text_;
}

}  // namespace bindings
