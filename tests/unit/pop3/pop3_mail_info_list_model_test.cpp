// The list against a model of it, over long runs of random operations.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_double.h"
#include "pop3_list_support.h"

using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3MailInfoList;
using velorin_test::CountedInfo;
using velorin_test::entries;
using velorin_test::entry;
using velorin_test::list_line;
using velorin_test::PlatformDouble;
using velorin_test::PseudoRandom;
using velorin_test::text_of_entry;

namespace {

struct ModelEntry {
    int id;
    std::string uid;
    long size;
    int status;

    std::string text() const
    {
        return std::to_string(id) + ":" + uid + ":" + std::to_string(size) + ":" + std::to_string(status);
    }
};

// Each operation gives its result and notes its trace line.
class Model {
public:
    explicit Model(int maximum) : maximum_(maximum) {}

    int has_room() const { return count() < maximum_; }

    int add(const ModelEntry& given, bool force)
    {
        if (!force && given.status != 1) return fail("AddMailInfo() info is not registered.");
        if (!has_room()) return fail("AddMailInfo() no room.");
        slots.push_back(given);
        return 1;
    }

    int update(const ModelEntry& given)
    {
        if (given.status != 1) return fail("UpdateMailInfo() info is not registered.");
        if (given.uid.empty()) {
            fail("UpdateMailInfo() This Server is not Supported UIDL.");
            return 1;
        }
        for (auto& slot : slots) {
            if (!slot) return fail("UpdateMailInfo() strange list.");
            if (slot->uid != given.uid) continue;
            slot->id = given.id;
            return 1;
        }
        return 1;
    }

    // The index; -1 for none.
    int search(const std::string& uid)
    {
        if (uid.empty()) return slots.empty() || !slots[0] ? -1 : 0;
        for (std::size_t index = 0; index < slots.size(); ++index) {
            if (!slots[index]) {
                fail("SearchMailInfo(): GetAt() error.");
                return -1;
            }
            if (slots[index]->uid == uid) return static_cast<int>(index);
        }
        fail("SearchMailInfo(): not found.");
        return -1;
    }

    int next_mail(ModelEntry& out)
    {
        const int chosen = lowest(1, "SearchNextMail");
        if (chosen < 0) return 0;
        out = *slots[static_cast<std::size_t>(chosen)];
        return 1;
    }

    int remove()
    {
        const int chosen = lowest(2, "RemoveMailInfo");
        if (chosen < 0) return 0;
        slots.erase(slots.begin() + chosen);
        return 1;
    }

    int has_next()
    {
        for (const auto& slot : slots) {
            if (!slot) return fail("IsHasNextMail() strange list.");
            if (slot->status == 1) return 1;
        }
        return 0;
    }

    int set_status(int id, int status)
    {
        for (auto& slot : slots) {
            if (!slot) return fail("SetEntryStatus() strange list.");
            if (slot->id != id) continue;
            slot->status = status;
            return 1;
        }
        return fail("SetEntryStatus() no match.");
    }

    int set_all(int status)
    {
        for (auto& slot : slots) {
            if (!slot) return fail("SetAllEntryStatus(): GetAt() error.");
            slot->status = status;
        }
        return 1;
    }

    int next_id()
    {
        int highest = 0;
        for (const auto& slot : slots) {
            if (!slot) {
                fail("GetNextId(): GetAt() error.");
                return -1;
            }
            highest = std::max(highest, slot->id);
        }
        return highest == INT_MAX ? INT_MAX : highest + 1;
    }

    int clear_id()
    {
        for (auto& slot : slots) {
            if (!slot) return fail("ClearId() strange list.");
            slot->id = 0;
        }
        return 1;
    }

    int clear_list()
    {
        for (std::size_t index = 0; index < slots.size();) {
            if (!slots[index]) return fail("ClearId() strange list.");
            if (slots[index]->id == 0) {
                slots.erase(slots.begin() + static_cast<long>(index));
            } else {
                ++index;
            }
        }
        return 1;
    }

