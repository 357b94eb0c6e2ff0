#include "checks/sound/SoundProgrammes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "tester/Words.h"

namespace qatester {

namespace {

/// BS.1770-5: surrounds between 60 and 120 degrees.
constexpr double kSurroundWeight = 1.41;
/// More tracks than that are nobody's programme.
constexpr int kMostChannels = 64;
/// Streams of one programme have the same length but for so much, in seconds.
constexpr double kSameLength = 0.1;

struct Place {
  const char* position;  ///< in FFmpeg's words
  const char* name;
};
constexpr Place kPlaces[] = {
    {"FL", "L"},    {"FR", "R"},    {"FC", "C"},    {"LFE", "LFE"}, {"SL", "Ls"},
    {"SR", "Rs"},   {"BL", "Lb"},   {"BR", "Rb"},   {"BC", "Cs"},   {"FLC", "Lc"},
    {"FRC", "Rc"},  {"DL", "L"},    {"DR", "R"},    {"TFL", "Ltf"}, {"TFR", "Rtf"},
    {"TFC", "Ctf"}, {"TBL", "Ltb"}, {"TBR", "Rtb"}, {"TBC", "Ctb"}, {"LFE2", "LFE2"},
    {"WL", "Lw"},   {"WR", "Rw"},   {"TSL", "Lts"}, {"TSR", "Rts"}, {"TC", "Tc"},
};

/// What people write into titles.
constexpr Place kTitles[] = {
    {"FL", "l"},
    {"FL", "left"},
    {"FL", "front left"},
    {"FL", "lt"},
    {"FL", "lo"},
    {"FR", "r"},
    {"FR", "right"},
    {"FR", "front right"},
    {"FR", "rt"},
    {"FR", "ro"},
    {"FC", "c"},
    {"FC", "centre"},
    {"FC", "center"},
    {"FC", "front centre"},
    {"FC", "front center"},
    {"LFE", "lfe"},
    {"LFE", "sub"},
    {"SL", "ls"},
    {"SL", "left surround"},
    {"SL", "surround left"},
    {"SL", "side left"},
    {"SR", "rs"},
    {"SR", "right surround"},
    {"SR", "surround right"},
    {"SR", "side right"},
};

using Positions = std::vector<std::string>;

/// The usual order of so many channels; empty: there is none.
Positions usualPositions(int channels) {
  switch (channels) {
    case 1:
      return {"FC"};
    case 2:
      return {"FL", "FR"};
    case 5:
      return {"FL", "FR", "FC", "SL", "SR"};
    case 6:
      return {"FL", "FR", "FC", "LFE", "SL", "SR"};
    default:
      return {};
  }
}

Positions positionsOf(std::string_view layout) {
  if (layout == "mono") {
    return usualPositions(1);
  }
  if (layout == "stereo" || layout == "2.0") {
    return usualPositions(2);
  }
  if (layout == "5.0") {
    return usualPositions(5);
  }
  if (layout == "5.1") {
    return usualPositions(6);
  }
  if (layout == "7.1") {
    return {"FL", "FR", "FC", "LFE", "BL", "BR", "SL", "SR"};
  }
  return {};
}

bool has(const Positions& positions, const char* position) {
  return std::find(positions.begin(), positions.end(), position) != positions.end();
}

/// What people call a set of positions.
std::string layoutOf(const Positions& positions) {
  const bool hasLow = has(positions, "LFE");
  const std::size_t main = positions.size() - (hasLow ? 1 : 0);
  if (positions.size() == 1) {
    return "mono";
  }
  if (main == 2 && !hasLow) {
    return "stereo";
  }
  return std::to_string(main) + (hasLow ? ".1" : ".0");
}

bool isSurround(const std::string& position, const Positions& all) {
  const bool hasSides = has(all, "SL") || has(all, "SR");
  return position == "SL" || position == "SR" ||
         (!hasSides && (position == "BL" || position == "BR"));
}

bool isLow(const std::string& position) {
  return position == "LFE" || position == "LFE2";
}

int indexOf(const Positions& positions, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const auto found = std::find(positions.begin(), positions.end(), name);
    if (found != positions.end()) {
      return static_cast<int>(found - positions.begin());
    }
  }
  return -1;
}

/// Gives the channels their names and weights, and finds the pairs.
void place(SoundProgramme& programme, const Positions& positions) {
  for (std::size_t i = 0; i < programme.channels.size() && i < positions.size(); ++i) {
    SoundChannel& channel = programme.channels[i];
    const std::string& position = positions[i];
    const bool surround = isSurround(position, positions);
    const auto* known = std::find_if(std::begin(kPlaces), std::end(kPlaces),
                                     [&](const Place& one) { return position == one.position; });
    channel.name = known != std::end(kPlaces) ? known->name : position;
    if (surround) {
      channel.name = position.back() == 'L' ? "Ls" : "Rs";
    }
    channel.weight = isLow(position) ? 0.0 : surround ? kSurroundWeight : 1.0;
    channel.isExtra = !has({"FL", "FR", "FC", "DL", "DR"}, position.c_str());
  }
  programme.left = indexOf(positions, {"FL", "DL"});
  programme.right = indexOf(positions, {"FR", "DR"});
  programme.leftSurround = indexOf(positions, {"SL", "BL"});
  programme.rightSurround = indexOf(positions, {"SR", "BR"});
  programme.layout = layoutOf(positions);
}

SoundProgramme pairOf(SoundChannel left, SoundChannel right) {
  SoundProgramme pair;
  pair.streams = {left.stream};
  if (right.stream != left.stream) {
    pair.streams.push_back(right.stream);
  }
  pair.channels = {std::move(left), std::move(right)};
  pair.layout = "stereo";
  pair.left = 0;
  pair.right = 1;
  pair.isAssumedPair = true;
  return pair;
}

SoundProgramme monoOf(SoundChannel channel) {
  SoundProgramme mono;
  mono.streams = {channel.stream};
  mono.channels = {std::move(channel)};
  mono.layout = "mono";
  return mono;
}

/// A stream of several channels whose places are known.
SoundProgramme wholeStream(int stream, const Positions& positions, bool declared) {
  SoundProgramme programme;
  for (std::size_t i = 0; i < positions.size(); ++i) {
    programme.channels.push_back({.stream = stream, .channel = static_cast<int>(i)});
  }
  programme.streams = {stream};
  programme.layoutDeclared = declared;
  place(programme, positions);
  return programme;
}

/// A stream of several channels whose places nobody names: pairs as they follow each other.
std::vector<SoundProgramme> pairsOfStream(int stream, int channels) {
  const auto track = [&](int channel) {
    return SoundChannel{.stream = stream, .channel = channel, .name = std::to_string(channel + 1)};
  };
  std::vector<SoundProgramme> all;
  for (int i = 0; i + 1 < channels; i += 2) {
    all.push_back(pairOf(track(i), track(i + 1)));
  }
  if (channels % 2 != 0) {
    all.push_back(monoOf(track(channels - 1)));
  }
  return all;
}

/// A stream of one channel that may belong to others.
struct Track {
  int stream = 0;
  std::string position;  ///< empty: not named
  /// It is in the middle, as every stream of one channel says of itself.
  bool isJustMono = false;
  int rate = 0;
  std::string language;
  std::optional<double> seconds;
};

bool belongTogether(const Track& one, const Track& other) {
  const bool sameLength =
      one.seconds.has_value() == other.seconds.has_value() &&
      (!one.seconds.has_value() || std::abs(*one.seconds - *other.seconds) <= kSameLength);
  return one.rate == other.rate && one.language == other.language && sameLength;
}

std::string positionByTitle(const std::string& title) {
  std::string lower;
  for (const char c : title) {
    const bool isWord = std::isalnum(static_cast<unsigned char>(c)) != 0;
    lower += isWord ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : ' ';
  }
  const auto first = lower.find_first_not_of(' ');
  if (first == std::string::npos) {
    return "";
  }
  lower = lower.substr(first, lower.find_last_not_of(' ') - first + 1);
  const auto* found = std::find_if(std::begin(kTitles), std::end(kTitles),
                                   [&](const Place& one) { return lower == one.name; });
  return found != std::end(kTitles) ? found->position : "";
}

/// How many of the tracks from the first on are a programme by their positions; 0: none.
std::size_t placedTogether(const std::vector<Track>& tracks, std::size_t first) {
  if (tracks[first].position != "FL") {
    return 0;
  }
  std::set<std::string> seen;
  std::size_t end = first;
  while (end < tracks.size() && !tracks[end].position.empty() &&
         belongTogether(tracks[first], tracks[end]) && seen.insert(tracks[end].position).second) {
    ++end;
  }
  const std::size_t count = end - first;
  if (seen.count("FR") == 0) {
    return 0;
  }
  const bool isSurroundSound =
      seen.count("FC") != 0 && (seen.count("SL") != 0 || seen.count("BL") != 0);
  const bool startsWithPair = tracks[first + 1].position == "FR";
  return isSurroundSound ? count : startsWithPair ? 2 : 0;
}

void addTracks(const std::vector<Track>& tracks, std::vector<SoundProgramme>& all) {
  const auto track = [](const Track& one) {
    return SoundChannel{.stream = one.stream, .name = std::to_string(one.stream + 1)};
  };
  const auto isUnplaced = [](const Track& one) { return one.position.empty() || one.isJustMono; };
  for (std::size_t i = 0; i < tracks.size();) {
    SoundProgramme programme;
    std::size_t count = placedTogether(tracks, i);
    if (count > 0) {
      Positions positions;
      for (std::size_t k = i; k < i + count; ++k) {
        programme.channels.push_back(track(tracks[k]));
        programme.streams.push_back(tracks[k].stream);
        positions.push_back(tracks[k].position);
      }
      place(programme, positions);
      programme.layoutDeclared = true;
    } else if (i + 1 < tracks.size() && isUnplaced(tracks[i]) && isUnplaced(tracks[i + 1]) &&
               belongTogether(tracks[i], tracks[i + 1])) {
      count = 2;
      programme = pairOf(track(tracks[i]), track(tracks[i + 1]));
    } else {
      count = 1;
      programme = monoOf(track(tracks[i]));
      programme.layoutDeclared = true;
    }
    programme.language = tracks[i].language;
    all.push_back(std::move(programme));
    i += count;
  }
}

/// By the file alone.
std::vector<SoundProgramme> findByFile(const ProgrammeFacts& facts) {
  std::vector<SoundProgramme> all;
  std::vector<Track> tracks;
  const auto flush = [&] {
    addTracks(tracks, all);
    tracks.clear();
  };
  for (std::size_t i = 0; i < facts.audioStreams.size(); ++i) {
    const auto number = static_cast<int>(i);
    const QAStreamFacts& stream =
        facts.media.streams[static_cast<std::size_t>(facts.audioStreams[i])];
    const QAAudioFacts audio = stream.audio.value_or(QAAudioFacts{});
    const Positions& names = audio.channelNames;
    if (audio.channels == 1) {
      Track track{.stream = number,
                  .position = names.empty() ? "" : names.front(),
                  .rate = audio.sampleRate,
                  .language = stream.language,
                  .seconds = stream.durationSeconds};
      if (track.position.empty() || track.position == "FC") {
        const std::string titled = positionByTitle(stream.title);
        track.isJustMono = titled.empty() && !track.position.empty();
        track.position = titled.empty() ? track.position : titled;
      }
      tracks.push_back(std::move(track));
      continue;
    }
    flush();
    const std::size_t before = all.size();
    if (audio.channels > kMostChannels) {
      continue;
    }
    if (audio.channels > 1 && static_cast<int>(names.size()) == audio.channels) {
      all.push_back(wholeStream(number, names, true));
      all.back().layout = audio.layout.empty() ? all.back().layout : audio.layout;
    } else if (const Positions usual = usualPositions(audio.channels); !usual.empty()) {
      all.push_back(wholeStream(number, usual, false));
      all.back().isAssumedPair = audio.channels == 2;
    } else if (audio.channels == 0) {
      all.push_back({.layout = "unknown", .streams = {number}});
    } else {
      const auto pairs = pairsOfStream(number, audio.channels);
      all.insert(all.end(), pairs.begin(), pairs.end());
    }
    for (std::size_t k = before; k < all.size(); ++k) {
      all[k].language = stream.language;
    }
  }
  flush();
  return all;
}

std::string trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  return first == std::string_view::npos
             ? ""
             : std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

/// What is before, between and after the separators: at least one piece.
std::vector<std::string> pieces(std::string_view text, const char* separators) {
  std::vector<std::string> all;
  for (;;) {
    const auto end = text.find_first_of(separators);
    all.push_back(trimmed(text.substr(0, end)));
    if (end == std::string_view::npos) {
      return all;
    }
    text.remove_prefix(end + 1);
  }
}

/// A number of a stream, from 1; 0: it is none.
int streamNumber(const std::string& text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() && number > 0 ? number : 0;
}

/// One programme of a setting, such as "5-10=5.1".
class Entry {
 public:
  Entry(std::string text, const ProgrammeFacts& facts) : text_(std::move(text)), facts_(facts) {}

