// Any bytes are a language file or are refused with a place inside them; nothing else is thrown.

#include "fuzz/Input.h"
#include "platform/Text.h"
#include "server/strings/LanguageFile.h"

#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    using namespace zutools;
    const std::string_view Bytes = fuzz::Bytes(Data, Size);
    try {
        static_cast<void>(server::ParseLanguageFile(Bytes, u"f"));
    } catch (const server::ELanguageFile& Error) {
        std::size_t Line = 0;
        std::size_t Column = 0;
        int Read = 0;
        const std::string Message = platform::Utf16ToUtf8(Error.Message());
        const bool Placed =
            std::sscanf(Message.c_str(), "f:%zu:%zu: %n", &Line, &Column, &Read) == 2 && Read > 0;
        fuzz::Require(Placed && Line > 0 && Line <= Size + 1 && Column > 0 && Column <= Size + 1, Message);
    }
    return 0;
}
