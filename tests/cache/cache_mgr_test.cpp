// SPDX-License-Identifier: MIT
#include "cache/cache_mgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "devices/usb_device_info.h"
#include "support/machine.h"

namespace tarni {
namespace {

class CacheMgrTest : public test::MachineTest {
 protected:
  CacheMgrTest() {
    tree.attach(sim::Keyboard("1-1"));
    tree.attach(sim::Keyboard("1-2"));  // with the root hub, three devices
  }

  CacheMgr cache;
};

TEST_F(CacheMgrTest, NumbersStartAgainOnlyWhenEmpty) {
  EXPECT_EQ(cache.free_cache(5), 0);
  EXPECT_EQ(cache.new_cache(), 0);
  EXPECT_EQ(cache.new_cache(), 1);
  EXPECT_EQ(cache.free_cache(1), 0);
  EXPECT_EQ(cache.new_cache(), 2);
  cache.free_cache(0);
  cache.free_cache(7);
  EXPECT_EQ(cache.new_cache(), 3);
  cache.free_cache(2);
  cache.free_cache(3);
  EXPECT_EQ(cache.new_cache(), 0);
}

TEST_F(CacheMgrTest, WalksOnceThroughTheDevices) {
  const int handle = cache.new_cache();
  EXPECT_FALSE(cache.get_device_info(handle));
  std::vector<UsbDeviceInfo*> seen;
  for (const int expected : {0, 1, 2}) {
    EXPECT_EQ(cache.get_next(handle), expected);
    EXPECT_EQ(cache.get_device_info(handle), cache.get_device_info(handle));
    seen.push_back(cache.get_device_info(handle).get());
    EXPECT_TRUE(seen.back());
    EXPECT_TRUE(cache.find_device(handle, "/sys/bus/usb/devices/1-2"));
  }
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(cache.get_next(handle), -1);
  EXPECT_FALSE(cache.get_device_info(handle));
  EXPECT_FALSE(cache.find_device(handle, "none"));
}

TEST_F(CacheMgrTest, KnowsNoHandleThatItDidNotIssue) {
  for (const int handle : {0, 1, -1}) {
    EXPECT_EQ(cache.get_next(handle), -1);
    EXPECT_FALSE(cache.get_device_info(handle));
    EXPECT_FALSE(cache.find_device(handle, ""));
  }
  EXPECT_EQ(cache.new_cache(), 0) << "asking made no entry";
}

TEST_F(CacheMgrTest, ThreadsShareAListAndGetEachDeviceOnce) {
  for (int round = 0; round < 20; ++round) {
    const int handle = cache.new_cache();
    std::atomic<int> sum{0};
    std::vector<std::thread> walkers;
    for (int t = 0; t < 4; ++t) {
      walkers.emplace_back([&] {
        for (int index; (index = cache.get_next(handle)) >= 0;) {
          sum += 1 << (4 * index);
          cache.get_device_info(handle);
        }
        const int own = cache.new_cache();
        cache.free_cache(own);
      });
    }
    for (std::thread& walker : walkers) walker.join();
    EXPECT_EQ(sum, 0x111);
    cache.free_cache(handle);
  }
}

}  // namespace
}  // namespace tarni
