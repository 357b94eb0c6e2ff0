#pragma once

/// How the library makes its pauses.
enum class QAPauses {
  /// Every pause is one call of POSIX `sleep` with its fixed count of seconds.
  fixed,
  /// A pause ends as soon as what it waits for has happened (a packet there, a queue drained, the
  /// end of the data, a stop asked for), and after the fixed count at the latest. Verdicts,
  /// messages
  /// and progress are those of `fixed`.
  untilReady,
};
