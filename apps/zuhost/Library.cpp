#include "apps/zuhost/Library.h"

#include "apps/zuhost/SetupUsers.h"
#include "package/ZuTools.h"
#include "server/records/SqlDictionary.h"
#include "server/rights/SqlSecurity.h"
#include "server/strings/JsonLocalizator.h"
#include "server/web/WebObjects.h"
#include "templates/Ztstmplcache.h"

#include <utility>

namespace zutools::zuhost {

namespace {

// What scripts see beside the library's own classes: a new class is one line here.
constexpr TScriptClass HostClasses[] = {
    &TSetupUsers::StaticClass,
    &server::TWebFiles::StaticClass,
    &server::TWebRequest::StaticClass,
    &server::TWebResponse::StaticClass,
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

TLibrary::TLibrary(TServices Services, std::u16string_view Templates) {
    StartZuTools(std::move(Services), HostClasses);
    ZTSTemplateCache->SetTemplateDirectory(Templates);
}

TLibrary::~TLibrary() {
    StopZuTools();
}

} // namespace zutools::zuhost