  /// False: `problem` says why not.
  bool parse(SoundProgramme& programme) {
    const auto sides = pieces(text_, "=:");
    for (const std::string& item : pieces(sides.front(), "+")) {
      if (!addStreams(item, programme)) {
        return false;
      }
    }
    const int channels = static_cast<int>(programme.channels.size());
    if (sides.size() > 2) {
      return fail("a programme has one layout");
    }
    const std::string layout = sides.size() > 1 ? sides[1] : "";
    const Positions positions =
        sides.size() > 1 ? positionsOf(layout)
                         : (programme.streams.size() == 1 ? ownPositions(programme.streams.front())
                                                          : usualPositions(channels));
    if (positions.empty() || static_cast<int>(positions.size()) != channels) {
      return fail(!layout.empty()
                      ? layout + " is no layout of " + std::to_string(channels) + " channels"
                      : "a layout is missing, such as :5.1");
    }
    place(programme, positions);
    programme.layoutDeclared = true;
    if (channels == 1) {
      programme.channels.front().name = std::to_string(programme.streams.front() + 1);
    }
    return true;
  }

  const std::string& problem() const { return problem_; }

 private:
  bool fail(const std::string& why) {
    problem_ = "Programmes: ";
    problem_ += text_;
    problem_ += ": ";
    problem_ += why;
    return false;
  }

