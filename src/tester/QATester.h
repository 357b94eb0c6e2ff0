#pragma once

#include <memory>
#include <string>

#include "foundation/Export.h"
#include "tester/QAEnums.h"
#include "tester/QAListener.h"
#include "tester/QAResults.h"
#include "tester/QATesterOptions.h"

class Logger;
class OxWrap;
class Settings;

namespace qatester {
struct CheckContext;
class Displays;
}  // namespace qatester

/// Tests one media file. Each check opens the file afresh, runs to its end on the calling thread
/// and returns its result; checks may be run in any order and more than once. Nothing is shared
/// between testers; one tester must not be used by two threads at once.
class QATESTER_API QATester {
 public:
  /// Reads the settings and writes the report's header. `settingsFile` and `logFile` may be null or
  /// empty: no settings are then read, nothing is logged. A null `fileName` counts as empty. The
  /// listener may be null, is not owned, and must outlive the tester's checks.
  QATester(const char* fileName, QAListener* listener, const char* settingsFile,
           const char* logFile);

  /// The same with `options`.
  QATester(const char* fileName, QAListener* listener, const char* settingsFile,
           const char* logFile, const QATesterOptions& options);

  ~QATester();

  QATester(const QATester&) = delete;
  QATester& operator=(const QATester&) = delete;

  /// Whether the file can be tested: video in planar 4:2:0, 4:2:2 or 4:4:4 with 8 bits, and 1, 3, 4
  /// or 8 audio streams.
  bool isValidFile();

  /// Compares the declared frame rate with the one that the frames' time stamps show, over
  /// "FrameRateFrameChecks" frames (default 100) from the start of the file.
  QA_FrameRate checkFrameRate();

  /// Whether R, G, B (BT.601) and luma of every pixel lie strictly between "ChromaRGBMin" and
  /// "ChromaRGBMax", "ChromaYMin" and "ChromaYMax" (defaults 0 and 255 each: a value of exactly 0
  /// or 255 fails), over "ChromaFrameChecks" frames (default 100) after the slate. Display:
  /// "Diamond Display".
  QA_ChromaLevel checkChroma();

  /// Whether R, G and B (BT.601) of every pixel lie strictly between "GamutMin" and "GamutMax"
  /// (defaults 0 and 255), over "GamutFrameChecks" frames (default 100) after the slate. Displays:
  /// "CIE1931 Display" and "YCbCr Display".
  QA_GamutLevel checkGamut();

  /// Does nothing and returns false.
  bool checkDropNoDrop();

  /// The layout of an opened file, by its number of audio streams.
  QA_StreamSetup getAudioStreamSetup(OxWrap* wrap);

  /// The display text of a value, in a new buffer that `release` frees. A value outside the
  /// enumeration gives the text of its value 0.
  char* getStreamSetupText(QA_StreamSetup setup);
  char* getFrameTypeText(QA_FrameType type);
  char* getFieldTypeText(QA_FieldType type);

  /// Frees a text of the functions above and nulls the pointer to it.
  void release(void** buffer);

  /// Whether on-screen windows can be opened. Where not, displays in windows are skipped.
  static bool canShowWindows();

 private:
  qatester::CheckContext context() const;

  std::string fileName_;
  QAListener* listener_ = nullptr;
  std::unique_ptr<Settings> settings_;
  std::unique_ptr<Logger> logger_;
  std::unique_ptr<qatester::Displays> displays_;
  int slateSeconds_ = 0;
  QATesterOptions options_;
};
