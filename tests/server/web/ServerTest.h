// A server on a free port of loopback, with modules that are functions.

#pragma once

#include "platform/Text.h"
#include "server/web/Server.h"
#include "tests/server/web/HttpClient.h"
#include "tests/support/RecordingLogger.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace zutools::server {

using tests::THttpAnswer;
using tests::THttpClient;

using TModule = std::function<void(TWebRequest&, TWebResponse&)>;

class TFunctionRunner : public TModuleRunner {
public:
    explicit TFunctionRunner(const std::map<std::u16string, TModule, std::less<>>& Modules)
        : FModules(Modules) {}
    void Run(std::u16string_view File, TWebRequest& Request, TWebResponse& Response) override {
        FModules.find(File)->second(Request, Response);
    }

private:
    const std::map<std::u16string, TModule, std::less<>>& FModules;
};

class ServerTest : public testing::Test {
protected:
    ServerTest() {
        Config.Port = 0;
        Config.Languages = {u"ru", u"en"};
        Config.DefaultLanguage = u"ru";
        Config.Limits.BodyBytes = 100'000;
        Config.Limits.Threads = 2;
    }

    ~ServerTest() override { Server.reset(); }

    void Module(std::u16string Path, TModule Function, bool FormToken = true) {
        TRoute Route;
        Route.Path = Path;
        Route.Module = Path.substr(1) + u".lua";
        Route.ModuleFile = Route.Module;
        Route.FormToken = FormToken;
        Modules[Route.ModuleFile] = std::move(Function);
        Config.Routes.push_back(std::move(Route));
    }

    /// The query's and form's fields as the module sees them: "a=1|b=2 file:name:type:content".
    void EchoModule(std::u16string Path, bool FormToken) {
        Module(
            std::move(Path),
            [](TWebRequest& Request, TWebResponse& Response) {
                for (int Index = 0; Index < Request.Params.Count(); ++Index) {
                    Response.Write(Request.Params.Name(Index) + u"=" + Request.Params.Values(Index) + u"|");
                }
                for (const TWebFile& File : Request.Files.Items) {
                    Response.Write(u" " + File.Name + u":" + File.FileName + u":" + File.ContentType + u":" +
                                   platform::Utf8ToUtf16(File.Content));
                }
            },
            FormToken);
    }

    void Start() {
        Hooks.MakeRunner = [this] { return std::make_unique<TFunctionRunner>(Modules); };
        Server = std::make_unique<TWebServer>(Config, Hooks, Logger, Localizer);
        Server->Start();
    }

    THttpAnswer Get(std::string_view Target, std::string_view Headers = {}) {
        return THttpClient(Server->Port()).Get(Target, Headers);
    }

    THttpAnswer Post(std::string_view Target, std::string_view Body, std::string_view Headers = {},
                     std::string_view Type = "application/x-www-form-urlencoded") {
        return THttpClient(Server->Port()).Post(Target, Body, Headers, Type);
    }

    /// "Cookie: zusid=...\r\n" of an answer that set it.
    static std::string CookieOf(const THttpAnswer& Answer) {
        const std::string Set = Answer.Header("Set-Cookie");
        return "Cookie: " + Set.substr(0, Set.find(';')) + "\r\n";
    }

    tests::TTempFolder Folder;
    TWebConfig Config;
    TWebServerHooks Hooks;
    std::map<std::u16string, TModule, std::less<>> Modules;
    tests::TRecordingLogger Logger;
    TEmptyLocalizatorTable Localizer;
    std::unique_ptr<TWebServer> Server;
};

} // namespace zutools::server
