// What the checks of the picture over time do with each picture, beside the forms that say it most
// plainly: twenty taps a pixel for tearing, images of their own for each of the eight comparisons
// of a pulldown group, one quotient after the other for transitions. All are given pictures that a
// decoder has just left behind; `per_pixel` is the time for one pixel of one of them.

#include <benchmark/benchmark.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "checks/video/FrameFields.h"
#include "checks/video/FrameRelationship.h"
#include "checks/video/Pulldown.h"
#include "checks/video/RelationSum.h"
#include "checks/video/TearingMeasures.h"
#include "checks/video/VerticalChanges.h"
#include "media/GreyPicture.h"
#include "media/GreyValues.h"
#include "media/OxWrap.h"
#include "media/ReleasePicture.h"
#include "support/Clips.h"

namespace {

using benchmark::Counter;
using qatester::GreyPicture;

struct ReleaseImage {
  void operator()(IplImage* image) const { cvReleaseImage(&image); }
};
using Image = std::unique_ptr<IplImage, ReleaseImage>;

/// The first pictures of a clip whose rows are multiples of four pixels, converted and grey, more
/// of them than a cache of the second level holds.
class Pictures {
 public:
  explicit Pictures(const std::string& name) {
    OxWrap wrap(qatester::bench::clip(name), {QAPauses::untilReady, {}});
    wrap.discardAudio(true);
    wrap.startBuffering();
    OxVideoStream* video = wrap.getVideoStream();
    while (colours_.size() < 10) {
      OxVideoFrameYUV yuv = video->getNextYUVFrame();
      const qatester::PictureGuard guard(yuv);
      if (!yuv.valid) {
        throw std::runtime_error(name + ": too few pictures");
      }
      qatester::PictureMaker maker;
      const qatester::DecodedPicture picture(maker, yuv);
      const GreyPicture& grey = greys_.emplace_back(*picture.grey());
      Image& greyImage = greyImages_.emplace_back(
          cvCreateImage(cvSize(grey.width(), grey.height()), IPL_DEPTH_8U, 1));
      std::copy_n(grey.row(0), grey.size(), greyImage->imageData);
      const qatester::ConvertedPicture& converted = picture.converted();
      Image& image = colours_.emplace_back(
          cvCreateImage(cvSize(picture.width(), picture.height()), IPL_DEPTH_8U, 3));
      std::copy_n(converted.record().buffer, image->imageSize, image->imageData);
    }
  }

  void next() { ++at_; }
  /// In turn; `back` pictures before the one that it is the turn of.
  const GreyPicture& grey(std::size_t back = 0) const { return greys_[index(back)]; }
  IplImage* colour(std::size_t back = 0) const { return colours_[index(back)].get(); }
  IplImage* greyImage(std::size_t back = 0) const { return greyImages_[index(back)].get(); }
  double pixels() const { return static_cast<double>(greys_[0].size()); }

 private:
  std::size_t index(std::size_t back) const { return (at_ + greys_.size() - back) % greys_.size(); }

