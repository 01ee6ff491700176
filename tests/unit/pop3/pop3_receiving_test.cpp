// The steps of receiving a mail: each carries the whole mail, and brings it back updated.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pop3_mail_support.h"
#include "pop3_service.h"

using velorin::CntsPOP3Boundary;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::empty_mail;
using velorin_test::fail_exchange;
using velorin_test::fill;
using velorin_test::filled_mail;
using velorin_test::hex_of;
using velorin_test::kCallFailed;
using velorin_test::octets_of;
using velorin_test::Pop3Method;
using velorin_test::queued;
using velorin_test::request_of;
using velorin_test::text_of;

namespace {

struct Step {
    const char* name;
    const char* call_name;
    Pop3Method method;
    bool has_code_conv;
    std::function<std::uint32_t(CntsPOP3Boundary&, CntsPOP3ReceiveMail&, int)> call;
};

using Plain = std::uint32_t (CntsPOP3Boundary::*)(CntsPOP3ReceiveMail&);

std::function<std::uint32_t(CntsPOP3Boundary&, CntsPOP3ReceiveMail&, int)> plain(Plain call)
{
    return
        [call](CntsPOP3Boundary& session, CntsPOP3ReceiveMail& mail, int) { return (session.*call)(mail); };
}

const Step kSteps[] = {
    {"ReceiveHeader", "call_receive_header", velorin_test::kReceiveHeader, true,
     std::mem_fn(&CntsPOP3Boundary::ReceiveHeader)},
    {"ReceiveBody", "call_receive_body", velorin_test::kReceiveBody, false,
     plain(&CntsPOP3Boundary::ReceiveBody)},
    {"ReceivePartHeader", "call_receive_part_header", velorin_test::kReceivePartHeader, true,
     std::mem_fn(&CntsPOP3Boundary::ReceivePartHeader)},
    {"ReceivePartBody", "call_receive_part_body", velorin_test::kReceivePartBody, false,
     plain(&CntsPOP3Boundary::ReceivePartBody)},
    {"SkipMail", "call_skip_mail", velorin_test::kSkipMail, false, plain(&CntsPOP3Boundary::SkipMail)},
    {"SkipPart", "call_skip_part", velorin_test::kSkipPart, false, plain(&CntsPOP3Boundary::SkipPart)},
    {"Delete", "call_delete", velorin_test::kDelete, false, plain(&CntsPOP3Boundary::Delete)},
    {"ReceiveHeaderOnly", "call_receive_header_only", velorin_test::kReceiveHeaderOnly, true,
     std::mem_fn(&CntsPOP3Boundary::ReceiveHeaderOnly)},
};

std::string request_of_step(const Step& step, std::uint32_t number, const std::string& mail, bool code_conv)
{
    std::string rest = delimited("12", mail);
    if (step.has_code_conv) rest += octets_of(code_conv ? "18 01" : "18 00");
    return request_of(step.method, number, rest);
}

class Pop3SessionReceiving : public velorin_test::Pop3Session {
protected:
    CntsPOP3ReceiveMail empty{CntsPOP3MailInfo()};
    CntsPOP3ReceiveMail mail{CntsPOP3MailInfo(300, "uid", 70000, 1)};
};

}  // namespace

TEST_F(Pop3SessionReceiving, ANewMailIsSent)
{
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ(step.call(*session, empty, 0), 0u);
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of_step(step, number, empty_mail(), false)));
    }
}

TEST_F(Pop3SessionReceiving, TheWholeMailTravelsAtEveryStep)
{
    fill(mail);
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ(step.call(*session, mail, 1), 0u);
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of_step(step, number, filled_mail(), true)));
    }
}

TEST_F(Pop3SessionReceiving, AnyNumberButZeroAsksForCodeConversion)
{
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        for (const int code_conv : {0, 1, 5, -1, 256, 0, -2147483647 - 1}) {
            EXPECT_EQ(step.call(*session, empty, code_conv), 0u);
            EXPECT_EQ(hex_of(last_request()),
                      hex_of(request_of_step(step, number, empty_mail(), code_conv != 0)))
                << code_conv;
        }
    }
}

TEST_F(Pop3SessionReceiving, TheAnswerUpdatesTheMailWhateverTheCode)
{
    for (const Step& step : kSteps) {
        for (const std::uint32_t code : velorin_test::kRetcodes) {
            SCOPED_TRACE(std::string(step.name) + " " + std::to_string(code));
            CntsPOP3ReceiveMail received{CntsPOP3MailInfo()};
            platform.answer(answer_of(step.method, "10", code, delimited("0A", filled_mail())));
            EXPECT_EQ(step.call(*session, received, 0), code);
            EXPECT_EQ(step.call(*session, received, 0), 0u);  // answered by nothing: it stays as it is
            EXPECT_EQ(hex_of(last_request()), hex_of(request_of_step(step, number, filled_mail(), false)));
        }
    }
}

