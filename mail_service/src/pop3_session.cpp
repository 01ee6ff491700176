#include "pop3_session.h"

#include <algorithm>
#include <utility>

#include "CntsMLUTLMailType.h"
#include "ntc_email_esu_mlutl.pb.h"
#include "ntc_email_esu_pop3.pb.h"
#include "velorin_mail_service.h"

#include "last_reply.h"
#include "mail_answer.h"
#include "mail_list.h"
#include "pop3_login.h"
#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::uint32_t kQuitTimeout = 5;  // seconds; nobody waits longer for a farewell
constexpr std::uint64_t kMaxCount = 0x7FFFFFFF;

std::uint32_t farewell_timeout(const ServerAccount& account)
{
    return std::min(kQuitTimeout, account.command_timeout);
}

std::string with_number(const char* command, std::uint32_t number)
{
    return std::string(command) + " " + std::to_string(number);
}

// Of a mail that is given as the server has it.
PartFacts facts_of_whole_mail()
{
    PartFacts facts;
    facts.content_type = kContentTypeWholeMail;
    facts.transfer_encoding = CntsMLUTLMailType::eTransferEncoding8bit;
    facts.is_text = false;
    return facts;
}

}  // namespace

Pop3Session::Pop3Session(const SessionRules& rules, const ntc_email_esu_pop3_settings& settings,
                         std::shared_ptr<LastReply> last_reply)
    : rules_(rules), last_reply_(std::move(last_reply)), own_address_(settings.c_address().c_address()),
      account_code_(read_account(settings, rules.command_timeout, account_)),
      connection_(rules.make_connection(cancel_signal(), *last_reply_))
{
}

Pop3Session::~Pop3Session() = default;

void Pop3Session::drop() noexcept
{
    connection_->drop();
    reader_.reset();
    dialogue_.reset();
    mailbox_.forget();
    part_ = CurrentPart();
    deleted_ = false;
    state_ = State::apart;
}

// After an operation: a connection that has gone takes everything with it, and one that nobody understands
// goes.
std::uint32_t Pop3Session::settle(std::uint32_t code)
{
    if (!connection_->is_open() || code == kReplyMalformed || code == kLimitReached) drop();
    return code;
}

void Pop3Session::mail_over()
{
    reader_.reset();
    part_ = CurrentPart();
    state_ = State::connected;
}

std::uint32_t Pop3Session::open(ServerConnection& connection)
{
    last_reply_->forget();
    if (account_code_ != 0) return account_code_;
    return open_pop3(connection, account_, rules_.opening, *last_reply_);
}

std::uint32_t Pop3Session::test()
{
    if (state_ != State::apart) return kWrongOrder;
    const auto connection = rules_.make_connection(cancel_signal(), *last_reply_);
    if (const std::uint32_t code = open(*connection)) return code;
    Pop3Dialogue(*connection, *last_reply_, account_.command_timeout).leave(farewell_timeout(account_));
    return 0;
}

std::uint32_t Pop3Session::connect()
{
    if (state_ != State::apart) return kWrongOrder;
    if (const std::uint32_t code = open(*connection_)) return code;
    dialogue_.emplace(*connection_, *last_reply_, account_.command_timeout);
    state_ = State::connected;
    return 0;
}

std::uint32_t Pop3Session::stat(std::int32_t& count)
{
    count = 0;
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    if (const std::uint32_t code = dialogue_->command("STAT", kCommandRefused)) return settle(code);
    std::string_view text = dialogue_->text();
    std::uint64_t number = 0;
    std::uint64_t octets = 0;
    const bool sound = take_number(text, kMaxCount, number) && text.substr(0, 1) == " " &&
                       (text.remove_prefix(1), take_number(text, UINT64_MAX, octets)) &&
                       (text.empty() || text.front() == ' ');
    if (!sound) return settle(kReplyMalformed);
    count = static_cast<std::int32_t>(number);
    return 0;
}

std::uint32_t Pop3Session::noop()
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    return settle(dialogue_->command("NOOP", kCommandRefused));
}

std::uint32_t Pop3Session::list(const List& list, List& answer, std::size_t room)
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    if (!mailbox_.listed()) {
        if (const std::uint32_t code = mailbox_.ask(*dialogue_)) return settle(code);
    }
    return update_list(list, mailbox_, less(room, kAroundList), answer);
}

