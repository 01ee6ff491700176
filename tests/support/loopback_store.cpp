#include "loopback_store.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace velorin_test {
namespace {

// Octets of the UTF-8 character that begins the text; 0 when none does.
std::size_t utf8_length(std::string_view text)
{
    const auto octet = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned first = octet(0);
    const std::size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (length == 0 || first > 0xF4 || length > text.size()) return 0;
    for (std::size_t at = 1; at < length; ++at)
        if ((octet(at) & 0xC0) != 0x80) return 0;
    if (length == 3 && first == 0xE0 && octet(1) < 0xA0) return 0;  // overlong
    if (length == 3 && first == 0xED && octet(1) > 0x9F) return 0;  // surrogates
    if (length == 4 && first == 0xF0 && octet(1) < 0x90) return 0;
    if (length == 4 && first == 0xF4 && octet(1) > 0x8F) return 0;
    return length;
}

bool exists(const std::string& path)
{
    struct stat unused;
    return stat(path.c_str(), &unused) == 0;
}

std::string read_file(const std::string& path)
{
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) throw std::runtime_error(path + ": " + std::strerror(errno));
    std::string octets;
    char room[65536];
    for (std::size_t count = 0; (count = std::fread(room, 1, sizeof room, file)) > 0;)
        octets.append(room, count);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) throw std::runtime_error(path + ": cannot be read");
    return octets;
}

}  // namespace

bool write_file(const std::string& path, std::string_view octets)
{
    const std::string beside = path + ".part";
    std::FILE* const file = std::fopen(beside.c_str(), "wb");
    if (file == nullptr) return false;
    bool done = std::fwrite(octets.data(), 1, octets.size(), file) == octets.size();
    done = std::fclose(file) == 0 && done;
    if (done && std::rename(beside.c_str(), path.c_str()) == 0) return true;
    const int error = errno;
    std::remove(beside.c_str());
    errno = error;
    return false;
}

void add_mails(const std::string& folder, Maildrop& maildrop)
{
    std::error_code failure;
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder, failure)) {
        if (entry.path().extension() == ".eml") names.insert(entry.path().stem().string());
    }
    if (failure) throw std::runtime_error(folder + ": " + failure.message());
    for (const std::string& name : names)
        maildrop.add(read_file(folder + "/" + name + ".eml"), name);
}

std::string json_string(std::string_view text)
{
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        const auto first = static_cast<unsigned char>(text[0]);
        if (length == 0 || first < 0x20 || first == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(first));
            json += escape;
            text.remove_prefix(1);
            continue;
        }
        if (first == '"' || first == '\\') json += '\\';
        json += text.substr(0, length);
        text.remove_prefix(length);
    }
    return json + "\"";
}

std::string envelope_json(const LoopbackMail& mail, const Conversation& conversation)
{
    std::string json = "{\n  \"from\": " + json_string(mail.from) + ",\n";
    json += "  \"parameters\": " + json_string(mail.parameters) + ",\n  \"recipients\": [";
    for (const std::string& recipient : mail.recipients)
        json += (&recipient == &mail.recipients.front() ? "" : ", ") + json_string(recipient);
    json += "],\n  \"hello\": " + json_string(conversation.hello) + ",\n";
    json += "  \"user\": " + json_string(conversation.user) + ",\n";
    json += "  \"mechanism\": " + json_string(conversation.mechanism) + ",\n";
    json += "  \"tls\": " + json_string(conversation.tls_version) + ",\n";
    json += "  \"connection\": " + std::to_string(mail.connection) + ",\n";
    json += "  \"octets\": " + std::to_string(mail.size) + ",\n";
    return json + "  \"accepted\": " + (mail.accepted ? "true" : "false") + "\n}\n";
}

MailFolder::MailFolder(std::string folder) : folder_(std::move(folder))
{
    if (mkdir(folder_.c_str(), 0777) != 0 && errno != EEXIST)
        throw std::runtime_error(folder_ + ": " + std::strerror(errno));
    if (access(folder_.c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error(folder_ + ": " + std::strerror(errno));
}

bool MailFolder::keep(const LoopbackMail& mail, const Conversation& conversation)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto path = [this](const char* kind) { return folder_ + "/" + std::to_string(next_) + kind; };
    while (exists(path(".eml")) || exists(path(".json")))
        ++next_;
    return write_file(path(".eml"), mail.octets()) &&
           write_file(path(".json"), envelope_json(mail, conversation));
}

}  // namespace velorin_test
