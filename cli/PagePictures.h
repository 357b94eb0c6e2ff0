#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "FileReport.h"

namespace cli {

/// Which pictures a page shows: those of what breaks limits go before, then the worst events of
/// each check in turn, as long as there is room. The report must outlive it.
class PagePictures {
 public:
  explicit PagePictures(const FileReport& file);

  /// Those of an event, by its number in the outcome.
  const std::vector<const QADisplayPicture*>& of(const QACheckOutcome& outcome,
                                                 std::size_t event) const;

  /// Displays of the check that are of no event.
  std::vector<const QADisplayPicture*> displaysOf(const QACheckOutcome& outcome) const;

 private:
  std::map<std::pair<std::string, std::size_t>, std::vector<const QADisplayPicture*>> ofEvents_;
  std::map<std::string, std::vector<const QADisplayPicture*>> displays_;  ///< by check
};

/// A picture within the page that shows it.
std::string dataUri(const QADisplayPicture& picture);

}  // namespace cli
