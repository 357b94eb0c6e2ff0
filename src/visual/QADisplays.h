#pragma once

/// Where a check shows its diagnostic displays.
enum class QADisplays {
  /// On-screen windows, if the settings' "QATesterVisual" switches visualisations on.
  asSet,
  /// On-screen windows; skipped where there is no window system.
  windows,
  /// Picture files in a folder.
  pictures,
  /// Nowhere: nothing is drawn.
  nowhere,
};
