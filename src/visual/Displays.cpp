#include "visual/Displays.h"

#include <utility>

namespace qatester {

Displays::Displays(QADisplays where, bool on, std::string folder,
                   std::function<void(const std::string& problem)> complain)
    : where_(where), on_(on), folder_(std::move(folder)), complain_(std::move(complain)) {}

bool Displays::wanted() {
  return on_ && possible();
}

bool Displays::possible() {
  return false;
}

void Displays::show(const std::string&, int, const IplImage*) {}

void Displays::repaint() {}

void Displays::close() {}

}  // namespace qatester
