#pragma once

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <functional>

#include "foundation/Export.h"

extern "C" {
#include <libavcodec/packet.h>
}

/// One queued packet; the node owns the packet's payload.
struct PacketNode {
  AVPacket pkt;      ///< the packet
  PacketNode* next;  ///< null at the end of the queue
};

/// What a queue's producer is doing, as far as it tells.
enum class PacketSupply {
  /// Not known: a blocking get gives up after two timed waits.
  unknown,
  /// Packets are being read: a blocking get waits for the next one.
  flowing,
  /// The data has ended: a blocking get on an empty queue gives up at once.
  ended,
};

/// A first-in-first-out queue of demultiplexed, still compressed packets between one producer (the
/// buffering thread) and one consumer (the thread that decodes).
///
/// Every field is written under `mutex`; `nb_packets` and `size` may be read without it (a stale
/// value only delays or hastens throttling). Made by `OxPackets::packet_queue_init`, released with
/// `delete` after a final `OxPackets::packet_queue_flush`.
struct PacketQueue {
  PacketNode* first_pkt = nullptr;  ///< the next to get; null when the queue is empty
  PacketNode* last_pkt = nullptr;   ///< the one that was put last; null likewise
  int32_t nb_packets = 0;           ///< how many are queued
  /// Sum of the queued payloads in bytes.
  int32_t size = 0;
  /// Timed waits of the current blocking get.
  int32_t wait_count = 0;
  boost::mutex mutex;              ///< guards every field
  boost::condition_variable cond;  ///< wakes a getter that waits

  /// Set through `OxPackets::packet_queue_set_supply`.
  std::atomic<PacketSupply> supply{PacketSupply::unknown};
  /// Called, without the lock, after every put, get and flush; empty by default. Set before the
  /// queue is shared between threads.
  std::function<void()> changed;
};

namespace OxPackets {

using ::PacketQueue;

/// The marker that tells a decoder to forget its state. Recognised by its `data` pointer.
extern QATESTER_API AVPacket FLUSH_PACKET;

/// Makes a new queue and stores it in `*q`; prepares `FLUSH_PACKET` on first use.
QATESTER_API void packet_queue_init(PacketQueue** q);

/// Appends `*pkt`, whose payload is made private first (`FLUSH_PACKET` itself excepted), and wakes
/// a waiting getter if the queue was empty. Returns 1 and owns the payload from then on, or 0 with
/// the payload still the caller's (out of memory).
QATESTER_API int packet_queue_put(PacketQueue* q, AVPacket* pkt);

/// Takes the first packet into `*pkt`, whose payload then belongs to the caller. Returns 1; or 0,
/// with
/// `*pkt` untouched, when the queue is empty and `block` is 0; or -1 when `q` is null or when a
/// blocking get gave up after two waits of 1000 ms each.
QATESTER_API int packet_queue_get(PacketQueue* q, AVPacket* pkt, int block);

/// Releases every queued packet.
QATESTER_API void packet_queue_flush(PacketQueue* q);

/// Tells the queue, and a getter that is waiting, what its producer is doing.
QATESTER_API void packet_queue_set_supply(PacketQueue* q, PacketSupply supply);

/// Whether `packet` is the flush marker.
inline bool isFlushMarker(const AVPacket& packet) {
  return packet.data != nullptr && packet.data == FLUSH_PACKET.data;
}

}  // namespace OxPackets
