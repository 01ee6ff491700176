// Long texts cost their length. They are long enough here that a walk which looks at the rest of the text for
// each of its pieces would not end within the test's time, on any machine. The heap is this program's own, with
// room to grow, so that nothing but the utilities' own work counts.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "CntsMLUTLDomainFilter.h"
#include "CntsMLUTLMimeUtility.h"
#include "mlutl_support.h"

namespace {

// Stands in front of every block.
struct alignas(std::max_align_t) Head {
    std::size_t room;  // octets behind it
};

}  // namespace

void* CutlCPLBOSBoundary::MemAllocate(std::size_t size)
{
    Head* const head = static_cast<Head*>(std::malloc(sizeof(Head) + size));
    if (head == nullptr) return nullptr;
    head->room = size;
    return head + 1;
}

void* CutlCPLBOSBoundary::MemReallocate(void* block, std::size_t size)
{
    const std::size_t room = block != nullptr ? static_cast<Head*>(block)[-1].room : 0;
    if (block != nullptr && size <= room) return block;
    void* const grown = MemAllocate(2 * size);
    if (grown == nullptr) return nullptr;
    if (block != nullptr) std::memcpy(grown, block, room);
    MemFree(block);
    return grown;
}

void CutlCPLBOSBoundary::MemFree(void* block)
{
    if (block != nullptr) std::free(static_cast<Head*>(block) - 1);
}

namespace velorin_test {
namespace {

using velorin::CntsMLUTLDomainFilter;
using velorin::CntsMLUTLMailAddress;
using velorin::CntsMLUTLMailType;
using velorin::CntsMLUTLMimeUtility;

constexpr std::size_t kLength = std::size_t{16} << 20;  // octets

std::string repeated(const std::string& piece)
{
    std::string text;
    text.reserve(kLength + piece.size());
    while (text.size() < kLength)
        text += piece;
    return text;
}

// How often the piece stands in the result, which must be made of nothing else behind the beginning.
std::size_t count_pieces(const std::string& result, const std::string& beginning, const std::string& piece)
{
    if (result.compare(0, beginning.size(), beginning) != 0) return 0;
    std::size_t count = 0;
    for (std::size_t at = beginning.size(); at < result.size(); at += piece.size(), ++count)
        if (result.compare(at, piece.size(), piece) != 0) return 0;
    return count;
}

std::string encode(const std::string& in)
{
    char* out = nullptr;
    long length = 0;
    EXPECT_EQ(1, CntsMLUTLMimeUtility::InlineEncode(in.data(), static_cast<long>(in.size()), out, length,
                                                    CntsMLUTLMailType::eCharSetUtf8));
    return Taken(out).octets(length);
}

std::string decode(const std::string& in)
{
    char* out = nullptr;
    long length = 0;
    CntsMLUTLMailType::eCharSet set = CntsMLUTLMailType::eCharSetUnknown;
    EXPECT_EQ(
        1, CntsMLUTLMimeUtility::InlineDecode(in.data(), static_cast<long>(in.size()), out, length, set, 0));
    return Taken(out).octets(length);
}

TEST(LinearTime, InlineEncodeOfManyLines)
{
    const std::string line = "Subject: \xe3\x81\x82 text\r\n";
    const std::string in = repeated(line);
    EXPECT_EQ(in.size() / line.size(),
              count_pieces(encode("A: b\r\n" + in), "A: b\r\n", "Subject: =?utf-8?B?44GCIHRleHQ=?=\r\n"));
}

TEST(LinearTime, InlineEncodeOfManyRecipients)
{
    const std::string line = "To: \xe3\x81\x82 <a@b>\r\n";
    const std::string in = repeated(line);
    EXPECT_EQ(in.size() / line.size(),
              count_pieces(encode("A: b\r\n" + in), "A: b\r\n", "To: =?utf-8?B?44GCIA==?=<a@b>\r\n"));
}

TEST(LinearTime, InlineEncodeOfOneLongLine)
{
    const std::string piece(39, '\x80');  // what a word takes behind "Subject: "
    const std::string in = repeated(piece);
    const std::string word = "=?utf-8?B?" + base64_of(piece) + "?=\r\n\t";
    EXPECT_EQ(in.size() / piece.size(),
              count_pieces(encode("A: b\r\nSubject: " + in) + "\r\n\t", "A: b\r\nSubject: ", word));
}

TEST(LinearTime, InlineEncodeOfPlainLines)
{
    const std::string in = repeated("Subject: text\r\n");
    EXPECT_TRUE(in == encode(in));
}

TEST(LinearTime, InlineDecodeOfManyWords)
{
    // The marker that is looked for first stands in no word; the last that is looked for in each.
    const std::string in = repeated("=?utf-8?q?=E3=81=82?= ");
    EXPECT_EQ(in.size() / 22, count_pieces(decode(in), "", "\xe3\x81\x82 "));
}

TEST(LinearTime, InlineDecodeOfManyUnknownWords)
{
    const std::string in = repeated("=?utf-8?X?abc?=");
    EXPECT_TRUE(in == decode(in));
}

TEST(LinearTime, InlineDecodeOfOneLongWord)
{
    const std::string in = repeated("a=41");
    EXPECT_EQ(in.size() / 4, count_pieces(decode("=?us?q?" + in + "?="), "", "aA"));
}

TEST(LinearTime, InlineDecodeOfOpeningsWithoutEnd)
{
    for (const char* const piece : {"=? ", "=?a?", "=", "?", "= ?"}) {
        const std::string in = repeated(piece) + " ";
        EXPECT_TRUE(in == decode(in)) << piece;
    }
}

TEST(LinearTime, AddressesWalkedAndReduced)
{
    const std::string piece = "\"Name, First\" <ab@example.com>, ";
    const std::string in = repeated(piece);
    const CntsMLUTLMailAddress address(in.c_str());
    CutlCPLBMString entry;
    CutlCPLBMString real;
    int position = 0;
    std::size_t count = 0;
    while (address.GetAddress(entry, position, ";,") != 0) {
        ASSERT_EQ(1, CntsMLUTLMailAddress::GetRealAddress(real, entry.GetString()));
        ASSERT_STREQ("ab@example.com", real.GetString());
        ++count;
    }
    EXPECT_EQ(in.size() / piece.size(), count);
}

TEST(LinearTime, AddressesFiltered)
{
    const std::string piece = "\"Name, First\" <ab@example.com>, ";
    const std::string in = repeated(piece);
    const char* items[] = {"example.org", "example.com"};
    EXPECT_EQ(1, ntsMLUTLCheckFilter(in.c_str(), 1, items, 2));
    CutlCPLBMString passed;
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckFilter(in.c_str(), passed, 1, items, 2));
    EXPECT_EQ(in.size() - 2, static_cast<std::size_t>(passed.GetLength()));
}

}  // namespace
}  // namespace velorin_test
