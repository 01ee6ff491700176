#include "CntsPOP3Boundary.h"

#include <new>

#include "ntc_email_esu_pop3_main_communicator.h"
#include "status.h"
#include "trace.h"

namespace velorin {

CntsPOP3Boundary::CntsPOP3Boundary(const CntsPOP3Settings& settings)
    : m_pCommunicator(new (std::nothrow) ntc_email_esu_pop3_main_communicator)
{
    if (m_pCommunicator == nullptr) {
        NTC_TRACE(
            "CntsPOP3Boundary::%s():[Return]:ntc_email_esu_pop3_main_communicator::get_instance() returns NULL\n",
            __func__);
        return;
    }
    std::uint32_t created = kStatusCallFailed;
    try {
        created = m_pCommunicator->call_create_instance(settings);
    } catch (...) {
        delete m_pCommunicator;
        throw;
    }
    if (created != kStatusOk) {
        NTC_TRACE(
            "CntsPOP3Boundary::%s():[Return]:ntc_email_esu_pop3_main_communicator::call_create_instance() returns 0x%x\n",
            __func__, static_cast<unsigned int>(created));
        delete m_pCommunicator;
        m_pCommunicator = nullptr;
    }
}

CntsPOP3Boundary::~CntsPOP3Boundary()
{
    if (m_pCommunicator == nullptr) return;
    std::uint32_t destroyed = kStatusCallFailed;
    try {
        destroyed = m_pCommunicator->call_destroy_instance();
    } catch (const std::bad_alloc&) {
        // No memory for the request: nothing may leave a destructor, and the service ends the session with
        // the process.
    }
    if (destroyed != kStatusOk) {
        NTC_TRACE(
            "CntsPOP3Boundary::%s():[Return]:ntc_email_esu_pop3_main_communicator::call_destroy_instance() returns 0x%x\n",
            __func__, static_cast<unsigned int>(destroyed));
        return;  // the communicator stays on purpose: the service may still hold the session under its
                 // identity
    }
    delete m_pCommunicator;
}

CntsMLUTLMailAddress& CntsPOP3Boundary::RefMailAddress()
{
    if (m_pCommunicator == nullptr) return m_cMailAddress;
    const std::uint32_t called = m_pCommunicator->call_ref_mail_address(m_cMailAddress);
    if (called != kStatusOk) {
        NTC_TRACE("<Error> CntsPOP3Boundary::%s(): call_ref_mail_address() returns [0x%08lx]\n", __func__,
                  static_cast<unsigned long>(called));
    }
    return m_cMailAddress;
}

std::uint32_t CntsPOP3Boundary::Test()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_test() : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::Connect()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_connect() : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::Close()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_close() : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::Noop()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_noop() : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::Stat(int& count)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_stat(count) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::List(CntsPOP3MailInfoList& list, int retry)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_list(list, retry) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::ListNext(CntsPOP3MailInfoList& list, CntsPOP3MailInfo& info)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_list_next(list, info) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::DeleteByUID(CntsPOP3MailInfoList& list, CntsPOP3ReceiveMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_delete_by_uid(list, mail) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::ReceiveHeader(CntsPOP3ReceiveMail& mail, int codeConv)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_receive_header(mail, codeConv)
                                      : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::ReceiveHeaderOnly(CntsPOP3ReceiveMail& mail, int codeConv)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_receive_header_only(mail, codeConv)
                                      : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::ReceiveBody(CntsPOP3ReceiveMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_receive_body(mail) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::ReceivePartHeader(CntsPOP3ReceiveMail& mail, int codeConv)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_receive_part_header(mail, codeConv)
                                      : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::ReceivePartBody(CntsPOP3ReceiveMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_receive_part_body(mail) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::SkipMail(CntsPOP3ReceiveMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_skip_mail(mail) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::SkipPart(CntsPOP3ReceiveMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_skip_part(mail) : kStatusCallFailed;
}

std::uint32_t CntsPOP3Boundary::Delete(CntsPOP3ReceiveMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_delete(mail) : kStatusCallFailed;
}

}  // namespace velorin
