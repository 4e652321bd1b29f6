// Where the sockets of message pipes lie, and who may be on the other end.
//
// The folder is $ZUTOOLS_PIPES, else $XDG_RUNTIME_DIR/zutools, else zutools-UID in the folder of temporary
// files. Its owner and mode are looked at on every use. The user's own folder is his alone (0700); the one
// that $ZUTOOLS_PIPES names may be entered by others, but only its owner may put something into it.

#pragma once

#include "platform/MessagePipe.h"
#include "platform/posix/Descriptor.h"

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include <string>
#include <vector>

namespace zutools::platform {

/// The socket of a pipe, as the system takes it.
struct TPipeAddress {
    TPipeCode Code = TPipeCode::Success;
    sockaddr_un Socket{};
    std::string Folder;
    bool Shared = false; // $ZUTOOLS_PIPES: other users may reach it

    [[nodiscard]] const sockaddr* Raw() const { return reinterpret_cast<const sockaddr*>(&Socket); }
    [[nodiscard]] const char* File() const { return Socket.sun_path; }
};

/// Where `\\.\pipe\NAME` lies. NoNetworkPath for another computer; InvalidName for what is no name, or one
/// too long for a socket; AccessDenied when the folder is not as it must be; NoSuchPipe when there is none
/// and `Make` is false. Letter case of A to Z does not count in names.
[[nodiscard]] TPipeAddress FindPipe(std::u16string_view Path, bool Make);

/// Listens on the address, in place of a socket that a dead server left.
/// PipeBusy while a living server has the name.
[[nodiscard]] TDescriptor ListenOnPipe(const TPipeAddress& Address, TPipeCode& Code);

/// Removes the socket `Listening` from the folder, unless another one has its name by now.
void RemovePipe(const TPipeAddress& Address, const TDescriptor& Listening);

/// Who besides this process's user and root may be on the other end.
struct TPipePeers {
    std::vector<uid_t> Users;
    std::vector<gid_t> Groups;
};
/// The ids of names; names that the system does not know are left out.
[[nodiscard]] TPipePeers FindPeers(const std::vector<std::u16string>& Users,
                                   const std::vector<std::u16string>& Groups);

/// Whether the process at the other end of a connected socket may be there.
[[nodiscard]] bool IsPeerAllowed(int Socket, const TPipePeers& Peers);

/// The process at the other end; 0 when the system does not tell.
[[nodiscard]] pid_t PeerProcess(int Socket);

} // namespace zutools::platform
