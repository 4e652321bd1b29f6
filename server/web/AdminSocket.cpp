#include "server/web/AdminSocket.h"

#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/web/Reply.h"

#include <microhttpd.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <utility>

namespace zutools::server {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void FailSystem(std::u16string_view What, std::u16string_view Path) {
    throw platform::TSystemError(What, Path, errno);
}

sockaddr_un AddressOf(std::u16string_view Path) {
    const std::string Bytes = platform::Utf16ToUtf8(Path);
    sockaddr_un Address{};
    Address.sun_family = AF_UNIX;
    if (Bytes.size() >= sizeof Address.sun_path) {
        throw EAdminSocket(
            Format(u"the path of the administrative socket is longer than the %d bytes that the "
                   u"system takes, set \"admin.socket\": %s",
                   {static_cast<int>(sizeof Address.sun_path) - 1, Path}));
    }
    Bytes.copy(Address.sun_path, Bytes.size());
    return Address;
}

TOpenFile NewSocket(std::u16string_view Path) {
    TOpenFile Socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!Socket.IsOpen()) FailSystem(u"Cannot make the socket", Path);
    return Socket;
}

/// The folder, made when it is not there; nobody else may put something in it or look into it.
void MakePrivateFolder(const std::string& Folder) {
    const std::u16string Name = platform::Utf8ToUtf16(Folder);
    if (::mkdir(Folder.c_str(), 0700) != 0 && errno != EEXIST) FailSystem(u"Cannot make the folder", Name);
    struct stat Status = {};
    if (::lstat(Folder.c_str(), &Status) != 0) FailSystem(u"Cannot look at the folder", Name);
    if (!S_ISDIR(Status.st_mode) || Status.st_uid != ::geteuid() || (Status.st_mode & 077U) != 0) {
        throw EAdminSocket(
            u"the folder of the administrative socket must be this user's alone (mode 0700): " + Name);
    }
}

std::optional<ucred> PeerOf(int Socket) {
    ucred Peer{};
    socklen_t Size = sizeof Peer;
    if (::getsockopt(Socket, SOL_SOCKET, SO_PEERCRED, &Peer, &Size) != 0) return std::nullopt;
    return Peer;
}

std::u16string UserName(uid_t Id) {
    std::array<char, 4096> Buffer{};
    passwd Entry{};
    passwd* Found = nullptr;
    if (::getpwuid_r(Id, &Entry, Buffer.data(), Buffer.size(), &Found) == 0 && Found != nullptr) {
        return platform::Utf8ToUtf16(Found->pw_name);
    }
    return u"user id " + platform::Utf8ToUtf16(std::to_string(Id));
}

bool SendAll(int Socket, std::string_view Bytes) {
    while (!Bytes.empty()) {
        const ssize_t Sent = ::send(Socket, Bytes.data(), Bytes.size(), MSG_NOSIGNAL);
        if (Sent < 0 && errno == EINTR) continue;
        if (Sent <= 0) return false;
        Bytes.remove_prefix(static_cast<std::size_t>(Sent));
    }
    return true;
}

/// Everything until the other side ends, or what came until it was silent too long or said too much.
std::string ReceiveAll(int Socket) {
    std::string Bytes;
    std::array<char, 16384> Piece;
    while (Bytes.size() <= 2 * MaxAdminAnswer) {
        const ssize_t Size = ::recv(Socket, Piece.data(), Piece.size(), 0);
        if (Size < 0 && errno == EINTR) continue;
        if (Size <= 0) break;
        Bytes.append(Piece.data(), static_cast<std::size_t>(Size));
    }
    return Bytes;
}

/// The body of a good HTTP answer that arrived whole.
std::optional<std::string> BodyOf(std::string Message) {
    constexpr std::string_view End = "\r\n\r\n";
    const std::size_t Body = Message.find(End);
    if (Body == std::string::npos || Message.find(" 200 ") != Message.find(' ')) return std::nullopt;
    const std::string Length =
        "\r\nContent-Length: " + std::to_string(Message.size() - Body - End.size()) + "\r\n";
    if (Message.find(Length) > Body) return std::nullopt;
    return Message.erase(0, Body + End.size());
}

