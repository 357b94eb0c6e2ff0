#include "Report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Output.h"

namespace cli {

namespace {

constexpr int kMaxNameAttempts = 100;

[[noreturn]] void fail(int error) {
  throw std::system_error(error, std::generic_category());
}

/// `result` of a system call, which must not be negative.
int checked(int result) {
  if (result < 0) {
    fail(errno);
  }
  return result;
}

Json checkJson(const CheckReport& report) {
  Json json{{"name", report.check->name}, {"state", stateText(report.findings.state)}};
  if (!report.findings.reason.empty()) {
    json["reason"] = report.findings.reason;
  }
  json["result"] = report.findings.result;
  json["messages"] = report.messages;
  json["failures"] = report.failures;
  json["progress"] = report.progress;
  json["seconds"] = std::round(report.seconds * 1000.0) / 1000.0;
  return json;
}

Json fileJson(const FileReport& report) {
  Json json{{"file", report.file}};
  if (!report.error.empty()) {
    json["error"] = report.error;
  }
  json["checks"] = Json::array();
  for (const CheckReport& check : report.checks) {
    json["checks"].push_back(checkJson(check));
  }
  return json;
}

}  // namespace

Json numberJson(double value) {
  if (std::isnan(value)) {
    return "nan";
  }
  if (std::isinf(value)) {
    return value > 0.0 ? "inf" : "-inf";
  }
  return value;
}

Json reportJson(const std::vector<FileReport>& files) {
  Json list = Json::array();
  for (const FileReport& file : files) {
    list.push_back(fileJson(file));
  }
  return {{"files", list}};
}

std::string reportText(const std::vector<FileReport>& files) {
  return reportJson(files).dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

ReportFile::ReportFile(const std::string& target) : target_(target) {
  struct stat status {};
  if (::stat(target.c_str(), &status) != 0) {
    if (errno != ENOENT) {
      fail(errno);
    }
    std::error_code none;
    if (std::filesystem::is_symlink(target, none)) {
      // Through a link that leads nowhere yet, as a plain write would go, if the system lets one.
      ::close(checked(::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)));
      target_ = std::filesystem::canonical(target).string();
      ::unlink(target_.c_str());
    }
    makeTemporary();
    return;
  }
  if (S_ISDIR(status.st_mode)) {
    fail(EISDIR);
  }
  // Also the proof that an existing file may be written: a rename would not ask.
  fd_ = checked(::open(target.c_str(), O_WRONLY | O_CLOEXEC));
  if (S_ISREG(status.st_mode)) {
    close();
    // Through a link, as a plain write would go.
    target_ = std::filesystem::canonical(target).string();
    makeTemporary();
  }
}

ReportFile::~ReportFile() {
  close();
  if (!temporary_.empty()) {
    ::unlink(temporary_.c_str());
  }
}

void ReportFile::makeTemporary() {
  const std::filesystem::path folder = std::filesystem::path(target_).parent_path();
  for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
    std::string name =
        (folder / (".qatester-" + std::to_string(::getpid()) + "-" + std::to_string(attempt)))
            .string();
    fd_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd_ >= 0) {
      temporary_ = std::move(name);
      return;
    }
    if (errno != EEXIST) {
      fail(errno);
    }
  }
  fail(EEXIST);
}

void ReportFile::commit(const std::string& text) {
  const int error = writeAll(fd_, text);
  if (error != 0) {
    fail(error);
  }
  if (temporary_.empty()) {
    close();
    return;
  }
  checked(::fsync(fd_));
  close();
  checked(std::rename(temporary_.c_str(), target_.c_str()));
  temporary_.clear();
}

void ReportFile::close() {
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

}  // namespace cli
