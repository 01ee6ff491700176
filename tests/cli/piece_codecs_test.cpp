// Encodings in pieces: the result is that of the library's one call for the whole text.
#include "piece_codecs.h"

#include <algorithm>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"

using namespace velorin;
using namespace velorin::cli;

namespace {

constexpr int kRounds = 10;

class TextSource : public OctetSource {
public:
    explicit TextSource(const std::string& text) : text_(text) {}
    bool read(char* buffer, std::size_t capacity, std::size_t& count) override
    {
        count = std::min(capacity, text_.size() - position_);
        std::memcpy(buffer, text_.data() + position_, count);
        position_ += count;
        return true;
    }

private:
    const std::string& text_;
    std::size_t position_ = 0;
};

using Codec = CodecResult (*)(OctetSource&, const OctetSink&);

std::string through(Codec codec, const std::string& text, CodecResult expected = CodecResult::kDone)
{
    TextSource source(text);
    std::string out;
    const auto keep = [&](const char* octets, std::size_t length) {
        out.append(octets, length);
        return true;
    };
    EXPECT_EQ(expected, codec(source, keep));
    return out;
}

using Decoder = int (*)(const char*, long, void*&, long&);

std::string at_once(Decoder decoder, const std::string& text)
{
    void* block = nullptr;
    long length = 0;
    EXPECT_EQ(1, decoder(text.data(), static_cast<long>(text.size()), block, length));
    const std::string octets(static_cast<const char*>(block), static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(block);
    return octets;
}

// A text of some characters, long enough for several pieces, whose cuts fall everywhere.
std::string soup(std::mt19937& random, const std::string& characters)
{
    std::string text(150000 + random() % 100000, '\0');
    for (char& c : text)
        c = characters[random() % characters.size()];
    return text;
}

}  // namespace

TEST(CliPieceCodecs, QuotedPrintableDecodesAsIfThereWereNoCut)
{
    std::mt19937 random(20261);
    const std::string mixtures[] = {std::string("=.\r\nA4x"), std::string("=.\n"),       std::string(".\n"),
                                    std::string("=4\r\n."),   std::string("a=\0.\n", 5), std::string("."),
                                    std::string("=")};
    for (int round = 0; round < kRounds; ++round) {
        for (const std::string& mixture : mixtures) {
            const std::string text = soup(random, mixture);
            ASSERT_TRUE(at_once(CntsMLUTLMimeUtility::FromQP, text) == through(decode_quoted_printable, text))
                << "round " << round << " of " << testing::PrintToString(mixture);
        }
    }
}

TEST(CliPieceCodecs, Base64DecodesAsIfThereWereNoCut)
{
    std::mt19937 random(20262);
    const std::string mixtures[] = {std::string("AZaz09+/=\r\n"), std::string("A= \n"),
                                    std::string("x\0-", 3)};
    for (int round = 0; round < kRounds; ++round) {
        for (const std::string& mixture : mixtures) {
            const std::string text = soup(random, mixture);
            const auto counted = std::count_if(text.begin(), text.end(), [](char c) {
                return CntsMLUTLMimeUtility::Base64Seed2Index(c) != 255;
            });
            const CodecResult expected = counted % 4 == 1 ? CodecResult::kCutShort : CodecResult::kDone;
            ASSERT_TRUE(at_once(CntsMLUTLMimeUtility::FromB64, text) ==
                        through(decode_base64, text, expected))
                << "round " << round << " of " << testing::PrintToString(mixture);
        }
    }
}

TEST(CliPieceCodecs, WhatWasEncodedComesBack)
{
    std::mt19937 random(20263);
    for (std::size_t size = 0; size < 400000; size = size < 200 ? size + 1 : size * 3 + random() % 7) {
        for (const unsigned values : {256u, 2u, 1u}) {
            std::string octets(size, '\0');
            for (char& c : octets)
                c = static_cast<char>(random() % values);
            const std::string base64 = through(encode_base64, octets);
            const std::string quoted = through(encode_quoted_printable, octets);
            EXPECT_TRUE(octets == through(decode_base64, base64)) << size;
            EXPECT_TRUE(octets == through(decode_quoted_printable, quoted)) << size;
            for (const std::string& text : {base64, quoted}) {
                for (std::size_t begin = 0; begin < text.size();) {
                    const std::size_t end = text.find("\r\n", begin);
                    ASSERT_NE(std::string::npos, end) << size;
                    ASSERT_LE(end - begin, 76u) << size;
                    begin = end + 2;
                }
            }
        }
    }
}

TEST(CliPieceCodecs, AFailedSinkEndsTheWork)
{
    for (const Codec codec :
         {encode_base64, decode_base64, encode_quoted_printable, decode_quoted_printable}) {
        const std::string text(300000, 'A');
        TextSource source(text);
        int calls = 0;
        EXPECT_EQ(CodecResult::kWriteFailed, codec(source, [&](const char*, std::size_t) {
                      ++calls;
                      return false;
                  }));
        EXPECT_EQ(1, calls);
    }
}