std::uint32_t Pop3Session::list_next(const List& list, const Info& info, List& answer, Info& next,
                                     std::size_t room)
{
    if (state_ != State::connected) return kWrongOrder;
    const Info* best = nullptr;
    for (const Info& entry : list.c_list()) {
        if (entry.n_status() != kRegistered || entry.n_id() <= info.n_id()) continue;
        if (best == nullptr || entry.n_id() < best->n_id()) best = &entry;
    }
    // The caller's list is in the answer already.
    const std::uint32_t cut = answer.c_list_size() < list.c_list_size() ? kAnswerCut : 0;
    if (best != nullptr) {
        next = *best;
        return cut;
    }
    if (!mailbox_.listed()) {
        last_reply_->forget();
        if (const std::uint32_t code = mailbox_.ask(*dialogue_)) return settle(code);
    }
    const auto above = static_cast<std::uint32_t>(std::max(info.n_id(), 0));
    const Mailbox::Mail* const mail = next_unlisted(list, mailbox_, above);
    if (mail == nullptr) return kNoMoreMail;
    put_info(mailbox_, *mail, kRegistered, next);
    mailbox_.mark_handed_out(mail->number);
    const bool room_in_list = answer.c_list_size() < list.n_max_list_size();
    const std::size_t used = answer.ByteSizeLong() + entry_size(next) + kAroundList;
    if (room_in_list && used <= room) *answer.add_c_list() = next;
    return cut;
}

// The mail that a caller means, as it stands on the server now.
std::uint32_t Pop3Session::look_up(const Info& info, const Mailbox::Mail*& mail)
{
    mail = nullptr;
    if (!mailbox_.listed()) {
        if (const std::uint32_t code = mailbox_.ask(*dialogue_)) return code;
    }
    if (info.n_id() > 0) mail = mailbox_.by_number(static_cast<std::uint32_t>(info.n_id()));
    const std::string& uid = info.c_uniq_id();
    if (uid.empty()) {
        if (mail != nullptr && info.n_size() != 0 && info.n_size() != mail->size) mail = nullptr;
    } else if (mail == nullptr || mailbox_.uid_of(*mail) != uid) {
        const std::vector<const Mailbox::Mail*> copies = mailbox_.by_uid(uid);
        mail = copies.size() == 1 ? copies.front() : nullptr;
    }
    return mail != nullptr ? 0 : kNoSuchMail;
}

// A number alone says too little: it is another mail's on the next connection. It counts where the server has
// nothing else, for a mail that this connection has shown to the caller.
bool Pop3Session::may_be_deleted(const Info& info, const Mailbox::Mail& mail) const
{
    return mailbox_.has_uids() ? !info.c_uniq_id().empty() : mail.handed_out;
}

// Whether a caller means the mail under way.
bool Pop3Session::is_current(const Mail& mail) const
{
    const Info& info = mail.c_mail_info();
    return state_ == State::reading && info.n_id() == static_cast<std::int32_t>(number_) &&
           info.c_uniq_id() == uid_;
}

std::uint32_t Pop3Session::retrieve(const Mail& mail, bool convert, Mail& answer, std::size_t room,
                                    bool top_only)
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    const Mailbox::Mail* meant = nullptr;
    if (const std::uint32_t code = look_up(mail.c_mail_info(), meant)) return settle(code);
    const std::uint32_t code =
        top_only ? dialogue_->command(with_number("TOP", meant->number) + " 0", kCommandRefused)
                 : dialogue_->command(with_number("RETR", meant->number), kNoSuchMail);
    if (code != 0) return settle(code);
    reader_.emplace(*dialogue_, meant->size);
    HeaderBlock header;
    part_ = CurrentPart();
    const bool as_it_is = !top_only && mail.my_part().e_content_type() == kContentTypeWholeMail;
    if (as_it_is) {
        part_.facts = facts_of_whole_mail();
    } else {
        if (const std::uint32_t failure = reader_->read_header(header)) return settle(failure);
        part_.facts = read_facts(header, convert, false);
    }
    if (top_only) {
        if (const std::uint32_t failure = reader_->skip_mail()) return settle(failure);
    } else {
        reader_->enter(part_.facts);
        state_ = State::reading;
        number_ = meant->number;
        uid_ = std::string(mailbox_.uid_of(*meant));
        multipart_ = reader_->depth() > 0;
        if (!multipart_) begin_body();
    }
    put_info(mailbox_, *meant, mail.c_mail_info().n_status(), *answer.mutable_c_mail_info());
    mailbox_.mark_handed_out(meant->number);
    put_kinds(part_.facts, *answer.mutable_my_part());
    put_place(*reader_, answer);
    put_boundaries(*reader_, answer);
    TextFitter fitter;
    add_texts(part_.facts, *answer.mutable_my_part(), fitter);
    add_header(header, part_.facts, convert, answer, fitter);
    const bool whole = fitter.fit(less(room, kAroundMail + answer.ByteSizeLong()));
    if (top_only) mail_over();
    return whole && !header.cut() ? 0 : kAnswerCut;
}

