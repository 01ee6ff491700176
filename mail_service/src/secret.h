#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "secret_text.h"

namespace velorin::service {

// A password. It stands in memory once, in a block of its exact size, and is overwritten when it goes.
class Secret {
public:
    Secret() = default;
    explicit Secret(const std::string& text) : octets_(new char[text.size() + 1]), length_(text.size())
    {
        std::memcpy(octets_.get(), text.c_str(), length_ + 1);
    }
    Secret(Secret&& other) noexcept : octets_(std::move(other.octets_)), length_(other.length_)
    {
        other.length_ = 0;
    }
    Secret& operator=(Secret&& other) noexcept
    {
        if (this != &other) {
            forget();
            octets_ = std::move(other.octets_);
            length_ = other.length_;
            other.length_ = 0;
        }
        return *this;
    }
    ~Secret() { forget(); }

    const char* c_str() const noexcept { return octets_ ? octets_.get() : ""; }
    std::size_t length() const noexcept { return length_; }

private:
    void forget() noexcept
    {
        if (octets_) wipe_octets(octets_.get(), length_);
        octets_.reset();
        length_ = 0;
    }

    std::unique_ptr<char[]> octets_;
    std::size_t length_ = 0;
};

}  // namespace velorin::service