/// 64 bits of FNV-1a: a short name for a path, no secret.
std::string ShortName(std::string_view Text) {
    std::uint64_t Hash = 14695981039346656037ULL;
    for (const char Byte : Text) Hash = (Hash ^ static_cast<unsigned char>(Byte)) * 1099511628211ULL;
    std::array<char, 17> Hex{};
    std::snprintf(Hex.data(), Hex.size(), "%016llx", static_cast<unsigned long long>(Hash));
    return Hex.data();
}

} // namespace

std::u16string DefaultAdminSocket(std::u16string_view ConfigFile) {
    const std::string File = platform::Utf16ToUtf8(ConfigFile);
    const fs::path Whole =
        fs::weakly_canonical(fs::absolute(fs::path(std::u8string(File.begin(), File.end()))));
    const char* const Runtime = std::getenv("XDG_RUNTIME_DIR");
    const fs::path Folder = Runtime != nullptr && *Runtime == '/'
                                ? fs::path(Runtime) / "zuhost"
                                : fs::temp_directory_path() / ("zuhost-" + std::to_string(::geteuid()));
    return (Folder / (ShortName(Whole.string()) + ".socket")).u16string();
}

struct TAdminSocket::TImpl {
    TImpl(std::u16string APath, THandler AHandler, TLogger& ALogger)
        : Path(std::move(APath))
        , Handler(std::move(AHandler))
        , Logger(ALogger) {}

    [[nodiscard]] TOpenFile Listen();
    void Start(std::chrono::seconds Patience);
    MHD_Result Access(MHD_Connection& Connection, std::string& Question, std::string_view Bytes);
    void Drop(std::u16string_view Why) const {
        Logger.Log(TLogLevel::Warning, u"administrative endpoint: " + std::u16string(Why));
    }

    const std::u16string Path;
    const THandler Handler;
    TLogger& Logger;
    TOpenFile Lock; // held while the service lives: tells it from a dead one
    MHD_Daemon* Daemon = nullptr;
};

