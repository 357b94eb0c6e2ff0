#include "media/PacketQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <chrono>
#include <climits>
#include <cstdio>
#include <deque>
#include <random>
#include <string>
#include <thread>
#include <type_traits>

#include "support/FakeSleep.h"
#include "support/WaitUntil.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace {

using namespace OxPackets;
using namespace qatest;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

AVPacket packetOf(int size, uint8_t fill = 0) {
  AVPacket packet{};
  EXPECT_EQ(av_new_packet(&packet, size), 0);
  std::fill_n(packet.data, size, fill);
  return packet;
}

class PacketQueueTest : public testing::Test {
 protected:
  PacketQueueTest() { packet_queue_init(&queue); }
  ~PacketQueueTest() override {
    packet_queue_flush(queue);
    delete queue;
  }

  int put(int size, uint8_t fill = 0) {
    AVPacket packet = packetOf(size, fill);
    return packet_queue_put(queue, &packet);
  }

  /// The size of the next packet, which is released; -1 when there is none.
  int takeSize() {
    AVPacket packet{};
    if (packet_queue_get(queue, &packet, 0) != 1) {
      return -1;
    }
    const int size = packet.size;
    av_packet_unref(&packet);
    return size;
  }

  /// Puts a packet while another thread waits on the condition; whether that thread was woken.
  bool putWakesAWaiter() {
    bool woken = false;
    boost::unique_lock<boost::mutex> lock(queue->mutex);
    std::thread waiter([&] {
      boost::unique_lock<boost::mutex> inside(queue->mutex);
      waiting = true;
      woken = queue->cond.timed_wait(inside, boost::posix_time::microsec_clock::universal_time() +
                                                 boost::posix_time::milliseconds(300));
    });
    lock.unlock();
    while (!waiting) {
      std::this_thread::yield();
    }
    // The put needs the lock, which the waiter gives up by waiting.
    put(1);
    waiter.join();
    return woken;
  }

  milliseconds since(Clock::time_point start) const {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  }

  /// Returns while a getter is in that wait, counted from 1, or in a later one.
  void awaitGetterInWait(int wait) {
    EXPECT_TRUE(waitUntil([&] {
      const boost::unique_lock<boost::mutex> lock(queue->mutex);
      return queue->wait_count >= wait;
    }));
  }

  PacketQueue* queue = nullptr;
  std::atomic<bool> waiting{false};
};

TEST_F(PacketQueueTest, ANewQueueIsEmpty) {
  EXPECT_EQ(queue->first_pkt, nullptr);
  EXPECT_EQ(queue->last_pkt, nullptr);
  EXPECT_EQ(queue->nb_packets, 0);
  EXPECT_EQ(queue->size, 0);
  EXPECT_EQ(queue->wait_count, 0);
}

TEST_F(PacketQueueTest, CountersArePlainNumbers) {
  static_assert(std::is_same_v<decltype(queue->nb_packets), int32_t>);
  static_assert(std::is_same_v<decltype(queue->size), int32_t>);
  put(100);
  put(20);
  char text[32];
  std::snprintf(text, sizeof text, "%d %d", queue->nb_packets, queue->size);
  EXPECT_STREQ(text, "2 120");
  const auto count = queue->nb_packets;
  EXPECT_EQ(std::max(queue->size, count), 120);
}

TEST_F(PacketQueueTest, TheMarkerCarriesAText) {
  EXPECT_STREQ(reinterpret_cast<const char*>(FLUSH_PACKET.data), "FLUSH");
  EXPECT_EQ(FLUSH_PACKET.pts, AV_NOPTS_VALUE);
  EXPECT_EQ(FLUSH_PACKET.dts, AV_NOPTS_VALUE);
}

TEST_F(PacketQueueTest, OnlyTheFirstInitPreparesTheMarker) {
  FLUSH_PACKET.pos = 1234;
  PacketQueue* another = nullptr;
  packet_queue_init(&another);
  EXPECT_EQ(FLUSH_PACKET.pos, 1234);
  FLUSH_PACKET.pos = -1;
  delete another;
}

