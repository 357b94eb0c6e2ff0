#include "PagePictures.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "tester/QACheck.h"

namespace cli {

namespace {

/// Bytes of pictures on a page.
constexpr std::size_t kRoom = 1'200'000;

const QACheck* checkOf(const QADisplayPicture& picture) {
  for (const QACheck* check : allChecks()) {
    for (const std::string_view title : check->displays) {
      if (title == picture.display) {
        return check;
      }
    }
  }
  return nullptr;
}

/// An event that pictures show.
struct Candidate {
  const QACheckOutcome* outcome;
  std::size_t event;
  std::vector<const QADisplayPicture*> pictures;
  bool breaks;  ///< and the check judges
  /// How many events of its check are worse.
  std::size_t rank = 0;
};

std::vector<Candidate> candidatesOf(const QACheckOutcome& outcome,
                                    const std::map<int, const QADisplayPicture*>& pictures) {
  const bool judged = outcome.state == QAState::fail || outcome.state == QAState::warn;
  std::vector<Candidate> found;
  for (std::size_t i = 0; i < outcome.events.size(); ++i) {
    Candidate candidate{&outcome, i, {}, judged && outcome.events[i].breaks};
    for (const int64_t number : outcome.events[i].pictures) {
      const auto its = pictures.find(static_cast<int>(number));
      if (its != pictures.end()) {
        candidate.pictures.push_back(its->second);
      }
    }
    if (!candidate.pictures.empty()) {
      found.push_back(std::move(candidate));
    }
  }
  std::stable_sort(found.begin(), found.end(), [](const Candidate& one, const Candidate& other) {
    return getEventWeight(one.outcome->events[one.event]) >
           getEventWeight(other.outcome->events[other.event]);
  });
  for (std::size_t i = 0; i < found.size(); ++i) {
    found[i].rank = i;
  }
  return found;
}

std::size_t sizeOf(const std::vector<const QADisplayPicture*>& pictures) {
  std::size_t size = 0;
  for (const QADisplayPicture* picture : pictures) {
    size += picture->bytes.size();
  }
  return size;
}

}  // namespace

PagePictures::PagePictures(const FileReport& file) {
  std::map<std::string, std::map<int, const QADisplayPicture*>> byCheck;
  for (const QADisplayPicture& picture : file.pictures) {
    if (const QACheck* check = checkOf(picture)) {
      byCheck[check->name][picture.index] = &picture;
      if (check->family == QAFamily::classic) {
        displays_[check->name].push_back(&picture);
      }
    }
  }
  std::size_t room = kRoom;
  for (auto& [check, pictures] : displays_) {
    // At most half of it: events tell more.
    std::erase_if(pictures, [&](const QADisplayPicture* picture) {
      const bool fits = picture->bytes.size() + kRoom / 2 <= room;
      room -= fits ? picture->bytes.size() : 0;
      return !fits;
    });
  }
  std::vector<Candidate> candidates;
  for (const QACheckOutcome& outcome : file.checks) {
    const auto pictures = byCheck.find(outcome.name);
    if (pictures != byCheck.end()) {
      for (Candidate& candidate : candidatesOf(outcome, pictures->second)) {
        candidates.push_back(std::move(candidate));
      }
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& one, const Candidate& other) {
                     return one.breaks != other.breaks ? one.breaks : one.rank < other.rank;
                   });
  for (const Candidate& candidate : candidates) {
    const std::size_t size = sizeOf(candidate.pictures);
    if (size <= room) {
      room -= size;
      ofEvents_[{candidate.outcome->name, candidate.event}] = candidate.pictures;
    }
  }
}

const std::vector<const QADisplayPicture*>& PagePictures::of(const QACheckOutcome& outcome,
                                                             std::size_t event) const {
  static const std::vector<const QADisplayPicture*> none;
  const auto found = ofEvents_.find({outcome.name, event});
  return found != ofEvents_.end() ? found->second : none;
}

std::vector<const QADisplayPicture*> PagePictures::displaysOf(const QACheckOutcome& outcome) const {
  const auto found = displays_.find(outcome.name);
  return found != displays_.end() ? found->second : std::vector<const QADisplayPicture*>();
}

std::string dataUri(const QADisplayPicture& picture) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text = "data:" + picture.mediaType + ";base64,";
  const std::string& bytes = picture.bytes;
  const auto byteAt = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) : 0U;
  };
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const uint32_t three = byteAt(i) << 16U | byteAt(i + 1) << 8U | byteAt(i + 2);
    const std::size_t left = std::min<std::size_t>(bytes.size() - i, 3);
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= left ? kDigits[three >> (18U - 6U * static_cast<uint32_t>(k)) & 63U] : '=';
    }
  }
  return text;
}

}  // namespace cli
