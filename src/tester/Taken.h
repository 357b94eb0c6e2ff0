#pragma once

namespace qatester {

/// What became of a picture or of a block of sound that a measurement was given.
enum class Taken {
  measured,
  waits,      ///< nothing yet: it waits for others
  missed,     ///< a picture that cannot be converted: as if none had come
  leftOut,    ///< it cannot be measured; the next one may be
  endsCheck,  ///< the same, and no further one is wanted
};

}  // namespace qatester
