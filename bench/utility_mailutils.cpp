#include <mailutils/mailutils.h>

#include "utility_contests.h"

namespace velorin_bench {

void enter_mailutils(UtilityContests& contests, const UtilityTexts& texts)
{
    // Keeps the folds between the words, as ours does, so that they are taken out here too.
    const auto decode = [](Contest& contest, const std::string& words) {
        contest.enter("mailutils", [&words](auto keep) {
            char* decoded = nullptr;
            if (mu_rfc2047_decode("utf-8", words.c_str(), &decoded) != 0) return;
            const Text<std::free> owner(decoded);
            char* to = decoded;
            for (const char* from = decoded; *from != '\0'; ++from) {
                if (*from != '\r' && *from != '\n' && *from != '\t') *to++ = *from;
            }
            keep(std::string_view(decoded, static_cast<std::size_t>(to - decoded)));
        });
    };
    decode(contests.decode_utf8, texts.subject_utf8);
    decode(contests.decode_jis, texts.subject_jis);
    // Its first line has no room for the field's name, which gets one of its own.
    contests.encode.enter("mailutils", [&texts](auto keep) {
        char* encoded = nullptr;
        if (mu_rfc2047_encode("utf-8", "base64", texts.long_subject.c_str(), &encoded) != 0) return;
        const Text<std::free> owner(encoded);
        keep(std::string_view("Subject:\r\n " + std::string(encoded)));
    });
    contests.walk.enter("mailutils", [&texts](auto keep) {
        mu_address_t list = nullptr;
        if (mu_address_create(&list, texts.list.c_str()) != 0) return;
        std::size_t count = 0;
        mu_address_get_count(list, &count);
        for (std::size_t number = 1; number <= count; ++number) {
            const char* address = nullptr;
            if (mu_address_sget_email(list, number, &address) == 0) keep(std::string_view(address));
        }
        mu_address_destroy(&list);
    });
}

}  // namespace velorin_bench
