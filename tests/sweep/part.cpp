// The part: its queue, its copies, and the growing of blocks.
#include <memory>
#include <string>

#include "CntsMLUTLMailException.h"
#include "CntsMLUTLMailPart.h"

#include "blocks.h"
#include "mail_fields.h"
#include "operator_new.h"
#include "scenario.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsMLUTLMailPart;

std::string text_of_part(const CntsMLUTLMailPart& part)
{
    Fields fields;
    put_part(fields, "", part);
    fields["other"] = printable(part.m_cOther);
    return text_of_fields(fields);
}

std::shared_ptr<CntsMLUTLMailPart> filled_part()
{
    const auto part = std::make_shared<CntsMLUTLMailPart>();
    part->m_eContentType = velorin::CntsMLUTLMailType::eContentTypeApplicationPdf;
    part->m_eTransferEncoding = velorin::CntsMLUTLMailType::eTransferEncodingBase64;
    part->m_eContentDisposition = velorin::CntsMLUTLMailType::eContentDispositionAttachment;
    part->m_eCharSet = velorin::CntsMLUTLMailType::eCharSetXSjis;
    part->m_cContentType.CopyString("application/pdf, as a text", -1);
    part->m_cContentTypeString.CopyString("application/pdf; name=\"whatever it is\"", -1);
    part->m_cTransferEncoding.CopyString("base64, as a text too", -1);
    part->m_cFIleName.CopyString("a file name of some length.pdf", -1);
    part->m_cExtension.CopyString("an extension of some length", -1);
    part->m_cOther.CopyString("the text that never travels", -1);
    part->m_bIsTerminate = 1;
    part->SetContentCIAJWNETFAX(1);
    queue(*part, "queued octets");
    return part;
}

const char* const kCopyFailed = "<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n";

std::string copied_text(bool has_body)
{
    const std::shared_ptr<CntsMLUTLMailPart> part = filled_part();
    if (!has_body) part->FreeBuffer();
    return text_of_part(*part);
}

Scenario copied()
{
    return {"part, copied",
            {"CntsMLUTLMailPart::CntsMLUTLMailPart(CntsMLUTLMailPart const&)",
             "CntsMLUTLMailPart::~CntsMLUTLMailPart()"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsMLUTLMailPart> part = filled_part();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    CntsMLUTLMailPart copy(*part);
                    given.add("marker", copy.IsIgnoreContentCIAJWNETFAX());
                    const SparedNews spared;
                    given.add("copy", text_of_part(copy));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::allocate);
                    if (fails) replay.line(kCopyFailed);
                    expected.add("marker", 0);
                    expected.add("copy", copied_text(!fails));
                };
                return trial;
            }};
}

Scenario assigned()
{
    return {
        "part, assigned",
        {"CntsMLUTLMailPart::operator=(CntsMLUTLMailPart const&)", "CntsMLUTLMailPart::CntsMLUTLMailPart()"},
        [](PlatformDouble&) {
            const std::shared_ptr<CntsMLUTLMailPart> part = filled_part();
            const auto target = std::make_shared<CntsMLUTLMailPart>();
            queue(*target, "octets that are dropped");
            target->SetContentCIAJWNETFAX("IGNORE, a marker that is dropped");
            Trial trial;
            trial.run = [=](Outcome& given) {
                *target = *part;
                given.add("marker", target->IsIgnoreContentCIAJWNETFAX());
                const SparedNews spared;
                given.add("target", text_of_part(*target));
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                const bool fails = replay.fails(Call::allocate);
                if (fails) replay.line(kCopyFailed);
                expected.add("marker", 0);
                expected.add("target", copied_text(!fails));
            };
            return trial;
        }};
}

Scenario copy_part()
{
    return {"part, CopyPart",
            {"CntsMLUTLMailPart::CopyPart(CntsMLUTLMailPart const&)", "CntsMLUTLMailPart::FreeBuffer()"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsMLUTLMailPart> part = filled_part();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    CntsMLUTLMailPart copy;
                    given.add("result", copy.CopyPart(*part));
                    given.add("length", copy.m_nLength);
                    copy.FreeBuffer();
                    given.add("freed", copy.m_pBuffer == nullptr && copy.m_nLength == 0 ? 1 : 0);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::allocate);
                    if (fails) replay.line(kCopyFailed);
                    expected.add("result", fails ? 0 : 1);
                    expected.add("length", fails ? 0 : 13);
                    expected.add("freed", 1);
                };
                return trial;
            }};
}

struct Queue {
    CntsMLUTLMailPart part;
    OwnedBlock<void> block;
};

Scenario queue_appended()
{
    return {"part, octets appended to the queue",
            {"CntsMLUTLMailPart::SetBuffer(void*&, long&)"},
            [](PlatformDouble&) {
                const auto state = std::make_shared<Queue>();
                queue(state->part, "queued, ");
                state->block.fill("appended");
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("result", state->part.SetBuffer(state->block.data, state->block.length));
                    given.add_block("block", state->block.data, state->block.length);
                    given.add_block("queue", state->part.m_pBuffer, state->part.m_nLength);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::reallocate);
                    if (fails)
                        replay.line("<Error> : CntsMLUTLMailPart::SetBuffer() failed to reallocate memory\n");
                    expected.add("result", fails ? 0 : 1);
                    if (fails) {
                        expected.add_block("block", "appended", 8);
                        expected.add_block("queue", "queued, ", 8);
                    } else {
                        expected.add_block("block", nullptr, 0);
                        expected.add_block("queue", "queued, appended", 16);
                    }
                };
                trial.may_throw = false;
                return trial;
            },
            Again::after_failure};
}

