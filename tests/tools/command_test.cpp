// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <signal.h>

#include <nlohmann/json.hpp>

#include "sim/device_tree.h"
#include "sim/topology_manager.h"
#include "support/program.h"

namespace tarni::cli {
namespace {

using nlohmann::json;

struct Command : test::Program {
  explicit Command(const std::string& arguments) : Program("exec " TARNI_COMMAND " " + arguments) {}
};

class CommandTest : public testing::Test {
 protected:
  CommandTest() { manager.publish_address(); }

  sim::DeviceTree tree;
  sim::TopologyManager manager;
};

TEST_F(CommandTest, ShowsHostileDevicesWithoutObeyingThem) {
  const std::string serial = "\x1b[2J\xff\u202e\"\\";
  tree.attach(sim::Disk("1-1.4", 2).ids(0x0781, 0x5567).named("SanDisk", "SanDisk Cruzer", serial));
  tree.attach(sim::Keyboard("1-7").unconfigured());

  const json devices = json::parse(Command("list --json").rest());
  ASSERT_EQ(devices.size(), 4u);
  EXPECT_EQ(devices[0]["name"], "usb1");
  EXPECT_EQ(devices[2]["id"], "0781:5567");
  EXPECT_EQ(devices[2]["nodes"], json({"/dev/sda", "/dev/sdb"}));
  EXPECT_EQ(devices[2]["serial"], "\x1b[2J\uFFFD\u202e\"\\");
  EXPECT_EQ(devices[3]["readable"], false);

  EXPECT_NE(Command("show /sys/bus/usb/devices/1-1.4/").rest().find("\uFFFD[2J\uFFFD\uFFFD\"\\\n"),
            std::string::npos);
  EXPECT_EQ(Command("dump").rest().find('\x1b'), std::string::npos);
  const std::string table = Command("list").rest();
  EXPECT_NE(table.find("mass storage  SanDisk Cruzer  /dev/sda /dev/sdb"), std::string::npos);
  EXPECT_NE(table.find("hub           -  "), std::string::npos);
  EXPECT_NE(table.find("tarni: 1 device could not be read"), std::string::npos);
  EXPECT_EQ(table.find("UDF"), std::string::npos);
}

TEST_F(CommandTest, FailsWithAStatusForEachReason) {
  tree.add_bus(1);
  manager.fail_current_draw();
  const std::pair<const char*, int> cases[] = {{"--version", 0},
                                               {"", 2},
                                               {"lsit 2>&1 | grep -q 'no such.*: lsit'", 0},
                                               {"watch --timeout nan", 2},
                                               {"list --log /no/such/file", 1},
                                               {"show 9-9", 3},
                                               {"list > /dev/full", 6},
                                               {"list --tree --json", 2},
                                               {"current", 5},
                                               {"list >&-", 6},
                                               {"watch --count 0", 2},
                                               {"watch --count 1 --timeout 2", 7}};
  for (const auto& [arguments, status] : cases)
    EXPECT_EQ(Command(arguments).status(), status) << arguments;
  unsetenv(sim::kManagerVariable);
  EXPECT_EQ(Command("watch").status(), 4);
}

TEST_F(CommandTest, WatchTellsOfADiskAndThenOfItsNode) {
  Command watch("watch --json --count 2");
  ASSERT_TRUE(manager.wait_for_registration());
  tree.attach(sim::Disk("1-1.4", 0));
  manager.device_attached("1-1.4");
  const json attached = json::parse(watch.line());
  EXPECT_EQ(attached["event"], "device attached");
  EXPECT_EQ(attached["device"]["nodes"], json::array());
  manager.overcurrent("1-1", 3);
  EXPECT_EQ(json::parse(watch.line())["path"], "/sys/bus/usb/devices/1-1");
  tree.add_disk("1-1.4");
  EXPECT_EQ(json::parse(watch.line())["device"]["nodes"], json({"/dev/sda"}));
  EXPECT_EQ(watch.rest(), "");
  EXPECT_EQ(watch.status(), 0);
}

TEST_F(CommandTest, WatchEndsBySignalAtAnyTime) {
  manager.ignore_register();
  Command waiting("watch");
  ASSERT_TRUE(manager.wait_for_registration());
  waiting.send(SIGINT);
  EXPECT_EQ(waiting.status(), 128 + SIGINT);

  manager.answer_register();
  Command watching("watch");
  ASSERT_TRUE(manager.wait_for_registration());
  manager.hub_removed("1-4");
  EXPECT_NE(watching.line().find("hub removed            /sys/bus/usb/devices/1-4"),
            std::string::npos);
  manager.burst(10, sim::notification_payload(sim::Notification::kHubRemoved, "1-4"));
  ASSERT_TRUE(watching.gets_stuck());
  watching.send(SIGTERM);
  EXPECT_EQ(watching.status(), 0);
}

}  // namespace
}  // namespace tarni::cli
