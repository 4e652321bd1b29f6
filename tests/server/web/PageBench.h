// Modules in Lua behind the page handler, asked for by one browser, which keeps its cookie.

#pragma once

#include "core/Lparams.h"
#include "core/Lthdata.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "platform/Text.h"
#include "server/web/LuaModuleRunner.h"
#include "server/web/PageHandler.h"
#include "tests/support/RecordingLogger.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

namespace zutools::server {

/// Everybody signs in with the password "right"; "later" is told to wait.
class TPageBench : public testing::Test {
protected:
    explicit TPageBench(std::shared_ptr<TSecurityManager> Users = Services().Security)
        : Security(std::move(Users)) {
        RegisterScriptClasses(PageClasses);
        ZUThreadDataContainer = std::make_unique<TZUThreadDataContainer>();
    }
    ~TPageBench() override {
        Worker.reset();
        ZUThreadDataContainer.reset();
        UnregisterScriptClasses(PageClasses);
    }

    /// The answer of a module of this text, page1.lua the first time.
    TReply Run(std::string_view Script) {
        Route.Module = u"page" + platform::Utf8ToUtf16(std::to_string(++Number)) + u".lua";
        Route.ModuleFile = Folder.Write(Route.Module, Script);
        Raw.Headers = {{"Host", "h"}, {"X-One", "1"}, {"Cookie", Cookie}, {"Referer", "http://h/list?p=2"}};
        if (!Site.empty()) Raw.Headers.emplace_back("Sec-Fetch-Site", Site);
        TPageResult Result = Handler.Handle(Raw, Route, *Worker);
        SID = Result.SID;
        const std::string Set = HeaderOf(Result.Reply, "Set-Cookie");
        if (!Set.empty()) Cookie = Set.substr(0, Set.find(';'));
        return std::move(Result.Reply);
    }
    std::string Body(std::string_view Script) { return Run(Script).Body; }
    static std::string HeaderOf(const TReply& Reply, std::string_view Name) {
        for (const auto& [Header, Value] : Reply.Headers)
            if (Header == Name) return Value;
        return {};
    }

    tests::TTempFolder Folder;
    TWebConfig Config;
    std::vector<std::u16string> Ended;
    TSessions Sessions{{std::chrono::minutes(20), 10},
                       std::chrono::steady_clock::now,
                       [this](const TSessionState& State) { Ended.push_back(State.SID); }};
    tests::TRecordingLogger Logger;
    TEmptyLocalizatorTable Localizer;
    std::shared_ptr<TSecurityManager> Security;
    TPageHooks Hooks{.Filters = {},
                     .SignIn =
                         [this](auto User, auto Password, auto& Who) {
                             if (Password == u"later") return TSignInResult::Wait;
                             if (Password != u"right") return TSignInResult::Refused;
                             Who.Name = User; // the stored spelling
                             Who.Name[0] = static_cast<char16_t>(Who.Name[0] & ~0x20);
                             Who.Stamp = Stamp.value_or(0);
                             return TSignInResult::Ok;
                         },
                     .UserStamp = [this](auto) { return Stamp; },
                     .HoldsSomething = [this](auto) { return Holds; },
                     .Security = Security};
    std::optional<std::int64_t> Stamp = 1; // of every user
    bool Holds = false;                    // every session holds a block
    TAddressGate Gate;
    TPageHandler Handler{Config, Sessions, Gate, Logger, Localizer, Hooks};
    TModuleRunnerFactory Factory = [this] {
        return std::make_unique<TLuaModuleRunner>(WebLuaOptions(Config));
    };
    std::unique_ptr<TWorker> Worker = std::make_unique<TWorker>(Factory);
    TRawRequest Raw{"GET", u"/page", {}, "127.0.0.1", {}, {}, {}};
    TRoute Route;
    std::string Cookie;
    std::string Site; // what the browser says of the page that sent the request
    std::u16string SID;

private:
    static constexpr TScriptClass PageClasses[] = {&TParamsList::StaticClass, &TSession::StaticClass,
                                                   &TWebFiles::StaticClass,   &TWebParams::StaticClass,
                                                   &TWebRequest::StaticClass, &TWebResponse::StaticClass};
    int Number = 0;
};

} // namespace zutools::server
