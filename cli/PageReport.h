#pragma once

#include <string>
#include <vector>

#include "ExitCode.h"
#include "FileReport.h"

namespace cli {

/// A page of a file for a browser: verdict, events in time, plots and pictures. It needs nothing
/// but itself.
std::string pageText(const FileReport& file, const Demands& demands);

/// A file in the index of several pages.
struct PageLink {
  const FileReport* file;
  /// The name of its page, beside the index; empty: it could not be written.
  std::string page;
};

/// The index: the files that need somebody's attention first.
std::string pageIndexText(const std::vector<PageLink>& links, const Demands& demands);

}  // namespace cli
