#include "CntsSMTPBoundary.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "CutlCPLBOSBoundary.h"

#include "ntc_email_esu_smtp_main_communicator.h"
#include "status.h"
#include "trace.h"

namespace velorin {

namespace {

constexpr long kBase64Group = 3;  // octets that base64 encodes together

// Octets held back in front of a chunk, moved into a block of their own with the chunk behind them.
//   in      held: 1 or 2, the octets of carry; bad_length_case: what the trace calls a negative length here
//   out     as AdjustBuffLenM3
std::uint32_t join_carry(void*& buffer, long& length, long& held, char* carry, const char* method)
{
    // A negative length is refused, but the buffer is replaced all the same: a block for what was held back.
    const std::size_t data_length = length > 0 ? static_cast<std::size_t>(length) : 0;
    const std::size_t count = static_cast<std::size_t>(held);
    char* const block = static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(data_length + count + 1));
    if (block == nullptr) {
        NTC_TRACE("CntsSMTPBoundary::%s():AllocError[Error]\n", method);
        return kStatusNoMemory;
    }
    std::memcpy(block, carry, count);
    std::uint32_t status = kStatusOk;
    if (length < 0) {
        if (held == 1) {
            NTC_TRACE("CntsSMTPBoundary::%s():case 7 <- NG[Error]\n", method);
        } else {
            NTC_TRACE("CntsSMTPBoundary::%s():case 11 <- NG[Error]\n", method);
        }
        status = kStatusInvalidArgument;
    } else {
        const std::size_t total = count + data_length;
        const std::size_t kept_back = total % static_cast<std::size_t>(kBase64Group);
        std::memcpy(block + count, buffer, data_length);
        std::memcpy(carry, block + total - kept_back, kept_back);
        if (total != kept_back) block[total - kept_back] = '\0';  // a block that holds no data stays as it is
        length = static_cast<long>(total - kept_back);
        held = static_cast<long>(kept_back);
    }
    CutlCPLBOSBoundary::MemFree(buffer);
    buffer = block;
    return status;
}

}  // namespace

CntsSMTPBoundary::CntsSMTPBoundary(const CntsSMTPSettings& settings)
    : m_pCommunicator(new (std::nothrow) ntc_email_esu_smtp_main_communicator)
{
    if (m_pCommunicator == nullptr) {
        NTC_TRACE(
            "CntsSMTPBoundary::%s():[Return]:ntc_email_esu_smtp_main_communicator constructor() returns NULL\n",
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
            "CntsSMTPBoundary::%s():[Return]:ntc_email_esu_smtp_main_communicator::call_create_instance() returns 0x%x\n",
            __func__, static_cast<unsigned int>(created));
        delete m_pCommunicator;
        m_pCommunicator = nullptr;
    }
}

CntsSMTPBoundary::~CntsSMTPBoundary()
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
            "CntsSMTPBoundary::%s():[Return]:ntc_email_esu_smtp_main_communicator::call_destroy_instance() returns 0x%x\n",
            __func__, static_cast<unsigned int>(destroyed));
    }
    delete m_pCommunicator;
}

std::uint32_t CntsSMTPBoundary::Connect()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_connect() : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::Test()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_test() : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::Abort()
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_abort() : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::JudgeSizeofData(unsigned long size)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_judge_size_of_data(size) : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::SendHeader(CntsSMTPSendMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_send_header(mail) : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::SendBody(CntsSMTPSendMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_send_body(mail) : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::SendPartHeader(CntsSMTPSendMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_send_part_header(mail) : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::SendPartBody(CntsSMTPSendMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_send_part_body(mail) : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::Close(CntsSMTPSendMail& mail)
{
    return m_pCommunicator != nullptr ? m_pCommunicator->call_close(mail) : kStatusCallFailed;
}

std::uint32_t CntsSMTPBoundary::AdjustBuffLenM3(void*& buffer, long& length, long& carryCount, char* carry)
{
    if (length == 0) return kStatusOk;
    if (carryCount == 0) {
        const long kept_back = length % kBase64Group;
        if (length < 0 && kept_back != 0) {
            NTC_TRACE("CntsSMTPBoundary::%s():case 3 <- NG[Error]\n", __func__);
            return kStatusInvalidArgument;
        }
        if (kept_back > 0) {  // the octets stay where they are, behind the shortened data
            length -= kept_back;
            std::memcpy(carry, static_cast<const char*>(buffer) + length,
                        static_cast<std::size_t>(kept_back));
            carryCount = kept_back;
        }
        return kStatusOk;
    }
    if (carryCount == 1 || carryCount == 2) return join_carry(buffer, length, carryCount, carry, __func__);
    NTC_TRACE("CntsSMTPBoundary::%s():ModLen is invalid[Error]\n", __func__);
    return kStatusInvalidArgument;
}

}  // namespace velorin