TEST_F(PacketQueueTest, TheMarkerIsKnownByItsPointerNotByItsText) {
  uint8_t text[] = "FLUSH";
  AVPacket imitation{};
  imitation.data = text;
  EXPECT_FALSE(isFlushMarker(imitation));
  EXPECT_FALSE(isFlushMarker(AVPacket{}));
  EXPECT_TRUE(isFlushMarker(FLUSH_PACKET));
}

TEST_F(PacketQueueTest, PacketsComeOutInTheOrderInWhichTheyWentIn) {
  for (const int size : {3, 1, 2}) {
    EXPECT_EQ(put(size), 1);
  }
  EXPECT_EQ(takeSize(), 3);
  EXPECT_EQ(takeSize(), 1);
  EXPECT_EQ(takeSize(), 2);
  EXPECT_EQ(takeSize(), -1);
  EXPECT_EQ(queue->first_pkt, nullptr);
  EXPECT_EQ(queue->last_pkt, nullptr);
}

TEST_F(PacketQueueTest, ForeignPayloadIsCopied) {
  uint8_t foreign[4] = {1, 2, 3, 4};
  AVPacket packet{};
  packet.data = foreign;
  packet.size = 4;
  ASSERT_EQ(packet_queue_put(queue, &packet), 1);
  foreign[0] = 99;
  AVPacket taken{};
  ASSERT_EQ(packet_queue_get(queue, &taken, 0), 1);
  EXPECT_NE(taken.data, foreign);
  EXPECT_EQ(taken.data[0], 1);
  EXPECT_EQ(taken.data[3], 4);
  av_packet_unref(&taken);
}

TEST_F(PacketQueueTest, APacketKeepsAllItsFieldsAndItsPayload) {
  AVPacket packet = packetOf(5, 7);
  packet.dts = 11;
  packet.pts = 12;
  packet.stream_index = 3;
  const uint8_t* payload = packet.data;
  ASSERT_EQ(packet_queue_put(queue, &packet), 1);
  AVPacket taken{};
  ASSERT_EQ(packet_queue_get(queue, &taken, 1), 1);
  EXPECT_EQ(taken.data, payload);
  EXPECT_EQ(av_buffer_get_ref_count(taken.buf), 1);
  EXPECT_EQ(taken.dts, 11);
  EXPECT_EQ(taken.pts, 12);
  EXPECT_EQ(taken.stream_index, 3);
  av_packet_unref(&taken);
}

TEST_F(PacketQueueTest, NothingIsQueuedWithoutMemory) {
  uint8_t foreign[4096] = {};
  AVPacket packet{};
  packet.data = foreign;
  packet.size = sizeof foreign;
  AVPacket owned = packetOf(8);

  av_max_alloc(sizeof(PacketNode) + 64);  // neither the copy nor anything larger
  EXPECT_EQ(packet_queue_put(queue, &packet), 0);
  av_max_alloc(sizeof(PacketNode) / 2);  // not even the node
  EXPECT_EQ(packet_queue_put(queue, &owned), 0);
  av_max_alloc(INT_MAX);

  EXPECT_EQ(queue->nb_packets, 0);
  EXPECT_EQ(queue->size, 0);
  EXPECT_EQ(owned.size, 8);  // still the caller's
  av_packet_unref(&owned);
}

TEST_F(PacketQueueTest, ANonBlockingGetOnAnEmptyQueueLeavesThePacketAlone) {
  AVPacket packet{};
  packet.pts = 42;
  const EndlessWaits noneIsMade;
  EXPECT_EQ(packet_queue_get(queue, &packet, 0), 0);
  EXPECT_EQ(packet.pts, 42);
  EXPECT_EQ(packet.data, nullptr);
}

