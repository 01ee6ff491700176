// The list of mails that an application keeps book of.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CntsPOP3MailInfo.h"
#include "CntsPOP3MailInfoList.h"

#include "mail_fields.h"
#include "operator_new.h"
#include "pop3_support.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsPOP3MailInfo;
using List = velorin::CntsPOP3MailInfoList;

struct State {
    std::shared_ptr<List> list = info_list();
    ListModel before;
};

// An operation of the list; what it gave is added in front of the list.
Scenario list_scenario(const char* name, std::vector<std::string> covers,
                       std::function<void(List&, Outcome&)> run,
                       std::function<void(Replay&, ListModel&, Outcome&)> model)
{
    return {name, std::move(covers),
            [=](PlatformDouble&) {
                const auto state = std::make_shared<State>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    {
                        const SparedNews spared;
                        state->before = model_of(*state->list);
                    }
                    run(*state->list, given);
                    const SparedNews spared;
                    given.add("list", text_of_list(*state->list));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    ListModel list = state->before;
                    model(replay, list, expected);
                    expected.add("list", list.text());
                };
                return trial;
            },
            Again::as_modelled};
}

CntsPOP3MailInfo* new_info(int status)
{
    return new CntsPOP3MailInfo(11, "the unique id of a new entry", 11000, status);
}

Scenario add(const char* name, int force, int status)
{
    return list_scenario(
        name,
        {"CntsPOP3MailInfoList::AddMailInfo(CntsPOP3MailInfo*, int)",
         "CntsPOP3MailInfo::CntsPOP3MailInfo(int, char const*, long, int)",
         "CntsPOP3MailInfo::~CntsPOP3MailInfo()"},
        [=](List& list, Outcome& given) { given.add("added", list.AddMailInfo(new_info(status), force)); },
        [=](Replay& replay, ListModel& list, Outcome& expected) {
            if (replay.fails(Call::vector_add)) {
                replay.line("<ERR> CntsPOP3MailInfoList::AddMailInfo() cannot add info.\n");
                expected.add("added", 0);
                return;
            }
            list.entries.push_back({11, "the unique id of a new entry", 11000, status});
            expected.add("added", 1);
        });
}

// The destructor, and a list that is full after two entries.
Scenario whole_life()
{
    return {"mail list, whole life",
            {"CntsPOP3MailInfoList::CntsPOP3MailInfoList(int)",
             "CntsPOP3MailInfoList::~CntsPOP3MailInfoList()", "CntsPOP3MailInfoList::IsHasRoom() const",
             "CntsPOP3MailInfo::CntsPOP3MailInfo()"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    List list(2);
                    given.add("room", list.IsHasRoom());
                    given.add("first", list.AddMailInfo(new CntsPOP3MailInfo, 1));
                    given.add("second", list.AddMailInfo(new_info(1), 0));
                    given.add("room", list.IsHasRoom());
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    expected.add("room", 1);
                    int added = 0;
                    for (const char* const which : {"first", "second"}) {
                        const bool fails = replay.fails(Call::vector_add);
                        if (fails)
                            replay.line("<ERR> CntsPOP3MailInfoList::AddMailInfo() cannot add info.\n");
                        expected.add(which, fails ? 0 : 1);
                        if (!fails) ++added;
                    }
                    expected.add("room", added < 2 ? 1 : 0);
                };
                return trial;
            }};
}

Scenario update()
{
    return list_scenario(
        "mail list, update", {"CntsPOP3MailInfoList::UpdateMailInfo(CntsPOP3MailInfo*)"},
        [](List& list, Outcome& given) {
            given.add("updated",
                      list.UpdateMailInfo(new CntsPOP3MailInfo(33, "unique id of the third mail", 1, 1)));
        },
        [](Replay&, ListModel& list, Outcome& expected) {
            list.entries[0].id = 33;
            expected.add("updated", 1);
        });
}

Scenario search()
{
    return list_scenario(
        "mail list, search",
        {"CntsPOP3MailInfoList::SearchMailInfo(CntsPOP3MailInfo const&)",
         "CntsPOP3MailInfoList::SearchNextMail(CntsPOP3MailInfo&)", "CntsPOP3MailInfoList::IsHasNextMail()",
         "CntsPOP3MailInfoList::GetNextId()", "CntsPOP3MailInfoList::ShowList()"},
        [](List& list, Outcome& given) {
            const CntsPOP3MailInfo wanted(0, "unique id of the second mail", 0, 0);
            const CntsPOP3MailInfo* const found = list.SearchMailInfo(wanted);
            given.add("found", found != nullptr ? found->m_nId : -1);
            CntsPOP3MailInfo next;
            given.add("has next", list.IsHasNextMail());
            given.add("next", list.SearchNextMail(next));
            given.add("next id", list.GetNextId());
            list.ShowList();
            const SparedNews spared;
            given.add("entry", text_of_info(next));
        },
        [](Replay&, ListModel&, Outcome& expected) {
            expected.add("found", 2);
            expected.add("has next", 1);
            expected.add("next", 1);
            expected.add("next id", 4);
            expected.add("entry", "1 unique id of the first mail 1000 1");
        });
}

