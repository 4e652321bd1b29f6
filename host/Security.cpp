#include "host/Security.h"

namespace zutools {

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