TEST_F(PacketQueueTest, ANullQueueGivesMinusOne) {
  AVPacket packet{};
  EXPECT_EQ(packet_queue_get(nullptr, &packet, 0), -1);
  EXPECT_EQ(packet_queue_get(nullptr, &packet, 1), -1);
}

TEST_F(PacketQueueTest, ABlockingGetGivesUpAfterTwoWaitsOfASecond) {
  auto shortest = milliseconds::max();
  // A busy machine may be late; not every time.
  for (int attempt = 0; attempt < 20 && shortest >= milliseconds(2900); ++attempt) {
    AVPacket packet{};
    const auto start = Clock::now();
    EXPECT_EQ(packet_queue_get(queue, &packet, 1), -1);
    shortest = std::min(shortest, since(start));
    EXPECT_EQ(queue->wait_count, 3);  // the third look found two waits made
  }
  EXPECT_GE(shortest, milliseconds(1950));
  EXPECT_LT(shortest, milliseconds(2900));
}

TEST_F(PacketQueueTest, EveryGetCountsItsOwnWaits) {
  queue->wait_count = 5;
  EXPECT_EQ(takeSize(), -1);
  EXPECT_EQ(queue->wait_count, 0);
}

TEST_F(PacketQueueTest, APacketThatArrivesDuringEitherWaitEndsIt) {
  for (const int wait : {1, 2}) {
    queue->wait_count = 0;
    std::thread producer([&] {
      awaitGetterInWait(wait);
      put(1);
    });
    AVPacket packet{};
    EXPECT_EQ(packet_queue_get(queue, &packet, 1), 1);
    EXPECT_GE(queue->wait_count, wait);
    producer.join();
    av_packet_unref(&packet);
  }
}

TEST_F(PacketQueueTest, PuttingIntoAnEmptyQueueWakesAWaiter) {
  EXPECT_TRUE(putWakesAWaiter());
}

TEST_F(PacketQueueTest, PuttingIntoANonEmptyQueueWakesNobody) {
  put(1);
  EXPECT_FALSE(putWakesAWaiter());
}

TEST_F(PacketQueueTest, TheMarkerPassesThroughUncopied) {
  put(10);
  ASSERT_EQ(packet_queue_put(queue, &FLUSH_PACKET), 1);
  EXPECT_EQ(queue->nb_packets, 2);
  EXPECT_EQ(queue->size, 10);
  EXPECT_EQ(FLUSH_PACKET.buf, nullptr);
  EXPECT_EQ(takeSize(), 10);
  AVPacket taken{};
  ASSERT_EQ(packet_queue_get(queue, &taken, 1), 1);
  EXPECT_EQ(taken.data, FLUSH_PACKET.data);
  EXPECT_TRUE(isFlushMarker(taken));
}

TEST_F(PacketQueueTest, AFlushReleasesEveryPacket) {
  AVPacket packet = packetOf(100);
  AVBufferRef* payload = av_buffer_ref(packet.buf);
  ASSERT_EQ(packet_queue_put(queue, &packet), 1);
  put(50);
  queue->wait_count = 2;
  packet_queue_flush(queue);
  EXPECT_EQ(queue->nb_packets, 0);
  EXPECT_EQ(queue->size, 0);
  EXPECT_EQ(queue->wait_count, 0);
  EXPECT_EQ(queue->first_pkt, nullptr);
  EXPECT_EQ(queue->last_pkt, nullptr);
  EXPECT_EQ(takeSize(), -1);
  EXPECT_EQ(av_buffer_get_ref_count(payload), 1);
  av_buffer_unref(&payload);
}

TEST_F(PacketQueueTest, AFlushLeavesTheMarkerItself) {
  ASSERT_EQ(packet_queue_put(queue, &FLUSH_PACKET), 1);
  packet_queue_flush(queue);
  EXPECT_STREQ(reinterpret_cast<const char*>(FLUSH_PACKET.data), "FLUSH");
  EXPECT_EQ(put(4), 1);
  EXPECT_EQ(takeSize(), 4);
}