TOpenFile TAdminSocket::TImpl::Listen() {
    const sockaddr_un Address = AddressOf(Path);
    const std::string Name = platform::Utf16ToUtf8(Path);
    MakePrivateFolder(fs::path(Name).parent_path().string());
    Lock = TOpenFile(::open((Name + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!Lock.IsOpen()) FailSystem(u"Cannot open", Path + u".lock");
    if (::flock(Lock.Descriptor(), LOCK_EX | LOCK_NB) != 0) {
        throw EAdminSocket(u"another service has the administrative socket " + Path);
    }
    if (::unlink(Name.c_str()) != 0 && errno != ENOENT) FailSystem(u"Cannot replace the socket", Path);
    TOpenFile Socket = NewSocket(Path);
    if (::bind(Socket.Descriptor(), reinterpret_cast<const sockaddr*>(&Address), sizeof Address) != 0 ||
        ::chmod(Name.c_str(), 0600) != 0 || ::listen(Socket.Descriptor(), 8) != 0) {
        FailSystem(u"Cannot listen on", Path);
    }
    return Socket;
}

void TAdminSocket::TImpl::Start(std::chrono::seconds Patience) {
    const auto Access = [](void* Self, MHD_Connection* Connection, const char*, const char*, const char*,
                           const char* Data, std::size_t* Size, void** Question) noexcept -> MHD_Result {
        auto& Socket = *static_cast<TImpl*>(Self);
        try {
            if (*Question == nullptr) {
                *Question = new std::string; // deleted by Complete
                return MHD_YES;
            }
            const std::string_view Bytes(Data, std::exchange(*Size, 0));
            return Socket.Access(*Connection, *static_cast<std::string*>(*Question), Bytes);
        } catch (const std::exception& Error) {
            Socket.Drop(MessageOf(Error));
            return MHD_NO;
        }
    };
    const auto Complete = [](void* Self, MHD_Connection*, void** Question,
                             MHD_RequestTerminationCode Code) noexcept {
        delete static_cast<std::string*>(std::exchange(*Question, nullptr));
        if (Code != MHD_REQUEST_TERMINATED_COMPLETED_OK)
            static_cast<TImpl*>(Self)->Drop(u"a question was not asked or answered to its end");
    };
    using TAccessHandler = MHD_Result (*)(void*, MHD_Connection*, const char*, const char*, const char*,
                                          const char*, std::size_t*, void**);
    using TComplete = void (*)(void*, MHD_Connection*, void**, MHD_RequestTerminationCode);
    TOpenFile Socket = Listen();
    Daemon = MHD_start_daemon(
        // A thread for each question: one that takes its time holds up no other.
        MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL | MHD_USE_ITC, 0,
        nullptr, nullptr, static_cast<TAccessHandler>(Access), this, MHD_OPTION_LISTEN_SOCKET,
        Socket.Descriptor(), MHD_OPTION_CONNECTION_LIMIT, 32U, MHD_OPTION_CONNECTION_TIMEOUT,
        static_cast<unsigned>(Patience.count()), MHD_OPTION_NOTIFY_COMPLETED,
        static_cast<TComplete>(Complete), this, MHD_OPTION_END);
    if (Daemon == nullptr) FailSystem(u"Cannot listen on", Path);
    static_cast<void>(Socket.Take()); // closed with the daemon
}

// Called for the pieces of a question, and without any when it is whole.
MHD_Result TAdminSocket::TImpl::Access(MHD_Connection& Connection, std::string& Question,
                                       std::string_view Bytes) {
    const auto* const Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    const auto Who = Info != nullptr ? PeerOf(Info->connect_fd) : std::nullopt;
    if (!Who || (Who->uid != ::geteuid() && Who->uid != 0))
        throw EAdminSocket(u"another user of the system was refused");
    if (Bytes.size() > MaxAdminQuestion - Question.size()) throw EAdminSocket(u"a question is too large");
    Question += Bytes;
    if (!Bytes.empty()) return MHD_YES;
    std::string Answer = Handler(Question, UserName(Who->uid));
    if (Answer.size() > MaxAdminAnswer) throw EAdminSocket(u"an answer is too large");
    MHD_Response* const Response =
        MHD_create_response_from_buffer(Answer.size(), Answer.data(), MHD_RESPMEM_MUST_COPY);
    if (Response == nullptr) return MHD_NO;
    const MHD_Result Queued = MHD_queue_response(&Connection, MHD_HTTP_OK, Response);
    MHD_destroy_response(Response);
    return Queued;
}

TAdminSocket::TAdminSocket(std::u16string Path, THandler Handler, TLogger& Logger,
                           std::chrono::seconds Patience)
    : FImpl(std::make_unique<TImpl>(std::move(Path), std::move(Handler), Logger)) {
    FImpl->Start(Patience);
}

TAdminSocket::~TAdminSocket() {
    MHD_stop_daemon(FImpl->Daemon);
    ::unlink(platform::Utf16ToUtf8(FImpl->Path).c_str());
    // The lock file stays: removed, it would let two services lock two files of one name.
}

std::string AskAdminSocket(std::u16string_view Path, std::string_view Question,
                           std::chrono::seconds Patience) {
    const std::u16string Name(Path);
    const sockaddr_un Address = AddressOf(Path);
    const TOpenFile Socket = NewSocket(Path);
    const timeval Wait{static_cast<std::time_t>(Patience.count()), 0};
    for (const int Direction : {SO_SNDTIMEO, SO_RCVTIMEO})
        ::setsockopt(Socket.Descriptor(), SOL_SOCKET, Direction, &Wait, sizeof Wait);
    if (::connect(Socket.Descriptor(), reinterpret_cast<const sockaddr*>(&Address), sizeof Address) != 0) {
        if (errno == ENOENT || errno == ECONNREFUSED) {
            throw EAdminSocket(u"the service is not running, or has no administrative endpoint; nothing "
                               u"listens on " +
                               Name);
        }
        if (errno == EACCES || errno == EPERM) {
            throw EAdminSocket(u"no permission: the service runs as another user of the system; " + Name);
        }
        FailSystem(u"Cannot connect to", Path);
    }
    // Nobody but the same user is believed, unless root asks.
    const auto Who = PeerOf(Socket.Descriptor());
    if (!Who || (Who->uid != ::geteuid() && ::geteuid() != 0 && Who->uid != 0)) {
        throw EAdminSocket(u"no permission: another user of the system listens on " + Name);
    }
    const bool Sent =
        SendAll(Socket.Descriptor(), "POST / HTTP/1.0\r\nContent-Length: " + std::to_string(Question.size()) +
                                         "\r\n\r\n" + std::string(Question));
    auto Answer = Sent ? BodyOf(ReceiveAll(Socket.Descriptor())) : std::nullopt;
    if (!Answer) throw EAdminSocket(u"the service did not answer on " + Name);
    return std::move(*Answer);
}

} // namespace zutools::server
