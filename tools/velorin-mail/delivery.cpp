#include "delivery.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>

#include "base64_pieces.h"
#include "descriptor.h"
#include "interrupt.h"
#include "report.h"

namespace velorin::cli {

namespace {

constexpr std::size_t kTextPiece = 64u << 10;

constexpr const char* kTextStep = "text";
constexpr const char* kAttachmentStep = "attachment";
constexpr const char* kNoMemory = "memory ran out";

// The octets of a file from its beginning to now.
class FileSource : public OctetSource {
public:
    explicit FileSource(const std::string& path) : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (file_.valid()) ::posix_fadvise(file_.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    bool is_open() const { return file_.valid(); }
    bool read(char* buffer, std::size_t capacity, std::size_t& count) override
    {
        return read_fully(file_.get(), buffer, capacity, count);
    }

private:
    Descriptor file_;
};

}  // namespace

Delivery::Delivery(CntsSMTPBoundary& session, CntsSMTPSendMail& mail, Progress& progress, Failure& failure)
    : session_(session), mail_(mail), progress_(progress), failure_(failure)
{
}

bool Delivery::send_text(MailText& text)
{
    if (text.encoding == CntsMLUTLMailType::eTransferEncodingBase64)
        return send_base64(text.octets, text.octets.size(), kTextStep, std::string());
    return send_plain(text);
}

bool Delivery::send_fax_text(MailText& text, const std::string& boundary)
{
    const std::string header = fax_text_header(text, boundary);
    return send_octets(header.data(), header.size(), false, kTextStep) && send_text(text);
}

bool Delivery::send_attachment(const Attachment& attachment, const std::string& boundary)
{
    FileSource source(attachment.path);
    if (!source.is_open()) return reading_failed(kAttachmentStep, attachment.path, errno);
    return begin_part(attachment, boundary) &&
           send_base64(source, attachment.size, kAttachmentStep, attachment.path);
}

bool Delivery::begin_part(const Attachment& attachment, const std::string& boundary)
{
    if (attachment.vocabulary == CntsMLUTLMailType::eContentTypeUnknown) {
        const std::string header = part_header(attachment, boundary);
        return send_octets(header.data(), header.size(), false, kAttachmentStep);
    }
    CntsSMTPSendMailPart* const part = make_part(attachment);
    if (part == nullptr) return fail(failure_, kExitSystem, kAttachmentStep, kNoMemory);
    mail_.SetPart(part);
    in_further_part_ = true;
    const std::uint32_t code = session_.SendPartHeader(mail_);
    if (code != 0) return fail_with_code(failure_, kAttachmentStep, code);
    progress_.add(part_header(attachment, boundary).size());
    return true;
}

bool Delivery::send_base64(OctetSource& source, std::uint64_t size, const char* step,
                           const std::string& where)
{
    Base64Cutter cutter(session_, source, size);
    Base64Ahead pieces(cutter, size > kBase64Piece);
    for (;;) {
        Base64Piece piece = pieces.next();
        switch (piece.kind) {
        case Base64Piece::Kind::kText:
            break;
        case Base64Piece::Kind::kEnd:
            return true;
        case Base64Piece::Kind::kUnreadable:
            return reading_failed(step, where, piece.error);
        case Base64Piece::Kind::kTooShort:
            return reading_failed(step, where, 0);
        case Base64Piece::Kind::kRefused:
            return fail_with_code(failure_, step, piece.code);
        }
        if (!send_block(piece.text, piece.length, piece.is_last, step)) {
            failure_.where = where;
            return false;
        }
    }
}

bool Delivery::send_plain(MailText& text)
{
    // The part that the cuts are made for: the text part of the mail, which may itself be multipart.
    CntsMLUTLMailPart cutter;
    cutter.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    cutter.m_eCharSet = text.charset;
    std::string window;      // what has been read and not sent, after the escape sequence of its mode
    std::size_t prefix = 0;  // octets of that escape sequence, which are on the wire already
    for (bool is_end = false; !is_end;) {
        const std::size_t kept = window.size();
        std::size_t count = 0;
        window.resize(kept + kTextPiece);
        if (!text.octets.read(&window[kept], kTextPiece, count))
            return reading_failed(kTextStep, std::string(), errno);
        window.resize(kept + count);
        is_end = count < kTextPiece;
        cutter.m_bIsTerminate = is_end ? 1 : 0;
        auto cut = static_cast<long>(window.size());
        const int mode = cutter.AdjustMultiByteCode(window.c_str(), cut, 1);
        const std::size_t take = is_end ? window.size() : static_cast<std::size_t>(cut);
        if (take < prefix) continue;  // the cut fell into the escape sequence itself: more has to be read
        if ((take > prefix || is_end) && !send_octets(&window[prefix], take - prefix, is_end, kTextStep))
            return false;
        const std::string escape = escape_of_mode(mode);
        window.replace(0, take, escape);
        prefix = escape.size();
    }
    return true;
}

bool Delivery::send_octets(const char* octets, std::size_t length, bool is_last, const char* step)
{
    Block block;
    if (length > 0) {
        block.reset(CutlCPLBOSBoundary::MemAllocate(length));
        if (block == nullptr) return fail(failure_, kExitSystem, step, kNoMemory);
        std::memcpy(block.get(), octets, length);
    }
    return send_block(block, static_cast<long>(length), is_last, step);
}

// Queues a block in the part that is being sent, whose it is from then on, and sends it.
bool Delivery::send_block(Block& block, long length, bool is_last, const char* step)
{
    if (interrupting_signal() != 0)
        return fail(failure_, kExitSignal + interrupting_signal(), step,
                    interrupted_sentence(Stage::kSending));
    CntsMLUTLMailPart& part = in_further_part_ ? static_cast<CntsMLUTLMailPart&>(*mail_.m_pPart) : mail_;
    const auto octets = static_cast<std::uint64_t>(length);
    part.m_bIsTerminate = is_last ? 1 : 0;
    void* queued = block.release();
    if (length > 0 && part.SetBuffer(queued, length) == 0) {
        block.reset(queued);
        return fail(failure_, kExitSystem, step, kNoMemory);
    }
    const std::uint32_t code = in_further_part_ ? session_.SendPartBody(mail_) : session_.SendBody(mail_);
    part.FreeBuffer();
    if (code != 0) return fail_with_code(failure_, step, code);
    progress_.add(octets);
    return true;
}

bool Delivery::reading_failed(const char* step, const std::string& where, int why)
{
    if (interrupting_signal() != 0)
        return fail(failure_, kExitSignal + interrupting_signal(), step,
                    interrupted_sentence(Stage::kSending));
    fail(failure_, kExitIo, step,
         why == 0 ? "the file became shorter while it was sent"
                  : std::string("the file cannot be read: ") + std::strerror(why));
    failure_.where = where;
    return false;
}

}  // namespace velorin::cli
