#include "mail_envelope.h"

#include <unordered_set>

#include "CntsMLUTLMailAddress.h"
#include "CntsSMTPSendMail.h"

#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::size_t kMaxAddress = 254;
constexpr char kSeparators[] = ";,";

std::string text_of(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr ? std::string(text.GetString()) : std::string();
}

bool has_text(const CntsMLUTLMailAddress& address)
{
    const char* const text = address.m_cAddress.GetString();
    return text != nullptr && *text != '\0';
}

std::string bare(const char* entry)
{
    CutlCPLBMString out;
    return CntsMLUTLMailAddress::GetRealAddress(out, entry) != 0 ? text_of(out) : std::string();
}

std::vector<std::string> entries_of(const CntsMLUTLMailAddress& list, std::size_t limit)
{
    std::vector<std::string> entries;
    if (!has_text(list)) return entries;
    CutlCPLBMString entry;
    int position = 0;
    while (entries.size() <= limit && list.GetAddress(entry, position, kSeparators) != 0) {
        entries.push_back(text_of(entry));
    }
    return entries;
}

// The sender is one address. A display name with a comma and no quotes makes several entries of it: the first
// that holds an "@" counts.
std::string sender_of(const CntsMLUTLMailAddress& field)
{
    if (!has_text(field)) return {};
    std::string first;
    for (const std::string& entry : entries_of(field, 16)) {
        std::string address = bare(entry.c_str());
        if (address.find('@') != std::string::npos) return address;
        if (first.empty()) first = address;
    }
    return first;
}

// What two spellings of one recipient have in common.
std::string key_of(const std::string& address)
{
    std::string key = address;
    const std::size_t at = key.rfind('@');
    for (std::size_t index = at == std::string::npos ? key.size() : at; index < key.size(); ++index) {
        if (key[index] >= 'A' && key[index] <= 'Z') key[index] = static_cast<char>(key[index] - 'A' + 'a');
    }
    return key;
}

}  // namespace

bool is_usable_address(const std::string& address)
{
    if (address.empty() || address.size() > kMaxAddress) return false;
    // Nobody's, or nowhere. The library takes a local part in quotes without angle brackets around the address for a
    // display name.
    if (address.front() == '@' || address.back() == '@') return false;
    bool quoted = false;
    for (std::size_t index = 0; index < address.size(); ++index) {
        const char octet = address[index];
        if (octet < 0x20 || octet > 0x7E || octet == '<' || octet == '>') return false;
        if (octet == ' ' && !quoted) return false;
        if (octet == '\\' && quoted) {
            if (++index == address.size() || address[index] < 0x20 || address[index] > 0x7E) return false;
        } else if (octet == '"') {
            quoted = !quoted;
        }
    }
    return !quoted;
}

std::uint32_t read_envelope(const CntsSMTPSendMail& mail, std::size_t max_recipients, MailEnvelope& envelope)
{
    envelope.sender = sender_of(has_text(mail.m_cSender) ? mail.m_cSender : mail.m_cFrom);
    if (!is_usable_address(envelope.sender)) return kBadAddress;
    std::unordered_set<std::string> known;
    std::size_t count = 0;
    for (const CntsMLUTLMailAddress* const list : {&mail.m_cTo, &mail.m_cCc, &mail.m_cBcc}) {
        for (const std::string& entry : entries_of(*list, max_recipients)) {
            if (++count > max_recipients) return kLimitReached;
            std::string address = bare(entry.c_str());
            if (!is_usable_address(address)) return kBadAddress;
            if (known.insert(key_of(address)).second) envelope.recipients.push_back(std::move(address));
        }
    }
    // Nobody is sent to by these, but the header's composer keeps every entry.
    for (const CntsMLUTLMailAddress* const list : {&mail.m_cReplyTo, &mail.m_cSender, &mail.m_cMdnAddress}) {
        if (entries_of(*list, max_recipients).size() > max_recipients) return kLimitReached;
    }
    return 0;
}

}  // namespace velorin::service
