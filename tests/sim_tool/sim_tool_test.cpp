// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

#include "support/program.h"

namespace {

namespace fs = std::filesystem;

struct Result {
  int status;
  std::string output;
};

Result simulate(const std::string& arguments) {
  tarni::test::Program tool("exec " TARNI_SIM " " + arguments);
  const std::string output = tool.rest();
  return {tool.status(), output};
}

class SimToolTest : public testing::Test {
 protected:
  SimToolTest() {
    // It finds its preload objects by itself.
    unsetenv("LD_PRELOAD");
    setenv("TMPDIR", (folder + "/tmp").c_str(), 1);
    setenv("tarni", TARNI_COMMAND, 1);
    fs::create_directories(folder + "/tmp");
  }
  ~SimToolTest() override {
    EXPECT_TRUE(tarni::test::eventually([&] { return fs::is_empty(folder + "/tmp"); }));
    fs::remove_all(folder);
  }

  Result simulate_story(const std::string& script, const std::string& program) const {
    std::ofstream(folder + "/story") << script;
    return simulate("--script " + folder + "/story -- " + program);
  }

  const std::string folder = "/tmp/sim_tool_test." + std::to_string(getpid());
};

TEST_F(SimToolTest, RefusesScriptsBeforeTheProgramStarts) {
  const std::pair<const char*, const char*> cases[] = {
      {"\n# comment\natach disk 1-1", "3: atach: unknown command"},
      {"attach disc 1-1", "1: disc: unknown kind of device"},
      {"attach disk 1-0", "1: 1-0: is no port"},
      {"attach disk 1-1 --disks 1 --lun 2", "1: --lun: unknown option"},
      {"attach keyboard 1-1 --disks 2", "1: --disks: is for disks only"},
      {"attach disk 1-1 --vendor 10000", "1: 10000: is not a vendor identifier"},
      {"attach disk 1-1 --serial", "1: --serial: a serial number is missing"},
      {"attach disk 1-1 --name \"x", "1: \"x: the quotation does not end"},
      {"attach disk 1-1 --name \"\\y\"", "1: \\y\": unknown escape"},
      {"attach disk 1-1\nattach hub 1-1", "2: 1-1: the port is occupied"},
      {"start attach disk 1-1 wait 1s attach disk 1-1.2", "1: 1-1.2: 1-1 is no hub"},
      {"attach disk 1-1.2 start remove 1-1\nremove 1-1.2", "2: 1-1.2: nothing is plugged in"},
      {"overcurrent 1-1 port 3", "1: overcurrent: nothing is running yet"},
      {"start overcurrent 1-1 3", "1: 3: should be \"port\""},
      {"wait 2", "1: 2: is no time"},
      {"expect ack 0x7f", "1: 0x7f: is not a code"},
      {"current 99999999999", "1: 99999999999: is not a number of mA"},
      {"\x1b[2J\xff", "1: ?[2J?: unknown command"},
  };
  for (const auto& [script, message] : cases) {
    const Result result = simulate_story(script, "echo started");
    const std::string beginning = "tarni-sim: " + folder + "/story:" + message;
    EXPECT_EQ(result.output.substr(0, beginning.size()), beginning);
    EXPECT_EQ(result.output.find("started"), std::string::npos) << script;
    EXPECT_EQ(result.status, 92) << script;
  }
}

TEST_F(SimToolTest, HasAStatusForEachReason) {
  std::ofstream(folder + "/recording") << "P: /elsewhere\n";
  const std::pair<std::string, int> cases[] = {
      {"-- sh -c 'exit 7'", 7},
      {"-- sh -c 'kill -9 $$'", 137},
      {"-- /no/such/program", 94},
      {"", 91},
      {"--machine", 91},
      {"--colour -- true", 91},
      {"--script /no/such -- true", 92},
      {"--log /no/such/file -- true", 93},
      {"--help", 0},
      {"--machine " + folder + "/recording -- true", 93},
  };
  for (const auto& [arguments, status] : cases) {
    EXPECT_EQ(simulate(arguments).status, status) << arguments;
  }
}

TEST_F(SimToolTest, ShowsTheMachineOfTheScriptAndNoOther) {
  setenv("inner", "attach hub 1-2", 1);
  const Result result = simulate_story(
      "attach disk 1-1.4 --vendor 0781 --name \"\\x41 disk\" --disks 2 attach serial 2-1\n"
      "attach unconfigured 1-7 attach keyboard 1-3 remove 1-3 attach class e0 1-3\n"
      "attach disk 1-8 --disk-after 2s",
      "sh -c 'cd /sys/bus/usb/devices; echo $inner | " TARNI_SIM
      " --script - -- ls $PWD;"
      "cat 1-1.4/idVendor 1-1.4/product 1-7/bConfigurationValue 1-3/bDeviceClass;"
      "ls /dev/sd* /dev/tty*; echo $TMPDIR;"
      "[ -e /dev/sdc ] || echo late; until [ -e /dev/sdc ]; do sleep 0.01; done'");
  EXPECT_EQ(result.output,
            "1-0:1.0\n1-2\n1-2:1.0\nusb1\n"
            "0781\nA disk\ne0\n/dev/sda\n/dev/sdb\n/dev/ttyACM0\n" +
                folder + "/tmp\nlate\n");
}

TEST_F(SimToolTest, AnnouncesWhatHappensAsAKernelDoes) {
  const Result result = simulate_story(
      "expect registered\nattach disk 1-1.1.2\nexpect ack 0x82\n"
      "remove 1-1\nattach keyboard 1-1\nexpect ack 0x82\n"
      "overcurrent 1-4 port 3 overcurrent-over 1-4 port 3\nburst 2 1-1 occluded 1-5\n"
      "occluded-removed 1-5 unsupported 1-6 expect ack 0x88 expect closed",
      "$tarni watch --count 14");
  // Times, folders, and what is known of the devices by then.
  const std::regex noise("(^|\n)[0-9][0-9:.]+  |/sys/bus/usb/devices/| +(?= )|\n +.*(?=\n)");
  EXPECT_EQ(std::regex_replace(result.output, noise, "$1"),
            "hub attached 1-1\nhub attached 1-1.1\ndevice attached 1-1.1.2\n"
            "device removed 1-1.1.2\nhub removed 1-1.1\nhub removed 1-1\ndevice attached 1-1\n"
            "overcurrent detected 1-4\novercurrent removed 1-4\n"
            "device attached 1-1\ndevice attached 1-1\n"
            "occluded hub attached 1-5\noccluded hub removed 1-5\nunsupported device 1-6\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(SimToolTest, AnswersAsTheScriptSays) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"current 5 after 10ms register late 10ms expect query within 10s", "current", 0},
      {"current fail", "current", 5},
      {"current 7 current silent expect query", "current", 5},
      {"current 7 current after 5s", "current", 5},
      {"attach disk 1-1 --disk-after 10ms start remove 1-1 wait 50ms", "watch --timeout 1", 0},
      {"register never", "watch --timeout 0.3", 4},
      {"register late 5s", "watch --timeout 0.3", 4},
      {"expect registered occluded 1-1 expect ack 0x8b hang-up expect closed", "watch --timeout 1",
       0},
      {"expect registered attach hub 1-1 expect ack 0x86 wait 1ms stop wait 1000s", "watch", 0},
  };
  for (const auto& [script, command, status] : cases) {
    const Result result = simulate_story(script, std::string("$tarni ") + command);
    EXPECT_EQ(result.status, status) << script << result.output;
  }
}

TEST_F(SimToolTest, FailsWhenAnExpectationDoesAndSaysWhatCame) {
  const Result late = simulate_story(
      "expect registered\nattach keyboard 1-1\nexpect ack 0x82 times 2 within 300ms\n"
      "expect query within 10ms",
      "$tarni watch --timeout 5");
  EXPECT_NE(late.output.find("story:3: expect ack 0x82 times 2 within 300ms: ack 0x82 came\n"),
            std::string::npos);
  EXPECT_NE(late.output.find("story:4: expect query within 10ms: nothing came\n"),
            std::string::npos);
  EXPECT_EQ(late.status, 90);

  const Result early = simulate_story(
      "expect registered\nattach keyboard 1-1\nexpect ack 0x82\nwait 1000s\nattach keyboard 1-2\n"
      "expect ack 0x82 within 1000s",
      "$tarni watch --count 1");
  EXPECT_NE(early.output.find("story:6: expect ack 0x82 within 1000s: nothing came; the program "
                              "ended with status 0\n"),
            std::string::npos);
  EXPECT_EQ(early.status, 90);
}

TEST_F(SimToolTest, LeavesNothingBehindHoweverItEnds) {
  const char* const kGuardian = "$(cut -d\" \" -f4 /proc/$PPID/stat)";
  const auto ending_by = [](const std::string& end) {
    // A sleeper in a session of its own, behind a parent that is gone.
    return simulate("-- sh -c '(setsid sleep 999 &); trap \"\" TERM; " + end + "; sleep 999'");
  };
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(ending_by("exit 3").status, 3);
  EXPECT_EQ(ending_by(std::string("kill -TERM ") + kGuardian).status, 137);
  EXPECT_EQ(ending_by(std::string("kill -KILL ") + kGuardian).status, 137);
  EXPECT_EQ(ending_by("kill -KILL $PPID").status, 93);
  EXPECT_EQ(ending_by(std::string("trap - TERM; kill -TERM ") + kGuardian).status, 143);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, tarni::test::kLimit * 3);
}

TEST_F(SimToolTest, TellsTheWholeStoryOfTheDesk) {
  const Result result = simulate(
      "--script " TARNI_DESK
      " -- sh -c '$tarni list && $tarni current && $tarni watch --count 12 && $tarni current'");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_NE(result.output.find("/dev/sda /dev/sdb"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("\n605 mA\n"), std::string::npos) << result.output;
}

}  // namespace
