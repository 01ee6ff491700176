#pragma once

#include "CntsMLUTLMailAddress.h"
#include "CntsMLUTLMailPart.h"
#include "ntc_email_esu_mlutl.pb.h"
#include "ntc_email_export.h"

namespace velorin {

// Converters between the mail utilities' classes and their wire messages. Always 0: what memory forbids is
// traced by the part and left out.
class NTC_EMAIL_API ntc_email_esu_mlutl_helper {
public:
    // A null address leaves the field unset, an unset field leaves the address as it was.
    static int convert_mlutl_mail_address(const ntc_email_esu_mlutl_mail_address& message,
                                          CntsMLUTLMailAddress& address);
    static int convert_mlutl_mail_address(const CntsMLUTLMailAddress& address,
                                          ntc_email_esu_mlutl_mail_address& message);

    // Only fields that are present change the part; body octets are appended to its queue. A length that
    // exceeds the octets is taken for what is really there.
    static int convert_mlutl_mail_part(const ntc_email_esu_mlutl_mail_part& message, CntsMLUTLMailPart& part);
    // The part keeps its queue. The Internet-fax marker never travels this way.
    static int convert_mlutl_mail_part(const CntsMLUTLMailPart& part, ntc_email_esu_mlutl_mail_part& message);
};

}  // namespace velorin
