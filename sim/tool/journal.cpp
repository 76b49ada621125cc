// SPDX-License-Identifier: MIT
#include "sim/tool/journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iomanip>
#include <sstream>
#include <system_error>

#include "sim/tool/failure.h"

namespace tarni::sim {

std::string message_words(const ReceivedMessage& message) {
  if (message.code() == kRegisterCode) return "registration";
  if (message.code() == kCurrentDrawCode) return "query";
  std::ostringstream text;
  text << std::hex << std::setfill('0') << "0x" << std::setw(2) << int{message.code()};
  return (message.code() >= kAnswerBit ? "ack " : "message ") + text.str();
}

Journal::Journal(const std::string& file) {
  if (file.empty()) return;
  // The program does not inherit it.
  file_ = UniqueFd(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
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
}

void Journal::write(Clock::time_point time, const std::string& line) {
  const double seconds = std::chrono::duration<double>(time - begin_).count();
  std::ostringstream text;
  text << std::setw(8) << std::fixed << std::setprecision(3) << seconds << "  " << line << "\n";
  // A full disk is no reason to stop.
  if (::write(file_.get(), text.str().data(), text.str().size()) < 0) return;
}

}  // namespace tarni::sim
