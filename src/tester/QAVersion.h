#pragma once

#include <string>

#include "foundation/Export.h"

/// The library's own version, such as "0.1.0".
QATESTER_API const char* getQATesterVersion();

/// The versions of the libraries that this one runs on, one a line, as found at run time.
QATESTER_API std::string getQATesterLibraryVersions();
