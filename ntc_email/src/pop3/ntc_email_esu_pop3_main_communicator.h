#pragma once

#include <cstdint>

#include "CntsMLUTLMailAddress.h"
#include "CntsPOP3MailInfo.h"
#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"
#include "CntsPOP3Settings.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_export.h"
#include "service_channel.h"

namespace velorin {

// What the POP3 channel has of its own.
struct NTC_EMAIL_API Pop3Protocol {
    using Envelope = ntc_email_esu_pop3_method;
    using MethodType = NTC_EMAIL_ESU_POP3_METHOD;
    static constexpr char kEndpoint[] = "pcie:"
                                        "ntc_email_pop3";
    static constexpr std::uint32_t kReceiveSize =
        8192;  // octets; the device's channel gives no larger answer
    NTC_CHANNEL_TEXTS("ntc_email_esu_pop3_main_communicator")
    static constexpr char kAllocFailed[] =
        "ntc_email_esu_pop3_main_communicator::%s():emwOSWAllocMem returns 0x%lx\n";
};

extern template class ServiceChannel<Pop3Protocol>;

// The caller's end of one POP3 session: one exchange for each operation.
//   result  the service's retcode; 0x21077103 after trace lines when a conversion or the exchange failed
class NTC_EMAIL_API ntc_email_esu_pop3_main_communicator : public ServiceChannel<Pop3Protocol> {
public:
    ntc_email_esu_pop3_main_communicator();
    ~ntc_email_esu_pop3_main_communicator() override;

    std::uint32_t call_create_instance(const CntsPOP3Settings& settings);
    std::uint32_t call_test();
    std::uint32_t call_connect();
    std::uint32_t call_stat(int& count);  // count is overwritten whenever the exchange succeeded
    std::uint32_t call_list(CntsPOP3MailInfoList& list, int retry);
    std::uint32_t call_list_next(CntsPOP3MailInfoList& list, CntsPOP3MailInfo& info);
    std::uint32_t call_receive_header(CntsPOP3ReceiveMail& mail, int code_conv);
    std::uint32_t call_receive_body(CntsPOP3ReceiveMail& mail);
    std::uint32_t call_receive_part_header(CntsPOP3ReceiveMail& mail, int code_conv);
    std::uint32_t call_receive_part_body(CntsPOP3ReceiveMail& mail);
    std::uint32_t call_skip_mail(CntsPOP3ReceiveMail& mail);
    std::uint32_t call_skip_part(CntsPOP3ReceiveMail& mail);
    std::uint32_t call_delete(CntsPOP3ReceiveMail& mail);
    std::uint32_t call_close();
    std::uint32_t call_ref_mail_address(CntsMLUTLMailAddress& address);  // 0 when the exchange succeeded
    std::uint32_t call_noop();
    std::uint32_t call_delete_by_uid(CntsPOP3MailInfoList& list, CntsPOP3ReceiveMail& mail);
    std::uint32_t call_receive_header_only(CntsPOP3ReceiveMail& mail, int code_conv);
    std::uint32_t call_destroy_instance();  // 0 for any answer to a destroy
};

}  // namespace velorin
