#include "host/Security.h"

#include "host/Services.h"

#include <memory>

namespace zutools {

bool UserMay(const TServices& Services, std::u16string_view UserName, TRecordRight Right,
             std::u16string_view Table, std::u16string_view RecordID) {
    TSecurityManager& Manager = *Services.Security;
    const TTableRights Rights =
        Manager.BuildTableRightsFilter(Manager.RefreshUserInfo(UserName), Table, Right);
    if (!Rights.Granted || Rights.RecordFilters.empty()) return Rights.Granted;
    if (Right == TRecordRight::Insert && RecordID.empty()) return true;
    const std::unique_ptr<TUserTable> Record = Services.ApplicationManager->GetTable(Table);
    return Record && Record->Open(RecordID) && Manager.CheckRecordRights(Rights, *Record);
}

TUserInfo TOpenSecurityManager::RefreshUserInfo(std::u16string_view UserName) {
    TUserInfo User;
    User.UserName = UserName;
    User.Administrator = true;
    return User;
}

TTableRights TOpenSecurityManager::BuildTableRightsFilter(const TUserInfo& User,
                                                          std::u16string_view /*Table*/, TRecordRight Right) {
    return {.Granted = true, .RecordFilters = {}, .User = User, .Right = Right};
}

bool TOpenSecurityManager::CheckRecordRights(const TTableRights& Rights, const TUserTable& /*Record*/) {
    return Rights.Granted;
}

} // namespace zutools
