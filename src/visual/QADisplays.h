#pragma once

#include <functional>
#include <string>

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
  /// Handed to the client alone, as small pictures: see `QADisplayPicture`.
  handedOut,
};

/// A display as a client may put it into a page: the bytes of a picture file that is small.
struct QADisplayPicture {
  std::string display;  ///< its title, such as "Signal Range"
  /// Of what it shows: a picture of the file, counted from 0, for events; otherwise the last frame
  /// or block that the check measured, counted from 0 after the slate.
  int index = 0;
  int width = 0;   ///< pixels
  int height = 0;  ///< pixels
  /// "image/png" for plots and diagrams, "image/jpeg" for pictures, which are at most 640 wide.
  std::string mediaType;
  std::string bytes;  ///< of the file
};

/// Takes them, on the thread that runs the checks: those of events one by one, and of every other
/// display the last one, when its check has ended.
using QADisplayPictureSink = std::function<void(QADisplayPicture picture)>;