  const QAAudioFacts* audioOf(int stream) const {
    const auto index =
        static_cast<std::size_t>(facts_.audioStreams[static_cast<std::size_t>(stream)]);
    const auto& audio = facts_.media.streams[index].audio;
    return audio.has_value() ? &*audio : nullptr;
  }

  Positions ownPositions(int stream) const {
    const QAAudioFacts* audio = audioOf(stream);
    if (audio == nullptr) {
      return {};
    }
    const bool named = static_cast<int>(audio->channelNames.size()) == audio->channels;
    return named && audio->channels > 1 ? audio->channelNames : usualPositions(audio->channels);
  }

  bool addStreams(const std::string& item, SoundProgramme& programme) {
    const auto ends = pieces(item, "-");
    const int first = streamNumber(ends.front());
    const int last = streamNumber(ends.back());
    if (first == 0 || last < first || ends.size() > 2) {
      return fail("streams are written 1+2 or 5-10");
    }
    for (int number = first; number <= last; ++number) {
      if (static_cast<std::size_t>(number) > facts_.audioStreams.size()) {
        return fail("there is no audio stream " + std::to_string(number));
      }
      const int stream = number - 1;
      const QAAudioFacts* audio = audioOf(stream);
      const int channels = audio != nullptr ? audio->channels : 0;
      if (channels <= 0 || channels > kMostChannels) {
        return fail("stream " + std::to_string(number) + " has no channels");
      }
      for (int channel = 0; channel < channels; ++channel) {
        programme.channels.push_back({.stream = stream, .channel = channel});
      }
      programme.streams.push_back(stream);
      programme.language = facts_.media
                               .streams[static_cast<std::size_t>(
                                   facts_.audioStreams[static_cast<std::size_t>(stream)])]
                               .language;
    }
    return true;
  }

