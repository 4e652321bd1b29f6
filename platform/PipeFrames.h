// The bytes of a message pipe where the system has streams only: frames, taken apart and put together without
// a system call, so that they are the same code and the same tests everywhere. docs/pipes.md has an example.
//
// A connection begins with the client's opening (12 bytes) and the server's reply to it (4 bytes: a
// TPipeCode). After Success both sides send messages: four bytes of length and that many bytes. All numbers
// are little-endian.

#pragma once

#include "platform/MessagePipe.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zutools::platform {

/// The text of a code that the table of pipe errors lacks: the system's on Windows, "error N" elsewhere.
[[nodiscard]] std::u16string OtherErrorText(std::uint32_t Code);

void PutWord(std::span<std::byte, 4> To, std::uint32_t Value);
[[nodiscard]] std::uint32_t GetWord(std::span<const std::byte, 4> From);

/// What a client wants who has just connected.
struct TPipeOpening {
    enum class TKind : std::uint32_t { Open = 0, Wait = 1 };
    static constexpr std::size_t Size = 12;

    TKind Kind = TKind::Open;
    std::uint32_t Milliseconds = 0; // of a Wait; 0: as long as the server says

    [[nodiscard]] std::array<std::byte, Size> Bytes() const;
    /// Nothing when these are no such bytes.
    [[nodiscard]] static std::optional<TPipeOpening> Parse(std::span<const std::byte, Size> Bytes);
};

/// Takes messages out of a stream, straight into the reader's buffer. What arrives of a longer message is
/// read ahead, so that small buffers do not cost a system call each.
///
///     Reader.Begin(Buffer);
///     while (!Reader.Done()) Reader.Received(<receive into Reader.Space()>);
///     Reader.End();
class TFrameReader {
public:
    static constexpr std::size_t HeadSize = 4;
    static constexpr std::size_t AheadSize = 65536;

    /// Starts to read into `Buffer`, which must outlive the reading.
    void Begin(std::span<std::byte> Buffer);
    /// The buffer is full, or the message is at its end.
    [[nodiscard]] bool Done() const { return FInMessage && (FLeft == 0 || FFilled == FBuffer.size()); }
    /// Where the next bytes of the stream belong, in this order; the second and third may be empty. Only
    /// while not Done.
    [[nodiscard]] std::array<std::span<std::byte>, 3> Space();
    /// So many bytes were put there.
    void Received(std::size_t Bytes);
    /// How the reading ended: Success, or MoreData when the message goes on. The buffer is the caller's
    /// again.
    TPipeResult End();
    /// Gives up: the buffer is the caller's again, and the stream cannot be read any more.
    void Abandon() { FBuffer = {}; }

    /// Some of a message has arrived, but not all of it.
    [[nodiscard]] bool IsBegun() const { return FHeadFilled > 0 || FInMessage; }
    /// The length of the message is known; Space() asks for no more than its rest.
    [[nodiscard]] bool IsInMessage() const { return FInMessage; }
    /// Bytes that the reading has put into the buffer so far.
    [[nodiscard]] std::size_t Filled() const { return FFilled; }
    /// Bytes of the stream are waiting here for the next Begin.
    [[nodiscard]] bool HasAhead() const { return FAheadBegin < FAheadEnd; }

private:
    void TakeAhead();
    void TakeHead();
    void Keep(std::span<const std::byte> Surplus);

    std::array<std::byte, HeadSize> FHead{};
    std::size_t FHeadFilled = 0;
    bool FInMessage = false; // the head is whole, FLeft is its message's
    std::uint32_t FLeft = 0; // bytes of the message that no reader has had
    std::span<std::byte> FBuffer;
    std::size_t FFilled = 0;
    std::vector<std::byte> FAhead; // read ahead: the bytes between begin and end
    std::size_t FAheadBegin = 0;
    std::size_t FAheadEnd = 0;
};

/// One message on its way into a stream.
class TFrameWriter {
public:
    /// Starts a message of `Head` and `Body`, which must outlive the writing.
    void Begin(std::span<const std::byte> Head, std::span<const std::byte> Body);
    /// What is left to write, in this order; parts may be empty.
    [[nodiscard]] const std::array<std::span<const std::byte>, 3>& Parts() const { return FParts; }
    /// So many bytes of it were written.
    void Sent(std::size_t Bytes);
    [[nodiscard]] bool Done() const { return FParts[0].empty() && FParts[1].empty() && FParts[2].empty(); }

private:
    std::array<std::byte, 4> FLength{};
    std::array<std::span<const std::byte>, 3> FParts;
};

} // namespace zutools::platform
