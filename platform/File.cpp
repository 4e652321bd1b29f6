#include "platform/File.h"

#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>

namespace zutools::platform {

namespace {

std::u16string MessageFor(std::u16string_view Action, std::u16string_view Object, int Code) {
    std::u16string Message(Action);
    // A NUL would end the text for those who read `what()`, a line end would forge a line of a log.
    Message.append(u" \"").append(Masked(Object)).append(u"\": ").append(SystemErrorText(Code));
    const std::string Digits = std::to_string(Code);
    return Message.append(u" (").append(Digits.begin(), Digits.end()).append(u")");
}

} // namespace

TSystemError::TSystemError(std::u16string_view Action, std::u16string_view Object, int Code)
    : FCode(Code)
    , FMessage(MessageFor(Action, Object, Code))
    , FUtf8(Utf16ToUtf8(FMessage)) {}

std::string TReadFile::ReadAll() {
    // The size is a hint only: the file may have grown, shrunk, or be one that tells no size. One byte more
    // than it lets the first read see the end; a huge one is not believed before that much was read.
    constexpr std::uint64_t FirstBlockLimit = 16 * 1024 * 1024;
    constexpr std::size_t LeastBlock = 4096;
    std::string Bytes;
    std::size_t Used = 0;
    std::size_t Block = static_cast<std::size_t>(std::min(FSize, FirstBlockLimit)) + 1;
    for (;;) {
        Bytes.resize(Used + Block);
        const std::size_t Got = Read(std::span(Bytes).subspan(Used));
        Used += Got;
        if (Got < Block) break;
        Block = std::max(Used, LeastBlock);
    }
    Bytes.resize(Used);
    return Bytes;
}

} // namespace zutools::platform
