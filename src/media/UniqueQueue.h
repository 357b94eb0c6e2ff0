#pragma once

#include <memory>

#include "media/PacketQueue.h"

namespace qatester {

struct DeleteQueue {
  void operator()(PacketQueue* queue) const {
    OxPackets::packet_queue_flush(queue);
    delete queue;
  }
};

using UniqueQueue = std::unique_ptr<PacketQueue, DeleteQueue>;

inline UniqueQueue makeQueue() {
  PacketQueue* queue = nullptr;
  OxPackets::packet_queue_init(&queue);
  return UniqueQueue(queue);
}

}  // namespace qatester
