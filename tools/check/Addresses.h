#ifndef ADDRESSES_H
#define ADDRESSES_H

#include <sys/socket.h>

#include <string>
#include <vector>

#include "Finding.h"

/// What `localhost` stands for.

namespace check {

/// "127.0.0.1", "::1"; empty for another family.
std::string addressText(const sockaddr& address);

/// The addresses are tried in their order, each for two minutes if nobody answers.
Finding judgeLocalhost(const std::vector<std::string>& addresses);

} // namespace check

#endif