  std::vector<Image> colours_;
  std::vector<GreyPicture> greys_;
  std::vector<Image> greyImages_;
  std::size_t at_ = 0;
};

/// Calls `measure` with a clip's pictures in turn.
template <typename Measure>
void run(benchmark::State& state, const char* clip, Measure measure) {
  Pictures pictures(clip);
  for (auto _ : state) {
    pictures.next();
    measure(pictures);
  }
  state.counters["per_pixel"] =
      Counter(pictures.pixels(), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

// Grey

void greyOpenCV(benchmark::State& state, const char* clip) {
  Image grey;
  run(state, clip, [&](Pictures& pictures) {
    IplImage* colour = pictures.colour();
    if (grey == nullptr) {
      grey.reset(cvCreateImage(cvGetSize(colour), IPL_DEPTH_8U, 1));
    }
    cvCvtColor(colour, grey.get(), CV_RGB2GRAY);
  });
}

template <void (*Grey)(const uint8_t*, std::size_t, uint8_t*)>
void grey(benchmark::State& state, const char* clip) {
  std::vector<uint8_t> target;
  run(state, clip, [&](Pictures& pictures) {
    const IplImage& colour = *pictures.colour();
    const std::size_t pixels = pictures.grey().size();
    target.resize(pixels);
    Grey(reinterpret_cast<const uint8_t*>(colour.imageData), pixels, target.data());
    benchmark::DoNotOptimize(target.data());
  });
}

// The exported measures, each beside its plainest form

uint8_t& byteOf(const IplImage& image, int x, int y) {
  return reinterpret_cast<uint8_t&>(image.imageData[y * image.widthStep + x]);
}

Image cleared(const IplImage& like, int channels) {
  Image image(cvCreateImage(cvGetSize(&like), IPL_DEPTH_8U, channels));
  std::fill_n(image->imageData, image->imageSize, '\0');
  return image;
}

int whiteByColumns(IplImage* image) {
  float white = 0.0F;
  for (int x = 0; x < image->width; ++x) {
    for (int y = 0; y < image->height; ++y) {
      if (byteOf(*image, x, y) >= 11) {
        white += 1.0F;
      }
    }
  }
  return static_cast<int>(white / static_cast<float>(image->width * image->height) * 100.0);
}

IplImage* differencesByColumns(IplImage* image) {
  Image out = cleared(*image, 1);
  for (int x = 0; x < image->width; ++x) {
    for (int y = 0; y < image->height - 1; ++y) {
      byteOf(*out, x, y) =
          static_cast<uint8_t>(std::abs(byteOf(*image, x, y) - byteOf(*image, x, y + 1)));
    }
  }
  return out.release();
}

/// Twenty taps a pixel.
IplImage* barsByTaps(IplImage* image) {
  Image out = cleared(*image, 1);
  for (int x = 10; x < image->width - 10; ++x) {
    for (int y = 0; y < image->height; ++y) {
      float sum = 0.0F;
      for (int k = x - 10; k < x + 10; ++k) {
        sum += static_cast<float>(byteOf(*image, x, y) * (std::abs(x - k) + 1.0) / 100.0);
      }
      if (sum > 20.0F) {
        byteOf(*out, x, y) = 255;
      }
    }
  }
  return out.release();
}

IplImage* verticalBarsByTaps(IplImage* image) {
  Image out = cleared(*image, 3);
  for (int x = 0; x < image->width; ++x) {
    for (int y = 10; y < image->height - 10; ++y) {
      float sum = 0.0F;
      for (int k = y - 10; k < y + 10; ++k) {
        sum += static_cast<float>(byteOf(*image, x, y) * (11.0 - std::abs(y - k)) / 100.0);
      }
      if (sum > 20.0F) {
        byteOf(*out, x, y) = 255;
      }
    }
  }
  return out.release();
}

float relationshipPixelByPixel(IplImage* middle, IplImage* before, IplImage* after) {
  float sum = 0.0F;
  for (int y = 0; y < middle->height; ++y) {
    for (int x = 0; x < middle->width; ++x) {
      const int neighbours = byteOf(*before, x, y) + byteOf(*after, x, y);
      if (neighbours != 0) {
        sum += static_cast<float>(byteOf(*middle, x, y)) / static_cast<float>(neighbours);
      }
    }
  }
  return sum / static_cast<float>(middle->height * middle->width);
}

/// Both made grey, subtracted, and what is left counted.
bool compareByImages(IplImage* a, IplImage* b, float threshold) {
  const Image greys[2] = {cleared(*a, 1), cleared(*b, 1)};
  cvCvtColor(a, greys[0].get(), CV_RGB2GRAY);
  cvCvtColor(b, greys[1].get(), CV_RGB2GRAY);
  const Image difference = cleared(*a, 1);
  cvSub(greys[0].get(), greys[1].get(), difference.get());
  float count = 0.0F;
  for (int y = 0; y < a->height; ++y) {
    for (int x = 0; x < b->width; ++x) {
      if (byteOf(*difference, x, y) != 0) {
        count += 1.0F;
      }
    }
  }
  return 1.0F - count / static_cast<float>(a->height * a->width) > threshold;
}

template <int (*Measure)(IplImage*)>
void numberOf(benchmark::State& state, const char* clip) {
  run(state, clip,
      [](Pictures& pictures) { benchmark::DoNotOptimize(Measure(pictures.greyImage())); });
}

template <IplImage* (*Measure)(IplImage*)>
void imageOf(benchmark::State& state, const char* clip) {
  run(state, clip, [](Pictures& pictures) {
    const Image image(Measure(pictures.greyImage()));
    benchmark::DoNotOptimize(image.get());
  });
}

template <float (*Measure)(IplImage*, IplImage*, IplImage*)>
void relationOf(benchmark::State& state, const char* clip) {
  run(state, clip, [](Pictures& pictures) {
    benchmark::DoNotOptimize(
        Measure(pictures.greyImage(1), pictures.greyImage(2), pictures.greyImage(0)));
  });
}

/// Of pictures as if they were fields.
template <bool (*Compare)(IplImage*, IplImage*, float)>
void comparisonOf(benchmark::State& state, const char* clip) {
  run(state, clip, [](Pictures& pictures) {
    benchmark::DoNotOptimize(Compare(pictures.colour(1), pictures.colour(0), 0.99F));
  });
}

// Tearing: how much of a grey picture is torn, compared with the one before

/// An image for each step.
void tearingPlain(benchmark::State& state, const char* clip) {
  Image previous;
  run(state, clip, [&](Pictures& pictures) {
    IplImage* grey = pictures.greyImage();
    Image differences(differencesByColumns(grey));
    if (previous != nullptr) {
      const Image change = cleared(*grey, 1);
      cvAbsDiff(differences.get(), previous.get(), change.get());
      const Image once(barsByTaps(change.get()));
      const Image twice(barsByTaps(once.get()));
      benchmark::DoNotOptimize(whiteByColumns(twice.get()));
    }
    previous = std::move(differences);
  });
}

void tearing(benchmark::State& state, const char* clip) {
  GreyPicture gradient;
  run(state, clip, [&](Pictures& pictures) {
    const GreyPicture& grey = pictures.grey();
    gradient.resize(grey.width(), grey.height());
    const int64_t strong =
        qatester::changeGradient(grey.row(0), grey.height() - 1, grey.width(), gradient.row(0));
    benchmark::DoNotOptimize(qatester::percentOfPixels(strong, grey.width(), grey.height()));
  });
}

// Transitions

template <float (*Add)(float, const uint8_t*, const uint8_t*, const uint8_t*, std::size_t)>
void relation(benchmark::State& state, const char* clip) {
  run(state, clip, [&](Pictures& pictures) {
    benchmark::DoNotOptimize(Add(0.0F, pictures.grey(1).row(0), pictures.grey(2).row(0),
                                 pictures.grey(0).row(0), pictures.grey().size()));
  });
}

// Pulldown: the time for one picture of the five of a group

/// Eight comparisons a group, each of which makes its two fields grey.
void pulldownPlain(benchmark::State& state, const char* clip) {
  run(state, clip, [&](Pictures& pictures) {
    FrameFields fields[2];
    for (std::size_t i = 0; i < 2; ++i) {
      FrameFields::split(pictures.colour(i), &fields[i].top, &fields[i].bottom);
    }
    benchmark::DoNotOptimize(compareByImages(fields[1].top, fields[0].top, 0.99F));
    benchmark::DoNotOptimize(compareByImages(fields[1].bottom, fields[0].bottom, 0.99F));
  });
}

/// Of grey pictures, all of them different or all of them the same.
template <bool Still>
void pulldown(benchmark::State& state, const char* clip) {
  qatester::PulldownMeasurement measurement;
  measurement.begin(25.0F, 100);
  std::size_t steps = 0;
  run(state, clip, [&](Pictures& pictures) {
    // The copy of a picture stands for the making of it.
    benchmark::DoNotOptimize(measurement.addGrey(
        std::make_shared<const GreyPicture>(pictures.grey(Still ? steps % 10 : 0))));
    ++steps;
  });
}

const bool kRegistered = [] {
  const std::pair<const char*, void (*)(benchmark::State&, const char*)> measures[] = {
      {"percentWhite/plain", numberOf<whiteByColumns>},
      {"percentWhite/ours", numberOf<percentWhite>},
      {"verticalDifferencing/plain", imageOf<differencesByColumns>},
      {"verticalDifferencing/ours", imageOf<verticalDifferencing>},
      {"horizontalBarring/plain", imageOf<barsByTaps>},
      {"horizontalBarring/ours", imageOf<horizontalBarring>},
      {"verticalBarring/plain", imageOf<verticalBarsByTaps>},
      {"verticalBarring/ours", imageOf<verticalBarring>},
      {"getFrameRelationship/plain", relationOf<relationshipPixelByPixel>},
      {"getFrameRelationship/ours", relationOf<getFrameRelationship>},
      {"compareFields/plain", comparisonOf<compareByImages>},
      {"compareFields/ours", comparisonOf<compareFields>},
      {"grey/plain", grey<qatester::toGreyOneByOne>},
      {"grey/opencv", greyOpenCV},
      {"grey/check", grey<qatester::toGrey>},
      {"tearing/plain", tearingPlain},
      {"tearing/check", tearing},
      {"transitions/plain", relation<qatester::addRelationsOneByOne>},
      {"transitions/check", relation<qatester::addRelations>},
      {"pulldown/plain", pulldownPlain},
      {"pulldown/check_moving", pulldown<false>},
      {"pulldown/check_still", pulldown<true>}};
  for (const char* clip : {"h264-576.mp4", "h264-1080.mp4"}) {
    for (const auto& [name, measure] : measures) {
      benchmark::RegisterBenchmark(
          (std::string(name) + "/" + clip).c_str(),
          [clip, measure = measure](benchmark::State& state) { measure(state, clip); })
          ->Unit(benchmark::kMillisecond);
    }
  }
  return true;
}();

}  // namespace
