// SPDX-License-Identifier: MIT
#include "support/captured_stream.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The compiler brings no header for these.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, std::size_t),
                                              void (*)(const volatile void*));
std::size_t __sanitizer_get_allocated_size(const volatile void*);
}
#endif

namespace tarni::test {
namespace {

std::size_t entries(const char* directory) {
  const std::filesystem::directory_iterator listing(directory);
  return static_cast<std::size_t>(std::distance(begin(listing), end(listing)));
}

// GoogleTest and the sanitizers tell failures on these very streams.
bool is_worth_showing(const std::string& caught) {
  return testing::Test::HasFailure() || caught.find("Sanitizer") != std::string::npos ||
         caught.find("runtime error: ") != std::string::npos;
}

}  // namespace

CapturedStream::CapturedStream(int captured_fd)
    : captured(captured_fd), saved(dup(captured)), file(memfd_create("captured", MFD_CLOEXEC)) {
  std::fflush(nullptr);
  dup2(file, captured);
}

CapturedStream::~CapturedStream() {
  const std::string caught = text();
  dup2(saved, captured);
  if (is_worth_showing(caught)) std::fputs(caught.c_str(), captured == 1 ? stdout : stderr);
  std::fflush(stdout);
  close(saved);
  close(file);
}

std::string CapturedStream::text() const {
  std::fflush(stdout);
  std::string all;
  std::array<char, 65536> block;
  ssize_t size;
  while ((size = pread(file, block.data(), block.size(), static_cast<off_t>(all.size()))) > 0) {
    all.append(block.data(), static_cast<std::size_t>(size));
  }
  return all;
}

std::size_t CapturedStream::count(const std::string& part) const {
  const std::string all = text();
  std::size_t found = 0;
  for (std::size_t at = all.find(part); at != std::string::npos; at = all.find(part, at + 1)) {
    ++found;
  }
  return found;
}

bool CapturedStream::wait_for(const std::string& part, std::size_t times) const {
  return eventually([&] { return count(part) >= times; });
}

void CapturedStream::clear() {
  const std::string caught = text();
  if (is_worth_showing(caught)) dprintf(saved, "%s", caught.c_str());
  if (ftruncate(file, 0) != 0) std::perror("ftruncate");
  lseek(file, 0, SEEK_SET);
}

Holdings::Holdings() : descriptors(entries("/proc/self/fd")), threads(entries("/proc/self/task")) {}

bool Holdings::are_all() const {
  return eventually([this] {
    const Holdings now;
    return now.descriptors <= descriptors && now.threads <= threads;
  });
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers' own count includes freed memory that they keep back.
std::size_t heap_in_use() {
  static std::atomic<std::size_t> bytes{0};
  static const bool counting = __sanitizer_install_malloc_and_free_hooks(
      [](const volatile void*, std::size_t size) { bytes += size; },
      [](const volatile void* freed) { bytes -= __sanitizer_get_allocated_size(freed); });
  return counting ? bytes.load() : 0;
}
#else
std::size_t heap_in_use() {
  return mallinfo2().uordblks;
}
#endif

bool others_sleep() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(gettid())) continue;
    std::ifstream file(task.path() / "stat");
    std::string status;
    std::getline(file, status);
    if (status.find(") S ") == std::string::npos) return false;
  }
  return true;
}

}  // namespace tarni::test
