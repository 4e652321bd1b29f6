#include "server/web/Multipart.h"

#include "server/web/HttpText.h"

#include <microhttpd.h>

#include <cstdint>
#include <new>
#include <utility>

namespace zutools::server {

struct TMultipartReader::TImpl {
    MHD_PostProcessor* Processor = nullptr;
    std::vector<TRawPart> Parts;
    bool Good = true;

    static MHD_Result Take(void* Self, MHD_ValueKind, const char* Key, const char* FileName,
                           const char* ContentType, const char* /*TransferEncoding*/, const char* Data,
                           std::uint64_t Offset, std::size_t Size) noexcept {
        TImpl& Impl = *static_cast<TImpl*>(Self);
        try {
            if (Key == nullptr) return MHD_NO;
            if (Offset == 0) {
                if (Impl.Parts.size() == MaxFormFields) return MHD_NO;
                TRawPart& Part = Impl.Parts.emplace_back();
                Part.Name = Key;
                Part.IsFile = FileName != nullptr;
                if (FileName != nullptr) Part.FileName = FileName;
                if (ContentType != nullptr) Part.ContentType = ContentType;
            }
            if (Impl.Parts.empty()) return MHD_NO;
            if (Size != 0) Impl.Parts.back().Content.append(Data, Size);
            return MHD_YES;
        } catch (const std::bad_alloc&) {
            return MHD_NO;
        }
    }
};

TMultipartReader::TMultipartReader(MHD_Connection& Connection)
    : FImpl(std::make_unique<TImpl>()) {
    constexpr std::size_t HeaderBytes = 16 * 1024; // the longest header line of a part
    FImpl->Processor = MHD_create_post_processor(&Connection, HeaderBytes, &TImpl::Take, FImpl.get());
    FImpl->Good = FImpl->Processor != nullptr;
}

TMultipartReader::~TMultipartReader() {
    if (FImpl->Processor != nullptr) MHD_destroy_post_processor(FImpl->Processor);
}

bool TMultipartReader::Feed(std::string_view Bytes) {
    FImpl->Good = FImpl->Good && MHD_post_process(FImpl->Processor, Bytes.data(), Bytes.size()) == MHD_YES;
    return FImpl->Good;
}

bool TMultipartReader::Finish() {
    if (FImpl->Processor == nullptr) return false;
    const bool Complete = MHD_destroy_post_processor(std::exchange(FImpl->Processor, nullptr)) == MHD_YES;
    FImpl->Good = FImpl->Good && Complete;
    return FImpl->Good;
}

std::vector<TRawPart>& TMultipartReader::Parts() {
    return FImpl->Parts;
}

} // namespace zutools::server
