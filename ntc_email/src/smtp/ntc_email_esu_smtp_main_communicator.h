#pragma once

#include <cstdint>

#include "CntsSMTPSendMail.h"
#include "CntsSMTPSettings.h"
#include "ntc_email_esu_smtp.pb.h"
#include "ntc_email_export.h"
#include "service_channel.h"

namespace velorin {

// What the SMTP channel has of its own.
struct NTC_EMAIL_API SmtpProtocol {
    using Envelope = ntc_email_esu_smtp_method;
    using MethodType = NTC_EMAIL_ESU_SMTP_METHOD;
    static constexpr char kEndpoint[] = "pcie:"
                                        "ntc_email_smtp";
    static constexpr std::uint32_t kReceiveSize =
        4096;  // octets; the device's channel gives no larger answer
    NTC_CHANNEL_TEXTS("ntc_email_esu_smtp_main_communicator")
    static constexpr char kAllocFailed[] =
        "ntc_email_esu_smtp_main_communicator::%s():emwOSWAllocMem() returns 0x%lx\n";
};

extern template class ServiceChannel<SmtpProtocol>;

// The caller's end of one SMTP session: one exchange for each operation.
//   result  the service's retcode; 0x21077103 after trace lines when a conversion or the exchange failed
class NTC_EMAIL_API ntc_email_esu_smtp_main_communicator : public ServiceChannel<SmtpProtocol> {
public:
    ntc_email_esu_smtp_main_communicator();
    ~ntc_email_esu_smtp_main_communicator() override;

    std::uint32_t call_create_instance(const CntsSMTPSettings& settings);
    std::uint32_t call_test();
    std::uint32_t call_connect();
    std::uint32_t call_send_header(CntsSMTPSendMail& mail);
    std::uint32_t call_send_body(CntsSMTPSendMail& mail);
    std::uint32_t call_send_part_header(CntsSMTPSendMail& mail);
    std::uint32_t call_send_part_body(CntsSMTPSendMail& mail);
    std::uint32_t call_close(CntsSMTPSendMail& mail);
    std::uint32_t call_abort();
    std::uint32_t call_judge_size_of_data(unsigned long size);
    std::uint32_t call_destroy_instance();
};

}  // namespace velorin
