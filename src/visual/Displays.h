#pragma once

#include <functional>
#include <map>
#include <string>

#include "foundation/QAPauses.h"
#include "visual/Canvas.h"
#include "visual/QADisplays.h"
#include "visual/Visual.h"

namespace qatester {

/// Where the displays of a tester's checks go: the one place that knows of windows and picture
/// files. Used by one thread at a time.
class Displays {
 public:
  /// `on` is whether the tester draws visualisations, `folder` where picture files go (empty: the
  /// current folder). `complain` (may be empty) is called once, in words, when a picture file
  /// cannot be written; nothing is drawn from then on. `pauses` are those of a display that fails:
  /// only fixed ones are made. `sink` (may be empty) is handed small pictures, wherever the others
  /// go.
  Displays(QADisplays where, bool on, std::string folder,
           std::function<void(const std::string& problem)> complain,
           QAPauses pauses = QAPauses::fixed, QADisplayPictureSink sink = {});

  /// Whether visualisations are on and there is somewhere to show them. A check draws nothing
  /// otherwise.
  bool wanted();

  /// Whether there is somewhere to show what is shown whatever the switch says: every frame of the
  /// file, which is not handed out.
  bool possible();

  /// Whether pictures of events are wanted: visualisations are on, and go to picture files or are
  /// handed out.
  bool wantsEvents() const { return on_ && (writesFiles() || isHandedOut()); }

  /// Says once, in words, why there are no more picture files, and writes none from then on.
  void giveUp(const std::string& problem);

  /// Shows a canvas in the window `name`, or writes it to "NAME-00042.png" in the folder (42 being
  /// `index`, blanks in the name becoming hyphens), replacing what was there. Null shows nothing.
  void show(const std::string& name, int index, const IplImage* canvas);

  /// The same with the picture of an event.
  void showEvent(const std::string& name, int index, const IplImage* canvas);

  /// The same as `show`; pauses for 1000 s when the window cannot be shown.
  void showOrPause(const std::string& name, int index, const IplImage* canvas);

  /// Hands out the last canvas of each name since the last call.
  void handOut();

  /// What checks draw on.
  CanvasMaker canvases() const {
    return pauses_ == QAPauses::untilReady ? tryToMakeCanvas : makeCanvas;
  }

  /// Lets windows repaint (`cvWaitKey(1)`), if windows are wanted or one has been shown.
  void repaint();

  /// Closes all windows (`cvDestroyAllWindows`), if displays go to windows.
  void close();

  /// From now on `close` leaves the windows open: others use them as well.
  void shareWindows() { sharesWindows_ = true; }

 private:
  /// A display as it was shown last.
  struct Shown {
    int index = 0;
    UniqueCanvas canvas;
  };

  bool goToWindows() const;
  bool writesFiles() const { return where_ == QADisplays::pictures && !failed_; }
  bool isHandedOut() const { return where_ == QADisplays::handedOut && sink_ != nullptr; }
  void keep(const std::string& name, int index, const IplImage& canvas);
  void handOut(const std::string& name, int index, const IplImage& canvas);
  /// False when the window cannot be shown; the first also keeps what is to be handed out.
  bool tryToShow(const std::string& name, int index, const IplImage* canvas);
  bool showNow(const std::string& name, int index, const IplImage* canvas);

  QADisplays where_;
  bool on_;
  std::string folder_;
  std::function<void(const std::string& problem)> complain_;
  QAPauses pauses_;
  QADisplayPictureSink sink_;
  std::map<std::string, Shown> last_;  ///< by name, of those that are to be handed out
  bool sharesWindows_ = false;
  bool failed_ = false;  ///< a picture file could not be written
  bool shown_ = false;   ///< a window has been, and has not been closed
};

}  // namespace qatester
