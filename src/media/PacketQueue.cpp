#include "media/PacketQueue.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <mutex>

#include "foundation/SharedValue.h"
#include "media/FFmpeg.h"

namespace OxPackets {

AVPacket FLUSH_PACKET;

namespace {

constexpr int kWaitMilliseconds = 1000;
constexpr int kMaxWaits = 2;

using UniqueNode = qatester::ffmpeg::UniqueRecord<PacketNode>;

uint8_t flushText[] = "FLUSH";

void prepareFlushPacket() {
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  if (FLUSH_PACKET.data != flushText) {
    qatester::ffmpeg::blankPacket(&FLUSH_PACKET);
    FLUSH_PACKET.data = flushText;
  }
}

void tellChanged(const PacketQueue& q) {
  if (q.changed) {
    q.changed();
  }
}

}  // namespace

void packet_queue_init(PacketQueue** q) {
  prepareFlushPacket();
  *q = new PacketQueue;
}

int packet_queue_put(PacketQueue* q, AVPacket* pkt) {
  if (pkt != &FLUSH_PACKET && !qatester::ffmpeg::makePayloadPrivate(pkt)) {
    return 0;
  }
  UniqueNode made = qatester::ffmpeg::makeRecord<PacketNode>();
  if (made == nullptr) {
    return 0;
  }
  made->pkt = *pkt;
  made->next = nullptr;

  boost::unique_lock<boost::mutex> lock(q->mutex);
  const int32_t packetsBefore = q->nb_packets;
  PacketNode* node = made.release();
  if (q->last_pkt != nullptr) {
    q->last_pkt->next = node;
  } else {
    q->first_pkt = node;
  }
  q->last_pkt = node;
  qatester::addShared(q->nb_packets, 1);
  qatester::addShared(q->size, pkt->size);
  lock.unlock();

  // After unlocking, and only when the queue was empty: a getter waits only on an empty queue.
  if (packetsBefore == 0) {
    q->cond.notify_one();
  }
  tellChanged(*q);
  return 1;
}

int packet_queue_get(PacketQueue* q, AVPacket* pkt, int block) {
  if (q == nullptr) {
    return -1;
  }
  boost::unique_lock<boost::mutex> lock(q->mutex);
  q->wait_count = 0;
  for (;;) {
    if (const UniqueNode node{q->first_pkt}) {
      q->first_pkt = node->next;
      if (q->first_pkt == nullptr) {
        q->last_pkt = nullptr;
      }
      qatester::addShared(q->nb_packets, -1);
      qatester::addShared(q->size, -node->pkt.size);
      *pkt = node->pkt;
      lock.unlock();
      tellChanged(*q);
      return 1;
    }
    if (block == 0) {
      return 0;
    }
    if (q->supply == PacketSupply::ended) {
      return -1;
    }
    if (q->wait_count++ >= kMaxWaits && q->supply != PacketSupply::flowing) {
      return -1;
    }
    // How the wait ended makes no difference.
    q->cond.timed_wait(lock, boost::posix_time::microsec_clock::universal_time() +
                                 boost::posix_time::milliseconds(kWaitMilliseconds));
  }
}

void packet_queue_flush(PacketQueue* q) {
  boost::unique_lock<boost::mutex> lock(q->mutex);
  for (PacketNode* next = q->first_pkt; next != nullptr;) {
    const UniqueNode node(next);
    next = node->next;
    qatester::ffmpeg::releasePayload(&node->pkt);
  }
  q->first_pkt = nullptr;
  q->last_pkt = nullptr;
  qatester::storeShared(q->nb_packets, 0);
  qatester::storeShared(q->size, 0);
  q->wait_count = 0;
  lock.unlock();
  tellChanged(*q);
}

void packet_queue_set_supply(PacketQueue* q, PacketSupply supply) {
  {
    boost::lock_guard<boost::mutex> lock(q->mutex);
    q->supply = supply;
  }
  q->cond.notify_all();
}

}  // namespace OxPackets
