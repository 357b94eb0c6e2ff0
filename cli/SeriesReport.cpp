#include "SeriesReport.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <map>
#include <tuple>
#include <utility>

#include "CleanText.h"
#include "CsvReport.h"
#include "Gzip.h"
#include "tester/QACheck.h"

namespace cli {

namespace {

/// Digits that a figure is worth; seconds have more.
constexpr int kFigureDigits = 7;
constexpr int kSecondDigits = 12;

std::string numberText(double number, int digits) {
  if (!std::isfinite(number)) {
    return "";
  }
  char text[64];
  const auto end =
      std::to_chars(std::begin(text), std::end(text), number, std::chars_format::general, digits);
  return {text, end.ptr};
}

std::ptrdiff_t placeOf(const std::string& check) {
  const auto all = allChecks();
  return std::find_if(all.begin(), all.end(),
                      [&](const QACheck* known) { return check == known->name; }) -
         all.begin();
}

std::string columnName(const QASeries& series, const QASeriesColumn& column) {
  std::string name = series.check;
  name += "." + column.key;
  if (!column.channel.empty()) {
    name += "." + column.channel;
  }
  return name;
}

const char* kindText(QASeries::Per per) {
  switch (per) {
    case QASeries::Per::picture:
      return "picture";
    case QASeries::Per::sound:
      return "sound";
    case QASeries::Per::classicFrame:
      return "frame";
    case QASeries::Per::classicBlock:
      break;
  }
  return "block";
}

/// Classic checks count each for itself, so that nobody shares their lines.
std::string partOf(const QASeries& series) {
  if (series.per == QASeries::Per::picture || series.per == QASeries::Per::sound) {
    return series.part;
  }
  return series.part.empty() ? series.check : series.check + " " + series.part;
}

/// Series whose rows are of the same pictures, or of the same sound, or are of one classic check.
struct Group {
  QASeries::Per per;
  std::string part;
  std::vector<const SeriesStore::Kept*> members = {};
};

std::vector<Group> groupsOf(const std::vector<const SeriesStore::Kept*>& all) {
  std::vector<Group> groups;
  for (const QASeries::Per per : {QASeries::Per::picture, QASeries::Per::sound,
                                  QASeries::Per::classicFrame, QASeries::Per::classicBlock}) {
    for (const SeriesStore::Kept* kept : all) {
      if (kept->series.per != per) {
        continue;
      }
      auto found = std::find_if(groups.begin(), groups.end(), [&](const Group& group) {
        return group.per == per && group.part == partOf(kept->series);
      });
      if (found == groups.end()) {
        found = groups.insert(groups.end(), {per, partOf(kept->series)});
      }
      found->members.push_back(kept);
    }
  }
  return groups;
}

/// Where each name stands, and what its unit is.
class Columns {
 public:
  void add(const QASeries& series) {
    for (const QASeriesColumn& column : series.columns) {
      const std::string name = columnName(series, column);
      if (places_.emplace(name, names_.size()).second) {
        names_.push_back(column.unit.empty() ? name : name + " [" + column.unit + "]");
      }
    }
  }
  std::size_t count() const { return names_.size(); }
  const std::vector<std::string>& names() const { return names_; }
  std::vector<std::size_t> placesOf(const QASeries& series) const {
    std::vector<std::size_t> places;
    for (const QASeriesColumn& column : series.columns) {
      places.push_back(places_.at(columnName(series, column)));
    }
    return places;
  }

 private:
  std::map<std::string, std::size_t> places_;
  std::vector<std::string> names_;
};

/// Where the next row of a member of a group is.
struct Cursor {
  const SeriesStore::Kept* kept;
  std::vector<std::size_t> places;
  std::size_t row = 0;

  bool hasRow() const { return row < kept->indexes.size(); }
  int64_t index() const { return kept->indexes[row]; }
};

void addGroup(const Group& group, const Columns& columns, std::string& text) {
  std::vector<Cursor> cursors;
  for (const SeriesStore::Kept* kept : group.members) {
    cursors.push_back({kept, columns.placesOf(kept->series)});
  }
  const std::string kind = std::string(kindText(group.per)) + "," + csvCell(group.part) + ",";
  std::vector<std::string> cells(columns.count());
  for (;;) {
    const Cursor* first = nullptr;
    for (const Cursor& cursor : cursors) {
      if (cursor.hasRow() && (first == nullptr || cursor.index() < first->index())) {
        first = &cursor;
      }
    }
    if (first == nullptr) {
      return;
    }
    const int64_t index = first->index();
    const std::optional<double>& seconds = first->kept->seconds[first->row];
    text += kind + std::to_string(index) + "," +
            (seconds.has_value() ? numberText(*seconds, kSecondDigits) : "") + "," +
            first->kept->timecodes[first->row];
    std::fill(cells.begin(), cells.end(), "");
    for (Cursor& cursor : cursors) {
      if (!cursor.hasRow() || cursor.index() != index) {
        continue;
      }
      const std::size_t width = cursor.places.size();
      for (std::size_t i = 0; i < width; ++i) {
        cells[cursor.places[i]] =
            numberText(cursor.kept->values[cursor.row * width + i], kFigureDigits);
      }
      ++cursor.row;
    }
    for (const std::string& cell : cells) {
      text += ",";
      text += cell;
    }
    text += "\n";
  }
}

}  // namespace

void SeriesStore::begin(const QASeries& series) {
  const std::lock_guard<std::mutex> lock(mutex_);
  kept_.push_back(std::make_unique<Kept>(Kept{.address = &series, .series = series}));
}

void SeriesStore::take(const QASeries& series, const QASeriesRow& row) {
  const std::lock_guard<std::mutex> lock(mutex_);
  // The newest: a series that has ended may have left its place to another one.
  const auto found = std::find_if(kept_.rbegin(), kept_.rend(),
                                  [&](const auto& kept) { return kept->address == &series; });
  if (found == kept_.rend()) {
    return;
  }
  Kept& kept = **found;
  kept.indexes.push_back(row.index);
  kept.seconds.push_back(row.seconds);
  kept.timecodes.push_back(row.timecode);
  kept.values.insert(kept.values.end(), row.values.begin(), row.values.end());
}

std::vector<const SeriesStore::Kept*> SeriesStore::all() const {
  std::vector<const Kept*> all;
  for (const auto& kept : kept_) {
    all.push_back(kept.get());
  }
  std::stable_sort(all.begin(), all.end(), [](const Kept* one, const Kept* other) {
    const auto keyOf = [](const Kept& kept) {
      // "stream 10" after "stream 9". Which one began first is chance.
      return std::tuple(placeOf(kept.series.check), kept.series.part.size(), kept.series.part);
    };
    return keyOf(*one) < keyOf(*other);
  });
  return all;
}

std::string seriesText(const SeriesStore& store) {
  const std::vector<Group> groups = groupsOf(store.all());
  Columns columns;
  for (const Group& group : groups) {
    for (const SeriesStore::Kept* kept : group.members) {
      columns.add(kept->series);
    }
  }
  std::string text = "kind,part,index,seconds,timecode";
  for (const std::string& name : columns.names()) {
    text += ",";
    text += csvCell(name);
  }
  text += "\n";
  for (const Group& group : groups) {
    addGroup(group, columns, text);
  }
  return text;
}

std::string compressed(const std::string& text) {
  Gzip gzip;
  gzip.add(text);
  return gzip.finish();
}

}  // namespace cli
