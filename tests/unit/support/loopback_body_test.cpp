#include "loopback_body.h"

#include <cstring>
#include <memory>

#include <gtest/gtest.h>

#include "octets.h"

namespace velorin_test {
namespace {

// A copy of exactly that size, so that a read past its end is seen.
class Exact {
public:
    explicit Exact(std::string_view octets) : size_(octets.size()), copy_(new char[octets.size()])
    {
        std::memcpy(copy_.get(), octets.data(), size_);
    }
    std::string_view view() const { return {copy_.get(), size_}; }

private:
    std::size_t size_;
    std::unique_ptr<char[]> copy_;
};

// Where the mail ends when it comes in pieces of these sizes; kNotYet when it does not.
std::size_t end_in_pieces(std::string_view octets, std::size_t first, std::size_t then)
{
    BodyScanner scanner;
    std::size_t fed = 0;
    for (std::size_t size = first; fed < octets.size(); size = then) {
        const Exact piece(octets.substr(fed, size));
        const std::size_t end = scanner.feed(piece.view());
        if (end != BodyScanner::kNotYet) return fed + end;
        fed += piece.view().size();
    }
    return BodyScanner::kNotYet;
}

TEST(BodyScanner, FindsTheEndAtEveryCut)
{
    const struct {
        const char* label;
        std::string_view octets;
        std::size_t end;
    } cases[] = {
        {"empty mail", ".\r\n", 3},
        {"empty mail and what follows", ".\r\nQUIT\r\n", 3},
        {"one line", "a\r\n.\r\n", 6},
        {"empty line", "\r\n.\r\n", 5},
        {"stuffed dot", "..\r\n.\r\n", 7},
        {"dots in lines", "a.b\r\n.c\r\n.\r.\n\r\n.\r\nMAIL", 18},
        {"two ends", "a\r\n.\r\n.\r\n", 6},
        {"bare line feeds", "a\n.\n.\r\nb\r\n.\nc", BodyScanner::kNotYet},
        {"bare carriage returns", "a\r.\r.\r\n", BodyScanner::kNotYet},
        {"dot after text", "a.\r\n", BodyScanner::kNotYet},
        {"not all of it", "abc\r\n.\r", BodyScanner::kNotYet},
    };
    for (const auto& row : cases)
        for (std::size_t first = 1; first <= row.octets.size(); ++first)
            for (std::size_t then = 1; then <= row.octets.size(); ++then)
                EXPECT_EQ(row.end, end_in_pieces(row.octets, first, then))
                    << row.label << ", pieces " << first << " and " << then;
}

TEST(DotStuffing, GoesThereAndBack)
{
    const struct {
        const char* label;
        std::string_view octets;
        std::string_view wire;
    } cases[] = {
        {"nothing", "", ""},
        {"a dot", ".", ".."},
        {"a dot line", ".\r\n", "..\r\n"},
        {"dots after line ends", "a\r\n.b\r\n..c\r\n", "a\r\n..b\r\n...c\r\n"},
        {"dots inside lines", "a.b\r\nc.\r\n", "a.b\r\nc.\r\n"},
        {"bare line feed begins no line", "a\n.b", "a\n.b"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ("", octet_difference(row.wire, add_dot_stuffing(row.octets))) << row.label;
        EXPECT_EQ("", octet_difference(row.octets, remove_dot_stuffing(row.wire))) << row.label;
    }
}

}  // namespace
}  // namespace velorin_test
