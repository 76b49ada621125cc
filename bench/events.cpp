// SPDX-License-Identifier: MIT
// Notifications and published events: latency, throughput and what the log costs,
// beside a bare loop on the same kind of socket, turn by turn in one process.
#include <semaphore.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>

#include "bare_loop.h"
#include "measure.h"
#include "sim/topology_manager.h"
#include "tarni.h"

namespace tarni::bench {
namespace {

constexpr std::uint8_t kAcknowledged = 0x82;
constexpr std::chrono::seconds kLimit{60};
// Receivers wait again when the next notification comes, as with real devices.
constexpr std::chrono::microseconds kPause{100};
constexpr const char* kName = "1-1.4";
constexpr std::size_t kBurst = 20000;
constexpr std::size_t kLongBurst = 100000;
constexpr int kTurns = 15;
constexpr int kLongTurns = 5;
constexpr int kLatencyTurns = 3000;

// What the callbacks do. They have no argument of their own, so there is one.
std::atomic<std::size_t> missing{0};
Clock::time_point last_arrival;  // handed over by the semaphore
sem_t all_arrived;

void arrived() {
  last_arrival = Clock::now();
  if (--missing == 0) sem_post(&all_arrived);
}

// Has something cause events, and returns the microseconds until the last callback.
template <typename Function>
double time_until(std::size_t events, Function cause) {
  missing = events;
  const auto start = Clock::now();
  cause();
  timespec deadline{};
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += kLimit.count();
  check(sem_timedwait(&all_arrived, &deadline) == 0, "events are missing");
  return microseconds(last_arrival - start);
}

// A receiver of notifications with a topology manager of its own.
struct Receiver {
  sim::TopologyManager manager;

  double latency() {
    std::this_thread::sleep_for(kPause);
    const double spent = time_until(1, [&] { manager.device_attached(kName); });
    check(manager.wait_for_ack(kAcknowledged), "no acknowledgement");
    return spent;
  }

  // Notifications per second.
  double throughput(std::size_t count) {
    const sim::Bytes payload = notification_payload(sim::Notification::kDeviceAttached, kName);
    const double spent = time_until(count, [&] { manager.burst(count, payload); });
    check(manager.wait_for_acks(kAcknowledged, count, kLimit), "acknowledgements are missing");
    return static_cast<double>(count) * 1e6 / spent;
  }
};

struct Library : Receiver {
  void* const finder = tarni_open();

  Library() {
    manager.publish_address();
    tarni_subscribe_all(finder, [](usb_event_info) { arrived(); });
    check(tarni_init(finder) >= 0, "tarni_init: is the stand-in preloaded?");
  }
  ~Library() { tarni_close(finder); }

  double publish_latency() {
    std::this_thread::sleep_for(kPause);
    return time_until(1, [&] { tarni_dummy_publish(finder, DEVICE_ATTACH); });
  }
};

struct Bare : Receiver {
  std::unique_ptr<BareLoop> loop;

  explicit Bare(bool log) {
    manager.publish_address();
    loop = std::make_unique<BareLoop>(log, arrived);
    check(manager.wait_for_registration(), "no registration");
  }
};

struct Receivers {
  Library library;
  Bare bare{true};
  Bare silent{false};
};

void measure_throughput(Receivers& receivers, std::size_t count, int turns) {
  Samples library;
  Samples bare;
  Samples silent;
  for (int i = 0; i < turns; ++i) {
    library.push_back(receivers.library.throughput(count));
    bare.push_back(receivers.bare.throughput(count));
    silent.push_back(receivers.silent.throughput(count));
  }
  std::fprintf(results, "| %zu | %.0f | %.0f | %.2f | %.0f |\n", count, library.median(),
               bare.median(), median_ratio(library, bare), silent.median());
}

double throughput_with_file(Receiver& receiver) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  check(file != nullptr, "tmpfile");
  log_to(fileno(file.get()));
  const double rate = receiver.throughput(kBurst);
  log_to_nowhere();
  return rate;
}

// As a service's log, which the journal reads.
double throughput_with_pipe(Receiver& receiver) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen("cat >/dev/null", "w"), pclose);
  check(pipe != nullptr, "popen");
  log_to(fileno(pipe.get()));
  const double rate = receiver.throughput(kBurst);
  log_to_nowhere();
  return rate;
}

void measure_log(Library& library) {
  std::array<Samples, 3> rates;
  for (int i = 0; i < kTurns; ++i) {
    rates[0].push_back(library.throughput(kBurst));
    rates[1].push_back(throughput_with_file(library));
    rates[2].push_back(throughput_with_pipe(library));
  }
  std::fprintf(results,
               "\n| the library's log goes to | notifications/s |\n|---|---:|\n"
               "| /dev/null | %.0f |\n| a file | %.0f |\n| a pipe | %.0f |\n",
               rates[0].median(), rates[1].median(), rates[2].median());
}

void measure_latency(Receivers& receivers) {
  std::array<Samples, 3> times;
  for (int i = 0; i < kLatencyTurns; ++i) {
    times[0].push_back(receivers.library.latency());
    times[1].push_back(receivers.bare.latency());
    times[2].push_back(receivers.library.publish_latency());
  }
  const auto& [library, bare, published] = times;
  std::fprintf(results,
               "\n| until the callback | library, µs | bare loop, µs | ratio | "
               "tarni_dummy_publish, µs |\n|---|---:|---:|---:|---:|\n");
  for (const double part : {0.5, 0.99}) {
    std::fprintf(results, "| p%.0f | %.1f | %.1f | %.2f | %.1f |\n", part * 100, library.at(part),
                 bare.at(part), library.at(part) / bare.at(part), published.at(part));
  }
}

void events() {
  sem_init(&all_arrived, 0, 0);
  Receivers receivers;
  std::fprintf(results,
               "| notifications | library, 1/s | bare loop, 1/s | ratio | "
               "bare loop without log, 1/s |\n|---:|---:|---:|---:|---:|\n");
  measure_throughput(receivers, kBurst, kTurns);
  measure_throughput(receivers, kLongBurst, kLongTurns);
  measure_log(receivers.library);
  measure_latency(receivers);
}

}  // namespace
}  // namespace tarni::bench

int main() {
  return tarni::bench::run(tarni::bench::events);
}