std::uint32_t Pop3Session::receive_header(const Mail& mail, bool convert, Mail& answer, std::size_t room)
{
    return retrieve(mail, convert, answer, room, false);
}

std::uint32_t Pop3Session::receive_header_only(const Mail& mail, bool convert, Mail& answer, std::size_t room)
{
    return retrieve(mail, convert, answer, room, true);
}

void Pop3Session::begin_body()
{
    PieceCutter::Coding coding =
        part_.facts.is_text ? PieceCutter::Coding::text : PieceCutter::Coding::octets;
    if (part_.facts.transfer_encoding == 2) coding = PieceCutter::Coding::base64;
    if (part_.facts.transfer_encoding == 3) coding = PieceCutter::Coding::quoted_printable;
    part_.cutter.emplace(coding, part_.facts.char_set, dialogue_->lf_lines());
    part_.state = PartState::body;
}

std::uint32_t Pop3Session::next_piece(Mail& answer, std::size_t room)
{
    dialogue_->restart_clock();
    ntc_email_esu_mlutl_mail_part& piece = *answer.mutable_p_part()->mutable_p_part();
    put_kinds(part_.facts, piece);
    put_short_texts(part_.facts, piece);
    put_place(*reader_, answer);
    piece.set_is_terminate(false);
    piece.set_n_length(0);
    const std::size_t around = kAroundMail + answer.ByteSizeLong();
    if (room < around + 256) return kInternalFailure;  // no library of ours has a buffer that small
    const std::size_t limit = room - around;

    std::string octets;
    bool last = part_.last_sent;
    if (!last) {
        const std::uint32_t code = reader_->read_body(part_.pending, limit, part_.cutter->keeps_stuffing());
        if (code != 0) {
            answer.Clear();
            return settle(code);
        }
        last = reader_->body_over() && part_.cutter->take_rest(part_.pending, limit, octets);
        if (!last) {
            const std::size_t at_most = std::min(limit, part_.pending.size() - 1);
            part_.pending.erase(0, part_.cutter->cut(part_.pending, at_most, octets));
        }
    }
    std::uint32_t code = 0;
    if (last) {
        // An answer with the stack in it has less room for octets.
        if (!part_.last_sent && octets.size() + size_of_boundaries(*reader_) > limit) {
            part_.last_sent = true;
            part_.pending.clear();
        } else {
            const std::size_t depth = reader_->depth();
            code = reader_->finish_part();
            put_place(*reader_, answer);
            if (code != 0) answer.set_is_has_next(false);
            if (reader_->depth() != depth) put_boundaries(*reader_, answer);
            piece.set_is_terminate(true);
            part_.state = PartState::over;
        }
    }
    piece.set_n_length(static_cast<std::int32_t>(octets.size()));
    if (!octets.empty()) piece.set_p_buffer(std::move(octets));  // the library's queue takes no empty block
    if (code == 0 && !reader_->has_next()) mail_over();
    return settle(code);
}

std::uint32_t Pop3Session::receive_body(const Mail& mail, Mail& answer, std::size_t room)
{
    if (!is_current(mail) || multipart_) return kWrongOrder;
    return next_piece(answer, room);
}

std::uint32_t Pop3Session::receive_part_header(const Mail& mail, bool convert, Mail& answer, std::size_t room)
{
    if (!is_current(mail) || !multipart_) return kWrongOrder;
    dialogue_->restart_clock();
    HeaderBlock header;
    bool implied = false;
    if (const std::uint32_t code = reader_->next_part(header, implied)) return settle(code);
    if (!reader_->has_next()) {
        put_place(*reader_, answer);
        mail_over();
        return kNoMorePart;
    }
    part_ = CurrentPart();
    const std::size_t depth = reader_->depth();
    if (!implied) {
        part_.facts = read_facts(header, convert, reader_->in_digest());
        reader_->enter(part_.facts);
    }
    const bool nested = reader_->depth() > depth;
    if (nested) {
        part_.state = PartState::multipart;
    } else {
        begin_body();
    }
    ntc_email_esu_mlutl_mail_part& part = *answer.mutable_p_part()->mutable_p_part();
    put_kinds(part_.facts, part);
    part.set_is_terminate(nested);
    put_place(*reader_, answer);
    put_boundaries(*reader_, answer);
    TextFitter fitter;
    add_texts(part_.facts, part, fitter);
    const bool whole = fitter.fit(less(room, kAroundMail + answer.ByteSizeLong()));
    return whole && !header.cut() ? 0 : kAnswerCut;
}

