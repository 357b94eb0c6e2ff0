// What a file, its name or a link can make the library and the client open, write or print.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "ReportFile.h"
#include "cli/Client.h"
#include "support/LoggedTester.h"

namespace qatest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Names = std::set<std::string>;

/// A listening socket of the loopback interface that nobody should talk to.
class Listener {
 public:
  explicit Listener(int type) : fd_(socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(fd_, any, size), 0);
    EXPECT_EQ(type == SOCK_STREAM ? listen(fd_, 8) : 0, 0);
    EXPECT_EQ(getsockname(fd_, any, &size), 0);
    port_ = std::to_string(ntohs(address.sin_port));
  }
  ~Listener() { close(fd_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  const std::string& port() const { return port_; }

  /// Whether somebody connected (a stream) or sent something (datagrams).
  bool called() const {
    char byte = 0;
    const int caller = accept(fd_, nullptr, nullptr);
    if (caller >= 0) {
      close(caller);
    }
    return caller >= 0 || recv(fd_, &byte, 1, 0) >= 0;
  }

 private:
  int fd_;
  std::string port_;
};

TEST(Listener, NoticesWhoCalls) {
  for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
    const Listener listener(type);
    EXPECT_FALSE(listener.called());
    const int fd = socket(AF_INET, type, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(listener.port())));
    ASSERT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(send(fd, "x", 1, 0), 1);
    EXPECT_TRUE(listener.called());
    close(fd);
  }
}

/// Notes which files of a folder are opened or made while it lives.
class Watch {
 public:
  explicit Watch(const fs::path& folder) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_GE(inotify_add_watch(fd_, folder.c_str(), IN_OPEN | IN_CREATE | IN_MOVED_TO), 0);
  }
  ~Watch() { close(fd_); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  /// Names since the last call. The folder itself has none.
  Names touched() {
    Names names;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t size = 0; (size = read(fd_, buffer, sizeof buffer)) > 0;) {
      for (const char* at = buffer; at < buffer + size;) {
        inotify_event event;
        std::memcpy(&event, at, sizeof event);
        if (event.len > 0) {
          names.insert(at + sizeof event);
        }
        at += sizeof event + event.len;
      }
    }
    return names;
  }

 private:
  int fd_;
};

/// Makes its folder the current one.
class InFolder {
 public:
  explicit InFolder(const fs::path& folder) { fs::current_path(folder); }
  ~InFolder() { fs::current_path(before_); }
  InFolder(const InFolder&) = delete;
  InFolder& operator=(const InFolder&) = delete;

 private:
  fs::path before_ = fs::current_path();
};

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

ClipSpec tinyClip() {
  return {{ffv1(10)}, {audio("pcm_s16le", 2, 0.4)}};
}

// What files refer to

class Doors : public testing::Test {
 protected:
  /// Looks at a file of this name, and expects nothing but that to be opened.
  std::vector<QACheckOutcome> look(const std::string& file) {
    LoggedTester tester(file, untilReady(), "QATesterSlateSeconds=0\n");
    watch_.touched();
    tester.run([](QATester& t) { return t.isValidFile(); });
    tester.run([](QATester& t) { return t.checkFrameRate(); });
    tester.run([](QATester& t) { return t.checkMono(); });
    const std::string own = fs::path(file).filename().string();
    for (const std::string& name : watch_.touched()) {
      EXPECT_EQ(name, own);
    }
    EXPECT_FALSE(stream_.called());
    EXPECT_FALSE(datagrams_.called());
    return tester.outcomes;
  }

  /// The same, and it must turn out to be nothing that can be measured.
  void expectClosed(const std::string& file) {
    SCOPED_TRACE(file);
    const std::vector<QACheckOutcome> outcomes = look(file);
    ASSERT_EQ(outcomes.size(), 3U);
    for (const QACheckOutcome& outcome : outcomes) {
      const bool measured = outcome.measured && outcome.tag != "QATester";
      EXPECT_FALSE(measured) << outcome.tag;
      EXPECT_NE(outcome.reason, "") << outcome.tag;
    }
  }

