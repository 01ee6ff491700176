#include "trace_text.h"

#include <cstdint>
#include <cstring>
#include <ctime>

#include "velorin_mail_service.h"

#include "capture.h"
#include "envelope_text.h"
#include "report.h"

namespace velorin::cli {

namespace {

// "2026-01-31 12:00:00.123456", local time.
std::string time_text(std::int64_t microseconds)
{
    const auto seconds = static_cast<std::time_t>(microseconds / 1000000);
    struct tm local = {};
    char text[48] = {};
    if (::localtime_r(&seconds, &local) == nullptr ||
        std::strftime(text, 24, "%Y-%m-%d %H:%M:%S", &local) == 0)
        return "unknown time";
    std::snprintf(text + std::strlen(text), 12, ".%06ld", static_cast<long>(microseconds % 1000000));
    return text;
}

std::string code_text(std::uint32_t code)
{
    if (code == 0) return "ok";
    const ReturnCode* const row = find_return_code(code);
    return std::string(row != nullptr ? row->name : "unknown code") + " (" + hex_of(code) + ")";
}

std::string result_text(const velorin_channel::CaptureRecord& record, const ExchangeText& exchange)
{
    if (record.code != 0) return "channel failed (" + hex_of(record.code) + ")";
    return exchange.has_retcode ? code_text(exchange.retcode) : "answer not recorded";
}

void print_text(const velorin_channel::CaptureRecord& record, const ExchangeText& exchange, std::FILE* out)
{
    const std::string protocol = exchange.protocol.empty() ? record.endpoint : exchange.protocol;
    const std::string method = exchange.method.empty() ? "request not recorded" : exchange.method;
    std::fprintf(
        out, "%s %lu %s %s: %s, %.3f ms, request %lu, answer %lu octets\n", time_text(record.time_us).c_str(),
        static_cast<unsigned long>(record.pid), printable(protocol).c_str(), method.c_str(),
        result_text(record, exchange).c_str(), static_cast<double>(record.duration_ns) / 1e6,
        static_cast<unsigned long>(record.request_size), static_cast<unsigned long>(record.answer_size));
    for (const auto& [name, value] : exchange.fields)
        std::fprintf(out, "    %s: %s\n", name.c_str(), printable(value).c_str());
}

void print_json(const velorin_channel::CaptureRecord& record, const ExchangeText& exchange, std::FILE* out)
{
    std::string fields;
    for (const auto& [name, value] : exchange.fields)
        fields += (fields.empty() ? "" : ",") + json_string(name) + ":" + json_string(value);
    char milliseconds[32];
    std::snprintf(milliseconds, sizeof milliseconds, "%.6f", static_cast<double>(record.duration_ns) / 1e6);
    std::string object = "{\"time\":" + json_string(time_text(record.time_us));
    object += ",\"pid\":" + std::to_string(record.pid);
    object += ",\"endpoint\":" + json_string(record.endpoint);
    object += ",\"method\":" + json_string(exchange.method);
    object += ",\"fields\":{" + fields + "}";
    object += ",\"request\":" + std::to_string(record.request_size);
    object += ",\"answer\":" + std::to_string(record.answer_size);
    object += ",\"milliseconds\":" + std::string(milliseconds);
    object += ",\"channel_code\":" + json_string(hex_of(record.code));
    if (exchange.has_retcode) {
        object += ",\"retcode\":" + json_string(hex_of(exchange.retcode));
        object += ",\"result\":" + json_string(code_text(exchange.retcode));
    }
    std::fprintf(out, "%s}\n", object.c_str());
}

}  // namespace

void print_capture(std::FILE* capture, bool json, std::FILE* out, std::string& error)
{
    velorin_channel::CaptureRecord record;
    while (velorin_channel::read_capture_record(capture, record, error)) {
        const ExchangeText exchange =
            describe_exchange(record.endpoint, record.has_request ? &record.request : nullptr,
                              record.has_answer ? &record.answer : nullptr);
        if (json)
            print_json(record, exchange, out);
        else
            print_text(record, exchange, out);
    }
}

}  // namespace velorin::cli
