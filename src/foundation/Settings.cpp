#include "foundation/Settings.h"

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

#include "foundation/Logger.h"

namespace {

std::string withoutBlanks(const std::string& text) {
  return boost::trim_copy_if(text, boost::is_any_of(" \t\r"));
}

}  // namespace

Settings::Settings(const char* settingsFile, Logger* logger, QALookup lookup)
    : Settings(settingsFile, logger, lookup, {}) {}

Settings::Settings(const char* settingsFile, Logger* logger, QALookup lookup,
                   std::function<void(const std::string&)> trouble)
    : logger_(logger),
      trouble_(std::move(trouble)),
      fileName_(settingsFile != nullptr ? settingsFile : ""),
      lookup_(lookup) {
  if (!fileName_.empty()) {
    LoadFileContents();
  }
  trouble_ = nullptr;
}

Settings::~Settings() {
  logger_ = nullptr;
}

void Settings::LoadFileContents() {
  try {
    std::ifstream file(fileName_, std::ios::in);
    if (!file.is_open()) {
      if (logger_ != nullptr) {
        logger_->Log(("settings: Unable to open settings file '" + fileName_ + "'.").c_str());
      } else {
        std::printf("settings: Unable to open settings file '%s'.\n", fileName_.c_str());
      }
      tellTrouble("settings: Unable to open settings file '" + fileName_ + "'.");
      return;
    }
    file.exceptions(std::ios::badbit);
    std::string line;
    while (std::getline(file, line)) {
      if (!line.empty() && line[0] != '#') {
        ParseLine(line);
      }
    }
  } catch (...) {
    constexpr const char* kMessage =
        "settings: an error has occurred while parsing the settings file.";
    if (logger_ != nullptr) {
      logger_->Log(kMessage);
    } else {
      std::puts(kMessage);
    }
    tellTrouble(kMessage);
  }
}

void Settings::ParseLine(const std::string& line) {
  std::vector<std::string> pieces;
  boost::split(pieces, line, boost::is_any_of("="), boost::token_compress_off);
  if (pieces.size() == 2) {
    entries_.emplace_back(pieces[0], pieces[1]);
  } else {
    reportLine(line);
  }
}

void Settings::reportLine(const std::string& line) {
  // The log names the file and standard output the line: clients parse both as they are.
  if (logger_ != nullptr) {
    logger_->Log(("settings: error parsing line '" + fileName_ + "'.").c_str());
  } else {
    std::printf("Settings: error parsing line '%s'.\n", line.c_str());
  }
  tellTrouble("settings: error parsing line '" + line + "'.");
}

void Settings::tellTrouble(const std::string& text) const {
  if (trouble_) {
    trouble_(text);
  }
}

const Settings::Entry* Settings::findByPrefix(const std::string& key) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return entry.first.compare(0, key.size(), key) == 0;
  });
  return found != entries_.end() ? &*found : nullptr;
}

const Settings::Entry* Settings::findExact(const std::string& key) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return withoutBlanks(entry.first) == key;
  });
  return found != entries_.end() ? &*found : nullptr;
}

void Settings::SetOverrides(const std::vector<std::pair<std::string, std::string>>& entries) {
  overrides_.clear();
  for (const auto& [key, value] : entries) {
    overrides_[withoutBlanks(key)] = withoutBlanks(value);
  }
}

void Settings::SetFallbacks(const std::vector<std::pair<std::string, std::string>>& entries) {
  fallbacks_.clear();
  for (const auto& [key, value] : entries) {
    fallbacks_.emplace(withoutBlanks(key), withoutBlanks(value));
  }
}

/// The value that an override, the file or a fallback has for a key, in this order; null without
/// one. An empty value is none.
const std::string* Settings::heldValue(const std::string& key) const {
  const auto in = [&](const std::map<std::string, std::string>& values) -> const std::string* {
    const auto found = values.find(key);
    return found != values.end() && !found->second.empty() ? &found->second : nullptr;
  };
  if (const std::string* held = in(overrides_)) {
    return held;
  }
  if (lookup_ == QALookup::stored) {
    const Entry* entry = findExact(key);
    if (entry != nullptr && !withoutBlanks(entry->second).empty()) {
      return &entry->second;
    }
  }
  return in(fallbacks_);
}

const char* Settings::GetValueOf(const char* key, const char* defaultValue) {
  const std::string lookedUp = key != nullptr ? key : "";
  std::string value = defaultValue != nullptr ? defaultValue : "";
  std::size_t room = value.size();
  if (const std::string* held = heldValue(lookedUp)) {
    value = withoutBlanks(*held);
    room = value.size();
  } else if (lookup_ == QALookup::defaults) {
    if (const Entry* entry = findByPrefix(lookedUp)) {
      // A stored value decides how much room is reserved, never the text.
      room = std::max(room, entry->second.size());
    }
  }
  char* text = new char[room + 1];
  std::memcpy(text, value.c_str(), value.size() + 1);
  return text;
}
