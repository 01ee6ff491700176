#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeParser.h>
#include <Poco/Net/MailMessage.h>
#include <Poco/Net/MailRecipient.h>

#include <sstream>

#include "utility_contests.h"

namespace velorin_bench {

void enter_poco(UtilityContests& contests)
{
    contests.compose.enter("Poco", [](auto keep) {
        using Poco::Net::MailMessage;
        using Poco::Net::MailRecipient;
        const MailTexts texts;
        MailMessage mail;
        mail.setSender(texts.from);
        for (const char* const reader : texts.to) {
            const std::string text = reader;
            const std::size_t open = text.find(" <");
            mail.addRecipient(MailRecipient(MailRecipient::PRIMARY_RECIPIENT,
                                            text.substr(open + 2, text.size() - open - 3),
                                            text.substr(1, open - 2)));
        }
        mail.setSubject(texts.subject);
        mail.set("Date", texts.date);
        mail.set("Message-Id", "<" + std::string(texts.message_id) + ">");
        mail.set("Mime-Version", "1.0");
        mail.setContentType("text/plain; charset=\"utf-8\"");
        mail.setContent(std::string(), MailMessage::ENCODING_8BIT);
        std::ostringstream out;
        mail.write(out);
        keep(std::string_view(out.str()));
    });
}

}  // namespace velorin_bench
