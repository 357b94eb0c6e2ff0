#pragma once

#include <string_view>

namespace cli {

// What every page of a file holds; made from the files in cli/page/ and from Chart.js.

/// Style sheet, of the index as well.
std::string_view pageStyle();

/// Draws the plots of a page, and joins events, plots and pictures.
std::string_view pageScript();

/// The plotting library, with its licence.
std::string_view plottingLibrary();

}  // namespace cli
