// Frames of message pipes: a stream that arrives in any pieces, read with buffers of any sizes, gives the
// messages that are in it and nothing else; what a writer sends, a reader gets back.

#include "fuzz/Input.h"
#include "platform/PipeFrames.h"

#include <algorithm>
#include <cstring>

using namespace zutools::platform;
using zutools::fuzz::Require;

namespace {

using TBytesView = std::span<const std::byte>;

/// Reads the stream as the pipe does; `Sizes` tells how much arrives at a time and how large buffers are.
std::vector<std::vector<std::byte>> ReadAll(TBytesView Stream, TBytesView Sizes) {
    std::vector<std::vector<std::byte>> Result(1);
    TFrameReader Reader;
    std::size_t Next = 0;
    const auto Size = [&] {
        return Sizes.empty() ? 7 : 1 + std::to_integer<std::size_t>(Sizes[Next++ % Sizes.size()]);
    };
    while (true) {
        std::vector<std::byte> Buffer(Size());
        Reader.Begin(Buffer);
        while (!Reader.Done()) {
            std::size_t Piece = std::min(Size(), Stream.size());
            if (Piece == 0) return Result;
            std::size_t Moved = 0;
            for (const std::span<std::byte> Space : Reader.Space()) {
                const std::size_t Part = std::min(Piece - Moved, Space.size());
                if (Part > 0) std::memcpy(Space.data(), Stream.data() + Moved, Part);
                Moved += Part;
            }
            Require(Moved > 0);
            Reader.Received(Moved);
            Stream = Stream.subspan(Moved);
        }
        const TPipeResult Read = Reader.End();
        Require(Read.Bytes <= Buffer.size());
        Require(Read.Done() || (Read.Code == TPipeCode::MoreData && Read.Bytes == Buffer.size()));
        Result.back().insert(Result.back().end(), Buffer.begin(),
                             Buffer.begin() + static_cast<std::ptrdiff_t>(Read.Bytes));
        if (Read.Done()) Result.emplace_back();
    }
}

/// The whole messages of a stream, the plain way.
std::vector<std::vector<std::byte>> Messages(TBytesView Stream) {
    std::vector<std::vector<std::byte>> Result;
    while (Stream.size() >= 4) {
        const std::size_t Size = GetWord(Stream.first<4>());
        Stream = Stream.subspan(4);
        if (Size > Stream.size()) break;
        Result.emplace_back(Stream.begin(), Stream.begin() + static_cast<std::ptrdiff_t>(Size));
        Stream = Stream.subspan(Size);
    }
    return Result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const TBytesView All(reinterpret_cast<const std::byte*>(Data), Size);
    const std::size_t Cut = Size == 0 ? 0 : std::min<std::size_t>(Data[0] % 16, Size);
    const TBytesView Sizes = All.first(Cut);
    const TBytesView Stream = All.subspan(Cut);

    const auto Expected = Messages(Stream);
    auto Read = ReadAll(Stream, Sizes);
    Require(Read.size() == Expected.size() + 1); // the last is the one that did not end
    Read.pop_back();
    Require(Read == Expected);

    TFrameWriter Writer;
    Writer.Begin(Sizes, Stream);
    std::vector<std::byte> Sent;
    for (std::size_t Piece = 1; !Writer.Done(); Piece = Piece % 9 + 1) {
        std::size_t Left = Piece;
        for (const TBytesView Part : Writer.Parts()) {
            const std::size_t Taken = std::min(Left, Part.size());
            Sent.insert(Sent.end(), Part.begin(), Part.begin() + static_cast<std::ptrdiff_t>(Taken));
            Left -= Taken;
        }
        Writer.Sent(Piece - Left);
    }
    Require(Messages(Sent) == std::vector(1, std::vector(All.begin(), All.end())));

    if (Stream.size() >= TPipeOpening::Size) {
        const auto Bytes = Stream.first<TPipeOpening::Size>();
        if (const auto Opening = TPipeOpening::Parse(Bytes)) {
            Require(std::equal(Bytes.begin(), Bytes.end(), Opening->Bytes().begin()));
        }
    }
    return 0;
}
