// SPDX-License-Identifier: MIT
// Long runs of the library as its hosts see it. The counts below are those of
// `ctest -C endurance -L endurance`; plain runs take a fifth of them.
#include <gtest/gtest.h>
#include <tarni.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

#include "support/machine.h"

namespace {

using namespace tarni;

constexpr char kDirectory[] = "/sys/bus/usb/devices/";
constexpr int kUsualDivisor = 5;
constexpr int kManyThreads = 8;

std::atomic<int> delivered{0};
std::atomic<int> out_of_order{0};

// Notifications that take turns: attached, removed, attached, ...
void expect_next(usb_event_info event) {
  const int number = delivered;
  if (event.type != number % 2 || event.path != kDirectory + std::to_string(number)) ++out_of_order;
  ++delivered;
}

int scaled(int count) {
  const char* divisor = std::getenv("TARNI_ENDURANCE_DIVISOR");
  return std::max(1, count / (divisor ? std::atoi(divisor) : kUsualDivisor));
}

template <typename Work>
void on_many_threads(Work work) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kManyThreads; ++number) threads.emplace_back(work, number);
  for (std::thread& thread : threads) thread.join();
}

// Paths of the devices that are there and can be described.
std::set<std::string> devices_now(void* finder) {
  const int list = tarni_get_device_list(finder);
  std::set<std::string> paths;
  char node[32];
  for (usb_device device = {}; tarni_get_next_device(finder, list) >= 0; device = {}) {
    tarni_get_devfs_path(finder, list, node, sizeof(node));
    if (tarni_get_device_info(finder, list, &device) == 0) paths.insert(device.sysfs_path);
  }
  tarni_free_device_list(finder, list);
  return paths;
}

// Notifications without a pause.
class Flood {
 public:
  explicit Flood(sim::TopologyManager& manager)
      : thread([&] {
          while (!stop) {
            if (manager.burst(20, {2, 2, '1', '-', '1', 0}) == 0) std::this_thread::yield();
          }
        }) {}
  ~Flood() {
    stop = true;
    thread.join();
  }

 private:
  std::atomic<bool> stop{false};
  std::thread thread;
};

class EnduranceTest : public test::MachineTest {
 protected:
  EnduranceTest() {
    tree.attach(sim::Disk("1-1"));
    tree.attach(sim::Keyboard("1-2"));
  }
  ~EnduranceTest() override { tarni_close(finder); }

  // The log of a long run is long.
  void forget_log(int round) {
    if (round % 50 == 0) log.clear();
  }

  // Finders that each see a whole life, with a topology manager of their own: it
  // keeps what it hears.
  void live(int rounds) {
    sim::TopologyManager kernel;
    kernel.publish_address();
    for (int round = 0; round < rounds; ++round, forget_log(round)) {
      void* host = tarni_open();
      tarni_subscribe_all(host, [](usb_event_info) {});
      EXPECT_EQ(tarni_init(host), 0);
      EXPECT_EQ(devices_now(host), all);
      usb_device device = {};
      EXPECT_EQ(tarni_find_device(host, "/sys/bus/usb/devices/1-2", &device), 0);
      tarni_close(host);
    }
    EXPECT_TRUE(kernel.wait_for_connections(0));
  }

  const std::set<std::string> all{"", std::string(kDirectory) + "1-1",
                                  std::string(kDirectory) + "1-2"};
  void* finder = tarni_open();
};

TEST_F(EnduranceTest, LosesNothingInAFlood) {
  const int count = scaled(100000);
  delivered = out_of_order = 0;
  tarni_subscribe_all(finder, expect_next);
  ASSERT_EQ(tarni_init(finder), 0);
  for (int i = 0; i < count; ++i, forget_log(i)) {
    manager.notify(sim::Notification(2 + i % 2), std::to_string(i));
  }
  for (int before = -1; delivered < count;) {
    ASSERT_GT(delivered, before) << "no more events";
    before = delivered;
    test::eventually([&] { return delivered > before; });
  }
  EXPECT_EQ(out_of_order, 0);
  EXPECT_TRUE(manager.wait_for_acks(0x83, static_cast<std::size_t>(count / 2), test::kLimit));
  const std::vector<sim::ReceivedMessage> heard = manager.received();
  ASSERT_EQ(heard.size(), static_cast<std::size_t>(count) + 1) << "with the registration";
  for (std::size_t i = 1; i < heard.size(); ++i) ASSERT_EQ(heard[i].code(), 0x83 - i % 2) << i;
}

