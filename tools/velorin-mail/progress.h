#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace velorin::cli {

// Tells a person how far a sending or receiving is: octets, rate, part n of m, on one line of a terminal that is written
// anew a few times a second. Writes nothing when standard error is no terminal or nobody wants it.
class Progress {
public:
    //   in      unit: what is counted besides octets
    explicit Progress(bool wanted, const char* unit = "part");
    ~Progress();  // clears the line
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    //   in      total: octets in all, 0: nobody counts them; parts: so many of them
    void begin(std::uint64_t total, unsigned parts);
    //   in      part: from 1; name: printable
    void part(unsigned part, const std::string& name);
    void add(std::uint64_t octets);
    void finish();  // clears the line

    std::uint64_t octets() const { return octets_; }  // so far
    double seconds() const;                           // since begin

private:
    void draw(std::chrono::steady_clock::time_point now);

    bool wanted_;
    const char* unit_;
    bool drawn_ = false;
    std::uint64_t total_ = 0;
    std::uint64_t octets_ = 0;
    unsigned part_ = 0;
    unsigned parts_ = 0;
    std::string name_;
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point due_ = began_;
};

// "12.3 MiB": a number of octets as a person reads it.
std::string readable_octets(double octets);

}  // namespace velorin::cli
