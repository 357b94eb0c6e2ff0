#include "visual/Xvfb.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace qatest {

namespace {

/// Its path; empty when it is not installed.
std::string program() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string candidate = folder + "/Xvfb";
    if (access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  return "";
}

/// The number that the server writes, with a newline, when it is ready; it chooses a free one.
std::string readNumber(int fd) {
  std::string number;
  for (char digit = 0; read(fd, &digit, 1) == 1 && digit != '\n';) {
    number += digit;
  }
  return number;
}

/// A field of the file's header, which is big-endian.
std::size_t field(const std::string& file, std::size_t index) {
  std::size_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8 | static_cast<uint8_t>(file.at(4 * index + i));
  }
  return value;
}

}  // namespace

bool Xvfb::isInstalled() {
  return !program().empty();
}

Xvfb::Xvfb() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  const std::string path = program();
  const std::string folder = folder_.path();
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // also when a test is killed
    const int quiet = open("/dev/null", O_RDWR);
    dup2(quiet, STDERR_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    // A client that asks whether there is a server leaves again: a server without clients starts
    // anew, and whoever has just connected is cut off.
    execl(path.c_str(), "Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24", "-fbdir",
          folder.c_str(), "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  const std::string number = readNumber(ends[0]);
  close(ends[0]);
  if (number.empty()) {
    throw std::runtime_error("Xvfb does not start");
  }
  display_ = ":" + number;
}

Xvfb::~Xvfb() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
}

Pixels Xvfb::screen() const {
  // The format of xwd: a header, a colour map, rows of 32-bit pixels.
  enum { kHeaderSize = 0, kWidth = 4, kHeight = 5, kBytesPerLine = 12, kMapEntries = 19 };
  constexpr std::size_t kBytesPerMapEntry = 12;
  const std::string file = readFile(folder_.file("Xvfb_screen0"));
  const std::size_t width = field(file, kWidth);
  const std::size_t height = field(file, kHeight);
  const std::size_t rows = field(file, kHeaderSize) + field(file, kMapEntries) * kBytesPerMapEntry;
  const std::size_t bytesPerLine = field(file, kBytesPerLine);
  if (file.size() < rows + height * bytesPerLine) {
    throw std::runtime_error("the screen's file is too short");
  }
  Pixels pixels{static_cast<int>(width), static_cast<int>(height), {}};
  pixels.bytes.resize(3 * width * height);
  auto next = pixels.bytes.begin();
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const auto pixel =
          file.begin() + static_cast<std::ptrdiff_t>(rows + y * bytesPerLine + 4 * x);
      next = std::copy(pixel, pixel + 3, next);
    }
  }
  return pixels;
}

namespace {

/// Whether the canvas is on the screen with its upper left corner there.
bool isAt(const Pixels& screen, const Pixels& canvas, int left, int top) {
  for (int y = 0; y < canvas.height; ++y) {
    const auto row = canvas.bytes.begin() + 3 * y * canvas.width;
    if (!std::equal(row, row + 3 * canvas.width,
                    screen.bytes.begin() + 3 * ((top + y) * screen.width + left))) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool isOnScreen(const Pixels& screen, const Pixels& canvas) {
  // Most of the screen is black: a place where the canvas is not is soon found out by what is not.
  const auto lit = std::find_if(canvas.bytes.begin(), canvas.bytes.end(),
                                [](uint8_t byte) { return byte != 0; });
  const auto first = static_cast<int>(lit - canvas.bytes.begin()) / 3;
  const int x = first % canvas.width;
  const int y = first / canvas.width;
  const Bgr colour = canvas.at(x, y);
  for (int top = 0; top + canvas.height <= screen.height; ++top) {
    for (int left = 0; left + canvas.width <= screen.width; ++left) {
      if (screen.at(left + x, top + y) == colour && isAt(screen, canvas, left, top)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace qatest
