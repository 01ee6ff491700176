// AdjustMultiByteCode as the tests of both character set families call it.
#pragma once

#include <ostream>
#include <string_view>

#include "CntsMLUTLMailPart.h"
#include "mlutl_support.h"

namespace velorin_test {

enum class Use {
    any_text,    // not the part's body
    piece,       // of the part's body, more follow
    last_piece,  // of the part's body
};

inline constexpr Use kUses[] = {Use::any_text, Use::piece, Use::last_piece};

struct Cut {
    long at;
    int mode;
};

inline bool operator==(const Cut& a, const Cut& b)
{
    return a.at == b.at && a.mode == b.mode;
}

inline std::ostream& operator<<(std::ostream& out, const Cut& cut)
{
    return out << "cut at " << cut.at << ", mode " << cut.mode;
}

inline Cut cut_in_part(int charset, int content, std::string_view text, long wanted, Use use)
{
    velorin::CntsMLUTLMailPart part;
    part.m_eCharSet = static_cast<velorin::CntsMLUTLMailType::eCharSet>(charset);
    part.m_eContentType = static_cast<velorin::CntsMLUTLMailType::eContentType>(content);
    part.m_bIsTerminate = use == Use::last_piece ? 1 : 0;
    const ExactText exact(text);
    Cut cut{wanted, -1};
    cut.mode = part.AdjustMultiByteCode(exact.data(), cut.at, use == Use::any_text ? 0 : 1);
    return cut;
}

}  // namespace velorin_test