TEST_F(EnduranceTest, KeepsNothingOfAFinder) {
  live(50);  // allocators and other libraries keep what they got at first
  const test::Holdings before;
  const std::size_t heap = test::heap_in_use();
  live(scaled(1000));
  EXPECT_TRUE(before.are_all());
  const std::size_t slack = test::kHeapIsExact ? 256 : 32768;
  EXPECT_LE(test::heap_in_use(), heap + slack);
}

TEST_F(EnduranceTest, ClosesAtAnyMomentOfAFlood) {
  const Flood flood(manager);
  const test::Holdings before;
  const int rounds = scaled(1000);
  for (int round = 0; round < rounds; ++round, forget_log(round)) {
    void* busy = tarni_open();
    tarni_subscribe_all(busy, [](usb_event_info) {});
    ASSERT_EQ(tarni_init(busy), 0);
    if (round % 2) tarni_get_total_currentdraw(busy);
    tarni_close(busy);
  }
  ASSERT_TRUE(manager.wait_for_connections(0));
  EXPECT_TRUE(before.are_all());
}

// Every list is freed while others walk it. Its devices are each handed out once.
TEST_F(EnduranceTest, SharesListsAmongManyThreads) {
  usb_device device = {};
  tarni_find_device(finder, "", &device);  // from now on no number comes again
  std::mutex mutex;
  std::set<std::pair<int, int>> handed_out;
  std::atomic<int> shared{tarni_get_device_list(finder)};
  const int rounds = scaled(500);
  on_many_threads([&](int number) {
    for (int round = 0; round < rounds; ++round) {
      EXPECT_EQ(devices_now(finder), all);
      const int list = shared;
      usb_device seen = {};
      for (int index; (index = tarni_get_next_device(finder, list)) >= 0;) {
        tarni_get_device_info(finder, list, &seen);
        const std::lock_guard<std::mutex> lock(mutex);
        EXPECT_TRUE(handed_out.emplace(list, index).second);
      }
      if (round % kManyThreads == number) {
        tarni_free_device_list(finder, shared.exchange(tarni_get_device_list(finder)));
      }
    }
  });
  EXPECT_EQ(devices_now(finder), all);
}

TEST_F(EnduranceTest, AnswersManyCallersInAFlood) {
  ASSERT_EQ(tarni_init(finder), 0);
  manager.answer_current_draw(850);
  const int calls = scaled(125);
  const int notifications = scaled(5000);
  std::atomic<int> answered{0};
  std::atomic<int> unanswered{0};
  std::thread flood([&] {
    for (int i = 0; i < notifications; ++i) manager.device_attached("1-1");
  });
  on_many_threads([&](int) {
    for (int i = 0; i < calls; ++i) {
      const int total = tarni_get_total_currentdraw(finder);
      if (total == 850) ++answered;
      if (total == -2) ++unanswered;
    }
  });
  flood.join();
  EXPECT_EQ(answered + unanswered, calls * kManyThreads) << "nothing but the total, or no answer";
  EXPECT_GT(answered, 4 * unanswered);
  EXPECT_TRUE(manager.wait_for_acks(0x82, static_cast<std::size_t>(notifications), test::kLimit));
}

TEST_F(EnduranceTest, OutlivesATopologyManagerThatDies) {
  const Flood flood(manager);
  const int rounds = scaled(50);
  for (int round = 0; round < rounds; ++round, forget_log(0)) {
    void* host = tarni_open();
    ASSERT_EQ(tarni_init(host), 0);
    std::thread asking([&] {
      while (tarni_get_total_currentdraw(host) != -2) {
      }
    });
    manager.hang_up();
    EXPECT_EQ(devices_now(host), all);
    asking.join();
    tarni_close(host);
  }
}

// Without events: umockdev aborts when libusb's listener goes while it sends one.
TEST_F(EnduranceTest, SeesTheDevicesThatStayWhileAnotherComesAndGoes) {
  const std::string place = tree.root() + tree.syspath("1-1");
  std::atomic<bool> stop{false};
  std::thread hands([&] {
    for (bool is_there = true; !stop || !is_there; is_there = !is_there) {
      std::filesystem::rename(is_there ? place : tree.root() + "/away",
                              is_there ? tree.root() + "/away" : place);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  std::set<std::size_t> seen;
  const auto look = [&] {
    std::set<std::string> paths = devices_now(finder);
    seen.insert(paths.size());
    paths.insert(std::string(kDirectory) + "1-1");
    EXPECT_EQ(paths, all);
  };
  for (int round = scaled(500); round > 0; --round, forget_log(round)) look();
  EXPECT_TRUE(test::eventually([&] { return look(), seen.size() == 2; }));
  stop = true;
  hands.join();
  EXPECT_EQ(devices_now(finder), all);
}

}  // namespace
