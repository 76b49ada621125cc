// SPDX-License-Identifier: MIT
// Whatever call of the library fails, a host gets along: it loses what the call was
// for, nothing is left behind, and the same finder does all of it afterwards.
#include <gtest/gtest.h>
#include <tarni.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <optional>
#include <ostream>
#include <string>
#include <system_error>

#include "support/machine.h"

namespace {

using namespace tarni;

constexpr int kThrew = -99;
constexpr int kTotal = 850;
std::atomic<int> delivered{0};

// One call of the header, with what it may throw as one more result.
template <typename Function>
int call(Function function) {
  test::faults::in_library = true;
  int result = kThrew;
  try {
    result = function();
  } catch (const std::bad_alloc&) {
  } catch (const std::system_error&) {
  }
  test::faults::in_library = false;
  return result;
}

// What a host came to see: results and counts, by name.
using Sight = std::map<std::string, int>;

std::string difference(const Sight& sight, const Sight& whole) {
  std::string text;
  for (const auto& [name, value] : sight) {
    if (value != whole.at(name)) text += name + " " + std::to_string(value) + ", ";
  }
  return text.substr(0, text.empty() ? 0 : text.size() - 2);
}

class Host {
 public:
  ~Host() { tarni_close(finder); }

  // Does all that there is to do, or does over what failed the last time.
  Sight look_around(sim::TopologyManager& kernel) {
    Sight sight;
    sight["open"] = finder ? 0 : call([&] { return (finder = tarni_open()) ? 0 : -1; });
    if (!finder) return sight;
    const auto note = [](usb_event_info) { ++delivered; };
    if (!subscribed) subscribed = call([&] { return tarni_subscribe(finder, 0, note); }) == 0;
    if (!connected) init = call([&] { return tarni_init(finder); });
    if (!connected && init >= 0) connected = kernel.wait_for_registration();
    sight["subscribe"] = subscribed ? 0 : -1;
    sight["init"] = init;
    walk(sight);
    usb_device device = {};
    sight["find"] =
        call([&] { return tarni_find_device(finder, "/sys/bus/usb/devices/1-1", &device); });
    sight["draw"] = call([&] { return tarni_get_total_currentdraw(finder); });
    sight["event"] = subscribed && connected && event_comes(kernel);
    return sight;
  }

 private:
  void walk(Sight& sight) {
    for (const char* name : {"devices", "described", "details"}) sight[name] = 0;
    const int list = call([&] { return tarni_get_device_list(finder); });
    while (call([&] { return tarni_get_next_device(finder, list); }) >= 0) {
      usb_device device = {};
      char node[32] = {};
      ++sight["devices"];
      sight["described"] += call([&] { return tarni_get_device_info(finder, list, &device); }) == 0;
      sight["details"] += device.sysfs_path[0] != 0;
      sight["details"] += device.manufacturer[0] != 0;
      sight["details"] += call([&] { return tarni_get_devfs_path(finder, list, node, 32); }) == 0;
      sight["details"] +=
          call([&] { return tarni_get_partition_path(finder, list, 0, node, 32); }) == 0;
    }
    sight["list"] = list < 0 ? list : call([&] { return tarni_free_device_list(finder, list); });
  }

  static bool event_comes(sim::TopologyManager& kernel) {
    delivered = 0;
    kernel.device_attached("1-1");
    return test::eventually([] { return delivered == 1; });
  }

  void* finder = nullptr;
  bool subscribed = false;
  bool connected = false;
  int init = 0;
};

struct Fault {
  const char* function;
  const char* loss;  // when it is the first call that fails
};

void PrintTo(const Fault& fault, std::ostream* stream) {
  *stream << fault.function;
}

class EveryCallTest : public test::MachineTest, public testing::WithParamInterface<Fault> {
 protected:
  EveryCallTest() {
    tree.attach(sim::Disk("1-1").named("Maker", "Stick", "1"));
    tree.attach(sim::SerialAdapter("1-2").named("Maker", "Adapter", "2"));
    test::faults::replace_nanosleep([](const timespec*, timespec*) { return 0; });
    live_with_fault(0);
    holdings.emplace();
  }

