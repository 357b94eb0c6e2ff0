// Checks one file's frame rate: what a client of the library needs, and no more.

#include <tester/QATester.h>

#include <cstdio>

namespace {

/// Prints what the library has to say; a client overrides the slots of the checks that it runs.
class PrintingListener : public QAListener {
 public:
  void onFailure() override { std::puts("unsupported pixel format"); }
  void onMessage(const std::string& text) override { std::puts(text.c_str()); }
  void onLoudnessProgress(float) override {}
  void onPhaseProgress(float) override {}
  void onLevelsProgress(float) override {}
  void onMonoProgress(float) override {}
  void onFrameRateProgress(float percent) override {
    std::printf("\r%3.0f %%", static_cast<double>(percent));
  }
  void onFieldDominanceProgress(float) override {}
  void onPullDownProgress(float) override {}
  void onSpareProgress(float) override {}
  void onChromaProgress(float) override {}
  void onGamutProgress(float) override {}
  void onTearingProgress(float) override {}
  void onTimecodeProgress(float) override {}
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
    return 2;
  }
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;

  PrintingListener listener;
  QATester tester(argv[1], &listener, nullptr, nullptr, options);
  const QA_FrameRate rate = tester.checkFrameRate();
  std::printf("\rdeclared %.2f fps, measured %.2f fps: %s\n", static_cast<double>(rate.declaredFps),
              static_cast<double>(rate.measuredFps), rate.passed ? "pass" : "fail");
  return rate.passed ? 0 : 1;
}
