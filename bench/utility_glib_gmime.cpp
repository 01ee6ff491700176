#include <gmime/gmime.h>

#include <algorithm>

#include "utility_contests.h"

namespace velorin_bench {

namespace {

constexpr std::size_t kPiece = 39;  // octets: whole characters that fit one word behind "Subject: "

using Object = std::unique_ptr<void, FreeBlock<g_object_unref>>;

const unsigned char* octets_of(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Room for what a step writes, kept over the runs as its callers do.
class Room {
public:
    explicit Room(std::size_t size) : octets_(std::make_shared<std::string>(size, '\0')) {}
    unsigned char* begin() const { return reinterpret_cast<unsigned char*>(octets_->data()); }
    std::string_view view(std::size_t length) const { return {octets_->data(), length}; }

private:
    std::shared_ptr<std::string> octets_;
};

void enter_words(UtilityContests& contests, const UtilityTexts& texts)
{
    const auto decode = [](Contest& contest, const std::string& words) {
        contest.enter("GMime", [&words](auto keep) {
            const Text<g_free> text(g_mime_utils_header_decode_text(nullptr, words.c_str()));
            keep(std::string_view(text.get()));
        });
    };
    decode(contests.decode_utf8, texts.subject_utf8);
    decode(contests.decode_jis, texts.subject_jis);
    // Its encoder makes one word of a text, however long that becomes, so the text is given in pieces.
    contests.encode.enter("GMime", [&texts](auto keep) {
        GString* const line = g_string_new("Subject: ");
        for (std::size_t at = 0; at < texts.long_subject.size(); at += kPiece) {
            char piece[kPiece + 1];
            const std::size_t length = std::min(kPiece, texts.long_subject.size() - at);
            std::copy_n(texts.long_subject.data() + at, length, piece);
            piece[length] = '\0';
            const Text<g_free> word(g_mime_utils_header_encode_text(nullptr, piece, "utf-8"));
            if (at != 0) g_string_append(line, "\r\n\t");
            g_string_append(line, word.get());
        }
        keep(std::string_view(line->str, line->len));
        g_string_free(line, TRUE);
    });
    contests.walk.enter("GMime", [&texts](auto keep) {
        InternetAddressList* const list = internet_address_list_parse(nullptr, texts.list.c_str());
        const Object owner(list);
        const int count = internet_address_list_length(list);
        for (int index = 0; index < count; ++index) {
            InternetAddress* const address = internet_address_list_get_address(list, index);
            keep(std::string_view(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address))));
        }
    });
}

void enter_header(UtilityContests& contests)
{
    contests.compose.enter("GMime", [](auto keep) {
        const MailTexts texts;
        GMimeMessage* const message = g_mime_message_new(TRUE);
        const Object owner(message);
        GMimeObject* const header = GMIME_OBJECT(message);
        g_mime_object_set_header(header, "From", texts.from, nullptr);
        const std::string to = std::string(texts.to[0]) + ", " + texts.to[1] + ", " + texts.to[2];
        g_mime_object_set_header(header, "To", to.c_str(), nullptr);
        g_mime_object_set_header(header, "Subject", texts.subject, nullptr);
        g_mime_object_set_header(header, "Date", texts.date, nullptr);
        g_mime_message_set_message_id(message, texts.message_id);
        GMimeTextPart* const text = g_mime_text_part_new_with_subtype("plain");
        const Object part(text);
        g_mime_object_set_content_type_parameter(GMIME_OBJECT(text), "charset", "utf-8");
        g_mime_part_set_content_encoding(GMIME_PART(text), GMIME_CONTENT_ENCODING_8BIT);
        g_mime_message_set_mime_part(message, GMIME_OBJECT(text));
        const Text<g_free> octets(g_mime_object_get_headers(header, nullptr));
        keep(std::string_view(octets.get()));
    });
}

void enter_codecs(UtilityContests& contests, const UtilityTexts& texts)
{
    contests.to_b64.enter("GMime", [&texts, room = Room(2 * texts.octets.size())](auto keep) {
        int state = 0;
        guint32 save = 0;
        keep(room.view(g_mime_encoding_base64_encode_close(octets_of(texts.octets), texts.octets.size(),
                                                           room.begin(), &state, &save)));
    });
    contests.from_b64.enter("GMime", [&texts, room = Room(texts.base64.size())](auto keep) {
        int state = 0;
        guint32 save = 0;
        keep(room.view(g_mime_encoding_base64_decode_step(octets_of(texts.base64), texts.base64.size(),
                                                          room.begin(), &state, &save)));
    });
    const auto encode = [](Contest& contest, const std::string& text) {
        contest.enter("GMime", [&text, room = Room(4 * text.size())](auto keep) {
            int state = -1;
            guint32 save = 0;
            keep(room.view(g_mime_encoding_quoted_encode_close(octets_of(text), text.size(), room.begin(),
                                                               &state, &save)));
        });
    };
    encode(contests.to_qb_ascii, texts.ascii);
    encode(contests.to_qb_japanese, texts.japanese);
    const auto decode = [](Contest& contest, const std::string& text) {
        contest.enter("GMime", [&text, room = Room(text.size() + 16)](auto keep) {
            int state = 0;
            guint32 save = 0;
            keep(room.view(g_mime_encoding_quoted_decode_step(octets_of(text), text.size(), room.begin(),
                                                              &state, &save)));
        });
    };
    decode(contests.from_qp_ascii, texts.ascii_quoted);
    decode(contests.from_qp_japanese, texts.japanese_quoted);
}

}  // namespace

void enter_gmime(UtilityContests& contests, const UtilityTexts& texts)
{
    enter_words(contests, texts);
    enter_header(contests);
    enter_codecs(contests, texts);
}

// Its base64 encoder knows lines of 72 characters.
void enter_glib(UtilityContests& contests, const UtilityTexts& texts)
{
    contests.to_b64.enter("glib", [&texts, room = Room(2 * texts.octets.size())](auto keep) {
        int state = 0;
        int save = 0;
        char* const to = reinterpret_cast<char*>(room.begin());
        const gsize length =
            g_base64_encode_step(octets_of(texts.octets), texts.octets.size(), TRUE, to, &state, &save);
        keep(room.view(length + g_base64_encode_close(TRUE, to + length, &state, &save)));
    });
    contests.from_b64.enter("glib", [&texts](auto keep) {
        gsize length = 0;
        const std::unique_ptr<guchar, FreeBlock<g_free>> octets(
            g_base64_decode(texts.base64.c_str(), &length));
        keep(std::string_view(reinterpret_cast<const char*>(octets.get()), length));
    });
}

}  // namespace velorin_bench
