#include "foundation/Logger.h"

#include <cstdio>
#include <ctime>
#include <fstream>
#include <utility>

Logger::Logger(const char* logFile) : logFile_(logFile != nullptr ? logFile : "") {}

Logger::~Logger() = default;

void Logger::SetOutput(bool toFile, bool toConsole) {
  toFile_ = toFile;
  toConsole_ = toConsole;
}

void Logger::SetLogFile(const char* logFile) {
  logFile_ = logFile != nullptr ? logFile : "";
}

void Logger::SetConsole(std::function<void(const std::string&)> console) {
  console_ = std::move(console);
}

void Logger::SetTrouble(std::function<void(const std::string&)> trouble) {
  trouble_ = std::move(trouble);
}

void Logger::EmptyLog() {
  if (logFile_.empty()) {
    return;
  }
  std::ofstream file(logFile_, std::ios::out | std::ios::trunc);
}

void Logger::Log(const char* message) {
  if (message == nullptr || message[0] == '\0') {
    return;
  }
  InternalLog(std::string(message));
}

void Logger::InternalLog(const std::string& message) {
  LogStamped(GetTimeStamp(), message);
}

void Logger::LogStamped(const std::string& stamp, const std::string& message) {
  const std::string line = stamp + " " + message + "\n";
  if (toConsole_) {
    printToConsole(line);
  }
  if (toFile_) {
    SaveToFile(line);
  }
}

std::string Logger::GetTimeStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[25];
  std::snprintf(text, sizeof text, "[%02d:%02d:%02d]", local.tm_hour, local.tm_min, local.tm_sec);
  return text;
}

void Logger::SaveToFile(const std::string& line) {
  if (logFile_.empty()) {
    return;
  }
  std::ofstream file(logFile_, std::ios::out | std::ios::app);
  if (!file.is_open()) {
    tellTrouble("Error: Unable to open log file.");
    return;
  }
  file << line << std::flush;
  if (!file) {
    tellTrouble("Error: Unable to write to log file.");
  }
}

/// The console hears of it even with its output off: the message itself is lost.
void Logger::tellTrouble(const std::string& text) {
  printToConsole(GetTimeStamp() + " " + text + "\n");
  if (trouble_) {
    trouble_(text);
  }
}

void Logger::printToConsole(const std::string& line) {
  if (console_) {
    console_(line);
  } else {
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
}
