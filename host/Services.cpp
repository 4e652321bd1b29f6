#include "host/Services.h"

#include "host/Dictionary.h"
#include "host/Queries.h"
#include "host/Security.h"
#include "host/Session.h"
#include "host/UserTables.h"

#include <utility>

namespace zutools {

namespace {

TServices WithDefaults(TServices Given) {
    if (!Given.ApplicationManager) Given.ApplicationManager = std::make_shared<TSimpleApplicationManager>();
    if (!Given.Localizer) Given.Localizer = std::make_shared<TEmptyLocalizatorTable>();
    if (!Given.Logger) Given.Logger = std::make_shared<TNullLogger>();
    if (!Given.Security) Given.Security = std::make_shared<TOpenSecurityManager>();
    if (!Given.Dictionary) Given.Dictionary = std::make_shared<TNoDictionary>();
    return Given;
}

TServices& Current() {
    static TServices Services = WithDefaults({});
    return Services;
}

} // namespace

TDatabaseOfThread DatabaseOf(std::shared_ptr<TApplicationManager> Manager) {
    return [Manager = std::move(Manager)] { return Manager->GetDatabase(); };
}

std::unique_ptr<TUserTable> TApplicationManager::GetTable(std::u16string_view /*TableName*/) {
    return nullptr;
}

TSimpleApplicationManager::TSimpleApplicationManager(std::u16string DefaultLanguageID)
    : FDefault(std::move(DefaultLanguageID)) {}

std::u16string TSimpleApplicationManager::GetSessionLanguageID() {
    const TSession* Session = CurrentSession();
    return Session != nullptr && !Session->LanguageID.empty() ? Session->LanguageID : FDefault;
}

std::u16string TSimpleApplicationManager::GetDefaultLanguageID() {
    return FDefault;
}

std::u16string TEmptyLocalizatorTable::GetString(std::u16string_view Key,
                                                 std::u16string_view /*LanguageID*/) {
    return std::u16string(Key);
}

void TNullLogger::Log(TLogLevel /*Level*/, std::u16string_view /*Text*/) noexcept {}

void SetServices(TServices Services) {
    Current() = WithDefaults(std::move(Services));
}

const TServices& Services() {
    return Current();
}

} // namespace zutools