  void expectClosed(const std::string& name, const std::string& content) {
    SCOPED_TRACE(content);
    const std::string file = dir_.file(name);
    writeFile(file, filledIn(content));
    expectClosed(file);
    fs::remove(file);
  }

  std::string filledIn(const std::string& text) const {
    return replaced(replaced(replaced(text, "DIR", dir_.path().string()), "TCP", stream_.port()),
                    "UDP", datagrams_.port());
  }

  TempDir dir_;
  Listener stream_{SOCK_STREAM};
  Listener datagrams_{SOCK_DGRAM};
  /// What is referred to; whoever opens it is noticed.
  std::string other_ = makeClip(dir_, "other.mkv", tinyClip());
  std::string segment_ = makeClip(dir_, "other.ts", {{mpeg2WithBFrames(10)}, {audio("mp2")}});
  Watch watch_{dir_.path()};
};

TEST_F(Doors, TheWatchSeesWhatIsOpened) {
  readFile(other_);
  EXPECT_EQ(watch_.touched(), Names{"other.mkv"});
  look(other_);
}

TEST_F(Doors, OfPlaylistsStayShut) {
  const char* targets[] = {
      "other.ts",
      "DIR/other.ts",
      "file:DIR/other.ts",
      "file://DIR/other.ts",
      "http://127.0.0.1:TCP/other.ts",
      "https://127.0.0.1:TCP/other.ts",
      "tcp://127.0.0.1:TCP",
      "udp://127.0.0.1:UDP",
      "rtp://127.0.0.1:UDP",
      "concat:DIR/other.ts",
      "crypto:DIR/other.ts",
      "subfile,,start,0,end,9999,,:DIR/other.ts",
      "data:video/mp2t;base64,R0AR",
  };
  const char* lists[] = {
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\nTARGET\n#EXT-X-ENDLIST\n",
      "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nTARGET\n",
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-KEY:METHOD=AES-128,URI=\"TARGET\"\n"
      "#EXT-X-MAP:URI=\"TARGET\"\n#EXTINF:2,\nTARGET\n#EXT-X-ENDLIST\n",
  };
  for (const char* list : lists) {
    for (const char* target : targets) {
      expectClosed("list.m3u8", replaced(list, "TARGET", target));
    }
  }
}

TEST_F(Doors, OfScriptsAndDescriptionsStayShut) {
  for (const char* target :
       {"other.mkv", "DIR/other.mkv", "file:DIR/other.mkv", "http://127.0.0.1:TCP/other.mkv"}) {
    expectClosed("list.ffconcat", std::string("ffconcat version 1.0\nfile '") + target + "'\n");
    expectClosed("list.mkv", std::string("ffconcat version 1.0\nfile '") + target +
                                 "'\noption safe 0\nduration 1\n");
    expectClosed("list.mpd",
                 replaced("<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" "
                          "type=\"static\" mediaPresentationDuration=\"PT2S\"><Period>"
                          "<AdaptationSet mimeType=\"video/mp4\"><Representation id=\"0\" "
                          "bandwidth=\"1\"><BaseURL>TARGET</BaseURL><SegmentBase "
                          "indexRange=\"0-100\"/></Representation></AdaptationSet></Period>"
                          "</MPD>\n",
                          "TARGET", target));
  }
  expectClosed("session.sdp",
               "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
               "a=control:rtsp://127.0.0.1:TCP/x\nm=video UDP RTP/AVP 33\n");
  // A file of subtitle positions, whose pictures lie beside it.
  fs::copy_file(other_, dir_.file("words.sub"));
  expectClosed("words.idx",
               "# VobSub index file, v7 (do not modify this line!)\nsize: 720x576\n"
               "id: en, index: 0\ntimestamp: 00:00:01:000, filepos: 000000000\n");
  expectClosed("CPL.xml",
               "<?xml version=\"1.0\"?>\n<CompositionPlaylist xmlns=\"http://www.smpte-ra.org/"
               "schemas/2067-3/2016\"><Id>urn:uuid:0</Id></CompositionPlaylist>\n");
}

