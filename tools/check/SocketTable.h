#ifndef SOCKETTABLE_H
#define SOCKETTABLE_H

#include <cstdint>
#include <string>
#include <vector>

/// The kernel's tables of TCP sockets, /proc/net/tcp and /proc/net/tcp6.

namespace check {

/// The inodes of the sockets in `table` that listen on `port`, whatever their address.
std::vector<uint64_t> listenersOn(uint16_t port, const std::string& table);

} // namespace check

#endif
