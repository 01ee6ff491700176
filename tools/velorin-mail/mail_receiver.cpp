#include "mail_receiver.h"

#include <cerrno>
#include <utility>

#include "velorin_mail_service.h"
#include "velorin_return_codes.h"

#include "interrupt.h"
#include "part_target.h"
#include "report.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "fetch";
constexpr const char* kManifest = "mail.json";
// So many parts the mail service takes apart. The last one goes on to the end of the mail: what follows it has
// other encodings, and decoded as it is would be lost.
constexpr std::size_t kMostParts = 1000;

using Encoding = CntsMLUTLMailType::eTransferEncoding;

}  // namespace

MailReceiver::MailReceiver(CntsPOP3Boundary& session, Progress& progress, Failure& failure)
    : session_(session), progress_(progress), failure_(failure)
{
}

bool MailReceiver::went_well(const char* step, std::uint32_t code)
{
    if (interrupting_signal() != 0)
        return fail(failure_, kExitSignal + interrupting_signal(), step, interrupted_sentence(stage()));
    if (code == 0 || code == return_code::kAnswerCut) return true;
    fail_with_code(failure_, step, code);
    failure_.where = uid_;
    return false;
}

bool MailReceiver::file_failed(const std::string& file)
{
    const int why = errno;
    if (interrupting_signal() != 0)
        return fail(failure_, kExitSignal + interrupting_signal(), kStep, interrupted_sentence(stage()));
    fail(failure_, kExitIo, kStep, writing_failed(why));
    failure_.where = file.empty() ? uid_ : uid_ + ", " + file;
    return false;
}

// Asks for the mail. A server that refuses one mail goes on with the others.
MailReceiver::Result MailReceiver::header(CntsPOP3ReceiveMail& mail, bool& cut)
{
    uid_ = text_in(mail.m_cMailInfo.m_cUniqId);
    const std::uint32_t code = session_.ReceiveHeader(mail, 1);
    cut = code == return_code::kAnswerCut;
    if (went_well(kStep, code)) return Result::kWhole;
    const bool only_this =
        failure_.code == code && (code == return_code::kNoSuchMail || code == return_code::kTryLater);
    if (!only_this) return Result::kBroken;
    if (code == return_code::kNoSuchMail) failure_.exit_code = kExitNoInput;
    return Result::kRefused;
}

MailReceiver::Result MailReceiver::receive(const MailEntry& entry, const std::string& account,
                                           Descriptor folder, std::string& date)
{
    CntsPOP3ReceiveMail mail(entry.info());
    bool cut = false;
    if (const Result result = header(mail, cut); result != Result::kWhole) return result;
    date = text_in(mail.m_cDate);
    MailFolder files(std::move(folder));
    NewFile manifest;
    std::string name;
    // Its name is taken before any attachment asks for it.
    if (!files.create(kManifest, manifest, name)) return file_failed(kManifest), Result::kBroken;
    std::vector<PartRecord> parts;
    const bool done =
        mail.m_nPartDepth == 0 ? single_part(mail, files, parts) : all_parts(mail, files, parts);
    if (!done) return Result::kBroken;
    const std::string text = manifest_of(mail, entry, account, cut, parts);
    if (!manifest.write(text.data(), text.size()) || !manifest.close())
        return file_failed(kManifest), Result::kBroken;
    return Result::kWhole;
}

bool MailReceiver::single_part(CntsPOP3ReceiveMail& mail, MailFolder& folder, std::vector<PartRecord>& parts)
{
    parts.push_back(describe_part(mail));
    parts.back().number = "1";
    PartTarget target(folder, parts.back(), mail.m_eCharSet, mail.m_eTransferEncoding);
    if (!target.open()) return file_failed(parts.back().file);
    return body(mail, false, target);
}

bool MailReceiver::all_parts(CntsPOP3ReceiveMail& mail, MailFolder& folder, std::vector<PartRecord>& parts)
{
    PartNumbers numbers;
    while (mail.m_bIsHasNext != 0) {
        if (!went_well(kStep, session_.ReceivePartHeader(mail, 1))) return false;
        const CntsPOP3ReceiveMailPart* const part = mail.GetPart();
        if (part == nullptr) return fail(failure_, kExitSoftware, kStep, "the mail service gave no part");
        const bool is_multipart = part->m_bIsTerminate != 0;
        parts.push_back(describe_part(*part));
        PartRecord& record = parts.back();
        record.depth = is_multipart ? mail.m_nPartDepth - 1 : mail.m_nPartDepth;
        if (record.depth < 1) return fail(failure_, kExitSoftware, kStep, "the mail service gave no depth");
        record.number = numbers.next(record.depth);
        if (is_multipart) continue;
        Encoding encoding = part->m_eTransferEncoding;
        if (parts.size() == kMostParts && PartTarget::decodes(encoding)) {
            encoding = CntsMLUTLMailType::eTransferEncodingUnknown;
            record.decoded = false;
        }
        PartTarget target(folder, record, part->m_eCharSet, encoding);
        if (!target.open()) return file_failed(record.file);
        if (!body(mail, true, target)) return false;
    }
    return true;
}

const CntsPOP3ReceiveMailPart* MailReceiver::next_piece(CntsPOP3ReceiveMail& mail, bool of_part)
{
    if (!went_well(kStep, of_part ? session_.ReceivePartBody(mail) : session_.ReceiveBody(mail)))
        return nullptr;
    const CntsPOP3ReceiveMailPart* const piece = mail.GetPart();
    if (piece == nullptr || piece->m_nLength < 0) {
        fail(failure_, kExitSoftware, kStep, "the mail service gave no piece");
        return nullptr;
    }
    progress_.add(static_cast<std::uint64_t>(piece->m_nLength));
    return piece;
}

bool MailReceiver::body(CntsPOP3ReceiveMail& mail, bool of_part, PartTarget& target)
{
    for (bool is_last = false; !is_last;) {
        const CntsPOP3ReceiveMailPart* const piece = next_piece(mail, of_part);
        if (piece == nullptr) return false;
        if (!target.write(piece->m_pBuffer, piece->m_nLength)) return file_failed(target.failing_file());
        is_last = piece->m_bIsTerminate != 0;
    }
    return target.finish() || file_failed(target.failing_file());
}

MailReceiver::Result MailReceiver::receive_raw(const MailEntry& entry, int folder, const std::string& name)
{
    CntsPOP3ReceiveMail mail(entry.info());
    mail.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(kContentTypeWholeMail);
    bool cut = false;
    if (const Result result = header(mail, cut); result != Result::kWhole) return result;
    if (mail.m_eContentType != static_cast<CntsMLUTLMailType::eContentType>(kContentTypeWholeMail)) {
        fail(failure_, kExitUnavailable, kStep, "this mail service does not give mails as they are");
        return Result::kBroken;
    }
    NewFile file;
    if (!file.open(folder, name)) return file_failed(""), Result::kBroken;
    while (mail.m_bIsHasNext != 0) {
        const CntsPOP3ReceiveMailPart* const piece = next_piece(mail, false);
        if (piece == nullptr) return Result::kBroken;
        if (!file.write(piece->m_pBuffer, static_cast<std::size_t>(piece->m_nLength)))
            return file_failed(""), Result::kBroken;
    }
    if (!file.close()) return file_failed(""), Result::kBroken;
    return Result::kWhole;
}

}  // namespace velorin::cli
