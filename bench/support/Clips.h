#pragma once

#include <string>

namespace qatester::bench {

/// The path of the clip of this name (those that `make-clip` knows), which is made when it is not
/// there yet. Throws std::runtime_error when it cannot be made.
std::string clip(const std::string& name);

}  // namespace qatester::bench
