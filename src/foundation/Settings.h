#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Export.h"

class Logger;

/// What `Settings::GetValueOf` answers.
enum class QALookup {
  /// The default's text, whatever the file holds.
  defaults,
  /// The stored value of the first entry whose key equals the looked-up key, blanks (space, tab,
  /// carriage return) around key and value ignored; the default when there is none or it is empty.
  stored,
};

/// A plain-text file of `key=value` lines, read once. Lines that are empty or begin with "#" are
/// skipped; a line that does not hold exactly one "=" is reported and dropped; nothing is trimmed.
/// Nothing is thrown. Reports go to the logger, or to standard output without one.
class QATESTER_API Settings {
 public:
  /// Reads `settingsFile`; null or empty means an empty store and no message. The logger is not
  /// owned, may be null, and must outlive this object.
  Settings(const char* settingsFile, Logger* logger, QALookup lookup = QALookup::defaults);

  /// The same; `trouble` (may be empty) hears what is reported as well, during this call alone.
  Settings(const char* settingsFile, Logger* logger, QALookup lookup,
           std::function<void(const std::string& text)> trouble);
  ~Settings();

  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  /// Reads the file and appends its entries to those already stored.
  void LoadFileContents();

  /// Stores one line's entry, or reports the line.
  void ParseLine(const std::string& line);

  /// Values that win over those of the file, the last one of a key, whatever `QALookup` says.
  void SetOverrides(const std::vector<std::pair<std::string, std::string>>& entries);

  /// Values that hold where the file has none, the first one of a key, whatever `QALookup` says.
  void SetFallbacks(const std::vector<std::pair<std::string, std::string>>& entries);

  /// Returns a new zero-terminated text, allocated with array `new`; the caller releases it with
  /// array `delete`. With `QALookup::defaults` it is always the default's text: clients rely on
  /// runs that no stray settings file can change.
  const char* GetValueOf(const char* key, const char* defaultValue);

 private:
  using Entry = std::pair<std::string, std::string>;

  const std::string* heldValue(const std::string& key) const;
  const Entry* findByPrefix(const std::string& key) const;
  const Entry* findExact(const std::string& key) const;
  void reportLine(const std::string& line);
  void tellTrouble(const std::string& text) const;

  Logger* logger_;
  std::function<void(const std::string&)> trouble_;
  std::string fileName_;
  std::vector<Entry> entries_;
  std::map<std::string, std::string> overrides_;
  std::map<std::string, std::string> fallbacks_;
  QALookup lookup_;
};
