#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "FileReport.h"

namespace cli {

/// Keeps its keys in the order in which they are written.
using Json = nlohmann::ordered_json;

/// A number that reads back to the same value, or "nan", "inf", "-inf".
Json numberJson(double value);

/// What a report says of a file.
Json fileJson(const FileReport& report);

Json reportJson(const std::vector<FileReport>& files);

/// The text of a report file. Bytes that are not UTF-8 are replaced.
std::string reportText(const std::vector<FileReport>& files);

}  // namespace cli
