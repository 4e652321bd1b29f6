#include "apps/zuhost/Reload.h"

#include "checking/Chekprms.h"
#include "host/Exception.h"
#include "server/strings/JsonLocalizator.h"
#include "server/web/ValueFilter.h"
#include "templates/Ztstmplcache.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

TLogFormat FormatOf(const TLogConfig& Log) {
    return Log.Json ? TLogFormat::Json : TLogFormat::Text;
}

/// The first key that a running service cannot take over; empty when there is none.
std::u16string_view NeedsRestart(const TWebConfig& Old, const TWebConfig& New) {
    const TLimitsConfig& A = Old.Limits;
    const TLimitsConfig& B = New.Limits;
    const auto SameHelpers = [&] {
        return std::ranges::equal(
            Old.Helpers, New.Helpers, [](const THelperConfig& X, const THelperConfig& Y) {
                return X.Command == Y.Command && X.Pipe == Y.Pipe && X.FirstRestart == Y.FirstRestart &&
                       X.LastRestart == Y.LastRestart;
            });
    };
    const auto SameTimes = [](const TSqlTimeouts& X, const TSqlTimeouts& Y) {
        return X.Connect == Y.Connect && X.Lock == Y.Lock && X.Statement == Y.Statement &&
               X.Network == Y.Network;
    };
    const std::pair<std::u16string_view, bool> Keys[] = {
        {u"address", Old.Address == New.Address},
        {u"port", Old.Port == New.Port},
        {u"database", Old.Database == New.Database && SameTimes(Old.DatabaseTimeouts, New.DatabaseTimeouts)},
        {u"default_language", Old.DefaultLanguage == New.DefaultLanguage},
        {u"strings", Old.Strings.empty() == New.Strings.empty()},
        {u"filter", Old.Filter.empty() == New.Filter.empty()},
        {u"admin", Old.Admin.Enabled == New.Admin.Enabled && Old.Admin.Socket == New.Admin.Socket &&
                       Old.Admin.HttpAddress == New.Admin.HttpAddress &&
                       Old.Admin.HttpPort == New.Admin.HttpPort},
        {u"helper", SameHelpers()},
        {u"library",
         std::ranges::equal(Old.Libraries, New.Libraries, {}, &TLibraryConfig::File, &TLibraryConfig::File)},
        {u"limits.threads", A.Threads == B.Threads},
        {u"limits.queue", A.Queue == B.Queue},
        {u"limits.connections",
         A.Connections == B.Connections && A.ConnectionsPerAddress == B.ConnectionsPerAddress},
        {u"limits.header_bytes", A.HeaderBytes == B.HeaderBytes},
        {u"limits.header_seconds, body_seconds or idle_seconds", A.HeaderSeconds == B.HeaderSeconds &&
                                                                     A.BodySeconds == B.BodySeconds &&
                                                                     A.IdleSeconds == B.IdleSeconds},
    };
    const auto Found = std::ranges::find(Keys, false, &std::pair<std::u16string_view, bool>::second);
    return Found == std::ranges::end(Keys) ? std::u16string_view() : Found->first;
}

} // namespace

void ReloadService(const std::function<TWebConfig()>& Read, TLiveConfig& Live, const TServices& Services,
                   TWebServer& Server, TSpdLogger& Logger) {
    try {
        // Everything that may fail comes first.
        TWebConfig Fresh = Read();
        if (const auto Key = NeedsRestart(*Live.Get(), Fresh); !Key.empty()) {
            throw Exception(u"another " + std::u16string(Key) + u" needs a restart");
        }
        std::optional<TJsonLocalizator> Texts;
        if (!Fresh.Strings.empty()) Texts.emplace(Fresh.Strings);
        if (!Fresh.Filter.empty()) LoadValueFilter(*ParamsChecker, Fresh.Filter);
        Logger.Reopen(Fresh.Log.Level, Fresh.Log.File, FormatOf(Fresh.Log));

        if (Texts) dynamic_cast<TJsonLocalizator&>(*Services.Localizer).TakeOver(std::move(*Texts));
        ZTSTemplateCache->SetTemplateDirectory(Fresh.Templates);
        ZTSTemplateCache->Clear();
        Live.Set(Fresh);
        Server.Reload(std::move(Fresh));
        Logger.Log(TLogLevel::Info, u"configuration, languages and templates were read anew");
    } catch (const std::exception& Error) {
        Logger.Log(TLogLevel::Error,
                   u"nothing was read anew, everything stays as it was: " + MessageOf(Error));
    }
}

void ReopenLog(const TLogConfig& Log, TSpdLogger& Logger) {
    try {
        Logger.Reopen(Log.Level, Log.File, FormatOf(Log));
    } catch (const std::exception& Error) {
        Logger.Log(TLogLevel::Error, u"the log goes on in the old file: " + MessageOf(Error));
    }
}

} // namespace zutools::zuhost
