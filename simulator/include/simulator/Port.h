// A pseudo terminal that stands in for the receiver's serial port.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace simulator {

// The host opens the slave's path (or the link to it) as it would open the real port.
//
// One slave descriptor stays open for as long as the port lives, so that neither the port nor the speed that
// a client set ever vanishes. The port is raw and ignores modem lines from the start: opening it never
// blocks, and nothing is echoed. As at a closed port, what arrives while no client has it open is thrown
// away, and a client's exclusive claim ends with the client.
class Port {
public:
    // Throws std::system_error where the system gives no pseudo terminal, or where the speed is none of its
    // own.
    explicit Port(unsigned baudRate = 9600);
    ~Port();
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    const std::string& path() const { return path_; }
    // Readable when a client has written.
    int pollDescriptor() const { return master_; }

    // Makes `link` a symbolic link to the port, in place of an older link, until the port is destroyed.
    // Throws std::system_error, also where something that is no link stands there.
    void linkTo(const std::string& link);

    // The speed that the client set, bits per second; 0 where it hung up (B0).
    unsigned baudRate() const;
    // What the client wrote and nobody read yet; empty if nothing.
    std::string read();
    // Never blocks: what doesn't fit is lost. Returns how many bytes went out.
    std::size_t write(std::string_view bytes);
    // Once in a while: notices that clients came and went.
    void attend();

private:
    // Whether another process has the port open; Unknown where some may not be looked into.
    enum class Client { None, Unknown, Present };
    Client findClient() const;

    int master_ = -1;
    int slave_ = -1;
    std::string path_;
    std::string link_;
};

} // namespace simulator
