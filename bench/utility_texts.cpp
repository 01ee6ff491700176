// What the libraries are given, and how their results are judged.
#include <gmime/gmime.h>

#include <cstdint>

#include "utility_contests.h"

namespace velorin_bench {

namespace {

constexpr std::size_t kColumns = 76;      // of a header line and of an encoded body (RFC 2045, RFC 2047)
constexpr std::size_t kWordColumns = 75;  // of an encoded word
constexpr std::size_t kBase64Lines = 1024;
constexpr std::size_t kTextSize = 64 * 1024;
constexpr int kListEntries = 50;
constexpr std::string_view kSubjectName = "Subject:";

std::string base64_of(const std::string& octets)
{
    const Text<g_free> text(g_base64_encode(reinterpret_cast<const guchar*>(octets.data()), octets.size()));
    return text.get();
}

std::string in_lines(const std::string& text)
{
    std::string lines;
    for (std::size_t at = 0; at < text.size(); at += kColumns) {
        if (at != 0) lines += "\r\n";
        lines.append(text, at, kColumns);
    }
    return lines;
}

std::string any_octets(std::size_t count)
{
    std::string octets;
    std::uint32_t state = 1;
    while (octets.size() < count) {
        state = state * 1664525u + 1013904223u;
        octets.push_back(static_cast<char>(static_cast<unsigned char>(state >> 24)));
    }
    return octets;
}

// Text of about kTextSize octets, in lines with something to escape on every tenth.
std::string lines_of(const std::string& line, const std::string& tenth)
{
    std::string text;
    for (int number = 1; text.size() < kTextSize; ++number) {
        text += number % 10 == 0 ? tenth : line;
        text += '\n';
    }
    return text;
}

std::string converted(const std::string& text, const char* to, const char* from)
{
    gsize length = 0;
    const Text<g_free> result(
        g_convert(text.data(), static_cast<gssize>(text.size()), to, from, nullptr, &length, nullptr));
    return result ? std::string(result.get(), length) : std::string();
}

std::string folded_words(const std::vector<std::string>& parts, const char* name)
{
    std::string words;
    for (const std::string& part : parts) {
        if (!words.empty()) words += "\r\n\t";
        words += std::string("=?") + name + "?B?" + base64_of(converted(part, name, "utf-8")) + "?=";
    }
    return words;
}

std::string quoted(const std::string& text)
{
    std::string encoded(3 * text.size() + 128, '\0');
    int state = -1;
    guint32 save = 0;
    encoded.resize(
        g_mime_encoding_quoted_encode_close(reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                                            reinterpret_cast<unsigned char*>(encoded.data()), &state, &save));
    return encoded;
}

std::string unquoted(const std::string& text)
{
    std::string decoded(text.size() + 128, '\0');
    int state = 0;
    guint32 save = 0;
    decoded.resize(
        g_mime_encoding_quoted_decode_step(reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                                           reinterpret_cast<unsigned char*>(decoded.data()), &state, &save));
    return decoded;
}

std::vector<std::string> lines_in(const std::string& text)
{
    std::vector<std::string> lines(1);
    for (const char c : text) {
        if (c == '\n') {
            lines.emplace_back();
        } else if (c != '\r' && c != '\0') {
            lines.back().push_back(c);
        }
    }
    if (lines.back().empty()) lines.pop_back();
    return lines;
}

bool fit(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines) {
        if (line.size() > kColumns) return false;
    }
    return true;
}

// A header line whose words hold the limits and whole characters, and say together what they should.
bool says(const std::string& pieces, const std::string& text)
{
    const std::vector<std::string> lines = lines_in(pieces);
    if (!fit(lines)) return false;
    std::string whole;
    for (const std::string& line : lines) {
        if (line == kSubjectName) continue;  // may stand on a line of its own
        const std::size_t begin = line.find("=?");
        if (begin == std::string::npos || line.size() - begin > kWordColumns) return false;
        const Text<g_free> word(g_mime_utils_header_decode_text(nullptr, line.c_str() + begin));
        if (g_utf8_validate(word.get(), -1, nullptr) == 0) return false;
        whole += word.get();
    }
    return pieces.compare(0, kSubjectName.size(), kSubjectName) == 0 && whole == text;
}

bool is_base64_of(const std::string& pieces, const std::string& octets)
{
    gsize length = 0;
    const std::unique_ptr<guchar, FreeBlock<g_free>> decoded(g_base64_decode(pieces.c_str(), &length));
    return fit(lines_in(pieces)) &&
           std::string_view(reinterpret_cast<const char*>(decoded.get()), length) == octets;
}

bool is_quoted(const std::string& pieces, const std::string& text)
{
    return fit(lines_in(pieces)) && unquoted(pieces.substr(0, pieces.size() - 1)) == text;
}

// A header that names all that the mail has, whatever the case of its fields and where its lines are folded.
bool is_header(const std::string& pieces)
{
    const MailTexts texts;
    std::string header;
    for (const std::string& line : lines_in(pieces)) {
        for (const char c : line) {
            const bool is_blank = c == ' ' || c == '\t' || c == '"';
            if (!is_blank) header.push_back(g_ascii_tolower(c));
        }
    }
    std::vector<std::string> wanted = {texts.from,
                                       texts.to[0],
                                       texts.to[1],
                                       texts.to[2],
                                       texts.subject,
                                       "5 Mar 2024 10:20:30 +0900",
                                       texts.message_id,
                                       "Mime-Version: 1.0",
                                       "Content-Type: text/plain",
                                       "utf-8",
                                       "Content-Transfer-Encoding: 8bit"};
    for (std::string& text : wanted) {
        std::string plain;
        for (const char c : text) {
            if (c != ' ' && c != '"') plain.push_back(g_ascii_tolower(c));
        }
        if (header.find(plain) == std::string::npos) return false;
    }
    return true;
}

std::string joined(const std::vector<std::string>& pieces)
{
    std::string all;
    for (const std::string& piece : pieces) {
        all += piece;
        all += '\0';
    }
    return all;
}

}  // namespace

