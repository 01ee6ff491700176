#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "CutlCPLBMString.h"
#include "failing_new.h"

namespace {
int array_new_until_failure = -1;
}  // namespace

void fail_array_new_after(int skip)
{
    array_new_until_failure = skip;
}

void fail_no_array_new()
{
    array_new_until_failure = -1;
}

// Not inlined: the compiler would take malloc and free for a pair that does not belong together.
__attribute__((noinline)) void* operator new[](std::size_t size)
{
    if (array_new_until_failure == 0) {
        array_new_until_failure = -1;
        throw std::bad_alloc();
    }
    if (array_new_until_failure > 0) --array_new_until_failure;
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

__attribute__((noinline)) void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

__attribute__((noinline)) void operator delete[](void* block) noexcept
{
    std::free(block);
}

__attribute__((noinline)) void operator delete[](void* block, const std::nothrow_t&) noexcept
{
    std::free(block);
}

__attribute__((noinline)) void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace {

// The text with its octets, "(null)" for no text.
std::string shown(const CutlCPLBMString& text)
{
    if (text.GetString() == nullptr) return "(null)";
    return std::string(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

TEST(MString, WithoutTextIsNull)
{
    const CutlCPLBMString none;
    EXPECT_EQ(none.GetString(), nullptr);
    EXPECT_EQ(none.GetLength(), 0);
    const CutlCPLBMString from_null(nullptr);
    EXPECT_EQ(from_null.GetString(), nullptr);
    const CutlCPLBMString from_null_with_length(nullptr, 5);
    EXPECT_EQ(from_null_with_length.GetString(), nullptr);
    EXPECT_EQ(from_null_with_length.GetLength(), 0);
}

TEST(MString, EmptyTextHoldsABuffer)
{
    const CutlCPLBMString empty("");
    ASSERT_NE(empty.GetString(), nullptr);
    EXPECT_STREQ(empty.GetString(), "");
    EXPECT_EQ(empty.GetLength(), 0);
    const CutlCPLBMString of_length("abc", 0);
    ASSERT_NE(of_length.GetString(), nullptr);
    EXPECT_STREQ(of_length.GetString(), "");
    CutlCPLBMString assigned;
    assigned = empty;
    EXPECT_NE(assigned.GetString(), nullptr);
    assigned.CopyString("", -1);
    EXPECT_NE(assigned.GetString(), nullptr);
}

TEST(MString, NullAndEmptyStayApartThroughCopies)
{
    const CutlCPLBMString none;
    const CutlCPLBMString empty("");
    CutlCPLBMString text("abc");
    text = none;
    EXPECT_EQ(text.GetString(), nullptr);
    EXPECT_EQ(text.GetLength(), 0);
    text = empty;
    EXPECT_NE(text.GetString(), nullptr);
    text.CopyString(nullptr, -1);
    EXPECT_EQ(text.GetString(), nullptr);
    EXPECT_EQ(CutlCPLBMString(none).GetString(), nullptr);
    EXPECT_NE(CutlCPLBMString(empty).GetString(), nullptr);
}

TEST(MString, LengthDecidesWhatIsTaken)
{
    const struct {
        const char* label;
        const char* text;
        long length;
        std::string expected;
    } cases[] = {
        {"up to the NUL", "abc", -1, "abc"},
        {"any negative length", "abc", -77, "abc"},
        {"a part", "abcdef", 3, "abc"},
        {"NULs among it", "a\0b\0c", 5, std::string("a\0b\0c", 5)},
        {"a NUL at its end", "ab\0", 3, std::string("ab\0", 3)},
        {"octets above 127", "\xE3\x81\x82\xFF", -1, "\xE3\x81\x82\xFF"},
    };
    for (const auto& each : cases) {
        CutlCPLBMString text;
        text.CopyString(each.text, each.length);
        EXPECT_EQ(shown(text), each.expected) << each.label;
        EXPECT_EQ(text.GetString()[text.GetLength()], '\0') << each.label;
        EXPECT_EQ(shown(CutlCPLBMString(each.text, each.length)), each.expected) << each.label;
        EXPECT_EQ(shown(CutlCPLBMString(text)), each.expected) << each.label;
    }
}

TEST(MString, ReadsNothingBehindTheGivenLength)
{
    // Exact-size copy without a NUL: an octet too many is seen by the address sanitizer.
    const std::unique_ptr<char[]> exact(new char[3]{'a', 'b', 'c'});
    EXPECT_EQ(shown(CutlCPLBMString(exact.get(), 3)), "abc");
}

TEST(MString, AppendsTexts)
{
    CutlCPLBMString text;
    text += static_cast<const char*>(nullptr);
    EXPECT_EQ(text.GetString(), nullptr);
    text += CutlCPLBMString();
    EXPECT_EQ(text.GetString(), nullptr);
    text += "";
    ASSERT_NE(text.GetString(), nullptr);
    EXPECT_EQ(shown(text), "");
    text += "ab";
    text += static_cast<const char*>(nullptr);
    text += CutlCPLBMString("c\0d", 3);
    EXPECT_EQ(shown(text), std::string("abc\0d", 5));
    text += "e";
    EXPECT_EQ(shown(text), std::string("abc\0de", 6));
}

TEST(MString, ManyAppendsMakeTheWholeText)
{
    CutlCPLBMString text;
    std::string expected;
    for (int index = 0; index < 20000; ++index) {
        const std::string piece = std::to_string(index) + ",";
        text += piece.c_str();
        expected += piece;
    }
    EXPECT_EQ(shown(text), expected);
}

TEST(MString, ItsOwnTextIsASafeArgument)
{
    CutlCPLBMString text("abcdef");
    text += text;
    EXPECT_EQ(shown(text), "abcdefabcdef");
    text += text.GetString() + 9;
    EXPECT_EQ(shown(text), "abcdefabcdefdef");
    for (int round = 0; round < 3; ++round)
        text += text.GetString();  // within and beyond its room
    EXPECT_EQ(text.GetLength(), 15 * 8);
    EXPECT_EQ(shown(text).substr(105), "abcdefabcdefdef");
    text.CopyString(text.GetString() + 3, 3);
    EXPECT_EQ(shown(text), "def");
    const CutlCPLBMString& same = text;
    text = same;
    EXPECT_EQ(shown(text), "def");
}

TEST(MString, CopiesAreIndependent)
{
    CutlCPLBMString first("abc");
    CutlCPLBMString second(first);
    second += "d";
    first.ToUpper();
    EXPECT_EQ(shown(first), "ABC");
    EXPECT_EQ(shown(second), "abcd");
}

TEST(MString, TrimsBlanksTabsAndLineEnds)
{
    const struct {
        const char* text;
        const char* top;
        const char* bottom;
    } cases[] = {
        {"", "", ""},        {"abc", "abc", "abc"}, {" \t\r\nabc \t\r\n", "abc \t\r\n", " \t\r\nabc"},
        {" \t\r\n", "", ""}, {"a b", "a b", "a b"}, {"\va\f", "\va\f", "\va\f"},
    };
    for (const auto& each : cases) {
        CutlCPLBMString top(each.text);
        top.TrimTop();
        ASSERT_NE(top.GetString(), nullptr);
        EXPECT_EQ(shown(top), each.top);
        CutlCPLBMString bottom(each.text);
        bottom.TrimBottom();
        ASSERT_NE(bottom.GetString(), nullptr);
        EXPECT_EQ(shown(bottom), each.bottom);
        EXPECT_STREQ(bottom.GetString(), each.bottom);
    }
    CutlCPLBMString none;
    none.TrimTop();
    none.TrimBottom();
    none.ToUpper();
    EXPECT_EQ(none.GetString(), nullptr);
}

TEST(MString, UpperCaseIsAsciiOnly)
{
    CutlCPLBMString text("az AZ 09 @[`{ \xE0\xFC\0q", 17);
    text.ToUpper();
    EXPECT_EQ(shown(text), std::string("AZ AZ 09 @[`{ \xE0\xFC\0Q", 18).substr(0, 17));
}

TEST(MString, KeepsItsTextWhenMemoryRunsOut)
{
    CutlCPLBMString text("abc");
    fail_array_new_after(0);
    EXPECT_THROW(text.CopyString("something longer", -1), std::bad_alloc);
    EXPECT_EQ(shown(text), "abc");
    const CutlCPLBMString other("defghi");
    fail_array_new_after(0);
    EXPECT_THROW(text = other, std::bad_alloc);
    EXPECT_EQ(shown(text), "abc");
    fail_array_new_after(0);
    EXPECT_THROW(text += "more than fits into the room that there is", std::bad_alloc);
    EXPECT_EQ(shown(text), "abc");
    fail_array_new_after(0);
    EXPECT_THROW(text += text, std::bad_alloc);
    EXPECT_EQ(shown(text), "abc");
    fail_array_new_after(0);
    EXPECT_THROW(CutlCPLBMString copy(text), std::bad_alloc);
    fail_array_new_after(0);
    text.CopyString("ghi", -1);  // neither this, which has room, nor the next needs memory
    EXPECT_EQ(shown(text), "ghi");
    text.CopyString(nullptr, 0);
    EXPECT_EQ(text.GetString(), nullptr);
    fail_no_array_new();
}

TEST(MString, RefusesALengthThatNoBlockHas)
{
    CutlCPLBMString text("abc");
    EXPECT_THROW(text.CopyString("x", std::numeric_limits<long>::max()), std::bad_alloc);
    EXPECT_EQ(shown(text), "abc");
}

}  // namespace
