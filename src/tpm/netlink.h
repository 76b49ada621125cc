// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

struct nl_sock;

namespace tarni::tpm {

// Logs what libnl says of one of its error codes.
void log_nl_error(int code);

// Logs the failure of a libnl call, `operation` being its name: a line with the
// code, then what libnl says of it.
void log_nl_failure(const char* operation, int code);

// Sends one payload to the kernel. Returns the number of bytes sent, netlink
// header included; on failure logs it and returns libnl's negative code. A null
// socket (a client that is disconnected) is a failure like others.
int send_payload(nl_sock* socket, const void* payload, std::size_t size);

// Makes a connected socket fit for a flood of notifications. What the buffer does
// not hold is lost without a sign.
void prepare_for_floods(int fd);

}  // namespace tarni::tpm