  // A host has one call fail, does everything over without a fault, and goes. Returns
  // whether there was such a call.
  bool live_with_fault(int number) {
    sim::TopologyManager kernel;
    // Not publish_address(): the C library keeps all that setenv() was ever given.
    std::snprintf(address, sizeof(address), "%s=%s", sim::kManagerVariable,
                  kernel.address().c_str());
    putenv(address);
    kernel.answer_current_draw(kTotal);
    Host host;
    test::faults::fail_call(GetParam().function, number);
    const Sight sight = host.look_around(kernel);
    const bool failed = test::faults::call_failed();
    test::faults::fail_call(nullptr, 0);
    if (number == 0) whole = sight;
    if (number == 1) {
      EXPECT_EQ(difference(sight, whole), GetParam().loss);
    }
    for (const auto& [name, value] : sight) EXPECT_LE(value, whole.at(name)) << name;
    EXPECT_EQ(difference(host.look_around(kernel), whole), "") << "afterwards";
    return failed;
  }

  static inline char address[256];
  Sight whole;  // when nothing fails
  std::optional<test::Holdings> holdings;
};

TEST_P(EveryCallTest, IsGotOver) {
  int grown = 0;
  int number = 1;
  while (!HasFailure()) {
    SCOPED_TRACE("call " + std::to_string(number));
    const std::size_t heap = test::heap_in_use();
    const bool failed = live_with_fault(number);
    log.clear();
    out.clear();
    EXPECT_TRUE(holdings->are_all());
    // What another library gets once and keeps does not come again.
    grown = test::kHeapIsExact && test::heap_in_use() > heap ? grown + 1 : 0;
    EXPECT_LT(grown, 3) << "memory is left behind";
    if (grown > 0) continue;
    if (!failed) break;
    ++number;
  }
  EXPECT_GT(number, 1) << "never called";
}

INSTANTIATE_TEST_SUITE_P(
    All, EveryCallTest,
    testing::Values(Fault{"operator new", "open -99"}, Fault{"pthread_create", "open -99"},
                    Fault{"nl_socket_alloc", "draw -2, event 0, init -1"},
                    Fault{"nl_socket_modify_cb", "draw -2, event 0, init -16"},
                    Fault{"nl_connect", "draw -2, event 0, init -5"},
                    Fault{"nl_send_simple", "draw -2, event 0, init -5"},
                    Fault{"nl_recvmsgs_default", ""}, Fault{"eventfd", "draw -2, event 0, init -1"},
                    Fault{"socket", "draw -2, event 0, init -1"}, Fault{"bind", ""},
                    Fault{"getsockname", "draw -2, event 0, init -5"},
                    Fault{"setsockopt", "draw -2, event 0, init -28"}, Fault{"fcntl64", ""},
                    Fault{"poll", ""}, Fault{"sendmsg", "draw -2, event 0, init -1"},
                    Fault{"recvmsg", ""}, Fault{"libusb_init", "described 0, details 0, devices 0"},
                    Fault{"libusb_get_device_list", "described 0, details 0, devices 0"},
                    Fault{"libusb_get_device_descriptor", "described 2, details 4"},
                    Fault{"libusb_get_active_config_descriptor", "described 2, details 4"},
                    Fault{"libusb_get_port_numbers", "details 4"}, Fault{"stat64", "details 6"},
                    Fault{"opendir", "details 6"}, Fault{"readdir64", "details 6"},
                    Fault{"closedir", ""}, Fault{"realpath", "details 6"},
                    Fault{"fopen64", "details 6"}, Fault{"read", "details 6"},
                    Fault{"lseek64", "details 6"}),
    [](const testing::TestParamInfo<Fault>& fault) {
      std::string name = fault.param.function;
      std::replace(name.begin(), name.end(), ' ', '_');
      return name;
    });

}  // namespace
