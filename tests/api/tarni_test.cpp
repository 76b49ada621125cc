// SPDX-License-Identifier: MIT
// The library as its hosts see it: the shared object and its header.
#include <gtest/gtest.h>
#include <tarni.h>

#include <mutex>
#include <set>
#include <stdexcept>

#include "support/machine.h"

namespace {

using namespace tarni;

std::mutex mutex;
std::vector<std::string> events;

void note(usb_event_info info) {
  const std::lock_guard<std::mutex> lock(mutex);
  events.push_back(std::to_string(info.type) + " " + info.path);
}

std::vector<std::string> noted() {
  const std::lock_guard<std::mutex> lock(mutex);
  return events;
}

class TarniTest : public test::MachineTest {
 protected:
  TarniTest() {
    const std::lock_guard<std::mutex> lock(mutex);
    events.clear();
  }
  ~TarniTest() override { close(); }

  void close() {
    tarni_close(finder);
    finder = nullptr;
  }

  void* finder = tarni_open();
};

TEST_F(TarniTest, RefusesANullFinder) {
  log.clear();
  usb_device device;
  char buffer[8];
  EXPECT_EQ(tarni_init(nullptr), -1);
  EXPECT_EQ(tarni_subscribe(nullptr, 0, note), -1);
  EXPECT_EQ(tarni_subscribe_all(nullptr, note), -1);
  EXPECT_EQ(tarni_get_device_list(nullptr), -1);
  EXPECT_EQ(tarni_free_device_list(nullptr, 0), -1);
  EXPECT_EQ(tarni_get_next_device(nullptr, 0), -1);
  EXPECT_EQ(tarni_get_device_info(nullptr, 0, &device), -1);
  EXPECT_EQ(tarni_find_device(nullptr, "x", &device), -1);
  EXPECT_EQ(tarni_get_devfs_path(nullptr, 0, buffer, 8), -1);
  EXPECT_EQ(tarni_get_num_partitions(nullptr, 0), -1);
  EXPECT_EQ(tarni_get_partition_path(nullptr, 0, 0, buffer, 8), -1);
  EXPECT_EQ(tarni_get_total_currentdraw(nullptr), -1);
  EXPECT_EQ(tarni_dump_info(nullptr), -1);
  tarni_close(nullptr);
  tarni_dummy_publish(nullptr, 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(TarniTest, WalksTheDevicesWithoutInit) {
  tree.attach(sim::Disk("1-1.4", 2).ids(0x0781, 0x5567));
  tree.attach(sim::Keyboard("1-1.3"));
  const int list = tarni_get_device_list(finder);
  ASSERT_EQ(list, 0);
  usb_device device = {};
  char node[32] = {};
  EXPECT_EQ(tarni_get_device_info(finder, list, &device), -1) << "no current device yet";
  EXPECT_EQ(tarni_get_num_partitions(finder, list), -1);
  EXPECT_EQ(tarni_get_devfs_path(finder, list, node, 32), -1);
  EXPECT_EQ(tarni_get_partition_path(finder, list, 0, node, 32), -1);
  std::set<std::string> seen;
  for (int expected = 0; expected < 4; ++expected) {
    ASSERT_EQ(tarni_get_next_device(finder, list), expected);
    ASSERT_EQ(tarni_get_device_info(finder, list, &device), 0);
    const bool has_node = tarni_get_devfs_path(finder, list, node, 32) == 0;
    const int disks = tarni_get_num_partitions(finder, list);
    if (disks == 2) {
      EXPECT_EQ(tarni_get_partition_path(finder, list, 0, node, 32), 0);
      EXPECT_TRUE(has_node);
      char second[32];
      EXPECT_EQ(tarni_get_partition_path(finder, list, 1, second, 32), 0);
      EXPECT_STRNE(node, second);
      EXPECT_EQ(tarni_get_partition_path(finder, list, 2, second, 32), -1);
      node[7] = '?';  // sda or sdb: the file system's order
    }
    seen.insert(std::string(device.sysfs_path).substr(device.sysfs_path[0] ? 21 : 0) + " " +
                (has_node ? node : "-") + " " + std::to_string(disks));
  }
  EXPECT_EQ(seen,
            (std::set<std::string>{" - 0", "1-1 - 0", "1-1.3 /dev/hidraw0 0", "1-1.4 /dev/sd? 2"}));
  EXPECT_EQ(tarni_get_next_device(finder, list), -1);
  EXPECT_EQ(tarni_get_device_info(finder, list, &device), -1);
  EXPECT_EQ(tarni_free_device_list(finder, list), 0);
  EXPECT_EQ(tarni_free_device_list(finder, 42), 0);
  EXPECT_EQ(tarni_get_next_device(finder, list), -1);
}

TEST_F(TarniTest, FindsADeviceAndKeepsItsSnapshot) {
  tree.attach(sim::Keyboard("1-1").ids(0x1234, 0x5678));
  usb_device device = {};
  EXPECT_EQ(tarni_find_device(finder, "/sys/bus/usb/devices/1-1", &device), 0);
  EXPECT_EQ(device.pid, 0x5678);
  EXPECT_EQ(tarni_find_device(finder, "/sys/bus/usb/devices/1-2", &device), -1);
  EXPECT_THROW(tarni_find_device(finder, nullptr, &device), std::logic_error);
  EXPECT_EQ(tarni_get_device_list(finder), 3) << "three snapshots stay";
  tarni_free_device_list(finder, 3);
  EXPECT_EQ(tarni_get_device_list(finder), 4) << "and so numbers do not start again";
}

TEST_F(TarniTest, DumpsEveryDeviceOnceAndKeepsNothing) {
  EXPECT_EQ(tarni_dump_info(finder), 0);
  EXPECT_FALSE(log.contains("[UDF] -- VID"));
  tree.attach(sim::Keyboard("1-1"));
  EXPECT_EQ(tarni_dump_info(finder), 0);
  EXPECT_EQ(log.count("[UDF] -- VID:"), 2u);
  EXPECT_EQ(tarni_get_device_list(finder), 0);
}

TEST_F(TarniTest, LogsItsLifeInOrder) {
  ASSERT_EQ(tarni_init(finder), 0);
  ASSERT_TRUE(log.wait_for("[UDF] Going to block on POLL\n", 2));
  EXPECT_EQ(log.text().rfind("[UDF] UsbDeviceFinder address : ", 0), 0u);
  EXPECT_TRUE(
      log.contains("[UDF] UsbDeviceFinder finder_worker going to block\n"
                   "[UDF] TPM WAIT ENTER\n[UDF] Going to block on POLL\n"));
  log.clear();
  close();
  std::string text = log.text();
  for (const char* line : {"[UDF] POLL returned - revents0 - 0, termi_revents - 1\n",
                           "[UDF] Terminator fired!! check out!!\n", "[UDF] TPM WAIT EXIT\n",
                           "[UDF] UsbDeviceFinder finder_worker returned from wait\n"}) {
    ASSERT_NE(text.find(line), std::string::npos) << line;
    text.erase(text.find(line), std::string(line).size());  // the listening thread's own time
  }
  EXPECT_EQ(text,
            "[UDF] ENTER: UsbDeviceFinder Destructor\n"
            "[UDF] ENTER FinderTPMgr: disconnect()\n"
            "[UDF] Wrote to terminator with return = 8\n"
            "[UDF] EXIT FinderTPMgr: disconnect()\n"
            "[UDF] UsbDeviceFinder Destructor called finder disconnect\n"
            "[UDF] UsbDeviceFinder Destructor going to wait for worker thread join\n"
            "[UDF] EXIT: UsbDeviceFinder Destructor\n"
            "[UDF] ENTER FinderTPMgr: destructor\n"
            "[UDF] Publisher destructor - waiting to join worker thread\n"
            "[UDF] Exiting Publisher destructor\n"
            "[UDF] Deleted finder object\n");
}

TEST_F(TarniTest, ClosesWithoutInit) {
  log.clear();
  close();
  EXPECT_EQ(log.text(),
            "[UDF] ENTER: UsbDeviceFinder Destructor\n"
            "[UDF] ENTER FinderTPMgr: disconnect()\n"
            "[UDF] Wrote to terminator with return = -1\n"
            "[UDF] EXIT FinderTPMgr: disconnect()\n"
            "[UDF] UsbDeviceFinder Destructor called finder disconnect\n"
            "[UDF] EXIT: UsbDeviceFinder Destructor\n"
            "[UDF] Publisher destructor - waiting to join worker thread\n"
            "[UDF] Exiting Publisher destructor\n"
            "[UDF] ENTER FinderTPMgr: destructor\n"
            "[UDF] Deleted finder object\n");
}

TEST_F(TarniTest, DeliversEventsAndDummies) {
  EXPECT_EQ(tarni_subscribe(finder, 99, note), 0);
  EXPECT_EQ(tarni_subscribe_all(finder, note), 0);
  EXPECT_EQ(tarni_subscribe(finder, OVERCURRENT_DETECTED, nullptr), 0);
  EXPECT_EQ(log.count("[UDF] Inside devicefinder subscribe\n"), 3u);
  ASSERT_EQ(tarni_init(finder), 0);
  manager.device_attached("1-1.4");
  ASSERT_TRUE(manager.wait_for_ack(0x82));
  manager.overcurrent("1-1", 3);
  ASSERT_TRUE(manager.wait_for_ack(0x84));
  for (const int type : {8, 9, 99}) tarni_dummy_publish(finder, type);
  EXPECT_EQ(log.count("[UDF] Dummy Event published\n"), 3u);
  EXPECT_TRUE(test::eventually([] { return noted().size() == 4; }));
  EXPECT_EQ(noted(),
            (std::vector<std::string>{"0 /sys/bus/usb/devices/1-1.4", "3 /sys/bus/usb/devices/1-1",
                                      "8 hello dummy", "99 hello dummy"}));
}

TEST_F(TarniTest, FindersShareNothing) {
  void* other = tarni_open();
  EXPECT_EQ(tarni_get_device_list(finder), 0);
  EXPECT_EQ(tarni_get_device_list(other), 0);
  tarni_subscribe_all(other, note);
  tarni_dummy_publish(finder, 1);
  tarni_dummy_publish(other, 2);
  EXPECT_TRUE(test::eventually([] { return noted().size() == 1; }));
  tarni_close(other);
  EXPECT_EQ(noted(), std::vector<std::string>{"2 hello dummy"});
}

using TarniDeathTest = TarniTest;

// At once, that is: the listening thread of the first must not take the answer to
// the second, which would then wait for its minute.
TEST_F(TarniDeathTest, ASecondInitEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        tarni_init(finder);
        tarni_init(finder);
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