TEST_F(Doors, OfNamesLikePatternsStayShut) {
  for (const char* name : {"a%d.png", "a%03d.png", "a*.png", "a%d.mkv", "a?.jpg"}) {
    const std::string extension = fs::path(name).extension().string();
    for (const char* neighbour : {"a0", "a1", "a000", "a001"}) {
      fs::copy_file(other_, dir_.file(neighbour + extension), fs::copy_options::skip_existing);
    }
    SCOPED_TRACE(name);
    writeFile(dir_.file(name), "no picture\n");
    look(dir_.file(name));
  }
}

constexpr const char* kAddresses[] = {
    "concat:other.mkv|other.mkv",
    "concatf:other.mkv",
    "subfile,,start,0,end,9999,,:other.mkv",
    "file:other.mkv",
    "file:file:other.mkv",
    "crypto:other.mkv",
    "crypto+file:other.mkv",
    "cache:other.mkv",
    "async:other.mkv",
    "tee:other.mkv",
    "data:text,x",
    "pipe:0",
    "pipe:",
    "fd:0",
    "unix:other.mkv",
    "-",
};

TEST_F(Doors, OfNamesLikeAddressesStayShut) {
  const InFolder here(dir_.path());
  for (const char* name : kAddresses) {
    expectClosed(name);
  }
  for (const char* address :
       {"http://127.0.0.1:TCP/x.mkv", "tcp://127.0.0.1:TCP", "rtsp://127.0.0.1:TCP/x",
        "udp://127.0.0.1:UDP", "rtp://127.0.0.1:UDP", "ftp://127.0.0.1:TCP/x.mkv",
        "hls+http://127.0.0.1:TCP/x.m3u8", "mmsh://127.0.0.1:TCP/x"}) {
    expectClosed(filledIn(address));
  }
}

TEST_F(Doors, NamesLikeAddressesAreNamesOfFiles) {
  const InFolder here(dir_.path());
  for (const char* name : kAddresses) {
    SCOPED_TRACE(name);
    fs::copy_file(other_, name);
    for (const QACheckOutcome& outcome : look(name)) {
      EXPECT_TRUE(outcome.opened) << outcome.tag;
    }
    fs::remove(name);
  }
}

std::string bigEndian(std::size_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) {
    text += static_cast<char>(value >> (8 * i));
  }
  return text;
}

std::string box(const std::string& type, const std::string& content) {
  return bigEndian(content.size() + 8, 4) + type + content;
}

/// The boxes of `content`, with every data reference replaced by `reference`.
std::string withReference(const std::string& content, const std::string& reference, int& count) {
  const Names parents{"moov", "trak", "mdia", "minf", "dinf"};
  std::string boxes;
  for (std::size_t at = 0; at + 8 <= content.size();) {
    std::size_t size = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      size = size << 8 | static_cast<unsigned char>(content[at + i]);
    }
    const std::string type = content.substr(at + 4, 4);
    const std::string inner = content.substr(at + 8, size - 8);
    if (parents.count(type) > 0) {
      boxes += box(type, withReference(inner, reference, count));
    } else if (type == "dref") {
      boxes += box(type, bigEndian(0, 4) + bigEndian(1, 4) + reference);
      ++count;
    } else {
      boxes += content.substr(at, size);
    }
    at += size;
  }
  return boxes;
}

/// A reference to a file by its folder's name, its own and its whole path.
std::string alias(const std::string& path) {
  const std::string name = fs::path(path).filename().string();
  const auto text = [](const std::string& value, std::size_t size) {
    return std::string(1, static_cast<char>(value.size())) + value +
           std::string(size - value.size(), '\0');
  };
  const auto tagged = [](std::size_t tag, std::string value) {
    value += std::string(value.size() % 2, '\0');
    return bigEndian(tag, 2) + bigEndian(value.size(), 2) + value;
  };
  return box("alis", bigEndian(0, 4) + std::string(10, '\0') + text("disk", 27) +
                         std::string(12, '\0') + text(name, 63) + std::string(16, '\0') +
                         bigEndian(1, 2) + bigEndian(1, 2) + std::string(16, '\0') +
                         tagged(2, "disk" + replaced(path, "/", ":")) + tagged(18, path) +
                         bigEndian(0xffff, 2) + bigEndian(0, 2));
}

