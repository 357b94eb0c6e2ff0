#include "tester/StreamSetup.h"

namespace qatester {

QA_StreamSetup streamSetupOf(unsigned audioStreams) {
  switch (audioStreams) {
    case 1:
      return QA_STREAM_SETUP_ONE_STEREO;
    case 3:
      return QA_STREAM_SETUP_THREE_STEREO;
    case 4:
      return QA_STREAM_SETUP_FOUR_MONO;
    case 8:
      return QA_STREAM_SETUP_EIGHT_MONO;
    default:
      return QA_STREAM_SETUP_UNSUPPORTED;
  }
}

bool hasStreamPerChannel(QA_StreamSetup setup) {
  return setup == QA_STREAM_SETUP_FOUR_MONO || setup == QA_STREAM_SETUP_EIGHT_MONO;
}

const char* streamSetupText(QA_StreamSetup setup) {
  switch (setup) {
    case QA_STREAM_SETUP_ONE_STEREO:
      return "1 Stream with 2 Channels";
    case QA_STREAM_SETUP_THREE_STEREO:
      return "3 Streams with 2 Channels each";
    case QA_STREAM_SETUP_FOUR_MONO:
      return "4 Streams with 1 Channel each";
    case QA_STREAM_SETUP_EIGHT_MONO:
      return "8 Streams with 1 Channel each";
    default:
      return "unsupported";
  }
}

}  // namespace qatester
