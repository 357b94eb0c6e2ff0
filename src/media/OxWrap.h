#pragma once

#include <boost/thread/thread.hpp>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/Export.h"
#include "foundation/QAPauses.h"
#include "media/OxAudioStream.h"
#include "media/OxVideoStream.h"

/// How a wrapper makes its pauses.
struct OxWrapOptions {
  QAPauses pauses = QAPauses::fixed;  ///< fixed, or until there is something to do
  /// Ends the caller's pauses; the buffering thread obeys `stopBuffering` alone.
  std::stop_token stop;
};

/// Opens one media file, makes a decoder for its first video stream and for every audio stream, and
/// runs a thread that reads packets into their queues, at most 5,000,000 bytes a queue and one
/// packet more. The thread stops reading while any queue is full, so a caller that drains only one
/// kind of stream discards the other.
///
/// The constructor reports nothing: a file that did not open has no streams. Control calls, and the
/// use of the streams, belong to one thread.
class QATESTER_API OxWrap {
 private:
  struct QATESTER_LOCAL Buffering;
  std::shared_ptr<Buffering> buffering_;

 public:
  /// An empty name opens nothing.
  explicit OxWrap(const std::string& fileName, const OxWrapOptions& options = {});

  /// Tells the thread to end, waits for it at most 2000 ms, destroys the streams and closes the
  /// container. A thread that takes longer does the latter two itself when it ends.
  ~OxWrap();

  OxWrap(const OxWrap&) = delete;
  OxWrap& operator=(const OxWrap&) = delete;

  /// Starts the thread and pauses 500 s, or resumes a paused one at once.
  void startBuffering();

  /// The thread stops reading and stays alive.
  void pauseBuffering();

  /// Ends the thread, however long that takes, and pauses 100 s.
  void stopBuffering();

  /// True destroys the video stream for good and drops video packets from now on.
  void discardVideo(bool discard);

  /// Drops audio packets while true; the streams stay.
  void discardAudio(bool discard);

  /// Keeps the packets of these container streams only, whatever is discarded: for a caller that
  /// will never drain the others. The streams stay.
  void bufferOnly(const std::vector<int>& streamIndices);

  /// Null when there is none.
  OxVideoStream* getVideoStream();

  /// Null when there are no audio streams; `index` must be below `getNumberOfAudioStreams()`.
  OxAudioStream* getAudioStream(unsigned short index);

  /// 0 when the file did not open.
  unsigned int getNumberOfAudioStreams();

  /// Releases a block of `OxAudioStream`; leaves blocks without samples alone.
  void freeSample(OxAudioSample sample);

  /// The body of the buffering thread.
  void getMoreData();

  /// Why the file has no streams: FFmpeg's words, or empty when it opened.
  std::string getOpenError();

  std::string fileName;                       ///< as given to the constructor
  AVFormatContext*& formatContext;            ///< null when nothing is open
  std::vector<OxAudioStream*>& audioStreams;  ///< in the order of the container
  OxVideoStream*& videoStream;                ///< null when there is none
  int& bufferState;                           ///< 0 stopped, 1 buffering, 2 paused
  boost::thread bufferThread;                 ///< none before `startBuffering`
  bool& discardVideoPackets;                  ///< as `discardVideo` has it
  bool& discardAudioPackets;                  ///< as `discardAudio` has it
};
