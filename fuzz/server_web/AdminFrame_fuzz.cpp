// Frames of the administrative endpoint: however the bytes are cut, the reader says the same, keeps no more
// than the limit, and gives back what was put into a frame.
//
// Input: one byte that chooses how pieces are cut, then the bytes as they arrive.

#include "server/web/AdminFrame.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace zutools::server;
using TState = TFrameReader::TState;

constexpr std::size_t Limit = 64;

void Require(bool Holds) {
    if (!Holds) std::abort();
}

TState FeedInPieces(TFrameReader& Reader, std::string_view Bytes, std::size_t Size) {
    TState State = TState::Incomplete;
    while (!Bytes.empty()) {
        const std::string_view Piece = Bytes.substr(0, Size);
        State = Reader.Feed(Piece);
        Require(Reader.Body().size() <= Limit);
        Bytes.remove_prefix(Piece.size());
    }
    return State;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    if (Size == 0) return 0;
    const std::string_view Bytes(reinterpret_cast<const char*>(Data) + 1, Size - 1);
    TFrameReader Whole(Limit);
    TFrameReader Cut(Limit);
    const TState State = Whole.Feed(Bytes);
    Require(FeedInPieces(Cut, Bytes, Data[0] % 7U + 1U) == State);
    Require(Whole.Body() == Cut.Body());
    if (State == TState::Complete) Require(MakeFrame(Whole.Body()) == Bytes);
    return 0;
}
