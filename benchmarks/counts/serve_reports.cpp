// serve_reports fix|sky-N REPORTS -- COMMAND ...
//
// Plays gpsd for COMMAND, a client of it, and then ends: sends a fix, then REPORTS of one kind, and closes
// the connection. Each report is sent when the client has taken the one before, so each of its reads brings
// exactly one. A fix is a second later than the one before it. On gpsd's port, so it needs a network of its
// own. Exit status: COMMAND's.

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "Reports.h"

namespace {

constexpr int kExitUsage = 2;
constexpr uint16_t kPort = 2947;
constexpr char kPortInTable[] = ":0B83"; // of the connection's other end, in the kernel's table
constexpr useconds_t kLookUs = 1000;
constexpr int kConnectMs = 30000;

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

[[noreturn]] void wrongUsage() {
    std::fprintf(stderr, "usage: serve_reports fix|sky-N REPORTS -- COMMAND ...\n");
    std::exit(kExitUsage);
}

int listenAsGpsd() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 1) != 0)
        fail("port 2947");
    return listener;
}

pid_t start(char** command) {
    const pid_t child = fork();
    if (child == 0) {
        execvp(command[0], command);
        fail(command[0]);
    }
    return child;
}

/// The bytes that the client has not read yet, by the kernel's table: the line of its end names our port as
/// the remote one, and its queues as "SENT:RECEIVED", in hexadecimal.
unsigned long unread() {
    std::ifstream table("/proc/net/tcp");
    std::string slot, local, remote, state, queues, rest;
    while (table >> slot >> local >> remote >> state >> queues && std::getline(table, rest))
        if (remote.size() > 5 && remote.compare(remote.size() - 5, 5, kPortInTable) == 0)
            return std::strtoul(queues.c_str() + queues.find(':') + 1, nullptr, 16);
    return 0;
}

void sendReport(int client, const std::string& text) {
    if (send(client, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        fail("send");
    while (unread() > 0)
        usleep(kLookUs);
}

void serve(int listener, const std::string& kind, int reports) {
    pollfd connection{listener, POLLIN, 0};
    if (poll(&connection, 1, kConnectMs) != 1)
        fail("no client");
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int on = 1;
    if (client < 0 || setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)
        fail("accept");
    sendReport(client, fixReport(0));
    const bool isFix = kind == "fix";
    const std::string sky = isFix ? "" : skyReport(std::atoi(kind.c_str() + std::strlen("sky-")));
    for (int i = 1; i <= reports; ++i)
        sendReport(client, isFix ? fixReport(i) : sky);
    shutdown(client, SHUT_WR);
    char watch[512]; // until it has closed its end: what is unread at a close would be lost
    while (read(client, watch, sizeof watch) > 0) {
    }
    close(client);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5 || std::strcmp(argv[3], "--") != 0)
        wrongUsage();
    const std::string kind = argv[1];
    if (kind != "fix" && kind.rfind("sky-", 0) != 0)
        wrongUsage();
    const int listener = listenAsGpsd();
    const pid_t child = start(argv + 4);
    serve(listener, kind, std::atoi(argv[2]));
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}
