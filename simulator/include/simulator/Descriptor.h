#ifndef DESCRIPTOR_H
#define DESCRIPTOR_H

#include <cstdint>

namespace simulator {

/// An open file descriptor, closed when the object goes. It has one owner: it can be moved, not copied.
class Descriptor {
public:
    /// None: `number` is -1.
    Descriptor() = default;
    /// Takes over what `open` and its like returned, -1 included.
    explicit Descriptor(int32_t number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept;
    /// Closes what it held before.
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int32_t number() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    /// At once, not only when the object goes. No effect on a closed one.
    void close();

private:
    int32_t number_ = -1;
};

} // namespace simulator

#endif
