#include "data_encoder.h"

#include <algorithm>
#include <cstring>

namespace velorin::service {
namespace {

constexpr char kLineEnd[] = {'\r', '\n'};

const char* find(const char* from, const char* end, char octet)
{
    const void* const found =
        from == end ? nullptr : std::memchr(from, octet, static_cast<std::size_t>(end - from));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

constexpr std::size_t kBlock = 2048;  // octets that are looked at together

// Whether the octets behind the first one need no change as far as they can be told by the octet before each:
// every CR has its LF, every LF its CR, and no dot begins a line. Without a branch, so that the compiler
// looks at many octets at once; searching line end by line end takes several times as long.
bool is_clean(const char* octets)
{
    const unsigned char* const at = reinterpret_cast<const unsigned char*>(octets);
    unsigned char bad = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
        const auto cr = static_cast<unsigned char>(at[i] == '\r');
        const auto lf = static_cast<unsigned char>(at[i] == '\n');
        const auto next_lf = static_cast<unsigned char>(at[i + 1] == '\n');
        const auto next_dot = static_cast<unsigned char>(at[i + 1] == '.');
        bad = static_cast<unsigned char>(bad | (cr ^ next_lf) | (lf & next_dot));
    }
    return bad == 0;
}

// How many octets need no change, found block by block; what comes behind them has to be looked at closely.
//   in      from: an octet that needs no change itself
std::size_t clean_octets(const char* from, const char* end)
{
    const char* at = from;
    while (static_cast<std::size_t>(end - at) > kBlock && is_clean(at))
        at += kBlock;
    // A CR stays with its LF.
    return static_cast<std::size_t>(at - from) - (at != from && at[-1] == '\r' ? 1 : 0);
}

}  // namespace

void DataEncoder::begin()
{
    at_line_start_ = true;
    pending_cr_ = false;
}

std::uint32_t DataEncoder::feed(const char* octets, std::size_t count)
{
    if (count == 0) return 0;
    const char* at = octets;
    const char* const end = octets + count;
    if (pending_cr_) {
        if (const std::uint32_t code = sink_.write(kLineEnd, sizeof kLineEnd)) return code;
        pending_cr_ = false;
        at_line_start_ = true;
        if (*at == '\n') ++at;
    }

    const char* run = at;  // start of what goes out as it stands
    const auto flush = [&](const char* until) -> std::uint32_t {
        return until == run ? 0u : sink_.write(run, static_cast<std::size_t>(until - run));
    };
    // The next LF is kept while many a CR before it stands alone, so that no octet is looked at more than
    // twice.
    const char* lf = nullptr;
    const char* looked_at = at;  // up to here block by block, in vain
    while (at != end) {
        const bool may_be_clean = *at != '\n' && (*at != '.' || !at_line_start_);
        if (at >= looked_at && may_be_clean) {
            if (const std::size_t clean = clean_octets(at, end)) {
                at += clean;
                at_line_start_ = at[-1] == '\n';
            }
            looked_at = at + std::min(kBlock, static_cast<std::size_t>(end - at));
        }
        if (at_line_start_ && *at == '.') {
            if (const std::uint32_t code = flush(at)) return code;
            if (const std::uint32_t code = sink_.write(".", 1)) return code;
            run = at;
        }
        at_line_start_ = false;
        if (lf == nullptr || lf < at) lf = find(at, end, '\n');
        const char* const cr = find(at, lf, '\r');
        if (cr != lf && cr + 1 == lf && lf != end) {  // a whole CR LF
            at = lf + 1;
            at_line_start_ = true;
            continue;
        }
        if (cr == end) {  // no line end in the rest
            at = end;
            continue;
        }
        if (const std::uint32_t code = flush(cr))
            return code;  // cr is the LF itself when no CR stands before it
        if (*cr == '\r' && cr + 1 == end) {
            pending_cr_ = true;
            return 0;
        }
        if (const std::uint32_t code = sink_.write(kLineEnd, sizeof kLineEnd)) return code;
        at = cr + 1;
        run = at;
        at_line_start_ = true;
    }
    return flush(end);
}

std::uint32_t DataEncoder::finish()
{
    if (at_line_start_ && !pending_cr_) return 0;
    if (const std::uint32_t code = sink_.write(kLineEnd, sizeof kLineEnd)) return code;
    pending_cr_ = false;
    at_line_start_ = true;
    return 0;
}

}  // namespace velorin::service
