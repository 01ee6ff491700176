#include "capture.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "channel_frame.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

constexpr char kMagic[4] = {'N', 'T', 'C', 1};
constexpr std::size_t kHeaderSize = 56;
constexpr std::uint32_t kHasRequest = 1;
constexpr std::uint32_t kHasAnswer = 2;
constexpr std::size_t kReadStep = 65536;  // octets; memory follows what the file really holds

//   result  -1: nothing is recorded
int open_capture()
{
    const char* const path = std::getenv("VELORIN_CAPTURE");
    if (path == nullptr || *path == '\0') return -1;
    const int file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    struct stat found {};
    if (file < 0 || fstat(file, &found) != 0) {
        CHANNEL_TRACE("capture: %s: %s\n", path, strerrordesc_np(errno));
        return -1;
    }
    // Mails' subjects and addresses are in it: a file that was there with more rights loses them.
    if (S_ISREG(found.st_mode) && (found.st_mode & 07777) != 0600 && fchmod(file, 0600) != 0) {
        CHANNEL_TRACE("capture: %s: %s\n", path, strerrordesc_np(errno));
        close(file);
        return -1;
    }
    return file;
}

int capture_file()
{
    static const int file = open_capture();
    return file;
}

void append_uint32(std::string& out, std::uint32_t value)
{
    char octets[4];
    put_uint32(octets, value);
    out.append(octets, sizeof octets);
}

void append_uint64(std::string& out, std::uint64_t value)
{
    char octets[8];
    put_uint64(octets, value);
    out.append(octets, sizeof octets);
}

void append_record(const std::string& endpoint, std::int64_t time_us, std::uint64_t duration_ns,
                   std::uint32_t code, const void* request, std::uint32_t request_length, const void* answer,
                   std::uint32_t answer_length)
{
    const EnvelopeKind kind = envelope_kind(endpoint);
    std::string request_record;
    std::string answer_record;
    std::uint32_t flags = 0;
    if (redact_envelope(kind, static_cast<const char*>(request), request_length, request_record)) {
        flags |= kHasRequest;
    }
    if (code == 0 && redact_envelope(kind, static_cast<const char*>(answer), answer_length, answer_record)) {
        flags |= kHasAnswer;
    }
    const std::size_t total = kHeaderSize + endpoint.size() + request_record.size() + answer_record.size();
    if (total > std::numeric_limits<std::uint32_t>::max()) return;
    std::string record(kMagic, sizeof kMagic);
    record.reserve(total);
    append_uint32(record, static_cast<std::uint32_t>(total));
    append_uint64(record, static_cast<std::uint64_t>(time_us));
    append_uint64(record, duration_ns);
    append_uint32(record, static_cast<std::uint32_t>(getpid()));
    append_uint32(record, code);
    append_uint32(record, flags);
    append_uint32(record, request_length);
    append_uint32(record, answer_length);
    append_uint32(record, static_cast<std::uint32_t>(endpoint.size()));
    append_uint32(record, static_cast<std::uint32_t>(request_record.size()));
    append_uint32(record, static_cast<std::uint32_t>(answer_record.size()));
    record += endpoint;
    record += request_record;
    record += answer_record;
    // One write: records of several threads and processes do not mix in a file that is appended to.
    ssize_t written = 0;
    do {
        written = write(capture_file(), record.data(), record.size());
    } while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(record.size())) return;
    CHANNEL_TRACE("capture: a record was not written whole: %s\n",
                  written < 0 ? strerrordesc_np(errno) : "the medium is full");
}

// Reads that many octets.
bool read_text(std::FILE* file, std::uint32_t length, std::string& text)
{
    text.clear();
    while (text.size() < length) {
        const std::size_t have = text.size();
        const std::size_t left = length - have;
        const std::size_t step = left < kReadStep ? left : kReadStep;
        text.resize(have + step);
        const std::size_t taken = std::fread(&text[have], 1, step, file);
        text.resize(have + taken);
        if (taken < step) return false;
    }
    return true;
}

}  // namespace

bool read_capture_record(std::FILE* file, CaptureRecord& record, std::string& error)
{
    error.clear();
    char header[kHeaderSize];
    const std::size_t taken = std::fread(header, 1, sizeof header, file);
    if (std::ferror(file) != 0) {
        error = "the capture file cannot be read";
        return false;
    }
    if (taken == 0) return false;
    if (taken >= sizeof kMagic && std::memcmp(header, kMagic, sizeof kMagic) != 0) {
        error = "this is no capture file, or it is damaged here";
        return false;
    }
    if (taken < sizeof header) {
        error = "the capture file ends in the middle of a record";
        return false;
    }
    CaptureRecord read;
    const std::uint32_t total = get_uint32(header + 4);
    read.time_us = static_cast<std::int64_t>(get_uint64(header + 8));
    read.duration_ns = get_uint64(header + 16);
    read.pid = get_uint32(header + 24);
    read.code = get_uint32(header + 28);
    const std::uint32_t flags = get_uint32(header + 32);
    read.request_size = get_uint32(header + 36);
    read.answer_size = get_uint32(header + 40);
    const std::uint32_t endpoint_length = get_uint32(header + 44);
    const std::uint32_t request_length = get_uint32(header + 48);
    const std::uint32_t answer_length = get_uint32(header + 52);
    if (std::uint64_t{kHeaderSize} + endpoint_length + request_length + answer_length != total) {
        error = "a record of the capture file contradicts itself";
        return false;
    }
    read.has_request = (flags & kHasRequest) != 0;
    read.has_answer = (flags & kHasAnswer) != 0;
    if (!read_text(file, endpoint_length, read.endpoint) || !read_text(file, request_length, read.request) ||
        !read_text(file, answer_length, read.answer)) {
        error = "the capture file ends in the middle of a record";
        return false;
    }
    record = std::move(read);
    return true;
}

bool capture_enabled()
{
    return capture_file() >= 0;
}

void capture_exchange(const std::string& endpoint, std::int64_t time_us, std::uint64_t duration_ns,
                      std::uint32_t code, const void* request, std::uint32_t request_length,
                      const void* answer, std::uint32_t answer_length)
{
    try {
        append_record(endpoint, time_us, duration_ns, code, request, request_length, answer, answer_length);
    } catch (const std::bad_alloc&) {
        CHANNEL_TRACE("capture: no memory for a record\n");
    }
}

}  // namespace velorin_channel
