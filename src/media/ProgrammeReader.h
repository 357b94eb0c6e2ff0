#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "media/Programme.h"

namespace qatester {

/// How far a reading has come.
struct ProgrammeProgress {
  double share =
      0.0;  ///< of the file, 0 to 1: by time stamps where the duration is known, or by bytes
};

struct ProgrammeReaderOptions {
  std::stop_token stop;
  /// 1: every consumer is called on the thread that runs the reading. Otherwise slow ones have
  /// threads of their own. Decoders use the same number of threads either way, since damaged
  /// pictures of some codecs depend on it. Changes time only, never a result.
  int threads = 0;
  /// Called on the thread that runs the reading, now and then.
  std::function<void(const ProgrammeProgress& progress)> progress;
};

/// Demultiplexes and decodes a file once, from its first packet to the last picture and sample,
/// and hands all of it to its consumers. A stop is seen at the next packet. Memory is bounded
/// whatever the file's length: a consumer with a thread of its own holds at most a few pictures
/// back, and then the reading.
class ProgrammeReader {
 public:
  ProgrammeReader(const std::string& file, ProgrammeReaderOptions options);
  ~ProgrammeReader();
  ProgrammeReader(const ProgrammeReader&) = delete;
  ProgrammeReader& operator=(const ProgrammeReader&) = delete;

  /// Null: the file did not open, `openError` says why.
  const ProgrammeFacts* facts() const;
  std::string openError() const;

  /// Before `run`; the consumer must outlive it. Streams that nobody wants are not decoded.
  void add(ProgrammeConsumer& consumer);

  /// Reads the file to its end, as long as any consumer wants something. Once. Throws
  /// `std::bad_alloc` and what `progress` throws; consumers get no `end` then.
  ProgrammeEnd run();

  /// What ended a consumer early; null when nothing did. After `run`.
  std::exception_ptr errorOf(const ProgrammeConsumer& consumer) const;

 private:
  class Reading;
  std::unique_ptr<Reading> reading_;
};

}  // namespace qatester
