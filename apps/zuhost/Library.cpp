#include "apps/zuhost/Library.h"

#include "apps/zuhost/SetupUsers.h"
#include "package/ScriptLibrary.h"
#include "package/ZuTools.h"
#include "server/records/SqlDictionary.h"
#include "server/rights/SqlSecurity.h"
#include "server/strings/JsonLocalizator.h"
#include "server/web/WebObjects.h"
#include "templates/Ztstmplcache.h"

#include <iterator>
#include <utility>

namespace zutools::zuhost {

namespace {

// What scripts see beside the library's own classes: a new class is one line here.
constexpr TScriptClass HostClasses[] = {
    &TSetupUsers::StaticClass,         &server::TWebFiles::StaticClass,    &server::TWebParams::StaticClass,
    &server::TWebRequest::StaticClass, &server::TWebResponse::StaticClass,
};

} // namespace

TServices MakeServices(std::shared_ptr<TApplicationManager> Manager, std::shared_ptr<TLogger> Logger,
                       std::u16string_view Strings) {
    TServices Services{.ApplicationManager = std::move(Manager), .Logger = std::move(Logger)};
    if (const auto& Given = Services.ApplicationManager; Given != nullptr) {
        Services.Security = std::make_shared<server::TSqlSecurityManager>(DatabaseOf(Given));
        Services.Dictionary = std::make_shared<server::TSqlDictionary>(DatabaseOf(Given));
    }
    if (Strings.empty()) {
        Services.Localizer = std::make_shared<TEmptyLocalizatorTable>();
    } else {
        Services.Localizer = std::make_shared<server::TJsonLocalizator>(Strings);
    }
    return Services;
}

TLibrary::TLibrary(TServices Services, std::u16string_view Templates,
                   std::span<const server::TLibraryConfig> Added) {
    std::vector<TScriptClass> Classes(std::begin(HostClasses), std::end(HostClasses));
    for (const server::TLibraryConfig& Each : Added) {
        try {
            const TScriptLibrary& Library = LoadScriptLibrary(Each.File);
            Classes.insert(Classes.end(), Library.Classes.begin(), Library.Classes.end());
            if (Library.Publish != nullptr) FPublish.push_back(Library.Publish);
        } catch (const EScriptLibrary& Error) {
            throw EScriptLibrary(Each.Place + u": " + Error.Message());
        }
    }
    StartZuTools(std::move(Services), Classes);
    ZTSTemplateCache->SetTemplateDirectory(Templates);
}

TLibrary::~TLibrary() {
    StopZuTools();
}

std::function<void(TScriptPublisher&)> TLibrary::Publisher() const {
    return [All = FPublish](TScriptPublisher& Engine) {
        for (const auto Publish : All) Publish(Engine);
    };
}

} // namespace zutools::zuhost
