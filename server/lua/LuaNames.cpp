#include "server/lua/LuaNames.h"

#include "host/ScriptObjects.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <vector>

namespace zutools::server {

std::u16string IsItOne(std::u16string_view Name, std::span<const std::u16string_view> Known) {
    constexpr std::size_t Longest = 100, Farthest = 3, Most = 3;
    if (Name.size() > Longest) return {};
    const std::string Sought = platform::Utf16ToUtf8(LowerCase(Name));
    std::size_t Nearest = std::min(Farthest, Name.size() / 2); // of a short name nothing would be left
    std::vector<std::u16string_view> Found;
    for (const std::u16string_view Each : Known) {
        const std::size_t Distance = platform::EditDistance(Sought, platform::Utf16ToUtf8(LowerCase(Each)));
        if (Distance > Nearest) continue;
        if (Distance < Nearest) Found.clear();
        Nearest = Distance;
        if (Found.size() < Most && std::ranges::find(Found, Each) == Found.end()) Found.push_back(Each);
    }
    std::u16string Result;
    for (const std::u16string_view Each : Found) {
        Result.append(Result.empty() ? u"; is it " : u", ").append(Each);
    }
    return Result.empty() ? Result : Result + u"?";
}

std::vector<std::u16string_view> NamesOf(const TClassInfo& Class) {
    std::vector<std::u16string_view> Names;
    for (const TClassInfo* Current = &Class;; Current = &Current->Parent()) {
        for (const TScriptMember* Member : ScriptRegistry().Members(*Current)) Names.push_back(Member->Name);
        for (const TPropInfo& Property : Current->Properties) Names.push_back(Property.Name);
        for (const TMethodInfo& Method : Current->Methods) {
            if (Method.Visibility == TVisibility::mvPublished) Names.push_back(Method.Name);
        }
        if (Current->Parent == nullptr) return Names;
    }
}

} // namespace zutools::server
