#include "server/web/AdminHttp.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "server/web/Sockets.h"

#include <microhttpd.h>

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace zutools::server {

struct TAdminHttp::TImpl {
    THandler Handler;
    TLogger& Logger;
    std::uint16_t Port = 0;
    MHD_Daemon* Daemon = nullptr;

    static MHD_Result Access(void* Self, MHD_Connection* Connection, const char* Path, const char* Method,
                             const char*, const char*, std::size_t* Size, void** State) noexcept {
        static int Begun; // its address marks a request whose head was seen
        if (*State == nullptr) {
            *State = &Begun;
            return MHD_YES;
        }
        if (*Size != 0) return MHD_NO; // a body: nothing here takes one
        auto& Impl = *static_cast<TImpl*>(Self);
        try {
            const std::string_view Verb = Method;
            const TAdminAnswer Answer =
                Verb == "GET" || Verb == "HEAD" ? Impl.Handler(Path) : TAdminAnswer{405, "only GET\n"};
            MHD_Response* const Response = MHD_create_response_from_buffer(
                Answer.Text.size(), const_cast<char*>(Answer.Text.data()), MHD_RESPMEM_MUST_COPY);
            if (Response == nullptr) return MHD_NO;
            MHD_add_response_header(Response, "Content-Type", "text/plain; version=0.0.4; charset=utf-8");
            MHD_add_response_header(Response, "Cache-Control", "no-store");
            const MHD_Result Queued =
                MHD_queue_response(Connection, static_cast<unsigned>(Answer.Status), Response);
            MHD_destroy_response(Response);
            return Queued;
        } catch (const std::exception& Error) {
            Impl.Logger.Log(TLogLevel::Error,
                            u"administrative address: " + platform::Utf8ToUtf16(Error.what()));
            return MHD_NO;
        }
    }
};

TAdminHttp::TAdminHttp(const std::string& Address, std::uint16_t Port, THandler Handler, TLogger& Logger)
    : FImpl(std::make_unique<TImpl>(TImpl{std::move(Handler), Logger})) {
    constexpr unsigned Connections = 32;
    constexpr unsigned IdleSeconds = 10;
    const int Socket = ListenOn(Address, Port);
    FImpl->Port = BoundPort(Socket);
    unsigned Flags = MHD_USE_EPOLL_INTERNAL_THREAD;
    if (Address.find(':') != std::string::npos) Flags |= MHD_USE_IPv6;
    FImpl->Daemon = MHD_start_daemon(Flags, FImpl->Port, nullptr, nullptr, &TImpl::Access, FImpl.get(), //
                                     MHD_OPTION_LISTEN_SOCKET, Socket,                                  //
                                     MHD_OPTION_CONNECTION_LIMIT, Connections,                          //
                                     MHD_OPTION_CONNECTION_TIMEOUT, IdleSeconds, MHD_OPTION_END);
    if (FImpl->Daemon == nullptr) {
        const int Code = errno;
        ::close(Socket);
        throw platform::TSystemError(u"Cannot serve on", AddressText(Address, FImpl->Port), Code);
    }
}

TAdminHttp::~TAdminHttp() {
    MHD_stop_daemon(FImpl->Daemon);
}

std::uint16_t TAdminHttp::Port() const {
    return FImpl->Port;
}

} // namespace zutools::server
