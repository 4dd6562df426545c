#include "Addresses.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>
#include <cstring>

namespace check {

namespace {

bool isOwn(const std::string& address) { return address == "::1" || address.compare(0, 4, "127.") == 0; }

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

} // namespace

std::string addressText(const sockaddr& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.sa_family == AF_INET) {
        sockaddr_in four = {};
        std::memcpy(&four, &address, sizeof four);
        inet_ntop(AF_INET, &four.sin_addr, text.data(), text.size());
    } else if (address.sa_family == AF_INET6) {
        sockaddr_in6 six = {};
        std::memcpy(&six, &address, sizeof six);
        inet_ntop(AF_INET6, &six.sin6_addr, text.data(), text.size());
    }
    return text.data();
}

Finding judgeLocalhost(const std::vector<std::string>& addresses) {
    const std::string mend = "let /etc/hosts have localhost as 127.0.0.1, and ::1 if at all besides";
    for (const std::string& address : addresses)
        if (!isOwn(address))
            return fault("localhost is " + joined(addresses) + ": the service may look for gpsd at " +
                             address + ", for two minutes if nobody answers",
                         mend);
    if (addresses.empty())
        return fault("localhost has no address", mend);
    return ok("localhost is " + joined(addresses));
}

} // namespace check
