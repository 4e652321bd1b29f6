#include "server/web/Compress.h"

#include "platform/Random.h"
#include "platform/TextTools.h"
#include "server/web/HttpText.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace zutools::server {

namespace {

constexpr std::size_t SmallestBody = 1024; // below, the headers outweigh what is won
constexpr int Level = 4;                   // a third of the time of zlib's usual 6, a few per cent more bytes

bool IsText(std::string_view ContentType) {
    constexpr std::array<std::string_view, 6> Others{"application/json",          "application/javascript",
                                                     "application/xml",           "application/xhtml+xml",
                                                     "application/manifest+json", "image/svg+xml"};
    const std::string_view Type = TrimBlanks(ContentType.substr(0, ContentType.find(';')));
    return Type.starts_with("text/") || std::ranges::find(Others, Type) != Others.end();
}

bool HasHeader(const TReply& Reply, std::string_view Name) {
    return std::ranges::any_of(
        Reply.Headers, [&](const auto& Header) { return platform::EqualAsciiNoCase(Header.first, Name); });
}

std::optional<std::string> Gzip(std::string& Body) {
    constexpr int GzipWindow = 15 + 16; // the largest, with gzip's own frame
    constexpr int Memory = 8;
    z_stream Stream{};
    if (deflateInit2(&Stream, Level, Z_DEFLATED, GzipWindow, Memory, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    const std::unique_ptr<z_stream, decltype(&deflateEnd)> End(&Stream, &deflateEnd);

    std::array<std::byte, 1> Random{};
    platform::FillRandom(Random);
    std::string Comment(std::to_integer<std::size_t>(Random[0]) % 64, '-');
    gz_header Header{};
    Header.os = 255; // unknown
    Header.comment = reinterpret_cast<Bytef*>(Comment.data());
    deflateSetHeader(&Stream, &Header);

    std::string Packed(deflateBound(&Stream, static_cast<uLong>(Body.size())), '\0');
    Stream.next_in = reinterpret_cast<Bytef*>(Body.data());
    Stream.avail_in = static_cast<uInt>(Body.size());
    Stream.next_out = reinterpret_cast<Bytef*>(Packed.data());
    Stream.avail_out = static_cast<uInt>(Packed.size());
    if (deflate(&Stream, Z_FINISH) != Z_STREAM_END) return std::nullopt;
    Packed.resize(Stream.total_out);
    return Packed;
}

} // namespace

bool AcceptsGzip(std::string_view AcceptEncoding) {
    bool Any = false;
    while (!AcceptEncoding.empty()) {
        std::string_view Weight = CutNext(AcceptEncoding, ',');
        const std::string_view Coding = TrimBlanks(CutNext(Weight, ';'));
        std::string_view Value = TrimBlanks(Weight);
        const bool HasWeight = platform::EqualAsciiNoCase(TrimBlanks(CutNext(Value, '=')), "q");
        // "q=0" and "q=0.000" refuse.
        const bool Taken = !HasWeight || TrimBlanks(Value).find_first_not_of("0.") != std::string_view::npos;
        if (platform::EqualAsciiNoCase(Coding, "gzip") || platform::EqualAsciiNoCase(Coding, "x-gzip"))
            return Taken;
        if (Coding == "*") Any = Taken;
    }
    return Any;
}

void Compress(TReply& Reply, std::string_view AcceptEncoding) {
    if (Reply.Body.size() < SmallestBody || !IsText(Reply.ContentType)) return;
    // A tag names these very bytes; an encoding is the module's own.
    if (HasHeader(Reply, "ETag") || HasHeader(Reply, "Content-Encoding")) return;
    if (!HasHeader(Reply, "Vary")) Reply.Headers.emplace_back("Vary", "Accept-Encoding");
    if (!AcceptsGzip(AcceptEncoding)) return;
    auto Packed = Gzip(Reply.Body);
    if (!Packed || Packed->size() >= Reply.Body.size()) return;
    Reply.Body = std::move(*Packed);
    Reply.Headers.emplace_back("Content-Encoding", "gzip");
}

} // namespace zutools::server
