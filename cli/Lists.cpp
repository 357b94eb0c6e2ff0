#include "Lists.h"

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <cstring>

namespace cli {

namespace {

std::string numberText(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

std::string settingText(const QASetting& setting) {
  std::string remark = "default " + defaultText(setting);
  const std::string range = rangeText(setting);
  remark += (range.empty() ? "" : ", ") + range;
  if (setting.unit[0] != '\0') {
    remark += std::string(", in ") + setting.unit;
  }
  return std::string("# ") + setting.meaning + " (" + remark + ")\n" + setting.key + "=" +
         defaultText(setting) + "\n";
}

std::string group(const std::string& title, std::span<const QASetting> settings) {
  std::string text = "\n## " + title + "\n\n";
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

std::string settingsList() {
  std::string text =
      "# Every setting with its default: a settings file that changes nothing as it is.\n"
      "# Lines that begin with # are comments; the first line of a key holds.\n";
  text += group("all checks", testerSettings());
  for (const QACheck* check : allChecks()) {
    if (!check->settings.empty()) {
      text += group(std::string(check->name) + ": " + check->question, check->settings);
    }
  }
  return text;
}

std::string rangeText(const QASetting& setting) {
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
  return setting.defaultValue[0] != '\0' ? setting.defaultValue
                                         : numberText(std::clamp(0.0, setting.min, setting.max));
}

}  // namespace cli
