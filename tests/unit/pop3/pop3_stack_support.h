// What the tests of a mail's boundary stack share.
#pragma once

#include <string>
#include <vector>

#include "CntsPOP3ReceiveMail.h"

#include "mlutl_support.h"

namespace velorin_test {

constexpr const char* kUpFailed =
    "<Error> CntsPOP3ReceiveMail::UpBoundaryLevel():[Return FALSE]NULL pointer\n";
constexpr const char* kDownEmpty =
    "<Error> CntsPOP3ReceiveMail::DownBoundaryLevel():[Return FALSE]NULL pointer\n";
constexpr const char* kDownNoVector =
    "<Error> CntsPOP3ReceiveMail::DownBoundaryLevel():m_cBoundaryString is NULL\n";

inline std::vector<std::string> stack_of(const velorin::CntsPOP3ReceiveMail& mail)
{
    std::vector<std::string> texts;
    if (mail.m_cBoundaryString == nullptr) return {"no vector"};
    for (long index = 0; index < mail.m_cBoundaryString->GetCount(); ++index) {
        const void* const slot = mail.m_cBoundaryString->GetAt(index);
        texts.push_back(slot == nullptr ? "null" : text_of(*static_cast<const CutlCPLBMString*>(slot)));
    }
    return texts;
}

inline std::string innermost(velorin::CntsPOP3ReceiveMail& mail)
{
    const CutlCPLBMString* const text = mail.GetBoundaryString();
    return text == nullptr ? "none" : text_of(*text);
}

}  // namespace velorin_test
