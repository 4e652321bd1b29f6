#include "platform/PipeFrames.h"

#include <algorithm>
#include <cstring>

namespace zutools::platform {

namespace {

constexpr std::array<std::byte, 4> Mark{std::byte{'Z'}, std::byte{'U'}, std::byte{'P'}, std::byte{'1'}};

} // namespace

void PutWord(std::span<std::byte, 4> To, std::uint32_t Value) {
    for (std::byte& Each : To) {
        Each = static_cast<std::byte>(Value & 0xFFU);
        Value >>= 8U;
    }
}

std::uint32_t GetWord(std::span<const std::byte, 4> From) {
    return std::to_integer<std::uint32_t>(From[0]) | std::to_integer<std::uint32_t>(From[1]) << 8U |
           std::to_integer<std::uint32_t>(From[2]) << 16U | std::to_integer<std::uint32_t>(From[3]) << 24U;
}

// ---- TPipeOpening

std::array<std::byte, TPipeOpening::Size> TPipeOpening::Bytes() const {
    std::array<std::byte, Size> Result{};
    std::copy(Mark.begin(), Mark.end(), Result.begin());
    PutWord(std::span(Result).subspan<4, 4>(), static_cast<std::uint32_t>(Kind));
    PutWord(std::span(Result).subspan<8, 4>(), Milliseconds);
    return Result;
}

std::optional<TPipeOpening> TPipeOpening::Parse(std::span<const std::byte, Size> Bytes) {
    if (!std::equal(Mark.begin(), Mark.end(), Bytes.begin())) return std::nullopt;
    const std::uint32_t Kind = GetWord(Bytes.subspan<4, 4>());
    if (Kind > static_cast<std::uint32_t>(TKind::Wait)) return std::nullopt;
    return TPipeOpening{static_cast<TKind>(Kind), GetWord(Bytes.subspan<8, 4>())};
}

// ---- TFrameReader

void TFrameReader::Begin(std::span<std::byte> Buffer) {
    FBuffer = Buffer;
    FFilled = 0;
    if (HasAhead()) TakeAhead();
}

void TFrameReader::TakeHead() {
    FInMessage = true;
    FLeft = GetWord(FHead);
}

void TFrameReader::TakeAhead() {
    if (!FInMessage) {
        const std::size_t Size = std::min(HeadSize - FHeadFilled, FAheadEnd - FAheadBegin);
        std::memcpy(FHead.data() + FHeadFilled, FAhead.data() + FAheadBegin, Size);
        FHeadFilled += Size;
        FAheadBegin += Size;
        if (FHeadFilled < HeadSize) return;
        TakeHead();
    }
    const std::size_t Size =
        std::min({std::size_t{FLeft}, FBuffer.size() - FFilled, FAheadEnd - FAheadBegin});
    if (Size == 0) return;
    std::memcpy(FBuffer.data() + FFilled, FAhead.data() + FAheadBegin, Size);
    FFilled += Size;
    FLeft -= static_cast<std::uint32_t>(Size);
    FAheadBegin += Size;
}

std::array<std::span<std::byte>, 3> TFrameReader::Space() {
    const std::span<std::byte> Free = FBuffer.subspan(FFilled);
    if (!FInMessage) return {std::span(FHead).subspan(FHeadFilled), Free, {}};
    if (FLeft <= Free.size()) return {Free.first(FLeft), {}, {}};
    if (Free.size() >= AheadSize) return {Free, {}, {}}; // large enough to be worth a call each
    // More than the reader asked for is on its way.
    if (FAhead.size() < AheadSize) FAhead.resize(AheadSize);
    FAheadBegin = FAheadEnd = 0; // it is empty, else the reading would be done
    return {Free, std::span(FAhead).first(std::min<std::size_t>(AheadSize, FLeft - Free.size())), {}};
}

void TFrameReader::Received(std::size_t Bytes) {
    if (!FInMessage) {
        const std::size_t OfHead = std::min(Bytes, HeadSize - FHeadFilled);
        FHeadFilled += OfHead;
        Bytes -= OfHead;
        if (FHeadFilled < HeadSize) return;
        TakeHead();
        const std::size_t OfMessage = std::min<std::size_t>(Bytes, FLeft);
        // Whoever sends two messages at once has put the second behind the first.
        Keep(FBuffer.subspan(FFilled + OfMessage, Bytes - OfMessage));
        FFilled += OfMessage;
        FLeft -= static_cast<std::uint32_t>(OfMessage);
        return;
    }
    const std::size_t OfBuffer = std::min({Bytes, FBuffer.size() - FFilled, static_cast<std::size_t>(FLeft)});
    FFilled += OfBuffer;
    FLeft -= static_cast<std::uint32_t>(OfBuffer);
    FAheadEnd += Bytes - OfBuffer;
}

void TFrameReader::Keep(std::span<const std::byte> Surplus) {
    if (Surplus.empty()) return;
    FAhead.assign(Surplus.begin(), Surplus.end());
    FAheadBegin = 0;
    FAheadEnd = Surplus.size();
}

TPipeResult TFrameReader::End() {
    const TPipeResult Result{FLeft > 0 ? TPipeCode::MoreData : TPipeCode::Success, FFilled};
    FBuffer = {};
    FFilled = 0;
    if (FLeft == 0) {
        FInMessage = false;
        FHeadFilled = 0;
    }
    return Result;
}

// ---- TFrameWriter

void TFrameWriter::Begin(std::span<const std::byte> Head, std::span<const std::byte> Body) {
    PutWord(FLength, static_cast<std::uint32_t>(Head.size() + Body.size()));
    FParts = {FLength, Head, Body};
}

void TFrameWriter::Sent(std::size_t Bytes) {
    for (auto& Part : FParts) {
        const std::size_t Size = std::min(Bytes, Part.size());
        Part = Part.subspan(Size);
        Bytes -= Size;
    }
}

} // namespace zutools::platform
