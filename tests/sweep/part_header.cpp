// The part's own header, its cuts and its marker.
#include <memory>
#include <string>
#include <vector>

#include "CntsMLUTLMailPart.h"

#include "blocks.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsMLUTLMailPart;
using Type = velorin::CntsMLUTLMailType;

const char* const kHeaderFailed = "<Error> : CntsMLUTLMailPart::MakeHeader() AddBuffer[NG]: Line#\n";

// The header of a part, one append for each piece.
Scenario header(const char* name, std::shared_ptr<CntsMLUTLMailPart> (*make)(),
                const std::vector<std::string>& pieces)
{
    return {name, {"CntsMLUTLMailPart::MakeHeader(char*&, long&)"}, [=](PlatformDouble&) {
                const std::shared_ptr<CntsMLUTLMailPart> part = make();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    OwnedBlock<> block;
                    given.add("composed", part->MakeHeader(block.data, block.length));
                    given.add_block("header", block.data, block.length);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    std::string text;
                    for (const std::string& piece : pieces) {
                        if (replay.fails(Call::reallocate)) {
                            replay.line(
                                "<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n");
                            replay.line(kHeaderFailed);
                            expected.add("composed", 0);
                            expected.add_block("header", nullptr, 0);
                            return;
                        }
                        text += piece;
                    }
                    expected.add("composed", 1);
                    expected.add_block("header", text.data(), static_cast<long>(text.size()));
                };
                Outcome none;
                none.add("composed", 0);
                none.add_block("header", nullptr, 0);
                trial.without_memory = {{none, {kHeaderFailed}}};
                trial.may_throw = false;
                return trial;
            }};
}

std::shared_ptr<CntsMLUTLMailPart> attachment()
{
    const auto part = std::make_shared<CntsMLUTLMailPart>();
    part->m_eContentType = Type::eContentTypeApplicationPdf;
    part->m_eContentDisposition = Type::eContentDispositionAttachment;
    part->m_eTransferEncoding = Type::eTransferEncodingBase64;
    part->m_cFIleName.CopyString("a.pdf", -1);
    part->SetContentCIAJWNETFAX(1);
    return part;
}

std::shared_ptr<CntsMLUTLMailPart> text()
{
    const auto part = std::make_shared<CntsMLUTLMailPart>();
    part->m_eContentType = Type::eContentTypeTextPlain;
    part->m_eContentDisposition = Type::eContentDispositionInline;
    part->m_eCharSet = Type::eCharSetIso2022Jp;
    return part;
}

Scenario cuts()
{
    return {"part, cuts of Japanese text",
            {"CntsMLUTLMailPart::AdjustMultiByteCode(char const*, long&, int)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CntsMLUTLMailPart part;
                    part.m_eCharSet = Type::eCharSetIso2022Jp;
                    long cut = 6;
                    given.add("mode", part.AdjustMultiByteCode("\x1B$B$\"$$\x1B(B", cut, 0));
                    given.add("cut", cut);
                    part.m_eCharSet = Type::eCharSetShiftJis;
                    cut = 1;
                    given.add("mode", part.AdjustMultiByteCode("\x82\xA0\x82\xA2", cut, 0));
                    given.add("cut", cut);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("mode", 4);
                    expected.add("cut", 5);
                    expected.add("mode", 0);
                    expected.add("cut", 0);
                };
                trial.may_throw = false;
                return trial;
            }};
}

Scenario marker()
{
    return {"part, marker and extension",
            {"CntsMLUTLMailPart::SetContentCIAJWNETFAX(int)",
             "CntsMLUTLMailPart::SetContentCIAJWNETFAX(char const*)",
             "CntsMLUTLMailPart::GetContentCIAJWNETFAXSource(CutlCPLBMString&)",
             "CntsMLUTLMailPart::IsIgnoreContentCIAJWNETFAX()",
             "CntsMLUTLMailPart::GetFileExtension() const"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CntsMLUTLMailPart part;
                    CutlCPLBMString marker;
                    given.add("null", part.IsIgnoreContentCIAJWNETFAX());
                    part.SetContentCIAJWNETFAX(1);
                    given.add("set", part.IsIgnoreContentCIAJWNETFAX());
                    part.SetContentCIAJWNETFAX("ignored by those who do not know it");
                    given.add("text", part.IsIgnoreContentCIAJWNETFAX());
                    given.add("source", part.GetContentCIAJWNETFAXSource(marker));
                    given.add("marker", marker);
                    part.m_cFIleName.CopyString("a.name.with.dots.pdf", -1);
                    given.add("extension", part.GetFileExtension());
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("null", 0);
                    expected.add("set", 1);
                    expected.add("text", 1);
                    expected.add("source", 1);
                    expected.add("marker", "ignored by those who do not know it");
                    expected.add("extension", "pdf");
                };
                return trial;
            }};
}

}  // namespace

Scenarios part_header_scenarios()
{
    return {
        header("part header, attachment", attachment,
               {"Content-Type: application/pdf",
                ";\r\n\tname=\"a.pdf\"\r\nContent-Disposition: attachment;\r\n\tfilename=\"a.pdf\"",
                "\r\nContent-Transfer-Encoding: base64", "\r\nContent-X-CIAJWNETFAX: IGNORE", "\r\n\r\n"}),
        header("part header, text", text,
               {"Content-Type: text/plain; charset=\"iso-2022-jp\"", "\r\nContent-Disposition: inline",
                "\r\n\r\n"}),
        cuts(), marker()};
}

}  // namespace velorin_test::sweep
