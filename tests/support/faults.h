// SPDX-License-Identifier: MIT
#pragma once

#include <dlfcn.h>
#include <time.h>

#include <atomic>
#include <functional>
#include <vector>

// Functions below the test program, and so of the library under test, that can be
// made to fail, or to pass without taking their time. All pass on what they are
// not told to replace.
namespace tarni::test::faults {

// Called in place of nanosleep, which returns the result (-1: interrupted, errno
// set by the function).
using Nanosleep = std::function<int(const timespec* wanted, timespec* left)>;

struct PollResult {
  int result;
  short netlink = 0;     // revents of the first entry
  short terminator = 0;  // of the second
};

void replace_nanosleep(Nanosleep replacement);
// The next waits of topology-manager clients give these results, one each.
void script_poll(std::vector<PollResult> results);

// All calls to `function` fail from now on, whoever makes them; nullptr: none.
extern std::atomic<const char*> always_failing;

// The call to `function` that is the given one from now on fails, counting those that
// the shared library makes and those that libnl and the C++ library make for it.
// `function` is the name of a symbol, or "operator new". 0: none fails.
void fail_call(const char* function, int number);
// Whether it came to that.
bool call_failed();
// Set by a thread while it is inside the library: memory, threads and files, which the
// C++ library gets for anybody, fail for such threads alone.
extern thread_local bool in_library;

// For functions of the test program that stand in front of others: whether a call by
// the code at `caller` is to fail. Takes no lock and gets no memory.
bool strikes(const char* function, const void* caller);
// The function behind.
template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// How many libusb contexts were closed.
extern std::atomic<int> contexts_closed;

// Back to normal.
void clear();

}  // namespace tarni::test::faults

// The body of a function that fails when it is its turn, and passes on otherwise.
#define PASS_ON(type, parameters, arguments, symbol, failure, error)           \
  if (tarni::test::faults::strikes(symbol, __builtin_return_address(0))) {     \
    errno = error;                                                             \
    return failure;                                                            \
  }                                                                            \
  static const auto real = tarni::test::faults::next<type parameters>(symbol); \
  return real arguments;
#define FAULT(type, name, parameters, arguments, symbol, failure, error) \
  type name parameters {                                                 \
    PASS_ON(type, parameters, arguments, symbol, failure, error)         \
  }
