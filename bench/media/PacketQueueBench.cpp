// Packets a second through the queue between the thread that reads and the one that decodes.

#include "media/PacketQueue.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "foundation/SharedValue.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace {

/// Bytes of a packet's payload: about what a picture of 10 Mbit/s has.
constexpr int kPayloadBytes = 50000;
/// Packets on their way at most, as the reader's limit of 5,000,000 bytes makes it.
constexpr int kMostQueued = 100;

/// A queue, and one packet whose payload every queued packet shares: the benchmark measures the
/// queue, not the allocation of payloads.
class Channel {
 public:
  explicit Channel(PacketSupply supply) {
    av_new_packet(&packet_, kPayloadBytes);
    OxPackets::packet_queue_init(&queue_);
    OxPackets::packet_queue_set_supply(queue_, supply);
  }
  ~Channel() {
    delete queue_;  // empty: its packets would each release the payload
    av_packet_unref(&packet_);
  }
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  PacketQueue& queue() { return *queue_; }
  void put() { OxPackets::packet_queue_put(queue_, &packet_); }
  bool get() {
    AVPacket taken;
    return OxPackets::packet_queue_get(queue_, &taken, 1) == 1;
  }

 private:
  AVPacket packet_{};
  PacketQueue* queue_ = nullptr;
};

void count(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * kPayloadBytes);
}

void putThenGet(benchmark::State& state) {
  Channel channel(PacketSupply::flowing);
  for (auto _ : state) {
    channel.put();
    channel.get();
  }
  count(state);
}
BENCHMARK(putThenGet);

/// Thread 0 puts what thread 1 gets.
void betweenThreads(benchmark::State& state, Channel& channel) {
  if (state.thread_index() == 0) {
    for (auto _ : state) {
      while (qatester::loadShared(channel.queue().nb_packets) >= kMostQueued) {
        std::this_thread::yield();
      }
      channel.put();
    }
    count(state);
    return;
  }
  for (auto _ : state) {
    if (!channel.get()) {
      state.SkipWithError("a packet is missing");
      return;
    }
  }
}

void betweenTwoThreads(benchmark::State& state) {
  static Channel channel(PacketSupply::flowing);
  betweenThreads(state, channel);
}
BENCHMARK(betweenTwoThreads)->Threads(2)->UseRealTime();

/// The same with a watcher that hears of every change, as in an until-ready wrapper.
void betweenTwoThreadsWatched(benchmark::State& state) {
  static std::mutex mutex;
  static std::condition_variable changed;
  static Channel& channel = []() -> Channel& {
    static Channel watched(PacketSupply::flowing);
    watched.queue().changed = [] {
      { const std::lock_guard<std::mutex> lock(mutex); }
      changed.notify_all();
    };
    return watched;
  }();
  betweenThreads(state, channel);
}
BENCHMARK(betweenTwoThreadsWatched)->Threads(2)->UseRealTime();

}  // namespace
