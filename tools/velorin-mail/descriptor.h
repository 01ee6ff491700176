#pragma once

#include <unistd.h>

namespace velorin::cli {

// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            close();
            descriptor_ = other.descriptor_;
            other.descriptor_ = -1;
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    bool valid() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    int release()
    {
        const int descriptor = descriptor_;
        descriptor_ = -1;
        return descriptor;
    }
    void close()
    {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_ = -1;
};

}  // namespace velorin::cli
