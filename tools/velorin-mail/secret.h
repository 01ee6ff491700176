#pragma once

#include <cstddef>
#include <vector>

class CutlCPLBMString;

namespace velorin::cli {

// A password: its octets stand in one block that never moves and is overwritten before it is given back.
class Secret {
public:
    static constexpr std::size_t kCapacity = 16u << 10;  // an access token may have some thousand octets

    Secret();
    ~Secret();
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    // result  false when it would not fit; the secret is then unchanged
    bool assign(const char* text, std::size_t length);
    void clear();
    bool empty() const { return length_ == 0; }
    const char* c_str() const { return octets_.data(); }  // NUL-terminated
    std::size_t length() const { return length_; }
    bool has_control() const;  // an octet below 0x20 or 0x7F, which no login command can carry

private:
    std::vector<char> octets_;
    std::size_t length_ = 0;
};

// Overwrites octets in a way that the compiler does not leave out.
void wipe(void* octets, std::size_t length);

// Overwrites the text that `text` holds; the text keeps its length.
void wipe(CutlCPLBMString& text);

}  // namespace velorin::cli