    int count() const { return static_cast<int>(slots.size()); }

    std::vector<std::string> texts() const
    {
        std::vector<std::string> all;
        for (const auto& slot : slots)
            all.push_back(slot ? slot->text() : "null");
        return all;
    }

    std::vector<std::optional<ModelEntry>> slots;
    std::vector<std::string> lines;

private:
    int fail(const char* text)
    {
        lines.push_back(list_line(text));
        return 0;
    }

    int lowest(int status, const std::string& name)
    {
        int best = 0;
        int chosen = -1;
        for (int index = 0; index < count(); ++index) {
            const auto& slot = slots[static_cast<std::size_t>(index)];
            if (!slot) {
                lines.push_back(list_line(name + "() strange list."));
                return -1;
            }
            if (slot->status == status && (slot->id < best || best == 0)) {
                best = slot->id;
                chosen = index;
            }
        }
        if (chosen < 0) lines.push_back(list_line(name + "(): not detected."));
        return chosen;
    }

    int maximum_;
};

constexpr int kIds[] = {0, 0, 1, 2, 3, 4, 5, 9, -1, INT_MAX - 1, INT_MAX, INT_MIN};
constexpr const char* kUids[] = {"", "a", "A", "b", "ab", "c", "d", "uid-0000001"};

ModelEntry random_entry(PseudoRandom& random)
{
    // Mostly registered: nothing else comes in without force.
    const int status = random.below(3) == 0 ? static_cast<int>(random.below(4)) : 1;
    return {kIds[random.below(std::size(kIds))], kUids[random.below(std::size(kUids))],
            static_cast<long>(random.below(100000)), status};
}

CountedInfo* object_of(const ModelEntry& given)
{
    return new CountedInfo(given.id, given.uid.c_str(), given.size, given.status);
}

class ListRun {
public:
    ListRun(std::uint32_t seed, bool null_slots) : random_(seed), null_slots_(null_slots) {}
    ~ListRun()
    {
        for (long index = list_.m_cList.GetCount() - 1; index >= 0; --index)
            if (list_.m_cList.GetAt(index) == nullptr) list_.m_cList.Remove(index);
    }
    ListRun(const ListRun&) = delete;
    ListRun& operator=(const ListRun&) = delete;

    // Operates once on both, and compares all there is.
    void step(PlatformDouble& platform)
    {
        operate();
        ASSERT_EQ(entries(list_), model_.texts()) << operation_;
        ASSERT_EQ(platform.take_traces(), model_.lines) << operation_;
        model_.lines.clear();
        int live = 0;
        for (const auto& slot : model_.slots)
            live += slot.has_value() ? 1 : 0;
        ASSERT_EQ(CountedInfo::live, live) << operation_;
        ++seen_[operation_];
    }

