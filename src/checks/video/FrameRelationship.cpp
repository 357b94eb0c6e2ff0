#include "checks/video/FrameRelationship.h"

#include "checks/video/RelationSum.h"
#include "visual/Images.h"

namespace {

bool isGrey(const IplImage* image) {
  return qatester::hasBytes(image) && image->nChannels == 1;
}

}  // namespace

float getFrameRelationship(IplImage* middle, IplImage* before, IplImage* after) {
  if (!isGrey(middle)) {
    return -1.0F;
  }
  for (const IplImage* other : {before, after}) {
    if (!isGrey(other) || other->width != middle->width || other->height != middle->height) {
      return -1.0F;
    }
  }
  const auto columns = static_cast<std::size_t>(middle->width);
  float sum = 0.0F;
  for (int y = 0; y < middle->height; ++y) {
    sum = qatester::addRelations(sum, qatester::rowOf(*middle, y), qatester::rowOf(*before, y),
                                 qatester::rowOf(*after, y), columns);
  }
  return qatester::meanRelation(sum, middle->width, middle->height);
}
