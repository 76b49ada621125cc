// SPDX-License-Identifier: MIT
#pragma once

#include <thread>

#include "failure.h"
#include "unique_fd.h"

namespace tarni::cli {

// tarni_init() on a thread of its own: it can block for a minute and cannot be
// called off. Whoever does not want to wait for it must end the process: the
// destructor waits.
class Registration {
 public:
  explicit Registration(void* finder);
  ~Registration();
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  // Readable once tarni_init() has returned.
  int descriptor() const { return done_.get(); }

  // Waits for tarni_init(); throws Failure when it failed.
  void finish();

 private:
  void run(void* finder);

  UniqueFd done_;
  int result_ = -1;  // written by thread_, read after it was joined
  std::thread thread_;
};

Failure no_topology_manager();

}  // namespace tarni::cli
