// The base64 transfer encoding.
#include "CntsMLUTLMimeUtility.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

#include "CutlCPLBOSBoundary.h"

#include "CntsMLUTLMailException.h"
#include "heap_block.h"
#include "trace.h"

namespace velorin {

const char* const CntsMLUTLMimeUtility::pszBase64Seed =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

namespace {

// Numbers in the trace lines that support staff know the places by.
constexpr int kFromB64AllocateLine = 122;
constexpr int kFromB64ShrinkLine = 161;

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two base64 characters for every 12 bits: half the look-ups of one for every 6.
struct PairTable {
    char pair[4096][2];
};

constexpr PairTable make_pair_table()
{
    PairTable table{};
    for (unsigned i = 0; i < 4096; ++i) {
        table.pair[i][0] = kAlphabet[i >> 6];
        table.pair[i][1] = kAlphabet[i & 0x3F];
    }
    return table;
}

constexpr PairTable kPairs = make_pair_table();

constexpr std::uint8_t kNotInAlphabet = 0xFF;

struct IndexTable {
    std::uint8_t index[256];
};

constexpr IndexTable make_index_table()
{
    IndexTable table{};
    for (std::uint8_t& entry : table.index) {
        entry = kNotInAlphabet;
    }
    for (std::uint8_t i = 0; i < 64; ++i) {
        table.index[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
    table.index[0] = 64;  // the alphabet's terminator is found like a character of it
    return table;
}

constexpr IndexTable kIndexes = make_index_table();

// A sextet at each of the four places of its group, as the three octets stand in memory, and a fourth that tells what
// is no sextet. The four entries of a group need but be united, in whatever order the machine has its octets.
struct PlaceTable {
    std::uint8_t place[4][256][4];
};

constexpr std::uint8_t kNoSextet[4] = {0, 0, 0, 0xFF};

constexpr PlaceTable make_place_table()
{
    PlaceTable table{};
    for (unsigned octet = 0; octet < 256; ++octet) {
        const std::uint32_t sextet = kIndexes.index[octet] & 0x3Fu;
        const bool counts = kIndexes.index[octet] != kNotInAlphabet;
        for (unsigned at = 0; at < 4; ++at) {
            const std::uint32_t group = sextet << (18 - 6 * at);
            for (unsigned i = 0; i < 4; ++i) {
                const std::uint32_t own = i < 3 ? group >> (16 - 8 * i) & 0xFFu : 0;
                table.place[at][octet][i] = counts ? static_cast<std::uint8_t>(own) : kNoSextet[i];
            }
        }
    }
    return table;
}

constexpr PlaceTable kPlaces = make_place_table();

std::uint32_t load_four(const std::uint8_t* octets)
{
    std::uint32_t number;
    std::memcpy(&number, octets, sizeof number);
    return number;
}

// Eight octets as one number, the first the highest. Written out, compilers make one load of it.
std::uint64_t load_eight(const unsigned char* from)
{
    return std::uint64_t{from[0]} << 56 | std::uint64_t{from[1]} << 48 | std::uint64_t{from[2]} << 40 |
           std::uint64_t{from[3]} << 32 | std::uint64_t{from[4]} << 24 | std::uint64_t{from[5]} << 16 |
           std::uint64_t{from[6]} << 8 | std::uint64_t{from[7]};
}

// Encodes two groups of three octets; two octets more are looked at.
inline void encode_two_groups(const unsigned char* from, char* to)
{
    const std::uint64_t sextets = load_eight(from) >> 16;
    std::memcpy(to, kPairs.pair[sextets >> 36], 2);
    std::memcpy(to + 2, kPairs.pair[sextets >> 24 & 0xFFF], 2);
    std::memcpy(to + 4, kPairs.pair[sextets >> 12 & 0xFFF], 2);
    std::memcpy(to + 6, kPairs.pair[sextets & 0xFFF], 2);
}

constexpr long kStride = 4;  // groups

// Encodes groups by whole strides: up to kStride - 1 groups too many, and two octets more are looked at.
void encode_strides(const unsigned char* from, long groups, char* to)
{
    for (; groups > 0; groups -= kStride, from += 12, to += 16) {
        encode_two_groups(from, to);
        encode_two_groups(from + 6, to + 8);
    }
}

// Encodes `groups` groups of three octets.
char* encode_groups(const unsigned char*& octets, long groups, char* to)
{
    const long before = groups > 0 ? (groups - 1) / kStride * kStride : 0;  // leaves a group to look at
    encode_strides(octets, before, to);
    const unsigned char* from = octets + 3 * before;
    to += 4 * before;
    octets += 3 * groups;
    for (groups -= before; groups > 0; --groups, from += 3, to += 4) {
        const unsigned high = (static_cast<unsigned>(from[0]) << 4) | (from[1] >> 4);
        const unsigned low = ((from[1] & 0x0Fu) << 8) | from[2];
        std::memcpy(to, kPairs.pair[high], 2);
        std::memcpy(to + 2, kPairs.pair[low], 2);
    }
    return to;
}

// Encodes the last one or two octets with their padding.
char* encode_rest(const unsigned char* from, long rest, char* to)
{
    const unsigned char second = rest > 1 ? from[1] : 0;
    const unsigned high = (static_cast<unsigned>(from[0]) << 4) | (second >> 4);
    std::memcpy(to, kPairs.pair[high], 2);
    to[2] = rest > 1 ? kAlphabet[(second & 0x0Fu) << 2] : '=';
    to[3] = '=';
    return to + 4;
}

// The octets of four characters as they stand in memory, and what is set of kNoSextet when not all count.
std::uint32_t group_of(const unsigned char* from)
{
    return load_four(kPlaces.place[0][from[0]]) | load_four(kPlaces.place[1][from[1]]) |
           load_four(kPlaces.place[2][from[2]]) | load_four(kPlaces.place[3][from[3]]);
}

// Known when it is compiled.
bool is_low_octet_first()
{
    const std::uint16_t number = 1;
    std::uint8_t first;
    std::memcpy(&first, &number, sizeof first);
    return first == 1;
}

// Three octets each of two groups one behind the other, and two more, as they stand in memory: who reads them next
// has to wait less for one wide store than for several narrow ones.
std::uint64_t joined(std::uint32_t first, std::uint32_t second)
{
    return is_low_octet_first() ? first | std::uint64_t{second} << 24
                                : std::uint64_t{first} << 32 | std::uint64_t{second} << 8;
}

bool is_group(std::uint32_t group)
{
    return (group & load_four(kNoSextet)) == 0;
}

// Decodes whole groups of four characters and steps over line ends between them, up to the first group with something
// else in it.
//   in      octets: room for as many as there are characters; two behind the result's may be written
void decode_groups(const unsigned char*& text, const unsigned char* end, char*& octets)
{
    const unsigned char* from = text;  // copies: what is written might otherwise be the pointers themselves
    char* to = octets;
    for (;;) {
        for (; end - from >= 8; from += 8, to += 6) {
            const std::uint32_t first = group_of(from);
            const std::uint32_t second = group_of(from + 4);
            if (!is_group(first | second)) break;
            const std::uint64_t both = joined(first, second);
            std::memcpy(to, &both, sizeof both);
        }
        if (end - from < 4) break;
        const std::uint32_t group = group_of(from);
        if (is_group(group)) {
            std::memcpy(to, &group, sizeof group);
            from += 4;
            to += 3;
        }
        const unsigned char* const line_end = from;
        while (from != end && (*from == '\r' || *from == '\n')) {
            ++from;
        }
        if (from == line_end) break;
    }
    text = from;
    octets = to;
}

// Length of the base64 text with its line ends, -1 when there is none: an empty input with line ends, or too
// much.
long base64_length(long length, long line)
{
    if (length < 0 || length / 3 > (LONG_MAX - 8) / 6) return -1;
    long encoded = length / 3 * 4 + (length % 3 != 0 ? 4 : 0);
    if (line >= 1) encoded += 2 * (encoded / line - (encoded % line == 0 ? 1 : 0));
    return encoded < 0 ? -1 : encoded;
}

}  // namespace

int CntsMLUTLMimeUtility::ToB64(const void* in, long len, char*& out, long& outLen, int lineLen)
{
    out = nullptr;
    outLen = 0;
    HeapBlock encoded;
    try {
        const long line = lineLen / 4 * 4L;
        const long total = base64_length(len, line);
        const std::size_t size = grown_size(total, 0);
        encoded.data = size != 0 ? static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(size)) : nullptr;
        if (encoded.data == nullptr) {
            NTC_TRACE("<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n");
            return 0;
        }
        const unsigned char* from = static_cast<const unsigned char*>(in);
        char* to = encoded.data;
        const long line_groups = line >= 4 ? line / 4 : LONG_MAX;
        long groups = len / 3;
        const long rest = len % 3;
        // What is too many of a line lies within the next one and is replaced by it.
        for (; groups - kStride > line_groups; groups -= line_groups) {
            encode_strides(from, line_groups, to);
            from += 3 * line_groups;
            to += 4 * line_groups;
            *to++ = '\r';
            *to++ = '\n';
        }
        while (groups > line_groups || (groups == line_groups && rest != 0)) {
            to = encode_groups(from, line_groups, to);
            groups -= line_groups;
            *to++ = '\r';
            *to++ = '\n';
        }
        to = encode_groups(from, groups, to);
        if (rest != 0) to = encode_rest(from, rest, to);
        *to = '\0';
        encoded.length = total;
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::ToB64() %s\n", failure->m_pszText);
        return 0;
    }
    encoded.take(out, outLen);
    return 1;
}

unsigned char CntsMLUTLMimeUtility::Base64Seed2Index(char c)
{
    return kIndexes.index[static_cast<unsigned char>(c)];
}

int CntsMLUTLMimeUtility::FromB64(const char* in, long len, void*& out, long& outLen)
{
    out = nullptr;
    outLen = 0;
    HeapBlock decoded;
    try {
        if (!allocate_room(decoded, len)) {
            NTC_TRACE("<Error> : CntsMLUTLMimeUtility::FromB64() failed to allocate memory: Line%d\n",
                      kFromB64AllocateLine);
            return 0;
        }
        char* to = decoded.data;
        std::uint32_t group = 0;
        int sextets = 0;
        const auto* from = reinterpret_cast<const unsigned char*>(in);
        const unsigned char* const end = from + len;
        for (;;) {
            if (sextets == 0) decode_groups(from, end, to);
            if (from == end) break;
            const std::uint8_t value = kIndexes.index[*from++];
            if (value == kNotInAlphabet) continue;  // line ends and padding among them
            group = (group << 6) | (value & 0x3Fu);
            if (++sextets == 4) {
                *to++ = static_cast<char>((group >> 16) & 0xFF);
                *to++ = static_cast<char>((group >> 8) & 0xFF);
                *to++ = static_cast<char>(group & 0xFF);
                group = 0;
                sextets = 0;
            }
        }
        if (sextets > 1) {
            group <<= 6 * (4 - sextets);
            *to++ = static_cast<char>((group >> 16) & 0xFF);
            if (sextets > 2) *to++ = static_cast<char>((group >> 8) & 0xFF);
        }
        decoded.length = static_cast<long>(to - decoded.data);
        *to = '\0';
        if (!shrink(decoded)) {
            NTC_TRACE("<Error> : CntsMLUTLMimeUtility::FromB64() failed to reallocate memory[NG]: Line%d\n",
                      kFromB64ShrinkLine);
            return 0;
        }
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::FromB64() %s\n", failure->m_pszText);
        return 0;
    }
    decoded.take(out, outLen);
    return 1;
}

int CntsMLUTLMimeUtility::ReallocationBuffer(char*& buf, long& len, const void* add, long addLen)
{
    if (!append_exactly(buf, len, add, addLen)) {
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n");
        return 0;
    }
    return 1;
}

}  // namespace velorin
