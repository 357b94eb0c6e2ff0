#include "Lists.h"

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "tester/QAProfile.h"

namespace cli {

namespace {

std::string numberText(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

std::string settingText(const QASetting& setting) {
  const std::string standard = defaultText(setting);
  std::string remark = "default " + (standard.empty() ? "empty" : standard);
  const std::string range = rangeText(setting);
  remark += (range.empty() ? "" : ", ") + range;
  if (setting.unit[0] != '\0') {
    remark += std::string(", in ") + setting.unit;
  }
  return std::string("# ") + setting.meaning + " (" + remark + ")\n" + setting.key + "=" +
         standard + "\n";
}

/// As a comment, since a profile has severities of its own.
std::string severityText(const QACheck& check) {
  return std::string("#Severity.") + check.name + "=" + getSeverityText(check.severity) + "\n";
}

std::string title(const std::string& text) {
  return "\n## " + text + "\n\n";
}

std::string settingTexts(std::span<const QASetting> settings) {
  std::string text;
  for (const QASetting& setting : settings) {
    text += settingText(setting);
  }
  return text;
}

}  // namespace

std::string checkList() {
  std::size_t nameWidth = 0;
  std::size_t familyWidth = 0;
  for (const QACheck* check : allChecks()) {
    nameWidth = std::max(nameWidth, std::strlen(check->name));
    familyWidth = std::max(familyWidth, std::strlen(getFamilyText(check->family)));
  }
  std::string text;
  for (const QACheck* check : allChecks()) {
    std::string name = check->name;
    name.resize(nameWidth + 2, ' ');
    std::string family = getFamilyText(check->family);
    family.resize(familyWidth + 2, ' ');
    text += name + family + check->question + "\n";
  }
  return text;
}

std::string profileList() {
  std::size_t width = 0;
  for (const QAProfile& profile : allProfiles()) {
    width = std::max(width, std::strlen(profile.name));
  }
  std::string text;
  for (const QAProfile& profile : allProfiles()) {
    std::string name = profile.name;
    name.resize(width + 2, ' ');
    const std::string_view lines = profile.text;
    // The first line is a comment.
    text += name + std::string(lines.substr(2, lines.find('\n') - 2)) + "\n";
  }
  return text;
}

std::vector<std::string> severityWords() {
  std::vector<std::string> words;
  for (const QASeverity severity :
       {QASeverity::off, QASeverity::info, QASeverity::warn, QASeverity::fail}) {
    words.emplace_back(getSeverityText(severity));
  }
  return words;
}

std::string settingsList() {
  std::string text =
      "# Every setting with its default: a settings file that changes nothing as it is.\n"
      "# Lines that begin with # are comments; the first line of a key holds. Severities are off,\n"
      "# info, warn or fail: those shown hold in the profile general.\n";
  text += title("all checks") + settingTexts(testerSettings());
  for (const QACheck* check : allChecks()) {
    text += title(std::string(check->name) + ": " + check->question) + severityText(*check) +
            settingTexts(check->settings);
  }
  return text;
}

std::string rangeText(const QASetting& setting) {
  if (setting.kind == QASetting::Kind::text) {
    return "";
  }
  const bool whole = setting.kind == QASetting::Kind::whole;
  const bool hasMin = setting.min > (whole ? QASetting::kLeast : -QASetting::kNoLimit);
  // Single precision has no larger numbers.
  const bool hasMax = setting.max < (whole ? QASetting::kMost : double{FLT_MAX});
  if (hasMin && hasMax) {
    return numberText(setting.min) + " to " + numberText(setting.max);
  }
  if (hasMin) {
    return "at least " + numberText(setting.min);
  }
  return hasMax ? "at most " + numberText(setting.max) : "";
}

std::string defaultText(const QASetting& setting) {
  const bool isText = setting.kind == QASetting::Kind::text;
  return isText || setting.defaultValue[0] != '\0'
             ? setting.defaultValue
             : numberText(std::clamp(0.0, setting.min, setting.max));
}

}  // namespace cli
