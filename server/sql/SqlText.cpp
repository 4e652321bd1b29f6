#include "server/sql/SqlText.h"

#include "host/Numbers.h"
#include "platform/TextTools.h"

#include <algorithm>

namespace zutools::server {

QString ToQt(std::u16string_view Text) {
    if (Text.empty()) return QStringLiteral(""); // QString() would be bound as NULL
    // QString::fromUtf16 would take U+FEFF in front for a mark and drop it.
    return QString(reinterpret_cast<const QChar*>(Text.data()), static_cast<qsizetype>(Text.size()));
}

std::u16string FromQt(const QString& Text) {
    return {reinterpret_cast<const char16_t*>(Text.constData()), static_cast<std::size_t>(Text.size())};
}

std::u16string InOneLine(std::u16string Text) {
    std::replace_if(
        Text.begin(), Text.end(), [](char16_t C) { return C == u'\n' || C == u'\r' || C == u'\t'; }, u' ');
    Text.erase(Text.find_last_not_of(u' ') + 1);
    return Text;
}

std::u16string ShownStatement(std::u16string_view Statement) {
    constexpr std::size_t MaxShown = 500;
    return platform::Masked(platform::Shortened(Statement, MaxShown), u' ');
}

std::u16string SecondsText(long long Milliseconds) {
    std::u16string Text = IntToStr(Milliseconds / 1000);
    if (const long long Rest = Milliseconds % 1000; Rest != 0) {
        std::u16string Digits = IntToStr(1000 + Rest).substr(1);
        Digits.erase(Digits.find_last_not_of(u'0') + 1);
        Text += u"." + Digits;
    }
    return Text + (Milliseconds == 1000 ? u" second" : u" seconds");
}

} // namespace zutools::server