UtilityTexts::UtilityTexts()
{
    // Fifteen characters fill a word, and their base64 has no padding either way, at which GMime would end
    // neighbouring words.
    const std::vector<std::string> parts = {
        "第三営業部からのお知らせです。", "来週の定例会議は月曜日の午前十", "時から二階の大会議室で行います",
        "ので、資料と議事録の案をまとめ", "て土曜日までに総務課へお送りく"};
    for (const std::string& part : parts) {
        subject += part;
    }
    subject_utf8 = folded_words(parts, "utf-8");
    subject_jis = folded_words(parts, "iso-2022-jp");
    long_subject = "四半期報告書の提出期限と必要な添付書類の一覧について、経理部からのお知らせです。";
    while (long_subject.size() < 114) {
        long_subject += "。";
    }
    for (int number = 0; number < kListEntries; ++number) {
        const std::string digits = std::to_string(number);
        addresses.push_back("reader" + digits + "@mail" + digits + ".example.org");
        if (number != 0) list += ", ";
        list += number % 2 == 0 ? "\"Reader, Number " + digits + "\"" : "Reader Number " + digits;
        list += " <" + addresses.back() + ">";
    }
    octets = any_octets(kBase64Lines * kColumns / 4 * 3);
    base64 = in_lines(base64_of(octets));
    ascii = lines_of("The scanned pages of the second floor are kept for thirty days.",
                     "Pages = 12, kept = 30 days.");
    japanese = lines_of("二階で読み取った原稿は、三十日の間、保管されます。", "枚数 = 12、日数 = 30。");
    ascii_quoted = quoted(ascii);
    japanese_quoted = quoted(japanese);
}

UtilityContests::UtilityContests(const UtilityTexts& texts)
    : decode_utf8("5 words decoded, utf-8", exactly(texts.subject)),
      decode_jis("5 words decoded, iso-2022-jp", exactly(texts.subject)),
      encode("subject encoded, 114 octets",
             [&texts](const std::string& pieces) { return says(pieces, texts.long_subject); }),
      walk("50 addresses walked",
           [expected = joined(texts.addresses)](const std::string& pieces) { return pieces == expected; }),
      compose("header composed, 3 readers", is_header),
      to_b64(
          "ToB64, 76 columns",
          [&texts](const std::string& pieces) { return is_base64_of(pieces, texts.octets); },
          texts.octets.size()),
      from_b64("FromB64, broken lines", exactly(texts.octets), texts.octets.size()),
      to_qb_ascii(
          "ToQB, ASCII", [&texts](const std::string& pieces) { return is_quoted(pieces, texts.ascii); },
          texts.ascii.size()),
      to_qb_japanese(
          "ToQB, Japanese", [&texts](const std::string& pieces) { return is_quoted(pieces, texts.japanese); },
          texts.japanese.size()),
      from_qp_ascii("FromQP, ASCII", exactly(texts.ascii), texts.ascii.size()),
      from_qp_japanese("FromQP, Japanese", exactly(texts.japanese), texts.japanese.size())
{
}

std::vector<Contest*> UtilityContests::all()
{
    return {&decode_utf8, &decode_jis,  &encode,         &walk,          &compose,         &to_b64,
            &from_b64,    &to_qb_ascii, &to_qb_japanese, &from_qp_ascii, &from_qp_japanese};
}

}  // namespace velorin_bench