std::uint32_t Pop3Session::receive_part_body(const Mail& mail, Mail& answer, std::size_t room)
{
    if (!is_current(mail) || !multipart_) return kWrongOrder;
    if (part_.state == PartState::body) return next_piece(answer, room);
    if (part_.state != PartState::multipart) return kWrongOrder;
    ntc_email_esu_mlutl_mail_part& part = *answer.mutable_p_part()->mutable_p_part();
    put_kinds(part_.facts, part);
    put_short_texts(part_.facts, part);
    part.set_n_length(0);
    part.set_is_terminate(true);
    put_place(*reader_, answer);
    return 0;
}

std::uint32_t Pop3Session::skip_mail(const Mail& mail, Mail& answer)
{
    if (!is_current(mail)) return kWrongOrder;
    dialogue_->restart_clock();
    if (const std::uint32_t code = reader_->skip_mail()) return settle(code);
    put_place(*reader_, answer);
    mail_over();
    return 0;
}

std::uint32_t Pop3Session::skip_part(const Mail& mail, Mail& answer, std::size_t room)
{
    if (!is_current(mail) || part_.state == PartState::over) return kWrongOrder;
    dialogue_->restart_clock();
    if (const std::uint32_t code = reader_->skip_part()) return settle(code);
    part_.state = PartState::over;
    part_.pending.clear();
    put_place(*reader_, answer);
    if (size_of_boundaries(*reader_) + kAroundMail + answer.ByteSizeLong() <= room)
        put_boundaries(*reader_, answer);
    if (!reader_->has_next()) mail_over();
    return 0;
}

std::uint32_t Pop3Session::delete_number(std::uint32_t number)
{
    if (const std::uint32_t code = dialogue_->command(with_number("DELE", number), kCommandRefused))
        return code;
    mailbox_.mark_deleted(number);
    deleted_ = true;
    return 0;
}

std::uint32_t Pop3Session::remove(const Mail& mail)
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    const Mailbox::Mail* meant = nullptr;
    if (const std::uint32_t code = look_up(mail.c_mail_info(), meant)) return settle(code);
    if (!may_be_deleted(mail.c_mail_info(), *meant)) return kNoSuchMail;
    return settle(delete_number(meant->number));
}

// Asks the server again which unique id a number has.
std::uint32_t Pop3Session::confirm(const Mailbox::Mail& mail)
{
    if (const std::uint32_t code = dialogue_->command(with_number("UIDL", mail.number), kNoSuchMail))
        return code;
    std::uint32_t number = 0;
    std::string_view uid;
    const bool same = read_uid_line(dialogue_->text(), number, uid) && number == mail.number &&
                      uid == mailbox_.uid_of(mail);
    return same ? 0 : kNoSuchMail;
}

std::uint32_t Pop3Session::remove_by_uid(const List& list, List& answer, std::size_t room)
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    const bool fresh = !mailbox_.listed();
    if (fresh) {
        if (const std::uint32_t code = mailbox_.ask(*dialogue_)) return settle(code);
    }
    List left;
    left.set_n_max_list_size(list.n_max_list_size());
    std::uint32_t first_code = 0;
    const auto fail = [&](std::uint32_t code) {
        if (first_code == 0) first_code = code;
        return code;
    };
    for (const Info& entry : list.c_list()) {
        bool gone = false;
        if (entry.n_status() == kToRemove && !mailbox_.has_uids()) {
            fail(kNoUniqueIds);
        } else if (entry.n_status() == kToRemove && !mailbox_.by_uid(entry.c_uniq_id()).empty()) {
            const Mailbox::Mail* mail = nullptr;
            std::uint32_t code = look_up(entry, mail);
            if (code == 0 && !fresh) code = confirm(*mail);
            if (code == 0) code = delete_number(mail->number);
            // Without QUIT none of the deletions holds, those before this one either.
            if (!connection_->is_open()) return settle(code);
            gone = code == 0;
            if (!gone) fail(code);
        }
        if (!gone) *left.add_c_list() = entry;
    }
    const std::uint32_t code = put_list(left, less(room, kAroundList), answer);
    return first_code != 0 ? first_code : code;
}

std::uint32_t Pop3Session::close()
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    // The deletions hold from here on, whoever ends the session.
    set_awaits_verdict(true);
    const std::uint32_t timeout =
        deleted_ ? std::max(rules_.data_timeout, account_.command_timeout) : account_.command_timeout;
    const std::uint32_t code = dialogue_->command("QUIT", deleted_ ? kNotDeleted : kCommandRefused, timeout);
    drop();
    return code;
}

void Pop3Session::quit()
{
    if (state_ == State::connected && !deleted_) dialogue_->leave(farewell_timeout(account_));
    drop();
}

}  // namespace velorin::service
