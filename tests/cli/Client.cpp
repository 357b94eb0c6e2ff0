#include "Client.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "tester/QACheck.h"
#include "tester/QATester.h"

namespace qatest {

namespace {

AudioSpec stereo() {
  AudioSpec sound = audio("pcm_s16le", 2, 2.0);
  sound.sample = [](int channel, int64_t) { return channel == 0 ? 0.5 : -0.5; };
  return sound;
}

std::vector<double> filtered(const std::vector<double>& x, double b0, double b1, double b2,
                             double a1, double a2) {
  std::vector<double> y;
  const auto at = [](const std::vector<double>& values, std::size_t i, std::size_t back) {
    return i < back ? 0.0 : values[i - back];
  };
  for (std::size_t i = 0; i < x.size(); ++i) {
    y.push_back(b0 * x[i] + b1 * at(x, i, 1) + b2 * at(x, i, 2) - a1 * at(y, i, 1) -
                a2 * at(y, i, 2));
  }
  return y;
}

}  // namespace

std::vector<std::string> checkNames() {
  std::vector<std::string> names;
  for (const QACheck* check : allChecks()) {
    names.emplace_back(check->name);
  }
  return names;
}

std::string checksBut(const std::vector<std::string>& others) {
  std::string list;
  for (const std::string& name : checkNames()) {
    if (std::find(others.begin(), others.end(), name) == others.end()) {
      list += (list.empty() ? "" : ",") + name;
    }
  }
  return list;
}

Command client(const Arguments& arguments) {
  return {QATESTER_CLIENT, arguments};
}

Command quickClient(const Arguments& arguments) {
  return {QATESTER_QUICK_CLIENT, arguments};
}

Finished run(const Command& command) {
  return Process(command).wait();
}

Finished runClient(const Arguments& arguments) {
  return run(client(arguments));
}

nlohmann::json reportOf(const Arguments& arguments) {
  Arguments all{"-q", "--json", "-"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return nlohmann::json::parse(runClient(all).out);
}

nlohmann::json onlyFile(const nlohmann::json& report) {
  return report.at("files").size() == 1 ? report.at("files").at(0) : nlohmann::json();
}

nlohmann::json onlyCheck(const nlohmann::json& report) {
  const nlohmann::json checks = onlyFile(report).at("checks");
  return checks.size() == 1 ? checks.at(0) : nlohmann::json();
}

QACheckOutcome runToFirstPercent(const std::string& check, const std::string& clip,
                                 const std::string& settings, std::stop_source& stop) {
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.displays = QADisplays::nowhere;
  options.stop = stop.get_token();
  options.progress = [&](const QAProgress& progress) {
    if (progress.percent > 0) {
      stop.request_stop();
    }
  };
  QATester tester(clip.c_str(), nullptr, settings.c_str(), nullptr, options);
  return tester.runChecks({check}).at(0);
}

nlohmann::json fieldsLike(const nlohmann::json& like, const nlohmann::json& object) {
  nlohmann::json fields = nlohmann::json::object();
  for (const auto& item : like.items()) {
    if (object.contains(item.key())) {
      fields[item.key()] = object.at(item.key());
    }
  }
  return fields;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string withoutHeads(const std::string& table) {
  std::vector<std::string> kept;
  for (const std::string& line : linesOf(table)) {
    if (line.rfind("  verdict: ", 0) != 0) {
      kept.push_back(line);
    } else if (kept.size() > 1 && kept.back().rfind("  ", 0) == 0) {
      kept.pop_back();
    }
  }
  std::string result;
  for (const std::string& line : kept) {
    result += line + "\n";
  }
  return result;
}

std::map<std::string, std::string> tableByCheck(const std::string& table) {
  const std::string unmeasured = "  not-measured  ";
  std::vector<std::string> rows;
  for (const std::string& line : linesOf(withoutHeads(table))) {
    if (line.rfind(std::string(unmeasured.size(), ' '), 0) == 0) {
      rows.back() += " " + line.substr(unmeasured.size());
    } else if (line.rfind("  ", 0) == 0) {
      rows.push_back(line);
    }
  }
  std::map<std::string, std::string> result;
  for (const std::string& row : rows) {
    if (row.rfind(unmeasured, 0) == 0) {
      const std::size_t colon = row.find(": ");
      std::istringstream names(row.substr(unmeasured.size(), colon - unmeasured.size()));
      for (std::string name; std::getline(names >> std::ws, name, ',');) {
        result[name] = "not-measured  " + row.substr(colon + 2);
      }
    } else {
      const std::size_t end = row.find(' ', 2);
      result[row.substr(2, end - 2)] = row.substr(row.find_first_not_of(' ', end));
    }
  }
  return result;
}

std::vector<std::string> filesIn(const TempDir& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string goodClip(const TempDir& dir, const std::string& name) {
  VideoSpec late = ffv1(50);
  late.edit = [](AVPacket& packet, int) {
    packet.pts += 1;
    packet.dts += 1;
  };
  return makeClip(dir, name, {{late}, {stereo()}});
}

std::string fastClip(const TempDir& dir, const std::string& name) {
  return makeClip(dir, name, {{ffv1(50)}, {stereo()}});
}

float fastClipRate(int budget) {
  double sum = 0.0;
  for (int k = 1; k < budget; ++k) {
    sum += 25.0 * (k + 1) / k;
  }
  return static_cast<float>(std::floor(sum / budget * 100.0 + 0.5) / 100.0);
}

double loudnessOfConstants(double left, double right, int count) {
  const std::vector<double> step(static_cast<std::size_t>(count), 1.0);
  const std::vector<double> shelved =
      filtered(step, 1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241,
               0.73248077421585);
  double energy = 0.0;
  for (const double value :
       filtered(shelved, 1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621)) {
    energy += value * value;
  }
  return 10.0 * std::log10((left * left + right * right) * energy / count) - 0.691;
}

std::string twoDecimals(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

std::string soundClip(const TempDir& dir, const std::string& name) {
  return makeClip(dir, name, {{}, {stereo()}});
}

std::string cutClip(const TempDir& dir, const std::string& name) {
  const std::string whole = makeClip(dir, "whole-" + name, {{ffv1(200)}, {audio("aac", 2, 8.0)}});
  const std::string cut = truncatedCopy(dir, name, whole, readFile(whole).size() / 4);
  std::filesystem::remove(whole);
  return cut;
}

std::vector<int> percents(int budget, int count) {
  std::vector<int> sent;
  int last = 0;
  for (int i = 0; i < count; ++i) {
    const int percent = static_cast<int>(static_cast<float>(i) / static_cast<float>(budget) * 100);
    if (percent != last) {
      sent.push_back(percent);
      last = percent;
    }
  }
  return sent;
}

}  // namespace qatest