Scenario statuses()
{
    return list_scenario(
        "mail list, statuses",
        {"CntsPOP3MailInfoList::SetEntryStatus(CntsPOP3MailInfo&, int)",
         "CntsPOP3MailInfoList::SetAllEntryStatus(int)"},
        [](List& list, Outcome& given) {
            given.add("all", list.SetAllEntryStatus(5));
            CntsPOP3MailInfo info(2, "looked up by its id alone, not by this text", 0, 0);
            given.add("one", list.SetEntryStatus(info, 6));
        },
        [](Replay&, ListModel& list, Outcome& expected) {
            for (ListModel::Entry& entry : list.entries)
                entry.status = entry.id == 2 ? 6 : 5;
            expected.add("all", 1);
            expected.add("one", 1);
        });
}

Scenario clear()
{
    return list_scenario(
        "mail list, clear", {"CntsPOP3MailInfoList::ClearId()", "CntsPOP3MailInfoList::ClearList()"},
        [](List& list, Outcome& given) {
            given.add("ids", list.ClearId());
            given.add("entries", list.ClearList());
        },
        [](Replay& replay, ListModel& list, Outcome& expected) {
            for (ListModel::Entry& entry : list.entries)
                entry.id = 0;
            bool is_cleared = true;
            while (is_cleared && !list.entries.empty()) {
                is_cleared = !replay.fails(Call::vector_remove);
                if (is_cleared) list.entries.erase(list.entries.begin());
            }
            if (!is_cleared) replay.line("<ERR> CntsPOP3MailInfoList::ClearList() cannnot remove info.\n");
            expected.add("ids", 1);
            expected.add("entries", is_cleared ? 1 : 0);
        });
}

Scenario remove()
{
    return list_scenario(
        "mail list, remove", {"CntsPOP3MailInfoList::RemoveMailInfo()"},
        [](List& list, Outcome& given) {
            list.SetAllEntryStatus(CntsPOP3MailInfo::eStatusToRemove);
            given.add("removed", list.RemoveMailInfo());
        },
        [](Replay& replay, ListModel& list, Outcome& expected) {
            for (ListModel::Entry& entry : list.entries)
                entry.status = 2;
            const bool fails = replay.fails(Call::vector_remove);
            if (fails) {
                replay.line("<ERR> CntsPOP3MailInfoList::RemoveMailInfo() could not remove mail.\n");
            } else {
                list.entries.pop_back();  // that with the lowest id
            }
            expected.add("removed", fails ? 0 : 1);
        });
}

// What the operations refuse leaves its line and nothing else.
Scenario refusals()
{
    return {"mail list, refusals",
            {},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    List list(1);
                    CntsPOP3MailInfo info;
                    given.add("null", list.AddMailInfo(nullptr, 1));
                    given.add("unregistered", list.AddMailInfo(new_info(0), 0));
                    given.add("added", list.AddMailInfo(new_info(0), 1));
                    given.add("no room", list.AddMailInfo(new_info(1), 0));
                    given.add("update null", list.UpdateMailInfo(nullptr));
                    given.add("update unregistered", list.UpdateMailInfo(new_info(0)));
                    given.add("update without id", list.UpdateMailInfo(new CntsPOP3MailInfo(1, "", 1, 1)));
                    given.add("next", list.SearchNextMail(info));
                    given.add("remove", list.RemoveMailInfo());
                    given.add("status", list.SetEntryStatus(info, 1));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const auto refuse = [&](const char* what, const char* operation, const char* why,
                                            int result = 0) {
                        replay.line(std::string("<ERR> CntsPOP3MailInfoList::") + operation + why + ".\n");
                        expected.add(what, result);
                    };
                    refuse("null", "AddMailInfo()", " no info");
                    refuse("unregistered", "AddMailInfo()", " info is not registered");
                    if (replay.fails(Call::vector_add)) {
                        refuse("added", "AddMailInfo()", " cannot add info");
                        if (replay.fails(Call::vector_add)) {
                            refuse("no room", "AddMailInfo()", " cannot add info");
                        } else {
                            expected.add("no room", 1);
                        }
                    } else {
                        expected.add("added", 1);
                        refuse("no room", "AddMailInfo()", " no room");
                    }
                    refuse("update null", "UpdateMailInfo()", " no info");
                    refuse("update unregistered", "UpdateMailInfo()", " info is not registered");
                    refuse("update without id", "UpdateMailInfo()", " This Server is not Supported UIDL", 1);
                    const bool second_came = expected.text().find("no room = 1") != std::string::npos;
                    if (second_came) {
                        expected.add("next", 1);
                    } else {
                        refuse("next", "SearchNextMail()", ": not detected");
                    }
                    refuse("remove", "RemoveMailInfo()", ": not detected");
                    if (second_came) {
                        expected.add("status", 1);  // of the entry that was copied
                    } else {
                        refuse("status", "SetEntryStatus()", " no match");
                    }
                };
                return trial;
            },
            Again::never};
}

}  // namespace

Scenarios pop3_list_scenarios()
{
    return {add("mail list, add", 0, 1),
            add("mail list, add by force", 1, 7),
            whole_life(),
            update(),
            search(),
            statuses(),
            clear(),
            remove(),
            refusals()};
}

}  // namespace velorin_test::sweep
