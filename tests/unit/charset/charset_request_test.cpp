// The request itself: types, pointers, lengths.
#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include "charset_support.h"

namespace {

TEST(CharsetRequest, AnUnknownTypeIsRefusedOnEitherSide)
{
    for (const int unknown : {-1, 8, 9, 10, 11, 14, 255, std::numeric_limits<std::int32_t>::min(),
                              std::numeric_limits<std::int32_t>::max()}) {
        for (const int known : kAllTypes) {
            EXPECT_EQ(convert(unknown, known, "a"), failed(UTL_LIB_CHGC_UNKNOWN_TYPE))
                << unknown << " to " << known;
            EXPECT_EQ(convert(known, unknown, "a"), failed(UTL_LIB_CHGC_UNKNOWN_TYPE))
                << known << " to " << unknown;
        }
        EXPECT_EQ(convert(unknown, unknown, "a"), failed(UTL_LIB_CHGC_UNKNOWN_TYPE)) << unknown;
    }
}

TEST(CharsetRequest, MissingPointersAreRefused)
{
    EXPECT_EQ(utl_lib_convert_encode(kUtf8Type, kJisType, nullptr), std::uint32_t{UTL_LIB_CHGC_BAD_REQUEST});
    char output[4];
    UTL_LIB_CHGC_REQUEST no_input = {nullptr, output, sizeof output, 7};
    EXPECT_EQ(utl_lib_convert_encode(kUtf8Type, kJisType, &no_input),
              std::uint32_t{UTL_LIB_CHGC_BAD_REQUEST});
    EXPECT_EQ(no_input.output_length, 0U);
    UTL_LIB_CHGC_REQUEST no_output = {"a", nullptr, 4, 7};
    EXPECT_EQ(utl_lib_convert_encode(kUtf8Type, kJisType, &no_output),
              std::uint32_t{UTL_LIB_CHGC_BAD_REQUEST});
    EXPECT_EQ(no_output.output_length, 0U);
}

TEST(CharsetRequest, NoOutputIsEnoughForAnEmptyText)
{
    for (const int from : kAllTypes) {
        for (const int to : kAllTypes) {
            UTL_LIB_CHGC_REQUEST request = {"", nullptr, 0, 7};
            EXPECT_EQ(utl_lib_convert_encode(from, to, &request), std::uint32_t{UTL_LIB_CHGC_DONE});
            EXPECT_EQ(request.output_length, 0U);
            request.input = "a";
            EXPECT_EQ(utl_lib_convert_encode(from, to, &request), std::uint32_t{UTL_LIB_CHGC_TOO_LONG});
        }
    }
}

TEST(CharsetRequest, NothingBehindTheNulIsReadAndNoNulIsWritten)
{
    const char input[] = "ab\0\xFF\xFF";
    char output[] = {'1', '2', '3', '4'};
    UTL_LIB_CHGC_REQUEST request = {input, output, sizeof output, 0};
    ASSERT_EQ(utl_lib_convert_encode(kUtf8Type, kShiftJisType, &request), std::uint32_t{UTL_LIB_CHGC_DONE});
    EXPECT_EQ(request.output_length, 2U);
    EXPECT_EQ(std::string(output, 4), "ab34");
    EXPECT_EQ(request.input, input);
}

TEST(CharsetRequest, AllAsciiTypesAreOne)
{
    for (const int from : {0, 1, 2})
        for (const int to : {0, 1, 2}) {
            EXPECT_EQ(convert(from, to, "a\x1B\x7F"), done("a\x1B\x7F"));
            EXPECT_EQ(convert(from, to, "a\x80"), failed(UTL_LIB_CHGC_MALFORMED));
        }
}

TEST(CharsetRequest, ThreadsDoNotDisturbEachOther)
{
    const std::string jis = "\x1B(I\x36\x5E\x1B$B\x46\x7C\x1B(B";
    const auto work = [&jis] {
        for (int round = 0; round < 2000; ++round) {
            ASSERT_EQ(convert_into(kXJisType, kShiftJisType, jis, 64), done("\xB6\xDE\x93\xFA"));
            ASSERT_EQ(convert_into(kXJisType, kJisType, jis, 64), done("\x1B$B\x25\x2C\x46\x7C\x1B(B"));
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
}

}  // namespace