  std::string text_;
  const ProgrammeFacts& facts_;
  std::string problem_;
};

}  // namespace

std::string SoundChannel::label() const {
  const bool isNumber = !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) != 0;
  return isNumber ? "track " + name : name;
}

SoundProgrammes findSoundProgrammes(const ProgrammeFacts& facts, const std::string& setting) {
  SoundProgrammes programmes;
  for (const std::string& text : pieces(setting, ";")) {
    if (text.empty()) {
      continue;
    }
    Entry entry(text, facts);
    SoundProgramme programme;
    if (!entry.parse(programme)) {
      return {.all = {}, .problem = entry.problem()};
    }
    programmes.all.push_back(std::move(programme));
  }
  if (programmes.all.empty()) {
    programmes.all = findByFile(facts);
  }
  return programmes;
}

SoundProgramme programmeOfStream(int stream, const SoundLayout& layout,
                                 const std::string& language) {
  const int channels = std::clamp(layout.channels, 0, kMostChannels);
  Positions positions = layout.names;
  bool declared = static_cast<int>(positions.size()) == channels;
  if (!declared) {
    positions = usualPositions(channels);
  }
  SoundProgramme programme;
  if (channels > 0 && static_cast<int>(positions.size()) != channels) {
    declared = false;
    for (int i = 0; i < channels; ++i) {
      programme.channels.push_back({.stream = stream, .channel = i, .name = std::to_string(i + 1)});
    }
    programme.streams = {stream};
    programme.layout = std::to_string(channels) + " channels";
  } else {
    programme = wholeStream(stream, positions, declared);
  }
  programme.language = language;
  return programme;
}

std::string programmeName(const SoundProgramme& programme, std::size_t programmes) {
  if (programmes < 2) {
    return "";
  }
  std::string name = programme.streams.size() > 1 ? "streams " : "stream ";
  for (std::size_t i = 0; i < programme.streams.size(); ++i) {
    name += i > 0 ? "+" : "";
    name += std::to_string(programme.streams[i] + 1);
  }
  if (programme.streams.size() == 1 && programme.isAssumedPair &&
      programme.channels.front().label() != programme.channels.front().name) {
    addWords(name, ", channels ", programme.channels.front().name);
    addWords(name, "+", programme.channels.back().name);
  } else if (programme.isMono() && programme.channels.front().channel > 0) {
    addWords(name, ", channel ", programme.channels.front().name);
  }
  if (!programme.language.empty()) {
    addWords(name, " (", programme.language + ")");
  }
  return name;
}

}  // namespace qatester