TEST_F(Doors, OfMoviesWhoseMediaLieElsewhereStayShut) {
  // The index lies behind the media, so that it may grow.
  const std::string whole = readFile(makeClip(dir_, "whole.mov", tinyClip()));
  fs::copy_file(dir_.file("whole.mov"), dir_.file("other.mov"));
  fs::remove(dir_.file("whole.mov"));
  const auto written = [&](const std::string& reference) {
    int count = 0;
    writeFile(dir_.file("movie.mov"), withReference(whole, reference, count));
    EXPECT_EQ(count, 2);
    return dir_.file("movie.mov");
  };
  expectClosed(written(alias(dir_.file("other.mov"))));
  // Media at an address are looked for in the file itself.
  for (const char* address : {"http://127.0.0.1:TCP/other.mov", "file://DIR/other.mov"}) {
    look(written(box("url ", bigEndian(0, 4) + filledIn(address) + '\0')));
  }
}

// What reaches terminals and reports

/// Whether a terminal would obey anything in it but line ends and `allowed`.
bool holdsControls(const std::string& text, const std::string& allowed) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool late =
        byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (late || ((byte < 0x20 || byte == 0x7f) && byte != '\n' &&
                 allowed.find(text[i]) == std::string::npos)) {
      return true;
    }
  }
  return false;
}

TEST(Names, TakeNoLibertiesWithTerminalsAndReports) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "clip.mkv", tinyClip());
  const std::vector<std::string> names = {
      "quo\"te'.mkv",
      "back\\slash\\n.mkv",
      "a<\\script><b>&amp;.mkv",
      "new\nline.mkv",
      "\x1b]0;owned\x07\x1b[2J.mkv",
      "tab\tbell\x07\x7f.mkv",
      "late\xc2\x9b"
      "31m\xc2\x85.mkv",
      "no text \xff\x9b\xc3.mkv",
      "\xe2\x80\xae"
      "3pm.mkv",
  };
  Arguments arguments{"-v", "--json", dir.file("report.json"), "--checks", "valid"};
  for (const std::string& name : names) {
    fs::copy_file(clip, dir.file(name));
    arguments.push_back(dir.file(name));
    arguments.push_back(dir.file("missing-" + name));
  }
  const Finished end = runClient(arguments);
  EXPECT_FALSE(holdsControls(end.out, "")) << end.out;
  // A name, a verdict, a check's line and an empty one for each file that is there; then how many
  // there are, and a line for each that is missing.
  EXPECT_EQ(linesOf(end.out).size(), 4 * names.size() + 1 + names.size());
  // Log lines have tabs.
  EXPECT_FALSE(holdsControls(end.err, "\t")) << end.err;

  const json files = json::parse(readFile(dir.file("report.json"))).at("files");
  ASSERT_EQ(files.size(), 2 * names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string told = files.at(2 * i).at("file");
    const bool isText = names[i].find('\xff') == std::string::npos;
    EXPECT_EQ(told,
              dir.file(isText ? names[i] : "no text \xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd.mkv"));
    EXPECT_EQ(files.at(2 * i).at("checks").at(0).at("state"), "pass");
    EXPECT_TRUE(files.at(2 * i + 1).contains("error"));
  }
}

TEST(Metadata, AreNotShown) {
  const TempDir dir;
  const std::string title = std::string(1, '\0') + "\x1b]0;owned\x07</script><b>\n";
  const auto sevenBits = [](std::size_t size) {
    return std::string{'\0', '\0', static_cast<char>(size >> 7), static_cast<char>(size & 0x7f)};
  };
  const std::string tag = "TIT2" + bigEndian(title.size(), 4) + std::string(2, '\0') + title;
  const std::string sound = makeClip(dir, "sound.flac", {{}, {audio("flac", 2, 2.0)}});
  const std::string titled = dir.file("titled.flac");
  writeFile(titled, std::string("ID3\x03\0\0", 6) + sevenBits(tag.size()) + tag + readFile(sound));
  const Arguments common{"-v", "--json", "-", "--checks", "levels,mono"};
  const auto outputOf = [&](const std::string& file) {
    Arguments arguments = common;
    arguments.push_back(file);
    const Finished end = runClient(arguments);
    EXPECT_FALSE(holdsControls(end.out + end.err, "\t"));
    EXPECT_EQ(onlyFile(json::parse(end.out)).contains("error"), false);
    return end.out + end.err;
  };
  EXPECT_EQ(outputOf(titled).find("owned"), std::string::npos);
  outputOf(sound);
}

