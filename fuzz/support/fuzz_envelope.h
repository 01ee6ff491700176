// What holds of every converter between a class and its wire message.
#pragma once

#include <string>

#include "CntsMLUTLMailPart.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "ntc_email_esu_mlutl.pb.h"

namespace velorin_fuzz {

constexpr long kConverterFailed = 0x21077103;

// What an object becomes on the wire, as octets.
template <typename Message, typename Object, typename ToMessage>
std::string encoded(const Object& object, ToMessage to_message)
{
    Message message;
    require(to_message(object, message) == 0, "an object can be converted");
    return message.SerializeAsString();
}

// A message, read into an object and written again, stays what it is from then on.
//   in      fresh: makes an object; to_object, to_message: the converters
//           settle: fills in what a message that is written leaves absent and a fresh object does not
//   result  the message as the object writes it; nothing when the converter refused it
template <typename Message, typename Fresh, typename ToObject, typename ToMessage, typename Settle>
std::string stable(const Message& message, Fresh fresh, ToObject to_object, ToMessage to_message,
                   Settle settle)
{
    auto object = fresh();
    const long result = static_cast<long>(to_object(message, *object));
    require(result == 0 || result == kConverterFailed, "a converter has two results");
    const std::string first = encoded<Message>(*object, to_message);
    if (result != 0) return "";

    Message again;
    require(again.ParseFromString(first), "what is written can be read");
    auto second = fresh();
    require(to_object(again, *second) == 0, "what is written is taken back");
    settle(again);
    require(encoded<Message>(*second, to_message) == again.SerializeAsString(),
            "what is written stays what it is");
    return first;
}

template <typename Message, typename Fresh, typename ToObject, typename ToMessage>
std::string stable(const Message& message, Fresh fresh, ToObject to_object, ToMessage to_message)
{
    return stable(message, fresh, to_object, to_message, [](Message&) {});
}

// Where every absent field leaves a value.
template <typename Message, typename Fresh, typename ToObject, typename ToMessage>
void keeps_what_is_absent(const Message& message, Fresh fresh, ToObject to_object, ToMessage to_message)
{
    auto object = fresh();
    if (to_object(message, *object) != 0) return;
    const std::string before = encoded<Message>(*object, to_message);
    require(to_object(Message(), *object) == 0, "an empty message is taken");
    require(encoded<Message>(*object, to_message) == before, "an empty message changes nothing");
}

// The same without memory: no more than two results, and every block is freed.
template <typename Message, typename Fresh, typename ToObject, typename ToMessage>
void survives(const Message& message, unsigned failing, Fresh fresh, ToObject to_object, ToMessage to_message)
{
    const Platform platform(failing);
    auto object = fresh();
    const long read = static_cast<long>(to_object(message, *object));
    require(read == 0 || read == kConverterFailed, "a converter has two results");
    Message written;
    const long result = static_cast<long>(to_message(*object, written));
    require(result == 0 || result == kConverterFailed, "a converter has two results");
}

// A part on the wire tells the length of its octets, and carries no marker.
inline void check_part(const velorin::ntc_email_esu_mlutl_mail_part& part)
{
    require(part.n_length() >= 0, "a length is not negative");
    require(part.p_buffer().size() == static_cast<std::size_t>(part.n_length()),
            "a length is that of the octets");
    require(!part.has_ignore_content_xciajwnetfax(), "the marker does not travel");
    require(part.c_file_name().find('\0') == std::string::npos, "a text holds no NUL");
}

}  // namespace velorin_fuzz
