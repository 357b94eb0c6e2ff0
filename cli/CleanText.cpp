#include "CleanText.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>

namespace cli {

namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";

bool isPlain(char character) {
  return character >= ' ' && character < '\x7f';
}

/// What cannot be decoded is replaced by the writer of the JSON report: names are the same in all
/// reports.
std::string toUtf8(std::string_view text) {
  using nlohmann::json;
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace))
      .get<std::string>();
}

/// The bytes of the character at the start of UTF-8.
std::size_t lengthOfFirst(std::string_view text) {
  std::size_t length = 1;
  while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xc0U) == 0x80U) {
    ++length;
  }
  return length;
}

/// The second set of controls is U+0080 to U+009F.
bool mayStand(std::string_view character, std::string_view kept) {
  if (character.size() == 1) {
    return isPlain(character.front()) || kept.find(character.front()) != std::string_view::npos;
  }
  const bool isLateControl = character.front() == '\xc2' && character[1] < '\xa0';
  return !isLateControl && character != "\xef\xbf\xbe" && character != "\xef\xbf\xbf";
}

}  // namespace

std::string cleanText(std::string_view text, std::string_view kept) {
  if (std::all_of(text.begin(), text.end(), isPlain)) {
    return std::string(text);
  }
  const std::string decoded = toUtf8(text);
  std::string result;
  for (std::string_view rest = decoded; !rest.empty();) {
    const std::string_view character = rest.substr(0, lengthOfFirst(rest));
    result += mayStand(character, kept) ? character : kReplacement;
    rest.remove_prefix(character.size());
  }
  return result;
}

}  // namespace cli
