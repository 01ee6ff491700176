#include <openssl/evp.h>

#include "utility_contests.h"

namespace velorin_bench {

namespace {

using Context = std::unique_ptr<EVP_ENCODE_CTX, FreeBlock<EVP_ENCODE_CTX_free>>;

}  // namespace

void enter_openssl(UtilityContests& contests, const UtilityTexts& texts)
{
    // Its lines have 64 characters.
    const auto room = std::make_shared<std::vector<unsigned char>>(2 * texts.octets.size());
    const auto view = [](const std::vector<unsigned char>& octets, int length) {
        return std::string_view(reinterpret_cast<const char*>(octets.data()),
                                static_cast<std::size_t>(length));
    };
    contests.to_b64.enter("OpenSSL", [&texts, room, view](auto keep) {
        const Context context(EVP_ENCODE_CTX_new());
        EVP_EncodeInit(context.get());
        int length = 0;
        int rest = 0;
        EVP_EncodeUpdate(context.get(), room->data(), &length,
                         reinterpret_cast<const unsigned char*>(texts.octets.data()),
                         static_cast<int>(texts.octets.size()));
        EVP_EncodeFinal(context.get(), room->data() + length, &rest);
        keep(view(*room, length + rest));
    });
    contests.from_b64.enter("OpenSSL", [&texts, room, view](auto keep) {
        const Context context(EVP_ENCODE_CTX_new());
        EVP_DecodeInit(context.get());
        int length = 0;
        int rest = 0;
        EVP_DecodeUpdate(context.get(), room->data(), &length,
                         reinterpret_cast<const unsigned char*>(texts.base64.data()),
                         static_cast<int>(texts.base64.size()));
        EVP_DecodeFinal(context.get(), room->data() + length, &rest);
        keep(view(*room, length + rest));
    });
}

}  // namespace velorin_bench
