#pragma once

#include <gtest/gtest.h>

#include <string>

#include "visual/OpenCVDouble.h"
#include "visual/Pictures.h"
#include "visual/ReferenceDisplays.h"
#include "visual/Visual.h"

namespace qatest {

/// A test of a display, with windows to show it in.
class DisplayTest : public testing::Test {
 protected:
  using Plot = void (*)(OxVideoFrameYUV& frame, const std::string& windowName);
  using Reference = Pixels (*)(OxVideoFrameYUV frame);

  DisplayTest() { clearOpenCV(); }

  /// The one canvas that `plot` shows of this record.
  static Pixels shownBy(Plot plot, OxVideoFrameYUV frame) {
    return shownBy([&] { plot(frame, "the window"); });
  }
  static Pixels shownBy(Plot plot, Picture picture) { return shownBy(plot, picture.record()); }

  template <typename Action>
  static Pixels shownBy(Action action) {
    clearOpenCV();
    action();
    const OpenCVCalls& calls = openCVCalls();
    EXPECT_EQ(calls.shown.size(), 1U);
    EXPECT_EQ(calls.imagesReleased, calls.imagesMade);
    return calls.shown.empty() ? Pixels{} : calls.shown[0].canvas;
  }

  /// Without any picture: what lies under or over the points.
  static Pixels emptyDisplay(Plot plot) { return shownBy(plot, OxVideoFrameYUV{}); }

  static void expectEveryPictureAsIn(Reference reference, Plot plot) {
    for (NamedPicture& named : manyPictures()) {
      SCOPED_TRACE(named.name);
      const OxVideoFrameYUV frame = named.picture.record();
      EXPECT_EQ(difference(shownBy(plot, frame), reference(frame)), "");
    }
  }

  WindowSystem windows_{WindowSystem::State::available};
};

}  // namespace qatest
