#include "Output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace cli {

namespace {

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && value[0] != '\0';
}

bool terminalIsDumb() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && std::string_view(terminal) == "dumb";
}

}  // namespace

int writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd ready{fd, POLLOUT, 0};
      ::poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

std::string printable(std::string_view text, std::string_view kept) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // The second set of controls, in UTF-8: terminals obey these as well.
    const bool beginsLateControl = byte == 0xc2 && i + 1 < text.size() &&
                                   static_cast<unsigned char>(text[i + 1]) - 0x80U < 0x20U;
    const bool control = byte < 0x20 || byte == 0x7f || beginsLateControl;
    result += control && kept.find(text[i]) == std::string_view::npos ? '?' : text[i];
    i += beginsLateControl ? 1 : 0;
  }
  return result;
}

Output::Output(int fd)
    : fd_(fd),
      terminal_(::isatty(fd) == 1),
      drawable_(terminal_ && !terminalIsDumb()),
      colour_(drawable_ && !isSet("NO_COLOR")) {}

void Output::write(std::string_view text) {
  if (error_ == 0) {
    error_ = writeAll(fd_, text);
  }
}

int Output::columns() const {
  winsize size{};
  const bool known = ::ioctl(fd_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

}  // namespace cli
