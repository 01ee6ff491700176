#include "return_codes.h"

#include "velorin_mail_service.h"

namespace velorin {
namespace {

constexpr ReturnCode kTable[] = {
#define NTC_SERVICE_ROW(constant, value, name, sentence) {value, name, sentence},
    NTC_SERVICE_RETURN_CODES(NTC_SERVICE_ROW)
#undef NTC_SERVICE_ROW
    // the library's own
    {0x21077103u, "service-call-failed", "The mail service cannot be reached, or refused the session."},
    {0x21077101u, "out-of-memory", "Memory ran out."},
    {0x2107720Fu, "invalid-argument", "An argument cannot be used."},
};

}  // namespace

const ReturnCode* find_return_code(std::uint32_t code)
{
    for (const ReturnCode& row : kTable) {
        if (row.code == code) return &row;
    }
    return nullptr;
}

namespace service {

const char* name_of_code(std::uint32_t code)
{
    if (code == 0) return "ok";
    const ReturnCode* const row = find_return_code(code);
    return row != nullptr ? row->name : "?";
}

}  // namespace service
}  // namespace velorin
