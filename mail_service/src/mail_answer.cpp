#include "mail_answer.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "CntsMLUTLMailType.h"
#include "ntc_email_esu_mlutl.pb.h"
#include "ntc_email_esu_pop3.pb.h"

#include "header_block.h"
#include "header_text.h"
#include "mime_header.h"
#include "mime_reader.h"

namespace velorin::service {
namespace {

using Mail = ntc_email_esu_pop3_receive_mail;
using Part = ntc_email_esu_mlutl_mail_part;

constexpr std::size_t kAroundText = 10;    // octets: tags and lengths of a text, of an address included
constexpr std::size_t kShortTexts = 1024;  // octets of the texts that a piece repeats

}  // namespace

void TextFitter::add(std::string text, Kind kind, std::function<void(const std::string&)> set)
{
    entries_.push_back({std::move(text), kind, std::move(set)});
}

bool TextFitter::fit(std::size_t room)
{
    std::vector<std::size_t> order(entries_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [this](std::size_t one, std::size_t other) {
        return entries_[one].text.size() < entries_[other].text.size();
    });
    bool whole = true;
    for (std::size_t done = 0; done < order.size(); ++done) {
        Entry& entry = entries_[order[done]];
        const std::size_t share = room / (order.size() - done);
        if (entry.text.size() + kAroundText > share) {
            whole = false;
            const std::size_t limit = share - std::min(share, kAroundText);
            entry.text = std::string(entry.kind == Kind::addresses ? cut_addresses(entry.text, limit)
                                                                   : cut_text(entry.text, limit));
            if (share < kAroundText) continue;
        }
        room -= entry.text.size() + kAroundText;
        entry.set(entry.text);
    }
    entries_.clear();
    return whole;
}

void put_kinds(const PartFacts& facts, Part& part)
{
    part.set_e_content_type(facts.content_type);
    part.set_e_transfer_encoding(facts.transfer_encoding);
    part.set_e_content_disposition(facts.disposition);
    part.set_e_char_set(facts.char_set);
}

void add_texts(const PartFacts& facts, Part& part, TextFitter& fitter)
{
    const auto add = [&](const std::optional<std::string>& text, std::string* (Part::*field)()) {
        if (!text) return;
        fitter.add(*text, TextFitter::Kind::text,
                   [&part, field](const std::string& fitted) { *(part.*field)() = fitted; });
    };
    add(facts.type_text, &Part::mutable_c_content_type);
    add(facts.type_value, &Part::mutable_c_content_type_string);
    add(facts.encoding_text, &Part::mutable_c_transfer_encoding);
    add(facts.file_name, &Part::mutable_c_file_name);
    add(facts.extension, &Part::mutable_c_extension);
    add(facts.fax_marker, &Part::mutable_ignore_content_xciajwnetfax);
}

void put_short_texts(const PartFacts& facts, Part& part)
{
    std::size_t room = kShortTexts;
    const auto put = [&](const std::optional<std::string>& text, std::string* (Part::*field)()) {
        if (!text || text->size() + kAroundText > room) return;
        room -= text->size() + kAroundText;
        *(part.*field)() = *text;
    };
    put(facts.file_name, &Part::mutable_c_file_name);
    put(facts.extension, &Part::mutable_c_extension);
    put(facts.type_text, &Part::mutable_c_content_type);
    put(facts.encoding_text, &Part::mutable_c_transfer_encoding);
    put(facts.fax_marker, &Part::mutable_ignore_content_xciajwnetfax);
}

void add_header(const HeaderBlock& header, const PartFacts& facts, bool convert, Mail& mail,
                TextFitter& fitter)
{
    using Address = ntc_email_esu_mlutl_mail_address;
    const auto own = static_cast<CntsMLUTLMailType::eCharSet>(facts.char_set);
    const auto addresses = [&](const char* name, Address* (Mail::*field)()) {
        std::string value;
        if (!header.join(name, value)) return;
        fitter.add(convert ? decoded_addresses(value, own) : raw_text(value), TextFitter::Kind::addresses,
                   [&mail, field](const std::string& text) { (mail.*field)()->set_c_address(text); });
    };
    const auto text = [&](const char* name, std::string* (Mail::*field)()) {
        const auto value = header.find(name);
        if (!value) return;
        fitter.add(convert ? decoded_text(*value, own) : raw_text(*value), TextFitter::Kind::text,
                   [&mail, field](const std::string& fitted) { *(mail.*field)() = fitted; });
    };
    addresses("to", &Mail::mutable_c_to);
    addresses("from", &Mail::mutable_c_from);
    addresses("cc", &Mail::mutable_c_cc);
    addresses("disposition-notification-to", &Mail::mutable_c_notification_to);
    addresses("reply-to", &Mail::mutable_c_reply_to);
    text("subject", &Mail::mutable_c_subject);
    text("date", &Mail::mutable_c_date);
    text("message-id", &Mail::mutable_c_message_id);
    text("in-reply-to", &Mail::mutable_c_in_reply_to);
    text("references", &Mail::mutable_c_references);
    addresses("return-path", &Mail::mutable_c_return_path);
}

void put_place(const MimeReader& reader, Mail& mail)
{
    mail.set_n_part_depth(static_cast<std::int32_t>(reader.depth()));
    mail.set_is_has_next(reader.has_next());
    mail.set_is_boundary_detected(reader.boundary_detected());
}

void put_boundaries(const MimeReader& reader, Mail& mail)
{
    mail.clear_c_boundary_string();
    for (std::size_t level = 0; level < reader.depth(); ++level)
        mail.add_c_boundary_string(reader.boundary(level));
}

std::size_t size_of_boundaries(const MimeReader& reader)
{
    std::size_t size = 0;
    for (std::size_t level = 0; level < reader.depth(); ++level)
        size += reader.boundary(level).size() + 3;
    return size;
}

}  // namespace velorin::service
