#include "host/Security.h"

#include "host/Services.h"
#include "host/StringHelpers.h"

#include <algorithm>
#include <iterator>
#include <memory>

namespace zutools {

namespace {

constexpr std::u16string_view RightNames[] = {u"view", u"edit", u"delete", u"insert"};

} // namespace

std::u16string_view RecordRightName(TRecordRight Right) {
    return RightNames[static_cast<std::size_t>(Right)];
}

std::optional<TRecordRight> RecordRightOfName(std::u16string_view Name) {
    const auto* const Found =
        std::find_if(std::begin(RightNames), std::end(RightNames),
                     [Name](std::u16string_view Known) { return SameText(Known, Name); });
    if (Found == std::end(RightNames)) return std::nullopt;
    return static_cast<TRecordRight>(Found - std::begin(RightNames));
}

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
