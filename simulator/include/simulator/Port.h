#ifndef PORT_H
#define PORT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "simulator/Descriptor.h"

namespace simulator {

/// A pseudo terminal that stands in for the receiver's serial port: a host opens the slave's path, or the
/// link to it, as it would open the real port.
///
/// The port is raw and ignores modem lines from the start: opening it never blocks, and nothing is echoed. A
/// speed that a client set stays when the client goes. As at a closed port, what arrives while no client has
/// it open is thrown away, and a client's exclusive claim (TIOCEXCL) ends with the client.
///
/// One slave descriptor of our own stays open, since nobody but root gets past a claim that outlived its
/// client. Who else has the port open the kernel itself tells, so it doesn't matter whose client it is, when
/// it came, how often it opened the port, or how it ended. One thread.
class Port {
public:
    /// `baudRate` holds until a client sets another. Throws std::system_error where the system gives no
    /// pseudo terminal, and where no terminal has this speed.
    explicit Port(uint32_t baudRate = 9600);
    /// The link goes too, if it still leads here.
    ~Port();
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    /// The slave's path. It changes only where the terminal had to be replaced, see `attend`.
    const std::string& path() const { return path_; }
    /// Readable when a client has written. To be asked anew after each `attend`.
    int32_t pollDescriptor() const { return master_.number(); }

    /// Makes `link` a symbolic link to the port, in place of an older link. Throws std::system_error, also
    /// where something that is no link stands there.
    void linkTo(const std::string& link);

    /// The speed that the client set, bits per second; 0 where it hung up (B0).
    uint32_t baudRate() const;

    /// What clients wrote and nobody took yet, up to 4096 bytes; empty if nothing. Never blocks.
    std::string read();

    /// Never blocks: what doesn't fit is lost. Returns how many bytes went out.
    std::size_t write(std::string_view bytes);

    /// To be called several times a second: throws unread bytes and an abandoned claim away where no client
    /// is left.
    ///
    /// For some microseconds it lets go of its own descriptor. A client that opens the port and claims it in
    /// just these keeps us out; where it then ends without giving the claim up, the terminal is replaced by a
    /// new one at the same speed, and the link follows. Throws std::system_error where there is none.
    void attend();

private:
    void openTerminal(uint32_t baudRate);
    bool openSlave();
    bool regainSlave();
    void watchClients();
    void takeEvents();
    bool isHungUp() const;
    bool hasClient(bool claimed);

    Descriptor master_;
    Descriptor slave_;        // closed only where a client's claim keeps us out
    Descriptor watch_;        // inotify: opens and closes of the slave's path
    bool clientCame_ = false; // the last event was an open: that client is still there
    std::string path_;
    std::string link_;
};

} // namespace simulator

#endif
