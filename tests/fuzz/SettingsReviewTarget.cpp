// A settings file of any bytes: what the client says of it.

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "SettingsReview.h"
#include "fuzz/Input.h"

using qafuzz::require;

namespace {

std::vector<cli::SettingsRemark> remarksOn(const std::string& text, std::size_t most) {
  std::istringstream file(text);
  return cli::reviewSettings(file, most);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<cli::SettingsRemark> remarks = remarksOn(text, size + 1);
  const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
  int last = 0;
  for (const cli::SettingsRemark& remark : remarks) {
    require(remark.line > last && remark.line <= lines, "a line has one remark at most");
    require(!remark.text.empty() && remark.text.size() < 300, "a remark is short");
    last = remark.line;
  }
  require(remarksOn(text, 2).size() == std::min(remarks.size(), std::size_t{2}),
          "no more is said than was asked for");
  require(remarksOn("# a comment\n" + text, size + 1).size() >= remarks.size(),
          "a comment changes nothing, unless a mark stood before it");
  return 0;
}