    const std::map<std::string, int>& seen() const { return seen_; }

private:
    void operate()
    {
        const ModelEntry given = random_entry(random_);
        switch (random_.below(null_slots_ ? 16 : 15)) {
        case 0:
        case 1:
        case 2:
        case 3: {
            operation_ = "add";
            const bool force = random_.below(2) == 1;
            EXPECT_EQ(list_.AddMailInfo(object_of(given), force ? 1 : 0), model_.add(given, force));
            break;
        }
        case 4:
        case 5:
            operation_ = "update";
            EXPECT_EQ(list_.UpdateMailInfo(object_of(given)), model_.update(given));
            break;
        case 6: {
            operation_ = "search";
            const int index = model_.search(given.uid);
            const CntsPOP3MailInfo wanted(given.id, given.uid.c_str(), given.size, given.status);
            EXPECT_EQ(list_.SearchMailInfo(wanted), index < 0 ? nullptr : entry(list_, index));
            break;
        }
        case 7: {
            operation_ = "next mail";
            ModelEntry expected = given;
            CntsPOP3MailInfo out(given.id, given.uid.c_str(), given.size, given.status);
            EXPECT_EQ(list_.SearchNextMail(out), model_.next_mail(expected));
            EXPECT_EQ(text_of_entry(&out), expected.text());
            break;
        }
        case 8:
            operation_ = "remove";
            EXPECT_EQ(list_.RemoveMailInfo(), model_.remove());
            break;
        case 9:
            operation_ = "has next";
            EXPECT_EQ(list_.IsHasNextMail(), model_.has_next());
            break;
        case 10: {
            operation_ = "set status";
            CntsPOP3MailInfo wanted(given.id, "", 0, 0);
            const int status = static_cast<int>(random_.below(3));
            EXPECT_EQ(list_.SetEntryStatus(wanted, status), model_.set_status(given.id, status));
            break;
        }
        case 11:
            operation_ = "next id";
            EXPECT_EQ(list_.GetNextId(), model_.next_id());
            break;
        case 12:
            operation_ = "has room";
            EXPECT_EQ(list_.IsHasRoom(), model_.has_room());
            list_.ShowList();
            break;
        case 13:
            operation_ = "clear list";
            EXPECT_EQ(list_.ClearList(), model_.clear_list());
            break;
        case 14:
            // Rare: they level what makes the other operations differ.
            if (random_.below(8) == 0) {
                operation_ = "clear id";
                EXPECT_EQ(list_.ClearId(), model_.clear_id());
            } else if (random_.below(8) == 0) {
                operation_ = "set all";
                EXPECT_EQ(list_.SetAllEntryStatus(given.status), model_.set_all(given.status));
            } else {
                operation_ = "null";
                model_.lines.push_back(list_line("AddMailInfo() no info."));
                model_.lines.push_back(list_line("UpdateMailInfo() no info."));
                EXPECT_EQ(list_.AddMailInfo(nullptr, static_cast<int>(random_.below(2))), 0);
                EXPECT_EQ(list_.UpdateMailInfo(nullptr), 0);
            }
            break;
        default:
            toggle_null_slot();
        }
    }

    // Past the list's own operations: takes the first null slot out, or puts one in.
    void toggle_null_slot()
    {
        operation_ = "null slot";
        for (std::size_t index = 0; index < model_.slots.size(); ++index) {
            if (model_.slots[index]) continue;
            model_.slots.erase(model_.slots.begin() + static_cast<long>(index));
            EXPECT_NE(list_.m_cList.Remove(static_cast<long>(index)), 0);
            return;
        }
        const long index = static_cast<long>(random_.below(static_cast<std::uint32_t>(model_.count()) + 1));
        model_.slots.insert(model_.slots.begin() + index, std::nullopt);
        EXPECT_NE(list_.m_cList.Add(index, nullptr), 0);
    }

    static constexpr int kMaximum = 12;
    PseudoRandom random_;
    bool null_slots_;
    CntsPOP3MailInfoList list_{kMaximum};
    Model model_{kMaximum};
    std::string operation_;
    std::map<std::string, int> seen_;
};

void run(std::uint32_t seed, bool null_slots)
{
    CountedInfo::live = 0;
    PlatformDouble platform;
    {
        ListRun both(seed, null_slots);
        for (int step = 0; step < 20000; ++step) {
            both.step(platform);
            if (testing::Test::HasFailure()) {
                ADD_FAILURE() << "seed " << seed << ", step " << step;
                return;
            }
        }
        EXPECT_EQ(both.seen().size(), null_slots ? 14u : 13u) << "every operation came up";
    }
    EXPECT_EQ(CountedInfo::live, 0);
}

}  // namespace

TEST(MailInfoListModel, AgreesWithTheListOverRandomOperations)
{
    for (const std::uint32_t seed : {1u, 20u, 300u})
        run(seed, false);
}

TEST(MailInfoListModel, AgreesWithTheListOverRandomOperationsAndNullSlots)
{
    for (const std::uint32_t seed : {4u, 50u, 600u})
        run(seed, true);
}
