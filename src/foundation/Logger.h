#pragma once

#include <functional>
#include <string>

#include "foundation/Export.h"

/// Writes the report: one time-stamped line a message, to standard output, to a log file, or both.
///
/// The file is opened for appending and closed again for every line, so a line that was logged is
/// on disk whatever happens next. Not synchronised: lines of two loggers on one file interleave
/// whole at best. Nothing is thrown; a log file that cannot be opened is reported on the console
/// per message.
class QATESTER_API Logger {
 public:
  /// Both outputs on. `logFile` may be null or empty (nothing is then written to a file); the file
  /// is neither created nor emptied here.
  explicit Logger(const char* logFile);
  ~Logger();

  /// Mind the order: file first, console second.
  void SetOutput(bool toFile, bool toConsole);

  /// Replaces the log file's name; null counts as empty.
  void SetLogFile(const char* logFile);

  /// Sends what would go to standard output to `console` instead, one call a line, each with its
  /// newline; an empty function brings standard output back.
  void SetConsole(std::function<void(const std::string& line)> console);

  /// `trouble` hears, in words, of each line that could not be written to the log file; an empty
  /// function: nobody does.
  void SetTrouble(std::function<void(const std::string& text)> trouble);

  /// Leaves the log file present and zero bytes long; silent when it cannot be opened.
  void EmptyLog();

  /// Logs `message` unchanged after a time stamp and a blank; a null or empty message is dropped.
  void Log(const char* message);

  /// Logs without testing for an empty message.
  void InternalLog(const std::string& message);

  /// The same with a time stamp of an earlier moment.
  void LogStamped(const std::string& stamp, const std::string& message);

  /// The local wall-clock time as "[HH:MM:SS]".
  std::string GetTimeStamp();

  /// Appends `line` as it stands. Does nothing when no log file is named. The console is told of a
  /// line that could not be written, whether or not it is switched on.
  void SaveToFile(const std::string& line);

 private:
  void printToConsole(const std::string& line);
  void tellTrouble(const std::string& text);

  bool toFile_ = true;
  bool toConsole_ = true;
  std::string logFile_;
  std::function<void(const std::string&)> console_;
  std::function<void(const std::string&)> trouble_;
};
