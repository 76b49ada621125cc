// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

namespace tarni {

class Publisher;

// A source of topology events, as a finder drives it: init once, then
// wait_for_status_change again and again on one thread, disconnect from another
// to end that. Results are negative on failure.
class IFinder {
 public:
  IFinder() = default;
  virtual ~IFinder() = default;
  IFinder(const IFinder&) = delete;
  IFinder& operator=(const IFinder&) = delete;

  // Connects, and keeps the publisher that received events go to.
  virtual int init(std::shared_ptr<Publisher> publisher) = 0;

  // Blocks until there was something to handle, or until disconnect. Negative
  // when waiting is no longer possible.
  virtual int wait_for_status_change() = 0;

  // Ends the link and wakes a wait that is blocked.
  virtual int disconnect() = 0;

  // The total current drawn by the attached devices; -1 when it could not be told,
  // -2 when no answer came.
  virtual int get_total_currentdraw() = 0;
};

}  // namespace tarni
