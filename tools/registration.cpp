// SPDX-License-Identifier: MIT
#include "registration.h"

#include <errno.h>
#include <string.h>
#include <sys/eventfd.h>
#include <tarni.h>

#include <string>

namespace tarni::cli {

Registration::Registration(void* finder) : done_(eventfd(0, EFD_CLOEXEC)) {
  if (done_.get() < 0) throw Failure{kFailed, std::string("no descriptor: ") + strerror(errno)};
  thread_ = std::thread(&Registration::run, this, finder);
}

Registration::~Registration() {
  if (thread_.joinable()) thread_.join();
}

void Registration::run(void* finder) {
  result_ = tarni_init(finder);
  eventfd_write(done_.get(), 1);
}

void Registration::finish() {
  thread_.join();
  if (result_ < 0) throw no_topology_manager();
}

Failure no_topology_manager() {
  return {kNoTopologyManager,
          "no USB topology manager: this kernel has none, or it does not answer"};
}

}  // namespace tarni::cli
