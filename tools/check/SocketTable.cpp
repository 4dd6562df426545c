#include "SocketTable.h"

#include <cstdlib>
#include <sstream>

namespace check {

namespace {

constexpr char kListening[] = "0A";

/// "0100007F:0B83", the address in as many digits as the family has
bool hasPort(const std::string& address, uint16_t port) {
    const std::size_t colon = address.rfind(':');
    return colon != std::string::npos && std::strtoul(address.c_str() + colon + 1, nullptr, 16) == port;
}

} // namespace

std::vector<uint64_t> listenersOn(uint16_t port, const std::string& table) {
    std::vector<uint64_t> inodes;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        std::string slot, local, remote, state, queues, timer, retries, user, timeout;
        uint64_t inode = 0;
        if (columns >> slot >> local >> remote >> state >> queues >> timer >> retries >> user >> timeout >>
                inode &&
            state == kListening && hasPort(local, port))
            inodes.push_back(inode);
    }
    return inodes;
}

} // namespace check
