// libmicrohttpd alone, as the web host uses it: two epoll threads. Sends the bytes of one file for every path
// below /page, from memory, and the same file by its descriptor for every other.
//
//     http_peer FILE      prints "http://127.0.0.1:PORT" and serves until its standard input ends

#include <microhttpd.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

struct TServed {
    std::string File;
    std::string Bytes;
};

MHD_Response* Answer(const TServed& Served, std::string_view Path) {
    if (Path.starts_with("/page")) {
        return MHD_create_response_from_buffer(Served.Bytes.size(), const_cast<char*>(Served.Bytes.data()),
                                               MHD_RESPMEM_MUST_COPY);
    }
    const int File = ::open(Served.File.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat Status = {};
    if (File < 0 || ::fstat(File, &Status) != 0) return nullptr;
    return MHD_create_response_from_fd64(static_cast<std::uint64_t>(Status.st_size), File);
}

MHD_Result Access(void* Self, MHD_Connection* Connection, const char* Path, const char*, const char*,
                  const char*, std::size_t*, void** State) {
    static int Begun;
    if (*State == nullptr) {
        *State = &Begun;
        return MHD_YES;
    }
    MHD_Response* const Response = Answer(*static_cast<const TServed*>(Self), Path);
    if (Response == nullptr) return MHD_NO;
    MHD_add_response_header(Response, "Content-Type", "text/html; charset=utf-8");
    const MHD_Result Queued = MHD_queue_response(Connection, 200, Response);
    MHD_destroy_response(Response);
    return Queued;
}

} // namespace

int main(int Count, char** Arguments) {
    if (Count != 2) return 2;
    TServed Served{Arguments[1], {}};
    std::ifstream Stream(Served.File, std::ios::binary);
    Served.Bytes.assign(std::istreambuf_iterator<char>(Stream), {});
    sockaddr_in Address{};
    Address.sin_family = AF_INET;
    Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    MHD_Daemon* const Daemon = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD, 0, nullptr, nullptr, &Access, &Served, MHD_OPTION_THREAD_POOL_SIZE, 2U,
        MHD_OPTION_SOCK_ADDR, reinterpret_cast<const sockaddr*>(&Address), MHD_OPTION_END);
    if (Daemon == nullptr) return 1;
    std::printf("http://127.0.0.1:%u\n", MHD_get_daemon_info(Daemon, MHD_DAEMON_INFO_BIND_PORT)->port);
    std::fflush(stdout);
    char Ignored = 0;
    while (::read(STDIN_FILENO, &Ignored, 1) > 0) {
    }
    MHD_stop_daemon(Daemon);
    return 0;
}
