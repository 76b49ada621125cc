// SPDX-License-Identifier: MIT
#pragma once

#include <thread>

namespace tarni::bench {

// The least that a host without the library would do: one thread that polls a
// socket of the topology manager, peeks and reads as libnl does, calls back and
// acknowledges, and with the log writes ten lines for each notification as the
// library does. There is no queue, and a callback that blocks stops everything.
class BareLoop {
 public:
  BareLoop(bool log, void (*callback)());
  ~BareLoop();
  BareLoop(const BareLoop&) = delete;
  BareLoop& operator=(const BareLoop&) = delete;

 private:
  void send(unsigned char code) const;
  void run() const;
  void take_one() const;
  void write_lines(int count) const;

  const bool with_log;
  void (*const call_back)();
  const int socket_fd;
  const int stop_fd;
  std::thread thread;
};

}  // namespace tarni::bench
