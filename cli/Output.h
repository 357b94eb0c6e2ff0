#pragma once

#include <string>
#include <string_view>

namespace cli {

/// Writes all of `text`; returns 0 or the `errno` value of what went wrong.
int writeAll(int fd, std::string_view text);

/// Control characters made visible, so that a file's name takes one line and no liberties with a
/// terminal. Those in `kept` stay.
std::string printable(std::string_view text, std::string_view kept = {});

/// Standard output or standard error.
class Output {
 public:
  explicit Output(int fd);

  /// Writes at once. After a failure nothing more is written.
  void write(std::string_view text);

  /// The `errno` value of the first failure, or 0.
  int error() const { return error_; }

  bool isTerminal() const { return terminal_; }
  /// A terminal that moves its cursor, for one that prints escape sequences as they stand.
  bool canDraw() const { return drawable_; }
  bool wantsColour() const { return colour_; }
  /// Columns of the terminal; 80 when unknown.
  int columns() const;

 private:
  int fd_;
  bool terminal_;
  bool drawable_;
  bool colour_;
  int error_ = 0;
};

}  // namespace cli
