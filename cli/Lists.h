#pragma once

#include <string>
#include <vector>

#include "tester/QACheck.h"

namespace cli {

/// A line a check: its name, its family, what it answers.
std::string checkList();

/// A line a profile: its name and what it is for.
std::string profileList();

/// "off", "info", "warn", "fail".
std::vector<std::string> severityWords();

/// Every setting with its default, as a settings file that can be used as it is.
std::string settingsList();

/// What values a setting may have, such as "0 to 255" or "at least 1"; empty when any.
std::string rangeText(const QASetting& setting);

/// The default as text: of a number that is empty, what the library takes it for.
std::string defaultText(const QASetting& setting);

}  // namespace cli
