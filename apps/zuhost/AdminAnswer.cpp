#include "apps/zuhost/AdminAnswer.h"

#include "host/Variant.h"
#include "platform/Text.h"
#include "recordlock/Zurecblk.h"
#include "server/rights/RightsTables.h"

#include <nlohmann/json.hpp>

namespace zutools::zuhost {

namespace {

using TJson = nlohmann::ordered_json;

/// Blocks of one answer; with long histories fewer, for an answer has an end.
constexpr std::size_t MostBlocks = 50;
constexpr std::size_t EnoughBytes = 4 * 1024 * 1024;

std::string Utf8(std::u16string_view Text) {
    return platform::Utf16ToUtf8(Text);
}

TJson BlockOf(const TZUBlockInfo& Block, bool WholeHistory) {
    TJson Entries = TJson::array();
    const std::size_t Count = Block.History.size();
    for (std::size_t Index = WholeHistory || Count == 0 ? 0 : Count - 1; Index < Count; ++Index) {
        Entries.push_back(Utf8(Block.History[Index]));
    }
    return {{"id", Utf8(Block.ID)},
            {"table", Utf8(Block.TableName)},
            {"record", Utf8(Block.RecordID)},
            {"user", Utf8(Block.UserName)},
            {"action", Utf8(ObjectTypeToStr(Block.RecAction))},
            {"since", Utf8(TKXVariant(Block.CreateTime).AsString())},
            {"history", std::move(Entries)}};
}

TJson List(const TJson& Question) {
    const std::u16string After = platform::Utf8ToUtf16(Question.value("after", ""));
    const bool WholeHistory = Question.value("history", false);
    const std::vector<TZUBlockInfo> Found = ZURecordBlocker->ListBlocks(After, MostBlocks);
    TJson Blocks = TJson::array();
    std::size_t Bytes = 0;
    for (const TZUBlockInfo& Block : Found) {
        if (Bytes >= EnoughBytes) break;
        Blocks.push_back(BlockOf(Block, WholeHistory));
        for (const auto& Entry : Blocks.back()["history"])
            Bytes += Entry.get_ref<const std::string&>().size();
    }
    const bool More = Blocks.size() < Found.size() || Found.size() == MostBlocks;
    return {{"blocks", std::move(Blocks)}, {"more", More}};
}

TJson ListSessions(const server::TWebServer& Server) {
    TJson Sessions = TJson::array();
    for (const server::TSessionInfo& Session : Server.ListSessions()) {
        Sessions.push_back({{"sid", Utf8(Session.SID)},
                            {"user", Utf8(Session.USR)},
                            {"address", Session.RemoteAddress},
                            {"age", Session.Age.count()},
                            {"idle", Session.Idle.count()}});
    }
    return {{"sessions", std::move(Sessions)}};
}

/// By "sid" or by "user", whose letter case does not count.
TJson EndSessions(server::TWebServer& Server, TLogger& Logger, const TJson& Question,
                  const std::u16string& By) {
    const std::u16string SID = platform::Utf8ToUtf16(Question.value("sid", ""));
    const std::u16string Name = platform::Utf8ToUtf16(Question.value("user", ""));
    const auto Key = server::UserKey(Name);
    const std::size_t Ended = Server.EndSessions([&](const server::TSessionState& Session) {
        return SID.empty() ? Key && server::UserKey(Session.USR) == Key : Session.SID == SID;
    });
    if (Ended != 0) {
        Logger.Log(TLogLevel::Info, u"sessions ended by " + By + u": " + (SID.empty() ? u"of " + Name : SID));
    }
    return {{"ended", Ended}};
}

TJson Answer(server::TWebServer& Server, TLogger& Logger, std::string_view Text, const std::u16string& User) {
    try {
        const TJson Question = TJson::parse(Text);
        const std::string Command = Question.at("command");
        if (Command == "sessions.list") return ListSessions(Server);
        if (Command == "sessions.end") return EndSessions(Server, Logger, Question, User);
        if (!ZURecordBlocker) return {{"error", "the service has no record blocker"}};
        if (Command == "blocks.list") return List(Question);
        if (Command == "blocks.release") {
            const std::u16string ID = platform::Utf8ToUtf16(Question.at("id").get<std::string>());
            return {{"released", ZURecordBlocker->ReleaseBlock(ID, User)}};
        }
        return {{"error", "unknown command \"" + Command + '"'}};
    } catch (const TJson::exception& Error) {
        return {{"error", std::string("malformed question: ") + Error.what()}};
    }
}

} // namespace

std::string AnswerAdmin(server::TWebServer& Server, TLogger& Logger, std::string_view Question,
                        const std::u16string& User) {
    // Half a character pair in a name becomes U+FFFD: the list is for looking at.
    return Answer(Server, Logger, Question, User).dump(-1, ' ', false, TJson::error_handler_t::replace);
}

} // namespace zutools::zuhost
