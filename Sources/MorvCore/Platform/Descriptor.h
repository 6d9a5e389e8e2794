// An open file descriptor with one owner.
#pragma once

#include <unistd.h>
#include <utility>

namespace morv {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }
    ~Descriptor() { reset(); }

    explicit operator bool() const { return number_ >= 0; }
    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

    /// Closes now. Close errors of what was written matter: writers call close(release()) and check.
    void reset() {
        if (number_ >= 0)
            ::close(std::exchange(number_, -1));
    }

private:
    int number_ = -1;
};

} // namespace morv