// What is written, and where

constexpr const char* kVictim = "somebody's work\n";

TEST(Temporaries, OfAReportFollowNoLinkThatWaitsUnderTheirName) {
  const TempDir dir;
  const TempDir elsewhere;
  const std::string victim = elsewhere.file("victim");
  writeFile(victim, kVictim);
  const std::string prefix = dir.file(".qatester-" + std::to_string(getpid()) + "-");
  fs::create_symlink(victim, prefix + "0");
  fs::create_symlink(elsewhere.file("new"), prefix + "1");
  writeFile(prefix + "2", kVictim);
  {
    const mode_t before = umask(027);
    cli::ReportFile report(dir.file("report.json"));
    umask(before);
    EXPECT_EQ(report.temporaryName(), prefix + "3");
    struct stat status {};
    ASSERT_EQ(stat(report.temporaryName().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
    report.commit("text\n");
  }
  EXPECT_EQ(readFile(dir.file("report.json")), "text\n");
  EXPECT_EQ(readFile(victim), kVictim);
  EXPECT_EQ(readFile(prefix + "2"), kVictim);
  EXPECT_EQ(filesIn(elsewhere), std::vector<std::string>{"victim"});
  EXPECT_TRUE(fs::is_symlink(prefix + "0"));
  EXPECT_TRUE(fs::is_symlink(prefix + "1"));
}

TEST(Temporaries, OfPicturesFollowNoLinkThatWaitsUnderTheirName) {
  const TempDir dir;
  const TempDir elsewhere;
  const std::string victim = elsewhere.file("victim");
  writeFile(victim, kVictim);
  const std::string picture = dir.file("Diamond-Display-00000.png");
  const auto waiting = [&](int number) {
    return picture + "." + std::to_string(getpid()) + "-" + std::to_string(number) + ".tmp";
  };
  constexpr int kWaiting = 10;
  for (int i = 0; i < kWaiting; ++i) {
    fs::create_symlink(i % 2 == 0 ? victim : elsewhere.file("new"), waiting(i));
  }
  QATesterOptions options = stored();
  options.displays = QADisplays::pictures;
  options.displayFolder = dir.path().string();
  LoggedTester tester(makeClip(elsewhere, "clip.mkv", tinyClip()), options,
                      "QATesterSlateSeconds=0\nChromaFrameChecks=1\n");
  tester.run([](QATester& t) { return t.checkChroma(); });
  EXPECT_EQ(tester.logged().find("displays: "), std::string::npos) << tester.logged();
  EXPECT_EQ(readFile(picture).substr(1, 3), "PNG");
  EXPECT_FALSE(fs::is_symlink(picture));
  EXPECT_EQ(readFile(victim), kVictim);
  EXPECT_EQ(filesIn(elsewhere), (std::vector<std::string>{"clip.mkv", "victim"}));
  for (int i = 0; i < kWaiting; ++i) {
    EXPECT_TRUE(fs::is_symlink(waiting(i)));
  }
  EXPECT_EQ(filesIn(dir).size(), 1U + kWaiting);
}

class Links : public testing::Test {
 protected:
  /// Nothing is run, and no link and nothing behind one is gone.
  void expectRefusal(const char* option, const std::string& name, const std::string& reason) {
    SCOPED_TRACE(option + (" " + name));
    const auto before = filesIn(dir_);
    const Finished end = runClient({option, dir_.file(name), "--checks", "valid", clip_});
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err.substr(end.err.rfind(": ")), ": " + reason + "\n");
    EXPECT_EQ(end.code, 2);
    EXPECT_EQ(filesIn(dir_), before);
    EXPECT_TRUE(fs::is_symlink(dir_.file(name)));
  }

  void expectWritten(const char* option, const std::string& name) {
    SCOPED_TRACE(option + (" " + name));
    const Finished end = runClient({option, dir_.file(name), "--checks", "chroma", clip_});
    EXPECT_EQ(end.err, "");
    EXPECT_TRUE(fs::is_symlink(dir_.file(name)));
  }

  TempDir clips_;
  std::string clip_ = goodClip(clips_);
  TempDir dir_;
};

TEST_F(Links, ThatLeadNowhereAreWrittenThrough) {
  fs::create_directory(dir_.file("sub"));
  fs::create_symlink("sub/next", dir_.file("link"));
  fs::create_symlink("real", dir_.file("sub/next"));
  for (const char* option : {"--json", "--log"}) {
    expectWritten(option, "link");
    EXPECT_TRUE(fs::is_symlink(dir_.file("sub/next")));
    EXPECT_NE(readFile(dir_.file("sub/real")), "");
    EXPECT_EQ(fs::remove(dir_.file("sub/real")), true);
  }
  EXPECT_EQ(filesIn(dir_), (std::vector<std::string>{"link", "sub"}));
  fs::create_symlink("none/real", dir_.file("astray"));
  expectRefusal("--json", "astray", "No such file or directory");
  expectRefusal("--log", "astray", "No such file or directory");
  expectRefusal("--displays", "astray", "Not a directory");
}

TEST_F(Links, ToFilesAndFoldersAreTakenForThese) {
  fs::create_directory(dir_.file("folder"));
  fs::create_symlink("folder", dir_.file("to-folder"));
  expectRefusal("--json", "to-folder", "Is a directory");
  expectRefusal("--log", "to-folder", "Is a directory");
  expectWritten("--displays", "to-folder");
  writeFile(dir_.file("file"), kVictim);
  fs::create_symlink("file", dir_.file("to-file"));
  expectRefusal("--displays", "to-file", "Not a directory");
  EXPECT_EQ(readFile(dir_.file("file")), kVictim);
  expectWritten("--log", "to-file");
  EXPECT_EQ(readFile(dir_.file("file")).rfind(kVictim, 0), 0U);
}

TEST_F(Links, ThatGoRoundInCirclesAreRefused) {
  fs::create_symlink("there", dir_.file("here"));
  fs::create_symlink("here", dir_.file("there"));
  const std::string circle = "Too many levels of symbolic links";
  expectRefusal("--json", "here", circle);
  expectRefusal("--log", "here", circle);
  expectRefusal("--displays", "here", circle);
}

TEST_F(Links, KeepTheirTargetsWhenWritingFails) {
  writeFile(dir_.file("real.json"), kVictim);
  fs::create_symlink("real.json", dir_.file("link.json"));
  {
    cli::ReportFile report(dir_.file("link.json"));
    // Never committed: as if the run ended early.
  }
  EXPECT_EQ(readFile(dir_.file("real.json")), kVictim);
  EXPECT_EQ(filesIn(dir_), (std::vector<std::string>{"link.json", "real.json"}));

  fs::create_symlink("/dev/full", dir_.file("full"));
  const Finished end = runClient({"--json", dir_.file("full"), "--checks", "valid", clip_});
  EXPECT_EQ(end.code, 2);
  EXPECT_TRUE(fs::is_symlink(dir_.file("full")));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

// Shells

TEST(Shells, AreNotAsked) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "clip.mkv", tinyClip());
  const InFolder here(dir.path());
  std::vector<std::string> expected{"clip.mkv"};
  for (const char* name :
       {"$(touch x);x.mkv", "`touch x`.mkv", "| touch x", "; touch x #.mkv", "x.mkv\ntouch x\n",
        "a.mkv && touch x", "'$(touch x)'\"`touch x`\".mkv"}) {
    const std::string base = name;
    fs::copy_file(clip, base);
    const Finished end = runClient({"--checks", "valid,chroma", "--json", base + ".json", "--log",
                                    base + ".log", "--displays", base + ".shots", "--", base});
    EXPECT_EQ(end.err, "");
    for (const char* suffix : {"", ".json", ".log", ".shots"}) {
      expected.push_back(base + suffix);
    }
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(filesIn(dir), expected);
}

}  // namespace
}  // namespace qatest
