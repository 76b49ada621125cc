// SPDX-License-Identifier: MIT
#include "sim/tool/journal.h"

#include <cerrno>
#include <system_error>

#include "sim/tool/failure.h"

namespace tarni::sim {

std::string message_words(const ReceivedMessage& message) {
  if (message.code() == kRegisterCode) return "registration";
  if (message.code() == kCurrentDrawCode) return "query";
  char text[64];
  if (message.code() >= kAnswerBit) {
    std::snprintf(text, sizeof text, "ack 0x%02x", message.code());
  } else {
    std::snprintf(text, sizeof text, "message 0x%02x of %zu bytes", message.code(),
                  message.payload.size());
  }
  return text;
}

Journal::Journal(const std::string& file) : file_(nullptr, std::fclose) {
  if (file.empty()) return;
  file_.reset(std::fopen(file.c_str(), "we"));
  if (!file_) {
    throw Failure{kMachineFailed, "cannot open the log file " + file + ": " +
                                      std::generic_category().message(errno)};
  }
}

void Journal::add(const std::string& line, const TopologyManager& manager) {
  if (!file_) return;
  const std::vector<ReceivedMessage> messages = manager.received();
  for (; messages_ < messages.size(); ++messages_) {
    const ReceivedMessage& message = messages[messages_];
    write(message.time,
          "host " + std::to_string(message.connection) + " sent " + message_words(message));
  }
  write(Clock::now(), line);
  std::fflush(file_.get());
}

void Journal::write(Clock::time_point time, const std::string& line) {
  const double seconds = std::chrono::duration<double>(time - begin_).count();
  std::fprintf(file_.get(), "%8.3f  %s\n", seconds, line.c_str());
}

}  // namespace tarni::sim