TEST_F(Pop3SessionReceiving, AnAnswerWithoutAMailChangesNothing)
{
    fill(mail);
    const void* const part = mail.GetPart();
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        for (const std::string& answer :
             {std::string(), answer_of(step.method, "10", 0), answer_of(velorin_test::kConnect, "08", 5),
              answer_of(step.method, "10", 0, octets_of("0A 00"))}) {
            platform.answer(answer);
            EXPECT_EQ(step.call(*session, mail, 0), 0u);
            EXPECT_EQ(mail.GetPart(), part);
        }
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of_step(step, number, filled_mail(), false)));
    }
}

TEST_F(Pop3SessionReceiving, AFailedExchangeChangesNothing)
{
    fill(mail);
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        fail_exchange(platform, step.call_name);
        EXPECT_EQ(step.call(*session, mail, 0), kCallFailed);
        EXPECT_TRUE(platform.verify());
        EXPECT_EQ(step.call(*session, mail, 0), 0u);
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of_step(step, number, filled_mail(), false)));
    }
}

TEST_F(Pop3SessionReceiving, ACloseThatFailsThrowsTheAnswerAway)
{
    platform.answer(answer_of(velorin_test::kReceiveBody, "10", 0, delimited("0A", filled_mail())));
    platform.fail_call(Call::term, 1, 0x56);
    platform.expect_trace(communicator_line("end_method", "emwGENPacketClntTerm() returns 0x56"));
    platform.expect_trace(communicator_line("call_esu_method", "end_method() returns 0x21077103"));
    platform.expect_trace(communicator_line("call_receive_body", "call_esu_method() returns 0x21077103"));
    EXPECT_EQ(session->ReceiveBody(empty), kCallFailed);
    EXPECT_EQ(empty.GetPart(), nullptr);
    EXPECT_EQ(text_of(empty.m_cSubject), text_of(CutlCPLBMString()));
}

TEST_F(Pop3SessionReceiving, AnAnswerCannotEmptyTheBoundaryStack)
{
    ASSERT_EQ(mail.UpBoundaryLevel("a"), 1);
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        mail.m_nPartDepth = 1;
        platform.answer(answer_of(step.method, "10", 0, octets_of("0A 02 70 00")));
        EXPECT_EQ(step.call(*session, mail, 0), 0u);
        EXPECT_EQ(mail.m_nPartDepth, 0);
        ASSERT_EQ(mail.m_cBoundaryString->GetCount(), 1);
        EXPECT_EQ(text_of(*static_cast<CutlCPLBMString*>(mail.m_cBoundaryString->GetAt(0))), "a");
    }
}

TEST_F(Pop3SessionReceiving, EachPieceIsANewPart)
{
    // Three pieces of a body, as a service gives them; the last one says so.
    const char* const pieces[] = {"8A 01 09 0A 07 52 01 61 58 01 60 00 78 01",
                                  "8A 01 09 0A 07 52 01 00 58 01 60 00",
                                  "8A 01 09 0A 07 52 01 FF 58 01 60 01 78 00"};
    std::string body;
    int pieces_read = 0;
    while (mail.m_bIsHasNext != 0 && pieces_read < 3) {
        // fields in any order are a message
        platform.answer(
            answer_of(velorin_test::kReceiveBody, "10", 0, delimited("0A", octets_of(pieces[pieces_read]))));
        ASSERT_EQ(session->ReceiveBody(mail), 0u);
        ASSERT_NE(mail.GetPart(), nullptr);
        body += queued(*mail.GetPart());
        EXPECT_EQ(platform.live_blocks(), 1u) << "the piece before is gone";
        EXPECT_EQ(mail.GetPart()->m_bIsTerminate, pieces_read == 2 ? 1 : 0);
        ++pieces_read;
    }
    EXPECT_EQ(pieces_read, 3);
    EXPECT_EQ(body, std::string("a\0\xFF", 3));
}

TEST_F(Pop3SessionReceiving, WithoutMemoryForTheReceiveBufferNothingIsSent)
{
    fill(mail);
    const std::size_t before = platform.exchanges().size();
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        platform.fail_call(Call::pool_alloc, 1, 0x9);
        platform.expect_trace(communicator_line("call_esu_method", "emwOSWAllocMem returns 0x9"));
        platform.expect_trace(communicator_line(step.call_name, "call_esu_method() returns 0x21077103"));
        EXPECT_EQ(step.call(*session, mail, 0), kCallFailed);
    }
    EXPECT_EQ(platform.exchanges().size(), before);
}
