#pragma once

#include <unistd.h>
#include <utility>

namespace korvane {

/// An open file descriptor, closed with the object. Any thread.
class Descriptor {
public:
    /// Takes ownership of `number`; -1 for none.
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            close();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }

    int number() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    /// False when the system reports a fault; for a file this may be the fault of an earlier write.
    bool close() {
        const int number = std::exchange(number_, -1);
        return number < 0 || ::close(number) == 0;
    }

private:
    int number_;
};

} // namespace korvane
