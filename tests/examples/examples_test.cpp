// SPDX-License-Identifier: MIT
// The examples, run as their readers run them, against a simulated machine.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "sim/device_tree.h"
#include "sim/topology_manager.h"
#include "support/program.h"

namespace tarni {
namespace {

// A program that tells its exit status last.
struct Program : test::Program {
  explicit Program(const std::string& command)
      : test::Program("timeout 60 env " + command + "; echo status $?") {}
};

class ExamplesTest : public testing::Test {
 protected:
  ExamplesTest() { manager.publish_address(); }

  // What a host prints that sees a device come and go.
  std::string replug(const std::string& command) {
    Program host(command);
    if (!manager.wait_for_registration()) return "not registered: " + host.rest();
    manager.device_attached("1-1");
    manager.device_removed("1-1");
    return host.rest();
  }

  sim::DeviceTree tree;
  sim::TopologyManager manager;
};

TEST_F(ExamplesTest, ListShowsWhatBelongsToEachDevice) {
  tree.attach(sim::Disk("1-1").ids(0x0781, 0x5567).named("SanDisk", "Cruzer", "\x1b[2J\x7f\xff"));
  tree.attach(sim::Disk("1-10", 2));
  tree.attach(sim::SerialAdapter("1-2").named("", "Modem", ""));
  tree.attach(sim::Keyboard("1-3").unconfigured());
  const std::string text = Program(EXAMPLES "list").rest();
  for (const char* part :
       {"bus 1  1d6b:0002  hub  ", "    disk /dev/sdc\n", "cannot be read", "status 0\n",
        "communications  \"\" \"Modem\" \"\"\n    node /dev/ttyACM0\n",
        "1-1  0781:5567  mass storage  \"SanDisk\" \"Cruzer\" \"?[2J??\"\n    disk /dev/sda\n"})
    EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 10) << "nothing but that:\n" << text;
}

TEST_F(ExamplesTest, StickWaitsForItsOwnNode) {
  tree.attach(sim::Disk("1-10").named("", "Present", ""));
  Program stick(EXAMPLES "stick 3");
  EXPECT_EQ(stick.line(), "/dev/sda is ready: Present");
  tree.attach(sim::Disk("1-1", 0).named("", "Late", ""));
  manager.device_attached("1-1");
  ASSERT_TRUE(manager.wait_for_ack(0x82));
  tree.add_disk("1-1");
  EXPECT_EQ(stick.line(), "/dev/sdb is ready: Late");
  tree.remove("1-1");
  tree.attach(sim::Disk("1-1").named("", "Again", ""));
  manager.device_attached("1-1");
  EXPECT_EQ(stick.rest(), "/dev/sdb is ready: Again\nstatus 0\n");
}

TEST_F(ExamplesTest, OvercurrentNamesThePort) {
  tree.attach(sim::Hub("1-1"));
  const std::string port = tree.root() + tree.syspath("1-1") + "/1-1:1.0/1-1-port3";
  std::filesystem::create_directory(port);
  std::ofstream(port + "/over_current_count") << "6\n";
  Program overcurrent(EXAMPLES "overcurrent 1-1 3");
  ASSERT_TRUE(manager.wait_for_registration());
  manager.overcurrent("1-2", 3);
  manager.overcurrent("1-1", 2);
  EXPECT_EQ(overcurrent.line(), "overcurrent on 1-1, port not known");
  std::ofstream(port + "/over_current_count") << "7\n";
  manager.overcurrent("1-1", 3);
  EXPECT_EQ(overcurrent.line(), "overcurrent on 1-1 port 3");
  manager.overcurrent_over("1-1", 3);
  EXPECT_EQ(overcurrent.rest(), "overcurrent on 1-1 is over\nstatus 0\n");
}

TEST_F(ExamplesTest, CurrentIsToldBesideEvents) {
  manager.fail_current_draw();
  Program current(EXAMPLES "current 50 1");
  std::string line = current.line();
  EXPECT_EQ(line, "the topology manager cannot tell the current");
  manager.hub_attached("1-1");
  while (line.find("cannot tell") != std::string::npos) line = current.line();
  EXPECT_EQ(line, "event 2 /sys/bus/usb/devices/1-1");
  manager.answer_current_draw(850);
  EXPECT_NE(current.rest().find("850 mA\nstatus 0\n"), std::string::npos);
}

TEST_F(ExamplesTest, EventsReachOtherPrograms) {
  tree.attach(sim::Keyboard("1-1").named("", "Keys", ""));
  EXPECT_EQ(replug(EXAMPLES "hook 2 echo"),
            "0 /sys/bus/usb/devices/1-1\n1 /sys/bus/usb/devices/1-1\nstatus 0\n");
  EXPECT_EQ(replug(EXAMPLES "raii 2"),
            "event 0 /sys/bus/usb/devices/1-1 Keys\nevent 1 /sys/bus/usb/devices/1-1 \nstatus 0\n");
}

TEST_F(ExamplesTest, EventsReachPython) {
  if (*SANITIZER) GTEST_SKIP() << "the interpreter lacks the sanitizer's run-time";
  if (system("python3 --version") != 0) GTEST_SKIP() << "python3 is missing";
  tree.attach(sim::Keyboard("1-1").ids(0x1234, 0x5678).named("", "Keys", ""));
  const std::string text = replug("TARNI_LIBRARY=" TARNI_LIBRARY " python3 " EVENTS_PY " 2");
  for (const char* part :
       {"1234:5678 'Keys'\n", "event 0 '/sys/bus/usb/devices/1-1'\nevent 1 '", "1-1'\nstatus 0\n"})
    EXPECT_NE(text.find(part), std::string::npos) << text;
}

}  // namespace
}  // namespace tarni