TEST_F(PacketQueueTest, CountAndSizeFollowAnySequence) {
  std::mt19937 random(1);
  std::deque<int> model;
  int32_t sum = 0;
  for (int step = 0; step < 5000; ++step) {
    const auto dice = random() % 100;
    if (dice < 55) {
      const int size = static_cast<int>(random() % 3000);
      ASSERT_EQ(put(size), 1);
      model.push_back(size);
      sum += size;
    } else if (dice < 99) {
      const int expected = model.empty() ? -1 : model.front();
      ASSERT_EQ(takeSize(), expected);
      if (!model.empty()) {
        sum -= model.front();
        model.pop_front();
      }
    } else {
      packet_queue_flush(queue);
      model.clear();
      sum = 0;
    }
    ASSERT_EQ(queue->nb_packets, static_cast<int32_t>(model.size()));
    ASSERT_EQ(queue->size, sum);
  }
}

TEST_F(PacketQueueTest, OneProducerAndOneConsumerKeepTheOrder) {
  constexpr int kPackets = 20000;
  std::thread producer([&] {
    for (int i = 0; i < kPackets; ++i) {
      AVPacket packet = packetOf(1 + i % 50);
      packet.pts = i;
      packet_queue_put(queue, &packet);
    }
  });
  for (int i = 0; i < kPackets; ++i) {
    AVPacket packet{};
    ASSERT_EQ(packet_queue_get(queue, &packet, 1), 1);
    ASSERT_EQ(packet.pts, i);
    av_packet_unref(&packet);
  }
  producer.join();
  EXPECT_EQ(queue->size, 0);
}

TEST_F(PacketQueueTest, TheEndOfTheDataIsKnownAtOnce) {
  put(6);
  packet_queue_set_supply(queue, PacketSupply::ended);
  AVPacket packet{};
  const EndlessWaits noneIsMade;
  ASSERT_EQ(packet_queue_get(queue, &packet, 1), 1);  // what is queued still comes
  av_packet_unref(&packet);
  EXPECT_EQ(packet_queue_get(queue, &packet, 1), -1);
  EXPECT_EQ(packet_queue_get(queue, &packet, 0), 0);
}

TEST_F(PacketQueueTest, TheEndOfTheDataWakesAGetterThatWaits) {
  packet_queue_set_supply(queue, PacketSupply::flowing);
  const EndlessWaits noneRunsOut;
  std::thread producer([&] {
    awaitGetterInWait(1);
    packet_queue_set_supply(queue, PacketSupply::ended);
  });
  AVPacket packet{};
  EXPECT_EQ(packet_queue_get(queue, &packet, 1), -1);
  producer.join();
}

TEST_F(PacketQueueTest, WhilePacketsFlowAGetterWaitsAsLongAsItTakes) {
  const QuickWaits quick;
  packet_queue_set_supply(queue, PacketSupply::flowing);
  std::thread producer([&] {
    awaitGetterInWait(5);  // otherwise a get gives up after two
    put(1);
  });
  AVPacket packet{};
  EXPECT_EQ(packet_queue_get(queue, &packet, 1), 1);
  producer.join();
  av_packet_unref(&packet);
}

TEST_F(PacketQueueTest, EveryChangeIsToldWithoutTheLock) {
  int told = 0;
  queue->changed = [&] {
    const boost::unique_lock<boost::mutex> lock(queue->mutex, boost::try_to_lock);
    EXPECT_TRUE(lock.owns_lock());
    ++told;
  };
  put(1);
  EXPECT_EQ(told, 1);
  takeSize();
  EXPECT_EQ(told, 2);
  takeSize();  // nothing there, nothing changed
  EXPECT_EQ(told, 2);
  packet_queue_flush(queue);
  EXPECT_EQ(told, 3);
  queue->changed = nullptr;  // the queue outlives this test's variables
}

}  // namespace
