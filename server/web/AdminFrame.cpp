#include "server/web/AdminFrame.h"

#include <algorithm>
#include <limits>

namespace zutools::server {

TFrameReader::TState TFrameReader::Feed(std::string_view Bytes) {
    constexpr std::size_t HeadSize = 4;
    if (FRefused) return TState::Refused;
    while (FHeadBytes < HeadSize && !Bytes.empty()) {
        FLength = (FLength << 8U) | static_cast<unsigned char>(Bytes.front());
        Bytes.remove_prefix(1);
        ++FHeadBytes;
    }
    if (FHeadBytes < HeadSize) return TState::Incomplete;
    if (FLength == 0 || FLength > FMaxBytes || Bytes.size() > FLength - FBody.size()) {
        FRefused = true;
        FBody.clear();
        FBody.shrink_to_fit();
        return TState::Refused;
    }
    FBody.append(Bytes); // grows with what arrives, not with what the head promises
    return FBody.size() == FLength ? TState::Complete : TState::Incomplete;
}

std::string MakeFrame(std::string_view Body) {
    if (Body.empty() || Body.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw EAdminSocket(u"a frame of the administrative endpoint holds 1 byte to 4 GB");
    }
    std::string Frame;
    Frame.reserve(Body.size() + 4);
    for (const unsigned Shift : {24U, 16U, 8U, 0U})
        Frame += static_cast<char>((Body.size() >> Shift) & 0xFFU);
    return Frame.append(Body);
}

} // namespace zutools::server