Scenario queue_taken()
{
    return {"part, octets taken from the queue",
            {"CntsMLUTLMailPart::GetBuffer(void*&, long&)"},
            [](PlatformDouble&) {
                const auto part = std::make_shared<CntsMLUTLMailPart>();
                queue(*part, "taken and left");
                Trial trial;
                trial.run = [=](Outcome& given) {
                    OwnedBlock<void> taken;
                    taken.length = 5;
                    given.add("result", part->GetBuffer(taken.data, taken.length));
                    given.add_block("taken", taken.data, taken.length);
                    given.add_block("left", part->m_pBuffer, part->m_nLength);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    if (replay.fails(Call::allocate)) {
                        replay.line("<Error> : CntsMLUTLMailPart::GetBuffer() failed to allocate memory\n");
                        expected.add("result", 0);
                        expected.add_block("taken", nullptr, 0);
                        expected.add_block("left", "taken and left", 14);
                        return;
                    }
                    replay.fails(Call::reallocate);  // a block that cannot be shrunk serves as it is
                    expected.add("result", 1);
                    expected.add_block("taken", "taken", 5);
                    expected.add_block("left", " and left", 9);
                };
                trial.may_throw = false;
                return trial;
            },
            Again::after_failure};
}

Scenario queue_emptied()
{
    return {"part, the whole queue taken",
            {},
            [](PlatformDouble&) {
                const auto part = std::make_shared<CntsMLUTLMailPart>();
                queue(*part, "all of it");
                Trial trial;
                trial.run = [=](Outcome& given) {
                    OwnedBlock<void> taken;
                    taken.length = 0;
                    given.add("result", part->GetBuffer(taken.data, taken.length));
                    given.add_block("taken", taken.data, taken.length);
                    OwnedBlock<void> none;
                    given.add("nothing left", part->GetBuffer(none.data, none.length));
                    given.add_block("none", none.data, none.length);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("result", 1);
                    expected.add_block("taken", "all of it", 9);
                    expected.add("nothing left", 1);
                    expected.add_block("none", nullptr, 0);
                };
                trial.may_throw = false;
                return trial;
            },
            Again::never};
}

using Grow = int (CntsMLUTLMailPart::*)(char*&, long&, const char*, long);

Scenario grown(const char* name, const char* operation, Grow grow, const char* result)
{
    const std::string covered =
        std::string("CntsMLUTLMailPart::") + operation + "(char*&, long&, char const*, long)";
    return {name,
            {covered},
            [=](PlatformDouble&) {
                struct State {
                    CntsMLUTLMailPart part;
                    OwnedBlock<> block;
                };
                const auto state = std::make_shared<State>();
                state->block.fill("there before");
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("result",
                              ((state->part).*grow)(state->block.data, state->block.length, "[added]", 7));
                    given.add_block("block", state->block.data, state->block.length);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::reallocate);
                    if (fails) {
                        replay.line(std::string("<Error> : CntsMLUTLMailPart::") + operation +
                                    "() failed to reallocate memory\n");
                    }
                    const std::string text = fails ? "there before" : result;
                    expected.add("result", fails ? 0 : 1);
                    expected.add_block("block", text.data(), static_cast<long>(text.size()));
                };
                trial.may_throw = false;
                return trial;
            },
            Again::after_failure};
}

// 130 octets make three lines, with two folds between them: five appends.
Scenario folded()
{
    return {"part, text folded", {"CntsMLUTLMailPart::MakeMultiLine(char const*)"}, [](PlatformDouble&) {
                const auto text = std::make_shared<std::string>(130, 'x');
                const auto part = std::make_shared<CntsMLUTLMailPart>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    OwnedBlock<> lines;
                    lines.data = part->MakeMultiLine(text->c_str());
                    given.add_block("lines", lines.data,
                                    lines.data != nullptr ? static_cast<long>(std::strlen(lines.data)) : 0);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    for (int append = 0; append < 5; ++append) {
                        if (!replay.fails(Call::reallocate)) continue;
                        replay.line("<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n");
                        replay.line("<Error> : CntsMLUTLMailPart::MakeMultiLine() AddBuffer[NG]: Line#\n");
                        expected.add_block("lines", nullptr, 0);
                        return;
                    }
                    const std::string line(64, 'x');
                    const std::string lines = line + "\r\n\t" + line + "\r\n\txx";
                    expected.add_block("lines", lines.data(), static_cast<long>(lines.size()));
                };
                trial.may_throw = false;
                return trial;
            }};
}

Scenario exception()
{
    return {"exception of the utilities",
            {"CntsMLUTLMailException::CntsMLUTLMailException(char const*)",
             "CntsMLUTLMailException::~CntsMLUTLMailException()"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    const std::unique_ptr<CutlCPLBObject> thrown =
                        std::make_unique<velorin::CntsMLUTLMailException>("what went wrong");
                    given.add("text", static_cast<velorin::CntsMLUTLMailException&>(*thrown).m_pszText);
                };
                trial.model = [](Replay&, Outcome& expected) { expected.add("text", "what went wrong"); };
                return trial;
            }};
}

}  // namespace

Scenarios part_scenarios()
{
    return {
        copied(),
        assigned(),
        copy_part(),
        queue_appended(),
        queue_taken(),
        queue_emptied(),
        grown("part, AddBuffer", "AddBuffer", &CntsMLUTLMailPart::AddBuffer, "there before[added]"),
        grown("part, InsertBuffer", "InsertBuffer", &CntsMLUTLMailPart::InsertBuffer, "[added]there before"),
        folded(),
        exception()};
}

}  // namespace velorin_test::sweep
