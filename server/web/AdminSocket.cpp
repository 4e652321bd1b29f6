#include "server/web/AdminSocket.h"

#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/web/Reply.h"

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace zutools::server {

namespace {

namespace fs = std::filesystem;
using TClock = std::chrono::steady_clock;

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
    struct stat Status{};
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

/// Waits for `Events` of `Socket` until `Deadline`, or until `Wake` is readable (-1: never). False for the
/// latter two.
bool WaitFor(int Socket, short Events, TClock::time_point Deadline, int Wake) {
    while (true) {
        const auto Left = std::chrono::ceil<std::chrono::milliseconds>(Deadline - TClock::now()).count();
        std::array<pollfd, 2> Polled{pollfd{Socket, Events, 0}, pollfd{Wake, POLLIN, 0}};
        const int Ready =
            ::poll(Polled.data(), Polled.size(), static_cast<int>(std::clamp<std::int64_t>(Left, 0, 60'000)));
        if (Ready < 0 && errno == EINTR) continue;
        if (Ready < 0 || Polled[1].revents != 0) return false;
        if (Polled[0].revents != 0) return true;
        if (TClock::now() >= Deadline) return false;
    }
}

bool SendAll(int Socket, std::string_view Bytes, TClock::time_point Deadline, int Wake) {
    while (!Bytes.empty()) {
        if (!WaitFor(Socket, POLLOUT, Deadline, Wake)) return false;
        const ssize_t Sent = ::send(Socket, Bytes.data(), Bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (Sent < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (Sent <= 0) return false;
        Bytes.remove_prefix(static_cast<std::size_t>(Sent));
    }
    return true;
}

/// The body of the frame that arrives until `Deadline`; nothing when none does.
std::optional<std::string> Receive(int Socket, std::size_t MaxBytes, TClock::time_point Deadline, int Wake) {
    TFrameReader Reader(MaxBytes);
    std::array<char, 16384> Piece;
    while (WaitFor(Socket, POLLIN, Deadline, Wake)) {
        const ssize_t Size = ::recv(Socket, Piece.data(), Piece.size(), MSG_DONTWAIT);
        if (Size < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (Size <= 0) break;
        const auto State = Reader.Feed({Piece.data(), static_cast<std::size_t>(Size)});
        if (State == TFrameReader::TState::Complete) return std::move(Reader.Body());
        if (State == TFrameReader::TState::Refused) break;
    }
    return std::nullopt;
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
    TImpl(std::u16string APath, THandler AHandler, TLogger& ALogger, std::chrono::milliseconds APatience)
        : Path(std::move(APath))
        , Handler(std::move(AHandler))
        , Logger(ALogger)
        , Patience(APatience) {}

    void Listen();
    void Work();
    void Serve(int Socket);
    void Drop(std::u16string_view Why) const {
        Logger.Log(TLogLevel::Warning, u"administrative endpoint: " + std::u16string(Why));
    }

    const std::u16string Path;
    const THandler Handler;
    TLogger& Logger;
    const std::chrono::milliseconds Patience;
    TOpenFile Lock; // held while the service lives: tells it from a dead one
    TOpenFile Socket;
    TOpenFile Wake; // readable: the end has come
    std::thread Thread;
};

void TAdminSocket::TImpl::Listen() {
    const sockaddr_un Address = AddressOf(Path);
    const std::string Name = platform::Utf16ToUtf8(Path);
    MakePrivateFolder(fs::path(Name).parent_path().string());
    Lock = TOpenFile(::open((Name + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!Lock.IsOpen()) FailSystem(u"Cannot open", Path + u".lock");
    if (::flock(Lock.Descriptor(), LOCK_EX | LOCK_NB) != 0) {
        throw EAdminSocket(u"another service has the administrative socket " + Path);
    }
    if (::unlink(Name.c_str()) != 0 && errno != ENOENT) FailSystem(u"Cannot replace the socket", Path);
    Socket = NewSocket(Path);
    if (::bind(Socket.Descriptor(), reinterpret_cast<const sockaddr*>(&Address), sizeof Address) != 0 ||
        ::chmod(Name.c_str(), 0600) != 0 || ::listen(Socket.Descriptor(), 8) != 0) {
        FailSystem(u"Cannot listen on", Path);
    }
    Wake = TOpenFile(::eventfd(0, EFD_CLOEXEC));
    if (!Wake.IsOpen()) FailSystem(u"Cannot listen on", Path);
}

void TAdminSocket::TImpl::Work() {
    while (true) {
        if (!WaitFor(Socket.Descriptor(), POLLIN, TClock::now() + std::chrono::hours(1), Wake.Descriptor())) {
            pollfd Ended{Wake.Descriptor(), POLLIN, 0};
            if (::poll(&Ended, 1, 0) != 0) return;
            continue;
        }
        const TOpenFile Peer(::accept4(Socket.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!Peer.IsOpen()) continue;
        try {
            Serve(Peer.Descriptor());
        } catch (const std::exception& Error) {
            Drop(MessageOf(Error));
        }
    }
}

void TAdminSocket::TImpl::Serve(int Peer) {
    const auto Who = PeerOf(Peer);
    if (!Who || (Who->uid != ::geteuid() && Who->uid != 0))
        return Drop(u"another user of the system was refused");
    const auto Question = Receive(Peer, MaxAdminQuestion, TClock::now() + Patience, Wake.Descriptor());
    if (!Question) return Drop(u"a question did not arrive whole");
    const std::string Answer = Handler(*Question, UserName(Who->uid));
    if (Answer.size() > MaxAdminAnswer) return Drop(u"an answer is too large");
    if (!SendAll(Peer, MakeFrame(Answer), TClock::now() + Patience, Wake.Descriptor())) {
        Drop(u"an answer was not taken");
    }
}

TAdminSocket::TAdminSocket(std::u16string Path, THandler Handler, TLogger& Logger,
                           std::chrono::milliseconds Patience)
    : FImpl(std::make_unique<TImpl>(std::move(Path), std::move(Handler), Logger, Patience)) {
    FImpl->Listen();
    FImpl->Thread = std::thread([this] { FImpl->Work(); });
}

TAdminSocket::~TAdminSocket() {
    const std::uint64_t One = 1;
    static_cast<void>(!::write(FImpl->Wake.Descriptor(), &One, sizeof One));
    FImpl->Thread.join();
    ::unlink(platform::Utf16ToUtf8(FImpl->Path).c_str());
    // The lock file stays: removed, it would let two services lock two files of one name.
}

std::string AskAdminSocket(std::u16string_view Path, std::string_view Question,
                           std::chrono::milliseconds Patience) {
    const std::u16string Name(Path);
    const sockaddr_un Address = AddressOf(Path);
    const TOpenFile Socket = NewSocket(Path);
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
    const bool Sent = SendAll(Socket.Descriptor(), MakeFrame(Question), TClock::now() + Patience, -1);
    auto Answer =
        Sent ? Receive(Socket.Descriptor(), MaxAdminAnswer, TClock::now() + Patience, -1) : std::nullopt;
    if (!Answer) throw EAdminSocket(u"the service did not answer on " + Name);
    return std::move(*Answer);
}

} // namespace zutools::server
