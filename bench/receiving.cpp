#include "receiving.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "velorin_return_codes.h"

namespace {

using namespace velorin;

constexpr int kBook = 1;                      // entries of the list, which travels whole: no book is kept
constexpr std::size_t kFileBuffer = 1 << 16;  // octets

struct Failure {
    std::string step;
    std::uint32_t status;
};

// 0, or what the caller knows how to go on with.
std::uint32_t check(const char* step, std::uint32_t status)
{
    namespace codes = return_code;
    if (status != 0 && status != codes::kNoMoreMail && status != codes::kNoMorePart &&
        status != codes::kAnswerCut)
        throw Failure{step, status};
    return status;
}

struct Block {
    ~Block() { CutlCPLBOSBoundary::MemFree(octets); }
    void* octets = nullptr;
    long length = 0;
};

// Takes the octets of the part and gives them as they were before they were encoded.
void take_decoded(CntsPOP3ReceiveMailPart& part, Block& decoded)
{
    Block piece;
    if (part.GetBuffer(piece.octets, piece.length) == 0) throw Failure{"piece", 0};
    const char* const text = static_cast<const char*>(piece.octets);
    int done = 1;
    switch (part.m_eTransferEncoding) {
    case CntsMLUTLMailType::eTransferEncodingBase64:
        done = CntsMLUTLMimeUtility::FromB64(text, piece.length, decoded.octets, decoded.length);
        break;
    case CntsMLUTLMailType::eTransferEncodingQuotedPrintable:
        done = CntsMLUTLMimeUtility::FromQP(text, piece.length, decoded.octets, decoded.length);
        break;
    default:
        std::swap(decoded.octets, piece.octets);
        std::swap(decoded.length, piece.length);
        break;
    }
    if (done == 0) throw Failure{"decoding", 0};
}

// What was in one mail.
class MailFile {
public:
    MailFile(std::string path, char* buffer) : path_(std::move(path)), file_(std::fopen(path_.c_str(), "wb"))
    {
        if (file_ == nullptr) throw Failure{path_, 0};
        std::setvbuf(file_, buffer, _IOFBF, kFileBuffer);
    }
    ~MailFile()
    {
        if (file_ != nullptr) std::fclose(file_);
    }
    MailFile(const MailFile&) = delete;
    MailFile& operator=(const MailFile&) = delete;

    void add(const Block& octets)
    {
        const auto length = static_cast<std::size_t>(octets.length);
        if (std::fwrite(octets.octets, 1, length, file_) != length) throw Failure{path_, 0};
    }

    void close()
    {
        if (std::fclose(std::exchange(file_, nullptr)) != 0) throw Failure{path_, 0};
    }

private:
    std::string path_;
    std::FILE* file_;
};

class Receiver {
public:
    Receiver(CntsPOP3Boundary& session, std::string folder)
        : session_(session), folder_(std::move(folder)), buffer_(new char[kFileBuffer])
    {
    }

    void receive_numbered()
    {
        const int count = count_mails();
        for (CntsPOP3MailInfo info; info.m_nId < count;) {
            ++info.m_nId;
            receive(info);
        }
    }

    void receive_listed()
    {
        const int count = count_mails();
        CntsPOP3MailInfoList list(kBook);
        check("list", session_.List(list, 0));
        CntsPOP3MailInfo info;
        int received = 0;
        while (check("next mail", session_.ListNext(list, info)) == 0) {
            receive(info);
            ++received;
        }
        if (received != count) throw Failure{"a mail is missing", 0};
    }

private:
    using Step = std::uint32_t (CntsPOP3Boundary::*)(CntsPOP3ReceiveMail&);

    int count_mails()
    {
        int count = 0;
        check("count", session_.Stat(count));
        return count;
    }

    void receive(const CntsPOP3MailInfo& info)
    {
        CntsPOP3ReceiveMail mail(info);
        check("header", session_.ReceiveHeader(mail, 1));
        MailFile file(folder_ + "/" + std::to_string(info.m_nId), buffer_.get());
        if (mail.m_nPartDepth == 0) {
            receive_body(mail, &CntsPOP3Boundary::ReceiveBody, file);
        } else {
            receive_parts(mail, file);
        }
        file.close();
    }

    void receive_parts(CntsPOP3ReceiveMail& mail, MailFile& file)
    {
        while (mail.m_bIsHasNext != 0) {
            if (check("part", session_.ReceivePartHeader(mail, 1)) != 0) return;
            if (mail.GetPart()->m_bIsTerminate != 0) continue;  // a multipart: its parts come next
            receive_body(mail, &CntsPOP3Boundary::ReceivePartBody, file);
        }
    }

    void receive_body(CntsPOP3ReceiveMail& mail, Step step, MailFile& file)
    {
        do {
            check("piece", (session_.*step)(mail));
            Block decoded;
            take_decoded(*mail.GetPart(), decoded);
            file.add(decoded);
        } while (mail.GetPart()->m_bIsTerminate == 0);
    }

    CntsPOP3Boundary& session_;
    std::string folder_;
    std::unique_ptr<char[]> buffer_;
};

int run(int port, const char* folder, bool walk)
{
    SPOP3Setting account;
    account.c_server = "127.0.0.1";
    account.n_port = port;
    account.c_user_id = "reader";
    account.c_passwd = "anything";
    try {
        CntsPOP3Boundary session{CntsPOP3Settings(account)};
        check("connect", session.Connect());
        Receiver receiver(session, folder);
        walk ? receiver.receive_listed() : receiver.receive_numbered();
        check("close", session.Close());
    } catch (const Failure& failure) {
        std::fprintf(stderr, "receiving: %s failed: 0x%lx\n", failure.step.c_str(),
                     static_cast<unsigned long>(failure.status));
        return 1;
    }
    return 0;
}

}  // namespace

int receive_mails(int count, char** arguments)
{
    const bool walk = count == 4 && std::strcmp(arguments[3], "--walk") == 0;
    if (count != 3 && !walk)
        return std::fprintf(stderr, "usage: %s PORT FOLDER [--walk]\n", arguments[0]), 64;
    return run(std::atoi(arguments[1]), arguments[2], walk);
}
