#include "platform/Settings.h"

#include "platform/Text.h"
#include "platform/TextTools.h"

namespace zutools::platform {

namespace {

bool IsBlankUnit(char16_t Unit) {
    return Unit == u' ' || (Unit >= u'\t' && Unit <= u'\r');
}

std::u16string NameRefusal(std::u16string_view Name, std::u16string_view What) {
    if (Name.empty()) return u"the " + std::u16string(What) + u" has no name";
    if (IsBlankUnit(Name.front()) || IsBlankUnit(Name.back()))
        return u"the " + std::u16string(What) + u"'s name begins or ends with a blank";
    return {};
}

} // namespace

TSettingsError::TSettingsError(std::u16string Message)
    : FMessage(std::move(Message))
    , FUtf8(Utf16ToUtf8(FMessage)) {}

std::u16string SettingsRefusal(std::u16string_view Section, std::u16string_view Key,
                               std::u16string_view Value) {
    for (const std::u16string_view Text : {Section, Key, Value}) {
        // Without a way out of the loop, so that it takes many units at a time.
        bool HasBreaks = false, HasSurrogates = false;
        for (const char16_t Unit : Text) {
            HasBreaks |= Unit == u'\n' || Unit == u'\r' || Unit == u'\0';
            HasSurrogates |= IsSurrogate(Unit);
        }
        if (HasBreaks) return u"a line break or NUL cannot be kept in settings";
        if (HasSurrogates && Utf16ToUtf8Strict(Text).Error) return u"half a surrogate pair is no text";
    }
    if (std::u16string Reason = NameRefusal(Section, u"section"); !Reason.empty()) return Reason;
    if (std::u16string Reason = NameRefusal(Key, u"key"); !Reason.empty()) return Reason;
    if (Key.find(u'=') != Key.npos) return u"the key's name holds \"=\"";
    if (Key.front() == u'[' || Key.front() == u';' || Key.front() == u'#')
        return u"the key's name begins with \"[\", \";\" or \"#\"";
    return {};
}

} // namespace zutools::platform
