#include "host/Exception.h"

#include "platform/File.h"
#include "platform/Text.h"

#include <utility>

namespace zutools {

Exception::Exception(std::u16string Message) {
    std::string Utf8 = platform::Utf16ToUtf8(Message);
    FTexts = std::make_shared<const TTexts>(TTexts{std::move(Message), std::move(Utf8)});
}

std::u16string MessageOf(const std::exception& Error) {
    if (const auto* Own = dynamic_cast<const Exception*>(&Error)) return Own->Message();
    if (const auto* System = dynamic_cast<const platform::TSystemError*>(&Error)) return System->Message();
    return platform::Utf8ToUtf16(Error.what());
}

} // namespace zutools
