#include "simulator/Descriptor.h"

#include <unistd.h>
#include <utility>

namespace simulator {

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        number_ = std::exchange(other.number_, -1);
    }
    return *this;
}

void Descriptor::close() {
    if (isOpen())
        ::close(number_);
    number_ = -1;
}

} // namespace simulator
