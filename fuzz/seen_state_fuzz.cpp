// The list of fetched mails that the command line keeps.
//   input   texts, separated by line feeds: of an account and of mails; then the whole as the file
#include <string>

#include "fuzz_input.h"
#include "fuzz_property.h"
#include "seen_state.h"

namespace {

using namespace velorin::cli;
using namespace velorin_fuzz;

using Mails = std::map<std::string, SeenMail>;

bool same(const Mails& one, const Mails& other)
{
    return one.size() == other.size() &&
           std::equal(one.begin(), one.end(), other.begin(), [](const auto& left, const auto& right) {
               const SeenMail& a = left.second;
               const SeenMail& b = right.second;
               return left.first == right.first && a.place == b.place && a.fate == b.fate &&
                      a.seen == b.seen && a.path == b.path && a.temporary == b.temporary;
           });
}

void check(const Mails& mails)
{
    for (const auto& [key, mail] : mails) {
        require(!key.empty() && !mail.path.empty(), "a mail has a name and a place");
        require(mail.temporary.empty() == (mail.place == SeenMail::Place::kFetched),
                "a mail that is not yet in its place is in another");
    }
}

// A damaged file changes nothing, a sound one is that of its mails.
void read(const std::string& text)
{
    std::string account = "before";
    Mails mails = {{"before", {}}};
    if (!read_seen(text, account, mails)) {
        require(account == "before" && mails.size() == 1, "a damaged file sets nothing");
        return;
    }
    check(mails);
    std::string account_again;
    Mails mails_again;
    require(read_seen(write_seen(account, mails), account_again, mails_again),
            "what was read can be written");
    require(account_again == account && same(mails, mails_again), "and says the same");
}

// The file with the sum that its lines have, so that what stands in them is looked at.
std::string summed(const std::string& lines)
{
    std::uint64_t sum = 14695981039346656037u;
    for (const char c : lines)
        sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
    std::string digits(16, '0');
    for (std::size_t at = 16; at-- > 0; sum >>= 4)
        digits[at] = "0123456789abcdef"[sum & 15];
    return lines + "end " + digits + "\n";
}

Mails mails_of(Input& input)
{
    Mails mails;
    while (!input.is_at_end()) {
        SeenMail mail;
        mail.place = input.below(2) == 0 ? SeenMail::Place::kPending : SeenMail::Place::kFetched;
        mail.fate = static_cast<SeenMail::Fate>(input.below(3));
        mail.seen = input.number(-30000, 30000) * std::int64_t{100003};
        const std::string key = input.line();
        mail.path = "/" + input.line();
        if (mail.place == SeenMail::Place::kPending) mail.temporary = "/t" + input.line();
        if (!key.empty()) mails[key] = mail;
    }
    return mails;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    const std::string text = Input(octets, size).rest();
    read(text);
    read(summed(text));

    Input input(octets, size);
    const std::string account = input.line();
    const Mails mails = mails_of(input);
    const std::string file = write_seen(account, mails);
    std::string read_account;
    Mails read_mails;
    require(read_seen(file, read_account, read_mails), "what is written can be read");
    require(read_account == account && same(mails, read_mails), "and says the same");
    // Any octet that is changed is noticed.
    std::string damaged = file;
    char& octet = damaged[size * 31 % damaged.size()];
    octet = static_cast<char>(octet ^ 1);
    require(!read_seen(damaged, read_account, read_mails), "a damaged file is noticed");
    require(!read_seen(file.substr(0, file.size() - 1), read_account, read_mails), "a cut file is noticed");
    return 0;
}
