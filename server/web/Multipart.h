// Reads a multipart/form-data body piece by piece, as it arrives.
//
// Used by the network thread of its connection only. Keeps everything in memory: the caller counts the bytes.

#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct MHD_Connection;

namespace zutools::server {

/// A field or a file as sent: bytes, nothing decoded yet.
struct TRawPart {
    bool IsFile = false;
    std::string Name;
    std::string FileName;
    std::string ContentType;
    std::string Content;
};

class TMultipartReader {
public:
    /// For the request of a connection whose Content-Type is multipart/form-data.
    explicit TMultipartReader(MHD_Connection& Connection);
    ~TMultipartReader();
    TMultipartReader(const TMultipartReader&) = delete;
    TMultipartReader& operator=(const TMultipartReader&) = delete;

    /// False, from the first malformed piece on; also for more parts than a form may have.
    bool Feed(std::string_view Bytes);
    /// False when the body was malformed or ended in the middle.
    bool Finish();
    [[nodiscard]] std::vector<TRawPart>& Parts();

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::server
