#include "media/FFmpegLog.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/log.h>
}

namespace qatester::ffmpeg {

namespace {

/// Who collects what. Guards the collectors' lines as well: lines are rare.
struct Registry {
  std::mutex mutex;
  /// By the address of the container, or of the collector itself, which its decoder names.
  std::map<const void*, LogLines*> collectors;
};

/// Never destroyed: a decoder of somebody else's may log while the program ends.
Registry& registry() {
  static auto& instance = *new Registry;
  return instance;
}

/// How many contexts a context stands in, at most: a bound for what others may have linked in a
/// ring.
constexpr int kMaxParents = 8;

const AVClass* classOf(const void* context) {
  return context != nullptr ? *static_cast<const AVClass* const*>(context) : nullptr;
}

const void* parentOf(const void* context, const AVClass& description) {
  if (description.parent_log_context_offset == 0) {
    return nullptr;
  }
  const auto* bytes = static_cast<const uint8_t*>(context);
  return *reinterpret_cast<const void* const*>(bytes + description.parent_log_context_offset);
}

/// With the registry's lock held. Frame threads have copies of a decoder's context: they share
/// `opaque`, and each has the number of its own packet.
LogLines* findCollector(const void* context, int64_t* packet) {
  const auto& collectors = registry().collectors;
  for (int i = 0; i < kMaxParents; ++i) {
    const AVClass* description = classOf(context);
    if (description == nullptr) {
      return nullptr;
    }
    const void* key = context;
    *packet = 0;
    if (description == avcodec_get_class()) {
      const auto* decoder = static_cast<const AVCodecContext*>(context);
      key = decoder->opaque;
      *packet = decoder->reordered_opaque;
    }
    const auto found = collectors.find(key);
    if (found != collectors.end()) {
      return found->second;
    }
    context = parentOf(context, *description);
  }
  return nullptr;
}

/// FFmpeg says these once in the life of a process: which file hears of it would depend on those
/// before. (DNxHD: a flag that changes nothing of a picture.)
bool isSaidOnce(const char* text) {
  return std::string_view(text).starts_with("ACT flag set");
}

void logLine(void* context, int level, const char* format, va_list arguments) {
  const int severity = level >= 0 ? level & 0xff : level;
  if (severity <= AV_LOG_ERROR) {
    const std::lock_guard<std::mutex> lock(registry().mutex);
    int64_t packet = 0;
    LogLines* collector = findCollector(context, &packet);
    if (collector != nullptr) {
      char text[1024];
      if (std::vsnprintf(text, sizeof text, format, arguments) >= 0 && !isSaidOnce(text)) {
        collector->add(packet, text);
      }
      return;
    }
  }
  av_log_default_callback(context, level, format, arguments);
}

}  // namespace

LogLines::LogLines() {
  static std::once_flag installed;
  std::call_once(installed, [] { av_log_set_callback(logLine); });
}

LogLines::~LogLines() {
  stopListening();
}

void LogLines::stopListening() {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  std::erase_if(registry().collectors, [this](const auto& entry) { return entry.second == this; });
}

void LogLines::listenTo(const AVFormatContext* container) {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  registry().collectors[container] = this;
}

void LogLines::listenTo(AVCodecContext* decoder) {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  registry().collectors[this] = this;
  decoder->opaque = this;
  decoder->reordered_opaque = 0;
}

/// With the registry's lock held.
void LogLines::add(int64_t packet, const char* text) noexcept {
  any_ = true;
  try {
    std::string line = text;
    line.erase(line.find_last_not_of("\r\n ") + 1);
    if (line.empty()) {
      return;
    }
    std::set<std::string>& texts = texts_[packet];
    texts.insert(std::move(line));
    if (texts.size() > kMaxTextsOfPacket) {
      texts.erase(std::prev(texts.end()));
    }
  } catch (const std::bad_alloc&) {
    lost_ = true;
  }
}

bool isOfTimecode(const std::string& line) {
  return line.find("Drop frame is only allowed") != std::string::npos;
}

std::vector<LogLine> LogLines::takeUpTo(int64_t packet) {
  std::vector<LogLine> lines;
  if (!any_) {
    return lines;
  }
  const std::lock_guard<std::mutex> lock(registry().mutex);
  if (lost_) {
    throw std::bad_alloc();
  }
  const auto end = texts_.upper_bound(packet);
  for (auto at = texts_.begin(); at != end; ++at) {
    for (const std::string& text : at->second) {
      lines.push_back({at->first, text});
    }
  }
  texts_.erase(texts_.begin(), end);
  any_ = !texts_.empty();
  return lines;
}

}  // namespace qatester::ffmpeg
