#include "apps/zuhost/AdminClient.h"

#include "apps/zuhost/Shell.h"
#include "host/Exception.h"
#include "server/web/AdminSocket.h"
#include "server/web/Config.h"

namespace zutools::zuhost {

TAdminClient::TAdminClient(const std::string& ConfigFile) {
    const server::TWebConfig Config = server::LoadWebConfig(Text(ConfigFile));
    if (!Config.Admin.Enabled) throw Exception(u"the configuration says admin.enabled = false");
    FSocket =
        Config.Admin.Socket.empty() ? server::DefaultAdminSocket(Text(ConfigFile)) : Config.Admin.Socket;
}

TJson TAdminClient::Ask(const TJson& Question) const {
    TJson Answer;
    try {
        Answer = TJson::parse(server::AskAdminSocket(FSocket, Question.dump()));
    } catch (const TJson::exception&) {
        throw Exception(u"the service gave an answer that is none; is it of another version?");
    }
    if (Answer.contains("error")) throw Exception(Text("the service: " + Answer["error"].get<std::string>()));
    return Answer;
}

std::u16string Plain(const TJson& Value) {
    return Cell(Text(Value.get<std::string>()));
}

} // namespace zutools::zuhost
