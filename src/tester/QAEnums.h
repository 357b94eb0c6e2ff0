#pragma once

/// A file's audio layout, decided by the number of audio streams alone.
enum QA_StreamSetup : int {
  QA_STREAM_SETUP_UNSUPPORTED = 0,   ///< any other number of streams
  QA_STREAM_SETUP_ONE_STEREO = 1,    ///< 1 stream
  QA_STREAM_SETUP_THREE_STEREO = 2,  ///< 3 streams
  QA_STREAM_SETUP_FOUR_MONO = 3,     ///< 4 streams
  QA_STREAM_SETUP_EIGHT_MONO = 4,    ///< 8 streams
};

/// The picture structure.
enum QA_FrameType : int {
  QA_FRAME_TYPE_UNKNOWN = 0,      ///< not measured, or the flags do not agree
  QA_FRAME_TYPE_INTERLACED = 1,   ///< two fields a frame
  QA_FRAME_TYPE_PROGRESSIVE = 2,  ///< whole pictures
};

/// The dominant (first) field of interlaced material.
enum QA_FieldType : int {
  QA_FIELD_TYPE_UNKNOWN = 0,  ///< not interlaced, or the flags do not agree
  QA_FIELD_TYPE_LOWER = 1,    ///< the bottom field
  QA_FIELD_TYPE_UPPER = 2,    ///< the top field
};
