// SPDX-License-Identifier: MIT
// `tarni watch`: topology events as they come, until a signal, a number of
// events or a time ends it.
#include <errno.h>
#include <poll.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "device.h"
#include "event_queue.h"
#include "failure.h"
#include "followups.h"
#include "json.h"
#include "options.h"
#include "output.h"
#include "record.h"
#include "registration.h"
#include "signals.h"
#include "words.h"

namespace tarni::cli {
namespace {

constexpr const char* kDeviceUpdated = "device updated";

constexpr Clock::time_point kNever = Clock::time_point::max();

// Milliseconds for poll(); rounded up, so as not to wake just before the time.
int poll_timeout(Clock::time_point until) {
  if (until == kNever) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

bool attaches(const ReceivedEvent& event) {
  return event_attaches(event.type);
}

Failure reader_gone() {
  return {kOutputFailed, "nobody reads the output any more"};
}

class Watch {
 public:
  Watch(Output& output, const Options& options);

  int run();

 private:
  enum class Wakeup { kNews, kSignal, kTimeUp, kReaderGone };

  void register_with_manager();
  Wakeup wait(int fd, Clock::time_point until);
  void follow_events();
  bool count_reached() const { return options_.count && shown_ >= *options_.count; }
  bool done() const { return count_reached() && followups_.empty(); }
  void show_news();
  void take_event(const ReceivedEvent& event, const std::vector<Device>& devices);
  void show(const Record& record);

  Output& output_;
  const Options& options_;
  Clock::time_point deadline_ = kNever;
  Signals signals_;  // before finder_: the library's threads inherit the mask
  Finder finder_;
  Followups followups_;
  int shown_ = 0;
};

Watch::Watch(Output& output, const Options& options) : output_(output), options_(options) {
  if (options.timeout_s)
    deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double>(*options.timeout_s));
  output_.set_interrupt(signals_.descriptor());
}

// Waits for news: until the descriptor is readable, or until a time.
Watch::Wakeup Watch::wait(int fd, Clock::time_point until) {
  pollfd fds[] = {{fd, POLLIN, 0},
                  {signals_.descriptor(), POLLIN, 0},
                  // For its reader's end only: with nothing to write, nobody
                  // else would notice it.
                  {output_.descriptor(), 0, 0}};
  while (poll(fds, std::size(fds), poll_timeout(std::min(until, deadline_))) < 0 &&
         errno == EINTR) {
  }
  if (fds[1].revents != 0) return Wakeup::kSignal;
  if (fds[2].revents != 0) return Wakeup::kReaderGone;
  return Clock::now() >= deadline_ ? Wakeup::kTimeUp : Wakeup::kNews;
}

void Watch::register_with_manager() {
  Registration registration(finder_.handle());
  const Wakeup wakeup = wait(registration.descriptor(), kNever);
  if (wakeup == Wakeup::kNews) return registration.finish();
  // tarni_init() is still at it, and would be for up to a minute: there is no
  // orderly way out.
  if (wakeup == Wakeup::kSignal) signals_.die();
  const Failure failure = wakeup == Wakeup::kTimeUp ? no_topology_manager() : reader_gone();
  output_.message(failure.message);
  std::_Exit(failure.status);
}

void Watch::follow_events() {
  while (!done()) {
    const Wakeup wakeup = wait(EventQueue::instance().descriptor(), followups_.next_look());
    if (wakeup == Wakeup::kReaderGone) throw reader_gone();
    if (wakeup != Wakeup::kNews) return;
    show_news();
  }
}

int Watch::run() {
  tarni_subscribe_all(finder_.handle(), EventQueue::receive);
  register_with_manager();
  if (output_.errors_on_terminal()) output_.message("watching; Ctrl-C ends it");
  try {
    follow_events();
  } catch (const Output::Interrupted&) {
    // A signal while the reader was not reading: as good as any other.
  }
  return options_.count && !count_reached() ? kTooFewEvents : kSuccess;
}

// Shows the events that wait and what has become of devices attached before. One
// snapshot for all of them: it is younger than any of the events.
void Watch::show_news() {
  const std::vector<ReceivedEvent> events = EventQueue::instance().take();
  const bool needed = !followups_.empty() || std::any_of(events.begin(), events.end(), attaches);
  const std::vector<Device> devices = needed ? read_devices(finder_) : std::vector<Device>{};
  for (const ReceivedEvent& event : events) take_event(event, devices);
  followups_.look(devices, Clock::now(), [this](const Device& device) {
    show({WallTime::clock::now(), std::nullopt, kDeviceUpdated, device.sysfs_path(), &device});
  });
}

void Watch::take_event(const ReceivedEvent& event, const std::vector<Device>& devices) {
  if (event_removes(event.type)) followups_.forget(event.path);
  if (count_reached()) return;
  ++shown_;
  const bool attached = attaches(event);
  const Device* device = attached ? device_at(devices, event.path) : nullptr;
  show({event.time, event.type, event_words(event.type), event.path, device});
  if (attached) followups_.add(event.path, device, Clock::now());
}

void Watch::show(const Record& record) {
  output_.data(options_.json ? record_json(record) : record_text(record));
}

}  // namespace

int run_watch(Output& output, const Options& options) {
  return Watch(output, options).run();
}

}  // namespace tarni::cli
