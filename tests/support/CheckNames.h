#pragma once

#include <string>
#include <vector>

#include "tester/QACheck.h"

namespace qatest {

/// The names of all checks, in their order.
inline std::vector<std::string> checkNames() {
  std::vector<std::string> names;
  for (const QACheck* check : allChecks()) {
    names.emplace_back(check->name);
  }
  return names;
}

/// The same of the classic checks alone.
inline std::vector<std::string> classicCheckNames() {
  std::vector<std::string> names;
  for (const QACheck* check : allChecks()) {
    if (check->family == QAFamily::classic) {
      names.emplace_back(check->name);
    }
  }
  return names;
}

/// A name as a part of a test's name, such as "frameRate".
inline std::string asIdentifier(const std::string& name) {
  std::string result;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '-' && i + 1 < name.size()) {
      result += static_cast<char>(name[++i] - 'a' + 'A');
    } else {
      result += name[i];
    }
  }
  return result;
}

}  // namespace qatest
