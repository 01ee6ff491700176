// The received mail's own operations: boundary stack and current part.
#include <memory>
#include <string>

#include "CntsPOP3ReceiveMail.h"
#include "CutlCPLBMVector.h"

#include "mail_fields.h"
#include "operator_new.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin::CntsPOP3ReceiveMailPart;

const char* const kUpFailed = "<Error> CntsPOP3ReceiveMail::UpBoundaryLevel():[Return FALSE]NULL pointer\n";

std::string innermost(CntsPOP3ReceiveMail& mail)
{
    const CutlCPLBMString* const boundary = mail.GetBoundaryString();
    return boundary != nullptr ? printable(*boundary) : "(none)";
}

Scenario up()
{
    return {"received mail, boundary pushed",
            {"CntsPOP3ReceiveMail::UpBoundaryLevel(char const*)", "CntsPOP3ReceiveMail::GetBoundaryString()"},
            [](PlatformDouble&) {
                const auto mail = std::make_shared<CntsPOP3ReceiveMail>(CntsPOP3MailInfo());
                mail->UpBoundaryLevel("the outer one");
                mail->m_bIsBoundaryDetected = 1;
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("pushed", mail->UpBoundaryLevel("a boundary that needs a block"));
                    const SparedNews spared;
                    given.add("innermost", innermost(*mail));
                    given.add("depth", mail->m_nPartDepth);
                    given.add("detected", mail->m_bIsBoundaryDetected);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::vector_add);
                    if (fails) replay.line(kUpFailed);
                    expected.add("pushed", fails ? 0 : 1);
                    expected.add("innermost", fails ? "the outer one" : "a boundary that needs a block");
                    expected.add("depth", fails ? 1 : 2);
                    expected.add("detected", fails ? 1 : 0);
                };
                return trial;
            },
            Again::after_failure};
}

// A slot that the vector does not give up keeps its string; the depth alone says what is on the stack.
Scenario down()
{
    return {"received mail, boundary popped",
            {"CntsPOP3ReceiveMail::DownBoundaryLevel()"},
            [](PlatformDouble&) {
                const auto mail = std::make_shared<CntsPOP3ReceiveMail>(CntsPOP3MailInfo());
                mail->UpBoundaryLevel("a boundary that stays, and is long");
                mail->UpBoundaryLevel("a boundary that is popped");
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("popped", mail->DownBoundaryLevel());
                    const SparedNews spared;
                    given.add("innermost", innermost(*mail));
                    given.add("depth", mail->m_nPartDepth);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    replay.fails(Call::vector_remove);  // its result is not looked at
                    expected.add("popped", 1);
                    expected.add("innermost", "a boundary that stays, and is long");
                    expected.add("depth", 1);
                };
                trial.may_throw = false;
                return trial;
            },
            Again::never};
}

Scenario empty_stack()
{
    return {
        "received mail, nothing to pop",
        {},
        [](PlatformDouble&) {
            const auto mail = std::make_shared<CntsPOP3ReceiveMail>(CntsPOP3MailInfo());
            Trial trial;
            trial.run = [=](Outcome& given) {
                mail->m_nPartDepth = 0;
                given.add("popped", mail->DownBoundaryLevel());
                given.add("pushed", mail->UpBoundaryLevel(nullptr));
                CutlCPLBMVector* const stack = mail->m_cBoundaryString;
                mail->m_cBoundaryString = nullptr;
                mail->m_nPartDepth = 1;
                given.add("without stack", mail->DownBoundaryLevel());
                mail->m_cBoundaryString = stack;
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                expected.add("popped", 0);
                replay.line("<Error> CntsPOP3ReceiveMail::DownBoundaryLevel():[Return FALSE]NULL pointer\n");
                expected.add("pushed", 0);
                replay.line(kUpFailed);
                expected.add("without stack", 0);
                replay.line("<Error> CntsPOP3ReceiveMail::DownBoundaryLevel():m_cBoundaryString is NULL\n");
            };
            trial.may_throw = false;
            return trial;
        },
        Again::never};
}

Scenario stack_replaced()
{
    return {"received mail, stack replaced",
            {"CntsPOP3ReceiveMail::SetBoundaryStringList(CutlCPLBMVector*)",
             "CntsPOP3ReceiveMail::CntsPOP3ReceiveMail(CntsPOP3MailInfo const&)",
             "CntsPOP3ReceiveMail::~CntsPOP3ReceiveMail()"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CntsPOP3ReceiveMail mail(CntsPOP3MailInfo(1, "an entry with a long unique id", 2, 3));
                    given.add("old", mail.UpBoundaryLevel("a boundary that is replaced"));
                    auto stack = std::make_unique<CutlCPLBMVector>();
                    auto boundary = std::make_unique<CutlCPLBMString>("a boundary that replaces");
                    if (stack->Add(0, boundary.get()) != 0) boundary.release();
                    mail.SetBoundaryStringList(stack.release());
                    mail.m_nPartDepth = 1;
                    const SparedNews spared;
                    given.add("innermost", innermost(mail));
                    given.add("entry", text_of_info(mail.m_cMailInfo));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::vector_add);
                    if (fails) replay.line(kUpFailed);
                    expected.add("old", fails ? 0 : 1);
                    expected.add("innermost",
                                 replay.fails(Call::vector_add) ? "(none)" : "a boundary that replaces");
                    expected.add("entry", "1 an entry with a long unique id 2 3");
                };
                return trial;
            }};
}

Scenario parts()
{
    return {"received mail, current part",
            {"CntsPOP3ReceiveMail::SetPart(CntsPOP3ReceiveMailPart*)", "CntsPOP3ReceiveMail::GetPart()",
             "CntsPOP3ReceiveMail::DeletePart()", "CntsPOP3ReceiveMailPart::CntsPOP3ReceiveMailPart()",
             "CntsPOP3ReceiveMailPart::~CntsPOP3ReceiveMailPart()"},
            [](PlatformDouble&) {
                const auto mail = std::make_shared<CntsPOP3ReceiveMail>(CntsPOP3MailInfo());
                Trial trial;
                trial.run = [=](Outcome& given) {
                    mail->SetPart(new CntsPOP3ReceiveMailPart);
                    auto* const second = new CntsPOP3ReceiveMailPart;
                    mail->SetPart(second);
                    given.add("is the second", mail->GetPart() == second ? 1 : 0);
                    mail->DeletePart();
                    given.add("left", mail->GetPart() != nullptr ? 1 : 0);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("is the second", 1);
                    expected.add("left", 0);
                };
                return trial;
            }};
}

}  // namespace

Scenarios pop3_mail_scenarios()
{
    return {up(), down(), empty_stack(), stack_replaced(), parts()};
}

}  // namespace velorin_test::sweep
