#include "platform/posix/PipeFolder.h"

#include "platform/Text.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>

namespace zutools::platform {

namespace {

const char* Environment(const char* Name) {
    const char* const Value = std::getenv(Name);
    return Value != nullptr && *Value == '/' ? Value : nullptr;
}

std::string OwnFolder() {
    if (const char* const Runtime = Environment("XDG_RUNTIME_DIR")) return std::string(Runtime) + "/zutools";
    const char* const Temporary = Environment("TMPDIR");
    return std::string(Temporary != nullptr ? Temporary : "/tmp") + "/zutools-" + std::to_string(::geteuid());
}

TPipeCode CheckFolder(const std::string& Folder, bool Shared, bool Make) {
    if (Make && !Shared && ::mkdir(Folder.c_str(), 0700) != 0 && errno != EEXIST) {
        return TPipeCode::AccessDenied;
    }
    struct stat Status{};
    if (::lstat(Folder.c_str(), &Status) != 0) {
        return errno == ENOENT && !Make ? TPipeCode::NoSuchPipe : TPipeCode::AccessDenied;
    }
    const bool Ours = Status.st_uid == ::geteuid();
    const mode_t Closed = Shared ? 022 : 077;
    if (!S_ISDIR(Status.st_mode) || (Status.st_mode & Closed) != 0 || (!Ours && !Shared)) {
        return TPipeCode::AccessDenied;
    }
    return TPipeCode::Success;
}

TDescriptor NewSocket() {
    return TDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Keeps two servers from taking one name at a time; held while a name is taken or given back.
TDescriptor LockFolder(const TPipeAddress& Address) {
    constexpr int Tries = 200;
    constexpr int Pause = 5; // milliseconds: whoever has it holds it for a few system calls
    TDescriptor Lock(
        ::open((Address.Folder + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    for (int Try = 0; Lock.IsOpen() && Try < Tries; ++Try) {
        if (::flock(Lock.Number(), LOCK_EX | LOCK_NB) == 0) return Lock;
        ::poll(nullptr, 0, Pause);
    }
    return {};
}

std::optional<ucred> PeerOf(int Socket) {
    ucred Peer{};
    socklen_t Size = sizeof Peer;
    if (::getsockopt(Socket, SOL_SOCKET, SO_PEERCRED, &Peer, &Size) != 0) return std::nullopt;
    return Peer;
}

} // namespace

TPipeAddress FindPipe(std::u16string_view Path, bool Make) {
    TPipeAddress Result;
    const TPipePath Parts = SplitPipePath(Path);
    const TConversion<std::string> Name = Utf16ToUtf8Strict(Parts.Name);
    if (!Parts.Computer.empty() && Parts.Computer != u".") {
        Result.Code = TPipeCode::NoNetworkPath;
        return Result;
    }
    const char* const Given = Environment("ZUTOOLS_PIPES");
    Result.Shared = Given != nullptr;
    Result.Folder = Given != nullptr ? Given : OwnFolder();
    std::string File = Result.Folder + "/" + Name.Text;
    for (std::size_t At = Result.Folder.size(); At < File.size(); ++At) {
        if (File[At] >= 'A' && File[At] <= 'Z') File[At] = static_cast<char>(File[At] - 'A' + 'a');
    }
    // Our own files in the folder begin with a dot.
    if (Name.Error || Name.Text.empty() || Name.Text.front() == '.' ||
        File.size() >= sizeof Result.Socket.sun_path) {
        Result.Code = TPipeCode::InvalidName;
        return Result;
    }
    Result.Socket.sun_family = AF_UNIX;
    File.copy(Result.Socket.sun_path, File.size());
    Result.Code = CheckFolder(Result.Folder, Result.Shared, Make);
    return Result;
}

TDescriptor ListenOnPipe(const TPipeAddress& Address, TPipeCode& Code) {
    constexpr int Backlog = 256;
    Code = TPipeCode::PipeBusy;
    const TDescriptor Lock = LockFolder(Address);
    if (!Lock.IsOpen()) return {};
    const TDescriptor Probe = NewSocket();
    // Only a socket without a process behind it refuses; a living one accepts or has no room at the moment.
    if (::connect(Probe.Number(), Address.Raw(), sizeof Address.Socket) == 0 ||
        (errno != ECONNREFUSED && errno != ENOENT)) {
        return {};
    }
    Code = TPipeCode::AccessDenied;
    if (::unlink(Address.File()) != 0 && errno != ENOENT) return {};
    TDescriptor Result = NewSocket();
    if (!Result.IsOpen() || ::bind(Result.Number(), Address.Raw(), sizeof Address.Socket) != 0 ||
        ::chmod(Address.File(), Address.Shared ? 0666 : 0600) != 0 ||
        ::listen(Result.Number(), Backlog) != 0) {
        return {};
    }
    Code = TPipeCode::Success;
    return Result;
}

void RemovePipe(const TPipeAddress& Address, const TDescriptor& Listening) {
    const TDescriptor Lock = LockFolder(Address);
    // The socket's own number is not that of its file, so the question is whether it is alone at the name.
    static_cast<void>(::shutdown(Listening.Number(), SHUT_RDWR));
    const TDescriptor Probe = NewSocket();
    if (::connect(Probe.Number(), Address.Raw(), sizeof Address.Socket) != 0 && errno == ECONNREFUSED) {
        static_cast<void>(::unlink(Address.File()));
    }
}

TPipePeers FindPeers(const std::vector<std::u16string>& Users, const std::vector<std::u16string>& Groups) {
    TPipePeers Result;
    std::array<char, 16384> Buffer;
    for (const std::u16string& Name : Users) {
        passwd Entry{};
        passwd* Found = nullptr;
        if (::getpwnam_r(Utf16ToUtf8(Name).c_str(), &Entry, Buffer.data(), Buffer.size(), &Found) == 0 &&
            Found != nullptr) {
            Result.Users.push_back(Found->pw_uid);
        }
    }
    for (const std::u16string& Name : Groups) {
        group Entry{};
        group* Found = nullptr;
        if (::getgrnam_r(Utf16ToUtf8(Name).c_str(), &Entry, Buffer.data(), Buffer.size(), &Found) == 0 &&
            Found != nullptr) {
            Result.Groups.push_back(Found->gr_gid);
        }
    }
    return Result;
}

bool IsPeerAllowed(int Socket, const TPipePeers& Peers) {
    const std::optional<ucred> Peer = PeerOf(Socket);
    if (!Peer) return false;
    if (Peer->uid == ::geteuid() || Peer->uid == 0) return true;
    if (std::find(Peers.Users.begin(), Peers.Users.end(), Peer->uid) != Peers.Users.end()) return true;
    if (Peers.Groups.empty()) return false;
    std::array<gid_t, 256> Groups{Peer->gid};
    socklen_t Size = sizeof Groups;
    std::size_t Count = 1;
#ifdef SO_PEERGROUPS
    if (::getsockopt(Socket, SOL_SOCKET, SO_PEERGROUPS, Groups.data(), &Size) == 0) {
        Count = Size / sizeof Groups[0];
        if (Count < Groups.size()) Groups[Count++] = Peer->gid;
    }
#endif
    return std::any_of(
        Groups.begin(), Groups.begin() + static_cast<std::ptrdiff_t>(Count), [&Peers](gid_t Each) {
            return std::find(Peers.Groups.begin(), Peers.Groups.end(), Each) != Peers.Groups.end();
        });
}

pid_t PeerProcess(int Socket) {
    const std::optional<ucred> Peer = PeerOf(Socket);
    return Peer ? Peer->pid : 0;
}

} // namespace zutools::platform
