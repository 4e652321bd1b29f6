#include "server/web/AddressGate.h"

#include "server/web/Connections.h"

namespace zutools::server {

bool TAddressGate::TryTake(std::string_view Address) {
    const std::string Network = NetworkOf(Address);
    const std::lock_guard Guard(FMutex);
    const TMoment Now = FClock();
    if (FFullAgain.size() >= MaxAddresses) {
        std::erase_if(FFullAgain, [&](const auto& Entry) { return Entry.second <= Now; });
        if (FFullAgain.size() >= MaxAddresses) FFullAgain.erase(FFullAgain.begin());
    }
    TMoment& Full = FFullAgain.try_emplace(Network, Now).first->second;
    if (Full < Now) Full = Now;
    if (Full - Now > NextTry * (FreeTries - 1)) return false;
    Full += NextTry;
    return true;
}

void TAddressGate::GiveBack(std::string_view Address) {
    const std::lock_guard Guard(FMutex);
    const auto Found = FFullAgain.find(NetworkOf(Address));
    if (Found != FFullAgain.end()) Found->second -= NextTry;
}

} // namespace zutools::server
