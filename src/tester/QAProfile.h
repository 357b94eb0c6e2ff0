#pragma once

#include <span>
#include <string_view>

#include "foundation/Export.h"

/// A ready settings file: what a kind of delivery demands.
struct QAProfile {
  const char* name;  ///< such as "ebu-r128"
  /// The settings file, with comments that say where its numbers come from. Its first line is a
  /// comment that says in a few words what it is for.
  const char* text;
};

/// The profiles that the library brings along, "general" first.
QATESTER_API std::span<const QAProfile> allProfiles();

/// Null when no profile has this name.
QATESTER_API const QAProfile* findProfile(std::string_view name);
